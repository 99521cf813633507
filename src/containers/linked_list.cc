// Singly and doubly linked intrusive lists. A list links entries and never owns them.

#include <cstdlib>

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/containers.h"

namespace {

using qv::Status;

template <class List>
List *allocateList()
{
  auto *list = static_cast<List *>(malloc(sizeof(List)));
  if (list != nullptr) {
    *list = {};
  }
  return list;
}

template <class List>
void makeEmpty(List *list)
{
  if (list != nullptr) {
    *list = {};
  }
}

template <class Entry>
Entry *allocateEntry(uint32_t dataSize)
{
  if (dataSize > UINT32_MAX - sizeof(Entry)) {
    return nullptr;
  }
  auto *entry = static_cast<Entry *>(malloc(sizeof(Entry) + dataSize));
  if (entry != nullptr) {
    *entry = {};
    entry->data = dataSize == 0 ? nullptr : entry + 1;
  }
  return entry;
}

template <class Entry>
void freeEntry(Entry *entry)
{
  if (entry != nullptr) {
    // Volatile: the compiler drops a plain store to a block that is freed next.
    *const_cast<void *volatile *>(&entry->data) = nullptr;
    free(entry);
  }
}

/// The first entry from the head that the callback selects, and the one before it.
template <class Entry>
struct Found {
  Entry *previous;
  Entry *entry;
};

template <class Entry>
Found<Entry> find(Entry *head, void *key, SMListCallback callback)
{
  Found<Entry> found = {nullptr, head};
  while (found.entry != nullptr && callback(key, found.entry) != 0) {
    found = {found.entry, found.entry->next};
  }
  return found;
}

/// Where an ordered insert has to link: after `previous`, or at the head if it is null.
template <class Entry>
Status findPlace(Entry *head, void *key, SMListCallback compare, Entry *&previous)
{
  previous = nullptr;
  for (Entry *listed = head; listed != nullptr; listed = listed->next) {
    const int32_t order = compare(key, listed);
    if (order == 0) {
      return Status::alreadyExists;
    }
    if (order < 0) {
      break;
    }
    previous = listed;
  }
  return Status::success;
}

template <class List, class Entry>
bool anyNull(const List *list, const Entry *entry, const void *key, SMListCallback callback)
{
  return list == nullptr || entry == nullptr || key == nullptr || callback == nullptr;
}

}  // namespace

SLList *SLListAlloc(void)
{
  return allocateList<SLList>();
}

DLList *DLListAlloc(void)
{
  return allocateList<DLList>();
}

void SLListFree(SLList *list)
{
  free(list);
}

void DLListFree(DLList *list)
{
  free(list);
}

void SLListInitNoAlloc(SLList *list)
{
  makeEmpty(list);
}

void DLListInitNoAlloc(DLList *list)
{
  makeEmpty(list);
}

SLListEntry *SLListEntryAlloc(uint32_t dataSize)
{
  return allocateEntry<SLListEntry>(dataSize);
}

DLListEntry *DLListEntryAlloc(uint32_t dataSize)
{
  return allocateEntry<DLListEntry>(dataSize);
}

void SLListEntryFree(SLListEntry *entry)
{
  freeEntry(entry);
}

void DLListEntryFree(DLListEntry *entry)
{
  freeEntry(entry);
}

void SLListEntryInitNoAlloc(SLListEntry *entry)
{
  if (entry != nullptr) {
    entry->next = nullptr;
  }
}

void DLListEntryInitNoAlloc(DLListEntry *entry)
{
  if (entry != nullptr) {
    entry->next = nullptr;
    entry->previous = nullptr;
  }
}

void SLListInsertEntryAtHead(SLList *list, SLListEntry *entry)
{
  if (list == nullptr || entry == nullptr) {
    return;
  }
  if (list->tail == nullptr) {
    list->tail = entry;
  }
  entry->next = list->head;
  list->head = entry;
}

void DLListInsertEntryAtHead(DLList *list, DLListEntry *entry)
{
  if (list == nullptr || entry == nullptr) {
    return;
  }
  if (list->tail == nullptr) {
    list->tail = entry;
    entry->next = nullptr;
  } else {
    list->head->previous = entry;
    entry->next = list->head;
  }
  list->head = entry;
  entry->previous = nullptr;
}

void SLListInsertEntryAtTail(SLList *list, SLListEntry *entry)
{
  if (list == nullptr || entry == nullptr) {
    return;
  }
  if (list->head == nullptr) {
    list->head = entry;
  } else {
    list->tail->next = entry;
  }
  list->tail = entry;
  entry->next = nullptr;
}

void DLListInsertEntryAtTail(DLList *list, DLListEntry *entry)
{
  if (list == nullptr || entry == nullptr) {
    return;
  }
  if (list->head == nullptr) {
    list->head = entry;
    entry->previous = nullptr;
  } else {
    list->tail->next = entry;
    entry->previous = list->tail;
  }
  list->tail = entry;
  entry->next = nullptr;
}

uint32_t SLListInsertEntry(SLList *list, SLListEntry *entry, void *key, SMListCallback compare)
{
  if (anyNull(list, entry, key, compare)) {
    return qv::result(Status::invalidParameter);
  }
  SLListEntry *previous;
  const Status status = findPlace(list->head, key, compare, previous);
  if (status != Status::success) {
    return qv::result(status);
  }
  if (previous == nullptr) {
    SLListInsertEntryAtHead(list, entry);
  } else if (previous->next == nullptr) {
    SLListInsertEntryAtTail(list, entry);
  } else {
    entry->next = previous->next;
    previous->next = entry;
  }
  return qv::result(Status::success);
}

uint32_t DLListInsertEntry(DLList *list, DLListEntry *entry, void *key, SMListCallback compare)
{
  if (anyNull(list, entry, key, compare)) {
    return qv::result(Status::invalidParameter);
  }
  DLListEntry *previous;
  const Status status = findPlace(list->head, key, compare, previous);
  if (status != Status::success) {
    return qv::result(status);
  }
  if (previous == nullptr) {
    DLListInsertEntryAtHead(list, entry);
  } else if (previous->next == nullptr) {
    DLListInsertEntryAtTail(list, entry);
  } else {
    entry->next = previous->next;
    entry->previous = previous;
    previous->next->previous = entry;
    previous->next = entry;
  }
  return qv::result(Status::success);
}

SLListEntry *SLListWalkAtHead(SLList *list, void *context, SMListCallback callback)
{
  if (list == nullptr || context == nullptr || callback == nullptr) {
    return nullptr;
  }
  return find(list->head, context, callback).entry;
}

DLListEntry *DLListWalkAtHead(DLList *list, void *context, SMListCallback callback)
{
  if (list == nullptr || context == nullptr || callback == nullptr) {
    return nullptr;
  }
  return find(list->head, context, callback).entry;
}

DLListEntry *DLListWalkAtTail(DLList *list, void *context, SMListCallback callback)
{
  if (list == nullptr || context == nullptr || callback == nullptr) {
    return nullptr;
  }
  DLListEntry *entry = list->tail;
  while (entry != nullptr && callback(context, entry) != 0) {
    entry = entry->previous;
  }
  return entry;
}

SLListEntry *SLListReplaceEntry(SLList *list, SLListEntry *newEntry, void *key, SMListCallback callback)
{
  if (anyNull(list, newEntry, key, callback)) {
    return nullptr;
  }
  const auto [previous, old] = find(list->head, key, callback);
  if (old == nullptr) {
    return nullptr;
  }
  newEntry->next = old->next;
  (previous == nullptr ? list->head : previous->next) = newEntry;
  if (list->tail == old) {
    list->tail = newEntry;
  }
  return old;
}

DLListEntry *DLListReplaceEntry(DLList *list, DLListEntry *newEntry, void *key, SMListCallback callback)
{
  if (anyNull(list, newEntry, key, callback)) {
    return nullptr;
  }
  DLListEntry *old = find(list->head, key, callback).entry;
  if (old == nullptr) {
    return nullptr;
  }
  newEntry->next = old->next;
  newEntry->previous = old->previous;
  (old->previous == nullptr ? list->head : old->previous->next) = newEntry;
  (old->next == nullptr ? list->tail : old->next->previous) = newEntry;
  return old;
}

void SLListDeleteEntry(SLList *list, SLListEntry *previous, SLListEntry *entry)
{
  if (list == nullptr || entry == nullptr) {
    return;
  }
  (previous == nullptr ? list->head : previous->next) = entry->next;
  if (list->tail == entry) {
    list->tail = previous;
  }
}

void DLListDeleteEntry(DLList *list, DLListEntry *entry)
{
  if (list == nullptr || entry == nullptr) {
    return;
  }
  if (list->head == entry) {
    list->head = entry->next;
  }
  if (list->tail == entry) {
    list->tail = entry->previous;
  }
  if (entry->previous != nullptr) {
    entry->previous->next = entry->next;
  }
  if (entry->next != nullptr) {
    entry->next->previous = entry->previous;
  }
}

SLListEntry *SLListRemoveEntryAtHead(SLList *list)
{
  if (list == nullptr || list->head == nullptr) {
    return nullptr;
  }
  SLListEntry *taken = list->head;
  SLListDeleteEntry(list, nullptr, taken);
  return taken;
}

DLListEntry *DLListRemoveEntryAtHead(DLList *list)
{
  if (list == nullptr || list->head == nullptr) {
    return nullptr;
  }
  DLListEntry *taken = list->head;
  DLListDeleteEntry(list, taken);
  return taken;
}

SLListEntry *SLListRemoveEntryAtTail(SLList *list)
{
  if (list == nullptr || list->head == nullptr) {
    return nullptr;
  }
  SLListEntry *previous = nullptr;
  SLListEntry *taken = list->head;
  while (taken != list->tail) {
    previous = taken;
    taken = taken->next;
  }
  SLListDeleteEntry(list, previous, taken);
  return taken;
}

DLListEntry *DLListRemoveEntryAtTail(DLList *list)
{
  if (list == nullptr || list->tail == nullptr) {
    return nullptr;
  }
  DLListEntry *taken = list->tail;
  DLListDeleteEntry(list, taken);
  return taken;
}

SMBool SLListIsEmpty(const SLList *list)
{
  return list == nullptr || list->head == nullptr ? 1 : 0;
}

SMBool DLListIsEmpty(const DLList *list)
{
  return list == nullptr || list->head == nullptr ? 1 : 0;
}

int32_t SMSLListIsEmpty(const SLList *list)
{
  return SLListIsEmpty(list);
}

int32_t SMDLListIsEmpty(const DLList *list)
{
  return DLListIsEmpty(list);
}

QV_ALIAS(SMSLListAlloc, SLListAlloc)
QV_ALIAS(SMSLListFree, SLListFree)
QV_ALIAS(SMSLListInitNoAlloc, SLListInitNoAlloc)
QV_ALIAS(SMSLListEntryAlloc, SLListEntryAlloc)
QV_ALIAS(SMSLListEntryFree, SLListEntryFree)
QV_ALIAS(SMSLListEntryInitNoAlloc, SLListEntryInitNoAlloc)
QV_ALIAS(SMSLListInsertEntryAtHead, SLListInsertEntryAtHead)
QV_ALIAS(SMSLListInsertEntryAtTail, SLListInsertEntryAtTail)
QV_ALIAS(SMSLListInsertEntry, SLListInsertEntry)
QV_ALIAS(SMSLListWalkAtHead, SLListWalkAtHead)
QV_ALIAS(SMSLListReplaceEntry, SLListReplaceEntry)
QV_ALIAS(SMSLListDeleteEntry, SLListDeleteEntry)
QV_ALIAS(SMSLListRemoveEntryAtHead, SLListRemoveEntryAtHead)
QV_ALIAS(SMSLListRemoveEntryAtTail, SLListRemoveEntryAtTail)
QV_ALIAS(SMDLListAlloc, DLListAlloc)
QV_ALIAS(SMDLListFree, DLListFree)
QV_ALIAS(SMDLListInitNoAlloc, DLListInitNoAlloc)
QV_ALIAS(SMDLListEntryAlloc, DLListEntryAlloc)
QV_ALIAS(SMDLListEntryFree, DLListEntryFree)
QV_ALIAS(SMDLListEntryInitNoAlloc, DLListEntryInitNoAlloc)
QV_ALIAS(SMDLListInsertEntryAtHead, DLListInsertEntryAtHead)
QV_ALIAS(SMDLListInsertEntryAtTail, DLListInsertEntryAtTail)
QV_ALIAS(SMDLListInsertEntry, DLListInsertEntry)
QV_ALIAS(SMDLListWalkAtHead, DLListWalkAtHead)
QV_ALIAS(SMDLListWalkAtTail, DLListWalkAtTail)
QV_ALIAS(SMDLListReplaceEntry, DLListReplaceEntry)
QV_ALIAS(SMDLListDeleteEntry, DLListDeleteEntry)
QV_ALIAS(SMDLListRemoveEntryAtHead, DLListRemoveEntryAtHead)
QV_ALIAS(SMDLListRemoveEntryAtTail, DLListRemoveEntryAtTail)
