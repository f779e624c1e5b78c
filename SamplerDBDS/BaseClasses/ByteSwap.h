// ByteSwap.h - the byte order of arrays, and 24-bit samples as 32-bit words.
#pragma once

namespace Kestrova {

// Reverses the bytes of each of `count` elements of `elemSize` bytes, in place. Element sizes 0 and 1, and a
// null pointer, change nothing. The data need not be aligned.
void OSSwapArray(void* pData, unsigned long count, unsigned long elemSize);

// The same for elements of 2, 3, 4 and 8 bytes.
void OSSwapArrayInt16(void* pData, unsigned long count);
void OSSwapArrayInt24(void* pData, unsigned long count);
void OSSwapArrayInt32(void* pData, unsigned long count);
void OSSwapArrayInt64(void* pData, unsigned long count);

// Widens, in place, `count` packed little-endian 24-bit samples to 32-bit words: the sample in the top three
// bytes, the low byte 0. The buffer holds count * 4 bytes, the samples in its first count * 3.
void Convert24to32(void* pData, unsigned long count);

}  // namespace Kestrova
