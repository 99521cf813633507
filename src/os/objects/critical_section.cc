// Critical sections: plain ones, and those named by the routine that runs in them, kept in a registry while they are
// used.
//
// Lock order: the registry's lock is never held while a section is entered or a routine runs, and no section is held
// while the registry's lock is taken. So a routine may run others.
//
// Most calls are alone, and for the routine of the call before. Its section is kept, and such a call puts it into the
// empty registry and takes it out again without the lock: `mode` says who owns the registry. Every other call
// takes the lock and then the registry, also from a call that is alone, which then has to leave by the lock, too.

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <utility>

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

/// A section out of the registry, with the node that it had or will have there.
struct Retired {
  Section *section;
  qv::tree::Node *node;  // null if the tree has freed it
};

enum class Mode : uint32_t {
  empty,     // the registry is empty, and free to take
  alone,     // it holds the kept section alone, for a call that has not taken the lock
  changing,  // such a call is entering or leaving: a few instructions
  locked,    // it belongs to the holder of its lock
};

constinit std::atomic<Mode> mode{Mode::empty};

/// The section that was used last. With the registry it changes hands.
constinit Retired kept = {nullptr, nullptr};

/// Holds the registry, with its lock, for a scope.
class RegistryGuard {
 public:
  RegistryGuard()
  {
    (void)OSMutexLock(pOSCritSectRBTLock, SM_WAIT_FOREVER);  // a valid thread mutex can be locked
    for (Mode seen = mode.load(std::memory_order_acquire); seen != Mode::locked;) {
      if (seen == Mode::changing) {
        (void)usleep(1);  // not a spin: the call that changes it may have a lower priority
        seen = mode.load(std::memory_order_acquire);
      } else if (mode.compare_exchange_weak(seen, Mode::locked, std::memory_order_acquire)) {
        if (seen == Mode::alone) {
          kept = {};  // in the registry like every other one now
        }
        break;
      }
    }
  }

  ~RegistryGuard()
  {
    if (pOSCritSecRBTree == nullptr) {
      mode.store(Mode::empty, std::memory_order_release);
    }
    (void)OSMutexUnLock(pOSCritSectRBTLock);
  }

  RegistryGuard(const RegistryGuard &) = delete;
  RegistryGuard &operator=(const RegistryGuard &) = delete;
};

void *keyOf(OSRoutine routine)
{
  return reinterpret_cast<void *>(routine);
}

qv::tree::Place locate(OSRoutine routine)
{
  return qv::tree::locate<qv::tree::Fetch::none>(
      pOSCritSecRBTree, [routine](void *record) { return OSCriticalSectionRBTWalk(keyOf(routine), record); });
}

void discard(Retired retired)
{
  if (retired.section != nullptr) {
    OSDeleteCriticalSection(retired.section->mutex);
    *retired.section = {};
  }
  free(retired.section);
  SMRedBlackTreeNodeFree(retired.node);
}

/// The section of a routine that has none in the registry; null members if memory is short.
Retired obtainSection(OSRoutine routine)
{
  if (kept.section != nullptr && kept.section->routine == routine) {
    return std::exchange(kept, {});
  }
  qv::HeapBlock<Section> section(static_cast<Section *>(malloc(sizeof(Section))));
  if (section == nullptr) {
    return {};
  }
  *section = {routine, 0, OSInitCriticalSection()};
  return section->mutex == nullptr ? Retired{} : Retired{section.release(), nullptr};
}

/// Puts an unused section into the registry; null if memory is short.
Section *addSection(OSRoutine routine, const qv::tree::Place &place)
{
  Retired added = obtainSection(routine);
  if (added.section == nullptr) {
    return nullptr;
  }
  if (added.node == nullptr) {
    added.node = SMRedBlackTreeNodeAlloc(place.parent, added.section);
  }
  if (added.node == nullptr) {
    discard(added);
    return nullptr;
  }
  added.node->color = SM_TREE_RED;
  qv::tree::link(&pOSCritSecRBTree, added.node, place);
  return added.section;
}

/// Puts the kept section into the registry for a call that is alone. Null if it is another routine's, or the registry is
/// in use.
Section *joinAlone(OSRoutine routine)
{
  Mode expected = Mode::empty;
  if (!mode.compare_exchange_strong(expected, Mode::changing, std::memory_order_acquire)) {
    return nullptr;
  }
  Section *section = kept.section;
  if (kept.node == nullptr || section->routine != routine) {
    mode.store(Mode::empty, std::memory_order_release);
    return nullptr;
  }
  section->users = 1;
  pOSCritSecRBTree = kept.node;
  mode.store(Mode::alone, std::memory_order_release);
  return section;
}

/// Takes the section out again. False if another call has taken the registry meanwhile.
bool leaveAlone()
{
  Mode expected = Mode::alone;
  if (!mode.compare_exchange_strong(expected, Mode::changing, std::memory_order_acquire)) {
    return false;
  }
  pOSCritSecRBTree = nullptr;
  kept.section->users = 0;
  mode.store(Mode::empty, std::memory_order_release);
  return true;
}

/// Counts the caller in as a user of the routine's section; null if memory is short.
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
  Retired retired = {section, nullptr};
  qv::tree::Node *root = pOSCritSecRBTree;
  if (root != nullptr && root->data == section && root->left == nullptr && root->right == nullptr) {
    pOSCritSecRBTree = nullptr;
    retired.node = root;
  } else if (qv::tree::Node *node = locate(section->routine).found; node != nullptr) {
    // At the end of a process the registry may be detached under a thread. The node may stay, for its successor.
    (void)qv::tree::erase(&pOSCritSecRBTree, node);
  }
  discard(std::exchange(kept, retired));
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
  Section *section = joinAlone(routine);
  const bool alone = section != nullptr;
  if (!alone && (section = join(routine)) == nullptr) {
    return;
  }
  OSEnterCriticalSection(section->mutex);
  (void)routine(argument);  // its result has no meaning
  OSExitCriticalSection(section->mutex);
  if (!alone || !leaveAlone()) {
    leave(section);
  }
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
    discard(std::exchange(kept, {}));
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
