// Placement of one picture in another and the separable 32-bit resampler.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <new>

#include "LyMemUtils.h"
#include "LyVideoUtils.h"
#include "memory/LyCpu.h"
#include "threading/LyBandFrame.h"
#include "video/LyScaleDivide.h"
#include "video/LyVideoMath.h"

namespace LyVideoUtils {

namespace {

using ly::video::kRatioTolerance;
using ly::video::RoundToInt;
using ly::video::RoundToIntF;
using ly::video::TruncToInt;

int32_t WrapMul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
int32_t WrapSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// Placement sizes and offsets are kept even so that 4:2:2 pictures split on
// whole chroma pairs.
int32_t MakeEven(int32_t v) { return v % 2 != 0 ? v - 1 : v; }
int32_t EvenSize(double v) { return MakeEven(RoundToInt(v)); }
int32_t CentreOffset(int32_t available, int32_t size) { return MakeEven(WrapSub(available, size) / 2); }

}  // namespace

// ------------------------------------------------------------------ placement

void CalculateVideoScaleData(SLyVideoScaleSourceParam& source, SLyVideoScaleSourceParam& destination,
                             ELyVideoScaleType type, SLyVideoScaleResultData& result) {
    result = SLyVideoScaleResultData{};
    const SLyVideoScaleSourceParam& s = source;
    const SLyVideoScaleSourceParam& d = destination;
    if (s.width == 0 || s.height == 0 || s.aspectX == 0 || s.aspectY == 0 || d.width == 0 || d.height == 0 ||
        d.aspectX == 0 || d.aspectY == 0)
        return;

    const double dS = static_cast<double>(s.aspectX) / s.aspectY;
    const double dD = static_cast<double>(d.aspectX) / d.aspectY;
    const double pS = static_cast<double>(WrapMul(s.height, s.aspectX)) / WrapMul(s.width, s.aspectY);
    const double pD = static_cast<double>(WrapMul(d.height, d.aspectX)) / WrapMul(d.width, d.aspectY);

    auto wholeSource = [&] {
        result.srcWidth = s.width;
        result.srcHeight = s.height;
    };
    auto wholeDestination = [&] {
        result.dstWidth = d.width;
        result.dstHeight = d.height;
    };

    if (std::fabs(dS - dD) <= kRatioTolerance || type == VideoScale_Stretch) {
        wholeSource();
        wholeDestination();
        return;
    }
    if (dS <= dD) {
        if (type == VideoScale_Fit) {
            const int32_t size = EvenSize(pS * WrapMul(s.width, d.height) / (pD * s.height));
            wholeSource();
            result.dstX = CentreOffset(d.width, size);
            result.dstWidth = size;
            result.dstHeight = d.height;
        } else if (type == VideoScale_Fill) {
            const int32_t size = EvenSize(pS * WrapMul(s.width, d.height) / (pD * d.width));
            result.srcY = CentreOffset(s.height, size);
            result.srcWidth = s.width;
            result.srcHeight = size;
            wholeDestination();
        }
    } else {
        if (type == VideoScale_Fit) {
            const int32_t size = EvenSize(pD * WrapMul(s.height, d.width) / (pS * s.width));
            wholeSource();
            result.dstY = CentreOffset(d.height, size);
            result.dstWidth = d.width;
            result.dstHeight = size;
        } else if (type == VideoScale_Fill) {
            const int32_t size = EvenSize(pD * WrapMul(s.height, d.width) / (pS * d.height));
            result.srcX = CentreOffset(s.width, size);
            result.srcWidth = size;
            result.srcHeight = s.height;
            wholeDestination();
        }
    }
}

PointF CoordConvertFromRectToRect(PointF point, RECT from, RECT to) {
    PointF out = point;
    const double toWidth = static_cast<double>(to.right) - to.left;
    const double toHeight = static_cast<double>(to.top) - to.bottom;
    if (toWidth != 0) {
        const double X = point.x + 50.0f;
        out.x = static_cast<float>((X * from.right + (100.0 - X) * from.left - 100.0 * to.left) / toWidth - 50.0);
    }
    if (toHeight != 0) {
        const double Y = point.y + 50.0f;
        out.y = static_cast<float>((Y * from.top + (100.0 - Y) * from.bottom - 100.0 * to.bottom) / toHeight - 50.0);
    }
    return out;
}

void GetScaledTgtPos(ELyAspectConvertMode mode, int panPercent, uint32_t pictureWidth, uint32_t pictureHeight,
                     RectF box, RectF& result) {
    if (mode == AspectConvertMode_Stretch) {
        result = box;
        return;
    }
    if (pictureWidth == 0 || pictureHeight == 0 || box.height == 0.0f) return;
    const float a = static_cast<float>(pictureWidth) / static_cast<float>(pictureHeight);
    const float b = box.width / box.height;
    if (std::fabs(a - b) <= kRatioTolerance) {
        result = box;
        return;
    }
    const float pan = static_cast<float>(std::clamp(panPercent, 0, 100));
    if (b < a) {
        if (mode == AspectConvertMode_Fit) {
            const float h = box.width / a;
            result = RectF{box.x, box.y + (box.height - h) * 0.5f, box.width, h};
        } else if (mode == AspectConvertMode_Fill) {
            const float w = static_cast<float>(
                RoundToInt(static_cast<double>(pictureWidth) * box.height / static_cast<double>(pictureHeight)));
            const float shift = static_cast<float>(RoundToIntF((w - box.width) * pan / 100.0f));
            result = RectF{box.x - shift, box.y, w, box.height};
        }
    } else {
        if (mode == AspectConvertMode_Fit) {
            const float w = a * box.height;
            result = RectF{box.x + (box.width - w) * 0.5f, box.y, w, box.height};
        } else if (mode == AspectConvertMode_Fill) {
            const float h = static_cast<float>(
                RoundToInt(static_cast<double>(pictureHeight) * box.width / static_cast<double>(pictureWidth)));
            const float shift = static_cast<float>(RoundToIntF((h - box.height) * pan / 100.0f));
            result = RectF{box.x, box.y - shift, box.width, h};
        }
    }
}

// ------------------------------------------------------------------ resampler

namespace {

// Keeps every byte offset within a row (4 * size) inside int32.
constexpr uint32_t kMaxScaleSize = 1u << 28;
// With equal heights the horizontal weights are built on the band's stack for
// at most this many output pixels at a time (a multiple of the AVX2 group of
// 8 outputs), so that call allocates nothing.
constexpr int kBlockOut = 256;

// One pass of the walk from `in` samples to `out` samples. In its units an
// input sample is 2m/g long and an output sample 2n/g, so every sample centre
// is a whole number: input i at (2i+1)m/g, output j at (2j+1)n/g.
struct Pass {
    uint32_t in = 0;
    uint32_t out = 0;
    int64_t halfIn = 0;   // m/g
    int64_t halfOut = 0;  // n/g
    int64_t step = 0;     // 2m/g, also the divisor of every interpolation
    ly::ScaleDivider div;
};

Pass MakePass(uint32_t n, uint32_t m) {
    Pass p;
    p.in = n;
    p.out = m;
    const uint32_t r = n % m;
    const uint32_t g = r == 0 ? m : LyComputeGCD(m, r);
    p.halfIn = m / g;
    p.halfOut = n / g;
    p.step = 2 * p.halfIn;
    p.div = ly::ScaleDivider::For(p.step);
    return p;
}

// An output sample as (in[base] * wA + in[base + 1] * wB) / step. The ends of
// the walk, which copy the first or last input whole, take the same form with
// the whole weight on one sample, so the kernels need no end cases; wB is 0
// whenever base + 1 would be outside the input.
struct Tap {
    uint32_t base;
    uint32_t wA;
    uint32_t wB;
};

// k: the last input whose centre is at or before the output position (-1 if none).
Tap TapFor(const Pass& p, int64_t k, int64_t pos) {
    const uint32_t whole = static_cast<uint32_t>(p.step);
    if (k < 0 || p.in == 1) return {0, whole, 0};
    if (k >= int64_t{p.in} - 1) return {p.in - 2, 0, whole};
    const int64_t below = pos - (p.halfIn + k * p.step);
    return {static_cast<uint32_t>(k), static_cast<uint32_t>(p.step - below), static_cast<uint32_t>(below)};
}

// The walk itself, output by output, started anywhere (a band starts at its
// first row) by solving for k once.
class Walker {
public:
    Walker(const Pass& p, uint32_t j) : p_(p), pos_((2 * int64_t{j} + 1) * p.halfOut) {
        k_ = pos_ < p.halfIn ? -1 : (pos_ - p.halfIn) / p.step;
        next_ = p.halfIn + (k_ + 1) * p.step;
    }
    Tap Current() const { return TapFor(p_, k_, pos_); }
    void Advance() {
        pos_ += 2 * p_.halfOut;
        while (pos_ >= next_) {
            next_ += p_.step;
            ++k_;
        }
    }

private:
    const Pass& p_;
    int64_t pos_;
    int64_t k_;
    int64_t next_;  // centre of input k_ + 1
};

// The vector form a horizontal table is built for.
enum class Layout {
    Scalar,
    Gather16,     // SSE2 / AVX2, 16-bit magic division: one 8-byte load per output
    GatherFloat,  // SSE2, float division
    Window8,      // AVX2, 8-bit weights: one 16-byte window per two outputs
};

Layout LayoutFor(ly::Isa isa, const Pass& p) {
    if (isa == ly::Isa::Scalar) return Layout::Scalar;
    if (p.div.mode == ly::ScaleDivider::Float) return Layout::GatherFloat;
    if (p.div.mode != ly::ScaleDivider::Mul16) return Layout::Scalar;
    // pmaddubsw takes signed 8-bit weights: exact while every weight (at most
    // the divisor) fits, and two outputs then never need more than four
    // neighbouring inputs once the input advances at most two per output.
    if (isa == ly::Isa::Avx2 && p.step <= 127 && p.in >= 4 && p.in <= 2 * uint64_t{p.out}) return Layout::Window8;
    return Layout::Gather16;
}

// Horizontal weights of a run of output pixels (a block, or the whole row),
// over memory the caller provides.
struct HTable {
    // Per output: 16 bytes of vector weights, laid out for the kernel:
    //  * Gather16: wA x4 of every output in the first half, wB x4 in the second;
    //  * GatherFloat: (wA, wB) x4 per output, the pairs pmaddwd wants;
    //  * Window8: the byte shuffle that turns its pair's window into (a, b)
    //    byte pairs of the four channels (first half), and their 8-bit weights
    //    (second half), in kernel order (see WindowSlot).
    uint16_t* vec = nullptr;
    int32_t* window = nullptr;  // Window8: window start per pair slot, bytes from the first input
    int32_t* offset = nullptr;  // bytes from the first input to in[base]
    uint32_t* wA = nullptr;
    uint32_t* wB = nullptr;
    int capacity = 0;
    int count = 0;
    int windowed = 0;         // Window8: leading outputs whose pair windows are valid
    uint32_t firstInput = 0;  // input pixel the offsets count from
    uint32_t inputs = 0;      // input pixels the run reads

    static constexpr size_t kBytesPerOutput = 16 + 2 + 4 + 4 + 4;
    // Rounded to the 8-output group so every array stays 32-byte aligned.
    static size_t Bytes(int outputs) { return kBytesPerOutput * static_cast<size_t>((outputs + 7) & ~7); }

    // `memory` must be 32-byte aligned and hold Bytes(outputs).
    void Bind(unsigned char* memory, int outputs) {
        capacity = (outputs + 7) & ~7;
        const size_t n = static_cast<size_t>(capacity);
        vec = reinterpret_cast<uint16_t*>(memory);
        offset = reinterpret_cast<int32_t*>(memory + 16 * n);
        wA = reinterpret_cast<uint32_t*>(memory + 20 * n);
        wB = reinterpret_cast<uint32_t*>(memory + 24 * n);
        window = reinterpret_cast<int32_t*>(memory + 28 * n);
    }
    uint8_t* Shuffle() const { return reinterpret_cast<uint8_t*>(vec); }
    int8_t* Weight8() const { return reinterpret_cast<int8_t*>(vec) + 8 * static_cast<size_t>(capacity); }
};

// The AVX2 window kernel makes two vectors per 8 outputs: outputs 0 1 | 4 5
// and 2 3 | 6 7 (low | high lane), so that packing them gives 0..7 in order.
// The slot of output j within its group of 8 in that order:
int WindowSlot(int j) {
    static constexpr int kSlot[8] = {0, 1, 4, 5, 2, 3, 6, 7};
    return (j & ~7) + kSlot[j & 7];
}

void BuildWindows(HTable& t) {
    const int32_t end = static_cast<int32_t>(4 * t.inputs);
    int c = 0;
    for (; c + 1 < t.count; c += 2) {
        // The window must stay inside the block's inputs (they may be a scratch
        // row or the end of the source row), so near the end it slides back.
        const int32_t start = std::min(t.offset[c], end - 16);
        if (start < 0 || t.offset[c + 1] + 8 > start + 16) break;
        t.window[WindowSlot(c) / 2] = start;
        for (int o = 0; o < 2; ++o) {
            const int r = t.offset[c + o] - start;
            const int slot = WindowSlot(c + o);
            for (int ch = 0; ch < 4; ++ch) {
                t.Shuffle()[8 * slot + 2 * ch] = static_cast<uint8_t>(r + ch);
                t.Shuffle()[8 * slot + 2 * ch + 1] = static_cast<uint8_t>(r + 4 + ch);
                t.Weight8()[8 * slot + 2 * ch] = static_cast<int8_t>(t.wA[c + o]);
                t.Weight8()[8 * slot + 2 * ch + 1] = static_cast<int8_t>(t.wB[c + o]);
            }
        }
    }
    t.windowed = c;
}

// Fills `t` with up to t.capacity outputs (and at most `remaining`) from the walk.
void BuildTable(const Pass& p, Layout layout, Walker& walk, uint32_t remaining, HTable& t) {
    // A window reads up to two inputs past its pair's last base.
    const uint32_t reach = layout == Layout::Window8 ? 4 : 2;
    const uint32_t first = walk.Current().base;
    const size_t half = 4 * static_cast<size_t>(t.capacity);
    uint32_t last = first;
    int c = 0;
    for (; c < t.capacity && static_cast<uint32_t>(c) < remaining; ++c, walk.Advance()) {
        const Tap tap = walk.Current();
        t.offset[c] = static_cast<int32_t>(4 * (tap.base - first));
        t.wA[c] = tap.wA;
        t.wB[c] = tap.wB;
        if (layout == Layout::Gather16) {
            for (int i = 0; i < 4; ++i) {
                t.vec[4 * c + i] = static_cast<uint16_t>(tap.wA);
                t.vec[half + 4 * c + i] = static_cast<uint16_t>(tap.wB);
            }
        } else if (layout == Layout::GatherFloat) {
            for (int i = 0; i < 4; ++i) {
                t.vec[8 * c + 2 * i] = static_cast<uint16_t>(tap.wA);
                t.vec[8 * c + 2 * i + 1] = static_cast<uint16_t>(tap.wB);
            }
        }
        last = tap.base;
    }
    t.count = c;
    t.firstInput = first;
    t.inputs = std::min(last + reach, p.in) - first;
    t.windowed = 0;
    if (layout == Layout::Window8) BuildWindows(t);
}

// ------------------------------------------------------------------ periodic rows

// Output j + m/g has output j's weights with every input n/g further on, so
// for the usual ratios (m/g is 4 for 1440 -> 1920, 8 for 720 -> 1920) one
// period of window-kernel data serves the whole interior of every row. The
// ends of the row, where the walk copies an edge input or a window would
// leave the row, are done output by output.
constexpr int kMaxPeriod = 512;

struct PeriodicTable {
    alignas(32) uint8_t shuffle[kMaxPeriod * 8];  // Window8 layout, kernel order
    alignas(32) int8_t weight8[kMaxPeriod * 8];
    // Bytes from the run's first input: one window per output pair, or with
    // `quad` one per four outputs (lanes: outputs 0-3 and 4-7 of a group).
    int32_t window[kMaxPeriod / 2];
    bool quad = false;
    int groups = 0;                  // groups of 8 outputs per period
    int32_t advance = 0;             // bytes the inputs move on per period
    uint32_t start = 0;              // first output of the run, a multiple of 8
    uint32_t runGroups = 0;          // groups of 8 outputs in the run
    uint32_t firstInput = 0;         // input the run's windows count from
};

// For the Window8 layout only. False when a period is too long or the row
// has no interior run of a whole group.
bool BuildPeriodic(const Pass& p, PeriodicTable& t) {
    const int64_t m1 = p.halfIn;   // outputs per period of the walk
    const int64_t n1 = p.halfOut;  // inputs it advances
    const int64_t period = m1 * 8 / std::gcd<int64_t>(m1, 8);
    if (period > kMaxPeriod) return false;
    // The run starts after the first input centre, (2j+1) n1 >= m1, and
    // stops before the windows would need inputs past the last one: k <
    // n - 3, i.e. (2j+1) n1 < (2n - 5) m1.
    const int64_t firstInterior = m1 > n1 ? (m1 - n1 + 2 * n1 - 1) / (2 * n1) : 0;
    const int64_t limit = (2 * int64_t{p.in} - 5) * m1;
    const int64_t interiorEnd = std::min<int64_t>(limit > n1 ? (limit - n1 + 2 * n1 - 1) / (2 * n1) : 0, p.out);
    const int64_t start = (firstInterior + 7) & ~int64_t{7};
    if (interiorEnd - start < 8) return false;
    t.start = static_cast<uint32_t>(start);
    t.runGroups = static_cast<uint32_t>((interiorEnd - start) / 8);
    t.groups = static_cast<int>(period / 8);
    t.advance = static_cast<int32_t>(4 * (period / m1) * n1);
    // Entries past the interior (when the row is shorter than a period) are
    // built but never used: a run output uses entry i only if output start + i
    // is itself in the run.
    Walker walk(p, t.start);
    t.firstInput = walk.Current().base;
    uint32_t base[kMaxPeriod];
    uint32_t wA[kMaxPeriod];
    uint32_t wB[kMaxPeriod];
    for (int i = 0; i < period; ++i, walk.Advance()) {
        const Tap tap = walk.Current();
        base[i] = tap.base - t.firstInput;
        wA[i] = tap.wA;
        wB[i] = tap.wB;
    }
    // When every four consecutive outputs of a group need at most four inputs
    // (enlarging by 1.5 or more), one window per 128-bit lane serves both
    // vectors of the group: half the loads.
    const int64_t used = std::min<int64_t>(period, interiorEnd - start);
    t.quad = true;
    for (int64_t c = 0; c + 3 < used && t.quad; c += 4) t.quad = base[c + 3] + 2 - base[c] <= 4;
    const int span = t.quad ? 4 : 2;  // outputs sharing a window
    for (int c = 0; c < period; c += span) {
        const int32_t start4 = static_cast<int32_t>(4 * base[c]);
        t.window[t.quad ? c / 4 : WindowSlot(c) / 2] = start4;
        for (int o = 0; o < span; ++o) {
            const int r = static_cast<int>(4 * base[c + o]) - start4;
            const int slot = WindowSlot(c + o);
            for (int ch = 0; ch < 4; ++ch) {
                t.shuffle[8 * slot + 2 * ch] = static_cast<uint8_t>((r + ch) & 15);
                t.shuffle[8 * slot + 2 * ch + 1] = static_cast<uint8_t>((r + 4 + ch) & 15);
                t.weight8[8 * slot + 2 * ch] = static_cast<int8_t>(wA[c + o]);
                t.weight8[8 * slot + 2 * ch + 1] = static_cast<int8_t>(wB[c + o]);
            }
        }
    }
    return true;
}

// ------------------------------------------------------------------ scalar kernels

// The instruction-set-free reference: the walk's own truncating division.
struct LiteralDivide {
    int64_t step;
    uint32_t operator()(uint64_t n) const { return static_cast<uint32_t>(static_cast<int64_t>(n) / step); }
};
// What the vector kernels compute, for their leftover bytes (same results).
struct VectorDivide {
    const ly::ScaleDivider& div;
    uint32_t operator()(uint64_t n) const {
        return div.mode == ly::ScaleDivider::Scalar ? static_cast<uint32_t>(n / div.divisor)
                                                    : div.DivideLikeVector(static_cast<uint32_t>(n));
    }
};

template <class Divide>
inline unsigned char Interpolate(uint32_t a, uint32_t b, uint32_t wA, uint32_t wB, Divide divide) {
    const uint32_t v = divide(uint64_t{a} * wA + uint64_t{b} * wB);
    return static_cast<unsigned char>(v > 255 ? 255 : v);
}

template <class Divide>
void VerticalScalar(const unsigned char* a, const unsigned char* b, unsigned char* out, size_t from, size_t bytes,
                    uint32_t wA, uint32_t wB, Divide divide) {
    for (size_t i = from; i < bytes; ++i) out[i] = Interpolate(a[i], b[i], wA, wB, divide);
}

template <class Divide>
void HorizontalScalar(const HTable& t, const unsigned char* in, unsigned char* out, int from, Divide divide) {
    for (int j = from; j < t.count; ++j) {
        const unsigned char* s = in + t.offset[j];
        for (int c = 0; c < 4; ++c) out[4 * j + c] = Interpolate(s[c], s[4 + c], t.wA[j], t.wB[j], divide);
    }
}

// Outputs from .. to - 1 straight from the walk, for the ends of periodic rows.
void WalkOutputs(const Pass& p, const unsigned char* in, unsigned char* out, uint32_t from, uint32_t to) {
    if (from >= to) return;
    const VectorDivide divide{p.div};
    Walker walk(p, from);
    for (uint32_t j = from; j < to; ++j, walk.Advance()) {
        const Tap t = walk.Current();
        const unsigned char* a = in + 4 * size_t{t.base};
        unsigned char* o = out + 4 * size_t{j};
        if (t.wB == 0) std::memcpy(o, a, 4);
        else if (t.wA == 0) std::memcpy(o, a + 4, 4);
        else
            for (int c = 0; c < 4; ++c) o[c] = Interpolate(a[c], a[4 + c], t.wA, t.wB, divide);
    }
}

// ------------------------------------------------------------------ SSE2 kernels
#if LY_X86

inline __m128i Mul16Divide(__m128i a, __m128i b, __m128i wa, __m128i wb, __m128i magic, __m128i shift) {
    const __m128i n = _mm_add_epi16(_mm_mullo_epi16(a, wa), _mm_mullo_epi16(b, wb));
    return _mm_srl_epi16(_mm_mulhi_epu16(n, magic), shift);
}

inline __m128i FloatDivide(__m128i n, __m128 half, __m128 reciprocal) {
    return _mm_cvttps_epi32(_mm_mul_ps(_mm_add_ps(_mm_cvtepi32_ps(n), half), reciprocal));
}

inline __m128i LoadPair(const unsigned char* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }

// Rows of at least 16 bytes end with one more vector that overlaps the
// previous one: it recomputes a few bytes with the same result instead of
// leaving them to the scalar loop.
void VerticalSse2(const Pass& p, const unsigned char* a, const unsigned char* b, unsigned char* out, size_t bytes,
                  uint32_t wA, uint32_t wB) {
    if (bytes < 16 || p.div.mode == ly::ScaleDivider::Scalar) {
        VerticalScalar(a, b, out, 0, bytes, wA, wB, VectorDivide{p.div});
        return;
    }
    const __m128i zero = _mm_setzero_si128();
    if (p.div.mode == ly::ScaleDivider::Mul16) {
        const __m128i wa = _mm_set1_epi16(static_cast<short>(wA));
        const __m128i wb = _mm_set1_epi16(static_cast<short>(wB));
        const __m128i magic = _mm_set1_epi16(static_cast<short>(p.div.magic));
        const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
        auto sixteen = [&](size_t i) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
            const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
            const __m128i lo =
                Mul16Divide(_mm_unpacklo_epi8(x, zero), _mm_unpacklo_epi8(y, zero), wa, wb, magic, shift);
            const __m128i hi =
                Mul16Divide(_mm_unpackhi_epi8(x, zero), _mm_unpackhi_epi8(y, zero), wa, wb, magic, shift);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
        };
        size_t i = 0;
        for (; i + 16 <= bytes; i += 16) sixteen(i);
        if (i < bytes) sixteen(bytes - 16);
    } else {
        const __m128i w = _mm_set1_epi32(static_cast<int>((wB << 16) | wA));
        const __m128 half = _mm_set1_ps(0.5f);
        const __m128 reciprocal = _mm_set1_ps(p.div.reciprocal);
        auto sixteen = [&](size_t i) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
            const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
            const __m128i lo = _mm_unpacklo_epi8(x, y);  // a0 b0 a1 b1 ...
            const __m128i hi = _mm_unpackhi_epi8(x, y);
            const __m128i q0 = FloatDivide(_mm_madd_epi16(_mm_unpacklo_epi8(lo, zero), w), half, reciprocal);
            const __m128i q1 = FloatDivide(_mm_madd_epi16(_mm_unpackhi_epi8(lo, zero), w), half, reciprocal);
            const __m128i q2 = FloatDivide(_mm_madd_epi16(_mm_unpacklo_epi8(hi, zero), w), half, reciprocal);
            const __m128i q3 = FloatDivide(_mm_madd_epi16(_mm_unpackhi_epi8(hi, zero), w), half, reciprocal);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                             _mm_packus_epi16(_mm_packs_epi32(q0, q1), _mm_packs_epi32(q2, q3)));
        };
        size_t i = 0;
        for (; i + 16 <= bytes; i += 16) sixteen(i);
        if (i < bytes) sixteen(bytes - 16);
    }
}

void HorizontalSse2(const Pass& p, const HTable& t, const unsigned char* in, unsigned char* out, int from) {
    int j = from;
    const __m128i zero = _mm_setzero_si128();
    if (p.div.mode == ly::ScaleDivider::Mul16) {
        const __m128i magic = _mm_set1_epi16(static_cast<short>(p.div.magic));
        const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
        const uint16_t* va = t.vec;
        const uint16_t* vb = t.vec + 4 * static_cast<size_t>(t.capacity);
        for (; j + 4 <= t.count; j += 4) {
            // Each load brings in[base] and in[base + 1] of one output; regroup
            // two outputs as (a, a) and (b, b) so one multiply serves both.
            const __m128i x01 = _mm_unpacklo_epi64(LoadPair(in + t.offset[j]), LoadPair(in + t.offset[j + 1]));
            const __m128i x23 = _mm_unpacklo_epi64(LoadPair(in + t.offset[j + 2]), LoadPair(in + t.offset[j + 3]));
            const __m128i s01 = _mm_shuffle_epi32(x01, _MM_SHUFFLE(3, 1, 2, 0));
            const __m128i s23 = _mm_shuffle_epi32(x23, _MM_SHUFFLE(3, 1, 2, 0));
            const __m128i q01 = Mul16Divide(_mm_unpacklo_epi8(s01, zero), _mm_unpackhi_epi8(s01, zero),
                                            _mm_loadu_si128(reinterpret_cast<const __m128i*>(va + 4 * j)),
                                            _mm_loadu_si128(reinterpret_cast<const __m128i*>(vb + 4 * j)), magic,
                                            shift);
            const __m128i q23 = Mul16Divide(_mm_unpacklo_epi8(s23, zero), _mm_unpackhi_epi8(s23, zero),
                                            _mm_loadu_si128(reinterpret_cast<const __m128i*>(va + 4 * j + 8)),
                                            _mm_loadu_si128(reinterpret_cast<const __m128i*>(vb + 4 * j + 8)), magic,
                                            shift);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * j), _mm_packus_epi16(q01, q23));
        }
    } else if (p.div.mode == ly::ScaleDivider::Float) {
        const __m128 half = _mm_set1_ps(0.5f);
        const __m128 reciprocal = _mm_set1_ps(p.div.reciprocal);
        auto one = [&](int k) {
            const __m128i x = LoadPair(in + t.offset[k]);
            const __m128i pairs = _mm_unpacklo_epi8(_mm_unpacklo_epi8(x, _mm_srli_si128(x, 4)), zero);
            const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t.vec + 8 * k));
            return FloatDivide(_mm_madd_epi16(pairs, w), half, reciprocal);
        };
        for (; j + 4 <= t.count; j += 4) {
            const __m128i q01 = _mm_packs_epi32(one(j), one(j + 1));
            const __m128i q23 = _mm_packs_epi32(one(j + 2), one(j + 3));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * j), _mm_packus_epi16(q01, q23));
        }
    }
    HorizontalScalar(t, in, out, j, VectorDivide{p.div});
}

// ------------------------------------------------------------------ AVX2 kernels

LY_TARGET_AVX2 inline __m256i Mul16Divide256(__m256i a, __m256i b, __m256i wa, __m256i wb, __m256i magic,
                                             __m128i shift) {
    const __m256i n = _mm256_add_epi16(_mm256_mullo_epi16(a, wa), _mm256_mullo_epi16(b, wb));
    return _mm256_srl_epi16(_mm256_mulhi_epu16(n, magic), shift);
}

// floor(n / divisor) for the 16-bit multiply; power-of-two divisors need no shift.
template <bool kShift>
LY_TARGET_AVX2 inline __m256i Magic256(__m256i n, __m256i magic, __m128i shift) {
    const __m256i q = _mm256_mulhi_epu16(n, magic);
    return kShift ? _mm256_srl_epi16(q, shift) : q;
}

template <bool kShift>
LY_TARGET_AVX2 void VerticalBytePairsAvx2(const Pass& p, const unsigned char* a, const unsigned char* b,
                                          unsigned char* out, size_t bytes, uint32_t wA, uint32_t wB) {
    const __m256i magic = _mm256_set1_epi16(static_cast<short>(p.div.magic));
    const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
    // (a, b) byte pairs against 8-bit weights: one pmaddubsw per 16 bytes.
    // Unpack and pack both stay within 128-bit lanes, so bytes keep their places.
    const __m256i w = _mm256_set1_epi16(static_cast<short>((wB << 8) | wA));
    auto thirtyTwo = [&](size_t i) LY_TARGET_AVX2 {
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
        const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
        const __m256i lo = _mm256_maddubs_epi16(_mm256_unpacklo_epi8(x, y), w);
        const __m256i hi = _mm256_maddubs_epi16(_mm256_unpackhi_epi8(x, y), w);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                            _mm256_packus_epi16(Magic256<kShift>(lo, magic, shift), Magic256<kShift>(hi, magic, shift)));
    };
    size_t i = 0;
    for (; i + 32 <= bytes; i += 32) thirtyTwo(i);
    if (i < bytes) thirtyTwo(bytes - 32);
}

LY_TARGET_AVX2 void VerticalAvx2(const Pass& p, const unsigned char* a, const unsigned char* b,
                                 unsigned char* out, size_t bytes, uint32_t wA, uint32_t wB) {
    if (bytes >= 32 && p.div.mode == ly::ScaleDivider::Mul16) {
        if (p.step <= 127) {
            if (p.div.shift != 0) VerticalBytePairsAvx2<true>(p, a, b, out, bytes, wA, wB);
            else VerticalBytePairsAvx2<false>(p, a, b, out, bytes, wA, wB);
        } else {
            const __m256i zero = _mm256_setzero_si256();
            const __m256i wa = _mm256_set1_epi16(static_cast<short>(wA));
            const __m256i wb = _mm256_set1_epi16(static_cast<short>(wB));
            const __m256i magic = _mm256_set1_epi16(static_cast<short>(p.div.magic));
            const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
            auto thirtyTwo = [&](size_t i) LY_TARGET_AVX2 {
                const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
                const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
                const __m256i lo = Mul16Divide256(_mm256_unpacklo_epi8(x, zero), _mm256_unpacklo_epi8(y, zero), wa,
                                                  wb, magic, shift);
                const __m256i hi = Mul16Divide256(_mm256_unpackhi_epi8(x, zero), _mm256_unpackhi_epi8(y, zero), wa,
                                                  wb, magic, shift);
                _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_packus_epi16(lo, hi));
            };
            size_t i = 0;
            for (; i + 32 <= bytes; i += 32) thirtyTwo(i);
            if (i < bytes) thirtyTwo(bytes - 32);
        }
        // The compiler does not clear the upper halves before returning into
        // legacy-SSE code; dirty upper state slows every SSE instruction after it.
        _mm256_zeroupper();
        return;
    }
    VerticalSse2(p, a, b, out, bytes, wA, wB);
}

// Outputs k, k+1 in the low lane and k+2, k+3 in the high lane, the order in
// which their weights sit in the table.
LY_TARGET_AVX2 inline __m256i GatherFour(const HTable& t, const unsigned char* in, int k, __m256i magic,
                                         __m128i shift) {
    const __m256i zero = _mm256_setzero_si256();
    const __m128i x01 = _mm_unpacklo_epi64(LoadPair(in + t.offset[k]), LoadPair(in + t.offset[k + 1]));
    const __m128i x23 = _mm_unpacklo_epi64(LoadPair(in + t.offset[k + 2]), LoadPair(in + t.offset[k + 3]));
    const __m256i s =
        _mm256_shuffle_epi32(_mm256_inserti128_si256(_mm256_castsi128_si256(x01), x23, 1), _MM_SHUFFLE(3, 1, 2, 0));
    return Mul16Divide256(_mm256_unpacklo_epi8(s, zero), _mm256_unpackhi_epi8(s, zero),
                          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t.vec + 4 * k)),
                          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t.vec + 4 * static_cast<size_t>(t.capacity) + 4 * k)),
                          magic,
                          shift);
}

// Four outputs from two 16-byte windows: the vector of slots s .. s+3 (see WindowSlot).
template <bool kShift>
LY_TARGET_AVX2 inline __m256i WindowFour(const int32_t* window, const uint8_t* shuffle, const int8_t* weight8,
                                         const unsigned char* in, int slot, __m256i magic, __m128i shift) {
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + window[slot / 2]));
    const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + window[slot / 2 + 1]));
    const __m256i pairs = _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1),
                                              _mm256_loadu_si256(reinterpret_cast<const __m256i*>(shuffle + 8 * slot)));
    const __m256i n =
        _mm256_maddubs_epi16(pairs, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(weight8 + 8 * slot)));
    return Magic256<kShift>(n, magic, shift);
}

// (a, b) byte pairs of four outputs picked from the window vector `w`, weighted and divided.
template <bool kShift>
LY_TARGET_AVX2 inline __m256i PairsFour(__m256i w, const uint8_t* shuffle, const int8_t* weight8, int slot,
                                        __m256i magic, __m128i shift) {
    const __m256i pairs =
        _mm256_shuffle_epi8(w, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(shuffle + 8 * slot)));
    const __m256i n =
        _mm256_maddubs_epi16(pairs, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(weight8 + 8 * slot)));
    return Magic256<kShift>(n, magic, shift);
}

LY_TARGET_AVX2 inline __m256i LoadWindows(const unsigned char* in, int32_t lo, int32_t hi) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + lo))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + hi)), 1);
}

template <bool kShift, bool kQuad>
LY_TARGET_AVX2 void PeriodicRunAvx2(const Pass& p, const PeriodicTable& t, const unsigned char* in,
                                    unsigned char* out) {
    const __m256i magic = _mm256_set1_epi16(static_cast<short>(p.div.magic));
    const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
    int group = 0;
    for (uint32_t g = 0; g < t.runGroups; ++g, out += 32) {
        const int slot = 8 * group;
        __m256i q0123, q4567;
        if (kQuad) {
            const __m256i w = LoadWindows(in, t.window[2 * group], t.window[2 * group + 1]);
            q0123 = PairsFour<kShift>(w, t.shuffle, t.weight8, slot, magic, shift);
            q4567 = PairsFour<kShift>(w, t.shuffle, t.weight8, slot + 4, magic, shift);
        } else {
            q0123 = WindowFour<kShift>(t.window, t.shuffle, t.weight8, in, slot, magic, shift);
            q4567 = WindowFour<kShift>(t.window, t.shuffle, t.weight8, in, slot + 4, magic, shift);
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_packus_epi16(q0123, q4567));
        if (++group == t.groups) {
            group = 0;
            in += t.advance;
        }
    }
}

LY_TARGET_AVX2 void PeriodicRowAvx2(const Pass& p, const PeriodicTable& t, const unsigned char* in,
                                    unsigned char* out) {
    const unsigned char* runIn = in + 4 * size_t{t.firstInput};
    unsigned char* runOut = out + 4 * size_t{t.start};
    if (p.div.shift != 0) {
        if (t.quad) PeriodicRunAvx2<true, true>(p, t, runIn, runOut);
        else PeriodicRunAvx2<true, false>(p, t, runIn, runOut);
    } else {
        if (t.quad) PeriodicRunAvx2<false, true>(p, t, runIn, runOut);
        else PeriodicRunAvx2<false, false>(p, t, runIn, runOut);
    }
    _mm256_zeroupper();  // see VerticalAvx2
    WalkOutputs(p, in, out, 0, t.start);
    WalkOutputs(p, in, out, t.start + 8 * t.runGroups, p.out);
}

template <bool kShift>
LY_TARGET_AVX2 int HorizontalWindowsAvx2(const Pass& p, const HTable& t, const unsigned char* in,
                                         unsigned char* out) {
    const __m256i magic = _mm256_set1_epi16(static_cast<short>(p.div.magic));
    const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
    int j = 0;
    for (; j + 8 <= t.windowed; j += 8)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * j),
                            _mm256_packus_epi16(WindowFour<kShift>(t.window, t.Shuffle(), t.Weight8(), in, j, magic, shift),
                                                WindowFour<kShift>(t.window, t.Shuffle(), t.Weight8(), in, j + 4, magic, shift)));
    return j;
}

LY_TARGET_AVX2 void HorizontalAvx2(const Pass& p, Layout layout, const HTable& t, const unsigned char* in,
                                   unsigned char* out) {
    int j = 0;
    if (layout == Layout::Window8) {
        j = p.div.shift != 0 ? HorizontalWindowsAvx2<true>(p, t, in, out) : HorizontalWindowsAvx2<false>(p, t, in, out);
        _mm256_zeroupper();  // see VerticalAvx2
        // Window8 tables carry no gather weights; what the windows leave (the
        // last few outputs of a row at most) is done one by one.
        HorizontalScalar(t, in, out, j, VectorDivide{p.div});
        return;
    }
    if (layout == Layout::Gather16) {
        const __m256i magic = _mm256_set1_epi16(static_cast<short>(p.div.magic));
        const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
        for (; j + 8 <= t.count; j += 8) {
            const __m256i packed =  // outputs 0 1 4 5 | 2 3 6 7
                _mm256_packus_epi16(GatherFour(t, in, j, magic, shift), GatherFour(t, in, j + 4, magic, shift));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * j),
                                _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0)));
        }
        _mm256_zeroupper();
    }
    HorizontalSse2(p, t, in, out, j);
}

#endif  // LY_X86

void VerticalRow(ly::Isa isa, const Pass& p, const unsigned char* a, const unsigned char* b, unsigned char* out,
                 size_t bytes, uint32_t wA, uint32_t wB) {
    LY_WIDEST_FORM(isa, VerticalAvx2(p, a, b, out, bytes, wA, wB), VerticalSse2(p, a, b, out, bytes, wA, wB),
                   VerticalScalar(a, b, out, 0, bytes, wA, wB, LiteralDivide{p.step}));
}

void HorizontalRow(ly::Isa isa, const Pass& p, Layout layout, const HTable& t, const unsigned char* in,
                   unsigned char* out) {
    static_cast<void>(layout);  // only the AVX2 form has more than one layout
    LY_WIDEST_FORM(isa, HorizontalAvx2(p, layout, t, in, out), HorizontalSse2(p, t, in, out, 0),
                   HorizontalScalar(t, in, out, 0, LiteralDivide{p.step}));
}

// ------------------------------------------------------------------ bands

struct ScaleJob {
    unsigned char* dst;
    ptrdiff_t dstPitch;
    const unsigned char* src;
    ptrdiff_t srcPitch;
    Pass h;
    Pass v;
    bool sameHeight;
    ly::Isa isa;
    Layout layout;
    // Heights differ: the whole row's horizontal weights and one intermediate
    // row per band, from the call's one allocation.
    const HTable* rowTable = nullptr;
    const PeriodicTable* periodic = nullptr;  // AVX2 only
    unsigned char* scratchRows = nullptr;
    std::atomic<int> nextScratch{0};

    const unsigned char* SrcRow(uint32_t r) const { return src + srcPitch * static_cast<ptrdiff_t>(r); }
    unsigned char* DstRow(int r) const { return dst + dstPitch * static_cast<ptrdiff_t>(r); }

    // Input pixels first .. first + count - 1 of the vertically resampled row
    // whose tap is `t`: a source row itself where no interpolation is needed,
    // else `scratch` filled with the interpolation.
    const unsigned char* Intermediate(const Tap& t, uint32_t first, uint32_t count, unsigned char* scratch) const {
        if (t.wB == 0) return SrcRow(t.base) + 4 * size_t{first};
        if (t.wA == 0) return SrcRow(t.base + 1) + 4 * size_t{first};
        VerticalRow(isa, v, SrcRow(t.base) + 4 * size_t{first}, SrcRow(t.base + 1) + 4 * size_t{first}, scratch,
                    4 * size_t{count}, t.wA, t.wB);
        return scratch;
    }

    // Equal heights need no vertical walk: output row y is source row y.
    Tap RowTap(const Walker& rows, int y) const {
        return sameHeight ? Tap{static_cast<uint32_t>(y), 1, 0} : rows.Current();
    }

    void Rows(int firstRow, int rows) {
        const int end = firstRow + rows;
        Walker down(v, static_cast<uint32_t>(firstRow));
        if (h.in == h.out) {
            const size_t bytes = 4 * size_t{h.in};
            for (int y = firstRow; y < end; ++y, down.Advance()) {
                unsigned char* d = DstRow(y);
                const unsigned char* r = Intermediate(RowTap(down, y), 0, h.in, d);
                if (r != d) std::memcpy(d, r, bytes);
            }
        } else if (h.in == 1) {
            for (int y = firstRow; y < end; ++y, down.Advance()) {
                unsigned char pixel[4];
                const unsigned char* r = Intermediate(RowTap(down, y), 0, 1, pixel);
                unsigned char* d = DstRow(y);
                for (uint32_t x = 0; x < h.out; ++x) std::memcpy(d + 4 * size_t{x}, r, 4);
            }
        } else if (periodic != nullptr) {
#if LY_X86
            // Whole rows in order: the output streams through memory.
            unsigned char* scratch =
                sameHeight ? nullptr
                           : scratchRows + 4 * size_t{h.in} * static_cast<size_t>(nextScratch.fetch_add(1));
            for (int y = firstRow; y < end; ++y, down.Advance())
                PeriodicRowAvx2(h, *periodic, Intermediate(RowTap(down, y), 0, h.in, scratch), DstRow(y));
#endif
        } else if (rowTable != nullptr) {
            // Whole rows in order: the output streams through memory.
            unsigned char* scratch = scratchRows + 4 * size_t{h.in} * static_cast<size_t>(nextScratch.fetch_add(1));
            for (int y = firstRow; y < end; ++y, down.Advance())
                HorizontalRow(isa, h, layout, *rowTable,
                              Intermediate(RowTap(down, y), rowTable->firstInput, rowTable->inputs, scratch),
                              DstRow(y));
        } else {
            // Equal heights: straight from the source rows, weights a block at a time.
            alignas(32) unsigned char memory[HTable::kBytesPerOutput * kBlockOut];
            HTable table;
            table.Bind(memory, kBlockOut);
            Walker across(h, 0);
            for (uint32_t x = 0; x < h.out; x += static_cast<uint32_t>(table.count)) {
                BuildTable(h, layout, across, h.out - x, table);
                for (int y = firstRow; y < end; ++y)
                    HorizontalRow(isa, h, layout, table, SrcRow(static_cast<uint32_t>(y)) + 4 * size_t{table.firstInput},
                                  DstRow(y) + 4 * size_t{x});
            }
        }
    }
};

}  // namespace

void ScaleImage4x8bits(unsigned char* destination, unsigned destinationWidth, unsigned destinationHeight,
                       unsigned destinationPitch, unsigned char* const source, unsigned sourceWidth,
                       unsigned sourceHeight, unsigned sourcePitch) {
    if (destination == nullptr || source == nullptr) return;
    if (destinationWidth == 0 || destinationHeight == 0 || sourceWidth == 0 || sourceHeight == 0) return;
    if (destinationWidth > kMaxScaleSize || destinationHeight > kMaxScaleSize || sourceWidth > kMaxScaleSize ||
        sourceHeight > kMaxScaleSize)
        return;

    ScaleJob job;
    job.dst = destination;
    job.dstPitch = static_cast<int32_t>(destinationPitch);
    job.src = source;
    job.srcPitch = static_cast<int32_t>(sourcePitch);
    job.h = MakePass(sourceWidth, destinationWidth);
    job.v = MakePass(sourceHeight, destinationHeight);
    job.sameHeight = sourceHeight == destinationHeight;
    job.isa = ly::ActiveIsa();
    job.layout = LayoutFor(job.isa, job.h);

    // Only resampling in both directions needs intermediate rows; that call
    // allocates once (one row per band, and the whole row's weights unless
    // one period of them serves) and refuses if it cannot.
    const bool horizontal = sourceWidth != destinationWidth && sourceWidth > 1;
    PeriodicTable periodic;
    if (horizontal && job.layout == Layout::Window8 && BuildPeriodic(job.h, periodic)) job.periodic = &periodic;
    std::unique_ptr<unsigned char[]> memory;
    HTable rowTable;
    if (horizontal && !job.sameHeight) {
        const int bands = destinationHeight < static_cast<unsigned>(ly::kBandRowThreshold) ? 1 : ly::kMaxBands;
        const size_t tableBytes = job.periodic ? 0 : HTable::Bytes(static_cast<int>(destinationWidth));
        const size_t bytes = 32 + tableBytes + size_t{4} * sourceWidth * static_cast<size_t>(bands);
        memory.reset(new (std::nothrow) unsigned char[bytes]);
        if (!memory) return;
        const size_t misalignment = reinterpret_cast<uintptr_t>(memory.get()) % 32;
        unsigned char* base = memory.get() + (misalignment ? 32 - misalignment : 0);
        if (!job.periodic) {
            rowTable.Bind(base, static_cast<int>(destinationWidth));
            Walker across(job.h, 0);
            BuildTable(job.h, job.layout, across, destinationWidth, rowTable);
            job.rowTable = &rowTable;
        }
        job.scratchRows = base + tableBytes;
    }
    ly::ParallelRows(ly::PoolRoute::Internal, static_cast<int>(destinationHeight),
                     [&job](int firstRow, int rows) { job.Rows(firstRow, rows); });
}

}  // namespace LyVideoUtils
