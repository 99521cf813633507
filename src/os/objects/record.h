// The records that handles point to: allocated with their kind and name, released by scope until they are handed out.
#pragma once

#include <cerrno>

#include "base/heap.h"
#include "base/status.h"
#include "qvsupt32/os_objects.h"

namespace qv {

/// A new record of the C++ type that has a kind's fields after an OSSyncInfo. Null if OSSyncInfoAlloc is.
template <class Record>
HeapBlock<Record> allocateRecord(const char *name)
{
  return HeapBlock<Record>(reinterpret_cast<Record *>(OSSyncInfoAlloc(name, sizeof(Record), Record::kKind)));
}

/// The same for an operation that has to have a name.
template <class Record>
HeapBlock<Record> allocateNamedRecord(const char *name)
{
  if (name == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  return allocateRecord<Record>(name);
}

/// The System V key of an object. Unnamed objects have the private key.
inline int32_t keyOf(const char *name)
{
  constexpr int32_t kPrivate = 0;  // IPC_PRIVATE
  return name == nullptr ? kPrivate : GetUniqueKeyFromStr(name);
}

/// Hands a finished record out as a handle.
template <class Record>
OSSyncInfo *handOut(HeapBlock<Record> &record)
{
  return &record.release()->info;
}

/// The record of a handle. Null for a null handle and for other kinds.
template <class Record>
Record *recordOf(OSSyncInfo *handle)
{
  return handle != nullptr && handle->kind == Record::kKind ? reinterpret_cast<Record *>(handle) : nullptr;
}

/// What a status function answers to a handle that is no record of the kind.
inline Status refusalOf(const OSSyncInfo *handle)
{
  return handle == nullptr ? Status::invalidParameter : Status::badType;
}

// The parts of SMHandleClose for objects that others may use. Other kinds are ignored.
void closeNamedMutex(OSSyncInfo *handle);
void closeSharedMemory(OSSyncInfo *handle);

}  // namespace qv
