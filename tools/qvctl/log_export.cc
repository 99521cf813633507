// See log_export.h. Written by hand rather than through a JSON library: a log has tens of thousands of events.

#include "log_export.h"

#include "hex.h"

namespace qvctl {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// The hexadecimal digits of an event's data; none when the log's dump cannot be read.
std::optional<std::string> dataOf(const Event &event)
{
  if (event.dump.empty()) {
    return std::string();
  }
  const auto data = decodeDump(event.dump);
  return data ? std::optional(toHex(*data)) : std::nullopt;
}

void appendMember(std::string &out, std::string_view name, std::string_view text)
{
  out += ",\"";
  out += name;
  out += "\":";
  appendJsonString(out, text);
}

void appendField(std::string &out, std::string_view text)
{
  const bool plain = text.find_first_of("\",\r\n") == std::string_view::npos;
  if (plain) {
    out += text;
    return;
  }
  out += '"';
  for (const char character : text) {
    out += character;
    if (character == '"') {
      out += character;
    }
  }
  out += '"';
}

/// A field of the journal: as a line where it is one, else with its size before it.
void appendJournalField(std::string &out, std::string_view name, std::string_view value)
{
  out += name;
  if (value.find('\n') == std::string_view::npos) {
    out += '=';
    out += value;
  } else {
    out += '\n';
    uint64_t size = value.size();
    for (int i = 0; i < 8; ++i) {
      out += static_cast<char>(size & 0xFF);
      size >>= 8;
    }
    out += value;
  }
  out += '\n';
}

const char *priorityOf(const Event &event)
{
  switch (event.type.value_or(0)) {
    case 1:
      return "3";
    case 2:
      return "4";
    default:
      return "6";
  }
}

}  // namespace

size_t utf8Length(std::string_view text)
{
  const auto byteAt = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byteAt(0);
  if (lead < 0x80) {
    return 1;
  }
  const size_t size = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
  if (size == 0 || text.size() < size) {
    return 0;
  }
  // No overlong form, no surrogate, nothing above U+10FFFF.
  const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (byteAt(1) < lowest || byteAt(1) > highest) {
    return 0;
  }
  for (size_t i = 2; i < size; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return size;
}

bool isUtf8(std::string_view text)
{
  while (!text.empty()) {
    const size_t size = utf8Length(text);
    if (size == 0) {
      return false;
    }
    text.remove_prefix(size);
  }
  return true;
}

void appendJsonString(std::string &out, std::string_view text)
{
  constexpr char kDigits[] = "0123456789abcdef";
  out += '"';
  size_t done = 0;
  for (size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\') {
      ++i;
      continue;
    }
    const size_t size = byte < 0x80 ? 1 : utf8Length(text.substr(i));
    if (byte >= 0x80 && size != 0) {
      i += size;
      continue;
    }
    out += text.substr(done, i - done);
    switch (byte) {
      case '"':
      case '\\':
        out += '\\';
        out += static_cast<char>(byte);
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (byte >= 0x80) {
          out += kReplacement;
        } else {
          out += "\\u00";
          out += kDigits[byte >> 4];
          out += kDigits[byte & 15];
        }
        break;
    }
    done = ++i;
  }
  out += text.substr(done);
  out += '"';
}

void appendJson(std::string &out, const Event &event)
{
  out += "{\"time\":";
  appendJsonString(out, timeText(event));
  if (event.epoch) {
    out += ",\"epoch\":" + std::to_string(*event.epoch);
  }
  appendMember(out, "type", typeName(event));
  out += ",\"id\":" + std::to_string(event.id);
  appendMember(out, "source", event.source);
  appendMember(out, "computer", event.computer);
  if (event.user) {
    appendMember(out, "user", *event.user);
  }
  appendMember(out, "text", event.text);
  if (const auto data = dataOf(event)) {
    appendMember(out, "data", *data);
  }
  out += '}';
}

void appendCsvHeader(std::string &out)
{
  out += "time,epoch,type,id,source,computer,user,text,data\r\n";
}

void appendCsv(std::string &out, const Event &event)
{
  appendField(out, timeText(event));
  out += ',';
  if (event.epoch) {
    out += std::to_string(*event.epoch);
  }
  out += ',';
  appendField(out, typeName(event));
  out += ',' + std::to_string(event.id) + ',';
  appendField(out, event.source);
  out += ',';
  appendField(out, event.computer);
  out += ',';
  appendField(out, event.user.value_or(std::string_view()));
  out += ',';
  appendField(out, event.text);
  out += ',';
  out += dataOf(event).value_or(std::string());
  out += "\r\n";
}

void appendJournal(std::string &out, const Event &event)
{
  // Microseconds, which the journal has as an unsigned number.
  const uint64_t seconds = event.epoch && *event.epoch > 0 ? static_cast<uint64_t>(*event.epoch) : 0;
  appendJournalField(out, "__REALTIME_TIMESTAMP", std::to_string(seconds * 1000000));
  appendJournalField(out, "_HOSTNAME", event.computer);
  appendJournalField(out, "PRIORITY", priorityOf(event));
  appendJournalField(out, "SYSLOG_IDENTIFIER", event.source);
  appendJournalField(out, "MESSAGE", event.text);
  appendJournalField(out, "QV_EVENT_ID", std::to_string(event.id));
  appendJournalField(out, "QV_EVENT_TYPE", typeName(event));
  if (event.user && !event.user->empty()) {
    appendJournalField(out, "QV_USER", *event.user);
  }
  const auto data = dataOf(event);
  if (data && !data->empty()) {
    appendJournalField(out, "QV_DATA", *data);
  }
  out += '\n';
}

}  // namespace qvctl
