// The file lock, the memory functions and the export context, called by a program that refers to the library's
// variables by copy relocation, as programs built without position-independent code do.

#include "qvsupt32/frame.h"

#include <dlfcn.h>
#include <malloc.h>

#include "support/test.h"

namespace {

using namespace support;

TEST(Variables, OfTheProgramAreTheLibrarysOwn)
{
  const void *const variables[] = {&modAttachCount, &hGFileLock,      &modExitingFlag, &modDetachFlag,      &origECI,
                                   &l_ipc_fd,       &l_ipc_name_base, &l_ipc_filename, &modDaemonParentFlag};
  for (const void *variable : variables) {
    Dl_info home;
    ASSERT_NE(dladdr(variable, &home), 0);
    EXPECT_EQ(strstr(home.dli_fname, "libqvsupt32"), nullptr) << "no copy relocation: this tests nothing";
  }
  EXPECT_EQ(modAttachCount, 1);
  EXPECT_EQ(hGFileLock, 120000u);
  EXPECT_EQ(l_ipc_name_base, 100000u);
  EXPECT_GT(l_ipc_fd, STDERR_FILENO);
  EXPECT_STREQ(l_ipc_filename, kIpcFile);
  ModuleDoNotDetach();
  EXPECT_EQ(modDetachFlag, 0);
  ModuleChildAfterFork();
  EXPECT_EQ(modDetachFlag, 1);
  hGFileLock = 0;
  EXPECT_EQ(FileLock(0), 0u) << "the library reads where the program writes";
  hGFileLock = 120000;
}

TEST(FileLock, IsTheRecordLockOfTheProcess)
{
  EXPECT_EQ(FileLock(1), 1u);
  EXPECT_EQ(FileLock(0), 1u) << "the process holds it already";
  EXPECT_EQ(recordLocks(getpid()), "WRITE 120000 120000\n");
  EXPECT_EQ(FileUnlock(), 0) << "one release is enough";
  EXPECT_EQ(recordLocks(getpid()), "");
}

TEST(FileLock, ModeOneAloneWaits)
{
  RecordHolder holder(kFileLockRecord);
  const struct {
    uint16_t mode;
    unsigned steps;
  } rows[] = {{0, 0}, {1, 60000}, {2, 0}, {0xFFFF, 0}};
  for (const auto &row : rows) {
    const Fault tries(Call::fcntl);
    const Fault sleeps(Call::usleep);
    EXPECT_EQ(FileLock(row.mode), 0u);
    EXPECT_EQ(tries.calls(), row.steps + 1);
    EXPECT_EQ(sleeps.slept(), 1000ul * row.steps);
  }
  const Fault sleeps(Call::usleep, 60000, [&] { holder.letGo(); });
  EXPECT_EQ(FileLock(1), 1u) << "free at the last try";
  const Fault fault(Call::fcntl, 1, EIO);
  EXPECT_EQ(FileUnlock(), -1);
  EXPECT_EQ(FileUnlock(), 0);
  const Fault again(Call::fcntl, 1, EIO);
  EXPECT_EQ(FileLock(1), 0u);
}

TEST(Version, IsThatOfTheHeaders)
{
  EXPECT_STREQ(SMGetVersionText(), QVSUPT32_VERSION_STRING);
  EXPECT_EQ(std::to_string(QVSUPT32_VERSION_MAJOR) + "." + std::to_string(QVSUPT32_VERSION_MINOR) + "." +
                std::to_string(QVSUPT32_VERSION_PATCH),
            QVSUPT32_VERSION_STRING);
}

TEST(StatusText, BeginsWithTheNameAndIsOneLine)
{
  const std::pair<uint32_t, std::string> rows[] = {{0, "SM_STATUS_SUCCESS: "},
                                                   {0xFFFFFFFF, "SM_STATUS_UNSUCCESSFUL: "},
                                                   {256, "SM_STATUS_NOT_FOUND: "},
                                                   {291, "SM_STATUS_VALUE_TOO_SMALL: "}};
  for (const auto &[status, start] : rows) {
    EXPECT_EQ(start, std::string(SMStatusText(status)).substr(0, start.size()));
  }
  int known = 0;
  for (uint32_t status = 0xFFFFFFFF; status != 1000; ++status) {
    const std::string text = SMStatusText(status);
    known += text == "unknown status" ? 0 : 1;
    EXPECT_EQ(text.find('\n'), std::string::npos);
  }
  EXPECT_EQ(known, 25);
}

TEST(Memory, IsTheHeapOfTheProcess)
{
  const long blocks = liveBlocks();
  auto *block = static_cast<char *>(SMAllocMem(0x10001));
  ASSERT_NE(block, nullptr);
  memset(block, 'x', 0x10001);
  {
    const Fault fault(Call::allocation, 1);
    EXPECT_EQ(SMAllocMem(1), nullptr);
    const Fault another(Call::allocation, 1);
    EXPECT_EQ(SMReAllocMem(block, 0x20001), nullptr);
  }
  block = static_cast<char *>(SMReAllocMem(block, 0x20001));
  ASSERT_NE(block, nullptr);
  EXPECT_GE(malloc_usable_size(block), 0x20001u);
  EXPECT_EQ(block[0x10000], 'x');
  free(block);
  SMFreeMem(malloc(1));
  SMFreeMem(SMReAllocMem(nullptr, 1));
  SMFreeMem(SMAllocMem(0));
  SMFreeMem(nullptr);
  EXPECT_EQ(liveBlocks(), blocks);
}

TEST(ExportContext, IsZeroOnLinux)
{
  for (const auto get : {OSGetExportContext, SMGetExportContext}) {
    SMExportContext context[] = {7, 8};
    get(context);
    EXPECT_EQ(context[0], 0u);
    EXPECT_EQ(context[1], 8u);
    get(nullptr);
  }
  SMExportContext slot = 7;
  SMExportContext context = 8;
  OSSetExportContext(&slot, &context);
  SMSetExportContext(&slot, &context);
  OSResetExportContext(&slot);
  SMResetExportContext(&slot);
  EXPECT_EQ(slot, 7u);
  EXPECT_EQ(context, 8u);
}

// A sanitizer keeps its own records on the stack, for which it has to be aligned.
#if defined(__i386__) && !defined(__SANITIZE_ADDRESS__)
/// Calls a function as a caller does that keeps the stack aligned to 4 bytes only: `shift` bytes off a multiple of 16.
template <class... Argument>
uint32_t callFrom(uint32_t shift, const void *function, Argument... argument)
{
  const uint32_t arguments[] = {(uint32_t)argument..., 0};
  uint32_t count = sizeof...(argument);
  uint32_t result;
  asm volatile(
      "mov %%esp, %%edi\n\t"
      "and $-16, %%esp\n\t"
      "sub %[shift], %%esp\n"
      "1:\tsub $1, %[count]\n\t"
      "js 2f\n\t"
      "push (%[arguments],%[count],4)\n\t"
      "jmp 1b\n"
      "2:\tcall *%[function]\n\t"
      "mov %%edi, %%esp"
      : "=&a"(result), [count] "+&c"(count), [shift] "+&d"(shift)
      : [function] "S"(function), [arguments] "b"(arguments)
      : "edi", "memory", "cc");
  return result;
}

/// A routine that relies on its stack: it stores 16 bytes where an aligned call leaves a multiple of 16, and counts.
/// Compiled code would align the stack for itself here.
extern "C" uint32_t storeAligned(uintptr_t count);
asm("storeAligned:\n\t"
    "sub $28, %esp\n\t"
    "movaps %xmm0, (%esp)\n\t"
    "add $28, %esp\n\t"
    "mov 4(%esp), %eax\n\t"
    "incl (%eax)\n\t"
    "ret");

TEST(Stack, IsAlignedForRoutinesOfTheCaller)
{
  int count = 0;
  OSThread record = {storeAligned, reinterpret_cast<uintptr_t>(&count), 0, 0};
  for (const uint32_t shift : {0u, 4u, 8u, 12u}) {
    callFrom(shift, reinterpret_cast<const void *>(OSCriticalSectionExecute), storeAligned, &count, SM_WAIT_FOREVER);
    callFrom(shift, reinterpret_cast<const void *>(OSThreadStub), &record);
    OSThread *thread = reinterpret_cast<OSThread *>(
        callFrom(shift, reinterpret_cast<const void *>(OSThreadStart), storeAligned, &count));
    OSThreadStop(thread);
  }
  EXPECT_EQ(count, 4 * 3);
}

TEST(Stack, MayBeAlignedToFourBytesOnly)
{
  for (const uint32_t shift : {0u, 4u, 8u, 12u}) {
    const auto call = [shift](auto *function, auto... argument) {
      return callFrom(shift, reinterpret_cast<const void *>(function), argument...);
    };
    EXPECT_EQ(call(ModuleAttach), 1u);
    EXPECT_EQ(call(FileLock, 1), 1u);
    EXPECT_EQ(call(FileUnlock), 0u);
    l_ipc_name_base = 0xFFFFFFFF;
    EXPECT_EQ(call(CreateIPCName, 1), 100001u);
    const uint32_t semaphore = call(CreateSemaphore, 0, 1);
    EXPECT_EQ(call(WaitForSemaphore, semaphore, 0), 0u);
    EXPECT_EQ(call(WaitForSemaphore, semaphore, 1), SM_STATUS_TIMEOUT);
    call(DestroySemaphore, semaphore);
    const uint32_t object = call(SDOConfigAlloc);
    const char value[] = "a value of more than sixteen bytes";
    EXPECT_EQ(call(SDOConfigAddData, object, 1, 8, value, sizeof(value), 0), 0u);
    uint32_t size = call(SDOConfigGetBinarySize, object);
    std::vector<char> binary(size);
    EXPECT_EQ(call(SDOConfigToBinary, object, binary.data(), &size), 0u);
    const uint32_t copy = call(SDOBinaryToConfig, binary.data());
    EXPECT_EQ(call(SDOConfigGetBinarySize, copy), size);
    call(SDOConfigFree, copy);
    call(SDOConfigFree, object);
    EXPECT_EQ(call(ModuleDetach), 1u);
  }
}
#endif

}  // namespace
