#ifndef LYAVUTILS_FORMAT_LYPACKEDKERNELS_H
#define LYAVUTILS_FORMAT_LYPACKEDKERNELS_H

// Internal: the row kernels behind the packed converters of LyFormatUtils,
// reachable by the tests (the pair-start flag is not exposed publicly).
//
// Every kernel takes the instruction set to use; a form that this build or
// processor lacks falls back to the next lower one, and every form gives the
// same bytes, in any floating-point environment (the forms use integer
// arithmetic only). Colorimetry is 0 or 1 (callers validate it).

#include "memory/LyCpu.h"

namespace ly::packed {

// The 4:2:2 layouts a row can be written in. UYVY is U, Y0, V, Y1 per pixel
// pair; YUYV is Y0, U, Y1, V. The 16-bit forms hold each 8-bit value times 4
// in a little-endian 16-bit sample.
enum class Layout422 : int {
    Uyvy8 = 0,
    Uyvy16 = 1,
    Yuyv8 = 2,
    Yuyv16 = 3,
};

constexpr bool Is16Bit(Layout422 l) { return l == Layout422::Uyvy16 || l == Layout422::Yuyv16; }

// BGRA -> 4:2:2, whole pairs only; an odd last pixel is left untouched.
void BgraTo422Row(Isa isa, int colorimetry, Layout422 layout, const unsigned char* src, unsigned char* dst,
                  int width);

// VUYA -> 4:2:2. An odd last pixel (width >= 3) writes its own U and Y in the
// 8-bit layouts and nothing in the 16-bit ones; width 1 writes nothing.
void VuyaTo422Row(Isa isa, Layout422 layout, const unsigned char* src, unsigned char* dst, int width);

// UYVY (depth 8 or 16) -> BGRA (alpha 255) or VUYA (alpha 255).
// pairStart 1: the row begins on a pixel pair. pairStart 0: the first pixel
// is the second pixel of the pair whose samples start two samples before
// `src` (src[-2], src[-1], src[0], src[1] at depth 8), and the row goes on
// from the next pair. Width 1 with pairStart 1 writes nothing. An odd last
// pixel takes its own U and Y and the V of the pair to its left.
void UyvyToBgraRow(Isa isa, int colorimetry, int depth, const unsigned char* src, int pairStart,
                   unsigned char* dst, int width);
void UyvyToVuyaRow(Isa isa, int depth, const unsigned char* src, int pairStart, unsigned char* dst, int width);

// 4:4:4 <-> 4:4:4, every pixel, alpha copied.
void BgraToVuyaRow(Isa isa, int colorimetry, const unsigned char* src, unsigned char* dst, int width);
void VuyaToBgraRow(Isa isa, int colorimetry, const unsigned char* src, unsigned char* dst, int width);

// 16-bit alpha samples (alpha * 16) of the first `count` 32-bit pixels.
void AlphaPlaneRow(Isa isa, const unsigned char* src, unsigned char* alphaDst, int count);

}  // namespace ly::packed

#endif
