// Views of the flat binary form: the only code that knows where its fields are. A view exists only of a block whose
// header it has checked, and hands out only what lies inside the block; neither needs alignment.
//
// A block may be in memory that others write at the same time. So every field is read once, into a copy, and what is
// checked is what is used: a view keeps the count and the size that it checked and never reads the header again.
#pragma once

#include <bit>
#include <cstring>
#include <optional>

#include "base/size.h"
#include "base/text.h"
#include "qvsupt32/sdo.h"
#include "sdo/config.h"

namespace qv::sdo {

static_assert(std::endian::native == std::endian::little, "fields have the machine's byte order");

/// Header of a binary and of a binary array.
struct BlockHeader {
  uint32_t magic;
  uint16_t count;      // of entries, of elements
  uint16_t totalSize;  // of the block, this header included
};
static_assert(sizeof(BlockHeader) == 8);

/// Entry of a binary with an out-of-line value. An inline value takes the place of size and position.
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

/// Reads a number of 16 or 32 bits exactly once: the compiler cannot know that the copy is what memory holds, so it
/// never goes back there.
template <class T>
inline T load(const uint8_t *from)
{
  T value;
  memcpy(&value, from, sizeof(T));
  asm("" : "+r"(value));
  return value;
}

template <class T>
inline void store(uint8_t *to, const T &value)
{
  memcpy(to, &value, sizeof(T));
}

inline BlockHeader loadHeader(const void *block)
{
  const auto *bytes = static_cast<const uint8_t *>(block);
  const auto sizes = load<uint32_t>(bytes + offsetof(BlockHeader, count));
  return {load<uint32_t>(bytes), static_cast<uint16_t>(sizes), static_cast<uint16_t>(sizes >> 16)};
}

inline BinaryEntry loadEntry(const uint8_t *entry)
{
  const auto head = load<uint32_t>(entry);
  const auto rest = load<uint32_t>(entry + kInlineOffset);
  return {static_cast<uint16_t>(head), static_cast<uint8_t>(head >> 16), static_cast<uint8_t>(head >> 24),
          static_cast<uint16_t>(rest), static_cast<uint16_t>(rest >> 16)};
}

/// Whether a block may have a header: it is not larger than limit, and has space for the parts that it counts. A block
/// that counts nothing is empty, whatever its size says.
constexpr bool isPlausible(const BlockHeader &header, uint32_t leastPartSize, size_t limit)
{
  return header.totalSize <= limit &&
         (header.count == 0 || kHeaderSize + header.count * leastPartSize <= header.totalSize);
}

/// A value inside a binary: its bytes lie within the block.
struct BinaryValue {
  const uint8_t *bytes;
  uint32_t size;
};

/// What both kinds of views have: a block with a magic number, whose header counts parts of a least size.
template <class View, uint32_t kMagic, uint32_t kLeastPartSize>
class BlockView {
 public:
  /// A view of a block whose header was checked.
  BlockView(const uint8_t *block, uint16_t count, uint16_t totalSize)
      : block_(block), count_(count), totalSize_(totalSize)
  {
  }

  /// A view of a block whose header was read. Nothing unless it is a plausible one of this kind.
  static std::optional<View> of(const uint8_t *block, const BlockHeader &header, size_t limit = SIZE_MAX)
  {
    if (header.magic != kMagic || !isPlausible(header, kLeastPartSize, limit)) {
      return std::nullopt;
    }
    return View(block, header.count, header.totalSize);
  }

  static std::optional<View> open(const uint8_t *block, size_t limit)
  {
    return limit < kHeaderSize ? std::nullopt : of(block, loadHeader(block), limit);
  }

  uint32_t count() const { return count_; }
  uint32_t totalSize() const { return totalSize_; }
  const uint8_t *block() const { return block_; }

 private:
  const uint8_t *block_;
  uint16_t count_;
  uint16_t totalSize_;
};

class BinaryView : public BlockView<BinaryView, SDO_BINARY_MAGIC, kEntrySize> {
 public:
  using BlockView::BlockView;

  BinaryEntry entry(uint32_t index) const { return loadEntry(block() + offsetOf(index)); }

  /// Where an entry is in the block.
  static constexpr uint32_t offsetOf(uint32_t index) { return kHeaderSize + index * kEntrySize; }

  /// The value of the entry that was read at an index. Nothing if it reaches outside the value area, or if the type is
  /// that of an object in memory, whose bytes must never be taken for pointers.
  std::optional<BinaryValue> value(const BinaryEntry &entry, uint32_t index) const
  {
    if (holdsObjects(entry.type)) {
      return std::nullopt;
    }
    const uint32_t at = offsetOf(index);
    if ((entry.flags & kOutOfLine) == 0) {
      return BinaryValue{block() + at + kInlineOffset, (entry.flags & kInlineSizeMask) + 1U};
    }
    const uint32_t start = at + entry.valuePosition;
    if (start < offsetOf(count()) || start + entry.valueSize > totalSize()) {
      return std::nullopt;
    }
    return BinaryValue{block() + start, entry.valueSize};
  }

  struct Found {
    uint32_t index;
    BinaryEntry entry;
  };

  /// The entry of a field; nothing if there is none. Each step halves the table without a branch on what it finds,
  /// which no processor could predict.
  std::optional<Found> find(uint16_t fieldID) const
  {
    if (count() == 0) {
      return std::nullopt;
    }
    const uint8_t *table = block() + kHeaderSize;
    const uint8_t *last = table;  // the last entry not above the field, as far as is known
    for (uint32_t left = count(); left > 1;) {
      const uint32_t half = left / 2;
      const uint8_t *probed = last + half * kEntrySize;
      last = load<uint16_t>(probed) <= fieldID ? probed : last;
      left -= half;
    }
    const BinaryEntry entry = loadEntry(last);
    if (entry.fieldID != fieldID) {
      return std::nullopt;
    }
    return Found{static_cast<uint32_t>(last - table) / kEntrySize, entry};
  }
};

class BinaryArrayView : public BlockView<BinaryArrayView, SDO_BINARY_ARRAY_MAGIC, kHeaderSize> {
 public:
  using BlockView::BlockView;

  /// Where the element that follows `steps` others starts, or the elements end. Nothing if one of those steps would
  /// leave the array.
  std::optional<uint32_t> startAfter(uint32_t steps) const
  {
    uint32_t position = kHeaderSize;
    for (; steps > 0; --steps) {
      if (!holdsHeader(position)) {
        return std::nullopt;
      }
      const uint32_t size = loadHeader(block() + position).totalSize;
      if (size < kHeaderSize || size > totalSize() - position) {
        return std::nullopt;
      }
      position += size;
    }
    return position;
  }

  /// The element at a position between header and end. Nothing if it is no binary or reaches outside the array.
  std::optional<BinaryView> elementAt(uint32_t position) const
  {
    if (!holdsHeader(position)) {
      return std::nullopt;
    }
    const BlockHeader header = loadHeader(block() + position);
    // Elements are passed over by their size, so one has to have a size, also where it is empty.
    return header.totalSize < kHeaderSize ? std::nullopt
                                          : BinaryView::of(block() + position, header, totalSize() - position);
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

 private:
  bool holdsHeader(uint32_t position) const { return position + kHeaderSize <= totalSize(); }
};

/// Out of line, so that a function that copies short values itself and ends with this call needs no stack frame; static,
/// so that the arguments pass in registers.
[[gnu::noinline]] static Status copyLong(const uint8_t *bytes, uint32_t length, void *buffer)
{
  memcpy(buffer, bytes, length);
  return Status::success;
}

/// Copies a value or an element out: *size becomes the size used or needed. A null buffer is too small for any value,
/// also for an empty one.
inline Status copyValueOut(const uint8_t *bytes, uint32_t length, void *buffer, uint32_t *size)
{
  if (buffer == nullptr) {
    *size = length;
    return Status::bufferTooSmall;
  }
  if (!exchangeSize(*size, length)) {
    return Status::bufferTooSmall;
  }
  if (length > kCopyUpToMax) {
    return copyLong(bytes, length, buffer);
  }
  copyUpTo32(buffer, bytes, length);
  return Status::success;
}

}  // namespace qv::sdo
