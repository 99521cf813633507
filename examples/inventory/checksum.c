// Adler-32 in its plainest form: a block is small, so the remainders may be taken byte by byte.
#include "checksum.h"

uint32_t adler32(const uint8_t *bytes, size_t size)
{
  enum { kModulus = 65521 };  // the largest prime below 2^16
  uint32_t sum = 1;
  uint32_t sumOfSums = 0;
  for (size_t i = 0; i < size; ++i) {
    sum = (sum + bytes[i]) % kModulus;
    sumOfSums = (sumOfSums + sum) % kModulus;
  }
  return sumOfSums << 16 | sum;
}
