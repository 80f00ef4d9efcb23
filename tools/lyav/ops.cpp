// The pixel and compositing operations on pictures: mix, opacity, blend,
// wipe, fade, mask, deflicker, scale and gray.
#include "lyav.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace lyav {

namespace {

#define LYAV_OP_FILES                                                                                   \
    "Inputs are PNG files (or raw frames with --format LAYOUT --size WxH, see lyav convert --help);\n" \
    "the output is a PNG when it ends in .png, else a raw bgra frame.\n"

std::vector<OptionDef> WithCommon(std::vector<OptionDef> options) {
    for (const OptionDef& o : std::vector<OptionDef>{{"output", true}, {"format", true}, {"size", true},
                                                        {"colorimetry", true}})
        options.push_back(o);
    return options;
}

Picture LoadBgra(const std::string& path, const Args& args) {
    return ToBgra(ReadPicture(path, args), ParseColorimetry(args.Get("colorimetry", "bt601")));
}

std::string OutputOf(const Args& args) {
    const std::string out = args.Get("output");
    if (out.empty()) Fail("lyav " + args.command() + ": no output file given (-o FILE)");
    return out;
}

void Save(const std::string& path, const Picture& bgra) {
    if (IsPngPath(path))
        WritePng(path, bgra);
    else
        WriteRaw(path, bgra);
}

void SameSize(const Picture& a, const std::string& aPath, const Picture& b, const std::string& bPath) {
    if (a.width != b.width || a.height != b.height)
        Fail(bPath + ": " + std::to_string(b.width) + "x" + std::to_string(b.height) + " does not match " + aPath +
             " (" + std::to_string(a.width) + "x" + std::to_string(a.height) + ")");
}

// One byte per pixel: the luma of a picture, as masks are usually drawn in grey.
std::vector<unsigned char> LumaOf(const Picture& bgra) {
    std::vector<unsigned char> mask(static_cast<size_t>(bgra.width) * bgra.height);
    LyPixelUtils::Convert32bitTo8bitImage(bgra.bytes.data(), bgra.Pitch(), mask.data(), bgra.width, bgra.width,
                                          bgra.height);
    return mask;
}

}  // namespace

int RunMix(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav mix SOURCE DESTINATION -o OUT [--left X] [--top Y] [--mask MASK]\n"
        "SOURCE over DESTINATION with the straight-alpha over rule (LyPixelUtils::MixColor).\n"
        "SOURCE is placed with its top-left pixel at (--left, --top) of DESTINATION\n"
        "(default 0, 0; negative values allowed) and only the overlap is mixed, as\n"
        "surfaces meet in frame coordinates. With --mask (a PNG of SOURCE's size whose\n"
        "grey level is the mask) the source alpha is first scaled by the mask\n"
        "(MixColorWithMaskAlpha).\n" LYAV_OP_FILES;
    Args args("mix", argv, WithCommon({{"left", true}, {"top", true}, {"mask", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(2, "SOURCE and DESTINATION");
    const std::string out = OutputOf(args);
    const Picture src = LoadBgra(args.positional()[0], args);
    Picture dst = LoadBgra(args.positional()[1], args);
    const int left = args.GetInt("left", 0, -32768, 32768), top = args.GetInt("top", 0, -32768, 32768);
    std::vector<unsigned char> mask;
    if (args.Has("mask")) {
        const Picture m = LoadBgra(args.Get("mask"), args);
        SameSize(src, args.positional()[0], m, args.Get("mask"));
        mask = LumaOf(m);
    }
    const int x0 = std::max(left, 0), y0 = std::max(top, 0);
    const int x1 = std::min(left + src.width, dst.width), y1 = std::min(top + src.height, dst.height);
    if (x1 > x0 && y1 > y0) {
        const unsigned char* s = src.Row(y0 - top) + 4 * (x0 - left);
        unsigned char* d = dst.Row(y0) + 4 * x0;
        if (mask.empty()) {
            LyPixelUtils::MixColor(s, src.Pitch(), d, dst.Pitch(), x1 - x0, y1 - y0);
        } else {
            const unsigned char* m = mask.data() + static_cast<size_t>(y0 - top) * src.width + (x0 - left);
            LyPixelUtils::MixColorWithMaskAlpha(s, src.Pitch(), m, src.width, d, dst.Pitch(), x1 - x0, y1 - y0);
        }
    }
    Save(out, dst);
    return 0;
}

int RunOpacity(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav opacity SOURCE [BACKGROUND] -o OUT [--color C]\n"
        "Flattens a straight-alpha picture onto an opaque background:\n"
        "  with BACKGROUND (same size)  LyPixelUtils::MixWithOpacityBuffer\n"
        "  with --color C               MixWithOpacityColor (C as for lyav fill)\n"
        "  otherwise                    MixWithOpacityBlack\n" LYAV_OP_FILES;
    Args args("opacity", argv, WithCommon({{"color", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    const auto& files = args.positional();
    if (files.size() != 1 && files.size() != 2) Fail("lyav opacity: expected SOURCE [BACKGROUND]");
    const std::string out = OutputOf(args);
    Picture src = LoadBgra(files[0], args);
    if (files.size() == 2) {
        Picture bg = LoadBgra(files[1], args);
        SameSize(src, files[0], bg, files[1]);
        LyPixelUtils::MixWithOpacityBuffer(src.bytes.data(), src.Pitch(), bg.bytes.data(), bg.Pitch(), bg.width,
                                           bg.height);
        Save(out, bg);
        return 0;
    }
    if (args.Has("color")) {
        const uint32_t color = ParseColorWord(args.Get("color"));
        if (color == 0) Fail("lyav opacity --color: transparent black means no colour here; use no --color for black");
        LyPixelUtils::MixWithOpacityColor(src.bytes.data(), src.width, src.height, src.Pitch(), color);
    } else {
        LyPixelUtils::MixWithOpacityBlack(src.bytes.data(), src.width, src.height, src.Pitch());
    }
    Save(out, src);
    return 0;
}

int RunBlend(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav blend FIRST SECOND -o OUT [--opacity O] [--mode MODE]\n"
        "out = FIRST x opacity + SECOND x (1 - opacity) in 7-bit weights\n"
        "(LyPixelUtils::BlendingImages, BGRA, alpha blended like the colours).\n"
        "  --opacity O   weight of FIRST, 0..1 (default 0.5; not clamped, as in the library)\n"
        "  --mode MODE   mix (default); average-with-row-above, average-with-row-below:\n"
        "                FIRST's rows are first averaged with a neighbour (edge row with 0);\n"
        "                average-with-row-below-no-edge: the last row is averaged with a\n"
        "                copy of itself (the library reads one row below the picture).\n"
        "With an odd width the last column is SECOND's.\n" LYAV_OP_FILES;
    Args args("blend", argv, WithCommon({{"opacity", true}, {"mode", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(2, "FIRST and SECOND");
    const std::string out = OutputOf(args);
    static const struct {
        const char* name;
        ELyBlendingMode mode;
    } kModes[] = {{"mix", BlendingMode_Mix},
                  {"average-with-row-above", BlendingMode_AverageWithRowAbove},
                  {"average-with-row-below", BlendingMode_AverageWithRowBelow},
                  {"average-with-row-below-no-edge", BlendingMode_AverageWithRowBelowNoEdge}};
    const std::string modeName = args.Get("mode", "mix");
    int mode = -1;
    for (const auto& m : kModes)
        if (modeName == m.name) mode = m.mode;
    if (mode < 0) Fail("lyav blend --mode: unknown mode '" + modeName + "'");
    const double opacity = args.GetDouble("opacity", 0.5);
    Picture first = LoadBgra(args.positional()[0], args);
    const Picture second = LoadBgra(args.positional()[1], args);
    SameSize(first, args.positional()[0], second, args.positional()[1]);
    // The row below the picture that the no-edge mode reads.
    first.bytes.insert(first.bytes.end(), first.Row(first.height - 1), first.Row(first.height - 1) + first.Pitch());
    Picture result = second;
    LyPixelUtils::BlendingImages(first.bytes.data(), first.Pitch(), second.bytes.data(), second.Pitch(),
                                 result.bytes.data(), result.Pitch(), PixelFormat_BGRA4444, 8, opacity, first.width,
                                 first.height, static_cast<ELyBlendingMode>(mode));
    Save(out, result);
    return 0;
}

int RunWipe(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav wipe A B -o OUT [--progress P | --frames N] [--pattern PATTERN]\n"
        "One frame of a wipe from A to B (LyPixelUtils::WipePatternImage).\n"
        "  --progress P   0..255 (default 128): 255 shows A, 0 shows B\n"
        "  --pattern PAT  a picture whose blue byte (grey level) decides each pixel: B\n"
        "                 where it is above P; without one, A fills the left\n"
        "                 trunc(P / 255 * width) columns\n"
        "  --frames N     write N frames with P going from 255 down to 0; OUT name.png\n"
        "                 becomes name-0000.png ... (progress shown on a terminal)\n" LYAV_OP_FILES;
    Args args("wipe", argv, WithCommon({{"progress", true}, {"pattern", true}, {"frames", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(2, "A and B");
    const std::string out = OutputOf(args);
    const Picture a = LoadBgra(args.positional()[0], args);
    const Picture b = LoadBgra(args.positional()[1], args);
    SameSize(a, args.positional()[0], b, args.positional()[1]);
    Picture pattern;
    if (args.Has("pattern")) {
        pattern = LoadBgra(args.Get("pattern"), args);
        SameSize(a, args.positional()[0], pattern, args.Get("pattern"));
    }
    Picture result = a;
    auto frame = [&](int progress) {
        LyPixelUtils::WipePatternImage(a.bytes.data(), a.Pitch(), b.bytes.data(), b.Pitch(),
                                       pattern.bytes.empty() ? nullptr : pattern.bytes.data(), pattern.Pitch(),
                                       result.bytes.data(), result.Pitch(), a.width, a.height,
                                       static_cast<unsigned char>(progress));
    };
    if (!args.Has("frames")) {
        frame(args.GetInt("progress", 128, 0, 255));
        Save(out, result);
        return 0;
    }
    const int frames = args.GetInt("frames", 2, 2, 100000);
    const size_t dot = out.rfind('.');
    const size_t slash = out.rfind('/');
    const bool hasExt = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    const std::string stem = hasExt ? out.substr(0, dot) : out, ext = hasExt ? out.substr(dot) : "";
    Progress progress("wipe", frames);
    for (int i = 0; i < frames; ++i) {
        frame(static_cast<int>(std::lround(255.0 * (frames - 1 - i) / (frames - 1))));
        char index[16];
        std::snprintf(index, sizeof index, "-%04d", i);
        Save(stem + index + ext, result);
        progress.Step();
    }
    return 0;
}

int RunFade(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav fade IN -o OUT [--percent P | --gradient horizontal|vertical --start-percent S --step-percent D]\n"
        "Scales the alpha of every pixel (colours are kept).\n"
        "  --percent P        one factor, P/100 (LyPixelUtils::FadeImage; default 50)\n"
        "  --gradient DIR     a ramp starting at --start-percent and adding --step-percent\n"
        "                     per column (horizontal: GradientHorFadeImage, clamped) or per\n"
        "                     row (vertical: GradientVerFadeImage, which wraps past 100)\n" LYAV_OP_FILES;
    Args args("fade", argv,
              WithCommon({{"percent", true}, {"gradient", true}, {"start-percent", true}, {"step-percent", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(1, "IN");
    const std::string out = OutputOf(args);
    Picture p = LoadBgra(args.positional()[0], args);
    if (args.Has("gradient")) {
        const std::string dir = args.Get("gradient");
        const float start = static_cast<float>(args.GetDouble("start-percent", 0.0));
        const float step = static_cast<float>(args.GetDouble("step-percent", 100.0 / (dir == "vertical" ? p.height : p.width)));
        if (dir == "horizontal")
            LyPixelUtils::GradientHorFadeImage(p.bytes.data(), p.Pitch(), p.width, p.height, start, step);
        else if (dir == "vertical")
            LyPixelUtils::GradientVerFadeImage(p.bytes.data(), p.Pitch(), p.width, p.height, start, step);
        else
            Fail("lyav fade --gradient: '" + dir + "' is not horizontal or vertical");
    } else {
        LyPixelUtils::FadeImage(p.bytes.data(), p.Pitch(), p.width, p.height,
                                static_cast<float>(args.GetDouble("percent", 50.0)));
    }
    Save(out, p);
    return 0;
}

int RunMask(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav mask IMAGE MASK -o OUT [--operation multiply|subtract] [--invert] [--threshold T]\n"
        "Changes IMAGE's alpha by an 8-bit mask, the grey level of MASK (same size):\n"
        "  --operation multiply  alpha = (mask * alpha + 255) >> 8 (LyPixelUtils::MaskImage; default)\n"
        "  --operation subtract  alpha = max(alpha - mask, 0) (SubtractImageWithMaskAlpha)\n"
        "  --invert              mask = 255 - mask first (Invert8bitImage)\n"
        "  --threshold T         mask bytes above T become 255 first (Binary8bitImage)\n" LYAV_OP_FILES;
    Args args("mask", argv, WithCommon({{"operation", true}, {"invert", false}, {"threshold", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(2, "IMAGE and MASK");
    const std::string out = OutputOf(args);
    const std::string op = args.Get("operation", "multiply");
    if (op != "multiply" && op != "subtract") Fail("lyav mask --operation: '" + op + "' is not multiply or subtract");
    Picture image = LoadBgra(args.positional()[0], args);
    const Picture maskPicture = LoadBgra(args.positional()[1], args);
    SameSize(image, args.positional()[0], maskPicture, args.positional()[1]);
    std::vector<unsigned char> mask = LumaOf(maskPicture);
    const int w = image.width, h = image.height;
    if (args.Has("threshold"))
        LyPixelUtils::Binary8bitImage(mask.data(), w, w, h, args.GetInt("threshold", 128, -1, 255));
    if (args.Has("invert")) LyPixelUtils::Invert8bitImage(mask.data(), w, w, h);
    if (op == "multiply")
        LyPixelUtils::MaskImage(image.bytes.data(), image.Pitch(), mask.data(), w, w, h);
    else
        LyPixelUtils::SubtractImageWithMaskAlpha(image.bytes.data(), image.Pitch(), mask.data(), w, w, h);
    Save(out, image);
    return 0;
}

int RunDeflicker(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav deflicker IN -o OUT [--quality low|medium|high]\n"
        "Softens interlace flicker (LyPixelUtils::DefickerImage): low and medium filter\n"
        "each pixel with the rows above and below (16/96/16 and 32/64/32 of 128), high\n"
        "with a 3x3 binomial. The outermost rows and columns are copied unchanged.\n"
        "Pictures need at least 3x3 pixels.\n" LYAV_OP_FILES;
    Args args("deflicker", argv, WithCommon({{"quality", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(1, "IN");
    const std::string out = OutputOf(args);
    const std::string q = args.Get("quality", "medium");
    const ELyDeflickerQuality quality = q == "low"      ? DeflickerQuality_Low
                                        : q == "medium" ? DeflickerQuality_Medium
                                        : q == "high"   ? DeflickerQuality_High
                                                        : static_cast<ELyDeflickerQuality>(0);
    if (quality == 0) Fail("lyav deflicker --quality: '" + q + "' is not low, medium or high");
    const Picture in = LoadBgra(args.positional()[0], args);
    Picture result = in;
    if (!LyPixelUtils::DefickerImage(in.bytes.data(), in.Pitch(), result.bytes.data(), result.Pitch(), in.width,
                                     in.height, quality))
        Fail(args.positional()[0] + ": deflicker needs a picture of at least 3x3 pixels");
    Save(out, result);
    return 0;
}

int RunScale(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav scale IN -o OUT --to-size WxH\n"
        "Resamples a picture with two separable linear passes (LyVideoUtils::ScaleImage4x8bits),\n"
        "all four bytes alike.\n" LYAV_OP_FILES;
    Args args("scale", argv, WithCommon({{"to-size", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(1, "IN");
    const std::string out = OutputOf(args);
    if (!args.Has("to-size")) Fail("lyav scale: no --to-size WxH given");
    const tagSIZE size = ParseSize(args.Get("to-size"), "--to-size");
    const Picture in = LoadBgra(args.positional()[0], args);
    Picture result = MakePicture(size.cx, size.cy, Layout::Bgra);
    LyVideoUtils::ScaleImage4x8bits(result.bytes.data(), size.cx, size.cy, result.Pitch(),
                                    const_cast<unsigned char*>(in.bytes.data()), in.width, in.height, in.Pitch());
    Save(out, result);
    return 0;
}

int RunGray(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav gray IN -o OUT [--channel luma|b|g|r|a]\n"
        "Without --channel: B, G and R become the luma, alpha is kept\n"
        "(LyPixelUtils::Convert32bitToGrayImage). With --channel: an 8-bit grey PNG of\n"
        "the luma (Convert32bitTo8bitImage) or of one byte of each pixel\n"
        "(Get32bitImage8bitChannel).\n" LYAV_OP_FILES;
    Args args("gray", argv, WithCommon({{"channel", true}}));
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(1, "IN");
    const std::string out = OutputOf(args);
    Picture p = LoadBgra(args.positional()[0], args);
    if (!args.Has("channel")) {
        LyPixelUtils::Convert32bitToGrayImage(p.bytes.data(), p.Pitch(), p.width, p.height);
        Save(out, p);
        return 0;
    }
    const std::string c = args.Get("channel");
    const int channel = c == "b" ? 0 : c == "g" ? 1 : c == "r" ? 2 : c == "a" ? 3 : c == "luma" ? 4 : -1;
    if (channel < 0) Fail("lyav gray --channel: '" + c + "' is not luma, b, g, r or a");
    if (!IsPngPath(out)) Fail(out + ": a channel is written as a grey .png only");
    std::vector<unsigned char> gray(static_cast<size_t>(p.width) * p.height);
    if (channel == 4)
        gray = LumaOf(p);
    else
        LyPixelUtils::Get32bitImage8bitChannel(p.bytes.data(), p.Pitch(), gray.data(), p.width, p.width, p.height,
                                               channel);
    WriteGrayPng(out, gray, p.width, p.height);
    return 0;
}

}  // namespace lyav
