#ifndef LYAVUTILS_FUZZ_FUZZ_SUPPORT_H
#define LYAVUTILS_FUZZ_FUZZ_SUPPORT_H

// Shared pieces of the fuzz targets: a front-to-back reader of the input (so
// that regression inputs can be written by hand, see corpus/README.md), images
// in buffers of exactly the bytes a call may touch (so AddressSanitizer sees
// any access past them), and the environment switches: pool size,
// instruction set and rounding mode, drawn from the input.

#include <cfenv>
#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "LyAVUtilsVersion.h"
#include "memory/LyCpu.h"
#include "threading/LyThreadPoolInstance.h"

namespace lyfuzz {

// Aborts (a crash libFuzzer records) when a promise of a header is broken.
#define LYFUZZ_CHECK(cond)                                                        \
    do {                                                                           \
        if (!(cond)) {                                                             \
            std::fprintf(stderr, "check failed: %s (%s:%d)\n", #cond, __FILE__, __LINE__); \
            std::abort();                                                          \
        }                                                                          \
    } while (0)

// Values little-endian from the front; zeros once the input is used up.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : p_(data), n_(size) {}
    template <class T>
    T Take() {  // host byte order (little-endian on x86)
        unsigned char b[sizeof(T)] = {};
        const size_t k = n_ < sizeof(T) ? n_ : sizeof(T);
        std::memcpy(b, p_, k);
        p_ += k, n_ -= k;
        T out;
        std::memcpy(&out, b, sizeof(T));
        return out;
    }
    // An int in [lo, hi].
    int Range(int lo, int hi) { return lo + static_cast<int>(Take<uint16_t>() % static_cast<unsigned>(hi - lo + 1)); }
    bool Flag() { return (Take<uint8_t>() & 1) != 0; }
    // Mostly small values, sometimes any 32-bit value (the limits included).
    int Int() {
        const uint8_t kind = Take<uint8_t>();
        if (kind < 200) return Range(-4, 700);
        return static_cast<int>(Take<uint32_t>());
    }
    void Fill(unsigned char* dst, size_t bytes) {
        const size_t k = n_ < bytes ? n_ : bytes;
        std::memcpy(dst, p_, k);
        p_ += k, n_ -= k;
        for (size_t i = k; i < bytes; ++i) dst[i] = static_cast<unsigned char>(i * 131u + 7u);
    }
    size_t left() const { return n_; }

private:
    const uint8_t* p_;
    size_t n_;
};

// rows of rowBytes at a pitch of +-(rowBytes + slack), a multiple of `unit`;
// the buffer holds exactly |pitch| * (rows - 1) + rowBytes bytes.
class Image {
public:
    Image(Reader& in, int rowBytes, int rows, int unit = 1) {
        const int slack = in.Range(0, 9);
        const bool up = in.Flag();
        const size_t stride = (static_cast<size_t>(rowBytes) + slack + unit - 1) / unit * unit;
        bytes_ = rows > 0 && rowBytes > 0 ? stride * (rows - 1) + rowBytes : 0;
        buffer_.reset(new unsigned char[bytes_ ? bytes_ : 1]);
        in.Fill(buffer_.get(), bytes_);
        pitch_ = static_cast<int>(up ? -static_cast<ptrdiff_t>(stride) : static_cast<ptrdiff_t>(stride));
        top_ = up && rows > 0 ? buffer_.get() + stride * (rows - 1) : buffer_.get();
    }
    unsigned char* top() { return top_; }
    int pitch() const { return pitch_; }
    std::vector<unsigned char> Snapshot() const { return std::vector<unsigned char>(buffer_.get(), buffer_.get() + bytes_); }
    void Restore(const std::vector<unsigned char>& s) {
        if (bytes_) std::memcpy(buffer_.get(), s.data(), bytes_);
    }
    bool Same(const std::vector<unsigned char>& s) const {
        return s.size() == bytes_ && (bytes_ == 0 || std::memcmp(s.data(), buffer_.get(), bytes_) == 0);
    }

private:
    size_t bytes_ = 0;
    std::unique_ptr<unsigned char[]> buffer_;
    unsigned char* top_ = nullptr;
    int pitch_ = 0;
};

// Pool size (now and then, since a pool starts threads), instruction set and
// rounding mode from the input; the rounding mode is restored by Finish().
class Environment {
public:
    explicit Environment(Reader& in) {
        const uint8_t pool = in.Take<uint8_t>();
        if (pool >= 240) CLyThreadPoolInstance::ReplaceSingletonForTesting(1 + pool % 16);
        LySetInstructionSetCap(static_cast<ELyInstructionSet>(in.Take<uint8_t>() % 3));
        static const int kModes[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
        std::fesetround(kModes[in.Take<uint8_t>() % 4]);
    }
    ~Environment() { std::fesetround(FE_TONEAREST); }
};

}  // namespace lyfuzz

#endif
