// A log file in memory, of either format, recognised by its content: its events, and what in it belongs to none.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "event.h"

namespace qvctl {

enum class LogFormat { text, xml };

/// A run of the log that is no whole event and nothing of the format.
struct LostPart {
  size_t begin;  // in the log's text
  size_t end;
  size_t events;  // as it seems; at least one
};

class EventLog {
 public:
  LogFormat format = LogFormat::xml;
  std::vector<Event> events;  // oldest first, as in the file
  std::vector<LostPart> lost;

  /// What the events are views into: of an XML log the file's bytes, of a text log its text as UTF-8.
  std::string_view text() const { return *text_; }
  uint64_t fileSize = 0;

  void setText(std::string text) { text_ = std::make_unique<const std::string>(std::move(text)); }

  /// Places of a text log's text before which the file has one byte that is part of no code unit: an append that was cut
  /// short between the bytes of a unit.
  void setTears(std::vector<size_t> tears) { tears_ = std::move(tears); }

  size_t lostEvents() const;

  /// Where in the file the text from a place on begins, and where the text before it ends: not the same at a tear. Cheap
  /// for places that are asked for in order.
  uint64_t fileOffset(size_t at) const;
  uint64_t fileEnd(size_t at) const;

 private:
  uint64_t bytesBefore(size_t at) const;

  std::unique_ptr<const std::string> text_ = std::make_unique<const std::string>();
  std::vector<size_t> tears_;
  mutable size_t lastPlace_ = 0;
  mutable uint64_t lastUnits_ = 0;
};

/// How often a word is in a part of a log: the size of what was lost.
size_t countOf(std::string_view part, std::string_view word);

/// None when the content is of no log.
std::optional<LogFormat> recogniseLog(std::string_view bytes);

/// Splits a log. Nothing in the bytes makes that fail.
EventLog splitLog(std::string bytes, LogFormat format);

/// Reads a file or what can be read like one; "-" is stdin. Throws a Failure.
using ReadProgress = std::function<void(uint64_t done, uint64_t total)>;
std::string readWhole(const std::string &path, const ReadProgress &progress = nullptr);

/// Reads and splits a log. Throws a Failure when the file cannot be read or is no log.
EventLog readLog(const std::string &path);

/// "1 event could not be split" and so on, on stderr, when there is reason for it.
void tellLost(const std::string &path, const EventLog &log);

}  // namespace qvctl
