#ifndef LYAVUTILS_AUDIOUTILS_H
#define LYAVUTILS_AUDIOUTILS_H

#include "LyAVUtilsTypes.h"

// Interleaved PCM audio: 8-bit unsigned (silence 128) or 16-bit signed
// little-endian (silence 0) samples; a frame is blockAlign bytes.
//
// Arithmetic shared by these functions: unsigned 32-bit counts become doubles
// as unsigned values; "round" adds 0.5 to a value above zero and subtracts 0.5
// otherwise, then truncates toward zero to a 64-bit integer. A 32-bit result
// keeps that integer's low 32 bits (a negative value wraps modulo 2^32); a
// double outside the 64-bit range, or NaN, truncates to 0x8000000000000000
// (so 0 in 32 bits) instead of being undefined.
//
// Where a division by zero would happen (a blockAlign or samplesPerSec of 0)
// the function refuses: it returns 0 (0.0 for doubles) and writes nothing.
// None of these functions allocates; all may be called from any thread at
// once.
namespace LyAudioUtils {

// ============================================================ buffer arithmetic

// blockAlign * samples in unsigned 32-bit arithmetic (wraps).
LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& info, uint32_t samples);
// blockAlign * samples in unsigned 64-bit arithmetic.
LYAVUTILS_API uint64_t GetAudioBufferSize(const SLyWaveFormatInfo& info, uint64_t samples);
// round(avgBytesPerSec * msec / 1000.0). Not aligned to blockAlign: 0.03 ms
// of 22050 Hz mono 8-bit is 1 byte. A negative duration wraps.
LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& info, double msec);
// bytes / blockAlign, truncating; 0 when blockAlign is 0.
LYAVUTILS_API uint32_t GetAudioSampleCounts(const SLyWaveFormatInfo& info, uint32_t bytes);
// samples * 1000.0 / samplesPerSec; 0.0 when samplesPerSec is 0.
LYAVUTILS_API double GetAudioSampleMsecond(const SLyWaveFormatInfo& info, uint32_t samples);
// Size in `destination` of the audio that fills `bytes` in `source`:
// frames = bytes / source.blockAlign; round(frames / source.samplesPerSec *
// destination.samplesPerSec) in double precision, dividing first; times
// destination.blockAlign in unsigned 32-bit arithmetic. 0 when the source's
// blockAlign or samplesPerSec is 0.
LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& source, uint32_t bytes,
                                          const SLyWaveFormatInfo& destination);
// The same for resampler descriptions (channels and bitsPerSample not read).
LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyAudioResamplerSrc& source, uint32_t bytes,
                                          const SLyAudioResamplerSrc& destination);
// Sample frames that belong to video frames startFrame .. startFrame +
// frameCount - 1: round(den * (sampleRate * end) / num) - round(startFrame *
// sampleRate * den / num), where end = startFrame + frameCount is a wrapping
// 32-bit sum and the rest is double precision. Both ends are positions from
// frame 0, so consecutive runs add up exactly to the run spanning them: at
// 48000 Hz, 29.97 gives 1602, 1601, 1602, 1601, 1602 per frame, 23.98 gives
// 2002, and 44100 Hz at 29.97 gives 1471, 1472, 1471. The difference is taken
// in unsigned 64-bit arithmetic (a wrapped end gives a huge count). 0 for a
// rate outside 0..7.
LYAVUTILS_API uint64_t GetAudioSampleCounts(const uint32_t& sampleRate, const ELyFrameRate& rate,
                                            uint32_t startFrame, uint32_t frameCount);

// ============================================================ sample processing
//
// The buffer holds bytes / blockAlign whole frames; trailing bytes are
// ignored. These functions never read or write past `bytes` (or, for
// SilientAudioBuffer, past blockAlign * frames).

// Multiplies sample c of every frame by gains[c] percent (100 = unchanged),
// for c below channels; gains must hold `channels` entries.
//  * 16-bit: (s * gain) / 100 as a 32-bit int product (it wraps for huge
//    gains) with the division truncating toward zero, clamped to
//    -32768..32767. 20000 at 200 % gives 32767; -3 at 50 % gives -1.
//  * 8-bit: above 128, 128 + trunc((s - 128) * gain / 100.0), where the
//    product is unsigned 32-bit; at or below 128, trunc(128.0 - gain / 100.0
//    * (128 - s)). Either result is kept modulo 256: this path wraps instead
//    of clipping (200 at 200 % gives 16).
// Gains are unsigned, so a "negative" gain acts as a very large one.
// A format whose channels do not fit in blockAlign reaches into the next
// frame; frames are then processed in order and any sample that would not lie
// entirely inside `bytes` is skipped.
// Returns 1 (also when there is no whole frame); 0, touching nothing, for a
// null buffer or gains, bitsPerSample other than 8 or 16, channels below 1 or
// blockAlign 0.
LYAVUTILS_API int SetAudioVolume(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t bytes,
                                 uint32_t* const gains);
// Two-channel level meter in dBFS. Calls sample->GetAudioFormat (slot 6);
// unless it reports 2 channels of 16 bits, returns 0. Then LockAudioData
// (slot 7), which must fill SLyAudioSampleData with `samples` pointing to
// frames * 2 interleaved 16-bit samples (4 * frames bytes are read, whatever
// blockAlign says) and `frames`; `bytes` is not read. UnlockAudioData (slot 8)
// is called exactly once after every LockAudioData. The return values of the
// three operations are not looked at (the records start zeroed, so a format
// call that fills nothing is refused).
// Per channel, a robust peak: 0 with no frames, the sample itself with one
// frame, otherwise the mean (truncated) of the 20 largest non-negative samples
// with zeros filling in when fewer than 20 are non-negative; negative samples
// are ignored. Level = |peak / 32767.0| (|peak| / 32768.0 for a negative
// single sample); stored as 20 * log10(level) when level as a float exceeds
// 0.00001, else -9223372036854775808.0 (-2^63) for no signal. 20 frames of
// 32767 read 0 dB. The scratch list lives on the stack.
// Returns 1 with levels[0] (left) and levels[1] (right) written; 0 with levels
// untouched for a null sample or levels, a format other than stereo 16-bit, or
// a null `samples` with a nonzero frame count (after UnlockAudioData).
LYAVUTILS_API int GetAudioVolume(ILyAudioSample* sample, double* const levels);
// Routes stereo channels in place. Normal (0) and values outside 0..4 do
// nothing. Mute (4) writes silence over the whole frames. LeftToBoth,
// RightToBoth and Swap treat frames as (left, right) pairs whatever channels
// and blockAlign say:
//  * 16-bit: the first 4 * (frames / 4) frames are taken as 4-byte stereo
//    frames from the start of the buffer; the remaining frames % 4 frames are
//    then taken from buffer + blockAlign * (frames / 4). For stereo 16-bit with
//    4 or more frames that lies inside the frames already done, so a Swap
//    there undoes itself and the last frames % 4 frames stay as they were.
//    This placement is deliberate and kept.
//  * 8-bit: `frames` 2-byte frames from the start.
// A frame that would not lie entirely inside `bytes` (possible only when
// blockAlign is smaller than these assumed frames) is skipped.
// Returns 1; 0, touching nothing, for a null buffer, bitsPerSample other than
// 8 or 16, channels below 1 or blockAlign 0.
LYAVUTILS_API int ChangeAudioChannelOption(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t bytes,
                                           ELyAudioChannelOption option);
// Writes silence (128 for 8-bit, 0 for 16-bit) over blockAlign * frames bytes,
// the product taken in unsigned 32-bit arithmetic; note that the count is in
// frames. Other sample sizes and a null buffer do nothing.
LYAVUTILS_API void SilientAudioBuffer(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t frames);

}  // namespace LyAudioUtils

#endif
