// See event_splitter.h.

#include "event_splitter.h"

#include <algorithm>
#include <iterator>

namespace qvctl {
namespace {

/// How many begins back an end is compared with: nothing but a log made to cost time has more inside each other.
constexpr size_t kDeepest = 64;

/// Pairs an end with the innermost begin that it can end.
class Pairing {
 public:
  Pairing(const std::vector<EventStart> &starts, std::string_view log) : starts_(starts), log_(log)
  {
    events_.reserve(starts.size());
  }

  /// Of the begins up to the i-th.
  bool take(const EventEnd &end, size_t i)
  {
    const size_t deepest = i + 1 > kDeepest ? std::max(firstOpen_, i + 1 - kDeepest) : firstOpen_;
    for (size_t s = i + 1; s > deepest; --s) {
      const EventStart &start = starts_[s - 1];
      if (start.text <= end.textEnd) {
        Event event = start.event;
        event.text = log_.substr(start.text, end.textEnd - start.text);
        event.dump = log_.substr(end.dump, end.dumpEnd - end.dump);
        event.end = end.end;
        events_.push_back(event);
        firstOpen_ = i + 1;
        return true;
      }
    }
    return false;
  }

  std::vector<Event> events() { return std::move(events_); }

 private:
  const std::vector<EventStart> &starts_;
  std::string_view log_;
  std::vector<Event> events_;
  size_t firstOpen_ = 0;  // of the begins that no event has taken
};

}  // namespace

std::vector<Event> pairUp(const std::vector<EventStart> &starts, const std::vector<EventEnd> &ends,
                          std::string_view log)
{
  Pairing pairing(starts, log);
  auto nextEnd = ends.begin();
  for (size_t i = 0; i < starts.size(); ++i) {
    const size_t limit = i + 1 < starts.size() ? starts[i + 1].event.begin : log.size();
    const auto firstEnd = nextEnd;
    while (nextEnd != ends.end() && nextEnd->end <= limit) {
      ++nextEnd;
    }
    const auto isTaken = [&](const EventEnd &end) { return pairing.take(end, i); };
    const auto isLastOfEntry = [&](const EventEnd &end) { return end.entryFollows && isTaken(end); };
    if (std::none_of(firstEnd, nextEnd, isLastOfEntry)) {
      (void)std::any_of(std::make_reverse_iterator(nextEnd), std::make_reverse_iterator(firstEnd), isTaken);  // or none
    }
  }
  return pairing.events();
}

}  // namespace qvctl
