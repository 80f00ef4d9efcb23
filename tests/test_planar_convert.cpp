// LY_TEST_LABELS: threading
// Planar <-> UYVY converters: paths agree, round trips, 4:2:0 siting, odd
// sizes, contiguous buffers, ffmpeg as an oracle for 4:2:2, refusals.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <unistd.h>

#include "LyFormatUtils.h"
#include "LyPixelUtils.h"
#include "LyVideoUtils.h"
#include "test_support.h"

using namespace LyFormatUtils;
using lytest::TestImage;

namespace {

using Images = lytest::SweepImages;

const ELyPixelFormat kPlanarFormats[] = {PixelFormat_YUV422Planar, PixelFormat_YUV420Planar,
                                         PixelFormat_YUV411Planar};
const ELyChromaMode kModes[] = {ChromaMode_Nearest, ChromaMode_Filtered};

tagSIZE ChromaSizeOf(ELyPixelFormat format, int width, int height) {
    tagSIZE y, u, v;
    LyVideoUtils::GetYUVWidthHeight(format, width, height, y, u, v);
    return u;
}

// Three planes of a planar image, each its own TestImage.
struct Planar {
    Planar(ELyPixelFormat format, int width, int height, int align = 0, int slack = 5) {
        const tagSIZE c = ChromaSizeOf(format, width, height);
        y = TestImage(width, height, 1, align, slack);
        u = TestImage(std::max(1, c.cx), std::max(1, c.cy), 1, (align + 3) % 16, slack + 1);
        v = TestImage(std::max(1, c.cx), std::max(1, c.cy), 1, (align + 9) % 16, slack + 2);
    }
    TestImage y, u, v;
};

int ToUyvy(Planar& p, TestImage& uyvy, ELyPixelFormat f, ELyChromaMode m) {
    return YUVPlanerToUYVY422(p.y.data(), p.y.pitch(), p.u.data(), p.u.pitch(), p.v.data(), p.v.pitch(), uyvy.data(),
                              uyvy.pitch(), p.y.width(), p.y.height(), f, m);
}

int ToPlanar(TestImage& uyvy, Planar& p, ELyPixelFormat f, ELyChromaMode m) {
    return UYVY422ToYUVPlaner(uyvy.data(), uyvy.pitch(), p.y.data(), p.y.pitch(), p.u.data(), p.u.pitch(), p.v.data(),
                              p.v.pitch(), p.y.width(), p.y.height(), f, m);
}

// ------------------------------------------------------------ differential

TEST(PlanarConvertPaths, EveryFormAgreesWithScalar) {
    for (ELyPixelFormat format : kPlanarFormats) {
        SCOPED_TRACE(format);
        const auto chromaLayout = [format](int w, int h, int l, int plane) {
            const tagSIZE c = ChromaSizeOf(format, w, h);
            return lytest::SweepLayout(std::max(1, c.cx), std::max(1, c.cy), 1, l, plane);
        };
        // Planes in, one UYVY image per mode out.
        lytest::ExpectAllPathsAgree(
            [&](int w, int h, int l) {
                return std::vector<lytest::SweepPlane>{{lytest::SweepLayout(w, h, 1, l, 0), false},
                                                       {chromaLayout(w, h, l, 1), false},
                                                       {chromaLayout(w, h, l, 2), false},
                                                       {lytest::SweepLayout(w, h, 2, l, 3), true},
                                                       {lytest::SweepLayout(w, h, 2, l, 4), true}};
            },
            [format](Images& im) {
                for (int m = 0; m < 2; ++m)
                    YUVPlanerToUYVY422(im[0]->data(), im[0]->pitch(), im[1]->data(), im[1]->pitch(), im[2]->data(),
                                       im[2]->pitch(), im[3 + m]->data(), im[3 + m]->pitch(), im[0]->width(),
                                       im[0]->height(), format, kModes[m]);
            });
        // UYVY in, one set of planes per mode out.
        lytest::ExpectAllPathsAgree(
            [&](int w, int h, int l) {
                std::vector<lytest::SweepPlane> planes{{lytest::SweepLayout(w, h, 2, l, 0), false}};
                for (int m = 0; m < 2; ++m) {
                    planes.push_back({lytest::SweepLayout(w, h, 1, l, 1 + 3 * m), true});
                    planes.push_back({chromaLayout(w, h, l, 2 + 3 * m), true});
                    planes.push_back({chromaLayout(w, h, l, 3 + 3 * m), true});
                }
                return planes;
            },
            [format](Images& im) {
                for (int m = 0; m < 2; ++m) {
                    auto& y = im[1 + 3 * m];
                    auto& u = im[2 + 3 * m];
                    auto& v = im[3 + 3 * m];
                    UYVY422ToYUVPlaner(im[0]->data(), im[0]->pitch(), y->data(), y->pitch(), u->data(), u->pitch(),
                                       v->data(), v->pitch(), y->width(), y->height(), format, kModes[m]);
                }
            });
    }
}

// ------------------------------------------------------------ round trips

TEST(PlanarConvert, RoundTripsAreExactWhereTheSamplingAllows) {
    for (ELyPixelFormat format : kPlanarFormats)
        for (ELyChromaMode mode : kModes)
            for (int width : {4, 7, 16, 33, 64, 67})
                for (int height : {2, 15, 16, 17}) {
                    SCOPED_TRACE(::testing::Message() << format << " mode " << mode << " " << width << "x" << height);
                    Planar in(format, width, height, width % 16), back(format, width, height, 5, 0);
                    for (TestImage* i : {&in.y, &in.u, &in.v}) i->FillRandom();
                    TestImage uyvy(width, height, 2, 11, width % 3);
                    ASSERT_EQ(1, ToUyvy(in, uyvy, format, mode));
                    ASSERT_EQ(1, ToPlanar(uyvy, back, format, mode));
                    EXPECT_TRUE(lytest::SameBytes(in.y.Pixels(), back.y.Pixels()));  // luma always
                    const bool exact = format == PixelFormat_YUV422Planar || mode == ChromaMode_Nearest;
                    EXPECT_TRUE(!exact || (lytest::SameBytes(in.u.Pixels(), back.u.Pixels()) &&
                                           lytest::SameBytes(in.v.Pixels(), back.v.Pixels())));
                    // UYVY -> 4:2:2 planar -> UYVY is a repacking: exact but
                    // for an odd last pixel, whose U has no planar column.
                    if (format == PixelFormat_YUV422Planar) {
                        TestImage start(width, height, 2, 3), again(width, height, 2, 8);
                        start.FillRandom();
                        ASSERT_EQ(1, ToPlanar(start, back, format, mode));
                        ASSERT_EQ(1, ToUyvy(back, again, format, mode));
                        for (int y = 0; y < height; ++y) {
                            const int bytes = 2 * width - ((width & 1) ? 2 : 0);
                            ASSERT_EQ(0, std::memcmp(start.row(y), again.row(y), bytes)) << "row " << y;
                            if (width & 1) { ASSERT_EQ(start.row(y)[2 * width - 1], again.row(y)[2 * width - 1]); }
                        }
                    }
                }
}

// ------------------------------------------------------------ siting

uint8_t UAt(const TestImage& uyvy, int pair, int row) { return uyvy.row(row)[4 * pair]; }

// Chroma rows c[j] = 40 + 16 j sit half-way between luma rows 2j and 2j + 1,
// at luma position 2j + 0.5. Interpolated to every luma row y the ramp must
// read 36 + 8 y exactly (edge rows repeat the first and last chroma row), and
// averaged back it must give c[j] again.
TEST(PlanarConvert, FourTwoZeroChromaSitsBetweenLumaRows) {
    constexpr int kWidth = 40, kHeight = 12;
    Planar p(PixelFormat_YUV420Planar, kWidth, kHeight, 4);
    p.y.Fill(100);
    for (int j = 0; j < kHeight / 2; ++j) {
        std::memset(p.u.row(j), 40 + 16 * j, kWidth / 2);
        std::memset(p.v.row(j), 200 - 16 * j, kWidth / 2);
    }
    for (ly::Isa isa : lytest::AvailableIsas()) {
        lytest::ScopedIsa cap(isa);
        TestImage uyvy(kWidth, kHeight, 2, 1);
        ASSERT_EQ(1, ToUyvy(p, uyvy, PixelFormat_YUV420Planar, ChromaMode_Filtered));
        for (int y = 0; y < kHeight; ++y) {
            const int expected = y == 0 ? 40 : (y == kHeight - 1 ? 40 + 16 * (kHeight / 2 - 1) : 36 + 8 * y);
            for (int pair = 0; pair < kWidth / 2; ++pair)
                ASSERT_TRUE(UAt(uyvy, pair, y) == expected && uyvy.row(y)[4 * pair + 1] == 100 &&
                            uyvy.row(y)[4 * pair + 2] == 240 - expected) << "row " << y << " pair " << pair;
        }
        // Nearest repeats each chroma row on its two luma rows.
        ASSERT_EQ(1, ToUyvy(p, uyvy, PixelFormat_YUV420Planar, ChromaMode_Nearest));
        for (int y = 0; y < kHeight; ++y) ASSERT_EQ(40 + 16 * (y / 2), UAt(uyvy, 3, y));

        // A UYVY ramp of 36 + 8 y averages back to the chroma rows exactly.
        for (int y = 0; y < kHeight; ++y)
            for (int pair = 0; pair < kWidth / 2; ++pair) {
                uyvy.row(y)[4 * pair] = static_cast<unsigned char>(36 + 8 * y);
                uyvy.row(y)[4 * pair + 2] = static_cast<unsigned char>(204 - 8 * y);
            }
        Planar back(PixelFormat_YUV420Planar, kWidth, kHeight, 7);
        ASSERT_EQ(1, ToPlanar(uyvy, back, PixelFormat_YUV420Planar, ChromaMode_Filtered));
        for (int j = 0; j < kHeight / 2; ++j)
            for (int x = 0; x < kWidth / 2; ++x)
                ASSERT_TRUE(back.u.row(j)[x] == 40 + 16 * j && back.v.row(j)[x] == 200 - 16 * j) << j << "," << x;
    }
}

// 4:1:1 chroma sits on every fourth luma column; the UYVY pair between two
// of them takes their average, and going back the [1 2 1] filter centred on
// the column's own pair keeps a linear ramp where it was.
TEST(PlanarConvert, FourOneOneChromaStaysCoSited) {
    constexpr int kWidth = 32;
    Planar p(PixelFormat_YUV411Planar, kWidth, 1);
    p.y.Fill(50);
    for (int k = 0; k < kWidth / 4; ++k) p.u.row(0)[k] = p.v.row(0)[k] = static_cast<unsigned char>(20 + 12 * k);
    TestImage uyvy(kWidth, 1, 2, 0);
    ASSERT_EQ(1, ToUyvy(p, uyvy, PixelFormat_YUV411Planar, ChromaMode_Filtered));
    for (int pair = 0; pair < kWidth / 2 - 1; ++pair) ASSERT_EQ(20 + 6 * pair, UAt(uyvy, pair, 0));
    ASSERT_EQ(20 + 12 * (kWidth / 4 - 1), UAt(uyvy, kWidth / 2 - 1, 0));  // past the last column: repeated
    Planar back(PixelFormat_YUV411Planar, kWidth, 1);
    ASSERT_EQ(1, ToPlanar(uyvy, back, PixelFormat_YUV411Planar, ChromaMode_Filtered));
    for (int k = 1; k < kWidth / 4 - 1; ++k) ASSERT_EQ(20 + 12 * k, back.u.row(0)[k]) << k;
    ASSERT_EQ((3 * 20 + 26 + 2) >> 2, back.u.row(0)[0]);  // left edge repeats pair 0
}

// ------------------------------------------------------------ odd sizes

TEST(PlanarConvert, OddWidthsAndHeightsUseTheLastChromaSample) {
    constexpr int kWidth = 7, kHeight = 5;  // 4:2:0 chroma 3 x 2
    Planar p(PixelFormat_YUV420Planar, kWidth, kHeight, 2);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) p.y.row(y)[x] = static_cast<unsigned char>(10 * y + x);
    for (int j = 0; j < 2; ++j)
        for (int k = 0; k < 3; ++k) {
            p.u.row(j)[k] = static_cast<unsigned char>(100 + 10 * j + k);
            p.v.row(j)[k] = static_cast<unsigned char>(200 + 10 * j + k);
        }
    TestImage uyvy(kWidth, kHeight, 2, 0);
    uyvy.Fill(0xEE);
    const auto before = uyvy.Snapshot();
    ASSERT_EQ(1, ToUyvy(p, uyvy, PixelFormat_YUV420Planar, ChromaMode_Nearest));
    EXPECT_TRUE(uyvy.OutsideUnchanged(before));
    for (int y = 0; y < kHeight; ++y) {
        const int j = std::min(y / 2, 1);
        const unsigned char* r = uyvy.row(y);
        for (int pair = 0; pair < 3; ++pair) {
            EXPECT_EQ(100 + 10 * j + pair, r[4 * pair]);
            EXPECT_EQ(200 + 10 * j + pair, r[4 * pair + 2]);
        }
        EXPECT_EQ(100 + 10 * j + 2, r[12]);  // the odd pixel: last column's U, then its Y
        EXPECT_EQ(10 * y + 6, r[13]);
    }
    // Back: every luma sample, the 3 x 2 chroma from rows 0 and 2; the last
    // row and the odd pixel's U feed no chroma.
    Planar back(PixelFormat_YUV420Planar, kWidth, kHeight, 9);
    const auto uBefore = back.u.Snapshot();
    ASSERT_EQ(1, ToPlanar(uyvy, back, PixelFormat_YUV420Planar, ChromaMode_Nearest));
    EXPECT_TRUE(back.u.OutsideUnchanged(uBefore));
    EXPECT_TRUE(lytest::SameBytes(p.y.Pixels(), back.y.Pixels()));
    EXPECT_TRUE(lytest::SameBytes(p.u.Pixels(), back.u.Pixels()));
    EXPECT_TRUE(lytest::SameBytes(p.v.Pixels(), back.v.Pixels()));
}

// ------------------------------------------------------------ contiguous buffers

TEST(PlanarConvert, ContiguousBuffersMatchSeparatePlanes) {
    constexpr int kWidth = 45, kHeight = 19;
    for (ELyPixelFormat format : kPlanarFormats)
        for (bool padded : {false, true}) {
            tagSIZE ys, us, vs;
            LyVideoUtils::GetYUVWidthHeight(format, kWidth, kHeight, ys, us, vs);
            const size_t bytes = padded ? LyVideoUtils::GetPixelBytesWithPitch(format, 8, kWidth, kHeight)
                                        : LyVideoUtils::GetPixelBytes(format, 8, kWidth, kHeight);
            const auto pitchOf = [padded](const tagSIZE& s) { return padded ? ((s.cx + 15) >> 4) * 16 : s.cx; };
            auto planesOf = [&](unsigned char* buffer, unsigned char** y, unsigned char** u, unsigned char** v) {
                if (padded) LyVideoUtils::GetYUVPlanerBufferWithPitch(buffer, ys, us, vs, y, u, v);
                else LyVideoUtils::GetYUVPlanerBuffer(buffer, ys, us, vs, y, u, v);
            };
            std::vector<unsigned char> buffer(bytes), again(bytes + 64, 0x5A);
            lytest::FillRandom(buffer.data(), buffer.size());
            unsigned char *y, *u, *v, *y2, *u2, *v2;
            planesOf(buffer.data(), &y, &u, &v);
            planesOf(again.data(), &y2, &u2, &v2);
            Planar planes(format, kWidth, kHeight, 3);  // the same picture in separate planes
            for (int r = 0; r < kHeight; ++r) std::memcpy(planes.y.row(r), y + r * pitchOf(ys), kWidth);
            for (int r = 0; r < us.cy; ++r) {
                std::memcpy(planes.u.row(r), u + r * pitchOf(us), us.cx);
                std::memcpy(planes.v.row(r), v + r * pitchOf(vs), vs.cx);
            }
            TestImage fromBuffer(kWidth, kHeight, 2, 0), fromPlanes(kWidth, kHeight, 2, 5);
            ASSERT_EQ(1, YUVPlanerToUYVY422(y, pitchOf(ys), u, pitchOf(us), v, pitchOf(vs), fromBuffer.data(),
                                            fromBuffer.pitch(), kWidth, kHeight, format, ChromaMode_Filtered));
            ASSERT_EQ(1, ToUyvy(planes, fromPlanes, format, ChromaMode_Filtered));
            EXPECT_TRUE(lytest::SameBytes(fromPlanes.Pixels(), fromBuffer.Pixels()));
            // And back into a buffer: it ends exactly where the layout says.
            ASSERT_EQ(1, UYVY422ToYUVPlaner(fromBuffer.data(), fromBuffer.pitch(), y2, pitchOf(ys), u2, pitchOf(us),
                                            v2, pitchOf(vs), kWidth, kHeight, format, ChromaMode_Nearest));
            for (size_t i = bytes; i < again.size(); ++i) ASSERT_EQ(0x5A, again[i]);
            for (int r = 0; r < kHeight; ++r) ASSERT_EQ(0, std::memcmp(y + r * pitchOf(ys), y2 + r * pitchOf(ys), kWidth));
        }
}

// ------------------------------------------------------------ ffmpeg as an oracle

std::string TempPath(const char* name) { return ::testing::TempDir() + "lyav_planar_" + std::to_string(getpid()) + "_" + name; }

std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(f), {});
}

bool RunFfmpeg(const std::string& inFormat, const std::string& outFormat, int w, int h, const std::string& in,
               const std::string& out) {
    const std::string cmd = "ffmpeg -nostdin -loglevel error -y -f rawvideo -pix_fmt " + inFormat + " -s " +
                            std::to_string(w) + "x" + std::to_string(h) + " -i '" + in +
                            "' -f rawvideo -pix_fmt " + outFormat + " '" + out + "'";
    return std::system(cmd.c_str()) == 0;
}

// 4:2:2 <-> UYVY is the same repacking in ffmpeg and here: the tolerance is
// zero, in both directions and both modes.
TEST(PlanarConvertOracle, MatchesFfmpegOnFourTwoTwo) {
    if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
    constexpr int kWidth = 70, kHeight = 37;
    std::vector<unsigned char> planar(static_cast<size_t>(kWidth) * kHeight * 2);
    lytest::FillRandom(planar.data(), planar.size());
    const std::string in = TempPath("in.yuv"), out = TempPath("out.uyvy"), back = TempPath("back.yuv");
    std::ofstream(in, std::ios::binary).write(reinterpret_cast<const char*>(planar.data()), std::streamsize(planar.size()));
    ASSERT_TRUE(RunFfmpeg("yuv422p", "uyvy422", kWidth, kHeight, in, out));
    const std::vector<unsigned char> oracle = ReadFile(out);
    ASSERT_EQ(static_cast<size_t>(kWidth) * kHeight * 2, oracle.size());
    ASSERT_TRUE(RunFfmpeg("uyvy422", "yuv422p", kWidth, kHeight, out, back));
    const std::vector<unsigned char> oracleBack = ReadFile(back);
    for (const std::string& f : {in, out, back}) std::remove(f.c_str());

    unsigned char *y = planar.data(), *u = y + kWidth * kHeight, *v = u + kWidth / 2 * kHeight;
    for (ELyChromaMode mode : kModes) {
        std::vector<unsigned char> uyvy(oracle.size(), 0);
        ASSERT_EQ(1, YUVPlanerToUYVY422(y, kWidth, u, kWidth / 2, v, kWidth / 2, uyvy.data(), kWidth * 2, kWidth,
                                        kHeight, PixelFormat_YUV422Planar, mode));
        EXPECT_TRUE(lytest::SameBytes(oracle, uyvy));
        std::vector<unsigned char> planes(planar.size(), 0);
        unsigned char *y2 = planes.data(), *u2 = y2 + kWidth * kHeight, *v2 = u2 + kWidth / 2 * kHeight;
        ASSERT_EQ(1, UYVY422ToYUVPlaner(oracle.data(), kWidth * 2, y2, kWidth, u2, kWidth / 2, v2, kWidth / 2, kWidth,
                                        kHeight, PixelFormat_YUV422Planar, mode));
        EXPECT_TRUE(lytest::SameBytes(oracleBack, planes));
    }
}

// ------------------------------------------------------------ concurrent callers

// Two host threads, each splitting its frame into bands on the one pool: a
// filtered 4:2:0 frame packed to UYVY, and a picture rolled by a fraction.
TEST(PlanarConvertThreads, ConcurrentCallersMatchSolo) {
    constexpr int kWidth = 61, kHeight = 37;
    Planar planes(PixelFormat_YUV420Planar, kWidth, kHeight, 1);
    for (TestImage* i : {&planes.y, &planes.u, &planes.v}) i->FillRandom();
    TestImage uyvy(kWidth, kHeight, 2, 3), picture(kWidth, kHeight + 1, 4, 5), rolled(kWidth, kHeight, 4, 7);
    picture.FillRandomWithExtremes();
    const auto pack = [&](TestImage& d) {
        YUVPlanerToUYVY422(planes.y.data(), planes.y.pitch(), planes.u.data(), planes.u.pitch(), planes.v.data(),
                           planes.v.pitch(), d.data(), d.pitch(), kWidth, kHeight, PixelFormat_YUV420Planar,
                           ChromaMode_Filtered);
    };
    const auto roll = [&](TestImage& d) {
        LyPixelUtils::DoSubPixel_Y_TwoLine_Image(picture.data(), picture.pitch(), d.data(), d.pitch(), kWidth,
                                                 kHeight, 77);
    };
    for (int pool : {4, 16}) {
        lytest::ScopedPoolThreads scopedPool(pool);
        lytest::ExpectConcurrentCallersMatchSolo(uyvy, pack, rolled, roll);
    }
}

// ------------------------------------------------------------ refusals

TEST(PlanarConvert, RefusalsWriteNothing) {
    Planar p(PixelFormat_YUV422Planar, 8, 4);  // big enough for every format below
    for (TestImage* i : {&p.y, &p.u, &p.v}) i->FillRandom();
    TestImage uyvy(8, 4, 2, 0);
    uyvy.FillRandom();
    const auto uyvyBefore = uyvy.Snapshot(), yBefore = p.y.Snapshot(), uBefore = p.u.Snapshot();
    const auto n = ChromaMode_Nearest;
    const auto f422 = PixelFormat_YUV422Planar;
    const auto both = [&](ELyPixelFormat f, ELyChromaMode m, int w, int h) {
        EXPECT_EQ(0, YUVPlanerToUYVY422(p.y.data(), p.y.pitch(), p.u.data(), p.u.pitch(), p.v.data(), p.v.pitch(),
                                        uyvy.data(), uyvy.pitch(), w, h, f, m));
        EXPECT_EQ(0, UYVY422ToYUVPlaner(uyvy.data(), uyvy.pitch(), p.y.data(), p.y.pitch(), p.u.data(), p.u.pitch(),
                                        p.v.data(), p.v.pitch(), w, h, f, m));
    };
    for (ELyPixelFormat f : {PixelFormat_UYVY422, PixelFormat_BGRA4444, ELyPixelFormat(9)}) both(f, n, 8, 4);
    for (int m : {2, -1}) both(f422, ELyChromaMode(m), 8, 4);
    both(f422, n, 0, 4);
    both(f422, n, 8, 0);
    both(f422, n, 1, 4);  // no chroma column
    both(PixelFormat_YUV411Planar, ChromaMode_Filtered, 3, 4);
    both(PixelFormat_YUV420Planar, ChromaMode_Filtered, 8, 1);  // no chroma row
    EXPECT_EQ(0, YUVPlanerToUYVY422(p.y.data(), p.y.pitch(), nullptr, 4, p.v.data(), 4, uyvy.data(), uyvy.pitch(), 8, 4, f422, n));
    EXPECT_EQ(0, YUVPlanerToUYVY422(p.y.data(), p.y.pitch(), p.u.data(), 4, p.v.data(), 4, nullptr, 16, 8, 4, f422, n));
    EXPECT_EQ(0, UYVY422ToYUVPlaner(uyvy.data(), uyvy.pitch(), p.y.data(), p.y.pitch(), p.u.data(), 4, nullptr, 4, 8, 4, f422, n));
    EXPECT_EQ(0, UYVY422ToYUVPlaner(nullptr, 16, p.y.data(), p.y.pitch(), p.u.data(), 4, p.v.data(), 4, 8, 4, f422, n));
    EXPECT_EQ(uyvyBefore, uyvy.Snapshot());
    EXPECT_EQ(yBefore, p.y.Snapshot());
    EXPECT_EQ(uBefore, p.u.Snapshot());
}

}  // namespace
