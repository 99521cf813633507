// Writing INI files: sets, adds or removes one key, or removes a section, by a rewrite; and the same step by step on
// streams. Leaves to others: how the new content takes the old one's place (rewrite), the grammar (ini_line).

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "base/descriptor.h"
#include "base/heap.h"
#include "base/status.h"
#include "frame/lock/file_guard.h"
#include "qvsupt32/store.h"
#include "store/file_util.h"
#include "store/ini_line.h"
#include "store/ini_text.h"
#include "store/line_reader.h"
#include "store/line_writer.h"
#include "store/rewrite.h"

namespace {

using qv::Header;
using qv::LineReader;
using qv::LineWriter;
using qv::Status;

constexpr char kTemporaryName[] = "qvpstr32.tmp";
constexpr uint32_t kLargestValueSize = 8193;

/// The status of a copy that came to the end of the lines.
Status statusAtEnd(const LineReader &lines, const LineWriter &output, Status otherwise)
{
  if (lines.failed()) {
    return Status::badIniFile;
  }
  return output.failed() ? Status::limitExceeded : otherwise;
}

Status copyRest(LineReader &lines, LineWriter &output)
{
  std::string_view bytes;
  while (!output.failed() && lines.nextBlock(bytes)) {
    output.write(bytes);
  }
  return statusAtEnd(lines, output, Status::success);
}

/// Copies the lines before a section. Its header is read in either case, and copied if inclusive.
Status copyToSection(std::string_view section, LineReader &lines, LineWriter &output, bool inclusive)
{
  Status status = Status::sectionNotFound;
  std::string_view block;
  while (!output.failed() && lines.nextLines(block)) {
    const std::string_view header = qv::findHeader(block, section, status);
    output.write(qv::before(block, header));
    if (status == Status::badIniFile || inclusive) {
      output.write(header);
    }
    if (!header.empty()) {
      lines.giveBack(qv::after(block, header));
      return output.failed() ? Status::limitExceeded : status;
    }
  }
  return statusAtEnd(lines, output, status);
}

/// Writes the line feed that the last line may lack, before a line is added after it.
void endLastLine(LineReader &lines, LineWriter &output)
{
  if (lines.lacksLineFeed()) {
    output.write('\n');
  }
}

/// Without a value there is no line.
void writeKeyLine(std::string_view key, const char *value, LineWriter &output)
{
  if (value == nullptr) {
    return;
  }
  output.write(key);
  output.write('=');
  output.write(std::string_view(value));
  output.write('\n');
}

/// Copies a section and all that follows it, with a key's line replaced or added, or without a value dropped.
Status copyWithKey(std::string_view key, const char *value, LineReader &lines, LineWriter &output)
{
  const auto isWanted = [&](std::string_view line) {
    const std::string_view text = qv::textOf(line);
    return !qv::isIniComment(text) && qv::keyOf(qv::skipBlanks(text)) == key;
  };
  std::string_view block;
  while (!output.failed() && lines.nextLines(block)) {
    const std::string_view end = qv::findSectionEnd(block);
    const std::string_view inside = qv::before(block, end);
    const std::string_view keyLine = qv::findLine(inside, key, isWanted);
    output.write(qv::before(block, keyLine));
    if (keyLine.empty() && end.empty()) {
      continue;
    }
    writeKeyLine(key, value, output);
    lines.giveBack(qv::after(block, keyLine));
    return copyRest(lines, output);
  }
  if (!lines.failed() && value != nullptr) {
    endLastLine(lines, output);
    writeKeyLine(key, value, output);
  }
  return statusAtEnd(lines, output, Status::success);
}

/// Drops the lines of a section whose header was read, and copies all that follows: from the next line that has "[" or
/// "#" in its first column.
Status copyWithoutSection(LineReader &lines, LineWriter &output)
{
  std::string_view line;
  while (lines.next(line)) {
    if (line.front() == '[' || line.front() == '#') {
      output.write(line);
      return copyRest(lines, output);
    }
  }
  return statusAtEnd(lines, output, Status::success);
}

/// The result of a step on streams.
uint32_t endStep(Status status, LineWriter &output)
{
  return result(output.flush() ? status : Status::limitExceeded);
}

/// The text of a new section with one key.
class SectionText {
 public:
  SectionText(std::string_view section, std::string_view key, std::string_view value)
      : block_(static_cast<char *>(malloc(section.size() + key.size() + value.size() + kMarks)))
  {
    if (block_ != nullptr) {
      for (const std::string_view piece : {std::string_view("\n["), section, std::string_view("]\n"), key,
                                           std::string_view("="), value, std::string_view("\n")}) {
        memcpy(block_.get() + size_, piece.data(), piece.size());
        size_ += piece.size();
      }
    }
  }

  /// False if there was no memory for the text.
  explicit operator bool() const { return block_ != nullptr; }

  /// Preceded by a line feed for a last line that lacks it.
  std::string_view get(bool withLineFeed) const
  {
    return withLineFeed ? std::string_view(block_.get(), size_) : std::string_view(block_.get() + 1, size_ - 1);
  }

 private:
  static constexpr size_t kMarks = sizeof("\n[]\n=\n");

  qv::HeapBlock<char> block_;
  size_t size_ = 0;
};

/// Whether the last line of a file lacks its line feed; false for a file that may only be written to.
bool lacksLineFeed(const char *path)
{
  off_t size;
  const qv::UniqueFd file(qv::openForReading(path, size));
  char last;
  return file && size > 0 && pread(file.get(), &last, 1, size - 1) == 1 && last != '\n';
}

/// Appends a section in place. A file that cannot take all of it gets none of it.
Status appendInPlace(const SectionText &text, const char *path)
{
  const qv::UniqueFd file(qv::openForAppending(path));
  if (!file) {
    return Status::fileOpenFailed;
  }
  const off_t size = lseek(file.get(), 0, SEEK_END);
  const bool written = qv::writeAll(file.get(), text.get(lacksLineFeed(path)));
  const bool synced = written && qv::syncBytes(file.get());
  if (!synced && size >= 0) {
    (void)ftruncate(file.get(), size);  // the append has failed already
  }
  return synced ? Status::success : Status::limitExceeded;  // after the sync, a close has nothing to report
}

/// Without a value there is no section to add; without a key it would be a line that no read finds.
bool addsSection(const char *key, const char *value)
{
  return key != nullptr && value != nullptr;
}

Status appendSection(const char *section, const char *key, const char *value, const char *path)
{
  if (!addsSection(key, value)) {
    return Status::badDataSize;
  }
  const SectionText text(section, key, value);
  return text ? appendInPlace(text, path) : Status::unsuccessful;
}

/// Adds a section to a file that is missing, or that was copied whole by the rewrite: by the exchange if nobody else
/// sees the old content by another name, otherwise in place.
Status addSection(const char *section, const char *key, const char *value, const char *path, qv::Rewrite &rewrite,
                  bool lacksLineFeed)
{
  const SectionText text(section, key, value);
  if (!text) {
    rewrite.discard();
    return Status::unsuccessful;
  }
  if (rewrite.isOpen() && rewrite.hasMemory() && rewrite.replacesOnlyName()) {
    rewrite.output().write(text.get(lacksLineFeed));
    if (rewrite.commitInOneStep()) {
      return Status::success;
    }
  }
  rewrite.discard();
  return appendInPlace(text, path);
}

Status update(const char *section, const char *key, const char *value, const char *path, const char *temporaryPath)
{
  qv::Rewrite rewrite(path, temporaryPath, qv::Rewrite::Original::exists);
  if (!rewrite.isOpen()) {
    return Status::fileOpenFailed;
  }
  if (!rewrite.hasMemory()) {
    return key != nullptr ? Status::unsuccessful : Status::noMemory;
  }
  LineReader &lines = rewrite.lines();
  LineWriter &output = rewrite.output();
  Status status = copyToSection(section, lines, output, key != nullptr);
  if (status == Status::sectionNotFound && !addsSection(key, value)) {
    rewrite.discard();
    return Status::badDataSize;
  }
  if (status == Status::sectionNotFound) {
    return addSection(section, key, value, path, rewrite, lines.lacksLineFeed());
  }
  if (status == Status::success) {
    status = key != nullptr ? copyWithKey(key, value, lines, output) : copyWithoutSection(lines, output);
  }
  if (status != Status::success) {
    (void)output.flush();  // what stays shows how far the file could be copied
    return status;
  }
  return rewrite.commit();
}

/// The existence test. An error of the device or of memory says nothing about the file: what is there must not get a
/// second section of the same name.
bool isMissing(const char *path)
{
  return access(path, F_OK) != 0 && errno != EIO && errno != ENOMEM;
}

Status writeToMissing(const char *section, const char *key, const char *value, const char *path,
                      const char *temporaryPath)
{
  if (!addsSection(key, value)) {
    return Status::badDataSize;
  }
  qv::Rewrite rewrite(path, temporaryPath, qv::Rewrite::Original::missing);
  return addSection(section, key, value, path, rewrite, false);
}

bool isTooLong(const char *name)
{
  return strnlen(name, qv::kLongestIniName + 1) > qv::kLongestIniName;
}

bool hasWrongSize(const char *value, uint32_t size)
{
  if (value == nullptr) {
    return size != 0;
  }
  return size > kLargestValueSize || strnlen(value, size) + 1 != size;
}

}  // namespace

Status qv::writeIniText(const IniPlace &place, const char *value, uint32_t size)
{
  if (place.section == nullptr || place.path == nullptr || isTooLong(place.section) ||
      (place.key != nullptr && isTooLong(place.key))) {
    return Status::badArgument;
  }
  if (hasWrongSize(value, size)) {
    return Status::badDataSize;
  }
  if (createDirectoryOf(place.path) != Status::success) {
    return Status::unsuccessful;
  }
  PathBuffer temporary;
  makeSiblingPath(place.path, kTemporaryName, temporary);
  const FileGuard guard(static_cast<uint16_t>(place.lockMode));
  if (!guard) {
    return Status::lockFailed;
  }
  const auto write = isMissing(place.path) ? writeToMissing : update;
  return write(place.section, place.key, value, place.path, temporary.text);
}

uint32_t ParseForSection(const char *line, char *name)
{
  std::string_view found;
  switch (qv::parseHeader(line, found)) {
    case Header::none:
      return result(Status::unsuccessful);
    case Header::malformed:
      return result(Status::badIniFile);
    case Header::named:
      break;
  }
  memcpy(name, found.data(), found.size());
  name[found.size()] = '\0';
  return result(Status::success);
}

uint32_t FindSectionInclusive(const char *section, FILE *input, FILE *output, int16_t inclusive)
{
  LineReader lines(input);
  if (!lines) {
    return result(Status::unsuccessful);
  }
  LineWriter writer(output);
  return endStep(copyToSection(section, lines, writer, inclusive != 0), writer);
}

uint32_t FindSection(const char *section, FILE *input, FILE *output)
{
  return FindSectionInclusive(section, input, output, 1);
}

uint32_t FindKeyUpdateValue(const char *key, const char *value, FILE *input, FILE *output)
{
  LineReader lines(input);
  if (!lines) {
    return result(Status::unsuccessful);
  }
  LineWriter writer(output);
  return endStep(copyWithKey(key, value, lines, writer), writer);
}

uint32_t FindNextSectionAndDump(FILE *input, FILE *output)
{
  LineReader lines(input);
  if (!lines) {
    return result(Status::noMemory);
  }
  LineWriter writer(output);
  return endStep(copyWithoutSection(lines, writer), writer);
}

uint32_t AppendValue(const char *section, const char *key, const char *value, const char *path)
{
  return result(appendSection(section, key, value, path));
}

uint32_t UpdateValue(const char *section, const char *key, const char *value, const char *path,
                     const char *temporaryPath)
{
  return result(update(section, key, value, path, temporaryPath));
}
