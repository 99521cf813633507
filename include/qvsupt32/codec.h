/* Encodings: Base64.
 *
 * Base64 is that of RFC 4648 on one line: the alphabet A-Z, a-z, 0-9, "+" and "/", padded with "=". Neither function
 * fails or checks anything: both return 0 for whatever they are given, and text that is no Base64 decodes to some
 * bytes, by the rules below. Neither knows the size of its destination.
 *
 * Threads and signal handlers: both may be called anywhere, on buffers that nobody else uses. */
#ifndef QVSUPT32_CODEC_H
#define QVSUPT32_CODEC_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Bytes that encode64 writes at most for a count of bytes, and decode64 for a count of characters, from 0 on, NUL
 * included. */
#define SM_BASE64_TEXT_SIZE(count) (((uint32_t)(count) + 2u) / 3u * 4u + 1u)
#define SM_BASE64_BYTES_SIZE(count) ((uint32_t)(count) / 4u * 3u + 1u)

/* Writes count bytes as Base64 text and a NUL: four characters for every three bytes, the last group padded with "=".
 * A count below 1 gives an empty text. alphabet is 64 characters to use in place of the standard ones, or null. text
 * has SM_BASE64_TEXT_SIZE(count) bytes; it may not overlap the others. Returns SM_STATUS_SUCCESS (0). */
QVSUPT32_API uint32_t encode64(char *text, const uint8_t *bytes, int32_t count, const char *alphabet);
QVSUPT32_API uint32_t SMBase64Encode(char *text, const uint8_t *bytes, int32_t count, const char *alphabet);

/* Decodes count characters of text, which need not end in a NUL, in groups of four, and writes a NUL after the bytes;
 * one to three characters that are left over are ignored, and a count below 4 gives the NUL alone. Always uses the
 * standard alphabet. The number of bytes is not returned: it is three a group, less one for every "=".
 *
 * A group that has "=" first or second gives no byte, whatever follows; one that has it third gives one byte, one that
 * has it fourth two. Groups after a padded one are decoded as well. Any other character outside the alphabet, a line
 * feed for example, counts as a value with all bits set, the bits of its neighbours in the bytes that they share
 * included.
 *
 * bytes has SM_BASE64_BYTES_SIZE(count) bytes; it may be text itself, and else may not overlap it. Returns
 * SM_STATUS_SUCCESS (0). */
QVSUPT32_API uint32_t decode64(uint8_t *bytes, const char *text, int32_t count);
QVSUPT32_API uint32_t SMBase64Decode(uint8_t *bytes, const char *text, int32_t count);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
