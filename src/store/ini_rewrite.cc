// Writing INI files: one key set, added or removed, or a section removed, by way of a temporary file; and the same step
// by step on streams.

#include <fcntl.h>
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
#include "store/line_reader.h"
#include "store/line_writer.h"

namespace {

using qv::Header;
using qv::LineReader;
using qv::LineWriter;
using qv::Status;

constexpr char kTemporaryName[] = "qvpstr32.tmp";
constexpr uint32_t kLargestValueSize = 8193;

/// What a copy answers when the lines have come to an end.
Status atEnd(const LineReader &lines, const LineWriter &output, Status otherwise)
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
  return atEnd(lines, output, Status::success);
}

/// Copies the lines before a section, and with inclusive its header too, which is read in either case.
Status copyToSection(std::string_view section, LineReader &lines, LineWriter &output, bool inclusive)
{
  Status status = Status::sectionNotFound;
  const auto ends = [&](std::string_view line) {
    status = qv::matchHeader(line, section);
    return status != Status::sectionNotFound;
  };
  std::string_view block;
  while (!output.failed() && lines.nextLines(block)) {
    const std::string_view header = qv::findLine(block, "[", ends);
    output.write(qv::before(block, header));
    if (status == Status::badIniFile || inclusive) {
      output.write(header);
    }
    if (!header.empty()) {
      lines.giveBack(qv::behind(block, header));
      return output.failed() ? Status::limitExceeded : status;
    }
  }
  return atEnd(lines, output, status);
}

/// Writes the line feed that the last line may lack, before something is added behind it.
void endLastLine(const LineReader &lines, LineWriter &output)
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
    lines.giveBack(qv::behind(block, keyLine));
    return copyRest(lines, output);
  }
  if (!lines.failed() && value != nullptr) {
    endLastLine(lines, output);
    writeKeyLine(key, value, output);
  }
  return atEnd(lines, output, Status::success);
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
  return atEnd(lines, output, Status::success);
}

/// The result of a step on streams.
uint32_t endStep(Status status, LineWriter &output)
{
  return result(output.end() ? status : Status::limitExceeded);
}

/// What is appended to a file: a section with one key, behind a line feed where the last line lacks its own.
class Appendix {
 public:
  Appendix(std::string_view section, std::string_view key, std::string_view value)
      : block_(static_cast<char *>(malloc(section.size() + key.size() + value.size() + kMarks)))
  {
    if (block_ != nullptr) {
      add("\n[");
      add(section);
      add("]\n");
      add(key);
      add("=");
      add(value);
      add("\n");
    }
  }

  explicit operator bool() const { return block_ != nullptr; }

  std::string_view text(bool withLineFeed) const
  {
    return withLineFeed ? std::string_view(block_.get(), size_) : std::string_view(block_.get() + 1, size_ - 1);
  }

 private:
  static constexpr size_t kMarks = sizeof("\n[]\n=\n");

  void add(std::string_view piece)
  {
    memcpy(block_.get() + size_, piece.data(), piece.size());
    size_ += piece.size();
  }

  qv::HeapBlock<char> block_;
  size_t size_ = 0;
};

bool lacksLineFeed(int file, off_t size)
{
  char last;
  return size > 0 && pread(file, &last, 1, size - 1) == 1 && last != '\n';
}

/// A file that cannot take all of the text gets none of it.
Status appendText(int file, const Appendix &appendix)
{
  const off_t size = lseek(file, 0, SEEK_END);
  const bool written = qv::writeAll(file, appendix.text(lacksLineFeed(file, size)));
  if (!written && size >= 0) {
    (void)ftruncate(file, size);  // the write has failed already
  }
  return qv::syncAndClose(file) && written ? Status::success : Status::limitExceeded;
}

Status append(const char *section, const char *key, const char *value, const char *path)
{
  if (value == nullptr || key == nullptr) {
    return Status::badDataSize;
  }
  const Appendix appendix(section, key, value);
  if (!appendix) {
    return Status::unsuccessful;
  }
  qv::setFileMode(path);
  const int file = qv::openForAppending(path);
  if (file < 0) {
    return Status::fileOpenFailed;
  }
  qv::setFileMode(path);
  return appendText(file, appendix);
}

void writeSection(std::string_view section, std::string_view key, const char *value, LineWriter &output)
{
  output.write('[');
  output.write(section);
  output.write("]\n");
  writeKeyLine(key, value, output);
}

/// Appends to a file that is missing: a new file that is whole takes its place where that can be.
Status appendToMissing(const char *section, const char *key, const char *value, const char *path,
                       const char *temporaryPath)
{
  if (value == nullptr || key == nullptr) {
    return Status::badDataSize;
  }
  const int temporary = qv::createTemporary(temporaryPath);
  if (temporary >= 0) {
    LineWriter output(temporary);
    if (output) {
      writeSection(section, key, value, output);
    }
    if (output && output.end() && qv::takeEmptyPlace(path, temporaryPath)) {
      return Status::success;
    }
    (void)unlink(temporaryPath);  // one that stays is replaced by the next rewrite
  }
  return append(section, key, value, path);
}

/// Writes the new content into the temporary file. 262 when there is no such section; it is added to the temporary file
/// then, and isWhole tells whether that is whole.
Status writeNewContent(const char *section, const char *key, const char *value, const char *path,
                       const char *temporaryPath, bool &isWhole)
{
  off_t size;
  const qv::UniqueFd file(qv::openForReading(path, size));
  if (!file) {
    return Status::fileOpenFailed;
  }
  const int temporary = qv::createTemporary(temporaryPath, file.get());
  if (temporary < 0) {
    return Status::fileOpenFailed;
  }
  LineWriter output(temporary);
  LineReader lines(file.get(), size);
  if (!lines || !output) {
    return key != nullptr ? Status::unsuccessful : Status::noMemory;
  }
  Status status = copyToSection(section, lines, output, key != nullptr);
  if (status == Status::success) {
    status = key != nullptr ? copyWithKey(key, value, lines, output) : copyWithoutSection(lines, output);
  }
  if (status == Status::badIniFile) {
    output.flush();  // what stays shows how far the file could be copied
  }
  if (status == Status::sectionNotFound && key != nullptr && value != nullptr) {
    endLastLine(lines, output);
    writeSection(section, key, value, output);
    isWhole = output.end();
  }
  return status == Status::success && !output.end() ? Status::limitExceeded : status;
}

Status update(const char *section, const char *key, const char *value, const char *path, const char *temporaryPath)
{
  bool isWhole = false;
  const Status status = writeNewContent(section, key, value, path, temporaryPath, isWhole);
  if (status == Status::sectionNotFound) {
    if (isWhole && qv::takePlace(path, temporaryPath)) {
      return Status::success;
    }
    (void)unlink(temporaryPath);  // one that stays is replaced by the next rewrite
    return append(section, key, value, path);
  }
  return status == Status::success ? qv::takePlaceOfOriginal(path, temporaryPath) : status;
}

bool isMissing(const char *path)
{
  return access(path, F_OK) != 0 && errno != EIO && errno != ENOMEM;  // those two leave it open
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

Status writeText(const char *section, const char *key, const char *value, uint32_t size, const char *path,
                 int16_t lockMode)
{
  if (section == nullptr || path == nullptr || isTooLong(section) || (key != nullptr && isTooLong(key))) {
    return Status::badArgument;
  }
  if (hasWrongSize(value, size)) {
    return Status::badDataSize;
  }
  if (qv::createDirectoryOf(path) != Status::success) {
    return Status::unsuccessful;
  }
  qv::PathBuffer temporary;
  qv::makeSiblingPath(path, kTemporaryName, temporary);
  const qv::FileGuard guard(static_cast<uint16_t>(lockMode));
  if (!guard) {
    return Status::lockFailed;
  }
  const Status status = update(section, key, value, path, temporary.text);
  return status == Status::fileOpenFailed && isMissing(path)
             ? appendToMissing(section, key, value, path, temporary.text)
             : status;
}

}  // namespace

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
  return result(append(section, key, value, path));
}

uint32_t UpdateValue(const char *section, const char *key, const char *value, const char *path,
                     const char *temporaryPath)
{
  return result(update(section, key, value, path, temporaryPath));
}

uint32_t WriteINIFileValue_astring(const char *section, const char *key, const char *value, uint32_t valueSize,
                                   const char *path, int16_t lockMode)
{
  return result(writeText(section, key, value, valueSize, path, lockMode));
}
