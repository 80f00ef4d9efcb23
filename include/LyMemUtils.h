#ifndef LYAVUTILS_MEMUTILS_H
#define LYAVUTILS_MEMUTILS_H

#include "LyAVUtilsTypes.h"

// Greatest common divisor by Euclid's algorithm. Either argument 0 gives 0
// (not the other argument): LyComputeGCD(0, 5) == LyComputeGCD(5, 0) == 0.
LYAVUTILS_API unsigned int LyComputeGCD(unsigned int a, unsigned int b);

// Copies count bytes with the variant chosen by the processor feature level:
// level 0 uses the runtime's memcpy; MMX-only (1) aligns the destination to 8
// and moves 8-byte blocks; levels 3 and 7 align to 16 and move 16-byte blocks.
// On the levels no real processor reports (2, 4, 5, 6) nothing is copied.
// The buffers must not overlap.
LYAVUTILS_API void LyMemCpy(void* destination, const void* source, uint32_t count);

// Fills count bytes with value.
LYAVUTILS_API void LyMemSet(void* destination, unsigned char value, uint32_t count);

// Fills count 32-bit words with value.
LYAVUTILS_API void LyMemSetD(uint32_t* destination, uint32_t value, uint32_t count);

// Writes count copies of the 8-byte pattern pattern[0], pattern[1] (in that
// memory order): count * 8 bytes. A null pattern writes nothing.
LYAVUTILS_API void LyMemSetDoubleD(unsigned char* destination, uint32_t* const pattern, uint32_t count);

#endif
