// See sdo_block.h.

#include "sdo_block.h"

#include <algorithm>
#include <stdexcept>

#include "qvsupt32/sdo.h"

namespace qvctl {
namespace {

constexpr size_t kHeader = 8;  // of a block; an entry has the same size
constexpr size_t kEntry = 8;
constexpr size_t kInline = 4;
constexpr uint8_t kOutOfLine = 0x04;

/// No block that the library writes is deeper: each level takes a header and an entry.
constexpr size_t kDeepest = SDO_BINARY_SIZE_MAX / (kHeader + kEntry) + 1;

uint16_t read16(std::string_view bytes, size_t at)
{
  return static_cast<uint16_t>(static_cast<unsigned char>(bytes[at]) | static_cast<unsigned char>(bytes[at + 1]) << 8);
}

uint32_t read32(std::string_view bytes, size_t at)
{
  return read16(bytes, at) | static_cast<uint32_t>(read16(bytes, at + 2)) << 16;
}

void write16(std::string &bytes, size_t at, size_t value)
{
  bytes[at] = static_cast<char>(value & 0xFF);
  bytes[at + 1] = static_cast<char>(value >> 8 & 0xFF);
}

bool isFieldId(uint32_t id)
{
  return id >= 1 && id <= SDO_FIELD_ID_MAX;
}

std::string number(size_t value)
{
  return std::to_string(value);
}

/// Takes blocks apart. Each value is looked at once: one that lies over another is a finding and is not descended into.
class Decoder {
 public:
  Decoder(std::string_view bytes, std::vector<SdoFinding> &findings) : bytes_(bytes), findings_(findings) {}

  /// The size that the header at a place says, if that is a header of the kind and a size that the space has; else 0.
  size_t checkHeader(size_t at, size_t space, uint32_t magic)
  {
    if (space < kHeader) {
      find(at, "too short for a header: " + number(space) + " bytes");
    } else if (read32(bytes_, at) != magic) {
      find(at, magic == SDO_BINARY_MAGIC ? "no object begins here (BODS)" : "no array begins here (BADS)");
    } else if (const size_t size = read16(bytes_, at + 6); size < kHeader) {
      find(at + 6, "a total size below that of the header: " + number(size));
    } else if (size > space) {
      find(at + 6, "a total size of " + number(size) + ", of which " + number(space) + " bytes are there");
    } else {
      return size;
    }
    return 0;
  }

  void decodeArray(size_t at, size_t size, std::vector<SdoObject> &objects, size_t depth)
  {
    const size_t count = read16(bytes_, at + 4);
    const size_t end = at + size;
    size_t place = at + kHeader;
    for (size_t i = 0; i < count; ++i) {
      const size_t elementSize = checkHeader(place, end - place, SDO_BINARY_MAGIC);
      if (elementSize == 0) {
        return;
      }
      decodeObject(place, elementSize, objects.emplace_back(), depth);
      place += elementSize;
    }
    if (place != end) {
      find(place, number(end - place) + " bytes after the last element");
    }
  }

  void decodeObject(size_t at, size_t size, SdoObject &object, size_t depth)
  {
    if (depth > kDeepest) {
      find(at, "nested too deep");
      return;
    }
    const size_t count = read16(bytes_, at + 4);
    if (kHeader + kEntry * count > size) {
      find(at + 4, number(count) + " entries, more than " + number(size) + " bytes can hold");
      return;
    }
    size_t nextValue = at + kHeader + kEntry * count;
    uint32_t lastId = 0;
    object.fields.reserve(count);
    for (size_t i = 0; i < count; ++i) {
      const size_t entry = at + kHeader + kEntry * i;
      checkEntry(entry, lastId);
      lastId = read16(bytes_, entry);
      size_t valueSize = 0;
      const size_t value = findValue(entry, at + size, nextValue, valueSize);
      if (valueSize != 0) {
        decodeValue(entry, value, valueSize, object, depth);
      }
    }
    if (nextValue != at + size) {
      find(nextValue, number(at + size - nextValue) + " bytes after the last value");
    }
  }

 private:
  void find(size_t where, std::string what) { findings_.push_back({where, std::move(what)}); }

  void checkEntry(size_t entry, uint32_t lastId)
  {
    const uint32_t id = read16(bytes_, entry);
    const auto type = static_cast<uint8_t>(bytes_[entry + 2]);
    const auto flags = static_cast<uint8_t>(bytes_[entry + 3]);
    if (!isFieldId(id)) {
      find(entry, "no field ID: " + number(id));
    } else if (id <= lastId) {
      find(entry, "field " + number(id) + " after field " + number(lastId));
    }
    if (type == 0) {
      find(entry + 2, "no type: 0");
    } else if ((type & SDO_TYPE_MASK) == SDO_TYPE_CONFIG) {
      find(entry + 2, "type " + number(type) + ", which only an object in memory has");
    }
    if ((flags & ~7u) != 0 || ((flags & kOutOfLine) != 0 && (flags & 3u) != 0)) {
      find(entry + 3, "unknown flags: " + number(flags));
    }
  }

  /// Where the value of an entry is; its size is 0 where it is not in the block. Moves on to the next out-of-line value.
  size_t findValue(size_t entry, size_t end, size_t &nextValue, size_t &size)
  {
    const auto flags = static_cast<uint8_t>(bytes_[entry + 3]);
    if ((flags & kOutOfLine) == 0) {
      size = (flags & 3u) + 1;
      for (size_t i = size; i < kInline; ++i) {
        if (bytes_[entry + kInline + i] != 0) {
          find(entry + kInline + i, "a byte after an inline value");
          break;
        }
      }
      return entry + kInline;
    }
    const size_t wanted = read16(bytes_, entry + 4);
    const size_t value = entry + read16(bytes_, entry + 6);
    if (wanted <= kInline) {
      find(entry + 4, "an out-of-line value of " + number(wanted) + " bytes");
    }
    if (value + wanted > end) {
      find(entry + 4, "a value that ends " + number(value + wanted - end) + " bytes after the object");
      return value;
    }
    if (value < nextValue) {
      find(entry + 6, "a value over another one or over the entries");
      return value;
    }
    if (value > nextValue) {
      find(nextValue, number(value - nextValue) + " bytes before the value of field " + number(read16(bytes_, entry)));
    }
    size = wanted;
    nextValue = value + wanted;
    return value;
  }

  void decodeValue(size_t entry, size_t value, size_t size, SdoObject &object, size_t depth)
  {
    const auto type = static_cast<uint8_t>(bytes_[entry + 2]);
    SdoField field;
    field.id = read16(bytes_, entry);
    if ((type & SDO_TYPE_MASK) != SDO_TYPE_BINARY) {
      field.type = type;
      if (field.isNested()) {
        return;  // its bytes would be addresses
      }
      field.value = bytes_.substr(value, size);
      object.fields.push_back(std::move(field));
      return;
    }
    field.type = static_cast<uint8_t>((type & ~SDO_TYPE_MASK) | SDO_TYPE_CONFIG);
    const bool isArray = field.isArray();
    const size_t blockSize = checkHeader(value, size, isArray ? SDO_BINARY_ARRAY_MAGIC : SDO_BINARY_MAGIC);
    if (blockSize == 0) {
      return;
    }
    if (blockSize != size) {
      find(value + 6, "a total size of " + number(blockSize) + " in a value of " + number(size) + " bytes");
    }
    object.fields.push_back(std::move(field));
    std::vector<SdoObject> &nested = object.fields.back().nested;
    if (isArray) {
      decodeArray(value, blockSize, nested, depth + 1);
    } else {
      decodeObject(value, blockSize, nested.emplace_back(), depth + 1);
    }
  }

  std::string_view bytes_;
  std::vector<SdoFinding> &findings_;
};

// Encoding ------------------------------------------------------------------------------------------------------------

[[noreturn]] void refuse(const SdoField &field, const std::string &reason)
{
  throw std::length_error("field " + number(field.id) + ": " + reason);
}

void checkSize(size_t size)
{
  if (size > SDO_BINARY_SIZE_MAX) {
    throw std::length_error("more than " + number(SDO_BINARY_SIZE_MAX) + " bytes");
  }
}

std::string header(uint32_t magic)
{
  std::string bytes(kHeader, '\0');
  for (size_t i = 0; i < 4; ++i) {
    bytes[i] = static_cast<char>(magic >> (8 * i) & 0xFF);
  }
  return bytes;
}

std::string encodeObject(const SdoObject &object);

std::string encodeArray(const std::vector<SdoObject> &objects)
{
  std::string bytes = header(SDO_BINARY_ARRAY_MAGIC);
  for (const SdoObject &object : objects) {
    bytes += encodeObject(object);
    checkSize(bytes.size());
  }
  write16(bytes, 4, objects.size());
  write16(bytes, 6, bytes.size());
  return bytes;
}

void checkField(const SdoField &field, const SdoField *before)
{
  if (!isFieldId(field.id)) {
    refuse(field, "IDs are 1 to " + number(SDO_FIELD_ID_MAX));
  }
  if (before != nullptr && before->id == field.id) {
    refuse(field, "is there twice");
  }
  if (field.type == 0 || (field.type & SDO_TYPE_MASK) == SDO_TYPE_BINARY) {
    refuse(field, "no type of a field: " + number(field.type));
  }
  if (field.isNested() && !field.isArray() && field.nested.size() != 1) {
    refuse(field, "type " + number(field.type) + " is that of a nested object");
  }
  if (!field.isNested() && (field.value.empty() || !field.nested.empty())) {
    refuse(field, field.nested.empty() ? "has no value" : "type " + number(field.type) + " has no nested objects");
  }
}

std::string encodeObject(const SdoObject &object)
{
  std::vector<const SdoField *> fields;
  for (const SdoField &field : object.fields) {
    fields.push_back(&field);
  }
  std::stable_sort(fields.begin(), fields.end(), [](const auto *a, const auto *b) { return a->id < b->id; });
  checkSize(kHeader + kEntry * fields.size());
  std::string bytes = header(SDO_BINARY_MAGIC);
  bytes.resize(kHeader + kEntry * fields.size());
  for (size_t i = 0; i < fields.size(); ++i) {
    const SdoField &field = *fields[i];
    checkField(field, i == 0 ? nullptr : fields[i - 1]);
    const size_t entry = kHeader + kEntry * i;
    write16(bytes, entry, field.id);
    bytes[entry + 2] = static_cast<char>(field.type);
    std::string block;
    if (field.isNested()) {
      bytes[entry + 2] = static_cast<char>((field.type & ~SDO_TYPE_MASK) | SDO_TYPE_BINARY);
      block = field.isArray() ? encodeArray(field.nested) : encodeObject(field.nested.front());
    }
    const std::string &value = field.isNested() ? block : field.value;
    if (value.size() <= kInline) {
      bytes[entry + 3] = static_cast<char>((value.size() - 1) & 3);
      bytes.replace(entry + kInline, value.size(), value);
      continue;
    }
    bytes[entry + 3] = static_cast<char>(kOutOfLine);
    checkSize(bytes.size() + value.size());
    write16(bytes, entry + 4, value.size());
    write16(bytes, entry + 6, bytes.size() - entry);
    bytes += value;
  }
  write16(bytes, 4, fields.size());
  write16(bytes, 6, bytes.size());
  return bytes;
}

}  // namespace

SdoBlock decodeSdo(std::string_view bytes, std::vector<SdoFinding> &findings)
{
  SdoBlock block;
  block.isArray = bytes.size() >= kHeader && read32(bytes, 0) == SDO_BINARY_ARRAY_MAGIC;
  Decoder decoder(bytes, findings);
  if (!block.isArray && bytes.size() >= kHeader && read32(bytes, 0) != SDO_BINARY_MAGIC) {
    findings.push_back({0, "neither an object (BODS) nor an array of objects (BADS)"});
    return block;
  }
  block.size = decoder.checkHeader(0, bytes.size(), block.isArray ? SDO_BINARY_ARRAY_MAGIC : SDO_BINARY_MAGIC);
  if (block.size == 0) {
    return block;
  }
  if (block.isArray) {
    decoder.decodeArray(0, block.size, block.objects, 0);
  } else {
    decoder.decodeObject(0, block.size, block.objects.emplace_back(), 0);
  }
  return block;
}

std::string encodeSdo(const SdoBlock &block)
{
  return block.isArray ? encodeArray(block.objects) : encodeObject(block.objects.front());
}

}  // namespace qvctl
