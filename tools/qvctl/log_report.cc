// See log_report.h.

#include "log_report.h"

#include <sys/random.h>

#include <ctime>
#include <map>

#include "hex.h"
#include "log_export.h"

namespace qvctl {
namespace {

constexpr std::string_view kTemplate =
#include "report_page.inc"
    ;

/// Texts that many events share, by number.
class Table {
 public:
  size_t number(std::string_view text)
  {
    const auto [place, isNew] = numbers_.try_emplace(text, numbers_.size());
    if (isNew) {
      list_ += list_.empty() ? "" : ",";
      appendJsonString(list_, text);
    }
    return place->second;
  }

  const std::string &list() const { return list_; }

 private:
  std::map<std::string_view, size_t> numbers_;
  std::string list_;
};

/// The data of the page. Its script reads it with JSON.parse; escaped, no "<" can end the element that holds it.
std::string dataOf(const EventLog &log, const std::string &name)
{
  Table types;
  Table sources;
  Table computers;
  Table users;
  std::vector<std::string> typeNames;  // what the table of types refers to
  typeNames.reserve(log.events.size());
  std::string events;
  events.reserve(log.text().size() + log.text().size() / 4);
  for (const Event &event : log.events) {
    typeNames.push_back(typeName(event));
    events += events.empty() ? "[" : ",\n[";
    appendJsonString(events, event.epoch ? timeText(event) : std::string());
    events += ',' + std::to_string(types.number(typeNames.back()));
    events += ',' + std::to_string(event.id);
    events += ',' + std::to_string(sources.number(event.source));
    events += ',' + std::to_string(computers.number(event.computer));
    events += ',' + std::to_string(users.number(event.user.value_or(std::string_view()))) + ',';
    appendJsonString(events, event.text);
    const auto data = event.dump.empty() ? std::nullopt : decodeDump(event.dump);
    if (data) {
      events += ',';
      appendJsonString(events, toHex(*data));
    }
    events += ']';
  }
  Event now;
  now.epoch = time(nullptr);
  std::string data = "{\"name\":";
  appendJsonString(data, name);
  data += ",\"format\":\"";
  data += log.format == LogFormat::text ? "text" : "xml";
  data += "\",\"written\":\"" + timeText(now) + "\",\"lost\":" + std::to_string(log.lostEvents());
  data += ",\"types\":[" + types.list() + "],\"sources\":[" + sources.list() + "],\"computers\":[" + computers.list() +
          "],\"users\":[" + users.list() + "],\"events\":[" + events + "]}";
  std::string escaped;
  escaped.reserve(data.size() + data.size() / 16);
  for (const char character : data) {
    if (character == '<') {
      escaped += "\\u003c";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

std::string escapeHtml(std::string_view text)
{
  std::string escaped;
  for (const char character : text) {
    if (character == '<' || character == '>' || character == '&' || character == '"' || character == '\'') {
      escaped += "&#" + std::to_string(static_cast<int>(character)) + ";";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

/// What the style and the script of the page carry, so that the browser runs no other.
std::string makeNonce()
{
  char bytes[16];
  return getrandom(bytes, sizeof bytes, 0) == sizeof bytes ? toHex({bytes, sizeof bytes}) : "qvctl";
}

}  // namespace

std::string makeReport(const EventLog &log, const std::string &name)
{
  const std::string nonce = makeNonce();
  std::string page;
  std::string_view rest = kTemplate;
  for (;;) {
    const size_t at = rest.find('@');
    page += rest.substr(0, at);
    if (at == std::string_view::npos) {
      return page;
    }
    rest.remove_prefix(at);
    if (rest.starts_with("@TITLE@")) {
      page += escapeHtml(name);
      rest.remove_prefix(7);
    } else if (rest.starts_with("@NONCE@")) {
      page += nonce;
      rest.remove_prefix(7);
    } else if (rest.starts_with("@DATA@")) {
      page += dataOf(log, name);
      rest.remove_prefix(6);
    } else {
      page += rest[0];
      rest.remove_prefix(1);
    }
  }
}

}  // namespace qvctl
