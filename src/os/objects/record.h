// Records behind handles: allocated with their kind and name, released by scope until they are handed out.
#pragma once

#include "base/heap.h"
#include "base/status.h"
#include "qvsupt32/os_objects.h"

namespace qv {

/// A new record of a kind, of the C++ type that has the kind's fields behind an OSSyncInfo; null where OSSyncInfoAlloc
/// is.
template <class Record>
HeapBlock<Record> allocateRecord(const char *name)
{
  return HeapBlock<Record>(reinterpret_cast<Record *>(OSSyncInfoAlloc(name, sizeof(Record), Record::kKind)));
}

/// Hands a finished record out as a handle.
template <class Record>
OSSyncInfo *handOut(HeapBlock<Record> &record)
{
  return &record.release()->info;
}

/// The record behind a handle; null for a null handle and for other kinds.
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

}  // namespace qv
