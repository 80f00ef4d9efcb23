#include <memory>

#include "LyAVUtils.h"
#include "test_support.h"

using lytest::TestImage;

namespace {

constexpr ELyPixelFormat kFillFormats[] = {PixelFormat_BGRA4444, PixelFormat_VUYA4444, PixelFormat_UYVY422,
                                           PixelFormat_YUYVA422};

uint32_t Word(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

bool Is32Bit(ELyPixelFormat format) { return format == PixelFormat_BGRA4444 || format == PixelFormat_VUYA4444; }
int BytesPerPixel(ELyPixelFormat format, int depth) { return Is32Bit(format) || depth == 16 ? 4 : 2; }

// Bytes a fill writes into row 0 (-1: not written there).
std::vector<int> ExpectedRow(ELyPixelFormat format, int depth, uint32_t word, int width) {
    const int y = (word >> 16) & 0xFF, cb = (word >> 8) & 0xFF, cr = word & 0xFF;
    std::vector<int> row;
    const int bpp = BytesPerPixel(format, depth);
    const bool uyvy = format == PixelFormat_UYVY422;
    for (int p = 0; p < width / 2 || (Is32Bit(format) && p < width); ++p) {
        if (Is32Bit(format))
            for (int b = 0; b < 4; ++b) row.push_back((word >> (8 * b)) & 0xFF);
        else if (depth == 8)
            row.insert(row.end(), {uyvy ? cb : y, uyvy ? y : cb, uyvy ? cr : y, uyvy ? y : cr});
        else if (depth == 16 && uyvy)
            for (int v : {cb, y, cr, y}) row.insert(row.end(), {(v << 2) & 0xFF, v >> 6});
        else
            row.insert(row.end(), 2 * bpp, -1);
    }
    if (!Is32Bit(format)) row.insert(row.end(), (width & 1) * bpp, -1);
    return row;
}

// Fills an image of the given format with FillBlockColor and checks every
// byte: the packed rows, the alpha plane of format 7, and nothing else.
void CheckBlockFill(ELyPixelFormat format, int depth, uint32_t word, const lytest::ImageLayout& layout) {
    const bool hasAlpha = format == PixelFormat_YUYVA422;
    lytest::ImageLayout whole = layout;
    whole.bytesPerPixel = BytesPerPixel(format, depth);
    if (hasAlpha) whole.height = 2 * layout.height;  // alpha plane right below, same pitch
    TestImage img(whole);
    img.FillRandom();
    const auto before = img.Snapshot();
    const auto pixels = img.Pixels();
    const int w = layout.width, h = layout.height, rowBytes = img.rowBytes();
    ASSERT_EQ(LyPixelUtils::FillBlockColor(img.data(), img.pitch(), w, h, format, depth, Colorimetry_BT601, word), 1);
    const std::string where = "format " + std::to_string(format) + " depth " + std::to_string(depth) + " " + img.Describe();
    ASSERT_TRUE(img.OutsideUnchanged(before)) << where;
    const auto expected = ExpectedRow(format, depth, word, w);
    ASSERT_EQ(static_cast<int>(expected.size()), rowBytes);
    for (int r = 0; r < h; ++r)
        for (int i = 0; i < rowBytes; ++i) {
            // Unwritten bytes of row 0 are copied into every row below.
            const int want = expected[i] >= 0 ? expected[i] : pixels[i];
            ASSERT_EQ(img.row(r)[i], want) << where << " row " << r << " byte " << i;
        }
    if (!hasAlpha) return;
    for (int r = 0; r < h; ++r) {
        for (int x = 0; x < (w & ~1); ++x) ASSERT_EQ(lytest::Sample16(img, x, h + r), (word >> 24) * 16) << where;
        for (int i = (w & ~1) * 2; i < rowBytes; ++i)
            ASSERT_EQ(img.row(h + r)[i], pixels[static_cast<size_t>(h + r) * rowBytes + i]) << where << " alpha " << r;
    }
}

}  // namespace

// ============================================================ named colours

// The words of the named colours, and FillFixedColor filling every format and
// depth with the word of its colorimetry (the YUV formats with the VUYA word).
TEST(Fill, FixedColours) {
    struct Known { ELyFixedColor color; uint32_t bgra, vuya601, vuya709; };
    const Known known[] = {
        {FixedColor_Black, 0x000000, 0x108080, 0x108080}, {FixedColor_White, 0xFFFFFF, 0xEB8080, 0xEB8080},
        {FixedColor_Red, 0xFF0000, 0x525AF0, 0x3F66F0},   {FixedColor_Green, 0x00FF00, 0x913622, 0xAD2A1A},
        {FixedColor_Blue, 0x0000FF, 0x29F06E, 0x20F076},
    };
    for (const Known& k : known)
        for (int alpha : {0, 0x80, 0xFF}) {
            const uint32_t a = static_cast<uint32_t>(alpha) << 24;
            uint32_t w = 0;  // BGRA does not depend on the colorimetry, even an unknown one
            EXPECT_EQ(LyPixelUtils::GetFixedColor(PixelFormat_BGRA4444, static_cast<ELyColorimetry>(5), k.color, w, alpha), 1);
            EXPECT_EQ(w, a | k.bgra);
            for (ELyColorimetry cs : {Colorimetry_BT601, Colorimetry_BT709}) {
                const uint32_t vuya = a | (cs == Colorimetry_BT601 ? k.vuya601 : k.vuya709);
                EXPECT_EQ(LyPixelUtils::GetFixedColor(PixelFormat_VUYA4444, cs, k.color, w, alpha), 1);
                EXPECT_EQ(w, vuya);
                for (ELyPixelFormat f : kFillFormats)
                    for (unsigned char depth : {8, 16}) {
                        // 5 x 2 pixels, and below them the alpha plane of format 7.
                        TestImage got(5, 4, BytesPerPixel(f, depth)), want(5, 4, BytesPerPixel(f, depth));
                        got.FillRandom();
                        want.CopyPixelsFrom(got);
                        ASSERT_EQ(LyPixelUtils::FillFixedColor(got.data(), got.pitch(), 5, 2, f, depth, cs, k.color, alpha), 1);
                        LyPixelUtils::FillBlockColor(want.data(), want.pitch(), 5, 2, f, depth, cs,
                                                     f == PixelFormat_BGRA4444 ? a | k.bgra : vuya);
                        ASSERT_TRUE(lytest::SameBytes(want.Pixels(), got.Pixels()))
                            << "format " << f << " depth " << int(depth) << " cs " << cs << " colour " << k.color;
                    }
            }
        }
}

TEST(Fill, UnknownColoursFormatsAndColorimetries) {
    uint32_t w = 0x12345678;
    for (int color : {0, 2, 4, 8, -1})
        for (ELyPixelFormat f : {PixelFormat_BGRA4444, PixelFormat_VUYA4444})
            EXPECT_EQ(LyPixelUtils::GetFixedColor(f, Colorimetry_BT709, static_cast<ELyFixedColor>(color), w, 255), 1);
    EXPECT_EQ(LyPixelUtils::GetFixedColor(PixelFormat_VUYA4444, ELyColorimetry(2), FixedColor_Red, w, 9), 1);
    for (int format : {0, 3, 4, 7, 8})
        EXPECT_EQ(LyPixelUtils::GetFixedColor(ELyPixelFormat(format), Colorimetry_BT601, FixedColor_Red, w, 9), 0);
    EXPECT_EQ(w, 0x12345678u);

    // A colour, or for YUV a colorimetry, that yields no word fills with 0.
    struct NoWord { ELyPixelFormat format; int bpp; ELyColorimetry cs; int color; };
    const auto bt601 = Colorimetry_BT601, unknown = static_cast<ELyColorimetry>(3);
    for (const NoWord& c : {NoWord{PixelFormat_BGRA4444, 4, bt601, 2}, NoWord{PixelFormat_BGRA4444, 4, bt601, 4},
                            NoWord{PixelFormat_BGRA4444, 4, bt601, 9}, NoWord{PixelFormat_UYVY422, 2, unknown, 5}}) {
        TestImage img(6, 2, c.bpp);
        img.FillRandom();
        ASSERT_EQ(LyPixelUtils::FillFixedColor(img.data(), img.pitch(), 6, 2, c.format, 8, c.cs, ELyFixedColor(c.color), 0xFF), 1);
        EXPECT_TRUE(lytest::SameBytes(std::vector<unsigned char>(12 * c.bpp, 0), img.Pixels())) << c.color;
    }
}

// ============================================================ block fills: every byte, every layout

TEST(Fill, BlockFillWritesExactlyItsBytes) {
    // Depth 10 shows the rows below copying an unwritten row 0; odd 4:2:2
    // widths leave row 0's last bytes unwritten, copied down the same way.
    // Every instruction set stores the rows directly.
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (ELyPixelFormat format : kFillFormats)
            for (int depth : {8, 16, 10})
                for (int w : lytest::TestWidths())
                    for (int h : lytest::TestHeights()) {
                        const auto layouts = lytest::LayoutsFor(w, h, BytesPerPixel(format, depth));
                        const uint32_t word = lytest::Rng()();
                        CheckBlockFill(format, depth, word, layouts[(w + h + static_cast<int>(isa)) % layouts.size()]);
                        if (HasFatalFailure()) return;
                    }
    }
    // Wide rows at every start alignment: the aligned stores begin inside the
    // 8-byte pattern at any phase.
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        for (int w : {130, 131, 257})
            for (int offset = 0; offset < 13; ++offset) {
                lytest::ImageLayout layout = lytest::LayoutsFor(w, 3, 4).front();
                layout.alignOffset = offset * 5;
                for (ELyPixelFormat format : kFillFormats)
                    for (int depth : {8, 16}) {
                        CheckBlockFill(format, depth, 0x80604020u + static_cast<uint32_t>(offset), layout);
                        if (HasFatalFailure()) return;
                    }
            }
    }
}

TEST(Fill, BlockFillRefusals) {
    TestImage img(8, 4, 4, 2);
    img.FillRandom();
    const auto before = img.Snapshot();
    for (int format : {0, 4, 5, 6, 8, -1}) {
        const auto f = static_cast<ELyPixelFormat>(format);
        EXPECT_EQ(LyPixelUtils::FillBlockColor(img.data(), img.pitch(), 8, 2, f, 8, Colorimetry_BT601, 0xFFFFFFFF), 0);
        EXPECT_EQ(LyPixelUtils::FillFixedColor(img.data(), img.pitch(), 8, 2, f, 8, Colorimetry_BT601, FixedColor_White, 255), 0);
    }
    // Colour bars: BGRA and VUYA only, at least one pixel per bar, a buffer.
    for (int format : {0, 3, 7, 9})
        LyPixelUtils::FillColorBar(img.data(), img.pitch(), 8, 2, ELyPixelFormat(format), 8, Colorimetry_BT601, 1);
    LyPixelUtils::FillColorBar(img.data(), img.pitch(), 7, 3, PixelFormat_BGRA4444, 8, Colorimetry_BT601, 1);
    LyPixelUtils::FillColorBar(nullptr, 64, 16, 3, PixelFormat_BGRA4444, 8, Colorimetry_BT601, 1);
    EXPECT_EQ(LyPixelUtils::FillGridColor(nullptr, 44, 11, 4, 1, 2, {2, 2}), 0);
    for (ELyPixelFormat f : kFillFormats) {
        EXPECT_EQ(LyPixelUtils::FillBlockColor(nullptr, 32, 8, 2, f, 8, Colorimetry_BT601, 1), 0);
        EXPECT_EQ(LyPixelUtils::FillFixedColor(nullptr, 32, 8, 2, f, 8, Colorimetry_BT601, FixedColor_Red, 1), 0);
        // Empty images: success with nothing written (no alpha plane either).
        for (auto [w, h] : {std::pair{0, 2}, {8, 0}, {-4, 2}, {8, -2}, {-1, -1}}) {
            EXPECT_EQ(LyPixelUtils::FillBlockColor(img.data(), img.pitch(), w, h, f, 8, Colorimetry_BT601, 7), 1);
            EXPECT_EQ(LyPixelUtils::FillGridColor(img.data(), img.pitch(), w, h, 1, 2, {1, 1}), 1);
            LyPixelUtils::FillColorBar(img.data(), img.pitch(), w, h, PixelFormat_BGRA4444, 8, Colorimetry_BT601, 1);
        }
    }
    EXPECT_TRUE(img.Snapshot() == before);
}

TEST(Fill, RowsThatShareBytes) {
    // A pitch smaller than a row (or zero) is the caller's choice; the fill
    // must still be well defined and stay inside the bytes it covers.
    for (int pitch : {0, 4, 8, -4}) {
        std::vector<unsigned char> buf(64, 0xAA);
        unsigned char* start = buf.data() + 24;
        ASSERT_EQ(LyPixelUtils::FillBlockColor(start, pitch, 3, 4, PixelFormat_BGRA4444, 8, Colorimetry_BT601,
                                               0x01020304u),
                  1);
        const int lo = std::min(0, 3 * pitch), hi = std::max(0, 3 * pitch) + 12;
        for (int i = -24; i < 40; ++i)
            ASSERT_EQ(start[i], i >= lo && i < hi ? 4 - (i - lo) % 4 : 0xAA) << pitch << " " << i;
    }
    // The grid writes every row in full, top to bottom: where rows overlap
    // the lower row wins.
    const int w = 5, h = 6, pitch = 8;  // rows of 20 bytes, 8 apart
    std::vector<unsigned char> got(pitch * (h - 1) + 4 * w + 16, 0xAA), want(got);
    ASSERT_EQ(LyPixelUtils::FillGridColor(got.data() + 8, pitch, w, h, 0x11111111u, 0x22222222u, {2, 2}), 1);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint32_t c = ((x / 2 + y / 2) % 2 == 0) ? 0x11111111u : 0x22222222u;
            std::memcpy(want.data() + 8 + y * pitch + 4 * x, &c, 4);
        }
    EXPECT_TRUE(lytest::SameBytes(want, got));
}

// ============================================================ grid

// Cells cut at the edges; a cell below 1 or larger than the image gives
// solid first colour, in the image's own rows only.
TEST(Fill, GridIsACheckerboardCutAtTheEdges) {
    const uint32_t c1 = 0xFF102030u, c2 = 0x80405060u;
    for (int w : {1, 2, 3, 7, 16, 17, 33, 67})
        for (int h : {1, 2, 3, 15, 16, 17})
            for (int cx : {-2, 0, 1, 2, 3, 5, 8})
                for (int cy : {-5, 0, 1, 2, 4, 7}) {
                    TestImage img(lytest::LayoutsFor(w, h, 4)[(w * 3 + h + cx + cy + 16) % 16]);
                    img.FillRandom();
                    const auto before = img.Snapshot();
                    ASSERT_EQ(LyPixelUtils::FillGridColor(img.data(), img.pitch(), w, h, c1, c2, {cx, cy}), 1);
                    ASSERT_TRUE(img.OutsideUnchanged(before)) << img.Describe();
                    const bool solid = cx < 1 || cy < 1 || w < cx || h < cy;
                    for (int y = 0; y < h; ++y)
                        for (int x = 0; x < w; ++x)
                            ASSERT_EQ(Word(img.pixel(x, y)), solid || (x / cx + y / cy) % 2 == 0 ? c1 : c2)
                                << img.Describe() << " cell " << cx << "x" << cy << " at " << x << "," << y;
                }
}

// ============================================================ colour bars

TEST(Fill, ColorBarWidths) {
    struct Case { int width; std::vector<int> bars; };  // the bar index of each pixel
    const Case cases[] = {
        {8, {0, 1, 2, 3, 4, 5, 6, 7}},
        {20, {0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 7, 7, 7, 7}},
        {17, {0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 7}},
    };
    for (const Case& c : cases)
        for (int h : {1, 3, 17})
            for (int full : {0, 1}) {
                TestImage img(c.width, h, 4, (c.width + h) % 16, 3, h == 3);
                img.FillRandom();
                const auto before = img.Snapshot();
                LyPixelUtils::FillColorBar(img.data(), img.pitch(), c.width, h, PixelFormat_BGRA4444, 8,
                                           Colorimetry_BT601, full);
                ASSERT_TRUE(img.OutsideUnchanged(before));
                const uint32_t l = full ? 0xFF : 0xBF, o = 0xFF000000u;
                // White stays at full level in both.
                const uint32_t words[8] = {0xFFFFFFFFu, o | l << 16 | l << 8, o | l << 8 | l, o | l << 8,
                                           o | l << 16 | l,  o | l << 16,       o | l,          o};
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < c.width; ++x)
                        ASSERT_EQ(Word(img.pixel(x, y)), words[c.bars[x]])
                            << "width " << c.width << " full " << full << " at " << x << "," << y;
            }
}

TEST(Fill, ColorBarsInVuya) {
    // Bars 0..6 are the BGRA bars converted; the black bar keeps the BGRA word.
    for (ELyColorimetry cs : {Colorimetry_BT601, Colorimetry_BT709, static_cast<ELyColorimetry>(2)})
        for (int full : {0, 1}) {
            TestImage bgra(16, 2, 4), vuya(16, 2, 4);
            LyPixelUtils::FillColorBar(bgra.data(), bgra.pitch(), 16, 2, PixelFormat_BGRA4444, 8, cs, full);
            LyPixelUtils::FillColorBar(vuya.data(), vuya.pitch(), 16, 2, PixelFormat_VUYA4444, 8, cs, full);
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < 16; ++x) {
                    uint32_t want = Word(bgra.pixel(x, y));
                    if (x < 14) LyFormatUtils::RGBColorToYUVColor(want, cs);
                    ASSERT_EQ(Word(vuya.pixel(x, y)), want) << "cs " << cs << " at " << x;
                }
        }
}
