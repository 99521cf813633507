// The system log: an event as one line of syslog(3).
//
// Leaves to others: the text that begins every line (locale/resource).

#include "log/system_log.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>

#include "base/heap.h"
#include "base/process_gate.h"
#include "base/size.h"
#include "base/text.h"
#include "frame/export.h"
#include "frame/lock/global_lock.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/language.h"
#include "qvsupt32/log.h"
#include "qvsupt32/resource.h"
#include "qvsupt32/value.h"

namespace {

using qv::Status;
namespace log = qv::log;

constexpr size_t kMessageUnits = 1024;
constexpr uint32_t kMessageBytes = 2048;
constexpr uint32_t kPrefixString = 768;

using Utf8 = qv::HeapBlock<char>;

/// A message of limited length: longer text is cut after the last whole character that fits.
class Message {
 public:
  /// False if the string that begins every message is not available.
  bool begin()
  {
    uint32_t language = GetLocalLanguageID();
    uint32_t size = sizeof(units_);
    if (GetUCS2StrFromID(kPrefixString, &language, units_, &size) < sizeof(SMChar16)) {
      return false;
    }
    length_ = qv::ucs2Length(units_);
    return true;
  }

  void add(const SMChar16 *text)
  {
    const size_t capacity = kMessageUnits - 1 - length_;
    size_t length = std::min(qv::ucs2Length(text), capacity);
    if (length == capacity && length > 0 && qv::isHighSurrogate(text[length - 1])) {
      --length;
    }
    memcpy(units_ + length_, text, length * sizeof(SMChar16));
    length_ += length;
    units_[length_] = 0;
  }

  const SMChar16 *text() const { return units_; }

 private:
  SMChar16 units_[kMessageUnits];
  size_t length_ = 0;
};

/// A status of the conversions, whose numbers are the caller's answer as they are.
using Number = uint32_t;

Number addEvent(Message &message, const log::Event &event)
{
  SMChar16 number[32];
  uint32_t size = sizeof(number);
  if (const Number status = UCS2UnSigned32ToStr(event.id, 10, number, &size); status != SM_STATUS_SUCCESS) {
    return status;
  }
  message.add(u" ");
  message.add(number);
  message.add(u"  ");
  message.add(event.description == nullptr ? u"" : event.description);
  return SM_STATUS_SUCCESS;
}

/// Converts a text into a new block that it may not pass.
Number makeUtf8(const SMChar16 *text, uint64_t blockSize, Utf8 &converted)
{
  uint32_t size = qv::clampSize(blockSize);
  converted.reset(static_cast<char *>(malloc(size)));
  return converted == nullptr ? SM_STATUS_UNSUCCESSFUL : UCS2StrToUTF8Str(converted.get(), &size, text);
}

int priorityOf(uint16_t eventType)
{
  switch (eventType) {
    case SM_EVENT_ERROR:
      return LOG_ERR;
    case SM_EVENT_WARNING:
      return LOG_WARNING;
    default:
      return LOG_INFO;
  }
}

constinit qv::ProcessGate gate;

/// The C library keeps the pointer to the identity until closelog(3), and no longer.
Status send(int priority, const char *identity, const char *message)
{
  uint32_t stepsTaken;
  if (!gate.enter(qv::fileLockSteps(qv::kFileLockWait), stepsTaken)) {
    return Status::lockFailed;
  }
  openlog(identity, LOG_NDELAY, LOG_DAEMON);
  syslog(priority, "%s", message);
  closelog();
  gate.leave();
  return Status::success;
}

}  // namespace

uint32_t log::appendToSystemLog(const Event &event)
{
  constexpr uint64_t kSourceSlack = 6;
  const SMChar16 *source = event.source == nullptr ? u"" : event.source;
  Utf8 identity;
  if (const Number status = makeUtf8(source, qv::ucs2Length(source) + kSourceSlack, identity);
      status != SM_STATUS_SUCCESS) {
    return status;
  }
  const qv::HeapBlock<Message> block(static_cast<Message *>(malloc(sizeof(Message))));
  if (block == nullptr) {
    return SM_STATUS_UNSUCCESSFUL;
  }
  Message &message = *new (block.get()) Message;
  if (!message.begin()) {
    return SM_STATUS_UNSUCCESSFUL;
  }
  if (const Number status = addEvent(message, event); status != SM_STATUS_SUCCESS) {
    return status;
  }
  Utf8 line;
  if (const Number status = makeUtf8(message.text(), kMessageBytes, line); status != SM_STATUS_SUCCESS) {
    return status;
  }
  RemoveCarriageReturns(line.get());
  return result(send(priorityOf(event.type), identity.get(), line.get()));
}

void log::clearGate()
{
  gate.clear();
}

uint32_t OSAppendToSysLog(uint16_t eventType, uint32_t eventID, const SMChar16 *source, const SMChar16 *description,
                          const void *, uint32_t)
{
  return log::appendToSystemLog({eventType, eventID, nullptr, source, description, nullptr, 0});
}

uint32_t SMAppendToOSSysLog(uint16_t eventType, uint32_t eventID, const SMChar16 *source, const SMChar16 *description,
                            const void *data, uint32_t dataSize)
{
  const qv::ExportBracket bracket;
  return OSAppendToSysLog(eventType, eventID, source, description, data, dataSize);
}

void RemoveCarriageReturns(char *text)
{
  if (text != nullptr) {
    std::replace(text, text + strlen(text), '\r', ' ');
  }
}
