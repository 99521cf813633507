// Text for the XML log, which inserts texts as they are given: markup, line ends and what XML cannot hold.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/text.h"
#include "qvsupt32/log.h"

namespace {

constexpr SMChar16 kReplacement = 0xFFFD;

/// True if XML 1.0 has a character of this one unit.
bool isXmlCharacter(SMChar16 unit)
{
  return unit >= 0x20 ? unit < 0xD800 || (unit > 0xDFFF && unit < 0xFFFE) : unit == u'\t' || unit == u'\n';
}

/// Calls add(text) for the escaped form of every character in turn.
template <class Add>
void escape(std::u16string_view text, Add add)
{
  for (size_t i = 0; i < text.size(); ++i) {
    switch (text[i]) {
      case u'&':
        add(u"&amp;");
        continue;
      case u'<':
        add(u"&lt;");
        continue;
      case u'>':
        add(u"&gt;");
        continue;
      case u'"':
        add(u"&quot;");
        continue;
      case u'\'':
        add(u"&apos;");
        continue;
      case u'\r':
        add(u"&#13;");  // a parser would make a line feed of the character
        continue;
      default:
        break;
    }
    if (qv::isHighSurrogate(text[i]) && i + 1 < text.size() && qv::isLowSurrogate(text[i + 1])) {
      add(text.substr(i, 2));
      ++i;
    } else {
      add(isXmlCharacter(text[i]) ? text.substr(i, 1) : std::u16string_view(&kReplacement, 1));
    }
  }
}

}  // namespace

SMChar16 *SMEscapeXMLText(const SMChar16 *text)
{
  if (text == nullptr) {
    return nullptr;
  }
  const std::u16string_view whole(text, qv::ucs2Length(text));
  uint64_t units = 1;
  escape(whole, [&](std::u16string_view piece) { units += piece.size(); });
  if (units > SIZE_MAX / sizeof(SMChar16)) {
    return nullptr;
  }
  auto *escaped = static_cast<SMChar16 *>(malloc(static_cast<size_t>(units) * sizeof(SMChar16)));
  if (escaped == nullptr) {
    return nullptr;
  }
  SMChar16 *end = escaped;
  escape(whole, [&](std::u16string_view piece) { end += piece.copy(end, piece.size()); });
  *end = 0;
  return escaped;
}
