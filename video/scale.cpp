// Placement of one picture in another and the separable 32-bit resampler.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "LyMemUtils.h"
#include "LyVideoUtils.h"
#include "memory/LyCpu.h"
#include "threading/LyBandFrame.h"
#include "video/LyScaleDivide.h"

namespace LyVideoUtils {

namespace {

constexpr double kRatioTolerance = 0.0001;

// The truncating conversion of the x86 processor: out of range (or NaN) gives
// 0x80000000 instead of undefined behaviour.
int32_t TruncToInt(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<int32_t>(v);
}
int32_t RoundToInt(double v) { return TruncToInt(v > 0 ? v + 0.5 : v - 0.5); }
// Single-precision rounding: the half is added in float.
int32_t RoundToIntF(float v) { return TruncToInt(v > 0 ? v + 0.5f : v - 0.5f); }

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

constexpr uint32_t kMaxScaleSize = 1u << 30;
// A band builds its horizontal weights for at most this many output pixels at
// a time, and the vertical scratch row for one such block spans at most
// kBlockIn input pixels; both live on the band's stack, so the resampler never
// allocates.
constexpr int kBlockOut = 256;
constexpr uint32_t kBlockIn = 1024;

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

Tap TapAt(const Pass& p, uint32_t j) {
    const int64_t pos = (2 * int64_t{j} + 1) * p.halfOut;
    return TapFor(p, pos < p.halfIn ? -1 : (pos - p.halfIn) / p.step, pos);
}

// The walk itself, output by output, for building weight tables.
class Walker {
public:
    explicit Walker(const Pass& p) : p_(p), pos_(p.halfOut), next_(p.halfIn) {
        if (pos_ >= next_) Catch();
    }
    Tap Current() const { return TapFor(p_, k_, pos_); }
    void Advance() {
        pos_ += 2 * p_.halfOut;
        Catch();
    }

private:
    void Catch() {
        while (pos_ >= next_) {
            next_ += p_.step;
            ++k_;
        }
    }
    const Pass& p_;
    int64_t pos_;
    int64_t next_;  // centre of input k_ + 1
    int64_t k_ = -1;
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

// Horizontal weights of one block of output pixels.
struct alignas(32) HTable {
    // Gather16 keeps wA x4 of every output in the first half and wB x4 in the
    // second; GatherFloat keeps (wA, wB) x4 per output, the pairs pmaddwd wants.
    uint16_t vec[kBlockOut * 8];
    // Window8: per output, the byte shuffle that turns its pair's window into
    // (a, b) byte pairs of the four channels, and those pairs' 8-bit weights.
    uint8_t shuffle[kBlockOut * 8];
    int8_t weight8[kBlockOut * 8];
    int32_t window[kBlockOut / 2];  // Window8: window start of each output pair, bytes from the block's first input
    int32_t offset[kBlockOut];      // bytes from the block's first input to in[base]
    uint32_t wA[kBlockOut];
    uint32_t wB[kBlockOut];
    int count = 0;
    int windowed = 0;         // Window8: leading outputs whose pair windows are valid
    uint32_t firstInput = 0;  // input pixel the offsets count from
    uint32_t inputs = 0;      // input pixels the block reads
};

void BuildWindows(HTable& t) {
    const int32_t end = static_cast<int32_t>(4 * t.inputs);
    int c = 0;
    for (; c + 1 < t.count; c += 2) {
        // The window must stay inside the block's inputs (they may be a scratch
        // row or the edge of the source row), so near the end it slides back.
        const int32_t start = std::min(t.offset[c], end - 16);
        if (start < 0 || t.offset[c + 1] + 8 > start + 16) break;
        t.window[c / 2] = start;
        for (int o = 0; o < 2; ++o) {
            const int r = t.offset[c + o] - start;
            for (int ch = 0; ch < 4; ++ch) {
                t.shuffle[8 * (c + o) + 2 * ch] = static_cast<uint8_t>(r + ch);
                t.shuffle[8 * (c + o) + 2 * ch + 1] = static_cast<uint8_t>(r + 4 + ch);
                t.weight8[8 * (c + o) + 2 * ch] = static_cast<int8_t>(t.wA[c + o]);
                t.weight8[8 * (c + o) + 2 * ch + 1] = static_cast<int8_t>(t.wB[c + o]);
            }
        }
    }
    t.windowed = c;
}

void BuildTable(const Pass& p, Layout layout, Walker& walk, uint32_t remaining, HTable& t) {
    // Window8 reads up to two inputs past the last base; Gather16 covers the
    // outputs the windows leave.
    const uint32_t reach = layout == Layout::Window8 ? 4 : 2;
    const uint32_t first = walk.Current().base;
    uint32_t last = first;
    int c = 0;
    for (; c < kBlockOut && static_cast<uint32_t>(c) < remaining; ++c, walk.Advance()) {
        const Tap tap = walk.Current();
        if (tap.base + reach - first > kBlockIn) break;
        t.offset[c] = static_cast<int32_t>(4 * (tap.base - first));
        t.wA[c] = tap.wA;
        t.wB[c] = tap.wB;
        if (layout == Layout::Gather16 || layout == Layout::Window8) {
            for (int i = 0; i < 4; ++i) {
                t.vec[4 * c + i] = static_cast<uint16_t>(tap.wA);
                t.vec[4 * kBlockOut + 4 * c + i] = static_cast<uint16_t>(tap.wB);
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

// ------------------------------------------------------------------ scalar kernels

inline unsigned char Interpolate(uint32_t a, uint32_t b, uint32_t wA, uint32_t wB, int64_t step) {
    const int64_t v = (int64_t{a} * wA + int64_t{b} * wB) / step;
    return static_cast<unsigned char>(v > 255 ? 255 : v);
}

void VerticalScalar(const Pass& p, const unsigned char* a, const unsigned char* b, unsigned char* out,
                    size_t from, size_t bytes, uint32_t wA, uint32_t wB) {
    for (size_t i = from; i < bytes; ++i) out[i] = Interpolate(a[i], b[i], wA, wB, p.step);
}

void HorizontalScalar(const Pass& p, const HTable& t, const unsigned char* in, unsigned char* out, int from) {
    for (int j = from; j < t.count; ++j) {
        const unsigned char* s = in + t.offset[j];
        for (int c = 0; c < 4; ++c) out[4 * j + c] = Interpolate(s[c], s[4 + c], t.wA[j], t.wB[j], p.step);
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

void VerticalSse2(const Pass& p, const unsigned char* a, const unsigned char* b, unsigned char* out, size_t from,
                  size_t bytes, uint32_t wA, uint32_t wB) {
    size_t i = from;
    const __m128i zero = _mm_setzero_si128();
    if (p.div.mode == ly::ScaleDivider::Mul16) {
        const __m128i wa = _mm_set1_epi16(static_cast<short>(wA));
        const __m128i wb = _mm_set1_epi16(static_cast<short>(wB));
        const __m128i magic = _mm_set1_epi16(static_cast<short>(p.div.magic));
        const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
        for (; i + 16 <= bytes; i += 16) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
            const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
            const __m128i lo =
                Mul16Divide(_mm_unpacklo_epi8(x, zero), _mm_unpacklo_epi8(y, zero), wa, wb, magic, shift);
            const __m128i hi =
                Mul16Divide(_mm_unpackhi_epi8(x, zero), _mm_unpackhi_epi8(y, zero), wa, wb, magic, shift);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
        }
    } else if (p.div.mode == ly::ScaleDivider::Float) {
        const __m128i w = _mm_set1_epi32(static_cast<int>((wB << 16) | wA));
        const __m128 half = _mm_set1_ps(0.5f);
        const __m128 reciprocal = _mm_set1_ps(p.div.reciprocal);
        for (; i + 16 <= bytes; i += 16) {
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
        }
    }
    VerticalScalar(p, a, b, out, i, bytes, wA, wB);
}

void HorizontalSse2(const Pass& p, const HTable& t, const unsigned char* in, unsigned char* out, int from) {
    int j = from;
    const __m128i zero = _mm_setzero_si128();
    if (p.div.mode == ly::ScaleDivider::Mul16) {
        const __m128i magic = _mm_set1_epi16(static_cast<short>(p.div.magic));
        const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
        const uint16_t* va = t.vec;
        const uint16_t* vb = t.vec + 4 * kBlockOut;
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
    HorizontalScalar(p, t, in, out, j);
}

// ------------------------------------------------------------------ AVX2 kernels

LY_TARGET_AVX2 inline __m256i Mul16Divide256(__m256i a, __m256i b, __m256i wa, __m256i wb, __m256i magic,
                                             __m128i shift) {
    const __m256i n = _mm256_add_epi16(_mm256_mullo_epi16(a, wa), _mm256_mullo_epi16(b, wb));
    return _mm256_srl_epi16(_mm256_mulhi_epu16(n, magic), shift);
}

LY_TARGET_AVX2 void VerticalAvx2(const Pass& p, const unsigned char* a, const unsigned char* b,
                                 unsigned char* out, size_t bytes, uint32_t wA, uint32_t wB) {
    size_t i = 0;
    if (p.div.mode == ly::ScaleDivider::Mul16) {
        const __m256i magic = _mm256_set1_epi16(static_cast<short>(p.div.magic));
        const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
        // Unpack and pack both stay within 128-bit lanes, so bytes keep their places.
        if (p.step <= 127) {
            // (a, b) byte pairs against 8-bit weights: one pmaddubsw per 16 bytes.
            const __m256i w = _mm256_set1_epi16(static_cast<short>((wB << 8) | wA));
            for (; i + 32 <= bytes; i += 32) {
                const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
                const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
                const __m256i lo = _mm256_maddubs_epi16(_mm256_unpacklo_epi8(x, y), w);
                const __m256i hi = _mm256_maddubs_epi16(_mm256_unpackhi_epi8(x, y), w);
                _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                                    _mm256_packus_epi16(_mm256_srl_epi16(_mm256_mulhi_epu16(lo, magic), shift),
                                                        _mm256_srl_epi16(_mm256_mulhi_epu16(hi, magic), shift)));
            }
        } else {
            const __m256i zero = _mm256_setzero_si256();
            const __m256i wa = _mm256_set1_epi16(static_cast<short>(wA));
            const __m256i wb = _mm256_set1_epi16(static_cast<short>(wB));
            for (; i + 32 <= bytes; i += 32) {
                const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
                const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
                const __m256i lo = Mul16Divide256(_mm256_unpacklo_epi8(x, zero), _mm256_unpacklo_epi8(y, zero), wa,
                                                  wb, magic, shift);
                const __m256i hi = Mul16Divide256(_mm256_unpackhi_epi8(x, zero), _mm256_unpackhi_epi8(y, zero), wa,
                                                  wb, magic, shift);
                _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_packus_epi16(lo, hi));
            }
        }
        // The compiler does not clear the upper halves before the tail call
        // into legacy-SSE code; dirty upper state slows every SSE instruction after it.
        _mm256_zeroupper();
    }
    VerticalSse2(p, a, b, out, i, bytes, wA, wB);
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
                          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t.vec + 4 * kBlockOut + 4 * k)), magic,
                          shift);
}

// Same lanes as GatherFour, from two 16-byte windows.
LY_TARGET_AVX2 inline __m256i WindowFour(const HTable& t, const unsigned char* in, int k, __m256i magic,
                                         __m128i shift) {
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + t.window[k / 2]));
    const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + t.window[k / 2 + 1]));
    const __m256i pairs = _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1),
                                              _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t.shuffle + 8 * k)));
    const __m256i n =
        _mm256_maddubs_epi16(pairs, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t.weight8 + 8 * k)));
    return _mm256_srl_epi16(_mm256_mulhi_epu16(n, magic), shift);
}

LY_TARGET_AVX2 inline void StoreEight(unsigned char* out, __m256i q0123, __m256i q4567) {
    const __m256i packed = _mm256_packus_epi16(q0123, q4567);  // outputs 0 1 4 5 | 2 3 6 7
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0)));
}

LY_TARGET_AVX2 void HorizontalAvx2(const Pass& p, const HTable& t, const unsigned char* in, unsigned char* out) {
    int j = 0;
    if (p.div.mode == ly::ScaleDivider::Mul16) {
        const __m256i magic = _mm256_set1_epi16(static_cast<short>(p.div.magic));
        const __m128i shift = _mm_cvtsi32_si128(p.div.shift);
        for (; j + 8 <= t.windowed; j += 8)
            StoreEight(out + 4 * j, WindowFour(t, in, j, magic, shift), WindowFour(t, in, j + 4, magic, shift));
        for (; j + 8 <= t.count; j += 8)
            StoreEight(out + 4 * j, GatherFour(t, in, j, magic, shift), GatherFour(t, in, j + 4, magic, shift));
        _mm256_zeroupper();  // see VerticalAvx2
    }
    HorizontalSse2(p, t, in, out, j);
}

#endif  // LY_X86

void VerticalRow(ly::Isa isa, const Pass& p, const unsigned char* a, const unsigned char* b, unsigned char* out,
                 size_t bytes, uint32_t wA, uint32_t wB) {
#if LY_X86
    switch (isa) {
    case ly::Isa::Avx2: VerticalAvx2(p, a, b, out, bytes, wA, wB); return;
    case ly::Isa::Sse2: VerticalSse2(p, a, b, out, 0, bytes, wA, wB); return;
    default: break;
    }
#else
    (void)isa;
#endif
    VerticalScalar(p, a, b, out, 0, bytes, wA, wB);
}

void HorizontalRow(ly::Isa isa, const Pass& p, const HTable& t, const unsigned char* in, unsigned char* out) {
#if LY_X86
    switch (isa) {
    case ly::Isa::Avx2: HorizontalAvx2(p, t, in, out); return;
    case ly::Isa::Sse2: HorizontalSse2(p, t, in, out, 0); return;
    default: break;
    }
#else
    (void)isa;
#endif
    HorizontalScalar(p, t, in, out, 0);
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

    const unsigned char* SrcRow(uint32_t r) const { return src + srcPitch * static_cast<ptrdiff_t>(r); }
    unsigned char* DstRow(int r) const { return dst + dstPitch * static_cast<ptrdiff_t>(r); }

    // Input pixels first .. first + count - 1 of the vertically resampled row
    // for output row y: a source row itself where no interpolation is needed,
    // else `scratch` filled with the interpolation.
    const unsigned char* Intermediate(int y, uint32_t first, uint32_t count, unsigned char* scratch) const {
        if (sameHeight) return SrcRow(static_cast<uint32_t>(y)) + 4 * size_t{first};
        const Tap t = TapAt(v, static_cast<uint32_t>(y));
        if (t.wB == 0) return SrcRow(t.base) + 4 * size_t{first};
        if (t.wA == 0) return SrcRow(t.base + 1) + 4 * size_t{first};
        VerticalRow(isa, v, SrcRow(t.base) + 4 * size_t{first}, SrcRow(t.base + 1) + 4 * size_t{first}, scratch,
                    4 * size_t{count}, t.wA, t.wB);
        return scratch;
    }

    void Rows(int firstRow, int rows) const {
        const int end = firstRow + rows;
        if (h.in == h.out) {
            const size_t bytes = 4 * size_t{h.in};
            for (int y = firstRow; y < end; ++y) {
                unsigned char* d = DstRow(y);
                const unsigned char* r = Intermediate(y, 0, h.in, d);
                if (r != d) std::memcpy(d, r, bytes);
            }
            return;
        }
        if (h.in == 1) {
            for (int y = firstRow; y < end; ++y) {
                unsigned char pixel[4];
                const unsigned char* r = Intermediate(y, 0, 1, pixel);
                unsigned char* d = DstRow(y);
                for (uint32_t x = 0; x < h.out; ++x) std::memcpy(d + 4 * size_t{x}, r, 4);
            }
            return;
        }
        const Layout layout = LayoutFor(isa, h);
        HTable table;
        alignas(32) unsigned char scratch[4 * kBlockIn];
        Walker walk(h);
        for (uint32_t x = 0; x < h.out; x += static_cast<uint32_t>(table.count)) {
            BuildTable(h, layout, walk, h.out - x, table);
            for (int y = firstRow; y < end; ++y)
                HorizontalRow(isa, h, table, Intermediate(y, table.firstInput, table.inputs, scratch),
                              DstRow(y) + 4 * size_t{x});
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
    ly::ParallelRows(ly::PoolRoute::Internal, static_cast<int>(destinationHeight),
                     [&job](int firstRow, int rows) { job.Rows(firstRow, rows); });
}

}  // namespace LyVideoUtils
