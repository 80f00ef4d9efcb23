// lyav demo: a broadcast title pipeline on built-in content. A lower-third
// title is drawn with FreeType into 8-bit masks, composed over colour bars,
// faded in, deflickered, taken through 4:2:2 and back, wiped to a second
// state, and everything is written as PNG with a contact sheet of the steps.
// The frames live in the shipped in-memory host's surfaces and the
// compositing goes through the surface operations, as a titling host's does.
#include "lyav.h"

#include <LyMemoryHost.h>

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#ifndef LYAV_FONT
#define LYAV_FONT "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf"
#endif

namespace lyav {

namespace {

// ------------------------------------------------------------ text

class Font {
public:
    explicit Font(const char* path) {
        if (FT_Init_FreeType(&library_) != 0) Fail("FreeType could not start");
        if (FT_New_Face(library_, path, 0, &face_) != 0) {
            FT_Done_FreeType(library_);
            Fail(std::string(path) + ": cannot load the title font (install fonts-dejavu-core)");
        }
    }
    ~Font() {
        FT_Done_Face(face_);
        FT_Done_FreeType(library_);
    }
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    // Draws `text` into an 8-bit coverage mask (max with what is there), the
    // baseline at `baseline`, starting at column x. Returns the advance width;
    // with mask null only measures.
    int Draw(const std::string& text, int pixelHeight, unsigned char* mask, int width, int height, int x,
             int baseline) {
        FT_Set_Pixel_Sizes(face_, 0, static_cast<FT_UInt>(pixelHeight));
        int pen = x;
        FT_UInt previous = 0;
        for (unsigned char c : text) {
            const FT_UInt glyph = FT_Get_Char_Index(face_, c);
            if (previous && glyph && FT_HAS_KERNING(face_)) {
                FT_Vector kern;
                FT_Get_Kerning(face_, previous, glyph, FT_KERNING_DEFAULT, &kern);
                pen += static_cast<int>(kern.x >> 6);
            }
            if (FT_Load_Glyph(face_, glyph, FT_LOAD_RENDER) != 0) continue;
            const FT_GlyphSlot slot = face_->glyph;
            if (mask) {
                const FT_Bitmap& bm = slot->bitmap;
                for (unsigned r = 0; r < bm.rows; ++r) {
                    const int y = baseline - slot->bitmap_top + static_cast<int>(r);
                    if (y < 0 || y >= height) continue;
                    for (unsigned col = 0; col < bm.width; ++col) {
                        const int xx = pen + slot->bitmap_left + static_cast<int>(col);
                        if (xx < 0 || xx >= width) continue;
                        unsigned char& m = mask[static_cast<size_t>(y) * width + xx];
                        m = std::max(m, bm.buffer[r * bm.pitch + col]);
                    }
                }
            }
            pen += static_cast<int>(slot->advance.x >> 6);
            previous = glyph;
        }
        return pen - x;
    }

private:
    FT_Library library_ = nullptr;
    FT_Face face_ = nullptr;
};

// A box blur of radius r, rows then columns: the shadow's soft edge.
void BoxBlur(std::vector<unsigned char>& m, int w, int h, int r) {
    std::vector<unsigned char> t(m.size());
    const int span = 2 * r + 1;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int sum = 0;
            for (int k = -r; k <= r; ++k) sum += m[static_cast<size_t>(y) * w + std::clamp(x + k, 0, w - 1)];
            t[static_cast<size_t>(y) * w + x] = static_cast<unsigned char>(sum / span);
        }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int sum = 0;
            for (int k = -r; k <= r; ++k) sum += t[static_cast<size_t>(std::clamp(y + k, 0, h - 1)) * w + x];
            m[static_cast<size_t>(y) * w + x] = static_cast<unsigned char>(sum / span);
        }
}

// ------------------------------------------------------------ the run

struct StepRow {
    std::string step, operation;
    int width, height, threads;
    double seconds;
};

struct Demo {
    std::string dir;
    std::vector<StepRow> rows;
    std::vector<std::pair<std::string, std::string>> files;  // path, what it shows
    Progress* progress = nullptr;

    template <class F>
    void Time(const std::string& step, const std::string& operation, int w, int h, int threads, F&& f) {
        const double t0 = NowSeconds();
        f();
        rows.push_back({step, operation, w, h, threads, NowSeconds() - t0});
    }
    std::string Path(const std::string& name) const { return dir + "/" + name; }
    void Png(const std::string& name, const Picture& bgra, const std::string& what) {
        WritePng(Path(name), bgra);
        files.push_back({Path(name), what});
        if (progress) progress->Step();
    }
    void GrayPng(const std::string& name, const std::vector<unsigned char>& m, int w, int h, const std::string& what) {
        WriteGrayPng(Path(name), m, w, h);
        files.push_back({Path(name), what});
        if (progress) progress->Step();
    }
    void Raw(const std::string& name, const Picture& p, const std::string& what) {
        WriteRaw(Path(name), p);
        files.push_back({Path(name), what});
        if (progress) progress->Step();
    }
};

using LyMemoryHost::CLyMemorySurface;

// One reference to an in-memory surface, released on scope exit.
class Surface {
public:
    Surface() = default;
    explicit Surface(CLyMemorySurface* s) : s_(s) {}
    Surface(Surface&& o) noexcept : s_(o.s_) { o.s_ = nullptr; }
    Surface& operator=(Surface&& o) noexcept {
        std::swap(s_, o.s_);
        return *this;
    }
    ~Surface() {
        if (s_) s_->Release();
    }
    CLyMemorySurface* get() const { return s_; }
    CLyMemorySurface* operator->() const { return s_; }

private:
    CLyMemorySurface* s_ = nullptr;
};

Surface NewSurface(int width, int height, ELyPixelFormat format, int left, int top) {
    const SLySurfaceCreateDesc d{width,        height, 8, format, Polarity_Frame, ScanMode_Progressive, left, top,
                                 Colorimetry_BT709, AspectRatio_16_9, 0};
    CLyMemorySurface* s = CLyMemorySurface::Create(d);
    if (!s) Fail("cannot create a " + std::to_string(width) + "x" + std::to_string(height) + " surface");
    return Surface(s);
}

// A copy made through the host's pool, as a host duplicates a layer.
Surface Clone(const Surface& source, ILyVideoSurfacePool* pool) {
    ILyVideoSurface* copy = nullptr;
    if (!LySurfaceUtils::CloneSurface(source.get(), pool, &copy) || !copy) Fail("the host could not clone a surface");
    return Surface(static_cast<CLyMemorySurface*>(copy));
}

// Format conversion between two locked surfaces of one size.
void Convert(const Surface& from, const Surface& to) {
    SLySurfaceDescription fd, td;
    SLyLockSurface fl, tl;
    from->GetDescription(&fd);
    to->GetDescription(&td);
    from->Lock(0, &fl);
    to->Lock(0, &tl);
    const int ok = LySurfaceUtils::ConvertSurfaceFormat(fd, fl, td, tl);
    to->Unlock(0);
    from->Unlock(0);
    if (!ok) Fail("the library refused a surface conversion");
}

// The surface's rows without their padding, for writing.
Picture ToPicture(const Surface& s, Layout layout) {
    Picture p = MakePicture(s->Width(), s->Height(), layout);
    for (int y = 0; y < p.height; ++y)
        std::memcpy(p.Row(y), s->Bits() + static_cast<size_t>(s->Pitch()) * y, p.Pitch());
    return p;
}

struct TitleText {
    std::string line1, line2;
};

// The lower third: a panel with feathered ends, an accent rule, the text and
// its drop shadow, all straight alpha. Returns the layer and its two masks.
Surface MakeTitle(Demo& demo, Font& font, const TitleText& text, int frameW, int frameH,
                  std::vector<unsigned char>* textMaskOut, std::vector<unsigned char>* shadowMaskOut) {
    const int tw = (frameW * 84 / 100) & ~1, th = std::max(frameH * 18 / 100, 8);
    Surface title = NewSurface(tw, th, PixelFormat_BGRA4444, (frameW - tw) / 2, frameH * 71 / 100);
    const double s = frameH / 1080.0;

    std::vector<unsigned char> textMask(static_cast<size_t>(tw) * th, 0);
    const int size1 = std::max(static_cast<int>(72 * s), 6), size2 = std::max(static_cast<int>(36 * s), 5);
    const int x = tw * 6 / 100;
    demo.Time("title text", "FreeType glyphs into an 8-bit mask", tw, th, 1, [&] {
        font.Draw(text.line1, size1, textMask.data(), tw, th, x, th * 52 / 100);
        font.Draw(text.line2, size2, textMask.data(), tw, th, x, th * 84 / 100);
    });

    // Shadow: the text mask moved down and right and softened.
    std::vector<unsigned char> shadowMask(textMask.size(), 0);
    const int offset = std::max(static_cast<int>(5 * s), 1), radius = std::max(static_cast<int>(4 * s), 1);
    demo.Time("title shadow", "offset + box blur of the mask", tw, th, 1, [&] {
        for (int y = offset; y < th; ++y)
            std::memcpy(&shadowMask[static_cast<size_t>(y) * tw + offset], &textMask[static_cast<size_t>(y - offset) * tw],
                        tw - offset);
        BoxBlur(shadowMask, tw, th, radius);
        BoxBlur(shadowMask, tw, th, radius);
    });

    // The host draws the title into its surface's memory.
    unsigned char* bits = title->Bits();
    const int pitch = title->Pitch();
    const int threads = LyThreadPool::ThreadCount();
    demo.Time("title panel", "FillBlockColor + GradientHorFadeImage (soft ends)", tw, th, threads, [&] {
        LyPixelUtils::FillBlockColor(bits, pitch, tw, th, PixelFormat_BGRA4444, 8, Colorimetry_BT709, 0xD0142850u);
        const int rule = std::max(th / 16, 2);
        LyPixelUtils::FillBlockColor(bits + static_cast<size_t>(pitch) * (th - rule), pitch, tw, rule,
                                     PixelFormat_BGRA4444, 8, Colorimetry_BT709, 0xFFF0A418u);
        const int ramp = tw / 8;
        LyPixelUtils::GradientHorFadeImage(bits, pitch, ramp, th, 0.0f, 100.0f / ramp);
        LyPixelUtils::GradientHorFadeImage(bits + 4 * (tw - ramp), pitch, ramp, th, 100.0f, -100.0f / ramp);
    });

    // Solid black and white sources, shaped by the masks as they are mixed in.
    Picture black = MakePicture(tw, th, Layout::Bgra), white = MakePicture(tw, th, Layout::Bgra);
    demo.Time("title compose", "MixColorWithMaskAlpha: shadow at 75%, then text", tw, th, threads, [&] {
        LyPixelUtils::FillBlockColor(black.bytes.data(), black.Pitch(), tw, th, PixelFormat_BGRA4444, 8,
                                     Colorimetry_BT709, 0xFF000000u);
        LyPixelUtils::FadeImage(black.bytes.data(), black.Pitch(), tw, th, 75.0f);
        LyPixelUtils::FillBlockColor(white.bytes.data(), white.Pitch(), tw, th, PixelFormat_BGRA4444, 8,
                                     Colorimetry_BT709, 0xFFFFFFFFu);
        LyPixelUtils::MixColorWithMaskAlpha(black.bytes.data(), black.Pitch(), shadowMask.data(), tw, bits, pitch,
                                            tw, th);
        LyPixelUtils::MixColorWithMaskAlpha(white.bytes.data(), white.Pitch(), textMask.data(), tw, bits, pitch, tw,
                                            th);
    });
    if (textMaskOut) *textMaskOut = std::move(textMask);
    if (shadowMaskOut) *shadowMaskOut = std::move(shadowMask);
    return title;
}

// A picture with alpha, shown on a checkerboard so its transparency is visible.
Picture OnCheckerboard(const Picture& bgra) {
    Picture board = MakePicture(bgra.width, bgra.height, Layout::Bgra);
    const int cell = std::max(bgra.height / 12, 4);
    LyPixelUtils::FillGridColor(board.bytes.data(), board.Pitch(), board.width, board.height, 0xFF9A9A9Au,
                                0xFF6A6A6Au, tagSIZE{cell, cell});
    LyPixelUtils::MixWithOpacityBuffer(bgra.bytes.data(), bgra.Pitch(), board.bytes.data(), board.Pitch(),
                                       board.width, board.height);
    return board;
}

Picture GrayToBgra(const std::vector<unsigned char>& m, int w, int h) {
    Picture p = MakePicture(w, h, Layout::Bgra);
    LyPixelUtils::Convert8bitTo32bitImage(m.data(), w, p.bytes.data(), p.Pitch(), w, h);
    return p;
}

}  // namespace

int RunDemo(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav demo OUTDIR [--size WxH] [--frames N]\n"
        "Renders a broadcast title pipeline on built-in content and writes PNGs into\n"
        "OUTDIR (created if missing): 75% colour bars; a lower-third title drawn with\n"
        "FreeType (" LYAV_FONT ") into 8-bit masks with a drop shadow and a panel with\n"
        "soft ends; the title faded in over --frames frames (default 6) and mixed over\n"
        "the bars with the straight-alpha rules, deflickered; the result through 4:2:2\n"
        "and back (also written as a raw uyvy422 frame); a wipe to a second state; and a\n"
        "contact sheet of the steps. The frames are surfaces of the in-memory host\n"
        "(LyMemoryHost) and the compositing runs through CloneSurface, FadeSurface,\n"
        "MixSurface, DeflickerSurface and ConvertSurfaceFormat, as a titling host's does.\n"
        "Prints each step's time and the files written.\n"
        "--size defaults to 1920x1080 (at least 320x180).\n";
    Args args("demo", argv, {{"size", true}, {"frames", true}});
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(1, "OUTDIR");
    const tagSIZE size = ParseSize(args.Get("size", "1920x1080"), "--size");
    if (size.cx < 320 || size.cy < 180) Fail("lyav demo --size: at least 320x180");
    const int W = size.cx & ~1, H = size.cy;
    const int frames = args.GetInt("frames", 6, 2, 1000);

    Demo demo;
    demo.dir = args.positional()[0];
    while (demo.dir.size() > 1 && demo.dir.back() == '/') demo.dir.pop_back();
    std::error_code ec;
    std::filesystem::create_directories(demo.dir, ec);
    if (!std::filesystem::is_directory(demo.dir)) Fail(demo.dir + ": cannot create the output directory");
    Progress progress("demo", 11 + frames);  // one step per file written
    demo.progress = &progress;
    Font font(LYAV_FONT);
    const int threads = LyThreadPool::ThreadCount();
    const ELyColorimetry cm = Colorimetry_BT709;

    ILyVideoSurfacePool* pool = LyMemoryHost::CreatePool();
    if (!pool) Fail("cannot create the surface pool");
    struct PoolRelease {
        ILyVideoSurfacePool* pool;
        ~PoolRelease() { pool->Release(); }
    } poolRelease{pool};

    // 1. Background.
    Surface bars = NewSurface(W, H, PixelFormat_BGRA4444, 0, 0);
    demo.Time("background", "FillColorBar 75%", W, H, 1, [&] {
        LyPixelUtils::FillColorBar(bars->Bits(), bars->Pitch(), W, H, PixelFormat_BGRA4444, 8, cm, 0);
    });
    const Picture barsPicture = ToPicture(bars, Layout::Bgra);
    demo.Png("01-bars.png", barsPicture, "75% colour bars, the background");

    // 2. The title and its masks.
    std::vector<unsigned char> textMask, shadowMask;
    const Surface title = MakeTitle(demo, font, {"LyAVUtils Evening News", "Straight alpha  |  4:2:2  |  deflicker  |  wipe"},
                                    W, H, &textMask, &shadowMask);
    const int tw = title->Width(), th = title->Height();
    const Picture titlePicture = ToPicture(title, Layout::Bgra);
    demo.GrayPng("02-text-mask.png", textMask, tw, th, "8-bit text mask from FreeType (lower third size)");
    demo.GrayPng("03-shadow-mask.png", shadowMask, tw, th, "8-bit drop-shadow mask: offset and softened");
    demo.Png("04-title.png", titlePicture, "the title layer, straight alpha (transparent outside the panel)");

    // 3. Fade in over the bars, mix, deflicker: each frame a copy of the title
    // layer faded, mixed into a copy of the background where the two overlap
    // in the frame, and deflickered into a third surface.
    std::vector<Picture> faded;
    Surface onAir;
    double cloneSeconds = 0, fadeSeconds = 0, mixSeconds = 0, deflickerSeconds = 0;
    for (int i = 0; i < frames; ++i) {
        const float percent = 100.0f * static_cast<float>(i) / static_cast<float>(frames - 1);
        double t0 = NowSeconds();
        const Surface layer = Clone(title, pool), frame = Clone(bars, pool);
        Surface out = Clone(bars, pool);  // the deflicker writes the interior only
        cloneSeconds += NowSeconds() - t0;
        t0 = NowSeconds();
        LySurfaceUtils::FadeSurface(layer.get(), percent, nullptr);
        fadeSeconds += NowSeconds() - t0;
        t0 = NowSeconds();
        LySurfaceUtils::MixSurface(layer.get(), frame.get());
        mixSeconds += NowSeconds() - t0;
        t0 = NowSeconds();
        LySurfaceUtils::DeflickerSurface(frame.get(), out.get(), DeflickerQuality_Medium);
        deflickerSeconds += NowSeconds() - t0;
        char name[32];
        std::snprintf(name, sizeof name, "05-fade-%02d.png", i);
        char what[64];
        std::snprintf(what, sizeof what, "fade-in frame %d of %d: title at %.0f%%", i + 1, frames, percent);
        faded.push_back(ToPicture(out, Layout::Bgra));
        demo.Png(name, faded.back(), what);
        if (i == frames - 1) onAir = std::move(out);
    }
    demo.rows.push_back({"copies", "CloneSurface x 3 (per frame)", W, H, 1, cloneSeconds / frames});
    demo.rows.push_back({"fade in", "FadeSurface (per frame)", tw, th, threads, fadeSeconds / frames});
    demo.rows.push_back({"mix", "MixSurface title over bars (per frame)", tw, th, threads, mixSeconds / frames});
    demo.rows.push_back({"deflicker", "DeflickerSurface medium (per frame)", W, H, threads, deflickerSeconds / frames});
    const Picture onAirPicture = ToPicture(onAir, Layout::Bgra);
    demo.Png("06-on-air.png", onAirPicture, "the last frame: title fully in, mixed and deflickered");

    // 4. Through 4:2:2 and back, as a video output would carry it.
    const Surface uyvy = NewSurface(W, H, PixelFormat_UYVY422, 0, 0), back = NewSurface(W, H, PixelFormat_BGRA4444, 0, 0);
    demo.Time("to 4:2:2", "ConvertSurfaceFormat BGRA to UYVY BT.709", W, H, threads, [&] { Convert(onAir, uyvy); });
    demo.Time("from 4:2:2", "ConvertSurfaceFormat UYVY to BGRA BT.709", W, H, threads, [&] { Convert(uyvy, back); });
    demo.Raw("07-on-air.uyvy", ToPicture(uyvy, Layout::Uyvy422),
             "raw uyvy422 BT.709: ffmpeg -f rawvideo -pix_fmt uyvy422 -s " + std::to_string(W) + "x" +
                 std::to_string(H) + " -i 07-on-air.uyvy -vf scale=in_color_matrix=bt709 x.png");
    const Picture backPicture = ToPicture(back, Layout::Bgra);
    demo.Png("08-after-422.png", backPicture, "the on-air frame after 4:2:2 and back (chroma shared by pixel pairs)");

    // 5. A second state and a wipe to it.
    const Surface grid = NewSurface(W, H, PixelFormat_BGRA4444, 0, 0);
    const int cell = std::max(H / 12, 4);
    demo.Time("second state", "FillGridColor", W, H, 1, [&] {
        LyPixelUtils::FillGridColor(grid->Bits(), grid->Pitch(), W, H, 0xFF203048u, 0xFF283C5Au, tagSIZE{cell, cell});
    });
    Surface stateB = Clone(grid, pool);
    {
        const Surface next = MakeTitle(demo, font, {"Up next: the weather", "LyAVUtils demo  |  wipe pattern transition"},
                                       W, H, nullptr, nullptr);
        LySurfaceUtils::MixSurface(next.get(), grid.get());
        LySurfaceUtils::DeflickerSurface(grid.get(), stateB.get(), DeflickerQuality_Medium);
    }
    const Picture stateBPicture = ToPicture(stateB, Layout::Bgra);
    demo.Png("09-state-b.png", stateBPicture, "the second state: another title over a checkerboard");

    Picture pattern = MakePicture(W, H, Layout::Bgra);
    std::vector<unsigned char> patternLevels(static_cast<size_t>(W) * H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)  // a diagonal sweep from the top-left corner
            patternLevels[static_cast<size_t>(y) * W + x] =
                static_cast<unsigned char>(std::lround(255.0 * (0.75 * x / (W - 1) + 0.25 * y / (H - 1))));
    LyPixelUtils::Convert8bitTo32bitImage(patternLevels.data(), W, pattern.bytes.data(), pattern.Pitch(), W, H);
    demo.GrayPng("10-wipe-pattern.png", patternLevels, W, H, "the wipe pattern: B shows where its level is above progress");
    const Surface wipeSurface = NewSurface(W, H, PixelFormat_BGRA4444, 0, 0);
    demo.Time("wipe", "WipePatternImage at progress 128", W, H, threads, [&] {
        LyPixelUtils::WipePatternImage(onAir->Bits(), onAir->Pitch(), stateB->Bits(), stateB->Pitch(),
                                       pattern.bytes.data(), pattern.Pitch(), wipeSurface->Bits(), wipeSurface->Pitch(),
                                       W, H, 128);
    });
    const Picture wipe = ToPicture(wipeSurface, Layout::Bgra);
    demo.Png("11-wipe.png", wipe, "half way through the wipe from the on-air frame to the second state");

    // 6. Contact sheet: every step scaled down, labelled.
    struct Thumb {
        Picture pic;
        std::string label;
    };
    std::vector<Thumb> thumbs = {
        {barsPicture, "01 bars"},
        {GrayToBgra(textMask, tw, th), "02 text mask"},
        {GrayToBgra(shadowMask, tw, th), "03 shadow mask"},
        {OnCheckerboard(titlePicture), "04 title layer"},
        {faded[0], "05 fade 0%"},
        {faded[frames / 2], "05 fade frame " + std::to_string(frames / 2 + 1)},
        {onAirPicture, "06 on air"},
        {backPicture, "08 after 4:2:2"},
        {stateBPicture, "09 second state"},
        {pattern, "10 wipe pattern"},
        {wipe, "11 wipe"},
        {faded[1], "05 fade frame 2"},
    };
    const int cols = 4, rowsN = 3, margin = std::max(W / 96, 4);
    const int thumbW = ((W - margin * (cols + 1)) / cols) & ~1, thumbH = thumbW * H / W;
    const int labelH = std::max(H / 30, 12);
    const int sheetH = rowsN * (thumbH + labelH + margin) + margin;
    Picture sheet = MakePicture(W, sheetH, Layout::Bgra);
    std::vector<unsigned char> labels(static_cast<size_t>(W) * sheetH, 0);
    demo.Time("contact sheet", "ScaleImage4x8bits x 12 + labels", W, sheetH, 1, [&] {
        LyPixelUtils::FillBlockColor(sheet.bytes.data(), sheet.Pitch(), W, sheetH, PixelFormat_BGRA4444, 8, cm,
                                     0xFF181818u);
        for (size_t i = 0; i < thumbs.size(); ++i) {
            const int c = static_cast<int>(i) % cols, r = static_cast<int>(i) / cols;
            const int x = margin + c * (thumbW + margin), y = margin + r * (thumbH + labelH + margin);
            Picture& t = thumbs[i].pic;
            LyVideoUtils::ScaleImage4x8bits(sheet.Row(y) + 4 * x, thumbW, thumbH, sheet.Pitch(), t.bytes.data(),
                                            t.width, t.height, t.Pitch());
            font.Draw(thumbs[i].label, labelH * 7 / 10, labels.data(), W, sheetH, x, y + thumbH + labelH * 8 / 10);
        }
        // Opaque thumbnails (the title layer is already shown on a checkerboard).
        LyPixelUtils::MixWithOpacityBlack(sheet.bytes.data(), W, sheetH, sheet.Pitch());
        Picture white = MakePicture(W, sheetH, Layout::Bgra);
        LyPixelUtils::FillBlockColor(white.bytes.data(), white.Pitch(), W, sheetH, PixelFormat_BGRA4444, 8, cm,
                                     0xFFE0E0E0u);
        LyPixelUtils::MixColorWithMaskAlpha(white.bytes.data(), white.Pitch(), labels.data(), W, sheet.bytes.data(),
                                            sheet.Pitch(), W, sheetH);
    });
    demo.Png("12-contact-sheet.png", sheet, "contact sheet of the steps above");

    std::printf("lyav demo: %dx%d, thread pool of %d, %d fade frames\n\n", W, H, threads, frames);
    std::printf("%-14s %-50s %11s %7s %9s %9s\n", "step", "operation", "size", "threads", "ms", "MP/s");
    for (const StepRow& r : demo.rows) {
        const std::string sz = std::to_string(r.width) + "x" + std::to_string(r.height);
        std::printf("%-14s %-50s %11s %7d %9.3f %9.1f\n", r.step.c_str(), r.operation.c_str(), sz.c_str(), r.threads,
                    r.seconds * 1e3, r.seconds > 0 ? r.width * double(r.height) / r.seconds / 1e6 : 0.0);
    }
    std::printf("\nfiles:\n");
    for (const auto& f : demo.files) std::printf("wrote %s  %s\n", f.first.c_str(), f.second.c_str());
    return 0;
}

}  // namespace lyav

namespace lyav {

int RunCrawl(const std::vector<std::string>& argv) {
    static const char kUsage[] =
        "usage: lyav crawl OUTDIR [--frames N] [--speed PIXELS] [--direction left|up] [--size WxH]\n"
        "Moves the demo's lower-third title over 75% colour bars by a fraction of a pixel\n"
        "per frame and writes OUTDIR/crawl-0000.png ... (OUTDIR created if missing).\n"
        "  --frames N        frames to write (default 8)\n"
        "  --speed PIXELS    distance per frame, a decimal kept in 1/128ths (default 2.5)\n"
        "  --direction DIR   left (a crawl, LyPixelUtils::DoSubPixel_X_OneLine, with\n"
        "                    DoSubPixel_X_LastPixel where the window ends at the strip's\n"
        "                    last column) or up (a roll, DoSubPixel_Y_TwoLine_Image and\n"
        "                    DoSubPixel_Y_OneLine_Image); default left\n"
        "  --size WxH        frame size, default 1280x720 (at least 320x180)\n"
        "The title starts where the demo places it and moves out of the frame, then\n"
        "starts again. Each moved layer is mixed over the bars with MixColor.\n";
    Args args("crawl", argv, {{"frames", true}, {"speed", true}, {"direction", true}, {"size", true}});
    if (PrintedHelp(args, kUsage)) return 0;
    args.ExpectPositional(1, "OUTDIR");
    const tagSIZE size = ParseSize(args.Get("size", "1280x720"), "--size");
    if (size.cx < 320 || size.cy < 180) Fail("lyav crawl --size: at least 320x180");
    const int W = size.cx & ~1, H = size.cy;
    const int frames = args.GetInt("frames", 8, 1, 100000);
    const double speed = args.GetDouble("speed", 2.5);
    if (!(speed > 0.0 && speed <= 1024.0)) Fail("lyav crawl --speed: a distance above 0 and at most 1024 pixels");
    const long long speed128 = std::max(std::llround(speed * 128.0), 1LL);
    const std::string direction = args.Get("direction", "left");
    if (direction != "left" && direction != "up") Fail("lyav crawl --direction: '" + direction + "' is not left or up");
    const bool up = direction == "up";
    std::string dir = args.positional()[0];
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (!std::filesystem::is_directory(dir)) Fail(dir + ": cannot create the output directory");

    Font font(LYAV_FONT);
    Demo scratch;  // MakeTitle's step timings are not reported here
    const Surface title = MakeTitle(scratch, font, {"LyAVUtils crawl", "Moving by 1/128 of a pixel"}, W, H, nullptr,
                                    nullptr);
    SLySurfaceDescription td;
    title->GetDescription(&td);
    const Picture layer = ToPicture(title, Layout::Bgra);
    Picture bars = MakePicture(W, H, Layout::Bgra);
    LyPixelUtils::FillColorBar(bars.bytes.data(), bars.Pitch(), W, H, PixelFormat_BGRA4444, 8, Colorimetry_BT709, 0);

    // A transparent strip holding the title at its resting place and a whole
    // frame of nothing after it; a frame is a window into the strip, so the
    // moving edges are the library's edge pixels, not a hand-made fade.
    const int tw = layer.width, th = layer.height;
    const int lead = up ? td.top : td.left;
    const int winW = up ? tw : W, winH = up ? H : th;
    Picture strip = MakePicture(up ? tw : lead + tw + W, up ? lead + th + H : th, Layout::Bgra);
    for (int y = 0; y < th; ++y)
        std::memcpy(strip.Row(y + (up ? lead : 0)) + 4 * (up ? 0 : lead), layer.Row(y), 4 * static_cast<size_t>(tw));
    const long long travel = up ? strip.height - H : strip.width - W;  // last window start
    Picture moved = MakePicture(winW, winH, Layout::Bgra);
    const int dstX = up ? td.left : 0, dstY = up ? 0 : td.top;

    Progress progress("crawl", frames);
    std::vector<std::string> written;
    for (int i = 0; i < frames; ++i) {
        const long long off = (i * speed128) % ((travel + 1) * 128);
        const int n = static_cast<int>(off >> 7), w = static_cast<int>(off & 127);
        if (up) {
            const unsigned char* src = strip.Row(n);
            const bool last = n + H == strip.height;  // the window's last row has no row below it
            LyPixelUtils::DoSubPixel_Y_TwoLine_Image(src, strip.Pitch(), moved.bytes.data(), moved.Pitch(), winW,
                                                     last ? H - 1 : H, w);
            if (last) LyPixelUtils::DoSubPixel_Y_OneLine_Image(strip.Row(n + H - 1), moved.Row(H - 1), winW, w);
        } else {
            const bool last = n + W == strip.width;  // the window ends at the strip's last column
            for (int y = 0; y < th; ++y) {
                if (last)
                    LyPixelUtils::DoSubPixel_X_LastPixel(strip.Row(y) + 4 * n, moved.Row(y), W, w);
                else
                    LyPixelUtils::DoSubPixel_X_OneLine(strip.Row(y) + 4 * n, moved.Row(y), W, w);
            }
        }
        Picture frame = bars;
        LyPixelUtils::MixColor(moved.bytes.data(), moved.Pitch(), frame.Row(dstY) + 4 * dstX, frame.Pitch(), winW,
                               winH);
        char name[32];
        std::snprintf(name, sizeof name, "/crawl-%04d.png", i);
        WritePng(dir + name, frame);
        written.push_back(dir + name);
        progress.Step();
    }
    std::printf("lyav crawl: %dx%d, %d frames moving %s by %lld/128 pixel per frame\n", W, H, frames,
                direction.c_str(), speed128);
    for (const auto& f : written) std::printf("wrote %s\n", f.c_str());
    return 0;
}

}  // namespace lyav
