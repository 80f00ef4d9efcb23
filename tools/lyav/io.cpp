// Pictures in memory, the raw layouts, PNG files and output files.
#include "lyav.h"

#include <png.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace lyav {

namespace {

const LayoutInfo kLayouts[] = {
    {Layout::Bgra, "bgra", PixelFormat_BGRA4444, 8, false},
    {Layout::Vuya, "vuya", PixelFormat_VUYA4444, 8, true},
    {Layout::Uyvy422, "uyvy422", PixelFormat_UYVY422, 8, true},
    {Layout::Uyvy422_16, "uyvy422-16", PixelFormat_UYVY422, 16, true},
    {Layout::Y210le, "y210le", PixelFormat_UYVY422, 16, true},
    {Layout::Yuyv422, "yuyv422", PixelFormat_YUYVA422, 8, true},
    {Layout::Yuyva422, "yuyva422", PixelFormat_YUYVA422, 8, true},
};

uint16_t Load16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
void Store16(unsigned char* p, unsigned v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

std::string Errno() { return std::strerror(errno); }

}  // namespace

const char* const kLayoutHelp =
    "Raw frames: rows packed without padding, no header; ffmpeg reads them with\n"
    "  ffmpeg -f rawvideo -pix_fmt PIXFMT -s WxH -i FILE out.png\n"
    "  bgra        B G R A bytes per pixel, straight alpha: the library's PixelFormat_BGRA4444.\n"
    "              ffmpeg pix_fmt bgra.\n"
    "  vuya        V U Y A bytes per pixel: PixelFormat_VUYA4444 (studio-range Y'CbCr).\n"
    "              ffmpeg 5.1 has no pix_fmt with this byte order.\n"
    "  uyvy422     U Y0 V Y1 bytes per pixel pair: PixelFormat_UYVY422 at depth 8.\n"
    "              ffmpeg pix_fmt uyvy422.\n"
    "  uyvy422-16  U Y0 V Y1 per pair, each a little-endian 16-bit word holding the\n"
    "              10-bit value in bits 0-9 (the 8-bit value x 4): PixelFormat_UYVY422\n"
    "              at depth 16, 8 bytes per pair. No ffmpeg pix_fmt has this layout;\n"
    "              y210le below is the same samples in ffmpeg's order.\n"
    "  y210le      Y0 U Y1 V per pair, little-endian 16-bit words with the 10-bit value\n"
    "              in bits 6-15: PixelFormat_UYVY422 depth 16 reordered and shifted\n"
    "              left by 6. ffmpeg pix_fmt y210le.\n"
    "  yuyv422     Y0 U Y1 V bytes per pair: the packed plane of PixelFormat_YUYVA422\n"
    "              at depth 8, alpha dropped (read back as opaque). ffmpeg yuyv422.\n"
    "  yuyva422    the whole PixelFormat_YUYVA422 buffer at depth 8: the yuyv422 plane\n"
    "              (W*2*H bytes) followed by the alpha plane, one little-endian 16-bit\n"
    "              sample per pixel holding alpha x 16 (0..4080), W*2*H bytes. ffmpeg\n"
    "              reads frame 1 as yuyv422 (add -frames:v 1); the tail alone is gray16le.\n"
    "YUV layouts are studio range. ffmpeg takes untagged raw YUV as BT.601, the\n"
    "tool's default colorimetry; for --colorimetry bt709 frames add\n"
    "-vf scale=in_color_matrix=bt709 (reading) or out_color_matrix=bt709 (writing).\n"
    "The 4:2:2 layouts need an even width. Pictures ending in .png are 8-bit RGBA PNG\n"
    "(straight alpha), read and written through libpng in the library's B G R A order.\n";

const LayoutInfo& InfoOf(Layout layout) {
    for (const auto& l : kLayouts)
        if (l.layout == layout) return l;
    return kLayouts[0];
}

Layout ParseLayout(const std::string& text) {
    for (const auto& l : kLayouts)
        if (text == l.name) return l.layout;
    Fail("unknown format '" + text + "' (bgra, vuya, uyvy422, uyvy422-16, y210le, yuyv422, yuyva422)");
}

uint64_t LayoutBytes(Layout layout, int width, int height) {
    const LayoutInfo& info = InfoOf(layout);
    if (info.format != PixelFormat_BGRA4444 && info.format != PixelFormat_VUYA4444 && width % 2 != 0) return 0;
    const uint64_t px = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
    switch (layout) {
    case Layout::Bgra:
    case Layout::Vuya:
    case Layout::Uyvy422_16:
    case Layout::Y210le:
    case Layout::Yuyva422: return px * 4;
    case Layout::Uyvy422:
    case Layout::Yuyv422: return px * 2;
    }
    return 0;
}

int Picture::Pitch() const {
    switch (layout) {
    case Layout::Bgra:
    case Layout::Vuya:
    case Layout::Uyvy422_16:
    case Layout::Y210le: return width * 4;
    case Layout::Uyvy422:
    case Layout::Yuyv422:
    case Layout::Yuyva422: return width * 2;
    }
    return 0;
}

Picture MakePicture(int width, int height, Layout layout) {
    if (width < 1 || height < 1) Fail("picture size " + std::to_string(width) + "x" + std::to_string(height) +
                                      " is below 1");
    const uint64_t bytes = LayoutBytes(layout, width, height);
    if (bytes == 0)
        Fail(std::string(InfoOf(layout).name) + " needs an even width, not " + std::to_string(width));
    Picture p;
    p.width = width;
    p.height = height;
    p.layout = layout;
    p.bytes.assign(bytes, 0);
    return p;
}

namespace {

// The library's 16-bit 4:2:2 (U Y0 V Y1, value in the low bits) <-> y210le
// (Y0 U Y1 V, value in the high bits).
Picture Y210FromUyvy16(const Picture& u) {
    Picture y = MakePicture(u.width, u.height, Layout::Y210le);
    for (size_t i = 0; i + 8 <= u.bytes.size(); i += 8) {
        const unsigned char* s = &u.bytes[i];
        unsigned char* d = &y.bytes[i];
        Store16(d + 0, (Load16(s + 2) & 0x3FFu) << 6);
        Store16(d + 2, (Load16(s + 0) & 0x3FFu) << 6);
        Store16(d + 4, (Load16(s + 6) & 0x3FFu) << 6);
        Store16(d + 6, (Load16(s + 4) & 0x3FFu) << 6);
    }
    return y;
}

Picture Uyvy16FromY210(const Picture& y) {
    Picture u = MakePicture(y.width, y.height, Layout::Uyvy422_16);
    for (size_t i = 0; i + 8 <= y.bytes.size(); i += 8) {
        const unsigned char* s = &y.bytes[i];
        unsigned char* d = &u.bytes[i];
        Store16(d + 0, Load16(s + 2) >> 6);
        Store16(d + 2, Load16(s + 0) >> 6);
        Store16(d + 4, Load16(s + 6) >> 6);
        Store16(d + 6, Load16(s + 4) >> 6);
    }
    return u;
}

// Y0 U Y1 V <-> U Y0 V Y1 is the same swap of neighbouring bytes both ways.
void SwapBytePairs(const unsigned char* s, unsigned char* d, size_t bytes) {
    for (size_t i = 0; i + 1 < bytes; i += 2) {
        const unsigned char a = s[i];
        d[i] = s[i + 1];
        d[i + 1] = a;
    }
}

Picture WithYuyvaAlphaDropped(const Picture& yuyva) {
    Picture p = MakePicture(yuyva.width, yuyva.height, Layout::Yuyv422);
    std::memcpy(p.bytes.data(), yuyva.bytes.data(), p.bytes.size());
    return p;
}

// The alpha plane holds alpha x 16; the nearest 8-bit alpha goes into byte 3
// of each 32-bit pixel.
void CopyAlphaPlane(const Picture& yuyva, Picture& out32) {
    const unsigned char* alpha = yuyva.bytes.data() + static_cast<size_t>(yuyva.Pitch()) * yuyva.height;
    for (size_t i = 0; i < static_cast<size_t>(yuyva.width) * yuyva.height; ++i) {
        const unsigned a = (Load16(alpha + 2 * i) + 8u) >> 4;
        out32.bytes[4 * i + 3] = static_cast<unsigned char>(a > 255 ? 255 : a);
    }
}

void Check(int ok, const char* what) {
    if (!ok) Fail(std::string("the library refused ") + what);
}

}  // namespace

Picture ToBgra(const Picture& in, ELyColorimetry cm) {
    Picture out = MakePicture(in.width, in.height, Layout::Bgra);
    const int w = in.width, h = in.height, op = out.Pitch();
    switch (in.layout) {
    case Layout::Bgra: out.bytes = in.bytes; break;
    case Layout::Vuya: LyFormatUtils::VUYA4444ToBGRA4444(in.bytes.data(), in.Pitch(), out.bytes.data(), op, 8, cm, w, h); break;
    case Layout::Uyvy422:
    case Layout::Uyvy422_16:
        Check(LyFormatUtils::UYVY422ToBGRA4444(in.bytes.data(), in.Pitch(), InfoOf(in.layout).depth, cm,
                                               out.bytes.data(), op, w, h),
              "UYVY422ToBGRA4444");
        break;
    case Layout::Y210le: return ToBgra(Uyvy16FromY210(in), cm);
    case Layout::Yuyv422:
    case Layout::Yuyva422: {
        Picture uyvy = MakePicture(w, h, Layout::Uyvy422);
        SwapBytePairs(in.bytes.data(), uyvy.bytes.data(), uyvy.bytes.size());
        out = ToBgra(uyvy, cm);
        if (in.layout == Layout::Yuyva422) CopyAlphaPlane(in, out);
        break;
    }
    }
    return out;
}

Picture FromBgra(const Picture& bgra, Layout layout, ELyColorimetry cm) {
    const int w = bgra.width, h = bgra.height, sp = bgra.Pitch();
    Picture out = MakePicture(w, h, layout == Layout::Yuyv422 ? Layout::Yuyva422 : layout);
    const unsigned char* s = bgra.bytes.data();
    unsigned char* d = out.bytes.data();
    switch (layout) {
    case Layout::Bgra: out.bytes = bgra.bytes; break;
    case Layout::Vuya: LyFormatUtils::BGRA4444ToVUYA4444(s, sp, d, out.Pitch(), 8, cm, w, h); break;
    case Layout::Uyvy422:
    case Layout::Uyvy422_16:
        Check(LyFormatUtils::BGRA4444ToUYVY422(s, sp, d, out.Pitch(), InfoOf(layout).depth, cm, w, h),
              "BGRA4444ToUYVY422");
        break;
    case Layout::Y210le: return Y210FromUyvy16(FromBgra(bgra, Layout::Uyvy422_16, cm));
    case Layout::Yuyv422:
    case Layout::Yuyva422:
        Check(LyFormatUtils::BGRA4444ToYUYVA422(s, sp, d, out.Pitch(), d + static_cast<size_t>(out.Pitch()) * h,
                                                out.Pitch(), 8, cm, w, h),
              "BGRA4444ToYUYVA422");
        if (layout == Layout::Yuyv422) return WithYuyvaAlphaDropped(out);
        break;
    }
    return out;
}

Picture ToVuya(const Picture& in, ELyColorimetry cm) {
    const int w = in.width, h = in.height;
    Picture out = MakePicture(w, h, Layout::Vuya);
    switch (in.layout) {
    case Layout::Vuya: out.bytes = in.bytes; break;
    case Layout::Bgra:
        LyFormatUtils::BGRA4444ToVUYA4444(in.bytes.data(), in.Pitch(), out.bytes.data(), out.Pitch(), 8, cm, w, h);
        break;
    case Layout::Uyvy422:
    case Layout::Uyvy422_16:
        Check(LyFormatUtils::UYVY422ToVUYA4444(in.bytes.data(), in.Pitch(), InfoOf(in.layout).depth,
                                               out.bytes.data(), out.Pitch(), w, h, 255),
              "UYVY422ToVUYA4444");
        break;
    case Layout::Y210le: return ToVuya(Uyvy16FromY210(in), cm);
    case Layout::Yuyv422:
    case Layout::Yuyva422: {
        Picture uyvy = MakePicture(w, h, Layout::Uyvy422);
        SwapBytePairs(in.bytes.data(), uyvy.bytes.data(), uyvy.bytes.size());
        out = ToVuya(uyvy, cm);
        if (in.layout == Layout::Yuyva422) CopyAlphaPlane(in, out);
        break;
    }
    }
    return out;
}

Picture FromVuya(const Picture& vuya, Layout layout, ELyColorimetry cm) {
    const int w = vuya.width, h = vuya.height, sp = vuya.Pitch();
    Picture out = MakePicture(w, h, layout == Layout::Yuyv422 ? Layout::Yuyva422 : layout);
    const unsigned char* s = vuya.bytes.data();
    unsigned char* d = out.bytes.data();
    switch (layout) {
    case Layout::Vuya: out.bytes = vuya.bytes; break;
    case Layout::Bgra: LyFormatUtils::VUYA4444ToBGRA4444(s, sp, d, out.Pitch(), 8, cm, w, h); break;
    case Layout::Uyvy422:
    case Layout::Uyvy422_16:
        Check(LyFormatUtils::VUYA4444ToUYVY422(s, sp, d, out.Pitch(), InfoOf(layout).depth, w, h),
              "VUYA4444ToUYVY422");
        break;
    case Layout::Y210le: return Y210FromUyvy16(FromVuya(vuya, Layout::Uyvy422_16, cm));
    case Layout::Yuyv422:
    case Layout::Yuyva422:
        Check(LyFormatUtils::VUYA4444ToYUYVA422(s, sp, d, out.Pitch(), d + static_cast<size_t>(out.Pitch()) * h,
                                                out.Pitch(), 8, w, h),
              "VUYA4444ToYUYVA422");
        if (layout == Layout::Yuyv422) return WithYuyvaAlphaDropped(out);
        break;
    }
    return out;
}

// ------------------------------------------------------------ files

bool IsPngPath(const std::string& path) {
    if (path.size() < 4) return false;
    std::string ext = path.substr(path.size() - 4);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext == ".png";
}

namespace {

void CheckReadable(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) Fail(path + ": cannot read: " + Errno());
    if (S_ISDIR(st.st_mode)) Fail(path + ": is a directory, not a picture");
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) Fail(path + ": cannot read: " + Errno());
    std::fclose(f);
}

// A temporary name next to the target, removed unless Commit renamed it.
class OutputFile {
public:
    explicit OutputFile(const std::string& path) : path_(path) {
        if (path.empty()) Fail("no output file given (-o FILE)");
        const size_t slash = path.rfind('/');
        const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
        const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
        if (base.empty()) Fail(path + ": is a directory, not a file name");
        temp_ = dir + "." + base + ".lyav-" + std::to_string(::getpid()) + ".tmp";
    }
    ~OutputFile() {
        if (!committed_) std::remove(temp_.c_str());
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    const std::string& temp() const { return temp_; }
    void Commit() {
        if (std::rename(temp_.c_str(), path_.c_str()) != 0) Fail(path_ + ": cannot write: " + Errno());
        committed_ = true;
    }

private:
    std::string path_, temp_;
    bool committed_ = false;
};

void WritePngImage(const std::string& path, const void* data, int width, int height, int stride, uint32_t format) {
    OutputFile out(path);
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = format;
    if (!png_image_write_to_file(&image, out.temp().c_str(), 0, data, stride, nullptr)) {
        const std::string message = image.message;
        png_image_free(&image);
        Fail(path + ": cannot write: " + message);
    }
    out.Commit();
}

}  // namespace

Picture ReadPng(const std::string& path) {
    CheckReadable(path);
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        const std::string message = image.message;
        png_image_free(&image);
        Fail(path + ": not a readable PNG file (" + message + ")");
    }
    if (image.width > 32768 || image.height > 32768) {
        png_image_free(&image);
        Fail(path + ": PNG larger than 32768 pixels a side");
    }
    image.format = PNG_FORMAT_BGRA;  // 8-bit sRGB, straight alpha, the library's byte order
    Picture p = MakePicture(static_cast<int>(image.width), static_cast<int>(image.height), Layout::Bgra);
    if (!png_image_finish_read(&image, nullptr, p.bytes.data(), p.Pitch(), nullptr)) {
        const std::string message = image.message;
        png_image_free(&image);
        Fail(path + ": damaged or truncated PNG (" + message + ")");
    }
    return p;
}

std::vector<unsigned char> ReadBytes(const std::string& path, uint64_t want, const std::string& what) {
    CheckReadable(path);
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) Fail(path + ": cannot read: " + Errno());
    std::fseek(f, 0, SEEK_END);
    const long have = std::ftell(f);
    std::fseek(f, 0, SEEK_SET);
    if (have < 0 || static_cast<uint64_t>(have) != want) {
        std::fclose(f);
        Fail(path + ": " + std::to_string(have) + " bytes, but " + what + " is " + std::to_string(want) + " bytes");
    }
    std::vector<unsigned char> bytes(want);
    const size_t got = std::fread(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
    if (got != bytes.size()) Fail(path + ": read error");
    return bytes;
}

Picture ReadRaw(const std::string& path, Layout layout, int width, int height) {
    const uint64_t want = LayoutBytes(layout, width, height);
    if (want == 0)
        Fail(path + ": " + InfoOf(layout).name + " needs an even width, not " + std::to_string(width));
    Picture p = MakePicture(width, height, layout);
    p.bytes = ReadBytes(path, want,
                        "one " + std::to_string(width) + "x" + std::to_string(height) + " " + InfoOf(layout).name +
                            " frame");
    return p;
}

Picture ReadPicture(const std::string& path, const Args& args, const char* layoutOption) {
    if (IsPngPath(path) && !args.Has(layoutOption)) return ReadPng(path);
    if (!args.Has(layoutOption))
        Fail(path + ": not a .png file; give its raw layout with --" + layoutOption + " and its size with --size");
    const Layout layout = ParseLayout(args.Get(layoutOption));
    if (!args.Has("size")) Fail(path + ": a raw frame needs --size WIDTHxHEIGHT");
    const tagSIZE size = ParseSize(args.Get("size"), path + ": --size");
    return ReadRaw(path, layout, size.cx, size.cy);
}

void WritePng(const std::string& path, const Picture& bgra) {
    WritePngImage(path, bgra.bytes.data(), bgra.width, bgra.height, bgra.Pitch(), PNG_FORMAT_BGRA);
}

void WriteGrayPng(const std::string& path, const std::vector<unsigned char>& gray, int width, int height) {
    WritePngImage(path, gray.data(), width, height, width, PNG_FORMAT_GRAY);
}

void WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
    OutputFile out(path);
    std::FILE* f = std::fopen(out.temp().c_str(), "wb");
    if (!f) Fail(path + ": cannot write: " + Errno());
    const size_t put = std::fwrite(bytes.data(), 1, bytes.size(), f);
    if (std::fclose(f) != 0 || put != bytes.size()) Fail(path + ": cannot write: " + Errno());
    out.Commit();
}

void WriteRaw(const std::string& path, const Picture& picture) { WriteBytes(path, picture.bytes); }

void WritePicture(const std::string& path, const Picture& picture, ELyColorimetry colorimetry) {
    if (IsPngPath(path))
        WritePng(path, picture.layout == Layout::Bgra ? picture : ToBgra(picture, colorimetry));
    else
        WriteRaw(path, picture);
}

// ------------------------------------------------------------ progress

Progress::Progress(const std::string& label, int total) : label_(label), total_(total), show_(::isatty(2) != 0) {}

Progress::~Progress() {
    if (show_ && done_ > 0) std::fputs("\r\033[K", stderr);
}

void Progress::Step() {
    ++done_;
    if (show_) std::fprintf(stderr, "\r%s %d/%d", label_.c_str(), done_, total_), std::fflush(stderr);
}

double NowSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace lyav
