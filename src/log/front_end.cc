// One call for all logs: which logs a selector names, where their files lie, how large they may grow.

#include <cstdio>
#include <cstring>

#include "frame/export.h"
#include "frame/lock/file_guard.h"
#include "frame/lock/global_lock.h"
#include "log/log_file.h"
#include "qvsupt32/log.h"
#include "qvsupt32/paths.h"

uint32_t smUNITXTLogMaxSize = qv::log::kDefaultMaximumSize;
uint32_t smXMLLogMaxSize = qv::log::kDefaultMaximumSize;

const SMChar16 defaultUserInfo_en_US[13] = u"Local System";
const SMChar16 defaultSource_en_US[5] = u"VELA";

namespace {

using qv::Status;
namespace log = qv::log;

constexpr uint32_t kLargestMaximumSize = 4194304;
constexpr uint32_t kPathRoom = 256;

bool has(uint8_t selector, uint32_t log)
{
  return (selector & log) != 0;
}

Status forceXmlLog(const char *path)
{
  return static_cast<Status>(ForceXMLLogExists(path, defaultUserInfo_en_US, defaultSource_en_US));
}

/// Makes the path of a log file below the product's install directory.
Status makePath(const char *installPath, const char *fileName, char *path, uint32_t *size)
{
  const int length = snprintf(path, kPathRoom, "%s/log/%s", installPath, fileName);
  if (length < 0 || static_cast<uint32_t>(length) >= kPathRoom) {
    return Status::badArgument;
  }
  *size = static_cast<uint32_t>(length) + 1;
  return Status::success;
}

Status getPath(uint8_t selector, char *path, uint32_t *size)
{
  if (selector == 0) {
    return Status::badArgument;
  }
  if (has(selector, SMLOG_OSSYSLOG)) {
    return Status::notSupported;
  }
  if (*size < kPathRoom) {
    *size = kPathRoom;
    return Status::bufferTooSmall;
  }
  char installPath[kPathRoom];
  uint32_t installPathSize = sizeof(installPath);
  auto status = static_cast<Status>(SUPTMiscGetInstallPathByProductID(SM_PRODUCT_VELA, installPath, &installPathSize));
  if (status == Status::success && has(selector, SMLOG_UNITXT)) {
    status = makePath(installPath, "qvsys32.log", path, size);
  }
  if (status == Status::success && has(selector, SMLOG_XML)) {
    status = makePath(installPath, "qvsys32.xml", path, size);
    return status == Status::success ? forceXmlLog(path) : status;
  }
  return status;
}

Status getBackupPath(uint8_t selector, char *backup, uint32_t *size)
{
  char path[kPathRoom];
  uint32_t pathSize = sizeof(path);
  Status status = getPath(selector, path, &pathSize);
  if (status != Status::success || !has(selector, SMLOG_UNITXT | SMLOG_XML)) {
    return status;
  }
  status = static_cast<Status>(GetBackupXMLLogPathFileName(path, backup, size));
  return status == Status::success && has(selector, SMLOG_XML) ? forceXmlLog(backup) : status;
}

/// The maximum size that a selector names; null where it names no file.
uint32_t *maximumSizeOf(uint8_t selector)
{
  if (has(selector, SMLOG_UNITXT)) {
    return &smUNITXTLogMaxSize;
  }
  return has(selector, SMLOG_XML) ? &smXMLLogMaxSize : nullptr;
}

/// Calls use(maximum) for the maximum size that a selector names, under the lock.
template <class Use>
Status withMaximumSize(uint8_t selector, Use use)
{
  uint32_t *maximum = maximumSizeOf(selector);
  if (maximum == nullptr) {
    return Status::notSupported;
  }
  const qv::FileGuard guard(qv::kFileLockWait);
  if (!guard) {
    return Status::lockFailed;
  }
  use(*maximum);
  return Status::success;
}

uint32_t maximumSizeForAppend(uint8_t selector)
{
  uint32_t size;
  return GetSMLogMaxSize(selector, &size) == SM_STATUS_SUCCESS ? size : log::kDefaultMaximumSize;
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
  if (selector == 0) {
    return result(Status::badArgument);
  }
  return result(withMaximumSize(selector, [=](uint32_t maximum) { *maximumSize = maximum; }));
}

uint32_t SetSMLogMaxSize(uint8_t selector, uint32_t maximumSize)
{
  if (selector == 0) {
    return result(Status::badArgument);
  }
  if (maximumSize < log::kDefaultMaximumSize || maximumSize > kLargestMaximumSize) {
    return result(Status::invalidParameter);
  }
  return result(withMaximumSize(selector, [=](uint32_t &maximum) { maximum = maximumSize; }));
}

uint32_t AppendToSMLog(uint8_t selector, uint16_t eventType, uint32_t eventID, const SMChar16 *source,
                       const SMChar16 *description, const void *data, uint32_t dataSize)
{
  if (selector == 0) {
    return result(Status::badArgument);
  }
  if (has(selector, SMLOG_OSSYSLOG)) {
    (void)OSAppendToSysLog(eventType, eventID, source, description, data, dataSize);  // the files do without it
  }
  char path[kPathRoom];
  if (has(selector, SMLOG_UNITXT)) {
    uint32_t size = sizeof(path);
    if (const uint32_t status = GetSMLogPathFileName(SMLOG_UNITXT, path, &size); status != SM_STATUS_SUCCESS) {
      return status;
    }
    (void)AppendToUNITXTLog(path, eventType, eventID, source, description, data, dataSize,
                            maximumSizeForAppend(SMLOG_UNITXT));  // the XML log's status is the caller's
  }
  if (has(selector, SMLOG_XML)) {
    uint32_t size = sizeof(path);
    if (const uint32_t status = GetSMLogPathFileName(SMLOG_XML, path, &size); status != SM_STATUS_SUCCESS) {
      return status;
    }
    return AppendToXMLLog(path, eventType, eventID, nullptr, source, description, data, dataSize,
                          maximumSizeForAppend(SMLOG_XML));
  }
  return result(Status::success);
}

uint32_t ClearSMLog(uint8_t selector, const SMChar16 *source)
{
  if (selector == 0) {
    return result(Status::badArgument);
  }
  if (has(selector, SMLOG_OSSYSLOG)) {
    return result(Status::notSupported);
  }
  char path[kPathRoom];
  if (has(selector, SMLOG_UNITXT)) {
    uint32_t size = sizeof(path);
    uint32_t status = GetSMLogPathFileName(SMLOG_UNITXT, path, &size);
    if (status == SM_STATUS_SUCCESS) {
      status = ClearUNITXTLog(path, source);
    }
    if (status != SM_STATUS_SUCCESS) {
      return status;
    }
  }
  if (has(selector, SMLOG_XML)) {
    uint32_t size = sizeof(path);
    const uint32_t status = GetSMLogPathFileName(SMLOG_XML, path, &size);
    return status == SM_STATUS_SUCCESS ? ClearXMLLog(path, defaultUserInfo_en_US, source) : status;
  }
  return result(Status::success);
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
