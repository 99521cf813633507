// Data objects under test: freed by scope, and seen as the bytes of their binary form.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qvsupt32.h"
#include "support/guarded_block.h"
#include "support/statuses.h"

namespace support {

using Bytes = std::vector<uint8_t>;

/// Bytes written as hexadecimal digits, blanks where they help, and text in quotes: "02 00 'abc'".
inline Bytes hex(const std::string &text)
{
  Bytes bytes;
  for (size_t i = 0; i < text.size();) {
    if (text[i] == ' ') {
      ++i;
    } else if (text[i] == '\'') {
      const size_t end = text.find('\'', i + 1);
      bytes.insert(bytes.end(), &text[i + 1], &text[end]);
      i = end + 1;
    } else {
      bytes.push_back(static_cast<uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
      i += 2;
    }
  }
  return bytes;
}

/// An object without fields, and one of an inline value.
inline const Bytes kEmptyBlock = hex("'BODS' 0000 0800");
inline const Bytes kOneBlock = hex("'BODS' 0100 1000 0500 07 03 44332211");

struct FreeObject {
  void operator()(SDOConfig *object) const { SDOConfigFree(object); }
};
using Object = std::unique_ptr<SDOConfig, FreeObject>;

/// A type byte without a meaning of its own, and those of an object in memory and of an array of them.
constexpr uint8_t kPlain = 7;
constexpr uint8_t kObject = SDO_TYPE_CONFIG;
constexpr uint8_t kObjects = SDO_TYPE_CONFIG | SDO_TYPE_ARRAY;

constexpr uint32_t kPointer = sizeof(SDOConfig *);

inline uint32_t add(const Object &object, uint16_t fieldID, const Bytes &value, uint8_t type = kPlain,
                    int16_t replace = 0)
{
  return SDOConfigAddData(object.get(), fieldID, type, value.data(), static_cast<uint32_t>(value.size()), replace);
}

/// Adds a nested object, or with the array bit in the type an array of that one.
inline uint32_t addNested(const Object &object, uint16_t fieldID, SDOConfig *nested, uint8_t type = kObject)
{
  const void *value = (type & SDO_TYPE_ARRAY) == 0 ? static_cast<void *>(nested) : &nested;
  return SDOConfigAddData(object.get(), fieldID, type, value, kPointer, 1);
}

/// Hands an object over to another one, and returns it for a look from behind.
inline SDOConfig *nest(const Object &object, uint16_t fieldID, Object nested)
{
  EXPECT_EQ(addNested(object, fieldID, nested.get()), kOk);
  return nested.release();
}

/// An object with one value of `size` bytes under each field ID, all of them the ID's low byte.
inline Object objectOf(std::initializer_list<std::pair<uint16_t, uint32_t>> fields)
{
  Object object(SDOConfigAlloc());
  for (const auto &[fieldID, size] : fields) {
    EXPECT_EQ(add(object, fieldID, Bytes(size, static_cast<uint8_t>(fieldID))), kOk);
  }
  return object;
}

inline uint32_t binarySize(const SDOConfig *object)
{
  return static_cast<uint32_t>(SDOConfigGetBinarySize(object));
}

/// Whether the object is as large as it says and has this binary form. Takes nothing from the heap.
inline bool flattensTo(const SDOConfig *object, const Bytes &bytes)
{
  static uint8_t buffer[SDO_BINARY_SIZE_MAX];
  uint32_t size = sizeof(buffer);
  return SDOConfigReCalcBinarySize(object) == static_cast<int32_t>(bytes.size()) &&
         SDOConfigToBinary(object, buffer, &size) == kOk && size == bytes.size() &&
         memcmp(buffer, bytes.data(), size) == 0;
}

inline Bytes flatten(const SDOConfig *object)
{
  Bytes bytes(binarySize(object));
  auto size = static_cast<uint32_t>(bytes.size());
  EXPECT_EQ(SDOConfigToBinary(object, bytes.data(), &size), kOk);
  EXPECT_EQ(size, bytes.size());
  return bytes;
}

/// What a lookup answers, and what it leaves: outputs that it does not write stay as they are here.
struct Reading {
  uint32_t status = 0;
  uint32_t size = 0;
  Bytes buffer = {};
  uint16_t fieldID = 0x5555;
  uint8_t type = 0x55;
  bool operator==(const Reading &) const = default;
};

/// Runs a lookup into a buffer of `room` bytes that ends at an unreadable page.
template <class Lookup>
Reading read(uint32_t room, Lookup lookup)
{
  GuardedBlock buffer(Bytes(room, 0xEE));
  Reading reading;
  reading.size = room;
  reading.status = lookup(reading, buffer.data());
  reading.buffer = buffer.bytes();
  return reading;
}

/// The buffer that a lookup of a value leaves: the value, or nothing of it, and what was there before.
inline Bytes bufferWith(Bytes value, uint32_t room)
{
  if (value.size() > room) {
    value.clear();
  }
  value.resize(room, 0xEE);
  return value;
}

/// Expects that a lookup copies a value into every buffer that it fits, and tells its size to all others. Its other
/// outputs are those given, on success only unless `always`.
template <class Lookup>
void expectCopied(const Bytes &value, Lookup lookup, Reading outputs = {}, bool always = false)
{
  const auto need = static_cast<uint32_t>(value.size());
  for (uint32_t room = 0; room <= need + 1; ++room) {
    Reading expected = room < need && !always ? Reading() : outputs;
    expected.status = room < need ? kTooSmall : kOk;
    expected.size = need;
    expected.buffer = bufferWith(value, room);
    EXPECT_EQ(read(room, lookup), expected) << room << " of " << need;
  }
}

}  // namespace support
