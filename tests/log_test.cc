// All logs by one call: selectors, paths, maximum sizes, the line in the system log; and the logs under many processes and
// threads at once. What both logs do alike is in both_logs_test.

#include <sys/socket.h>
#include <sys/un.h>

#include "support/log_formats.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr char kVela[] = "/etc/tallowmere/vela";
constexpr char kTextLog[] = "/etc/tallowmere/vela/log/qvsys32.log";
constexpr char kTextBackup[] = "/etc/tallowmere/vela/log/qvsys32.lo_";
constexpr char kXmlLog[] = "/etc/tallowmere/vela/log/qvsys32.xml";
constexpr char kXmlBackup[] = "/etc/tallowmere/vela/log/qvsys32.xm_";
constexpr uint32_t kLeast = 1048576;
constexpr uint32_t kMost = 4194304;

class Logs : public Scratch {
 protected:
  Logs() : Scratch("/etc/tallowmere/vela/log")
  {
    // The C library keeps the time zone under a lock that ThreadSanitizer does not see; it changes nothing afterwards.
    setenv("TZ", "UTC", 1);
    tzset();
  }
};

TEST_F(Logs, AndTheirBackupsLieBelowTheInstallDirectory)
{
  using GetPath = uint32_t(uint8_t selector, char *path, uint32_t *size);
  const struct {
    GetPath *get;
    uint8_t selector;
    uint32_t size, status, sizeAfter;
    const char *path;
  } rows[] = {{GetSMLogPathFileName, 0, 255, SM_STATUS_BAD_ARGUMENT, 255, "kept"},
              {GetSMLogPathFileName, SMLOG_OSSYSLOG | SMLOG_XML, 255, SM_STATUS_NOT_SUPPORTED, 255, "kept"},
              {GetSMLogPathFileName, SMLOG_XML, 255, SM_STATUS_BUFFER_TOO_SMALL, 256, "kept"},
              {GetSMLogPathFileName, 0xF1, 256, SM_STATUS_SUCCESS, 256, "kept"},  // no bit of a file
              {GetSMLogPathFileName, SMLOG_UNITXT, 256, SM_STATUS_SUCCESS, sizeof(kTextLog), kTextLog},
              {GetSMLogPathFileName, SMLOG_UNITXT | SMLOG_XML, 256, SM_STATUS_SUCCESS, sizeof(kXmlLog), kXmlLog},
              {GetBackupSMLogPathFileName, 0, 10, SM_STATUS_BAD_ARGUMENT, 10, "kept"},
              {GetBackupSMLogPathFileName, SMLOG_OSSYSLOG, 10, SM_STATUS_NOT_SUPPORTED, 10, "kept"},
              {GetBackupSMLogPathFileName, 1, 10, SM_STATUS_SUCCESS, 10, "kept"},
              {GetBackupSMLogPathFileName, SMLOG_UNITXT, 10, SM_STATUS_BUFFER_TOO_SMALL, sizeof(kTextLog), "kept"},
              {GetBackupSMLogPathFileName, SMLOG_UNITXT, 37, SM_STATUS_SUCCESS, 37, kTextBackup},
              {GetBackupSMLogPathFileName, SMLOG_XML, 37, SM_STATUS_SUCCESS, 37, kXmlBackup}};
  for (const auto &row : rows) {
    char path[256] = "kept";
    uint32_t size = row.size;
    EXPECT_EQ(row.get(row.selector, path, &size), row.status) << &row - rows;
    EXPECT_EQ(size, row.sizeAfter) << &row - rows;
    EXPECT_STREQ(path, row.path);
  }
  uint32_t size = 0;
  EXPECT_EQ(GetBackupSMLogPathFileName(SMLOG_UNITXT, nullptr, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, sizeof(kTextLog));
  EXPECT_FALSE(fs::exists(kTextLog) || fs::exists(kTextBackup));
  for (const char *log : {kXmlLog, kXmlBackup}) {
    EXPECT_EQ(count(get(log), "<LogEntry>"), 1u);
    EXPECT_EQ(count(get(log),
                    "<Type>4</Type><ID>0</ID><UserInfo>Local System</UserInfo><Source>VELA</Source>"
                    "<Description>Log was cleared</Description><Data></Data>"),
              1u);
  }
}

TEST_F(Logs, NeedAnInstallDirectoryAndRoomForTheirNames)
{
  char path[256];
  uint32_t size = sizeof(path);
  fs::rename(kVela, "/etc/tallowmere/aside");
  EXPECT_EQ(GetSMLogPathFileName(SMLOG_UNITXT, path, &size), SM_STATUS_BAD_TYPE);
  EXPECT_EQ(AppendToSMLog(SMLOG_UNITXT, 4, 1, u"S", nullptr, nullptr, 0), SM_STATUS_BAD_TYPE);
  EXPECT_EQ(ClearSMLog(SMLOG_XML, u"S"), SM_STATUS_BAD_TYPE);
  fs::rename("/etc/tallowmere/aside", kVela);
  Child child([&](Inside &inside) {
    const std::string deep = "/etc/tallowmere/" + std::string(224, 'd');  // 240, and 16 of "/log/qvsys32.log"
    fs::create_directories(deep);
    setenv("velainstallpath", deep.c_str(), 1);
    SUPTMiscFreeInstallPathCache();
    SUPTMiscInitInstallPathCache();
    inside.report("%u", GetSMLogPathFileName(SMLOG_UNITXT, path, &size));
    inside.report("%u", GetSMLogPathFileName(SMLOG_XML, path, &size));
    fs::remove(deep);
  });
  EXPECT_EQ(child.report(), "2\n2\n");
}

TEST_F(Logs, HaveMaximumSizesInEachProcess)
{
  uint32_t size = 7;
  EXPECT_EQ(GetSMLogMaxSize(0, &size), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(SetSMLogMaxSize(0, kLeast), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(SetSMLogMaxSize(SMLOG_XML, kLeast - 1), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SetSMLogMaxSize(SMLOG_XML, kMost + 1), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SetSMLogMaxSize(SMLOG_OSSYSLOG, kLeast), SM_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(GetSMLogMaxSize(SMLOG_OSSYSLOG, &size), SM_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(size, 7u);
  Child child([](Inside &inside) {
    uint32_t text = 0;
    uint32_t xml = 0;
    inside.report({SMSetLogMaxSize(SMLOG_UNITXT | SMLOG_XML, kMost), SMSetLogMaxSize(SMLOG_XML, kLeast + 1)});
    inside.report({SMGetLogMaxSize(SMLOG_UNITXT, &text), SMGetLogMaxSize(SMLOG_XML, &xml), text, xml});
  });
  EXPECT_EQ(child.report(), "0 0\n0 0 4194304 1048577\n");
  EXPECT_EQ(SMGetLogMaxSize(SMLOG_UNITXT | SMLOG_XML, &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, kLeast);

  const RecordHolder holder(kFileLockRecord);
  const Fault fast(Call::usleep);
  EXPECT_EQ(GetSMLogMaxSize(SMLOG_XML, &size), SM_STATUS_LOCK_FAILED);
  EXPECT_EQ(SetSMLogMaxSize(SMLOG_XML, kMost), SM_STATUS_LOCK_FAILED);
}

TEST_F(Logs, TakeAnEventAndAreCleared)
{
  EXPECT_EQ(AppendToSMLog(0, 4, 1, u"S", nullptr, nullptr, 0), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(SMAppendToLog(SMLOG_UNITXT | SMLOG_XML, SM_EVENT_WARNING, 5, u"S", u"text", "d", 1), SM_STATUS_SUCCESS);
  EXPECT_EQ(count(get(kTextLog), utf16(u"EventID: 5\r\nSource: S\r\nType: Warning\r\n")), 1u);
  EXPECT_EQ(count(get(kXmlLog),
                  "<Type>2</Type><ID>5</ID><UserInfo></UserInfo><Source>S</Source>"
                  "<Description>text</Description><Data>0x00000000: 64"),
            1u);
  // Only the XML log's refusal is told.
  EXPECT_EQ(AppendToSMLog(SMLOG_UNITXT, 4, 1, nullptr, nullptr, nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(AppendToSMLog(SMLOG_XML, 4, 1, u"", nullptr, nullptr, 0), SM_STATUS_BAD_ARGUMENT);

  EXPECT_EQ(ClearSMLog(0, u"S"), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(ClearSMLog(SMLOG_OSSYSLOG | SMLOG_XML, u"S"), SM_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(count(get(kXmlLog), "<LogEntry>"), 2u);
  EXPECT_EQ(SMClearLog(SMLOG_UNITXT | SMLOG_XML, u"S"), SM_STATUS_SUCCESS);
  EXPECT_EQ(count(get(kTextLog), utf16(u"EventID: ")), 1u);
  EXPECT_EQ(count(get(kXmlLog), "<LogEntry>"), 1u);
  EXPECT_EQ(count(get(kXmlLog), "<UserInfo>Local System</UserInfo><Source>S</Source>"), 1u);
  fs::remove(kTextLog);
  EXPECT_EQ(ClearSMLog(SMLOG_UNITXT | SMLOG_XML, u"other"), SM_STATUS_UNSUCCESSFUL);
  EXPECT_EQ(count(get(kXmlLog), "other"), 0u);
}

TEST_F(Logs, CreateTheXmlLogBeforeTheyAppendToIt)
{
  EXPECT_EQ(AppendToSMLog(SMLOG_XML, 4, 1, u"", nullptr, nullptr, 0), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(count(get(kXmlLog), "<ID>"), 1u) << "also for an event that is refused";
  for (const char *empty : {"", "less than a header"}) {
    put(kXmlLog, empty);
    EXPECT_EQ(AppendToSMLog(SMLOG_XML, 4, 5, u"S", nullptr, nullptr, 0), SM_STATUS_SUCCESS);
    const std::string log = get(kXmlLog);
    EXPECT_EQ(count(log, "<ID>"), 2u);
    EXPECT_LT(log.find("Log was cleared"), log.find("<ID>5</ID>"));
  }
  fs::remove_all(directory);
  put(directory, "no directory");
  EXPECT_EQ(AppendToSMLog(SMLOG_XML, 4, 1, u"S", nullptr, nullptr, 0), SM_STATUS_UNSUCCESSFUL);
}

TEST_F(Logs, CostOneLockAndOneOpenEach)
{
  constexpr uint8_t kBoth = SMLOG_UNITXT | SMLOG_XML;
  ASSERT_EQ(AppendToSMLog(kBoth, 4, 5, u"S", nullptr, nullptr, 0), SM_STATUS_SUCCESS);
  const Fault locks(Call::fcntl);
  const Fault opened(Call::open);
  const Fault looks(Call::access);
  EXPECT_EQ(AppendToSMLog(kBoth, 4, 5, u"S", nullptr, nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(locks.calls(), 4u) << "taken and released";
  EXPECT_EQ(opened.calls(), 2u);
  EXPECT_EQ(looks.calls(), 0u);
}

TEST_F(Logs, FollowTheTextOfTheInstallDirectory)
{
  Child child([](Inside &inside) {
    fs::create_directory("/etc/tallowmere/vela/other");
    strcpy(pGInstallPathList[1].installPath, "/etc/tallowmere/vela/other");
    char path[256];
    uint32_t size = sizeof(path);
    inside.report("%u", GetSMLogPathFileName(SMLOG_UNITXT, path, &size));
    inside.report("%s %u", path, size);
    size = sizeof(path);
    inside.report("%u", SMGetInstallPath(path, &size));
    inside.report("%s %u", path, size);
    fs::remove("/etc/tallowmere/vela/other");
  });
  EXPECT_EQ(child.report(), "0\n/etc/tallowmere/vela/other/log/qvsys32.log 43\n0\n/etc/tallowmere/vela/other 27\n");
}

TEST_F(Logs, AreBackedUpAtTheirOwnMaximum)
{
  Child child([](Inside &inside) {
    inside.report("%u", SetSMLogMaxSize(SMLOG_XML, 2 * kLeast));
    put(kTextLog, std::string(kLeast - 1000, 't'));
    put(kXmlLog, std::string(kLeast, 'x') + "</EventLog>");
    inside.report("%u", AppendToSMLog(SMLOG_UNITXT | SMLOG_XML, 4, 1, u"S", nullptr, nullptr, 0));
  });
  EXPECT_EQ(child.report(), "0\n0\n");
  EXPECT_EQ(fs::file_size(path("qvsys32.lo_")), kLeast - 1000);
  EXPECT_FALSE(fs::exists(kXmlBackup));
}

/// A stand-in for the system log.
class SystemLog : public Logs {
 protected:
  SystemLog()
  {
    sockaddr_un address = {AF_UNIX, "/dev/log"};
    fs::remove("/dev/log");
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    fs::create_directories("/etc/tallowmere/vela/ini");
    put(kResources, "\xFF\xFE" + utf16(u"0:300=Event\r\n407:300=Ereignis\r\n"));
    unsetenv("LANG");
  }
  ~SystemLog() override
  {
    close(socket_);
    fs::remove("/dev/log");
    fs::remove_all("/etc/tallowmere/vela/ini");
  }

  /// The next datagram, without its time; "" when there is none.
  std::string received() const
  {
    char datagram[8192];
    const ssize_t size = recv(socket_, datagram, sizeof(datagram), MSG_DONTWAIT);
    std::string text(datagram, size < 0 ? 0 : static_cast<size_t>(size));
    const size_t time = text.find('>') + 1;
    return text.empty() ? text : text.substr(0, time) + text.substr(time + 16);
  }

  static constexpr char kResources[] = "/etc/tallowmere/vela/ini/qvunidat.txt";
  const int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(SystemLog, GetsALineOfEachEvent)
{
  const struct {
    uint16_t type;
    const char *priority;
  } types[] = {{1, "<27>"}, {2, "<28>"}, {0, "<30>"}, {4, "<30>"}, {8, "<30>"}, {16, "<30>"}, {99, "<30>"}};
  for (const auto &type : types) {
    EXPECT_EQ(OSAppendToSysLog(type.type, 0xFFFFFFFF, u"caf\u00e9", u"one\r\ntwo\r", nullptr, 0), SM_STATUS_SUCCESS);
    EXPECT_EQ(received(), type.priority + "caf\xC3\xA9: Event -1  one \ntwo "s);
  }
  setenv("LANG", "de", 1);
  EXPECT_EQ(SMAppendToLog(SMLOG_OSSYSLOG, 4, 5, u"S", nullptr, nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(received(), "<30>S: Ereignis 5  ");
  EXPECT_EQ(SMAppendToOSSysLog(4, 5, nullptr, nullptr, nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(received(), "<30>: Ereignis 5  ");
}

TEST_F(SystemLog, GetsNothingThatCannotBeConverted)
{
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"\xD800", nullptr, nullptr, 0), SM_STATUS_BAD_TYPE);
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"\u4e2d\u4e2d\u4e2d", nullptr, nullptr, 0),
            SM_STATUS_BUFFER_TOO_SMALL);  // 9 bytes and a terminator
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"\u4e2d\u4e2d", u"\xDC00", nullptr, 0), SM_STATUS_BAD_TYPE);
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"S", std::u16string(700, u'\u4e2d').c_str(), nullptr, 0),
            SM_STATUS_BUFFER_TOO_SMALL);
  fs::remove(kResources);
  // The lookup delivers its own refusal as a text.
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"S", nullptr, nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(received(), "<30>S: String resource not found 5  ");
  put(kResources, "\xFF\xFE" + utf16(u"0:301=Event\r\n"));
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"S", nullptr, nullptr, 0), SM_STATUS_UNSUCCESSFUL);
  EXPECT_EQ(received(), "");
}

TEST_F(SystemLog, CutsALongLineBehindAWholeCharacter)
{
  // "Event 5  " leaves 1014 units.
  const std::u16string fits(1014, u'x');
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"S", fits.c_str(), nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(received(), "<30>S: Event 5  " + std::string(1014, 'x'));
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"S", (fits + u"yz").c_str(), nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(received(), "<30>S: Event 5  " + std::string(1014, 'x'));
  const std::u16string pair = std::u16string(1013, u'x') + u"\U0001F600 and more";
  EXPECT_EQ(OSAppendToSysLog(4, 5, u"S", pair.c_str(), nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(received(), "<30>S: Event 5  " + std::string(1013, 'x'));
}

TEST_F(SystemLog, LeavesNothingBehindALine)
{
  const auto append = [] { return OSAppendToSysLog(4, 5, u"S", nullptr, nullptr, 0); };
  ASSERT_EQ(append(), SM_STATUS_SUCCESS);
  const long blocks = liveBlocks();
  EXPECT_EQ(append() | append(), SM_STATUS_SUCCESS);
  // Identity, message, what the lookup needs, and the line; a lookup without its key delivers the reason.
  for (const unsigned nth : {1u, 2u, 3u, 5u}) {
    const Fault noMemory(Call::allocation, nth);
    EXPECT_EQ(append(), SM_STATUS_UNSUCCESSFUL) << nth;
  }
  EXPECT_EQ(liveBlocks(), blocks);

  const std::string usual = inheritableDescriptors();
  std::string atLookup;
  const Fault atRead(Call::read, 1, [&] { atLookup = inheritableDescriptors(); });
  EXPECT_EQ(append(), SM_STATUS_SUCCESS);
  EXPECT_EQ(atLookup, usual);
}

TEST_F(SystemLog, TakesTurnsAmongThreads)
{
  std::vector<std::jthread> threads;
  for (char16_t name = u'a'; name < u'e'; ++name) {
    threads.emplace_back([name] {
      const char16_t source[] = {name, 0};
      for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(OSAppendToSysLog(4, name, source, nullptr, nullptr, 0), SM_STATUS_SUCCESS);
      }
    });
  }
  threads.clear();
  std::map<std::string, int> lines;
  for (std::string line = received(); !line.empty(); line = received()) {
    ++lines[line];
  }
  const std::map<std::string, int> expected = {
      {"<30>a: Event 97  ", 2}, {"<30>b: Event 98  ", 2}, {"<30>c: Event 99  ", 2}, {"<30>d: Event 100  ", 2}};
  EXPECT_EQ(lines, expected);
}

TEST_F(Logs, LoseNothingAmongProcessesAndThreadsButWhatASecondBackupReplaces)
{
  const std::string text = path("all.log");
  const std::string xml = path("small.xml");
  constexpr uint32_t kSmall = 4000;
  const uint32_t appends = isEmulated() ? 10 : 100;
  const auto append = [&](uint32_t first) {
    for (uint32_t id = first; id < first + appends; ++id) {
      if (AppendToXMLLog(xml.c_str(), 4, id, nullptr, u"S", nullptr, nullptr, 0, kSmall) != 0 ||
          AppendToUNITXTLog(text.c_str(), 4, id, u"S", nullptr, nullptr, 0, kLeast) != 0) {
        _exit(9);
      }
    }
  };
  std::vector<std::unique_ptr<Child>> children;
  for (uint32_t first = 1000; first <= 4000; first += 1000) {
    children.push_back(std::make_unique<Child>([&, first](Inside &) {
      std::thread other(append, first + 500);
      append(first);
      other.join();
    }));
  }
  for (const auto &child : children) {
    EXPECT_EQ(child->wait(), 0);
  }
  const auto all = between(get(text), utf16(u"EventID: "), utf16(u"\r\n"));
  EXPECT_EQ(all.size(), 4 * 2 * appends);
  for (const auto &[id, times] : all) {
    EXPECT_EQ(times, 1) << id;
  }
  for (const std::string &file : {xml, path("small.xm_")}) {
    const std::string log = get(file);
    EXPECT_LT(log.size(), kSmall + 2000u) << file;
    EXPECT_EQ(count(log, "<LogEntry><TimeStamp>"), count(log, "</Data></LogEntry>")) << file;
    EXPECT_TRUE(log.ends_with("</EventLog>")) << file;
    for (const auto &[id, times] : between(log, "<ID>", "</ID>")) {
      EXPECT_TRUE(times == 1 || id == "1") << id;
    }
  }
  // A log is moved when it is full, so its backup is.
  EXPECT_GT(fs::file_size(path("small.xm_")), kSmall - 500u);
}

}  // namespace
