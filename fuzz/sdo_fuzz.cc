// Binaries and binary arrays from anywhere: every reader, both editors, decoding and writing anew, with a failing
// allocation that the last byte of the input chooses.
//
// Blocks and buffers end where a heap block ends, so that one byte read or written past them is found. What the library
// takes is compared with what it says about it, and with a reading of the format that is written here anew.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "failing_heap.h"
#include "qvsupt32.h"

namespace {

struct FreeObject {
  void operator()(SDOConfig *object) const { SDOConfigFree(object); }
};
using Object = std::unique_ptr<SDOConfig, FreeObject>;

constexpr uint32_t kHeader = 8;
constexpr uint32_t kEntry = 8;

void require(bool holds, const char *what)
{
  if (!holds) {
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
  }
}

uint16_t word(const uint8_t *at)
{
  return static_cast<uint16_t>(at[0] | at[1] << 8);
}

bool holdsBinary(uint8_t type)
{
  return (type & SDO_TYPE_MASK) == SDO_TYPE_BINARY;
}

/// Bytes at the very end of a heap block. The block is made once for each place in the code that has such bytes.
struct Bytes {
  uint8_t *data;
  uint32_t size;

  bool operator==(const Bytes &other) const { return size == other.size && memcmp(data, other.data, size) == 0; }
  uint32_t count() const { return word(data + 4); }
  uint32_t total() const { return word(data + 6); }
};

class Arena {
 public:
  /// The last `size` bytes: a copy of those given, zeros behind them.
  Bytes bytes(uint32_t size, const uint8_t *from = nullptr, size_t count = 0)
  {
    uint8_t *data = block_.get() + kSize - size;
    const size_t copied = from == nullptr ? 0 : std::min<size_t>(count, size);
    if (copied > 0) {
      std::copy_n(from, copied, data);
    }
    std::fill(data + copied, data + size, uint8_t{0});
    return {data, size};
  }

 private:
  static constexpr uint32_t kSize = SDO_BINARY_SIZE_MAX + 1 + 64;
  std::unique_ptr<uint8_t[]> block_{new uint8_t[kSize]};
};

// How a binary looks when the library has written it ------------------------------------------------------------------

bool isCanonicalArray(const uint8_t *array, uint32_t size);

bool isCanonical(const uint8_t *binary, uint32_t size)
{
  if (size < kHeader || memcmp(binary, "BODS", 4) != 0 || word(binary + 6) != size) {
    return false;
  }
  const uint32_t tableEnd = kHeader + word(binary + 4) * kEntry;
  uint32_t end = tableEnd;
  uint32_t previous = 0;
  for (uint32_t at = kHeader; at < tableEnd; at += kEntry) {
    if (tableEnd > size) {
      return false;
    }
    const uint8_t *entry = binary + at;
    const uint8_t type = entry[2];
    const uint8_t flags = entry[3];
    const uint32_t fieldID = word(entry);
    if (fieldID <= previous || fieldID > SDO_FIELD_ID_MAX || type == 0 || (type & SDO_TYPE_MASK) == SDO_TYPE_CONFIG) {
      return false;
    }
    previous = fieldID;
    if (flags <= 3) {
      if (holdsBinary(type) || std::any_of(entry + 5 + flags, entry + kEntry, [](uint8_t byte) { return byte != 0; })) {
        return false;
      }
      continue;
    }
    const uint32_t length = word(entry + 4);
    if (flags != 4 || length < 5 || at + word(entry + 6) != end || length > size - end) {
      return false;
    }
    if (holdsBinary(type) && !((type & SDO_TYPE_ARRAY) != 0 ? isCanonicalArray : isCanonical)(binary + end, length)) {
      return false;
    }
    end += length;
  }
  return end == size;
}

bool isCanonicalArray(const uint8_t *array, uint32_t size)
{
  if (size < kHeader || memcmp(array, "BADS", 4) != 0 || word(array + 6) != size) {
    return false;
  }
  uint32_t at = kHeader;
  for (uint32_t left = word(array + 4); left > 0; --left) {
    const uint32_t length = size - at < kHeader ? 0 : word(array + at + 6);
    if (length == 0 || length > size - at || !isCanonical(array + at, length)) {
      return false;
    }
    at += length;
  }
  return at == size;
}

/// Whether the fields of a binary, and of all that is nested in it, can be read where they are: what SMSDOBinaryCheck
/// says beside the size that a decoded object may have.
bool isSound(const uint8_t *block, uint32_t available, bool isArray)
{
  if (available < kHeader || memcmp(block, isArray ? "BADS" : "BODS", 4) != 0 || word(block + 6) > available) {
    return false;
  }
  const uint32_t count = word(block + 4);
  const uint32_t total = word(block + 6);
  if (count > 0 && kHeader + count * kEntry > total) {
    return false;
  }
  uint32_t at = kHeader;
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t *part = block + at;
    if (isArray) {
      if (total - at < kHeader || word(part + 6) < kHeader || !isSound(part, total - at, false)) {
        return false;
      }
      at += word(part + 6);
      continue;
    }
    const bool outOfLine = (part[3] & 4) != 0;
    const uint32_t start = at + (outOfLine ? word(part + 6) : 4U);
    const uint32_t length = outOfLine ? word(part + 4) : (part[3] & 3U) + 1;
    const uint8_t low = part[2] & SDO_TYPE_MASK;
    if (word(part) > SDO_FIELD_ID_MAX || word(part) <= (i == 0 ? 0 : word(part - kEntry)) || part[2] == 0 ||
        low == SDO_TYPE_CONFIG || length == 0 || (outOfLine && start < kHeader + count * kEntry) ||
        start + length > total || (low == SDO_TYPE_BINARY && !isSound(block + start, length, (part[2] & 16) != 0))) {
      return false;
    }
    at += kEntry;
  }
  return true;
}

// Checks ------------------------------------------------------------------------------------------------------------

Bytes flatten(const SDOConfig *object, Arena &arena)
{
  const Bytes flat = arena.bytes(static_cast<uint32_t>(SDOConfigGetBinarySize(object)));
  uint32_t size = flat.size;
  require(SDOConfigReCalcBinarySize(object) == SDOConfigGetBinarySize(object), "the size kept is the size counted");
  require(SDOConfigToBinary(object, flat.data, &size) == SM_STATUS_SUCCESS, "an object can be flattened");
  require(size == flat.size && isCanonical(flat.data, size), "a flat object has the form");
  return flat;
}

struct Value {
  uint32_t status = SM_STATUS_NOT_FOUND;
  uint16_t fieldID = 0;
  uint8_t type = 0;
  Bytes bytes = {nullptr, 0};
};

/// Asks a lookup for the size, then for the value in a buffer of just that size.
template <class Lookup>
Value lookUp(Arena &arena, Lookup lookup)
{
  Value value;
  uint32_t size = 0;
  value.status = lookup(value, nullptr, &size);
  require(value.status != SM_STATUS_SUCCESS, "nothing fits no buffer");
  if (value.status == SM_STATUS_BUFFER_TOO_SMALL) {
    value.bytes = arena.bytes(size);
    value.status = lookup(value, value.bytes.data, &size);
    require(value.status == SM_STATUS_SUCCESS && size == value.bytes.size, "the size told is enough");
  }
  return value;
}

Value valueAt(const Bytes &binary, uint32_t index)
{
  static Arena arena;
  return lookUp(arena, [&](Value &out, void *buffer, uint32_t *size) {
    return SDOBinaryGetDataByIndex(binary.data, index, &out.fieldID, &out.type, buffer, size);
  });
}

Value valueOf(const Bytes &binary, uint16_t fieldID)
{
  static Arena arena;
  return lookUp(arena, [&](Value &out, void *buffer, uint32_t *size) {
    return SDOBinaryGetDataByID(binary.data, fieldID, &out.type, buffer, size);
  });
}

Value valueOf(const SDOConfig *object, uint16_t fieldID)
{
  static Arena arena;
  return lookUp(arena, [&](Value &out, void *buffer, uint32_t *size) {
    return SDOConfigGetDataByID(object, fieldID, &out.type, buffer, size);
  });
}

Value elementAt(const Bytes &array, uint32_t index)
{
  static Arena arena;
  return lookUp(arena, [&](Value &, void *buffer, uint32_t *size) {
    return SDOBinaryArrayGetByIndex(array.data, 0, index, buffer, size);
  });
}

void readEverything(const Bytes &block)
{
  const int32_t counted = SDOBinaryGetCount(block.data);
  const uint32_t count = block.count();
  require(counted == -1 || static_cast<uint32_t>(counted) == count, "the count is that of the header");
  for (uint32_t i = 0; i < count + 2; i = i == 10 && count > 12 ? count - 1 : i + 1) {
    const Value value = valueAt(block, i);
    require((value.status == SM_STATUS_INDEX_OUT_OF_RANGE) == (i >= count), "indices end at the count");
    (void)valueOf(block, value.fieldID);
    require(elementAt(block, i).status != SM_STATUS_SUCCESS || i < count, "elements end at the count");
  }
  for (const uint16_t fieldID : {uint16_t{1}, uint16_t{300}, uint16_t{65533}, uint16_t{65534}}) {
    (void)valueOf(block, fieldID);
  }
}

/// The object of a binary answers as the binary itself.
void compareValues(const Bytes &binary, const SDOConfig *object)
{
  require(SDOBinaryGetCount(binary.data) == SDOConfigGetCount(object), "the counts agree");
  bool sorted = true;
  for (uint32_t i = 1; i < binary.count(); ++i) {
    sorted = sorted && word(binary.data + kHeader + (i - 1) * kEntry) < word(binary.data + kHeader + i * kEntry);
  }
  for (uint32_t i = 0; i < binary.count(); ++i) {
    const Value flat = valueAt(binary, i);
    require(flat.status == SM_STATUS_SUCCESS, "what was taken can be read");
    const Value found = valueOf(binary, flat.fieldID);
    const bool agrees = found.status == SM_STATUS_SUCCESS && found.type == flat.type && found.bytes == flat.bytes;
    require(agrees || (!sorted && found.status == SM_STATUS_NOT_FOUND), "both lookups agree");
    const Value kept = valueOf(object, flat.fieldID);
    require(kept.status == SM_STATUS_SUCCESS, "every field is kept");
    if (!holdsBinary(flat.type)) {
      require(kept.type == flat.type && kept.bytes == flat.bytes, "the values agree");
      continue;
    }
    const bool isArray = memcmp(flat.bytes.data, "BADS", 4) == 0;
    const uint32_t objects = isArray ? flat.bytes.count() : 1;
    require(kept.bytes.size == objects * sizeof(void *), "each element becomes an object");
    require(kept.type == (flat.type & 0xF0) + SDO_TYPE_CONFIG + (isArray ? SDO_TYPE_ARRAY & ~flat.type : 0),
            "nested blocks become objects under their type");
  }
  for (uint32_t i = 0; sorted && i < std::min(binary.count(), 50U); ++i) {
    uint16_t fieldID = 0;
    uint32_t size = 0;
    require(SDOConfigGetDataByIndex(object, i, &fieldID, nullptr, nullptr, &size) == SM_STATUS_BUFFER_TOO_SMALL &&
                fieldID == valueAt(binary, i).fieldID,
            "sorted fields keep their index");
  }
}

void decodeAndWriteAnew(const Bytes &block, const Bytes &input)
{
  static Arena first;
  static Arena second;
  const bool canonical = isCanonical(block.data, block.size);
  Object object;
  bool struck;
  {
    const fuzz::FailingHeap heap(input.data, input.size);
    object.reset(SDOBinaryToConfig(block.data));
    struck = heap.struck();
  }
  if (object == nullptr) {
    require(struck || !canonical, "what the library itself would write is taken");
    return;
  }
  require(!struck, "no object is made without the memory for it");
  const Bytes flat = flatten(object.get(), first);
  require(!canonical || flat == block, "the bytes come back");
  const Object again(SDOBinaryToConfig(flat.data));
  require(again != nullptr && flatten(again.get(), second) == flat, "writing anew changes nothing more");
  compareValues(block, object.get());
}

void checkWhole(const Bytes &block)
{
  const Object object(SDOBinaryToConfig(block.data));
  uint32_t total = 0;
  const bool whole = SMSDOBinaryCheck(block.data, block.size, &total) == SM_STATUS_SUCCESS;
  require(!whole || total == block.total(), "the size is that of the header");
  // What does not decode may be sound, with values that overlap without end: its soundness is not looked for.
  require(whole == (object != nullptr && isSound(block.data, block.size, false)), "whole is what decodes and is sound");
  for (uint32_t i = 0; i < std::min<uint32_t>(block.count(), 20) && kHeader + (i + 1) * kEntry <= block.size; ++i) {
    const uint16_t fieldID = word(block.data + kHeader + i * kEntry);
    const Value copied = valueOf(block, fieldID);
    uint8_t type = 0;
    uint32_t size = 0;
    const void *found = SMSDOBinaryFindValue(block.data, block.size, fieldID, &type, &size);
    require((found != nullptr) == (copied.status == SM_STATUS_SUCCESS), "both find the field");
    require(found == nullptr ||
                (type == copied.type && size == copied.bytes.size && memcmp(found, copied.bytes.data, size) == 0),
            "both find the same value");
    require(!whole || found != nullptr, "each field of a whole block is found");
  }
}

void setData(const Bytes &block, const Bytes &input)
{
  static Arena arena;
  static Arena values;
  const bool canonical = isCanonical(block.data, block.size);
  for (uint32_t i = 0; i < std::min(block.count(), 3U); ++i) {
    const Value old = valueAt(block, i);
    // A nested block tells its own size, so that only a whole one may stand for it.
    const bool nested = holdsBinary(old.type);
    const uint32_t most = input.data[(input.size - 1) * i / 3] % 40;
    const Bytes value =
        nested ? Bytes{block.data, std::min(block.size, most)} : values.bytes(most, input.data, input.size);
    const Bytes room = arena.bytes(block.size + input.data[input.size / 2] % 64, block.data, block.size);
    uint32_t size = room.size;
    uint32_t status;
    {
      const fuzz::FailingHeap heap(input.data, input.size);
      status = SDOBinarySetData(room.data, &size, old.fieldID, old.type, value.data, value.size);
    }
    if (status != SM_STATUS_SUCCESS) {
      require(memcmp(room.data, block.data, block.size) == 0, "a refused edit leaves the binary");
      require(size == room.size || (status == SM_STATUS_BUFFER_TOO_SMALL && size > room.size),
              "the size needed is told");
      continue;
    }
    require(size == room.total() && size <= room.size, "the size is that of the binary");
    if (!nested) {
      const Value changed = valueOf(room, old.fieldID);
      // An empty value makes an inline one four bytes long, as they are.
      const bool widened = value.size == 0 && changed.bytes.size == 4;
      require(changed.status == SM_STATUS_SUCCESS && (widened || changed.bytes == value), "the value is the new one");
      const bool staysInline = old.bytes.size <= 4 && value.size <= 4;
      require(!canonical || staysInline || isCanonical(room.data, size), "an edit keeps the form");
    }
  }
}

void addToObject(const Bytes &block, const Bytes &input)
{
  static Arena first;
  static Arena second;
  const Object object(SDOConfigAlloc());
  (void)SDOConfigAddData(object.get(), 1, 7, "before", 6, 0);
  const Bytes before = flatten(object.get(), first);
  const auto fieldID = static_cast<uint16_t>(1 + input.data[0] % 2);
  const auto type = static_cast<uint8_t>((input.data[input.size - 1] & 0xF0) | SDO_TYPE_BINARY);
  uint32_t status;
  {
    const fuzz::FailingHeap heap(input.data, input.size);
    status = SDOConfigAddData(object.get(), fieldID, type, block.data, 1, 1);
  }
  const bool unchanged = flatten(object.get(), second) == before;
  require(unchanged == (status != SM_STATUS_SUCCESS), "a refused add leaves the object");
  require(unchanged || SDOConfigGetCount(object.get()) == fieldID, "a block becomes one entry");
}

void decodeArray(const Bytes &block, const Bytes &input)
{
  static Arena arena;
  const bool canonical = isCanonicalArray(block.data, block.size);
  uint32_t count = block.count();
  std::vector<SDOConfig *> objects(count + 1U, nullptr);
  uint32_t status;
  bool struck;
  {
    const fuzz::FailingHeap heap(input.data, input.size);
    status = SDOBinaryArrayToConfigArray(block.data, objects.data(), &count);
    struck = heap.struck();
  }
  require(status == SM_STATUS_BAD_TYPE || kHeader + count * kHeader <= block.size, "no array is so short");
  if (status != SM_STATUS_SUCCESS) {
    require(struck || !canonical, "what the library itself would write is taken");
    require(std::all_of(objects.begin(), objects.end(), [](auto *object) { return object == nullptr; }),
            "no object is left");
    return;
  }
  require(!struck && count == block.count() && objects[count] == nullptr, "each element becomes an object");
  const std::vector<Object> owned(objects.begin(), objects.end());
  uint32_t size = 0;
  require(SDOConfigArrayToBinaryArray(objects.data(), count, nullptr, &size) == SM_STATUS_SUCCESS,
          "it can be measured");
  if (size > SDO_BINARY_SIZE_MAX) {
    return;  // elements whose values overlap grow when they are written
  }
  const Bytes flat = arena.bytes(size);
  require(SDOConfigArrayToBinaryArray(objects.data(), count, flat.data, &size) == SM_STATUS_SUCCESS,
          "it can be written");
  require(size == flat.size && isCanonicalArray(flat.data, size), "a flat array has the form");
  require(!canonical || flat == block, "the bytes come back");
}

void addElement(const Bytes &block, const Bytes &input)
{
  static Arena arena;
  uint8_t element[] = {'B', 'O', 'D', 'S', 1, 0, 16, 0, 5, 0, 7, 3, 1, 2, 3, 4};
  const Bytes room = arena.bytes(block.size + input.data[input.size / 2] % 64, block.data, block.size);
  uint32_t size = room.size;
  if (SDOBinaryArrayAddData(room.data, &size, element, sizeof(element)) != SM_STATUS_SUCCESS) {
    require(memcmp(room.data, block.data, block.size) == 0, "a refused element leaves the array");
    return;
  }
  require(room.count() == block.count() + 1U && room.total() <= size, "the array counts one more");
  const Value added = elementAt(room, block.count());
  require(added.status == SM_STATUS_SUCCESS && added.bytes == Bytes{element, sizeof(element)}, "the element is there");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  static Arena inputs;
  static Arena blocks;
  if (size == 0 || size > SDO_BINARY_SIZE_MAX + 1) {
    return 0;
  }
  const Bytes input = inputs.bytes(static_cast<uint32_t>(size), data, size);
  const Bytes header = blocks.bytes(kHeader, data, size);
  // A reader sees the header, and then what it claims as its size.
  const Bytes block = blocks.bytes(std::max(kHeader, header.total()), data, size);
  readEverything(block);
  decodeAndWriteAnew(block, input);
  checkWhole(block);
  setData(block, input);
  addToObject(block, input);
  decodeArray(block, input);
  addElement(block, input);
  return 0;
}
