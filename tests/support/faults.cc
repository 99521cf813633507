#include "support/faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <linux/futex.h>
#include <sys/auxv.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "support/disk_record.h"

namespace {

struct State {
  bool armed;
  unsigned nth;
  int error;
  bool forGood;
  const std::function<void()> *code;
  unsigned calls;
  bool struck;
  unsigned long slept;
};

thread_local State states[static_cast<size_t>(support::Call::count)];
std::atomic<long> blocks{0};

/// Counts a call, and says whether it has to fail.
bool strikes(support::Call call)
{
  State &state = states[static_cast<size_t>(call)];
  if (!state.armed) {
    return false;
  }
  ++state.calls;
  if (state.code != nullptr) {
    if (state.calls == state.nth) {
      (*state.code)();
    }
    return false;
  }
  if (state.nth == 0 || (state.forGood ? state.calls < state.nth : state.calls != state.nth)) {
    return false;
  }
  state.struck = true;
  errno = state.error;
  return true;
}

template <class Function>
Function *real(const char *name)
{
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/// syscall(2) without the C library: the sanitizers' runtime comes here too, also while it starts or reports, when
/// dlsym(3) must not be called.
long callKernel(long number, const long (&arguments)[6])
{
  long result;
#ifdef __i386__
  asm volatile(
      "push %%ebp\n\tpush %%ebx\n\tpush %%esi\n\tpush %%edi\n\t"
      "mov (%%edi), %%ebx\n\tmov 4(%%edi), %%ecx\n\tmov 8(%%edi), %%edx\n\tmov 12(%%edi), %%esi\n\t"
      "mov 20(%%edi), %%ebp\n\tmov 16(%%edi), %%edi\n\tint $0x80\n\t"
      "pop %%edi\n\tpop %%esi\n\tpop %%ebx\n\tpop %%ebp"
      : "=a"(result)
      : "0"(number), "D"(arguments)
      : "ecx", "edx", "memory", "cc");
#else
  register long fourth asm("r10") = arguments[3];
  register long fifth asm("r8") = arguments[4];
  register long sixth asm("r9") = arguments[5];
  asm volatile("syscall"
               : "=a"(result)
               : "0"(number), "D"(arguments[0]), "S"(arguments[1]), "d"(arguments[2]), "r"(fourth), "r"(fifth),
                 "r"(sixth)
               : "rcx", "r11", "memory", "cc");
#endif
  constexpr long kLargestError = 4095;
  if (result < 0 && result >= -kLargestError) {
    errno = static_cast<int>(-result);
    return -1;
  }
  return result;
}

/// Notes a sync that succeeded, and passes its result on.
int recordSync(int descriptor, int result)
{
  if (support::DiskRecord *const record = support::currentDiskRecord(); record != nullptr && result == 0) {
    record->synced(descriptor);
  }
  return result;
}

template <class Rename>
int recordRename(const char *from, const char *to, Rename rename)
{
  support::DiskRecord *const record = support::currentDiskRecord();
  const uint64_t file = record == nullptr ? 0 : record->fileAt(from);
  const int result = rename();
  if (file != 0 && result == 0) {
    record->renamed(from, to, file);
  }
  return result;
}

/// The same, looked up once: the heap is called often, also in the child of a process with threads.
template <class Function>
[[maybe_unused]] Function *realOnce(std::atomic<void *> &found, const char *name)
{
  void *function = found.load(std::memory_order_relaxed);
  if (function == nullptr) {
    function = dlsym(RTLD_NEXT, name);
    found.store(function, std::memory_order_relaxed);
  }
  return reinterpret_cast<Function *>(function);
}

/// Ends a test in which the library opens a file that a program inherits over exec(2), or a terminal that the process may
/// get as its own.
void requireFlags(const void *caller, const char *what, bool flagged)
{
  Dl_info module;
  if (!flagged && dladdr(caller, &module) != 0 && strstr(module.dli_fname, "/libqvsupt32.so") != nullptr) {
    fprintf(stderr, "%s is opened without its flags\n", what);
    abort();
  }
}

}  // namespace

namespace support {

Fault::Fault(Call call, unsigned nth, int error, bool forGood) : call_(call)
{
  states[static_cast<size_t>(call)] = {true, nth, error, forGood, nullptr, 0, false, 0};
}

Fault::Fault(Call call, unsigned nth, std::function<void()> code) : call_(call), code_(std::move(code))
{
  states[static_cast<size_t>(call)] = {true, nth, 0, false, &code_, 0, false, 0};
}

Fault::~Fault()
{
  states[static_cast<size_t>(call_)].armed = false;
}

unsigned Fault::calls() const
{
  return states[static_cast<size_t>(call_)].calls;
}

bool Fault::struck() const
{
  return states[static_cast<size_t>(call_)].struck;
}

unsigned long Fault::slept() const
{
  return states[static_cast<size_t>(call_)].slept;
}

long liveBlocks()
{
  return blocks.load();
}

}  // namespace support

using support::Call;

extern "C" {

// The heap. Under a sanitizer the real functions are the sanitizer's; otherwise they are looked up, so that valgrind can
// put its own in their place.
#ifdef QVSUPT32_SANITIZED
void *__interceptor_malloc(size_t);
void *__interceptor_calloc(size_t, size_t);
void *__interceptor_realloc(void *, size_t);
void __interceptor_free(void *);
#define QV_REAL(name) __interceptor_##name

[[gnu::weak]] void __lsan_ignore_object(const void *);

/// The path that the C library keeps for its locales is reachable only through memory of its own.
const char *__lsan_default_suppressions()
{
  return "leak:argz_add_sep\n";
}
const char *__lsan_default_options()
{
  return "print_suppressions=0";
}

/// The leak check takes what the dynamic loader allocates for reachable, and knows it by the caller of malloc. That is
/// the function below now, which therefore says it: _dl_map_object_deps keeps a list for each library that dlopen loads.
static void ignoreOfLoader(const void *block, const void *caller)
{
  const auto base = getauxval(AT_BASE);
  if (base == 0 || __lsan_ignore_object == nullptr) {
    return;
  }
  const auto offset = reinterpret_cast<uintptr_t>(caller) - base;
  const auto *header = reinterpret_cast<const ElfW(Ehdr) *>(base);
  const auto *segment = reinterpret_cast<const ElfW(Phdr) *>(base + header->e_phoff);
  for (int i = 0; i < header->e_phnum; ++i, ++segment) {
    if (segment->p_type == PT_LOAD && (segment->p_flags & PF_X) != 0 && offset - segment->p_vaddr < segment->p_memsz) {
      __lsan_ignore_object(block);
    }
  }
}
#else
#define QV_REAL(name) realOnce<decltype(name)>(found_##name, #name)

static std::atomic<void *> found_malloc;
static std::atomic<void *> found_calloc;
static std::atomic<void *> found_realloc;
static std::atomic<void *> found_free;

/// Before any test runs: dlerror(3) allocates in the middle of its work, and a look-up at that moment, which has an error
/// record of its own, would free what it goes on to write to.
[[gnu::constructor]] static void findHeap()
{
  (void)QV_REAL(malloc);
  (void)QV_REAL(calloc);
  (void)QV_REAL(realloc);
  (void)QV_REAL(free);
}

static void ignoreOfLoader(const void *, const void *) {}
#endif

static void *counted(void *block, const void *caller)
{
  if (block != nullptr) {
    ++blocks;
    ignoreOfLoader(block, caller);
  }
  return block;
}

void *malloc(size_t size)
{
  return strikes(Call::allocation) ? nullptr : counted(QV_REAL(malloc)(size), __builtin_return_address(0));
}

void *calloc(size_t count, size_t size)
{
  return strikes(Call::allocation) ? nullptr : counted(QV_REAL(calloc)(count, size), __builtin_return_address(0));
}

void *realloc(void *block, size_t size)
{
  if (strikes(Call::allocation)) {
    return nullptr;
  }
  void *moved = QV_REAL(realloc)(block, size);
  return block == nullptr ? counted(moved, __builtin_return_address(0)) : moved;
}

void free(void *block)
{
  (void)strikes(Call::free);  // it cannot fail, but code may run before it
  if (block != nullptr) {
    --blocks;
  }
  QV_REAL(free)(block);
}

// The system. The names are those that the library's calls have after the redirections for 64-bit files and times.
#ifdef __i386__
#define QV_WIDE(name32, name64) #name32
#else
#define QV_WIDE(name32, name64) #name64
#endif
constexpr char kFcntl[] = QV_WIDE(__fcntl_time64, fcntl64);
constexpr char kSemctl[] = QV_WIDE(__semctl64, semctl);

int testOpen(const char *path, int flags, ...) asm("open64");
int testFcntl(int descriptor, int command, ...) asm(QV_WIDE(__fcntl_time64, fcntl64));
int testSemctl(int id, int number, int command, ...) asm(QV_WIDE(__semctl64, semctl));
ssize_t testPwrite(int descriptor, const void *bytes, size_t size, off_t offset) asm("pwrite64");
int testFtruncate(int descriptor, off_t size) noexcept asm("ftruncate64");

/// The calls that only fail or are passed on: their symbol, kind, result, failure, parameters and arguments.
#define QV_PASSED_ON(symbol, call, Result, failure, parameters, arguments)            \
  Result testOf_##call parameters asm(symbol);                                        \
  Result testOf_##call parameters                                                     \
  {                                                                                   \
    return strikes(Call::call) ? failure : real<Result parameters>(symbol) arguments; \
  }
QV_PASSED_ON("read", read, ssize_t, -1, (int descriptor, void *buffer, size_t size), (descriptor, buffer, size))
QV_PASSED_ON("access", access, int, -1, (const char *path, int mode), (path, mode))
QV_PASSED_ON("socket", socket, int, -1, (int family, int type, int protocol), (family, type, protocol))
QV_PASSED_ON("semget", semget, int, (errno == 0 ? 0 : -1), (key_t key, int count, int flags), (key, count, flags))
QV_PASSED_ON("semop", semop, int, -1, (int id, sembuf *operations, size_t count), (id, operations, count))
QV_PASSED_ON("shmget", shmget, int, -1, (key_t key, size_t size, int flags), (key, size, flags))
QV_PASSED_ON("shmat", shmat, void *, reinterpret_cast<void *>(-1), (int id, const void *address, int flags),
             (id, address, flags))
QV_PASSED_ON("chmod", chmod, int, -1, (const char *path, mode_t mode), (path, mode))
QV_PASSED_ON("mkdir", mkdir, int, -1, (const char *path, mode_t mode), (path, mode))
QV_PASSED_ON(QV_WIDE(__lstat64_time64, lstat64), lstat, int, -1, (const char *path, struct stat *status),
             (path, status))
QV_PASSED_ON(QV_WIDE(__fstat64_time64, fstat64), fstat, int, -1, (int descriptor, struct stat *status),
             (descriptor, status))
QV_PASSED_ON("lseek64", lseek, off_t, -1, (int descriptor, off_t offset, int whence), (descriptor, offset, whence))
QV_PASSED_ON("pread64", pread, ssize_t, -1, (int descriptor, void *buffer, size_t size, off_t offset),
             (descriptor, buffer, size, offset))

int testOpen(const char *path, int flags, ...)
{
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);
  va_end(arguments);
  requireFlags(__builtin_return_address(0), path,
               (flags & O_CLOEXEC) != 0 && ((flags & O_NONBLOCK) == 0 || (flags & O_NOCTTY) != 0));
  if (strikes(Call::open)) {
    return -1;
  }
  support::DiskRecord *const record = support::currentDiskRecord();
  struct stat status;
  const bool existed = record != nullptr && stat(path, &status) == 0;
  const int descriptor = real<int(const char *, int, ...)>("open64")(path, flags, mode);
  if (record != nullptr && descriptor >= 0) {
    record->opened(descriptor, path, existed, flags);
  }
  return descriptor;
}

int testFcntl(int descriptor, int command, ...)
{
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  return strikes(Call::fcntl) ? -1 : real<int(int, int, ...)>(kFcntl)(descriptor, command, argument);
}

int testSemctl(int id, int number, int command, ...)
{
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  return strikes(Call::semctl) ? -1 : real<int(int, int, int, ...)>(kSemctl)(id, number, command, argument);
}

int close(int descriptor)
{
  const bool struck = strikes(Call::close);
  const int kept = errno;
  const int result = real<int(int)>("close")(descriptor);
  if (struck) {
    errno = kept;
  }
  return struck ? -1 : result;
}

int usleep(useconds_t microseconds)
{
  State &state = states[static_cast<size_t>(Call::usleep)];
  if (!state.armed) {
    return real<int(useconds_t)>("usleep")(microseconds);
  }
  state.slept += microseconds;
  return strikes(Call::usleep) ? -1 : 0;
}

long syscall(long number, ...) noexcept
{
  long arguments[6];
  va_list list;
  va_start(list, number);
  for (long &argument : arguments) {
    argument = va_arg(list, long);
  }
  va_end(list);
  if (number == SYS_futex && (arguments[1] & FUTEX_CMD_MASK) == FUTEX_WAKE) {
    (void)strikes(Call::futexWake);
  } else if (number == SYS_futex && states[static_cast<size_t>(Call::futexWait)].armed) {
    errno = ETIMEDOUT;
    (void)strikes(Call::futexWait);
    return -1;
  }
  return callKernel(number, arguments);
}

ssize_t write(int descriptor, const void *bytes, size_t size)
{
  if (strikes(Call::write)) {
    return -1;
  }
  support::DiskRecord *const record = support::currentDiskRecord();
  const ssize_t written = real<ssize_t(int, const void *, size_t)>("write")(descriptor, bytes, size);
  if (record != nullptr && written > 0) {
    record->wrote(descriptor, bytes, static_cast<size_t>(written), lseek(descriptor, 0, SEEK_CUR) - written);
  }
  return written;
}

int fdatasync(int descriptor)
{
  return strikes(Call::fdatasync) ? -1 : recordSync(descriptor, real<int(int)>("fdatasync")(descriptor));
}

int fsync(int descriptor)
{
  return recordSync(descriptor, real<int(int)>("fsync")(descriptor));
}

int rename(const char *from, const char *to) noexcept
{
  if (strikes(Call::rename)) {
    return -1;
  }
  return recordRename(from, to, [=] { return real<int(const char *, const char *)>("rename")(from, to); });
}

int renameat2(int fromDirectory, const char *from, int toDirectory, const char *to, unsigned flags) noexcept
{
  return recordRename(from, to, [=] {
    return real<int(int, const char *, int, const char *, unsigned)>("renameat2")(fromDirectory, from, toDirectory, to,
                                                                                  flags);
  });
}

int unlink(const char *path) noexcept
{
  if (strikes(Call::unlink)) {
    return -1;
  }
  support::DiskRecord *const record = support::currentDiskRecord();
  const uint64_t file = record == nullptr ? 0 : record->fileAt(path);
  const int result = real<int(const char *)>("unlink")(path);
  if (file != 0 && result == 0) {
    record->unlinked(path, file);
  }
  return result;
}

int testFtruncate(int descriptor, off_t size) noexcept
{
  const int result = real<int(int, off_t)>("ftruncate64")(descriptor, size);
  if (support::DiskRecord *const record = support::currentDiskRecord(); record != nullptr && result == 0) {
    record->truncated(descriptor, size);
  }
  return result;
}

ssize_t testPwrite(int descriptor, const void *bytes, size_t size, off_t offset)
{
  if (strikes(Call::pwrite)) {
    return -1;
  }
  const ssize_t written = real<ssize_t(int, const void *, size_t, off_t)>("pwrite64")(descriptor, bytes, size, offset);
  if (support::DiskRecord *const record = support::currentDiskRecord(); record != nullptr && written > 0) {
    record->wrote(descriptor, bytes, static_cast<size_t>(written), offset);
  }
  return written;
}
}
