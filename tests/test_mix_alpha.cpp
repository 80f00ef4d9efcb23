// LY_TEST_LABELS: threading
//
// Straight-alpha mixing checked against a plain re-statement of the rules
// written here (floating-point floors, divisions instead of the library's
// tables), under every instruction set and pool size.

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "LyPixelUtils.h"
#include "test_support.h"

using namespace LyPixelUtils;
using lytest::TestImage;

namespace {

uint32_t Get32(const unsigned char* p) { uint32_t v; std::memcpy(&v, p, 4); return v; }
void Put32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, 4); }
int Chan(uint32_t v, int i) { return static_cast<int>((v >> (8 * i)) & 0xFF); }
int FloorDiv(int n, int d) { return static_cast<int>(std::floor(static_cast<double>(n) / d)); }
uint32_t WithAlpha(uint32_t v, int a) { return (v & 0x00FFFFFFu) | static_cast<uint32_t>(a) << 24; }

uint32_t Mixed(uint32_t s, uint32_t d, int w, int outA) {
    uint32_t out = static_cast<uint32_t>(outA) << 24;
    // w <= 128 keeps every channel between the source's and the destination's.
    for (int i = 0; i < 3; ++i)
        out |= static_cast<uint32_t>(Chan(d, i) + FloorDiv((Chan(s, i) - Chan(d, i)) * w, 128)) << (8 * i);
    return out;
}

uint32_t RefLone(uint32_t s, uint32_t d) {
    const int sA = Chan(s, 3), dA = Chan(d, 3);
    if (sA == 0) return d;
    if (dA == 0 || sA == 255) return s;
    const int outA = dA + sA - FloorDiv(dA * sA, 255);
    return Mixed(s, d, FloorDiv(128 * sA, outA), outA);
}

uint32_t RefPaired(uint32_t s, uint32_t d) {
    const int sA = Chan(s, 3), dA = Chan(d, 3);
    const int outA = std::min(dA + sA - FloorDiv(dA * sA, 256), 255);
    return Mixed(s, d, outA == 0 ? 0 : FloorDiv(128 * sA, outA), outA);
}

// One row of MixColor (m == nullptr) or MixColorWithMaskAlpha.
void RefMixRow(const unsigned char* s, const unsigned char* m, unsigned char* d, int width) {
    for (int x = 0; x < width; ++x) {
        uint32_t sv = Get32(s + 4 * x);
        if (m) sv = WithAlpha(sv, FloorDiv(Chan(sv, 3) * m[x] + 255, 256));
        const bool lone = (width & 1) && x == width - 1;
        Put32(d + 4 * x, lone ? RefLone(sv, Get32(d + 4 * x)) : RefPaired(sv, Get32(d + 4 * x)));
    }
}

void RefSubtractRow(const unsigned char* amounts, int step, unsigned char* d, int width) {
    for (int x = 0; x < width; ++x)
        Put32(d + 4 * x, WithAlpha(Get32(d + 4 * x), std::max(Chan(Get32(d + 4 * x), 3) - amounts[step * x], 0)));
}

struct Images { TestImage &src, &mask, &dst; };

// The shared sweep with a source, a mask and a destination: every
// instruction set, layout and pool size gives the reference's bytes and
// touches no byte outside the destination's pixels nor any input byte.
void Differential(const std::function<void(Images&, int w, int h)>& call,
                  const std::function<void(const Images&, int y, unsigned char* row)>& refRow) {
    lytest::ExpectAllPathsAgree(
        [](int w, int h, int layout) {
            return std::vector<lytest::SweepPlane>{{lytest::SweepLayout(w, h, 4, layout, 0), false},
                                                   {lytest::SweepLayout(w, h, 1, layout, 1), false},
                                                   {lytest::SweepLayout(w, h, 4, layout, 2), true}};
        },
        [&](lytest::SweepImages& im) {
            Images m{*im[0], *im[1], *im[2]};
            call(m, m.dst.width(), m.dst.height());
        },
        false,
        [&](const lytest::SweepImages& im) {
            const Images m{*im[0], *im[1], *im[2]};
            auto expected = m.dst.Pixels();
            for (int y = 0; y < m.dst.height(); ++y)
                refRow(m, y, expected.data() + static_cast<size_t>(y) * m.dst.rowBytes());
            return expected;
        });
}

}  // namespace

// ---------------------------------------------------------------- rules and worked values

TEST(MixTwoColor, WorkedValues) {
    const struct { uint32_t s, d, expected; } cases[] = {
        // 128 over 128: alpha 192, weight 85; blue -1 floors to -1 (51 -> 50).
        {0x80C86432u, 0x800A1433u, 0xC0884932u},
        {0x80FFFFFFu, 0xFF000000u, 0xFF7F7F7Fu},  // half white over black: 127.5 floored
        {0x00FFFFFFu, 0x7F123456u, 0x7F123456u},  // transparent source: untouched, colour too
        {0x01ABCDEFu, 0x00123456u, 0x01ABCDEFu},  // transparent destination: copied whole
        {0xFF010203u, 0xFEFFFFFFu, 0xFF010203u},  // opaque source: copied
    };
    for (const auto& c : cases) {
        uint32_t s = c.s, d = c.d;
        MixTwoColor(s, d);
        EXPECT_EQ(d, c.expected) << std::hex << c.s << " over " << c.d;
        EXPECT_EQ(s, c.s);
    }
}

// dA = 3, sA = 85: the pair rule gives alpha 88 (weight 123), the lone rule
// 87 (weight 125). In rows of odd width only the last pixel is lone.
TEST(MixColor, PairAndLoneRulesSideBySide) {
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int width : {1, 2, 3, 9, 33}) {
            std::vector<uint32_t> src(width, 0x550064C8u), dst(width, 0x03FF3200u);
            MixColor(reinterpret_cast<unsigned char*>(src.data()), 4 * width,
                     reinterpret_cast<unsigned char*>(dst.data()), 4 * width, width, 1);
            for (int x = 0; x < width; ++x)
                EXPECT_EQ(dst[x], (width & 1) && x == width - 1 ? 0x570562C3u : 0x580962C0u)
                    << lytest::IsaName(isa) << " width " << width << " x " << x;
        }
    }
}

// Every (source alpha, destination alpha) pair in one 256 x 256 image, by the
// lone rule of MixTwoColor pixel by pixel and by the pair rule of MixColor's
// even rows: the weights must equal the tables' quotients everywhere.
TEST(MixAlphaRules, EveryAlphaPairByBothRules) {
    TestImage src(256, 256, 4), dst(256, 256, 4);
    for (TestImage* t : {&src, &dst}) t->FillRandom();
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            src.pixel(x, y)[3] = static_cast<unsigned char>(x), dst.pixel(x, y)[3] = static_cast<unsigned char>(y);
            uint32_t s = Get32(src.pixel(x, y)), d = Get32(dst.pixel(x, y));
            const uint32_t lone = RefLone(s, d);
            MixTwoColor(s, d);
            ASSERT_EQ(d, lone) << "sA " << x << " dA " << y;
        }
    const auto start = dst.Pixels();
    auto expected = start;
    for (int y = 0; y < 256; ++y) RefMixRow(src.row(y), nullptr, expected.data() + 1024 * y, 256);
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        lytest::SetPixels(dst, start);
        MixColor(src.data(), src.pitch(), dst.data(), dst.pitch(), 256, 256);
        EXPECT_TRUE(lytest::SameBytes(expected, dst.Pixels())) << lytest::IsaName(isa);
    }
}

// ---------------------------------------------------------------- differential sweeps

TEST(MixAlpha, EveryOperationMatchesReferenceOnEveryIsaLayoutAndPool) {
    using Row = unsigned char*;
    const struct {
        const char* name;
        std::function<void(Images&, int, int)> call;
        std::function<void(const Images&, int, Row)> ref;
    } ops[] = {
        {"MixColor",
         [](Images& m, int w, int h) { MixColor(m.src.data(), m.src.pitch(), m.dst.data(), m.dst.pitch(), w, h); },
         [](const Images& m, int y, Row r) { RefMixRow(m.src.row(y), nullptr, r, m.dst.width()); }},
        {"MixColorWithMaskAlpha",
         [](Images& m, int w, int h) {
             MixColorWithMaskAlpha(m.src.data(), m.src.pitch(), m.mask.data(), m.mask.pitch(), m.dst.data(),
                                   m.dst.pitch(), w, h);
         },
         [](const Images& m, int y, Row r) { RefMixRow(m.src.row(y), m.mask.row(y), r, m.dst.width()); }},
        {"OverlayColor",
         [](Images& m, int w, int h) { OverlayColor(m.src.data(), m.src.pitch(), m.dst.data(), m.dst.pitch(), w, h); },
         [](const Images& m, int y, Row r) { RefSubtractRow(m.src.row(y) + 3, 4, r, m.dst.width()); }},
        {"SubtractImageWithMaskAlpha",
         [](Images& m, int w, int h) {
             SubtractImageWithMaskAlpha(m.dst.data(), m.dst.pitch(), m.mask.data(), m.mask.pitch(), w, h);
         },
         [](const Images& m, int y, Row r) { RefSubtractRow(m.mask.row(y), 1, r, m.dst.width()); }},
    };
    for (const auto& op : ops) {
        SCOPED_TRACE(op.name);
        Differential(op.call, op.ref);
        if (HasFatalFailure()) return;
    }
}

// ---------------------------------------------------------------- refusals and the inert form

TEST(MixAlpha, EmptySizesAndNullBuffersWriteNothing) {
    lytest::ScopedPoolThreads threads(4);
    TestImage src(8, 16, 4), mask(8, 16, 1), dst(8, 16, 4);
    for (TestImage* t : {&src, &mask, &dst}) t->FillRandom();
    const auto before = dst.Snapshot();
    unsigned char *s = src.data(), *m = mask.data(), *d = dst.data();
    const int sp = src.pitch(), mp = mask.pitch(), dp = dst.pitch();
    for (auto [w, h] : {std::pair{0, 16}, {-1, 16}, {8, 0}, {8, -5}, {INT32_MIN, INT32_MIN}}) {
        MixColor(s, sp, d, dp, w, h);
        MixColorWithMaskAlpha(s, sp, m, mp, d, dp, w, h);
        OverlayColor(s, sp, d, dp, w, h);
        SubtractImageWithMaskAlpha(d, dp, m, mp, w, h);
    }
    for (int missing = 0; missing < 3; ++missing) {
        const unsigned char* s1 = missing == 0 ? nullptr : s;
        const unsigned char* m1 = missing == 1 ? nullptr : m;
        unsigned char* d1 = missing == 2 ? nullptr : d;
        MixColorWithMaskAlpha(s1, sp, m1, mp, d1, dp, 8, 16);
        if (missing != 1) MixColor(s1, sp, d1, dp, 8, 16);
        if (missing != 1) OverlayColor(s1, sp, d1, dp, 8, 16);
        if (missing != 0) SubtractImageWithMaskAlpha(d1, dp, m1, mp, 8, 16);
    }
    EXPECT_TRUE(before == dst.Snapshot());
}

// The three-buffer form must touch nothing at any size, banded or not; with
// one-byte buffers the address sanitizer would catch any access.
TEST(MixColor, ThreeBufferFormTouchesNothing) {
    for (int pool : lytest::PoolSizes()) {
        lytest::ScopedPoolThreads threads(pool);
        TestImage a(31, 17, 4, 1), b(31, 17, 4, 2, 0, true), c(31, 17, 4, 3);
        for (TestImage* t : {&a, &b, &c}) t->FillRandom();
        const auto sa = a.Snapshot(), sb = b.Snapshot(), sc = c.Snapshot();
        for (int w : {1, 2, 31})
            for (int h : {1, 15, 16, 17})
                MixColor(a.data(), a.pitch(), b.data(), b.pitch(), c.data(), c.pitch(), w, h);
        EXPECT_TRUE(sa == a.Snapshot() && sb == b.Snapshot() && sc == c.Snapshot());
        const std::unique_ptr<unsigned char> tiny(new unsigned char(0x5A));
        MixColor(tiny.get(), 7680, tiny.get(), -7680, tiny.get(), 7680, 1920, 1080);
        MixColor(nullptr, 0, nullptr, 0, nullptr, 0, INT32_MAX, INT32_MAX);
        EXPECT_EQ(*tiny, 0x5A);
    }
}

// ---------------------------------------------------------------- concurrent callers

// Two threads compositing different images at once get exactly their solo
// results: the pool's per-caller queues must keep their bands apart.
TEST(MixAlphaConcurrency, TwoCallersGetTheirSoloResults) {
    lytest::ScopedPoolThreads threads(4);
    TestImage srcA(301, 67, 4, 1), dstA(301, 67, 4, 6), srcB(257, 80, 4, 3, 9, true), maskB(257, 80, 1, 5),
        dstB(257, 80, 4, 0, 2, true);
    for (TestImage* t : {&srcA, &srcB, &maskB}) lytest::FillTitleLike(*t);
    for (TestImage* t : {&dstA, &dstB}) t->FillRandom();
    const auto runA = [&](TestImage& d) {
        MixColor(srcA.data(), srcA.pitch(), d.data(), d.pitch(), 301, 67);
        OverlayColor(srcB.data(), srcB.pitch(), d.data(), d.pitch(), 257, 67);
    };
    const auto runB = [&](TestImage& d) {
        MixColorWithMaskAlpha(srcB.data(), srcB.pitch(), maskB.data(), maskB.pitch(), d.data(), d.pitch(), 257, 80);
        SubtractImageWithMaskAlpha(d.data(), d.pitch(), maskB.data(), maskB.pitch(), 257, 80);
    };
    lytest::ExpectConcurrentCallersMatchSolo(dstA, runA, dstB, runB);
}
