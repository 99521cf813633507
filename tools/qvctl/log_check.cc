// See log_check.h.

#include "log_check.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "text_log_reader.h"
#include "xml_log_reader.h"

namespace qvctl {
namespace {

std::string plural(uint64_t count, const std::string &what)
{
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void addLost(std::vector<Finding> &findings, const EventLog &log)
{
  for (const LostPart &part : log.lost) {
    const uint64_t begin = log.fileOffset(part.begin);
    findings.push_back({begin, plural(log.fileOffset(part.end) - begin, "byte") + " that are no whole event (" +
                                   plural(part.events, "event") + " that readers lose)"});
  }
}

std::string textFileHeader()
{
  return textFileBytes(std::string(kByteOrderMark) + std::string(kTextHeader));
}

std::vector<Finding> checkXml(std::string_view bytes)
{
  std::vector<Finding> findings;
  if (bytes.empty()) {
    return findings;
  }
  if (bytes.size() < kXmlHeader.size()) {
    findings.push_back({0, "shorter than the header: the next event overwrites it"});
    return findings;
  }
  if (!bytes.starts_with(kXmlHeader)) {
    findings.push_back({0, "not the header of an XML log"});
  }
  const EventLog log = splitLog(std::string(bytes), LogFormat::xml);
  const size_t firstEvent = log.events.empty() ? bytes.size() : log.events.front().begin;
  if (bytes.substr(0, firstEvent).find(kXmlBegin) == std::string_view::npos) {
    findings.push_back({std::min(kXmlHeader.size(), bytes.size()), "no <EventLog> before the events"});
  }
  addLost(findings, log);
  for (const Event &event : log.events) {
    if (event.startLost) {
      findings.push_back({event.begin, "an interrupted write: the closing tag is over the beginning of an event"});
    }
  }
  const size_t lastEnd = log.events.empty() ? kXmlHeader.size() : log.events.back().end;
  const size_t closing = bytes.rfind(kXmlEnd);
  if (closing == std::string_view::npos || closing < lastEnd) {
    findings.push_back({bytes.size(), closing == std::string_view::npos || closing < kXmlHeader.size()
                                          ? "no closing tag </EventLog>: no event can be added"
                                          : "no closing tag </EventLog>: the next event would overwrite others"});
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding &a, const Finding &b) { return a.where < b.where; });
  return findings;
}

std::vector<Finding> checkText(std::string_view bytes)
{
  std::vector<Finding> findings;
  if (bytes.size() < kTextHeaderBytes) {
    findings.push_back({0, "shorter than the header: the next event gets a header of its own before it"});
  } else if (bytes.substr(0, kTextHeaderBytes) != textFileHeader()) {
    findings.push_back({0, "not the header of a text log"});
  }
  const EventLog log = splitLog(std::string(bytes), LogFormat::text);
  addLost(findings, log);
  if (log.fileOffset(log.text().size()) != bytes.size()) {
    findings.push_back({bytes.size() - 1, "half a code unit at the end"});
  }
  return findings;
}

std::string hostName()
{
  std::array<char, 64> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

std::vector<Finding> checkLog(std::string_view bytes)
{
  const auto format = recogniseLog(bytes);
  if (!format) {
    return {{0, "neither a text log nor an XML log"}};
  }
  return *format == LogFormat::xml ? checkXml(bytes) : checkText(bytes);
}

std::string repairedLog(std::string_view bytes, LogFormat format)
{
  const EventLog log = splitLog(std::string(bytes), format);
  std::string repaired;
  repaired.reserve(bytes.size() + kTextHeaderBytes);
  repaired += format == LogFormat::text ? textFileHeader() : std::string(kXmlHeader) + std::string(kXmlBegin);
  for (const Event &event : log.events) {
    auto begin = static_cast<size_t>(log.fileOffset(event.begin));
    const auto end = static_cast<size_t>(log.fileEnd(event.end));
    if (event.startLost) {
      repaired += kXmlOverwritten;
      begin += kXmlOverwritten.size();
    }
    repaired += bytes.substr(begin, end - begin);
  }
  if (format == LogFormat::xml) {
    repaired += kXmlEnd;
  }
  return repaired;
}

std::string newLog(LogFormat format, uint32_t id, std::string_view description)
{
  const int64_t now = time(nullptr);
  const std::string number = std::to_string(id);
  const std::string when = formatLogTime(now);
  const std::string text(description);
  if (format == LogFormat::text) {
    return textFileHeader() +
           textFileBytes("EventID: " + number + "\r\nSource: VELA\r\nType: Information\r\nDate and Time: " + when +
                         "\r\nComputer: " + hostName() + "\r\nDescription:\r\n" + text +
                         "\r\nData: Bytes in Hex\r\n\r\n");
  }
  return std::string(kXmlHeader) + std::string(kXmlBegin) + "<LogEntry><TimeStamp>" + std::to_string(now) +
         "</TimeStamp><DateTime>" + when + "</DateTime><ComputerName>" + hostName() +
         "</ComputerName><Type>4</Type><ID>" + number +
         "</ID><UserInfo>Local System</UserInfo><Source>VELA</Source><Description>" + text +
         "</Description><Data></Data></LogEntry>" + std::string(kXmlEnd);
}

}  // namespace qvctl
