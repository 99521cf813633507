// The XML log: entries as text, the search for the closing tag, and putting an entry over that tag with one write.

#include "log/xml_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>

#include "base/heap.h"
#include "base/input_output.h"
#include "base/text.h"
#include "frame/export.h"
#include "log/log_file.h"
#include "log/record_buffer.h"
#include "net/host_name.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/store.h"
#include "text/value/time_text.h"

constexpr char xmlLogFileHdr[66] = "<?xml-stylesheet type=\"text/xsl\" version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr char xmlLogBeginTag[11] = "<EventLog>";
constexpr char xmlLogEndTag[12] = "</EventLog>";

namespace {

using qv::Status;
namespace log = qv::log;

constexpr std::string_view kHeader(xmlLogFileHdr, sizeof(xmlLogFileHdr) - 1);
constexpr std::string_view kBeginTag(xmlLogBeginTag, sizeof(xmlLogBeginTag) - 1);
constexpr std::string_view kEndTag(xmlLogEndTag, sizeof(xmlLogEndTag) - 1);

// Entries -------------------------------------------------------------------------------------------------------------

/// An entry as the bytes of a new log: the start of a log, the entry, the closing tag. An existing log takes them from
/// the entry on.
class Entry {
 public:
  explicit Entry(const log::Event &event) : buffer_(expectedSize(event))
  {
    buffer_.add(kHeader);
    buffer_.add(kBeginTag);
  }

  /// unsuccessful: no memory, or the time has no text. Else the statuses of the host's name.
  Status compose(const log::Event &event)
  {
    buffer_.add("<LogEntry>");
    if (const Status status = addTimeAndPlace(); status != Status::success) {
      return status;
    }
    addNumber("<Type>", event.type, "</Type>");
    addNumber("<ID>", event.id, "</ID>");
    addElement("<UserInfo>", event.userInfo, "</UserInfo>");
    addElement("<Source>", event.source, "</Source>");
    addElement("<Description>", event.description, "</Description>");
    buffer_.add("<Data>");
    const bool dumped = addDump(event.data, event.dataSize);
    buffer_.add("</Data></LogEntry>");
    buffer_.add(kEndTag);
    return dumped && buffer_.isComplete() ? Status::success : Status::unsuccessful;
  }

  /// The entry's own length, without the tag that follows it.
  size_t size() const { return withEndTag().size() - kEndTag.size(); }

  std::string_view withEndTag() const
  {
    std::string_view text = asNewLog();
    text.remove_prefix(kHeader.size() + kBeginTag.size());  // substr() would bring in the C++ library's exceptions
    return text;
  }
  std::string_view asNewLog() const { return buffer_.bytes(); }

 private:
  static constexpr size_t kBytesPerUnit = 3;  // of UTF-8 at most; a pair of units takes four bytes
  static constexpr size_t kDumpLine = 82;
  static constexpr size_t kBytesPerDumpLine = 16;

  static size_t expectedSize(const log::Event &event)
  {
    constexpr size_t kTagsNumbersAndNames = 512;
    const size_t units = qv::ucs2LengthOrZero(event.userInfo) + qv::ucs2LengthOrZero(event.source) +
                         qv::ucs2LengthOrZero(event.description);
    return kTagsNumbersAndNames + kBytesPerUnit * units +
           kDumpLine * ((event.dataSize + kBytesPerDumpLine - 1) / kBytesPerDumpLine);
  }

  Status addTimeAndPlace()
  {
    const int64_t now = time(nullptr);
    char dateTime[qv::text::kTimeRoom];
    if (!qv::text::formTime(now, dateTime)) {
      return Status::unsuccessful;
    }
    char computerName[256];
    uint32_t size = sizeof(computerName);
    if (const Status status = qv::net::getHostName(computerName, &size); status != Status::success) {
      return status;
    }
    if (now == static_cast<uint32_t>(now)) {  // digits of 64 bits are divided by calls here
      addNumber("<TimeStamp>", static_cast<uint32_t>(now), "</TimeStamp>");
    } else {
      addNumber("<TimeStamp>", now, "</TimeStamp>");
    }
    buffer_.add("<DateTime>");
    buffer_.add(dateTime);
    buffer_.add("</DateTime><ComputerName>");
    buffer_.add(computerName);
    buffer_.add("</ComputerName>");
    return Status::success;
  }

  template <class Number>
  void addNumber(std::string_view begin, Number value, std::string_view end)
  {
    char digits[24];
    const char *digitsEnd = std::to_chars(digits, digits + sizeof(digits), value).ptr;
    buffer_.add(begin);
    buffer_.add({digits, static_cast<size_t>(digitsEnd - digits)});
    buffer_.add(end);
  }

  /// A text that is no UTF-16 leaves its element empty.
  void addElement(std::string_view begin, const SMChar16 *text, std::string_view end)
  {
    buffer_.add(begin);
    if (text != nullptr) {
      auto size = static_cast<uint32_t>(kBytesPerUnit * qv::ucs2Length(text) + 1);
      char *place = buffer_.reserve(size);
      if (place != nullptr && UCS2StrToUTF8Str(place, &size, text) == SM_STATUS_SUCCESS) {
        buffer_.commit(size - 1);
      }
    }
    buffer_.add(end);
  }

  bool addDump(const void *data, uint32_t dataSize)
  {
    if (dataSize == 0) {
      return true;
    }
    const qv::HeapBlock<char> dump(BufToUTF8Str(data, &dataSize, 0));
    if (dump == nullptr) {
      return false;
    }
    buffer_.add({dump.get(), dataSize - 1});
    return true;
  }

  log::RecordBuffer buffer_;
};

// The closing tag -----------------------------------------------------------------------------------------------------

/// Where the last closing tag in a block begins.
std::optional<size_t> findLastEndTag(std::string_view block)
{
  // No other tag of a log has a "v", so a log of whole entries without its end is searched with few comparisons.
  constexpr size_t kPlaceOfV = 3;
  static_assert(kEndTag[kPlaceOfV] == 'v');
  while (block.size() >= kEndTag.size()) {
    const size_t searched = block.size() - (kEndTag.size() - kPlaceOfV) + 1;
    const auto *v = static_cast<const char *>(memrchr(block.data(), 'v', searched));
    if (v == nullptr || v - block.data() < static_cast<ptrdiff_t>(kPlaceOfV)) {
      break;
    }
    const auto at = static_cast<size_t>(v - block.data()) - kPlaceOfV;
    if (memcmp(block.data() + at, kEndTag.data(), kEndTag.size()) == 0) {
      return at;
    }
    block = {block.data(), at + kEndTag.size() - 1};
  }
  return std::nullopt;
}

/// Finds the closing tag nearest to the end of a log. badType: there is none after the header, or reading fails;
/// unsuccessful: no memory. A log that has little or nothing after its tag is searched without the heap.
Status findEndTag(const log::LogFile &file, off_t &at)
{
  constexpr size_t kLargeBlock = 65536;
  constexpr auto kFloor = static_cast<off_t>(kHeader.size());
  constexpr auto kTagSize = static_cast<off_t>(kEndTag.size());
  char small[512];
  qv::HeapBlock<char> large;
  for (off_t end = file.size(); end - kFloor >= kTagSize;) {
    const bool isFirst = end == file.size();
    if (!isFirst && large == nullptr) {
      large.reset(static_cast<char *>(malloc(kLargeBlock)));
      if (large == nullptr) {
        return Status::unsuccessful;
      }
    }
    char *block = isFirst ? small : large.get();
    const auto size = static_cast<size_t>(std::min<off_t>(end - kFloor, isFirst ? sizeof(small) : kLargeBlock));
    const off_t begin = end - static_cast<off_t>(size);
    if (qv::readUpToAt(file.descriptor(), block, size, begin) != static_cast<ssize_t>(size)) {
      return Status::badType;
    }
    if (const auto found = findLastEndTag({block, size})) {
      at = begin + static_cast<off_t>(*found);
      return Status::success;
    }
    end = begin + kTagSize - 1;  // a tag may lie across the blocks
  }
  return Status::badType;
}

// Writing -------------------------------------------------------------------------------------------------------------

bool writeNewLog(const log::LogFile &file, const Entry &entry)
{
  const std::string_view bytes = entry.asNewLog();
  if (qv::writeAllAt(file.descriptor(), bytes.data(), bytes.size(), 0)) {
    return true;
  }
  (void)ftruncate(file.descriptor(), 0);  // a log without a header counts as empty: the next append starts again
  return false;
}

/// Writes an entry and its closing tag over the old one. A write that fails leaves the log as it was up to the old tag.
bool writeOverEndTag(const log::LogFile &file, off_t at, const Entry &entry)
{
  const std::string_view bytes = entry.withEndTag();
  if (qv::writeAllAt(file.descriptor(), bytes.data(), bytes.size(), at)) {
    return true;
  }
  // Best effort: the tag's own bytes exist already, so that no full disk is in the way of them.
  (void)qv::writeAllAt(file.descriptor(), kEndTag.data(), kEndTag.size(), at);
  (void)ftruncate(file.descriptor(), at + static_cast<off_t>(kEndTag.size()));
  return false;
}

bool isStarted(off_t size)
{
  return size >= static_cast<off_t>(kHeader.size());
}

Status writeEntry(log::LogFile &file, const Entry &entry)
{
  if (file.size() > log::kLargestLog) {
    return Status::unsuccessful;
  }
  bool written;
  if (isStarted(file.size())) {
    off_t at;
    if (const Status status = findEndTag(file, at); status != Status::success) {
      return status;
    }
    written = writeOverEndTag(file, at, entry);
  } else {
    written = writeNewLog(file, entry);
  }
  return file.closeWritten() && written ? Status::success : Status::limitExceeded;
}

// Appending -----------------------------------------------------------------------------------------------------------

/// Appends an entry that the caller has not composed yet, under the lock that the caller holds.
Status appendWhileLocked(const char *path, const log::Event &event);

Status appendLocked(log::LogFile &file, const log::Event &event, const Entry &entry, const uint32_t &maximumSize)
{
  const Status status = log::openForRecord(file, entry.size(), maximumSize, [&] {
    // The log is whole without this entry, so its failure is none of the event's.
    (void)appendWhileLocked(file.path(), log::backupCreatedEvent(event));
  });
  return status == Status::success ? writeEntry(file, entry) : status;
}

Status appendWhileLocked(const char *path, const log::Event &event)
{
  Entry entry(event);
  const Status status = entry.compose(event);
  log::LogFile file(path, O_RDWR);
  return status == Status::success ? appendLocked(file, event, entry, log::kDefaultMaximumSize) : status;
}

bool isValid(const char *path, const log::Event &event)
{
  return path != nullptr && log::isWithinLimits(event);
}

/// Composes an entry. A directory that cannot be created is reported before an entry that cannot be composed.
Status compose(const char *path, const log::Event &event, Entry &entry)
{
  const Status composed = entry.compose(event);
  if (composed == Status::success) {
    return composed;
  }
  const Status directory = log::createMissingDirectory(path);
  return directory == Status::success ? composed : directory;
}

}  // namespace

Status log::appendXmlEntry(const char *path, const Event &event, const uint32_t &maximumSize)
{
  if (!isValid(path, event)) {
    return Status::badArgument;
  }
  Entry entry(event);
  if (const Status status = compose(path, event, entry); status != Status::success) {
    return status;
  }
  return appendUnderLock(path, [&] {
    LogFile file(path, O_RDWR);
    return appendLocked(file, event, entry, maximumSize);
  });
}

Status log::appendXmlEntryToStartedLog(const char *path, const Event &event, const uint32_t &maximumSize,
                                       const Event &firstEvent)
{
  if (!isValid(path, event)) {
    const Status status = makeXmlLogExist(path, firstEvent);
    return status == Status::success ? Status::badArgument : status;
  }
  Entry entry(event);
  if (const Status status = compose(path, event, entry); status != Status::success) {
    return status;
  }
  return appendUnderLock(path, [&] {
    LogFile file(path, O_RDWR);
    if (!file.openExisting() || !isStarted(file.size())) {
      file.close();
      if (const Status status = appendWhileLocked(path, firstEvent); status != Status::success) {
        return status;
      }
    }
    return appendLocked(file, event, entry, maximumSize);
  });
}

Status log::clearXmlLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  const Status status = deleteLog(path);
  return status == Status::success ? appendXmlEntry(path, clearedEvent(userInfo, source), kDefaultMaximumSize) : status;
}

Status log::makeXmlLogExist(const char *path, const Event &firstEvent)
{
  uint32_t size;
  if (path != nullptr && GetSizeOfFile(path, &size) == SM_STATUS_SUCCESS && isStarted(size)) {
    return Status::success;
  }
  return appendXmlEntry(path, firstEvent, kDefaultMaximumSize);
}

uint32_t AppendToXMLLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *userInfo,
                        const SMChar16 *source, const SMChar16 *description, const void *data, uint32_t dataSize,
                        uint32_t maximumSize)
{
  const log::Event event = {eventType, eventID, userInfo, source, description, data, dataSize};
  return result(log::appendXmlEntry(path, event, maximumSize));
}

uint32_t SMAppendToXMLLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *userInfo,
                          const SMChar16 *source, const SMChar16 *description, const void *data, uint32_t dataSize,
                          uint32_t maximumSize)
{
  const qv::ExportBracket bracket;
  return AppendToXMLLog(path, eventType, eventID, userInfo, source, description, data, dataSize, maximumSize);
}

uint32_t ClearXMLLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  return result(log::clearXmlLog(path, userInfo, source));
}

uint32_t SMClearXMLLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  const qv::ExportBracket bracket;
  return ClearXMLLog(path, userInfo, source);
}

uint32_t ForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  return result(log::makeXmlLogExist(path, log::clearedEvent(userInfo, source)));
}

uint32_t SMForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  const qv::ExportBracket bracket;
  return ForceXMLLogExists(path, userInfo, source);
}
