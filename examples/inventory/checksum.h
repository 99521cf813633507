// Adler-32, the checksum of RFC 1950.
#pragma once

#include <stddef.h>
#include <stdint.h>

uint32_t adler32(const uint8_t *bytes, size_t size);
