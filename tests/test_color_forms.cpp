// The AVX2 converters' 16-bit forms against the table rule over every input.
// Kept apart from the converter tests: it exercises no threading, and it
// would dominate their thread-sanitizer run.
#include <algorithm>
#include <vector>

#include "format/LyPackedKernels.h"
#include "test_support.h"

namespace packed = ly::packed;

// Every (Y, U, V) or (B, G, R) combination through the AVX2 forms against the
// table rule, both colorimetries: the check that catches a wrong constant in
// the 16-bit forms (their proof covers each table word, this the sums, the
// saturation and the byte packing around them). Rows of 65536 pixels keep the
// buffers small; a row is all whole vector blocks.
TEST(ColorForms, Avx2ConvertersMatchTheTablesForEveryInput) {
    if (ly::BestIsa() != ly::Isa::Avx2) GTEST_SKIP() << "no AVX2 on this processor";
    constexpr int kRow = 65536;
    std::vector<unsigned char> src(kRow * 4), vec(kRow * 4), ref(kRow * 4);
    for (int cs = 0; cs < 2; ++cs) {
        SCOPED_TRACE(cs);
        for (int hi = 0; hi < 256; ++hi) {
            // 4:4:4: byte 2 is `hi`, bytes 0 and 1 run through every pair,
            // alpha varies. Read as VUYA that is every V, U for Y = hi; read
            // as BGRA every B, G for R = hi.
            for (int i = 0; i < kRow; ++i) {
                src[4 * i] = static_cast<unsigned char>(i);
                src[4 * i + 1] = static_cast<unsigned char>(i >> 8);
                src[4 * i + 2] = static_cast<unsigned char>(hi);
                src[4 * i + 3] = static_cast<unsigned char>(i * 7);
            }
            packed::VuyaToBgraRow(ly::Isa::Avx2, cs, src.data(), vec.data(), kRow);
            packed::VuyaToBgraRow(ly::Isa::Scalar, cs, src.data(), ref.data(), kRow);
            ASSERT_TRUE(lytest::SameBytes(ref, vec)) << "VUYA->BGRA, Y " << hi;
            packed::BgraToVuyaRow(ly::Isa::Avx2, cs, src.data(), vec.data(), kRow);
            packed::BgraToVuyaRow(ly::Isa::Scalar, cs, src.data(), ref.data(), kRow);
            ASSERT_TRUE(lytest::SameBytes(ref, vec)) << "BGRA->VUYA, R " << hi;
            // Pairs: the first pixel as above, the second its complement, so
            // every pair's chroma average meets a partner of its own.
            for (int i = 0; i < kRow; i += 2)
                for (int k = 0; k < 3; ++k) src[4 * i + 4 + k] = static_cast<unsigned char>(255 - src[4 * i + k]);
            packed::BgraTo422Row(ly::Isa::Avx2, cs, packed::Layout422::Uyvy8, src.data(), vec.data(), kRow);
            packed::BgraTo422Row(ly::Isa::Scalar, cs, packed::Layout422::Uyvy8, src.data(), ref.data(), kRow);
            ASSERT_TRUE(std::equal(ref.begin(), ref.begin() + kRow * 2, vec.begin())) << "BGRA->UYVY, R " << hi;
            // UYVY: U is `hi`, V and the first Y run through every pair, the
            // second Y is the first's complement.
            for (int i = 0; i < kRow; ++i) {
                src[4 * i] = static_cast<unsigned char>(hi);
                src[4 * i + 1] = static_cast<unsigned char>(i);
                src[4 * i + 2] = static_cast<unsigned char>(i >> 8);
                src[4 * i + 3] = static_cast<unsigned char>(255 - (i & 0xFF));
            }
            for (int half = 0; half < 2; ++half) {
                const unsigned char* s = src.data() + half * kRow * 2;
                packed::UyvyToBgraRow(ly::Isa::Avx2, cs, 8, s, 1, vec.data(), kRow);
                packed::UyvyToBgraRow(ly::Isa::Scalar, cs, 8, s, 1, ref.data(), kRow);
                ASSERT_TRUE(lytest::SameBytes(ref, vec)) << "UYVY->BGRA, U " << hi;
            }
        }
    }
}
