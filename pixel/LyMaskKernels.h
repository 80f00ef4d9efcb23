#ifndef LYAVUTILS_PIXEL_LYMASKKERNELS_H
#define LYAVUTILS_PIXEL_LYMASKKERNELS_H

// Internal: the alpha-scaling row kernels shared by the mask operations and
// the fades. A fade is a mask whose bytes are all one factor, so both go
// through the same rows and round the same way.

#include <cstddef>
#include <cstdint>

#include "memory/LyCpu.h"

namespace ly {

// One set of row kernels for one instruction set. Every set gives identical
// bytes for identical inputs and addresses.
struct SLyAlphaRowKernels {
    // 32-bit pixels: alpha (byte 3) becomes (a * m + 255) >> 8, m = mask[i].
    void (*maskRow32)(unsigned char* row, const unsigned char* mask, int width);
    // Same with one factor (0..255) for the whole row.
    void (*fadeRow32)(unsigned char* row, int width, unsigned factor);
    // 16-bit plane: (a * m + 255) >> 8 in the head and tail of the row,
    // ((a >> 4) * m + 255) >> 4 in 16-bit lanes in the aligned middle.
    void (*maskRow16)(unsigned char* row, const unsigned char* mask, int width);
    // Same with one factor (0..65535) for the whole row.
    void (*fadeRow16)(unsigned char* row, int width, unsigned factor);
};

const SLyAlphaRowKernels& AlphaRowKernels(Isa isa);

// How a 16-bit plane row splits: `head` samples from the row start to the
// first 16-byte-aligned sample, then `groups` whole groups of eight samples,
// then the tail. A row at an odd address has no sample on a 16-byte boundary:
// the whole row is head.
struct SLyPlaneRowSplit {
    int head;
    int groups;
};

inline SLyPlaneRowSplit SplitPlaneRow(const unsigned char* row, int width) {
    const uintptr_t address = reinterpret_cast<uintptr_t>(row);
    if ((address & 1u) != 0) return {width, 0};
    int head = static_cast<int>(((0u - address) & 15u) >> 1);
    if (head > width) head = width;
    return {head, (width - head) / 8};
}

}  // namespace ly

#endif
