// Whole binaries: checked from end to end before they are trusted, and searched in place.
//
// Promises: neither heap nor recursion, and bounded work whatever the block holds. The same bytes can nest many times
// where values overlap, but each time counts towards the size that a decoded object may have, as it does when the block
// is decoded: after 65535 bytes, so after at most 8191 entries, the walk ends.

#include <array>

#include "base/status.h"
#include "sdo/binary_layout.h"
#include "sdo/config.h"

namespace qv::sdo {
namespace {

class Checker {
 public:
  bool check(const BinaryView &binary)
  {
    root_ = binary.block();
    if (!enter(binary)) {
      return false;
    }
    while (depth_ > 0) {
      Level &level = levels_[depth_ - 1];
      if (level.left() == 0) {
        --depth_;
      } else if (!(level.isArray() ? checkElement(level) : checkEntry(level))) {
        return false;
      }
    }
    return true;
  }

 private:
  /// A block on the way from the outermost one to where the walk is.
  struct Level {
    uint16_t start;        // from the outermost block
    uint16_t size;         // total size of the block
    uint16_t at;           // index of the next entry; position of the next element
    uint16_t leftAndKind;  // twice the number of entries or elements to go, and 1 for an array

    bool isArray() const { return leftAndKind % 2 != 0; }
    uint16_t left() const { return leftAndKind / 2; }
    void countDown() { leftAndKind = static_cast<uint16_t>(leftAndKind - 2); }
  };

  // What is nested in a binary is at least 16 bytes after its start, in an array 8: so many blocks are within each
  // other at most, binaries and arrays in turn.
  static constexpr uint32_t kDepthMax = SDO_BINARY_SIZE_MAX / 24 * 2 + 1;
  static_assert(kDepthMax * sizeof(Level) < 64 * 1024 - 4096, "the stack that the contract names");

  bool spend(uint32_t bytes)
  {
    total_ += bytes;
    return total_ <= SDO_BINARY_SIZE_MAX;
  }

  template <class View>
  bool push(const View &view, uint32_t first, bool isArray)
  {
    if (depth_ == levels_.size()) {
      return false;
    }
    levels_[depth_++] = {static_cast<uint16_t>(view.block() - root_), static_cast<uint16_t>(view.totalSize()),
                         static_cast<uint16_t>(first), static_cast<uint16_t>(view.count() * 2 + (isArray ? 1 : 0))};
    return true;
  }

  bool enter(const BinaryView &binary) { return spend(kHeaderSize) && push(binary, 0, false); }

  bool checkElement(Level &level)
  {
    const BinaryArrayView array(root_ + level.start, level.left(), level.size);
    const auto element = array.elementAt(level.at);
    if (!element) {
      return false;
    }
    level.at = static_cast<uint16_t>(level.at + element->totalSize());
    level.countDown();
    return enter(*element);
  }

  bool checkEntry(Level &level)
  {
    const uint32_t index = level.at++;
    const BinaryView binary(root_ + level.start, static_cast<uint16_t>(index + level.left()), level.size);
    level.countDown();
    const BinaryEntry entry = binary.entry(index);
    const auto value = binary.value(entry, index);
    const uint16_t previous = index == 0 ? 0 : binary.entry(index - 1).fieldID;
    if (!value || value->size == 0 || entry.type == 0 || !isValidFieldID(entry.fieldID) || entry.fieldID <= previous) {
      return false;
    }
    if (!holdsBinary(entry.type)) {
      return spend(entrySizeOf(value->size));
    }
    if (!spend(entrySizeOf(sizeBesideObjects(entry.type)))) {
      return false;
    }
    if (!isArray(entry.type)) {
      const auto nested = BinaryView::open(value->bytes, value->size);
      return nested && enter(*nested);
    }
    const auto nested = BinaryArrayView::open(value->bytes, value->size);
    return nested && push(*nested, kHeaderSize, true);
  }

  const uint8_t *root_ = nullptr;
  uint32_t total_ = 0;
  uint32_t depth_ = 0;
  std::array<Level, kDepthMax> levels_;
};

}  // namespace
}  // namespace qv::sdo

using qv::Status;
namespace sdo = qv::sdo;

uint32_t SMSDOBinaryCheck(const void *block, uint32_t available, uint32_t *size)
{
  if (block == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const auto binary = sdo::BinaryView::open(static_cast<const uint8_t *>(block), available);
  if (!binary) {
    return qv::result(Status::badType);
  }
  sdo::Checker checker;
  if (!checker.check(*binary)) {
    return qv::result(Status::badType);
  }
  if (size != nullptr) {
    *size = binary->totalSize();
  }
  return qv::result(Status::success);
}

const void *SMSDOBinaryFindValue(const void *block, uint32_t available, uint16_t fieldID, uint8_t *type, uint32_t *size)
{
  if (block == nullptr || !sdo::isValidFieldID(fieldID)) {
    return nullptr;
  }
  const auto binary = sdo::BinaryView::open(static_cast<const uint8_t *>(block), available);
  const auto found = binary ? binary->find(fieldID) : std::nullopt;
  const auto value = found ? binary->value(found->entry, found->index) : std::nullopt;
  if (!value) {
    return nullptr;
  }
  if (type != nullptr) {
    *type = found->entry.type;
  }
  if (size != nullptr) {
    *size = value->size;
  }
  return value->bytes;
}
