// Key=value files: loading, and setting one occurrence while all other lines keep their bytes. store_fuzz does both with
// any lines beside a model; what a failing call leaves is in ini_file_test.

#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr size_t kMostText = 8448;

class KeyValue : public Scratch {
 protected:
  /// The entries of a file as "key=value|", or "none".
  std::string load() const
  {
    uint32_t count = 99;
    CFGUKeyValueEntry *entries = SMCFGGetKeyValueEntries(file.c_str(), &count);
    if (entries == nullptr) {
      return "none" + std::to_string(count);
    }
    std::string text;
    for (uint32_t i = 0; i < count; ++i) {
      text += std::string(entries[i].key) + "=" + entries[i].value + "|";
    }
    SMCFGFreeKeyValueEntries(entries, count);
    return text;
  }

  uint32_t set(const char *key, const char *value, uint32_t occurrence) const
  {
    return SMCFGSetKeyValue(file.c_str(), key, value, occurrence);
  }

  const std::string file = path("x.cfg");
  const std::string temporary = path("qvcfgu32.tmp");
};

TEST(KeyValueLine, Positions)
{
  EXPECT_EQ(CFGUEqualPosition(""), -1);
  EXPECT_EQ(CFGUEqualPosition("ab"), -1);
  EXPECT_EQ(CFGUEqualPosition("a=b="), 1);
  EXPECT_EQ(CFGUGetFirstNonWhiteSpacePos(""), -1);
  EXPECT_EQ(CFGUGetFirstNonWhiteSpacePos(" \t\n"), kBadArgument);
  EXPECT_EQ(CFGUGetFirstNonWhiteSpacePos("x"), 0);
  for (const std::string text : {"abc", "a", ""}) {
    std::string shifted = text;
    CharsLeftShift(shifted.data());
    EXPECT_STREQ(shifted.c_str(), text.substr(text.empty() ? 0 : 1).c_str());
  }
}

TEST_F(KeyValue, LoadsTheEntries)
{
  const std::string piece(8449, 'x');
  const std::string longest(kMostText - 1, 'v');
  const struct {
    std::string content, entries;
  } rows[] = {{"a = 1\n# a=2\na=\"x y\"\nb\n", "a=1|a=x y|"},
              {";a=1\n \t#a=2\n\"#\"a=3\n", "none0"},
              {piece.substr(1) + "a=1\n", "=1|"},
              {"k=" + longest + "\n", "k=" + longest + "|"}};
  for (const auto &row : rows) {
    put(file, row.content);
    EXPECT_EQ(load(), row.entries);
  }
  std::string lines;
  std::string wanted;
  for (int i = 0; i < 40; ++i) {
    lines += " k" + std::to_string(i) + " = \"v\"\n";
    wanted += "k" + std::to_string(i) + "=v|";
  }
  put(file, lines);
  EXPECT_EQ(load(), wanted);
  const unsigned failures = failEach(Call::allocation, ENOMEM, [&](unsigned) {
    uint32_t loaded = 9;
    CFGUKeyValueEntry *entries = CFGUGetKeyValueEntries(file.c_str(), &loaded);
    CFGUFreeKeyValueEntries(entries, loaded);
    EXPECT_TRUE(loaded == 0 || loaded == 40) << loaded;
  });
  EXPECT_GT(failures, 80u);
  put(file, lines + std::string(70000, '\n'));
  uint32_t count = 9;
  {
    const Fault locks(Call::fcntl);
    EXPECT_EQ(CFGUGetKeyValueEntries(nullptr, &count), nullptr);
    EXPECT_EQ(locks.calls(), 0u) << "no lock without a path";
  }
  EXPECT_EQ(count, 0u);
  for (const auto &[call, nth] : {std::pair(Call::pread, 1u), {Call::pread, 2u}, {Call::open, 1u}, {Call::fcntl, 1u}}) {
    const Fault fault(call, nth, EIO);
    EXPECT_EQ(load(), "none0");
  }
}

TEST_F(KeyValue, LookupCountsOccurrences)
{
  put(file, "a=1\nA=2\na=3\n");
  uint32_t count = 0;
  CFGUKeyValueEntry *const entries = CFGUGetKeyValueEntries(file.c_str(), &count);
  ASSERT_EQ(count, 3u);
  EXPECT_EQ(CFGUGetKeyValue(entries, 3, "a", 0), entries[0].value);
  EXPECT_EQ(CFGUGetKeyValue(entries, 3, "a", 1), entries[2].value);
  EXPECT_EQ(CFGUGetKeyValue(entries, 2, "a", 1), nullptr);
  for (const auto &[key, occurrence] : {std::pair("a", 2u), {"a", UINT32_MAX}, {"", 0u}, {nullptr, 0u}}) {
    EXPECT_EQ(CFGUGetKeyValue(entries, 3, key, occurrence), nullptr);
  }
  CFGUFreeKeyValueEntries(entries, count);
}

TEST_F(KeyValue, OnePassCountsOrFills)
{
  put(file, "a=1\nb=2\n#c=3\nd=4\n");
  CFGUKeyValueEntry entries[4] = {};
  uint32_t count = 1;
  const auto pass = [&](CFGUKeyValueEntry *array, uint32_t capacity) {
    count = capacity;
    return PopulateKeyValueEntries(file.c_str(), array, &count);
  };
  const auto isEmpty = [&] {
    return std::all_of(std::begin(entries), std::end(entries),
                       [](const CFGUKeyValueEntry &entry) { return entry.key == nullptr && entry.value == nullptr; });
  };
  EXPECT_EQ(pass(nullptr, 1), kInvalid);
  EXPECT_EQ(pass(nullptr, 0), kFailed);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(pass(entries, 2), kFailed);
  EXPECT_EQ(count, 3u);
  EXPECT_TRUE(isEmpty()) << "nothing stays of a pass that failed";
  EXPECT_EQ(failEach(Call::allocation, ENOMEM,
                     [&](unsigned nth) {
                       const uint32_t status = pass(entries, 4);
                       EXPECT_EQ(status, nth <= 6 ? kNoMemory : 0u);
                       EXPECT_EQ(isEmpty(), status != 0);
                     }),
            6u)
      << "two an entry";
  EXPECT_EQ(count, 3u);
  EXPECT_STREQ(entries[2].key, "d");
  uint32_t none = 4;
  EXPECT_EQ(PopulateKeyValueEntries("/dev/null", entries, &none), 0u);
  EXPECT_EQ(none, 0u);
  for (CFGUKeyValueEntry &entry : entries) {
    free(entry.key);
    free(entry.value);
    entry = {};
  }
  const struct {
    Call call;
    unsigned nth;
    uint32_t status;
  } faults[] = {
      {Call::fcntl, 1, kLocked}, {Call::open, 1, kFailed}, {Call::pread, 1, kFailed}, {Call::pread, 2, kFailed}};
  put(file, "a=1\n" + std::string(70000, '\n'));
  for (const auto &fault : faults) {
    const Fault failing(fault.call, fault.nth, EIO);
    EXPECT_EQ(pass(entries, 4), fault.status);
    EXPECT_TRUE(isEmpty());
  }
}

TEST_F(KeyValue, SettingChangesOneOccurrence)
{
  const std::string four = "a = 1\n# a=2\na=\"x y\"\nb\n";
  const struct {
    std::string content;
    const char *key, *value;
    uint32_t occurrence, status;
    std::string result;
  } rows[] = {{four, "a", "z", 1, 0, "a = 1\n# a=2\na=z\nb\n"},
              {four, "a", "z", 0, 0, "a=z\n# a=2\na=\"x y\"\nb\n"},
              {four, "a", " \"z\" ", 2, 0, four + "a= \"z\" \n"},
              {four, "a", "z", 3, kInvalid, four},
              {four, "a", nullptr, 0, 0, "# a=2\na=\"x y\"\nb\n"},
              {four, "a", nullptr, 2, kNoKey, four},
              {four, "A", "", 0, 0, four + "A=\n"},
              {"x\0y\r\nk=1\0\n k \t=2"s, "k", "v", 1, 0, "x\0y\r\nk=1\0\nk=v\n"s},
              {"", "k", "v", 0, 0, "k=v\n"},
              {"", "k", nullptr, 0, kNoKey, ""},
              {"k" + std::string(8447, ' ') + "=1\nk=2\n", "k", "v", 0, 0, "k=v\n1\nk=2\n"}};
  for (const auto &row : rows) {
    put(file, row.content);
    EXPECT_EQ(set(row.key, row.value, row.occurrence), row.status) << row.content.substr(0, 40);
    EXPECT_EQ(get(file), row.result);
  }
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0664));
  const std::string longest(kMostText - 1, 'v');
  put(file, "x=1\n");
  EXPECT_EQ(set("k", (longest + "v").c_str(), 0), kBadSize);
  EXPECT_EQ(set(std::string(kMostText + 1, 'k').c_str(), nullptr, 0), kBadSize);
  EXPECT_EQ(set("k", longest.c_str(), 0), 0u);
  EXPECT_EQ(get(file), "x=1\nk=" + longest + "\n");
  EXPECT_EQ(load(), "x=1|k=" + longest + "|");
}

TEST_F(KeyValue, ArgumentsAndFilesThatDoNotDo)
{
  const CFGUKeyValueEntry noKey = {nullptr, nullptr};
  EXPECT_EQ(CFGUSetKeyValueEntry(file.c_str(), &noKey, 0), kInvalid);
  EXPECT_EQ(set("k", "v", 0), kNotOpened);
  EXPECT_TRUE(fs::is_empty(directory)) << "a missing file is not created";
  mkfifo(file.c_str(), 0666);
  EXPECT_EQ(set("k", "v", 0), kNotOpened);
  EXPECT_EQ(load(), "none0");
  fs::remove(file);
  fs::create_directory(file);
  EXPECT_EQ(set("k", "v", 0), kFailed);
  EXPECT_EQ(load(), "none0");
  fs::remove(file);
  put(path("victim"), "victim");
  fs::remove(temporary);
  fs::create_symlink(path("victim"), temporary);
  put(file, "k=1\n");
  EXPECT_EQ(set("k", "v", 0), 0u);
  EXPECT_EQ(get(file) + get(path("victim")), "k=v\nvictim");
  put(temporary, "k=1\n");
  const CFGUKeyValueEntry entry = {const_cast<char *>("k"), const_cast<char *>("v")};
  EXPECT_EQ(CFGUSetKeyValueEntry(temporary.c_str(), &entry, 0), kNotOpened);
  EXPECT_EQ(get(temporary), "k=1\n");
  EXPECT_EQ(CFGUSetKeyValueEntry(path("a/b/x.cfg").c_str(), &entry, 0), kFailed);
  EXPECT_EQ(CFGUSetKeyValueEntry(path("a/x.cfg").c_str(), &entry, 0), kNotOpened);
  EXPECT_TRUE(fs::is_directory(path("a")));
}

TEST_F(KeyValue, KeepsItsContentWhereNoReplacementWorks)
{
  put(file, "k=1\n");
  const Fault renames(Call::rename, 1, EIO, true);
  const Fault unlinks(Call::unlink, 1, EIO);
  EXPECT_EQ(set("k", "v", 0), kNotReplaced);
  EXPECT_EQ(get(file), "k=1\n");
}

}  // namespace
