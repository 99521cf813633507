// Decoding with the reason of a failure, for those who have a status for it.
#pragma once

#include "base/status.h"
#include "qvsupt32/sdo.h"

namespace qv::sdo {

/// Turns a binary array into objects, of which there is room for count. See SDOBinaryArrayToConfigArray.
Status decodeArray(const void *array, SDOConfig **objects, uint32_t &count);

}  // namespace qv::sdo
