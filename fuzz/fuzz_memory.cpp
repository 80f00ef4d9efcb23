// Memory family: copies and fills into buffers of exactly count bytes.

#include "LyMemUtils.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lyfuzz::Reader in(data, size);
    lyfuzz::Environment env(in);
    const unsigned a = in.Take<uint32_t>(), b = in.Take<uint32_t>();
    const unsigned g = LyComputeGCD(a, b);
    LYFUZZ_CHECK(a == 0 || b == 0 ? g == 0 : (a % g == 0 && b % g == 0));
    const uint32_t count = static_cast<uint32_t>(in.Range(0, 4000));
    const int shift = in.Range(0, 15);  // misaligns both buffers
    std::unique_ptr<unsigned char[]> src(new unsigned char[count + shift + 1]), dst(new unsigned char[count * 8 + shift + 1]);
    in.Fill(src.get() + shift, count);
    LyMemCpy(dst.get() + shift, src.get() + shift, count);
    const unsigned char value = in.Take<uint8_t>();
    LyMemSet(dst.get() + shift, value, count);
    for (uint32_t i = 0; i < count; ++i) LYFUZZ_CHECK(dst[shift + i] == value);
    uint32_t pattern[2] = {in.Take<uint32_t>(), in.Take<uint32_t>()};
    LyMemSetDoubleD(dst.get() + shift, in.Flag() ? pattern : nullptr, count);
    std::unique_ptr<uint32_t[]> words(new uint32_t[count + 1]);
    LyMemSetD(words.get(), pattern[0], count);
    for (uint32_t i = 0; i < count; ++i) LYFUZZ_CHECK(words[i] == pattern[0]);
    return 0;
}
