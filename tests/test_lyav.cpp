// The lyav tool end to end: the built executable is run as a person would run
// it, its PNGs are decoded with libpng, and ffmpeg (when installed) checks
// that the raw frames mean what the help says.
// LY_TEST_LABELS: tool

#include <LyAVUtils.h>
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Result {
    int status = -1;
    std::string out, err;
};

std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string ReadText(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

class LyavTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/lyav-test-XXXXXX";
        ASSERT_NE(::mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string P(const std::string& name) const { return (dir_ / name).string(); }

    Result Run(const std::string& program, const std::vector<std::string>& args) const {
        std::string cmd = Quote(program);
        for (const auto& a : args) cmd += " " + Quote(a);
        const fs::path out = dir_ / ".stdout", err = dir_ / ".stderr";
        cmd += " >" + Quote(out.string()) + " 2>" + Quote(err.string()) + " </dev/null";
        const int raw = std::system(cmd.c_str());
        Result r;
        r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        r.out = ReadText(out);
        r.err = ReadText(err);
        fs::remove(out);
        fs::remove(err);
        return r;
    }
    Result Lyav(const std::vector<std::string>& args) const { return Run(LYAV_EXE, args); }
    void Ok(const std::vector<std::string>& args) const {
        const Result r = Lyav(args);
        ASSERT_EQ(r.status, 0) << r.err;
    }

    // Names in the test directory (the working files of a test).
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir_)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path dir_;
};

struct Rgba {
    int width = 0, height = 0;
    std::vector<unsigned char> px;  // R G B A
    const unsigned char* At(int x, int y) const { return &px[(static_cast<size_t>(y) * width + x) * 4]; }
};

Rgba DecodePng(const std::string& path) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    Rgba r;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        ADD_FAILURE() << path << ": " << image.message;
        return r;
    }
    image.format = PNG_FORMAT_RGBA;
    r.width = static_cast<int>(image.width);
    r.height = static_cast<int>(image.height);
    r.px.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, r.px.data(), 0, nullptr)) ADD_FAILURE() << path << ": " << image.message;
    return r;
}

void EncodePng(const std::string& path, const Rgba& img) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(img.width);
    image.height = static_cast<png_uint_32>(img.height);
    image.format = PNG_FORMAT_RGBA;
    ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, img.px.data(), 0, nullptr)) << image.message;
}

// Largest per-channel difference over R, G, B (and A when asked).
int MaxDiff(const Rgba& a, const Rgba& b, bool alpha = false) {
    EXPECT_EQ(a.width, b.width);
    EXPECT_EQ(a.height, b.height);
    if (a.px.size() != b.px.size()) return 256;
    int worst = 0;
    for (size_t i = 0; i < a.px.size(); ++i)
        if (alpha || i % 4 != 3) worst = std::max(worst, std::abs(int(a.px[i]) - int(b.px[i])));
    return worst;
}

bool HaveFfmpeg() { return std::system("ffmpeg -version >/dev/null 2>&1") == 0; }

// A picture whose colour is constant over each horizontal pixel pair, so 4:2:2
// loses nothing but rounding.
Rgba PairConstantPicture(int w, int h) {
    Rgba img{w, h, std::vector<unsigned char>(static_cast<size_t>(w) * h * 4)};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            unsigned char* p = &img.px[(static_cast<size_t>(y) * w + x) * 4];
            const int pair = x / 2;
            p[0] = static_cast<unsigned char>((pair * 37 + y * 11) % 256);
            p[1] = static_cast<unsigned char>((pair * 13 + y * 29 + 60) % 256);
            p[2] = static_cast<unsigned char>((pair * 71 + y * 5 + 120) % 256);
            p[3] = 255;
        }
    return img;
}

const struct {
    unsigned char r, g, b;
} kBars75[] = {{255, 255, 255}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
               {191, 0, 191},   {191, 0, 0},   {0, 0, 191},   {0, 0, 0}};

// ------------------------------------------------------------ patterns

TEST_F(LyavTest, BarsDecodeToTheExactBarColours) {
    for (const char* level : {"75", "100"}) {
        Ok({"bars", "-o", P("bars.png"), "--size", "80x6", "--level", level});
        const Rgba img = DecodePng(P("bars.png"));
        ASSERT_EQ(img.width, 80);
        ASSERT_EQ(img.height, 6);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 80; ++x) {
                const auto& c = kBars75[x / 10];
                const auto full = [&](unsigned char v) { return std::string(level) == "100" && v ? 255 : v; };
                const unsigned char* p = img.At(x, y);
                ASSERT_EQ(p[0], full(c.r)) << level << "% x=" << x;
                ASSERT_EQ(p[1], full(c.g)) << level << "% x=" << x;
                ASSERT_EQ(p[2], full(c.b)) << level << "% x=" << x;
                ASSERT_EQ(p[3], 255);
            }
    }
}

TEST_F(LyavTest, FillAndGridWriteTheirColoursInEveryLayout) {
    Ok({"fill", "-o", P("f.png"), "--size", "4x2", "--color", "80FF8000"});
    const Rgba f = DecodePng(P("f.png"));
    EXPECT_EQ(std::vector<unsigned char>(f.At(3, 1), f.At(3, 1) + 4), (std::vector<unsigned char>{255, 128, 0, 128}));
    // Studio-range white in every YUV layout, at the sizes the layouts define.
    const struct {
        const char* layout;
        uintmax_t bytes;
    } layouts[] = {{"bgra", 64}, {"vuya", 64}, {"uyvy422", 32}, {"uyvy422-16", 64},
                   {"y210le", 64}, {"yuyv422", 32}, {"yuyva422", 64}};
    for (const auto& l : layouts) {
        Ok({"fill", "-o", P("w.raw"), "--size", "4x4", "--color", "white", "--format", l.layout});
        EXPECT_EQ(fs::file_size(P("w.raw")), l.bytes) << l.layout;
        Ok({"convert", P("w.raw"), P("w.png"), "--from", l.layout, "--size", "4x4"});
        const Rgba w = DecodePng(P("w.png"));
        for (size_t i = 0; i < w.px.size(); ++i) ASSERT_EQ(w.px[i], 255) << l.layout << " byte " << i;
    }
    Ok({"grid", "-o", P("g.png"), "--size", "8x4", "--cell", "2x2", "--color1", "red", "--color2", "blue"});
    const Rgba g = DecodePng(P("g.png"));
    EXPECT_EQ(g.At(0, 0)[0], 255);
    EXPECT_EQ(g.At(2, 0)[2], 255);
    EXPECT_EQ(g.At(2, 2)[0], 255);
}

// ------------------------------------------------------------ conversion

TEST_F(LyavTest, PngThroughUyvyAndBackStaysWithinTheConversionError) {
    EncodePng(P("in.png"), PairConstantPicture(64, 16));
    for (const char* cm : {"bt601", "bt709"})
        for (const char* layout : {"uyvy422", "uyvy422-16", "y210le", "yuyv422", "vuya"}) {
            Ok({"convert", P("in.png"), P("mid.raw"), "--to", layout, "--colorimetry", cm});
            Ok({"convert", P("mid.raw"), P("out.png"), "--from", layout, "--size", "64x16", "--colorimetry", cm});
            // Pairs of one colour lose nothing to subsampling; both directions
            // floor their fixed-point sums, so blue can move by up to 4 in BT.709.
            EXPECT_LE(MaxDiff(DecodePng(P("in.png")), DecodePng(P("out.png"))), 4) << layout << " " << cm;
        }
}

TEST_F(LyavTest, YuyvaTailCarriesAlpha) {
    Rgba img = PairConstantPicture(16, 4);
    for (size_t i = 0; i < img.px.size() / 4; ++i) img.px[i * 4 + 3] = static_cast<unsigned char>(i * 17);
    EncodePng(P("a.png"), img);
    Ok({"convert", P("a.png"), P("a.yuyva"), "--to", "yuyva422"});
    ASSERT_EQ(fs::file_size(P("a.yuyva")), 16u * 4 * 4);
    const std::string raw = ReadText(P("a.yuyva"));
    // The tail is alpha x 16 in little-endian 16-bit samples.
    for (size_t i = 0; i < 64; ++i) {
        const unsigned s = static_cast<unsigned char>(raw[128 + 2 * i]) | static_cast<unsigned char>(raw[129 + 2 * i]) << 8;
        ASSERT_EQ(s, img.px[i * 4 + 3] * 16u) << i;
    }
    Ok({"convert", P("a.yuyva"), P("b.png"), "--from", "yuyva422", "--size", "16x4"});
    const Rgba back = DecodePng(P("b.png"));
    for (size_t i = 0; i < 64; ++i) ASSERT_EQ(back.px[i * 4 + 3], img.px[i * 4 + 3]);
}

// ------------------------------------------------------------ ffmpeg interoperability

// Frames the tool writes read back through ffmpeg as through the tool, and
// frames ffmpeg writes read through the tool as through ffmpeg.
TEST_F(LyavTest, FfmpegAndTheToolReadEachOthersRawFrames) {
    if (!HaveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
    EncodePng(P("in.png"), PairConstantPicture(64, 16));
    // BT.709's larger blue and red factors let the two fixed-point inverses land
    // one level further apart; the wrong matrix would be tens of levels off.
    const struct {
        const char *layout, *cm, *filter;
        int tolerance;
        bool ffmpegWrites;
    } cases[] = {{"uyvy422", "bt601", "null", 2, true}, {"bgra", "bt601", "null", 2, true},
                 {"yuyv422", "bt601", "null", 2, true}, {"y210le", "bt601", "null", 2, false},
                 {"uyvy422", "bt709", "scale=in_color_matrix=bt709", 3, false}};
    auto readBoth = [&](const auto& c, const std::string& raw) {
        Ok({"convert", raw, P("tool.png"), "--from", c.layout, "--size", "64x16", "--colorimetry", c.cm});
        const Result r = Run("ffmpeg", {"-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", c.layout, "-s", "64x16",
                                        "-i", raw, "-vf", c.filter, "-pix_fmt", "rgba", P("ff.png")});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_LE(MaxDiff(DecodePng(P("tool.png")), DecodePng(P("ff.png"))), c.tolerance) << c.layout << " " << c.cm;
    };
    for (const auto& c : cases) {
        Ok({"convert", P("in.png"), P("f.raw"), "--to", c.layout, "--colorimetry", c.cm});
        readBoth(c, P("f.raw"));
        if (!c.ffmpegWrites) continue;
        const Result r = Run("ffmpeg", {"-v", "error", "-y", "-i", P("in.png"), "-f", "rawvideo", "-pix_fmt",
                                        c.layout, P("ff.raw")});
        ASSERT_EQ(r.status, 0) << r.err;
        readBoth(c, P("ff.raw"));
    }
}

// ------------------------------------------------------------ compositing

TEST_F(LyavTest, MixKeepsTheLibrarysByteOrderAndStraightAlpha) {
    Rgba src = PairConstantPicture(16, 16), dst = PairConstantPicture(16, 16);
    for (size_t i = 0; i < src.px.size(); i += 4) {
        src.px[i + 3] = static_cast<unsigned char>(i * 7);
        std::swap(dst.px[i], dst.px[i + 2]);
        dst.px[i + 3] = static_cast<unsigned char>(255 - i);
    }
    EncodePng(P("s.png"), src);
    EncodePng(P("d.png"), dst);
    Ok({"mix", P("s.png"), P("d.png"), "-o", P("m.png"), "--left", "3", "--top", "-2"});
    // The same mix by the library on BGRA words.
    auto bgra = [](Rgba img) {
        for (size_t i = 0; i < img.px.size(); i += 4) std::swap(img.px[i], img.px[i + 2]);
        return img;
    };
    Rgba want = bgra(dst);
    const Rgba s = bgra(src);
    LyPixelUtils::MixColor(s.px.data() + 2 * 64, 64, want.px.data() + 3 * 4, 64, 13, 14);
    EXPECT_EQ(MaxDiff(bgra(want), DecodePng(P("m.png")), true), 0);
}

TEST_F(LyavTest, OperationsRunOnPngs) {
    EncodePng(P("a.png"), PairConstantPicture(32, 16));
    Ok({"bars", "-o", P("b.png"), "--size", "32x16"});
    Ok({"fade", P("a.png"), "-o", P("fade.png"), "--percent", "50"});
    EXPECT_EQ(DecodePng(P("fade.png")).At(5, 5)[3], 128);
    Ok({"fade", P("a.png"), "-o", P("ramp.png"), "--gradient", "horizontal", "--start-percent", "0", "--step-percent", "10"});
    EXPECT_EQ(DecodePng(P("ramp.png")).At(0, 0)[3], 0);
    EXPECT_EQ(DecodePng(P("ramp.png")).At(20, 0)[3], 255);
    Ok({"wipe", P("a.png"), P("b.png"), "-o", P("w.png"), "--progress", "128"});
    const Rgba w = DecodePng(P("w.png")), a = DecodePng(P("a.png")), b = DecodePng(P("b.png"));
    EXPECT_EQ(std::memcmp(w.At(15, 3), a.At(15, 3), 4), 0);  // trunc(128/255*32) = 16 columns of A
    EXPECT_EQ(std::memcmp(w.At(16, 3), b.At(16, 3), 4), 0);
    Ok({"wipe", P("a.png"), P("b.png"), "-o", P("seq.png"), "--frames", "3"});
    EXPECT_TRUE(fs::exists(P("seq-0000.png")) && fs::exists(P("seq-0002.png")));
    EXPECT_EQ(MaxDiff(DecodePng(P("seq-0002.png")), b, true), 0);
    Ok({"blend", P("a.png"), P("b.png"), "-o", P("bl.png"), "--opacity", "1"});
    EXPECT_EQ(MaxDiff(DecodePng(P("bl.png")), a, true), 0);
    Ok({"mask", P("a.png"), P("b.png"), "-o", P("mk.png")});
    EXPECT_EQ(DecodePng(P("mk.png")).At(1, 1)[3], 255);   // white bar keeps alpha
    EXPECT_EQ(DecodePng(P("mk.png")).At(30, 1)[3], 0);    // black bar clears it
    Ok({"mask", P("a.png"), P("b.png"), "-o", P("mk.png"), "--operation", "subtract", "--invert"});
    EXPECT_EQ(DecodePng(P("mk.png")).At(1, 1)[3], 255);
    Ok({"scale", P("b.png"), "-o", P("sc.png"), "--to-size", "64x8"});
    EXPECT_EQ(DecodePng(P("sc.png")).width, 64);
    Ok({"gray", P("b.png"), "-o", P("g.png")});
    EXPECT_EQ(std::memcmp(DecodePng(P("g.png")).At(1, 1), "\xff\xff\xff", 3), 0);  // the white bar stays white
    for (const char* mode : {"average-with-row-above", "average-with-row-below", "average-with-row-below-no-edge"})
        Ok({"blend", P("a.png"), P("b.png"), "-o", P("bl.png"), "--mode", mode});
    Ok({"deflicker", P("b.png"), "-o", P("df.png"), "--quality", "high"});
    Ok({"gray", P("b.png"), "-o", P("ga.png"), "--channel", "r"});
    Ok({"opacity", P("a.png"), "-o", P("op.png"), "--color", "blue"});
    Ok({"opacity", P("fade.png"), P("b.png"), "-o", P("op2.png")});
    EXPECT_EQ(DecodePng(P("op2.png")).At(3, 3)[3], 255);
}

// ------------------------------------------------------------ timing

TEST_F(LyavTest, TimecodeTextOfTheWorkedFrames) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--rate", "29.97", "--drop-frame", "1800", "17982", "107892"},
         "1800 00:01:00;02\n17982 00:10:00;00\n107892 01:00:00;00\n"},
        {{"--rate", "59.94", "--drop-frame", "3600", "3601", "35964", "215784", "215785"},
         "3600 00:01:00;02\n3601 00:01:00;02\n35964 00:10:00;00\n215784 01:00:00;00\n215785 01:00:00;00\n"},
        {{"--rate", "29.97", "30"}, "30 00:00:01:00\n"},
        {{"--rate", "25", "00:00:02:05"}, "55 00:00:02:05\n"}};
    for (auto [args, want] : cases) {
        args.insert(args.begin(), "timecode");
        const Result r = Lyav(args);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, want);
    }
}

TEST_F(LyavTest, CadenceFollowsTheFractionalRate) {
    const Result r = Lyav({"cadence", "--rate", "29.97", "--sample-rate", "48000", "--count", "5"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::istringstream in(r.out);
    std::string line;
    std::vector<int> counts;
    while (std::getline(in, line))
        if (!line.empty() && line[0] != '#') counts.push_back(std::stoi(line.substr(line.find(' ') + 1)));
    EXPECT_EQ(counts, (std::vector<int>{1602, 1601, 1602, 1601, 1602}));
    EXPECT_NE(r.out.find("total 8008"), std::string::npos);
}

// ------------------------------------------------------------ demo, help

TEST_F(LyavTest, DemoWritesEveryFileItAnnounces) {
    const Result r = Lyav({"demo", P("out"), "--size", "320x180", "--frames", "3"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");  // progress is for terminals only
    std::istringstream in(r.out);
    std::string line;
    int announced = 0;
    while (std::getline(in, line)) {
        if (line.rfind("wrote ", 0) != 0) continue;
        const std::string path = line.substr(6, line.find("  ") - 6);
        ++announced;
        ASSERT_TRUE(fs::is_regular_file(path)) << path;
        EXPECT_GT(fs::file_size(path), 0u) << path;
        if (fs::path(path).extension() == ".png") { EXPECT_GT(DecodePng(path).width, 0) << path; }
    }
    EXPECT_GE(announced, 12);
    EXPECT_EQ(announced, std::distance(fs::directory_iterator(P("out")), fs::directory_iterator()));
    // The on-air frame's corner is still the white bar, the title sits in the lower third.
    const Rgba onAir = DecodePng(P("out/06-on-air.png"));
    EXPECT_EQ(onAir.At(5, 5)[0], 255);
    EXPECT_NE(std::memcmp(onAir.At(160, 150), DecodePng(P("out/01-bars.png")).At(160, 150), 3), 0);
}

TEST_F(LyavTest, BenchAndInfoPrintTheirTables) {
    const Result bench = Lyav({"bench", "--size", "64x32", "--budget", "0"});
    ASSERT_EQ(bench.status, 0) << bench.err;
    EXPECT_NE(bench.out.find("x memcpy"), std::string::npos);
    EXPECT_NE(bench.out.find("MixColor                       1"), std::string::npos) << bench.out;
    const Result info = Lyav({"info"});
    EXPECT_NE(info.out.find("row kernels: "), std::string::npos) << info.err;
}

TEST_F(LyavTest, EverySubcommandHasHelp) {
    const Result all = Lyav({"--help"});
    ASSERT_EQ(all.status, 0);
    for (const char* c : {"bars", "fill", "grid", "convert", "mix", "opacity", "blend", "wipe", "fade", "mask",
                          "deflicker", "scale", "gray", "timecode", "cadence", "demo", "bench", "info", "planar",
                          "crawl"}) {
        EXPECT_NE(all.out.find(std::string("  ") + c + " "), std::string::npos) << c;
        const Result r = Lyav({c, "--help"});
        EXPECT_EQ(r.status, 0) << c;
        EXPECT_EQ(r.out.rfind("usage: lyav ", 0), 0u) << c;
    }
    EXPECT_NE(Lyav({"convert", "--help"}).out.find("PixelFormat_UYVY422"), std::string::npos);
}

// ------------------------------------------------------------ planar frames, crawl

TEST_F(LyavTest, PlanarFramesAgreeWithFfmpeg) {
    if (!HaveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
    auto make = [&](const char* pixFmt, const std::string& out) {
        const Result r = Run("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=size=64x36", "-frames", "1",
                                        "-pix_fmt", pixFmt, "-f", "rawvideo", out});
        ASSERT_EQ(r.status, 0) << r.err;
    };
    make("yuv422p", P("f422.yuv"));
    make("uyvy422", P("ref.uyvy"));
    make("yuv420p", P("f420.yuv"));
    // 4:2:2 nearest is a pure reshuffle: ffmpeg's own packing of the same frame, byte for byte.
    Ok({"planar", "--from", "yuv422p", "--size", "64x36", P("f422.yuv"), P("o.uyvy")});
    EXPECT_TRUE(ReadText(P("o.uyvy")) == ReadText(P("ref.uyvy")));
    // And back to planar gives ffmpeg's planes.
    Ok({"planar", "--to", "yuv422p", "--size", "64x36", "--chroma", "filtered", P("o.uyvy"), P("back.yuv")});
    EXPECT_TRUE(ReadText(P("back.yuv")) == ReadText(P("f422.yuv")));
    // 4:2:0 through UYVY and back: luma is carried unchanged in both modes;
    // nearest also gives the chroma planes back exactly.
    for (const char* chroma : {"nearest", "filtered"}) {
        Ok({"planar", "--from", "yuv420p", "--size", "64x36", "--chroma", chroma, P("f420.yuv"), P("t.uyvy")});
        Ok({"planar", "--to", "yuv420p", "--size", "64x36", "--chroma", chroma, P("t.uyvy"), P("r.yuv")});
        const std::string a = ReadText(P("f420.yuv")), b = ReadText(P("r.yuv"));
        ASSERT_EQ(a.size(), 64u * 36 * 3 / 2) << chroma;
        ASSERT_EQ(b.size(), a.size()) << chroma;
        EXPECT_TRUE(a.compare(0, 64 * 36, b, 0, 64 * 36) == 0) << chroma << ": luma changed";
        if (std::string(chroma) == "nearest") { EXPECT_TRUE(a == b) << "nearest 4:2:0 round trip"; }
    }
    // yuv411p: the tool's file size is ffmpeg's.
    make("yuv411p", P("f411.yuv"));
    Ok({"planar", "--from", "yuv411p", "--size", "64x36", P("f411.yuv"), P("q.uyvy")});
    EXPECT_EQ(fs::file_size(P("q.uyvy")), 64u * 36 * 2);
}

TEST_F(LyavTest, CrawlWritesMovingFrames) {
    for (const char* direction : {"left", "up"}) {
        const std::string out = P(std::string("crawl-") + direction);
        const Result r = Lyav({"crawl", out, "--size", "320x180", "--frames", "4", "--speed", "0.75",
                               "--direction", direction});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "");
        EXPECT_NE(r.out.find("96/128"), std::string::npos) << r.out;
        std::vector<Rgba> frames;
        for (int i = 0; i < 4; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/crawl-%04d.png", i);
            EXPECT_NE(r.out.find("wrote " + out + name), std::string::npos) << name;
            frames.push_back(DecodePng(out + name));
            ASSERT_EQ(frames.back().width, 320);
            ASSERT_EQ(frames.back().height, 180);
            EXPECT_EQ(frames.back().At(3, 3)[0], 255) << "the white bar shows outside the title";
            if (i > 0) { EXPECT_GT(MaxDiff(frames[i - 1], frames[i]), 0) << direction << " frame " << i; }
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(out), fs::directory_iterator()), 4);
    }
}

// ------------------------------------------------------------ bad input

TEST_F(LyavTest, BadInputFailsWithOneLineAndNoOutput) {
    EncodePng(P("good.png"), PairConstantPicture(8, 4));
    const std::string good = ReadText(P("good.png"));
    std::ofstream(P("trunc.png"), std::ios::binary) << good.substr(0, good.size() / 2);
    std::ofstream(P("text.png")) << "not a picture\n";
    std::ofstream(P("short.uyvy"), std::ios::binary) << std::string(63, '\x80');
    std::ofstream(P("in.yuv"), std::ios::binary) << std::string(64 * 36 * 2, '\x80');
    const std::vector<std::string> inputs = Files();
    const struct {
        const char* what;
        std::vector<std::string> args;
        const char* mentions;
    } cases[] = {
        {"unreadable file", {"convert", P("missing.png"), P("o.png")}, "missing.png"},
        {"truncated PNG", {"convert", P("trunc.png"), P("o.png")}, "trunc.png"},
        {"not a PNG", {"gray", P("text.png"), "-o", P("o.png")}, "text.png"},
        {"raw size mismatch", {"convert", P("short.uyvy"), P("o.png"), "--from", "uyvy422", "--size", "8x4"},
         "short.uyvy"},
        {"odd 4:2:2 width", {"convert", P("short.uyvy"), P("o.png"), "--from", "uyvy422", "--size", "7x4"},
         "even width"},
        {"unknown format", {"convert", P("good.png"), P("o.raw"), "--to", "rgb565"}, "rgb565"},
        {"unknown option", {"bars", "-o", P("o.png"), "--bogus", "1"}, "--bogus"},
        {"unknown subcommand", {"paint", "-o", P("o.png")}, "paint"},
        {"size below 1", {"bars", "-o", P("o.png"), "--size", "0x10"}, "o.png: --size"},
        {"height below 1", {"fill", "-o", P("o.png"), "--size", "10x0", "--color", "red"}, "o.png: --size"},
        {"raw size below 1", {"convert", P("short.uyvy"), P("o.png"), "--from", "uyvy422", "--size", "0x4"},
         "short.uyvy: --size"},
        {"mismatched sizes", {"mix", P("good.png"), P("o0.png"), "-o", P("o.png")}, "o0.png"},
        {"output in a missing directory", {"bars", "-o", P("nodir/o.png"), "--size", "8x8"}, "nodir/o.png"},
        // Sizes ffmpeg would round differently are refused, not guessed.
        {"planar file size", {"planar", "--from", "yuv420p", "--size", "64x36", P("in.yuv"), P("o.uyvy")}, "in.yuv"},
        {"planar odd width", {"planar", "--from", "yuv422p", "--size", "63x36", P("in.yuv"), P("o.uyvy")}, "63"},
        {"4:1:1 width", {"planar", "--to", "yuv411p", "--size", "62x36", P("in.yuv"), P("o.yuv")}, "multiple of 4"},
        {"odd 4:2:0 height", {"planar", "--to", "yuv420p", "--size", "64x35", P("in.yuv"), P("o.yuv")}, "even height"},
        {"both directions", {"planar", "--from", "yuv422p", "--to", "yuv422p", "--size", "64x36", P("in.yuv"),
                             P("o.yuv")}, "exactly one"},
        {"unknown planar layout", {"planar", "--from", "nv12", "--size", "64x36", P("in.yuv"), P("o.yuv")}, "nv12"},
        {"crawl speed", {"crawl", P("cr"), "--speed", "0"}, "--speed"},
        {"crawl direction", {"crawl", P("cr"), "--direction", "right"}, "right"},
    };
    for (const auto& c : cases) {
        const Result r = Lyav(c.args);
        EXPECT_EQ(r.status, 2) << c.what;
        EXPECT_TRUE(r.out.empty()) << c.what;
        EXPECT_TRUE(!r.err.empty() && r.err.find('\n') == r.err.size() - 1) << c.what << ": " << r.err;
        EXPECT_NE(r.err.find(c.mentions), std::string::npos) << c.what << ": " << r.err;
        EXPECT_EQ(Files(), inputs) << c.what << " left a file behind";
    }
}

}  // namespace
