// Placement geometry and the 32-bit resampler.
// LY_TEST_LABELS: threading

#include <algorithm>
#include <cstring>
#include <numeric>
#include <thread>

#include "LyVideoUtils.h"
#include "test_support.h"
#include "video/LyScaleDivide.h"

#if defined(__SANITIZE_ADDRESS__)
#define LY_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LY_TEST_ASAN 1
#endif
#endif
#ifdef LY_TEST_ASAN
#include <sanitizer/asan_interface.h>
#endif

namespace {

using lytest::TestImage;

// ------------------------------------------------------------------ reference resampler

// A packed picture of 4-byte pixels.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> bytes;
    Picture(int w, int h) : width(w), height(h), bytes(size_t{4} * w * h) {}
    unsigned char* at(int x, int y) { return bytes.data() + 4 * (size_t(y) * width + x); }
};

// One pass of the sample-centre walk exactly as it is described: positions
// in units of g / 2 so that every centre is whole, an output position that
// steps by 2n/g and an input boundary that steps by 2m/g, with one division
// per byte.
template <class In, class Out>
void WalkPass(uint32_t n, uint32_t m, In in, Out out) {
    const uint32_t r = n % m;
    const int64_t g = r == 0 ? m : std::gcd(m, r);
    const int64_t inLength = 2 * int64_t{m} / g;
    const int64_t outLength = 2 * int64_t{n} / g;
    int64_t position = -int64_t{n} / g;
    int64_t boundary = int64_t{m} / g;
    int64_t k = -1;
    for (uint32_t j = 0; j < m; ++j) {
        position += outLength;
        while (position >= boundary) {
            boundary += inLength;
            ++k;
        }
        unsigned char* o = out(j);
        if (k < 0) {
            std::memcpy(o, in(0), 4);
        } else if (k >= int64_t{n} - 1) {
            std::memcpy(o, in(n - 1), 4);
        } else {
            const int64_t fromLower = position - (boundary - inLength);
            const int64_t toUpper = boundary - position;
            for (int c = 0; c < 4; ++c) {
                const int64_t v = (int64_t{in(k + 1)[c]} * fromLower + int64_t{in(k)[c]} * toUpper) / inLength;
                o[c] = static_cast<unsigned char>(std::min<int64_t>(v, 255));
            }
        }
    }
}

// Vertical pass into a sourceWidth x destinationHeight picture, then horizontal.
Picture ReferenceScale(Picture& src, int dw, int dh) {
    Picture mid(src.width, dh);
    for (int x = 0; x < src.width; ++x)
        WalkPass(src.height, dh, [&](int64_t i) { return src.at(x, int(i)); },
                 [&](uint32_t j) { return mid.at(x, int(j)); });
    Picture out(dw, dh);
    for (int y = 0; y < dh; ++y)
        WalkPass(src.width, dw, [&](int64_t i) { return mid.at(int(i), y); },
                 [&](uint32_t j) { return out.at(int(j), y); });
    return out;
}

Picture PictureOf(const TestImage& image) {
    Picture p(image.width(), image.height());
    p.bytes = image.Pixels();
    return p;
}

void Scale(TestImage& dst, TestImage& src) {
    LyVideoUtils::ScaleImage4x8bits(dst.data(), dst.width(), dst.height(), static_cast<unsigned>(dst.pitch()),
                                    src.data(), src.width(), src.height(), static_cast<unsigned>(src.pitch()));
}

// Scales `src` into a fresh image of `dstLayout` and checks the bytes against
// the reference and that nothing outside either image changed.
::testing::AssertionResult ScaleMatchesReference(TestImage& src, const lytest::ImageLayout& dstLayout,
                                                 const Picture& expected) {
    TestImage dst(dstLayout);
    dst.FillRandom();
    const auto srcBefore = src.Snapshot();
    const auto dstBefore = dst.Snapshot();
    Scale(dst, src);
    if (src.Snapshot() != srcBefore) return ::testing::AssertionFailure() << "source changed";
    if (!dst.OutsideUnchanged(dstBefore))
        return ::testing::AssertionFailure() << "wrote outside " << dst.Describe();
    auto same = lytest::SameBytes(expected.bytes, dst.Pixels());
    if (!same) same << " (" << src.Describe() << " -> " << dst.Describe() << ")";
    return same;
}

struct ScaleCase {
    int sw, sh, dw, dh;
};

// ------------------------------------------------------------------ resampler

// Sizes chosen to reach every part of the resampler: enlarging and shrinking
// by non-integer factors on each axis, single pixels, the copy paths, a
// shrink of more than 2:1 (no shared windows), divisors for the 16-bit
// multiply, the float division and the integer fallback, and widths beyond
// one weight block of 256 outputs and one scratch block of 1024 inputs.
TEST(ScaleImage4x8bits, MatchesWalkReferenceForEveryInstructionSet) {
    const ScaleCase cases[] = {
        {9, 7, 24, 13},     {24, 13, 9, 7},    {9, 20, 24, 6},   {30, 5, 11, 17},   {1, 1, 7, 5},
        {7, 5, 1, 1},       {1, 9, 13, 1},     {13, 1, 1, 9},    {2, 2, 67, 3},     {3, 2, 2, 3},
        {100, 3, 7, 3},     {17, 17, 17, 16},  {16, 15, 16, 17}, {720, 4, 1920, 6}, {1440, 2, 1920, 3},
        {1920, 3, 1280, 2}, {576, 3, 1080, 2}, {3, 100, 3, 129}, {200, 2, 129, 2},  {5, 2, 100, 2},
        {3000, 2, 2999, 2}, {5000, 2, 100, 2}, {8192, 1, 8193, 2}, {4, 3, 5, 4},    {5, 4, 4, 3},
    };
    for (const ScaleCase& c : cases) {
        TestImage src(c.sw, c.sh, 4, 3, 7);
        src.FillRandomWithExtremes();
        Picture srcPicture = PictureOf(src);
        const Picture expected = ReferenceScale(srcPicture, c.dw, c.dh);
        for (ly::Isa isa : lytest::AvailableIsas()) {
            lytest::ScopedIsa cap(isa);
            EXPECT_TRUE(ScaleMatchesReference(src, {c.dw, c.dh, 4, 5, 9, false}, expected))
                << lytest::IsaName(isa) << " " << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh;
        }
    }
}

// Every instruction set against the walk on random data: destination widths
// 1..67 against related source widths, heights 15/16/17, every row alignment
// within 16 bytes, both pitch directions and pool sizes 1, 4 and 16.
TEST(ScaleImage4x8bits, DifferentialOverWidthsLayoutsAndPools) {
    const std::pair<int, int> heights[] = {{15, 17}, {17, 16}, {16, 16}, {16, 15}};
    for (int pool : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads threads(pool);
        for (int dw : lytest::TestWidths()) {
            const int sources[] = {1, 4, dw * 3 / 7 + 1, dw, dw + 5, 2 * dw + 3};
            for (int si = 0; si < 6; ++si) {
                const int sw = sources[si];
                const auto [sh, dh] = heights[(dw + si) % 4];
                const auto srcLayouts = lytest::LayoutsFor(sw, sh, 4);
                const auto dstLayouts = lytest::LayoutsFor(dw, dh, 4);
                TestImage src(srcLayouts[(dw + si) % 16]);
                src.FillRandom();
                Picture srcPicture = PictureOf(src);
                const Picture expected = ReferenceScale(srcPicture, dw, dh);
                for (ly::Isa isa : lytest::AvailableIsas()) {
                    lytest::ScopedIsa cap(isa);
                    ASSERT_TRUE(ScaleMatchesReference(src, dstLayouts[(dw * 7 + si) % 16], expected))
                        << lytest::IsaName(isa) << " pool " << pool;
                }
            }
        }
    }
}

// A picture in its own heap block with nothing around it, and the slack
// between rows made unreadable under AddressSanitizer: any access outside the
// picture's own bytes (before the first row, after the last, between rows)
// is reported there. Elsewhere this checks the bytes only.
class TightPicture {
public:
    TightPicture(int w, int h, int slack, bool bottomUp)
        : rowBytes_(size_t{4} * w), stride_(rowBytes_ + slack), storage_(stride_ * (h - 1) + rowBytes_), h_(h) {
        pitch_ = bottomUp ? -static_cast<ptrdiff_t>(stride_) : static_cast<ptrdiff_t>(stride_);
        top_ = storage_.data() + (bottomUp ? stride_ * (h - 1) : 0);
        lytest::FillRandom(storage_.data(), storage_.size());
        Poison(true);
    }
    ~TightPicture() { Poison(false); }
    unsigned char* top() { return top_; }
    unsigned pitch() const { return static_cast<unsigned>(static_cast<int32_t>(pitch_)); }
    std::vector<unsigned char> Pixels() {
        std::vector<unsigned char> out;
        for (int y = 0; y < h_; ++y) out.insert(out.end(), top_ + pitch_ * y, top_ + pitch_ * y + rowBytes_);
        return out;
    }

private:
    void Poison([[maybe_unused]] bool on) {
#ifdef LY_TEST_ASAN
        for (int r = 0; r + 1 < h_; ++r) {
            unsigned char* gap = storage_.data() + stride_ * r + rowBytes_;
            if (on) ASAN_POISON_MEMORY_REGION(gap, stride_ - rowBytes_);
            else ASAN_UNPOISON_MEMORY_REGION(gap, stride_ - rowBytes_);
        }
#endif
    }
    size_t rowBytes_, stride_;
    std::vector<unsigned char> storage_;
    int h_;
    ptrdiff_t pitch_ = 0;
    unsigned char* top_ = nullptr;
};

TEST(ScaleImage4x8bits, TouchesOnlyTheImagesOwnBytes) {
    std::vector<ScaleCase> cases = {{1, 1, 5, 3},     {5, 3, 1, 1},     {3, 17, 67, 15},  {67, 15, 3, 17},
                                    {31, 16, 64, 16}, {64, 16, 31, 17}, {720, 3, 1920, 4}, {1920, 4, 720, 3},
                                    {100, 2, 7, 5},   {4, 2, 9, 2},     {9, 2, 4, 2},     {1030, 2, 1029, 3}};
    // Every row length, resampled down only (rows go straight into the
    // destination), across only, and both.
    for (int w = 1; w <= 67; ++w) {
        cases.push_back({w, 2, w, 3});
        cases.push_back({w, 2, w + 2 + w % 5, 2});
        cases.push_back({w + 1 + w % 3, 3, w, 2});
    }
    for (const ScaleCase& c : cases)
        for (bool bottomUp : {false, true}) {
            TightPicture src(c.sw, c.sh, 12, bottomUp);
            Picture srcPicture(c.sw, c.sh);
            srcPicture.bytes = src.Pixels();
            const Picture expected = ReferenceScale(srcPicture, c.dw, c.dh);
            for (ly::Isa isa : lytest::AvailableIsas()) {
                lytest::ScopedIsa cap(isa);
                TightPicture dst(c.dw, c.dh, 20, !bottomUp);
                LyVideoUtils::ScaleImage4x8bits(dst.top(), c.dw, c.dh, dst.pitch(), src.top(), c.sw, c.sh,
                                                src.pitch());
                ASSERT_TRUE(lytest::SameBytes(expected.bytes, dst.Pixels()))
                    << lytest::IsaName(isa) << " " << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh;
            }
        }
}

TEST(ScaleImage4x8bits, EqualSizesCopyAndConstantsStayConstant) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const ScaleCase& c : {ScaleCase{33, 17, 33, 17}, ScaleCase{1, 1, 1, 1}, ScaleCase{67, 2, 67, 2}}) {
            TestImage src(c.sw, c.sh, 4, 1, 3, true);
            src.FillRandomWithExtremes();
            TestImage dst(c.dw, c.dh, 4, 6, 0);
            Scale(dst, src);
            EXPECT_TRUE(lytest::SameBytes(src.Pixels(), dst.Pixels())) << lytest::IsaName(isa);
        }
        // Every output is a weighted mean of equal bytes, so no rounding may
        // show, including the edge copies and the extremes 0 and 255.
        const unsigned char colours[][4] = {{0, 255, 1, 254}, {255, 255, 255, 255}, {17, 99, 128, 3}};
        for (const auto& colour : colours) {
            // The last sizes give divisors above 257 on both axes, where the
            // vector division works in float and exact multiples must not
            // come out one lower.
            for (const ScaleCase& c : {ScaleCase{720, 5, 1920, 9}, ScaleCase{31, 19, 7, 5}, ScaleCase{5, 3, 301, 2},
                                       ScaleCase{300, 2, 299, 3}, ScaleCase{130, 2, 129, 131},
                                       ScaleCase{202, 151, 201, 150}, ScaleCase{334, 3, 333, 2},
                                       ScaleCase{998, 2, 999, 2}}) {
                TestImage src(c.sw, c.sh, 4, 2, 4);
                for (int y = 0; y < c.sh; ++y)
                    for (int x = 0; x < c.sw; ++x) std::memcpy(src.pixel(x, y), colour, 4);
                TestImage dst(c.dw, c.dh, 4, 9, 1, true);
                Scale(dst, src);
                for (int y = 0; y < c.dh; ++y)
                    for (int x = 0; x < c.dw; ++x)
                        ASSERT_EQ(0, std::memcmp(dst.pixel(x, y), colour, 4))
                            << lytest::IsaName(isa) << " at " << x << "," << y;
            }
        }
    }
}

// Interpolating between equal neighbours gives a numerator that is an exact
// multiple of the divisor, the case where an inexact division replacement
// comes out one low. Rows (then columns) are made constant, with the four
// channels of 64 lines covering every byte value, and resampled along them at
// divisors of the 16-bit multiply, the float division and the fallback.
TEST(ScaleImage4x8bits, ExactMultiplesSurviveEveryDivision) {
    // 142 -> 141, 165 -> 164 and 210 -> 209 give divisors 282, 328 and 418,
    // whose float reciprocals round low.
    const std::pair<int, int> sizes[] = {{3, 5},     {5, 3},     {720, 1920}, {576, 1080},  {130, 129}, {142, 141},
                                         {165, 164}, {210, 209}, {999, 998},  {1000, 4097}, {3, 8191},  {8192, 8193}};
    auto value = [](int line, int c) { return static_cast<unsigned char>(4 * line + c); };
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& [n, m] : sizes) {
            TestImage rows(n, 64, 4), cols(64, n, 4);
            for (int line = 0; line < 64; ++line)
                for (int i = 0; i < n; ++i)
                    for (int c = 0; c < 4; ++c) rows.pixel(i, line)[c] = cols.pixel(line, i)[c] = value(line, c);
            TestImage wide(m, 64, 4), tall(64, m, 4);
            Scale(wide, rows);
            Scale(tall, cols);
            for (int line = 0; line < 64; ++line)
                for (int i = 0; i < m; ++i)
                    for (int c = 0; c < 4; ++c) {
                        ASSERT_EQ(value(line, c), wide.pixel(i, line)[c])
                            << lytest::IsaName(isa) << " " << n << " -> " << m << " across, at " << i;
                        ASSERT_EQ(value(line, c), tall.pixel(line, i)[c])
                            << lytest::IsaName(isa) << " " << n << " -> " << m << " down, at " << i;
                    }
        }
    }
}

// A ramp must stay ordered after resampling in either direction; channel 1
// runs the other way so that weights swapped between the two neighbours show.
TEST(ScaleImage4x8bits, RampsStayMonotonic) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (const auto& [sw, dw] : {std::pair{256, 1000}, std::pair{256, 97}, std::pair{40, 67}, std::pair{67, 40}}) {
            TestImage src(sw, 2, 4);
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < sw; ++x) {
                    const auto v = static_cast<unsigned char>(x * 255 / (sw - 1));
                    unsigned char* p = src.pixel(x, y);
                    p[0] = v;
                    p[1] = static_cast<unsigned char>(255 - v);
                    p[2] = v;
                    p[3] = 255;
                }
            TestImage dst(dw, 3, 4);
            Scale(dst, src);
            for (int y = 0; y < 3; ++y) {
                if (dw > sw) {  // the outer outputs lie beyond the outer input centres: copies
                    EXPECT_EQ(0, dst.pixel(0, y)[0]);
                    EXPECT_EQ(255, dst.pixel(dw - 1, y)[0]);
                }
                for (int x = 1; x < dw; ++x) {
                    ASSERT_LE(dst.pixel(x - 1, y)[0], dst.pixel(x, y)[0]) << lytest::IsaName(isa) << " " << x;
                    ASSERT_GE(dst.pixel(x - 1, y)[1], dst.pixel(x, y)[1]) << lytest::IsaName(isa) << " " << x;
                }
            }
        }
    }
}

// Refused calls must not touch the destination at all (its guard bytes
// included); a null source must not be read.
TEST(ScaleImage4x8bits, RefusesNullZeroAndOversizedArguments) {
    TestImage src(8, 8, 4);
    src.FillRandom();
    TestImage dst(8, 8, 4);
    dst.FillRandom();
    const auto before = dst.Snapshot();
    unsigned char* d = dst.data();
    const unsigned dp = static_cast<unsigned>(dst.pitch());
    const unsigned sp = static_cast<unsigned>(src.pitch());
    LyVideoUtils::ScaleImage4x8bits(nullptr, 8, 8, dp, src.data(), 8, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 8, 8, dp, nullptr, 8, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 0, 8, dp, src.data(), 8, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 8, 0, dp, src.data(), 8, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 8, 8, dp, src.data(), 0, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 8, 8, dp, src.data(), 8, 0, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 8, 8, dp, src.data(), (1u << 28) + 1, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, (1u << 28) + 1, 8, dp, src.data(), 8, 8, sp);
    LyVideoUtils::ScaleImage4x8bits(d, 8, 8, dp, src.data(), 8, 0xFFFFFFFFu, sp);
    EXPECT_EQ(before, dst.Snapshot());
}

// The vector kernels replace the division by a multiplication chosen per
// call; it has to agree with the truncating division for every numerator a
// weighted pair of bytes can produce, at every divisor it is chosen for.
TEST(ScaleImage4x8bits, DivisionReplacementsAreExactOverTheWholeRange) {
    auto check = [](int64_t d) {
        const ly::ScaleDivider div = ly::ScaleDivider::For(d);
        for (uint32_t n = 0; n <= 255 * d; ++n)
            if (div.DivideLikeVector(n) != n / d)
                return ::testing::AssertionFailure() << "divisor " << d << " numerator " << n;
        return ::testing::AssertionSuccess();
    };
    for (int64_t d = 2; d <= 600; ++d) ASSERT_TRUE(check(d));
    for (int64_t d : {1000, 1023, 1024, 3839, 3840, 4095, 8191, 16383, 16384}) ASSERT_TRUE(check(d));
    // The 8-bit weight path relies on the 16-bit multiply being available there.
    for (int64_t d = 2; d <= 127; ++d) EXPECT_EQ(ly::ScaleDivider::Mul16, ly::ScaleDivider::For(d).mode) << d;
    EXPECT_EQ(ly::ScaleDivider::Float, ly::ScaleDivider::For(16384).mode);
    EXPECT_EQ(ly::ScaleDivider::Scalar, ly::ScaleDivider::For(16386).mode);
}

// Several host threads scaling at once share the pool; each must get its own
// result.
TEST(ScaleImage4x8bits, ConcurrentCallersGetTheirOwnResults) {
    lytest::ScopedPoolThreads threads(4);
    const ScaleCase cases[] = {{72, 57, 192, 108}, {192, 108, 72, 57}, {50, 40, 50, 41}, {64, 33, 17, 33}};
    std::vector<TestImage> sources;
    std::vector<Picture> expected;
    for (const ScaleCase& c : cases) {
        sources.emplace_back(c.sw, c.sh, 4);
        sources.back().FillRandom();
        Picture p = PictureOf(sources.back());
        expected.push_back(ReferenceScale(p, c.dw, c.dh));
    }
    std::vector<int> failures(4, 0);
    std::vector<std::thread> callers;
    for (int t = 0; t < 4; ++t)
        callers.emplace_back([&, t] {
            TestImage dst(cases[t].dw, cases[t].dh, 4, t, 3);
            for (int round = 0; round < 20; ++round) {
                dst.Fill(0);
                Scale(dst, sources[t]);
                if (dst.Pixels() != expected[t].bytes) ++failures[t];
            }
        });
    for (auto& c : callers) c.join();
    for (int t = 0; t < 4; ++t) EXPECT_EQ(0, failures[t]) << "caller " << t;
}

// ------------------------------------------------------------------ placement

SLyVideoScaleResultData Place(SLyVideoScaleSourceParam s, SLyVideoScaleSourceParam d, ELyVideoScaleType type) {
    SLyVideoScaleResultData r;
    std::memset(&r, 0x5A, sizeof r);
    LyVideoUtils::CalculateVideoScaleData(s, d, type, r);
    return r;
}

::testing::AssertionResult Rects(const SLyVideoScaleResultData& r, std::array<int, 8> e) {
    const std::array<int, 8> got = {r.srcX, r.srcY, r.srcWidth, r.srcHeight, r.dstX, r.dstY, r.dstWidth, r.dstHeight};
    if (got == e) return ::testing::AssertionSuccess();
    auto f = ::testing::AssertionFailure() << "got";
    for (int v : got) f << " " << v;
    return f;
}

TEST(CalculateVideoScaleData, FitAndFillOfSdIntoHd) {
    const SLyVideoScaleSourceParam sd{720, 576, 4, 3}, hd{1920, 1080, 16, 9};
    EXPECT_TRUE(Rects(Place(sd, hd, VideoScale_Fit), {0, 0, 720, 576, 240, 0, 1440, 1080}));
    EXPECT_TRUE(Rects(Place(sd, hd, VideoScale_Fill), {0, 72, 720, 432, 0, 0, 1920, 1080}));
    EXPECT_TRUE(Rects(Place(sd, hd, VideoScale_Stretch), {0, 0, 720, 576, 0, 0, 1920, 1080}));
    // Equal display aspects need no bars whatever the type.
    EXPECT_TRUE(Rects(Place({1440, 1080, 16, 9}, hd, VideoScale_Fit), {0, 0, 1440, 1080, 0, 0, 1920, 1080}));
    EXPECT_TRUE(Rects(Place(sd, hd, static_cast<ELyVideoScaleType>(7)), {0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(Rects(Place({1440, 1080, 4, 3}, hd, static_cast<ELyVideoScaleType>(7)),
                      {0, 0, 0, 0, 0, 0, 0, 0}));
}

// Broadcast frames placed into each other. The expectations come from display
// geometry rather than from pixel aspects: a picture of display aspect A
// fitted into a frame of display aspect B > A uses the share A / B of the
// frame's width whatever either frame's storage size; for A > B it uses B / A
// of its height; a fill keeps the same share of the source instead.
TEST(CalculateVideoScaleData, BroadcastFramesAgainstDisplayGeometry) {
    struct Frame {
        int w, h;
    };
    const Frame frames[] = {{720, 576}, {720, 480}, {1440, 1080}, {1920, 1080}, {1280, 720}};
    const int aspects[][2] = {{4, 3}, {16, 9}};
    auto even = [](double v) {
        const int r = static_cast<int>(v + 0.5);
        return r % 2 ? r - 1 : r;
    };
    auto centre = [](int avail, int size) {
        const int o = (avail - size) / 2;
        return o % 2 ? o - 1 : o;
    };
    for (const Frame& s : frames)
        for (const auto& sa : aspects)
            for (const Frame& d : frames)
                for (const auto& da : aspects) {
                    const double a = double(sa[0]) / sa[1], b = double(da[0]) / da[1];
                    const auto fit = Place({s.w, s.h, sa[0], sa[1]}, {d.w, d.h, da[0], da[1]}, VideoScale_Fit);
                    const auto fill = Place({s.w, s.h, sa[0], sa[1]}, {d.w, d.h, da[0], da[1]}, VideoScale_Fill);
                    SCOPED_TRACE(testing::Message() << s.w << "x" << s.h << " " << sa[0] << ":" << sa[1] << " into "
                                                    << d.w << "x" << d.h << " " << da[0] << ":" << da[1]);
                    if (a == b) {
                        EXPECT_TRUE(Rects(fit, {0, 0, s.w, s.h, 0, 0, d.w, d.h}));
                    } else if (a < b) {
                        const int w = even(d.w * a / b);
                        EXPECT_TRUE(Rects(fit, {0, 0, s.w, s.h, centre(d.w, w), 0, w, d.h}));
                        const int h = even(s.h * a / b);
                        EXPECT_TRUE(Rects(fill, {0, centre(s.h, h), s.w, h, 0, 0, d.w, d.h}));
                    } else {
                        const int h = even(d.h * b / a);
                        EXPECT_TRUE(Rects(fit, {0, 0, s.w, s.h, 0, centre(d.h, h), d.w, h}));
                        const int w = even(s.w * b / a);
                        EXPECT_TRUE(Rects(fill, {centre(s.w, w), 0, w, s.h, 0, 0, d.w, d.h}));
                    }
                }
}

TEST(CalculateVideoScaleData, OddSizesAndOffsetsAreMadeEven) {
    // 16:9 into a square-pixel 4:3 frame of 700x525: letterbox 700 * 9 / 16 =
    // 393.75 -> 394 rows; offset (525 - 394) / 2 = 65 -> 64.
    const auto r = Place({1920, 1080, 16, 9}, {700, 525, 4, 3}, VideoScale_Fit);
    EXPECT_TRUE(Rects(r, {0, 0, 1920, 1080, 0, 64, 700, 394}));
    // 4:3 into 16:9 at 1000x563: pillarbox 1000 * (4/3) / (16/9) = 750 columns;
    // offset 125 -> 124.
    EXPECT_TRUE(Rects(Place({640, 480, 4, 3}, {1000, 563, 16, 9}, VideoScale_Fit), {0, 0, 640, 480, 124, 0, 750, 563}));
}

TEST(CalculateVideoScaleData, ZeroSizesOrAspectsGiveAnEmptyResult) {
    const SLyVideoScaleSourceParam good{720, 576, 4, 3};
    const SLyVideoScaleSourceParam bad[] = {{0, 576, 4, 3}, {720, 0, 4, 3}, {720, 576, 0, 3}, {720, 576, 4, 0}};
    for (const auto& b : bad)
        for (ELyVideoScaleType t : {VideoScale_Fit, VideoScale_Fill, VideoScale_Stretch}) {
            EXPECT_TRUE(Rects(Place(b, good, t), {0, 0, 0, 0, 0, 0, 0, 0}));
            EXPECT_TRUE(Rects(Place(good, b, t), {0, 0, 0, 0, 0, 0, 0, 0}));
        }
}

TEST(CoordConvertFromRectToRect, MapsCentredPercentages) {
    const RECT r{100, 500, 300, 100};  // y grows upwards: top above bottom
    PointF p = LyVideoUtils::CoordConvertFromRectToRect({0, 0}, r, r);
    EXPECT_FLOAT_EQ(0, p.x);
    EXPECT_FLOAT_EQ(0, p.y);
    p = LyVideoUtils::CoordConvertFromRectToRect({50, 50}, r, r);
    EXPECT_FLOAT_EQ(50, p.x);
    EXPECT_FLOAT_EQ(50, p.y);
    // The right edge of a rectangle occupying the left half of another is the
    // other's centre; its top-left corner is the other's.
    const RECT whole{0, 200, 400, 0}, leftHalf{0, 200, 200, 0};
    p = LyVideoUtils::CoordConvertFromRectToRect({50, -50}, leftHalf, whole);
    EXPECT_FLOAT_EQ(0, p.x);
    EXPECT_FLOAT_EQ(-50, p.y);
    p = LyVideoUtils::CoordConvertFromRectToRect({-50, 50}, leftHalf, whole);
    EXPECT_FLOAT_EQ(-50, p.x);
    EXPECT_FLOAT_EQ(50, p.y);
    // And back: the other's centre is this one's right edge.
    p = LyVideoUtils::CoordConvertFromRectToRect({0, 10}, whole, leftHalf);
    EXPECT_FLOAT_EQ(50, p.x);
    EXPECT_FLOAT_EQ(10, p.y);
}

TEST(CoordConvertFromRectToRect, DegenerateTargetAxisKeepsTheCoordinate) {
    const RECT from{0, 100, 100, 0};
    PointF p = LyVideoUtils::CoordConvertFromRectToRect({12.5f, -7}, from, RECT{40, 100, 40, 0});
    EXPECT_FLOAT_EQ(12.5f, p.x);
    EXPECT_FLOAT_EQ(-7, p.y);
    p = LyVideoUtils::CoordConvertFromRectToRect({12.5f, -7}, from, RECT{0, 30, 100, 30});
    EXPECT_FLOAT_EQ(12.5f, p.x);
    EXPECT_FLOAT_EQ(-7, p.y);
}

RectF Target(ELyAspectConvertMode mode, int pan, uint32_t w, uint32_t h, RectF box) {
    RectF r{-1, -1, -1, -1};
    LyVideoUtils::GetScaledTgtPos(mode, pan, w, h, box, r);
    return r;
}

::testing::AssertionResult Same(RectF r, RectF e) {
    if (r.x == e.x && r.y == e.y && r.width == e.width && r.height == e.height)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << r.x << " " << r.y << " " << r.width << " " << r.height;
}

TEST(GetScaledTgtPos, WidePictureInSquareBox) {
    const RectF box{0, 0, 100, 100};
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 50, 1920, 1080, box), {-39, 0, 178, 100}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fit, 50, 1920, 1080, box), {0, 21.875f, 100, 56.25f}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Stretch, 50, 1920, 1080, box), box));
    // The pan runs from the left edge (0) to the right edge (100) and is clamped.
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 0, 1920, 1080, box), {0, 0, 178, 100}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 100, 1920, 1080, box), {-78, 0, 178, 100}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, -20, 1920, 1080, box), {0, 0, 178, 100}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 250, 1920, 1080, box), {-78, 0, 178, 100}));
}

TEST(GetScaledTgtPos, TallPictureInWideBox) {
    const RectF box{10, 20, 160, 90};
    // 4:3 in 16:9: fit is 120 wide, centred; fill is 213.33 -> 213 rows, panned upwards.
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fit, 0, 720, 540, box), {30, 20, 120, 90}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 0, 720, 540, box), {10, 20, 160, 120}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 100, 720, 540, box), {10, -10, 160, 120}));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 50, 720, 540, box), {10, 5, 160, 120}));
    // Same aspect within the tolerance, any mode: the box itself.
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 30, 1600, 900, box), box));
    EXPECT_TRUE(Same(Target(static_cast<ELyAspectConvertMode>(9), 30, 1600, 900, box), box));
}

TEST(GetScaledTgtPos, UnknownModesAndZeroSizesLeaveTheResult) {
    const RectF untouched{-1, -1, -1, -1};
    EXPECT_TRUE(Same(Target(static_cast<ELyAspectConvertMode>(3), 0, 1920, 1080, {0, 0, 100, 100}), untouched));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 0, 1920, 0, {0, 0, 100, 100}), untouched));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fit, 0, 0, 1080, {0, 0, 100, 100}), untouched));
    EXPECT_TRUE(Same(Target(AspectConvertMode_Fill, 0, 1920, 1080, {0, 0, 100, 0}), untouched));
    // Stretch needs no ratio.
    EXPECT_TRUE(Same(Target(AspectConvertMode_Stretch, 0, 0, 0, {1, 2, 3, 0}), {1, 2, 3, 0}));
}

}  // namespace
