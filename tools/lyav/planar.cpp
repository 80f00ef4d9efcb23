// lyav planar: raw planar YUV frames to and from raw UYVY through the
// library's planar converters.
#include "lyav.h"

namespace lyav {

int RunPlanar(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav planar (--from PLANAR | --to PLANAR) --size WxH [--chroma nearest|filtered] IN OUT\n"
        "Converts one raw frame between a planar layout and uyvy422\n"
        "(LyFormatUtils::YUVPlanerToUYVY422 with --from, UYVY422ToYUVPlaner with --to).\n"
        "  --from PLANAR   IN is planar, OUT is uyvy422\n"
        "  --to PLANAR     IN is uyvy422, OUT is planar\n"
        "  --chroma MODE   nearest (default): repeat chroma going up, drop it going\n"
        "                  down; filtered: interpolate going up, average going down\n"
        "Planar layouts, each exactly ffmpeg's pix_fmt of that name: the whole Y plane\n"
        "(W x H bytes), then the whole U plane, then the whole V plane, rows packed:\n"
        "  yuv422p  U and V are W/2 x H      (width even)\n"
        "  yuv420p  U and V are W/2 x H/2    (width and height even)\n"
        "  yuv411p  U and V are W/4 x H      (width a multiple of 4)\n"
        "ffmpeg rounds an odd chroma width up, so other sizes are refused.\n"
        "uyvy422 is U Y0 V Y1 per pixel pair, rows of 2W bytes packed.\n";
    Args args("planar", argv, {{"from", true}, {"to", true}, {"size", true}, {"chroma", true}});
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(2, "IN and OUT");
    if (args.Has("from") == args.Has("to")) Fail("lyav planar: give exactly one of --from PLANAR and --to PLANAR");
    const bool toUyvy = args.Has("from");
    const std::string name = args.Get(toUyvy ? "from" : "to");
    const ELyPixelFormat format = name == "yuv422p"   ? PixelFormat_YUV422Planar
                                  : name == "yuv420p" ? PixelFormat_YUV420Planar
                                  : name == "yuv411p" ? PixelFormat_YUV411Planar
                                                      : PixelFormat_UYVY422;
    if (format == PixelFormat_UYVY422)
        Fail("lyav planar: unknown planar layout '" + name + "' (yuv420p, yuv422p or yuv411p)");
    const std::string chroma = args.Get("chroma", "nearest");
    if (chroma != "nearest" && chroma != "filtered")
        Fail("lyav planar --chroma: '" + chroma + "' is not nearest or filtered");
    const ELyChromaMode mode = chroma == "nearest" ? ChromaMode_Nearest : ChromaMode_Filtered;
    if (!args.Has("size")) Fail("lyav planar: a raw frame needs --size WIDTHxHEIGHT");
    const tagSIZE size = ParseSize(args.Get("size"), "lyav planar --size");
    const int w = size.cx, h = size.cy;
    const int widthStep = format == PixelFormat_YUV411Planar ? 4 : 2;
    if (w % widthStep != 0)
        Fail("lyav planar: " + name + " needs a width that is a multiple of " + std::to_string(widthStep) + ", not " +
             std::to_string(w));
    if (format == PixelFormat_YUV420Planar && h % 2 != 0)
        Fail("lyav planar: yuv420p needs an even height, not " + std::to_string(h));

    tagSIZE ys, us, vs;
    LyVideoUtils::GetYUVWidthHeight(format, w, h, ys, us, vs);
    const uint64_t planarBytes = static_cast<uint64_t>(ys.cx) * ys.cy + static_cast<uint64_t>(us.cx) * us.cy +
                                 static_cast<uint64_t>(vs.cx) * vs.cy;
    const uint64_t uyvyBytes = 2ull * w * h;
    const std::string frame = "one " + std::to_string(w) + "x" + std::to_string(h) + " ";
    const std::string& in = args.positional()[0];
    std::vector<unsigned char> planar, uyvy;
    if (toUyvy) {
        planar = ReadBytes(in, planarBytes, frame + name + " frame");
        uyvy.resize(uyvyBytes);
    } else {
        uyvy = ReadBytes(in, uyvyBytes, frame + "uyvy422 frame");
        planar.resize(planarBytes);
    }
    unsigned char *y = nullptr, *u = nullptr, *v = nullptr;
    LyVideoUtils::GetYUVPlanerBuffer(planar.data(), ys, us, vs, &y, &u, &v);
    const int ok = toUyvy ? LyFormatUtils::YUVPlanerToUYVY422(y, ys.cx, u, us.cx, v, vs.cx, uyvy.data(), 2 * w, w, h,
                                                             format, mode)
                          : LyFormatUtils::UYVY422ToYUVPlaner(uyvy.data(), 2 * w, y, ys.cx, u, us.cx, v, vs.cx, w, h,
                                                             format, mode);
    if (!ok) Fail("lyav planar: the library refused a " + std::to_string(w) + "x" + std::to_string(h) + " " + name +
                  " frame");
    WriteBytes(args.positional()[1], toUyvy ? uyvy : planar);
    return 0;
}

}  // namespace lyav
