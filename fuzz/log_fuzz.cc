// The XML log: an append to any file keeps what stands before the closing tag nearest to the end, or leaves the file as
// it is; and carriage returns are replaced wherever they stand.
//
// Input: a short form of the file, in which one byte stands for a tag or a part of one, or for a long run of the byte
// before.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>

#include "memory_file.h"
#include "qvsupt32.h"

namespace {

constexpr size_t kHeaderSize = sizeof(xmlLogFileHdr) - 1;

void require(bool holds)
{
  if (!holds) {
    abort();
  }
}

/// Writes the short form out.
std::string expand(const uint8_t *data, size_t size)
{
  const std::string pieces[] = {xmlLogFileHdr, xmlLogBeginTag, xmlLogEndTag, "</EventLog", "v", "</LogEntry>", "<"};
  // Lengths around those of the header and of the blocks of the search; the next byte says how far from it.
  constexpr size_t kLengths[] = {1, 40, 4080, 262120};
  constexpr size_t kFileMax = 600000;
  std::string file;
  for (; size > 0 && file.size() < kFileMax; ++data, --size) {
    if (*data < 0x80) {
      file += static_cast<char>(*data);
    } else if (*data < 0xC0) {
      file += pieces[*data % std::size(pieces)];
    } else if (size > 1 && !file.empty()) {
      file.append(kLengths[*data % std::size(kLengths)] + data[1] % 32, file.back());
      ++data;
      --size;
    }
  }
  return file;
}

/// Takes the whole text of an entry off the front of a text.
void requireEntry(const std::string &text)
{
  const std::string begin = "<LogEntry><TimeStamp>";
  const std::string end =
      "<Type>4</Type><ID>7</ID><UserInfo></UserInfo><Source>S</Source><Description>"
      "</Description><Data></Data></LogEntry>";
  require(text.size() > begin.size() + end.size());
  require(text.compare(0, begin.size(), begin) == 0);
  require(text.compare(text.size() - end.size(), end.size(), end) == 0);
}

/// Where the last closing tag begins.
size_t findLastTag(const std::string &text)
{
  const std::string tag = xmlLogEndTag;
  size_t at = text.rfind('<');
  while (at != std::string::npos && text.compare(at, tag.size(), tag) != 0) {
    at = at == 0 ? std::string::npos : text.rfind('<', at - 1);
  }
  return at;
}

void checkAppend(const std::string &before)
{
  const MemoryFile file(before);
  const uint32_t status = AppendToXMLLog(file.path().c_str(), 4, 7, nullptr, u"S", nullptr, nullptr, 0, 0xFFFFFFFF);
  const std::string after = file.content();
  const bool isEmpty = before.size() < kHeaderSize;
  const size_t tag = findLastTag(before);
  if (!isEmpty && (tag == std::string::npos || tag < kHeaderSize)) {
    require(status == SM_STATUS_BAD_TYPE && after == before);
    return;
  }
  require(status == SM_STATUS_SUCCESS);
  const std::string kept = isEmpty ? std::string(xmlLogFileHdr) + xmlLogBeginTag : before.substr(0, tag);
  require(after.compare(0, kept.size(), kept) == 0);
  const size_t end = after.find(xmlLogEndTag, kept.size());
  require(end != std::string::npos);
  requireEntry(after.substr(kept.size(), end - kept.size()));
  // What followed the old tag stays where the new text does not reach.
  const size_t written = end + sizeof(xmlLogEndTag) - 1;
  require(after.substr(written) == (isEmpty || written >= before.size() ? "" : before.substr(written)));
}

void checkCarriageReturns(std::string text)
{
  text.resize(std::min(text.size(), text.find('\0')));
  std::string expected = text;
  std::replace(expected.begin(), expected.end(), '\r', ' ');
  RemoveCarriageReturns(text.data());
  require(text == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  checkAppend(expand(data, size));
  checkCarriageReturns({reinterpret_cast<const char *>(data), size});
  return 0;
}
