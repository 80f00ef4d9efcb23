// Channels, fields and sample transfer between host surfaces and memory.
#include <cmath>
#include <limits>

#include "LyMemUtils.h"
#include "LySurfaceUtils.h"
#include "LyVideoUtils.h"
#include "memory/LyUnaligned.h"
#include "surface/LySurfaceCommon.h"

namespace LySurfaceUtils {

namespace {

// True for a format whose every pixel is one 4-byte word at this depth, the
// only pictures the channel and sample routines can walk pixel by pixel.
bool FourBytePixels(ELyPixelFormat format, unsigned char depth) {
    return ly::ColumnBytes(format, depth, 2) == 8;
}

bool PackedFormat(ELyPixelFormat f) {
    return f == PixelFormat_BGRA4444 || f == PixelFormat_VUYA4444 || f == PixelFormat_UYVY422 ||
           f == PixelFormat_YUYVA422;
}

bool IsField(ELyScanMode scan, ELyPolarity polarity) {
    return (scan == ScanMode_UpperFirst || scan == ScanMode_LowerFirst) &&
           (polarity == Polarity_First || polarity == Polarity_Second);
}

int ExportChannel(ILyVideoSurface* surface, unsigned char* buffer, SIZE size, int bufferPitch, bool alphaMode) {
    if (!surface || !buffer) return 0;
    SLySurfaceDescription d{};
    surface->GetDescription(&d);
    if (!FourBytePixels(d.pixelFormat, d.bitDepth)) return 0;
    RECT area{};
    if (!ly::IntersectFrameRects(GetRect(d), RECT{0, 0, size.cx, size.cy}, area)) return 0;
    SLyLockSurface l{};
    if (!surface->Lock(0, &l)) return 0;
    if (!l.bits) {
        surface->Unlock(0);
        return 0;
    }
    const RECT own = ly::ShiftRect(area, d.left, d.top);
    const unsigned char* s = ly::SubPicture(l.bits, l.pitch, d.pixelFormat, d.bitDepth, own.left, own.top);
    unsigned char* t = ly::SubPicture(buffer, bufferPitch, d.pixelFormat, d.bitDepth, area.left, area.top);
    const int64_t width = ly::RectWidth(area), rows = ly::RectHeight(area);
    for (int64_t y = 0; y < rows; ++y, s += l.pitch, t += bufferPitch) {
        for (int64_t x = 0; x < width; ++x) {
            const uint32_t v = ly::Load32(s + 4 * x);
            uint32_t out;
            if (alphaMode) {
                const uint32_t a = v >> 24;
                out = 0xFF000000u | a << 16 | a << 8 | a;
            } else {
                out = v | 0xFF000000u;
            }
            ly::Store32(t + 4 * x, out);
        }
    }
    surface->Unlock(0);
    return 1;
}

// Waits for pending work and turns premultiplied colour straight. False
// (nothing locked afterwards) when the surface cannot be read as 32-bit
// pixels or its lock gives no memory.
bool PrepareForReading(ILyVideoSurface* surface, SLySurfaceDescription& d) {
    ILySyncObject* sync = nullptr;
    surface->GetSyncObject(&sync);
    if (sync) {
        sync->Wait(1000);
        sync->Release();
    }
    surface->GetDescription(&d);
    if (!FourBytePixels(d.pixelFormat, d.bitDepth)) return false;
    if (d.shaped) {
        SLyLockSurface l{};
        surface->Lock(0, &l);
        if (!l.bits) {
            surface->Unlock(0);
            return false;
        }
        unsigned char* row = l.bits;
        for (int y = 0; y < l.height; ++y, row += l.pitch) ly::UnpremultiplyRow(row, l.width);
        surface->Unlock(0);
        surface->SetShaped(0);
    }
    return true;
}

// Copies picture rows of `rowBytes` bytes: the buffer steps `bufferStep`
// rows of `bufferRowBytes` bytes, the picture its own pitch. Stops at the
// buffer's last row or the picture's last row.
void CopyBufferRows(const unsigned char* buffer, uint64_t bufferRowBytes, uint64_t bufferHeight, uint64_t firstRow,
                    uint64_t bufferStep, uint64_t column, uint32_t rowBytes, const SLyLockSurface& l) {
    if (!l.bits || rowBytes == 0) return;
    unsigned char* t = l.bits;
    for (int done = 0; done < l.height && firstRow < bufferHeight; ++done, firstRow += bufferStep, t += l.pitch)
        LyMemCpy(t, buffer + firstRow * bufferRowBytes + column, rowBytes);
}

}  // namespace

int CopyAlphaChannelTo(ILyVideoSurface* surface, unsigned char* buffer, SIZE bufferSize, int bufferPitch) {
    return ExportChannel(surface, buffer, bufferSize, bufferPitch, true);
}

int CopyFillClrChannelTo(ILyVideoSurface* surface, unsigned char* buffer, SIZE bufferSize, int bufferPitch) {
    return ExportChannel(surface, buffer, bufferSize, bufferPitch, false);
}

int AVSampleToImageBuffer(ILyAVSample* sample, ELyScanMode scanMode, unsigned char* buffer, uint32_t& size) {
    if (!sample) return 0;
    std::vector<ILyVideoSurface*> list;
    const int got = sample->GetSurfaces(list);
    int result = 0;
    ILyVideoSurface* first = list.size() >= 1 ? list[0] : nullptr;
    ILyVideoSurface* second = list.size() >= 2 ? list[1] : nullptr;
    bool firstLocked = false, secondLocked = false;
    SLyLockSurface fl{}, sl{};
    if (got && first) {
        SLySurfaceDescription d{};
        if (PrepareForReading(first, d)) {
            first->Lock(0, &fl);
            firstLocked = true;
        }
        if (firstLocked && second && PrepareForReading(second, d)) {
            second->Lock(0, &sl);
            secondLocked = true;
        }
    }
    const bool interlaced = scanMode == ScanMode_UpperFirst || scanMode == ScanMode_LowerFirst;
    if (firstLocked && fl.bits && fl.width >= 0 && fl.height >= 0 && fl.width <= (1 << 28)) {
        const uint64_t w1 = uint64_t(fl.width);
        if (!interlaced) {
            const uint64_t bytes = w1 * uint64_t(fl.height) * 4;
            if (bytes <= std::numeric_limits<uint32_t>::max()) {
                size = static_cast<uint32_t>(bytes);
                if (buffer) {
                    const unsigned char* s = fl.bits;
                    for (int y = 0; y < fl.height; ++y, s += fl.pitch)
                        LyMemCpy(buffer + uint64_t(y) * w1 * 4, s, static_cast<uint32_t>(w1 * 4));
                }
                result = 1;
            }
        } else if (secondLocked && sl.bits && sl.height >= 0 && sl.width >= 0 && uint64_t(sl.width) <= w1) {
            const uint64_t rows = uint64_t(fl.height) + uint64_t(sl.height);
            const uint64_t bytes = w1 * rows * 4;
            if (bytes <= std::numeric_limits<uint32_t>::max()) {
                size = static_cast<uint32_t>(bytes);
                if (buffer) {
                    // Even output rows come from the field that holds the
                    // frame's even rows: the first for scan mode 0, the second
                    // for scan mode 1.
                    const SLyLockSurface& even = scanMode == ScanMode_UpperFirst ? fl : sl;
                    const SLyLockSurface& odd = scanMode == ScanMode_UpperFirst ? sl : fl;
                    const unsigned char* e = even.bits;
                    const unsigned char* o = odd.bits;
                    int evenDone = 0, oddDone = 0;
                    for (uint64_t r = 0; r < rows; ++r) {
                        if ((r & 1) == 0) {
                            if (evenDone < even.height) {
                                LyMemCpy(buffer + r * uint64_t(even.width) * 4, e, uint32_t(even.width) * 4);
                                e += even.pitch;
                                ++evenDone;
                            }
                        } else if (oddDone < odd.height) {
                            LyMemCpy(buffer + r * uint64_t(odd.width) * 4, o, uint32_t(odd.width) * 4);
                            o += odd.pitch;
                            ++oddDone;
                        }
                    }
                }
                result = 1;
            }
        }
    }
    if (firstLocked) first->Unlock(0);
    if (secondLocked) second->Unlock(0);
    while (!list.empty()) {
        if (list.front()) list.front()->Release();
        list.erase(list.begin());
    }
    return result;
}

int ImageBufferToVideoSurface(unsigned char* buffer, uint32_t bufferWidth, uint32_t bufferHeight,
                              const CRect& source, const SLySurfaceCreateDesc& description,
                              ILyVideoSurfacePool* pool, ILyVideoSurface** first, ILyVideoSurface** second) {
    if (!buffer || !pool || !first) return 0;
    SLySurfaceCreateDesc cd = description;
    const int scan = cd.scanMode;
    const bool interlaced = scan == ScanMode_UpperFirst || scan == ScanMode_LowerFirst;
    if (interlaced && !second) return 0;
    if (source.left < 0 || source.top < 0) return 0;
    if (scan != ScanMode_Progressive) cd.height = static_cast<int>(bufferHeight / 2);
    if (interlaced) cd.polarity = Polarity_First;
    if (scan != ScanMode_UpperFirst && scan != ScanMode_LowerFirst && scan != ScanMode_Progressive) return 1;

    const uint64_t bufferRowBytes = uint64_t(bufferWidth) * 4;
    const uint64_t column = uint64_t(source.left) * 4;
    // A row is the record's line; it is cut to what the buffer row holds
    // right of the source column so no read crosses into the next row.
    uint32_t rowBytes = LyVideoUtils::GetPixelBytes(cd.pixelFormat, cd.bitDepth, cd.width, 2) / 2;
    rowBytes = static_cast<uint32_t>(std::min<uint64_t>(rowBytes, column < bufferRowBytes ? bufferRowBytes - column : 0));
    const uint64_t step = interlaced ? 2 : 1;

    ILyVideoSurface* made = nullptr;
    int created = pool->CreateSurface(0, &cd, &made);
    if (!created) return created;
    if (!made) return 0;
    SLyLockSurface l{};
    made->Lock(0, &l);
    CopyBufferRows(buffer, bufferRowBytes, bufferHeight, uint64_t(source.top) + (scan == ScanMode_LowerFirst ? 1 : 0),
                   step, column, rowBytes, l);
    made->Unlock(0);
    *first = made;
    if (!interlaced) return 1;

    cd.polarity = Polarity_Second;
    made = nullptr;
    created = pool->CreateSurface(0, &cd, &made);
    if (!created) return created;
    if (!made) return 0;
    l = SLyLockSurface{};
    made->Lock(0, &l);
    CopyBufferRows(buffer, bufferRowBytes, bufferHeight, uint64_t(source.top) + (scan == ScanMode_UpperFirst ? 1 : 0),
                   step, column, rowBytes, l);
    made->Unlock(0);
    *second = made;
    return 1;
}

int CopyTwoFieldToFrame(ILyVideoSurface* frame, ILyVideoSurface* firstField, ILyVideoSurface* secondField) {
    if (!frame || !firstField || !secondField) return 0;
    SLySurfaceDescription fd{};
    SLySurfaceDescription field[2]{};
    frame->GetDescription(&fd);
    firstField->GetDescription(&field[0]);
    secondField->GetDescription(&field[1]);
    const RECT frameRect = GetRect(fd);
    RECT fieldArea[2]{}, frameArea[2]{};
    int64_t rows[2]{};
    for (int i = 0; i < 2; ++i) {
        const SLySurfaceDescription& f = field[i];
        if (!IsField(f.scanMode, f.polarity) || f.pixelFormat != fd.pixelFormat || f.bitDepth != fd.bitDepth ||
            !PackedFormat(f.pixelFormat))
            return 0;
        const CRect asField = LyVideoUtils::FrameRectToFieldRect(CRect(frameRect), f.scanMode, f.polarity);
        if (!ly::IntersectFrameRects(asField, GetRect(f), fieldArea[i])) return 0;
        const CRect back = LyVideoUtils::FieldRectToFrameRect(CRect(fieldArea[i]), f.scanMode, f.polarity);
        if (!ly::IntersectFrameRects(back, frameRect, frameArea[i])) return 0;
        // Field row k lands on frame row back.top + 2k; rows past the frame's
        // bottom are dropped.
        const int64_t fitting = (int64_t{frameArea[i].bottom} - back.top + 1) / 2;
        rows[i] = std::min(ly::RectHeight(fieldArea[i]), fitting);
        if (frameArea[i].top != back.top || rows[i] < 1) return 0;
    }
    SLyLockSurface fl{}, l[2]{};
    frame->Lock(0, &fl);
    firstField->Lock(0, &l[0]);
    secondField->Lock(0, &l[1]);
    for (int i = 0; i < 2; ++i) {
        if (!fl.bits || !l[i].bits) continue;
        const SLySurfaceDescription& f = field[i];
        const int width = static_cast<int>(ly::RectWidth(frameArea[i]));
        const uint32_t rowBytes = LyVideoUtils::GetPixelBytes(f.pixelFormat, f.bitDepth, width, 2) / 2;
        const RECT src = ly::ShiftRect(RECT{frameArea[i].left, fieldArea[i].top, frameArea[i].right, 0}, f.left, f.top);
        const RECT dst = ly::ShiftRect(frameArea[i], fd.left, fd.top);
        const unsigned char* s = ly::SubPicture(l[i].bits, l[i].pitch, f.pixelFormat, f.bitDepth, src.left, src.top);
        unsigned char* t = ly::SubPicture(fl.bits, fl.pitch, fd.pixelFormat, fd.bitDepth, dst.left, dst.top);
        const ptrdiff_t framePitch = static_cast<ptrdiff_t>(fl.pitch) * 2;
        for (int64_t r = 0; r < rows[i]; ++r, s += l[i].pitch, t += framePitch) LyMemCpy(t, s, rowBytes);
        if (f.pixelFormat == PixelFormat_YUYVA422) {
            // The alpha planes interleave like the pictures.
            s = ly::SubPicture(l[i].bits + static_cast<ptrdiff_t>(l[i].pitch) * l[i].height, l[i].pitch,
                               f.pixelFormat, f.bitDepth, src.left, src.top);
            t = ly::SubPicture(fl.bits + static_cast<ptrdiff_t>(fl.pitch) * fl.height, fl.pitch, fd.pixelFormat,
                               fd.bitDepth, dst.left, dst.top);
            for (int64_t r = 0; r < rows[i]; ++r, s += l[i].pitch, t += framePitch) LyMemCpy(t, s, rowBytes);
        }
    }
    secondField->Unlock(0);
    firstField->Unlock(0);
    frame->Unlock(0);
    return 1;
}

RECT GetTransformRect(const SLyVideoResolution& resolution, const SLySurfaceDescription& description, float depth,
                      const SLyMatrix4x4& matrix, ELyPolarity polarity) {
    const RECT empty{0, 0, 0, 0};
    CRect area(GetRect(description));
    if (IsField(description.scanMode, description.polarity))
        area = LyVideoUtils::FieldRectToFrameRect(area, description.scanMode, description.polarity);
    const float xs[2] = {static_cast<float>(area.left), static_cast<float>(area.right)};
    const float ys[2] = {static_cast<float>(area.top), static_cast<float>(area.bottom)};
    const float(&m)[4][4] = matrix.m;
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    for (int c = 0; c < 4; ++c) {
        const float x = xs[c & 1], y = ys[c >> 1], z = depth;
        const float px = x * m[0][0] + y * m[1][0] + z * m[2][0] + m[3][0];
        const float py = x * m[0][1] + y * m[1][1] + z * m[2][1] + m[3][1];
        const float pw = x * m[0][3] + y * m[1][3] + z * m[2][3] + m[3][3];
        // A corner at or behind the eye has no place on the picture.
        if (!(pw > 0.0f) || !std::isfinite(pw)) return empty;
        const double sx = static_cast<double>(px / pw), sy = static_cast<double>(py / pw);
        if (!std::isfinite(sx) || !std::isfinite(sy)) return empty;
        if (c == 0 || sx < minX) minX = sx;
        if (c == 0 || sx > maxX) maxX = sx;
        if (c == 0 || sy < minY) minY = sy;
        if (c == 0 || sy > maxY) maxY = sy;
    }
    const int64_t frameWidth = resolution.frameSize.cx > 0 ? resolution.frameSize.cx : resolution.width;
    const int64_t frameHeight = resolution.frameSize.cy > 0 ? resolution.frameSize.cy : resolution.height;
    // Every pixel the projected picture touches, clipped to the frame.
    const double left = std::max(0.0, std::floor(minX)), top = std::max(0.0, std::floor(minY));
    const double right = std::min(double(frameWidth), std::ceil(maxX));
    const double bottom = std::min(double(frameHeight), std::ceil(maxY));
    if (!(right - left >= 1.0) || !(bottom - top >= 1.0)) return empty;
    CRect out(static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right),
              static_cast<int32_t>(bottom));
    if (IsField(description.scanMode, polarity))
        out = LyVideoUtils::FrameRectToFieldRect(out, description.scanMode, polarity);
    return out;
}

}  // namespace LySurfaceUtils
