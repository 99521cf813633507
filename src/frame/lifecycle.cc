// Attach and detach, the loader's hooks and the fork handlers: the only file that knows in which order the rooms of the
// library are opened and closed.
//
// Promises: loading succeeds whatever the attach does, prints nothing, starts nothing and leaves errno alone; the first
// attach and the last detach hold the global file lock from their first step to their last.
// Leaves to the caller: serializing explicit attaches and detaches.

#include <pthread.h>

#include <cerrno>
#include <iterator>

#include "base/alias.h"
#include "base/status.h"
#include "frame/lock/file_guard.h"
#include "log/system_log.h"
#include "os/ipc/ipc_file.h"
#include "qvsupt32/frame.h"
#include "qvsupt32/network.h"
#include "qvsupt32/os.h"
#include "qvsupt32/os_objects.h"
#include "qvsupt32/paths.h"

int32_t modAttachCount = 0;
SMBool modExitingFlag = 0;
SMBool modDetachFlag = 1;
SMBool modDaemonParentFlag = 0;

namespace {

/// The IPC name of the global file lock, before the base of the site is added.
constexpr uint32_t kFileLockOffset = 20000;

/// What is set up and torn down while the global file lock is held.
struct Step {
  bool (*attach)();
  void (*detach)();
  bool keptByFailedAttach;  // stays when a later step fails, for the next attach to find
};

/// In the order of attaching. Detaching runs it backwards.
constexpr Step kSteps[] = {
    {.attach =
         [] {
           SUPTMiscInitInstallPathCache();
           return true;
         },
     .detach = SUPTMiscFreeInstallPathCache,
     .keptByFailedAttach = true},
    {.attach = [] { return LoadIPSupt() == SM_STATUS_SUCCESS; },
     .detach = [] { (void)UnLoadIPSupt(); },  // it is loaded, unless a caller unloaded it
     .keptByFailedAttach = false},
    {.attach = [] { return OSSyncInfoAttach() != 0; }, .detach = OSSyncInfoDetach, .keptByFailedAttach = false},
    {.attach = [] { return OSCriticalSectionAttach() != 0; },
     .detach = OSCriticalSectionDetach,
     .keptByFailedAttach = false},
};

/// Runs the steps in order. On a failure those before it are undone, the last one first.
bool attachSteps()
{
  for (const Step *step = std::begin(kSteps); step != std::end(kSteps); ++step) {
    if (step->attach()) {
      continue;
    }
    while (step != std::begin(kSteps)) {
      --step;
      if (!step->keptByFailedAttach) {
        step->detach();
      }
    }
    return false;
  }
  return true;
}

void detachSteps()
{
  for (auto step = std::rbegin(kSteps); step != std::rend(kSteps); ++step) {
    step->detach();
  }
}

void giveUpFileLock()
{
  (void)ReleaseGlobalMutex(hGFileLock);  // where it fails, the lock goes with the file or the process
  DestroyGlobalMutex(hGFileLock);
  hGFileLock = 0;
}

/// Fork handler of the child. The threads that were inside the gates are the parent's. The gates would find that out by
/// the number of the process, but a descendant may have been given the number of that parent.
void clearGates()
{
  qv::clearIpcGate();
  qv::clearFileGate();
  qv::log::clearGate();
}

[[gnu::constructor]] void load()
{
  const int kept = errno;
  // Without the handlers, if memory is short, a daemon's parent detaches at its exit; everything else works.
  (void)pthread_atfork(nullptr, ModuleParentAfterFork, ModuleChildAfterFork);
  (void)pthread_atfork(nullptr, nullptr, clearGates);
  (void)ModuleAttach();  // a library that could not attach stays loaded and answers every file operation
  errno = kept;
}

[[gnu::destructor]] void unload()
{
  if (modDaemonParentFlag == 0) {
    (void)ModuleDetach();  // there may be nothing attached
  }
}

}  // namespace

uint32_t ModuleAttach(void)
{
  if (modAttachCount >= 1) {
    ++modAttachCount;
    return 1;
  }
  OSGetExportContext(&origECI);
  modExitingFlag = 0;
  hGFileLock = CreateGlobalMutex(CreateIPCName(kFileLockOffset));
  if (hGFileLock == 0) {
    return 0;
  }
  (void)WaitForGlobalMutex(hGFileLock, SM_WAIT_FOREVER);  // an attach goes on without the lock rather than not at all
  if (!attachSteps()) {
    giveUpFileLock();
    return 0;
  }
  ++modAttachCount;
  (void)ReleaseGlobalMutex(hGFileLock);  // where it fails, the lock goes with the process
  return 1;
}

uint32_t ModuleDetach(void)
{
  if (modAttachCount < 1) {
    return 0;
  }
  if (--modAttachCount != 0) {
    return 1;
  }
  modExitingFlag = 1;
  (void)WaitForGlobalMutex(hGFileLock, SM_WAIT_FOREVER);  // a detach goes on without the lock rather than not at all
  detachSteps();
  giveUpFileLock();
  (void)CloseIPCFile();  // it always succeeds
  return 1;
}

void ModuleDoNotDetach(void)
{
  modDetachFlag = 0;
}

QV_ALIAS(SUPTBeforeForkForDaemon, ModuleDoNotDetach)

void ModuleParentAfterFork(void)
{
  if (modDetachFlag == 0) {
    modDaemonParentFlag = 1;
  }
  modDetachFlag = 1;
}

void ModuleChildAfterFork(void)
{
  modDetachFlag = 1;
}
