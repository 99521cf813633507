// Settings files with anything in them, beside a model that is written here anew, line by line: reads, lists and sets
// of INI and key=value files, byte lists, normal forms. A set has to change what the model changes and nothing else;
// when an allocation fails, chosen by the last byte of the input, it leaves the old content or the new.
//
// The first byte chooses names and value; the rest is the file, in which 0xFF, n, c stands for 66 * n times c.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "failing_heap.h"
#include "qvsupt32.h"

namespace {

constexpr size_t kLineLimit = 8449;

void require(bool holds, const char *what)
{
  if (!holds) {
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
  }
}

const std::string &directory()
{
  static const std::string path = "/dev/shm/store_fuzz." + std::to_string(getpid());
  static const bool made = mkdir(path.c_str(), 0755) == 0 && atexit([] {
                                                               (void)unlink((path + "/x.ini").c_str());
                                                               (void)unlink((path + "/qvpstr32.tmp").c_str());
                                                               (void)unlink((path + "/qvcfgu32.tmp").c_str());
                                                               (void)rmdir(path.c_str());
                                                             }) == 0;
  require(made, "a directory in memory");
  return path;
}

std::string get(const std::string &path)
{
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::string content(file ? static_cast<size_t>(file.tellg()) : 0, '\0');
  file.seekg(0).read(content.data(), static_cast<std::streamsize>(content.size()));
  return content;
}

void put(const std::string &path, const std::string &content)
{
  std::ofstream(path, std::ios::binary) << content;
}

// The model of INI files ----------------------------------------------------------------------------------------------

struct Line {
  std::string_view whole;
  enum { kComment, kHeader, kMalformed, kKey } kind = kKey;
  bool hasEquals = false;
  std::string_view name = {}, value = {};
};

/// The text of a line, which a NUL ends early.
std::string_view textOf(std::string_view line)
{
  return line.substr(0, line.find('\0'));
}

Line parse(std::string_view line)
{
  std::string_view text = textOf(line);
  if (!text.empty() && text.back() == '\n') {
    text.remove_suffix(1);
  }
  if (text.find_first_of(";#") == 0) {
    return {line, Line::kComment};
  }
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (!text.empty() && text[0] == '[') {
    const size_t end = text.find(']');
    return end == text.npos ? Line{line, Line::kMalformed} : Line{line, Line::kHeader, false, text.substr(1, end - 1)};
  }
  const size_t equals = text.find('=');
  const bool hasEquals = equals != text.npos;
  return {line, Line::kKey, hasEquals, text.substr(0, equals), hasEquals ? text.substr(equals + 1) : ""};
}

using Lines = std::vector<Line>;

/// The lines of a content, which they point into.
Lines split(std::string_view content)
{
  Lines lines;
  for (size_t at = 0; at < content.size(); at += lines.back().whole.size()) {
    const size_t lineFeed = content.find('\n', at);
    const size_t length = lineFeed == content.npos ? content.size() - at : lineFeed + 1 - at;
    lines.push_back(parse(content.substr(at, std::min(length, kLineLimit))));
  }
  return lines;
}

/// The index of the line after the header of a section, or the status.
struct Place {
  uint32_t status;
  size_t line;
};

Place find(const Lines &lines, const std::string &section)
{
  for (size_t i = 0; i < lines.size(); ++i) {
    const Line &line = lines[i];
    if (line.kind == Line::kMalformed) {
      return {261, 0};
    }
    if (line.kind == Line::kHeader && line.name == section) {
      return {0, i + 1};
    }
  }
  return {262, 0};
}

bool endsSection(const Line &line)
{
  return line.kind == Line::kHeader || line.kind == Line::kMalformed;
}

struct Answer {
  uint32_t status;
  std::string text;
};

Answer modelRead(const Lines &lines, const Place &place, const std::string &key)
{
  for (size_t i = place.line; place.status == 0 && i < lines.size(); ++i) {
    const Line &line = lines[i];
    if (endsSection(line)) {
      break;
    }
    if (line.hasEquals && line.name == key) {
      return {0, std::string(line.value) + '\0'};
    }
  }
  return {place.status == 0 ? 263 : place.status, ""};
}

Answer modelSections(const Lines &lines)
{
  std::string names;
  for (const Line &line : lines) {
    if (line.kind == Line::kMalformed) {
      return {261, ""};
    }
    if (line.kind == Line::kHeader && line.name.size() <= 255) {
      names.append(line.name) += '\0';
    }
  }
  return {names.empty() ? 262u : 0u, names};
}

Answer modelKeys(const Lines &lines, const Place &place)
{
  std::string names;
  for (size_t i = place.line; place.status == 0 && i < lines.size(); ++i) {
    const Line &line = lines[i];
    if (endsSection(line)) {
      break;
    }
    if (line.hasEquals) {
      names.append(line.name) += '\0';
    }
  }
  return {place.status != 0 ? place.status : names.empty() ? 263 : 0, names};
}

std::string withLineFeed(const std::string &content)
{
  return content.empty() || content.back() == '\n' ? content : content + "\n";
}

std::string join(const Lines &lines, size_t from, size_t to)
{
  std::string text;
  for (size_t i = from; i < to; ++i) {
    text += lines[i].whole;
  }
  return text;
}

/// The content after a set; a null key removes the section, a null value the key.
Answer modelSet(const Lines &lines, const Place &place, const std::string &section, const char *key, const char *value)
{
  const std::string old = join(lines, 0, lines.size());
  const std::string added = key == nullptr || value == nullptr ? "" : std::string(key) + "=" + value + "\n";
  if (place.status == 262) {
    return added.empty() ? Answer{264, old} : Answer{0, withLineFeed(old) + "[" + section + "]\n" + added};
  }
  if (place.status != 0) {
    return {place.status, old};
  }
  const std::string start = join(lines, 0, place.line);
  for (size_t i = place.line; i < lines.size(); ++i) {
    const Line &line = lines[i];
    if (key == nullptr ? lines[i].whole[0] == '[' || lines[i].whole[0] == '#' : endsSection(line)) {
      const std::string kept = key == nullptr ? join(lines, 0, place.line - 1) : join(lines, 0, i);
      return {0, kept + added + join(lines, i, lines.size())};
    }
    if (key != nullptr && line.kind == Line::kKey && line.name == key) {
      return {0, join(lines, 0, i) + added + join(lines, i + 1, lines.size())};
    }
  }
  if (key == nullptr) {
    return {0, join(lines, 0, place.line - 1)};
  }
  return {0, added.empty() ? old : withLineFeed(old) + added};
}

// Checks of INI files -------------------------------------------------------------------------------------------------

Answer read(const std::string &path, const char *section, const char *key, size_t capacity)
{
  std::vector<char> buffer(capacity);
  auto size = static_cast<uint32_t>(capacity);
  const uint32_t status = ReadINIFileValue_astring(section, key, buffer.data(), &size, nullptr, 0, path.c_str(), 1);
  require(status != 0 || size <= capacity, "the size is inside the buffer");
  return {status, status == 0 ? std::string(buffer.data(), size) : ""};
}

void checkRead(const std::string &path, const char *section, const char *key, const Answer &wanted, size_t extra)
{
  const Answer whole = read(path, section, key, wanted.text.size() + 2);
  require(whole.status == wanted.status && (whole.status != 0 || whole.text == wanted.text), "reads as the model does");
  if (wanted.status == 0 && wanted.text.size() + extra > 2) {
    const Answer cut =
        read(path, section, key, std::max<size_t>(wanted.text.size() + extra - 1, key == nullptr ? 2 : 1));
    require(cut.status == 16 || cut.text.size() <= 2, "one byte less is too small");
  }
}

void checkIni(const std::string &path, const std::string &content, uint8_t choice, const uint8_t *data, size_t size)
{
  const char *sections[] = {"s", "t", "", "s s"};
  const char *keys[] = {"k", "", "k k", "#k"};
  const char *values[] = {"", "v", nullptr, "= v "};
  const char *section = sections[choice % 4];
  const char *key = keys[choice / 4 % 4];
  const char *value = values[choice / 16 % 4];
  const char *changed = choice >= 192 ? nullptr : key;
  const Lines lines = split(content);
  const Place place = find(lines, section);
  put(path, content);
  checkRead(path, section, key, modelRead(lines, place, key), 0);
  checkRead(path, nullptr, nullptr, modelSections(lines), 1);
  checkRead(path, section, nullptr, modelKeys(lines, place), 1);
  const Answer wanted = modelSet(lines, place, section, changed, value);
  uint32_t status;
  bool struck;
  {
    const fuzz::FailingHeap heap(data, size);
    status = WriteINIFileValue_astring(
        section, changed, value, value == nullptr ? 0 : static_cast<uint32_t>(strlen(value)) + 1, path.c_str(), 1);
    struck = heap.struck();
  }
  require(struck || status == wanted.status, "a set answers as the model does");
  require(get(path) == (status == 0 ? wanted.text : content), "a set changes what the model changes");
}

// Key=value files -----------------------------------------------------------------------------------------------------

std::string modelNormal(const std::string &line)
{
  const size_t equals = line.find('=');
  if (equals == std::string::npos) {
    return line;
  }
  const size_t start = std::min(line.find_first_not_of(" \t", equals + 1), line.size());
  std::string value = line.substr(start);
  value.erase(value.find_last_not_of(" \t\r\n") + 1);
  std::string normal;
  bool quoted = false;
  for (size_t at = 0; at < start;) {
    const size_t mark = std::min(line.find_first_of(quoted ? "\"" : "\" \t\r\n", at), start);
    normal.append(line, at, mark - at);
    quoted = quoted != (mark < start && line[mark] == '"');
    at = mark + 1;
  }
  normal += value;
  normal.erase(std::remove(normal.begin(), normal.end(), '"'), normal.end());
  return normal;
}

bool modelEntry(const std::string &normal, std::string &key, std::string &value)
{
  const size_t equals = normal.find('=');
  key = normal.substr(0, equals);
  value = equals == std::string::npos ? "" : normal.substr(equals + 1);
  return equals != std::string::npos && normal[0] != '#' && normal[0] != ';';
}

void checkKeyValue(const std::string &path, const std::string &content, uint8_t choice, const uint8_t *data,
                   size_t size)
{
  const char *keys[] = {"k", "", "k k", "a"};
  const char *values[] = {"v", "", nullptr, " = \""};
  char *const wantedKey = const_cast<char *>(keys[choice % 4]);
  char *const wantedValue = const_cast<char *>(values[choice / 4 % 4]);
  const uint32_t occurrence = choice / 16 % 4;
  const std::string newLine = wantedValue == nullptr ? "" : std::string(wantedKey) + "=" + wantedValue + "\n";

  put(path, content);
  std::string entries;
  std::string result;
  uint32_t matches = 0;
  bool handled = false;
  for (const Line &line : split(content)) {
    const std::string normal = modelNormal(std::string(textOf(line.whole)));
    std::string key;
    std::string value;
    const bool isEntry = modelEntry(normal, key, value);
    entries += isEntry ? key + "=" + value + "\n" : "";
    const bool isWanted = isEntry && key == wantedKey && matches++ == occurrence;
    handled = handled || isWanted;
    result += isWanted ? std::string_view(newLine) : line.whole;
    std::string inPlace(textOf(line.whole));
    CFGUEntryRemoveWhiteSpaceAndDQuotes(inPlace.data());
    require(inPlace.c_str() == normal, "the normal form is that of the model");
  }
  uint32_t wanted = 0;
  if (!handled) {
    wanted = occurrence != matches ? 271 : wantedValue == nullptr ? 263 : 0;
    result = wanted == 0 ? withLineFeed(result) + newLine : content;
  }

  uint32_t count;
  CFGUKeyValueEntry *loaded = CFGUGetKeyValueEntries(path.c_str(), &count);
  std::string seen;
  for (uint32_t i = 0; i < count; ++i) {
    seen += std::string(loaded[i].key) + "=" + loaded[i].value + "\n";
  }
  CFGUFreeKeyValueEntries(loaded, count);
  require(seen == entries, "loads what the model loads");

  const CFGUKeyValueEntry entry = {wantedKey, wantedValue};
  uint32_t status;
  bool struck;
  {
    const fuzz::FailingHeap heap(data, size);
    status = CFGUSetKeyValueEntry(path.c_str(), &entry, occurrence);
    struck = heap.struck();
  }
  require(struck || status == wanted, "a set answers as the model does");
  require(get(path) == (status == 0 ? result : content), "a set changes what the model changes");
}

// Byte lists ----------------------------------------------------------------------------------------------------------

void checkBytes(const std::string &path, const std::string &content)
{
  std::string text = content.substr(0, 8000).c_str();
  text.erase(std::min(text.find('\n'), text.size()));
  put(path, "[s]\nk=" + text + "\n");
  std::vector<uint8_t> wanted;
  uint32_t status = 0;
  char *rest = nullptr;
  std::string pieces = text;
  for (const char *piece = strtok_r(pieces.data(), ",", &rest); piece != nullptr;
       piece = strtok_r(nullptr, ",", &rest)) {
    unsigned number;
    if (strlen(piece) > 8) {
      return;  // scanf(3) goes beyond 32 bits here
    }
    if (sscanf(piece, "%x", &number) != 1) {
      break;
    }
    if (static_cast<int>(number) > 255) {
      status = 264;
      break;
    }
    wanted.push_back(static_cast<uint8_t>(number));
  }
  for (const size_t capacity : {wanted.size() + 1, wanted.size() / 2 + 1}) {
    std::vector<uint8_t> bytes(capacity);
    auto size = static_cast<uint32_t>(capacity);
    const uint32_t got = ReadINIFileValue_binary("s", "k", bytes.data(), &size, nullptr, 0, path.c_str(), 1);
    require(got == (status == 264 ? 264 : wanted.size() > capacity ? 16 : 0), "bytes answer as the model does");
    require(size == (got == 264 ? 0 : wanted.size()), "bytes are counted");
    const auto stored = static_cast<ptrdiff_t>(std::min(capacity, wanted.size()));
    require(got == 264 || std::equal(bytes.begin(), bytes.begin() + stored, wanted.begin()),
            "bytes are those of the model");
  }
}

/// The size of the input decides how large a file it may become: one in 32 crosses the blocks that the library reads,
/// one in four a line's limit; small ones are many times as fast.
std::string expand(const uint8_t *data, size_t size)
{
  const size_t most = size % 32 == 0 ? 80'000 : size % 4 == 0 ? 9'000 : 1'200;
  std::string content;
  for (size_t i = 0; i < size && content.size() < most; ++i) {
    if (data[i] == 0xFF && size - i > 2) {
      content.append(66 * size_t{data[i + 1]}, static_cast<char>(data[i + 2]));
      i += 2;
    } else {
      content += static_cast<char>(data[i]);
    }
  }
  return content;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  if (size == 0) {
    return 0;
  }
  const std::string path = directory() + "/x.ini";
  const std::string content = expand(data + 1, size - 1);
  checkIni(path, content, data[0], data, size);
  checkKeyValue(path, content, data[0], data, size);
  checkBytes(path, content);
  return 0;
}
