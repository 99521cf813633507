// Appending to the event logs, directly and by way of the front end, beside a program that locks, formats the same record
// and writes it with stdio; and beside the same bytes written by hand with the system calls that an append cannot do
// without.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

constexpr uint32_t kNoMaximum = 0xFFFFFFFF;

bool hasLock(benchmark::State &state)
{
  if (hGFileLock == 0) {
    state.SkipWithError("the library has no global file lock here: the directory of the IPC file is missing");
    return false;
  }
  return true;
}

/// The product's own log, which the front end writes to. It lies in memory in the sandbox, and is emptied now and then so
/// that no row measures a growing file.
class ScratchLog {
 public:
  ScratchLog(std::string before, bool isXml) : before_(std::move(before))
  {
    char path[256];
    uint32_t size = sizeof(path);
    require(SMGetInstallPath(path, &size) == 0, "log", "the product has no install directory");
    path_ = std::string(path) + (isXml ? "/log/qvsys32.xml" : "/log/qvsys32.log");
    require(CreateLogDir(path_.c_str()) == 0, path_, "has no directory");
    reset();
  }
  ~ScratchLog() { (void)unlink(path_.c_str()); }
  ScratchLog(const ScratchLog &) = delete;
  ScratchLog &operator=(const ScratchLog &) = delete;

  const char *path() const { return path_.c_str(); }

  void reset() const
  {
    const int file = open(path(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0664);
    require(file >= 0 && write(file, before_.data(), before_.size()) == static_cast<ssize_t>(before_.size()) &&
                close(file) == 0,
            path_, "cannot be written");
  }

  std::string content() const
  {
    const int file = open(path(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    require(file >= 0 && fstat(file, &status) == 0, path_, "cannot be opened");
    std::string bytes(static_cast<size_t>(status.st_size), '\0');
    require(read(file, bytes.data(), bytes.size()) == status.st_size && close(file) == 0, path_, "cannot be read");
    return bytes;
  }

 private:
  std::string path_;
  std::string before_;
};

/// What an append has to write, and where.
struct Work {
  std::string before;
  std::u16string description;
  std::string data;
  bool isXml;
};

uint32_t append(const Work &work, const char *path)
{
  const SMChar16 *description = work.description.empty() ? nullptr : work.description.c_str();
  const auto size = static_cast<uint32_t>(work.data.size());
  return work.isXml ? AppendToXMLLog(path, 4, 7, nullptr, u"bench", description, work.data.data(), size, kNoMaximum)
                    : AppendToUNITXTLog(path, 4, 7, u"bench", description, work.data.data(), size, kNoMaximum);
}

/// The bytes that an append adds, and where it puts them.
struct Added {
  off_t at;
  std::string bytes;
};

Added addedBy(const Work &work)
{
  const ScratchLog log(work.before, work.isXml);
  require(append(work, log.path()) == 0, "log/append", "an append fails");
  const size_t at = work.isXml ? work.before.size() - (sizeof(xmlLogEndTag) - 1) : work.before.size();
  return {static_cast<off_t>(at), log.content().substr(at)};
}

/// Times append(log, added), a batch of appends between two fresh logs.
template <class Append>
void measure(benchmark::State &state, const Work &work, Append append)
{
  if (!hasLock(state)) {
    return;
  }
  constexpr size_t kBatch = 16;
  const Added added = addedBy(work);
  const ScratchLog log(work.before, work.isXml);
  append(log, added);
  require(log.content().size() == static_cast<size_t>(added.at) + added.bytes.size(), "log/append",
          "bytes are missing");
  for (auto _ : state) {
    log.reset();
    const IterationTimer timer(state);
    for (size_t i = 0; i < kBatch; ++i) {
      append(log, added);
    }
  }
  countItems(state, kBatch);
}

void byHand(const ScratchLog &log, const Added &added, bool isXml)
{
  const bool locked = FileLock(1) == 1;
  const int file = open(log.path(), O_RDWR | O_CLOEXEC);
  struct stat status;
  const off_t end = fstat(file, &status) == 0 ? status.st_size : 0;
  const off_t at = isXml ? end - static_cast<off_t>(sizeof(xmlLogEndTag) - 1) : end;
  const bool written =
      pwrite(file, added.bytes.data(), added.bytes.size(), at) == static_cast<ssize_t>(added.bytes.size());
  const bool closed = close(file) == 0;
  require(locked && FileUnlock() == 0 && written && closed, "log/append/syscalls", "a call fails");
}

/// The record as printf(3) formats it; UTF-16 by widening every byte.
std::string formatted(const Work &work)
{
  char when[32];
  const time_t now = time(nullptr);
  require(ctime_r(&now, when) != nullptr, "log/append/stdio", "the time cannot be formatted");
  when[strcspn(when, "\n")] = '\0';
  char host[256];
  require(gethostname(host, sizeof(host)) == 0, "log/append/stdio", "the host has no name");
  std::string description(work.description.begin(), work.description.end());
  uint32_t dumpSize = static_cast<uint32_t>(work.data.size());
  char *dump = BufToUTF8Str(work.data.data(), &dumpSize, 0);
  char *text = nullptr;
  const int length =
      work.isXml
          ? asprintf(&text,
                     "<LogEntry><TimeStamp>%lld</TimeStamp><DateTime>%s</DateTime><ComputerName>%s</ComputerName>"
                     "<Type>%u</Type><ID>%u</ID><UserInfo></UserInfo><Source>%s</Source><Description>%s</Description>"
                     "<Data>%s</Data></LogEntry></EventLog>",
                     static_cast<long long>(now), when, host, 4u, 7u, "bench", description.c_str(), dump)
          : asprintf(&text,
                     "EventID: %d\r\nSource: %s\r\nType: Information\r\nDate and Time: %s\r\nComputer: %s\r\n"
                     "Description:\r\n%s\r\nData: Bytes in Hex\r\n%s\r\n",
                     7, "bench", when, host, description.c_str(), dump);
  free(dump);
  require(length > 0, "log/append/stdio", "no memory");
  std::string record;
  if (work.isXml) {
    record.assign(text, static_cast<size_t>(length));
  } else {
    record.resize(2 * static_cast<size_t>(length));
    for (size_t k = 0; k < static_cast<size_t>(length); ++k) {
      record[2 * k] = text[k];
    }
  }
  free(text);
  return record;
}

void byStdio(const ScratchLog &log, const Work &work)
{
  const bool locked = FileLock(1) == 1;
  FILE *file = fopen(log.path(), "r+e");
  const bool sought =
      file != nullptr && fseek(file, work.isXml ? -static_cast<long>(sizeof(xmlLogEndTag) - 1) : 0, SEEK_END) == 0;
  const std::string record = formatted(work);
  const bool written = sought && fwrite(record.data(), 1, record.size(), file) == record.size();
  const bool closed = sought && fclose(file) == 0;
  require(locked && FileUnlock() == 0 && written && closed, "log/append/stdio", "a call fails");
}

/// The same event by the front end.
void byFrontEnd(const ScratchLog &log, const Work &work)
{
  const SMChar16 *description = work.description.empty() ? nullptr : work.description.c_str();
  const uint32_t status = AppendToSMLog(work.isXml ? SMLOG_XML : SMLOG_UNITXT, 4, 7, u"bench", description,
                                        work.data.data(), static_cast<uint32_t>(work.data.size()));
  require(status == 0, log.path(), "an append by the front end fails");
}

template <class AppendOne>
void registerRow(const std::string &name, const Work &work, AppendOne appendOne)
{
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
    measure(state, work, appendOne);
  })->UseManualTime();
}

void registerAppend(const std::string &name, const Work &work)
{
  registerRow(name + "/ours", work, [=](const ScratchLog &log, const Added &) {
    require(append(work, log.path()) == 0, "log/append/ours", "an append fails");
  });
  registerRow(name + "/stdio", work, [=](const ScratchLog &log, const Added &) { byStdio(log, work); });
  registerRow(name + "/syscalls", work,
              [=](const ScratchLog &log, const Added &added) { byHand(log, added, work.isXml); });
}

/// The front end keeps its own maximum size, so only small logs.
void registerFrontEnd(const std::string &name, const Work &work)
{
  registerRow(name + "/ours", work, [=](const ScratchLog &log, const Added &) { byFrontEnd(log, work); });
  registerRow(name + "/stdio", work, [=](const ScratchLog &log, const Added &) { byStdio(log, work); });
}

/// A whole log without its closing tag: ours refuses it, the limit reads it and looks at every byte, from the end. Entries
/// show what the search by the letter "v" gains: "memrchr_<" looks at every tag, without reading anything.
void registerRefusal(const std::string &name, const std::string &foreign)
{
  const size_t size = foreign.size();
  benchmark::RegisterBenchmark((name + "/ours").c_str(), [=](benchmark::State &state) {
    if (!hasLock(state)) {
      return;
    }
    const ScratchLog log(foreign, true);
    const Work work = {foreign, u"", "", true};
    require(append(work, log.path()) == SM_STATUS_BAD_TYPE, "log/refuse/ours", "the log is not refused");
    for (auto _ : state) {
      uint32_t status = append(work, log.path());
      benchmark::DoNotOptimize(status);
    }
    countItems(state, 1);
  });
  benchmark::RegisterBenchmark((name + "/memrchr_<").c_str(), [=](benchmark::State &state) {
    for (auto _ : state) {
      size_t end = foreign.size();
      bool found = false;
      while (!found && end != 0) {
        const auto *at = static_cast<const char *>(memrchr(foreign.data(), '<', end));
        end = at == nullptr ? 0 : static_cast<size_t>(at - foreign.data());
        found = at != nullptr && foreign.compare(end, sizeof(xmlLogEndTag) - 1, xmlLogEndTag) == 0;
      }
      require(!found, "log/refuse/memrchr_<", "a tag is found");
    }
    countItems(state, 1);
  });
  benchmark::RegisterBenchmark((name + "/read+memrchr").c_str(), [=](benchmark::State &state) {
    const ScratchLog log(foreign, true);
    std::string bytes(size, '\0');
    for (auto _ : state) {
      const int file = open(log.path(), O_RDONLY | O_CLOEXEC);
      require(read(file, bytes.data(), size) == static_cast<ssize_t>(size) && close(file) == 0,
              "log/refuse/read+memrchr", "a call fails");
      const void *found = memrchr(bytes.data(), '\0', size);
      benchmark::DoNotOptimize(found);
    }
    countItems(state, 1);
  });
}

void registerRows()
{
  const std::string text(reinterpret_cast<const char *>(uniTXTFileHdr), sizeof(uniTXTFileHdr) - 2);
  const std::string xml = std::string(xmlLogFileHdr) + xmlLogBeginTag;
  const std::string large(4194304 - xml.size() - (sizeof(xmlLogEndTag) - 1), 'x');
  const std::u16string description(2000, u'd');
  const std::string data(8000, 'b');
  registerAppend("log/append/text_small", {text, u"a short description", "", false});
  registerAppend("log/append/text_large", {text, description, data, false});
  registerAppend("log/append/xml_small", {xml + xmlLogEndTag, u"a short description", "", true});
  registerAppend("log/append/xml_large", {xml + xmlLogEndTag, description, data, true});
  registerAppend("log/append/xml_4MiB", {xml + large + xmlLogEndTag, u"a short description", "", true});
  registerFrontEnd("log/front_end/text_small", {text, u"a short description", "", false});
  registerFrontEnd("log/front_end/xml_small", {xml + xmlLogEndTag, u"a short description", "", true});
  registerRefusal("log/refuse/xml_4MiB", std::string(4194304, 'x'));
  const std::string entry = formatted({"", u"a short description", "", true});
  std::string entries = xml;
  while (entries.size() < 4194304) {
    entries.append(entry, 0, entry.size() - (sizeof(xmlLogEndTag) - 1));
  }
  registerRefusal("log/refuse/xml_entries_4MiB", entries);
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
