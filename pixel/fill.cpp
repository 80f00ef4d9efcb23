// Solid fills, the checkerboard grid and colour bars. All run on the calling
// thread. The block fill stores its 8-byte pattern straight into every row
// (a store-only pass, as fast as a plain byte fill); the grid and the bars
// compute one row (two for the grid) and copy it downwards, so a frame costs
// one row of per-pixel work plus plain row copies.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "LyFormatUtils.h"
#include "LyMemUtils.h"
#include "LyPixelUtils.h"
#include "memory/LyCpu.h"
#include "threading/LyBandFrame.h"

namespace {

// Low 24 bits of the named colours: BGRA, then VUYA for BT.601 and BT.709.
struct SLyFixedColorWords {
    uint32_t bgra, vuya601, vuya709;
};

bool FixedColorWords(ELyFixedColor color, SLyFixedColorWords& out) {
    switch (static_cast<int>(color)) {
    case FixedColor_Black: out = {0x000000u, 0x108080u, 0x108080u}; return true;
    case FixedColor_White: out = {0xFFFFFFu, 0xEB8080u, 0xEB8080u}; return true;
    case FixedColor_Red: out = {0xFF0000u, 0x525AF0u, 0x3F66F0u}; return true;
    case FixedColor_Green: out = {0x00FF00u, 0x913622u, 0xAD2A1Au}; return true;
    case FixedColor_Blue: out = {0x0000FFu, 0x29F06Eu, 0x20F076u}; return true;
    default: return false;
    }
}

// The fill primitive takes a word pointer; it stores through memcpy-safe
// vector stores, so any byte address is fine.
inline void SetWords(unsigned char* p, uint32_t value, size_t count) {
    if (count > 0) LyMemSetD(reinterpret_cast<uint32_t*>(p), value, static_cast<uint32_t>(count));
}

inline unsigned char* Row(unsigned char* buffer, int pitch, int row) { return ly::RowAt(buffer, pitch, row); }

inline size_t AbsPitch(int pitch) {
    return pitch < 0 ? static_cast<size_t>(-static_cast<int64_t>(pitch)) : static_cast<size_t>(pitch);
}

// Copies the first `lineBytes` of row 0 into rows 1 .. height - 1. Rows that
// share bytes (|pitch| below the line) are copied with memmove, row after
// row; a zero pitch has nothing to copy.
void CopyFirstRowDown(unsigned char* buffer, int pitch, size_t lineBytes, int height) {
    if (height < 2 || lineBytes == 0 || pitch == 0) return;
    const bool overlapping = AbsPitch(pitch) < lineBytes;
    for (int r = 1; r < height; ++r) {
        unsigned char* d = Row(buffer, pitch, r);
        if (overlapping)
            std::memmove(d, buffer, lineBytes);
        else
            LyMemCpy(d, buffer, static_cast<uint32_t>(lineBytes));
    }
}

// ------------------------------------------------------------ pattern rows
//
// A solid fill whose row 0 is written in full is the same 8-byte pattern in
// every row, so each row is stored directly (stores only, no copy reading row
// 0 back). `pat` holds the pattern five times (40 bytes): a load at offset k
// is the pattern rotated by k, which lets the vector forms start their
// aligned stores anywhere in a row.

struct SLyPatternRow {
    alignas(64) unsigned char bytes[40];
};

SLyPatternRow MakePattern(uint64_t pattern) {
    SLyPatternRow p;
    for (int i = 0; i < 5; ++i) std::memcpy(p.bytes + 8 * i, &pattern, 8);
    return p;
}

void PatternRowScalar(unsigned char* d, size_t from, size_t bytes, const unsigned char* pat) {
    size_t i = from;
    for (; i + 8 <= bytes; i += 8) std::memcpy(d + i, pat + (i & 7), 8);
    for (; i < bytes; ++i) d[i] = pat[i & 7];
}

#if LY_X86
// Each returns how many bytes it wrote: all of them, or none for a row
// shorter than one vector.
size_t PatternRowSse2(unsigned char* d, size_t bytes, const unsigned char* pat) {
    if (bytes < 16) return 0;
    const auto at = [pat](size_t i) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pat + (i & 7))); };
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), at(0));
    size_t i = 16 - (reinterpret_cast<uintptr_t>(d) & 15);
    const __m128i v = at(i);  // the same rotation at every 16-byte step
    for (; i + 64 <= bytes; i += 64) {
        _mm_store_si128(reinterpret_cast<__m128i*>(d + i), v);
        _mm_store_si128(reinterpret_cast<__m128i*>(d + i + 16), v);
        _mm_store_si128(reinterpret_cast<__m128i*>(d + i + 32), v);
        _mm_store_si128(reinterpret_cast<__m128i*>(d + i + 48), v);
    }
    for (; i + 16 <= bytes; i += 16) _mm_store_si128(reinterpret_cast<__m128i*>(d + i), v);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + bytes - 16), at(bytes - 16));
    return bytes;
}

#if LY_HAVE_AVX2_KERNELS
LY_TARGET_AVX2 size_t PatternRowAvx2(unsigned char* d, size_t bytes, const unsigned char* pat) {
    if (bytes < 32) return 0;
    const auto at = [pat](size_t i)
                        LY_TARGET_AVX2 { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pat + (i & 7))); };
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), at(0));
    size_t i = 32 - (reinterpret_cast<uintptr_t>(d) & 31);
    const __m256i v = at(i);
    for (; i + 128 <= bytes; i += 128) {
        _mm256_store_si256(reinterpret_cast<__m256i*>(d + i), v);
        _mm256_store_si256(reinterpret_cast<__m256i*>(d + i + 32), v);
        _mm256_store_si256(reinterpret_cast<__m256i*>(d + i + 64), v);
        _mm256_store_si256(reinterpret_cast<__m256i*>(d + i + 96), v);
    }
    for (; i + 32 <= bytes; i += 32) _mm256_store_si256(reinterpret_cast<__m256i*>(d + i), v);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + bytes - 32), at(bytes - 32));
    return bytes;
}
#endif
#endif

// Rows 0 .. height - 1, `lineBytes` each, for rows that do not share bytes.
void FillPatternRows(unsigned char* buffer, int pitch, size_t lineBytes, int height, uint64_t pattern) {
    if (lineBytes == 0) return;
    const SLyPatternRow pat = MakePattern(pattern);
    const ly::Isa isa = ly::ActiveIsa();
    const int rows = pitch == 0 ? 1 : height;  // a zero pitch is one row written height times
    for (int r = 0; r < rows; ++r) {
        unsigned char* d = Row(buffer, pitch, r);
        const size_t done = LY_WIDEST_FORM(isa, PatternRowAvx2(d, lineBytes, pat.bytes),
                                           PatternRowSse2(d, lineBytes, pat.bytes), size_t{0});
        PatternRowScalar(d, done, lineBytes, pat.bytes);
    }
}

inline uint64_t Twice(uint32_t word) { return (static_cast<uint64_t>(word) << 32) | word; }

// One grid row: cells of `cellWidth` pixels alternating first, second, the
// last cell cut at the image's right edge.
void WriteGridRow(unsigned char* row, int width, int cellWidth, uint32_t first, uint32_t second) {
    for (int x = 0, i = 0; x < width; x += cellWidth, ++i) {
        const int n = width - x < cellWidth ? width - x : cellWidth;
        SetWords(row + static_cast<size_t>(x) * 4, (i & 1) ? second : first, static_cast<size_t>(n));
    }
}

constexpr uint32_t kBars100[8] = {0xFFFFFFFFu, 0xFFFFFF00u, 0xFF00FFFFu, 0xFF00FF00u,
                                  0xFFFF00FFu, 0xFFFF0000u, 0xFF0000FFu, 0xFF000000u};
// White stays at full level; only the coloured bars drop to 75% (0xBF).
constexpr uint32_t kBars75[8] = {0xFFFFFFFFu, 0xFFBFBF00u, 0xFF00BFBFu, 0xFF00BF00u,
                                 0xFFBF00BFu, 0xFFBF0000u, 0xFF0000BFu, 0xFF000000u};

}  // namespace

namespace LyPixelUtils {

int GetFixedColor(ELyPixelFormat format, ELyColorimetry colorimetry, ELyFixedColor color, uint32_t& packed,
                  unsigned char alpha) {
    if (format != PixelFormat_BGRA4444 && format != PixelFormat_VUYA4444) return 0;
    SLyFixedColorWords w;
    if (!FixedColorWords(color, w)) return 1;
    uint32_t low;
    if (format == PixelFormat_BGRA4444)
        low = w.bgra;
    else if (colorimetry == Colorimetry_BT601)
        low = w.vuya601;
    else if (colorimetry == Colorimetry_BT709)
        low = w.vuya709;
    else
        return 1;
    packed = (static_cast<uint32_t>(alpha) << 24) | low;
    return 1;
}

int FillFixedColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                   unsigned char bitDepth, ELyColorimetry colorimetry, ELyFixedColor color, unsigned char alpha) {
    ELyPixelFormat lookup;
    switch (format) {
    case PixelFormat_BGRA4444: lookup = PixelFormat_BGRA4444; break;
    case PixelFormat_VUYA4444:
    case PixelFormat_UYVY422:
    case PixelFormat_YUYVA422: lookup = PixelFormat_VUYA4444; break;
    default: return 0;
    }
    uint32_t packed = 0;
    GetFixedColor(lookup, colorimetry, color, packed, alpha);
    return FillBlockColor(buffer, pitch, width, height, format, bitDepth, colorimetry, packed);
}

int FillBlockColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                   unsigned char bitDepth, ELyColorimetry /*colorimetry*/, uint32_t packed) {
    if (buffer == nullptr) return 0;
    if (format != PixelFormat_BGRA4444 && format != PixelFormat_VUYA4444 && format != PixelFormat_UYVY422 &&
        format != PixelFormat_YUYVA422)
        return 0;
    if (width < 1 || height < 1) return 1;

    const size_t w = static_cast<size_t>(width);
    const uint32_t y = (packed >> 16) & 0xFFu, cb = (packed >> 8) & 0xFFu, cr = packed & 0xFFu;
    // Row 0 gets `written` bytes of an 8-byte pattern (whole words or whole
    // pairs); the rows below are copies of row 0's `line` bytes, so any bytes
    // of row 0 the pattern leaves unwritten (an odd 4:2:2 width, or a depth
    // that writes nothing) reach every row as the caller's own bytes.
    size_t line;
    size_t written = 0;
    uint64_t pattern = 0;
    switch (format) {
    case PixelFormat_BGRA4444:
    case PixelFormat_VUYA4444:
        line = written = w * 4;
        pattern = Twice(packed);
        break;
    case PixelFormat_UYVY422:
        line = bitDepth == 16 ? w * 4 : w * 2;
        if (bitDepth == 8) {
            written = line / 4 * 4;
            pattern = Twice((y << 24) | (cr << 16) | (y << 8) | cb);
        } else if (bitDepth == 16) {
            // Samples Cb, Y, Cr, Y, each moved up two bits.
            written = line / 8 * 8;
            pattern = (static_cast<uint64_t>((cr << 2) | ((y << 2) << 16)) << 32) | (cb << 2) | ((y << 2) << 16);
        }
        break;
    default:  // PixelFormat_YUYVA422: only the 8-bit row is ever written
        line = bitDepth == 16 ? w * 4 : w * 2;
        if (bitDepth == 8) {
            written = line / 4 * 4;
            pattern = Twice((cr << 24) | (y << 16) | (cb << 8) | y);
        }
        break;
    }
    if (AbsPitch(pitch) < line || written == 0) {
        // Rows share bytes, or row 0 is the caller's: row 0, then each row
        // copied from it in turn.
        PatternRowScalar(buffer, 0, written, MakePattern(pattern).bytes);
        CopyFirstRowDown(buffer, pitch, line, height);
    } else {
        FillPatternRows(buffer, pitch, written, height, pattern);
        // The unwritten end of row 0 (at most 7 bytes), copied down.
        if (written < line && pitch != 0)
            for (int r = 1; r < height; ++r) std::memcpy(Row(buffer, pitch, r) + written, buffer + written, line - written);
    }

    if (format == PixelFormat_YUYVA422) {
        const uintptr_t planeAddress =
            reinterpret_cast<uintptr_t>(buffer) + static_cast<uintptr_t>(static_cast<intptr_t>(pitch) * height);
        if (planeAddress != 0) {
            unsigned char* plane = Row(buffer, pitch, height);
            const uint32_t a16 = (packed >> 24) << 4;
            for (int r = 0; r < height; ++r) SetWords(Row(plane, pitch, r), a16 | (a16 << 16), w / 2);
        }
    }
    return 1;
}

int FillGridColor(unsigned char* buffer, int pitch, int width, int height, uint32_t color1, uint32_t color2,
                  tagSIZE cell) {
    if (buffer == nullptr) return 0;
    if (width < 1 || height < 1) return 1;
    const size_t line = static_cast<size_t>(width) * 4;
    if (cell.cx < 1 || cell.cy < 1 || width < cell.cx || height < cell.cy) {
        SetWords(buffer, color1, static_cast<size_t>(width));
        CopyFirstRowDown(buffer, pitch, line, height);
        return 1;
    }
    if (AbsPitch(pitch) < line) {
        // Rows share bytes: write every row in full, top to bottom.
        for (int r = 0; r < height; ++r) {
            const bool second = ((r / cell.cy) & 1) != 0;
            WriteGridRow(Row(buffer, pitch, r), width, cell.cx, second ? color2 : color1, second ? color1 : color2);
        }
        return 1;
    }
    // Row 0 holds the first band's line and row cell.cy the second's; every
    // other row copies the line of its band.
    unsigned char* lineA = buffer;
    unsigned char* lineB = height > cell.cy ? Row(buffer, pitch, cell.cy) : nullptr;
    WriteGridRow(lineA, width, cell.cx, color1, color2);
    if (lineB != nullptr) WriteGridRow(lineB, width, cell.cx, color2, color1);
    for (int r = 1; r < height; ++r) {
        if (r == cell.cy) continue;
        LyMemCpy(Row(buffer, pitch, r), ((r / cell.cy) & 1) ? lineB : lineA, static_cast<uint32_t>(line));
    }
    return 1;
}

void FillColorBar(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                  unsigned char /*bitDepth*/, ELyColorimetry colorimetry, int fullLevel) {
    uint32_t bars[8];
    std::memcpy(bars, fullLevel != 0 ? kBars100 : kBars75, sizeof bars);
    if (format == PixelFormat_VUYA4444) {
        for (int i = 0; i < 7; ++i) LyFormatUtils::RGBColorToYUVColor(bars[i], colorimetry);
    } else if (format != PixelFormat_BGRA4444) {
        return;
    }
    if (buffer == nullptr || width < 8 || height < 1) return;
    const int barWidth = width / 8;
    for (int i = 0; i < 8; ++i) {
        const int n = i < 7 ? barWidth : width - 7 * barWidth;
        SetWords(buffer + static_cast<size_t>(i) * barWidth * 4, bars[i], static_cast<size_t>(n));
    }
    CopyFirstRowDown(buffer, pitch, static_cast<size_t>(width) * 4, height);
}

}  // namespace LyPixelUtils
