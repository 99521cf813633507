// The bytes of each log written down a second time, and one way to append to either.
#pragma once

#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <string>

#include "qvsupt32.h"
#include "support/child.h"
#include "support/faults.h"
#include "support/log_files.h"
#include "support/texts.h"

namespace support {

constexpr uint32_t kMaximum = 1048576;

/// Appends in a child whose files may not pass a size, and returns its status.
template <class Append>
std::string appendWithin(size_t largestFile, Append append)
{
  return Child([&](Child::Inside &inside) {
           signal(SIGXFSZ, SIG_IGN);
           const rlimit size = {largestFile, largestFile};
           setrlimit(RLIMIT_FSIZE, &size);
           inside.report({append()});
         })
      .report();
}

/// The arguments of an append to either log.
struct LogEvent {
  uint16_t type = SM_EVENT_INFORMATION;
  uint32_t id = 7;
  const SMChar16 *userInfo = nullptr;
  const SMChar16 *source = u"S";
  const SMChar16 *description = nullptr;
  const void *data = nullptr;
  uint32_t dataSize = 0;
  uint32_t maximum = kMaximum;
};

/// The text log at the time kAfter2038.
struct TextFormat {
  static constexpr Call kWrite = Call::write;

  static uint32_t append(const std::string &path, const LogEvent &event)
  {
    return AppendToUNITXTLog(path.c_str(), event.type, event.id, event.source, event.description, event.data,
                             event.dataSize, event.maximum);
  }

  static uint32_t clear(const std::string &path) { return ClearUNITXTLog(path.c_str(), u"S"); }

  static std::string log(const std::string &records)
  {
    return "\xFF\xFE" +
           utf16(std::string("#-------------------------------\r\n"
                             "# Do not remove this block\r\n"
                             "# This data file is parsed\r\n"
                             "#------------------------------- \r\n\r\n")) +
           records;
  }

  static std::string record(const std::string &id, const std::string &description = "",
                            const std::string &type = "Information", const std::string &dump = "")
  {
    return utf16("EventID: " + id + "\r\nSource: S\r\nType: " + type +
                 "\r\nDate and Time: Fri Jan  1 00:00:00 2100\r\nComputer: sandbox\r\nDescription:\r\n" + description +
                 "\r\nData: Bytes in Hex\r\n" + dump + "\r\n");
  }

  /// The size that the backup is decided by.
  static uint32_t takenFor(size_t descriptionUnits) { return static_cast<uint32_t>(2 * (1 + descriptionUnits)) + 2214; }
};

/// The XML log at the same time.
struct XmlFormat {
  static constexpr Call kWrite = Call::pwrite;

  static uint32_t append(const std::string &path, const LogEvent &event)
  {
    return AppendToXMLLog(path.c_str(), event.type, event.id, event.userInfo, event.source, event.description,
                          event.data, event.dataSize, event.maximum);
  }

  static uint32_t clear(const std::string &path) { return ClearXMLLog(path.c_str(), nullptr, u"S"); }

  static std::string log(const std::string &entries)
  {
    return "<?xml-stylesheet type=\"text/xsl\" version=\"1.0\" encoding=\"UTF-8\"?><EventLog>" + entries +
           "</EventLog>";
  }

  static std::string entry(const std::string &type, const std::string &id, const std::string &user,
                           const std::string &source, const std::string &description, const std::string &data = "")
  {
    return "<LogEntry><TimeStamp>4102444800</TimeStamp><DateTime>Fri Jan  1 00:00:00 2100</DateTime>"
           "<ComputerName>sandbox</ComputerName><Type>" +
           type + "</Type><ID>" + id + "</ID><UserInfo>" + user + "</UserInfo><Source>" + source +
           "</Source><Description>" + description + "</Description><Data>" + data + "</Data></LogEntry>";
  }

  static std::string record(const std::string &id, const std::string &description = "")
  {
    return entry("4", id, "", "S", description);
  }

  static uint32_t takenFor(size_t descriptionUnits)
  {
    return static_cast<uint32_t>(record("7").size() + descriptionUnits);
  }
};

}  // namespace support
