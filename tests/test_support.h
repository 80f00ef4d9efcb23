#ifndef LYAVUTILS_TESTS_TEST_SUPPORT_H
#define LYAVUTILS_TESTS_TEST_SUPPORT_H

// Shared helpers for the test programs: images with guard bytes and chosen
// alignment, pitch direction and row slack; instruction-set and pool-size
// switches; random data.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "memory/LyCpu.h"

namespace lytest {

// ------------------------------------------------------------ switches

// Caps the kernels' instruction set for the scope.
class ScopedIsa {
public:
    explicit ScopedIsa(ly::Isa isa) : previous_(ly::SetIsaCapForTesting(isa)) {}
    ~ScopedIsa() { ly::SetIsaCapForTesting(previous_); }
    ScopedIsa(const ScopedIsa&) = delete;
    ScopedIsa& operator=(const ScopedIsa&) = delete;

private:
    ly::Isa previous_;
};

// Every level this machine can run, scalar first.
std::vector<ly::Isa> AvailableIsas();
const char* IsaName(ly::Isa isa);

// Replaces the pool singleton by one of `threads` workers for the scope, and
// restores a pool of the detected size afterwards.
class ScopedPoolThreads {
public:
    explicit ScopedPoolThreads(int threads);
    ~ScopedPoolThreads();
    ScopedPoolThreads(const ScopedPoolThreads&) = delete;
    ScopedPoolThreads& operator=(const ScopedPoolThreads&) = delete;
};

// The pool sizes every banded operation is checked at.
inline const std::vector<int>& PoolSizes() {
    static const std::vector<int> sizes = {1, 4, 16};
    return sizes;
}

// ------------------------------------------------------------ random data

std::mt19937& Rng();  // reseeded per test by the test main
void FillRandom(unsigned char* p, size_t n, std::mt19937& rng = Rng());
// Random bytes biased towards 0, 1, 127, 128, 254 and 255 (alpha extremes).
void FillRandomWithExtremes(unsigned char* p, size_t n, std::mt19937& rng = Rng());

// ------------------------------------------------------------ images

struct ImageLayout {
    int width = 1;
    int height = 1;
    int bytesPerPixel = 4;
    int alignOffset = 0;   // top-row start address mod 64
    int slack = 5;         // bytes between one row's end and the next row's start
    bool bottomUp = false; // negative pitch: row 0 is the highest address
};

// An image inside a larger buffer full of guard bytes. Everything that is not
// a byte of the image's own rows (guards before and after, slack between rows)
// can be checked for changes.
class TestImage {
public:
    TestImage() = default;
    explicit TestImage(const ImageLayout& layout);
    TestImage(int width, int height, int bytesPerPixel, int alignOffset = 0, int slack = 5,
              bool bottomUp = false);

    unsigned char* data() { return top_; }            // row 0
    const unsigned char* data() const { return top_; }
    int pitch() const { return pitch_; }
    int width() const { return layout_.width; }
    int height() const { return layout_.height; }
    int rowBytes() const { return layout_.width * layout_.bytesPerPixel; }
    const ImageLayout& layout() const { return layout_; }
    unsigned char* row(int y) { return top_ + static_cast<ptrdiff_t>(pitch_) * y; }
    const unsigned char* row(int y) const { return top_ + static_cast<ptrdiff_t>(pitch_) * y; }
    unsigned char* pixel(int x, int y) { return row(y) + x * layout_.bytesPerPixel; }

    // Address just past the image's rows in pitch direction (row `height`).
    unsigned char* rowAfterLast() { return row(layout_.height); }

    void FillRandom(std::mt19937& rng = Rng());
    void FillRandomWithExtremes(std::mt19937& rng = Rng());
    void Fill(unsigned char value);                   // image bytes only
    void CopyPixelsFrom(const TestImage& other);      // same width, height, bpp

    // The image's own bytes, row by row, without slack.
    std::vector<unsigned char> Pixels() const;
    // Every byte of the buffer (image, slack and guards).
    std::vector<unsigned char> Snapshot() const { return storage_; }
    // True when every byte outside the image rows equals `before`'s.
    bool OutsideUnchanged(const std::vector<unsigned char>& before) const;
    std::string Describe() const;

private:
    bool IsImageByte(size_t index) const;

    ImageLayout layout_{};
    std::vector<unsigned char> storage_;
    size_t topOffset_ = 0;
    size_t firstRowOffset_ = 0;  // offset of the lowest-addressed row
    unsigned char* top_ = nullptr;
    int pitch_ = 0;
};

// The layouts most kernels are checked on: every alignment of the row start
// within 16 bytes, both pitch directions, a few slacks.
std::vector<ImageLayout> LayoutsFor(int width, int height, int bytesPerPixel);

// Widths 1..67 and heights 15, 16, 17 plus a few 1- and 2-row images.
const std::vector<int>& TestWidths();
const std::vector<int>& TestHeights();

// gtest assertion helper: first differing byte of two equally sized buffers.
::testing::AssertionResult SameBytes(const std::vector<unsigned char>& expected,
                                     const std::vector<unsigned char>& actual);

}  // namespace lytest

#endif
