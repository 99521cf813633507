// The text log: exact bytes of its pieces and records, limits, backups, and what failing calls leave.

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
constexpr uint32_t kFixedEstimate = 2214;

/// The bytes of UTF-16 text.
std::string bytes(std::u16string_view text)
{
  return {reinterpret_cast<const char *>(text.data()), text.size() * 2};
}

std::string bytes(const std::string &text)
{
  return bytes(std::u16string(text.begin(), text.end()));
}

const std::string kHeader = "\xFF\xFE" + bytes(
                                             "#-------------------------------\r\n"
                                             "# Do not remove this block\r\n"
                                             "# This data file is parsed\r\n"
                                             "#------------------------------- \r\n\r\n"s);

std::string record(const char *id, const char *source, const char *type, const std::string &description,
                   const std::string &dump = "")
{
  return bytes("EventID: "s + id + "\r\nSource: " + source + "\r\nType: " + type +
               "\r\nDate and Time: Fri Jan  1 00:00:00 2100\r\nComputer: sandbox\r\nDescription:\r\n" + description +
               "\r\nData: Bytes in Hex\r\n" + dump + "\r\n");
}

class TextLog : public testing::Test {
 protected:
  TextLog()
  {
    setenv("TZ", "UTC", 1);
    support::fixedTime = support::kAfter2038;
  }
  ~TextLog() override { support::fixedTime = 0; }

  uint32_t append(const SMChar16 *source, const SMChar16 *description = nullptr, uint32_t maximum = kMaximum) const
  {
    return AppendToUNITXTLog(path_.c_str(), SM_EVENT_INFORMATION, 7, source, description, nullptr, 0, maximum);
  }

  const support::ScratchDirectory directory_{"/etc/tallowmere/textlog"};
  const std::string path_ = directory_.file("new/a.log");
  const std::string backup_ = directory_.file("new/a.lo_");
};

TEST_F(TextLog, HasAHeaderAndRecordsToTheByte)
{
  const char data[] = "0123456789abcdef\x7f\x01z{";
  ASSERT_EQ(kHeader.size(), 256u);
  EXPECT_EQ(AppendToUNITXTLog(path_.c_str(), 1, 0xFFFFFFFF, u"caf\u00e9 \xd800", u"one\r\ntwo", data, 20, kMaximum),
            0u);
  const std::string first = kHeader + bytes(
                                          u"EventID: -1\r\nSource: caf\u00e9 \xd800\r\nType: Error\r\n"
                                          u"Date and Time: Fri Jan  1 00:00:00 2100\r\nComputer: sandbox\r\n"
                                          u"Description:\r\none\r\ntwo\r\nData: Bytes in Hex\r\n"
                                          u"0x00000000: 30 31 32 33:34 35 36 37:38 39 61 62:63 64 65 66    "
                                          u"0123456789abcdef \r\n"
                                          u"0x00000010: 7F 01 7A 7B                                        "
                                          u"..z.             \r\n\r\n");
  EXPECT_EQ(get(path_), first);
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0664u);

  const struct {
    uint16_t type;
    const char *text;
  } types[] = {{0, "None"}, {2, "Warning"}, {4, "Information"}, {8, "Audit Success"}, {16, "Audit Failure"}};
  std::string expected = first;
  for (const auto &type : types) {
    EXPECT_EQ(AppendToUNITXTLog(path_.c_str(), type.type, 12, u"S", nullptr, nullptr, 0, kMaximum), 0u);
    expected += record("12", "S", type.text, "");
  }
  EXPECT_EQ(get(path_), expected);
}

TEST_F(TextLog, RefusesWhatPassesItsLimits)
{
  const std::u16string longest(1023, u'x');
  const std::u16string longestDescription(16383, u'd');
  const std::string data(32769, '\0');
  const auto append = [&](const char *path, uint16_t type, const std::u16string *source, const char16_t *description,
                          const void *bytes, uint32_t size) {
    return AppendToUNITXTLog(path, type, 1, source == nullptr ? nullptr : source->c_str(), description, bytes, size,
                             kMaximum);
  };
  const std::u16string empty;
  const std::u16string tooLong = longest + u"x";
  const char *path = path_.c_str();
  EXPECT_EQ(append(nullptr, 4, &longest, nullptr, nullptr, 0), 2u);
  EXPECT_EQ(append(path, 4, nullptr, nullptr, nullptr, 0), 2u);
  EXPECT_EQ(append(path, 4, &longest, nullptr, nullptr, 1), 2u);
  EXPECT_EQ(append(path, 4, &longest, nullptr, data.data(), 32769), 2u);
  EXPECT_EQ(append(path, 4, &empty, nullptr, nullptr, 0), 2u);
  EXPECT_EQ(append(path, 4, &tooLong, nullptr, nullptr, 0), 2u);
  EXPECT_EQ(append(path, 4, &longest, u"", nullptr, 0), 2u);
  EXPECT_EQ(append(path, 4, &longest, (longestDescription + u"d").c_str(), nullptr, 0), 2u);
  EXPECT_FALSE(fs::exists(directory_.file("new")));
  EXPECT_EQ(append(path, 3, &longest, nullptr, nullptr, 0), 2u);
  EXPECT_TRUE(fs::exists(directory_.file("new")));
  EXPECT_FALSE(fs::exists(path_));

  EXPECT_EQ(append(path, 4, &longest, longestDescription.c_str(), data.data(), 32768), 0u);
  EXPECT_EQ(fs::file_size(path_), 256 + record("1", "", "Information", "").size() + 2 * (1023 + 16383 + 2048 * 82));
}

TEST_F(TextLog, WritesTheHeaderOnlyIntoAShortFile)
{
  fs::create_directory(directory_.file("new"));
  for (const size_t size : {0, 1, 255, 256, 257}) {
    const std::string before(size, 'f');
    put(path_, before);
    EXPECT_EQ(append(u"S"), 0u);
    EXPECT_EQ(get(path_), before + (size < 256 ? kHeader : "") + record("7", "S", "Information", "")) << size;
  }
}

TEST_F(TextLog, MovesToItsBackupBeforeItReachesItsMaximum)
{
  ASSERT_EQ(append(u"S"), 0u);
  const std::string first = get(path_);
  put(backup_, "older");
  const auto size = static_cast<uint32_t>(first.size());
  const uint32_t estimate = 2 * (1 + 2 + 83) + kFixedEstimate;
  const std::string data(31, 'x');  // one whole line counts
  const auto appendWith = [&](uint32_t maximum, uint16_t type) {
    return AppendToUNITXTLog(path_.c_str(), type, 9, u"S", u"de", data.data(), 31, maximum);
  };
  EXPECT_EQ(appendWith(size + estimate + 1, 4), 0u);
  EXPECT_EQ(get(backup_), "older");
  put(path_, first);
  // The type is refused after the backup was made.
  EXPECT_EQ(appendWith(size + estimate, 3), 2u);
  EXPECT_EQ(get(backup_), first);
  EXPECT_EQ(get(path_), kHeader + record("1", "S", "Information", "Log backup created"));
  EXPECT_EQ(append(u"S", nullptr, 0), 0u);
  EXPECT_EQ(get(path_),
            kHeader + record("1", "S", "Information", "Log backup created") + record("7", "S", "Information", ""));
}

TEST_F(TextLog, ClearsToOneRecord)
{
  EXPECT_EQ(ClearUNITXTLog(path_.c_str(), u"S"), SM_STATUS_UNSUCCESSFUL);
  EXPECT_FALSE(fs::exists(directory_.file("new")));
  ASSERT_EQ(append(u"S", u"some text"), 0u);
  EXPECT_EQ(ClearUNITXTLog(path_.c_str(), u"S"), 0u);
  EXPECT_EQ(get(path_), kHeader + record("0", "S", "Information", "Log was cleared"));
}

TEST_F(TextLog, NamesAndMovesBackups)
{
  char name[16] = "untouched";
  uint32_t size = 9;
  EXPECT_EQ(GetBackupXMLLogPathFileName("/var/a.xml", name, &size), 16u);
  EXPECT_EQ(size, 11u);
  EXPECT_STREQ(name, "untouched");
  EXPECT_EQ(SMGetBackupXMLLogPathFileName("/var/a.xml", name, &size), 0u);
  EXPECT_STREQ(name, "/var/a.xm_");
  EXPECT_EQ(GetBackupXMLLogPathFileName("a", name, &size), 271u);

  EXPECT_EQ(BackupLogFile("a"), 271u);
  EXPECT_EQ(BackupLogFile(std::string(256, 'a').c_str()), 16u);
  EXPECT_EQ(BackupLogFile(path_.c_str()), SM_STATUS_UNSUCCESSFUL);
  EXPECT_EQ(CreateLogDir(path_.c_str()), 0u);
  EXPECT_EQ(CreateLogDir(directory_.file("a/b/c.log").c_str()), SM_STATUS_UNSUCCESSFUL);
  for (const char *content : {"first", "second"}) {
    put(path_, content);
    EXPECT_EQ(BackupLogFile(path_.c_str()), 0u);
    EXPECT_EQ(get(backup_), content);
    EXPECT_FALSE(fs::exists(path_));
  }
  SMBool backedUp = 7;
  CheckBackupLogFile(path_.c_str(), 0, 0xFFFFFFFF, &backedUp);
  EXPECT_EQ(backedUp, 0);
  put(path_, "third");
  CheckBackupLogFile(path_.c_str(), 0xFFFFFFFF, 0xFFFFFFFE, &backedUp);
  EXPECT_EQ(backedUp, 1);
  EXPECT_EQ(DeleteLogFile(backup_.c_str()), 0u);
  EXPECT_EQ(DeleteLogFile(backup_.c_str()), SM_STATUS_UNSUCCESSFUL);
}

TEST_F(TextLog, OfTwoProcessesOneMovesTheLog)
{
  fs::create_directory(directory_.file("new"));
  const std::string full(1000, 'f');
  put(path_, full);
  // The other process moves the log after this one has seen that it is full.
  Fault between(Call::fcntl, 1, [&] {
    Child other([&](Inside &) {
      SMBool backedUp;
      CheckBackupLogFile(path_.c_str(), 500, 0, &backedUp);
      put(path_, "fresh");
    });
    other.wait();
  });
  SMBool backedUp;
  CheckBackupLogFile(path_.c_str(), 500, 0, &backedUp);
  EXPECT_EQ(backedUp, 0);
  EXPECT_EQ(get(path_), "fresh");
  EXPECT_EQ(get(backup_), full);
}

TEST_F(TextLog, AnswersWhatItCannotWriteTo)
{
  fs::create_directories(path_);
  EXPECT_EQ(append(u"S"), SM_STATUS_UNSUCCESSFUL);
  fs::remove(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(append(u"S"), SM_STATUS_UNSUCCESSFUL);
  fs::remove(path_);
  fs::create_symlink(directory_.file("missing/b.log"), path_);
  EXPECT_EQ(append(u"S"), SM_STATUS_UNSUCCESSFUL);
  fs::remove(path_);

  Child holder([](Inside &inside) {
    inside.report("%u", FileLock(1));
    inside.hold();
  });
  ASSERT_TRUE(holder.waitHeld());
  Fault fast(Call::usleep);
  EXPECT_EQ(append(u"S"), 11u);
  EXPECT_EQ(DeleteLogFile(path_.c_str()), 11u);
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_EQ(fast.calls(), 120000u);
}

TEST_F(TextLog, KeepsWhatItHasWhenAWriteFails)
{
  ASSERT_EQ(append(u"S"), 0u);
  const std::string before = get(path_);
  Child limited([&](Inside &inside) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {before.size() + 100, before.size() + 100};
    setrlimit(RLIMIT_FSIZE, &limit);
    inside.report("%u", append(u"S", u"too much for what is left"));
  });
  EXPECT_EQ(limited.report(), "19\n");
  EXPECT_EQ(get(path_).substr(0, before.size()), before);
  EXPECT_EQ(fs::file_size(path_), before.size() + 100);

  const std::string data(64, 'd');
  for (const Call call : {Call::allocation, Call::open, Call::write, Call::close, Call::fcntl}) {
    const unsigned failed = support::failEachBetween(
        call, [&] { put(path_, before); },
        [&] { return AppendToUNITXTLog(path_.c_str(), 4, 1, u"S", nullptr, data.data(), 64, kMaximum); },
        [&](uint32_t status) {
          const std::string now = get(path_);
          EXPECT_EQ(now.substr(0, before.size()), before) << static_cast<int>(call);
          EXPECT_TRUE(status != 0 || support::count(now, bytes(u"EventID: ")) == 2u) << static_cast<int>(call);
        });
    EXPECT_GE(failed, 1u) << static_cast<int>(call);
  }
}

TEST_F(TextLog, StopsBeforeAHostNameThatItCannotHave)
{
  ASSERT_EQ(UnLoadIPSupt(), 0u);
  EXPECT_EQ(append(u"S"), SM_STATUS_UNSUCCESSFUL);
  ASSERT_EQ(LoadIPSupt(), 0u);
  const std::string whole = kHeader + record("7", "S", "Information", "");
  EXPECT_EQ(get(path_), whole.substr(0, whole.find(bytes("sandbox"s))));
}

class TextLogPieces : public TextLog {
 protected:
  /// What a step writes to a stream, with its status before it.
  template <class Step>
  std::string written(Step step)
  {
    FILE *stream = tmpfile();
    const uint32_t status = step(stream);
    rewind(stream);
    std::string text = std::to_string(static_cast<int32_t>(status)) + " ";
    for (int c = getc(stream); c != EOF; c = getc(stream)) {
      text.push_back(static_cast<char>(c));
    }
    fclose(stream);
    return text;
  }
};

TEST_F(TextLogPieces, GoToAnyStream)
{
  EXPECT_EQ(written([](FILE *stream) { return UniAppendHdr(stream); }), "0 " + kHeader);
  EXPECT_EQ(written([](FILE *stream) { return UniAppendHdr(stream) + UniAppendHdr(stream); }), "0 " + kHeader);
  EXPECT_EQ(written([](FILE *stream) { return UniAppendUStr(stream, uniData_en_US); }),
            "0 " + bytes("Data: Bytes in Hex"s));
  EXPECT_EQ(written([](FILE *stream) { return UniAppendWhiteSpace(stream, 300); }),
            "0 " + bytes(std::string(300, ' ')));
  EXPECT_EQ(written([](FILE *stream) { return UniAppendTab(stream, 1); }), "0 " + bytes("\t"s));
  EXPECT_EQ(written([](FILE *stream) { return UniAppendCRLF(stream, 2); }), "0 " + bytes("\r\n\r\n"s));
  EXPECT_EQ(written([](FILE *stream) { return UniAppendCRLF(stream, 0); }), "2 ");
  EXPECT_EQ(written([](FILE *stream) { return UniAppendTab(stream, 0); }), "2 ");
  EXPECT_EQ(written([](FILE *stream) { return UniAppendWhiteSpace(stream, 0); }), "2 ");
  EXPECT_EQ(written([](FILE *stream) { return UniAppendUnSigned32Int(stream, 0x80000000); }),
            "0 " + bytes("-2147483648"s));
  const int32_t start = 0;
  EXPECT_EQ(written([&](FILE *stream) { return UniAppendDateTime(stream, &start); }),
            "0 " + bytes("Thu Jan  1 00:00:00 1970"s));
  EXPECT_EQ(written([](FILE *stream) { return UniAppendHostName(stream); }), "0 " + bytes("sandbox"s));
  EXPECT_EQ(written([](FILE *stream) { return UniAppendBufferDump(stream, 99, "A", 1); }),
            "0 " + bytes("0x00000000: 41" + std::string(49, ' ') + "A" + std::string(16, ' ') + "\r\n"));
  EXPECT_EQ(written([](FILE *stream) { return UniAppendBufferDump(stream, 0, nullptr, 0); }), "0 ");

  FILE *full = fopen("/dev/full", "w");
  EXPECT_EQ(UniAppendUStr(full, u"x"), 19u);
  EXPECT_EQ(UniAppendHostName(full), 19u);
  EXPECT_EQ(UniAppendCRLF(full, 0xFFFFFFFF), 19u);
  fclose(full);
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  FILE *stream = fdopen(pipe[1], "w");
  EXPECT_EQ(UniAppendHdr(stream), SM_STATUS_UNSUCCESSFUL);
  fclose(stream);
  close(pipe[0]);
}

}  // namespace
