// LY_TEST_LABELS: threading
//
// Opacity flattening onto another image, a solid colour and black, checked
// against a plain re-statement of each rule written here, under every
// instruction set and pool size, plus the refusals.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <thread>

#include "LyPixelUtils.h"
#include "test_support.h"

using lytest::TestImage;

namespace {

// ---------------------------------------------------------------- reference

uint32_t Get32(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
void Put32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }
int Chan(uint32_t v, int i) { return static_cast<int>((v >> (8 * i)) & 0xFF); }

uint32_t Opaque(const double c[3]) {
    uint32_t out = 0xFF000000u;
    for (int i = 0; i < 3; ++i) out |= static_cast<uint32_t>(std::clamp(static_cast<int>(c[i]), 0, 255)) << (8 * i);
    return out;
}

// Scaled difference truncated toward zero.
uint32_t RefBuffer(uint32_t s, uint32_t d) {
    const int a = Chan(s, 3);
    if (a == 255) return s;
    double c[3];
    for (int i = 0; i < 3; ++i) c[i] = Chan(d, i) + std::trunc((Chan(s, i) - Chan(d, i)) * a / 256.0);
    return Opaque(c);
}

// Scaled difference floored toward minus infinity.
uint32_t RefColour(uint32_t p, uint32_t colour) {
    const int a = Chan(p, 3);
    if (a == 0) return colour;
    if (a == 255) return p;
    double c[3];
    for (int i = 0; i < 3; ++i) c[i] = Chan(colour, i) + std::floor((Chan(p, i) - Chan(colour, i)) * a / 256.0);
    return Opaque(c);
}

uint32_t RefBlack(uint32_t p) {
    const int a = Chan(p, 3);
    if (a == 255) return p;
    double c[3];
    for (int i = 0; i < 3; ++i) c[i] = std::floor(Chan(p, i) * a / 256.0);
    return Opaque(c);
}

// ---------------------------------------------------------------- data

// Runs of transparent, opaque, repeated (the row cache's case: long enough
// to repeat whole vector blocks) and random pixels.
void FillTitleLike(TestImage& img, std::mt19937& rng = lytest::Rng()) {
    for (int y = 0; y < img.height(); ++y) {
        unsigned char* row = img.row(y);
        lytest::FillRandomWithExtremes(row, img.rowBytes(), rng);
        for (int x = 0; x < img.width();) {
            const int run = 1 + static_cast<int>(rng() % 40);
            const int kind = static_cast<int>(rng() % 4);
            const uint32_t repeat = static_cast<uint32_t>(rng());
            for (int k = 0; k < run && x < img.width(); ++k, ++x) {
                unsigned char* p = row + 4 * x;
                if (kind == 0) p[3] = 0;
                if (kind == 1) p[3] = 255;
                if (kind == 2) Put32(p, repeat);
            }
        }
    }
}

struct Images {
    TestImage src, dst;
    uint32_t colour = 0;
};

using Call = std::function<void(Images&)>;
using PixelRule = std::function<uint32_t(const Images&, int x, int y)>;

// ThreadSanitizer runs this program for its concurrency test; there the
// sweep only needs to run its bands at once, so a sample of it does.
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

// Widths 1..67, heights 1/2/15/16/17, 16 layouts per buffer (alignment, slack,
// pitch direction), pool sizes 1/4/16: every instruction set gives the
// reference's pixels (or, where `refused` says so, leaves them alone), the
// same bytes as the scalar path, and touches nothing outside the
// destination's own pixels.
void Differential(const Call& call, const PixelRule& rule, const std::function<bool(const Images&)>& refused) {
    const auto isas = lytest::AvailableIsas();
    for (int pool : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads threads(pool);
        for (int w : lytest::TestWidths())
            for (int h : lytest::TestHeights()) {
                if (pool > 1 && h < 15) continue;
                if (kThinSweep && w % 8 != 1 && w % 8 != 4) continue;
                for (int i = 0; i < 16; ++i) {
                    if (kThinSweep && i % 5 != w % 5) continue;
                    const auto layouts = lytest::LayoutsFor(w, h, 4);
                    Images im{TestImage(layouts[i]), TestImage(layouts[(i * 5 + 3) % 16])};
                    if ((i + w) % 2) FillTitleLike(im.src); else im.src.FillRandomWithExtremes();
                    if (i % 2) FillTitleLike(im.dst); else im.dst.FillRandomWithExtremes();
                    im.colour = static_cast<uint32_t>(lytest::Rng()()) | 0x10u;
                    if (i % 4 == 1) im.colour &= 0x00FFFFFFu;  // a transparent colour is still a colour
                    const auto start = im.dst.Pixels();
                    std::vector<unsigned char> expected = start;
                    if (!refused(im))
                        for (int y = 0; y < h; ++y)
                            for (int x = 0; x < w; ++x)
                                Put32(expected.data() + static_cast<size_t>(y) * im.dst.rowBytes() + 4 * x,
                                      rule(im, x, y));
                    const auto srcBefore = im.src.Snapshot(), dstBefore = im.dst.Snapshot();
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
                    }
                }
            }
    }
}

uint32_t SrcPixel(const Images& im, int x, int y) { return Get32(im.src.row(y) + 4 * x); }
uint32_t DstPixel(const Images& im, int x, int y) { return Get32(im.dst.row(y) + 4 * x); }

// Runs `op(row, width)` on a one-row image of `width` copies of `pixel` under
// every instruction set and checks every result pixel.
void ExpectRowOf(uint32_t pixel, uint32_t expected, const std::function<void(unsigned char*, int)>& op) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int width : {1, 2, 5, 9, 20, 40, 67}) {
            std::vector<uint32_t> row(width, pixel);
            op(reinterpret_cast<unsigned char*>(row.data()), width);
            for (int x = 0; x < width; ++x)
                ASSERT_EQ(row[x], expected) << std::hex << "pixel " << pixel << " " << lytest::IsaName(isa)
                                            << std::dec << " width " << width << " x " << x;
        }
    }
}

auto BufferOver(uint32_t dstPixel) {
    return [dstPixel](unsigned char* row, int width) {
        std::vector<uint32_t> dst(width, dstPixel);
        LyPixelUtils::MixWithOpacityBuffer(row, 4 * width, reinterpret_cast<unsigned char*>(dst.data()), 4 * width,
                                           width, 1);
        std::memcpy(row, dst.data(), 4 * static_cast<size_t>(width));
    };
}

auto ColourUnder(uint32_t colour) {
    return [colour](unsigned char* row, int width) { LyPixelUtils::MixWithOpacityColor(row, width, 1, 4 * width, colour); };
}

void BlackInPlace(unsigned char* row, int width) { LyPixelUtils::MixWithOpacityBlack(row, width, 1, 4 * width); }

void BlackTwoBuffers(unsigned char* row, int width) {
    std::vector<unsigned char> out(4 * static_cast<size_t>(width), 0xCD);
    LyPixelUtils::MixWithOpacityBlack(row, 4 * width, out.data(), 4 * width, width, 1);
    std::memcpy(row, out.data(), out.size());
}

}  // namespace

// ---------------------------------------------------------------- worked values

TEST(MixWithOpacityBuffer, WorkedValues) {
    // 255 - trunc(255 * 128 / 256) = 128 on each channel.
    ExpectRowOf(0x80000000u, 0xFF808080u, BufferOver(0x00FFFFFFu));
    // Transparent source: destination colour kept, made opaque.
    ExpectRowOf(0x00123456u, 0xFFABCDEFu, BufferOver(0x10ABCDEFu));
    // Opaque source: the source word itself.
    ExpectRowOf(0xFF010203u, 0xFF010203u, BufferOver(0x7FFFFFFFu));
    // A difference of -1 at alpha 128 truncates to 0 (the colour rule floors
    // the same case to -1).
    ExpectRowOf(0x80000000u, 0xFF010101u, BufferOver(0x00010101u));
}

TEST(MixWithOpacityColor, WorkedValues) {
    // A transparent pixel takes the colour with the colour's own alpha.
    ExpectRowOf(0x00FFFFFFu, 0x80FF0000u, ColourUnder(0x80FF0000u));
    // Pixel 0 is also the row cache's starting input: it must still give the colour.
    ExpectRowOf(0x00000000u, 0x80FF0000u, ColourUnder(0x80FF0000u));
    // Alpha 128 ends opaque: red 255 + floor(-255 * 128 / 256) = 127.
    ExpectRowOf(0x80000000u, 0xFF7F0000u, ColourUnder(0x80FF0000u));
    ExpectRowOf(0x80FFFFFFu, 0xFFFF7F7Fu, ColourUnder(0x80FF0000u));
    // -1 at alpha 128 floors to -1.
    ExpectRowOf(0x80000000u, 0xFF000000u, ColourUnder(0x00010101u));
    // Opaque pixels are kept.
    ExpectRowOf(0xFF123456u, 0xFF123456u, ColourUnder(0x80FF0000u));
}

TEST(MixWithOpacityBlack, WorkedValuesBothForms) {
    for (auto op : {&BlackInPlace, &BlackTwoBuffers}) {
        ExpectRowOf(0x80FFFFFFu, 0xFF7F7F7Fu, op);  // 127.5 floored
        ExpectRowOf(0x00FFFFFFu, 0xFF000000u, op);
        ExpectRowOf(0x00000000u, 0xFF000000u, op);
        ExpectRowOf(0xFF123456u, 0xFF123456u, op);
        ExpectRowOf(0x01FFFFFFu, 0xFF000000u, op);
    }
}

// ---------------------------------------------------------------- differential sweeps

TEST(MixWithOpacityBuffer, MatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::MixWithOpacityBuffer(im.src.data(), im.src.pitch(), im.dst.data(), im.dst.pitch(),
                                               im.dst.width(), im.dst.height());
        },
        [](const Images& im, int x, int y) { return RefBuffer(SrcPixel(im, x, y), DstPixel(im, x, y)); },
        [](const Images& im) { return im.src.pitch() < 1 || im.dst.pitch() < 1; });
}

TEST(MixWithOpacityColor, MatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::MixWithOpacityColor(im.dst.data(), im.dst.width(), im.dst.height(), im.dst.pitch(),
                                              im.colour);
        },
        [](const Images& im, int x, int y) { return RefColour(DstPixel(im, x, y), im.colour); },
        [](const Images& im) { return im.dst.pitch() < 1 || im.colour == 0; });
}

TEST(MixWithOpacityBlack, InPlaceMatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::MixWithOpacityBlack(im.dst.data(), im.dst.width(), im.dst.height(), im.dst.pitch());
        },
        [](const Images& im, int x, int y) { return RefBlack(DstPixel(im, x, y)); },
        [](const Images& im) { return im.dst.pitch() < 1; });
}

TEST(MixWithOpacityBlack, TwoBuffersMatchesReferenceOnEveryIsaLayoutAndPool) {
    Differential(
        [](Images& im) {
            LyPixelUtils::MixWithOpacityBlack(im.src.data(), im.src.pitch(), im.dst.data(), im.dst.pitch(),
                                              im.dst.width(), im.dst.height());
        },
        [](const Images& im, int x, int y) { return RefBlack(SrcPixel(im, x, y)); },
        [](const Images&) { return false; });
}

// Rows built of 4-pixel groups drawn from two partly transparent values (plus
// the odd transparent or opaque group), so that whole groups and blocks repeat
// each other in every combination: whatever the row cache remembers must be a
// true (input, output) pair.
TEST(MixWithOpacity, RowCacheOnRepeatingGroups) {
    std::mt19937& rng = lytest::Rng();
    const uint32_t palette[4] = {0x80C0A060u, 0x40102030u, 0x00FFFFFFu, 0xFF445566u};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int trial = 0; trial < 300; ++trial) {
            const int width = 1 + static_cast<int>(rng() % 67);
            std::vector<uint32_t> row(width);
            for (int x = 0; x < width; x += 4) {
                const uint32_t v = palette[rng() % 8 < 6 ? rng() % 2 : 2 + rng() % 2];
                for (int k = x; k < std::min(width, x + 4); ++k) row[k] = v;
            }
            auto colour = row, black = row, copy = row;
            std::vector<uint32_t> black2(width);
            LyPixelUtils::MixWithOpacityColor(reinterpret_cast<unsigned char*>(colour.data()), width, 1, 4 * width,
                                              0x20304050u);
            LyPixelUtils::MixWithOpacityBlack(reinterpret_cast<unsigned char*>(black.data()), width, 1, 4 * width);
            LyPixelUtils::MixWithOpacityBlack(reinterpret_cast<unsigned char*>(copy.data()), 4 * width,
                                              reinterpret_cast<unsigned char*>(black2.data()), 4 * width, width, 1);
            for (int x = 0; x < width; ++x) {
                ASSERT_EQ(colour[x], RefColour(row[x], 0x20304050u)) << lytest::IsaName(isa) << " x " << x;
                ASSERT_EQ(black[x], RefBlack(row[x])) << lytest::IsaName(isa) << " x " << x;
                ASSERT_EQ(black2[x], RefBlack(row[x])) << lytest::IsaName(isa) << " x " << x;
            }
        }
    }
}

// ---------------------------------------------------------------- refusals

TEST(MixWithOpacity, RefusalsWriteNothing) {
    lytest::ScopedPoolThreads threads(4);
    TestImage src(9, 16, 4, 1), dst(9, 16, 4, 2);
    FillTitleLike(src);
    FillTitleLike(dst);
    const auto before = dst.Snapshot();
    const int sp = src.pitch(), dp = dst.pitch();
    for (auto [w, h] : {std::pair{0, 16}, {-3, 16}, {9, 0}, {9, -1}, {INT32_MIN, INT32_MIN}}) {
        LyPixelUtils::MixWithOpacityBuffer(src.data(), sp, dst.data(), dp, w, h);
        LyPixelUtils::MixWithOpacityColor(dst.data(), w, h, dp, 0x80FF0000u);
        LyPixelUtils::MixWithOpacityBlack(dst.data(), w, h, dp);
        LyPixelUtils::MixWithOpacityBlack(src.data(), sp, dst.data(), dp, w, h);
    }
    // Pitches below 1, including the bottom-up ones, for the forms that check them.
    for (int pitch : {0, -1, -dp}) {
        LyPixelUtils::MixWithOpacityBuffer(src.data(), pitch, dst.data(), dp, 9, 16);
        LyPixelUtils::MixWithOpacityBuffer(src.data(), sp, dst.data(), pitch, 9, 16);
        LyPixelUtils::MixWithOpacityColor(dst.data(), 9, 16, pitch, 0x80FF0000u);
        LyPixelUtils::MixWithOpacityBlack(dst.data(), 9, 16, pitch);
    }
    LyPixelUtils::MixWithOpacityColor(dst.data(), 9, 16, dp, 0u);
    LyPixelUtils::MixWithOpacityBuffer(nullptr, sp, dst.data(), dp, 9, 16);
    LyPixelUtils::MixWithOpacityBuffer(src.data(), sp, nullptr, dp, 9, 16);
    LyPixelUtils::MixWithOpacityColor(nullptr, 9, 16, dp, 0x80FF0000u);
    LyPixelUtils::MixWithOpacityBlack(nullptr, 9, 16, dp);
    LyPixelUtils::MixWithOpacityBlack(nullptr, sp, dst.data(), dp, 9, 16);
    LyPixelUtils::MixWithOpacityBlack(src.data(), sp, nullptr, dp, 9, 16);
    EXPECT_TRUE(before == dst.Snapshot());
}

// ---------------------------------------------------------------- concurrent callers

// Two threads flattening different images at once (through both pool entry
// routes) get exactly their solo results.
TEST(MixWithOpacityConcurrency, TwoCallersGetTheirSoloResults) {
    lytest::ScopedPoolThreads threads(4);
    TestImage srcA(301, 67, 4, 1), dstA0(301, 67, 4, 6), srcB(257, 80, 4, 3, 9, true), dstB0(257, 80, 4, 0, 2);
    FillTitleLike(srcA);
    FillTitleLike(dstA0);
    FillTitleLike(srcB);
    FillTitleLike(dstB0);
    auto runA = [&](TestImage& d) {
        LyPixelUtils::MixWithOpacityColor(d.data(), 301, 67, d.pitch(), 0x40102030u);
        LyPixelUtils::MixWithOpacityBuffer(srcA.data(), srcA.pitch(), d.data(), d.pitch(), 301, 67);
    };
    auto runB = [&](TestImage& d) {
        LyPixelUtils::MixWithOpacityBlack(srcB.data(), srcB.pitch(), d.data(), d.pitch(), 257, 80);
        LyPixelUtils::MixWithOpacityBlack(d.data(), 257, 80, d.pitch());
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
