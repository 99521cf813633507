// INI files: exact bytes and statuses of reads, lists and rewrites; files with anything in them, and anything in place
// of files; and what is on the disk, of key=value files too, after each system call and allocation has failed. store_fuzz
// reads, lists and sets with any lines beside a model.

#include <linux/capability.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/syscall.h>

#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr uint32_t kLongestValue = 8192;
constexpr size_t kLineLimit = 8449;

std::string times(size_t count, char c)
{
  return std::string(count, c);
}

/// A caller's buffer that ends at an unreadable page, filled with "?".
struct Buffer {
  explicit Buffer(uint32_t capacity) : block(capacity), size(capacity) { memset(block.data(), '?', capacity); }
  char *data() { return reinterpret_cast<char *>(block.data()); }
  std::string text() { return {data(), block.size()}; }

  GuardedBlock block;
  uint32_t size;
};

using Ini = Scratch;

class IniFile : public Ini {
 protected:
  /// Status, size and the bytes of the buffer.
  std::string read(const char *section, const char *key, uint32_t size, const char *defaultText = nullptr,
                   uint32_t defaultSize = 0)
  {
    Buffer buffer(size);
    const uint32_t status =
        ReadINIFileValue_astring(section, key, buffer.data(), &buffer.size, defaultText, defaultSize, file.c_str(), 1);
    return std::to_string(static_cast<int32_t>(status)) + " " + std::to_string(buffer.size) + " " + buffer.text();
  }

  uint32_t set(const char *section, const char *key, const char *value, std::optional<uint32_t> size = {})
  {
    const uint32_t real = value == nullptr ? 0 : static_cast<uint32_t>(strlen(value)) + 1;
    return WriteINIFileValue_astring(section, key, value, size.value_or(real), file.c_str(), 1);
  }

  const std::string file = path("x.ini");
  const std::string temporary = path("qvpstr32.tmp");
};

TEST_F(IniFile, LookupTakesTheFirstKeyOfTheFirstSection)
{
  const std::string longName = times(256, 'n');
  const struct {
    std::string content;
    const char *section, *key;
    uint32_t status;
    std::string value;
  } rows[] = {{"[s]\nk=v", "s", "k", 0, "v"},
              {"[s]\nk= a = b\t;c\r\n", "s", "k", 0, " a = b\t;c\r"},
              {" \t[s] [x\n \tk=v\n", "s", "k", 0, "v"},
              {"[]\n=v\n", "", "", 0, "v"},
              {"[ s ]\nk=1\n[s]\nk =2\nk=3\nk=4\n[s]\nk=5\n", "s", "k", 0, "3"},
              {"k=1\n[t]\nk=2\n[s]\nK=3\nk\n#k=4\n;k=5\n", "s", "k", kNoKey, ""},
              {"[s]\na=1\n \t[t]\nk=2\n", "s", "k", kNoKey, ""},
              {" [t\n[s]\nk=2\n", "s", "k", kBadFile, ""},
              {"#[t\n;[t\nx[t\n[s]\nk=2\n", "s", "k", 0, "2"},
              {"[s]\nk=1\n", "S", "k", kNoSection, ""},
              {"", "s", "k", kNoSection, ""},
              {"[" + longName + "]\nk=1\n", longName.c_str(), "k", kNoSection, ""},
              {"[" + times(255, 'n') + "]\nk=1\n", longName.c_str() + 1, "k", 0, "1"},
              // A NUL ends what a line says, not the line.
              {"[t]\0\nx\0[t\n[s]\0\nk\0=1\nk=2\0003\nk=4\n"s, "s", "k", 0, "2"},
              // After 8449 characters a new line begins.
              {times(kLineLimit - 1, 'x') + "[s]\nk=1\n", "s", "k", kNoSection, ""},
              {times(kLineLimit, 'x') + "[s]\nk=1\n", "s", "k", 0, "1"},
              {"[s]\n" + times(kLineLimit - 1, ' ') + "k=1\nk=2\n", "s", "k", 0, "2"},
              {times(70000, '\n') + "[s]\n" + times(70000, '\n') + "k=1\n", "s", "k", 0, "1"}};
  for (const auto &row : rows) {
    put(file, row.content);
    const std::string rest = times(40 - row.value.size() - 1, '?');
    const std::string wanted = row.status == 0
                                   ? "0 " + std::to_string(row.value.size() + 1) + " " + row.value + '\0' + rest
                                   : std::to_string(row.status) + " 5 dflt\0"s + times(35, '?');
    EXPECT_EQ(read(row.section, row.key, 40, "dflt", 5), wanted) << testing::PrintToString(row.content.substr(0, 80));
  }
}

TEST_F(IniFile, ReadKeepsToTheBufferAndItsSize)
{
  put(file, "[s]\nk=abc\n");
  EXPECT_EQ(read("s", "k", 4), "0 4 abc\0"s);
  EXPECT_EQ(read("s", "k", 3, "x", 2), "16 4 ???") << "no default";
  EXPECT_EQ(read("s", "no", 3, "xyz", 4), "263 3 xy\0"s);
  EXPECT_EQ(read("s", "no", 4, "xyz", 2), "263 2 x\0??"s);
  EXPECT_EQ(read("s", "no", 4, "xyz", 0), "263 0 \0???"s);
  EXPECT_EQ(read("s", "no", 4, nullptr, 4), "263 0 \0???"s);
  EXPECT_EQ(read("no", "k", 1, "xyz", 4), "262 1 \0"s);
  put(file, "[s]\nk=" + times(kLongestValue, 'v') + "\n");
  EXPECT_EQ(read("s", "k", kLongestValue + 1), "0 8193 " + times(kLongestValue, 'v') + '\0');

  EXPECT_EQ(read("s", "k", 0, "d", 2), "2 0 ");
  fs::remove(file);
  EXPECT_EQ(read("s", "k", 1, "d", 2), "7 1 ?") << "no default where there is no file";
}

TEST_F(IniFile, ListsNamesWithTheirSizes)
{
  const std::string twoNames = "[a]\nx=1\n[b]\n[a]\ny=2\n";
  const struct {
    std::string content;
    const char *section;
    uint32_t size;
    std::string result;  // status, size, buffer
  } rows[] = {{twoNames, nullptr, 7, "0 6 a\0b\0a\0\0"s},
              {twoNames, nullptr, 6, "16 7 a\0b\0\0?"s},
              {twoNames, nullptr, 2, "16 6 \0\0"s},
              {twoNames, nullptr, 1, "2 1 ?"},
              {twoNames, "a", 4, "0 2 x\0\0?"s},
              {"[b]\n[" + times(256, 'n') + "]\n[]\n", nullptr, 6, "0 3 b\0\0\0??"s},
              {"[a]\n[b\n[c]\n", nullptr, 4, "261 4 a\0\0?"s},
              {"#[a]\nk=[b]\n", nullptr, 3, "262 3 \0\0?"s},
              {"[s]\n b =1\n#c=1\nd\nb=2\n=3\n[e\nf=1\n", "s", 8, "0 6 b \0b\0\0\0?"s},
              {"[s]\n[t]\nk=1\n", "s", 3, "263 3 \0\0?"s},
              {"[s]\n" + times(kLineLimit, 'x') + "k=1\n" + times(kLineLimit, 'y') + "\n", "s", 9,
               "0 2 k\0\0"s + times(6, '?')}};
  for (const auto &row : rows) {
    put(file, row.content);
    EXPECT_EQ(read(row.section, nullptr, row.size, "d", 2), row.result) << testing::PrintToString(row.content);
  }
}

TEST_F(IniFile, SetChangesOneLineAndNothingElse)
{
  const std::string other = "# c \r\n;d\n\nk=0\n[o]\nk=\0 1\n"s;
  const std::string longLine = times(kLineLimit - 1, 'x');
  const struct {
    std::string content;
    const char *section, *key, *value;
    uint32_t status;
    std::string result;
  } rows[] = {{other + "[s] x\n k=old\nk=2\n[t", "s", "k", "new", 0, other + "[s] x\nk=new\nk=2\n[t"},
              {other + "[s]\n\n#c\n\t[t\nk=1", "s", "k", "new", 0, other + "[s]\n\n#c\nk=new\n\t[t\nk=1"},
              {"[s]\nk", "s", "k", "v", 0, "[s]\nk=v\n"},
              {"[s]\nkez\nkey", "s", "key", "v", 0, "[s]\nkez\nkey=v\n"},
              {"[s]\n k\0=1\n"s, "s", "k", "v", 0, "[s]\nk=v\n"},
              {"[s]\nk=1\n", "t", "k", "v", 0, "[s]\nk=1\n[t]\nk=v\n"},
              {"", "t", "k", "v", 0, "[t]\nk=v\n"},
              {"[s]\nk =1\n#k=2\nk=1\n", "s", "k", nullptr, 0, "[s]\nk =1\n#k=2\n"},
              {other + "[s]\na\n;b\n [t]\n#c\nd\n[u", "s", nullptr, nullptr, 0, other + "#c\nd\n[u"},
              {"[s]\na\n[s]\nb", "s", nullptr, "ignored", 0, "[s]\nb"},
              {"[s]\n", "t", nullptr, nullptr, kBadSize, "[s]\n"},
              {"[x\n[s]\nk=1\n", "s", "k", "v", kBadFile, "[x\n[s]\nk=1\n"},
              {"[s]\n" + longLine + "xk=1\n", "s", "k", "v", 0, "[s]\n" + longLine + "xk=v\n"},
              {"[s]\nk=" + longLine + "tail=\nk", "s", "k", "v", 0, "[s]\nk=v\nxtail=\nk"}};
  for (const auto &row : rows) {
    put(file, row.content);
    put(temporary, "left over");
    EXPECT_EQ(set(row.section, row.key, row.value), row.status) << testing::PrintToString(row.content);
    EXPECT_EQ(get(file), row.result);
    EXPECT_EQ(get(temporary), row.status == 261 ? "[x\n" : "(missing)") << "shows where a malformed header is";
    if (row.status == 0) {
      EXPECT_EQ(fs::status(file).permissions(), fs::perms(0664)) << row.result;
    }
  }
}

TEST_F(IniFile, WriterChecksInItsOrder)
{
  const std::string name = times(255, 'n');
  const std::string value = times(kLongestValue, 'v');
  EXPECT_EQ(set((name + "n").c_str(), "k", "v", 7), kBadArgument);
  EXPECT_EQ(set("s", (name + "n").c_str(), "v", 7), kBadArgument);
  for (const uint32_t size : {0u, 1u, 3u, 8194u, UINT32_MAX}) {
    EXPECT_EQ(set("s", "k", "v", size), kBadSize);
  }
  EXPECT_EQ(set("s", "k", (value + "v").c_str(), 8194), kBadSize);
  EXPECT_EQ(set("s", "k", nullptr, 1), kBadSize);
  const std::string nested = path("a/b/x.ini");
  EXPECT_EQ(WriteINIFileValue_astring("s", "k", "v", 2, nested.c_str(), 1), kFailed) << "one level only";
  EXPECT_TRUE(fs::is_empty(directory));
  EXPECT_EQ(set("s", "k", nullptr), kBadSize);
  EXPECT_EQ(set("s", nullptr, "v"), kBadSize);
  EXPECT_TRUE(fs::is_empty(directory));

  EXPECT_EQ(set(name.c_str(), name.c_str(), value.c_str()), 0u);
  EXPECT_EQ(get(file), "[" + name + "]\n" + name + "=" + value + "\n");
  EXPECT_EQ(read(name.c_str(), name.c_str(), 8193), "0 8193 " + value + '\0');
  EXPECT_EQ(set(name.c_str(), name.c_str(), "v"), 0u) << "the longest line is one line";
  EXPECT_EQ(get(file), "[" + name + "]\n" + name + "=v\n");

  const RecordHolder holder(kFileLockRecord);
  const std::string made = path("made/x.ini");
  EXPECT_EQ(WriteINIFileValue_astring("s", "k", "v", 2, made.c_str(), 0), kLocked);
  EXPECT_TRUE(fs::is_empty(path("made"))) << "the directory comes before the lock";
  uint32_t size = 2;
  char buffer[2] = "?";
  EXPECT_EQ(ReadINIFileValue_astring("s", "k", buffer, &size, "d", 2, file.c_str(), 0), kLocked);
  EXPECT_EQ(size, 2u);
}

TEST_F(IniFile, DirectoryPartOfPaths)
{
  Child child([&](Child::Inside &inside) {
    fs::create_directory(path("desk"));
    if (chroot(directory.c_str()) != 0 || chdir("/desk") != 0) {
      return;
    }
    for (const char *name : {"x.ini", "./x.ini", "new/x.ini", "new//x.ini", "/x.ini", "//x.ini", "/desk/x.ini"}) {
      const uint32_t added = WriteINIFileValue_astring("s", "k", "1", 2, name, 1);
      const uint32_t replaced = WriteINIFileValue_astring("s", "k", "2", 2, name, 1);
      inside.report("%s %u %u %d", name, added, replaced, get(name) == "[s]\nk=2\n");
    }
    fs::create_directory("qvpstr32.tmp");  // takes the name of the temporary file
    inside.report({WriteINIFileValue_astring("s", "k", "1", 2, "/x.ini", 1),
                   WriteINIFileValue_astring("s", "k", "1", 2, "x.ini", 1),
                   WriteINIFileValue_astring("s", "k", "1", 2, "new/x.ini", 1)});
  });
  EXPECT_EQ(child.report(),
            "x.ini 0 0 1\n./x.ini 0 0 1\nnew/x.ini 0 0 1\nnew//x.ini 0 0 1\n/x.ini 0 0 1\n//x.ini 0 0 1\n"
            "/desk/x.ini 0 0 1\n7 7 0\n");
  EXPECT_EQ(fs::status(path("desk/new")).permissions(), fs::perms(0755));
  for (const size_t length : {300u, 5000u}) {
    const std::string name = path(times(length, 'p'));
    EXPECT_EQ(WriteINIFileValue_astring("s", "k", "v", 2, name.c_str(), 1), kNoAccess);
  }
}

TEST_F(IniFile, LinksAreFollowedUpToTheLongestPathAndNotInCircles)
{
  constexpr size_t kLongest = 4095;  // PATH_MAX without the terminator
  for (const size_t length : {kLongest, kLongest + 1}) {
    const size_t directorySize = directory.size() + 1;
    std::string target;
    while (directorySize + target.size() + 2 * std::string("x").size() < length) {
      target += "./";
    }
    target.resize(length - directorySize, 'x');
    fs::remove(file);
    fs::create_symlink(target, file);
    EXPECT_EQ(AppendValue("s", "k", "v", file.c_str()), length > kLongest ? SM_STATUS_FILE_OPEN_FAILED : 0u);
  }
  fs::remove(file);
  fs::create_symlink(path("b.ini"), file);
  fs::create_symlink(file, path("b.ini"));
  EXPECT_EQ(AppendValue("s", "k", "v", file.c_str()), SM_STATUS_FILE_OPEN_FAILED) << "a circle";
}

TEST_F(IniFile, OddThingsInPlaceOfTheFile)
{
  const auto all = [&] {
    return read("s", "k", 2, "d", 2).substr(0, 5) + " " + std::to_string(set("s", "k", "v")) + " " +
           std::to_string(AppendValue("s", "k", "v", file.c_str()));
  };
  mkfifo(file.c_str(), 0666);
  EXPECT_EQ(all(), "7 2 ? 7 7");
  fs::remove(file);
  fs::create_directory(file);
  EXPECT_EQ(all(), "261 2 261 7");
  fs::remove(file);

  const std::string target = path("target.ini");
  fs::create_symlink(target, file);
  EXPECT_EQ(read("s", "k", 2).substr(0, 3), "7 2");
  EXPECT_EQ(set("s", "k", "1"), 0u);
  EXPECT_EQ(set("t", "k", "1"), 0u);
  EXPECT_EQ(get(target), "[s]\nk=1\n[t]\nk=1\n") << "additions follow the link";
  chmod(directory.c_str(), 01777);
  EXPECT_EQ(AppendValue("u", "k", "1", file.c_str()), 0u) << "the sticky bit keeps others from a link";
  chmod(directory.c_str(), 0755);
  put(target, "[s]\nk=1\n[t]\nk=1\n");
  EXPECT_TRUE(fs::is_symlink(file));
  EXPECT_EQ(set("s", "k", "2"), 0u);
  EXPECT_EQ(get(target), "[s]\nk=1\n[t]\nk=1\n") << "a replacement takes the place of the link";
  EXPECT_EQ(get(file), "[s]\nk=2\n[t]\nk=1\n");

  put(target, "victim");
  for (const bool hard : {false, true}) {
    hard ? fs::create_hard_link(target, temporary) : fs::create_symlink(target, temporary);
    EXPECT_EQ(set("s", "k", "3"), 0u);
    EXPECT_EQ(get(target), "victim");
    EXPECT_EQ(get(file), "[s]\nk=3\n[t]\nk=1\n");
  }
  mkfifo(temporary.c_str(), 0666);
  EXPECT_EQ(set("s", "k", nullptr), kNoAccess);
  EXPECT_TRUE(fs::is_fifo(temporary));
  fs::remove(temporary);

  put(temporary, "[s]\nk=1\n");
  EXPECT_EQ(WriteINIFileValue_astring("s", "k", "2", 2, temporary.c_str(), 1), kNoAccess);
  EXPECT_EQ(get(temporary), "[s]\nk=1\n") << "a file of the temporary's name is not lost";
}

TEST_F(IniFile, DevicesInPlaceOfFiles)
{
  char value[4] = "";
  uint32_t size = sizeof(value);
  EXPECT_EQ(ReadINIFileValue_astring("s", "k", value, &size, "d", 2, "/dev/null", 1), kNoSection) << "an empty file";
  EXPECT_STREQ(value, "d");
  EXPECT_EQ(ReadINIFileValue_astring("s", "k", value, &size, "d", 2, "/dev/zero", 1), kNoAccess)
      << "one without an end";
  EXPECT_EQ(UpdateValue("s", "k", "v", "/dev/null", temporary.c_str()), 0u);
  EXPECT_EQ(AppendValue("s", "k", "v", "/dev/full"), kLimit);
  put(file, "[s]\nk=1\n");
  EXPECT_EQ(UpdateValue("s", "k", "v", file.c_str(), "/dev/full"), kLimit);
  EXPECT_EQ(UpdateValue("s", "k", "v", file.c_str(), "/dev/null"), kExists) << "it holds no copy";
  EXPECT_EQ(get(file), "[s]\nk=1\n");
  EXPECT_TRUE(fs::is_character_file("/dev/null") && fs::is_character_file("/dev/full"));
}

TEST_F(IniFile, SecondNamesOfAFile)
{
  const std::string other = path("other.ini");
  const auto mode = [](const std::string &name) { return fs::status(name).permissions(); };
  const auto prepare = [&] {
    put(file, "[s]\nk=1\n");
    chmod(file.c_str(), 0600);
    fs::create_hard_link(file, other);
  };
  prepare();
  EXPECT_EQ(set("t", "k", "2"), 0u);
  EXPECT_EQ(get(other), "[s]\nk=1\n[t]\nk=2\n") << "added in place";
  EXPECT_EQ(mode(other), fs::perms(0664));
  fs::remove(file);
  fs::remove(other);
  prepare();
  EXPECT_EQ(set("s", "k", "2"), 0u);
  EXPECT_EQ(get(file) + get(other), "[s]\nk=2\n[s]\nk=1\n") << "replaced";
  EXPECT_EQ(mode(file), fs::perms(0664));
  EXPECT_EQ(mode(other), fs::perms(0664)) << "set before the replacement";
}

TEST_F(IniFile, WhatAnEarlierFailureLeft)
{
  put(temporary, times(100, 'x'));
  EXPECT_EQ(set("s", "k", "1"), 0u);
  EXPECT_EQ(get(file), "[s]\nk=1\n");
  EXPECT_EQ(get(temporary), times(100, 'x')) << "a file that is missing is made without it";
  struct stat before;
  struct stat after;
  stat(temporary.c_str(), &before);
  EXPECT_EQ(set("s", "k", "2"), 0u);
  stat(file.c_str(), &after);
  EXPECT_EQ(get(file), "[s]\nk=2\n");
  EXPECT_EQ(after.st_ino, before.st_ino) << "the next rewrite truncates it";
  EXPECT_FALSE(fs::exists(temporary));
}

/// Root inside the sandbox, without the powers to pass over permissions.
void dropPowers()
{
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[2] = {};
  EXPECT_EQ(syscall(SYS_capset, &header, none), 0);
}

TEST_F(IniFile, PermissionsThatRefuse)
{
  const std::string old = "[s]\nk=1\n";
  put(file, old);
  put(path("x.cfg"), "k=1\n");
  Child child([&](Child::Inside &inside) {
    dropPowers();
    put(temporary, "left over");
    chmod(temporary.c_str(), 0444);
    put(path("qvcfgu32.tmp"), "left over");
    chmod(path("qvcfgu32.tmp").c_str(), 0444);
    inside.report({set("s", "k", "2"), SMCFGSetKeyValue(path("x.cfg").c_str(), "k", "2", 0)});
    chmod(temporary.c_str(), 0644);
    chmod(directory.c_str(), 0555);
    inside.report({set("s", "k", "2"), get(file) == old, get(temporary) == "[s]\nk=2\n"});
    inside.report({set("t", "k", "2"), get(file) == old + "[t]\nk=2\n"});
    chmod(directory.c_str(), 0755);
    chmod(file.c_str(), 0444);
    inside.report({AppendValue("u", "k", "2", file.c_str()), set("s", "k", "3")});
  });
  EXPECT_EQ(child.report(), "7 260\n270 1 1\n0 1\n0 0\n");
}

TEST_F(IniFile, WhatIsAppendedMeanwhileStays)
{
  const auto append = [&] { std::ofstream(file, std::ios::app) << "[late]\n"; };
  put(file, "[s]\nk=1\n");
  {
    const Fault atRead(Call::pread, 2, append);
    EXPECT_EQ(set("s", "k", "2"), 0u);
  }
  EXPECT_EQ(get(file), "[s]\nk=2\n[late]\n");
  const Fault atWrite(Call::write, 1, append);
  EXPECT_EQ(AppendValue("t", "k", "2", file.c_str()), 0u);
  EXPECT_EQ(get(file), "[s]\nk=2\n[late]\n[late]\n[t]\nk=2\n");
}

/// Others write to the directory of the file, and at every instant of a call put something in the place of a file.
TEST_F(IniFile, HostileDirectoryLeadsNowhereElse)
{
  const std::string victim = "/dev/shm/victim";
  put(victim, "[s]\nk=1\n");
  chmod(victim.c_str(), 0600);
  const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  inotify_add_watch(watch, victim.c_str(), IN_MODIFY | IN_CLOSE_WRITE);
  const std::function<void(const std::string &)> plants[] = {
      [&](const std::string &name) { fs::create_symlink(victim, name); },
      [&](const std::string &name) { fs::create_hard_link(victim, name); },
      [&](const std::string &name) { mkfifo(name.c_str(), 0666); },
      [&](const std::string &name) { fs::create_directory(name); },
      [&](const std::string &name) { close(open(name.c_str(), O_CREAT | O_WRONLY, 0)); }};
  const std::function<uint32_t()> calls[] = {[&] { return set("s", "k", "2"); },
                                             [&] { return set("t", "k", "2"); },
                                             [&] { return AppendValue("t", "k", "2", file.c_str()); },
                                             [&] { return DelFile(file.c_str()); },
                                             [&] { return ReplaceFile(file.c_str(), temporary.c_str()); },
                                             [&] { return SMCFGSetKeyValue(file.c_str(), "k", "2", 0); }};
  const Call instants[] = {Call::open, Call::fstat, Call::lstat, Call::unlink, Call::rename, Call::chmod, Call::access};
  int runs = 0;
  for (const auto &plant : plants) {
    for (const std::string &name : {file, temporary, path("qvcfgu32.tmp")}) {
      for (const auto &call : calls) {
        for (const Call instant : instants) {
          for (unsigned nth = 0; nth < 6; ++nth) {
            fs::remove_all(directory);
            fs::create_directory(directory);
            chmod(directory.c_str(), 0777);
            put(file, "[o]\nk=1\n");
            const auto swap = [&] {
              fs::remove_all(name);
              plant(name);
            };
            nth == 0 ? swap() : void();
            const Fault swapping(instant, nth, swap);
            (void)call();  // any status: what counts is the victim
            ++runs;
            struct stat status;
            stat(victim.c_str(), &status);
            ASSERT_EQ(status.st_mode & 07777, 0600u) << name << " " << static_cast<int>(instant) << " " << nth;
            char event[4096];
            ASSERT_EQ(::read(watch, event, sizeof(event)), -1) << name << " " << static_cast<int>(instant) << " " << nth
                                                               << " " << reinterpret_cast<inotify_event *>(event)->mask;
          }
        }
      }
    }
  }
  EXPECT_EQ(get(victim), "[s]\nk=1\n");
  EXPECT_GT(runs, 1000);
  close(watch);
  fs::remove(victim);
}

TEST_F(IniFile, ALineOfManyMegabytes)
{
  const off_t size = isEmulated() ? 10'000'000 : 100'000'000;
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT, 0666);
  const std::string end = "[s]\nk=v\n";
  const off_t at = (size / static_cast<off_t>(kLineLimit)) * static_cast<off_t>(kLineLimit);
  ASSERT_EQ(pwrite(descriptor, end.data(), end.size(), at), static_cast<ssize_t>(end.size()));
  EXPECT_EQ(read("s", "k", 2), "0 2 v\0"s);
  EXPECT_EQ(set("s", "k", "new"), 0u);
  close(descriptor);
  EXPECT_EQ(fs::file_size(file), static_cast<uintmax_t>(at) + end.size() + 2);
  EXPECT_EQ(read("s", "k", 4), "0 4 new\0"s);
}

/// A file system over a path, while it lives.
class Mount {
 public:
  Mount(const std::string &path, const char *type, const char *options) : path_(path)
  {
    EXPECT_EQ(
        mount(type == nullptr ? path.c_str() : "none", path.c_str(), type, type == nullptr ? MS_BIND : 0, options), 0);
  }
  ~Mount() { umount2(path_.c_str(), MNT_DETACH); }
  Mount(const Mount &) = delete;
  Mount &operator=(const Mount &) = delete;

 private:
  std::string path_;
};

TEST_F(IniFile, FileSystemsThatRefuse)
{
  const std::string content = "[s]\nk=1\n";
  const std::string added = "[t]\nk=3\n";
  put(file, content);
  {
    const Mount overFile(file, nullptr, nullptr);
    EXPECT_EQ(set("s", "k", "2"), kNotReplaced) << "neither replaced nor removed";
    EXPECT_EQ(get(file), content);
    EXPECT_EQ(get(temporary), "[s]\nk=2\n");
    EXPECT_EQ(set("t", "k", "3"), 0u) << "appended in place";
    EXPECT_EQ(get(file), content + added);
    EXPECT_FALSE(fs::exists(temporary));
  }
  {
    const Mount here(directory, nullptr, nullptr);
    ASSERT_EQ(mount(nullptr, directory.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(set("s", "k", "2"), kNoAccess);
    EXPECT_EQ(WriteINIFileValue_astring("s", "k", "v", 2, path("new.ini").c_str(), 1), kNoAccess);
    EXPECT_EQ(AppendValue("s", "k", "v", file.c_str()), kNoAccess);
    EXPECT_EQ(read("s", "k", 2), "0 2 1\0"s);
  }
  EXPECT_EQ(get(file), content + added);
  const Mount small(directory, "tmpfs", "size=16k");
  const std::string twoPages = content + times(8000, '#') + "\n";
  put(file, twoPages);
  put(path("filler"), times(8192, 'f'));
  EXPECT_EQ(set("s", "k", "2"), kLimit);
  EXPECT_EQ(set("t", "k", times(300, 'v').c_str()), kLimit);
  EXPECT_TRUE(get(file) == twoPages);
  EXPECT_EQ(WriteINIFileValue_astring("s", "k", "v", 2, path("new.ini").c_str(), 1), kLimit);
  EXPECT_EQ(get(path("new.ini")), "");
  fs::resize_file(path("filler"), 4096);
  EXPECT_EQ(set("t", "k", "3"), 0u) << "in place if a second copy does not fit";
  EXPECT_TRUE(get(file) == twoPages + "[t]\nk=3\n");
}

TEST_F(IniFile, EveryFailureLeavesTheOldContentOrTheNew)
{
  const std::string content = "[s]\nk=1\n#c\n[t]\nk=2\n";
  const std::string entries = "k=1\nx\nk=2\n";
  enum Kind { kReplaced, kDropped, kAppended, kCreated, kEntry };
  const struct {
    Kind kind;
    const char *section, *key, *value;  // an entry has no section: the first of its key is set, or removed
    std::string before, after;
  } operations[] = {{kReplaced, "s", "k", "v", content, "[s]\nk=v\n#c\n[t]\nk=2\n"},
                    {kReplaced, "s", "a", "v", content, "[s]\nk=1\n#c\na=v\n[t]\nk=2\n"},
                    {kReplaced, "s", "k", nullptr, content, "[s]\n#c\n[t]\nk=2\n"},
                    {kDropped, "s", nullptr, nullptr, content, "#c\n[t]\nk=2\n"},
                    {kAppended, "u", "k", "v", content, content + "[u]\nk=v\n"},
                    {kCreated, "u", "k", "v", "(missing)", "[u]\nk=v\n"},
                    {kEntry, nullptr, "k", "v", entries, "k=v\nx\nk=2\n"},
                    {kEntry, nullptr, "k", nullptr, entries, "x\nk=2\n"},
                    {kEntry, nullptr, "a", "v", entries, entries + "a=v\n"}};
  // The statuses of the kinds while ever later calls fail, each once for as many calls as have it.
  const struct {
    Call call;
    int error;
    const char *statuses[5];
  } faults[] = {{Call::allocation, ENOMEM, {"-1", "272", "-1", "0 -1", "272"}},
                {Call::open, EMFILE, {"7", "7", "7", "0", "260"}},
                {Call::pread, EIO, {"261", "261", "261", "", "-1"}},
                {Call::write, ENOSPC, {"19", "19", "0", "0", "19"}},
                {Call::fdatasync, EIO, {"19", "19", "0", "0", "19"}},
                {Call::close, EIO, {"19 0", "19 0", "0", "0", "19 0"}},
                {Call::rename, EIO, {"0", "0", "0", "", "0"}},
                {Call::lstat, EIO, {"0", "0", "0", "", "0"}},
                {Call::fstat, EIO, {"7", "7", "7", "", "260"}},
                {Call::mkdir, EACCES, {"0", "0", "0", "0", "0"}},
                {Call::fcntl, EIO, {"11 0", "11 0", "11 0", "11 0", "11 0"}},
                {Call::access, EIO, {"0", "0", "0", "7", ""}}};
  for (const auto &operation : operations) {
    for (const auto &fault : faults) {
      SCOPED_TRACE(testing::Message() << operation.after << "call " << static_cast<int>(fault.call));
      std::string statuses;
      std::string last;
      bool struck = true;
      for (unsigned nth = 1; struck; ++nth) {
        operation.before == "(missing)" ? fs::remove(file) : (put(file, operation.before), true);
        uint32_t status;
        const long blocks = liveBlocks();
        {
          const Fault failing(fault.call, nth, fault.error);
          status = operation.kind == kEntry ? SMCFGSetKeyValue(file.c_str(), operation.key, operation.value, 0)
                                            : set(operation.section, operation.key, operation.value);
          struck = failing.struck();
        }
        EXPECT_EQ(liveBlocks(), blocks);
        EXPECT_EQ(get(file), status == 0 ? operation.after : operation.before) << status << " " << nth;
        const std::string text = std::to_string(static_cast<int32_t>(status));
        EXPECT_TRUE(struck || status == 0) << text;
        if (struck && text != last) {
          statuses += (last.empty() ? "" : " ") + text;
          last = text;
        }
      }
      EXPECT_EQ(statuses, fault.statuses[operation.kind]);
    }
  }
}

TEST_F(IniFile, FailuresAtTheReplacement)
{
  const std::string old = "[s]\nk=1\n";
  const std::string next = "[s]\nk=2\n";
  put(file, old);
  {
    const Fault renames(Call::rename, 1, EIO, true);
    const Fault unlinks(Call::unlink, 1, EIO);
    EXPECT_EQ(set("s", "k", "2"), kNotReplaced);
    EXPECT_EQ(renames.calls(), 1u) << "none after the unlink has failed";
  }
  EXPECT_EQ(get(file), old);
  EXPECT_EQ(get(temporary), next);
  {
    const Fault renames(Call::rename, 1, EIO, true);
    EXPECT_EQ(set("s", "k", "2"), kExists);
  }
  EXPECT_EQ(get(file), "(missing)");
  EXPECT_EQ(get(temporary), next);
  put(file, old);
  {
    const Fault renames(Call::rename, 1, EIO, true);
    const Fault writes(Call::write, 2, ENOSPC, true);
    EXPECT_EQ(set("t", "k", "2"), kLimit) << "the first write is that into the temporary file";
  }
  EXPECT_EQ(get(file), old);
  // One call of each, and nothing else: no wait, no second try.
  const Fault opens(Call::open), reads(Call::pread), writes(Call::write), syncs(Call::fdatasync), renames(Call::rename),
      unlinks(Call::unlink);
  EXPECT_EQ(set("s", "k", "3"), 0u);
  EXPECT_EQ(opens.calls(), 2u);
  EXPECT_EQ(reads.calls(), 2u) << "the second finds the end";
  EXPECT_EQ(writes.calls() + syncs.calls() + renames.calls(), 3u);
  EXPECT_EQ(unlinks.calls(), 0u);
  EXPECT_EQ(read("s", "no", 2), "263 0 \0?"s);
  EXPECT_EQ(opens.calls(), 3u);
  EXPECT_EQ(reads.calls(), 3u);
}

TEST_F(IniFile, FailingReadsAnswerWithTheDefault)
{
  const std::string content = "[s]\nk=v\n" + times(70000, '\n');
  put(file, content);
  const auto failing = [&](Call call, unsigned nth, const char *key) {
    const Fault fault(call, nth, EIO);
    return read("s", key, 4, "d", 2);
  };
  EXPECT_EQ(failing(Call::pread, 1, "k"), "261 2 d\0??"s);
  EXPECT_EQ(failing(Call::pread, 2, "k"), "0 2 v\0??"s) << "not read on";
  EXPECT_EQ(failing(Call::pread, 2, "no"), "261 2 d\0??"s);
  EXPECT_EQ(failing(Call::pread, 2, nullptr), "261 4 k\0\0?"s);
  for (const char *key : {"k", "no", static_cast<const char *>(nullptr)}) {
    const Fault fault(Call::pread, 2, EIO);
    EXPECT_EQ(set("s", key, nullptr), kBadFile) << "also while the rest is copied or dropped";
  }
  EXPECT_TRUE(get(file) == content);
  EXPECT_EQ(failing(Call::open, 1, "k"), "7 4 ????");
  EXPECT_EQ(failing(Call::fstat, 1, "k"), "7 4 ????");
  EXPECT_EQ(failing(Call::fcntl, 1, "k"), "11 4 ????");
  Buffer buffer(4);
  const Fault noMemory(Call::allocation, 1);
  EXPECT_EQ(ReadINIFileValue_astring("s", "k", buffer.data(), &buffer.size, "d", 2, file.c_str(), 1), kFailed);
  EXPECT_EQ(buffer.size, 2u);
}

struct CloseFile {
  void operator()(FILE *stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseFile>;

class IniStream : public Ini {
 protected:
  void SetUp() override { put(path("in"), content); }
  Stream open(const char *name, const char *mode) { return Stream(fopen(path(name).c_str(), mode)); }

  /// A step from a position: status, the position of the input after it and what was written.
  std::string step(long from, const std::function<uint32_t(FILE *, FILE *)> &function)
  {
    const Stream output = open("out", "w");
    fseek(input.get(), from, SEEK_SET);
    const uint32_t status = function(input.get(), output.get());
    return std::to_string(status) + " " + std::to_string(ftell(input.get())) + " " + get(path("out"));
  }

  const std::string content = "a\0b\n[x\0]\n;\n[s] y\nk=1\n[t]\n#e"s;
  Stream input;
};

TEST_F(IniStream, StepsStartAtThePositionAndReadNoFurtherThanTheyHaveTo)
{
  input = open("in", "r");
  EXPECT_EQ(step(0, [](FILE *in, FILE *out) { return FindSection("s", in, out); }), "261 9 a\0b\n[x\0]\n"s);
  EXPECT_EQ(step(9, [](FILE *in, FILE *out) { return FindSectionInclusive("s", in, out, 0); }), "0 17 ;\n");
  char value[9];
  uint32_t size = sizeof(value);
  EXPECT_EQ(GetValue("t", "k", value, &size, input.get()), kNoKey);
  EXPECT_EQ(size, sizeof(value)) << "left as it was";
  fseek(input.get(), 9, SEEK_SET);
  EXPECT_EQ(GetValue("s", "k", value, &size, input.get()), 0u);
  EXPECT_EQ(std::string(value), "1");
  EXPECT_EQ(ftell(input.get()), 21);
  EXPECT_EQ(step(17, [](FILE *in, FILE *out) { return FindKeyUpdateValue("q", "2", in, out); }),
            "0 27 k=1\nq=2\n[t]\n#e");
  EXPECT_EQ(step(25, [](FILE *in, FILE *out) { return FindKeyUpdateValue("q", "2", in, out); }), "0 27 #e\nq=2\n");
  EXPECT_EQ(step(27, [](FILE *in, FILE *out) { return FindKeyUpdateValue("q", "2", in, out); }), "0 27 \nq=2\n")
      << "the line before the position lacks its line feed";
  EXPECT_EQ(step(17, [](FILE *in, FILE *out) { return FindNextSectionAndDump(in, out); }), "0 27 [t]\n#e");
  EXPECT_EQ(step(9, [](FILE *in, FILE *out) { return FindSection("none", in, out); }), "262 27 ;\n[s] y\nk=1\n[t]\n#e");
  fseek(input.get(), 9, SEEK_SET);
  EXPECT_EQ(GetAllSections(value, &size, input.get()), kTooSmall);
  EXPECT_EQ(size, 4u) << "that of the value was too small; this list has two names of one letter";
  fseek(input.get(), 9, SEEK_SET);
  size = sizeof(value);
  EXPECT_EQ(GetAllKeys("s", value, &size, input.get()), 0u);
  EXPECT_EQ(size, 2u);
}

TEST_F(IniStream, ReportFailures)
{
  input = open("in", "w");  // cannot be read from
  EXPECT_EQ(FindSection("s", input.get(), stdout), kBadFile);
  EXPECT_EQ(FindNextSectionAndDump(input.get(), stdout), kBadFile);
  SetUp();
  input = open("in", "r");
  fseek(input.get(), 9, SEEK_SET);
  const Stream full(fopen("/dev/full", "w"));
  EXPECT_EQ(FindSection("s", input.get(), full.get()), kLimit) << "seen at the flush";
  EXPECT_EQ(FindKeyUpdateValue("k", "v", input.get(), full.get()), kLimit);
  const Fault fault(Call::allocation, 1, ENOMEM, true);
  EXPECT_EQ(FindSection("s", input.get(), full.get()), kFailed);
  EXPECT_EQ(FindKeyUpdateValue("k", "v", input.get(), full.get()), kFailed);
  EXPECT_EQ(FindNextSectionAndDump(input.get(), full.get()), kNoMemory);
}

TEST(IniHeader, Parsed)
{
  const std::string longest = times(255, 'n');
  const struct {
    std::string line;
    uint32_t status;
    std::string name;
  } rows[] = {{"[a]\n", 0, "a"},
              {" \t[ a[b ]]x", 0, " a[b "},
              {"[]", 0, ""},
              {"[" + longest + "]", 0, longest},
              {"[" + longest + "n]", kFailed, "?"},
              {"", kFailed, "?"},
              {"x[a]", kFailed, "?"},
              {"\r[a]", kFailed, "?"},
              {"[a\n", kBadFile, "?"}};
  for (const auto &row : rows) {
    Buffer name(256);
    EXPECT_EQ(ParseForSection(row.line.c_str(), name.data()), row.status) << row.line;
    EXPECT_EQ(name.text().substr(0, row.name.size() + 1), row.name + (row.status == 0 ? '\0' : '?'));
  }
}

using FileFunctions = Scratch;

TEST_F(FileFunctions, Directories)
{
  const std::string made = path("made");
  EXPECT_EQ(CreateDir(made.c_str()), 0u);
  EXPECT_EQ(fs::status(made).permissions(), fs::perms(0755));
  EXPECT_EQ(CreateDir(made.c_str()), 0u);
  EXPECT_EQ(CreateDir(path("no/made").c_str()), kFailed);
  put(path("made/file"), "");
  EXPECT_EQ(CreateDir(path("made/file").c_str()), 0u) << "something exists there";
  EXPECT_EQ(DelDir(made.c_str()), kBadType);
  EXPECT_EQ(DelDir(path("made/file").c_str()), kFailed);
  EXPECT_EQ(DelFile(path("made/file").c_str()), 0u);
  EXPECT_EQ(DelFile(path("made/file").c_str()), kFailed);
  EXPECT_EQ(DelFile(made.c_str()), kFailed);
  EXPECT_EQ(DelDir(made.c_str()), 0u);
  EXPECT_EQ(DelDir(made.c_str()), kNotFound);
  const Fault fault(Call::mkdir, 1, EACCES);
  EXPECT_EQ(CreateDir(directory.c_str()), 0u) << "it exists after all";
}

TEST_F(FileFunctions, Sizes)
{
  const std::string file = path("file");
  const auto sizeOf = [](const std::string &name) {
    uint32_t size = 99;
    const uint32_t status = GetSizeOfFile(name.c_str(), &size);
    return std::to_string(static_cast<int32_t>(status)) + " " + std::to_string(size);
  };
  EXPECT_EQ(sizeOf(file), "-1 0");
  put(file, "12345");
  EXPECT_EQ(sizeOf(file), "0 5");
  EXPECT_EQ(sizeOf(directory), "-1 0");
  mkfifo(path("fifo").c_str(), 0666);
  EXPECT_EQ(sizeOf(path("fifo")), "-1 0");
  const Stream stream(fopen(file.c_str(), "r"));
  fseek(stream.get(), 2, SEEK_SET);
  EXPECT_EQ(GetStreamFileSize(stream.get()), 5);
  EXPECT_EQ(ftell(stream.get()), 2);
  for (const uint64_t size : {0x7FFFFFFFull, 0x80000000ull}) {
    fs::resize_file(file, size);
    EXPECT_EQ(sizeOf(file), size > INT32_MAX ? "-1 0" : "0 2147483647");
    EXPECT_EQ(GetStreamFileSize(stream.get()), size > INT32_MAX ? -1 : INT32_MAX);
  }
}

TEST_F(FileFunctions, ReplaceFile)
{
  const std::string to = path("to");
  const std::string from = path("from");
  const auto replace = [&] { return ReplaceFile(to.c_str(), from.c_str()); };
  put(from, "new");
  EXPECT_EQ(replace(), kNotReplaced);
  EXPECT_EQ(get(from), "new");
  put(to, "old");
  chmod(from.c_str(), 0600);
  EXPECT_EQ(replace(), 0u);
  EXPECT_EQ(get(to) + get(from), "new(missing)");
  EXPECT_EQ(fs::status(to).permissions(), fs::perms(0664));
  fs::create_hard_link(to, from);
  EXPECT_EQ(replace(), 0u) << "two names of one file";
  EXPECT_EQ(get(to) + get(from), "new(missing)");
  fs::create_symlink(to, from);
  fs::rename(to, path("target"));
  fs::create_symlink(path("target"), to);
  put(path("other"), "next");
  EXPECT_EQ(ReplaceFile(to.c_str(), path("other").c_str()), 0u);
  EXPECT_FALSE(fs::is_symlink(to));
  EXPECT_EQ(get(path("target")), "new");
  fs::remove(from);
  EXPECT_EQ(replace(), kExists);
  EXPECT_EQ(get(to), "(missing)");
  fs::create_directories(from + "/inside");
  fs::create_directory(to);
  EXPECT_EQ(replace(), kNotReplaced) << "a directory is not removed, also where a rename would replace it";
  EXPECT_TRUE(fs::is_empty(to) && fs::exists(from + "/inside"));
}

TEST_F(FileFunctions, TemporaryNames)
{
  fs::current_path("/etc");
  Buffer small(19);
  EXPECT_EQ(GetTmpFile(directory.c_str(), small.data(), &small.size), kTooSmall);
  EXPECT_EQ(small.size, 20u);
  Buffer name(20);
  EXPECT_EQ(GetTmpFile(path("no").c_str(), name.data(), &name.size), kNotFound);
  EXPECT_EQ(GetTmpFile(directory.c_str(), name.data(), &name.size), 0u);
  EXPECT_EQ(name.size, strlen(name.data()) + 1);
  EXPECT_FALSE(fs::exists(name.data()));
  EXPECT_EQ(fs::current_path(), "/etc");
  std::string deep = directory;
  for (const uint32_t length : {255u, 256u}) {
    deep = directory + "/" + times(100, 'd') + "/" + times(length - directory.size() - 102, 'e');
    fs::create_directories(deep);
    fs::current_path(deep);
    name.size = 20;
    EXPECT_EQ(GetTmpFile(directory.c_str(), name.data(), &name.size), length > 255 ? kTooSmall : 0u);
    fs::current_path("/");
  }
  Child child([&](Child::Inside &inside) {
    fs::current_path(deep);
    fs::current_path("..");
    fs::remove_all(path(times(100, 'd')));
    name.size = 20;
    inside.report({GetTmpFile(directory.c_str(), name.data(), &name.size)});
  });
  EXPECT_EQ(child.report(), "16\n") << "the working directory has no path";
}

}  // namespace
