// Encoding inside the library, with the status as its own type.
#pragma once

#include "base/status.h"
#include "qvsupt32/sdo.h"

namespace qv::sdo {

/// Writes an object into a buffer of `size` bytes. See SDOConfigToBinary.
Status encode(const SDOConfig &object, uint8_t *buffer, uint32_t &size);

/// Writes `count` objects as a binary array, or measures it if there is no array. The pointers need no alignment. See
/// SDOConfigArrayToBinaryArray.
Status encodeArray(const uint8_t *pointers, uint32_t count, uint8_t *array, uint32_t &size);

}  // namespace qv::sdo
