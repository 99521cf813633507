// See log_line.h.

#include "log_line.h"

#include "output.h"

namespace qvctl {
namespace {

constexpr size_t kTypeColumn = 13;  // "audit-failure"
constexpr size_t kIdColumn = 5;
constexpr char kReset[] = "\x1b[0m";

const char *colourOf(const Event &event)
{
  switch (event.type.value_or(0)) {
    case 1:
    case 16:
      return "\x1b[31m";
    case 2:
      return "\x1b[33m";
    case 8:
      return "\x1b[32m";
    default:
      return "";
  }
}

void appendDetail(std::string &out, const char *label, std::string_view value)
{
  if (!value.empty()) {
    out += "    ";
    out += label;
    out += showControls(value) + "\n";
  }
}

}  // namespace

void LogLine::append(std::string &out, const Event &event) const
{
  std::string type = showControls(typeName(event));
  type.resize(std::max(type.size(), kTypeColumn), ' ');
  std::string id = std::to_string(event.id);
  id.insert(0, kIdColumn - std::min(kIdColumn, id.size()), ' ');
  out += showControls(timeText(event, ' ')) + "  ";
  out += colours_ ? colourOf(event) + type + kReset : type;
  out += "  " + id + "  " + showControls(event.source) + ": " + showControls(event.text) + "\n";
  if (!verbose_) {
    return;
  }
  appendDetail(out, "computer: ", event.computer);
  appendDetail(out, "user: ", event.user.value_or(std::string_view()));
  for (std::string_view dump = event.dump; !dump.empty();) {
    std::string_view line = dump.substr(0, dump.find('\n'));
    dump.remove_prefix(std::min(dump.size(), line.size() + 1));
    line = line.substr(0, line.find_last_not_of(" \r") + 1);
    appendDetail(out, "", line);
  }
}

}  // namespace qvctl
