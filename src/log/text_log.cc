// The text log: its texts, its records piece by piece, and appending a record with one write.

#include "log/text_log.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <string_view>

#include "base/heap.h"
#include "base/input_output.h"
#include "base/text.h"
#include "log/log_file.h"
#include "log/record_buffer.h"
#include "net/host_name.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/store.h"
#include "qvsupt32/value.h"
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
constexpr off_t kHeaderBytes = off_t{2} * kHeaderUnits;
constexpr uint32_t kBytesPerDumpLine = 16;
constexpr uint32_t kDumpLineUnits = 82;
constexpr uint32_t kHostNameSize = 64;

/// Null for a type that the text log does not know.
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

// Sinks ---------------------------------------------------------------------------------------------------------------

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

/// A record that is written to a log in one piece.
class RecordSink {
 public:
  explicit RecordSink(const log::Event &event) : buffer_(sizeof(SMChar16) * expectedUnits(event)) {}

  Status write(const SMChar16 *units, size_t count)
  {
    buffer_.add({reinterpret_cast<const char *>(units), count * sizeof(SMChar16)});
    return buffer_.isComplete() ? Status::success : Status::unsuccessful;
  }

  /// Writes what was added: whole, or up to the piece that failed.
  Status writeTo(const log::LogFile &file) const
  {
    if (!buffer_.isComplete()) {
      return Status::unsuccessful;
    }
    const bool written = qv::writeAll(file.descriptor(), buffer_.bytes().data(), buffer_.bytes().size());
    return written ? Status::success : Status::limitExceeded;
  }

 private:
  static size_t expectedUnits(const log::Event &event)
  {
    constexpr size_t kLabelsNumbersAndNames = 384;
    return kHeaderUnits + kLabelsNumbersAndNames + qv::ucs2LengthOrZero(event.source) +
           qv::ucs2LengthOrZero(event.description) + kDumpLineUnits * (event.dataSize / kBytesPerDumpLine + 1);
  }

  log::RecordBuffer buffer_;
};

// Pieces of a record --------------------------------------------------------------------------------------------------

template <class Sink>
Status addText(Sink &sink, std::u16string_view text)
{
  return sink.write(text.data(), text.size());
}

/// A text of the library's own or of the system, converted from UTF-8.
template <class Sink>
Status addUtf8(Sink &sink, const char *text)
{
  SMChar16 units[kHostNameSize];
  uint32_t size = sizeof(units);
  if (UTF8StrToUCS2Str(units, &size, text) != SM_STATUS_SUCCESS) {
    return Status::unsuccessful;
  }
  return sink.write(units, size / sizeof(SMChar16) - 1);
}

/// A piece of one or two units, `count` times.
template <class Sink>
Status addRepeated(Sink &sink, std::u16string_view piece, uint32_t count)
{
  if (count == 0) {
    return Status::badArgument;
  }
  SMChar16 block[256];
  for (size_t i = 0; i < std::size(block); ++i) {
    block[i] = piece[i % piece.size()];
  }
  for (uint64_t left = uint64_t{count} * piece.size(); left != 0;) {
    const auto units = static_cast<size_t>(std::min<uint64_t>(left, std::size(block)));
    if (const Status status = sink.write(block, units); status != Status::success) {
      return status;
    }
    left -= units;
  }
  return Status::success;
}

/// In decimal, as a signed number.
template <class Sink>
Status addNumber(Sink &sink, uint32_t value)
{
  SMChar16 text[128];
  uint32_t size = sizeof(text);
  if (UCS2UnSigned32ToStr(value, 10, text, &size) != SM_STATUS_SUCCESS) {
    return Status::unsuccessful;
  }
  return sink.write(text, qv::ucs2Length(text));
}

template <class Sink>
Status addTime(Sink &sink, int64_t seconds)
{
  char text[qv::text::kTimeRoom];
  return qv::text::formTime(seconds, text) ? addUtf8(sink, text) : Status::unsuccessful;
}

template <class Sink>
Status addHostName(Sink &sink)
{
  char name[kHostNameSize];
  uint32_t size = sizeof(name);
  return qv::net::getHostName(name, &size) == Status::success ? addUtf8(sink, name) : Status::unsuccessful;
}

/// Dumps in chunks; the memory that it takes does not depend on the size of the data.
template <class Sink>
Status addDump(Sink &sink, const void *data, uint32_t dataSize)
{
  constexpr uint32_t kLines = 32;
  constexpr uint32_t kChunk = kLines * kBytesPerDumpLine;
  const uint32_t count = data == nullptr ? 0 : dataSize;
  uint32_t size;
  for (uint32_t done = 0; done < count; done += size) {
    size = std::min(count - done, kChunk);
    uint32_t dumpSize = size;
    const qv::HeapBlock<char> dump(BufToUTF8Str(static_cast<const char *>(data) + done, &dumpSize, done));
    SMChar16 units[kLines * kDumpLineUnits + 1];
    uint32_t unitsSize = sizeof(units);
    if (dump == nullptr || UTF8StrToUCS2Str(units, &unitsSize, dump.get()) != SM_STATUS_SUCCESS) {
      return Status::unsuccessful;
    }
    if (const Status status = sink.write(units, unitsSize / sizeof(SMChar16) - 1); status != Status::success) {
      return status;
    }
  }
  return Status::success;
}

// Records -------------------------------------------------------------------------------------------------------------

/// Adds the pieces of an event in their order and stops at the first one that fails.
class RecordWriter {
 public:
  explicit RecordWriter(RecordSink &sink) : sink_(sink) {}

  RecordWriter &text(std::u16string_view text)
  {
    return then([&] { return addText(sink_, text); });
  }
  RecordWriter &lineEnd() { return text(u"\r\n"); }

  template <class Add>
  RecordWriter &then(Add add)
  {
    if (status_ == Status::success) {
      status_ = add();
    }
    return *this;
  }

  Status status() const { return status_; }

 private:
  RecordSink &sink_;
  Status status_ = Status::success;
};

Status addRecord(RecordSink &sink, const log::Event &event)
{
  const SMChar16 *description = event.description == nullptr ? u"" : event.description;
  RecordWriter record(sink);
  record.text(uniEventID_en_US).text(u" ").then([&] { return addNumber(sink, event.id); }).lineEnd();
  record.text(uniSource_en_US).text(u" ").text(event.source).lineEnd();
  record.text(typeLine(event.type)).lineEnd();
  record.text(uniDateTime_en_US).text(u" ").then([&] { return addTime(sink, time(nullptr)); }).lineEnd();
  record.text(uniComputer_en_US).text(u" ").then([&] { return addHostName(sink); }).lineEnd();
  record.text(uniDesc_en_US).lineEnd();
  record.text(description).lineEnd();
  record.text(uniData_en_US).lineEnd();
  record.then([&] { return addDump(sink, event.data, event.dataSize); }).lineEnd();
  return record.status();
}

/// Writes a record, preceded by the header if the log has none.
Status writeRecord(log::LogFile &file, const log::Event &event)
{
  if (file.size() > log::kLargestLog) {
    return Status::unsuccessful;
  }
  RecordSink record(event);
  if (file.size() < kHeaderBytes) {
    (void)addText(record, uniTXTFileHdr);  // the record reports missing memory
  }
  const Status added = addRecord(record, event);
  const Status written = record.writeTo(file);
  const bool closed = file.closeWritten();
  if (written != Status::success) {
    return written;
  }
  return closed ? added : Status::limitExceeded;
}

/// The size that a record is taken for when a backup is decided on: an estimate that part of the interface fixes. A dump
/// line counts 83 units, its 82 and a spare one; a line that is not full counts nothing. 2214 covers all labels, numbers
/// and names at their longest, and is more than most records need: logs are moved a little early.
uint32_t estimatedSize(const log::Event &event)
{
  constexpr uint32_t kFixed = 2214;
  constexpr uint32_t kUnitsPerDumpLine = 83;
  const size_t units = qv::ucs2LengthOrZero(event.source) + qv::ucs2LengthOrZero(event.description) +
                       kUnitsPerDumpLine * (event.dataSize / kBytesPerDumpLine);
  return static_cast<uint32_t>(sizeof(SMChar16) * units) + kFixed;
}

Status appendLocked(const char *path, const log::Event &event, const uint32_t &maximumSize)
{
  log::LogFile file(path, O_WRONLY | O_APPEND);
  const Status status = log::openForRecord(file, estimatedSize(event), maximumSize, [&] {
    // The log is whole without this record, so its failure is none of the event's.
    (void)appendLocked(path, log::backupCreatedEvent(event), log::kDefaultMaximumSize);
  });
  return status == Status::success ? writeRecord(file, event) : status;
}

/// Refuses an event of an unknown type, which comes only after the backup that the event would have caused.
Status refuseType(const char *path, const log::Event &event, const uint32_t &maximumSize)
{
  if (const Status status = log::createMissingDirectory(path); status != Status::success) {
    return status;
  }
  const uint32_t maximum = __atomic_load_n(&maximumSize, __ATOMIC_RELAXED);  // without the lock here
  SMBool backedUp;
  CheckBackupLogFile(path, maximum, estimatedSize(event), &backedUp);
  if (backedUp != 0) {
    (void)log::appendTextRecord(path, log::backupCreatedEvent(event), log::kDefaultMaximumSize);  // as above
  }
  return Status::badArgument;
}

}  // namespace

Status log::appendTextRecord(const char *path, const Event &event, const uint32_t &maximumSize)
{
  if (path == nullptr || event.source == nullptr || !isWithinLimits(event)) {
    return Status::badArgument;
  }
  if (typeLine(event.type) == nullptr) {
    return refuseType(path, event, maximumSize);
  }
  return appendUnderLock(path, [&] { return appendLocked(path, event, maximumSize); });
}

Status log::clearTextLog(const char *path, const SMChar16 *source)
{
  const Status status = deleteLog(path);
  return status == Status::success ? appendTextRecord(path, clearedEvent(nullptr, source), kDefaultMaximumSize)
                                   : status;
}

uint32_t AppendToUNITXTLog(const char *path, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                           const SMChar16 *description, const void *data, uint32_t dataSize, uint32_t maximumSize)
{
  const log::Event event = {eventType, eventID, nullptr, source, description, data, dataSize};
  return result(log::appendTextRecord(path, event, maximumSize));
}

uint32_t ClearUNITXTLog(const char *path, const SMChar16 *source)
{
  return result(log::clearTextLog(path, source));
}

uint32_t UniAppendHdr(FILE *stream)
{
  const int32_t size = GetStreamFileSize(stream);
  if (size < 0) {
    return result(Status::unsuccessful);
  }
  return size < kHeaderBytes ? UniAppendUStr(stream, uniTXTFileHdr) : result(Status::success);
}

uint32_t UniAppendUStr(FILE *stream, const SMChar16 *text)
{
  StreamSink sink(stream);
  return result(sink.write(text, qv::ucs2Length(text)));
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
