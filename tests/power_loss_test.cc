// What a loss of power leaves of the files that the library writes: every state that a disk may show after it, at each
// point of each kind of change, is built and read back.

#include <set>

#include "support/disk_record.h"
#include "support/log_formats.h"
#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;
using Files = std::map<std::string, std::string>;

class PowerLoss : public Scratch {
 protected:
  PowerLoss() { std::filesystem::create_directory(disk); }

  /// Runs the change, and gives every state that a loss of power during it may leave to the check, as files by name.
  /// `alter` may change what was recorded.
  size_t forEachState(const std::function<void()> &change, const std::function<void(const Files &, size_t made)> &check,
                      const std::function<void(std::vector<DiskCall> &)> &alter = {})
  {
    DiskState before;
    std::vector<DiskCall> calls;
    {
      DiskRecord record(disk);
      change();
      before = record.before();
      calls = record.calls();
    }
    EXPECT_FALSE(calls.empty()) << "nothing was recorded";
    if (alter) {
      alter(calls);
    }
    const size_t states = forEachStateAfterPowerLoss(
        before, calls, [&](const DiskState &state, size_t made) { check(state.files(), made); });
    printf("%zu states after %zu calls\n", states, calls.size());
    return states;
  }

  /// Puts a state on a disk of its own, where the machine has come up again, and returns the path of a file there.
  std::string comeUp(const Files &files, const std::string &name) const
  {
    std::filesystem::remove_all(after);
    std::filesystem::create_directory(after);
    for (const auto &[file, content] : files) {
      put(after + "/" + file, content);
    }
    return after + "/" + name;
  }

  std::string onDisk(const std::string &name) const { return disk + "/" + name; }

  const std::string disk = path("disk");
  const std::string after = path("after");
};

std::string contentOf(const Files &files, const std::string &name)
{
  const auto found = files.find(name);
  return found == files.end() ? "(missing)" : found->second;
}

/// Sets a text in a settings file; a null value removes the key, a null key the section.
uint32_t set(const std::string &path, const char *section, const char *key, const char *value)
{
  return SMWriteINIPathFileValue(section, key, SM_INI_TYPE_ASTRING, value,
                                 value == nullptr ? 0 : static_cast<uint32_t>(strlen(value) + 1), path.c_str(), 1);
}

uint32_t setEntry(const std::string &path, const char *, const char *key, const char *value)
{
  return SMCFGSetKeyValue(path.c_str(), key, value, 0);
}

/// What a settings file is at first, and the changes that it goes through.
struct Settings {
  std::string start;
  uint32_t (*set)(const std::string &path, const char *section, const char *key, const char *value);
  struct Change {
    const char *section, *key, *value;
  };
  std::vector<Change> changes;
};

const std::string kLong(6000, 'x');
const Settings kIni = {"[s]\nk=old\n[t]\nx=1\n",
                       set,
                       {{"s", "k", "new"},
                        {"s", "added", kLong.c_str()},
                        {"s", "k", nullptr},
                        {"new section", "k", "v"},
                        {"t", nullptr, nullptr}}};
const Settings kKeyValue = {
    "# comment\nk = old\n", setEntry, {{"", "k", "new"}, {"", "k", nullptr}, {"", "k", "again"}}};

class PowerLossOfSettings : public PowerLoss, public testing::WithParamInterface<const Settings *> {
 protected:
  /// Makes a change, and returns the content after it.
  std::string make(const Settings::Change &change) const
  {
    EXPECT_EQ(GetParam()->set(file, change.section, change.key, change.value), 0u);
    return get(file);
  }

  const std::string file = onDisk("settings");
};

TEST_P(PowerLossOfSettings, LeavesAWholeContentOfTheFile)
{
  put(file, GetParam()->start);
  std::set<std::string> contents = {GetParam()->start};
  const size_t states = forEachState(
      [&] {
        for (const auto &change : GetParam()->changes) {
          contents.insert(make(change));
        }
      },
      [&](const Files &files, size_t made) {
        const std::string content = contentOf(files, "settings");
        EXPECT_TRUE(contents.contains(content)) << "after " << made << " calls: " << content;
      });
  EXPECT_GT(states, 50u);
}

/// A rewrite that trusts the disk too much is caught: the model tells a sound order from an unsound one.
TEST_P(PowerLossOfSettings, IsSeenWhereARewriteDoesNotSyncInTime)
{
  const auto unsoundStates = [&](const std::function<void(std::vector<DiskCall> &)> &alter) {
    put(file, GetParam()->start);
    std::string changed;
    size_t unsound = 0;
    forEachState([&] { changed = make(GetParam()->changes[0]); },
                 [&](const Files &files, size_t) {
                   const std::string content = contentOf(files, "settings");
                   unsound += content != GetParam()->start && content != changed ? 1 : 0;
                 },
                 alter);
    return unsound;
  };
  EXPECT_EQ(unsoundStates([](std::vector<DiskCall> &) {}), 0u);
  const auto isSync = [](const DiskCall &call) { return call.kind == DiskCall::Kind::sync; };
  const auto isRename = [](const DiskCall &call) { return call.kind == DiskCall::Kind::rename; };
  EXPECT_GT(unsoundStates([&](std::vector<DiskCall> &calls) { std::erase_if(calls, isSync); }), 0u) << "without a sync";
  EXPECT_GT(unsoundStates([&](std::vector<DiskCall> &calls) {
              const auto rename = std::find_if(calls.begin(), calls.end(), isRename);
              const auto sync = std::find_if(calls.begin(), calls.end(), isSync);
              ASSERT_TRUE(rename != calls.end() && sync < rename);
              std::rotate(sync, rename, rename + 1);
            }),
            0u)
      << "a rename before the sync";
}

INSTANTIATE_TEST_SUITE_P(Files, PowerLossOfSettings, testing::Values(&kIni, &kKeyValue),
                         [](const auto &file) { return file.param == &kIni ? "Ini" : "KeyValue"; });

TEST_F(PowerLoss, LeavesNoneOrAllOfANewFile)
{
  const std::string file = onDisk("new.ini");
  std::string made;
  forEachState(
      [&] {
        EXPECT_EQ(set(file, "s", "k", "v"), 0u);
        made = get(file);
      },
      [&](const Files &files, size_t calls) {
        const std::string content = contentOf(files, "new.ini");
        EXPECT_TRUE(content == "(missing)" || content == made) << "after " << calls << " calls: " << content;
      });
}

TEST_F(PowerLoss, LeavesAFileOfTwoNamesOldOrWithAPartOfTheNewLines)
{
  const std::string start = "[s]\nk=old\n";
  put(onDisk("one.ini"), start);
  ASSERT_EQ(link(onDisk("one.ini").c_str(), onDisk("other.ini").c_str()), 0);
  forEachState([&] { EXPECT_EQ(set(onDisk("one.ini"), "new", "k", "v"), 0u); },
               [&](const Files &files, size_t made) {
                 const std::string content = contentOf(files, "one.ini");
                 EXPECT_TRUE(content.starts_with(start)) << "after " << made << " calls: " << content;
                 EXPECT_EQ(contentOf(files, "other.ini"), content);
                 // The file can be read and written again.
                 const std::string again = comeUp(files, "one.ini");
                 char value[16];
                 uint32_t size = sizeof(value);
                 EXPECT_EQ(
                     SMReadINIPathFileValue("s", "k", SM_INI_TYPE_ASTRING, value, &size, nullptr, 0, again.c_str(), 1),
                     0u);
                 EXPECT_STREQ(value, "old");
                 EXPECT_EQ(set(again, "s", "k", "new"), 0u);
               });
}

/// Either log: the function that appends, and how its file is named.
struct Log {
  const char *name;
  const char *backup;
  uint32_t (*append)(const std::string &path, const LogEvent &event);
  uint32_t refusal;  // the status of an append to a log that lost its end; 0 if there is none
  size_t endSize;    // the bytes at the end that the next append overwrites
};

constexpr Log kText = {"log.log", "log.lo_", TextFormat::append, 0, 0};
constexpr Log kXml = {"log.xml", "log.xm_", XmlFormat::append, kBadType, 11};

class PowerLossOfLogs : public PowerLoss, public testing::WithParamInterface<const Log *> {
 protected:
  uint32_t append(const std::string &path, uint32_t id, uint32_t maximum = UINT32_MAX) const
  {
    return log.append(path,
                      {.id = id, .description = u"description", .data = "data", .dataSize = 4, .maximum = maximum});
  }

  const Log &log = *GetParam();
  const std::string file = onDisk(log.name);
};

TEST_P(PowerLossOfLogs, KeepsTheRecordsThatWereOnTheDisk)
{
  ASSERT_EQ(append(file, 1), 0u);
  ASSERT_EQ(append(file, 2), 0u);
  const std::string old = get(file);
  const std::string records = old.substr(0, old.size() - log.endSize);
  size_t refused = 0;
  const size_t states = forEachState(
      [&] {
        EXPECT_EQ(append(file, 3), 0u);
        EXPECT_EQ(append(file, 4), 0u);
      },
      [&](const Files &files, size_t made) {
        EXPECT_TRUE(contentOf(files, log.name).starts_with(records)) << "after " << made << " calls";
        const std::string again = comeUp(files, log.name);
        const uint32_t status = append(again, 5);
        EXPECT_TRUE(status == 0 || status == log.refusal) << status;
        refused += status == 0 ? 0 : 1;
        EXPECT_TRUE(get(again).starts_with(records));
      });
  printf("%zu of them are refused until the log is repaired\n", refused);
  EXPECT_LT(refused, states);
}

TEST_P(PowerLossOfLogs, KeepsTheRecordsOfALogThatRotates)
{
  for (uint32_t id = 1; id <= 3; ++id) {
    ASSERT_EQ(append(file, id), 0u);
  }
  const std::string old = get(file);
  forEachState([&] { EXPECT_EQ(append(file, 4, static_cast<uint32_t>(old.size())), 0u); },
               [&](const Files &files, size_t made) {
                 const std::string content = contentOf(files, log.name);
                 const std::string backup = contentOf(files, log.backup);
                 EXPECT_TRUE(backup == old || content == old) << "after " << made << " calls: " << content;
                 const uint32_t status = append(comeUp(files, log.name), 5);
                 EXPECT_TRUE(status == 0 || status == log.refusal) << status;
               });
}

INSTANTIATE_TEST_SUITE_P(Logs, PowerLossOfLogs, testing::Values(&kText, &kXml),
                         [](const auto &which) { return which.param == &kText ? "Text" : "Xml"; });

}  // namespace
