// The readers of event logs take any file; what is repaired is sound, has the same events, and is left alone; what is
// exported is well-formed; and no text breaks out of the page.
//
// Input: the first byte says which format; then a short form of the file, in which one byte stands for a piece of the
// format. A text log's other bytes are code units of their own, but for some that are single bytes.

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "log_check.h"
#include "log_export.h"
#include "log_line.h"
#include "log_report.h"
#include "text_log_reader.h"
#include "xml_log_reader.h"

namespace {

using qvctl::EventLog;
using qvctl::LogFormat;

void require(bool holds)
{
  if (!holds) {
    abort();
  }
}

std::string expandXml(const uint8_t *data, size_t size)
{
  const std::string pieces[] = {
      std::string(qvctl::kXmlHeader),
      "<EventLog>",
      "</EventLog>",
      "<LogEntry>",
      "<TimeStamp>1795566972</TimeStamp>",
      "<DateTime>Wed Nov 25 00:36:12 2026</DateTime><ComputerName>c</ComputerName><Type>1</Type><ID>7</ID><UserInfo>",
      "</UserInfo><Source>",
      "</Source><Description>",
      "</Description><Data>",
      "</Data></LogEntry>",
      "0x00000000: 41 42                                              AB               \r\n",
      "TimeStamp>5</TimeStamp>",
      "\xC2\x80\xE2\x80\xAE",
      "</script>",
  };
  std::string file;
  for (; size > 0; ++data, --size) {
    file += *data < 0x80 ? std::string(1, static_cast<char>(*data)) : pieces[*data % std::size(pieces)];
  }
  return file;
}

std::string expandText(const uint8_t *data, size_t size)
{
  const std::string pieces[] = {
      std::string(qvctl::kByteOrderMark),
      std::string(qvctl::kTextHeader),
      "EventID: 7\r\nSource: ",
      "\r\nType: Error\r\n",
      "Date and Time: Wed Nov 25 00:36:12 2026\r\nComputer: c\r\n",
      "Description:\r\n",
      "\r\nData: Bytes in Hex\r\n",
      "0x00000000: 41 42                                              AB               \r\n",
      "\r\n",
      "EventID: ",
  };
  std::string file;
  for (; size > 0; ++data, --size) {
    if (*data < 0x80) {
      file += qvctl::textFileBytes(std::string(1, static_cast<char>(*data)));
    } else if (*data < 0xC0) {
      file += qvctl::textFileBytes(pieces[*data % std::size(pieces)]);
    } else {
      file += static_cast<char>(*data);
    }
  }
  return file;
}

void checkOrder(const EventLog &log)
{
  size_t at = 0;
  auto lost = log.lost.begin();
  const auto passLost = [&](size_t before) {
    while (lost != log.lost.end() && lost->begin < before) {
      require(lost->begin >= at && lost->end > lost->begin && lost->end <= before && lost->events > 0);
      ++lost;
    }
  };
  for (const qvctl::Event &event : log.events) {
    passLost(event.begin);
    require(event.begin >= at && event.end > event.begin && event.end <= log.text().size());
    at = event.end;
  }
  passLost(log.text().size());
  require(lost == log.lost.end());
  require(log.fileOffset(log.text().size()) <= log.fileSize);
}

void checkExports(const EventLog &log)
{
  std::string text;
  const qvctl::LogLine line(true, true);
  for (const qvctl::Event &event : log.events) {
    std::string json;
    qvctl::appendJson(json, event);
    require(json.find('\n') == std::string::npos);
    require(nlohmann::json::parse(json, nullptr, false).is_object());
    qvctl::appendCsv(text, event);
    qvctl::appendJournal(text, event);
    line.append(text, event);
  }
  const std::string page = qvctl::makeReport(log, "<name>");
  require(qvctl::countOf(page, "</script") == 2 && qvctl::countOf(page, "<script") == 2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  constexpr size_t kLongest = 4096;
  if (size == 0 || size > kLongest) {
    return 0;
  }
  const LogFormat format = data[0] % 2 == 0 ? LogFormat::xml : LogFormat::text;
  const std::string bytes = format == LogFormat::xml ? expandXml(data + 1, size - 1) : expandText(data + 1, size - 1);
  (void)qvctl::checkLog(bytes);  // as whatever it looks like
  const EventLog log = qvctl::splitLog(bytes, format);
  checkOrder(log);
  checkExports(log);
  const std::string repaired = qvctl::repairedLog(bytes, format);
  require(qvctl::checkLog(repaired).empty());
  require(qvctl::repairedLog(repaired, format) == repaired);
  const EventLog again = qvctl::splitLog(repaired, format);
  require(again.events.size() == log.events.size());
  for (size_t i = 0; i < log.events.size(); ++i) {
    require(again.events[i].text == log.events[i].text && again.events[i].source == log.events[i].source &&
            again.events[i].dump == log.events[i].dump && again.events[i].id == log.events[i].id);
  }
  return 0;
}
