#include "test_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <new>
#include <memory>
#include <thread>
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
    if (layout.pageEnd) {
        storage_ = decltype(storage_)(PageEndAllocator<unsigned char>(true));
        storage_.reserve(kGuard + body);  // exactly: the reservation ends the page
        storage_.resize(kGuard + body);
    } else {
        storage_.resize(kGuard + 64 + body + kGuard);
    }
    // Guards and slack get a recognisable random pattern.
    std::mt19937 guardRng(0xC0FFEEu + layout.width * 131u + layout.height);
    lytest::FillRandom(storage_.data(), storage_.size(), guardRng);
    const uintptr_t base = reinterpret_cast<uintptr_t>(storage_.data()) + kGuard;
    const size_t pad = layout.pageEnd ? 0 : ((64 - base % 64) + static_cast<size_t>(layout.alignOffset)) % 64;
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

void* AllocateBytes(size_t bytes, bool pageEnd) {
    if (!pageEnd) return ::operator new(bytes);
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t pages = (bytes + page - 1) / page;
    void* map = mmap(nullptr, (pages + 1) * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) throw std::bad_alloc();
    unsigned char* guard = static_cast<unsigned char*>(map) + pages * page;
    if (mprotect(guard, page, PROT_NONE) != 0) throw std::bad_alloc();
    return guard - bytes;
}

void FreeBytes(void* p, size_t bytes, bool pageEnd) {
    if (!pageEnd) {
        ::operator delete(p);
        return;
    }
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t pages = (bytes + page - 1) / page;
    munmap(static_cast<unsigned char*>(p) + bytes - pages * page, (pages + 1) * page);
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
      << layout_.alignOffset << " slack " << layout_.slack << (layout_.bottomUp ? " bottom-up" : "")
      << (layout_.pageEnd ? " page-end" : "");
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
        for (int i = 1; i <= kDenseWidths; ++i) w.push_back(i);
        // Past every AVX2 block (up to 128 bytes), past the 4:2:2 staging
        // chunk of 128 pairs with an odd pixel over, and a broadcast row.
        for (int i : {131, 259, 1920}) w.push_back(i);
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


ImageLayout SweepLayout(int width, int height, int bytesPerPixel, int layoutIndex, int plane) {
    return LayoutsFor(width, height, bytesPerPixel)[static_cast<size_t>(layoutIndex + 7 * plane) % 16];
}

void FillTitleLike(TestImage& img, std::mt19937& rng) {
    const int bpp = img.layout().bytesPerPixel;
    for (int y = 0; y < img.height(); ++y) {
        lytest::FillRandomWithExtremes(img.row(y), img.rowBytes(), rng);
        for (int x = 0; x < img.width();) {
            const int run = 1 + static_cast<int>(rng() % 40), kind = static_cast<int>(rng() % 4);
            const uint32_t repeat = static_cast<uint32_t>(rng());
            for (int k = 0; k < run && x < img.width(); ++k, ++x) {
                unsigned char* p = img.pixel(x, y);
                if (kind < 2) p[bpp - 1] = kind == 0 ? 0 : 255;
                if (kind == 2) std::memcpy(p, &repeat, static_cast<size_t>(bpp));
            }
        }
    }
}

uint16_t Sample16(const TestImage& plane, int x, int y) {
    uint16_t v;
    std::memcpy(&v, plane.row(y) + 2 * x, 2);
    return v;
}

void FillSamples16(TestImage& plane, uint16_t value) {
    for (int y = 0; y < plane.height(); ++y)
        for (int x = 0; x < plane.width(); ++x) std::memcpy(plane.row(y) + 2 * x, &value, 2);
}

void ExpectConcurrentCallersMatchSolo(const TestImage& startA, const std::function<void(TestImage&)>& runA,
                                      const TestImage& startB, const std::function<void(TestImage&)>& runB) {
    auto solo = [](const TestImage& start, const std::function<void(TestImage&)>& run) {
        TestImage out(start.layout());
        out.CopyPixelsFrom(start);
        run(out);
        return out.Pixels();
    };
    const auto soloA = solo(startA, runA), soloB = solo(startB, runB);
    std::atomic<int> mismatches{0};
    auto loop = [&](const TestImage& start, const std::vector<unsigned char>& expected,
                    const std::function<void(TestImage&)>& run) {
        TestImage d(start.layout());
        for (int i = 0; i < 25; ++i) {
            d.CopyPixelsFrom(start);
            run(d);
            if (d.Pixels() != expected) ++mismatches;
        }
    };
    std::thread t1([&] { loop(startA, soloA, runA); });
    std::thread t2([&] { loop(startB, soloB, runB); });
    t1.join();
    t2.join();
    EXPECT_EQ(mismatches.load(), 0);
}

void SetPixels(TestImage& image, const std::vector<unsigned char>& pixels) {
    const size_t rowBytes = static_cast<size_t>(image.rowBytes());
    for (int y = 0; y < image.height(); ++y) std::memcpy(image.row(y), pixels.data() + rowBytes * y, rowBytes);
}

void ExpectAllPathsAgree(const MakeSweepPlanes& makePlanes, const std::function<void(SweepImages&)>& run,
                         bool dependsOnBands, const SweepReference& reference) {
    std::map<size_t, std::vector<unsigned char>> oneThread;  // by case index
    for (int pool : PoolSizes()) {
        ScopedPoolThreads scopedPool(pool);
        size_t caseIndex = 0;
        for (int height : TestHeights()) {
            for (int width : TestWidths()) {
                for (int layoutIndex = 0; layoutIndex < 16; ++layoutIndex, ++caseIndex) {
                    // Bands do not change how a row is walked: under the pooled
                    // runs a quarter of the layouts, rotating with the width,
                    // still meets every alignment and both pitch directions.
                    if (pool != 1 && (layoutIndex - width) % 4 != 0) continue;
                    if (kUnderThreadSanitizer && (width % 8 != 1 || layoutIndex % 5 != width % 5)) continue;
                    // The long rows meet two layouts each, the page-end one among them.
                    if (width > kDenseWidths && ((layoutIndex - width) % 4 != 0 || layoutIndex < 4 || layoutIndex >= 12))
                        continue;
                    std::vector<SweepPlane> planes = makePlanes(width, height, layoutIndex);
                    // Layouts 4..7 end their images at an inaccessible page.
                    for (SweepPlane& plane : planes) plane.layout.pageEnd = layoutIndex / 4 == 1;
                    std::mt19937 rng(static_cast<uint32_t>(caseIndex) * 2654435761u + 1u);
                    SweepImages images;
                    std::vector<std::vector<unsigned char>> initial, snapshots;
                    for (const SweepPlane& plane : planes) {
                        images.push_back(std::make_unique<TestImage>(plane.layout));
                        if (caseIndex % 2) FillTitleLike(*images.back(), rng);
                        else images.back()->FillRandomWithExtremes(rng);
                        initial.push_back(images.back()->Pixels());
                        snapshots.push_back(images.back()->Snapshot());
                    }
                    const std::vector<unsigned char> expected = reference ? reference(images) : std::vector<unsigned char>{};
                    std::vector<unsigned char> scalar;
                    for (ly::Isa isa : AvailableIsas()) {
                        ScopedIsa cap(isa);
                        for (size_t i = 0; i < images.size(); ++i) SetPixels(*images[i], initial[i]);
                        run(images);
                        const auto where = [&] {
                            return std::string(IsaName(isa)) + " pool " + std::to_string(pool) + " " +
                                   images.back()->Describe();
                        };
                        std::vector<unsigned char> result;
                        for (size_t i = 0; i < images.size(); ++i) {
                            const std::vector<unsigned char> pixels = images[i]->Pixels();
                            if (planes[i].written) {
                                result.insert(result.end(), pixels.begin(), pixels.end());
                            } else if (pixels != initial[i]) {
                                ADD_FAILURE() << "changed source " << i << ": " << where();
                                return;
                            }
                        }
                        if (reference) {
                            if (const auto same = SameBytes(expected, result); !same) {
                                ADD_FAILURE() << "differs from the reference: " << where() << ": " << same.message();
                                return;
                            }
                        }
                        if (isa == ly::Isa::Scalar) {
                            scalar = result;
                            if (pool == 1) {
                                oneThread[caseIndex] = result;
                            } else if (!dependsOnBands) {
                                const auto same = SameBytes(oneThread[caseIndex], result);
                                if (!same) {
                                    ADD_FAILURE() << "band split changed the result: " << where() << ": "
                                                  << same.message();
                                    return;
                                }
                            }
                        } else if (const auto same = SameBytes(scalar, result); !same) {
                            ADD_FAILURE() << "differs from scalar: " << where() << ": " << same.message();
                            return;
                        }
                    }
                    // Guards and slack are never restored between runs, so one
                    // look after all of them catches a stray write by any.
                    for (size_t i = 0; i < images.size(); ++i) {
                        if (!images[i]->OutsideUnchanged(snapshots[i])) {
                            ADD_FAILURE() << "wrote outside image " << i << " at pool " << pool << ": "
                                          << images[i]->Describe();
                            return;
                        }
                    }
                }
            }
        }
    }
}

}  // namespace lytest
