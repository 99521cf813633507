// UCS-2 to UTF-8 and back, and the code points between them.
//
// Promises: one pass over the text, which measures it when there is no buffer; every character goes through one decoder
// and one encoder, or through a block that gives the same. Only units of the text and aligned blocks with a part of it
// are loaded (base/block.h), and nothing is stored but what is converted.

#include "qvsupt32/convert.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#include "base/alias.h"
#include "base/status.h"
#include "base/text.h"
#include "text/convert/code_point.h"
#include "text/convert/convert_block.h"

namespace {

using qv::Status;
namespace text = qv::text;

/// The length of the ASCII that a text begins with, at most `limit`.
template <class Ascii, class From>
size_t asciiLength(const From *at, size_t limit)
{
  return text::scan(at, limit, [](__m128i block) { return Ascii::others(block); });
}

/// Converts the ASCII that a text begins with, up to `room` units. Returns its length. Since the end of the text is not
/// known it goes by aligned blocks, and converts what precedes the first and follows the last one together with units of
/// those.
template <class Ascii, class From, class To>
[[gnu::noinline, gnu::flatten]] size_t convertAscii(const From *at, size_t room, To *out)
{
  constexpr size_t kAligned = Ascii::kAligned;
  const From *const start = at;
  const size_t offset = text::offsetInBlock(at);
  const size_t beforeBlock = (text::kBlockSize - offset) / sizeof(From) % (text::kBlockSize / sizeof(From));
  const auto startsWithAscii = [=] {
    const char *block = reinterpret_cast<const char *>(start) - offset;
    return text::highBits(Ascii::others(text::loadAligned(block))) >> offset == 0;
  };
  if (!text::kByUnits && offset % sizeof(From) == 0 && room >= beforeBlock + kAligned &&
      (beforeBlock == 0 || startsWithAscii()) && Ascii::convertAligned(at + beforeBlock, out + beforeBlock)) {
    if (beforeBlock != 0) {
      Ascii::convert(at, kAligned, out);
    }
    at += beforeBlock + kAligned;
    out += beforeBlock + kAligned;
    room -= beforeBlock + kAligned;
    for (; room >= kAligned && Ascii::convertAligned(at, out); room -= kAligned) {
      at += kAligned;
      out += kAligned;
    }
    const size_t rest = asciiLength<Ascii>(at, room);
    at += rest;
    Ascii::convert(at - kAligned, kAligned, out + rest - kAligned);
  } else {
    const size_t length = asciiLength<Ascii>(at, room);
    Ascii::convert(at, length, out);
    at += length;
  }
  return static_cast<size_t>(at - start);
}

/// Where converted text goes when only its size is asked for.
class Counter {
 public:
  static constexpr size_t room() { return std::numeric_limits<size_t>::max(); }

  template <class Store>
  void add(size_t units, Store)
  {
    count_ += units;
  }

  template <class Block>
  void add(const Block &block)
  {
    count_ += block.to();
  }

  template <class Block>
  void keepAfter()
  {
  }
  template <class Block>
  void putBack()
  {
  }

  template <class Ascii, class From>
  size_t addAscii(const From *at)
  {
    const size_t length = asciiLength<Ascii>(at, text::kNoLimit);
    count_ += length;
    return length;
  }

  uint64_t count() const { return count_; }

 private:
  uint64_t count_ = 0;
};

/// Where converted text goes: a buffer with room for so many units.
template <class Unit>
class Writer {
 public:
  Writer(Unit *buffer, size_t room) : at_(buffer), room_(room), size_(room) {}

  size_t room() const { return room_; }

  /// Calls store(where) to write that many units, for which there is room.
  template <class Store>
  void add(size_t units, Store store)
  {
    store(at_);
    advance(units);
  }

  /// Has a mixed block written, for which there is room.
  template <class Block>
  void add(const Block &block)
  {
    Unit *const end = block.convert(at_);
    room_ -= static_cast<size_t>(end - at_);
    at_ = end;
  }

  /// Before a block is added that stores too much: keeps what the buffer holds after it. The block has at least as many
  /// units as the one before it has stored too much.
  template <class Block>
  void keepAfter()
  {
    memcpy(kept_, at_ + Block::kOver, sizeof(kept_));
    keptFrom_ = at_ + Block::kOver;
  }

  /// After the last of such blocks.
  template <class Block>
  void putBack()
  {
    if (keptFrom_ != nullptr) {
      memcpy(at_, kept_ + (at_ - keptFrom_), Block::kOver * sizeof(Unit));
      keptFrom_ = nullptr;
    }
  }

  /// Adds the ASCII that a text begins with, as much as there is room for. Returns its length.
  template <class Ascii, class From>
  size_t addAscii(const From *at)
  {
    const size_t length = convertAscii<Ascii>(at, room_, at_);
    advance(length);
    return length;
  }

  uint64_t count() const { return size_ - room_; }

 private:
  void advance(size_t units)
  {
    at_ += units;
    room_ -= units;
  }

  Unit *at_;
  size_t room_;
  size_t size_;
  Unit kept_[16];
  Unit *keptFrom_ = nullptr;
};

template <class From>
size_t bytesBetween(const From *at, const From *end)
{
  return static_cast<size_t>(end - at) * sizeof(From);
}

/// Converts blocks of a run as long as it lasts. False when there is none. What is before `end` can be loaded, here and
/// below.
template <class Run, class From, class Sink>
bool convertRun(const From *&at, const From *end, Sink &sink)
{
  const From *const start = at;
  while (bytesBetween(at, end) >= text::kBlockSize && sink.room() >= Run::kTo) {
    const Run block(at);
    if (!block.matches()) {
      break;
    }
    sink.add(Run::kTo, [&block](auto *out) { block.convert(out); });
    at += Run::kFrom;
  }
  return at != start;
}

/// Converts mixed blocks as long as they are mixed. False when there is none.
template <class Mixed, class From, class Sink>
bool convertMixed(const From *&at, const From *end, Sink &sink)
{
  const From *const start = at;
  for (bool mixes = true; mixes && bytesBetween(at, end) >= Mixed::kLoaded;) {
    const Mixed block(at);
    if (!block.matches() || (sink.room() < Mixed::kRoom && sink.room() < block.room())) {
      break;
    }
    sink.add(block);
    at += block.from();
    mixes = block.mixes();
  }
  return at != start;
}

/// The same with blocks that store too much.
template <class Mixed, class From, class Sink>
bool convertOver(const From *&at, const From *end, Sink &sink)
{
  const From *const start = at;
  for (bool mixes = true; mixes && bytesBetween(at, end) >= Mixed::kLoaded && sink.room() >= Mixed::kRoom;) {
    const Mixed block(at);
    if (!block.matches()) {
      break;
    }
    sink.template keepAfter<Mixed>();
    sink.add(block);
    at += block.from();
    mixes = block.mixes();
  }
  sink.template putBack<Mixed>();
  return at != start;
}

/// One direction: its decoder and encoder, its ASCII, and the blocks that can begin with another character.
struct FromUtf8 {
  using From = char;
  using To = char16_t;
  using Ascii = text::Utf8Ascii;
  static constexpr auto decode = text::decodeUtf8;
  static constexpr auto length = text::utf16Length;
  static constexpr auto encode = text::encodeUtf16;

  template <class Sink>
  static bool convertBlocks(const char *&at, const char *end, Sink &sink)
  {
    const auto first = static_cast<uint8_t>(*at);
    if (first < 0xE0) {
      return convertRun<text::Utf8TwoByteRun>(at, end, sink) || convertOver<text::Utf8UpToTwo>(at, end, sink) ||
             convertMixed<text::Utf8Mixed>(at, end, sink);
    }
    if (first < 0xF0) {
      return convertRun<text::Utf8ThreeByteRun>(at, end, sink) || convertMixed<text::Utf8Mixed>(at, end, sink);
    }
    return convertRun<text::Utf8FourByteRun>(at, end, sink);
  }
};

struct FromUtf16 {
  using From = char16_t;
  using To = char;
  using Ascii = text::Utf16Ascii;
  static constexpr auto decode = text::decodeUtf16;
  static constexpr auto length = text::utf8Length;
  static constexpr auto encode = text::encodeUtf8;

  template <class Sink>
  static bool convertBlocks(const char16_t *&at, const char16_t *end, Sink &sink)
  {
    if (*at < 0x800) {
      return convertRun<text::Utf16TwoByteRun>(at, end, sink) || convertOver<text::Utf16UpToTwo>(at, end, sink) ||
             convertMixed<text::Utf16Mixed>(at, end, sink);
    }
    return convertRun<text::Utf16ThreeByteRun>(at, end, sink) || convertRun<text::Utf16PairRun>(at, end, sink);
  }
};

/// Converts one character, which is not the terminator.
template <class Direction, class Sink>
Status convertOne(const typename Direction::From *&at, Sink &sink)
{
  const text::Character character = Direction::decode(at);
  const uint32_t length = character.length == 0 ? 0 : Direction::length(character.codePoint);
  if (length == 0) {
    return Status::badType;
  }
  if (length > sink.room()) {
    return Status::bufferTooSmall;
  }
  sink.add(length, [=](typename Direction::To *out) { Direction::encode(character.codePoint, length, out); });
  at += character.length;
  return Status::success;
}

/// Whether a unit is ASCII, the terminator included.
template <class From>
bool isAscii(From unit)
{
  return static_cast<std::conditional_t<sizeof(From) == 1, uint8_t, From>>(unit) < 0x80;
}

/// Converts text up to its terminator.
template <class Direction, class Sink>
[[gnu::noinline, gnu::flatten]] Status convertText(Sink &sink, const typename Direction::From *at)
{
  using From = typename Direction::From;
  constexpr size_t kStep = 1024;  // units that are looked through for the end at a time
  const From *end = at;
  bool ended = false;
  while (*at != 0) {
    if (isAscii(*at)) {
      at += sink.template addAscii<typename Direction::Ascii>(at);
      if (*at == 0) {
        break;
      }
    }
    if (!ended && (at >= end || bytesBetween(at, end) < text::kBlockSize)) {
      const size_t length = text::lengthUpTo(at, kStep);
      ended = length < kStep;
      end = at + length;
    }
    if (!Direction::convertBlocks(at, end, sink)) {
      if (const Status status = convertOne<Direction>(at, sink); status != Status::success) {
        return status;
      }
    }
  }
  return Status::success;
}

template <class Direction, class Sink>
Status convertInto(Sink sink, uint32_t &size, const typename Direction::From *at)
{
  // Most text is ASCII and needs no more than this.
  if (isAscii(*at)) {
    at += sink.template addAscii<typename Direction::Ascii>(at);
  }
  if (*at != 0) {
    if (const Status status = convertText<Direction>(sink, at); status != Status::success) {
      return status;
    }
  }
  if (sink.room() == 0) {
    return Status::bufferTooSmall;
  }
  sink.add(1, [](typename Direction::To *out) { *out = 0; });
  const uint64_t bytes = sink.count() * sizeof(typename Direction::To);
  if (bytes > std::numeric_limits<uint32_t>::max()) {
    return Status::bufferTooSmall;
  }
  size = static_cast<uint32_t>(bytes);
  return Status::success;
}

template <class Direction>
Status convert(typename Direction::To *buffer, uint32_t *size, const typename Direction::From *source)
{
  if (source == nullptr || size == nullptr) {
    return Status::invalidParameter;
  }
  if (buffer == nullptr) {
    return convertInto<Direction>(Counter(), *size, source);
  }
  return convertInto<Direction>(Writer(buffer, *size / sizeof(*buffer)), *size, source);
}

template <class Unit>
Status encodeOne(Unit *buffer, uint32_t *size, uint32_t codePoint, uint32_t length,
                 void (*encode)(uint32_t codePoint, uint32_t length, Unit *out))
{
  if (size == nullptr) {
    return Status::invalidParameter;
  }
  if (length == 0) {
    return Status::badType;
  }
  if (buffer != nullptr) {
    if (*size < length) {
      return Status::bufferTooSmall;
    }
    encode(codePoint, length, buffer);
  }
  *size = length;
  return Status::success;
}

}  // namespace

uint32_t UTF8CharsToUCS4Char(uint32_t *codePoint, const char *bytes, uint32_t *consumed)
{
  if (codePoint == nullptr || bytes == nullptr || consumed == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const text::Character character = text::decodeUtf8(bytes);
  *codePoint = character.codePoint;
  if (character.length == 0) {
    return qv::result(Status::badType);
  }
  *consumed = character.length;
  return qv::result(Status::success);
}

uint32_t UCS4CharToUTF8Chars(char *bytes, uint32_t *size, uint32_t codePoint)
{
  return qv::result(encodeOne(bytes, size, codePoint, text::utf8Length(codePoint), text::encodeUtf8));
}

uint32_t UTF16CharsToUCS4Char(uint32_t *codePoint, const SMChar16 *units)
{
  if (codePoint == nullptr || units == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const text::Character character = text::decodeUtf16(units);
  *codePoint = character.codePoint;
  return qv::result(character.length == 0 ? Status::badType : Status::success);
}

uint32_t UCS4CharToUTF16Chars(SMChar16 *units, uint32_t *size, uint32_t codePoint)
{
  return qv::result(encodeOne(units, size, codePoint, text::utf16Length(codePoint), text::encodeUtf16));
}

uint32_t UCS2StrToUTF8Str(char *buffer, uint32_t *size, const SMChar16 *text)
{
  return qv::result(convert<FromUtf16>(buffer, size, text));
}

uint32_t UTF8StrToUCS2Str(SMChar16 *buffer, uint32_t *size, const char *text)
{
  return qv::result(convert<FromUtf8>(buffer, size, text));
}

QV_ALIAS(SMUCS2StrToUTF8Str, UCS2StrToUTF8Str)
QV_ALIAS(SMUTF8StrToUCS2Str, UTF8StrToUCS2Str)
