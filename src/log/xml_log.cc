// The XML log: entries as text, and putting one before the closing tag, so that a closing tag stands behind the whole
// entries at every instant.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>

#include "base/descriptor.h"
#include "base/heap.h"
#include "frame/export.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "log/log_file.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/log.h"
#include "qvsupt32/network.h"
#include "qvsupt32/store.h"
#include "qvsupt32/strings.h"
#include "store/file_util.h"
#include "text/convert/dynamic_string.h"
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

struct Event {
  uint16_t type;
  uint32_t id;
  const SMChar16 *userInfo;
  const SMChar16 *source;
  const SMChar16 *description;
  const void *data;
  uint32_t dataSize;
};

/// Entries
/// ----------------------------------------------------------------------------------------------------------------

uint32_t lengthOf(const SMChar16 *text)
{
  return text == nullptr ? 0 : UCS2Strlen(text);
}

/// Room for the text of an event, closing tag included, so that the text never has to grow.
uint32_t roomFor(const Event &event)
{
  constexpr uint32_t kTagsNumbersAndHostName = 1024;
  constexpr uint32_t kDumpLine = 82;
  constexpr uint32_t kBytesPerUnit = 3;
  const uint32_t units = lengthOf(event.userInfo) + lengthOf(event.source) + lengthOf(event.description);
  return kTagsNumbersAndHostName + kBytesPerUnit * units + kDumpLine * ((event.dataSize + 15) / 16);
}

/// The text of an entry, in an order that is that of the calls.
class Entry {
 public:
  explicit Entry(const Event &event) : text_(roomFor(event)) {}

  explicit operator bool() const { return static_cast<bool>(text_); }

  void add(const char *text) { (void)SSUTF8StrCatUTF8Str(&text_.record, text); }

  /// A text with half a surrogate pair leaves the element empty.
  void addElement(const char *begin, const SMChar16 *text, const char *end)
  {
    add(begin);
    (void)SSUTF8StrCatUCS2Str(&text_.record, text);
    add(end);
  }

  bool addDump(const void *data, uint32_t size)
  {
    return BufToSSUTF8Str(&text_.record, data, size, 0) == SM_STATUS_SUCCESS;
  }

  std::string_view text() const { return {text_.record.pStr, text_.record.strLen}; }

 private:
  qv::text::WorkString text_;
};

/// The fields that say when and where an event was.
Status addTimeAndPlace(Entry &entry)
{
  const int64_t now = time(nullptr);
  char dateTime[qv::text::kTimeRoom];
  if (!qv::text::formTime(now, dateTime)) {
    return Status::unsuccessful;
  }
  char computerName[256];
  uint32_t size = sizeof(computerName);
  if (const uint32_t status = GetIPHostName(computerName, &size); status != SM_STATUS_SUCCESS) {
    return static_cast<Status>(status);
  }
  char timeStamp[64];
  (void)snprintf(timeStamp, sizeof(timeStamp), "<TimeStamp>%" PRId64 "</TimeStamp>", now);
  entry.add(timeStamp);
  entry.add("<DateTime>");
  entry.add(dateTime);
  entry.add("</DateTime><ComputerName>");
  entry.add(computerName);
  entry.add("</ComputerName>");
  return Status::success;
}

Status addEvent(Entry &entry, const Event &event)
{
  entry.add("<LogEntry>");
  if (const Status status = addTimeAndPlace(entry); status != Status::success) {
    return status;
  }
  char numbers[64];
  (void)snprintf(numbers, sizeof(numbers), "<Type>%u</Type><ID>%" PRIu32 "</ID>", event.type, event.id);
  entry.add(numbers);
  entry.addElement("<UserInfo>", event.userInfo, "</UserInfo>");
  entry.addElement("<Source>", event.source, "</Source>");
  entry.addElement("<Description>", event.description, "</Description>");
  entry.add("<Data>");
  if (!entry.addDump(event.data, event.dataSize)) {
    return Status::unsuccessful;
  }
  entry.add("</Data></LogEntry>");
  return Status::success;
}

/// The file
/// ---------------------------------------------------------------------------------------------------------------

bool writeAllAt(int file, std::string_view bytes, off_t at)
{
  while (!bytes.empty()) {
    const ssize_t written = pwrite(file, bytes.data(), bytes.size(), at);
    if (written > 0) {
      bytes.remove_prefix(static_cast<size_t>(written));
      at += written;
    } else if (written == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool readAllAt(int file, char *bytes, size_t size, off_t at)
{
  while (size != 0) {
    const ssize_t got = pread(file, bytes, size, at);
    if (got > 0) {
      bytes += got;
      size -= static_cast<size_t>(got);
      at += got;
    } else if (got == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

/// Where the last closing tag in a block begins.
std::optional<size_t> findLastEndTag(std::string_view block)
{
  // No other tag of a log has a "v", so few of them are looked at in vain.
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

/// Where the closing tag nearest to the end of a log begins; -1 when there is none behind the header, or reading fails.
/// Looks at the end first, and then at ever larger blocks before it.
off_t findEndTag(int file, off_t size)
{
  constexpr size_t kLargestBlock = 262144;
  const auto floor = static_cast<off_t>(kHeader.size());
  size_t blockSize = kEndTag.size();
  qv::HeapBlock<char> block;
  for (off_t end = size; end - floor >= static_cast<off_t>(kEndTag.size());) {
    const auto wanted = static_cast<size_t>(std::min<off_t>(end - floor, static_cast<off_t>(blockSize)));
    char small[kEndTag.size()];
    char *bytes = small;
    if (wanted > sizeof(small)) {
      if (block == nullptr) {
        block.reset(static_cast<char *>(malloc(kLargestBlock)));
      }
      bytes = block.get();
    }
    const off_t begin = end - static_cast<off_t>(wanted);
    if (bytes == nullptr || !readAllAt(file, bytes, wanted, begin)) {
      break;
    }
    if (const auto found = findLastEndTag({bytes, wanted})) {
      return begin + static_cast<off_t>(*found);
    }
    end = begin + static_cast<off_t>(kEndTag.size()) - 1;  // a tag may stand across the blocks
    blockSize = kLargestBlock;
  }
  return -1;
}

/// Starts a log that holds no entry yet.
bool writeEmptyLog(int file)
{
  char bytes[kHeader.size() + kBeginTag.size() + kEndTag.size()];
  char *end = std::copy(kHeader.begin(), kHeader.end(), bytes);
  end = std::copy(kBeginTag.begin(), kBeginTag.end(), end);
  std::copy(kEndTag.begin(), kEndTag.end(), end);
  if (writeAllAt(file, {bytes, sizeof(bytes)}, 0)) {
    return true;
  }
  (void)ftruncate(file, 0);  // less than a header counts as empty: the next append starts again
  return false;
}

/// Whether some bytes of a file lie in one page, which the kernel writes as a whole even when the process is killed.
bool isInOnePage(off_t at, size_t size)
{
  constexpr size_t kPage = 4096;
  return static_cast<size_t>(at) % kPage + size <= kPage;
}

/// Puts an entry with its closing tag in the place of the old closing tag. What goes behind the old tag is written
/// before what goes over it: where the writing ends early, the old tag is still there.
bool writeEntry(int file, std::string_view text, off_t at)
{
  const off_t behindTag = at + static_cast<off_t>(kEndTag.size());
  const std::string_view overTag(text.data(), kEndTag.size());
  const std::string_view rest(text.data() + kEndTag.size(), text.size() - kEndTag.size());
  const bool written = isInOnePage(at, text.size())
                           ? writeAllAt(file, text, at)
                           : writeAllAt(file, rest, behindTag) && writeAllAt(file, overTag, at);
  if (written) {
    return true;
  }
  (void)writeAllAt(file, kEndTag, at);  // as good as it gets where even that fails
  (void)ftruncate(file, behindTag);
  return false;
}

Status writeToLog(const char *path, std::string_view text)
{
  off_t size;
  qv::UniqueFd file(log::openLog(path, 0, size));
  if (!file || size > INT32_MAX) {
    return Status::unsuccessful;
  }
  auto at = static_cast<off_t>(kHeader.size()) + static_cast<off_t>(kBeginTag.size());
  if (size < static_cast<off_t>(kHeader.size())) {
    if (!writeEmptyLog(file.get())) {
      return Status::limitExceeded;
    }
  } else {
    at = findEndTag(file.get(), size);
    if (at < 0) {
      return Status::badType;
    }
  }
  const bool written = writeEntry(file.get(), text, at);
  return file.closeWritten() && written ? Status::success : Status::limitExceeded;
}

bool isValid(const char *path, const Event &event)
{
  return path != nullptr && log::isData(event.data, event.dataSize) &&
         log::hasLengthOrIsNone(event.userInfo, log::kLongestSource) &&
         log::hasLengthOrIsNone(event.source, log::kLongestSource) &&
         log::hasLengthOrIsNone(event.description, log::kLongestDescription);
}

Status append(const char *path, const Event &event, uint32_t maximumSize)
{
  if (!isValid(path, event)) {
    return Status::badArgument;
  }
  const log::Target target(path);
  if (const Status status = target.createDirectory(); status != Status::success) {
    return status;
  }
  Entry entry(event);
  if (!entry) {
    return Status::unsuccessful;
  }
  if (const Status status = addEvent(entry, event); status != Status::success) {
    return status;
  }
  if (target.backUp(maximumSize, static_cast<uint32_t>(entry.text().size()))) {
    // Without this entry the log is still whole.
    (void)append(path,
                 {SM_EVENT_INFORMATION, log::kBackupCreatedID, event.userInfo, event.source, uniLogBackupCreated_en_US,
                  nullptr, 0},
                 log::kDefaultMaximumSize);
  }
  entry.add(xmlLogEndTag);
  const qv::FileGuard guard(qv::kFileLockWait);
  return guard ? writeToLog(path, entry.text()) : Status::lockFailed;
}

/// The entry that a log starts with.
uint32_t appendCleared(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  return AppendToXMLLog(path, SM_EVENT_INFORMATION, log::kClearedID, userInfo, source, uniLogCleared_en_US, nullptr, 0,
                        log::kDefaultMaximumSize);
}

}  // namespace

uint32_t AppendToXMLLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *userInfo,
                        const SMChar16 *source, const SMChar16 *description, const void *data, uint32_t dataSize,
                        uint32_t maximumSize)
{
  return result(append(path, {eventType, eventID, userInfo, source, description, data, dataSize}, maximumSize));
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
  const uint32_t status = DeleteLogFile(path);
  return status == SM_STATUS_SUCCESS ? appendCleared(path, userInfo, source) : status;
}

uint32_t SMClearXMLLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  const qv::ExportBracket bracket;
  return ClearXMLLog(path, userInfo, source);
}

uint32_t ForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  uint32_t size;
  if (GetSizeOfFile(path, &size) == SM_STATUS_SUCCESS && size >= kHeader.size()) {
    return result(Status::success);
  }
  return appendCleared(path, userInfo, source);
}

uint32_t SMForceXMLLogExists(const char *path, const SMChar16 *userInfo, const SMChar16 *source)
{
  const qv::ExportBracket bracket;
  return ForceXMLLogExists(path, userInfo, source);
}
