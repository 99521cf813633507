// String resources: the lookup's one pass over the file finds in any file what a plain reader finds that takes the lines
// one by one and reads the file again for the default language; and the exported line reader cuts the same lines.
//
// Input: flags, a language, a capacity, then the file as it is, or in a short form in which one byte stands for a key, a
// line end, or a long run of the unit before.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "failing_heap.h"
#include "memory_file.h"
#include "qvsupt32.h"

namespace {

using Units = std::u16string;

constexpr uint32_t kStringID = 0x5A;
constexpr uint32_t kLanguages[] = {0, 1031, 1033, 437, 0x10, 0xFFFFFFFF};

void require(bool holds)
{
  if (!holds) {
    abort();
  }
}

void append(std::string &file, const char *text)
{
  for (; *text != '\0'; ++text) {
    file += *text;
    file += '\0';
  }
}

/// Writes the short form out.
std::string expand(const uint8_t *data, size_t size)
{
  constexpr const char *kPieces[] = {"0:5A=", "407:5A=", "10:5A=", ":5A=", "\r\n", "\r", "\n", "407:5", "A="};
  constexpr size_t kFileMax = 400000;
  std::string file = "\xFF\xFE";
  for (; size > 0 && file.size() < kFileMax; ++data, --size) {
    if (*data < 0x80) {
      file += static_cast<char>(*data);
      file += '\0';
    } else if (*data < 0xC0) {
      append(file, kPieces[*data % std::size(kPieces)]);
    } else if (size > 1) {
      // Lengths around those of a line and of a chunk; the next byte says how far from it.
      constexpr size_t kLengths[] = {1, 100, 1000, 1023, 1024, 32760};
      const std::string last = file.substr(file.size() - 2);
      for (size_t count = kLengths[*data % std::size(kLengths)] + data[1] % 32; count > 0; --count) {
        file += last;
      }
      ++data;
      --size;
    }
  }
  return file;
}

/// The plain reader of lines.
class PlainLines {
 public:
  PlainLines(const std::string &bytes, size_t at, size_t capacity) : bytes_(bytes), at_(at), capacity_(capacity) {}

  std::optional<Units> next()
  {
    Units read;
    while (read.size() < capacity_ && at_ + 2 * read.size() + 1 < bytes_.size()) {
      const size_t at = at_ + 2 * read.size();
      read += static_cast<char16_t>(static_cast<uint8_t>(bytes_[at]) | static_cast<uint8_t>(bytes_[at + 1]) << 8);
    }
    if (read.size() < 2) {
      return std::nullopt;
    }
    const size_t lineEnd = read.find(u"\r\n");
    const size_t length = lineEnd == Units::npos || lineEnd + 2 >= capacity_ ? read.size() - 1 : lineEnd + 2;
    at_ += 2 * length;
    read.resize(length);
    return read;
  }

  size_t at() const { return at_; }

 private:
  const std::string &bytes_;
  size_t at_;
  size_t capacity_;
};

/// What a plain lookup delivers: the text, or nothing.
std::optional<Units> plainLookup(const std::string &bytes, uint32_t *language)
{
  if (bytes.compare(0, 2, "\xFF\xFE") != 0) {
    return u"Invalid string resource found";
  }
  uint32_t wanted = language == nullptr ? 0 : *language;
  if (wanted == 437 || wanted == 1033) {
    wanted = *language = 0;
  }
  char key[64];
  const int length = snprintf(key, sizeof(key), "%X:%X=", wanted, kStringID);
  const Units wantedKey(key, key + length);
  PlainLines lines(bytes, 2, 1024);
  while (std::optional<Units> line = lines.next()) {
    Units text = line->c_str();
    if (text.find(wantedKey) == Units::npos) {
      continue;
    }
    text.resize(std::min(text.size(), text.find_first_of(u"\r\n")));
    const size_t equals = text.rfind(u'=');
    return equals == Units::npos ? std::nullopt : std::optional<Units>(text.substr(equals + 1));
  }
  if (wanted == 0) {
    return std::nullopt;
  }
  *language = 0;
  return plainLookup(bytes, language);
}

/// What ours delivers, into a buffer of exactly the size that is given.
std::optional<Units> lookUp(const std::string &path, uint32_t *language, uint32_t room)
{
  std::vector<SMChar16> buffer(room / sizeof(SMChar16));
  uint32_t size = room;
  const uint32_t result = GetUCS2StrFromIDPathFile(kStringID, language, path.c_str(), buffer.data(), &size);
  require(result == size && result <= room);
  if (result == 0) {
    return std::nullopt;
  }
  const Units text(buffer.data());
  require(result == 2 * (text.size() + 1));
  return text;
}

void compareLines(const std::string &bytes, size_t capacity)
{
  std::string copy = bytes;
  FILE *file = fmemopen(copy.data(), copy.size(), "rb");
  if (file == nullptr) {
    return;  // an empty file
  }
  PlainLines lines(bytes, 0, capacity);
  std::vector<SMChar16> line(capacity);
  for (;;) {
    const std::optional<Units> expected = lines.next();
    const bool got = qv_fgetws(line.data(), static_cast<uint32_t>(capacity), file) != nullptr;
    require(got == expected.has_value());
    if (!got) {
      break;
    }
    require(memcmp(line.data(), expected->c_str(), 2 * (expected->size() + 1)) == 0);
    require(ftell(file) == static_cast<long>(lines.at()));
  }
  fclose(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  if (size < 3) {
    return 0;
  }
  const bool asItIs = data[0] % 4 == 0;
  const bool withLanguage = data[0] % 8 < 6;
  const uint32_t language = kLanguages[data[1] % std::size(kLanguages)];
  const size_t capacity = 1 + data[2] % 40;
  const std::string bytes =
      asItIs ? std::string(data + 3, data + size) : expand(data + 3, size - 3) + std::string(data[0] / 8 % 2, '0');
  const MemoryFile file(bytes);

  uint32_t expectedLanguage = language;
  uint32_t after = language;
  const std::optional<Units> expected = plainLookup(bytes, withLanguage ? &expectedLanguage : nullptr);
  const uint32_t needed = expected ? static_cast<uint32_t>(2 * (expected->size() + 1)) : 2;
  require(lookUp(file.path(), withLanguage ? &after : nullptr, needed) == expected);
  require(after == expectedLanguage);
  require(!lookUp(file.path(), nullptr, 0).has_value());
  compareLines(bytes.substr(0, 5000), capacity);

  after = language;
  std::optional<Units> withoutMemory;
  bool struck;
  {
    const fuzz::FailingHeap heap(data, size);
    SMChar16 buffer[1024];
    uint32_t room = sizeof(buffer);
    const std::string path = file.path();
    const uint32_t result =
        GetUCS2StrFromIDPathFile(kStringID, withLanguage ? &after : nullptr, path.c_str(), buffer, &room);
    struck = heap.struck();
    if (result != 0) {
      withoutMemory = buffer;
    }
  }
  require(withoutMemory == expected || (struck && (!withoutMemory || *withoutMemory == u"Failed to allocate memory")));
  return 0;
}
