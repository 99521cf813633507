// The XML log: an append to any file keeps what precedes the closing tag nearest to the end, or leaves the file unchanged;
// carriage returns are replaced everywhere; and escaped text is what an XML parser turns back into the text.
//
// Input: a short form of the file, in which one byte means a tag or a part of one, or a long run of the byte before.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>

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
  constexpr size_t kLengths[] = {1, 40, 490, 65500};
  constexpr size_t kFileMax = 150000;
  std::string file;
  for (; size > 0 && file.size() < kFileMax; ++data, --size) {
    if (*data < 0x80) {
      file += static_cast<char>(*data);
    } else if (*data < 0xC0) {
      file += pieces[*data % std::size(pieces)];
    } else if (size > 1 && !file.empty()) {
      // The search for the last tag stops at every "v", and AddressSanitizer looks at the whole block each time.
      const size_t length = kLengths[*data % (file.back() == 'v' ? 2 : std::size(kLengths))];
      file.append(length + data[1] % 32, file.back());
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

/// Turns escaped text back, as an XML parser does, and compares it with the text that it was made of.
void checkEscape(const uint8_t *data, size_t size)
{
  std::u16string text;
  for (size_t i = 0; i + 1 < size; i += 2) {
    // Few units of the input are markup or halves of pairs, so a byte chooses from where one comes.
    constexpr char16_t kSpecial[] = u"&<>\"'\r\n\t\x01\xD800\xDC00\xDBFF\xDFFF\uFFFE";
    const auto unit = static_cast<char16_t>(data[i] << 8 | data[i + 1]);
    text += data[i] < 0x80 ? kSpecial[data[i + 1] % (std::size(kSpecial) - 1)] : unit;
  }
  text.resize(std::min(text.size(), text.find(u'\0')));
  SMChar16 *copy = SMEscapeXMLText(text.c_str());
  require(copy != nullptr);
  const std::u16string escaped = copy;
  SMFreeMem(copy);
  const std::pair<std::u16string, char16_t> references[] = {{u"&amp;", u'&'},  {u"&lt;", u'<'},    {u"&gt;", u'>'},
                                                            {u"&quot;", u'"'}, {u"&apos;", u'\''}, {u"&#13;", u'\r'}};
  size_t at = 0;
  for (size_t i = 0; i < escaped.size(); ++i, ++at) {
    char16_t unit = escaped[i];
    require(unit != u'<' && unit != u'>' && unit != u'"' && unit != u'\'' && unit != u'\r');
    for (const auto &[reference, character] : references) {
      if (unit == u'&' && escaped.compare(i, reference.size(), reference) == 0) {
        unit = character;
        i += reference.size() - 1;
        break;
      }
    }
    require(unit != u'&' || escaped[i] == u';');
    const bool isPairStart = unit >= 0xD800 && unit <= 0xDBFF;
    if (isPairStart) {
      require(i + 1 < escaped.size() && escaped[i + 1] >= 0xDC00 && escaped[i + 1] <= 0xDFFF);
      require(escaped[i + 1] == text[at + 1] && unit == text[at]);
      ++i;
      ++at;
      continue;
    }
    require(unit < 0xD800 || unit > 0xDFFF);
    require(unit >= 0x20 || unit == u'\t' || unit == u'\n' || unit == u'\r');
    require(unit == text[at] || unit == 0xFFFD);
  }
  require(at == text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  checkAppend(expand(data, size));
  checkEscape(data, size);
  checkCarriageReturns({reinterpret_cast<const char *>(data), size});
  return 0;
}
