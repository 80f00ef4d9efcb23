// Fades and gradient fades: an opacity in percent turned into an alpha factor
// and applied through the mask row kernels.

#include <cmath>
#include <cstdint>
#include <memory>
#include <new>

#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "pixel/LyMaskKernels.h"
#include "threading/LyBandFrame.h"

namespace ly {
namespace {

// percent / 100 * 255 in double, rounded half away from zero. A result that
// does not fit an int (or NaN) becomes INT32_MIN, the value a truncating
// conversion instruction produces for it: its low 16 bits are zero.
int32_t FactorFromPercent(float percent) {
    double v = static_cast<double>(percent) / 100.0 * 255.0;
    v = v > 0.0 ? v + 0.5 : v - 0.5;
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
    return static_cast<int32_t>(v);
}

inline unsigned LowBits(int32_t value, uint32_t mask) { return static_cast<uint32_t>(value) & mask; }

// The opacity ramp across the columns: accumulated in float, clamped to a byte.
void BuildRamp(unsigned char* ramp, int width, float startPercent, float stepPercent) {
    float percent = startPercent;
    for (int i = 0; i < width; ++i) {
        const int32_t f = FactorFromPercent(percent);
        ramp[i] = static_cast<unsigned char>(f < 0 ? 0 : f > 255 ? 255 : f);
        percent += stepPercent;
    }
}

constexpr int kStackRampBytes = 256;

// Builds the ramp (on the stack up to 256 columns) and hands it to `apply`
// as a mask of pitch 0. Returns without calling `apply` if a wider ramp
// cannot be allocated.
template <class Apply>
void WithRamp(int width, float startPercent, float stepPercent, Apply apply) {
    unsigned char stackRamp[kStackRampBytes];
    std::unique_ptr<unsigned char[]> heapRamp;
    unsigned char* ramp = stackRamp;
    if (width > kStackRampBytes) {
        heapRamp.reset(new (std::nothrow) unsigned char[static_cast<size_t>(width)]);
        if (!heapRamp) return;
        ramp = heapRamp.get();
    }
    BuildRamp(ramp, width, startPercent, stepPercent);
    apply(ramp);
}

// The vertical ramp: each band derives its own first percentage from its
// first row, so bands need nothing from one another; within the band the
// percentage accumulates row by row. Both in float.
template <class Row>
void VerticalRamp(unsigned char* buffer, int pitch, int height, float startPercent, float stepPercent, Row row) {
    ParallelRows(PoolRoute::Internal, height, [&](int first, int rows) {
        float percent = startPercent + static_cast<float>(first) * stepPercent;
        for (int r = first; r < first + rows; ++r) {
            row(RowAt(buffer, pitch, r), LowBits(FactorFromPercent(percent), 0xFFu));
            percent += stepPercent;
        }
    });
}

}  // namespace
}  // namespace ly

namespace LyPixelUtils {

void FadeImage(unsigned char* buffer, int pitch, int width, int height, float percent) {
    if (buffer == nullptr || width < 1 || height < 1) return;
    const unsigned f = ly::LowBits(ly::FactorFromPercent(percent), 0xFFu);
    if (f == 255) return;  // (a * 255 + 255) >> 8 == a: nothing would change
    const auto row = ly::AlphaRowKernels(ly::ActiveIsa()).fadeRow32;
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(buffer, pitch, r), width, f); });
}

void Fade16bitAlpha(unsigned char* buffer, int pitch, int width, int height, float percent) {
    if (buffer == nullptr || width < 1 || height < 1) return;
    const unsigned f = ly::LowBits(ly::FactorFromPercent(percent), 0xFFFFu);
    const auto row = ly::AlphaRowKernels(ly::ActiveIsa()).fadeRow16;
    ly::ParallelEachRow(height, [&](int r) { row(ly::RowAt(buffer, pitch, r), width, f); });
}

void GradientVerFadeImage(unsigned char* buffer, int pitch, int width, int height, float startPercent,
                          float stepPercent) {
    if (buffer == nullptr || width < 1 || height < 1) return;
    const auto kernel = ly::AlphaRowKernels(ly::ActiveIsa()).fadeRow32;
    ly::VerticalRamp(buffer, pitch, height, startPercent, stepPercent, [&](unsigned char* row, unsigned f) {
        if (f != 255) kernel(row, width, f);
    });
}

void GradientVerFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height, float startPercent,
                               float stepPercent) {
    if (buffer == nullptr || width < 1 || height < 1) return;
    const auto kernel = ly::AlphaRowKernels(ly::ActiveIsa()).fadeRow16;
    ly::VerticalRamp(buffer, pitch, height, startPercent, stepPercent,
                     [&](unsigned char* row, unsigned f) { kernel(row, width, f); });
}

void GradientHorFadeImage(unsigned char* buffer, int pitch, int width, int height, float startPercent,
                          float stepPercent) {
    if (buffer == nullptr || width < 1 || height < 1) return;
    ly::WithRamp(width, startPercent, stepPercent,
                 [&](const unsigned char* ramp) { MaskImage(buffer, pitch, ramp, 0, width, height); });
}

void GradientHorFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height, float startPercent,
                               float stepPercent) {
    if (buffer == nullptr || width < 1 || height < 1) return;
    ly::WithRamp(width, startPercent, stepPercent,
                 [&](const unsigned char* ramp) { Mask16bitAlpha(buffer, pitch, ramp, 0, width, height); });
}

}  // namespace LyPixelUtils
