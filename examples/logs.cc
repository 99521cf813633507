// Events in the text log and the XML log, in two languages, and the way to a log's file.
#include <iostream>
#include <qvsupt32/qvsupt32.hpp>

namespace qv = qvsupt32;

int main()
{
  constexpr std::uint32_t kFanFailed = 2003;
  const std::byte registers[] = {std::byte{0x10}, std::byte{0x7F}};

  for (const char16_t *text : {u"Fan 2 <rear> failed", u"L\u00FCfter 2 <hinten> ausgefallen"}) {
    // Texts go into the XML log as they are given, so whoever may meet "<" or "&" escapes them. The text log shows the
    // text itself, and gets it unescaped.
    const auto escaped = qv::escape_xml(text);
    if (!escaped) {
      return 1;
    }
    const auto type = qv::event_type::error;
    if (qv::write_event(qv::log::text, type, kFanFailed, u"example", text, registers) != qv::status::success) {
      std::cout << "only an XML log tells its status\n";
    }
    const qv::status done = qv::write_event(qv::log::xml, type, kFanFailed, u"example", escaped->c_str(), registers);
    if (done != qv::status::success) {
      std::cerr << "XML log: " << qv::to_text(done) << '\n';
      return 1;
    }
  }

  char path[256];
  for (const qv::log log : {qv::log::text, qv::log::xml}) {
    std::uint32_t size = sizeof(path);
    if (SMGetLogPathFileName(static_cast<std::uint8_t>(log), path, &size) != SM_STATUS_SUCCESS) {
      return 1;
    }
    std::uint32_t bytes = 0;
    std::cout << path << (SMGetSizeOfFile(path, &bytes) == SM_STATUS_SUCCESS && bytes > 0 ? " is written\n" : "?\n");
  }
}
