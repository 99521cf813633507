// See xml_log_reader.h. One pass over the tags: a tag that is one of the entry's is looked at with what must follow it,
// blanks between tags allowed, for files that went through an editor.

#include "xml_log_reader.h"

#include <charconv>

#include "event_splitter.h"
#include "log_cursor.h"

namespace qvctl {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

/// Reads on in a log.
class Cursor : public LogCursor {
 public:
  using LogCursor::LogCursor;

  /// A tag, after blanks.
  bool takeTag(std::string_view tag)
  {
    const size_t found = log_.find_first_not_of(kBlanks, at_);
    if (found == std::string_view::npos || log_.compare(found, tag.size(), tag) != 0) {
      return false;
    }
    at_ = found + tag.size();
    return true;
  }

  /// A text up to its closing tag, which is short: the library writes it.
  bool takeText(std::string_view closingTag, std::string_view &text)
  {
    constexpr size_t kLongest = 1024;
    const size_t size = log_.substr(at_, kLongest + closingTag.size()).find(closingTag);
    if (size == std::string_view::npos) {
      return false;
    }
    text = log_.substr(at_, size);
    at_ += size + closingTag.size();
    return true;
  }

  template <class Number>
  bool takeNumber(std::string_view closingTag, Number &number)
  {
    const char *const begin = log_.data() + at_;
    const auto [end, error] = std::from_chars(begin, log_.data() + log_.size(), number);
    if (error != std::errc{}) {
      return false;
    }
    at_ += static_cast<size_t>(end - begin);
    return take(closingTag);
  }
};

/// What the library writes before the free texts. `stamp` is the tag of the time stamp, or what is left of it.
std::optional<EventStart> takeStart(std::string_view log, size_t begin, std::string_view entry, std::string_view stamp)
{
  EventStart start;
  Event &event = start.event;
  event.begin = begin;
  int64_t epoch = 0;
  uint32_t type = 0;
  int64_t id = 0;  // older programs write it as a signed number
  Cursor cursor(log, begin + entry.size());
  event.startLost = entry == kXmlEnd;
  const bool isStart = event.startLost ? cursor.take(stamp) : cursor.takeTag(stamp);
  if (!isStart || !cursor.takeNumber("</TimeStamp>", epoch) || !cursor.takeTag("<DateTime>") ||
      !cursor.takeText("</DateTime>", event.dateTime) || !cursor.takeTag("<ComputerName>") ||
      !cursor.takeText("</ComputerName>", event.computer) || !cursor.takeTag("<Type>") ||
      !cursor.takeNumber("</Type>", type) || !cursor.takeTag("<ID>") || !cursor.takeNumber("</ID>", id) ||
      id < INT32_MIN || id > UINT32_MAX || !cursor.takeTag("<UserInfo>")) {
    return std::nullopt;
  }
  event.epoch = epoch;
  event.type = type;
  event.id = static_cast<uint32_t>(id);
  start.body = cursor.at();
  return start;
}

/// Two tags that follow each other between two texts.
struct Separator {
  size_t begin;
  size_t end;
};

class XmlSplitter {
 public:
  explicit XmlSplitter(std::string_view log) : log_(log) {}

  std::vector<Event> split()
  {
    for (size_t at = log_.find('<'); at != std::string_view::npos; at = log_.find('<', at)) {
      at = look(at);
    }
    findTexts();
    return pairUp(starts_, ends_, log_);
  }

 private:
  /// Returns where to go on.
  size_t look(size_t at)
  {
    const std::string_view rest = log_.substr(at);
    if (rest.starts_with("<L")) {
      if (rest.starts_with(kXmlEntry)) {
        return addStart(at, kXmlEntry, "<TimeStamp>");
      }
    } else if (rest.starts_with("</")) {
      switch (rest.size() > 2 ? rest[2] : '\0') {
        case 'U':
          return addSeparator(users_, at, "</UserInfo>", "<Source>");
        case 'S':
          return addSeparator(sources_, at, "</Source>", "<Description>");
        case 'D':
          return rest.starts_with("</Data>") ? addEnd(at) : addSeparator(descriptions_, at, "</Description>", "<Data>");
        case 'E':
          return rest.starts_with(kXmlEnd) ? addStart(at, kXmlEnd, "TimeStamp>") : at + 1;
        default:
          break;
      }
    }
    return at + 1;
  }

  size_t addStart(size_t at, std::string_view entry, std::string_view stamp)
  {
    auto start = takeStart(log_, at, entry, stamp);
    if (!start) {
      return at + 1;
    }
    const size_t body = start->body;
    starts_.push_back(std::move(*start));
    return body;
  }

  size_t addSeparator(std::vector<Separator> &separators, size_t at, std::string_view closing, std::string_view opening)
  {
    Cursor cursor(log_, at);
    if (!cursor.take(closing) || !cursor.takeTag(opening)) {
      return at + 1;
    }
    separators.push_back({at, cursor.at()});
    return cursor.at();
  }

  size_t addEnd(size_t at)
  {
    Cursor cursor(log_, at);
    if (descriptions_.empty() || !cursor.take("</Data>") || !cursor.takeTag("</LogEntry>")) {
      return at + 1;
    }
    const size_t end = cursor.at();
    const bool entryFollows = cursor.takeTag(kXmlEntry) && cursor.takeTag("<TimeStamp>");
    ends_.push_back({descriptions_.back().begin, descriptions_.back().end, at, end, entryFollows});
    return end;
  }

  /// Gives each start its user information and source, which end at the first tags that end such texts.
  void findTexts()
  {
    auto user = users_.begin();
    auto source = sources_.begin();
    for (EventStart &start : starts_) {
      while (user != users_.end() && user->begin < start.body) {
        ++user;
      }
      if (user == users_.end()) {
        return;
      }
      while (source != sources_.end() && source->begin < user->end) {
        ++source;
      }
      if (source == sources_.end()) {
        return;
      }
      start.event.user = log_.substr(start.body, user->begin - start.body);
      start.event.source = log_.substr(user->end, source->begin - user->end);
      start.text = source->end;
    }
  }

  std::string_view log_;
  std::vector<EventStart> starts_;
  std::vector<EventEnd> ends_;
  std::vector<Separator> users_;
  std::vector<Separator> sources_;
  std::vector<Separator> descriptions_;
};

/// Removes blanks and what the format has outside of entries from the front.
std::string_view withoutFrame(std::string_view part)
{
  for (;;) {
    const size_t blanks = std::min(part.find_first_not_of(kBlanks), part.size());
    part.remove_prefix(blanks);
    size_t frame = 0;
    if (part.starts_with(kXmlBegin)) {
      frame = kXmlBegin.size();
    } else if (part.starts_with(kXmlEnd)) {
      frame = kXmlEnd.size();
    } else if (part.starts_with("<?")) {
      const size_t end = part.find("?>");
      frame = end == std::string_view::npos ? 0 : end + 2;
    }
    if (frame == 0) {
      return part;
    }
    part.remove_prefix(frame);
  }
}

/// Takes note of what lies between two events, or before the first, or after the last.
void addGap(EventLog &log, size_t begin, size_t end)
{
  const std::string_view gap = log.text().substr(begin, end - begin);
  std::string_view part = withoutFrame(gap);
  if (part.empty()) {
    return;
  }
  const size_t at = end - part.size();
  part = part.substr(0, part.find_last_not_of(kBlanks) + 1);
  if (part.ends_with(kXmlEnd) && part.size() > kXmlEnd.size()) {
    part.remove_suffix(kXmlEnd.size());
  }
  log.lost.push_back({at, at + part.size(), std::max<size_t>(1, countOf(part, kXmlEntry))});
}

}  // namespace

void splitXmlLog(EventLog &log)
{
  log.events = XmlSplitter(log.text()).split();
  size_t at = 0;
  for (const Event &event : log.events) {
    addGap(log, at, event.begin);
    at = event.end;
  }
  const bool isBeginning = log.events.empty() && kXmlHeader.starts_with(log.text());
  if (!isBeginning) {
    addGap(log, at, log.text().size());
  }
}

}  // namespace qvctl
