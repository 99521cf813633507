// Decoding inside the library: from views that were checked already, and with the reason of a failure.
#pragma once

#include "sdo/binary_layout.h"
#include "sdo/config.h"

namespace qv::sdo {

/// Makes the object of a binary.
Status decode(const BinaryView &binary, OwnedObject &object);

/// Makes an object of each element. On a failure those already made are freed again and their slots set to null.
Status decodeArray(const BinaryArrayView &array, SDOConfig **objects);

}  // namespace qv::sdo
