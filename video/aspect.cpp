// Display aspect, pixel aspect and square-pixel geometry.

#include <cmath>
#include <cstdint>

#include "LyMemUtils.h"
#include "LyVideoUtils.h"
#include "video/LyVideoMath.h"

namespace LyVideoUtils {

namespace {

using ly::video::kRatioTolerance;
using ly::video::RoundToInt;
using ly::video::TruncToInt;

// Sums of 32-bit edges wrap modulo 2^32 (defined, and what 32-bit hosts see)
// rather than overflowing.
int32_t WrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t WrapSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// The fixed ratios; false for the values that each caller treats its own way.
bool NamedRatio(ELyAspectRatio aspect, int& x, int& y) {
    switch (aspect) {
    case AspectRatio_4_3: x = 4; y = 3; return true;
    case AspectRatio_16_9: x = 16; y = 9; return true;
    case AspectRatio_27_20: x = 27; y = 20; return true;
    case AspectRatio_9_5: x = 9; y = 5; return true;
    default: return false;
    }
}

bool Near(double a, double b) { return std::fabs(a - b) <= kRatioTolerance; }

// a * b as a double, for factors whose product is at most 2^63 in magnitude
// (an int and a doubled int). Only +2^63 (INT_MIN times twice INT_MIN) leaves
// the int64 range, and being a power of two it is exact in double.
double ExactProduct(int64_t a, int64_t b) {
    const uint64_t ua = a < 0 ? 0 - static_cast<uint64_t>(a) : static_cast<uint64_t>(a);
    const uint64_t ub = b < 0 ? 0 - static_cast<uint64_t>(b) : static_cast<uint64_t>(b);
    const uint64_t magnitude = ua * ub;
    const bool negative = (a < 0) != (b < 0);
    if (magnitude > static_cast<uint64_t>(INT64_MAX)) return negative ? -0x1p63 : 0x1p63;
    const int64_t p = static_cast<int64_t>(magnitude);
    return static_cast<double>(negative ? -p : p);
}

// (num1 * num2) / (den1 * den2) with exact products, 1.0 when a divisor
// factor is zero.
double ProductRatio(int64_t num1, int64_t num2, int64_t den1, int64_t den2) {
    if (den1 == 0 || den2 == 0) return 1.0;
    return ExactProduct(num1, num2) / ExactProduct(den1, den2);
}

// Display ratio of a resolution record; false when it has no height to divide by.
bool ResolutionRatio(const SLyVideoResolution& r, double& ratio) {
    int x, y;
    if (NamedRatio(r.aspectRatio, x, y)) {
        ratio = static_cast<double>(x) / y;
        return true;
    }
    if (r.height == 0) return false;
    ratio = static_cast<double>(r.width) / r.height;
    return true;
}

}  // namespace

void GetAspectRatioValue(int width, int height, ELyAspectRatio aspect, int& x, int& y) {
    if (NamedRatio(aspect, x, y)) return;
    x = width;
    y = height;
}

void GetAspectRatioValue(ELyAspectRatio aspect, int& x, int& y) {
    if (NamedRatio(aspect, x, y)) return;
    if (aspect == AspectRatio_Square || aspect == AspectRatio_Custom) {
        x = 1;
        y = 1;
    }
}

void GetAspectRatioClass(int width, int height, ELyAspectRatio& aspect) {
    if (height == 0) return;
    const double r = static_cast<double>(width) / height;
    if (Near(r, 1.7777777777777777)) aspect = AspectRatio_16_9;
    else if (Near(r, 1.3333333333333333)) aspect = AspectRatio_4_3;
    else if (Near(r, 1.35)) aspect = AspectRatio_27_20;
    else if (Near(r, 1.8)) aspect = AspectRatio_9_5;
    else aspect = AspectRatio_Custom;
}

int GetAspectRatioWidth(int a, int x, int y) {
    if (y == 0) return 0;
    return RoundToInt(static_cast<double>(x) / y * a);
}

int GetAspectRatioHeight(int a, int x, int y) {
    if (x == 0) return 0;
    return RoundToInt(static_cast<double>(y) / x * a);
}

double GetPixelAspectRatio(const SLyVideoResolution& resolution) {
    if (resolution.frameSize.cx == 0) return 1.0;
    return static_cast<double>(resolution.width) / resolution.frameSize.cx;
}

double GetPixelAspectRatio(int width, int height, int x, int y) {
    return ProductRatio(height, x, width, y);
}

double GetPixelAspectRatio(int width, int height, ELyAspectRatio aspect) {
    if (aspect == AspectRatio_Custom) return 1.0;
    int x, y;
    GetAspectRatioValue(width, height, aspect, x, y);
    return ProductRatio(x, height, y, width);
}

double GetPixelAspectRatio(const SLySurfaceDescription& description) {
    // A field holds every other row of the frame whose aspect is described.
    int64_t h = description.height;
    if (description.polarity == Polarity_First || description.polarity == Polarity_Second) h *= 2;
    int64_t x, y;
    int nx, ny;
    if (description.aspectRatio == AspectRatio_Custom) {
        x = description.customAspectX;
        y = description.customAspectY;
    } else if (NamedRatio(description.aspectRatio, nx, ny)) {
        x = nx;
        y = ny;
    } else {
        x = description.width;
        y = h;
    }
    return ProductRatio(x, h, y, description.width);
}

int GetSqualPixelRect(int x, int y, RECT& rect) {
    const int32_t w = TruncToInt(std::fabs(static_cast<float>(rect.right) - static_cast<float>(rect.left)));
    if (y == 0 || w == 0) {
        rect = RECT{0, 0, 0, 0};
        return 0;
    }
    const int32_t h = TruncToInt(std::fabs(static_cast<float>(rect.bottom) - static_cast<float>(rect.top)));
    const double k = (static_cast<double>(h) * x) / (static_cast<double>(y) * w);
    const int32_t left = RoundToInt(rect.left * k);
    rect.left = left;
    rect.right = WrapAdd(left, RoundToInt(k * w));
    return 1;
}

int GetSqualPixelRect(ELyAspectRatio aspect, RECT& rect) {
    if (aspect == AspectRatio_Custom) return 0;
    int x, y;
    if (!NamedRatio(aspect, x, y)) {
        x = WrapSub(rect.right, rect.left);
        y = WrapSub(rect.bottom, rect.top);
    }
    return GetSqualPixelRect(x, y, rect);
}

int GetSqualPixelRect(const SLyVideoResolution& resolution, RECT& rect) {
    rect = RECT{0, 0, resolution.width, resolution.height};
    return GetSqualPixelRect(resolution.aspectRatio, rect);
}

ELyAspectConvertType GetAspectConvertType(const SLyVideoResolution& first, const SLyVideoResolution& second) {
    double a, b;
    if (!ResolutionRatio(first, a) || !ResolutionRatio(second, b)) return AspectConvert_Same;
    if (Near(a, b)) return AspectConvert_Same;
    return b < a ? AspectConvert_ToNarrower : AspectConvert_ToWider;
}

void ConvertAspectRatio(ELyAspectRatio& aspect, unsigned oldWidth, unsigned newWidth, unsigned oldHeight,
                        unsigned newHeight, unsigned& x, unsigned& y) {
    unsigned sx = x, sy = y;
    int nx, ny;
    if (NamedRatio(aspect, nx, ny)) {
        sx = static_cast<unsigned>(nx);
        sy = static_cast<unsigned>(ny);
    } else if (aspect == AspectRatio_Square) {
        sx = oldWidth;
        sy = oldHeight;
    }
    sx = sx * newWidth * oldHeight;
    sy = sy * oldWidth * newHeight;
    if (sx == 0 || sy == 0) return;  // no ratio to reduce; the reduction would divide by zero
    const unsigned r = sx % sy;
    const unsigned g = r == 0 ? sy : LyComputeGCD(sy, r);
    x = sx / g;
    y = sy / g;
    aspect = AspectRatio_Custom;
}

}  // namespace LyVideoUtils
