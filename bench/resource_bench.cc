// Looking a string up in a resource file of 5000 lines, and asking for the host's name and addresses.
//
// The peer of a lookup is a loop of fgetws(3) and wcsstr(3); the limit reads the file at once and searches the memory,
// without a lock. What waits for the kernel is timed by the clock on the wall.

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <cwchar>
#include <vector>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

constexpr uint32_t kStrings = 5000;
constexpr uint32_t kGerman = 1031;

/// Every string in the default language; every fourth also in German.
class ResourceFile {
 public:
  ResourceFile()
  {
    std::string text;
    for (uint32_t id = 1, line = 0; line < kStrings; ++id) {
      add(text, 0, id);
      ++line;
      if (id % 4 == 0 && line < kStrings) {
        add(text, kGerman, id);
        ++line;
      }
      last_ = id;
    }
    std::string bytes = "\xFF\xFE";
    for (const char character : text) {
      bytes += character;
      bytes += '\0';
    }
    char path[] = "/tmp/qvsupt32_benchXXXXXX";
    const int descriptor = mkostemp(path, O_CLOEXEC);
    require(descriptor >= 0 && write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            path, "cannot be written");
    (void)close(descriptor);  // what was written can be read
    path_ = path;
  }
  ~ResourceFile() { (void)unlink(path_.c_str()); }
  ResourceFile(const ResourceFile &) = delete;
  ResourceFile &operator=(const ResourceFile &) = delete;

  const char *path() const { return path_.c_str(); }
  uint32_t last() const { return last_; }

  static std::string keyOf(uint32_t language, uint32_t id)
  {
    char key[32];
    (void)snprintf(key, sizeof(key), "%X:%X=", language, id);
    return key;
  }

  static std::string valueOf(uint32_t id) { return "The fan of enclosure " + std::to_string(id) + " has failed"; }

 private:
  static void add(std::string &text, uint32_t language, uint32_t id)
  {
    text += keyOf(language, id) + valueOf(id) + "\r\n";
  }

  std::string path_;
  uint32_t last_ = 0;
};

const ResourceFile &resourceFile()
{
  static const ResourceFile file;
  return file;
}

/// The strings that the rows look for.
uint32_t idOf(const std::string &which)
{
  return which == "first" ? 1 : resourceFile().last() - 1;
}

std::string lookUpOurs(uint32_t id, uint32_t language)
{
  SMChar16 buffer[1024];
  uint32_t size = sizeof(buffer);
  (void)GetUCS2StrFromIDPathFile(id, &language, resourceFile().path(), buffer, &size);  // the text is compared
  return {buffer, buffer + size / sizeof(SMChar16) - 1};
}

/// One language only: it would have to read the file again for the default.
std::string lookUpByFgetws(uint32_t id, uint32_t)
{
  FILE *file = fopen(resourceFile().path(), "r,ccs=UTF-16LE");
  const std::string narrow = ResourceFile::keyOf(0, id);
  const std::wstring key(narrow.begin(), narrow.end());
  wchar_t line[1024];
  std::string value;
  while (fgetws(line, 1024, file) != nullptr) {
    if (wcsstr(line, key.c_str()) != nullptr) {
      line[wcscspn(line, L"\r\n")] = 0;
      const wchar_t *text = wcsrchr(line, L'=') + 1;
      value.assign(text, text + wcslen(text));
      break;
    }
  }
  (void)fclose(file);  // only read
  return value;
}

std::string lookUpByMemmem(uint32_t id, uint32_t)
{
  static std::vector<char> memory(1 << 20);
  const int descriptor = open(resourceFile().path(), O_RDONLY | O_CLOEXEC);
  const auto size = static_cast<size_t>(read(descriptor, memory.data(), memory.size()));
  (void)close(descriptor);  // only read
  std::string key;
  for (const char character : ResourceFile::keyOf(0, id)) {
    key += character;
    key += '\0';
  }
  const auto *text = static_cast<const char *>(memmem(memory.data(), size, key.data(), key.size())) + key.size();
  std::string value;
  for (; *text != '\r'; text += 2) {
    value += *text;
  }
  return value;
}

using LookUp = std::string (*)(uint32_t id, uint32_t language);

void lookUp(benchmark::State &state, const std::string &row, LookUp function, const std::string &which,
            uint32_t language)
{
  if (hGFileLock == 0) {
    state.SkipWithError("the library has no global file lock here: the directory of the IPC file is missing");
    return;
  }
  const uint32_t id = idOf(which);
  require(function(id, language) == ResourceFile::valueOf(id), row, "another string is found");
  for (auto _ : state) {
    std::string value = function(id, language);
    benchmark::DoNotOptimize(value);
  }
  countItems(state, 1);
}

/// The time on the wall from here to the end of the scope is the time of the iteration.
class WallTimer {
 public:
  explicit WallTimer(benchmark::State &state) : state_(state) {}
  ~WallTimer() { state_.SetIterationTime(now() - start_); }
  WallTimer(const WallTimer &) = delete;
  WallTimer &operator=(const WallTimer &) = delete;

 private:
  static double now()
  {
    timespec time;
    (void)clock_gettime(CLOCK_MONOTONIC, &time);  // every system has this clock
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  }

  benchmark::State &state_;
  double start_ = now();
};

/// The number of addresses of the interfaces behind the first, all read; 0 where something fails.
using ListAddresses = uint32_t (*)();

constexpr uint32_t kInterfaces = 3;

uint32_t listOurs()
{
  char slots[15][SM_IP_ADDRESS_SIZE];
  uint32_t count = 15;
  return GetIPAddrStrList(&count, slots) == SM_STATUS_SUCCESS ? count : 0;
}

uint32_t listByGetifaddrs()
{
  ifaddrs *addresses;
  if (getifaddrs(&addresses) != 0) {
    return 0;
  }
  uint32_t count = 0;
  for (const ifaddrs *each = addresses; each != nullptr; each = each->ifa_next) {
    if (each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET) {
      char text[INET_ADDRSTRLEN];
      const auto *address = reinterpret_cast<const sockaddr_in *>(each->ifa_addr);
      count += inet_ntop(AF_INET, &address->sin_addr, text, sizeof(text)) != nullptr ? 1 : 0;
    }
  }
  freeifaddrs(addresses);
  return count;
}

/// The system calls that ours cannot do without.
uint32_t listBare()
{
  const int querySocket = socket(AF_PACKET, SOCK_PACKET | SOCK_CLOEXEC, 0x0300);
  struct if_nameindex *names = if_nameindex();
  uint32_t count = 0;
  for (const struct if_nameindex *each = names + 1; each->if_name != nullptr; ++each) {
    ifreq request = {};
    strncpy(request.ifr_name, each->if_name, IFNAMSIZ - 1);
    count += ioctl(querySocket, SIOCGIFADDR, &request) == 0 ? 1 : 0;
  }
  if_freenameindex(names);
  (void)close(querySocket);  // nothing was written
  return count;
}

/// Gives the namespace interfaces with addresses, once.
bool addInterfaces()
{
  static const bool added = [] {
    const int control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool done = true;
    for (uint32_t i = 1; i <= kInterfaces && done; ++i) {
      ifreq request = {};
      (void)snprintf(request.ifr_name, IFNAMSIZ, "bench%u", i);
      auto *address = reinterpret_cast<sockaddr_in *>(&request.ifr_addr);
      address->sin_family = AF_INET;
      address->sin_addr.s_addr = htonl(0x0A010000 + i);
      done = ioctl(control, SIOCBRADDBR, request.ifr_name) == 0 && ioctl(control, SIOCSIFADDR, &request) == 0;
    }
    (void)close(control);  // nothing was written
    return done;
  }();
  return added;
}

void listAddresses(benchmark::State &state, const std::string &row, ListAddresses function)
{
  if (!addInterfaces()) {
    state.SkipWithError("no interfaces can be added here");
    return;
  }
  require(function() == kInterfaces, row, "other addresses are found");
  for (auto _ : state) {
    const WallTimer timer(state);
    uint32_t count = function();
    benchmark::DoNotOptimize(count);
  }
  countItems(state, 1);
}

void hostNameOurs(benchmark::State &state)
{
  char name[128];
  for (auto _ : state) {
    uint32_t size = sizeof(name);
    require(GetIPHostName(name, &size) == SM_STATUS_SUCCESS, "network/host_name/ours", "there is no name");
    benchmark::DoNotOptimize(name);
  }
  countItems(state, 1);
}

void hostNameBare(benchmark::State &state)
{
  char name[128];
  for (auto _ : state) {
    require(gethostname(name, sizeof(name)) == 0, "network/host_name/gethostname", "there is no name");
    benchmark::DoNotOptimize(name);
  }
  countItems(state, 1);
}

void registerRows()
{
  const struct {
    const char *who;
    LookUp function;
  } lookUps[] = {{"ours", lookUpOurs}, {"fgetws", lookUpByFgetws}, {"memmem", lookUpByMemmem}};
  const struct {
    const char *row;
    const char *which;
    uint32_t language;
  } lookUpRows[] = {
      {"resource/first", "first", 0}, {"resource/last", "last", 0}, {"resource/last_untranslated", "last", kGerman}};
  for (const auto &[row, which, language] : lookUpRows) {
    for (const auto &[who, function] : lookUps) {
      const std::string name = std::string(row) + "/5000/" + who;
      benchmark::RegisterBenchmark(name.c_str(), lookUp, name, function, std::string(which), language);
    }
  }
  benchmark::RegisterBenchmark("network/host_name/ours", hostNameOurs);
  benchmark::RegisterBenchmark("network/host_name/gethostname", hostNameBare);
  const struct {
    const char *who;
    ListAddresses function;
  } lists[] = {{"ours", listOurs}, {"getifaddrs", listByGetifaddrs}, {"ioctl", listBare}};
  for (const auto &[who, function] : lists) {
    const std::string name = std::string("network/addresses/3/") + who;
    benchmark::RegisterBenchmark(name.c_str(), listAddresses, name, function)->UseManualTime();
  }
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
