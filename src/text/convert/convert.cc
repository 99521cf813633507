// UCS-2 to UTF-8 and back, and the code points between them.
//
// Promises: one pass over the text, which measures it when there is no buffer; every character goes through one decoder
// and one encoder, or through a block that gives the same.

#include "qvsupt32/convert.h"

#include <algorithm>
#include <limits>

#include "base/alias.h"
#include "base/status.h"
#include "text/convert/code_point.h"
#include "text/convert/convert_block.h"

namespace {

using qv::Status;
namespace text = qv::text;

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
    at_ += units;
    room_ -= units;
  }

  /// Has a mixed block written, for which there is room.
  template <class Block>
  void add(const Block &block)
  {
    Unit *const end = block.convert(at_);
    room_ -= static_cast<size_t>(end - at_);
    at_ = end;
  }

  uint64_t count() const { return size_ - room_; }

 private:
  Unit *at_;
  size_t room_;
  size_t size_;
};

/// Whether the bytes that a run looks at can be loaded.
template <class Run, class From>
bool canLoad(const From *at)
{
  if constexpr (Run::kFrom * sizeof(From) > text::kBlockSize) {
    return text::leftInPage(at) >= Run::kFrom * sizeof(From);
  } else {
    return text::canLoadBlock(at);
  }
}

/// Converts blocks of a run as long as it lasts. False when there is none.
template <class Run, class From, class Sink>
bool convertRun(const From *&at, Sink &sink)
{
  const From *const start = at;
  while (sink.room() >= Run::kTo && canLoad<Run>(at)) {
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
bool convertMixed(const From *&at, Sink &sink)
{
  const From *const start = at;
  for (bool mixes = true; mixes && text::canLoadBlock(at);) {
    const Mixed block(at);
    if (!block.valid() || (sink.room() < Mixed::kRoom && sink.room() < block.room())) {
      break;
    }
    sink.add(block);
    at += block.from();
    mixes = block.mixes();
  }
  return at != start;
}

/// Converts the ASCII that a block begins with: always, or only when it is the whole block or the text ends behind it.
/// False when there is none.
template <class Ascii, class From, class Sink>
bool convertAscii(const From *&at, Sink &sink, bool always)
{
  constexpr size_t kWhole = text::kBlockSize / sizeof(From);
  if (!text::canLoadBlock(at)) {
    return false;
  }
  const size_t length = std::min(Ascii::lengthAt(at), sink.room());
  if (length == 0 || (!always && length < kWhole && at[length] != 0)) {
    return false;
  }
  sink.add(length, [=](auto *out) { Ascii::convertPart(at, length, out); });
  at += length;
  return true;
}

/// Converts a run of ASCII, and what is left of it where the text ends. False when there is none.
template <class LongAscii, class Ascii, class From, class Sink>
bool convertAsciiRun(const From *&at, Sink &sink)
{
  const From *const start = at;
  (void)convertRun<LongAscii>(at, sink);  // the place tells
  (void)convertRun<Ascii>(at, sink);
  (void)convertAscii<Ascii>(at, sink, false);
  return at != start;
}

/// One direction: its decoder and encoder, and the blocks that can begin with a character, which is not the terminator.
struct FromUtf8 {
  using From = char;
  using To = char16_t;
  static constexpr auto decode = text::decodeUtf8;
  static constexpr auto length = text::utf16Length;
  static constexpr auto encode = text::encodeUtf16;

  template <class Sink>
  static bool convertBlocks(const char *&at, Sink &sink)
  {
    const auto first = static_cast<uint8_t>(*at);
    if (first < 0x80) {
      return convertAsciiRun<text::Utf8LongAscii, text::Utf8Ascii>(at, sink) ||
             convertMixed<text::Utf8Mixed>(at, sink) || convertAscii<text::Utf8Ascii>(at, sink, true);
    }
    if (first < 0xE0) {
      return convertRun<text::Utf8TwoByteRun>(at, sink) || convertMixed<text::Utf8Mixed>(at, sink);
    }
    if (first < 0xF0) {
      return convertRun<text::Utf8ThreeByteRun>(at, sink) || convertMixed<text::Utf8Mixed>(at, sink);
    }
    return convertRun<text::Utf8FourByteRun>(at, sink);
  }
};

struct FromUtf16 {
  using From = char16_t;
  using To = char;
  static constexpr auto decode = text::decodeUtf16;
  static constexpr auto length = text::utf8Length;
  static constexpr auto encode = text::encodeUtf8;

  template <class Sink>
  static bool convertBlocks(const char16_t *&at, Sink &sink)
  {
    if (*at < 0x80) {
      return convertAsciiRun<text::Utf16LongAscii, text::Utf16Ascii>(at, sink) ||
             convertMixed<text::Utf16Mixed>(at, sink) || convertAscii<text::Utf16Ascii>(at, sink, true);
    }
    if (*at < 0x800) {
      return convertRun<text::Utf16TwoByteRun>(at, sink) || convertMixed<text::Utf16Mixed>(at, sink);
    }
    return convertRun<text::Utf16ThreeByteRun>(at, sink) || convertRun<text::Utf16PairRun>(at, sink);
  }
};

template <class Direction, class Sink>
[[gnu::flatten]] Status convertInto(Sink &sink, const typename Direction::From *at)
{
  for (;;) {
    while (*at != 0 && text::canLoadBlock(at) && Direction::convertBlocks(at, sink)) {
    }
    if (*at == 0) {
      break;
    }
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
  }
  if (sink.room() == 0) {
    return Status::bufferTooSmall;
  }
  sink.add(1, [](typename Direction::To *out) { *out = 0; });
  return Status::success;
}

template <class Direction, class Sink>
Status convertAndTell(Sink sink, uint32_t &size, const typename Direction::From *source)
{
  if (const Status status = convertInto<Direction>(sink, source); status != Status::success) {
    return status;
  }
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
    return convertAndTell<Direction>(Counter(), *size, source);
  }
  return convertAndTell<Direction>(Writer(buffer, *size / sizeof(*buffer)), *size, source);
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
