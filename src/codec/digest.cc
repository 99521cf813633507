// MD5 as RFC 1321 defines it. Blocks are read in place; the state stays in registers through a block.

#include "qvsupt32/digest.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

#include "base/alias.h"

namespace {

static_assert(sizeof(RFC1321Context) == 108 && alignof(RFC1321Context) == 4);
static_assert(std::endian::native == std::endian::little, "message words and the digest are little-endian");

constexpr uint32_t kBlockSize = 64;

/// The integer part of 4294967296 times abs(sin(i)), for i from 1.
constexpr uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

/// The sum of *a and the auxiliary function of a pass. G's halves have no bit in common: added one by one, they wait
/// less for each other.
template <int kPass>
uint32_t mix(uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
  if constexpr (kPass == 1) {
    return a + (d ^ (b & (c ^ d)));
  } else if constexpr (kPass == 2) {
    return a + (c & ~d) + (b & d);
  } else if constexpr (kPass == 3) {
    return a + (b ^ c ^ d);
  } else {
    return a + (c ^ (b | ~d));
  }
}

uint32_t messageWord(const void *block, uint32_t k)
{
  uint32_t word;
  memcpy(&word, static_cast<const uint8_t *>(block) + k * sizeof(word), sizeof(word));
  return word;
}

template <int kPass>
inline void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t word, uint32_t shift, uint32_t sine)
{
  a = b + std::rotl(mix<kPass>(a + word + sine, b, c, d), static_cast<int>(shift));
}

/// How a pass goes through the block: word k of step j is (first + stride * j) mod 16; its four shifts take turns.
struct Pass {
  uint32_t first;
  uint32_t stride;
  uint32_t shifts[4];
};

constexpr Pass kPasses[4] = {
    {0, 1, {7, 12, 17, 22}}, {1, 5, {5, 9, 14, 20}}, {5, 3, {4, 11, 16, 23}}, {0, 7, {6, 10, 15, 21}}};

template <int kPass, uint32_t kStep>
inline void stepOf(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, const void *block)
{
  constexpr Pass kWay = kPasses[kPass - 1];
  constexpr uint32_t kWord = (kWay.first + kWay.stride * kStep) % 16;
  step<kPass>(a, b, c, d, messageWord(block, kWord), kWay.shifts[kStep % 4], kSines[16 * (kPass - 1) + kStep]);
}

template <int kPass, uint32_t kFirst>
inline void fourSteps(uint32_t &a, uint32_t &b, uint32_t &c, uint32_t &d, const void *block)
{
  stepOf<kPass, kFirst>(a, b, c, d, block);
  stepOf<kPass, kFirst + 1>(d, a, b, c, block);
  stepOf<kPass, kFirst + 2>(c, d, a, b, block);
  stepOf<kPass, kFirst + 3>(b, c, d, a, block);
}

template <int kPass>
inline void pass(uint32_t &a, uint32_t &b, uint32_t &c, uint32_t &d, const void *block)
{
  fourSteps<kPass, 0>(a, b, c, d, block);
  fourSteps<kPass, 4>(a, b, c, d, block);
  fourSteps<kPass, 8>(a, b, c, d, block);
  fourSteps<kPass, 12>(a, b, c, d, block);
}

/// Compresses whole blocks.
void compress(RFC1321Context *context, const uint8_t *blocks, uint32_t count)
{
  uint32_t a = context->state[0];
  uint32_t b = context->state[1];
  uint32_t c = context->state[2];
  uint32_t d = context->state[3];
  for (; count > 0; --count, blocks += kBlockSize) {
    const uint32_t before[4] = {a, b, c, d};
    pass<1>(a, b, c, d, blocks);
    pass<2>(a, b, c, d, blocks);
    pass<3>(a, b, c, d, blocks);
    pass<4>(a, b, c, d, blocks);
    a += before[0];
    b += before[1];
    c += before[2];
    d += before[3];
  }
  context->state[0] = a;
  context->state[1] = b;
  context->state[2] = c;
  context->state[3] = d;
}

template <int kPass>
void exportedStep(uint32_t *a, uint32_t b, uint32_t c, uint32_t d, const void *block, uint32_t k, uint32_t s,
                  uint32_t i)
{
  step<kPass>(*a, b, c, d, messageWord(block, k % 16), s % 32, RFC1321Step4T(i));
}

}  // namespace

void RFC1321Load(RFC1321Context *context)
{
  context->bitCount[0] = 0;
  context->bitCount[1] = 0;
  context->state[0] = 0x67452301;
  context->state[1] = 0xefcdab89;
  context->state[2] = 0x98badcfe;
  context->state[3] = 0x10325476;
  context->bufferedCount = 0;
  memset(context->digest, 0, sizeof(context->digest));
}

void RFC1321AddMsg(RFC1321Context *context, const void *bytes, uint32_t length)
{
  if (length == 0) {
    return;  // there may be no bytes to point to
  }
  const auto *from = static_cast<const uint8_t *>(bytes);
  uint64_t bits;
  memcpy(&bits, context->bitCount, sizeof(bits));
  bits += uint64_t{length} * 8;
  memcpy(context->bitCount, &bits, sizeof(bits));
  if (context->bufferedCount > 0) {
    const uint32_t buffered = context->bufferedCount % kBlockSize;
    const uint32_t taken = std::min(length, kBlockSize - buffered);
    memcpy(context->buffer + buffered, from, taken);
    if (buffered + taken < kBlockSize) {
      context->bufferedCount = buffered + taken;
      return;
    }
    compress(context, context->buffer, 1);
    context->bufferedCount = 0;
    from += taken;
    length -= taken;
  }
  const uint32_t blocks = length / kBlockSize;
  compress(context, from, blocks);
  const uint32_t rest = length % kBlockSize;
  if (rest > 0) {
    memcpy(context->buffer, from + size_t{blocks} * kBlockSize, rest);
    context->bufferedCount = rest;
  }
}

void RFC1321ComputeMsgDigest(RFC1321Context *context)
{
  constexpr uint32_t kLengthOffset = kBlockSize - sizeof(uint64_t);
  uint32_t buffered = context->bufferedCount % kBlockSize;
  context->buffer[buffered++] = 0x80;
  if (buffered > kLengthOffset) {
    memset(context->buffer + buffered, 0, kBlockSize - buffered);
    compress(context, context->buffer, 1);
    buffered = 0;
  }
  memset(context->buffer + buffered, 0, kLengthOffset - buffered);
  memcpy(context->buffer + kLengthOffset, context->bitCount, sizeof(context->bitCount));
  compress(context, context->buffer, 1);
  memcpy(context->digest, context->state, sizeof(context->digest));
}

RFC1321Context *RFC1321UnLoad(RFC1321Context *context)
{
  memset(context, 0, sizeof(*context));
  return context;
}

void RFC1321Transform(RFC1321Context *context, const void *block)
{
  compress(context, static_cast<const uint8_t *>(block), 1);
}

void RFC1321Step4Round1(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d, const void *block,
                        uint32_t k, uint32_t s, uint32_t i)
{
  exportedStep<1>(a, *b, *c, *d, block, k, s, i);
}

void RFC1321Step4Round2(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d, const void *block,
                        uint32_t k, uint32_t s, uint32_t i)
{
  exportedStep<2>(a, *b, *c, *d, block, k, s, i);
}

void RFC1321Step4Round3(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d, const void *block,
                        uint32_t k, uint32_t s, uint32_t i)
{
  exportedStep<3>(a, *b, *c, *d, block, k, s, i);
}

void RFC1321Step4Round4(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d, const void *block,
                        uint32_t k, uint32_t s, uint32_t i)
{
  exportedStep<4>(a, *b, *c, *d, block, k, s, i);
}

uint32_t RFC1321Step4T(uint32_t i)
{
  return i >= 1 && i <= std::size(kSines) ? kSines[i - 1] : 0;
}

uint32_t RFC1321Step4RotateLeft(uint32_t value, uint32_t shift)
{
  return std::rotl(value, static_cast<int>(shift % 32));
}

QV_ALIAS(SMRFC1321Load, RFC1321Load)
QV_ALIAS(SMRFC1321AddMsg, RFC1321AddMsg)
QV_ALIAS(SMRFC1321ComputeMsgDigest, RFC1321ComputeMsgDigest)
QV_ALIAS(SMRFC1321UnLoad, RFC1321UnLoad)
