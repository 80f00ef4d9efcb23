#ifndef LYAVUTILS_PIXELUTILS_H
#define LYAVUTILS_PIXELUTILS_H

#include "LyAVUtilsTypes.h"

// Pixel operations on whole images. Unless a function says otherwise, images
// follow the convention of LyAVUtilsTypes.h and the rows are split into bands
// that run on the library's thread pool (images under 16 rows, or a one-thread
// pool, run on the calling thread). Every function returns only when all of
// its rows are done.
//
// Pool jobs of your own: a banded operation that uses the pool (16 rows or
// more, two or more workers) queues its bands on the calling thread's one
// pool queue (LyThreadPool.h) and waits for that whole queue. A thread with
// LyThreadPool::Run jobs still pending therefore waits inside the operation
// for them too (their exception comes out of the operation), and its own Wait
// then returns at once. Call LyThreadPool::Wait before an image operation, or
// submit your jobs from another thread.
namespace LyPixelUtils {

// ============================================================ fills and test patterns
// These run on the calling thread: they compute row 0 and copy it downwards.
// Only the image's own bytes are written (plus the alpha plane of
// PixelFormat_YUYVA422 where stated). A width or height below 1 writes
// nothing. When rows share bytes (|pitch| smaller than a row) the copies run
// top to bottom with memmove semantics; a pitch of 0 leaves one row.

// Stores the packed word of a named colour (caller's alpha in the top byte).
// Returns 0 when format is neither PixelFormat_BGRA4444 nor PixelFormat_VUYA4444.
// An unknown colour (2, 4, outside 1..7) or, for VUYA, an unknown colorimetry
// returns 1 and leaves `packed` untouched. Low 24 bits of the words:
//            BGRA      VUYA BT.601   VUYA BT.709
//   black    000000    108080        108080
//   white    FFFFFF    EB8080        EB8080
//   red      FF0000    525AF0        3F66F0
//   green    00FF00    913622        AD2A1A
//   blue     0000FF    29F06E        20F076
// The YUV words are studio-range constants, not computed.
LYAVUTILS_API int GetFixedColor(ELyPixelFormat format, ELyColorimetry colorimetry, ELyFixedColor color,
                                uint32_t& packed, unsigned char alpha);

// Fills with a named colour: PixelFormat_BGRA4444 and PixelFormat_VUYA4444
// look the word up in their own format, PixelFormat_UYVY422 and
// PixelFormat_YUYVA422 as VUYA; any other format returns 0 at once. A colour
// (or colorimetry) that yields no word fills with 0. Otherwise returns what
// FillBlockColor returns for the word.
LYAVUTILS_API int FillFixedColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                 unsigned char bitDepth, ELyColorimetry colorimetry, ELyFixedColor color,
                                 unsigned char alpha);

// Fills with one packed word: A<<24 | R<<16 | G<<8 | B for BGRA, A<<24 |
// Y<<16 | Cb<<8 | Cr (the VUYA word) for the YUV formats. Returns 0 for a
// null buffer or a format other than 1, 2, 3 or 7 (nothing written), else 1.
// colorimetry is not used.
//  * BGRA, VUYA: the word in every pixel, at any depth.
//  * PixelFormat_UYVY422, depth 8: bytes Cb, Y, Cr, Y per pixel pair; depth
//    16: 16-bit samples Cb<<2, Y<<2, Cr<<2, Y<<2. Any other depth writes
//    nothing into row 0 but still copies row 0's first width * 2 bytes into
//    the rows below.
//  * PixelFormat_YUYVA422: bytes Y, Cb, Y, Cr per pair at depth 8 only. At
//    any other depth row 0 is not written (unlike UYVY at depth 16) and is
//    still copied into the rows below (width * 4 bytes at depth 16). The
//    alpha plane, `height` rows starting at buffer + pitch * height with the
//    same pitch, gets A * 16 in the 16-bit samples of the first width / 2
//    pixel pairs of each row; it is skipped when that address is null.
//  * In the 4:2:2 formats an odd last pixel is not written in row 0 (its
//    bytes there are copied downwards as they are) and its alpha sample is
//    left as it was.
LYAVUTILS_API int FillBlockColor(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                 unsigned char bitDepth, ELyColorimetry colorimetry, uint32_t packed);

// Two-colour checkerboard of 32-bit pixels: cells of cell.cx by cell.cy
// pixels, color1 in the top-left cell, cells cut at the right and bottom
// edges. When a cell dimension is below 1 (there is no grid to divide by), or
// the image is narrower or shorter than one cell, the image is filled with
// color1 alone: its own rows only, width words each (not a count of
// pitch * height * 4 words). Builds its two lines in the image itself (no
// allocation). Returns 0 for a null buffer (nothing written), else 1.
LYAVUTILS_API int FillGridColor(unsigned char* buffer, int pitch, int width, int height, uint32_t color1,
                                uint32_t color2, tagSIZE cell);

// Eight vertical bars, left to right white, yellow, cyan, green, magenta,
// red, blue, black, all opaque. fullLevel non-zero: colours at 255; zero: the
// coloured bars at 191 (0xBF) while white stays at 255. Bars 0..6 are
// width / 8 pixels wide, bar 7 takes the rest. PixelFormat_BGRA4444 writes
// the BGRA words; PixelFormat_VUYA4444 converts bars 0..6 with
// RGBColorToYUVColor (a colorimetry other than BT.601 / BT.709 leaves them
// BGRA words) and writes the black bar as the unconverted word 0xFF000000.
// Other formats, a null buffer or a width below 8 write nothing. bitDepth is
// not used.
LYAVUTILS_API void FillColorBar(unsigned char* buffer, int pitch, int width, int height, ELyPixelFormat format,
                                unsigned char bitDepth, ELyColorimetry colorimetry, int fullLevel);

// ============================================================ fades
// Opacity in percent (100 = unchanged). Only alpha changes: the alpha byte
// (byte 3) of 32-bit pixels, or the samples of a 16-bit alpha plane (alpha x 16,
// 0..4080). A null buffer, width < 1 or height < 1 does nothing.
//
// The factor: f = percent / 100.0 * 255.0 in double, rounded half away from
// zero (50% gives 128, -50% gives -128). Values outside 0..100% are not
// clamped by the uniform and vertical fades: they keep the factor's low bits
// (the two's-complement bits for negative factors: -10% gives -26, a byte of
// 230). A percentage whose rounded factor does not fit a 32-bit int (NaN, the
// infinities, beyond about +-8.4e8 %) gives the factor -2^31, whose low 16
// bits are zero: such a fade behaves as 0%.
//
// 16-bit planes round differently in the middle of a row: see Mask16bitAlpha.

// alpha = (alpha * (f & 0xFF) + 255) >> 8. A factor whose low byte is 255
// (100%) returns without writing anything.
LYAVUTILS_API void FadeImage(unsigned char* buffer, int pitch, int width, int height, float percent);

// Scales the plane by f & 0xFFFF (so 200% uses 510, and 25800% wraps to 254)
// with Mask16bitAlpha's head / middle / tail rule: (a * f + 255) >> 8 kept to
// 16 bits in the head and tail, ((a >> 4) * f + 255) >> 4 with the product
// and the sum wrapping at 16 bits in the middle. 100% is therefore not a
// no-op: 4080 becomes 4065 in the head and tail.
LYAVUTILS_API void Fade16bitAlpha(unsigned char* buffer, int pitch, int width, int height, float percent);

// One factor per row, kept to its low byte (101% gives 258, used as 2): the
// ramp wraps rather than clamps. Percentages are float: each band of rows
// starts at startPercent + firstRowOfBand * stepPercent and adds stepPercent
// row by row. The bands are the pool's (one band under 16 rows or with a
// one-thread pool, else one per worker of height / workers rows, the last
// taking the remainder), so a row whose factor sits on a rounding edge can get
// a different factor with a different pool size; for a given pool size the
// result is deterministic. Rows whose factor is 255 are not written.
LYAVUTILS_API void GradientVerFadeImage(unsigned char* buffer, int pitch, int width, int height,
                                        float startPercent, float stepPercent);
// The same ramp on a 16-bit plane: each row's factor is its low byte, applied
// with Mask16bitAlpha's head / middle / tail rule.
LYAVUTILS_API void GradientVerFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height,
                                             float startPercent, float stepPercent);

// One factor per column: the percentage starts at startPercent and adds
// stepPercent per column (float, on the calling thread); each factor is
// clamped to 0..255 (a factor that does not fit an int counts as below 0).
// The ramp is then applied to every row as a mask of pitch 0, by MaskImage or
// Mask16bitAlpha, with their rounding. Up to 256 columns the ramp lives on the
// stack; wider images allocate `width` bytes per call, and if that allocation
// fails nothing is changed.
LYAVUTILS_API void GradientHorFadeImage(unsigned char* buffer, int pitch, int width, int height,
                                        float startPercent, float stepPercent);
LYAVUTILS_API void GradientHorFade16bitAlpha(unsigned char* buffer, int pitch, int width, int height,
                                             float startPercent, float stepPercent);

// ============================================================ masks and alpha planes
// 8-bit masks: one byte per pixel, 0 transparent, 255 opaque, with their own
// pitch (any sign, or 0 to use one row for every row of the image). A null
// pointer, width < 1 or height < 1 does nothing. Only the image's own bytes are
// read and written: no row needs slack past its width.

// Image alpha = (mask * alpha + 255) >> 8; colour bytes are kept. The result
// does not depend on the buffer's address. A mask byte of 255 leaves alpha as
// it is; the vector paths skip such runs without writing them.
LYAVUTILS_API void MaskImage(unsigned char* image, int imagePitch, const unsigned char* mask, int maskPitch,
                             int width, int height);

// Scales a 16-bit alpha plane by the mask, with two roundings chosen by the
// address of each sample, for every row on its own:
//  - head: the samples before the first 16-byte-aligned sample address, and
//    tail: the samples after the last whole group of eight: (a * m + 255) >> 8;
//  - middle: whole groups of eight samples from that aligned address:
//    ((a >> 4) * m + 255) >> 4 in 16-bit arithmetic.
// For a = 4080 and m = 255 that is 4065 in the head and tail and 4080 in the
// middle; m = 0 gives 0 in the head and tail but 15 in the middle. A row that
// starts at an odd address has no sample on a 16-byte boundary: all of it
// takes the head rule. With an odd pitch the rows alternate between the two
// cases. The result is the same whatever instruction set runs it.
LYAVUTILS_API void Mask16bitAlpha(unsigned char* alpha16, int alphaPitch, const unsigned char* mask, int maskPitch,
                                  int width, int height);

// dst = op(dst, src) per byte: Add min(d + s, 255), Subtract max(d - s, 0),
// Difference |d - s|, Min min(d, s). An op outside 0..3 does nothing (it is
// checked before it selects a kernel). src may be the same buffer as dst.
LYAVUTILS_API void MaskOperator(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width,
                                int height, ELyMaskOperator op);

// mask[i] = alpha (byte 3) of pixel i. Exactly `width` mask bytes are written
// per row: the mask rows need no slack up to a multiple of eight.
LYAVUTILS_API void Mask32bitTo8bit(const unsigned char* image, int imagePitch, unsigned char* mask, int maskPitch,
                                   int width, int height);

// Halves a mask in both directions. `width` is the source width in bytes;
// output rows have width / 2 bytes and there are (height + 1) / 2 of them,
// from source rows 2k and 2k + 1. In each row pair the first whole groups of
// 16 source bytes average rounding up twice (down the pair, then across
// neighbours); the remaining width % 16 bytes take one truncating average of
// the four samples (an odd last byte is not used). So 0 1 / 1 1 gives 1 in a
// group and 0 in the tail. With an odd height the last source row pairs with
// itself: the row below the image is never read. A source narrower than two
// bytes does nothing. Each output row is written once, by the band that holds
// its top source row, so the result does not depend on the pool size. The
// source and destination must not overlap.
LYAVUTILS_API void MaskDownScale2X(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch,
                                   int width, int height);

// dst = max(mask1 + mask2 - 255, 0): the intersection of two masks. Exactly
// `width` bytes are written per row (no slack up to a multiple of 16 needed).
// dst may be the same buffer as either mask.
LYAVUTILS_API void Extract8BitMask(const unsigned char* mask1, int pitch1, const unsigned char* mask2, int pitch2,
                                   unsigned char* dst, int dstPitch, int width, int height);

// mask = 255 - mask.
LYAVUTILS_API void Invert8bitImage(unsigned char* mask, int pitch, int width, int height);

// One-sided threshold: a byte (0..255, compared as an int) above `threshold`
// becomes 255; bytes at or below it keep their value. A negative threshold
// makes every byte 255; a threshold of 255 or more returns without writing.
LYAVUTILS_API void Binary8bitImage(unsigned char* mask, int pitch, int width, int height, int threshold);

// ============================================================ channels and bit depth
// 32-bit images hold the bytes B, G, R, A per pixel, 8-bit images one byte per
// pixel; the two images of a call share width and height and each has its own
// pitch. Luma is Y = (9617 * G + 4899 * R + 1868 * B) >> 14 in unsigned
// integers, truncated: the BT.601 weights in units of 1/16384, which add up to
// exactly 16384, so white stays 255 and a grey pixel keeps its level.
// Width or height below 1, or a null buffer, does nothing (the null check is
// this library's own; nothing is read or written then).

// dst8 = Y(src32).
LYAVUTILS_API void Convert32bitTo8bitImage(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                           int dstPitch, int width, int height);
// Each byte v becomes the opaque grey pixel B = G = R = v, A = 255 (the pixel
// word 0xFFvvvvvv).
LYAVUTILS_API void Convert8bitTo32bitImage(const unsigned char* src8, int srcPitch, unsigned char* dst32,
                                           int dstPitch, int width, int height);
// In place: B, G and R become Y; alpha is kept as it is (transparent pixels
// stay transparent).
LYAVUTILS_API void Convert32bitToGrayImage(unsigned char* image, int pitch, int width, int height);
// dst8 = byte `channel` of each pixel (0 B, 1 G, 2 R, 3 A). The channel is
// clamped first: a negative value reads blue, 4 or more reads alpha.
LYAVUTILS_API void Get32bitImage8bitChannel(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                            int dstPitch, int width, int height, int channel);
// Get32bitImage8bitChannel with channel 3.
LYAVUTILS_API void Get32bitImage8bitAlpha(const unsigned char* src32, int srcPitch, unsigned char* dst8,
                                          int dstPitch, int width, int height);

// ============================================================ deflicker

// Softens a 32-bit image vertically, so that thin horizontal detail does not
// flicker on an interlaced display, writing the separate image dst (same width
// and height, its own pitch). All four bytes of a pixel, alpha included, are
// filtered alike and independently; every filter truncates:
//   DeflickerQuality_Low     (16 * above + 96 * centre + 16 * below) >> 7
//   DeflickerQuality_Medium  (32 * above + 64 * centre + 32 * below) >> 7
//   DeflickerQuality_High    3 x 3 binomial 1 2 1 / 2 4 2 / 1 2 1, sum >> 4
// Only the interior is written: rows 1 .. height - 2, pixels 1 .. width - 2.
// The outermost rows and columns of dst keep whatever they held; copy them
// from the source first if you need them.
// Returns 1 when done. Returns 0, with nothing written, when src or dst is
// null, when quality is not 1, 2 or 3, or when the image is narrower or lower
// than 3 pixels: such an image has no interior, and filtering it would read
// rows and pixels outside the image, so this library refuses it.
// src and dst must not overlap: rows of the source above and below each
// output row are read while other bands write theirs.
// Banding: images under 16 rows, or a one-thread pool, run on the calling
// thread; otherwise the height - 2 interior rows are cut into bands of
// (height - 2) / threads rows, the last band taking the rest (bands that come
// out empty because there are more workers than interior rows are not queued).
LYAVUTILS_API int DefickerImage(const unsigned char* src, int srcPitch, unsigned char* dst, int dstPitch, int width,
                                int height, ELyDeflickerQuality quality);

// ============================================================ wipe

// One frame of a wipe from image A to image B, written to dst. A, B, the
// pattern and dst are 32-bit images of the same width and height, each with
// its own pitch; whole 4-byte pixels are copied.
//  * With a pattern: a pixel comes from B when the first byte of its pattern
//    pixel (the blue byte of a BGRA pattern, the level of a grey one) is
//    strictly greater than progress, otherwise from A; the other three bytes
//    of a pattern pixel do not matter. Progress 255 shows A everywhere;
//    progress 0 shows B wherever the level is not 0.
//  * Without a pattern (null): a left-to-right edge. The first
//    split = trunc(progress / 255.0 * width) pixels of each row (computed in
//    double) come from A, the remaining ones from B at the same positions. So
//    progress 0, and any progress below 255 / width, gives all B, and 255 gives
//    all A; width 100 at progress 128 takes pixels 0-49 from A. The two copies
//    are made with LyMemCpy and so follow its processor-level variants.
// Width or height below 1, or a null imageA, imageB or dst, does nothing (the
// null checks are this library's own). dst must not overlap the other images.
LYAVUTILS_API void WipePatternImage(const unsigned char* imageA, int pitchA, const unsigned char* imageB, int pitchB,
                                    const unsigned char* pattern, int patternPitch, unsigned char* dst,
                                    int dstPitch, int width, int height, unsigned char progress);

// ============================================================ alpha mixing (straight alpha, in place)
// 32-bit pixels B, G, R, A with straight (not premultiplied) alpha; the same
// arithmetic serves V, U, Y, A. The source, mask and destination each have
// their own pitch (negative pitches walk bottom-up storage) and share width
// and height. Only the destination's own pixels are written; sources and
// masks are only read. Nothing is allocated.
//
// Two over rules exist and are kept apart on purpose:
//  * lone-pixel rule (MixTwoColor, a width-1 row, the odd last pixel of a
//    row): source alpha 0 leaves the destination word untouched; destination
//    alpha 0 or source alpha 255 copies the source word whole; otherwise
//    outA = sA + dA - floor(sA * dA / 255) and w = floor(128 * sA / outA).
//  * pair rule (every other pixel of a row): outA = min(sA + dA -
//    floor(sA * dA / 256), 255), w = floor(128 * sA / outA) (0 when both
//    alphas are 0), with no special cases.
// Both then set each of B, G, R to d + floor((s - d) * w / 128) (the floor
// rounds toward minus infinity: -1 at w = 64 gives -1) and the alpha to outA.
// The two alphas can differ by one for the same inputs (dA = 3, sA = 85: 88
// by the pair rule, 87 alone); which rule a pixel gets depends only on its
// column, never on the instruction set or the pool size.
//
// Refusals: a width or height below 1, or a null pointer among the buffers,
// does nothing (nothing is read or written, no job is queued). Overlapping
// source and destination rows other than the very same rows are not
// supported.
//
// Images of 16 rows or more are split into bands on the thread pool (one per
// worker); smaller ones, or a one-thread pool, run on the calling thread.

// dst := src over dst for one pixel word (A in bits 24-31), by the lone-pixel
// rule. `source` is not changed.
LYAVUTILS_API void MixTwoColor(uint32_t& source, uint32_t& destination);

// Every pixel: dst := src over dst. Per row, the first width & ~1 pixels take
// the pair rule and an odd last pixel the lone-pixel rule.
LYAVUTILS_API void MixColor(const unsigned char* source, int sourcePitch, unsigned char* destination,
                            int destinationPitch, int width, int height);

// Does nothing, whatever its arguments (null pointers and any sizes
// included): it never reads or writes any of the three buffers. This form has
// never combined anything, so callers must not rely on it to mix; as there is
// no work, none is queued on the pool either.
LYAVUTILS_API void MixColor(const unsigned char* first, int firstPitch, const unsigned char* second, int secondPitch,
                            const unsigned char* third, int thirdPitch, int width, int height);

// Every pixel: dst := (src with alpha scaled by the mask) over dst. The scaled
// alpha is floor((sA * m + 255) / 256), so a mask of 0 leaves the destination
// as it is and 255 gives exactly MixColor. The rules are those of MixColor:
// pair pixels use the scaled alpha directly; a lone pixel (width 1, or the odd
// last one) is first made into a pixel of the source colour and the scaled
// alpha, which the lone-pixel rule then mixes in.
LYAVUTILS_API void MixColorWithMaskAlpha(const unsigned char* source, int sourcePitch, const unsigned char* mask,
                                         int maskPitch, unsigned char* destination, int destinationPitch, int width,
                                         int height);

// Alpha punch-out (despite the name): every destination alpha becomes
// max(dA - sA, 0); the destination colour bytes are kept and the source
// colour plays no part.
LYAVUTILS_API void OverlayColor(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                int destinationPitch, int width, int height);

// Every pixel's alpha becomes max(alpha - m, 0) with m its mask byte; colour
// bytes are kept.
LYAVUTILS_API void SubtractImageWithMaskAlpha(unsigned char* image, int imagePitch, const unsigned char* mask,
                                              int maskPitch, int width, int height);

// ============================================================ opacity mixing (flatten to opaque)
// Straight-alpha 32-bit images laid onto an opaque background (another image,
// a solid colour, black). Bands as for the alpha mixing; MixWithOpacityBuffer,
// MixWithOpacityColor and the in-place MixWithOpacityBlack submit them through
// the exported LyThreadPool entry points, the two-buffer MixWithOpacityBlack
// through the pool directly (the results are the same either way). Only the
// destination's (or image's) own pixels are written; nothing is allocated.
// The three rules round differently on purpose.

// Every pixel: with sA the source alpha, sA = 255 copies the source word;
// otherwise each of B, G, R becomes d + sign(s - d) * floor(|s - d| * sA / 256)
// (the scaled difference truncated toward zero: s = 0, d = 255, sA = 128 gives
// 128) and the alpha 255, so a transparent source keeps the destination
// colour and makes it opaque.
// Does nothing when width, height, sourcePitch or destinationPitch is below 1
// (bottom-up images are therefore refused), or when a pointer is null.
// Like every row, a width-1 row reads only its own pixel in each buffer,
// never the bytes before it.
LYAVUTILS_API void MixWithOpacityBuffer(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                        int destinationPitch, int width, int height);

// Note the argument order of the in-place forms: width and height before pitch.

// In place onto the colour word `color` (B, G, R, A as a pixel): a pixel of
// alpha 0 becomes `color` exactly, its alpha included (0x80FF0000 stays
// 0x80FF0000); alpha 255 is kept; otherwise each of B, G, R becomes
// c + floor((p - c) * a / 256) (toward minus infinity) and the alpha 255.
// Does nothing when width, height or pitch is below 1 (bottom-up images are
// therefore refused), when `color` is 0 (transparent black means "no colour"
// here), or when `image` is null.
// Runs of identical pixels skip the arithmetic through a one-entry cache per
// row (the result is the same).
LYAVUTILS_API void MixWithOpacityColor(unsigned char* image, int width, int height, int pitch, uint32_t color);

// In place onto black: alpha 0 gives 0xFF000000, alpha 255 keeps the pixel,
// otherwise each of B, G, R becomes floor(p * a / 256) and the alpha 255
// (0x80FFFFFF gives 0xFF7F7F7F). Does nothing when width, height or pitch is
// below 1 (bottom-up images are therefore refused) or `image` is null. Runs of
// identical pixels skip the arithmetic through a one-entry cache per row.
LYAVUTILS_API void MixWithOpacityBlack(unsigned char* image, int width, int height, int pitch);

// The same rule from `source` into `destination`. Negative pitches are
// accepted here; only a width or height below 1, or a null pointer, does
// nothing. Source and destination must be the same rows or not overlap.
LYAVUTILS_API void MixWithOpacityBlack(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                       int destinationPitch, int width, int height);

// ============================================================ cross-format mixing
// A 32-bit overlay with straight alpha is mixed into a destination of another
// layout, its colours converted on the fly with the library's fixed-point
// colour tables (six fractional bits), so no frame has to be converted first.
// A converted overlay value c enters a destination value d with a 7-bit
// weight w (0..128) as
//     mix(c, d, w) = d + ((c - d) * w >> 7) = (c * w + d * (128 - w)) >> 7
// (the shift rounds towards minus infinity; the result lies between c and d).
// Unless a rule says otherwise, w = (A * 128 + 255) >> 8 for overlay alpha A,
// which is 0 only for A = 0 and 128 only for A = 255. The overlay is only
// read. Overlay and destination must not overlap.

// BGRA overlay into a VUYA destination.
// Does nothing when a pointer is null, width or height is below 1, either
// pitch is below 1 (bottom-up images are not accepted by this function), or
// the colorimetry is not Colorimetry_BT601 or Colorimetry_BT709.
// Colour: the B, G and R entries of the colorimetry's V, U, Y-ordered forward
// table are added with signed 16-bit saturation, then the offset entry
// (8192, 8192, 1024); each word is shifted right by 6.
// modeFlag != 0 (the destination is opaque video):
//  - an overlay word of 0 has weight 0; otherwise w is the alpha weight above;
//  - pixels go in pairs (0, 1), (2, 3), ...; a pair whose two weights are 0 is
//    left untouched; in any other pair each pixel's V, U, Y become
//    mix(c, d, w) and the alpha bytes of both pixels become 255, also that of
//    a pixel of weight 0 (whose colour stays). A pair of two opaque pixels
//    therefore receives the converted colours exactly;
//  - an odd last pixel is a pair of its own: untouched at weight 0, otherwise
//    mixed and made opaque.
// modeFlag == 0 (the destination is a layer with its own alpha): every pixel
// by the straight-alpha over rule of MixTwoColor applied to the converted
// overlay pixel. Overlay alpha sA = 0 leaves the pixel as it is; otherwise
// outA = union(dA, sA) from the alpha union table, w = quotient(sA, outA)
// from the alpha quotient table, V, U, Y become mix(c, d, w) and the alpha
// becomes outA. (Destination alpha 0 or overlay alpha 255 give the converted
// colour with the overlay's alpha.) Odd widths need no special case.
// Bands run through the exported LyThreadPool entry points. An image of fewer
// than 16 rows, or a one-thread pool, runs on the calling thread; every call
// returns with all of its rows done.
LYAVUTILS_API void MixBGRA4444WithVUYA4444(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                                           int destinationPitch, ELyColorimetry colorimetry, int modeFlag, int width,
                                           int height);

// VUYA overlay into a BGRA destination, the mirror of the function above:
// `first` is the VUYA overlay (only read), `second` the BGRA destination.
// Refusals, pairing, the two mode-flag rules and threading are those of
// MixBGRA4444WithVUYA4444, with B, G, R in place of V, U, Y.
// Colour (as VUYA4444ToBGRA4444 converts): the inverse-table entries of V,
// then U, then Y are added with signed 16-bit saturation, each word is shifted
// right by 6 (arithmetic) and clamped to 0..255.
LYAVUTILS_API void MixVUYA4444WithBGRA4444(unsigned char* first, int firstPitch, ELyColorimetry colorimetry,
                                           unsigned char* second, int secondPitch, int modeFlag, int width,
                                           int height);

// VUYA or BGRA overlay into a packed 4:2:2 destination: per pixel pair the
// samples U, Y0, V, Y1, bytes at bitDepth 8, little-endian 16-bit words at
// bitDepth 16 (10-bit values). Negative pitches are accepted.
// Does nothing when a pointer is null, width or height is below 1, bitDepth
// is not 8 or 16, or (BGRA overlay) the colorimetry is not Colorimetry_BT601
// or Colorimetry_BT709.
// Overlay colour (U, Y, V): a VUYA pixel gives its own bytes. A BGRA pixel is
// converted as BGRA4444ToUYVY422 does: the B, G and R entries of the
// U, Y, V-ordered forward table and the offset entry (8192, 1024, 8192) are
// added with signed 16-bit saturation, shifted right by 6 (arithmetic) and
// clamped to 0..255. At bitDepth 16 the overlay values are multiplied by 4;
// the destination samples may hold any 16-bit value (nothing overflows).
// A pair with both of its pixels in the row, overlay weights w0 and w1:
//  - both weights 0 (both alphas 0): untouched;
//  - otherwise Y0 = mix(cY0, Y0, w0), Y1 = mix(cY1, Y1, w1), and each pixel
//    mixes the shared chroma with its own weight, the pair keeping the
//    rounded-up mean of the two: U = (mix(cU0, U, w0) + mix(cU1, U, w1) + 1)
//    >> 1, likewise V. Two opaque pixels thus give the converted pair (at
//    depth 8 the converters' rounded-up chroma mean; at depth 16 the exact
//    mean 2 * (U0 + U1) of the 8-bit values), and a transparent pixel next to
//    an opaque one moves the chroma half way.
// pairStart != 0: every row starts on a pair. pairStart == 0: the row's first
// pixel is the second pixel of a pair that starts one pixel (2 bytes at
// depth 8, 4 at depth 16) before the row pointer. That pair's U sample, before
// the row pointer, is then read and written, so it must belong to the
// caller's buffer (its Y0 is neither read nor written). The pixel mixes the
// pair's Y1 with its weight and the chroma half way, U = (mix(cU, U, w) + U +
// 1) >> 1, likewise V: the rule above with the pair's other pixel at weight 0.
// When the row's last pixel is the first of a pair (odd width with pairStart
// != 0, even width with pairStart == 0), only its luma is mixed: the pair's U
// and V stay, since its V sample lies beyond the row.
// Bands run on the library's internal pool entry with the usual split.
LYAVUTILS_API void MixVUYA4444WithUYVY422(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                                          int destinationPitch, unsigned char bitDepth, int pairStart, int width,
                                          int height);
LYAVUTILS_API void MixBGRA4444WithUYVY422(const unsigned char* overlay, int overlayPitch, unsigned char* destination,
                                          int destinationPitch, unsigned char bitDepth, ELyColorimetry colorimetry,
                                          int pairStart, int width, int height);

// ============================================================ blend modes and float accumulation

// Mixes two images of one format with a fixed opacity, the first image's row
// optionally averaged with a neighbouring row first (a vertical two-tap filter
// that softens interlaced detail).
// Formats: PixelFormat_BGRA4444 and PixelFormat_VUYA4444 at any depth value
// (4 bytes a pixel, alpha mixed like the other bytes); PixelFormat_UYVY422 at
// depth 8 (bytes) or 16 (16-bit samples). Nothing is written for any other
// format or depth, a mode outside 0..3, width or height below 1, a null
// pointer, or an averaging mode (1..3) whose output is the first image (those
// modes read rows of the first image that the call may already have
// written). The output may be the second image, or the first in mode 0.
// Weights: w = round(128 * opacity) with halves away from zero, kept as its
// low byte, and w2 = (128 - w) mod 256; at UYVY depth 16 the scale is 64
// (w2 = (64 - w) mod 256). Opacity is not clamped: outside 0..1 the weights
// wrap as bytes; a product beyond the 32-bit range, or NaN, gives w = 0.
// Per byte (16-bit sample at depth 16), with a the first image's value and b
// the second's:
//   averaging:  a = (a + n + 1) >> 1 with the neighbour value n
//   depth 8:    out = min(((a * w + b * w2) mod 65536) >> 7, 255)
//   depth 16:   out = ((a * w mod 65536 + b * w2 mod 65536) mod 65536) >> 6,
//               no clamp (samples are meant to be 10-bit; larger ones wrap).
// Modes: 0 the row as it is; 1 averaged with the row above, row 0 with the
// edge fill; 2 averaged with the row below, the last row with the edge fill;
// 3 averaged with the row below for every row: the last row reads the row
// just below the image (first + height * firstPitch, the row's processed
// bytes). That row is read without any check and must be provided by the
// caller; it is never written.
// Edge fill: 0 for the 32-bit formats; for UYVY the bytes 0x80, 0x80, 0x10,
// 0xFF repeated from the row start (at depth 16 the samples 0x8080 and 0xFF10
// alternately), exactly; it is not a neutral colour.
// Coverage: the 32-bit formats take width/2 pixel pairs (an odd last pixel is
// not written); UYVY takes width/4 groups of four pixels (up to three
// trailing pixels are not written).
// Bands give exactly the single-pass result in every mode.
LYAVUTILS_API void BlendingImages(const unsigned char* first, int firstPitch, const unsigned char* second,
                                  int secondPitch, unsigned char* output, int outputPitch, ELyPixelFormat format,
                                  unsigned char depth, double opacity, int width, int height, ELyBlendingMode mode);

// Accumulates an image, weighted by opacity, into a float image, so that
// several frames can be summed. The accumulator is never cleared here;
// accumulatorPitch counts floats and may be negative. Formats, modes and
// refusals as the overload above (there is no output-aliasing rule).
// Each 4-byte unit of the image feeds four consecutive floats: the 32-bit
// formats give four floats a pixel; UYVY depth 8 two floats a pixel (width/2
// units U, Y0, V, Y1; an odd last pixel is ignored); UYVY depth 16 two floats
// a pixel, each sample read as a signed 16-bit value (width/2 steps of four
// samples).
//   mode 0:      acc += s * opacity
//   modes 1..3:  acc += (s + n) * h, h = (float)((double)opacity * 0.5), with
//                n the neighbour row's value; a row without neighbour (row 0
//                in mode 1, the last row in mode 2) adds s * h. Mode 3 reads
//                the row below the image as the overload above does.
// Every step in single precision, never fused. A NaN already in the
// accumulator is kept (quieted) even when the product is a NaN too, so the
// stored bits are the same on every processor. The calling thread's rounding
// mode (and, on x86, its flush-to-zero and denormals-are-zero settings)
// applies on every thread that runs a band.
// Image rows: row r is read at image + r * S, where S is imagePitch with its
// magnitude rounded down to a multiple of 4 bytes; of an averaged pair of rows
// ((r-1, r) in mode 1, (r, r+1) in modes 2 and 3) the lower row is read one
// exact imagePitch after the upper one. With a pitch that is a multiple of 4
// these are simply the image's rows. With another pitch the rows are read
// from shifted places (by design, not corrected here), but never outside the
// span from the first row to the last (to the row below in mode 3).
LYAVUTILS_API void BlendingImages(const unsigned char* image, int imagePitch, ELyPixelFormat format,
                                  unsigned char depth, float* accumulator, int accumulatorPitch, float opacity,
                                  int width, int height, ELyBlendingMode mode);

// Turns an accumulator back into samples. 16-bit samples are written when the
// format is PixelFormat_UYVY422 and the depth is not 8, bytes in every other
// case. A row has LyVideoUtils::GetPixelBytes(format, depth, width, 2) >> 1
// bytes: bytes take (row bytes)/4 steps of four floats to four bytes, samples
// (row bytes)/8 steps of four floats to four samples; bytes after the last
// whole step are not written.
//   byte:   f limited to at most 255.0, rounded by the current rounding mode
//           (nearest, ties to even by default: 254.5 -> 254), clamped to
//           0..255 (-3.0 -> 0);
//   sample: f limited to at most 1023.0, rounded the same way, saturated to
//           -32768..32767 and stored as a two's-complement word (-3.0 -> -3).
// NaN takes the limit (255 or 1023); -infinity gives 0 or -32768.
// The rounding mode is the calling thread's, on every thread that runs a band.
// sourcePitch counts floats; either pitch may be negative. The source needs
// no particular alignment: unaligned rows are read as they are, with the same
// results. Does nothing for a null pointer, width or height below 1, or a
// format for which that byte count is 0.
LYAVUTILS_API void ConvertFloatImage(const float* source, int sourcePitch, unsigned char* output, int outputPitch,
                                     ELyPixelFormat format, unsigned char depth, int width, int height);

// ============================================================ sub-pixel shifts
// Crawls and rolls move by whole pixels with pointer offsets; these place the
// picture between two whole positions so the motion is smooth. The weight w
// (0..128) is the fraction of a pixel in 128ths: destination pixel x takes
// the source at position x + w / 128, i.e. from source pixels x and x + 1
// (rows y and y + 1 for the Y forms). The content therefore moves left (up)
// by w / 128 of a pixel: w = 0 is a plain copy and w = 128 a plain copy from
// one pixel further on. A leftward crawl raises w as time goes on and steps
// the source pointer by one pixel when w wraps.
//
// 32-bit pixels (B, G, R, A or V, U, Y, A; straight alpha). With a the pixel
// at x (alpha aA) and b the one after it (alpha bA):
//     alpha  = (aA * (128 - w) + bA * w) >> 7
//     weight = floor(128 * bA * w / (aA * (128 - w) + bA * w)), or w when
//              that divisor is 0
//     colour = (a_c * (128 - weight) + b_c * weight) >> 7 for each of the
//              three colour bytes
// The colour weight is each side's share of the alpha, not the plain w:
// straight colour is what the pixel looks like where it is opaque, and a
// transparent pixel's colour (often black) does not show at all. Mixing the
// colours by w alone would pull an opaque white title edge towards the
// black of the transparent pixels beside it, and the moving edge would gain
// a dark fringe; with the alpha share, an edge pixel keeps the title's own
// colour and only its alpha falls. Two pixels of equal alpha mix by exactly
// w, so opaque pictures and flat areas are a plain 7-bit blend, a constant
// image stays constant and a monotonic ramp stays monotonic.
// An edge pixel, one with no source pixel after it, is mixed with a
// transparent pixel of its own colour: its colour is kept and its alpha
// becomes (aA * (128 - w)) >> 7.
//
// 16-bit alpha planes (alpha x 16 per sample): (s0 * (128 - w) + s1 * w) >> 7
// on the full 16-bit range, s1 the sample after s0 (below it for the Y
// forms); an edge sample becomes (s0 * (128 - w)) >> 7.
//
// All forms do nothing for a null pointer, a width (or height) below 1 or a
// weight outside 0..128, and write only the destination's own pixels. Results
// are the same on every instruction set and pool size.

// One row of `width` 32-bit pixels: reads width + 1 source pixels (the pixel
// after the row must exist, as it does inside a long crawl picture). The
// destination may be the source itself; otherwise they must not overlap.
LYAVUTILS_API void DoSubPixel_X_OneLine(const unsigned char* source, unsigned char* destination, int width,
                                        int weight);

// The same row where the source ends with the row: reads exactly `width`
// source pixels; the last destination pixel is an edge pixel (see above),
// the others are as DoSubPixel_X_OneLine gives them.
LYAVUTILS_API void DoSubPixel_X_LastPixel(const unsigned char* source, unsigned char* destination, int width,
                                          int weight);

// One row of `width` 32-bit pixels whose next source row lies outside the
// picture (the last row of a roll): every pixel is an edge pixel. The
// destination may be the source itself.
LYAVUTILS_API void DoSubPixel_Y_OneLine_Image(const unsigned char* source, unsigned char* destination, int width,
                                              int weight);

// `height` destination rows of 32-bit pixels, row y from source rows y and
// y + 1: reads height + 1 source rows (finish a picture's last row with
// DoSubPixel_Y_OneLine_Image). Split into bands on the thread pool. The
// source and destination must not overlap.
LYAVUTILS_API void DoSubPixel_Y_TwoLine_Image(const unsigned char* source, int sourcePitch, unsigned char* destination,
                                              int destinationPitch, int width, int height, int weight);

// One row of `width` 16-bit alpha samples, each an edge sample. `source` and
// `destination` point at the rows' first bytes (no alignment needed); the
// destination may be the source itself.
LYAVUTILS_API void DoSubPixel_Y_OneLine_16Alpha(const unsigned char* source, unsigned char* destination, int width,
                                                int weight);

// `height` rows of `width` 16-bit alpha samples, row y from source rows y and
// y + 1 (height + 1 source rows read). Split into bands on the thread pool.
// The source and destination must not overlap.
LYAVUTILS_API void DoSubPixel_Y_TwoLine_16Alpha(const unsigned char* source, int sourcePitch,
                                                unsigned char* destination, int destinationPitch, int width,
                                                int height, int weight);

}  // namespace LyPixelUtils

#endif
