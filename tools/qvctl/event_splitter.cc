// See event_splitter.h.

#include "event_splitter.h"

namespace qvctl {
namespace {

/// How many begins back an end is compared with: nothing but a log made to cost time has more inside each other.
constexpr size_t kDeepest = 64;

}  // namespace

std::vector<Event> pairUp(const std::vector<EventStart> &starts, const std::vector<EventEnd> &ends,
                          std::string_view log)
{
  std::vector<Event> events;
  events.reserve(starts.size());
  size_t firstOpen = 0;  // of the begins that no event before this one has taken
  size_t nextEnd = 0;
  for (size_t i = 0; i < starts.size(); ++i) {
    const size_t limit = i + 1 < starts.size() ? starts[i + 1].event.begin : log.size();
    const size_t firstEnd = nextEnd;
    while (nextEnd < ends.size() && ends[nextEnd].end <= limit) {
      ++nextEnd;
    }
    const size_t deepest = i + 1 > kDeepest ? std::max(firstOpen, i + 1 - kDeepest) : firstOpen;
    bool taken = false;
    for (size_t e = nextEnd; e > firstEnd && !taken; --e) {
      const EventEnd &end = ends[e - 1];
      for (size_t s = i + 1; s > deepest && !taken; --s) {
        const EventStart &start = starts[s - 1];
        if (start.text > end.textEnd) {
          continue;
        }
        Event event = start.event;
        event.text = log.substr(start.text, end.textEnd - start.text);
        event.dump = log.substr(end.dump, end.dumpEnd - end.dump);
        event.end = end.end;
        events.push_back(event);
        firstOpen = i + 1;
        taken = true;
      }
    }
  }
  return events;
}

}  // namespace qvctl
