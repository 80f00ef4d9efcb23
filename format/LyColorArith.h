#ifndef LYAVUTILS_FORMAT_LYCOLORARITH_H
#define LYAVUTILS_FORMAT_LYCOLORARITH_H

// Internal: what the vector converters rely on about the colour tables. They
// skip saturation steps that cannot fire and the AVX2 forms compute table
// words instead of looking them up; both are sound only because of facts
// about compile-time constants, so those facts are proved at compile time
// (format/color_tables.cpp) rather than checked at load.

#include <algorithm>

#include "format/LyColorTables.h"

namespace ly {

// The vector converters add table words with saturating 16-bit adds and skip
// saturation steps that cannot fire: forward layouts 1, 2 and 3 carry the same
// words (the cross-format mixers rely on layout 3 too); every forward partial
// sum stays inside int16 and the final sum inside 0 .. 255 * 64 + 63; the
// inverse chroma partial sum never saturates and the full sum never saturates
// downwards.
constexpr bool TableBoundsHold(const SLyColorTableSet& t) {
    constexpr int kFwd1Pos[3] = {2, 0, 3};  // U, Y, V words of layout 1
    constexpr int kFwd3Pos[3] = {1, 2, 0};  // U, Y, V words of layout 3
    for (int k = 0; k < 3; ++k) {
        int lo[3] = {32767, 32767, 32767}, hi[3] = {-32768, -32768, -32768};
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 256; ++i) {
                if (t.fwd1[c][i][kFwd1Pos[k]] != t.fwd2[c][i][k] || t.fwd3[c][i][kFwd3Pos[k]] != t.fwd2[c][i][k] ||
                    t.fwd2[c][i][3] != 0 || t.fwd1[c][i][1] != 0)
                    return false;
                lo[c] = std::min<int>(lo[c], t.fwd2[c][i][k]);
                hi[c] = std::max<int>(hi[c], t.fwd2[c][i][k]);
            }
        if (t.off1[kFwd1Pos[k]] != t.off2[k] || t.off3[kFwd3Pos[k]] != t.off2[k]) return false;
        const int lo2 = lo[kTabB] + lo[kTabG], hi2 = hi[kTabB] + hi[kTabG];
        const int lo3 = lo2 + lo[kTabR], hi3 = hi2 + hi[kTabR];
        const int lo4 = lo3 + t.off2[k], hi4 = hi3 + t.off2[k];
        for (int v : {lo2, hi2, lo3, hi3})
            if (v < -32768 || v > 32767) return false;
        if (lo4 < 0 || hi4 > 255 * 64 + 63) return false;
    }
    for (int k = 0; k < 3; ++k) {
        int lo[3] = {32767, 32767, 32767}, hi[3] = {-32768, -32768, -32768};
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 256; ++i) {
                lo[c] = std::min<int>(lo[c], t.inv[c][i][k]);
                hi[c] = std::max<int>(hi[c], t.inv[c][i][k]);
            }
        const int loC = lo[kTabU] + lo[kTabV], hiC = hi[kTabU] + hi[kTabV];
        if (loC < -32768 || hiC > 32767 || loC + lo[kTabY] < -32768) return false;
    }
    return true;
}

// ---------------------------------------------------------------- 16-bit forms
// Every column of both table sets is also reproduced exactly, at every index
// x in 0 .. 255, by 16-bit integer arithmetic:
//     word(x) = i * (x + e) + mulhrs(x + e, f) + c,  mulhrs(a, b) = (a * b + 2^14) >> 15,
// mulhrs being the vector units' rounding high multiply. The fraction f / 2^15
// and the phase e were found by a search (i is the slope's whole part, c
// follows from the first entry); FormsExact proves them here, so a constant
// that drifts fails the build. The AVX2 converters work with these forms,
// sixteen words per operation and integer operations only, so their bytes do
// not depend on the floating-point environment.
struct SLyWordForm {
    int i, e, f, c;
};

constexpr int MulHrs(int a, int b) { return (a * b + (1 << 14)) >> 15; }
constexpr int FormWord(const SLyWordForm& w, int x) { return w.i * (x + w.e) + MulHrs(x + w.e, w.f) + w.c; }

struct SLyInvForms {
    SLyWordForm y, ub, ug, vg, vr;  // Y; U -> B, U -> G; V -> G, V -> R
};
struct SLyFwdForms {
    SLyWordForm u[3], y[3], v[3];  // indexed kTabR, kTabG, kTabB
};
struct SLyWordForms {
    SLyFwdForms fwd;
    SLyInvForms inv;
};

inline constexpr SLyWordForms kWordForms[2] = {
    {{{{-10, 0, 16879, 0}, {-19, 0, 12321, 0}, {28, 46, 3565, -1293}},
      {{16, 0, 14261, 0}, {32, 0, 8599, 0}, {6, 0, 8702, 0}},
      {{28, 46, 3565, -1293}, {-24, 0, 15099, 0}, {-5, 0, 14102, 0}}},
     {{74, 7, 17092, -1714}, {129, -128, 3277, 0}, {-26, -128, 30304, 0}, {-53, -128, 31718, 0},
      {102, -128, 4717, 0}}},
    {{{{-7, -73, 18401, -470}, {-22, 0, 10801, 0}, {28, 46, 3565, -1293}},
      {{11, 0, 22491, 0}, {39, 0, 10118, 0}, {3, 0, 31719, 0}},
      {{28, 46, 3565, -1293}, {-26, 0, 15414, 0}, {-3, 0, 13789, 0}}},
     {{74, 7, 17092, -1714}, {135, -128, 6338, 0}, {-14, -128, 11636, 0}, {-35, -128, 29307, 0},
      {114, -128, 24012, 0}}},
};

constexpr bool In16(int v) { return v >= -32768 && v <= 32767; }

// A form fits 16-bit lanes when its constants and its multiplicand x + e do
// (f = -32768 is left out: vpmulhrsw cannot give -32768 * -32768 / 2^15);
// the sum may wrap on the way, since the table word it ends at fits.
constexpr bool ColumnExact(const SLyWordForm& w, const int16_t (&col)[256][4], int k) {
    if (!In16(w.i) || !In16(w.c) || !In16(w.e) || !In16(w.e + 255) || w.f <= -32768 || w.f > 32767) return false;
    for (int x = 0; x < 256; ++x)
        if (FormWord(w, x) != col[x][k]) return false;
    return true;
}

// True when the forms reproduce every table word of the set (the inverse
// words without a form, U -> R and V -> B, are 0, and Y's are the same for
// B, G and R).
constexpr bool FormsExact(const SLyColorTableSet& t, const SLyWordForms& f) {
    for (int c = 0; c < 3; ++c)
        if (!ColumnExact(f.fwd.u[c], t.fwd2[c], 0) || !ColumnExact(f.fwd.y[c], t.fwd2[c], 1) ||
            !ColumnExact(f.fwd.v[c], t.fwd2[c], 2))
            return false;
    for (int x = 0; x < 256; ++x)
        if (t.inv[kTabU][x][2] != 0 || t.inv[kTabV][x][0] != 0 || t.inv[kTabY][x][1] != t.inv[kTabY][x][0] ||
            t.inv[kTabY][x][2] != t.inv[kTabY][x][0])
            return false;
    return ColumnExact(f.inv.y, t.inv[kTabY], 0) && ColumnExact(f.inv.ub, t.inv[kTabU], 0) &&
           ColumnExact(f.inv.ug, t.inv[kTabU], 1) && ColumnExact(f.inv.vg, t.inv[kTabV], 1) &&
           ColumnExact(f.inv.vr, t.inv[kTabV], 2);
}

// What the kernels' shapes take for granted. Inverse: every chroma form has
// phase -128 and constant 0 (the sample with its top bit flipped, read as a
// signed byte, is all the form needs), and green's whole parts are not
// positive, so their negations are unsigned byte factors for vpmaddubsw.
// Forward: the phases are 0 except R -> U, R -> V and B -> U, and the whole
// parts of B and G are signed byte factors whose products cannot saturate.
constexpr bool KernelShapeHolds(const SLyWordForms& f) {
    const SLyInvForms& v = f.inv;
    for (const SLyWordForm* w : {&v.ub, &v.ug, &v.vg, &v.vr})
        if (w->e != -128 || w->c != 0) return false;
    if (v.ug.i > 0 || v.vg.i > 0 || (v.ug.i + v.vg.i) * -128 > 32767) return false;
    const SLyFwdForms& w = f.fwd;
    for (int c = 0; c < 3; ++c)
        if (w.y[c].e != 0 || (c != kTabR && w.v[c].e != 0) || (c == kTabG && w.u[c].e != 0)) return false;
    for (const SLyWordForm* k : {w.u, w.y, w.v})
        for (int c : {kTabB, kTabG})
            if (k[c].i < -64 || k[c].i > 63) return false;  // two products within int16
    return true;
}

}  // namespace ly

#endif
