// Key=value files: loading their entries, and setting one occurrence of a key while every other line keeps its bytes.

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/descriptor.h"
#include "base/heap.h"
#include "base/status.h"
#include "frame/export.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "qvsupt32/store.h"
#include "store/file_util.h"
#include "store/line_reader.h"
#include "store/line_writer.h"

namespace {

using qv::LineReader;
using qv::LineWriter;
using qv::Status;

constexpr char kTemporaryName[] = "qvcfgu32.tmp";
constexpr size_t kLineRoom = 8451;
static_assert(kLineRoom > LineReader::kLimit);

/// Lines before they are taken apart
/// --------------------------------------------------------------------------------------------------

constexpr bool isBlank(char c)
{
  return c == ' ' || c == '\t';
}

constexpr bool isBlankOrLineEnd(char c)
{
  return isBlank(c) || c == '\n' || c == '\r';
}

/// Copies the bytes that are no double quotes.
char *copyUnquoted(std::string_view from, char *to)
{
  if (from.find('"') == std::string_view::npos) {
    memmove(to, from.data(), from.size());
    return to + from.size();
  }
  for (const char c : from) {
    if (c != '"') {
      *to++ = c;
    }
  }
  return to;
}

/// Copies what stands before a value: without double quotes, and blanks only where double quotes surround them.
char *copyPrefix(std::string_view from, char *to)
{
  bool quoted = false;
  for (const char c : from) {
    if (c == '"') {
      quoted = !quoted;
    } else if (quoted || !isBlankOrLineEnd(c)) {
      *to++ = c;
    }
  }
  return to;
}

/// Cuts blanks off a value's start, and line ends too off its end.
std::string_view trimValue(std::string_view value)
{
  while (!value.empty() && isBlank(value.front())) {
    value.remove_prefix(1);
  }
  while (!value.empty() && isBlankOrLineEnd(value.back())) {
    value.remove_suffix(1);
  }
  return value;
}

/// Copies a line in its normal form, which may happen in place: key, "=", value, without the blanks around them and the
/// double quotes. A line without "=" stays as it is. Returns the end of the copy, which has no terminator.
char *normalize(std::string_view line, char *to)
{
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) {
    memmove(to, line.data(), line.size());
    return to + line.size();
  }
  const std::string_view value = trimValue({line.data() + equals + 1, line.size() - equals - 1});
  to = copyPrefix({line.data(), static_cast<size_t>(value.data() - line.data())}, to);
  return copyUnquoted(value, to);
}

struct Entry {
  std::string_view key;
  std::string_view value;
};

std::string_view trim(std::string_view text)
{
  while (!text.empty() && isBlankOrLineEnd(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isBlankOrLineEnd(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

/// Takes an entry out of a line, with a buffer of kLineRoom bytes that may hold it. False for any other line.
bool parseEntry(std::string_view line, char *buffer, Entry &entry)
{
  const std::string_view text = qv::textOf(line);
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    return false;
  }
  // Most lines hold their normal form: nothing is in it that would have to be taken out.
  entry.key = trim({text.data(), equals});
  if (text.find('"') == std::string_view::npos && std::none_of(entry.key.begin(), entry.key.end(), isBlankOrLineEnd)) {
    entry.value = trimValue({text.data() + equals + 1, text.size() - equals - 1});
  } else {
    const char *const end = normalize(text, buffer);
    const size_t keySize = std::string_view(buffer, static_cast<size_t>(end - buffer)).find('=');
    entry = {{buffer, keySize}, {buffer + keySize + 1, static_cast<size_t>(end - buffer) - keySize - 1}};
  }
  return entry.key.empty() || (entry.key.front() != '#' && entry.key.front() != ';');
}

qv::HeapBlock<char> allocateLine()
{
  return qv::HeapBlock<char>(static_cast<char *>(malloc(kLineRoom)));
}

/// Loading
/// ----------------------------------------------------------------------------------------------------------------

char *duplicate(std::string_view text)
{
  auto *copy = static_cast<char *>(malloc(text.size() + 1));
  if (copy != nullptr) {
    memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
  }
  return copy;
}

bool duplicate(const Entry &entry, CFGUKeyValueEntry &copy)
{
  qv::HeapBlock<char> key(duplicate(entry.key));
  if (key == nullptr) {
    return false;
  }
  char *value = duplicate(entry.value);
  if (value == nullptr) {
    return false;
  }
  copy = {key.release(), value};
  return true;
}

void freeEntries(CFGUKeyValueEntry *entries, uint32_t count)
{
  for (uint32_t i = 0; i < count; ++i) {
    free(entries[i].key);
    free(entries[i].value);
    entries[i] = {nullptr, nullptr};
  }
}

/// Gives every entry of a file to take, which answers whether there was memory for it.
template <class Take>
Status forEachEntry(const char *path, Take take)
{
  off_t size;
  const qv::UniqueFd file(path == nullptr ? -1 : qv::openForReading(path, size));
  if (!file) {
    return Status::unsuccessful;
  }
  LineReader lines(file.get(), size);
  const qv::HeapBlock<char> buffer = allocateLine();
  if (!lines || buffer == nullptr) {
    return Status::noMemory;
  }
  std::string_view line;
  Entry entry;
  while (lines.next(line)) {
    if (parseEntry(line, buffer.get(), entry) && !take(entry)) {
      return Status::noMemory;
    }
  }
  return lines.failed() ? Status::unsuccessful : Status::success;
}

Status populate(const char *path, CFGUKeyValueEntry *entries, uint32_t *count)
{
  if (entries == nullptr && *count != 0) {
    return Status::invalidParameter;
  }
  const qv::FileGuard guard(qv::kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  uint32_t found = 0;
  uint32_t filled = 0;
  Status status = forEachEntry(path, [&](const Entry &entry) {
    ++found;
    if (entries == nullptr || filled == *count) {
      return true;
    }
    if (!duplicate(entry, entries[filled])) {
      return false;
    }
    ++filled;
    return true;
  });
  if (status == Status::success) {
    *count = found;
    if (entries == nullptr || found > filled) {
      status = Status::unsuccessful;
    }
  }
  if (status != Status::success) {
    freeEntries(entries, filled);
  }
  return status;
}

/// An array that grows with the entries of a file.
class EntryArray {
 public:
  EntryArray() = default;
  ~EntryArray() { CFGUFreeKeyValueEntries(entries_, count_); }
  EntryArray(const EntryArray &) = delete;
  EntryArray &operator=(const EntryArray &) = delete;

  bool add(const Entry &entry)
  {
    if (count_ == capacity_ && !resize(capacity_ == 0 ? 16 : 2 * capacity_)) {
      return false;
    }
    if (!duplicate(entry, entries_[count_])) {
      return false;
    }
    ++count_;
    return true;
  }

  /// Hands the array over, with no more room than its entries take; null when there are none.
  CFGUKeyValueEntry *release(uint32_t &count)
  {
    if (count_ != 0) {
      (void)resize(count_);  // an array that cannot shrink does as well
    }
    count = count_;
    count_ = 0;
    return std::exchange(entries_, nullptr);
  }

 private:
  bool resize(uint32_t capacity)
  {
    if (capacity > UINT32_MAX / sizeof(CFGUKeyValueEntry)) {
      return false;
    }
    void *resized = realloc(static_cast<void *>(entries_), capacity * sizeof(CFGUKeyValueEntry));
    if (resized == nullptr) {
      return false;
    }
    entries_ = static_cast<CFGUKeyValueEntry *>(resized);
    capacity_ = capacity;
    return true;
  }

  CFGUKeyValueEntry *entries_ = nullptr;
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;
};

/// Setting
/// ----------------------------------------------------------------------------------------------------------------

/// The one change that a rewrite makes: to an occurrence of the entry's key.
class Change {
 public:
  Change(const CFGUKeyValueEntry &entry, uint32_t occurrence)
      : key_(entry.key), value_(entry.value), occurrence_(occurrence)
  {
  }

  Status copyLines(LineReader &lines, char *buffer, LineWriter &output)
  {
    std::string_view line;
    while (!output.failed() && lines.next(line)) {
      if (!handled_ && isWanted(line, buffer)) {
        handled_ = true;
        writeEntry(output);
      } else {
        output.write(line);
      }
    }
    if (lines.failed()) {
      return Status::unsuccessful;
    }
    const Status status = handled_ ? Status::success : add(lines, output);
    return output.failed() ? Status::limitExceeded : status;
  }

 private:
  bool isWanted(std::string_view line, char *buffer)
  {
    Entry entry;
    return parseEntry(line, buffer, entry) && entry.key == key_ && matches_++ == occurrence_;
  }

  /// Only the next occurrence after those that exist can be added.
  Status add(const LineReader &lines, LineWriter &output)
  {
    if (occurrence_ != matches_) {
      return Status::invalidParameter;
    }
    if (value_ == nullptr) {
      return Status::keyNotFound;
    }
    if (lines.lacksLineFeed()) {
      output.write('\n');
    }
    writeEntry(output);
    return Status::success;
  }

  void writeEntry(LineWriter &output) const
  {
    if (value_ == nullptr) {
      return;
    }
    output.write(key_);
    output.write('=');
    output.write(std::string_view(value_));
    output.write('\n');
  }

  std::string_view key_;
  const char *value_;
  uint32_t occurrence_;
  uint32_t matches_ = 0;
  bool handled_ = false;
};

Status writeNewContent(const char *path, const char *temporaryPath, Change change)
{
  off_t size;
  const qv::UniqueFd file(qv::openForReading(path, size));
  if (!file) {
    return Status::fileNotOpened;
  }
  const int temporary = qv::createTemporary(temporaryPath, file.get());
  if (temporary < 0) {
    return Status::fileNotOpened;
  }
  LineWriter output(temporary);
  LineReader lines(file.get(), size);
  const qv::HeapBlock<char> buffer = allocateLine();
  if (!lines || !output || buffer == nullptr) {
    return Status::noMemory;
  }
  const Status status = change.copyLines(lines, buffer.get(), output);
  return status == Status::success && !output.end() ? Status::limitExceeded : status;
}

/// Whether an entry, with "=", line feed and terminator, is longer than a line's room.
bool isTooLong(const CFGUKeyValueEntry &entry)
{
  const size_t key = strnlen(entry.key, kLineRoom);
  const size_t value = entry.value == nullptr ? 0 : strnlen(entry.value, kLineRoom);
  return key + value + 3 > kLineRoom;
}

Status set(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence)
{
  if (path == nullptr || entry == nullptr || entry->key == nullptr) {
    return Status::invalidParameter;
  }
  if (isTooLong(*entry)) {
    return Status::badDataSize;
  }
  if (qv::createDirectoryOf(path) != Status::success) {
    return Status::unsuccessful;
  }
  qv::PathBuffer temporary;
  qv::makeSiblingPath(path, kTemporaryName, temporary);
  const qv::FileGuard guard(qv::kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  const Status status = writeNewContent(path, temporary.text, Change(*entry, occurrence));
  return status == Status::success ? qv::takePlaceOfOriginal(path, temporary.text) : status;
}

}  // namespace

CFGUKeyValueEntry *CFGUGetKeyValueEntries(const char *path, uint32_t *count)
{
  *count = 0;
  const qv::FileGuard guard(qv::kFileLockWait);
  if (!guard) {
    return nullptr;
  }
  EntryArray entries;
  const Status status = forEachEntry(path, [&](const Entry &entry) { return entries.add(entry); });
  return status == Status::success ? entries.release(*count) : nullptr;
}

void CFGUFreeKeyValueEntries(CFGUKeyValueEntry *entries, uint32_t count)
{
  if (entries != nullptr) {
    freeEntries(entries, count);
    free(entries);
  }
}

char *CFGUGetKeyValue(const CFGUKeyValueEntry *entries, uint32_t count, const char *key, uint32_t occurrence)
{
  if (entries == nullptr || key == nullptr) {
    return nullptr;
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (entries[i].key != nullptr && strcmp(entries[i].key, key) == 0 && occurrence-- == 0) {
      return entries[i].value;
    }
  }
  return nullptr;
}

uint32_t CFGUSetKeyValueEntry(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence)
{
  return result(set(path, entry, occurrence));
}

uint32_t PopulateKeyValueEntries(const char *path, CFGUKeyValueEntry *entries, uint32_t *count)
{
  return result(populate(path, entries, count));
}

void CFGUEntryRemoveWhiteSpaceAndDQuotes(char *line)
{
  *normalize(line, line) = '\0';
}

int32_t CFGUEqualPosition(const char *text)
{
  const char *equals = strchr(text, '=');
  return equals == nullptr ? -1 : static_cast<int32_t>(equals - text);
}

int32_t CFGUGetFirstNonWhiteSpacePos(const char *text)
{
  return *text == '\0' ? -1 : static_cast<int32_t>(strspn(text, " \t"));
}

void CharsLeftShift(char *text)
{
  memmove(text, text + 1, strlen(text));
}

CFGUKeyValueEntry *SMCFGGetKeyValueEntries(const char *path, uint32_t *count)
{
  const qv::ExportBracket bracket;
  return CFGUGetKeyValueEntries(path, count);
}

void SMCFGFreeKeyValueEntries(CFGUKeyValueEntry *entries, uint32_t count)
{
  const qv::ExportBracket bracket;
  CFGUFreeKeyValueEntries(entries, count);
}

uint32_t SMCFGSetKeyValueEntry(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence)
{
  const qv::ExportBracket bracket;
  return CFGUSetKeyValueEntry(path, entry, occurrence);
}
