// An event as it stands in a log: views into the log's text, which has to outlive them, and the numbers that the texts
// say. Nothing is decoded, completed or corrected here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qvctl {

struct Event {
  std::optional<int64_t> epoch;  // of a text log: from its local time, where that can be read
  std::optional<uint32_t> type;  // none for a type line without a number
  std::string_view typeText;     // as the log has it
  uint32_t id = 0;
  std::string_view dateTime;  // as the log has it
  std::string_view computer;
  std::optional<std::string_view> user;  // a text log has none
  std::string_view source;
  std::string_view text;
  std::string_view dump;  // of the data, in lines of 16 bytes

  size_t begin = 0;  // the whole event in the log's text
  size_t end = 0;
  bool startLost = false;  // an interrupted write left the closing tag of the log over its first bytes
};

/// "error"; a number that has no name as that number, and a type line that is none of the library's as it is.
std::string typeName(const Event &event);

/// The number of a type's name, or of a number as text.
std::optional<uint32_t> typeNumber(std::string_view name);

/// "2026-11-25T00:36:12", local; the log's own text where that says no time.
std::string timeText(const Event &event, char between = 'T');

/// The seconds since the epoch of "Thu Nov 19 03:13:03 2026", local.
std::optional<int64_t> parseLogTime(std::string_view text);

/// The seconds since the epoch of "YYYY-MM-DD[ HH:MM[:SS]]", local, or "@SECONDS". What is left out is 0.
std::optional<int64_t> parseUserTime(std::string_view text);

/// Seconds since the epoch in the library's form: "Thu Nov 19 03:13:03 2026".
std::string formatLogTime(int64_t epoch);

/// The bytes that a dump shows; none when it is not whole.
std::optional<std::string> decodeDump(std::string_view dump);

/// A dump as the logs have it.
std::string encodeDump(std::string_view bytes);

}  // namespace qvctl
