// LY_TEST_LABELS: threading
//
// Opacity flattening onto another image, a solid colour and black, checked
// against a plain re-statement of each rule written here, under every
// instruction set and pool size, plus the refusals.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <thread>

#include "LyPixelUtils.h"
#include "test_support.h"

using lytest::TestImage;

namespace {

uint32_t Get32(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
int Chan(uint32_t v, int i) { return static_cast<int>((v >> (8 * i)) & 0xFF); }

// B, G, R from `channel(i)`, alpha 255.
uint32_t Opaque(const std::function<double(int)>& channel) {
    uint32_t out = 0xFF000000u;
    for (int i = 0; i < 3; ++i)
        out |= static_cast<uint32_t>(std::clamp(static_cast<int>(channel(i)), 0, 255)) << (8 * i);
    return out;
}

uint32_t RefBuffer(uint32_t s, uint32_t d) {  // scaled difference truncated toward zero
    const int a = Chan(s, 3);
    return a == 255 ? s : Opaque([&](int i) { return Chan(d, i) + std::trunc((Chan(s, i) - Chan(d, i)) * a / 256.0); });
}

uint32_t RefColour(uint32_t p, uint32_t c) {  // scaled difference floored
    const int a = Chan(p, 3);
    if (a == 0 || a == 255) return a == 0 ? c : p;
    return Opaque([&](int i) { return Chan(c, i) + std::floor((Chan(p, i) - Chan(c, i)) * a / 256.0); });
}

uint32_t RefBlack(uint32_t p) {
    const int a = Chan(p, 3);
    return a == 255 ? p : Opaque([&](int i) { return std::floor(Chan(p, i) * a / 256.0); });
}

struct Images {
    TestImage &src, &dst;
    uint32_t colour = 0;
};

// Drawn from the source's first pixel, so the reference and every run see
// the same colour; every fourth size gets a transparent one (still a colour).
Images View(const lytest::SweepImages& im) {
    const TestImage& src = *im[0];
    uint32_t colour = 0x10u;
    if (src.width() > 0 && src.height() > 0) {
        std::memcpy(&colour, src.row(0), 4);
        colour |= 0x10u;
    }
    if ((src.width() + src.height()) % 4 == 1) colour &= 0x00FFFFFFu;
    return Images{*im[0], *im[1], colour};
}

// The shared sweep with a source and a destination: every instruction set,
// layout and pool size gives the reference's pixels, or leaves them alone
// where `refused` says so, and touches nothing outside the destination's
// own pixels nor any source byte.
void Differential(const std::function<void(Images&)>& call,
                  const std::function<uint32_t(const Images&, int, int)>& rule,
                  const std::function<bool(const Images&)>& refused) {
    lytest::ExpectAllPathsAgree(
        [](int w, int h, int layout) {
            return std::vector<lytest::SweepPlane>{{lytest::SweepLayout(w, h, 4, layout, 0), false},
                                                   {lytest::SweepLayout(w, h, 4, layout, 1), true}};
        },
        [&](lytest::SweepImages& im) { Images m = View(im); call(m); },
        false,
        [&](const lytest::SweepImages& im) {
            const Images m = View(im);
            auto expected = m.dst.Pixels();
            if (!refused(m))
                for (int y = 0; y < m.dst.height(); ++y)
                    for (int x = 0; x < m.dst.width(); ++x) {
                        const uint32_t v = rule(m, x, y);
                        std::memcpy(expected.data() + static_cast<size_t>(y) * m.dst.rowBytes() + 4 * x, &v, 4);
                    }
            return expected;
        });
}

uint32_t Src(const Images& im, int x, int y) { return Get32(im.src.row(y) + 4 * x); }
uint32_t Dst(const Images& im, int x, int y) { return Get32(im.dst.row(y) + 4 * x); }

// Runs `op(row, width)` on rows of `width` copies of `pixel` (long enough to
// reach every vector path and the row cache) under every instruction set.
using RowOp = std::function<void(unsigned char*, int)>;
void ExpectRowOf(uint32_t pixel, uint32_t expected, const RowOp& op) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int width : {1, 2, 5, 9, 20, 40, 67}) {
            std::vector<uint32_t> row(width, pixel);
            op(reinterpret_cast<unsigned char*>(row.data()), width);
            for (int x = 0; x < width; ++x)
                ASSERT_EQ(row[x], expected)
                    << std::hex << pixel << " " << lytest::IsaName(isa) << std::dec << " width " << width << " x " << x;
        }
    }
}

RowOp BufferOver(uint32_t dstPixel) {
    return [dstPixel](unsigned char* row, int width) {
        std::vector<uint32_t> dst(width, dstPixel);
        LyPixelUtils::MixWithOpacityBuffer(row, 4 * width, reinterpret_cast<unsigned char*>(dst.data()), 4 * width,
                                           width, 1);
        std::memcpy(row, dst.data(), 4 * static_cast<size_t>(width));
    };
}
RowOp ColourUnder(uint32_t colour) {
    return [colour](unsigned char* row, int width) {
        LyPixelUtils::MixWithOpacityColor(row, width, 1, 4 * width, colour);
    };
}
void BlackInPlace(unsigned char* row, int width) { LyPixelUtils::MixWithOpacityBlack(row, width, 1, 4 * width); }
void BlackTwoBuffers(unsigned char* row, int width) {
    std::vector<unsigned char> out(4 * static_cast<size_t>(width), 0xCD);
    LyPixelUtils::MixWithOpacityBlack(row, 4 * width, out.data(), 4 * width, width, 1);
    std::memcpy(row, out.data(), out.size());
}

}  // namespace

// ---------------------------------------------------------------- worked values

TEST(MixWithOpacity, WorkedValues) {
    ExpectRowOf(0x80000000u, 0xFF808080u, BufferOver(0x00FFFFFFu));   // 255 - trunc(255 * 128 / 256) = 128
    ExpectRowOf(0x00123456u, 0xFFABCDEFu, BufferOver(0x10ABCDEFu));   // transparent: colour kept, made opaque
    ExpectRowOf(0xFF010203u, 0xFF010203u, BufferOver(0x7FFFFFFFu));   // opaque: the source word
    ExpectRowOf(0x80000000u, 0xFF010101u, BufferOver(0x00010101u));   // -1 at 128 truncates to 0 ...
    ExpectRowOf(0x80000000u, 0xFF000000u, ColourUnder(0x00010101u));  // ... and the colour rule floors it to -1

    ExpectRowOf(0x00FFFFFFu, 0x80FF0000u, ColourUnder(0x80FF0000u));  // transparent: the colour, its alpha too
    ExpectRowOf(0x00000000u, 0x80FF0000u, ColourUnder(0x80FF0000u));  // pixel 0 is the cache's starting input
    ExpectRowOf(0x80000000u, 0xFF7F0000u, ColourUnder(0x80FF0000u));  // red 255 + floor(-127.5) = 127
    ExpectRowOf(0x80FFFFFFu, 0xFFFF7F7Fu, ColourUnder(0x80FF0000u));
    ExpectRowOf(0xFF123456u, 0xFF123456u, ColourUnder(0x80FF0000u));

    for (void (*op)(unsigned char*, int) : {&BlackInPlace, &BlackTwoBuffers}) {
        ExpectRowOf(0x80FFFFFFu, 0xFF7F7F7Fu, op);  // 127.5 floored
        ExpectRowOf(0x00000000u, 0xFF000000u, op);
        ExpectRowOf(0x01FFFFFFu, 0xFF000000u, op);
        ExpectRowOf(0xFF123456u, 0xFF123456u, op);
    }
}

// Colour, black in place and black into a second buffer over one row, against the rules.
::testing::AssertionResult FlattensRow(const std::vector<uint32_t>& row, uint32_t colour) {
    const int w = static_cast<int>(row.size());
    auto c = row, b = row, b2 = row;
    auto bytes = [](std::vector<uint32_t>& v) { return reinterpret_cast<unsigned char*>(v.data()); };
    LyPixelUtils::MixWithOpacityColor(bytes(c), w, 1, 4 * w, colour);
    LyPixelUtils::MixWithOpacityBlack(bytes(b), w, 1, 4 * w);
    LyPixelUtils::MixWithOpacityBlack(reinterpret_cast<const unsigned char*>(row.data()), 4 * w, bytes(b2), 4 * w, w, 1);
    for (int x = 0; x < w; ++x)
        if (c[x] != RefColour(row[x], colour) || b[x] != RefBlack(row[x]) || b2[x] != RefBlack(row[x]))
            return ::testing::AssertionFailure() << lytest::IsaName(ly::ActiveIsa()) << " x " << x;
    return ::testing::AssertionSuccess();
}

// Rows of 4-pixel groups drawn from two partly transparent values (and the odd
// transparent or opaque group), so that groups and blocks repeat each other in
// every combination: whatever the row cache remembers must be a true
// (input, output) pair. Then groups that are neither wholly opaque nor wholly
// transparent: a transparent pixel among them still takes the colour (its alpha
// included), an opaque one stays itself, extreme channels give extreme products.
TEST(MixWithOpacity, RowCacheAndMixedGroupsKeepEachPixelsRule) {
    std::mt19937& rng = lytest::Rng();
    const uint32_t palette[4] = {0x80C0A060u, 0x40102030u, 0x00FFFFFFu, 0xFF445566u};
    const uint32_t kinds[] = {0x00FFFFFFu, 0xFF00FF00u, 0x01FF00FFu, 0xFEFFFFFFu, 0x80000000u, 0x7FFF80FFu};
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int trial = 0; trial < 300; ++trial) {
            std::vector<uint32_t> row(1 + rng() % 67);
            for (size_t x = 0; x < row.size(); x += 4)
                std::fill(row.begin() + x, row.begin() + std::min(row.size(), x + 4),
                          palette[rng() % 8 < 6 ? rng() % 2 : 2 + rng() % 2]);
            ASSERT_TRUE(FlattensRow(row, 0x20304050u));
        }
        for (uint32_t colour : {0x37FF00A0u, 0xFFFFFFFFu, 0x000000FFu})
            for (int phase = 0; phase < 6; ++phase) {
                std::vector<uint32_t> row(48);
                for (int x = 0; x < 48; ++x) row[x] = kinds[(x * (phase + 1) + phase) % 6];
                ASSERT_TRUE(FlattensRow(row, colour)) << std::hex << colour << " phase " << phase;
            }
    }
}

// ---------------------------------------------------------------- differential sweeps

TEST(MixWithOpacity, EveryOperationMatchesReferenceOnEveryIsaLayoutAndPool) {
    const struct {
        const char* name;
        std::function<void(Images&)> call;
        std::function<uint32_t(const Images&, int, int)> rule;
        std::function<bool(const Images&)> refused;
    } ops[] = {
        {"MixWithOpacityBuffer",
         [](Images& m) {
             LyPixelUtils::MixWithOpacityBuffer(m.src.data(), m.src.pitch(), m.dst.data(), m.dst.pitch(), m.dst.width(),
                                                m.dst.height());
         },
         [](const Images& m, int x, int y) { return RefBuffer(Src(m, x, y), Dst(m, x, y)); },
         [](const Images& m) { return m.src.pitch() < 1 || m.dst.pitch() < 1; }},
        {"MixWithOpacityColor",
         [](Images& m) {
             LyPixelUtils::MixWithOpacityColor(m.dst.data(), m.dst.width(), m.dst.height(), m.dst.pitch(), m.colour);
         },
         [](const Images& m, int x, int y) { return RefColour(Dst(m, x, y), m.colour); },
         [](const Images& m) { return m.dst.pitch() < 1; }},
        {"MixWithOpacityBlack in place",
         [](Images& m) {
             LyPixelUtils::MixWithOpacityBlack(m.dst.data(), m.dst.width(), m.dst.height(), m.dst.pitch());
         },
         [](const Images& m, int x, int y) { return RefBlack(Dst(m, x, y)); },
         [](const Images& m) { return m.dst.pitch() < 1; }},
        {"MixWithOpacityBlack two buffers",
         [](Images& m) {
             LyPixelUtils::MixWithOpacityBlack(m.src.data(), m.src.pitch(), m.dst.data(), m.dst.pitch(), m.dst.width(),
                                               m.dst.height());
         },
         [](const Images& m, int x, int y) { return RefBlack(Src(m, x, y)); }, [](const Images&) { return false; }},
    };
    for (const auto& op : ops) {
        SCOPED_TRACE(op.name);
        Differential(op.call, op.rule, op.refused);
        if (HasFatalFailure()) return;
    }
}

// ---------------------------------------------------------------- refusals

TEST(MixWithOpacity, RefusalsWriteNothing) {
    lytest::ScopedPoolThreads threads(4);
    TestImage src(9, 16, 4, 1), dst(9, 16, 4, 2);
    lytest::FillTitleLike(src);
    lytest::FillTitleLike(dst);
    const auto before = dst.Snapshot();
    unsigned char *s = src.data(), *d = dst.data();
    const int sp = src.pitch(), dp = dst.pitch();
    for (auto [w, h] : {std::pair{0, 16}, {-3, 16}, {9, 0}, {9, -1}, {INT32_MIN, INT32_MIN}}) {
        LyPixelUtils::MixWithOpacityBuffer(s, sp, d, dp, w, h);
        LyPixelUtils::MixWithOpacityColor(d, w, h, dp, 0x80FF0000u);
        LyPixelUtils::MixWithOpacityBlack(d, w, h, dp);
        LyPixelUtils::MixWithOpacityBlack(s, sp, d, dp, w, h);
    }
    for (int pitch : {0, -1, -dp}) {  // includes bottom-up images
        LyPixelUtils::MixWithOpacityBuffer(s, pitch, d, dp, 9, 16);
        LyPixelUtils::MixWithOpacityBuffer(s, sp, d, pitch, 9, 16);
        LyPixelUtils::MixWithOpacityColor(d, 9, 16, pitch, 0x80FF0000u);
        LyPixelUtils::MixWithOpacityBlack(d, 9, 16, pitch);
    }
    LyPixelUtils::MixWithOpacityColor(d, 9, 16, dp, 0u);
    LyPixelUtils::MixWithOpacityBuffer(nullptr, sp, d, dp, 9, 16);
    LyPixelUtils::MixWithOpacityBuffer(s, sp, nullptr, dp, 9, 16);
    LyPixelUtils::MixWithOpacityColor(nullptr, 9, 16, dp, 0x80FF0000u);
    LyPixelUtils::MixWithOpacityBlack(nullptr, 9, 16, dp);
    LyPixelUtils::MixWithOpacityBlack(nullptr, sp, d, dp, 9, 16);
    LyPixelUtils::MixWithOpacityBlack(s, sp, nullptr, dp, 9, 16);
    EXPECT_TRUE(before == dst.Snapshot());
}

// ---------------------------------------------------------------- concurrent callers

// Two threads flattening different images at once, through both pool entry
// routes, get exactly their solo results.
TEST(MixWithOpacityConcurrency, TwoCallersGetTheirSoloResults) {
    lytest::ScopedPoolThreads threads(4);
    TestImage srcA(301, 67, 4, 1), dstA(301, 67, 4, 6), srcB(257, 80, 4, 3, 9, true), dstB(257, 80, 4, 0, 2);
    for (TestImage* t : {&srcA, &dstA, &srcB, &dstB}) lytest::FillTitleLike(*t);
    const std::function<void(TestImage&)> runA = [&](TestImage& d) {
        LyPixelUtils::MixWithOpacityColor(d.data(), 301, 67, d.pitch(), 0x40102030u);
        LyPixelUtils::MixWithOpacityBuffer(srcA.data(), srcA.pitch(), d.data(), d.pitch(), 301, 67);
    };
    const std::function<void(TestImage&)> runB = [&](TestImage& d) {
        LyPixelUtils::MixWithOpacityBlack(srcB.data(), srcB.pitch(), d.data(), d.pitch(), 257, 80);
        LyPixelUtils::MixWithOpacityBlack(d.data(), 257, 80, d.pitch());
    };
    lytest::ExpectConcurrentCallersMatchSolo(dstA, runA, dstB, runB);
}
