// Views of the flat binary form: the only code that knows where its fields stand. A view exists only of a block whose
// header it has checked, and hands out only what lies inside the block; neither needs alignment.
#pragma once

#include <bit>
#include <cstring>
#include <optional>

#include "qvsupt32/sdo.h"
#include "sdo/config.h"

namespace qv::sdo {

static_assert(std::endian::native == std::endian::little, "fields are read and written as they stand in memory");

/// Header of a binary and of a binary array.
struct BlockHeader {
  uint32_t magic;
  uint16_t count;      // of entries, of elements
  uint16_t totalSize;  // of the block, this header included
};
static_assert(sizeof(BlockHeader) == 8);

/// Entry of a binary with an out-of-line value; an inline value stands in place of size and position.
struct BinaryEntry {
  uint16_t fieldID;
  uint8_t type;
  uint8_t flags;
  uint16_t valueSize;
  uint16_t valuePosition;  // from the first byte of the entry
};
static_assert(sizeof(BinaryEntry) == 8);

constexpr uint32_t kHeaderSize = sizeof(BlockHeader);
constexpr uint32_t kEntrySize = sizeof(BinaryEntry);
constexpr uint32_t kInlineOffset = 4;  // of an inline value in its entry
constexpr uint8_t kOutOfLine = 0x04;
constexpr uint8_t kInlineSizeMask = 0x03;  // holds the inline size - 1

template <class T>
inline T load(const uint8_t *from)
{
  T value;
  memcpy(&value, from, sizeof(T));
  return value;
}

template <class T>
inline void store(uint8_t *to, const T &value)
{
  memcpy(to, &value, sizeof(T));
}

/// A value inside a binary: its bytes lie within the block.
struct BinaryValue {
  const uint8_t *bytes;
  uint32_t size;
  uint8_t type;
};

/// Reads the header of a block. Nothing when the magic is another, the block is larger than limit, or its size cannot
/// hold as many parts as it counts.
inline std::optional<BlockHeader> openHeader(const void *block, uint32_t magic, uint32_t leastPartSize, size_t limit)
{
  if (limit < kHeaderSize) {
    return std::nullopt;
  }
  const auto header = load<BlockHeader>(static_cast<const uint8_t *>(block));
  if (header.magic != magic || header.totalSize > limit ||
      kHeaderSize + header.count * leastPartSize > header.totalSize) {
    return std::nullopt;
  }
  return header;
}

class BinaryView {
 public:
  static std::optional<BinaryView> open(const void *block, size_t limit = SIZE_MAX)
  {
    const auto header = openHeader(block, SDO_BINARY_MAGIC, kEntrySize, limit);
    return header ? std::optional(BinaryView(static_cast<const uint8_t *>(block), *header)) : std::nullopt;
  }

  uint32_t count() const { return header_.count; }
  uint32_t totalSize() const { return header_.totalSize; }
  const uint8_t *block() const { return block_; }
  const uint8_t *entryAddress(uint32_t index) const { return block_ + kHeaderSize + index * kEntrySize; }
  BinaryEntry entry(uint32_t index) const { return load<BinaryEntry>(entryAddress(index)); }

  /// The value of an entry. Nothing when it would reach outside the value area, or when the type is that of an object
  /// in memory, whose bytes must never be taken for pointers.
  std::optional<BinaryValue> value(uint32_t index) const
  {
    const BinaryEntry found = entry(index);
    if (holdsObjects(found.type)) {
      return std::nullopt;
    }
    const uint8_t *address = entryAddress(index);
    if ((found.flags & kOutOfLine) == 0) {
      return BinaryValue{address + kInlineOffset, (found.flags & kInlineSizeMask) + 1U, found.type};
    }
    const uint32_t start = static_cast<uint32_t>(address - block_) + found.valuePosition;
    if (start < kHeaderSize + count() * kEntrySize || start + found.valueSize > totalSize()) {
      return std::nullopt;
    }
    return BinaryValue{block_ + start, found.valueSize, found.type};
  }

  /// The index of a field's entry, by the probes of bsearch(3); nothing when there is none.
  std::optional<uint32_t> find(uint16_t fieldID) const
  {
    uint32_t low = 0;
    uint32_t high = count();
    while (low < high) {
      const uint32_t middle = (low + high) / 2;
      const auto probed = load<uint16_t>(entryAddress(middle));
      if (probed == fieldID) {
        return middle;
      }
      if (fieldID < probed) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    return std::nullopt;
  }

 private:
  BinaryView(const uint8_t *block, const BlockHeader &header) : block_(block), header_(header) {}

  const uint8_t *block_;
  BlockHeader header_;
};

class BinaryArrayView {
 public:
  static std::optional<BinaryArrayView> open(const void *block, size_t limit = SIZE_MAX)
  {
    const auto header = openHeader(block, SDO_BINARY_ARRAY_MAGIC, kHeaderSize, limit);
    return header ? std::optional(BinaryArrayView(static_cast<const uint8_t *>(block), *header)) : std::nullopt;
  }

  uint32_t count() const { return header_.count; }

  /// Where the element that follows `steps` others starts, or the elements end. Nothing when one of those steps would
  /// leave the array.
  std::optional<uint32_t> startAfter(uint32_t steps) const
  {
    uint32_t position = kHeaderSize;
    for (; steps > 0; --steps) {
      if (header_.totalSize - position < kHeaderSize) {
        return std::nullopt;
      }
      const uint32_t size = load<BlockHeader>(block_ + position).totalSize;
      if (size < kHeaderSize || size > header_.totalSize - position) {
        return std::nullopt;
      }
      position += size;
    }
    return position;
  }

  /// Calls action(index, element) for every element until one does not succeed; a malformed element ends it with
  /// badType.
  template <class Action>
  Status forEach(Action action) const
  {
    uint32_t position = kHeaderSize;
    for (uint32_t i = 0; i < count(); ++i) {
      const auto element = elementAt(position);
      if (!element) {
        return Status::badType;
      }
      if (const Status status = action(i, *element); status != Status::success) {
        return status;
      }
      position += element->totalSize();
    }
    return Status::success;
  }

  /// The element at a position that startAfter() gave. Nothing when it is no binary or reaches outside the array.
  std::optional<BinaryView> elementAt(uint32_t position) const
  {
    return BinaryView::open(block_ + position, header_.totalSize - position);
  }

 private:
  BinaryArrayView(const uint8_t *block, const BlockHeader &header) : block_(block), header_(header) {}

  const uint8_t *block_;
  BlockHeader header_;
};

/// Copies a value or an element out under the in-out size convention: *size becomes the size used or needed.
inline Status copyOut(const uint8_t *bytes, uint32_t length, void *buffer, uint32_t *size)
{
  const bool fits = buffer != nullptr && *size >= length;
  if (fits) {
    memcpy(buffer, bytes, length);
  }
  *size = length;
  return fits ? Status::success : Status::bufferTooSmall;
}

}  // namespace qv::sdo
