#ifndef LYAVUTILS_TESTS_TEST_SUPPORT_H
#define LYAVUTILS_TESTS_TEST_SUPPORT_H

// Shared helpers for the test programs: images with guard bytes and chosen
// alignment, pitch direction and row slack; instruction-set and pool-size
// switches; random data.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "LyAVUtilsVersion.h"
#include "memory/LyCpu.h"

namespace lytest {

// ------------------------------------------------------------ switches

// Caps the kernels' instruction set for the scope, through the same switch a
// host uses.
class ScopedIsa {
public:
    explicit ScopedIsa(ly::Isa isa) : previous_(LySetInstructionSetCap(static_cast<ELyInstructionSet>(isa))) {}
    ~ScopedIsa() { LySetInstructionSetCap(previous_); }
    ScopedIsa(const ScopedIsa&) = delete;
    ScopedIsa& operator=(const ScopedIsa&) = delete;

private:
    ELyInstructionSet previous_;
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
    // The image's last byte in memory ends a page and the next page is
    // inaccessible, so a read past the image faults even without
    // AddressSanitizer (alignOffset is then ignored).
    bool pageEnd = false;
};

// Allocates normally, or (pageEnd) in fresh pages that the allocation ends,
// followed by one inaccessible page.
void* AllocateBytes(size_t bytes, bool pageEnd);
void FreeBytes(void* p, size_t bytes, bool pageEnd);

template <class T>
struct PageEndAllocator {
    using value_type = T;
    bool pageEnd = false;
    PageEndAllocator() = default;
    explicit PageEndAllocator(bool atPageEnd) : pageEnd(atPageEnd) {}
    template <class U>
    PageEndAllocator(const PageEndAllocator<U>& other) : pageEnd(other.pageEnd) {}
    T* allocate(size_t n) { return static_cast<T*>(AllocateBytes(n * sizeof(T), pageEnd)); }
    void deallocate(T* p, size_t n) { FreeBytes(p, n * sizeof(T), pageEnd); }
    template <class U>
    bool operator==(const PageEndAllocator<U>& other) const { return pageEnd == other.pageEnd; }
    template <class U>
    bool operator!=(const PageEndAllocator<U>& other) const { return pageEnd != other.pageEnd; }
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
    std::vector<unsigned char> Snapshot() const { return {storage_.begin(), storage_.end()}; }
    // True when every byte outside the image rows equals `before`'s.
    bool OutsideUnchanged(const std::vector<unsigned char>& before) const;
    std::string Describe() const;

private:
    bool IsImageByte(size_t index) const;

    ImageLayout layout_{};
    std::vector<unsigned char, PageEndAllocator<unsigned char>> storage_;
    size_t topOffset_ = 0;
    size_t firstRowOffset_ = 0;  // offset of the lowest-addressed row
    unsigned char* top_ = nullptr;
    int pitch_ = 0;
};

// Title-like content: runs of fully transparent, fully opaque, repeated and
// random pixels (alpha in the last byte of each pixel), so that every skip,
// copy and cache path of a mixing kernel runs.
void FillTitleLike(TestImage& image, std::mt19937& rng = Rng());

// The 16-bit sample x of row y of a 16-bit plane, and a plane filled with one value.
uint16_t Sample16(const TestImage& plane, int x, int y);
void FillSamples16(TestImage& plane, uint16_t value);

// Writes `pixels` (as Pixels() returns them) back into the image's rows.
void SetPixels(TestImage& image, const std::vector<unsigned char>& pixels);

// The layouts most kernels are checked on: every alignment of the row start
// within 16 bytes, both pitch directions, a few slacks.
std::vector<ImageLayout> LayoutsFor(int width, int height, int bytesPerPixel);

// Widths 1..67, then 131, 259 and 1920 (which the sweep runs under two
// layouts only); heights 15, 16, 17 plus a few 1- and 2-row images.
constexpr int kDenseWidths = 67;
const std::vector<int>& TestWidths();
const std::vector<int>& TestHeights();

// ------------------------------------------------------------ differential sweep

// One image of a sweep case: its layout, and whether the operation writes it
// (a read-only image must come back byte for byte).
struct SweepPlane {
    ImageLayout layout;
    bool written;
};
using SweepImages = std::vector<std::unique_ptr<TestImage>>;
using MakeSweepPlanes = std::function<std::vector<SweepPlane>(int width, int height, int layoutIndex)>;

// Layout `layoutIndex` of LayoutsFor, shifted per plane so that the images of
// one case start at different alignments and walk in different directions.
ImageLayout SweepLayout(int width, int height, int bytesPerPixel, int layoutIndex, int plane);

// Runs `run` on random data (alpha extremes included) for the TestWidths,
// heights 1, 2, 15, 16, 17, the 16 layouts (a rotating quarter of them under
// the pooled runs: bands do not change how a row is walked), pool sizes 1, 4
// and 16, under every instruction set. Every run must give the scalar bytes of
// its pool size, and the one-thread bytes too unless the result depends on the
// band split; read-only images and every byte outside the images' rows must
// stay as they were.
// With `reference`, every run must also give the bytes it returns: the
// written images' pixels one after another, computed from the images as they
// are before the operation runs. Half the cases get title-like content
// (FillTitleLike) instead of plain random bytes.
using SweepReference = std::function<std::vector<unsigned char>(const SweepImages& before)>;
void ExpectAllPathsAgree(const MakeSweepPlanes& makePlanes, const std::function<void(SweepImages&)>& run,
                         bool dependsOnBands = false, const SweepReference& reference = nullptr);

// Two host threads run `runA` and `runB` at once, 25 times each, on copies of
// `startA` and `startB`: every result must equal what the same call gives
// when it runs alone.
void ExpectConcurrentCallersMatchSolo(const TestImage& startA, const std::function<void(TestImage&)>& runA,
                                      const TestImage& startB, const std::function<void(TestImage&)>& runB);

// True in a ThreadSanitizer build, where the exhaustive sweeps can run a
// sample: that build is there for the concurrency tests.
#if defined(__SANITIZE_THREAD__)
constexpr bool kUnderThreadSanitizer = true;
#elif defined(__has_feature)
constexpr bool kUnderThreadSanitizer = __has_feature(thread_sanitizer);
#else
constexpr bool kUnderThreadSanitizer = false;
#endif

// gtest assertion helper: first differing byte of two equally sized buffers.
::testing::AssertionResult SameBytes(const std::vector<unsigned char>& expected,
                                     const std::vector<unsigned char>& actual);

}  // namespace lytest

#endif
