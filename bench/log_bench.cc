// Appending to the event logs, beside the same bytes written by hand: with the system calls that an append cannot do
// without, and with stdio.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

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

/// A log in the directory of the IPC file, which is memory in the sandbox, and is emptied now and then so that no row
/// measures a growing file.
class ScratchLog {
 public:
  explicit ScratchLog(std::string before) : before_(std::move(before))
  {
    path_ = l_ipc_filename;
    path_.replace(path_.rfind('/') + 1, std::string::npos, "bench.log");
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
  const ScratchLog log(work.before);
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
  const ScratchLog log(work.before);
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

void byStdio(const ScratchLog &log, const Added &added, bool isXml)
{
  const bool locked = FileLock(1) == 1;
  FILE *file = fopen(log.path(), "r+e");
  const bool sought =
      file != nullptr && fseek(file, isXml ? -static_cast<long>(sizeof(xmlLogEndTag) - 1) : 0, SEEK_END) == 0;
  const bool written = sought && fwrite(added.bytes.data(), 1, added.bytes.size(), file) == added.bytes.size();
  const bool closed = sought && fclose(file) == 0;
  require(locked && FileUnlock() == 0 && written && closed, "log/append/stdio", "a call fails");
}

void registerAppend(const std::string &name, const Work &work)
{
  const auto add = [&](const char *who, auto appendOne) {
    benchmark::RegisterBenchmark((name + who).c_str(), [=](benchmark::State &state) {
      measure(state, work, appendOne);
    })->UseManualTime();
  };
  add("/ours", [=](const ScratchLog &log, const Added &) {
    require(append(work, log.path()) == 0, "log/append/ours", "an append fails");
  });
  add("/stdio", [=](const ScratchLog &log, const Added &added) { byStdio(log, added, work.isXml); });
  add("/syscalls", [=](const ScratchLog &log, const Added &added) { byHand(log, added, work.isXml); });
}

/// A whole log without its closing tag: ours refuses it, the limit reads it and looks at every byte.
void registerRefusal(const std::string &name, size_t size)
{
  const std::string foreign(size, 'x');
  benchmark::RegisterBenchmark((name + "/ours").c_str(), [=](benchmark::State &state) {
    if (!hasLock(state)) {
      return;
    }
    const ScratchLog log(foreign);
    const Work work = {foreign, u"", "", true};
    require(append(work, log.path()) == 257, "log/refuse/ours", "the log is not refused");
    for (auto _ : state) {
      uint32_t status = append(work, log.path());
      benchmark::DoNotOptimize(status);
    }
    countItems(state, 1);
  });
  benchmark::RegisterBenchmark((name + "/read+memchr").c_str(), [=](benchmark::State &state) {
    const ScratchLog log(foreign);
    std::string bytes(size, '\0');
    for (auto _ : state) {
      const int file = open(log.path(), O_RDONLY | O_CLOEXEC);
      require(read(file, bytes.data(), size) == static_cast<ssize_t>(size) && close(file) == 0,
              "log/refuse/read+memchr", "a call fails");
      const void *found = memchr(bytes.data(), '<', size);
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
  registerRefusal("log/refuse/xml_4MiB", 4194304);
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
