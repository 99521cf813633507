// See event_filter.h.

#include "event_filter.h"

#include <algorithm>

namespace qvctl {

bool EventFilter::passes(const Event &event) const
{
  if (!types.empty() && (!event.type || std::find(types.begin(), types.end(), *event.type) == types.end())) {
    return false;
  }
  if ((source && event.source != *source) || (id && event.id != *id)) {
    return false;
  }
  if ((since || until) && !event.epoch) {
    return false;
  }
  return (!since || *event.epoch >= *since) && (!until || *event.epoch <= *until) &&
         (!words || event.text.find(*words) != std::string_view::npos);
}

std::vector<const Event *> EventFilter::select(const std::vector<Event> &events) const
{
  std::vector<const Event *> selected;
  for (const Event &event : events) {
    if (passes(event)) {
      selected.push_back(&event);
    }
  }
  if (last && selected.size() > *last) {
    selected.erase(selected.begin(), selected.end() - static_cast<ptrdiff_t>(*last));
  }
  return selected;
}

}  // namespace qvctl
