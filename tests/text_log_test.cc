// The text log alone: its exact bytes, its pieces on a stream, and the refusal of a type. What it shares with the XML
// log is in both_logs_test.

#include <ctime>

#include "support/log_formats.h"
#include "support/test.h"

namespace {

using namespace support;
using Format = TextFormat;

class TextLog : public FixedTime {
 protected:
  const std::string path_ = path("a.log");
  const std::string backup_ = path("a.lo_");
};

TEST_F(TextLog, HasAHeaderAndRecordsToTheByte)
{
  const char data[] = "0123456789abcdef\x7f\x01z{";
  EXPECT_EQ(Format::log("").size(), 256u);
  EXPECT_EQ(Format::append(path_, {.type = SM_EVENT_ERROR,
                                   .id = 0xFFFFFFFF,
                                   .source = u"caf\u00e9 \xd800",
                                   .description = u"one\r\ntwo",
                                   .data = data,
                                   .dataSize = 20}),
            SM_STATUS_SUCCESS);
  std::string expected =
      Format::log(utf16(u"EventID: -1\r\nSource: caf\u00e9 \xd800\r\nType: Error\r\n"
                        u"Date and Time: Fri Jan  1 00:00:00 2100\r\nComputer: sandbox\r\n"
                        u"Description:\r\none\r\ntwo\r\nData: Bytes in Hex\r\n"
                        u"0x00000000: 30 31 32 33:34 35 36 37:38 39 61 62:63 64 65 66    "
                        u"0123456789abcdef \r\n"
                        u"0x00000010: 7F 01 7A 7B                                        "
                        u"..z.             \r\n\r\n"));
  EXPECT_EQ(get(path_), expected);
  const struct {
    uint16_t type;
    const char *text;
  } types[] = {{0, "None"}, {2, "Warning"}, {4, "Information"}, {8, "Audit Success"}, {16, "Audit Failure"}};
  for (const auto &type : types) {
    EXPECT_EQ(Format::append(path_, {.type = type.type, .id = 12}), SM_STATUS_SUCCESS);
    expected += Format::record("12", "", type.text);
  }
  EXPECT_EQ(get(path_), expected);
}

TEST_F(TextLog, DumpsMoreThanOneChunkOfData)
{
  const std::string data(32768, 'x');
  EXPECT_EQ(Format::append(path_, {.data = data.data(), .dataSize = 32768}), SM_STATUS_SUCCESS);
  const std::string log = get(path_);
  EXPECT_EQ(log.size(), 256 + Format::record("7").size() + 2 * 2048 * 82);
  for (const char *offset : {"0x00000000: 78", "0x000001F0: 78", "0x00000200: 78", "0x00007FF0: 78"}) {
    EXPECT_EQ(count(log, utf16(offset)), 1u) << offset;
  }
}

TEST_F(TextLog, WritesTheHeaderOnlyIntoAShortFile)
{
  for (const size_t size : {0, 1, 255, 256, 257}) {
    const std::string before(size, 'f');
    put(path_, before);
    EXPECT_EQ(Format::append(path_, {}), SM_STATUS_SUCCESS);
    EXPECT_EQ(get(path_), before + Format::log(Format::record("7")).substr(size < 256 ? 0 : 256)) << size;
  }
}

TEST_F(TextLog, EstimatesDataByWholeLines)
{
  const std::string data(31, 'x');
  const uint32_t reached = 1000 + Format::takenFor(83);
  for (const uint32_t maximum : {reached + 1, reached}) {
    put(path_, std::string(1000, 'f'));
    EXPECT_EQ(Format::append(path_, {.data = data.data(), .dataSize = 31, .maximum = maximum}), SM_STATUS_SUCCESS);
    EXPECT_EQ(fs::exists(backup_), maximum == reached);
  }
}

TEST_F(TextLog, RefusesATypeAfterDirectoryAndBackup)
{
  const std::string file = path("new/a.log");
  EXPECT_EQ(Format::append(file, {.type = 3}), SM_STATUS_BAD_ARGUMENT);
  EXPECT_TRUE(fs::exists(path("new")));
  EXPECT_FALSE(fs::exists(file));
  EXPECT_EQ(Format::append(path("b/c/a.log"), {.type = 3}), SM_STATUS_UNSUCCESSFUL);
  put(path_, "content");
  fs::permissions(path_, fs::perms::owner_read);
  EXPECT_EQ(Format::append(path_, {.type = 3}), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms::owner_read) << "nothing is opened";
  EXPECT_EQ(Format::append(path_, {.type = 3, .maximum = 7 + Format::takenFor(0)}), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(get(backup_), "content");
  EXPECT_EQ(get(path_), Format::log(Format::record("1", "Log backup created")));
}

TEST_F(TextLog, KeepsWhatItHasWhenAWriteFails)
{
  ASSERT_EQ(Format::append(path_, {}), SM_STATUS_SUCCESS);
  const std::string before = get(path_);
  EXPECT_EQ(appendWithin(before.size() + 100, [&] { return Format::append(path_, {}); }), "19\n");
  EXPECT_EQ(get(path_), before + before.substr(256, 100));
}

TEST_F(TextLog, StopsBeforeThePieceThatFails)
{
  const std::string whole = Format::log(Format::record("7"));
  ASSERT_EQ(UnLoadIPSupt(), SM_STATUS_SUCCESS);
  EXPECT_EQ(Format::append(path_, {}), SM_STATUS_UNSUCCESSFUL);
  ASSERT_EQ(LoadIPSupt(), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(path_), whole.substr(0, whole.find(utf16("sandbox"))));
  fs::remove(path_);
  fixedTime = INT64_MAX;
  EXPECT_EQ(Format::append(path_, {}), SM_STATUS_UNSUCCESSFUL);
  EXPECT_EQ(get(path_), whole.substr(0, whole.find(utf16("Fri Jan"))));
}

TEST_F(TextLog, ShowsTimesAsTheCLibraryDoes)
{
  for (int64_t seconds = -90000000000; seconds < 253402300800; seconds += 86399 * 3851 + 7) {
    fixedTime = seconds;
    fs::remove(path_);
    ASSERT_EQ(Format::append(path_, {}), SM_STATUS_SUCCESS);
    const auto time = static_cast<time_t>(seconds);
    char expected[32];
    ASSERT_NE(ctime_r(&time, expected), nullptr);
    expected[strcspn(expected, "\n")] = 0;
    ASSERT_EQ(count(get(path_), utf16("Time: "s + expected + "\r\n")), 1u) << expected;
  }
}

/// What a step writes to a stream, preceded by its status.
template <class Step>
std::string written(Step step)
{
  const std::string file = "/dev/shm/scratch/stream";
  FILE *stream = fopen(file.c_str(), "w");
  const uint32_t status = step(stream);
  fclose(stream);
  return std::to_string(static_cast<int32_t>(status)) + " " + get(file);
}

TEST_F(TextLog, PiecesGoToAnyStream)
{
  const int32_t start = 0;
  const std::pair<std::string, std::string> rows[] = {
      {written([](FILE *stream) { return UniAppendHdr(stream); }), Format::log("")},
      {written([](FILE *stream) { return UniAppendHdr(stream) + UniAppendHdr(stream); }), Format::log("")},
      {written([](FILE *stream) { return UniAppendUStr(stream, uniData_en_US); }), utf16("Data: Bytes in Hex")},
      {written([](FILE *stream) { return UniAppendWhiteSpace(stream, 300); }), utf16(std::string(300, ' '))},
      {written([](FILE *stream) { return UniAppendTab(stream, 1); }), utf16("\t")},
      {written([](FILE *stream) { return UniAppendCRLF(stream, 2); }), utf16("\r\n\r\n")},
      {written([](FILE *stream) { return UniAppendUnSigned32Int(stream, 0x80000000); }), utf16("-2147483648")},
      {written([&](FILE *stream) { return UniAppendDateTime(stream, &start); }), utf16("Thu Jan  1 00:00:00 1970")},
      {written([](FILE *stream) { return UniAppendHostName(stream); }), utf16("sandbox")},
      {written([](FILE *stream) { return UniAppendBufferDump(stream, 99, "A", 1); }),
       utf16("0x00000000: 41" + std::string(49, ' ') + "A" + std::string(16, ' ') + "\r\n")},
      {written([](FILE *stream) { return UniAppendBufferDump(stream, 0, nullptr, 0); }), ""},
  };
  for (const auto &[got, expected] : rows) {
    EXPECT_EQ(got, "0 " + expected);
  }
  EXPECT_EQ(written([](FILE *stream) { return UniAppendCRLF(stream, 0); }), "2 ");
  EXPECT_EQ(written([](FILE *stream) { return UniAppendTab(stream, 0); }), "2 ");
  EXPECT_EQ(written([](FILE *stream) { return UniAppendWhiteSpace(stream, 0); }), "2 ");

  FILE *full = fopen("/dev/full", "w");
  EXPECT_EQ(UniAppendUStr(full, u"x"), SM_STATUS_LIMIT_EXCEEDED);
  EXPECT_EQ(UniAppendHostName(full), SM_STATUS_LIMIT_EXCEEDED);
  EXPECT_EQ(UniAppendCRLF(full, 0xFFFFFFFF), SM_STATUS_LIMIT_EXCEEDED);
  fclose(full);
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  FILE *stream = fdopen(pipe[1], "w");
  EXPECT_EQ(UniAppendHdr(stream), SM_STATUS_UNSUCCESSFUL);
  fclose(stream);
  close(pipe[0]);
}

}  // namespace
