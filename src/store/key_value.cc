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
#include "store/rewrite.h"

namespace {

using qv::LineReader;
using qv::LineWriter;
using qv::Status;

constexpr char kTemporaryName[] = "qvcfgu32.tmp";
constexpr size_t kLineSize = 8451;
static_assert(kLineSize > LineReader::kLimit);

// The normal form of a line -------------------------------------------------------------------------------------------

constexpr bool isBlank(char c)
{
  return c == ' ' || c == '\t';
}

constexpr bool isBlankOrLineEnd(char c)
{
  return isBlank(c) || c == '\n' || c == '\r';
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

/// Copies the part of a line before its value: without double quotes, and without the blanks outside of them.
char *copyPrefix(std::string_view from, char *to)
{
  bool quoted = false;
  for (const char c : from) {
    if (c == '"') {
      quoted = !quoted;
    } else if (c > ' ' || quoted || !isBlankOrLineEnd(c)) {  // most are letters
      *to++ = c;
    }
  }
  return to;
}

struct Entry {
  std::string_view key;
  std::string_view value;
};

/// Brings a line that has its first "=" at an index into its normal form: key and value without the blanks around them
/// and without double quotes. The key is copied to a buffer as large as the line, which may be the line itself; the
/// value stays where it is if nothing is taken out of it, and follows the key and "=" in the buffer otherwise.
Entry normalize(std::string_view line, size_t equals, char *buffer)
{
  const std::string_view value = trimValue({line.data() + equals + 1, line.size() - equals - 1});
  char *const end = copyPrefix(qv::before(line, value), buffer);
  // Those after "=" belong to the value. There is an "=" in the prefix, so that the end is past the buffer's start.
  const bool hasQuotedBlanks = end[-1] != '=';  // NOLINT(clang-analyzer-core.UndefinedBinaryOperatorResult)
  if (!hasQuotedBlanks && value.find('"') == std::string_view::npos) {
    return {{buffer, static_cast<size_t>(end - buffer) - 1}, value};
  }
  memmove(end, value.data(), value.size());
  const char *const valueEnd = std::remove(end, end + value.size(), '"');
  const std::string_view normal(buffer, static_cast<size_t>(valueEnd - buffer));
  const size_t keySize = normal.find('=');
  return {{buffer, keySize}, {buffer + keySize + 1, normal.size() - keySize - 1}};
}

/// Parses a line, with a buffer of kLineSize bytes that may hold parts of the entry. False if the line is none.
bool parseEntry(std::string_view line, char *buffer, Entry &entry)
{
  const std::string_view text = qv::textOf(line);
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    return false;
  }
  entry = normalize(text, equals, buffer);
  return entry.key.empty() || (entry.key.front() != '#' && entry.key.front() != ';');
}

// Loading -------------------------------------------------------------------------------------------------------------

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

/// Passes every entry of a file to take, which returns false if there was no memory for it.
template <class Take>
Status forEachEntry(const char *path, Take take)
{
  off_t size;
  const qv::UniqueFd file(path == nullptr ? -1 : qv::openForReading(path, size));
  if (!file) {
    return Status::unsuccessful;
  }
  LineReader lines(file.get(), size, LineReader::End::atExpectedSize);
  if (!lines) {
    return Status::noMemory;
  }
  char buffer[kLineSize];
  std::string_view line;
  Entry entry;
  while (lines.next(line)) {
    if (parseEntry(line, buffer, entry) && !take(entry)) {
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

  /// Hands the array over; null if there are no entries.
  CFGUKeyValueEntry *release(uint32_t &count)
  {
    count = std::exchange(count_, 0);
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

// Setting -------------------------------------------------------------------------------------------------------------

/// The one change that a rewrite makes: to an occurrence of a key.
class Change {
 public:
  Change(const char *key, const char *value, uint32_t occurrence) : key_(key), value_(value), occurrence_(occurrence) {}

  Status copyLines(LineReader &lines, LineWriter &output)
  {
    char buffer[kLineSize];
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
  Status add(LineReader &lines, LineWriter &output)
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

Status rewrite(const char *path, const char *temporaryPath, Change change)
{
  qv::Rewrite rewrite(path, temporaryPath, qv::Rewrite::Original::exists);
  if (!rewrite.isOpen()) {
    return Status::fileNotOpened;
  }
  if (!rewrite.hasMemory()) {
    return Status::noMemory;
  }
  const Status status = change.copyLines(rewrite.lines(), rewrite.output());
  return status == Status::success ? rewrite.commit() : status;
}

/// Whether an entry, with "=", line feed and terminator, is longer than a line may be.
bool isTooLong(const char *key, const char *value)
{
  const size_t keyLength = strnlen(key, kLineSize);
  const size_t valueLength = value == nullptr ? 0 : strnlen(value, kLineSize);
  return keyLength + valueLength + 3 > kLineSize;
}

Status set(const char *path, const char *key, const char *value, uint32_t occurrence)
{
  if (path == nullptr || key == nullptr) {
    return Status::invalidParameter;
  }
  if (isTooLong(key, value)) {
    return Status::badDataSize;
  }
  if (qv::createDirectoryOf(path) != Status::success) {
    return Status::unsuccessful;
  }
  qv::PathBuffer temporary;
  qv::makeSiblingPath(path, kTemporaryName, temporary);
  const qv::FileGuard guard(qv::kFileLockWait);
  return guard ? rewrite(path, temporary.text, Change(key, value, occurrence)) : Status::lockFailed;
}

Status setEntry(const char *path, const CFGUKeyValueEntry *entry, uint32_t occurrence)
{
  return entry == nullptr ? Status::invalidParameter : set(path, entry->key, entry->value, occurrence);
}

}  // namespace

CFGUKeyValueEntry *CFGUGetKeyValueEntries(const char *path, uint32_t *count)
{
  *count = 0;
  if (path == nullptr) {
    return nullptr;
  }
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
  return result(setEntry(path, entry, occurrence));
}

uint32_t PopulateKeyValueEntries(const char *path, CFGUKeyValueEntry *entries, uint32_t *count)
{
  return result(populate(path, entries, count));
}

void CFGUEntryRemoveWhiteSpaceAndDQuotes(char *line)
{
  const std::string_view text(line);
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    return;
  }
  const Entry entry = normalize(text, equals, line);
  char *const value = line + entry.key.size() + 1;
  memmove(value, entry.value.data(), entry.value.size());
  value[entry.value.size()] = '\0';
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

uint32_t SMCFGSetKeyValue(const char *path, const char *key, const char *value, uint32_t occurrence)
{
  const qv::ExportBracket bracket;
  return result(set(path, key, value, occurrence));
}
