// LY_TEST_LABELS: threading
#include <cstring>
#include <cfenv>
#include <cmath>
#include <optional>
#include <thread>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace lytest;

namespace {

struct Fmt {
    ELyPixelFormat format;
    unsigned char depth;
    int bpp;
    bool d16() const { return format == PixelFormat_UYVY422 && depth == 16; }
    // Lanes (bytes, or 16-bit samples at depth 16) the 8-bit overload writes per row.
    size_t lanes(int w) const { return format == PixelFormat_UYVY422 ? size_t(w / 4) * 8 : size_t(w / 2) * 8; }
    // Floats the float overload writes per row.
    size_t floats(int w) const { return format == PixelFormat_UYVY422 ? size_t(w / 2) * 4 : size_t(w) * 4; }
};
const Fmt kFormats[] = {{PixelFormat_BGRA4444, 8, 4}, {PixelFormat_UYVY422, 8, 2}, {PixelFormat_UYVY422, 16, 4}};
const double kOpacities[] = {0.5, 1.0, 0.3, 0.0, 1.5, -0.25, 0.77};

unsigned Get(const unsigned char* p, size_t i, bool d16) { return d16 ? p[2 * i] | (p[2 * i + 1] << 8) : p[i]; }
unsigned FillLane(const Fmt& f, size_t i) {
    if (f.format != PixelFormat_UYVY422) return 0;
    return f.d16() ? (i % 2 ? 0xFF10u : 0x8080u) : (0xFF108080u >> (8 * (i % 4))) & 0xFF;
}

// The 8-bit overload over the whole image, straight from its rules. `a` has
// one row more than the others for mode 3.
void RefBlend(TestImage& a, TestImage& b, TestImage& out, const Fmt& f, double opacity, int mode) {
    const int scale = f.d16() ? 64 : 128, h = out.height();
    const double p = scale * opacity;
    const unsigned w1 = unsigned(static_cast<long long>(p > 0 ? p + 0.5 : p - 0.5)) & 0xFF, w2 = (scale - w1) & 0xFF;
    for (int r = 0; r < h; ++r)
        for (size_t i = 0; i < f.lanes(out.width()); ++i) {
            unsigned x = Get(a.row(r), i, f.d16()), n = 0;
            if (mode == 1) n = r == 0 ? FillLane(f, i) : Get(a.row(r - 1), i, f.d16());
            if (mode == 2) n = r == h - 1 ? FillLane(f, i) : Get(a.row(r + 1), i, f.d16());
            if (mode == 3) n = Get(a.row(r + 1), i, f.d16());
            if (mode != 0) x = (x + n + 1) >> 1;
            const unsigned y = Get(b.row(r), i, f.d16());
            if (f.d16()) {
                const unsigned v = ((((x * w1) & 0xFFFF) + ((y * w2) & 0xFFFF)) & 0xFFFF) >> 6;
                out.row(r)[2 * i] = v & 0xFF, out.row(r)[2 * i + 1] = v >> 8;
            } else {
                out.row(r)[i] = std::min(((x * w1 + y * w2) & 0xFFFF) >> 7, 255u);
            }
        }
}

// An accumulator of `rows` rows of `pitch` floats (negative: bottom-up).
struct Acc {
    std::vector<float> v;
    int pitch;
    float* top;
    Acc(int rows, int rowFloats, bool bottomUp) : v(size_t(rows) * (rowFloats + 3) + 8), pitch(rowFloats + 3) {
        for (size_t i = 0; i < v.size(); ++i) v[i] = float(Rng()() % 2000) * 0.25f - 100.0f;
        top = v.data() + 4 + (bottomUp ? size_t(rows - 1) * pitch : 0);
        if (bottomUp) pitch = -pitch;
    }
    float& at(int r, size_t i) { return top[ptrdiff_t(r) * pitch + ptrdiff_t(i)]; }
};

// The float overload: rows at image + r * step (pitch rounded towards zero to
// a multiple of 4), the lower row of an averaged pair one exact pitch below.
void RefAccumulate(TestImage& img, Acc& acc, const Fmt& f, float o, int mode, int h) {
    const int pitch = img.pitch(), step = pitch / 4 * 4;
    const float half = float(double(o) * 0.5);
    auto at = [&](ptrdiff_t off, size_t i) {
        const unsigned char* p = img.data() + off;
        return f.d16() ? float(int16_t(uint16_t(Get(p, i, true)))) : float(p[i]);
    };
    for (int r = 0; r < h; ++r)
        for (size_t i = 0; i < f.floats(img.width()); ++i) {
            const ptrdiff_t row = ptrdiff_t(step) * r, up = ptrdiff_t(step) * (r - 1);
            float add;
            if (mode == 0) add = at(row, i) * o;
            else if (mode == 1) add = r == 0 ? at(0, i) * half : (at(up + pitch, i) + at(up, i)) * half;
            else if (mode == 2 && r == h - 1) add = at(row, i) * half;
            else add = (at(row, i) + at(row + pitch, i)) * half;
            acc.at(r, i) = acc.at(r, i) + add;
        }
}

}  // namespace

// One 8-bit case under every instruction set against the reference; the
// pixels the step size leaves out and every byte around the output stay.
::testing::AssertionResult BlendCase(const Fmt& f, int mode, int w, int h, double opacity, bool everyIsa = true) {
    const auto layouts = LayoutsFor(w, h, f.bpp);
    ImageLayout la = layouts[(w + h) % 16];
    la.height = h + 1;  // mode 3 reads the row below
    TestImage a(la), b(layouts[(w + 5) % 16]), out(layouts[w % 16]), start(out.layout()), expected(out.layout());
    a.FillRandomWithExtremes(), b.FillRandomWithExtremes(), start.FillRandom();
    expected.CopyPixelsFrom(start);
    RefBlend(a, b, expected, f, opacity, mode);
    for (ly::Isa isa : everyIsa ? AvailableIsas() : std::vector<ly::Isa>{ly::ActiveIsa()}) {
        std::optional<ScopedIsa> cap;  // the cap is process-wide: concurrent callers leave it be
        if (everyIsa) cap.emplace(isa);
        out.CopyPixelsFrom(start);
        const auto before = out.Snapshot();
        LyPixelUtils::BlendingImages(a.data(), a.pitch(), b.data(), b.pitch(), out.data(), out.pitch(), f.format,
                                     f.depth, opacity, w, h, ELyBlendingMode(mode));
        auto same = SameBytes(expected.Pixels(), out.Pixels());
        if (!same || !out.OutsideUnchanged(before))
            return same << " " << IsaName(isa) << " fmt " << f.format << "/" << int(f.depth) << " mode " << mode
                        << " opacity " << opacity << " " << out.Describe();
    }
    return ::testing::AssertionSuccess();
}

TEST(BlendingImages, EveryKernelMatchesReference) {
    for (int threads : PoolSizes()) {
        ScopedPoolThreads pool(threads);
        for (const Fmt& f : kFormats)
            for (int mode = 0; mode < 4; ++mode)
                for (int h : {15, 16, 17})
                    for (int w : TestWidths()) ASSERT_TRUE(BlendCase(f, mode, w, h, kOpacities[w % 7])) << threads;
    }
}

// The row-averaging modes hand neighbouring bands different kernels; the
// seams must not show whatever the split.
TEST(BlendingImages, BandsGiveTheSinglePassResult) {
    for (int threads : PoolSizes()) {
        ScopedPoolThreads pool(threads);
        for (int h = 16; h <= 40; ++h)
            for (int mode : {1, 2})
                for (const Fmt& f : {kFormats[0], kFormats[2]}) ASSERT_TRUE(BlendCase(f, mode, 23, h, 0.6)) << threads;
    }
}

TEST(BlendingImages, EdgeRowsUseTheFillWord) {
    TestImage a(4, 3, 4), b(4, 3, 4), out(4, 3, 4);
    a.Fill(200), b.Fill(100), out.Fill(7);
    LyPixelUtils::BlendingImages(a.data(), a.pitch(), b.data(), b.pitch(), out.data(), out.pitch(),
                                 PixelFormat_BGRA4444, 8, 1.0, 4, 3, BlendingMode_AverageWithRowAbove);
    EXPECT_EQ(out.row(0)[5], 100);  // (200 + 0 + 1) >> 1: half the first image
    EXPECT_EQ(out.row(1)[5], 200);
    a.Fill(0x20);
    LyPixelUtils::BlendingImages(a.data(), a.pitch(), b.data(), b.pitch(), out.data(), out.pitch(),
                                 PixelFormat_UYVY422, 8, 1.0, 8, 3, BlendingMode_AverageWithRowBelow);
    EXPECT_EQ(out.row(1)[4], 0x20);
    const unsigned char bottom[4] = {0x50, 0x50, 0x18, 0x90};  // with 0x80, 0x80, 0x10, 0xFF
    for (int i = 0; i < 16; ++i) EXPECT_EQ(out.row(2)[i], bottom[i % 4]) << i;
}

// Refused calls leave every buffer as it was.
TEST(BlendingImages, RefusalsTouchNothing) {
    TestImage a(8, 4, 4), b(8, 4, 4), out(8, 4, 4);
    a.FillRandom(), b.FillRandom(), out.FillRandom();
    std::vector<float> acc(8 * 4 * 4, 1.0f);
    const auto sa = a.Snapshot(), sb = b.Snapshot(), so = out.Snapshot();
    auto blend = [&](const unsigned char* first, unsigned char* o, int fmt, int depth, int w, int h, int mode) {
        LyPixelUtils::BlendingImages(first, a.pitch(), b.data(), b.pitch(), o, out.pitch(), ELyPixelFormat(fmt),
                                     depth, 0.5, w, h, ELyBlendingMode(mode));
        LyPixelUtils::BlendingImages(first, a.pitch(), ELyPixelFormat(fmt), depth, first ? acc.data() : nullptr, 32,
                                     0.5f, w, h, ELyBlendingMode(mode));
    };
    blend(a.data(), out.data(), 1, 8, 8, 4, 5);
    blend(a.data(), out.data(), 1, 8, 8, 4, -1);
    blend(a.data(), out.data(), 4, 8, 8, 4, 0);
    blend(a.data(), out.data(), 0, 8, 8, 4, 0);
    blend(a.data(), out.data(), 3, 10, 8, 4, 0);
    blend(a.data(), out.data(), 1, 8, 0, 4, 0);
    blend(a.data(), out.data(), 1, 8, 8, -1, 0);
    blend(nullptr, out.data(), 1, 8, 8, 4, 0);
    LyPixelUtils::BlendingImages(a.data(), a.pitch(), b.data(), b.pitch(), a.data(), a.pitch(), PixelFormat_BGRA4444,
                                 8, 0.5, 8, 4, BlendingMode_AverageWithRowBelow);  // in place: refused
    LyPixelUtils::ConvertFloatImage(acc.data(), 32, out.data(), out.pitch(), PixelFormat_Unknown, 8, 8, 4);
    LyPixelUtils::ConvertFloatImage(nullptr, 32, out.data(), out.pitch(), PixelFormat_BGRA4444, 8, 8, 4);
    LyPixelUtils::ConvertFloatImage(acc.data(), 32, out.data(), out.pitch(), PixelFormat_BGRA4444, 8, 0, 4);
    EXPECT_TRUE(a.Snapshot() == sa && b.Snapshot() == sb && out.Snapshot() == so);
    EXPECT_TRUE(std::all_of(acc.begin(), acc.end(), [](float v) { return v == 1.0f; }));
}

// Every float kernel against the reference, including image pitches that
// are not a multiple of 4 and bottom-up accumulators.
TEST(BlendingImagesFloat, EveryKernelMatchesReference) {
    for (int threads : PoolSizes()) {
        ScopedPoolThreads pool(threads);
        for (const Fmt& f : kFormats)
            for (int mode = 0; mode < 4; ++mode)
                for (int h : {15, 16, 17})
                    for (int w : TestWidths()) {
                        ImageLayout li = LayoutsFor(w, h + 1, f.bpp)[(w + h) % 16];
                        TestImage img(li);
                        img.FillRandomWithExtremes();
                        const float o = float(kOpacities[w % 7]);
                        Acc start(h, int(f.floats(w)), w % 3 == 0), expected = start;
                        expected.top = expected.v.data() + (start.top - start.v.data());
                        RefAccumulate(img, expected, f, o, mode, h);
                        for (ly::Isa isa : AvailableIsas()) {
                            ScopedIsa cap(isa);
                            Acc acc = start;
                            acc.top = acc.v.data() + (start.top - start.v.data());
                            LyPixelUtils::BlendingImages(img.data(), img.pitch(), f.format, f.depth, acc.top,
                                                         acc.pitch, o, w, h, ELyBlendingMode(mode));
                            ASSERT_TRUE(acc.v == expected.v) << IsaName(isa) << " T" << threads << " fmt "
                                                             << f.format << "/" << int(f.depth) << " mode " << mode
                                                             << " " << img.Describe();
                        }
                    }
    }
}

// NaN in the accumulator and a NaN opacity: the accumulator's NaN stays
// (quieted), bit for bit, on every path and at every position of a row, so
// the stored bytes do not depend on the processor. A NaN product into a
// number stores the product's NaN.
TEST(BlendingImagesFloat, AccumulatorNaNWinsOverANaNProduct) {
    auto bitsOf = [](float f) { uint32_t b; std::memcpy(&b, &f, 4); return b; };
    auto floatOf = [](uint32_t b) { float f; std::memcpy(&f, &b, 4); return f; };
    const float opacity = floatOf(0x7FC0BEEFu);
    const int w = 41;  // 164 floats: every vector width and a scalar tail
    TestImage img(w, 2, 4);
    img.FillRandom();
    for (ly::Isa isa : AvailableIsas()) {
        ScopedIsa cap(isa);
        for (int mode : {0, 1}) {
            std::vector<float> acc(size_t{4} * w * 2);
            for (size_t i = 0; i < acc.size(); ++i)
                acc[i] = i % 3 == 0 ? floatOf(0x7FC00000u | uint32_t(i)) : i % 3 == 1 ? floatOf(0xFF800000u | (uint32_t(i) + 1)) : 1.0f;
            LyPixelUtils::BlendingImages(img.data(), img.pitch(), PixelFormat_BGRA4444, 8, acc.data(), 4 * w, opacity,
                                         w, 2, ELyBlendingMode(mode));
            for (size_t i = 0; i < acc.size(); ++i) {
                const uint32_t want = i % 3 == 0 ? 0x7FC00000u | uint32_t(i)
                                      : i % 3 == 1 ? 0xFFC00000u | (uint32_t(i) + 1)
                                                   : 0x7FC0BEEFu;
                ASSERT_EQ(want, bitsOf(acc[i])) << IsaName(isa) << " mode " << mode << " float " << i;
            }
        }
    }
}

TEST(ConvertFloatImage, RoundsAndClampsAsDocumented) {
    const float in[8] = {254.5f, 255.6f, -3.0f, 0.5f, 1.5f, 1e10f, -INFINITY, NAN};
    unsigned char bytes[8];
    LyPixelUtils::ConvertFloatImage(in, 8, bytes, 8, PixelFormat_BGRA4444, 8, 2, 1);
    const unsigned char wantBytes[8] = {254, 255, 0, 0, 2, 255, 0, 255};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(bytes[i], wantBytes[i]) << i;
    const float in16[8] = {-3.0f, 1023.7f, -40000.0f, 2.5f, 3.5f, 1e10f, -INFINITY, NAN};
    int16_t samples[8];
    LyPixelUtils::ConvertFloatImage(in16, 8, reinterpret_cast<unsigned char*>(samples), 16, PixelFormat_UYVY422, 16,
                                    4, 1);
    const int16_t want16[8] = {-3, 1023, -32768, 2, 4, 1023, -32768, 1023};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(samples[i], want16[i]) << i;
}

// The caller's rounding mode holds in every band, on every thread.
TEST(ConvertFloatImage, CallerRoundingModeReachesEveryBand) {
    ScopedPoolThreads pool(4);
    std::vector<float> src(40 * 64, 254.25f);
    std::vector<unsigned char> out(40 * 64);
    for (ly::Isa isa : AvailableIsas()) {
        ScopedIsa cap(isa);
        std::fesetround(FE_UPWARD);
        LyPixelUtils::ConvertFloatImage(src.data(), 40, out.data(), 40, PixelFormat_BGRA4444, 8, 10, 64);
        std::fesetround(FE_TONEAREST);
        ASSERT_TRUE(std::all_of(out.begin(), out.end(), [](unsigned char v) { return v == 255; })) << IsaName(isa);
    }
}

// Vector and scalar forms on random and special floats, from unaligned and
// bottom-up sources into outputs of every layout.
TEST(ConvertFloatImage, MatchesScalarEverywhere) {
    for (int threads : PoolSizes()) {
        ScopedPoolThreads pool(threads);
        for (const Fmt& f : kFormats)
            for (int h : {15, 16, 17})
                for (int w : TestWidths()) {
                    const int pitch = int(f.floats(w)) + 3, shift = w % 4;
                    std::vector<unsigned char> raw(size_t(pitch) * h * 4 + 4);
                    for (size_t i = 0; i + 4 <= raw.size(); i += 4) {
                        const uint32_t r = Rng()();
                        float v = float(int(r % 3000) - 1000) * 0.37f;
                        if (r % 61 == 0) v = (r & 64) ? NAN : -INFINITY;
                        std::memcpy(&raw[i], &v, 4);
                    }
                    const bool up = w % 2 == 1;  // bottom-up source
                    const float* src = reinterpret_cast<const float*>(raw.data() + shift +
                                                                      (up ? size_t(pitch) * (h - 1) * 4 : 0));
                    TestImage ref(LayoutsFor(w, h, f.bpp)[w % 16]), out(ref.layout());
                    ref.FillRandom(), out.CopyPixelsFrom(ref);
                    for (ly::Isa isa : AvailableIsas()) {
                        ScopedIsa cap(isa);
                        TestImage& dst = isa == ly::Isa::Scalar ? ref : out;
                        const auto before = dst.Snapshot();
                        LyPixelUtils::ConvertFloatImage(src, up ? -pitch : pitch, dst.data(), dst.pitch(), f.format,
                                                        f.depth, w, h);
                        ASSERT_TRUE(dst.OutsideUnchanged(before));
                        ASSERT_TRUE(SameBytes(ref.Pixels(), dst.Pixels())) << IsaName(isa) << " " << w << "x" << h;
                    }
                }
    }
}

// Several host threads blending and converting at once on a shared pool.
TEST(BlendingImages, ConcurrentCallersGetTheirOwnResults) {
    ScopedPoolThreads pool(4);
    std::vector<std::thread> callers;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t)
        callers.emplace_back([&, t] {
            for (int i = 0; i < 6; ++i)
                if (!BlendCase(kFormats[t % 3], (t + i) % 4, 31 + t, 40, 0.4, false)) failures++;
        });
    for (auto& c : callers) c.join();
    EXPECT_EQ(failures.load(), 0);
}
