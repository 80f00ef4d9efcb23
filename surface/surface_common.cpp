#include "surface/LySurfaceCommon.h"

#include "memory/LyUnaligned.h"

namespace ly {

void UnpremultiplyRow(unsigned char* row, int width) {
    for (int x = 0; x < width; ++x, row += 4) {
        const uint32_t a = row[3];
        if (a == 0) continue;
        const uint32_t b = row[0] * 255u / a;
        const uint32_t g = row[1] * 255u / a;
        const uint32_t r = row[2] * 255u / a;
        // Unsigned on purpose: a colour above its alpha is meant to carry into
        // the next byte (and beyond the top one it is dropped).
        const uint32_t word = ((r | a << 8) << 8 | g) << 8 | b;
        Store32(row, word);
    }
}

}  // namespace ly
