// Settings files beside other ways to read and write them: libinih with a handler that keeps one value, a scan by
// getline(3), and for key=value files getline and strndup. The limits do by hand what no other way can avoid: one read
// and one memory search; for a set also one write, one fdatasync and one rename. All of them hold the global file lock,
// as everybody who shares these files must; the row lock/pair is its share.
//
// Files lie beside the IPC file, which the sandbox keeps in memory: the work is timed, not a disk.

#include <fcntl.h>
#include <ini.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

constexpr size_t kSizes[] = {10, 1000, 10000};
constexpr size_t kSectionLines = 25;
constexpr size_t kBytesPerLine = 33;
constexpr size_t kRoom = 256;

struct CloseFile {
  void operator()(FILE *file) const { (void)fclose(file); }
};
using Stream = std::unique_ptr<FILE, CloseFile>;

class Locked {
 public:
  Locked() { require(FileLock(0) == 1, "FileLock", "the lock is not obtained"); }
  ~Locked() { require(FileUnlock() == 0, "FileUnlock", "the lock is not released"); }
  Locked(const Locked &) = delete;
  Locked &operator=(const Locked &) = delete;
};

/// A line as getline(3) gives it.
class Lines {
 public:
  explicit Lines(const std::string &path) : file_(fopen(path.c_str(), "r")) {}
  ~Lines() { free(line_); }
  Lines(const Lines &) = delete;
  Lines &operator=(const Lines &) = delete;

  bool next(std::string_view &line)
  {
    const ssize_t size = getline(&line_, &capacity_, file_.get());
    line = {line_, static_cast<size_t>(size < 0 ? 0 : size)};
    return size > 0;
  }

 private:
  Stream file_;
  char *line_ = nullptr;
  size_t capacity_ = 0;
};

enum class Wanted { last, first };

/// A file of lines, and the key in it that is looked for. Its directory has no other file.
class Settings {
 public:
  Settings(size_t lines, size_t sectionLines, Wanted wanted = Wanted::last)
  {
    std::string directory = l_ipc_filename;
    directory.replace(directory.rfind('/') + 1, std::string::npos, "benchXXXXXX");
    require(mkdtemp(directory.data()) != nullptr, directory, "cannot be made");
    path = directory + "/settings";
    temporary = directory + "/next";
    const Stream file(fopen(path.c_str(), "w"));
    for (size_t i = 0; i < lines; ++i) {
      const std::string number = std::to_string(i);
      const bool isWanted = wanted == Wanted::last || i <= 2;
      if (i % sectionLines == 0) {
        const std::string name = "component." + std::to_string(i / sectionLines);
        section = isWanted ? name : section;
        (void)fprintf(file.get(), "[%s]\n", name.c_str());
      } else if (i % sectionLines == 1) {
        (void)fprintf(file.get(), "; limits of component %zu\n", i);
      } else {
        key = isWanted ? "option." + number : key;
        value = isWanted ? "value " + number + " of many" : value;
        (void)fprintf(file.get(), "option.%zu=value %zu of many\n", i, i);
      }
    }
  }
  ~Settings()
  {
    (void)unlink(path.c_str());
    (void)rmdir(path.substr(0, path.rfind('/')).c_str());
  }
  Settings(const Settings &) = delete;
  Settings &operator=(const Settings &) = delete;

  std::string path, temporary, section, key, value;
};

// Reading one value ---------------------------------------------------------------------------------------------------

using Read = bool (*)(const Settings &settings, char *value);

bool readOurs(const Settings &settings, char *value)
{
  uint32_t size = kRoom;
  return ReadINIFileValue_astring(settings.section.c_str(), settings.key.c_str(), value, &size, nullptr, 0,
                                  settings.path.c_str(), 1) == SM_STATUS_SUCCESS;
}

bool isHeader(std::string_view line, std::string_view section)
{
  return line.size() >= section.size() + 2 && line[0] == '[' && line[section.size() + 1] == ']' &&
         line.compare(1, section.size(), section) == 0;
}

bool readByGetline(const Settings &settings, char *value)
{
  const Locked lock;
  Lines lines(settings.path);
  std::string_view line;
  bool inside = false;
  while (lines.next(line)) {
    if (line[0] == '[') {
      inside = isHeader(line, settings.section);
    } else if (inside && line[0] != ';') {
      const size_t equals = line.find('=');
      if (equals == settings.key.size() && line.compare(0, equals, settings.key) == 0) {
        value[line.copy(value, kRoom - 1, equals + 1) - 1] = '\0';
        return true;
      }
    }
  }
  return false;
}

struct Found {
  const Settings *settings;
  char *value;
  bool found;
};

int keepWanted(void *user, const char *section, const char *name, const char *value)
{
  auto *wanted = static_cast<Found *>(user);
  if (!wanted->found && wanted->settings->section == section && wanted->settings->key == name) {
    (void)snprintf(wanted->value, kRoom, "%s", value);
    wanted->found = true;
  }
  return wanted->found ? 0 : 1;
}

bool readByInih(const Settings &settings, char *value)
{
  Found wanted = {&settings, value, false};
  const Locked lock;
  (void)ini_parse(settings.path.c_str(), keepWanted, &wanted);
  return wanted.found;
}

/// The bytes of a file, and a search in them.
struct Content {
  explicit Content(const std::string &path)
  {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    (void)fstat(file, &status);
    bytes.reset(new char[static_cast<size_t>(status.st_size)]);
    const ssize_t got = read(file, bytes.get(), static_cast<size_t>(status.st_size));
    size = static_cast<size_t>(got < 0 ? 0 : got);
    (void)close(file);
  }

  char *find(const std::string &text, char *from) const
  {
    return static_cast<char *>(memmem(from, static_cast<size_t>(bytes.get() + size - from), text.data(), text.size()));
  }

  std::unique_ptr<char[]> bytes;
  size_t size;
};

/// The bytes of the value that is wanted.
std::string_view findValue(const Settings &settings, const Content &content)
{
  char *const section = content.find("[" + settings.section + "]\n", content.bytes.get());
  char *const key = content.find("\n" + settings.key + "=", section);
  char *const value = key + settings.key.size() + 2;
  return {value, static_cast<size_t>(static_cast<char *>(rawmemchr(value, '\n')) - value)};
}

bool readByMemmem(const Settings &settings, char *value)
{
  const Locked lock;
  const Content content(settings.path);
  const std::string_view found = findValue(settings, content);
  value[found.copy(value, kRoom - 1)] = '\0';
  return true;
}

// Listing the keys of the section -------------------------------------------------------------------------------------

using List = size_t (*)(const Settings &settings, std::vector<char> &list);

size_t listOurs(const Settings &settings, std::vector<char> &list)
{
  auto size = static_cast<uint32_t>(list.size());
  const uint32_t status = ReadINIFileValue_astring(settings.section.c_str(), nullptr, list.data(), &size, nullptr, 0,
                                                   settings.path.c_str(), 1);
  return status == SM_STATUS_SUCCESS ? size : 0;
}

size_t listByGetline(const Settings &settings, std::vector<char> &list)
{
  const Locked lock;
  Lines lines(settings.path);
  std::string_view line;
  bool inside = false;
  size_t size = 0;
  while (lines.next(line)) {
    if (line[0] == '[') {
      inside = isHeader(line, settings.section);
    } else if (inside && line[0] != ';') {
      const size_t length = line.find('=');
      size += line.copy(list.data() + size, length);
      list[size++] = '\0';
    }
  }
  return size;
}

struct Listing {
  const Settings *settings;
  char *end;
};

int addName(void *user, const char *section, const char *name, const char *)
{
  auto *listing = static_cast<Listing *>(user);
  if (listing->settings->section == section) {
    listing->end = stpcpy(listing->end, name) + 1;
  }
  return 1;
}

size_t listByInih(const Settings &settings, std::vector<char> &list)
{
  Listing listing = {&settings, list.data()};
  const Locked lock;
  (void)ini_parse(settings.path.c_str(), addName, &listing);
  return static_cast<size_t>(listing.end - list.data());
}

// Setting one key -----------------------------------------------------------------------------------------------------

using Set = bool (*)(const Settings &settings, const std::string &value);

bool setOurs(const Settings &settings, const std::string &value)
{
  return WriteINIFileValue_astring(settings.section.c_str(), settings.key.c_str(), value.c_str(),
                                   static_cast<uint32_t>(value.size()) + 1, settings.path.c_str(),
                                   1) == SM_STATUS_SUCCESS;
}

bool setByHand(const Settings &settings, const std::string &value)
{
  const Locked lock;
  const Content content(settings.path);
  const std::string_view old = findValue(settings, content);
  const int file = open(settings.temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0664);
  const iovec pieces[] = {{content.bytes.get(), static_cast<size_t>(old.data() - content.bytes.get())},
                          {const_cast<char *>(value.data()), value.size()},
                          {const_cast<char *>(old.data() + old.size()),
                           static_cast<size_t>(content.bytes.get() + content.size - (old.data() + old.size()))}};
  const bool written = writev(file, pieces, 3) > 0 && fdatasync(file) == 0;
  return close(file) == 0 && rename(settings.temporary.c_str(), settings.path.c_str()) == 0 && written;
}

// Key=value files -----------------------------------------------------------------------------------------------------

using Load = size_t (*)(const Settings &settings);

size_t loadOurs(const Settings &settings)
{
  uint32_t count;
  CFGUKeyValueEntry *entries = opaque(CFGUGetKeyValueEntries(settings.path.c_str(), &count));
  CFGUFreeKeyValueEntries(entries, count);
  return count;
}

/// Cuts blanks and the line end off, which is less than the normal form takes.
std::string_view trim(std::string_view text)
{
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && isBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

size_t loadByGetline(const Settings &settings)
{
  const Locked lock;
  Lines lines(settings.path);
  std::string_view line;
  std::vector<CFGUKeyValueEntry> entries;
  while (lines.next(line)) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || line[0] == '#' || line[0] == ';') {
      continue;
    }
    const std::string_view key = trim(line.substr(0, equals));
    const std::string_view value = trim(line.substr(equals + 1));
    entries.push_back({strndup(key.data(), key.size()), strndup(value.data(), value.size())});
  }
  benchmark::DoNotOptimize(entries.data());
  for (const CFGUKeyValueEntry &entry : entries) {
    free(entry.key);
    free(entry.value);
  }
  return entries.size();
}

bool setEntryOurs(const Settings &settings, const std::string &value)
{
  const CFGUKeyValueEntry entry = {const_cast<char *>(settings.key.c_str()), const_cast<char *>(value.c_str())};
  return CFGUSetKeyValueEntry(settings.path.c_str(), &entry, 0) == SM_STATUS_SUCCESS;
}

bool setEntryByGetline(const Settings &settings, const std::string &value)
{
  const Locked lock;
  Lines lines(settings.path);
  Stream output(fopen(settings.temporary.c_str(), "w"));
  std::string_view line;
  while (lines.next(line)) {
    const size_t equals = line.find('=');
    if (equals != std::string_view::npos && trim(line.substr(0, equals)) == settings.key) {
      (void)fprintf(output.get(), "%s=%s\n", settings.key.c_str(), value.c_str());
    } else {
      (void)fwrite(line.data(), 1, line.size(), output.get());
    }
  }
  const bool written = fflush(output.get()) == 0 && fdatasync(fileno(output.get())) == 0;
  return fclose(output.release()) == 0 && rename(settings.temporary.c_str(), settings.path.c_str()) == 0 && written;
}

// Rows ----------------------------------------------------------------------------------------------------------------

bool hasLock(benchmark::State &state)
{
  if (hGFileLock == 0) {
    state.SkipWithError("the library has no global file lock here: the directory of the IPC file is missing");
    return false;
  }
  return true;
}

/// Adds a row for a file, whose work answers whether its result is right.
template <class Work>
void add(const std::string &row, size_t lines, size_t sectionLines, Work work, Wanted wanted = Wanted::last)
{
  benchmark::RegisterBenchmark(row.c_str(), [=](benchmark::State &state) mutable {
    if (!hasLock(state)) {
      return;
    }
    const Settings settings(lines, sectionLines, wanted);
    require(work(settings), row, "the result is wrong");
    settleHeap();
    for (auto _ : state) {
      bool done = work(settings);
      benchmark::DoNotOptimize(done);
    }
    countItems(state, 1);
  });
}

void addRead(const std::string &row, const char *who, size_t lines, size_t sectionLines, Read read,
             Wanted wanted = Wanted::last)
{
  const auto work = [read](const Settings &settings) {
    char value[kRoom];
    return read(settings, value) && settings.value == value;
  };
  add(row + "/" + who, lines, sectionLines, work, wanted);
}

void addList(const std::string &row, const char *who, size_t lines, List list)
{
  add(row + "/" + who, lines, lines, [list, room = std::vector<char>(lines * 20)](const Settings &settings) mutable {
    const size_t size = list(settings, room);
    return size > settings.key.size() && settings.key == room.data() + size - settings.key.size() - 1;
  });
}

void addSet(const std::string &row, const char *who, size_t lines, Set set, Read check)
{
  add(row + "/" + who, lines, kSectionLines, [=, turn = 0](const Settings &settings) mutable {
    const std::string value = "value of turn " + std::to_string(++turn % 10);
    char seen[kRoom];
    return set(settings, value) && (turn > 1 || check == nullptr || (check(settings, seen) && value == seen));
  });
}

void addLoad(const std::string &row, const char *who, size_t lines, Load load)
{
  const size_t entries = lines - 2 * ((lines + kSectionLines - 1) / kSectionLines);
  add(row + "/" + who, lines, kSectionLines, [=](const Settings &settings) { return load(settings) == entries; });
}

void registerRows()
{
  for (const size_t lines : kSizes) {
    const std::string size = "/" + std::to_string(lines);
    for (const bool flat : {false, true}) {
      const std::string row = (flat ? "ini/read_one_section" : "ini/read") + size;
      const size_t sectionLines = flat ? lines : kSectionLines;
      addRead(row, "ours", lines, sectionLines, readOurs);
      addRead(row, "getline", lines, sectionLines, readByGetline);
      addRead(row, "inih", lines, sectionLines, readByInih);
      addRead(row, "memmem", lines, sectionLines, readByMemmem);
    }
    addList("ini/list" + size, "ours", lines, listOurs);
    addList("ini/list" + size, "getline", lines, listByGetline);
    addList("ini/list" + size, "inih", lines, listByInih);
    addSet("ini/set" + size, "ours", lines, setOurs, readOurs);
    addSet("ini/set" + size, "by_hand", lines, setByHand, readOurs);
    addLoad("keyvalue/load" + size, "ours", lines, loadOurs);
    addLoad("keyvalue/load" + size, "getline", lines, loadByGetline);
    addSet("keyvalue/set" + size, "ours", lines, setEntryOurs, readOurs);
    addSet("keyvalue/set" + size, "getline", lines, setEntryByGetline, readOurs);
  }
  addRead("ini/read_first/1000", "ours", 1000, kSectionLines, readOurs, Wanted::first);
  addRead("ini/read_first/1000", "getline", 1000, kSectionLines, readByGetline, Wanted::first);
  // The cost grows with the file, not faster.
  for (const size_t kilobytes : {1, 10, 100, 1000}) {
    const size_t lines = kilobytes * 1024 / kBytesPerLine;
    const std::string size = "/" + std::to_string(kilobytes) + "KB";
    addRead("ini/scale_read" + size, "ours", lines, kSectionLines, readOurs);
    addSet("ini/scale_set" + size, "ours", lines, setOurs, readOurs);
    addLoad("keyvalue/scale_load" + size, "ours", lines, loadOurs);
  }
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
