// The XML log for the front end, which reads the maximum sizes of the logs under the lock of the append and makes sure
// of the log's existence with the same look at the file.
#pragma once

#include "base/status.h"
#include "log/event.h"

namespace qv::log {

/// AppendToXMLLog.
Status appendXmlEntry(const char *path, const Event &event, const uint32_t &maximumSize);

/// makeXmlLogExist and then appendXmlEntry, with one look at the file and one lock.
Status appendXmlEntryToStartedLog(const char *path, const Event &event, const uint32_t &maximumSize,
                                  const Event &firstEvent);

/// ClearXMLLog.
Status clearXmlLog(const char *path, const SMChar16 *userInfo, const SMChar16 *source);

/// ForceXMLLogExists.
Status makeXmlLogExist(const char *path, const Event &firstEvent);

}  // namespace qv::log
