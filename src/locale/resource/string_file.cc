// The lookup of a string in a resource file, and its delivery.
//
// Promises: the file is read once, front to back, through one block of memory, in time that grows with its size alone,
// whatever it holds; the lock is held while it is open and no longer.
// Leaves to others: what a line is (string_line), and where the file is (string_id).

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/descriptor.h"
#include "base/heap.h"
#include "base/input_output.h"
#include "base/size.h"
#include "base/text.h"
#include "frame/export.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "locale/resource/string_line.h"
#include "qvsupt32/language.h"
#include "qvsupt32/resource.h"

namespace {

using qv::FileGuard;
using qv::HeapBlock;
using qv::UniqueFd;
namespace locale = qv::locale;

constexpr size_t kChunkUnits = 32 * locale::kLineUnits;

/// The size of the first read: a string near the front should not cost a whole chunk.
constexpr size_t kFirstRead = 8192;

/// The memory of a lookup.
struct Workspace {
  SMChar16 value[locale::kLineUnits];
  SMChar16 chunk[kChunkUnits];
};

/// Units of a line, without a terminator.
struct Line {
  const SMChar16 *begin;
  const SMChar16 *end;
};

/// Hands out the lines of a file one by one.
class StringLines {
 public:
  StringLines(int descriptor, SMChar16 *chunk) : descriptor_(descriptor), chunk_(chunk) {}

  /// Skips the byte-order mark; false if the file does not begin with it.
  bool passMark()
  {
    constexpr SMChar16 kMark = 0xFEFF;
    fill();
    if (left() == 0 || chunk_[0] != kMark) {
      return false;
    }
    ++used_;
    return true;
  }

  /// The next line, or piece of one; false at the end of the file. It is valid until the next call.
  bool next(Line &line)
  {
    fill();
    const size_t count = std::min(left(), locale::kLineUnits);
    if (count < 2) {
      return false;
    }
    const SMChar16 *begin = chunk_ + used_;
    const size_t length = locale::lineLength(begin, count, locale::kLineUnits);
    line = {begin, begin + length};
    used_ += length;
    return true;
  }

 private:
  size_t left() const { return bytesHeld_ / sizeof(SMChar16) - used_; }

  /// Reads until the longest line is in the chunk, or the file has ended.
  void fill()
  {
    if (left() >= locale::kLineUnits || ended_) {
      return;
    }
    bytesHeld_ -= used_ * sizeof(SMChar16);
    memmove(chunk_, chunk_ + used_, bytesHeld_);
    used_ = 0;
    while (left() < locale::kLineUnits && !ended_) {
      const size_t asked = std::min(nextRead_, kChunkUnits * sizeof(SMChar16) - bytesHeld_);
      const ssize_t got =
          qv::uninterrupted([&] { return read(descriptor_, reinterpret_cast<char *>(chunk_) + bytesHeld_, asked); });
      nextRead_ = kChunkUnits * sizeof(SMChar16);
      ended_ = got <= 0;
      bytesHeld_ += ended_ ? 0 : static_cast<size_t>(got);
    }
  }

  int descriptor_;
  SMChar16 *chunk_;
  size_t bytesHeld_ = 0;
  size_t used_ = 0;  // units of the chunk that were handed out
  size_t nextRead_ = kFirstRead;
  bool ended_ = false;
};

/// The key of a string: a language, and the part that all languages have in common. One search for the common part finds
/// the entries of the wanted language and those of the default language.
class Key {
 public:
  void form(uint32_t language, uint32_t stringID)
  {
    char text[sizeof("FFFFFFFF:FFFFFFFF=")];
    const int length = snprintf(text, sizeof(text), "%" PRIX32 ":%" PRIX32 "=", language, stringID);
    std::copy(text, text + length, text_);
    languageLength_ = strcspn(text, ":");
    commonLength_ = static_cast<size_t>(length) - languageLength_;
  }

  /// The first common part at or after a place; the end if there is none.
  const SMChar16 *findCommon(const SMChar16 *at, const SMChar16 *end) const
  {
    const SMChar16 *common = text_ + languageLength_;
    while ((at = locale::findPair(at, end, common[0], common[1])) != end) {
      if (static_cast<size_t>(end - at) >= commonLength_ && std::equal(common, common + commonLength_, at)) {
        return at;
      }
      ++at;
    }
    return end;
  }

  /// True if the common part at a place is preceded by the wanted language, in the line that starts at `begin`.
  bool isWanted(const SMChar16 *begin, const SMChar16 *common) const
  {
    return static_cast<size_t>(common - begin) >= languageLength_ &&
           std::equal(text_, text_ + languageLength_, common - languageLength_);
  }

  /// The same for the default language.
  static bool isDefault(const SMChar16 *begin, const SMChar16 *common) { return common != begin && common[-1] == u'0'; }

 private:
  SMChar16 text_[18];
  size_t languageLength_;
  size_t commonLength_;
};

/// How well a line matches a lookup, in ascending order.
enum class Match { none, byDefault, wanted };

Match match(const Key &key, Line &line)
{
  const SMChar16 *common = key.findCommon(line.begin, line.end);
  if (common == line.end) {
    return Match::none;
  }
  line.end = std::find(line.begin, line.end, SMChar16{0});
  Match best = Match::none;
  for (; common < line.end; common = key.findCommon(common + 1, line.end)) {
    if (key.isWanted(line.begin, common)) {
      return Match::wanted;
    }
    if (Key::isDefault(line.begin, common)) {
      best = Match::byDefault;
    }
  }
  return best;
}

/// Copies the text of an entry with a terminator. Null if the entry has none.
const SMChar16 *takeValue(const Line &line, SMChar16 *value)
{
  const SMChar16 *end = std::find_if(
      line.begin, line.end, [](SMChar16 unit) { return unit == locale::kCarriageReturn || unit == locale::kLineFeed; });
  const SMChar16 *begin = end;
  while (begin != line.begin && begin[-1] != u'=') {
    --begin;
  }
  if (begin == line.begin) {
    return nullptr;
  }
  *std::copy(begin, end, value) = 0;
  return value;
}

/// Searches the lines for a string. Null if it has no text.
const SMChar16 *search(StringLines &lines, Key &key, uint32_t stringID, uint32_t *language, SMChar16 *value)
{
  constexpr uint32_t kLikeDefault[] = {437, SM_LANGUAGE_DEFAULT};
  uint32_t wanted = language == nullptr ? 0 : *language;
  if (std::find(std::begin(kLikeDefault), std::end(kLikeDefault), wanted) != std::end(kLikeDefault)) {
    wanted = 0;
  }
  key.form(wanted, stringID);
  const SMChar16 *text = nullptr;
  Match best = Match::none;
  Line line;
  while (best != Match::wanted && lines.next(line)) {
    if (const Match found = match(key, line); found > best) {
      best = found;
      text = takeValue(line, value);
    }
  }
  if (language != nullptr) {
    *language = best == Match::wanted ? wanted : 0;
  }
  return text;
}

/// The text of a string, or the message that says why the lookup cannot start; null if the file does not hold it.
const SMChar16 *findText(uint32_t stringID, uint32_t *language, const char *pathFile, Workspace &workspace)
{
  if (pathFile == nullptr) {
    return u"Invalid Path File Name";
  }
  const HeapBlock<Key> key(static_cast<Key *>(malloc(sizeof(Key))));
  if (key == nullptr) {
    return u"Failed to allocate memory";
  }
  const FileGuard guard(qv::kFileLockWait);
  if (!guard) {
    return u"String resource locked";
  }
  // Non-blocking: opening a FIFO must not block while the lock is held.
  const UniqueFd file(open(pathFile, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file) {
    return u"String resource not found";
  }
  StringLines lines(file.get(), workspace.chunk);
  if (!lines.passMark()) {
    return u"Invalid string resource found";
  }
  return search(lines, *key, stringID, language, workspace.value);
}

}  // namespace

uint32_t SetUnicodeStringToDestination(const SMChar16 *text, SMChar16 *buffer, uint32_t *size)
{
  const uint64_t needed = text == nullptr ? 0 : (uint64_t{qv::ucs2Length(text)} + 1) * sizeof(SMChar16);
  if (size == nullptr) {
    return buffer == nullptr ? qv::clampSize(needed) : 0;
  }
  if (!qv::exchangeSize(*size, needed) || buffer == nullptr) {
    return 0;
  }
  if (needed != 0) {
    memcpy(buffer, text, static_cast<size_t>(needed));
  }
  return static_cast<uint32_t>(needed);
}

uint32_t GetUCS2StrFromIDPathFile(uint32_t stringID, uint32_t *language, const char *pathFile, SMChar16 *buffer,
                                  uint32_t *size)
{
  const HeapBlock<Workspace> workspace(static_cast<Workspace *>(malloc(sizeof(Workspace))));
  uint32_t delivered = 0;
  if (workspace != nullptr) {
    const SMChar16 *text = findText(stringID, language, pathFile, *workspace);
    delivered = text == nullptr ? 0 : SetUnicodeStringToDestination(text, buffer, size);
  }
  if (size != nullptr) {
    *size = delivered;
  }
  return delivered;
}

uint32_t SMGetUCS2StrFromIDPathFile(uint32_t stringID, uint32_t *language, const char *pathFile, SMChar16 *buffer,
                                    uint32_t *size)
{
  const qv::ExportBracket bracket;
  return GetUCS2StrFromIDPathFile(stringID, language, pathFile, buffer, size);
}
