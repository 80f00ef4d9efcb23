// Test patterns (bars, fills, checkerboards) and format conversion.
#include "lyav.h"

#include <cstdio>

namespace lyav {

namespace {

const std::vector<OptionDef> kPatternOptions = {
    {"output", true}, {"size", true}, {"format", true}, {"colorimetry", true}};

struct PatternTarget {
    std::string output;
    tagSIZE size;
    Layout layout;
    ELyColorimetry colorimetry;
};

PatternTarget TargetOf(const Args& args) {
    args.ExpectPositional(0, "no file arguments; name the output with -o FILE");
    PatternTarget t;
    t.output = args.Get("output");
    if (t.output.empty()) Fail("lyav " + args.command() + ": no output file given (-o FILE)");
    t.size = ParseSize(args.Get("size", "1920x1080"), t.output + ": --size");
    t.layout = ParseLayout(args.Get("format", "bgra"));
    t.colorimetry = ParseColorimetry(args.Get("colorimetry", "bt601"));
    if (LayoutBytes(t.layout, t.size.cx, t.size.cy) == 0)
        Fail(t.output + ": " + InfoOf(t.layout).name + " needs an even width, not " + std::to_string(t.size.cx));
    return t;
}

#define LYAV_PATTERN_OPTIONS                                                                              \
    "  -o, --output FILE     .png, or a raw frame in --format\n"                                          \
    "  --size WxH            frame size (default 1920x1080)\n"                                            \
    "  --format LAYOUT       bgra (default), vuya, uyvy422, uyvy422-16, y210le, yuyv422, yuyva422;\n"      \
    "                        with a .png output the pattern is made in this layout, then shown as RGBA\n" \
    "  --colorimetry C       bt601 (default) or bt709 for the YUV layouts\n"

const char kBarsUsage[] =
    "usage: lyav bars -o FILE [--level 75|100] [--size WxH] [--format LAYOUT] [--colorimetry C]\n"
    "Eight vertical bars: white, yellow, cyan, green, magenta, red, blue, black\n"
    "(LyPixelUtils::FillColorBar). --level 75 (default) keeps white at 255 and the\n"
    "coloured bars at 191; --level 100 puts them at 255. YUV layouts get the BGRA\n"
    "bars through the library's converters with the colorimetry.\n" LYAV_PATTERN_OPTIONS;

const char kFillUsage[] =
    "usage: lyav fill -o FILE --color COLOR [--alpha A] [--size WxH] [--format LAYOUT] [--colorimetry C]\n"
    "A solid fill. The names black, white, red, green and blue fill with the\n"
    "library's fixed colours (LyPixelUtils::FillFixedColor, studio-range constants\n"
    "in YUV) at --alpha (0..255, default 255); any other colour (a name such as\n"
    "yellow, or RRGGBB / AARRGGBB in hex) is one packed word through FillBlockColor,\n"
    "converted to Y'CbCr for the YUV layouts.\n" LYAV_PATTERN_OPTIONS;

const char kGridUsage[] =
    "usage: lyav grid -o FILE [--cell WxH] [--color1 C] [--color2 C] [--size WxH] [--format LAYOUT]\n"
    "A two-colour checkerboard (LyPixelUtils::FillGridColor): cells of --cell pixels\n"
    "(default 64x64), --color1 (default white) in the top-left cell, --color2\n"
    "(default black); colours as for lyav fill, with their alpha.\n" LYAV_PATTERN_OPTIONS;

// The YUV layouts take a BGRA picture through the converters; PNG output shows
// the picture after that round trip, so chroma subsampling is visible.
void WritePattern(const PatternTarget& t, const Picture& bgra) {
    WritePicture(t.output, FromBgra(bgra, t.layout, t.colorimetry), t.colorimetry);
}

}  // namespace

int RunBars(const std::vector<std::string>& argv) {
    std::vector<OptionDef> options = kPatternOptions;
    options.push_back({"level", true});
    Args args("bars", argv, options);
    if (PrintedHelp(args, kBarsUsage)) return 0;
    const PatternTarget t = TargetOf(args);
    const std::string level = args.Get("level", "75");
    if (level != "75" && level != "100") Fail("lyav bars --level: '" + level + "' is not 75 or 100");
    if (t.size.cx < 8) Fail(t.output + ": bars need a width of at least 8");
    Picture bgra = MakePicture(t.size.cx, t.size.cy, Layout::Bgra);
    LyPixelUtils::FillColorBar(bgra.bytes.data(), bgra.Pitch(), t.size.cx, t.size.cy, PixelFormat_BGRA4444, 8,
                               t.colorimetry, level == "100");
    WritePattern(t, bgra);
    return 0;
}

int RunFill(const std::vector<std::string>& argv) {
    std::vector<OptionDef> options = kPatternOptions;
    options.push_back({"color", true});
    options.push_back({"alpha", true});
    Args args("fill", argv, options);
    if (PrintedHelp(args, kFillUsage)) return 0;
    const PatternTarget t = TargetOf(args);
    if (!args.Has("color")) Fail("lyav fill: no --color given");
    const std::string name = args.Get("color");
    const unsigned char alpha = static_cast<unsigned char>(args.GetInt("alpha", 255, 0, 255));
    static const struct {
        const char* name;
        ELyFixedColor color;
    } kFixed[] = {{"black", FixedColor_Black},
                  {"white", FixedColor_White},
                  {"red", FixedColor_Red},
                  {"green", FixedColor_Green},
                  {"blue", FixedColor_Blue}};
    const LayoutInfo& info = InfoOf(t.layout);
    // Work in the library's own format; the two derived layouts are made from it.
    const Layout work = t.layout == Layout::Y210le    ? Layout::Uyvy422_16
                        : t.layout == Layout::Yuyv422 ? Layout::Yuyva422
                                                      : t.layout;
    Picture p = MakePicture(t.size.cx, t.size.cy, work);
    int ok = 0;
    bool fixed = false;
    for (const auto& f : kFixed) {
        if (name != f.name) continue;
        fixed = true;
        ok = LyPixelUtils::FillFixedColor(p.bytes.data(), p.Pitch(), p.width, p.height, info.format, info.depth,
                                          t.colorimetry, f.color, alpha);
    }
    if (!fixed) {
        uint32_t word = ParseColorWord(name);
        if (info.yuv) LyFormatUtils::RGBColorToYUVColor(word, t.colorimetry);
        ok = LyPixelUtils::FillBlockColor(p.bytes.data(), p.Pitch(), p.width, p.height, info.format, info.depth,
                                          t.colorimetry, word);
    }
    if (!ok) Fail(t.output + ": the library refused the fill");
    if (t.layout != work) p = FromVuya(ToVuya(p, t.colorimetry), t.layout, t.colorimetry);
    WritePicture(t.output, p, t.colorimetry);
    return 0;
}

int RunGrid(const std::vector<std::string>& argv) {
    std::vector<OptionDef> options = kPatternOptions;
    options.push_back({"cell", true});
    options.push_back({"color1", true});
    options.push_back({"color2", true});
    Args args("grid", argv, options);
    if (PrintedHelp(args, kGridUsage)) return 0;
    const PatternTarget t = TargetOf(args);
    const tagSIZE cell = ParseSize(args.Get("cell", "64x64"), "--cell");
    Picture bgra = MakePicture(t.size.cx, t.size.cy, Layout::Bgra);
    LyPixelUtils::FillGridColor(bgra.bytes.data(), bgra.Pitch(), bgra.width, bgra.height,
                                ParseColorWord(args.Get("color1", "white")), ParseColorWord(args.Get("color2", "black")),
                                cell);
    WritePattern(t, bgra);
    return 0;
}

int RunConvert(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav convert IN OUT [--from LAYOUT --size WxH] [--to LAYOUT] [--colorimetry C]\n"
        "Converts one picture with the library's packed converters. IN is a PNG, or a raw\n"
        "frame of layout --from and size --size; OUT is a PNG when it ends in .png and\n"
        "--to is not given, else a raw frame of layout --to. Between two YUV layouts the\n"
        "picture goes through VUYA (no RGB rounding); to or from RGB it uses the\n"
        "colorimetry, bt601 (default) or bt709.\n\n";
    Args args("convert", argv, {{"from", true}, {"to", true}, {"size", true}, {"colorimetry", true}, {"output", true}});
    if (args.help()) {
        std::fputs(kUsage, stdout);
        std::fputs(kLayoutHelp, stdout);
        return 0;
    }
    std::vector<std::string> files = args.positional();
    if (args.Has("output")) files.push_back(args.Get("output"));
    if (files.size() != 2) Fail("lyav convert: expected IN and OUT (see lyav convert --help)");
    const ELyColorimetry cm = ParseColorimetry(args.Get("colorimetry", "bt601"));
    const Picture in = ReadPicture(files[0], args, "from");
    const std::string& out = files[1];
    if (!args.Has("to")) {
        if (!IsPngPath(out)) Fail(out + ": not a .png file; give its raw layout with --to");
        WritePng(out, ToBgra(in, cm));
        return 0;
    }
    const Layout to = ParseLayout(args.Get("to"));
    if (LayoutBytes(to, in.width, in.height) == 0)
        Fail(out + ": " + InfoOf(to).name + " needs an even width, not " + std::to_string(in.width));
    Picture result;
    if (to == Layout::Bgra)
        result = ToBgra(in, cm);
    else if (in.layout == Layout::Bgra)
        result = FromBgra(in, to, cm);
    else
        result = FromVuya(ToVuya(in, cm), to, cm);
    if (IsPngPath(out)) Fail(out + ": a .png output takes no --to");
    WriteRaw(out, result);
    return 0;
}

}  // namespace lyav
