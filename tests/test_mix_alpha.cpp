// LY_TEST_LABELS: threading
//
// Straight-alpha mixing: the lone-pixel and pair rules, the masked mix and the
// two alpha punch-outs, checked against a plain re-statement of the rules
// written here (floating-point floors, divisions instead of the library's
// tables), under every instruction set and pool size.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <thread>

#include "LyPixelUtils.h"
#include "test_support.h"

using lytest::ImageLayout;
using lytest::TestImage;

namespace {

// ---------------------------------------------------------------- reference

uint32_t Get32(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
void Put32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }

int FloorDiv(int n, int d) { return static_cast<int>(std::floor(static_cast<double>(n) / d)); }

uint32_t Pack(int b, int g, int r, int a) {
    return static_cast<uint32_t>(b) | static_cast<uint32_t>(g) << 8 | static_cast<uint32_t>(r) << 16 |
           static_cast<uint32_t>(a) << 24;
}
int Chan(uint32_t v, int i) { return static_cast<int>((v >> (8 * i)) & 0xFF); }

uint32_t MoveTowards(uint32_t s, uint32_t d, int w, int outA) {
    int c[3];
    for (int i = 0; i < 3; ++i) c[i] = std::clamp(Chan(d, i) + FloorDiv((Chan(s, i) - Chan(d, i)) * w, 128), 0, 255);
    return Pack(c[0], c[1], c[2], outA);
}

uint32_t RefLone(uint32_t s, uint32_t d) {
    const int sA = Chan(s, 3), dA = Chan(d, 3);
    if (sA == 0) return d;
    if (dA == 0 || sA == 255) return s;
    const int outA = dA + sA - FloorDiv(dA * sA, 255);
    return MoveTowards(s, d, FloorDiv(128 * sA, outA) % 256, outA);
}

uint32_t RefPaired(uint32_t s, uint32_t d) {
    const int sA = Chan(s, 3), dA = Chan(d, 3);
    const int outA = std::min(dA + sA - FloorDiv(dA * sA, 256), 255);
    const int w = outA == 0 ? 0 : FloorDiv(128 * sA, outA) % 256;
    return MoveTowards(s, d, w, outA);
}

uint32_t RefMasked(uint32_t s, int m) { return (s & 0x00FFFFFFu) | static_cast<uint32_t>(FloorDiv(Chan(s, 3) * m + 255, 256)) << 24; }

uint32_t RefSubtract(uint32_t d, int amount) {
    return (d & 0x00FFFFFFu) | static_cast<uint32_t>(std::max(Chan(d, 3) - amount, 0)) << 24;
}

void RefMixRow(const unsigned char* s, const unsigned char* m, unsigned char* d, int width) {
    for (int x = 0; x < width; ++x) {
        uint32_t sv = Get32(s + 4 * x);
        if (m) sv = RefMasked(sv, m[x]);
        const bool lone = (width & 1) && x == width - 1;
        Put32(d + 4 * x, lone ? RefLone(sv, Get32(d + 4 * x)) : RefPaired(sv, Get32(d + 4 * x)));
    }
}

// ---------------------------------------------------------------- data

// Runs of fully transparent, fully opaque, repeated and random pixels, the
// way a title layer looks, so that every skip and copy path is reached.
void FillTitleLike(TestImage& img, std::mt19937& rng = lytest::Rng()) {
    const int bpp = img.layout().bytesPerPixel;
    for (int y = 0; y < img.height(); ++y) {
        unsigned char* row = img.row(y);
        lytest::FillRandomWithExtremes(row, img.rowBytes(), rng);
        for (int x = 0; x < img.width();) {
            const int run = 1 + static_cast<int>(rng() % 20);
            const int kind = static_cast<int>(rng() % 4);
            unsigned char repeat[4];
            lytest::FillRandom(repeat, 4, rng);
            for (int k = 0; k < run && x < img.width(); ++k, ++x) {
                unsigned char* p = row + x * bpp;
                if (kind == 0) p[bpp - 1] = 0;
                if (kind == 1) p[bpp - 1] = 255;
                if (kind == 2) std::memcpy(p, repeat, bpp);
            }
        }
    }
}

void FillFor(TestImage& img, int variant) {
    if (variant % 2) FillTitleLike(img); else img.FillRandomWithExtremes();
}

std::vector<unsigned char> PixelsAfter(const TestImage& dst0, const std::function<void(int y, unsigned char* row)>& rowRef) {
    std::vector<unsigned char> out = dst0.Pixels();
    for (int y = 0; y < dst0.height(); ++y) rowRef(y, out.data() + static_cast<size_t>(y) * dst0.rowBytes());
    return out;
}

// ThreadSanitizer runs this program for its concurrency tests. The sweep's
// arithmetic is already checked by the other builds; there it only needs to
// run its bands at once, so a sample of the widths and layouts does.
#if defined(__SANITIZE_THREAD__)
constexpr bool kThinSweep = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kThinSweep = true;
#else
constexpr bool kThinSweep = false;
#endif
#else
constexpr bool kThinSweep = false;
#endif

// One case of the differential sweep: the inputs, a destination, and the
// library call under test.
struct Images {
    TestImage src, mask, dst;
};

using Call = std::function<void(Images&)>;
using Expect = std::function<std::vector<unsigned char>(const Images&)>;

// For every pool size, width 1..67, height 1/2/15/16/17 and 16 layouts (each
// buffer with its own alignment, slack and pitch direction): the result under
// each instruction set equals the reference, the scalar result equals the
// vector ones, and no byte outside the destination's own pixels (nor any
// byte of the inputs) changes. Heights under 15 run on the calling thread
// whatever the pool, so they are swept once.
void Differential(const Call& call, const Expect& expect) {
    const auto isas = lytest::AvailableIsas();
    for (int pool : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads threads(pool);
        for (int w : lytest::TestWidths())
            for (int h : lytest::TestHeights()) {
                if (pool > 1 && h < 15) continue;
                if (kThinSweep && w % 8 != 1 && w % 8 != 4) continue;
                for (int i = 0; i < 16; ++i) {
                    if (kThinSweep && i % 5 != w % 5) continue;
                    const auto l4 = lytest::LayoutsFor(w, h, 4);
                    const auto l1 = lytest::LayoutsFor(w, h, 1);
                    Images im{TestImage(l4[i]), TestImage(l1[(i * 7 + 5) % 16]), TestImage(l4[(i * 5 + 3) % 16])};
                    FillFor(im.src, i + w);
                    FillFor(im.mask, i + h);
                    FillFor(im.dst, i);
                    const auto start = im.dst.Pixels();
                    const auto expected = expect(im);
                    const auto srcBefore = im.src.Snapshot(), maskBefore = im.mask.Snapshot(),
                               dstBefore = im.dst.Snapshot();
                    std::vector<unsigned char> scalar;
                    for (ly::Isa isa : isas) {
                        lytest::ScopedIsa cap(isa);
                        for (int y = 0; y < h; ++y)
                            std::memcpy(im.dst.row(y), start.data() + static_cast<size_t>(y) * im.dst.rowBytes(),
                                        im.dst.rowBytes());
                        call(im);
                        const auto got = im.dst.Pixels();
                        if (scalar.empty()) scalar = got;
                        ASSERT_TRUE(lytest::SameBytes(expected, got))
                            << lytest::IsaName(isa) << " pool " << pool << " dst " << im.dst.Describe() << " src "
                            << im.src.Describe();
                        ASSERT_TRUE(lytest::SameBytes(scalar, got)) << lytest::IsaName(isa) << " against scalar";
                        ASSERT_TRUE(im.dst.OutsideUnchanged(dstBefore)) << im.dst.Describe();
                        ASSERT_TRUE(im.src.Snapshot() == srcBefore) << "source written";
                        ASSERT_TRUE(im.mask.Snapshot() == maskBefore) << "mask written";
                    }
                }
            }
    }
}

// Every (source alpha, destination alpha) combination once, random colours.
void FillAllAlphaPairs(TestImage& src, TestImage& dst) {
    src.FillRandom();
    dst.FillRandom();
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            src.pixel(x, y)[3] = static_cast<unsigned char>(x);
            dst.pixel(x, y)[3] = static_cast<unsigned char>(y);
        }
}

}  // namespace

// ---------------------------------------------------------------- worked values

TEST(MixTwoColor, WorkedValuesAndShortCuts) {
    // 128 over 128: union alpha 192, weight floor(128 * 128 / 192) = 85; the
    // blue difference of -1 floors to -1 (truncation would keep 51).
    uint32_t s = 0x80C86432u, d = 0x800A1433u;
    LyPixelUtils::MixTwoColor(s, d);
    EXPECT_EQ(d, 0xC0884932u);
    EXPECT_EQ(s, 0x80C86432u);

    // Transparent source: destination untouched, colour included.
    s = 0x00FFFFFFu;
    d = 0x7F123456u;
    LyPixelUtils::MixTwoColor(s, d);
    EXPECT_EQ(d, 0x7F123456u);

    // Transparent destination: the source word is copied whole, even alpha 1.
    s = 0x01ABCDEFu;
    d = 0x00123456u;
    LyPixelUtils::MixTwoColor(s, d);
    EXPECT_EQ(d, 0x01ABCDEFu);

    // Opaque source: copied whatever lies below.
    s = 0xFF010203u;
    d = 0xFEFFFFFFu;
    LyPixelUtils::MixTwoColor(s, d);
    EXPECT_EQ(d, 0xFF010203u);
}

TEST(MixTwoColor, EveryAlphaPairMatchesReference) {
    std::mt19937& rng = lytest::Rng();
    for (int sA = 0; sA < 256; ++sA)
        for (int dA = 0; dA < 256; ++dA) {
            const uint32_t s0 = (rng() & 0x00FFFFFFu) | static_cast<uint32_t>(sA) << 24;
            const uint32_t d0 = (rng() & 0x00FFFFFFu) | static_cast<uint32_t>(dA) << 24;
            uint32_t s = s0, d = d0;
            LyPixelUtils::MixTwoColor(s, d);
            ASSERT_EQ(d, RefLone(s0, d0)) << "sA " << sA << " dA " << dA;
        }
}

// With dA = 3 and sA = 85 the pair rule gives alpha 88 (weight 123), the lone
// rule 87 (weight 125): a row of three shows both side by side.
TEST(MixColor, PairAndLoneRulesSideBySide) {
    const uint32_t s = Pack(200, 100, 0, 85), d = Pack(0, 50, 255, 3);
    const uint32_t pairResult = 0x580962C0u, loneResult = 0x570562C3u;
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int width : {1, 2, 3, 9}) {
            std::vector<uint32_t> src(width, s), dst(width, d);
            LyPixelUtils::MixColor(reinterpret_cast<unsigned char*>(src.data()), 4 * width,
                                   reinterpret_cast<unsigned char*>(dst.data()), 4 * width, width, 1);
            for (int x = 0; x < width; ++x) {
                const bool lone = (width & 1) && x == width - 1;
                EXPECT_EQ(dst[x], lone ? loneResult : pairResult)
                    << lytest::IsaName(isa) << " width " << width << " x " << x;
            }
        }
    }
}

// A 256 x 256 image holding every alpha pair: the vector weight must equal
// the table's quotient everywhere, including the clamp at 255 and sA = 0.
TEST(MixColor, EveryAlphaPairInRowsMatchesReference) {
    TestImage src0(256, 256, 4), dst0(256, 256, 4);
    FillAllAlphaPairs(src0, dst0);
    const auto expected = PixelsAfter(dst0, [&](int y, unsigned char* row) { RefMixRow(src0.row(y), nullptr, row, 256); });
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage dst(256, 256, 4);
        dst.CopyPixelsFrom(dst0);
        LyPixelUtils::MixColor(src0.data(), src0.pitch(), dst.data(), dst.pitch(), 256, 256);
        EXPECT_TRUE(lytest::SameBytes(expected, dst.Pixels())) << lytest::IsaName(isa);
    }
}

TEST(MixColorWithMaskAlpha, MaskExtremes) {
    for (int width : {1, 2, 7, 33}) {
        TestImage src(width, 17, 4, 3), dst0(width, 17, 4, 9), zero(width, 17, 1, 1), full(width, 17, 1, 2);
        FillTitleLike(src);
        dst0.FillRandomWithExtremes();
        zero.Fill(0);
        full.Fill(255);
        for (ly::Isa isa : lytest::AvailableIsas()) {
            lytest::ScopedIsa cap(isa);
            TestImage dst(dst0.layout()), plain(dst0.layout());
            dst.CopyPixelsFrom(dst0);
            LyPixelUtils::MixColorWithMaskAlpha(src.data(), src.pitch(), zero.data(), zero.pitch(), dst.data(),
                                                dst.pitch(), width, 17);
            EXPECT_TRUE(lytest::SameBytes(dst0.Pixels(), dst.Pixels())) << "mask 0, width " << width;

            LyPixelUtils::MixColorWithMaskAlpha(src.data(), src.pitch(), full.data(), full.pitch(), dst.data(),
                                                dst.pitch(), width, 17);
            plain.CopyPixelsFrom(dst0);
            LyPixelUtils::MixColor(src.data(), src.pitch(), plain.data(), plain.pitch(), width, 17);
            EXPECT_TRUE(lytest::SameBytes(plain.Pixels(), dst.Pixels())) << "mask 255, width " << width;
        }
    }
}

TEST(OverlayColor, PunchesAlphaAndIgnoresSourceColour) {
    // Source alpha above destination alpha: alpha 0, colour kept; below: the
    // difference. The source colour must not leak in.
    uint32_t src[6] = {0x90FFFFFFu, 0x10000000u, 0xFF123456u, 0x00FFFFFFu, 0x80ABCDEFu, 0x01FFFFFFu};
    uint32_t dst[6] = {0x80010203u, 0x80010203u, 0xFFFFFFFFu, 0x40FFFFFFu, 0x80000000u, 0x00777777u};
    const uint32_t expected[6] = {0x00010203u, 0x70010203u, 0x00FFFFFFu, 0x40FFFFFFu, 0x00000000u, 0x00777777u};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        uint32_t out[6];
        std::memcpy(out, dst, sizeof out);
        // Width 4 then 2 takes a four-pixel group and the one-by-one tail.
        LyPixelUtils::OverlayColor(reinterpret_cast<unsigned char*>(src), 16, reinterpret_cast<unsigned char*>(out),
                                   16, 4, 1);
        LyPixelUtils::OverlayColor(reinterpret_cast<unsigned char*>(src + 4), 8,
                                   reinterpret_cast<unsigned char*>(out + 4), 8, 2, 1);
        for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], expected[i]) << lytest::IsaName(isa) << " pixel " << i;
    }
}

// ---------------------------------------------------------------- differential sweeps

TEST(MixColor, MatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::MixColor(im.src.data(), im.src.pitch(), im.dst.data(), im.dst.pitch(), im.dst.width(),
                                   im.dst.height());
        },
        [](const Images& im) {
            return PixelsAfter(im.dst, [&](int y, unsigned char* row) { RefMixRow(im.src.row(y), nullptr, row, im.dst.width()); });
        });
}

TEST(MixColorWithMaskAlpha, MatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::MixColorWithMaskAlpha(im.src.data(), im.src.pitch(), im.mask.data(), im.mask.pitch(),
                                                im.dst.data(), im.dst.pitch(), im.dst.width(), im.dst.height());
        },
        [](const Images& im) {
            return PixelsAfter(im.dst, [&](int y, unsigned char* row) {
                RefMixRow(im.src.row(y), im.mask.row(y), row, im.dst.width());
            });
        });
}

TEST(OverlayColor, MatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::OverlayColor(im.src.data(), im.src.pitch(), im.dst.data(), im.dst.pitch(), im.dst.width(),
                                       im.dst.height());
        },
        [](const Images& im) {
            return PixelsAfter(im.dst, [&](int y, unsigned char* row) {
                for (int x = 0; x < im.dst.width(); ++x)
                    Put32(row + 4 * x, RefSubtract(Get32(row + 4 * x), im.src.row(y)[4 * x + 3]));
            });
        });
}

TEST(SubtractImageWithMaskAlpha, MatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::SubtractImageWithMaskAlpha(im.dst.data(), im.dst.pitch(), im.mask.data(), im.mask.pitch(),
                                                     im.dst.width(), im.dst.height());
        },
        [](const Images& im) {
            return PixelsAfter(im.dst, [&](int y, unsigned char* row) {
                for (int x = 0; x < im.dst.width(); ++x)
                    Put32(row + 4 * x, RefSubtract(Get32(row + 4 * x), im.mask.row(y)[x]));
            });
        });
}

// ---------------------------------------------------------------- refusals and the inert form

TEST(MixAlpha, RefusesEmptySizesAndNullBuffers) {
    lytest::ScopedPoolThreads threads(4);
    TestImage src(8, 16, 4), mask(8, 16, 1), dst(8, 16, 4);
    FillTitleLike(src);
    mask.FillRandom();
    dst.FillRandom();
    const auto before = dst.Snapshot();
    const auto p = dst.pitch();
    for (auto [w, h] : {std::pair{0, 16}, {-1, 16}, {8, 0}, {8, -5}, {INT32_MIN, INT32_MIN}}) {
        LyPixelUtils::MixColor(src.data(), src.pitch(), dst.data(), p, w, h);
        LyPixelUtils::MixColorWithMaskAlpha(src.data(), src.pitch(), mask.data(), mask.pitch(), dst.data(), p, w, h);
        LyPixelUtils::OverlayColor(src.data(), src.pitch(), dst.data(), p, w, h);
        LyPixelUtils::SubtractImageWithMaskAlpha(dst.data(), p, mask.data(), mask.pitch(), w, h);
    }
    LyPixelUtils::MixColor(nullptr, src.pitch(), dst.data(), p, 8, 16);
    LyPixelUtils::MixColor(src.data(), src.pitch(), nullptr, p, 8, 16);
    LyPixelUtils::MixColorWithMaskAlpha(src.data(), src.pitch(), nullptr, mask.pitch(), dst.data(), p, 8, 16);
    LyPixelUtils::MixColorWithMaskAlpha(nullptr, src.pitch(), mask.data(), mask.pitch(), dst.data(), p, 8, 16);
    LyPixelUtils::MixColorWithMaskAlpha(src.data(), src.pitch(), mask.data(), mask.pitch(), nullptr, p, 8, 16);
    LyPixelUtils::OverlayColor(nullptr, src.pitch(), dst.data(), p, 8, 16);
    LyPixelUtils::OverlayColor(src.data(), src.pitch(), nullptr, p, 8, 16);
    LyPixelUtils::SubtractImageWithMaskAlpha(dst.data(), p, nullptr, mask.pitch(), 8, 16);
    LyPixelUtils::SubtractImageWithMaskAlpha(nullptr, p, mask.data(), mask.pitch(), 8, 16);
    EXPECT_TRUE(before == dst.Snapshot());
}

// The three-buffer form must touch nothing at any size, banded or not. The
// buffers are one byte long, so the address sanitizer catches any access.
TEST(MixColor, ThreeBufferFormTouchesNothing) {
    for (int pool : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads threads(pool);
        TestImage a(31, 17, 4, 1), b(31, 17, 4, 2, 0, true), c(31, 17, 4, 3);
        a.FillRandom();
        b.FillRandom();
        c.FillRandom();
        const auto sa = a.Snapshot(), sb = b.Snapshot(), sc = c.Snapshot();
        for (int w : {1, 2, 31})
            for (int h : {1, 15, 16, 17})
                LyPixelUtils::MixColor(a.data(), a.pitch(), b.data(), b.pitch(), c.data(), c.pitch(), w, h);
        EXPECT_TRUE(sa == a.Snapshot());
        EXPECT_TRUE(sb == b.Snapshot());
        EXPECT_TRUE(sc == c.Snapshot());

        auto tiny = std::make_unique<unsigned char[]>(1);
        tiny[0] = 0x5A;
        LyPixelUtils::MixColor(tiny.get(), 7680, tiny.get(), -7680, tiny.get(), 7680, 1920, 1080);
        LyPixelUtils::MixColor(nullptr, 0, nullptr, 0, nullptr, 0, INT32_MAX, INT32_MAX);
        LyPixelUtils::MixColor(nullptr, 0, nullptr, 0, nullptr, 0, -1, -1);
        EXPECT_EQ(tiny[0], 0x5A);
    }
}

// ---------------------------------------------------------------- concurrent callers

// Two threads compositing different images at once, each into its own
// destination, get exactly what each gets alone; the pool's per-caller
// queues must keep their bands apart.
TEST(MixAlphaConcurrency, TwoCallersGetTheirSoloResults) {
    lytest::ScopedPoolThreads threads(4);
    TestImage srcA(301, 67, 4, 1), dstA0(301, 67, 4, 6), srcB(257, 80, 4, 3, 9, true), maskB(257, 80, 1, 5),
        dstB0(257, 80, 4, 0, 2, true);
    FillTitleLike(srcA);
    FillTitleLike(srcB);
    FillTitleLike(maskB);
    dstA0.FillRandom();
    dstB0.FillRandom();

    auto runA = [&](TestImage& d) {
        LyPixelUtils::MixColor(srcA.data(), srcA.pitch(), d.data(), d.pitch(), 301, 67);
        LyPixelUtils::OverlayColor(srcB.data(), srcB.pitch(), d.data(), d.pitch(), 257, 67);
    };
    auto runB = [&](TestImage& d) {
        LyPixelUtils::MixColorWithMaskAlpha(srcB.data(), srcB.pitch(), maskB.data(), maskB.pitch(), d.data(),
                                            d.pitch(), 257, 80);
        LyPixelUtils::SubtractImageWithMaskAlpha(d.data(), d.pitch(), maskB.data(), maskB.pitch(), 257, 80);
    };
    TestImage soloA(dstA0.layout()), soloB(dstB0.layout());
    soloA.CopyPixelsFrom(dstA0);
    soloB.CopyPixelsFrom(dstB0);
    runA(soloA);
    runB(soloB);

    std::atomic<int> mismatches{0};
    auto loop = [&](const TestImage& start, const TestImage& solo, auto run) {
        TestImage d(start.layout());
        for (int i = 0; i < 25; ++i) {
            d.CopyPixelsFrom(start);
            run(d);
            if (d.Pixels() != solo.Pixels()) ++mismatches;
        }
    };
    std::thread t1([&] { loop(dstA0, soloA, runA); });
    std::thread t2([&] { loop(dstB0, soloB, runB); });
    t1.join();
    t2.join();
    EXPECT_EQ(mismatches.load(), 0);
}
