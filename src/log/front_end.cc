// One call for all logs: which logs a selector names, where their files lie, how large they may grow.

#include <atomic>
#include <cstring>

#include "frame/export.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "locale/paths/product_file.h"
#include "log/log_file.h"
#include "log/system_log.h"
#include "log/text_log.h"
#include "log/xml_log.h"
#include "qvsupt32/log.h"
#include "qvsupt32/paths.h"

uint32_t smUNITXTLogMaxSize = qv::log::kDefaultMaximumSize;
uint32_t smXMLLogMaxSize = qv::log::kDefaultMaximumSize;

const SMChar16 defaultUserInfo_en_US[13] = u"Local System";
const SMChar16 defaultSource_en_US[5] = u"VELA";

namespace {

using qv::ProductFilePath;
using qv::Status;
namespace log = qv::log;

constexpr uint32_t kLargestMaximumSize = 4194304;

bool has(uint8_t selector, uint32_t log)
{
  return (selector & log) != 0;
}

/// The entry that an XML log starts with when the front end creates it.
log::Event firstEntry()
{
  return log::clearedEvent(defaultUserInfo_en_US, defaultSource_en_US);
}

constexpr char kDirectory[] = "log";

const char *fileNameOf(uint32_t log)
{
  return log == SMLOG_XML ? "qvsys32.xml" : "qvsys32.log";
}

/// The path of one of the log files below an install directory that exists.
Status composePath(uint32_t log, ProductFilePath &path)
{
  return qv::composeProductFilePath(SM_PRODUCT_VELA, kDirectory, fileNameOf(log), path);
}

Status checkHasFile(uint8_t selector)
{
  if (selector == 0) {
    return Status::badArgument;
  }
  return has(selector, SMLOG_OSSYSLOG) ? Status::notSupported : Status::success;
}

bool namesFile(uint8_t selector)
{
  return has(selector, SMLOG_UNITXT | SMLOG_XML);
}

/// Composes the path that a selector names, the XML log's if it names both. A selector that names none still needs the
/// directory.
Status findPath(uint8_t selector, ProductFilePath &path)
{
  if (!namesFile(selector)) {
    const char *directory;
    return qv::findInstallDirectory(SM_PRODUCT_VELA, directory);
  }
  return composePath(has(selector, SMLOG_XML) ? SMLOG_XML : SMLOG_UNITXT, path);
}

Status getPath(uint8_t selector, char *buffer, uint32_t *size)
{
  if (const Status status = checkHasFile(selector); status != Status::success) {
    return status;
  }
  ProductFilePath path;
  if (*size < sizeof(path.text)) {
    *size = sizeof(path.text);
    return Status::bufferTooSmall;
  }
  const Status status = findPath(selector, path);
  if (status != Status::success || !namesFile(selector)) {
    return status;
  }
  memcpy(buffer, path.text, path.size);
  *size = path.size;
  return has(selector, SMLOG_XML) ? log::makeXmlLogExist(path.text, firstEntry()) : Status::success;
}

Status getBackupPath(uint8_t selector, char *backup, uint32_t *size)
{
  char path[sizeof(ProductFilePath::text)];
  uint32_t pathSize = sizeof(path);
  if (const Status status = getPath(selector, path, &pathSize); status != Status::success || !namesFile(selector)) {
    return status;
  }
  const Status status = log::makeBackupName(path, backup, size);
  return status == Status::success && has(selector, SMLOG_XML) ? log::makeXmlLogExist(backup, firstEntry()) : status;
}

/// Calls use(maximum) for the maximum size that a selector names, under the lock.
template <class Use>
Status withMaximumSize(uint8_t selector, Use use)
{
  if (!namesFile(selector)) {
    return Status::notSupported;
  }
  const qv::FileGuard guard(qv::kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  use(std::atomic_ref(has(selector, SMLOG_UNITXT) ? smUNITXTLogMaxSize : smXMLLogMaxSize));
  return Status::success;
}

Status getMaximumSize(uint8_t selector, uint32_t *maximumSize)
{
  if (selector == 0) {
    return Status::badArgument;
  }
  return withMaximumSize(selector, [=](std::atomic_ref<uint32_t> maximum) { *maximumSize = maximum.load(); });
}

Status setMaximumSize(uint8_t selector, uint32_t maximumSize)
{
  if (selector == 0) {
    return Status::badArgument;
  }
  if (maximumSize < log::kDefaultMaximumSize || maximumSize > kLargestMaximumSize) {
    return Status::invalidParameter;
  }
  return withMaximumSize(selector, [=](std::atomic_ref<uint32_t> maximum) { maximum.store(maximumSize); });
}

/// Appends to one of the log files with append(path). Without the install directory every append fails and leaves
/// nothing, so only a failure needs a look at it: its status comes first.
template <class Append>
Status appendToFile(uint32_t log, Append append)
{
  ProductFilePath path;
  Status status = qv::composeUncheckedProductFilePath(SM_PRODUCT_VELA, kDirectory, fileNameOf(log), path);
  if (status == Status::success) {
    status = append(path.text);
  }
  if (status == Status::success) {
    return status;
  }
  const char *directory;
  const Status found = qv::findInstallDirectory(SM_PRODUCT_VELA, directory);
  return found == Status::success ? status : found;
}

/// The appends read the maximum sizes under their own lock.
Status append(uint8_t selector, const log::Event &event)
{
  if (selector == 0) {
    return Status::badArgument;
  }
  if (has(selector, SMLOG_OSSYSLOG)) {
    (void)log::appendToSystemLog(event);  // not reported: the files do without it
  }
  if (has(selector, SMLOG_UNITXT)) {
    Status appended = Status::success;
    const Status status = appendToFile(SMLOG_UNITXT, [&](const char *path) {
      appended = log::appendTextRecord(path, event, smUNITXTLogMaxSize);
      return appended;
    });
    if (status != appended) {  // there is no path; what the append itself answered is not reported
      return status;
    }
  }
  if (!has(selector, SMLOG_XML)) {
    return Status::success;
  }
  return appendToFile(SMLOG_XML, [&](const char *path) {
    return log::appendXmlEntryToStartedLog(path, event, smXMLLogMaxSize, firstEntry());
  });
}

Status clear(uint8_t selector, const SMChar16 *source)
{
  if (const Status status = checkHasFile(selector); status != Status::success) {
    return status;
  }
  ProductFilePath path;
  if (has(selector, SMLOG_UNITXT)) {
    Status status = composePath(SMLOG_UNITXT, path);
    if (status == Status::success) {
      status = log::clearTextLog(path.text, source);
    }
    if (status != Status::success) {
      return status;
    }
  }
  if (!has(selector, SMLOG_XML)) {
    return Status::success;
  }
  Status status = composePath(SMLOG_XML, path);
  if (status == Status::success) {
    status = log::makeXmlLogExist(path.text, firstEntry());
  }
  return status == Status::success ? log::clearXmlLog(path.text, defaultUserInfo_en_US, source) : status;
}

}  // namespace

uint32_t GetSMLogPathFileName(uint8_t selector, char *path, uint32_t *size)
{
  return result(getPath(selector, path, size));
}

uint32_t GetBackupSMLogPathFileName(uint8_t selector, char *path, uint32_t *size)
{
  return result(getBackupPath(selector, path, size));
}

uint32_t GetSMLogMaxSize(uint8_t selector, uint32_t *maximumSize)
{
  return result(getMaximumSize(selector, maximumSize));
}

uint32_t SetSMLogMaxSize(uint8_t selector, uint32_t maximumSize)
{
  return result(setMaximumSize(selector, maximumSize));
}

uint32_t AppendToSMLog(uint8_t selector, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                       const SMChar16 *description, const void *data, uint32_t dataSize)
{
  return result(append(selector, {eventType, eventID, nullptr, source, description, data, dataSize}));
}

uint32_t ClearSMLog(uint8_t selector, const SMChar16 *source)
{
  return result(clear(selector, source));
}

uint32_t SMGetLogPathFileName(uint8_t selector, char *path, uint32_t *size)
{
  const qv::ExportBracket bracket;
  return GetSMLogPathFileName(selector, path, size);
}

uint32_t SMGetBackupLogPathFileName(uint8_t selector, char *path, uint32_t *size)
{
  const qv::ExportBracket bracket;
  return GetBackupSMLogPathFileName(selector, path, size);
}

uint32_t SMGetLogMaxSize(uint8_t selector, uint32_t *maximumSize)
{
  const qv::ExportBracket bracket;
  return GetSMLogMaxSize(selector, maximumSize);
}

uint32_t SMSetLogMaxSize(uint8_t selector, uint32_t maximumSize)
{
  const qv::ExportBracket bracket;
  return SetSMLogMaxSize(selector, maximumSize);
}

uint32_t SMAppendToLog(uint8_t selector, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                       const SMChar16 *description, const void *data, uint32_t dataSize)
{
  const qv::ExportBracket bracket;
  return AppendToSMLog(selector, eventType, eventID, source, description, data, dataSize);
}

uint32_t SMClearLog(uint8_t selector, const SMChar16 *source)
{
  const qv::ExportBracket bracket;
  return ClearSMLog(selector, source);
}
