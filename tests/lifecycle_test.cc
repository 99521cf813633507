// Loading and unloading: what attach and detach leave, in which order they work, what fails quietly, and which side of
// a fork detaches. The program is not linked with the library; each case loads it in a child of its own.

#include <dlfcn.h>
#include <sys/mman.h>

#include "support/test.h"

namespace {

using namespace support;

constexpr char kDirectory[] = "/etc/tallowmere/vela";
constexpr char kAside[] = "/etc/tallowmere/vela.aside";
constexpr char kShared[] = "/etc/tallowmere/shared";
constexpr char kConfigFile[] = "/etc/vela.conf";

/// A function or a variable of the library.
#define OF(library, name) (*reinterpret_cast<decltype(&name)>(dlsym((library).handle, #name)))

/// The library, loaded until unload().
struct Library {
  bool unload() const { return dlclose(handle) == 0; }

  /// Attach count, lock handle, exiting flag, whether the IPC file is open, records held.
  std::string state() const
  {
    std::ostringstream text;
    const std::string locks = recordLocks(getpid());
    text << OF(*this, modAttachCount) << " " << OF(*this, hGFileLock) << " " << OF(*this, modExitingFlag)
         << (OF(*this, l_ipc_fd) == -1 ? " closed" : " open") << (locks.empty() ? "" : " " + locks);
    return text.str();
  }

  /// The flag of the announcement and the flag of a daemon's parent.
  std::string flags() const
  {
    return std::to_string(OF(*this, modDetachFlag)) + " " + std::to_string(OF(*this, modDaemonParentFlag));
  }

  void *handle = dlopen(QVSUPT32_LIBRARY, RTLD_NOW);
};

constexpr char kAttached[] = "1 120000 0 open\n";
constexpr char kDetached[] = "0 0 1 closed\n";

/// Sends what is printed to a file of its own, which is returned.
int catchOutput()
{
  const int output = memfd_create("output", 0);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  return output;
}

TEST(Load, AttachesQuietlyAndUnloadsWithoutTrace)
{
  Child child([](Inside &inside) {
    const int output = catchOutput();
    const std::string descriptors = openDescriptors();
    for (int round = 0; round < 2; ++round) {
      errno = 4242;
      const Library library;
      inside.report("%d %s", errno, library.state().c_str());
      inside.report("%s %u", library.flags().c_str(), OF(library, origECI));
      inside.report({library.unload(), dlopen(QVSUPT32_LIBRARY, RTLD_NOW | RTLD_NOLOAD) == nullptr});
      std::ostringstream maps;
      maps << std::ifstream("/proc/self/maps").rdbuf();
      inside.report({maps.str().find("libqvsupt32") == std::string::npos, openDescriptors() == descriptors,
                     lseek(output, 0, SEEK_END)});
    }
    inside.report({Child([](Inside &) {}).wait()});  // a fork handler that outlived the library would be called here
  });
  const std::string round = std::string("4242 ") + kAttached + "1 0 0\n1 1\n1 1 0\n";
  EXPECT_EQ(child.report(), round + round + "0\n");
}

TEST(Load, FailedAttachLeavesTheLibraryUsable)
{
  const struct {
    std::function<void()> breakIt, mend;
    const char *path;
    std::string stateAfterMending;
  } rows[] = {
      {[] { fs::rename(kDirectory, kAside); }, [] { fs::rename(kAside, kDirectory); }, kIpcFile, kAttached},
      {[] { std::ofstream(kShared).put('x'); }, [] { fs::remove(kShared), fs::create_directory(kShared); },
       "/etc/tallowmere/shared/.sharedipc", kAttached},
      // The name of the lock is 0 then, which is none; the base stays.
      {[] { std::ofstream(kConfigFile) << "ipcnamebase=-20000"; }, [] { fs::remove(kConfigFile); }, "",
       "0 0 0 closed\n"},
  };
  for (const auto &row : rows) {
    Child child([&](Inside &inside) {
      row.breakIt();
      const int output = catchOutput();
      errno = 4242;
      const Library library;
      inside.report({errno, lseek(output, 0, SEEK_END)});
      const char *path = OF(library, l_ipc_filename);
      inside.report("%s %s", path == nullptr ? "" : path, library.state().c_str());
      const Fault sleeps(Call::usleep);
      inside.report({OF(library, FileLock)(0), OF(library, FileLock)(1), OF(library, FileUnlock)(), sleeps.calls()});
      inside.report({OF(library, ModuleDetach)(), OF(library, modAttachCount), OF(library, modExitingFlag) = 1});
      const uint32_t attached = OF(library, ModuleAttach)();
      inside.report("%u %s", attached, library.state().c_str());
      row.mend();
      OF(library, ModuleAttach)();
      inside.report("%s", library.state().c_str());
    });
    const std::string failed = "0 0 0 closed\n";
    EXPECT_EQ(child.report(), "4242 0\n" + std::string(row.path) + " " + failed + "0 0 -1 0\n0 0 1\n0 " + failed +
                                  row.stateAfterMending);
    fs::remove_all(kShared);
  }
}

TEST(AttachCount, LastDetachTearsDownAndALaterAttachSetsUp)
{
  std::ofstream(kConfigFile) << "ipcnamebase=5000\n";
  Child child([](Inside &inside) {
    const Library library;
    fs::remove(kConfigFile);
    const auto step = [&](decltype(ModuleAttach) *function) {
      const uint32_t result = function();
      inside.report("%u %s", result, library.state().c_str());
    };
    step(OF(library, ModuleAttach));
    step(OF(library, ModuleAttach));
    step(OF(library, ModuleDetach));
    step(OF(library, ModuleDetach));
    inside.report({OF(library, LockIPCFileRecord)(5, 0)});
    step(OF(library, ModuleDetach));
    step(OF(library, ModuleDetach));
    inside.report({OF(library, FileLock)(0), OF(library, FileLock)(1), OF(library, FileUnlock)()});
    step(OF(library, ModuleAttach));
    inside.report({OF(library, FileLock)(1), OF(library, FileUnlock)()});
  });
  EXPECT_EQ(child.report(),
            "1 2 25000 0 open\n1 3 25000 0 open\n1 2 25000 0 open\n1 1 25000 0 open\n0\n"
            "1 0 0 1 closed\n0 0 0 1 closed\n0 0 -1\n1 1 25000 0 open\n1 0\n");
}

TEST(AttachCount, InstallPathsAreKnownWhileAttachedAndKeptByAnAttachThatFails)
{
  setenv("velainstallpath", "/one", 1);
  Child child([](Inside &inside) {
    const Library library;
    SMInstallPath *&cache = OF(library, pGInstallPathList);
    const auto report = [&](uint32_t result) {
      inside.report("%u %u %s", result, OF(library, gInstallPathListCount),
                    cache == nullptr ? "none" : cache[1].installPath);
    };
    report(1);
    setenv("velainstallpath", "/two", 1);
    report(OF(library, ModuleAttach)());
    report(OF(library, ModuleDetach)());
    report(OF(library, ModuleDetach)());
    {
      // The first allocation of an attach is the cache; one later is a step's that fails it.
      const Fault fault(Call::allocation, 2, ENOMEM, true);
      report(OF(library, ModuleAttach)());
    }
    setenv("velainstallpath", "/three", 1);
    report(OF(library, ModuleAttach)());
    report(OF(library, ModuleDetach)());
    {
      const Fault fault(Call::allocation, 1);
      report(OF(library, ModuleAttach)());
    }
    report(OF(library, ModuleDetach)());
  });
  unsetenv("velainstallpath");
  EXPECT_EQ(child.report(),
            "1 3 /one\n1 3 /one\n1 3 /one\n1 0 none\n0 3 /two\n1 3 /two\n1 0 none\n1 0 none\n1 0 none\n")
      << "without memory for the paths the library attaches";
}

TEST(AttachCount, FirstAttachAndLastDetachHoldTheLock)
{
  Child child([](Inside &inside) {
    const Library library;
    const auto watch = [&](decltype(ModuleAttach) *function, Call call, unsigned nth) {
      const Fault watcher(call, nth, [&] { inside.report("%s", library.state().c_str()); });
      function();
    };
    watch(OF(library, ModuleDetach), Call::fcntl, 1);
    watch(OF(library, ModuleAttach), Call::fcntl, 1);
    watch(OF(library, ModuleDetach), Call::fcntl, 2);
    watch(OF(library, ModuleAttach), Call::fcntl, 2);
    watch(OF(library, ModuleDetach), Call::close, 1);
  });
  EXPECT_EQ(child.report(),
            "0 120000 1 open\n0 120000 0 open\n0 120000 1 open WRITE 120000 120000\n\n"
            "1 120000 0 open WRITE 120000 120000\n\n0 0 1 open\n");
}

TEST(AttachCount, FirstAttachAndLastDetachWaitForTheLockAndGoOnWithoutIt)
{
  for (const bool atUnload : {false, true}) {
    Child child([&](Inside &inside) {
      atUnload ? void() : inside.hold();
      const Library library;
      atUnload ? inside.hold() : void();
      inside.report({library.unload()});
    });
    ASSERT_TRUE(child.waitHeld());
    RecordHolder holder(kFileLockRecord);
    child.release();
    waitUntilBlocked(child.pid());
    holder.letGo();
    EXPECT_EQ(child.report(), "1\n");
  }
  Child child([](Inside &inside) {
    const Fault fault(Call::fcntl, 1, ENOLCK, true);
    const Library library;
    inside.report("%s", library.state().c_str());
    inside.report({OF(library, ModuleDetach)()});
    inside.report("%s", library.state().c_str());
  });
  EXPECT_EQ(child.report(), std::string(kAttached) + "1\n" + kDetached);
}

/// Unloads, and reports the flags and whether that detached.
void unloadAndReport(const Library &library, Inside &inside, const char *who)
{
  const std::string flags = library.flags();
  library.unload();
  const bool kept = openDescriptors().find("ipc") != std::string::npos;
  inside.report("%s %s %s", who, flags.c_str(), kept ? "kept" : "detached");
}

TEST(Fork, OnlyTheParentOfAnAnnouncedForkKeepsItsAttach)
{
  for (const char *announcement : {"SUPTBeforeForkForDaemon", "ModuleDoNotDetach", ""}) {
    const bool announced = *announcement != '\0';
    Child parent([&](Inside &inside) {
      const Library library;
      if (announced) {
        reinterpret_cast<decltype(&ModuleDoNotDetach)>(dlsym(library.handle, announcement))();
      }
      inside.report("%s", library.flags().c_str());
      Child child([&](Inside &insideChild) {
        Child grandchild([&](Inside &innermost) { unloadAndReport(library, innermost, "grandchild"); });
        insideChild.report("%s", grandchild.report().c_str());
        unloadAndReport(library, insideChild, "child");
      });
      inside.report("%s", child.report().c_str());
      Child later([&](Inside &insideLater) { unloadAndReport(library, insideLater, "later child"); });
      inside.report("%s", later.report().c_str());
      unloadAndReport(library, inside, "parent");
    });
    const std::string marked = announced ? "1 1 kept\n" : "1 0 detached\n";
    EXPECT_EQ(parent.report(), std::string(announced ? "0 0\n" : "1 0\n") +
                                   "grandchild 1 0 detached\n\nchild 1 0 detached\n\nlater child " + marked +
                                   "\nparent " + marked);
  }
}

}  // namespace
