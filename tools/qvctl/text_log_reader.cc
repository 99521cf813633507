// See text_log_reader.h.

#include "text_log_reader.h"

#include <charconv>

#include "event_splitter.h"
#include "log_cursor.h"
#include "utf.h"

namespace qvctl {
namespace {

constexpr std::string_view kEventId = "EventID: ";
constexpr std::string_view kSource = "Source: ";
constexpr std::string_view kType = "Type: ";
constexpr std::string_view kDateTime = "Date and Time: ";
constexpr std::string_view kComputer = "Computer: ";
constexpr std::string_view kDescription = "Description:";
constexpr std::string_view kData = "Data: Bytes in Hex";

/// Reads on in a log, line by line.
class Cursor : public LogCursor {
 public:
  using LogCursor::LogCursor;

  bool takeLineEnd() { return take("\r\n") || take("\n"); }

  /// The rest of a line that is short: the library writes it.
  bool takeLine(std::string_view &line)
  {
    constexpr size_t kLongest = 1024;
    const size_t size = log_.substr(at_, kLongest).find('\n');
    if (size == std::string_view::npos) {
      return false;
    }
    line = log_.substr(at_, size);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    at_ += size + 1;
    return true;
  }

  bool takeNumber(int64_t &number)
  {
    const char *const begin = log_.data() + at_;
    const auto [end, error] = std::from_chars(begin, log_.data() + log_.size(), number);
    at_ += static_cast<size_t>(end - begin);
    return error == std::errc{};
  }

  /// A line of a dump.
  bool takeDumpLine()
  {
    constexpr size_t kDigits = 8;
    Cursor ahead = *this;
    if (!ahead.take("0x")) {
      return false;
    }
    const std::string_view digits = log_.substr(ahead.at_, kDigits);
    if (digits.size() != kDigits || digits.find_first_not_of("0123456789ABCDEFabcdef") != std::string_view::npos) {
      return false;
    }
    ahead.at_ += kDigits;
    std::string_view line;
    if (!ahead.take(": ") || !ahead.takeLine(line)) {
      return false;
    }
    at_ = ahead.at_;
    return true;
  }
};

/// Where the end of the line before a place begins.
size_t lineEndBefore(std::string_view log, size_t at)
{
  return at >= 2 && log[at - 2] == '\r' ? at - 2 : at - 1;
}

bool isAtLineStart(std::string_view log, size_t at)
{
  return at > 0 && log[at - 1] == '\n';
}

/// The lines between the source and the description.
struct Middle {
  size_t begin;
  size_t end;
  std::string_view type;
  std::string_view dateTime;
  std::string_view computer;
};

class TextSplitter {
 public:
  explicit TextSplitter(std::string_view log) : log_(log) {}

  std::vector<Event> split()
  {
    forEach(kEventId, [this](size_t at) { addStart(at); });
    forEach(kType, [this](size_t at) { addMiddle(at); });
    forEach(kData, [this](size_t at) { addEnd(at); });
    findTexts();
    return pairUp(starts_, ends_, log_);
  }

 private:
  template <class Add>
  void forEach(std::string_view label, Add add)
  {
    for (size_t at = log_.find(label); at != std::string_view::npos; at = log_.find(label, at + 1)) {
      add(at);
    }
  }

  /// Not only at the beginning of a line: after a record that was cut short the next one follows at once.
  void addStart(size_t at)
  {
    EventStart start;
    int64_t id = 0;
    Cursor cursor(log_, at + kEventId.size());
    if (!cursor.takeNumber(id) || id < INT32_MIN || id > UINT32_MAX || !cursor.takeLineEnd() || !cursor.take(kSource)) {
      return;
    }
    start.event.begin = at;
    start.event.id = static_cast<uint32_t>(id);
    start.body = cursor.at();
    starts_.push_back(start);
  }

  void addMiddle(size_t at)
  {
    if (!isAtLineStart(log_, at)) {
      return;
    }
    Middle middle{};
    middle.begin = lineEndBefore(log_, at);
    Cursor cursor(log_, at + kType.size());
    if (!cursor.takeLine(middle.type) || !cursor.take(kDateTime) || !cursor.takeLine(middle.dateTime) ||
        !cursor.take(kComputer) || !cursor.takeLine(middle.computer) || !cursor.take(kDescription) ||
        !cursor.takeLineEnd()) {
      return;
    }
    middle.end = cursor.at();
    middles_.push_back(middle);
  }

  void addEnd(size_t at)
  {
    if (!isAtLineStart(log_, at)) {
      return;
    }
    Cursor cursor(log_, at + kData.size());
    if (!cursor.takeLineEnd()) {
      return;
    }
    const size_t dump = cursor.at();
    while (cursor.takeDumpLine()) {
    }
    const size_t dumpEnd = cursor.at();
    if (cursor.takeLineEnd()) {
      ends_.push_back({lineEndBefore(log_, at), dump, dumpEnd, cursor.at()});
    }
  }

  /// Gives each start its source, and the lines up to the description.
  void findTexts()
  {
    auto middle = middles_.begin();
    for (EventStart &start : starts_) {
      while (middle != middles_.end() && middle->begin < start.body) {
        ++middle;
      }
      if (middle == middles_.end()) {
        return;
      }
      Event &event = start.event;
      event.source = log_.substr(start.body, middle->begin - start.body);
      event.typeText = middle->type;
      event.type = typeNumber(middle->type);
      event.dateTime = middle->dateTime;
      event.computer = middle->computer;
      start.text = middle->end;
    }
  }

  std::string_view log_;
  std::vector<EventStart> starts_;
  std::vector<EventEnd> ends_;
  std::vector<Middle> middles_;
};

/// Removes the header and empty lines from the front.
std::string_view withoutFrame(std::string_view part)
{
  for (;;) {
    size_t frame = std::min(part.find_first_not_of("\r\n"), part.size());
    for (const std::string_view piece : {kByteOrderMark, kTextHeader.substr(0, kTextHeader.size() - 2)}) {
      if (frame == 0 && part.starts_with(piece)) {
        frame = piece.size();
      }
    }
    if (frame == 0) {
      return part;
    }
    part.remove_prefix(frame);
  }
}

void addGap(EventLog &log, size_t begin, size_t end)
{
  const std::string_view part = withoutFrame(log.text().substr(begin, end - begin));
  if (!part.empty()) {
    log.lost.push_back({end - part.size(), end, std::max<size_t>(1, countOf(part, kEventId))});
  }
}

/// Whether a log has no more than the beginning of its header.
bool isCutHeader(std::string_view text)
{
  return kTextHeader.starts_with(text.substr(std::min(text.size(), kByteOrderMark.size())));
}

/// Splits the text of a log, in which neither an event nor what is lost goes on after a tear.
void split(EventLog &log, const std::vector<size_t> &tears)
{
  const std::string_view text = log.text();
  log.events.clear();
  log.lost.clear();
  size_t from = 0;
  for (size_t i = 0; i <= tears.size(); ++i) {
    const size_t to = i < tears.size() ? tears[i] : text.size();
    size_t at = from;
    for (Event &event : TextSplitter(text.substr(from, to - from)).split()) {
      event.begin += from;
      event.end += from;
      event.epoch = parseLogTime(event.dateTime);
      addGap(log, at, event.begin);
      at = event.end;
      log.events.push_back(event);
    }
    const bool isBeginning = to == text.size() && at == 0 && isCutHeader(text);
    if (!isBeginning) {
      addGap(log, at, to);
    }
    from = to;
  }
}

/// Where, in a part of the file that no event was found in, one begins in the middle of what was taken for a code unit.
/// The file's size when there is no such place. What is part of an event is not looked at, whatever is in its texts.
size_t findTear(const EventLog &log, std::string_view bytes)
{
  static const std::string begin = textFileBytes(kEventId);
  for (const LostPart &part : log.lost) {
    const auto from = static_cast<size_t>(log.fileOffset(part.begin));
    const auto to = std::min(static_cast<size_t>(log.fileOffset(part.end)) + 1, bytes.size());
    const std::string_view searched = bytes.substr(0, to);
    for (size_t at = searched.find(begin, from); at != std::string_view::npos; at = searched.find(begin, at + 1)) {
      if ((at - from) % 2 != 0) {
        return at;
      }
    }
  }
  return bytes.size();
}

/// The text of a file that is torn in some places. Returns where they are in the text.
std::vector<size_t> setText(EventLog &log, std::string_view bytes, const std::vector<size_t> &tears)
{
  std::string text;
  std::vector<size_t> places;
  size_t from = 0;
  for (const size_t tear : tears) {
    text += toUtf8(unitsOf(bytes.substr(from, tear - from)));
    places.push_back(text.size());
    from = tear;
  }
  text += toUtf8(unitsOf(bytes.substr(from)));
  log.setText(std::move(text));
  log.setTears(places);
  return places;
}

}  // namespace

std::string textFileBytes(std::string_view text)
{
  std::string bytes;
  for (const char16_t unit : toUtf16(text).value_or(std::u16string())) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

void splitTextLog(EventLog &log, std::string_view bytes)
{
  constexpr size_t kMostTears = 16;  // each costs a reading of its own
  std::vector<size_t> tears;
  for (;;) {
    split(log, setText(log, bytes, tears));
    const size_t tear = tears.size() < kMostTears ? findTear(log, bytes) : bytes.size();
    if (tear == bytes.size() || (!tears.empty() && tear <= tears.back())) {
      return;
    }
    tears.push_back(tear);
  }
}

}  // namespace qvctl
