// Reading INI files: one value, the sections of a file, the keys of a section.

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/descriptor.h"
#include "base/size.h"
#include "base/status.h"
#include "frame/lock/file_guard.h"
#include "qvsupt32/store.h"
#include "store/file_util.h"
#include "store/ini_line.h"
#include "store/ini_text.h"
#include "store/line_reader.h"

namespace {

using qv::Header;
using qv::LineReader;
using qv::Status;

/// The status of a search that came to the end of the lines.
Status statusAtEnd(const LineReader &lines, Status notFound)
{
  return lines.failed() ? Status::badIniFile : notFound;
}

/// Reads up to the header of the first section of a name, and the header too.
Status findSection(LineReader &lines, std::string_view section)
{
  Status status = Status::sectionNotFound;
  std::string_view block;
  while (lines.nextLines(block)) {
    const std::string_view header = qv::findHeader(block, section, status);
    if (!header.empty()) {
      lines.giveBack(qv::after(block, header));
      return status;
    }
  }
  return statusAtEnd(lines, status);
}

struct KeyLine {
  std::string_view key;
  std::string_view value;
};

/// False for a line, inside a section, that is a comment or has no "=".
bool parseKeyLine(std::string_view line, KeyLine &keyLine)
{
  const std::string_view text = qv::textOf(line);
  const std::string_view body = qv::skipBlanks(text);
  keyLine.key = qv::keyOf(body);
  if (qv::isIniComment(text) || keyLine.key.size() == body.size()) {
    return false;
  }
  const size_t equals = keyLine.key.size();
  keyLine.value = {body.data() + equals + 1, body.size() - equals - 1};
  return true;
}

Status copyValue(std::string_view value, char *buffer, uint32_t &size)
{
  if (!qv::exchangeSize(size, value.size() + 1)) {
    return Status::bufferTooSmall;
  }
  memcpy(buffer, value.data(), value.size());
  buffer[value.size()] = '\0';
  return Status::success;
}

Status findValue(std::string_view section, std::string_view key, char *buffer, uint32_t *size, LineReader &lines)
{
  if (!lines) {
    return Status::unsuccessful;
  }
  const Status status = findSection(lines, section);
  if (status != Status::success) {
    return status;
  }
  KeyLine keyLine;
  const auto isWanted = [&](std::string_view line) { return parseKeyLine(line, keyLine) && keyLine.key == key; };
  std::string_view block;
  while (lines.nextLines(block)) {
    // The key is searched first: most of the time it is there, and the rest of the section need not be looked at.
    const std::string_view line = qv::findLine(block, key, isWanted);
    const std::string_view passed(block.data(), block.size() - qv::after(block, line).size());
    const bool isAtEnd = !qv::findSectionEnd(passed).empty();
    if (!isAtEnd && !line.empty()) {
      return copyValue(keyLine.value, buffer, *size);
    }
    if (isAtEnd) {
      return Status::keyNotFound;
    }
  }
  return statusAtEnd(lines, Status::keyNotFound);
}

/// A list of names in a caller's buffer: each with its terminator, and one more terminator at the end, inside the buffer.
/// Names that no longer fit are only counted.
class NameList {
 public:
  NameList(char *buffer, uint32_t size) : buffer_(buffer), size_(size)
  {
    buffer_[0] = '\0';
    buffer_[1] = '\0';
  }

  void add(std::string_view name)
  {
    const uint64_t at = total_;
    total_ += name.size() + 1;
    if (total_ < size_) {
      memcpy(buffer_ + at, name.data(), name.size());
      buffer_[total_ - 1] = '\0';
      buffer_[total_] = '\0';
    }
  }

  bool isEmpty() const { return total_ == 0; }

  /// Stores the size of the names. Names that leave no place for the last terminator need one byte more.
  Status finish(uint32_t *size) const
  {
    const uint64_t needed = total_ == size_ ? total_ + 1 : total_;
    *size = qv::clampSize(needed);
    return total_ < size_ ? Status::success : Status::bufferTooSmall;
  }

 private:
  char *buffer_;
  uint64_t size_;
  uint64_t total_ = 0;
};

constexpr uint32_t kEmptyListSize = 2;

Status listSections(char *buffer, uint32_t *size, LineReader &lines)
{
  if (*size < kEmptyListSize) {
    return Status::badArgument;
  }
  NameList names(buffer, *size);
  if (!lines) {
    return Status::unsuccessful;
  }
  const auto addName = [&](std::string_view line) {
    std::string_view name;
    const Header header = qv::parseHeader(qv::textOf(line), name);
    if (header == Header::named) {
      names.add(name);
    }
    return header == Header::malformed;
  };
  std::string_view block;
  while (lines.nextLines(block)) {
    if (!qv::findLine(block, "[", addName).empty()) {
      return Status::badIniFile;
    }
  }
  return lines.failed() || names.isEmpty() ? statusAtEnd(lines, Status::sectionNotFound) : names.finish(size);
}

Status listKeys(const char *section, char *buffer, uint32_t *size, LineReader &lines)
{
  if (*size < kEmptyListSize) {
    return Status::badArgument;
  }
  NameList names(buffer, *size);
  if (!lines) {
    return Status::unsuccessful;
  }
  const Status status = findSection(lines, section);
  if (status != Status::success) {
    return status;
  }
  const auto addKey = [&](std::string_view line) {
    KeyLine keyLine;
    if (parseKeyLine(line, keyLine)) {
      names.add(keyLine.key);
    }
    return false;
  };
  bool isAtEnd = false;
  std::string_view block;
  while (!isAtEnd && lines.nextLines(block)) {
    const std::string_view end = qv::findSectionEnd(block);
    (void)qv::findLine(qv::before(block, end), "=", addKey);  // all lines are tried, none ends the search
    isAtEnd = !end.empty();
  }
  return lines.failed() || names.isEmpty() ? statusAtEnd(lines, Status::keyNotFound) : names.finish(size);
}

/// Stores the caller's default, cut to its buffer, or an empty text.
void applyDefault(char *buffer, uint32_t *size, const char *defaultText, uint32_t defaultSize)
{
  if (defaultText == nullptr || defaultSize == 0) {
    *size = 0;
    buffer[0] = '\0';
    return;
  }
  *size = std::min(defaultSize, *size);
  memmove(buffer, defaultText, *size);
  buffer[*size - 1] = '\0';
}

}  // namespace

Status qv::readIniText(const IniPlace &place, char *buffer, uint32_t *size, const char *defaultText,
                       uint32_t defaultSize)
{
  if (buffer == nullptr || size == nullptr || place.path == nullptr || *size == 0) {
    return Status::badArgument;
  }
  const FileGuard guard(static_cast<uint16_t>(place.lockMode));
  if (!guard) {
    return Status::lockFailed;
  }
  off_t fileSize;
  const UniqueFd file(openForReading(place.path, fileSize));
  if (!file) {
    return Status::fileOpenFailed;
  }
  LineReader lines(file.get(), fileSize, LineReader::End::atExpectedSize);
  if (place.section == nullptr) {
    return listSections(buffer, size, lines);
  }
  if (place.key == nullptr) {
    return listKeys(place.section, buffer, size, lines);
  }
  const Status status = findValue(place.section, place.key, buffer, size, lines);
  if (status != Status::success && status != Status::bufferTooSmall) {
    applyDefault(buffer, size, defaultText, defaultSize);
  }
  return status;
}

uint32_t GetValue(const char *section, const char *key, char *buffer, uint32_t *size, FILE *input)
{
  LineReader lines(input);
  return result(findValue(section, key, buffer, size, lines));
}

uint32_t GetAllSections(char *list, uint32_t *size, FILE *input)
{
  LineReader lines(input);
  return result(listSections(list, size, lines));
}

uint32_t GetAllKeys(const char *section, char *list, uint32_t *size, FILE *input)
{
  LineReader lines(input);
  return result(listKeys(section, list, size, lines));
}
