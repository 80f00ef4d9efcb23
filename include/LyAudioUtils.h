#ifndef LYAVUTILS_AUDIOUTILS_H
#define LYAVUTILS_AUDIOUTILS_H

#include "LyAVUtilsTypes.h"

// Interleaved PCM audio: 8-bit unsigned (silence 128) or 16-bit signed
// little-endian (silence 0) samples; a frame is blockAlign bytes.
namespace LyAudioUtils {

// ============================================================ buffer arithmetic

LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& info, uint32_t samples);
LYAVUTILS_API uint64_t GetAudioBufferSize(const SLyWaveFormatInfo& info, uint64_t samples);
LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& info, double msec);
LYAVUTILS_API uint32_t GetAudioSampleCounts(const SLyWaveFormatInfo& info, uint32_t bytes);
LYAVUTILS_API double GetAudioSampleMsecond(const SLyWaveFormatInfo& info, uint32_t samples);
LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyWaveFormatInfo& source, uint32_t bytes,
                                          const SLyWaveFormatInfo& destination);
LYAVUTILS_API uint32_t GetAudioBufferSize(const SLyAudioResamplerSrc& source, uint32_t bytes,
                                          const SLyAudioResamplerSrc& destination);
LYAVUTILS_API uint64_t GetAudioSampleCounts(const uint32_t& sampleRate, const ELyFrameRate& rate,
                                            uint32_t startFrame, uint32_t frameCount);

// ============================================================ sample processing

LYAVUTILS_API int SetAudioVolume(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t bytes,
                                 uint32_t* const gains);
LYAVUTILS_API int GetAudioVolume(ILyAudioSample* sample, double* const levels);
LYAVUTILS_API int ChangeAudioChannelOption(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t bytes,
                                           ELyAudioChannelOption option);
LYAVUTILS_API void SilientAudioBuffer(const SLyWaveFormatInfo& info, unsigned char* buffer, uint32_t frames);

}  // namespace LyAudioUtils

#endif
