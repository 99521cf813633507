// The XML log: exact bytes of entries, the search for the closing tag, backups, and what failing calls and killed
// processes leave.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "qvsupt32.h"
#include "support/child.h"
#include "support/faults.h"
#include "support/log_files.h"

namespace {

using support::Call;
using support::Child;
using support::Fault;
using support::get;
using support::put;
using Inside = support::Child::Inside;
using namespace std::string_literals;
namespace fs = std::filesystem;

constexpr uint32_t kMaximum = 1048576;
const std::string kStart = "<?xml-stylesheet type=\"text/xsl\" version=\"1.0\" encoding=\"UTF-8\"?><EventLog>";
const std::string kEnd = "</EventLog>";

std::string entry(const char *type, const char *id, const std::string &user, const std::string &source,
                  const std::string &description, const std::string &data = "")
{
  return "<LogEntry><TimeStamp>4102444800</TimeStamp><DateTime>Fri Jan  1 00:00:00 2100</DateTime>"
         "<ComputerName>sandbox</ComputerName><Type>"s +
         type + "</Type><ID>" + id + "</ID><UserInfo>" + user + "</UserInfo><Source>" + source +
         "</Source><Description>" + description + "</Description><Data>" + data + "</Data></LogEntry>";
}

class XmlLog : public testing::Test {
 protected:
  XmlLog()
  {
    setenv("TZ", "UTC", 1);
    support::fixedTime = support::kAfter2038;
  }
  ~XmlLog() override { support::fixedTime = 0; }

  uint32_t append(const SMChar16 *description = nullptr, uint32_t maximum = kMaximum) const
  {
    return AppendToXMLLog(path_.c_str(), 4, 7, nullptr, nullptr, description, nullptr, 0, maximum);
  }

  const support::ScratchDirectory directory_{"/etc/tallowmere/xmllog"};
  const std::string path_ = directory_.file("a.xml");
  const std::string backup_ = directory_.file("a.xm_");
  const std::string plain_ = entry("4", "7", "", "", "");
};

TEST_F(XmlLog, HasEntriesToTheByte)
{
  ASSERT_EQ(kStart.size(), 75u);
  EXPECT_EQ(append(), 0u);
  EXPECT_EQ(get(path_), kStart + plain_ + kEnd);
  EXPECT_EQ(
      AppendToXMLLog(path_.c_str(), 65535, 0xFFFFFFFF, u"me", u"caf\u00e9", u"a<&\r\n\U0001F600", "\x01z", 2, kMaximum),
      0u);
  const std::string dump = "0x00000000: 01 7A" + std::string(46, ' ') + ".z" + std::string(15, ' ') + "\r\n";
  EXPECT_EQ(get(path_), kStart + plain_ +
                            entry("65535", "4294967295", "me", "caf\xC3\xA9", "a<&\r\n\xF0\x9F\x98\x80", dump) + kEnd);
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0664u);
}

TEST_F(XmlLog, LeavesAnElementEmptyWhoseTextIsNoUtf16)
{
  EXPECT_EQ(AppendToXMLLog(path_.c_str(), 0, 1, u"u\xDC00", u"s", u"\xD800", nullptr, 0, kMaximum), 0u);
  EXPECT_EQ(get(path_), kStart + entry("0", "1", "", "s", "") + kEnd);
}

TEST_F(XmlLog, RefusesWhatPassesItsLimits)
{
  const std::u16string longest(1023, u'\u4e2d');
  const std::u16string longestDescription(16383, u'\u4e2d');
  const std::string data(32769, '\0');
  const auto append = [&](const SMChar16 *user, const SMChar16 *source, const SMChar16 *description, const void *bytes,
                          uint32_t size) {
    return AppendToXMLLog(path_.c_str(), 4, 1, user, source, description, bytes, size, kMaximum);
  };
  EXPECT_EQ(AppendToXMLLog(nullptr, 4, 1, nullptr, nullptr, nullptr, nullptr, 0, kMaximum), 2u);
  EXPECT_EQ(append(nullptr, nullptr, nullptr, nullptr, 1), 2u);
  EXPECT_EQ(append(nullptr, nullptr, nullptr, data.data(), 32769), 2u);
  EXPECT_EQ(append(u"", nullptr, nullptr, nullptr, 0), 2u);
  EXPECT_EQ(append(nullptr, (longest + u"x").c_str(), nullptr, nullptr, 0), 2u);
  EXPECT_EQ(append(nullptr, nullptr, u"", nullptr, 0), 2u);
  EXPECT_EQ(append(nullptr, nullptr, (longestDescription + u"d").c_str(), nullptr, 0), 2u);
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_EQ(append(longest.c_str(), longest.c_str(), longestDescription.c_str(), data.data(), 32768), 0u);
  EXPECT_EQ(fs::file_size(path_),
            kStart.size() + entry("4", "1", "", "", "").size() + 3 * (2 * 1023 + 16383) + 2048 * 82 + kEnd.size());
}

TEST_F(XmlLog, FindsTheClosingTagNearestToTheEnd)
{
  const std::string noise(70000, 'v');
  const std::string many = "</EventLog</EventLo></EventLog"s + noise;
  const struct {
    std::string before;
    std::string after;
  } logs[] = {
      {kStart + kEnd, kStart + plain_ + kEnd},
      {std::string(65, 'x') + kEnd, std::string(65, 'x') + plain_ + kEnd},
      {kStart + kEnd + kEnd + "tail", kStart + kEnd + plain_ + kEnd},
      {kStart + kEnd + std::string(1000, 'v'), kStart + plain_ + kEnd + std::string(1000 - plain_.size(), 'v')},
      {kStart + many + kEnd + many, ""},
      // Where a block of the search may begin inside a tag.
      {kStart + kEnd + std::string(262144 - 11 - 5, 'y'), ""},
      {kStart + std::string(500000, 'y') + kEnd + std::string(262144 - 3, 'y'), ""},
  };
  for (const auto &log : logs) {
    put(path_, log.before);
    const size_t at = log.before.rfind(kEnd);
    std::string expected = log.before;
    expected.replace(at, plain_.size() + kEnd.size(), plain_ + kEnd);
    ASSERT_TRUE(log.after.empty() || log.after == expected);
    EXPECT_EQ(append(), 0u);
    EXPECT_TRUE(get(path_) == expected) << at;
  }
}

TEST_F(XmlLog, StartsAShortFileAgainAndLeavesAForeignOne)
{
  for (const size_t size : {0, 1, 40, 64}) {
    put(path_, std::string(size, 'x'));
    EXPECT_EQ(append(), 0u);
    EXPECT_EQ(get(path_), kStart + plain_ + kEnd) << size;
  }
  const std::string
      foreign
          [] =
              {
                  std::string(65, 'x'),        std::string(75, 'x'),
                  std::string(64, 'x') + kEnd,  // a tag that begins inside the header
                  std::string(100, 'x'),       kStart + "</EventLog",
                  std::string(300000, '<'),    std::string(4194304, 'x'),
                  std::string(100000, 'v'),
              };
  for (const std::string &before : foreign) {
    put(path_, before);
    EXPECT_EQ(append(nullptr, 0xFFFFFFFF), 257u);
    EXPECT_TRUE(get(path_) == before) << before.size();
  }
}

TEST_F(XmlLog, MovesToItsBackupBeforeItReachesItsMaximum)
{
  ASSERT_EQ(append(), 0u);
  const std::string first = get(path_);
  const auto size = static_cast<uint32_t>(first.size() + plain_.size());
  EXPECT_EQ(append(nullptr, size + 1), 0u);
  EXPECT_FALSE(fs::exists(backup_));
  put(path_, first);
  EXPECT_EQ(AppendToXMLLog(path_.c_str(), 4, 7, u"me", u"S", nullptr, nullptr, 0, size), 0u);
  EXPECT_EQ(get(backup_), first);
  EXPECT_EQ(get(path_),
            kStart + entry("4", "1", "me", "S", "Log backup created") + entry("4", "7", "me", "S", "") + kEnd);
}

TEST_F(XmlLog, ClearsAndMakesSureThatItExists)
{
  EXPECT_EQ(ClearXMLLog(path_.c_str(), u"me", u"S"), SM_STATUS_UNSUCCESSFUL);
  EXPECT_FALSE(fs::exists(path_));
  const std::string cleared = kStart + entry("4", "0", "me", "S", "Log was cleared") + kEnd;
  EXPECT_EQ(SMForceXMLLogExists(path_.c_str(), u"me", u"S"), 0u);
  EXPECT_EQ(get(path_), cleared);
  ASSERT_EQ(append(), 0u);
  const std::string grown = get(path_);
  EXPECT_EQ(ForceXMLLogExists(path_.c_str(), u"x", u"S"), 0u);
  EXPECT_EQ(get(path_), grown);
  EXPECT_EQ(SMClearXMLLog(path_.c_str(), u"me", u"S"), 0u);
  EXPECT_EQ(get(path_), cleared);
  put(path_, std::string(64, 'x'));
  EXPECT_EQ(ForceXMLLogExists(path_.c_str(), u"me", u"S"), 0u);
  EXPECT_EQ(get(path_), cleared);
}

TEST_F(XmlLog, AnswersWhatItCannotWriteTo)
{
  ASSERT_EQ(UnLoadIPSupt(), 0u);
  EXPECT_EQ(append(), 17u);
  ASSERT_EQ(LoadIPSupt(), 0u);
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_EQ(AppendToXMLLog(directory_.file("b/c/a.xml").c_str(), 4, 7, nullptr, nullptr, nullptr, nullptr, 0, kMaximum),
            SM_STATUS_UNSUCCESSFUL);
  fs::create_directory(path_);
  EXPECT_EQ(append(), SM_STATUS_UNSUCCESSFUL);
  fs::remove(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(append(), SM_STATUS_UNSUCCESSFUL);
  fs::remove(path_);
  fs::create_symlink(directory_.file("b.xml"), path_);
  EXPECT_EQ(append(), 0u);
  EXPECT_EQ(get(directory_.file("b.xml")), kStart + plain_ + kEnd);
}

/// Appends in a child whose files may not pass a size, and returns the status.
std::string appendWithin(size_t limit, const std::function<uint32_t()> &append)
{
  Child child([&](Inside &inside) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit size = {limit, limit};
    setrlimit(RLIMIT_FSIZE, &size);
    inside.report("%u", append());
  });
  return child.report();
}

TEST_F(XmlLog, MendsItselfAfterAShortWrite)
{
  ASSERT_EQ(append(), 0u);
  const std::string before = get(path_);
  for (const size_t more : {0, 1, 10, 100, 200}) {
    EXPECT_EQ(appendWithin(before.size() + more, [&] { return append(); }), "19\n");
    EXPECT_EQ(get(path_), before) << more;
  }
  EXPECT_EQ(append(), 0u);
  EXPECT_EQ(get(path_), kStart + plain_ + plain_ + kEnd);
  // A log that cannot even start, and one that has no room for its first entry.
  for (const size_t limit : {0, 10, 64, 70, 85, 86, 200}) {
    put(path_, "");
    EXPECT_EQ(appendWithin(limit, [&] { return append(); }), "19\n") << limit;
    EXPECT_EQ(append(), 0u);
    EXPECT_EQ(get(path_), kStart + plain_ + kEnd) << limit;
  }
}

TEST_F(XmlLog, LosesNothingWhenACallFails)
{
  ASSERT_EQ(append(), 0u);
  const std::string before = get(path_);
  const std::string after = kStart + plain_ + plain_ + kEnd;
  for (const Call call : {Call::allocation, Call::open, Call::pwrite, Call::close, Call::fcntl}) {
    const unsigned failed = support::failEachBetween(
        call, [&] { put(path_, before); }, [&] { return append(); },
        [&](uint32_t status) {
          const std::string now = get(path_);
          EXPECT_TRUE(now == before || now == after) << static_cast<int>(call);
          EXPECT_TRUE(status != 0 || now == after) << static_cast<int>(call);
        });
    EXPECT_GE(failed, 1u) << static_cast<int>(call);
  }
}

}  // namespace
