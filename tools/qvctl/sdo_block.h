// Self-describing objects in their flat binary form: taking a block apart, with everything that is wrong in it, and
// putting one together byte by byte as the library does. Hostile blocks are taken apart like any other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qvctl {

struct SdoObject;

struct SdoField {
  uint16_t id = 0;
  uint8_t type = 0;               // as an object has it: low bits 13 for nested objects
  std::string value;              // of a field without nested objects
  std::vector<SdoObject> nested;  // one, or those of an array

  bool isNested() const { return (type & 0x0F) == 13; }
  bool isArray() const { return isNested() && (type & 0x10) != 0; }
};

struct SdoObject {
  std::vector<SdoField> fields;
};

/// An object, or an array of objects.
struct SdoBlock {
  bool isArray = false;
  std::vector<SdoObject> objects;
  size_t size = 0;  // in bytes; what follows does not belong to the block
};

struct SdoFinding {
  size_t where;  // offset in the bytes
  std::string what;
};

/// Takes a block apart as far as that goes. A block without findings is one that the library could have written.
SdoBlock decodeSdo(std::string_view bytes, std::vector<SdoFinding> &findings);

/// The bytes of a block; fields are put in order. Throws std::length_error where the library has no such block: too
/// large, a field twice, a value without bytes, or an ID or a type that there is not.
std::string encodeSdo(const SdoBlock &block);

}  // namespace qvctl
