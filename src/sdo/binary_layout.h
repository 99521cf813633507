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

/// What the header of a block says about it.
struct Extent {
  uint32_t count;      // of entries, of elements
  uint32_t totalSize;  // of the block, its header included
};

/// Reads the header of a block. Nothing when the magic is another, the block is larger than limit, or its size cannot
/// hold as many parts as it counts.
inline std::optional<Extent> openHeader(const uint8_t *block, uint32_t magic, uint32_t leastPartSize, size_t limit)
{
  if (limit < kHeaderSize || load<uint32_t>(block) != magic) {
    return std::nullopt;
  }
  const Extent extent = {load<uint16_t>(block + offsetof(BlockHeader, count)),
                         load<uint16_t>(block + offsetof(BlockHeader, totalSize))};
  if (extent.totalSize > limit || kHeaderSize + extent.count * leastPartSize > extent.totalSize) {
    return std::nullopt;
  }
  return extent;
}

class BinaryView {
 public:
  static std::optional<BinaryView> open(const void *block, size_t limit = SIZE_MAX)
  {
    const auto *bytes = static_cast<const uint8_t *>(block);
    const auto extent = openHeader(bytes, SDO_BINARY_MAGIC, kEntrySize, limit);
    return extent ? std::optional(BinaryView(bytes, *extent)) : std::nullopt;
  }

  uint32_t count() const { return extent_.count; }
  uint32_t totalSize() const { return extent_.totalSize; }
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

  /// The index of a field's entry; nothing when there is none. Each step halves the table without a branch on what it
  /// finds, which no processor could predict.
  std::optional<uint32_t> find(uint16_t fieldID) const
  {
    if (count() == 0) {
      return std::nullopt;
    }
    const uint8_t *last = entryAddress(0);  // the last entry not above the field, as far as is known
    for (uint32_t left = count(); left > 1;) {
      const uint32_t half = left / 2;
      const uint8_t *probed = last + half * kEntrySize;
      last = load<uint16_t>(probed) <= fieldID ? probed : last;
      left -= half;
    }
    if (load<uint16_t>(last) != fieldID) {
      return std::nullopt;
    }
    return static_cast<uint32_t>(last - entryAddress(0)) / kEntrySize;
  }

 private:
  BinaryView(const uint8_t *block, const Extent &extent) : block_(block), extent_(extent) {}

  const uint8_t *block_;
  Extent extent_;
};

class BinaryArrayView {
 public:
  static std::optional<BinaryArrayView> open(const void *block, size_t limit = SIZE_MAX)
  {
    const auto *bytes = static_cast<const uint8_t *>(block);
    const auto extent = openHeader(bytes, SDO_BINARY_ARRAY_MAGIC, kHeaderSize, limit);
    return extent ? std::optional(BinaryArrayView(bytes, *extent)) : std::nullopt;
  }

  uint32_t count() const { return extent_.count; }

  /// Where the element that follows `steps` others starts, or the elements end. Nothing when one of those steps would
  /// leave the array.
  std::optional<uint32_t> startAfter(uint32_t steps) const
  {
    uint32_t position = kHeaderSize;
    for (; steps > 0; --steps) {
      if (extent_.totalSize - position < kHeaderSize) {
        return std::nullopt;
      }
      const uint32_t size = load<BlockHeader>(block_ + position).totalSize;
      if (size < kHeaderSize || size > extent_.totalSize - position) {
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
    return BinaryView::open(block_ + position, extent_.totalSize - position);
  }

 private:
  BinaryArrayView(const uint8_t *block, const Extent &extent) : block_(block), extent_(extent) {}

  const uint8_t *block_;
  Extent extent_;
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
