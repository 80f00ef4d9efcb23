#include "test_support.h"

#include <sstream>

#include "threading/LyThreadPoolInstance.h"

namespace lytest {

std::vector<ly::Isa> AvailableIsas() {
    std::vector<ly::Isa> out{ly::Isa::Scalar};
    if (ly::BestIsa() >= ly::Isa::Sse2) out.push_back(ly::Isa::Sse2);
    if (ly::BestIsa() >= ly::Isa::Avx2) out.push_back(ly::Isa::Avx2);
    return out;
}

const char* IsaName(ly::Isa isa) {
    switch (isa) {
    case ly::Isa::Scalar: return "scalar";
    case ly::Isa::Sse2: return "sse2";
    case ly::Isa::Avx2: return "avx2";
    }
    return "?";
}

ScopedPoolThreads::ScopedPoolThreads(int threads) { CLyThreadPoolInstance::ReplaceSingletonForTesting(threads); }
ScopedPoolThreads::~ScopedPoolThreads() { CLyThreadPoolInstance::ReplaceSingletonForTesting(0); }

std::mt19937& Rng() {
    static thread_local std::mt19937 rng(12345);
    return rng;
}

void FillRandom(unsigned char* p, size_t n, std::mt19937& rng) {
    for (size_t i = 0; i < n; ++i) p[i] = static_cast<unsigned char>(rng());
}

void FillRandomWithExtremes(unsigned char* p, size_t n, std::mt19937& rng) {
    static constexpr unsigned char kExtremes[] = {0, 1, 127, 128, 254, 255};
    for (size_t i = 0; i < n; ++i) {
        const uint32_t r = rng();
        p[i] = (r & 3) == 0 ? kExtremes[(r >> 2) % 6] : static_cast<unsigned char>(r >> 8);
    }
}

TestImage::TestImage(int width, int height, int bytesPerPixel, int alignOffset, int slack, bool bottomUp)
    : TestImage(ImageLayout{width, height, bytesPerPixel, alignOffset, slack, bottomUp}) {}

TestImage::TestImage(const ImageLayout& layout) : layout_(layout) {
    constexpr size_t kGuard = 96;
    const size_t rowBytes = static_cast<size_t>(layout.width) * layout.bytesPerPixel;
    const size_t stride = rowBytes + static_cast<size_t>(layout.slack);
    const size_t body = layout.height > 0 ? stride * (layout.height - 1) + rowBytes : 0;
    storage_.resize(kGuard + 64 + body + kGuard);
    // Guards and slack get a recognisable random pattern.
    std::mt19937 guardRng(0xC0FFEEu + layout.width * 131u + layout.height);
    lytest::FillRandom(storage_.data(), storage_.size(), guardRng);
    const uintptr_t base = reinterpret_cast<uintptr_t>(storage_.data()) + kGuard;
    const size_t pad = ((64 - base % 64) + static_cast<size_t>(layout.alignOffset)) % 64;
    firstRowOffset_ = kGuard + pad;
    pitch_ = static_cast<int>(stride);
    if (layout.bottomUp && layout.height > 0) {
        topOffset_ = firstRowOffset_ + stride * (layout.height - 1);
        pitch_ = -pitch_;
    } else {
        topOffset_ = firstRowOffset_;
    }
    top_ = storage_.data() + topOffset_;
}

bool TestImage::IsImageByte(size_t index) const {
    if (index < firstRowOffset_) return false;
    const size_t stride = static_cast<size_t>(pitch_ < 0 ? -pitch_ : pitch_);
    const size_t rel = index - firstRowOffset_;
    const size_t rowIndex = rel / stride;
    if (rowIndex >= static_cast<size_t>(layout_.height)) return false;
    return rel % stride < static_cast<size_t>(rowBytes());
}

void TestImage::FillRandom(std::mt19937& rng) {
    for (int y = 0; y < height(); ++y) lytest::FillRandom(row(y), rowBytes(), rng);
}

void TestImage::FillRandomWithExtremes(std::mt19937& rng) {
    for (int y = 0; y < height(); ++y) lytest::FillRandomWithExtremes(row(y), rowBytes(), rng);
}

void TestImage::Fill(unsigned char value) {
    for (int y = 0; y < height(); ++y) std::memset(row(y), value, rowBytes());
}

void TestImage::CopyPixelsFrom(const TestImage& other) {
    for (int y = 0; y < height(); ++y) std::memcpy(row(y), other.row(y), rowBytes());
}

std::vector<unsigned char> TestImage::Pixels() const {
    std::vector<unsigned char> out;
    out.reserve(static_cast<size_t>(rowBytes()) * height());
    for (int y = 0; y < height(); ++y) out.insert(out.end(), row(y), row(y) + rowBytes());
    return out;
}

bool TestImage::OutsideUnchanged(const std::vector<unsigned char>& before) const {
    if (before.size() != storage_.size()) return false;
    for (size_t i = 0; i < storage_.size(); ++i)
        if (!IsImageByte(i) && storage_[i] != before[i]) return false;
    return true;
}

std::string TestImage::Describe() const {
    std::ostringstream s;
    s << layout_.width << "x" << layout_.height << " bpp " << layout_.bytesPerPixel << " align "
      << layout_.alignOffset << " slack " << layout_.slack << (layout_.bottomUp ? " bottom-up" : "");
    return s.str();
}

std::vector<ImageLayout> LayoutsFor(int width, int height, int bytesPerPixel) {
    std::vector<ImageLayout> out;
    for (int align = 0; align < 16; ++align) {
        const bool bottomUp = (align % 3) == 1;
        const int slack = (align * 7) % 13;
        out.push_back({width, height, bytesPerPixel, align, slack, bottomUp});
    }
    return out;
}

const std::vector<int>& TestWidths() {
    static const std::vector<int> widths = [] {
        std::vector<int> w;
        for (int i = 1; i <= 67; ++i) w.push_back(i);
        return w;
    }();
    return widths;
}

const std::vector<int>& TestHeights() {
    static const std::vector<int> heights = {1, 2, 15, 16, 17};
    return heights;
}

::testing::AssertionResult SameBytes(const std::vector<unsigned char>& expected,
                                     const std::vector<unsigned char>& actual) {
    if (expected.size() != actual.size())
        return ::testing::AssertionFailure() << "sizes differ: " << expected.size() << " vs " << actual.size();
    for (size_t i = 0; i < expected.size(); ++i)
        if (expected[i] != actual[i])
            return ::testing::AssertionFailure() << "byte " << i << ": expected " << int(expected[i]) << ", got "
                                                 << int(actual[i]);
    return ::testing::AssertionSuccess();
}

}  // namespace lytest
