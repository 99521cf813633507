/* MD5 message digests, as RFC 1321 defines them.
 *
 * A record of the caller goes through RFC1321Load, any number of RFC1321AddMsg, and RFC1321ComputeMsgDigest; its digest
 * field then holds the 16 bytes. There is no global state: independent records may be used by several threads at once.
 * No argument may be null, except bytes with a length of 0. Signal handlers may call them on records of their own.
 * MD5 is fit to tell names apart, and unfit to protect anything. */
#ifndef QVSUPT32_DIGEST_H
#define QVSUPT32_DIGEST_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* 108 bytes without gaps on every machine: no member needs more alignment than 4. */
typedef struct RFC1321Context {
  uint32_t bitCount[2];   /* message bits added so far, 64 bits: the low word, the high word */
  uint32_t state[4];      /* the chaining words A to D */
  uint32_t bufferedCount; /* bytes waiting in the block buffer, 0 to 63 */
  uint8_t digest[16];     /* the result */
  uint8_t buffer[64];     /* the partial block */
} RFC1321Context;

/* Starts a message. The block buffer is left as it is. */
QVSUPT32_API void RFC1321Load(RFC1321Context *context);
QVSUPT32_API void SMRFC1321Load(RFC1321Context *context);

/* Adds length bytes to the message. */
QVSUPT32_API void RFC1321AddMsg(RFC1321Context *context, const void *bytes, uint32_t length);
QVSUPT32_API void SMRFC1321AddMsg(RFC1321Context *context, const void *bytes, uint32_t length);

/* Ends the message and stores its digest. Afterwards only the digest field means anything. */
QVSUPT32_API void RFC1321ComputeMsgDigest(RFC1321Context *context);
QVSUPT32_API void SMRFC1321ComputeMsgDigest(RFC1321Context *context);

/* Sets every byte of the record to zero, and returns the record. */
QVSUPT32_API RFC1321Context *RFC1321UnLoad(RFC1321Context *context);
QVSUPT32_API RFC1321Context *SMRFC1321UnLoad(RFC1321Context *context);

/* The parts of the algorithm. A block is 64 bytes, sixteen little-endian words, and needs no alignment.
 *
 * RFC1321Transform compresses one block into the state words. */
QVSUPT32_API void RFC1321Transform(RFC1321Context *context, const void *block);

/* One step of the first to fourth pass: *a becomes *b + ((*a + f(*b, *c, *d) + word k + T[i]) rotated left by s), with
 * the auxiliary functions F, G, H and I. k is 0 to 15, i is 1 to 64. */
QVSUPT32_API void RFC1321Step4Round1(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d,
                                     const void *block, uint32_t k, uint32_t s, uint32_t i);
QVSUPT32_API void RFC1321Step4Round2(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d,
                                     const void *block, uint32_t k, uint32_t s, uint32_t i);
QVSUPT32_API void RFC1321Step4Round3(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d,
                                     const void *block, uint32_t k, uint32_t s, uint32_t i);
QVSUPT32_API void RFC1321Step4Round4(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d,
                                     const void *block, uint32_t k, uint32_t s, uint32_t i);

/* Returns T[i], the integer part of 4294967296 times abs(sin(i)), for i from 1 to 64; 0 for any other. */
QVSUPT32_API uint32_t RFC1321Step4T(uint32_t i);

/* Returns value rotated left by shift bits. */
QVSUPT32_API uint32_t RFC1321Step4RotateLeft(uint32_t value, uint32_t shift);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
