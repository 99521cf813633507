// The text log: its texts, its records piece by piece, and appending a record as one piece of memory.

#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "base/descriptor.h"
#include "base/heap.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "log/log_file.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/log.h"
#include "qvsupt32/network.h"
#include "qvsupt32/store.h"
#include "qvsupt32/strings.h"
#include "qvsupt32/value.h"
#include "store/file_util.h"
#include "text/value/time_text.h"

const SMChar16 uniTXTFileHdr[129] =
    u"\uFEFF"
    u"#-------------------------------\r\n"
    u"# Do not remove this block\r\n"
    u"# This data file is parsed\r\n"
    u"#------------------------------- \r\n"
    u"\r\n";
const SMChar16 uniEventID_en_US[9] = u"EventID:";
const SMChar16 uniSource_en_US[8] = u"Source:";
const SMChar16 uniTypeSuccess_en_US[11] = u"Type: None";
const SMChar16 uniTypeError_en_US[12] = u"Type: Error";
const SMChar16 uniTypeWarning_en_US[14] = u"Type: Warning";
const SMChar16 uniTypeInformation_en_US[18] = u"Type: Information";
const SMChar16 uniTypeAuditSucc_en_US[20] = u"Type: Audit Success";
const SMChar16 uniTypeAuditFail_en_US[20] = u"Type: Audit Failure";
const SMChar16 uniDateTime_en_US[15] = u"Date and Time:";
const SMChar16 uniComputer_en_US[10] = u"Computer:";
const SMChar16 uniDesc_en_US[13] = u"Description:";
const SMChar16 uniData_en_US[19] = u"Data: Bytes in Hex";
const SMChar16 uniLogCleared_en_US[16] = u"Log was cleared";
const SMChar16 uniLogBackupCreated_en_US[19] = u"Log backup created";
const SMChar16 uniCR = u'\r';
const SMChar16 uniLF = u'\n';
const SMChar16 uniWhiteSpace = u' ';
const SMChar16 uniTab = u'\t';

namespace {

using qv::Status;
namespace log = qv::log;

constexpr size_t kHeaderUnits = 128;
constexpr uint32_t kHeaderBytes = 2 * kHeaderUnits;
constexpr uint32_t kBytesPerDumpLine = 16;
constexpr uint32_t kDumpLineUnits = 82;

struct Event {
  uint16_t type;
  uint32_t id;
  const SMChar16 *source;
  const SMChar16 *description;
  const void *data;
  uint32_t dataSize;
};

/// Null for a type that has none.
const SMChar16 *typeLine(uint16_t type)
{
  switch (type) {
    case SM_EVENT_SUCCESS:
      return uniTypeSuccess_en_US;
    case SM_EVENT_ERROR:
      return uniTypeError_en_US;
    case SM_EVENT_WARNING:
      return uniTypeWarning_en_US;
    case SM_EVENT_INFORMATION:
      return uniTypeInformation_en_US;
    case SM_EVENT_AUDIT_SUCCESS:
      return uniTypeAuditSucc_en_US;
    case SM_EVENT_AUDIT_FAILURE:
      return uniTypeAuditFail_en_US;
    default:
      return nullptr;
  }
}

uint32_t lengthOf(const SMChar16 *text)
{
  return text == nullptr ? 0 : UCS2Strlen(text);
}

/// Where pieces go
/// --------------------------------------------------------------------------------------------------------

/// A caller's stream, which is flushed after every piece.
class StreamSink {
 public:
  explicit StreamSink(FILE *stream) : stream_(stream) {}

  Status write(const SMChar16 *units, size_t count)
  {
    const bool written = fwrite(units, sizeof(SMChar16), count, stream_) == count && fflush(stream_) == 0;
    return written ? Status::success : Status::limitExceeded;
  }

 private:
  FILE *stream_;
};

/// The memory of a record, with room for all that an event can become.
class RecordSink {
 public:
  explicit RecordSink(const Event &event) : units_(static_cast<SMChar16 *>(malloc(sizeof(SMChar16) * unitsFor(event))))
  {
  }

  explicit operator bool() const { return units_ != nullptr; }

  Status write(const SMChar16 *units, size_t count)
  {
    memcpy(units_.get() + size_, units, count * sizeof(SMChar16));
    size_ += count;
    return Status::success;
  }

  std::string_view bytes() const { return {reinterpret_cast<const char *>(units_.get()), size_ * sizeof(SMChar16)}; }

 private:
  static size_t unitsFor(const Event &event)
  {
    constexpr size_t kLabelsAndNumbers = 512;
    const size_t dumpLines = (size_t{event.dataSize} + kBytesPerDumpLine - 1) / kBytesPerDumpLine;
    return kHeaderUnits + kLabelsAndNumbers + lengthOf(event.source) + lengthOf(event.description) +
           dumpLines * kDumpLineUnits;
  }

  qv::HeapBlock<SMChar16> units_;
  size_t size_ = 0;
};

/// Pieces
/// -----------------------------------------------------------------------------------------------------------------

template <class Sink>
Status addText(Sink &sink, const SMChar16 *text)
{
  return sink.write(text, UCS2Strlen(text));
}

/// A text of the library's own or of the system, as UCS-2.
template <class Sink>
Status addNarrow(Sink &sink, const char *text)
{
  SMChar16 units[64];
  uint32_t size = sizeof(units);
  if (UTF8StrToUCS2Str(units, &size, text) != SM_STATUS_SUCCESS) {
    return Status::unsuccessful;
  }
  return addText(sink, units);
}

/// A run of pieces of a text of one or two units.
template <class Sink>
Status addRepeated(Sink &sink, std::u16string_view piece, uint32_t count)
{
  if (count == 0) {
    return Status::badArgument;
  }
  SMChar16 block[256];
  constexpr size_t kUnits = sizeof(block) / sizeof(block[0]);
  for (size_t i = 0; i < kUnits; ++i) {
    block[i] = piece[i % piece.size()];
  }
  uint64_t left = uint64_t{count} * piece.size();
  while (left != 0) {
    const auto units = static_cast<size_t>(std::min<uint64_t>(left, kUnits));
    const Status status = sink.write(block, units);
    if (status != Status::success) {
      return status;
    }
    left -= units;
  }
  return Status::success;
}

template <class Sink>
Status addLineEnd(Sink &sink)
{
  return sink.write(u"\r\n", 2);
}

template <class Sink>
Status addNumber(Sink &sink, uint32_t value)
{
  SMChar16 text[128];
  uint32_t size = sizeof(text);
  if (UCS2UnSigned32ToStr(value, 10, text, &size) != SM_STATUS_SUCCESS) {
    return Status::unsuccessful;
  }
  return addText(sink, text);
}

template <class Sink>
Status addTime(Sink &sink, int64_t seconds)
{
  char text[qv::text::kTimeRoom];
  return qv::text::formTime(seconds, text) ? addNarrow(sink, text) : Status::unsuccessful;
}

template <class Sink>
Status addHostName(Sink &sink)
{
  char name[64];
  uint32_t size = sizeof(name);
  return GetIPHostName(name, &size) == SM_STATUS_SUCCESS ? addNarrow(sink, name) : Status::unsuccessful;
}

/// A dump goes through little memory, however much data there is.
template <class Sink>
Status addDump(Sink &sink, const void *data, uint32_t dataSize)
{
  constexpr uint32_t kLines = 32;
  constexpr uint32_t kPiece = kLines * kBytesPerDumpLine;
  const uint32_t count = data == nullptr ? 0 : dataSize;
  for (uint32_t done = 0; done < count;) {
    uint32_t size = std::min(count - done, kPiece);
    const qv::HeapBlock<char> dump(BufToUTF8Str(static_cast<const char *>(data) + done, &size, done));
    SMChar16 units[kLines * kDumpLineUnits + 1];
    uint32_t unitsSize = sizeof(units);
    if (dump == nullptr || UTF8StrToUCS2Str(units, &unitsSize, dump.get()) != SM_STATUS_SUCCESS) {
      return Status::unsuccessful;
    }
    const Status status = sink.write(units, unitsSize / sizeof(SMChar16) - 1);
    if (status != Status::success) {
      return status;
    }
    done += std::min(count - done, kPiece);
  }
  return Status::success;
}

/// Records
/// ----------------------------------------------------------------------------------------------------------------

/// Adds the lines of an event up to the first piece that cannot be had.
Status addRecord(RecordSink &record, const Event &event)
{
  const auto label = [&](const SMChar16 *text) {
    (void)addText(record, text);  // memory takes all that is known to be there
    (void)addText(record, u" ");
  };
  const auto line = [&](const SMChar16 *text) {
    (void)addText(record, text);
    (void)addLineEnd(record);
  };
  label(uniEventID_en_US);
  if (const Status status = addNumber(record, event.id); status != Status::success) {
    return status;
  }
  line(u"");
  label(uniSource_en_US);
  line(event.source);
  line(typeLine(event.type));
  label(uniDateTime_en_US);
  if (const Status status = addTime(record, time(nullptr)); status != Status::success) {
    return status;
  }
  line(u"");
  label(uniComputer_en_US);
  if (const Status status = addHostName(record); status != Status::success) {
    return status;
  }
  line(u"");
  line(uniDesc_en_US);
  line(event.description == nullptr ? u"" : event.description);
  line(uniData_en_US);
  if (const Status status = addDump(record, event.data, event.dataSize); status != Status::success) {
    return status;
  }
  line(u"");
  return Status::success;
}

/// Writes a record, and the header before it where the log, of a size, has none yet.
Status writeRecord(qv::UniqueFd &file, off_t size, const Event &event)
{
  RecordSink record(event);
  if (size > INT32_MAX || !record) {
    return Status::unsuccessful;
  }
  if (size < kHeaderBytes) {
    (void)addText(record, uniTXTFileHdr);
  }
  const Status status = addRecord(record, event);
  const bool written = qv::writeAll(file.get(), record.bytes());
  return file.closeWritten() && written ? status : Status::limitExceeded;
}

bool isValid(const char *path, const Event &event)
{
  return path != nullptr && event.source != nullptr && log::isData(event.data, event.dataSize) &&
         log::hasLength(event.source, log::kLongestSource) &&
         log::hasLengthOrIsNone(event.description, log::kLongestDescription);
}

/// The size that a record is taken for where a backup is decided on.
uint32_t estimatedSize(const Event &event)
{
  constexpr uint32_t kFixed = 2214;
  return 2 * (lengthOf(event.source) + lengthOf(event.description) + 83 * (event.dataSize / kBytesPerDumpLine)) +
         kFixed;
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
  if (target.backUp(maximumSize, estimatedSize(event))) {
    // Without this record the log is still whole.
    (void)append(path,
                 {SM_EVENT_INFORMATION, log::kBackupCreatedID, event.source, uniLogBackupCreated_en_US, nullptr, 0},
                 log::kDefaultMaximumSize);
  }
  if (typeLine(event.type) == nullptr) {
    return Status::badArgument;
  }
  const qv::FileGuard guard(qv::kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  off_t size;
  qv::UniqueFd file(log::openLog(path, O_APPEND, size));
  if (!file) {
    return Status::unsuccessful;
  }
  return writeRecord(file, size, event);
}

}  // namespace

uint32_t AppendToUNITXTLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                           const SMChar16 *description, const void *data, uint32_t dataSize, uint32_t maximumSize)
{
  return result(append(path, {eventType, eventID, source, description, data, dataSize}, maximumSize));
}

uint32_t ClearUNITXTLog(const char *path, const SMChar16 *source)
{
  const uint32_t status = DeleteLogFile(path);
  if (status != SM_STATUS_SUCCESS) {
    return status;
  }
  return AppendToUNITXTLog(path, SM_EVENT_INFORMATION, log::kClearedID, source, uniLogCleared_en_US, nullptr, 0,
                           log::kDefaultMaximumSize);
}

uint32_t UniAppendHdr(FILE *stream)
{
  const int32_t size = GetStreamFileSize(stream);
  if (size < 0) {
    return result(Status::unsuccessful);
  }
  return static_cast<uint32_t>(size) < kHeaderBytes ? UniAppendUStr(stream, uniTXTFileHdr) : result(Status::success);
}

uint32_t UniAppendUStr(FILE *stream, const SMChar16 *text)
{
  StreamSink sink(stream);
  return result(addText(sink, text));
}

uint32_t UniAppendWhiteSpace(FILE *stream, uint32_t count)
{
  StreamSink sink(stream);
  return result(addRepeated(sink, u" ", count));
}

uint32_t UniAppendTab(FILE *stream, uint32_t count)
{
  StreamSink sink(stream);
  return result(addRepeated(sink, u"\t", count));
}

uint32_t UniAppendCRLF(FILE *stream, uint32_t count)
{
  StreamSink sink(stream);
  return result(addRepeated(sink, u"\r\n", count));
}

uint32_t UniAppendUnSigned32Int(FILE *stream, uint32_t value)
{
  StreamSink sink(stream);
  return result(addNumber(sink, value));
}

uint32_t UniAppendDateTime(FILE *stream, const int32_t *seconds)
{
  StreamSink sink(stream);
  return result(addTime(sink, *seconds));
}

uint32_t UniAppendHostName(FILE *stream)
{
  StreamSink sink(stream);
  return result(addHostName(sink));
}

uint32_t UniAppendBufferDump(FILE *stream, uint32_t, const void *data, uint32_t dataSize)
{
  StreamSink sink(stream);
  return result(addDump(sink, data, dataSize));
}
