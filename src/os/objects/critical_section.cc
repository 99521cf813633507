// Critical sections: plain ones, and those named by the routine that runs in them, kept in a registry while they are
// used.
//
// Lock order: the registry's lock is never held while a section is entered or a routine runs, and no section is held
// while the registry's lock is taken.

#include <cstdlib>

#include "base/alias.h"
#include "base/heap.h"
#include "base/stack.h"
#include "containers/red_black_tree.h"
#include "qvsupt32/os_objects.h"

OSSyncInfo *pOSCritSectRBTLock = nullptr;
SMRedBlackTreeNode *pOSCritSecRBTree = nullptr;

namespace {

struct Section {
  OSRoutine routine;
  int32_t users;  // calls that are inside or wait
  SMLocalMutex *mutex;
};

static_assert(sizeof(void *) != 4 || sizeof(Section) == 12);

/// Holds the registry's lock for a scope.
class RegistryGuard {
 public:
  RegistryGuard() { (void)OSMutexLock(pOSCritSectRBTLock, SM_WAIT_FOREVER); }  // a valid thread mutex can be locked
  ~RegistryGuard() { (void)OSMutexUnLock(pOSCritSectRBTLock); }
  RegistryGuard(const RegistryGuard &) = delete;
  RegistryGuard &operator=(const RegistryGuard &) = delete;
};

void *keyOf(OSRoutine routine)
{
  return reinterpret_cast<void *>(routine);
}

qv::tree::Place locate(OSRoutine routine)
{
  return qv::tree::locate(pOSCritSecRBTree,
                          [routine](void *record) { return OSCriticalSectionRBTWalk(keyOf(routine), record); });
}

/// A section that nobody uses yet, in the registry at the place of its routine; null when memory is short.
Section *addSection(OSRoutine routine, const qv::tree::Place &place)
{
  qv::HeapBlock<Section> section(static_cast<Section *>(malloc(sizeof(Section))));
  if (section == nullptr) {
    return nullptr;
  }
  *section = {routine, 0, OSInitCriticalSection()};
  if (section->mutex == nullptr) {
    return nullptr;
  }
  qv::tree::Node *node = SMRedBlackTreeNodeAlloc(place.parent, section.get());
  if (node == nullptr) {
    OSDeleteCriticalSection(section->mutex);
    return nullptr;
  }
  qv::tree::link(&pOSCritSecRBTree, node, place);
  return section.release();
}

/// Counts the caller in as a user of the routine's section; null when memory is short.
Section *join(OSRoutine routine)
{
  const RegistryGuard guard;
  const qv::tree::Place place = locate(routine);
  Section *section = place.found == nullptr ? addSection(routine, place) : static_cast<Section *>(place.found->data);
  if (section != nullptr) {
    ++section->users;
  }
  return section;
}

/// Counts the caller out; the last user takes the section out of the registry.
void leave(Section *section)
{
  const RegistryGuard guard;
  if (--section->users > 0) {
    return;
  }
  if (qv::tree::Node *node = locate(section->routine).found; node != nullptr) {
    qv::tree::erase(&pOSCritSecRBTree, node);  // a process that ends may have detached the registry under this thread
  }
  OSDeleteCriticalSection(section->mutex);
  *section = {};
  free(section);
}

}  // namespace

SMLocalMutex *OSInitCriticalSection(void)
{
  return CreateLocalMutex();
}

void OSEnterCriticalSection(SMLocalMutex *section)
{
  (void)WaitForLocalMutex(section, SM_WAIT_FOREVER);  // the contract reports no result
}

void OSExitCriticalSection(SMLocalMutex *section)
{
  (void)ReleaseLocalMutex(section);  // the contract reports no result
}

void OSDeleteCriticalSection(SMLocalMutex *section)
{
  DestroyLocalMutex(section);
}

QV_ALIGNS_STACK void OSCriticalSectionExecute(OSRoutine routine, uintptr_t argument, uint32_t timeout)
{
  if (routine == nullptr || timeout != SM_WAIT_FOREVER || pOSCritSectRBTLock == nullptr) {
    return;
  }
  Section *section = join(routine);
  if (section == nullptr) {
    return;
  }
  OSEnterCriticalSection(section->mutex);
  (void)routine(argument);  // its result has no meaning
  OSExitCriticalSection(section->mutex);
  leave(section);
}

SMBool OSCriticalSectionAttach(void)
{
  pOSCritSectRBTLock = OSMutexCreate(nullptr);
  if (pOSCritSectRBTLock == nullptr) {
    return 0;
  }
  const RegistryGuard guard;
  RedBlackTreeAttach(&pOSCritSecRBTree);
  return 1;
}

void OSCriticalSectionDetach(void)
{
  {
    const RegistryGuard guard;
    RedBlackTreeDetach(&pOSCritSecRBTree);
  }
  OSMutexDestroy(pOSCritSectRBTLock);
  pOSCritSectRBTLock = nullptr;
}

int32_t OSCriticalSectionRBTWalk(void *key, void *record)
{
  const auto sought = reinterpret_cast<uintptr_t>(key);
  const auto found = reinterpret_cast<uintptr_t>(static_cast<const Section *>(record)->routine);
  if (sought == found) {
    return 0;
  }
  return sought < found ? -1 : 1;
}

QV_ALIAS(SMCriticalSectionExecute, OSCriticalSectionExecute)
