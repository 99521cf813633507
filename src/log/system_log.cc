// The system log: an event as one line of syslog(3).

#include "log/system_log.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/heap.h"
#include "base/process_gate.h"
#include "base/status.h"
#include "frame/export.h"
#include "frame/lock/global_lock.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/language.h"
#include "qvsupt32/log.h"
#include "qvsupt32/resource.h"
#include "qvsupt32/strings.h"
#include "qvsupt32/value.h"

namespace {

using qv::Status;

constexpr uint32_t kMessageUnits = 1024;
constexpr uint32_t kMessageBytes = 2048;
constexpr uint32_t kPrefixString = 768;

using Utf8 = qv::HeapBlock<char>;

bool isHighSurrogate(SMChar16 unit)
{
  return unit >= 0xD800 && unit <= 0xDBFF;
}

/// A message of limited length. What does not fit is cut behind the last whole character.
class Message {
 public:
  /// False where the string resource that begins every message is not to be had.
  bool begin()
  {
    uint32_t language = GetLocalLanguageID();
    uint32_t size = sizeof(units_);
    if (GetUCS2StrFromID(kPrefixString, &language, units_, &size) < sizeof(SMChar16)) {
      return false;
    }
    length_ = UCS2Strlen(units_);
    return true;
  }

  void add(const SMChar16 *text)
  {
    const uint32_t room = kMessageUnits - 1 - length_;
    uint32_t length = std::min(UCS2Strlen(text), room);
    if (length == room && length > 0 && isHighSurrogate(text[length - 1])) {
      --length;
    }
    memcpy(units_ + length_, text, length * sizeof(SMChar16));
    length_ += length;
    units_[length_] = 0;
  }

  const SMChar16 *text() const { return units_; }

 private:
  SMChar16 units_[kMessageUnits];
  uint32_t length_ = 0;
};

Status addEvent(Message &message, uint32_t eventID, const SMChar16 *description)
{
  SMChar16 number[32];
  uint32_t size = sizeof(number);
  if (const uint32_t status = UCS2UnSigned32ToStr(eventID, 10, number, &size); status != SM_STATUS_SUCCESS) {
    return static_cast<Status>(status);
  }
  message.add(u" ");
  message.add(number);
  message.add(u"  ");
  message.add(description);
  return Status::success;
}

/// Converts a text into a block of a size, which it may not pass.
Status convert(const SMChar16 *text, uint32_t size, Utf8 &converted)
{
  converted.reset(static_cast<char *>(malloc(size)));
  return converted == nullptr ? Status::unsuccessful
                              : static_cast<Status>(UCS2StrToUTF8Str(converted.get(), &size, text));
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

/// openlog(3) keeps the pointer that it is given, so the identity stays until the next one has taken its place.
constinit char *lastIdentity = nullptr;

Status send(int priority, Utf8 identity, const char *message)
{
  uint32_t stepsTaken;
  if (!gate.enter(qv::fileLockSteps(qv::kFileLockWait), stepsTaken)) {
    return Status::lockFailed;
  }
  openlog(identity.get(), LOG_NDELAY, LOG_DAEMON);
  syslog(priority, "%s", message);
  closelog();
  free(std::exchange(lastIdentity, identity.release()));
  gate.leave();
  return Status::success;
}

Status append(uint16_t eventType, uint32_t eventID, const SMChar16 *source, const SMChar16 *description)
{
  constexpr uint32_t kSourceSlack = 6;
  Utf8 identity;
  if (const Status status = convert(source, UCS2Strlen(source) + kSourceSlack, identity); status != Status::success) {
    return status;
  }
  const qv::HeapBlock<Message> block(static_cast<Message *>(malloc(sizeof(Message))));
  if (block == nullptr) {
    return Status::unsuccessful;
  }
  Message &message = *new (block.get()) Message;
  if (!message.begin()) {
    return Status::unsuccessful;
  }
  if (const Status status = addEvent(message, eventID, description); status != Status::success) {
    return status;
  }
  Utf8 line;
  if (const Status status = convert(message.text(), kMessageBytes, line); status != Status::success) {
    return status;
  }
  RemoveCarriageReturns(line.get());
  return send(priorityOf(eventType), std::move(identity), line.get());
}

}  // namespace

namespace qv::log {

void freeIdentity()
{
  free(std::exchange(lastIdentity, nullptr));
}

void clearGate()
{
  gate.clear();
}

}  // namespace qv::log

uint32_t OSAppendToSysLog(uint16_t eventType, uint32_t eventID, const SMChar16 *source, const SMChar16 *description,
                          const void *, uint32_t)
{
  return result(
      append(eventType, eventID, source == nullptr ? u"" : source, description == nullptr ? u"" : description));
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
