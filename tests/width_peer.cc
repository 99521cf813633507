// A small component, built in both widths: the mixed-width test tells it what to do with the library.
//
// usage: width_peer COMMAND [ARGUMENT...]; see kCommands. It is held as a child of support/child.h is.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "qvsupt32.h"
#include "support/child.h"
#include "support/scratch.h"

namespace {

using Arguments = std::vector<std::string>;

constexpr uint8_t kType = 1;
constexpr char kName[] = "width-peer";

/// Ends the program with what went wrong: the test shows it.
void require(bool condition, const char *what)
{
  if (!condition) {
    printf("failed: %s\n", what);
    fflush(stdout);
    _exit(1);
  }
}

void holdHere()
{
  putchar(support::Child::Inside::kHeld);
  fflush(stdout);
  require(getchar() != EOF, "nobody went on");
}

/// A block with a nested object, an array of them, and values of every size that sits in or out of its entry.
std::vector<uint8_t> makeBlock()
{
  SDOConfig *root = SMSDOConfigAlloc();
  SDOConfig *nested[3] = {SMSDOConfigAlloc(), SMSDOConfigAlloc(), SMSDOConfigAlloc()};
  const char bytes[] = "0123456789";
  for (uint16_t i = 0; i < 3; ++i) {
    require(SMSDOConfigAddData(nested[i], 7, kType, bytes, 3u + i, 0) == 0, "nested value");
  }
  for (uint16_t size = 1; size <= 10; ++size) {
    require(SMSDOConfigAddData(root, size, kType, bytes, size, 0) == 0, "value");
  }
  require(SMSDOConfigAddData(root, 100, SDO_TYPE_CONFIG, nested[0], sizeof(void *), 0) == 0, "nested object");
  require(SMSDOConfigAddData(root, 101, SDO_TYPE_CONFIG | SDO_TYPE_ARRAY, nested + 1, 2 * sizeof(void *), 0) == 0,
          "nested array");
  auto size = static_cast<uint32_t>(SMSDOConfigGetBinarySize(root));
  std::vector<uint8_t> block(size);
  require(SMSDOConfigToBinary(root, block.data(), &size) == 0, "binary");
  SMSDOConfigFree(root);
  return block;
}

int printBlock(const Arguments &)
{
  for (const uint8_t byte : makeBlock()) {
    printf("%02x", byte);
  }
  putchar('\n');
  return 0;
}

/// Makes one object of each kind, holds the mutex, and removes all of them when the other side is done.
int createObjects(const Arguments &)
{
  const std::vector<uint8_t> block = makeBlock();
  OSSyncInfo *mutex = SMMutexCreate(kName);
  OSSyncInfo *memory = SMSharedMemCreate(kName, 4096);
  OSSyncInfo *semaphore = SMSemaphoreCreate("width-peer-semaphore", 2);
  OSSyncInfo *manual = SMEventCreate("width-peer-manual", 1, 1);
  OSSyncInfo *automatic = SMEventCreate("width-peer-automatic", 0, 1);
  require(mutex && memory && semaphore && manual && automatic, "create");
  memcpy(SMSharedMemGetAddressPtr(memory), block.data(), block.size());
  require(SMMutexLock(mutex, 0) == 0, "lock");
  holdHere();
  require(static_cast<const char *>(SMSharedMemGetAddressPtr(memory))[4095] == '!', "the other side's byte");
  require(SMSemaphoreAcquireWait(semaphore, 0) == 3, "the other side took both counts");
  require(SMMutexUnLock(mutex) == 0, "unlock");
  holdHere();
  require(SMMutexLock(mutex, 0) == 0, "the other side's lock ended with it");
  SMEventDestroy(automatic);
  SMEventDestroy(manual);
  SMSemaphoreDestroy(semaphore);
  SMSharedMemFree(memory);
  SMMutexDestroy(mutex);
  return 0;
}

int useObjects(const Arguments &)
{
  OSSyncInfo *mutex = SMMutexOpen(kName);
  OSSyncInfo *memory = SMSharedMemOpen(kName);
  OSSyncInfo *semaphore = SMSemaphoreOpen("width-peer-semaphore");
  OSSyncInfo *manual = SMEventOpen("width-peer-manual");
  OSSyncInfo *automatic = SMEventOpen("width-peer-automatic");
  require(mutex && memory && semaphore && manual && automatic, "open");
  require(SMMutexLock(mutex, 0) == 3, "the mutex is held");
  auto *bytes = static_cast<char *>(SMSharedMemGetAddressPtr(memory));
  const std::vector<uint8_t> block = makeBlock();
  require(memcmp(bytes, block.data(), block.size()) == 0, "the same block");
  SDOConfig *decoded = SMSDOBinaryToConfig(bytes);
  require(SMSDOConfigGetCount(decoded) == 12, "decode");
  SMSDOConfigFree(decoded);
  bytes[4095] = '!';
  require(SMSemaphoreAcquireWait(semaphore, 0) == 0 && SMSemaphoreAcquireWait(semaphore, 0) == 0, "two counts");
  require(SMEventWait(manual, 0) == 0 && SMEventWait(manual, 0) == 0, "a manual event stays signalled");
  require(SMEventWait(automatic, 0) == 0 && SMEventWait(automatic, 0) == 3, "an automatic one does not");
  holdHere();
  require(SMMutexLock(mutex, 5000) == 0, "lock in turn");
  holdHere();  // and is killed there
  return 1;
}

/// Drops the half entry of a process that was killed inside its write, and closes the log again: what an administrator
/// does after SM_STATUS_BAD_TYPE. It holds the file lock as another process would, by a lock of the open file: the log
/// may be whole by now, and one that is read during an append would look as if it had no end.
void repairXmlLog(const std::string &path)
{
  constexpr std::string_view kEnd = "</EventLog>";
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_start = 120000;
  lock.l_len = 1;
  require(fcntl(l_ipc_fd, F_OFD_SETLKW, &lock) == 0, "a turn to repair");
  const std::string content = support::get(path);
  if (content.find(kEnd) == std::string::npos) {
    const size_t last = content.rfind("</LogEntry>");
    const size_t end = last == std::string::npos ? content.find("<EventLog>") + 10 : last + 11;
    const int log = open(path.c_str(), O_RDWR | O_CLOEXEC);
    require(log >= 0 && ftruncate(log, static_cast<off_t>(end)) == 0 &&
                pwrite(log, kEnd.data(), kEnd.size(), static_cast<off_t>(end)) == static_cast<ssize_t>(kEnd.size()),
            "repair");
    close(log);
    printf("r 0 0\n");
  }
  lock.l_type = F_UNLCK;
  require(fcntl(l_ipc_fd, F_OFD_SETLK, &lock) == 0, "the end of the turn");
}

uint32_t appendToSoakLog(const std::string &path, uint32_t event)
{
  for (int tries = 0;; ++tries) {
    const uint32_t status =
        SMAppendToXMLLog(path.c_str(), SM_EVENT_ERROR, event, nullptr, u"soak", u"event", nullptr, 0, UINT32_MAX);
    if (status != SM_STATUS_BAD_TYPE || tries == 100) {
      return status;
    }
    repairXmlLog(path);
  }
}

/// Does file work in four threads until it is killed, and tells what is done: the kind of work, the worker and the number
/// that it wrote. Numbers of a worker go on where the files say that its last one was.
int workForEver(const Arguments &arguments)
{
  const std::string &directory = arguments[0];
  std::vector<std::thread> threads;
  const uint32_t first = static_cast<uint32_t>(strtoul(arguments[2].c_str(), nullptr, 10));
  for (uint32_t thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&directory, worker = arguments[1] + std::to_string(thread), first = first + thread] {
      const std::string ini = directory + "/soak.ini";
      const std::string values = directory + "/soak.values";
      const std::string xml = directory + "/soak.xml";
      const std::string text = directory + "/soak.log";
      uint32_t number = 0;
      uint32_t size = sizeof(number);
      const uint32_t status =
          SMReadINIPathFileValue("soak", worker.c_str(), SM_INI_TYPE_U32, &number, &size, nullptr, 0, ini.c_str(), 1);
      require(status == 0 || status == 7 || status == 262 || status == 263, "the last number");
      for (uint32_t event = first;; event += 4) {
        ++number;
        require(SMWriteINIPathFileValue("soak", worker.c_str(), SM_INI_TYPE_U32, &number, sizeof(number), ini.c_str(),
                                        1) == 0,
                "soak set");
        printf("i %s %u\n", worker.c_str(), number);
        std::string key = worker;
        std::string value = std::to_string(number);
        const CFGUKeyValueEntry entry = {key.data(), value.data()};
        require(SMCFGSetKeyValueEntry(values.c_str(), &entry, 0) == 0, "soak key=value set");
        printf("k %s %u\n", worker.c_str(), number);
        require(appendToSoakLog(xml, event) == 0, "soak XML log");
        printf("x %s %u\n", worker.c_str(), event);
        require(AppendToUNITXTLog(text.c_str(), SM_EVENT_ERROR, event, u"soak", u"event", nullptr, 0, UINT32_MAX) == 0,
                "soak text log");
        printf("t %s %u\n", worker.c_str(), event);
        fflush(stdout);
      }
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  return 0;
}

/// Appends events to a text log and an XML log, which reach their maximum size once in a while.
int appendEvents(const Arguments &arguments)
{
  const uint32_t count = static_cast<uint32_t>(atoi(arguments[1].c_str()));
  const uint32_t maximum = static_cast<uint32_t>(atoi(arguments[2].c_str()));
  const std::string text = arguments[0] + ".log";
  const std::string xml = arguments[0] + ".xml";
  for (uint32_t i = 0; i < count; ++i) {
    require(AppendToUNITXTLog(text.c_str(), SM_EVENT_ERROR, 1000 + i, u"peer", u"event", kName, sizeof(kName),
                              maximum) == 0,
            "text log");
    require(SMAppendToXMLLog(xml.c_str(), SM_EVENT_ERROR, 1000 + i, nullptr, u"peer", u"event", kName, sizeof(kName),
                             maximum) == 0,
            "XML log");
  }
  return 0;
}

int holdFileLock(const Arguments &)
{
  require(FileLock(1) == 1, "file lock");
  holdHere();
  return 0;
}

int tryFileLock(const Arguments &)
{
  printf("%u\n", FileLock(0));
  return 0;
}

constexpr struct {
  const char *name;
  size_t arguments;
  int (*run)(const Arguments &);
} kCommands[] = {
    {"append", 3, appendEvents},           // PATH COUNT MAXIMUM
    {"block", 0, printBlock},              //
    {"hold-file-lock", 0, holdFileLock},   //
    {"try-file-lock", 0, tryFileLock},     //
    {"create-objects", 0, createObjects},  //
    {"use-objects", 0, useObjects},        //
    {"work", 3, workForEver},              // DIRECTORY WORKER EVENT
};

}  // namespace

int main(int argc, char **argv)
{
  for (const auto &command : kCommands) {
    if (argc >= 2 && argc - 2 == static_cast<int>(command.arguments) && strcmp(argv[1], command.name) == 0) {
      return command.run(Arguments(argv + 2, argv + argc));
    }
  }
  fputs("usage: width_peer COMMAND [ARGUMENT...]\n", stderr);
  return 2;
}
