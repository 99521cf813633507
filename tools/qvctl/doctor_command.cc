// The `doctor` command: whether components on this machine can do their work, and what to do where they cannot. It waits
// for nothing, and changes nothing but that it may create the lock file, as any component would.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "command_line.h"
#include "files.h"
#include "install_path.h"
#include "json.h"
#include "lock_table.h"
#include "mutex_files.h"
#include "processes.h"
#include "qvsupt32/language.h"

namespace qvctl {
namespace {

constexpr uint64_t kLargestLog = 4194304;  // a component may set no larger maximum

class Doctor {
 public:
  explicit Doctor(Context &context) : context_(context) {}

  Exit examine()
  {
    checkDirectories();
    checkLockFile();
    checkLibrary();
    checkInstallPaths();
    checkLanguage();
    checkLogs();
    checkSystemV();
    return finish();
  }

 private:
  enum class State { ok, note, problem };

  struct Line {
    State state;
    std::string where;
    std::string what;
  };

  void ok(const std::string &where, const std::string &what) { lines_.push_back({State::ok, where, what}); }
  void note(const std::string &where, const std::string &what) { lines_.push_back({State::note, where, what}); }
  void problem(const std::string &where, const std::string &what) { lines_.push_back({State::problem, where, what}); }

  static bool isDirectory(const std::string &path)
  {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
  }

  /// A directory that exists: what others could do in it.
  void checkMode(const std::string &path)
  {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
      return;
    }
    char mode[16];
    snprintf(mode, sizeof mode, "mode %04o", static_cast<unsigned>(status.st_mode & 07777));
    if ((status.st_mode & S_IWOTH) != 0) {
      problem(path, std::string(mode) + ": every user can replace files in it; chmod o-w it");
    } else {
      ok(path, mode);
    }
  }

  void checkDirectories()
  {
    const bool shared = exists("/etc/tallowmere/shared");
    if (shared) {
      checkMode("/etc/tallowmere/shared");
    }
    if (isDirectory(kMutexDirectory)) {
      checkMode(kMutexDirectory);
    } else if (shared) {
      note(kMutexDirectory, "missing: named mutexes cannot be made until it is created");
    } else {
      problem(kMutexDirectory, "missing: no component can attach the library until it is created (mkdir -p)");
    }
  }

  void checkLockFile()
  {
    const std::string path = lockFilePath();
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
      note(path, std::string(strerror(errno)) + ": the first component that attaches the library creates it");
    } else if (!S_ISREG(status.st_mode)) {
      problem(path, "is no regular file: it cannot be locked; remove it while no component runs");
    } else {
      ok(path, "the file lock is its byte " + std::to_string(fileLockRecord()));
    }
    if (fileLockRecord() == 0) {
      problem("/etc/vela.conf", "its ipcnamebase makes the file lock's number 0: no component can attach the library");
    }
    checkOtherLockFile(path);
  }

  /// The choice of the lock file is made once in a process: those that started before the shared directory existed
  /// do not exclude those that started after it.
  void checkOtherLockFile(const std::string &path)
  {
    const std::string other = std::string(kMutexDirectory) + "/.velaipc";
    struct stat status;
    if (other == path || stat(other.c_str(), &status) != 0) {
      return;
    }
    for (const pid_t process : openersOf(status.st_dev, status.st_ino)) {
      problem(other, "process " + std::to_string(process) + " (" + commandLineOf(process) +
                         ") still locks this file instead of " + path + "; restart it");
    }
  }

  std::string holderOfFileLock()
  {
    struct stat status;
    const std::string path = lockFilePath();
    const auto byte = static_cast<uint64_t>(fileLockRecord());
    if (lstat(path.c_str(), &status) == 0) {
      for (const LockEntry &entry : locksOn(path, status)) {
        if (entry.record && !entry.waiting && entry.first <= byte && byte <= entry.last) {
          return "process " + std::to_string(entry.process) + " (" + commandLineOf(entry.process) + ")";
        }
      }
    }
    return "another process";
  }

  void checkLibrary()
  {
    const int error = context_.lock.tryTake();
    if (error == EAGAIN) {
      note("library",
           "not loaded, since its attach would wait for the file lock, which " + holderOfFileLock() + " has");
      return;
    }
    try {
      context_.library.load();
    } catch (const Failure &failure) {
      problem("library", std::string(failure.what()) + "; install it, or name its directory in LD_LIBRARY_PATH");
      return;
    }
    char *const real = realpath(context_.library.path().c_str(), nullptr);
    ok("library", real == nullptr ? context_.library.path() : real);
    free(real);
    const auto *const attached = static_cast<const int32_t *>(context_.library.find("modAttachCount"));
    if (attached != nullptr && *attached > 0) {
      ok("attach", "the library attached");
    } else if (error == EACCES || error == EPERM) {
      problem("attach", lockFilePath() + ": " + strerror(error) + "; components have to run as root");
    } else {
      problem("attach", "failed" + (error == 0 ? "" : ": " + lockFilePath() + ": " + strerror(error)) +
                            "; every operation on a file answers 11 (SM_STATUS_LOCK_FAILED)");
    }
  }

  void checkInstallPaths()
  {
    const std::string path = installPath();
    if (path.empty()) {
      problem("product 35", "velainstallpath names a directory of more than 254 bytes: there is no install directory");
    } else if (!isDirectory(path)) {
      problem("product 35", path + " is no directory: settings, texts and logs of the product are not found");
    } else {
      ok("product 35", path);
      if (path != kMutexDirectory) {
        checkMode(path);
      }
      checkProductDirectory(path + "/ini");
      checkProductDirectory(path + "/log");
      if (isDirectory(path + "/log") && access((path + "/log").c_str(), W_OK) != 0) {
        note(path + "/log", "this user may not write events");
      }
      if (!exists(path + "/ini/qvunidat.txt")) {
        note(path + "/ini/qvunidat.txt", "missing: string resources have no texts");
      }
    }
    for (const Product &product : {kCorvane, kRoot}) {
      const std::string directory = installPath(product);
      const std::string where = std::string("product ") + (product.name == kCorvane.name ? "34" : "1");
      if (isDirectory(directory)) {
        ok(where, directory);
      } else {
        note(where, directory + " is no directory: not installed");
      }
    }
  }

  void checkProductDirectory(const std::string &path)
  {
    if (isDirectory(path)) {
      checkMode(path);
    } else if (path.ends_with("/log")) {
      problem(path, "missing: no event is logged until it is created");
    } else {
      note(path, "missing: the first setting that is written creates it");
    }
  }

  void checkLanguage()
  {
    const char *const name = getenv("LANG");
    const std::string result =
        std::to_string(GetLocalLanguageID()) + " (" + GetLocaleNameFromLangID(GetLocalLanguageID()) + ")";
    uint32_t unknown = 0;
    if (name == nullptr) {
      ok("language", result + ", since LANG is not set");
    } else if (GetLangIDFromLocaleName(name, &unknown); unknown == 0) {
      ok("language", result + ", from LANG=" + name);
    } else {
      note("language", result + ", since LANG=" + name + " is none of the names that are known, such as de or en_US");
    }
  }

  void checkLogs()
  {
    const std::string directory = installPath() + "/log/";
    for (const char *name : {"qvsys32.log", "qvsys32.lo_", "qvsys32.xml", "qvsys32.xm_"}) {
      struct stat status;
      const std::string path = directory + name;
      if (stat(path.c_str(), &status) != 0) {
        continue;
      }
      const auto size = static_cast<uint64_t>(status.st_size);
      if (!S_ISREG(status.st_mode)) {
        problem(path, "is no regular file: remove it");
      } else if (size > kLargestLog) {
        note(path, std::to_string(size) + " bytes: larger than any component lets it grow");
      } else {
        ok(path, std::to_string(size) + " bytes");
      }
    }
  }

  static uint64_t linesAfterTitle(const char *path, uint64_t *sumOfField = nullptr, unsigned field = 0)
  {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    uint64_t lines = 0;
    while (std::getline(file, line)) {
      ++lines;
      if (sumOfField != nullptr) {
        const char *at = line.c_str();
        char *end = nullptr;
        uint64_t value = 0;
        for (unsigned i = 0; i <= field; ++i) {
          value = strtoull(at, &end, 0);
          at = end;
        }
        *sumOfField += value;
      }
    }
    return lines;
  }

  void checkUse(const std::string &where, uint64_t used, uint64_t limit, const char *setting)
  {
    const std::string what = std::to_string(used) + " of " + std::to_string(limit) + " used";
    if (used >= limit - limit / 10) {
      problem(where, what + ": creating objects fails at the limit; raise " + setting);
    } else {
      ok(where, what);
    }
  }

  void checkSystemV()
  {
    uint64_t perSet = 0;
    uint64_t semaphores = 0;
    uint64_t operations = 0;
    uint64_t sets = 0;
    if (std::ifstream("/proc/sys/kernel/sem") >> perSet >> semaphores >> operations >> sets) {
      uint64_t used = 0;
      constexpr unsigned kSemaphoresField = 3;
      checkUse("semaphore sets", linesAfterTitle("/proc/sysvipc/sem", &used, kSemaphoresField), sets, "kernel.sem");
      checkUse("semaphores", used, semaphores, "kernel.sem");
    }
    uint64_t segments = 0;
    if (std::ifstream("/proc/sys/kernel/shmmni") >> segments) {
      checkUse("segments", linesAfterTitle("/proc/sysvipc/shm"), segments, "kernel.shmmni");
    }
  }

  Exit finish()
  {
    Json findings = Json::array();
    Json checks = Json::array();
    for (const auto &[state, where, what] : lines_) {
      if (state == State::problem) {
        findings.push_back({{"where", where}, {"what", what}});
      }
      checks.push_back({{"where", where}, {"state", nameOf(state)}, {"what", what}});
    }
    if (context_.json) {
      printJson(context_.output, {{"ok", findings.empty()}, {"findings", findings}, {"checks", checks}});
    } else {
      for (const auto &[state, where, what] : lines_) {
        context_.output.line(coloured(state) + ": " + showControls(where + ": " + what));
      }
    }
    return findings.empty() ? Exit::done : Exit::findings;
  }

  static std::string nameOf(State state)
  {
    return state == State::ok ? "ok" : state == State::note ? "note" : "problem";
  }

  static std::string coloured(State state)
  {
    if (!Output::colours()) {
      return nameOf(state);
    }
    const char *const colour = state == State::ok ? "\x1b[32m" : state == State::note ? "\x1b[33m" : "\x1b[31m";
    return colour + nameOf(state) + "\x1b[0m";
  }

  Context &context_;
  std::vector<Line> lines_;
};

}  // namespace

void addDoctorCommand(CommandLine &commands, Context &context)
{
  commands
      .command("doctor", "Check that components can work on this machine, and print what to do where they cannot",
               "qvctl doctor")
      .run([&context] { return Doctor(context).examine(); });
}

}  // namespace qvctl
