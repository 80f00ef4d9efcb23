// Memory fill and copy helpers, their store patterns and the copy variants of
// each processor feature level.

#include <cstdlib>
#include <numeric>
#include <string>

#include "LyAVUtilsVersion.h"
#include "LyMemUtils.h"
#include "memory/LyCpu.h"
#include "memory/LyMem.h"
#include "test_support.h"

namespace {

// A buffer with guard bytes on both sides of the region under test.
struct Guarded {
    explicit Guarded(size_t n, size_t offset = 0) : bytes(n + 128, 0xA5), start(64 + offset) {}
    unsigned char* data() { return bytes.data() + start; }
    // True when every byte outside [start, start + n) still holds the guard.
    bool GuardsIntact(size_t n) const {
        for (size_t i = 0; i < bytes.size(); ++i)
            if ((i < start || i >= start + n) && bytes[i] != 0xA5) return false;
        return true;
    }
    std::vector<unsigned char> bytes;
    size_t start;
};

}  // namespace

TEST(ComputeGCD, EuclidWithTheZeroRule) {
    EXPECT_EQ(LyComputeGCD(12, 18), 6u);
    EXPECT_EQ(LyComputeGCD(18, 12), 6u);
    EXPECT_EQ(LyComputeGCD(1920, 1080), 120u);
    EXPECT_EQ(LyComputeGCD(30000, 1001), 1u);
    EXPECT_EQ(LyComputeGCD(7, 7), 7u);
    EXPECT_EQ(LyComputeGCD(7, 0), 0u);
    EXPECT_EQ(LyComputeGCD(0, 5), 0u);
    EXPECT_EQ(LyComputeGCD(5, 0), 0u);
    EXPECT_EQ(LyComputeGCD(0, 0), 0u);
    EXPECT_EQ(LyComputeGCD(0xFFFFFFFFu, 0xFFFFFFFEu), 1u);
    for (unsigned a = 1; a < 60; ++a)
        for (unsigned b = 1; b < 60; ++b) ASSERT_EQ(LyComputeGCD(a, b), std::gcd(a, b));
}

TEST(MemSet, WritesExactlyCountBytesAtAnyAlignment) {
    for (uint32_t count : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 15u, 16u, 17u, 63u, 64u, 65u, 1000u}) {
        for (size_t offset = 0; offset < 4; ++offset) {
            Guarded g(count, offset);
            LyMemSet(g.data(), 0x3C, count);
            for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(g.data()[i], 0x3C) << count << " @" << offset;
            ASSERT_TRUE(g.GuardsIntact(count)) << count << " @" << offset;
        }
    }
}

TEST(MemSetD, WritesCountWordsOddAndEven) {
    for (uint32_t count : {0u, 1u, 2u, 3u, 4u, 5u, 9u, 33u}) {
        for (size_t offset : {0u, 1u, 3u}) {  // unaligned word destinations are allowed
            Guarded g(count * 4, offset);
            LyMemSetD(reinterpret_cast<uint32_t*>(g.data()), 0x11223344u, count);
            for (uint32_t i = 0; i < count; ++i) {
                uint32_t w;
                std::memcpy(&w, g.data() + 4 * i, 4);
                ASSERT_EQ(w, 0x11223344u);
            }
            ASSERT_TRUE(g.GuardsIntact(count * 4)) << count;
        }
    }
}

TEST(MemSetDoubleD, RepeatsTheEightBytePatternInMemoryOrder) {
    uint32_t pattern[2] = {0x04030201u, 0x08070605u};
    for (uint32_t count : {0u, 1u, 2u, 3u, 5u, 16u}) {
        Guarded g(count * 8, 2);
        LyMemSetDoubleD(g.data(), pattern, count);
        for (uint32_t i = 0; i < count * 8; ++i) ASSERT_EQ(g.data()[i], (i % 8) + 1);
        ASSERT_TRUE(g.GuardsIntact(count * 8));
    }
    Guarded g(8);
    LyMemSetDoubleD(g.data(), nullptr, 1);  // no pattern: nothing written
    EXPECT_TRUE(g.GuardsIntact(0));
}

TEST(MemCpy, EveryFeatureLevelVariant) {
    std::vector<unsigned char> src(300);
    std::iota(src.begin(), src.end(), 1);
    for (uint32_t level : {0u, 1u, 3u, 7u}) {
        for (uint32_t count : {0u, 1u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 64u, 65u, 200u}) {
            for (size_t dOff = 0; dOff < 16; dOff += 3) {
                for (size_t sOff : {0u, 5u}) {
                    Guarded g(count, dOff);
                    ly::MemCpyForLevel(level, g.data(), src.data() + sOff, count);
                    ASSERT_EQ(0, std::memcmp(g.data(), src.data() + sOff, count))
                        << "level " << level << " count " << count;
                    ASSERT_TRUE(g.GuardsIntact(count)) << "level " << level << " count " << count;
                }
            }
        }
    }
}

// Source and destination both end at an inaccessible page: a variant that
// reads or writes a whole block past `count` faults here, in any build.
TEST(MemCpy, BuffersEndingAtAPageBoundary) {
    for (uint32_t level : {0u, 1u, 3u, 7u})
        for (int count = 1; count <= 70; ++count) {
            lytest::ImageLayout layout{count, 1, 1};
            layout.pageEnd = true;
            lytest::TestImage src(layout), dst(layout);
            src.FillRandom();
            ly::MemCpyForLevel(level, dst.data(), src.data(), static_cast<uint32_t>(count));
            ASSERT_EQ(src.Pixels(), dst.Pixels()) << "level " << level << " count " << count;
            LyMemSet(dst.data(), 7, static_cast<uint32_t>(count));
        }
}

TEST(MemCpy, LevelsNoProcessorReportsCopyNothing) {
    std::vector<unsigned char> src(40, 9);
    for (uint32_t level : {2u, 4u, 5u, 6u, 8u, 0xFFFFFFFEu}) {
        Guarded g(40);
        ly::MemCpyForLevel(level, g.data(), src.data(), 40);
        EXPECT_TRUE(g.GuardsIntact(0)) << "level " << level;
    }
}

TEST(MemCpy, ExportedCopyUsesThisProcessorsLevel) {
#if LY_X86
    EXPECT_EQ(ly::ProcessorFeatureLevel(), 7u);  // MMX, SSE and SSE2 are part of x86-64
#endif
    std::vector<unsigned char> src(1000), dst(1000, 0);
    lytest::FillRandom(src.data(), src.size());
    LyMemCpy(dst.data() + 1, src.data(), 999);
    EXPECT_EQ(0, std::memcmp(dst.data() + 1, src.data(), 999));
    LyMemCpy(nullptr, src.data(), 10);  // refused, no crash
    LyMemSet(nullptr, 1, 10);
    LyMemSetD(nullptr, 1, 10);
}

TEST(FeatureLevel, FromLeafOneEdxBits) {
    constexpr uint32_t mmx = 1u << 23, sse = 1u << 25, sse2 = 1u << 26;
    EXPECT_EQ(ly::FeatureLevelFromEdx(0), 0u);
    EXPECT_EQ(ly::FeatureLevelFromEdx(mmx), 1u);
    EXPECT_EQ(ly::FeatureLevelFromEdx(sse), 2u);
    EXPECT_EQ(ly::FeatureLevelFromEdx(mmx | sse), 3u);
    EXPECT_EQ(ly::FeatureLevelFromEdx(sse2), 4u);  // SSE2 without SSE
    EXPECT_EQ(ly::FeatureLevelFromEdx(sse2 | mmx), 5u);
    EXPECT_EQ(ly::FeatureLevelFromEdx(sse | sse2), 6u);
    EXPECT_EQ(ly::FeatureLevelFromEdx(mmx | sse | sse2), 7u);
    EXPECT_EQ(ly::FeatureLevelFromEdx(0xFFFFFFFFu), 7u);
}

TEST(InstructionSetCap, LowersTheLevelInUseAndRestores) {
    const ly::Isa best = ly::BestIsa();
#if LY_X86
    EXPECT_GE(best, ly::Isa::Sse2);
#endif
    const ELyInstructionSet before = LySetInstructionSetCap(InstructionSet_Scalar);
    EXPECT_EQ(LyGetInstructionSet(), InstructionSet_Scalar);
    EXPECT_EQ(ly::ActiveIsa(), ly::Isa::Scalar);
    EXPECT_EQ(LyGetVersionInfo().instructionSet, InstructionSet_Scalar);
    // Values outside the enumeration are refused.
    EXPECT_EQ(LySetInstructionSetCap(static_cast<ELyInstructionSet>(3)), InstructionSet_Scalar);
    EXPECT_EQ(LySetInstructionSetCap(static_cast<ELyInstructionSet>(-1)), InstructionSet_Scalar);
    EXPECT_EQ(LyGetInstructionSet(), InstructionSet_Scalar);
    // A cap above the processor's level gives the processor's level.
    EXPECT_EQ(LySetInstructionSetCap(InstructionSet_AVX2), InstructionSet_Scalar);
    EXPECT_EQ(LyGetInstructionSet(), static_cast<ELyInstructionSet>(best));
    LySetInstructionSetCap(before);
}

// The ctest entry isa_env_scalar runs this program with LYAVUTILS_ISA=scalar;
// without the variable the level in use is the processor's.
TEST(InstructionSetCap, EnvironmentSetsTheStartingCap) {
    const char* env = std::getenv("LYAVUTILS_ISA");
    if (env != nullptr && std::string(env) == "scalar") {
        EXPECT_EQ(LyGetInstructionSet(), InstructionSet_Scalar);
    } else if (env == nullptr) {
        EXPECT_EQ(LyGetInstructionSet(), static_cast<ELyInstructionSet>(ly::BestIsa()));
    }
}

TEST(VersionQuery, MatchesTheHeader) {
    const SLyVersionInfo info = LyGetVersionInfo();
    EXPECT_EQ(info.major, LYAVUTILS_VERSION_MAJOR);
    EXPECT_EQ(info.minor, LYAVUTILS_VERSION_MINOR);
    EXPECT_EQ(info.patch, LYAVUTILS_VERSION_PATCH);
    EXPECT_STREQ(info.versionString, LYAVUTILS_VERSION_STRING);
    const std::string joined = std::to_string(info.major) + "." + std::to_string(info.minor) + "." +
                               std::to_string(info.patch);
    EXPECT_EQ(joined, info.versionString);
    EXPECT_EQ(info.instructionSet, LyGetInstructionSet());
}
