// The XML log alone: exact bytes of entries, what short writes leave, and escaped texts. What it shares with the text log
// is in both_logs_test; log_fuzz appends to any file beside a model.

#include "support/log_formats.h"
#include "support/test.h"

namespace {

using namespace support;
using Format = XmlFormat;

const std::string kEnd = "</EventLog>";
const std::string kStart = Format::log("").substr(0, 75);

class XmlLog : public FixedTime {
 protected:
  uint32_t append(const LogEvent &event = {}) const { return Format::append(path_, event); }

  const std::string path_ = path("a.xml");
  const std::string plain_ = Format::record("7");
};

TEST_F(XmlLog, HasEntriesToTheByte)
{
  EXPECT_EQ(kStart.size() + kEnd.size(), Format::log("").size());
  EXPECT_EQ(append(), SM_STATUS_SUCCESS);
  EXPECT_EQ(append({.type = 65535,
                    .id = 0xFFFFFFFF,
                    .userInfo = u"me",
                    .source = u"caf\u00e9",
                    .description = u"a<&\r\n\U0001F600",
                    .data = "\x01z",
                    .dataSize = 2}),
            SM_STATUS_SUCCESS);
  // A text that is no UTF-16 leaves its element empty.
  EXPECT_EQ(append({.type = 0, .id = 1, .userInfo = u"u\xDC00", .source = nullptr, .description = u"\xD800"}),
            SM_STATUS_SUCCESS);
  const std::string dump = "0x00000000: 01 7A" + std::string(46, ' ') + ".z" + std::string(15, ' ') + "\r\n";
  const std::string second = Format::entry("65535", "4294967295", "me", "caf\xC3\xA9", "a<&\r\n\xF0\x9F\x98\x80", dump);
  EXPECT_EQ(get(path_), Format::log(plain_ + second + Format::entry("0", "1", "", "", "")));
}

TEST_F(XmlLog, TakesUserInformationWithinItsLimits)
{
  const std::u16string longest(1023, u'\u4e2d');
  EXPECT_EQ(append({.userInfo = u""}), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(append({.userInfo = (longest + u"x").c_str()}), SM_STATUS_BAD_ARGUMENT);
  EXPECT_EQ(append({.userInfo = longest.c_str()}), SM_STATUS_SUCCESS);
  EXPECT_EQ(fs::file_size(path_), Format::log(plain_).size() + 3 * 1023);
}

TEST_F(XmlLog, FindsItsEndAcrossTheBlocksOfTheSearch)
{
  // It looks at the last 512 bytes, then at 65536 at a time: a border is inside the tag, or where it begins.
  const std::string before = kStart + std::string(500000, 'y');
  for (const size_t tail : {512 - 3, 512 - 10, 512 - 10 + 65536 - 3, 512 - 10 + 65536 - 10}) {
    put(path_, before + kEnd + std::string(tail, 'y'));
    EXPECT_EQ(append(), SM_STATUS_SUCCESS);
    EXPECT_TRUE(get(path_).starts_with(before + plain_ + kEnd)) << tail;
  }
}

TEST_F(XmlLog, NeedsNoBlockForALogThatEndsInALineFeed)
{
  put(path_, kStart + kEnd + "\n");
  {
    const Fault noMemory(Call::allocation, 2, ENOMEM, true);  // the entry has the first
    EXPECT_EQ(append(), SM_STATUS_SUCCESS);
  }
  const std::string longTail = kStart + kEnd + std::string(600, 'y');
  put(path_, longTail);
  {
    const Fault noMemory(Call::allocation, 2, ENOMEM, true);
    EXPECT_EQ(append(), SM_STATUS_UNSUCCESSFUL);
  }
  EXPECT_EQ(get(path_), longTail);
}

TEST_F(XmlLog, StartsAShortFileAgainAndLeavesAForeignOne)
{
  for (const size_t size : {64u, 65u}) {
    const std::string before(size, 'x');
    put(path_, before);
    EXPECT_EQ(append(), size < 65 ? SM_STATUS_SUCCESS : SM_STATUS_BAD_TYPE);
    EXPECT_EQ(get(path_), size < 65 ? Format::log(plain_) : before);
  }
  const std::string large(4194304, 'x');
  put(path_, large);
  EXPECT_EQ(append({.maximum = 0xFFFFFFFF}), SM_STATUS_BAD_TYPE);
  EXPECT_TRUE(get(path_) == large);
  put(path_, Format::log(plain_));
  const Fault reading(Call::pread, 1, EIO);
  EXPECT_EQ(append(), SM_STATUS_BAD_TYPE);
}

TEST_F(XmlLog, MakesSureThatItExists)
{
  const std::string cleared = Format::log(Format::entry("4", "0", "me", "S", "Log was cleared"));
  EXPECT_EQ(SMForceXMLLogExists(path_.c_str(), u"me", u"S"), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(path_), cleared);
  EXPECT_EQ(ForceXMLLogExists(path_.c_str(), u"x", u"S"), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(path_), cleared);
  EXPECT_EQ(append(), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMClearXMLLog(path_.c_str(), u"me", u"S"), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(path_), cleared);
  put(path_, std::string(64, 'x'));
  EXPECT_EQ(ForceXMLLogExists(path_.c_str(), u"me", u"S"), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(path_), cleared);
  put(path_, std::string(65, 'x'));
  EXPECT_EQ(ForceXMLLogExists(path_.c_str(), u"me", u"S"), SM_STATUS_SUCCESS);
  EXPECT_EQ(get(path_), std::string(65, 'x'));
}

TEST_F(XmlLog, AnswersATimeAndAHostNameThatItCannotHave)
{
  ASSERT_EQ(UnLoadIPSupt(), SM_STATUS_SUCCESS);
  EXPECT_EQ(append(), SM_STATUS_NOT_LOADED);
  EXPECT_EQ(Format::append(path("b/c/a.xml"), {}), SM_STATUS_UNSUCCESSFUL) << "the directory comes first";
  EXPECT_EQ(Format::append(path("b/a.xml"), {}), SM_STATUS_NOT_LOADED);
  EXPECT_TRUE(fs::exists(path("b")));
  ASSERT_EQ(LoadIPSupt(), SM_STATUS_SUCCESS);
  fixedTime = INT64_MAX;
  EXPECT_EQ(append(), SM_STATUS_UNSUCCESSFUL);
  EXPECT_FALSE(fs::exists(path_));
}

TEST_F(XmlLog, MendsItselfAfterAShortWrite)
{
  const auto appendPlain = [&] { return append(); };
  ASSERT_EQ(append(), SM_STATUS_SUCCESS);
  const std::string before = get(path_);
  for (const size_t more : {0, 1, 10, 100, 200}) {
    EXPECT_EQ(appendWithin(before.size() + more, appendPlain), "19\n");
    EXPECT_EQ(get(path_), before) << more;
  }
  // A log that cannot even start, and one that cannot hold its first entry.
  for (const size_t limit : {0, 10, 64, 70, 85, 86, 200}) {
    put(path_, "");
    EXPECT_EQ(appendWithin(limit, appendPlain), "19\n") << limit;
    EXPECT_EQ(append(), SM_STATUS_SUCCESS);
    EXPECT_EQ(get(path_), Format::log(plain_)) << limit;
  }
}

TEST(XMLText, IsEscapedForTheLog)
{
  const struct {
    std::u16string text;
    std::u16string escaped;
  } rows[] = {
      {u"plain caf\u00e9 \U0001F600 \t\n", u"plain caf\u00e9 \U0001F600 \t\n"},
      {u"<a href='x'>\"&amp;\"</a>", u"&lt;a href=&apos;x&apos;&gt;&quot;&amp;amp;&quot;&lt;/a&gt;"},
      {u"\r\n\r", u"&#13;\n&#13;"},
      {u"\x01\b\x0B\f\x1F\x7F\x80\uD7FF\uE000\uFFFD\uFFFE\uFFFF",
       u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x7F\x80\uD7FF\uE000\uFFFD\uFFFD\uFFFD"},
      {u"\xDC00x\xD800y\xD800\xD800\xDC00\xDC00", u"\uFFFDx\uFFFDy\uFFFD\xD800\xDC00\uFFFD"},
  };
  for (const auto &row : rows) {
    SMChar16 *escaped = SMEscapeXMLText(row.text.c_str());
    ASSERT_NE(escaped, nullptr);
    EXPECT_EQ(std::u16string(escaped), row.escaped);
    SMFreeMem(escaped);
  }
  EXPECT_EQ(SMEscapeXMLText(nullptr), nullptr);
  const Fault noMemory(Call::allocation, 1);
  EXPECT_EQ(SMEscapeXMLText(u"x"), nullptr);
}

}  // namespace
