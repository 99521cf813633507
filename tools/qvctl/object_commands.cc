// The `objects` commands: what exists of named mutexes, semaphores, events and segments, and removing what dead
// processes left. Nothing here loads the library or takes the file lock.

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "command_line.h"
#include "ipc_key.h"
#include "json.h"
#include "lock_table.h"
#include "mutex_files.h"
#include "processes.h"

namespace qvctl {
namespace {

// Semaphore sets ------------------------------------------------------------------------------------------------------

/// A set of one semaphore. A named semaphore, a named event and the guard of a segment look alike.
struct SemaphoreSet {
  int id = -1;
  int count = 0;
  bool manualReset = false;  // a living process marks it as an event of that mode
};

/// The marker of a manual-reset event is a record in the lock file, at the set's identifier, that its creator holds.
bool hasEventMarker(int id)
{
  static const int lockFile = open(lockFilePath().c_str(), O_RDONLY | O_CLOEXEC);  // stays open, see file_lock.h
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = id;
  lock.l_len = 1;
  return lockFile >= 0 && fcntl(lockFile, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

std::optional<SemaphoreSet> findSet(const std::string &name)
{
  SemaphoreSet set;
  set.id = semget(ipcKeyOf(name), 0, 0);
  if (set.id < 0) {
    return std::nullopt;
  }
  set.count = semctl(set.id, 0, GETVAL);
  if (set.count < 0) {
    throw systemFailure(name, errno);
  }
  set.manualReset = hasEventMarker(set.id);
  return set;
}

void removeSet(const std::string &name, const SemaphoreSet &set)
{
  if (semctl(set.id, 0, IPC_RMID) != 0 && errno != EIDRM && errno != EINVAL) {
    throw systemFailure(name, errno);
  }
}

// Segments ------------------------------------------------------------------------------------------------------------

struct Segment {
  int id = -1;
  uint64_t size = 0;
  uint64_t attached = 0;
  pid_t creator = 0;
  std::optional<SemaphoreSet> guard;

  /// The guard is taken for as long as the process lives that made the segment, or took it over.
  bool creatorLives() const { return guard ? guard->count <= 0 : isAlive(creator); }
};

std::optional<Segment> findSegment(const std::string &name)
{
  Segment segment;
  segment.id = shmget(ipcKeyOf(name), 0, 0);
  if (segment.id < 0) {
    return std::nullopt;
  }
  struct shmid_ds status;
  if (shmctl(segment.id, IPC_STAT, &status) != 0) {
    throw systemFailure(name, errno);
  }
  segment.size = status.shm_segsz;
  segment.attached = status.shm_nattch;
  segment.creator = status.shm_cpid;
  segment.guard = findSet(name);
  return segment;
}

/// Takes a free guard, so that nobody makes the segment anew meanwhile; this program's end would give it back.
bool takeGuard(const SemaphoreSet &guard)
{
  struct sembuf take = {0, -1, IPC_NOWAIT | SEM_UNDO};
  return semop(guard.id, &take, 1) == 0;
}

void giveGuardBack(const SemaphoreSet &guard)
{
  struct sembuf give = {0, 1, IPC_NOWAIT | SEM_UNDO};
  (void)semop(guard.id, &give, 1);  // the kernel does it at the end otherwise
}

// Mutexes -------------------------------------------------------------------------------------------------------------

struct Mutex {
  std::string path;
  struct stat file = {};
};

/// The lock file of that name; it is empty, unlike what else may have such a name.
std::optional<Mutex> findMutex(const std::string &name)
{
  Mutex mutex;
  mutex.path = mutexPath(name);
  if (mutex.path.empty() || isLockFileName(name) || lstat(mutex.path.c_str(), &mutex.file) != 0 ||
      !S_ISREG(mutex.file.st_mode) || mutex.file.st_size != 0) {
    return std::nullopt;
  }
  return mutex;
}

std::vector<pid_t> holdersOf(const Mutex &mutex)
{
  std::vector<pid_t> holders;
  for (const LockEntry &entry : locksOn(mutex.path, mutex.file)) {
    if (!entry.record && !entry.waiting) {
      holders.push_back(entry.process);
    }
  }
  return holders;
}

/// Whether no process has the lock file open, which stays so until the descriptor is closed: a lease is given out only
/// then, and makes others wait. Where there are no leases, what /proc shows has to do.
bool isUnused(const Mutex &mutex, int descriptor)
{
  signal(SIGIO, SIG_IGN);  // somebody wants the file: no reason to die
  if (fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0) {
    return true;
  }
  return errno != EAGAIN && flock(descriptor, LOCK_EX | LOCK_NB) == 0 &&
         openersOf(mutex.file.st_dev, mutex.file.st_ino).empty();
}

// Listing -------------------------------------------------------------------------------------------------------------

std::string joined(const std::vector<pid_t> &processes)
{
  std::string text;
  for (const pid_t process : processes) {
    text += (text.empty() ? "" : " ") + std::to_string(process);
  }
  return text;
}

void listMutex(Context &context, Json &all, const std::string &name, const Mutex &mutex)
{
  const std::vector<pid_t> holders = holdersOf(mutex);
  const std::vector<pid_t> openers = openersOf(mutex.file.st_dev, mutex.file.st_ino);
  if (context.json) {
    all.push_back({{"name", name}, {"kind", "mutex"}, {"path", mutex.path}, {"held", holders}, {"open", openers}});
    return;
  }
  context.output.line(showControls("mutex " + name + ": " + mutex.path +
                                   (holders.empty() ? ", free" : ", held by " + joined(holders)) +
                                   (openers.empty() ? "" : ", open in " + joined(openers))));
}

void listSegment(Context &context, Json &all, const std::string &name, const Segment &segment)
{
  if (context.json) {
    Json object = {{"name", name},
                   {"kind", "segment"},
                   {"key", keyText(ipcKeyOf(name))},
                   {"id", segment.id},
                   {"size", segment.size},
                   {"attached", segment.attached},
                   {"creator", segment.creator},
                   {"creatorAlive", segment.creatorLives()}};
    if (segment.guard) {
      object["guard"] = {{"id", segment.guard->id}, {"count", segment.guard->count}};
    }
    all.push_back(std::move(object));
    return;
  }
  context.output.line(showControls(
      "segment " + name + ": key " + keyText(ipcKeyOf(name)) + ", id " + std::to_string(segment.id) + ", " +
      std::to_string(segment.size) + " bytes, " + std::to_string(segment.attached) + " attached, creator " +
      std::to_string(segment.creator) + (segment.creatorLives() ? " alive" : " not alive") +
      (segment.guard ? ", guard " + std::to_string(segment.guard->count) : ", no guard")));
}

void listSet(Context &context, Json &all, const std::string &name, const SemaphoreSet &set)
{
  const char *const kind = set.manualReset ? "event" : "semaphore or event";
  if (context.json) {
    all.push_back(
        {{"name", name}, {"kind", kind}, {"key", keyText(ipcKeyOf(name))}, {"id", set.id}, {"count", set.count}});
    return;
  }
  context.output.line(showControls(std::string(kind) + " " + name + ": key " + keyText(ipcKeyOf(name)) + ", id " +
                                   std::to_string(set.id) + ", count " + std::to_string(set.count)));
}

Exit list(Context &context, const std::vector<std::string> &names)
{
  Json all = Json::array();
  for (const std::string &name : names.empty() ? mutexNames() : names) {
    if (const std::optional<Mutex> mutex = findMutex(name)) {
      listMutex(context, all, name, *mutex);
    }
    if (names.empty()) {
      continue;
    }
    if (const std::optional<Segment> segment = findSegment(name)) {
      listSegment(context, all, name, *segment);
    } else if (const std::optional<SemaphoreSet> set = findSet(name)) {
      listSet(context, all, name, *set);
    }
  }
  if (context.json) {
    printJson(context.output, all);
  }
  return Exit::done;
}

// Cleaning ------------------------------------------------------------------------------------------------------------

class Cleaner {
 public:
  Cleaner(Context &context, bool dryRun, bool force) : context_(context), dryRun_(dryRun), force_(force) {}

  void clean(const std::string &name)
  {
    bool found = false;
    if (isLockFileName(name)) {
      kept(name, "mutex", "its file is the library's lock file");
      found = true;
    } else if (const std::optional<Mutex> mutex = findMutex(name)) {
      cleanMutex(name, *mutex);
      found = true;
    }
    if (const std::optional<Segment> segment = findSegment(name)) {
      cleanSegment(name, *segment);
      found = true;
    } else if (const std::optional<SemaphoreSet> set = findSet(name)) {
      cleanSet(name, *set);
      found = true;
    }
    if (!found) {
      missing_ = true;
      complain(libraryFailure(name, SM_STATUS_NOT_FOUND).what());
    }
  }

  Exit finish()
  {
    if (context_.json) {
      printJson(context_.output, all_);
    }
    return keptAny_ || missing_ ? Exit::failed : Exit::done;
  }

 private:
  void removed(const std::string &name, const char *kind)
  {
    if (context_.json) {
      all_.push_back({{"name", name}, {"kind", kind}, {"action", dryRun_ ? "would remove" : "removed"}});
    } else {
      context_.output.line(showControls((dryRun_ ? "would remove " : "removed ") + std::string(kind) + " " + name));
    }
  }

  void kept(const std::string &name, const char *kind, const std::string &why)
  {
    keptAny_ = true;
    if (context_.json) {
      all_.push_back({{"name", name}, {"kind", kind}, {"action", "kept"}, {"why", why}});
    }
    complain(name + ": " + kind + " kept: " + why);
  }

  void cleanMutex(const std::string &name, const Mutex &mutex)
  {
    const int descriptor = open(mutex.path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0 && errno != EWOULDBLOCK) {
      throw systemFailure(mutex.path, errno);
    }
    if (descriptor < 0 || !isUnused(mutex, descriptor)) {
      const std::vector<pid_t> openers = openersOf(mutex.file.st_dev, mutex.file.st_ino);
      kept(name, "mutex", openers.empty() ? "a process has it open" : "open in " + joined(openers));
    } else if (!dryRun_ && unlink(mutex.path.c_str()) != 0) {
      throw systemFailure(mutex.path, errno);
    } else {
      removed(name, "mutex");
    }
    close(descriptor);
  }

  void cleanSegment(const std::string &name, const Segment &segment)
  {
    if (segment.attached != 0) {
      kept(name, "segment", std::to_string(segment.attached) + " attached");
    } else if (segment.creatorLives()) {
      kept(name, "segment", "its creator is alive");
    } else if (dryRun_) {
      removed(name, "segment");
    } else {
      removeSegment(name, segment);
    }
  }

  void removeSegment(const std::string &name, const Segment &segment)
  {
    if (segment.guard && !takeGuard(*segment.guard)) {
      kept(name, "segment", "its creator is alive");
      return;
    }
    struct shmid_ds status;
    if (shmctl(segment.id, IPC_STAT, &status) == 0 && status.shm_nattch != 0) {  // since it was looked at
      if (segment.guard) {
        giveGuardBack(*segment.guard);
      }
      kept(name, "segment", std::to_string(status.shm_nattch) + " attached");
      return;
    }
    if (shmctl(segment.id, IPC_RMID, nullptr) != 0) {
      throw systemFailure(name, errno);
    }
    if (segment.guard) {
      removeSet(name, *segment.guard);
    }
    removed(name, "segment");
  }

  void cleanSet(const std::string &name, const SemaphoreSet &set)
  {
    if (set.manualReset) {
      kept(name, "event", "its creator is alive");
    } else if (!force_) {
      kept(name, "semaphore or event", "nothing shows whether it is in use; --force removes it");
    } else {
      if (!dryRun_) {
        removeSet(name, set);
      }
      removed(name, "semaphore or event");
    }
  }

  Context &context_;
  bool dryRun_;
  bool force_;
  bool keptAny_ = false;
  bool missing_ = false;
  Json all_ = Json::array();
};

struct Options {
  std::vector<std::string> names;
  bool dryRun = false;
  bool force = false;
};

Exit clean(Context &context, const Options &options)
{
  Cleaner cleaner(context, options.dryRun, options.force);
  for (const std::string &name : options.names) {
    cleaner.clean(name);
  }
  return cleaner.finish();
}

}  // namespace

void addObjectCommands(CommandLine &commands, Context &context)
{
  commands.group("objects", "Named mutexes, semaphores, events and segments");
  const auto options = std::make_shared<Options>();
  commands
      .command("objects list", "Print the named mutexes, or what exists under names", "qvctl objects list inventory")
      .arguments("NAME", options->names, false, "A name that components use; without any, all mutexes are listed")
      .run([&context, options] { return list(context, options->names); });
  commands.command("objects clean", "Remove what no living process has", "qvctl objects clean inventory --dry-run")
      .arguments("NAME", options->names, true, "A name that components use")
      .flag("--dry-run", options->dryRun, "Only print what would be removed")
      .flag("--force", options->force, "Remove semaphores and events too, which do not show whether they are in use")
      .run([&context, options] { return clean(context, *options); });
}

}  // namespace qvctl
