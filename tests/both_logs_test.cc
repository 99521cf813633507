// What both logs do alike, case by case over each, and the exported functions on their files.

#include <sys/mman.h>

#include "support/huge_text.h"
#include "support/log_formats.h"
#include "support/test.h"

namespace {

using namespace support;

// Either log ----------------------------------------------------------------------------------------------------------

template <class Format>
class EitherLog : public FixedTime {
 protected:
  uint32_t append(const LogEvent &event = {}) const { return Format::append(path_, event); }

  const std::string path_ = path("new/a.log");
  const std::string backup_ = path("new/a.lo_");
};
using Formats = testing::Types<TextFormat, XmlFormat>;
TYPED_TEST_SUITE(EitherLog, Formats);

TYPED_TEST(EitherLog, RefusesWhatPassesItsLimits)
{
  const std::u16string longest(1023, u'x');
  const std::u16string tooLong = longest + u"x";
  const std::u16string longestDescription(16383, u'd');
  const std::u16string tooLongDescription = longestDescription + u"d";
  const std::string data(32769, '\0');
  const LogEvent refused[] = {
      {.dataSize = 1},      {.data = data.data(), .dataSize = 32769},    {.source = u""}, {.source = tooLong.c_str()},
      {.description = u""}, {.description = tooLongDescription.c_str()},
  };
  for (const LogEvent &event : refused) {
    EXPECT_EQ(this->append(event), SM_STATUS_BAD_ARGUMENT);
  }
  EXPECT_FALSE(fs::exists(this->path("new")));
  EXPECT_EQ(this->append({.source = longest.c_str(),
                          .description = longestDescription.c_str(),
                          .data = data.data(),
                          .dataSize = 32768}),
            SM_STATUS_SUCCESS);
  const size_t unit = TypeParam::kWrite == Call::write ? 2 : 1;
  EXPECT_EQ(fs::file_size(this->path_),
            TypeParam::log(TypeParam::record("7")).size() + unit * (1022 + 16383 + 2048 * 82));
}

TYPED_TEST(EitherLog, MovesToItsBackupBeforeItReachesItsMaximum)
{
  ASSERT_EQ(this->append(), SM_STATUS_SUCCESS);
  fs::remove(this->path_);
  EXPECT_EQ(this->append({.maximum = 0}), SM_STATUS_SUCCESS);
  EXPECT_FALSE(fs::exists(this->backup_)) << "a log that is missing has nothing to move";
  const std::string first = get(this->path_);
  put(this->backup_, "older");
  const auto reached = static_cast<uint32_t>(first.size()) + TypeParam::takenFor(2);
  EXPECT_EQ(this->append({.description = u"de", .maximum = reached + 1}), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(this->backup_), "older");
  put(this->path_, first);
  EXPECT_EQ(this->append({.description = u"de", .maximum = reached}), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(this->backup_), first);
  const std::string records = TypeParam::record("1", "Log backup created") + TypeParam::record("7", "de");
  EXPECT_EQ(get(this->path_), TypeParam::log(records));
  // A backup that fails is not reported, and the log grows on.
  fs::remove(this->backup_);
  fs::create_directories(this->backup_ + "/in the way");
  EXPECT_EQ(this->append({.maximum = 0}), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(this->path_), TypeParam::log(records + TypeParam::record("7")));
}

TYPED_TEST(EitherLog, ClearsToOneRecord)
{
  EXPECT_EQ(TypeParam::clear(this->path_), SM_STATUS_UNSUCCESSFUL);
  EXPECT_FALSE(fs::exists(this->path("new")));
  ASSERT_EQ(this->append(), SM_STATUS_SUCCESS);
  EXPECT_EQ(TypeParam::clear(this->path_), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(this->path_), TypeParam::log(TypeParam::record("0", "Log was cleared")));
}

TYPED_TEST(EitherLog, AnswersWhatItCannotWriteTo)
{
  EXPECT_EQ(TypeParam::append(this->path("b/c/a.log"), {}), SM_STATUS_UNSUCCESSFUL);
  fs::create_directories(this->path_);
  EXPECT_EQ(this->append(), SM_STATUS_UNSUCCESSFUL);
  fs::remove(this->path_);
  ASSERT_EQ(mkfifo(this->path_.c_str(), 0600), 0);
  EXPECT_EQ(this->append(), SM_STATUS_UNSUCCESSFUL);
  const int reader = open(this->path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_EQ(this->append(), SM_STATUS_UNSUCCESSFUL);
  close(reader);
  fs::remove(this->path_);
  fs::create_symlink(this->path("missing/b.log"), this->path_);
  EXPECT_EQ(this->append(), SM_STATUS_UNSUCCESSFUL);
  fs::remove(this->path_);
  put(this->path_, "");
  fs::resize_file(this->path_, 0x80000000u);
  EXPECT_EQ(this->append({.maximum = 0}), SM_STATUS_UNSUCCESSFUL) << "no size of 31 bits: not moved either";
  EXPECT_EQ(fs::file_size(this->path_), 0x80000000u);
  fs::remove(this->path_);

  const RecordHolder holder(kFileLockRecord);
  const Fault fast(Call::usleep);
  EXPECT_EQ(TypeParam::append(this->path("b/c/a.log"), {}), SM_STATUS_UNSUCCESSFUL);
  EXPECT_EQ(fast.calls(), 0u) << "a directory that cannot be created is refused without a wait";
  EXPECT_EQ(this->append(), SM_STATUS_LOCK_FAILED);
  EXPECT_EQ(fast.calls(), 60000u);
  EXPECT_EQ(TypeParam::clear(this->path_), SM_STATUS_LOCK_FAILED);
  EXPECT_FALSE(fs::exists(this->path_));
}

TYPED_TEST(EitherLog, LosesNothingWhenACallFails)
{
  ASSERT_EQ(this->append(), SM_STATUS_SUCCESS);
  const std::string before = get(this->path_);
  const std::string data(3000, 'd');
  const struct {
    Call call;
    unsigned nth;
    bool forGood;
    uint32_t status;
  } rows[] = {
      {Call::allocation, 1, false, SM_STATUS_UNSUCCESSFUL}, {Call::allocation, 2, false, SM_STATUS_UNSUCCESSFUL},
      {Call::open, 1, true, SM_STATUS_UNSUCCESSFUL},        {Call::fstat, 1, true, SM_STATUS_UNSUCCESSFUL},
      {Call::fcntl, 1, true, SM_STATUS_LOCK_FAILED},        {TypeParam::kWrite, 1, false, SM_STATUS_LIMIT_EXCEEDED},
      {Call::close, 1, false, SM_STATUS_LIMIT_EXCEEDED},
  };
  for (const auto &row : rows) {
    put(this->path_, before);
    {
      const Fault fault(row.call, row.nth, EIO, row.forGood);
      EXPECT_EQ(this->append({.data = data.data(), .dataSize = 3000}), row.status) << static_cast<int>(row.call);
      EXPECT_TRUE(fault.struck()) << static_cast<int>(row.call);
    }
    if (row.call != Call::close) {
      const std::string after = get(this->path_);
      EXPECT_EQ(after.substr(0, before.size()), before) << static_cast<int>(row.call);
    }
  }
  const long blocks = liveBlocks();
  EXPECT_EQ(this->append({.data = data.data(), .dataSize = 3000}), SM_STATUS_SUCCESS);
  EXPECT_EQ(liveBlocks(), blocks);
}

TYPED_TEST(EitherLog, KeepsItsRecordsWhenAnAppenderIsKilledAtAnyWrite)
{
  const std::u16string description(9000, u'd');  // its record crosses pages
  ASSERT_EQ(this->append(), SM_STATUS_SUCCESS);
  const std::string before = get(this->path_);
  unsigned writes = 0;
  for (bool held = true; held; ++writes) {
    put(this->path_, before);
    Child child([&](Inside &inside) {
      const Fault atWrite(TypeParam::kWrite, writes + 1, [&] { inside.hold(); });
      (void)this->append({.description = description.c_str()});
    });
    held = child.waitHeld();
    child.signal(SIGKILL);
    child.wait();
    if (held) {
      EXPECT_EQ(get(this->path_), before) << writes;
      EXPECT_EQ(this->append({.id = 8}), SM_STATUS_SUCCESS);
      EXPECT_EQ(get(this->path_), TypeParam::log(TypeParam::record("7") + TypeParam::record("8"))) << writes;
    }
  }
  EXPECT_EQ(writes - 1, 1u) << "a record goes into the log with one write";
}

TYPED_TEST(EitherLog, HasItsPermissionsAndIsClosedOverAnExec)
{
  const mode_t old = umask(0077);
  EXPECT_EQ(this->append(), SM_STATUS_SUCCESS);
  umask(old);
  const auto permissions = [&] { return fs::status(this->path_).permissions(); };
  EXPECT_EQ(permissions(), fs::perms(0664));
  fs::permissions(this->path_, fs::perms(0600));
  std::string inherited;
  const Fault atWrite(TypeParam::kWrite, 1, [&] { inherited = inheritableDescriptors(); });
  const std::string usual = inheritableDescriptors();
  EXPECT_EQ(this->append(), SM_STATUS_SUCCESS);
  EXPECT_EQ(permissions(), fs::perms(0664));
  EXPECT_EQ(inherited, usual);
}

TYPED_TEST(EitherLog, ShowsTheTimeOfTheZoneThatIsSetNow)
{
  EXPECT_EQ(this->append(), SM_STATUS_SUCCESS);
  setenv("TZ", "EST5", 1);
  EXPECT_EQ(this->append(), SM_STATUS_SUCCESS);
  const std::string log = get(this->path_);
  const std::string eastern = "Thu Dec 31 19:00:00 2099";
  EXPECT_EQ(count(log, eastern) + count(log, utf16(eastern)), 1u);
}

// Their files ---------------------------------------------------------------------------------------------------------

class LogFiles : public Scratch {
 protected:
  const std::string path_ = path("a.log");
  const std::string backup_ = path("a.lo_");
};

TEST_F(LogFiles, HaveBackupNames)
{
  char name[16] = "untouched";
  const struct {
    const char *path;
    char *buffer;
    uint32_t size, status, sizeAfter;
    const char *name;
  } rows[] = {
      {"/var/a.xml", name, 10, SM_STATUS_BUFFER_TOO_SMALL, 11, "untouched"},
      {"/var/a.xml", nullptr, 10, SM_STATUS_BUFFER_TOO_SMALL, 11, "untouched"},
      {"/var/a.xml", nullptr, 11, SM_STATUS_INVALID_PARAMETER, 11, "untouched"},
      {"a", nullptr, 0, SM_STATUS_INVALID_PARAMETER, 0, "untouched"},
      {"/var/a.xml", name, 11, SM_STATUS_SUCCESS, 11, "/var/a.xm_"},
      {"ab", name, 16, SM_STATUS_SUCCESS, 3, "a_"},
  };
  for (const auto &row : rows) {
    uint32_t size = row.size;
    EXPECT_EQ(SMGetBackupXMLLogPathFileName(row.path, row.buffer, &size), row.status);
    EXPECT_EQ(size, row.sizeAfter);
    EXPECT_STREQ(name, row.name);
  }
}

TEST_F(LogFiles, AreMovedAndRemoved)
{
  EXPECT_EQ(BackupLogFile("a"), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BackupLogFile(std::string(256, 'a').c_str()), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(BackupLogFile(path_.c_str()), SM_STATUS_UNSUCCESSFUL);
  EXPECT_EQ(CreateLogDir(path_.c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(CreateLogDir(path("a/b/c.log").c_str()), SM_STATUS_UNSUCCESSFUL);
  for (const char *content : {"first", "second"}) {
    put(path_, content);
    EXPECT_EQ(BackupLogFile(path_.c_str()), SM_STATUS_SUCCESS);
    EXPECT_EQ(get(backup_), content);
    EXPECT_FALSE(fs::exists(path_));
  }
  SMBool backedUp = 7;
  CheckBackupLogFile(path_.c_str(), 0, 0xFFFFFFFF, &backedUp);
  EXPECT_EQ(backedUp, 0);
  put(path_, "third");
  CheckBackupLogFile(path_.c_str(), 0xFFFFFFFF, 0xFFFFFFFE, &backedUp);
  EXPECT_EQ(backedUp, 1);
  EXPECT_EQ(DeleteLogFile(backup_.c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(DeleteLogFile(backup_.c_str()), SM_STATUS_UNSUCCESSFUL);
}

TEST_F(LogFiles, AreMovedByOneOfTwoProcesses)
{
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

#ifdef QV_HUGE_TEXTS
TEST_F(LogFiles, TakeNoLengthForItsLower32Bits)
{
  char buffer[16] = "untouched";
  const HugeText path((size_t{1} << 32) + 5);
  uint32_t size = sizeof(buffer);
  EXPECT_EQ(GetBackupXMLLogPathFileName(path.bytes(), buffer, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, UINT32_MAX);
  EXPECT_EQ(BackupLogFile(path.bytes()), SM_STATUS_BUFFER_TOO_SMALL);
  size = sizeof(buffer);
  EXPECT_EQ(OSInitInstallPathByKeyName(path.bytes(), buffer, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, UINT32_MAX);
  // 2^31 + 2 units take 6 bytes more than 32 bits count.
  size = sizeof(buffer);
  auto *units = reinterpret_cast<SMChar16 *>(buffer);
  EXPECT_EQ(SetUnicodeStringToDestination(path.units(), units, &size), 0u);
  EXPECT_EQ(size, UINT32_MAX);
  EXPECT_EQ(SetUnicodeStringToDestination(path.units(), nullptr, nullptr), UINT32_MAX);
  EXPECT_STREQ(buffer, "untouched");
}

TEST_F(LogFiles, TakeNoSourceForTheLower32BitsOfItsLength)
{
  const HugeText source(((size_t{1} << 32) + 5) * 2);  // the limits of both logs are in one place
  EXPECT_EQ(AppendToXMLLog(path_.c_str(), 4, 1, nullptr, source.units(), nullptr, nullptr, 0, kMaximum),
            SM_STATUS_BAD_ARGUMENT);
}
#endif

}  // namespace
