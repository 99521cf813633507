#include "support/disk_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "support/scratch.h"

namespace support {
namespace {

using Kind = DiskCall::Kind;

thread_local DiskRecord *current = nullptr;

bool isOfNames(const DiskCall &call)
{
  return !call.from.empty() || !call.to.empty();
}

void applyToNames(const DiskCall &call, std::map<std::string, uint64_t> &names)
{
  names.erase(call.from);
  if (!call.to.empty()) {
    names[call.to] = call.file;
  }
}

/// How much of an unsynced call is on the disk.
enum class Part { none, zeros, half, all };

void applyToData(const DiskCall &call, Part part, std::string &data)
{
  if (part == Part::none) {
    return;
  }
  if (call.kind == Kind::truncate) {
    data.resize(call.offset);
    return;
  }
  std::string bytes = call.bytes;
  if (part == Part::zeros) {
    bytes.assign(bytes.size(), '\0');
  } else if (part == Part::half) {
    bytes.resize(bytes.size() / 2);
  }
  if (data.size() < call.offset + bytes.size()) {
    data.resize(call.offset + bytes.size());
  }
  data.replace(call.offset, bytes.size(), bytes);
}

/// The contents that a file may have after the first `made` calls.
std::vector<std::string> contentsOf(uint64_t file, const std::string &start, const std::vector<DiskCall> &calls,
                                    size_t made)
{
  std::string synced = start;
  std::vector<const DiskCall *> open;
  for (size_t i = 0; i < made; ++i) {
    if (calls[i].file != file) {
      continue;
    }
    if (calls[i].kind == Kind::sync) {
      for (const DiskCall *call : open) {
        applyToData(*call, Part::all, synced);
      }
      open.clear();
    } else if (calls[i].kind == Kind::write || calls[i].kind == Kind::truncate) {
      open.push_back(&calls[i]);
    }
  }
  std::set<std::string> contents;
  // Every combination for the last few calls; those before them are all there or none is.
  constexpr size_t kCombined = 4;
  const size_t combined = std::min(open.size(), kCombined);
  const size_t plain = open.size() - combined;
  for (const Part earlier : {Part::none, Part::all}) {
    for (size_t choice = 0; choice < size_t{1} << (2 * combined); ++choice) {
      std::string data = synced;
      for (size_t i = 0; i < plain; ++i) {
        applyToData(*open[i], earlier, data);
      }
      for (size_t i = 0; i < combined; ++i) {
        applyToData(*open[plain + i], static_cast<Part>(choice >> (2 * i) & 3), data);
      }
      contents.insert(std::move(data));
    }
  }
  return {contents.begin(), contents.end()};
}

}  // namespace

std::map<std::string, std::string> DiskState::files() const
{
  std::map<std::string, std::string> found;
  for (const auto &[name, file] : names) {
    found[name] = data.at(file);
  }
  return found;
}

DiskRecord::DiskRecord(std::string directory) : directory_(std::move(directory))
{
  struct stat status = {};
  stat(directory_.c_str(), &status);
  device_ = status.st_dev;
  for (const auto &entry : std::filesystem::directory_iterator(directory_)) {
    if (entry.is_regular_file()) {
      const uint64_t file = fileAt(entry.path().c_str());
      before_.names[entry.path().filename()] = file;
      before_.data[file] = get(entry.path());
    }
  }
  current = this;
}

DiskRecord::~DiskRecord()
{
  current = nullptr;
}

uint64_t DiskRecord::fileAt(const char *path) const
{
  struct stat status = {};
  return stat(path, &status) == 0 && status.st_dev == device_ && S_ISREG(status.st_mode) ? status.st_ino : 0;
}

uint64_t DiskRecord::fileOf(int descriptor) const
{
  struct stat status = {};
  return fstat(descriptor, &status) == 0 && status.st_dev == device_ && S_ISREG(status.st_mode) ? status.st_ino : 0;
}

/// The name of a path in the directory; empty for one elsewhere.
std::string DiskRecord::nameOf(const char *path) const
{
  const std::filesystem::path whole(path);
  return whole.parent_path() == directory_ ? whole.filename().string() : std::string();
}

void DiskRecord::opened(int descriptor, const char *path, bool existed, int flags)
{
  const uint64_t file = fileOf(descriptor);
  if (file == 0) {
    return;
  }
  if (!existed && !nameOf(path).empty()) {
    calls_.push_back({.kind = Kind::create, .file = file, .to = nameOf(path)});
  } else if ((flags & O_TRUNC) != 0) {
    calls_.push_back({.kind = Kind::truncate, .file = file});
  }
}

void DiskRecord::wrote(int descriptor, const void *bytes, size_t size, off_t offset)
{
  if (const uint64_t file = fileOf(descriptor); file != 0 && size != 0) {
    calls_.push_back({.kind = Kind::write,
                      .file = file,
                      .offset = static_cast<size_t>(offset),
                      .bytes = std::string(static_cast<const char *>(bytes), size)});
  }
}

void DiskRecord::truncated(int descriptor, off_t size)
{
  if (const uint64_t file = fileOf(descriptor); file != 0) {
    calls_.push_back({.kind = Kind::truncate, .file = file, .offset = static_cast<size_t>(size)});
  }
}

void DiskRecord::synced(int descriptor)
{
  struct stat status = {};
  if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    calls_.push_back({.kind = Kind::syncDirectory});
  } else if (const uint64_t file = fileOf(descriptor); file != 0) {
    calls_.push_back({.kind = Kind::sync, .file = file});
  }
}

void DiskRecord::renamed(const char *from, const char *to, uint64_t file)
{
  calls_.push_back({.kind = Kind::rename, .file = file, .from = nameOf(from), .to = nameOf(to)});
}

void DiskRecord::unlinked(const char *path, uint64_t file)
{
  calls_.push_back({.kind = Kind::unlink, .file = file, .from = nameOf(path)});
}

DiskRecord *currentDiskRecord()
{
  return current;
}

size_t forEachStateAfterPowerLoss(const DiskState &before, const std::vector<DiskCall> &calls,
                                  const std::function<void(const DiskState &, size_t made)> &check)
{
  std::set<std::pair<size_t, std::map<std::string, std::string>>> seen;
  for (size_t made = 0; made <= calls.size(); ++made) {
    std::map<std::string, uint64_t> certain = before.names;
    std::vector<const DiskCall *> uncertain;
    for (size_t i = 0; i < made; ++i) {
      if (calls[i].kind == Kind::syncDirectory) {
        for (const DiskCall *call : uncertain) {
          applyToNames(*call, certain);
        }
        uncertain.clear();
      } else if (isOfNames(calls[i])) {
        uncertain.push_back(&calls[i]);
      }
    }
    std::map<uint64_t, std::vector<std::string>> contents;
    for (size_t choice = 0; choice < size_t{1} << uncertain.size(); ++choice) {
      DiskState state = {certain, {}};
      for (size_t i = 0; i < uncertain.size(); ++i) {
        if ((choice >> i & 1) != 0) {
          applyToNames(*uncertain[i], state.names);
        }
      }
      std::vector<uint64_t> linked;
      size_t combinations = 1;
      for (const auto &[name, file] : state.names) {
        if (std::find(linked.begin(), linked.end(), file) == linked.end()) {
          linked.push_back(file);
          const auto start = before.data.find(file);
          if (!contents.contains(file)) {
            contents[file] = contentsOf(file, start == before.data.end() ? "" : start->second, calls, made);
          }
          combinations *= contents[file].size();
        }
      }
      for (size_t combination = 0; combination < combinations; ++combination) {
        size_t rest = combination;
        for (const uint64_t file : linked) {
          state.data[file] = contents[file][rest % contents[file].size()];
          rest /= contents[file].size();
        }
        if (seen.emplace(made, state.files()).second) {
          check(state, made);
        }
      }
    }
  }
  return seen.size();
}

}  // namespace support
