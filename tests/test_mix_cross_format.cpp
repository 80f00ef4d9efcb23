// LY_TEST_LABELS: threading
#include <functional>
#include <optional>
#include <thread>

#include "LyPixelUtils.h"
#include "format/LyColorTables.h"
#include "test_support.h"

using namespace lytest;

namespace {

// Overlay pixels as titles have them: transparent runs, zero words, repeated
// colours, opaque and partly transparent pixels with extreme alphas.
void FillOverlay(TestImage& img) {
    img.FillRandomWithExtremes();
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            unsigned char* p = img.pixel(x, y);
            const uint32_t r = Rng()() % 8;
            if (r == 0) std::memset(p, 0, 4);
            if (r == 1) p[3] = 0;
            if (r == 2 && x > 0) std::memcpy(p, p - 4, 4);
            if (r == 3) p[3] = 255;
        }
}

int Clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }
unsigned Mix(unsigned c, unsigned d, unsigned w) { return unsigned(int(d) + ((int(c) - int(d)) * int(w) >> 7)); }
unsigned Weight(unsigned a) { return (a * 128 + 255) >> 8; }

// Table conversion: entries of the three components summed in the given
// order with signed 16-bit saturation, then an optional offset entry.
void Convert(const int16_t* e0, const int16_t* e1, const int16_t* e2, const int16_t* off, int out[4]) {
    for (int k = 0; k < 4; ++k) {
        int s = Clamp(Clamp(e0[k] + e1[k], -32768, 32767) + e2[k], -32768, 32767);
        if (off) s = Clamp(s + off[k], -32768, 32767);
        out[k] = s;
    }
}

// The overlay pixel p in the destination's component order (VUY, BGR or UYV).
void ConvertFor(int op, int colorimetry, const unsigned char* p, unsigned c[3]) {
    const ly::SLyColorTableSet& t = ly::ColorTables(colorimetry);
    int s[4];
    if (op == 0) {  // BGRA -> VUYA, logical shift
        Convert(t.fwd3[2][p[0]], t.fwd3[1][p[1]], t.fwd3[0][p[2]], t.off3, s);
        for (int k = 0; k < 3; ++k) c[k] = uint16_t(s[k]) >> 6;
    } else if (op == 1) {  // VUYA -> BGRA
        Convert(t.inv[2][p[0]], t.inv[1][p[1]], t.inv[0][p[2]], nullptr, s);
        for (int k = 0; k < 3; ++k) c[k] = Clamp(s[k] >> 6, 0, 255);
    } else if (op == 2) {  // BGRA -> UYVY
        Convert(t.fwd2[2][p[0]], t.fwd2[1][p[1]], t.fwd2[0][p[2]], t.off2, s);
        for (int k = 0; k < 3; ++k) c[k] = Clamp(s[k] >> 6, 0, 255);
    } else {  // VUYA -> UYVY
        c[0] = p[1], c[1] = p[2], c[2] = p[0];
    }
}

// Ops 0 (BGRA over VUYA) and 1 (VUYA over BGRA), one row.
void RefRow32(int op, int colorimetry, int modeFlag, const unsigned char* o, unsigned char* d, int w) {
    for (int x = 0; x < w; x += modeFlag ? 2 : 1) {
        const int n = modeFlag ? std::min(2, w - x) : 1;
        bool any = false;
        for (int i = 0; i < n; ++i) any |= o[4 * (x + i) + 3] != 0;
        if (!any) continue;
        for (int i = 0; i < n; ++i) {
            const unsigned char* p = o + 4 * (x + i);
            unsigned char* q = d + 4 * (x + i);
            unsigned c[3], wt, alpha;
            ConvertFor(op, colorimetry, p, c);
            if (modeFlag) {
                wt = Weight(p[3]), alpha = 255;
            } else {
                alpha = ly::AlphaUnion(q[3], p[3]), wt = ly::AlphaQuotient(p[3], alpha);
            }
            for (int k = 0; k < 3; ++k) q[k] = Mix(c[k], q[k], wt);
            q[3] = alpha;
        }
    }
}

// Ops 2 (BGRA over UYVY) and 3 (VUYA over UYVY), one row whose pixel 0 is
// pair pixel `lead` (0 or 1) of the pair at `pair0`.
void RefRow422(int op, int colorimetry, bool d16, int lead, const unsigned char* o, unsigned char* pair0, int w) {
    auto get = [&](unsigned char* q, int i) { return d16 ? q[2 * i] | (q[2 * i + 1] << 8) : q[i]; };
    auto set = [&](unsigned char* q, int i, unsigned v) {
        if (d16) q[2 * i + 1] = v >> 8, q[2 * i] = v & 0xFF;
        else q[i] = v;
    };
    for (int g = 0; g < w + lead; g += 2) {
        unsigned char* q = pair0 + (g / 2) * (d16 ? 8 : 4);
        const int first = g - lead;  // overlay index of the pair's pixel 0
        const bool has0 = first >= 0, has1 = first + 1 < w;
        unsigned wt[2] = {0, 0}, c[2][3] = {};
        for (int i = 0; i < 2; ++i)
            if (i == 0 ? has0 : has1) {
                wt[i] = Weight(o[4 * (first + i) + 3]);
                ConvertFor(op, colorimetry, o + 4 * (first + i), c[i]);
                for (unsigned& v : c[i]) v <<= d16 ? 2 : 0;
            }
        unsigned y0 = get(q, 1), y1 = get(q, 3), u = get(q, 0), v = get(q, 2);
        if (has0) y0 = Mix(c[0][1], y0, wt[0]);
        if (has1) y1 = Mix(c[1][1], y1, wt[1]);
        if (has1) {  // the chroma is the row's only when its second pixel is
            u = (Mix(c[0][0], u, wt[0]) + Mix(c[1][0], u, wt[1]) + 1) >> 1;
            v = (Mix(c[0][2], v, wt[0]) + Mix(c[1][2], v, wt[1]) + 1) >> 1;
        }
        set(q, 0, u), set(q, 2, v);
        if (has0) set(q, 1, y0);
        if (has1) set(q, 3, y1);
    }
}

void Call(int op, const TestImage& o, TestImage& d, int cs, int flag, bool d16, int w, int h, int pixelOffset = 0) {
    unsigned char* dst = d.data() + pixelOffset;
    switch (op) {
    case 0: LyPixelUtils::MixBGRA4444WithVUYA4444(o.data(), o.pitch(), dst, d.pitch(), ELyColorimetry(cs), flag, w, h); break;
    case 1: LyPixelUtils::MixVUYA4444WithBGRA4444(const_cast<unsigned char*>(o.data()), o.pitch(), ELyColorimetry(cs), dst, d.pitch(), flag, w, h); break;
    case 2: LyPixelUtils::MixBGRA4444WithUYVY422(o.data(), o.pitch(), dst, d.pitch(), d16 ? 16 : 8, ELyColorimetry(cs), flag, w, h); break;
    default: LyPixelUtils::MixVUYA4444WithUYVY422(o.data(), o.pitch(), dst, d.pitch(), d16 ? 16 : 8, flag, w, h); break;
    }
}

// One case of one operation under every instruction set against the
// reference. For pair-start 0 the destination holds one pixel more, before
// the row, and only that pixel's pair bytes may change besides the row.
::testing::AssertionResult MixCase(int op, int cs, int flag, bool d16, int w, int h, bool everyIsa = true,
                                   const std::function<void(TestImage&)>& shapeOverlay = {}) {
    const bool packed = op >= 2, lead = packed && flag == 0;
    const int bpp = packed && !d16 ? 2 : 4;
    ImageLayout lo = LayoutsFor(w, h, 4)[(w + h) % 16], ld = LayoutsFor(w + lead, h, bpp)[(w * 3 + h) % 16];
    if (!packed) lo.bottomUp = ld.bottomUp = false;  // these two take positive pitches only
    TestImage o(lo), d(ld), start(ld), expected(ld);
    FillOverlay(o), start.FillRandomWithExtremes(), expected.CopyPixelsFrom(start);
    if (shapeOverlay) shapeOverlay(o);
    for (int y = 0; y < h; ++y)
        if (packed) RefRow422(op, cs, d16, lead, o.row(y), expected.row(y), w);
        else RefRow32(op, cs, flag, o.row(y), expected.row(y), w);
    for (ly::Isa isa : everyIsa ? AvailableIsas() : std::vector<ly::Isa>{ly::ActiveIsa()}) {
        std::optional<ScopedIsa> cap;  // the cap is process-wide: concurrent callers leave it be
        if (everyIsa) cap.emplace(isa);
        d.CopyPixelsFrom(start);
        const auto before = d.Snapshot(), overlay = o.Snapshot();
        Call(op, o, d, cs, flag, d16, w, h, lead ? bpp : 0);
        auto same = SameBytes(expected.Pixels(), d.Pixels());
        if (!same || !d.OutsideUnchanged(before) || o.Snapshot() != overlay)
            return same << " " << IsaName(isa) << " op " << op << " cs " << cs << " flag " << flag << " d16 " << d16
                        << " " << d.Describe();
    }
    return ::testing::AssertionSuccess();
}

}  // namespace

TEST(CrossFormatMix, EveryKernelMatchesReference) {
    for (int threads : PoolSizes()) {
        ScopedPoolThreads pool(threads);
        for (int op = 0; op < 4; ++op)
            for (int flag : {1, 0})
                for (bool d16 : {false, true}) {
                    if (op < 2 && d16) continue;
                    for (int h : {15, 16, 17})
                        for (int w : TestWidths()) ASSERT_TRUE(MixCase(op, (w + h) % 2, flag, d16, w, h)) << threads;
                }
    }
}

// Long rows are converted and mixed in runs: cross several run boundaries,
// pair-aligned and not.
TEST(CrossFormatMix, LongRowsMatchReference) {
    for (int op = 0; op < 4; ++op)
        for (int flag : {1, 0})
            for (bool d16 : {false, true})
                for (int w : {255, 256, 300, 513}) {
                    if (op < 2 && d16) continue;
                    ASSERT_TRUE(MixCase(op, w % 2, flag, d16, w, 3));
                }
}

// Wholly transparent stretches are skipped; one visible pixel anywhere in a
// long transparent row must still be mixed, and none (-1) changes nothing.
TEST(CrossFormatMix, LoneVisiblePixelInTransparentRow) {
    for (int lone : {-1, 0, 1, 127, 128, 129, 254, 255, 299})
        for (int op = 0; op < 4; ++op)
            ASSERT_TRUE(MixCase(op, 1, 1, false, 300, 2, true, [lone](TestImage& o) {
                for (int y = 0; y < o.height(); ++y)
                    for (int x = 0; x < o.width(); ++x) o.pixel(x, y)[3] = x == lone ? 200 : 0;
            })) << lone;
}

TEST(CrossFormatMix, ZeroWordNextToOpaquePixelMakesBothOpaque) {
    TestImage o(2, 1, 4), d(2, 1, 4);
    const unsigned char over[8] = {0, 0, 0, 0, 255, 255, 255, 255}, dst[8] = {9, 8, 7, 17, 6, 5, 4, 17};
    std::memcpy(o.data(), over, 8), std::memcpy(d.data(), dst, 8);
    LyPixelUtils::MixBGRA4444WithVUYA4444(o.data(), o.pitch(), d.data(), d.pitch(), Colorimetry_BT601, 1, 2, 1);
    const unsigned char want[8] = {9, 8, 7, 255, 128, 128, 235, 255};  // white: V, U 128, Y 235
    EXPECT_TRUE(SameBytes({want, want + 8}, d.Pixels()));
}

TEST(CrossFormatMix, OpaqueOverlayGivesConvertedPixels) {
    TestImage o(2, 1, 4), d8(2, 1, 2), d16(2, 1, 4);
    o.Fill(255), d8.FillRandom(), d16.FillRandom();
    LyPixelUtils::MixBGRA4444WithUYVY422(o.data(), o.pitch(), d8.data(), d8.pitch(), 8, Colorimetry_BT601, 1, 2, 1);
    LyPixelUtils::MixBGRA4444WithUYVY422(o.data(), o.pitch(), d16.data(), d16.pitch(), 16, Colorimetry_BT601, 1, 2, 1);
    EXPECT_TRUE(SameBytes({128, 235, 128, 235}, d8.Pixels()));
    EXPECT_TRUE(SameBytes({0, 2, 0xAC, 3, 0, 2, 0xAC, 3}, d16.Pixels()));  // 512, 940, 512, 940
}

TEST(CrossFormatMix, RefusalsTouchNothing) {
    TestImage o(8, 4, 4), d(8, 4, 4);
    o.Fill(255), d.FillRandom();
    const auto before = d.Snapshot();
    for (int op = 0; op < 4; ++op) {
        if (op != 3) Call(op, o, d, 2, 1, false, 8, 4);  // colorimetry 2
        Call(op, o, d, 0, 1, false, 0, 4);   // width 0
        Call(op, o, d, 0, 1, false, 8, -1);  // height below 1
    }
    LyPixelUtils::MixBGRA4444WithVUYA4444(o.data(), 0, d.data(), d.pitch(), Colorimetry_BT601, 1, 8, 4);
    LyPixelUtils::MixBGRA4444WithVUYA4444(o.data(), o.pitch(), d.data(), -d.pitch(), Colorimetry_BT601, 1, 8, 4);
    LyPixelUtils::MixVUYA4444WithBGRA4444(o.data(), -o.pitch(), Colorimetry_BT601, d.data(), d.pitch(), 0, 8, 4);
    LyPixelUtils::MixVUYA4444WithBGRA4444(o.data(), o.pitch(), Colorimetry_BT601, d.data(), 0, 0, 8, 4);
    LyPixelUtils::MixBGRA4444WithVUYA4444(nullptr, o.pitch(), d.data(), d.pitch(), Colorimetry_BT601, 1, 8, 4);
    LyPixelUtils::MixVUYA4444WithBGRA4444(nullptr, o.pitch(), Colorimetry_BT601, d.data(), d.pitch(), 0, 8, 4);
    LyPixelUtils::MixBGRA4444WithUYVY422(nullptr, o.pitch(), d.data(), d.pitch(), 8, Colorimetry_BT601, 1, 8, 4);
    LyPixelUtils::MixVUYA4444WithUYVY422(o.data(), o.pitch(), nullptr, d.pitch(), 8, 1, 8, 4);
    LyPixelUtils::MixBGRA4444WithUYVY422(o.data(), o.pitch(), d.data(), d.pitch(), 10, Colorimetry_BT601, 1, 8, 4);
    LyPixelUtils::MixVUYA4444WithUYVY422(o.data(), o.pitch(), d.data(), d.pitch(), 0, 1, 8, 4);
    EXPECT_TRUE(d.Snapshot() == before);
}

// Several host threads on the exported and the internal route at once.
TEST(CrossFormatMix, ConcurrentCallersGetTheirOwnResults) {
    ScopedPoolThreads pool(4);
    std::vector<std::thread> callers;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t)
        callers.emplace_back([&, t] {
            for (int i = 0; i < 4; ++i)
                if (!MixCase(t, i % 2, i / 2, t == 2, 29 + i, 48, false)) failures++;
        });
    for (auto& c : callers) c.join();
    EXPECT_EQ(failures.load(), 0);
}
