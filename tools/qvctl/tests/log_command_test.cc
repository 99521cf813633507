// The `log` commands, against logs that the library writes and logs that it would not.

#include <nlohmann/json.hpp>

#include "qvsupt32/log.h"
#include "support/test.h"
#include "tool.h"

namespace {

using namespace support;
using namespace tool;
using Json = nlohmann::json;

constexpr uint32_t kLargest = 4194304;
constexpr char kXmlLog[] = "/etc/tallowmere/vela/log/qvsys32.xml";
constexpr char kTextLog[] = "/etc/tallowmere/vela/log/qvsys32.log";
const std::string kHeader = R"(<?xml-stylesheet type="text/xsl" version="1.0" encoding="UTF-8"?><EventLog>)";

std::string entry(const std::string &texts, int epoch = 1795566972, const std::string &type = "1", int id = 7)
{
  return "<LogEntry><TimeStamp>" + std::to_string(epoch) +
         "</TimeStamp><DateTime>Wed Nov 25 00:36:12 2026</DateTime><ComputerName>c</ComputerName><Type>" + type +
         "</Type><ID>" + std::to_string(id) + "</ID><UserInfo>" + texts + "</LogEntry>";
}

std::string simple(const std::string &description, int epoch = 1795566972, const std::string &type = "1", int id = 7,
                   const std::string &source = "s")
{
  return entry("</UserInfo><Source>" + source + "</Source><Description>" + description + "</Description><Data></Data>",
               epoch, type, id);
}

std::string xmlLog(const std::string &entries)
{
  return kHeader + entries + "</EventLog>";
}

std::u16string record(int id, const std::u16string &description)
{
  const std::string number = std::to_string(id);
  return u"EventID: " + std::u16string(number.begin(), number.end()) +
         u"\r\nSource: s\r\nType: Error\r\nDate and Time: Wed Nov 25 00:36:12 2026\r\nComputer: c\r\nDescription:\r\n" +
         description + u"\r\nData: Bytes in Hex\r\n\r\n";
}

std::string textLog(const std::u16string &records)
{
  return utf16(std::u16string(uniTXTFileHdr) + records);
}

/// The events of a log by `show`; expects as many to be lost.
Json events(const std::string &file, size_t lost = 0)
{
  const tool::Result result = run("qvctl log show --json " + file);
  EXPECT_EQ(result.status, 0) << result.err;
  const std::string told = std::to_string(lost) + (lost == 1 ? " event" : " events") + " could not be split";
  EXPECT_TRUE(lost == 0 ? result.err.empty() : result.err.find(told) != std::string::npos) << result.err;
  return Json::parse(result.out);
}

std::vector<std::string> texts(const Json &list)
{
  std::vector<std::string> found;
  for (const Json &event : list) {
    found.push_back(event["text"]);
  }
  return found;
}

class LogTest : public ToolTest {
 protected:
  /// Adds an event to both logs, as a component does.
  void append(const std::u16string &source, const std::u16string &description, const std::string &data = "",
              uint16_t type = SM_EVENT_WARNING, uint32_t id = 2003)
  {
    const void *bytes = data.empty() ? nullptr : data.data();
    const auto size = static_cast<uint32_t>(data.size());
    EXPECT_EQ(
        AppendToXMLLog("a.xml", type, id, source.c_str(), source.c_str(), description.c_str(), bytes, size, kLargest),
        0u);
    EXPECT_EQ(AppendToUNITXTLog("a.log", type, id, source.c_str(), description.c_str(), bytes, size, kLargest), 0u);
  }
};

TEST_F(LogTest, ShowsWhatTheLibraryWrote)
{
  std::string data;
  for (int byte = 0; byte < 256; ++byte) {
    data += static_cast<char>(byte);
  }
  append(u"VELA", u"disk 3 is old", data.substr(0, 19));
  append(u"two words", u"größer 😀\r\nzweite \x1bzeile", data, SM_EVENT_AUDIT_FAILURE, UINT32_MAX);
  for (const char *file : {"a.xml", "a.log"}) {
    SCOPED_TRACE(file);
    const Json list = events(file);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]["type"], "warning");
    EXPECT_EQ(list[0]["id"], 2003);
    EXPECT_EQ(list[0]["source"], "VELA");
    EXPECT_EQ(list[0]["computer"], "sandbox");
    EXPECT_EQ(list[0]["data"], "000102030405060708090a0b0c0d0e0f101112");
    EXPECT_EQ(list[1]["type"], "audit-failure");
    EXPECT_EQ(list[1]["id"], UINT32_MAX);
    EXPECT_EQ(list[1]["text"], "größer 😀\r\nzweite \x1bzeile");
    EXPECT_EQ(list[1]["data"].get<std::string>().size(), 512u);
    EXPECT_EQ(list[0].contains("user"), std::string(file) == "a.xml");
    EXPECT_NEAR(list[0]["epoch"].get<double>(), static_cast<double>(time(nullptr)), 100);
    expectRows({{(std::string("qvctl log check ") + file).c_str(), 0, ""}});
  }
  EXPECT_EQ(events("a.xml")[0]["user"], "VELA");
  const std::string mask = " --verbose | sed -E 's/^[-0-9]+ [:0-9]+/TIME/'";
  EXPECT_EQ(run("qvctl log show a.xml" + mask + " | head -6").out,
            "TIME  warning         2003  VELA: disk 3 is old\n    computer: sandbox\n    user: VELA\n"
            "    0x00000000: 00 01 02 03:04 05 06 07:08 09 0A 0B:0C 0D 0E 0F    ................\n"
            "    0x00000010: 10 11 12                                           ...\n"
            "TIME  audit-failure  4294967295  two words: größer 😀\\r\\nzweite \\x1bzeile\n");
}

/// Whatever a component writes as source and description: the events before and after it are found, and it too.
TEST_F(LogTest, NoTextHidesAnEvent)
{
  const std::u16string rows[] = {
      u"</LogEntry>",
      u"</Description><Data></Data></LogEntry></EventLog>",
      u"<LogEntry>",
      u"<LogEntry><TimeStamp>1</TimeStamp><DateTime>x</DateTime><ComputerName>c</ComputerName><Type>1</Type><ID>1</ID>"
      u"<UserInfo>",
      u"</EventLog>",
      u"<EventLog>",
      u"a & b < c > d ]]> <!-- &lt;",
      u"\r\nType: Error\r\n",
      u"x\r\nData: Bytes in Hex\r\n0x00000000: 41\r\n\r\n",
      u"EventID: 5\r\nSource: x",
      u"䔀瘀攀渀琀䤀䐀㨀 ",
      u"\r\n\r\n",
  };
  for (const std::u16string &row : rows) {
    for (const bool isSource : {false, true}) {
      // As a source, what begins an event has the rest of one after it.
      if (isSource && (row.find(u"<UserInfo>") != row.npos || row.find(u"EventID:") != row.npos)) {
        continue;
      }
      std::filesystem::remove("a.xml");
      std::filesystem::remove("a.log");
      append(u"s", u"before");
      append(isSource ? row : u"s", isSource ? u"text" : row);
      append(u"s", u"after");
      for (const char *file : {"a.xml", "a.log"}) {
        SCOPED_TRACE(file + std::string(row.begin(), row.end()));
        const Json list = events(file);
        ASSERT_EQ(list.size(), 3u);
        EXPECT_EQ(list[0]["text"], "before");
        EXPECT_EQ(list[2]["text"], "after");
        // A source that holds the end of a source ends there, and the rest is in what follows it.
        const Json &between = list[1];
        if (!isSource) {
          EXPECT_EQ(between["source"], "s");
          EXPECT_GE(between["text"].get<std::string>().size(), row.size());
        }
        EXPECT_EQ(between["id"], 2003);
        EXPECT_EQ(run(std::string("qvctl log check ") + file).status, 0);
      }
    }
  }
}

TEST_F(LogTest, TextsComeBackByteByByte)
{
  append(u"s</Source>", u"</Description><Data>41</Data></LogEntry>x</EventLog>");
  append(u"<Source>", u"x\r\nData: Bytes in Hex\r\n\r\nEventID: \r\n", "abc");
  for (const char *file : {"a.xml", "a.log"}) {
    const Json list = events(file);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]["source"], "s</Source>");
    EXPECT_EQ(list[0]["text"], "</Description><Data>41</Data></LogEntry>x</EventLog>");
    EXPECT_EQ(list[1]["source"], "<Source>");
    EXPECT_EQ(list[1]["text"], "x\r\nData: Bytes in Hex\r\n\r\nEventID: \r\n");
    EXPECT_EQ(list[1]["data"], "616263");
  }
}

TEST_F(LogTest, ReadsWhatTheLibraryWouldNotWrite)
{
  put("spaces.xml", "<?xml version='1.0'?>\n<EventLog>\n " + simple("a") + "\r\n" + simple("b") + "\n</EventLog>\n");
  EXPECT_EQ(texts(events("spaces.xml")), (std::vector<std::string>{"a", "b"}));
  put("junk.xml", xmlLog(simple("a") + "junk" + simple("b") + "<LogEntry>x</LogEntry><LogEntry>" + simple("c")));
  EXPECT_EQ(texts(events("junk.xml", 3)), (std::vector<std::string>{"a", "b", "c"}));
  put("half.xml", xmlLog(simple("a") + simple("lost").substr(0, 190) + simple("b")));
  EXPECT_EQ(texts(events("half.xml", 1)), (std::vector<std::string>{"a", "b"}));
  put("bytes.xml", xmlLog(simple(std::string("\xff\0\xc3(", 4), 0, "65535") + simple("b", -1, "3")));
  EXPECT_EQ(texts(events("bytes.xml"))[0], std::string("\xef\xbf\xbd\0\xef\xbf\xbd(", 8));
  put("lines.log", utf16(u"\uFEFF" + std::u16string(u"EventID: 1\nSource: s\nType: 9\nDate and Time: never\nComputer: "
                                                    u"c\nDescription:\nx\xD800y\nData: Bytes in Hex\n\n")));
  EXPECT_EQ(events("lines.log").dump(),
            "[{\"computer\":\"c\",\"data\":\"\",\"id\":1,\"source\":\"s\",\"text\":\"x�y\","
            "\"time\":\"never\",\"type\":\"9\"}]");
  put("empty", "");
  put("foreign", "just a text\n");
  put("two.xml", xmlLog(simple("a")) + xmlLog(simple("b")));
  EXPECT_EQ(texts(events("two.xml")), (std::vector<std::string>{"a", "b"}));
  expectRows({
      {"qvctl log show bytes.xml", 0,
       "1970-01-01 00:00:00  65535              7  s: \xff\\x00\xc3(\n1969-12-31 23:59:59  3                  7  s: "
       "b\n"},
      {"qvctl log show empty; qvctl log show empty --json; qvctl log export empty --format jsonl", 0, "[]\n"},
      {"qvctl log show foreign", 1, "", "qvctl: foreign: neither a text log nor an XML log"},
      {"qvctl log show none", 1, "", "qvctl: none: No such file"},
      {"qvctl log show .", 1, "", "qvctl: .: Is a directory"},
      {"qvctl log show - <spaces.xml | wc -l", 0, "2\n"},
      {"qvctl log check foreign --json", 3,
       "{\"ok\":false,\"findings\":[{\"where\":0,\"what\":\"neither a text log nor an XML log\"}]}\n"},
      {"qvctl log check none", 1, "", "qvctl: none: No such file"},
      {"qvctl log check empty --json", 0, "{\"ok\":true,\"findings\":[]}\n"},
  });
}

TEST_F(LogTest, FiltersBeforeItCounts)
{
  put("a.xml", xmlLog(simple("one", 1795566972, "1", 1, "a") + simple("Two", 1795566973, "2", 2, "a b") +
                      simple("two three", 1795566974, "4", 1, "b") + simple("four", 1795566975, "77", -1, "b") +
                      simple("five", 1795566976, "16", 3, "")));
  const auto shows = [](const std::string &filters, const std::string &expected) {
    SCOPED_TRACE(filters);
    EXPECT_EQ(run("qvctl log show a.xml " + filters + " | sed 's/.*: //' | tr '\\n' ' '").out, expected);
  };
  shows("", "one Two two three four five ");
  shows("--type error", "one ");
  shows("--type 2 --type information --type audit-failure", "Two two three five ");
  shows("--type 77", "four ");
  shows("--source 'a b'", "Two ");
  shows("--source a", "one ");
  shows("--source ''", "five ");
  shows("--id 1 --last 1", "two three ");
  shows("--grep two", "two three ");
  shows("--last 2", "four five ");
  shows("--last 0", "");
  shows("--last 9999999", "one Two two three four five ");
  shows("--since '2026-11-25 00:36:13' --until '2026-11-25 00:36:15'", "Two two three four ");
  shows("--since @1795566976", "five ");
  shows("--since 2026-11-25 --until '2026-11-25 00:36'", "");
  EXPECT_EQ(run("TZ=Europe/Berlin qvctl log show a.xml --since '2026-11-25 01:36:16' | cut -c1-19").out,
            "2026-11-25 01:36:16\n");
  expectRows({
      {"qvctl log show a.xml --type none", 2, "", "'none'"},
      {"qvctl log show a.xml --since yesterday", 2, "", "'yesterday' is no time"},
      {"qvctl log show a.xml --since '2026-02-30'", 2, "", "is no time"},
      {"qvctl log show a.xml --until '2026-11-25 24:00'", 2, "", "is no time"},
  });
}

/// Every way to cut a log short, some bytes apart: readers go on, check tells, repair keeps what is whole, and the
/// library goes on with it.
TEST_F(LogTest, CutLogsAreReadCheckedAndRepaired)
{
  append(u"s", u"first", "data");
  append(u"s", u"second", std::string(40, 'x'));
  for (const std::string file : {"a.xml", "a.log"}) {
    const std::string whole = get(file);
    const size_t frame = file == "a.xml" ? kHeader.size() : 256;
    const size_t closing = file == "a.xml" ? 11 : 0;
    for (size_t size = 1; size < whole.size(); size += 97) {  // which does not come to the end of a record
      SCOPED_TRACE(file + " cut to " + std::to_string(size));
      put("cut", whole.substr(0, size));
      const Json found = Json::parse(run("qvctl log show cut --json").out, nullptr, false);
      ASSERT_FALSE(found.is_discarded());
      const size_t ends = size + closing >= whole.size() ? 2 : found.size();
      EXPECT_EQ(found.size(), ends);
      EXPECT_EQ(run("qvctl log check cut").status, 3);
      std::filesystem::remove("cut.before-repair.1");
      EXPECT_EQ(run("qvctl log repair cut").status, 0);
      EXPECT_EQ(get("cut.before-repair.1"), whole.substr(0, size));
      EXPECT_EQ(run("qvctl log check cut").status, 0);
      EXPECT_EQ(run("qvctl log show cut --json").out, run("qvctl log show cut.before-repair.1 --json").out);
      const std::string repaired = get("cut");
      EXPECT_EQ(repaired.substr(0, frame), whole.substr(0, frame));
      EXPECT_EQ(repaired.substr(0, repaired.size() - closing), whole.substr(0, repaired.size() - closing));
      EXPECT_EQ(file == "a.xml" ? AppendToXMLLog("cut", 1, 1, nullptr, u"s", u"third", nullptr, 0, kLargest)
                                : AppendToUNITXTLog("cut", 1, 1, u"s", u"third", nullptr, 0, kLargest),
                0u);
      EXPECT_EQ(texts(events("cut")).back(), "third");
      EXPECT_EQ(events("cut").size(), found.size() + 1);
    }
    expectRows({{("qvctl log repair " + file + "; ls " + file + "*").c_str(), 0, (file + "\n").c_str()}});
  }
}

TEST_F(LogTest, GoesOnAfterAWriterThatWasKilled)
{
  // A text log goes on behind half a record, in the middle of a code unit too.
  for (const size_t lost : {6u, 31u, 260u}) {
    SCOPED_TRACE(lost);
    const std::string half = textLog(record(1, u"one") + record(2, u"half"));
    put("a.log", half.substr(0, half.size() - lost) + utf16(record(3, u"three") + record(4, u"four")));
    EXPECT_EQ(texts(events("a.log", 1)), (std::vector<std::string>{"one", "three", "four"}));
    EXPECT_EQ(run("qvctl log repair a.log && qvctl log check a.log").status, 0);
    EXPECT_EQ(get("a.log"), textLog(record(1, u"one") + record(3, u"three") + record(4, u"four")));
  }
  // An XML log's entry that was written whole but for its first bytes, which the old closing tag still has.
  const std::string over = "</EventLog>" + simple("two").substr(11);
  put("a.xml", kHeader + simple("one") + over + simple("three") + "</EventLog>");
  EXPECT_EQ(texts(events("a.xml")), (std::vector<std::string>{"one", "two", "three"}));
  EXPECT_EQ(run("qvctl log check a.xml | cut -d, -f1").out,
            "offset " + std::to_string(75 + simple("one").size()) +
                ": an interrupted write: the closing tag is over the beginning of an event\n");
  EXPECT_EQ(run("qvctl log repair a.xml && qvctl log check a.xml").status, 0);
  EXPECT_EQ(get("a.xml"), xmlLog(simple("one") + simple("two") + simple("three")));
  // Without its tag the library would look for one in the texts.
  put("a.xml", kHeader + simple("</EventLog>"));
  EXPECT_EQ(run("qvctl log check a.xml").out.find("no closing tag </EventLog>: the next event would overwrite"), 12u);
  EXPECT_EQ(run("qvctl log repair a.xml && qvctl log check a.xml").status, 0);
}

TEST_F(LogTest, WritesAsAComponentDoes)
{
  put("data", std::string("\0\xff", 2));
  expectRows({
      {"qvctl log show", 1, "", "qvsys32.xml: No such file"},
      {"ls /etc/tallowmere/vela/log", 0, ""},
      {"qvctl log write --type warning --id 2003 --source 'a b' --data data -- $'-x \\n</LogEntry> ü😀'", 0, ""},
      {"printf abc | qvctl log write --type 16 --id 4294967295 --source s --data - t --to xml", 0, ""},
      {"qvctl log write --type 77 --id 1 --source s text --to text", 1, "", "qvsys32.log: bad argument (2, "},
      {"qvctl log write --type 77 --id 1 --source s text", 1, "", "qvsys32.log: bad argument (2, "},
      {"qvctl log write --type 1 --id 1 --source s text --to system", 0, ""},
      {"qvctl log write --type 1 --id 1 --source '' text --to text", 1, "", "(2, SM_STATUS_BAD_ARGUMENT)"},
      {"qvctl log write --type 65536 --id 1 --source s text", 2, "", "65536"},
      {"qvctl log write --type 1 --id 1 --source s text --to paper", 2, "", "'paper'"},
      {"qvctl log write --type 1 --id 1 --source s $'\\xff'", 2, "", "UTF-8"},
      {"qvctl log write --type 1 --id 1 --source s text --data none", 1, "", "qvctl: none: No such file"},
  });
  const Json xml = events("");
  ASSERT_EQ(xml.size(), 3u);
  EXPECT_EQ(xml[0]["text"], "-x \n</LogEntry> ü😀");
  EXPECT_EQ(xml[0]["data"], "00ff");
  EXPECT_EQ(xml[0]["user"], "");
  EXPECT_EQ(xml[1]["data"], "616263");
  EXPECT_EQ(xml[2]["type"], "77");
  const Json text = events(kTextLog);
  ASSERT_EQ(text.size(), 1u);
  EXPECT_EQ(text[0]["source"], "a b");
}

TEST_F(LogTest, RotatesAndClearsAsTheLibraryDoes)
{
  expectRows({
      {"qvctl log rotate", 1, "", "No such file"},
      {"qvctl log write --type 1 --id 1 --source s one --to xml", 0, ""},
      {"qvctl log rotate --to text", 1, "", "qvsys32.log: No such file"},
      {"qvctl log rotate && cd /etc/tallowmere/vela/log && ls && stat -c %a *", 0,
       "qvsys32.xm_\nqvsys32.xml\n664\n664\n"},
      {"qvctl log show | sed 's/.*  //'", 0, "VELA: Log backup created\n"},
      {"qvctl log show /etc/tallowmere/vela/log/qvsys32.xm_ | sed 's/.*  //'", 0, "s: one\n"},
      {"qvctl log write --type 1 --id 1 --source s two", 0, ""},
      {"qvctl log rotate && ls /etc/tallowmere/vela/log", 0, "qvsys32.lo_\nqvsys32.log\nqvsys32.xm_\nqvsys32.xml\n"},
      {"qvctl log show /etc/tallowmere/vela/log/qvsys32.xm_ | sed 's/.*  //'", 0, "VELA: Log backup created\ns: two\n"},
      {"qvctl log clear --to system", 2, "", "'system'"},
  });
  const auto masked = [](const char *file) {
    return run(std::string("sed -E 's/[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9]+ [:0-9]+ [0-9]+|TimeStamp>[0-9]+/T/g' ") +
               file)
        .out;
  };
  // A log that is cleared is, but for its time, what the library makes of it.
  EXPECT_EQ(run("qvctl log clear").status, 0);
  const std::string xml = masked(kXmlLog);
  const std::string text = masked(kTextLog);
  EXPECT_EQ(ClearXMLLog(kXmlLog, u"Local System", u"VELA"), 0u);
  EXPECT_EQ(ClearUNITXTLog(kTextLog, u"VELA"), 0u);
  EXPECT_EQ(xml, masked(kXmlLog));
  EXPECT_EQ(text.size(), masked(kTextLog).size());
  const size_t time = 256 + utf16(u"EventID: 0\r\nSource: VELA\r\nType: Information\r\nDate and Time: ").size();
  EXPECT_EQ(text.substr(0, time), masked(kTextLog).substr(0, time));
  EXPECT_EQ(run(std::string("qvctl log check ") + kXmlLog + " && qvctl log check " + kTextLog).status, 0);
  EXPECT_EQ(run("velainstallpath=/dev/shm/none qvctl log clear").err,
            "qvctl: /dev/shm/none/log/qvsys32.log: No such file or directory\n"
            "qvctl: /dev/shm/none/log/qvsys32.xml: No such file or directory\n");
}

TEST_F(LogTest, ReadersNeverWait)
{
  put("a.xml", xmlLog(simple("a")).substr(0, 200));
  run("qvctl log write --type 1 --id 1 --source s one");
  RecordHolder holder(kFileLockRecord);
  for (const char *command : {"log show", "log check a.xml", "log export --format csv", "log report -o p.html"}) {
    const int status = run(std::string("timeout 90 qvctl ") + command).status;
    EXPECT_EQ(status, std::string(command) == "log check a.xml" ? 3 : 0) << command;
  }
}

TEST_F(LogTest, ExportsEveryEvent)
{
  put("a.xml",
      xmlLog(simple("a, \"b\"\r\nc") +
             entry("u</UserInfo><Source>s</Source><Description>x</Description><Data>0x00000000: 00 FF           "
                   "                                   ..               \r\n</Data>",
                   1795566973, "2")));
  expectRows({
      {"qvctl log export a.xml --format csv", 0,
       "time,epoch,type,id,source,computer,user,text,data\r\n"
       "2026-11-25T00:36:12,1795566972,error,7,s,c,,\"a, \"\"b\"\"\r\nc\",\r\n"
       "2026-11-25T00:36:13,1795566973,warning,7,s,c,u,x,00ff\r\n"},
      {"qvctl log export a.xml --format jsonl", 0,
       "{\"time\":\"2026-11-25T00:36:12\",\"epoch\":1795566972,\"type\":\"error\",\"id\":7,\"source\":\"s\","
       "\"computer\":\"c\",\"user\":\"\",\"text\":\"a, \\\"b\\\"\\r\\nc\",\"data\":\"\"}\n"
       "{\"time\":\"2026-11-25T00:36:13\",\"epoch\":1795566973,\"type\":\"warning\",\"id\":7,\"source\":\"s\","
       "\"computer\":\"c\",\"user\":\"u\",\"text\":\"x\",\"data\":\"00ff\"}\n"},
      {"qvctl log export a.xml --format xml", 2, "", "'xml'"},
      {"qvctl log export a.xml --format csv >/dev/full", 1, "", "qvctl: standard output: No space left on device"},
  });
}

TEST_F(LogTest, TheJournalTakesAnExport)
{
  if (run("test -x /lib/systemd/systemd-journal-remote && journalctl --version").status != 0) {
    GTEST_SKIP() << "systemd-journal-remote is not installed";
  }
  std::string entries;
  for (int i = 0; i < 40; ++i) {
    entries += simple("event " + std::to_string(i) + (i % 2 == 0 ? "\nanother line \xc3\xbc" : ""), 1795566972 + i / 4,
                      std::to_string(i % 3), i, "a source");
  }
  put("a.xml", xmlLog(entries));
  ASSERT_EQ(
      run("qvctl log export a.xml --format journal | /lib/systemd/systemd-journal-remote -o out.journal - 2>&1").status,
      0);
  const tool::Result journal = run("journalctl --file out.journal -o json --all --no-pager");
  ASSERT_EQ(journal.status, 0) << journal.err;
  std::istringstream lines(journal.out);
  const char *const priorities[] = {"6", "3", "4"};
  const char *const types[] = {"success", "error", "warning"};
  int i = 0;
  for (std::string line; std::getline(lines, line); ++i) {
    const Json event = Json::parse(line);
    EXPECT_EQ(event["MESSAGE"], "event " + std::to_string(i) + (i % 2 == 0 ? "\nanother line \xc3\xbc" : ""));
    EXPECT_EQ(event["__REALTIME_TIMESTAMP"], std::to_string(1795566972 + i / 4) + "000000");
    EXPECT_EQ(event["PRIORITY"], priorities[i % 3]);
    EXPECT_EQ(event["SYSLOG_IDENTIFIER"], "a source");
    EXPECT_EQ(event["_HOSTNAME"], "c");
    EXPECT_EQ(event["QV_EVENT_ID"], std::to_string(i));
    EXPECT_EQ(event["QV_EVENT_TYPE"], types[i % 3]);
  }
  EXPECT_EQ(i, 40);
}

/// Follows a log in the background, and waits until so many lines are there.
TEST_F(LogTest, FollowsAcrossRotations)
{
  EXPECT_EQ(run("qvctl log write --type 1 --id 1 --source s one --to xml && "
                "qvctl log write --type 2 --id 1 --source s hidden --to xml")
                .status,
            0);
  const std::string script = R"(
    shown() { for i in $(seq 2000); do [ $(wc -l <out) -ge $1 ] && return; sleep 0.05; done; echo "no line $1"; }
    event() { qvctl log write --type 1 --id 1 --source s $1 --to xml; }
    qvctl log show --follow --type error >out 2>err & follower=$!
    shown 1; event two; shown 2
    event three; qvctl log rotate; event four; shown 4
    qvctl log clear; event five; shown 5
    kill -STOP $follower
    event six; qvctl log rotate; event seven; qvctl log rotate; event eight
    kill -CONT $follower
    shown 8
    kill $follower; wait $follower 2>/dev/null
    sed 's/.*: //' out | tr '\n' ' '; cat err)";
  EXPECT_EQ(run(script).out,
            "one two three four five six seven eight qvctl: /etc/tallowmere/vela/log/qvsys32.xml: moved to its backup "
            "more than once: events may be missing here\n");
  // Its reader gone, it ends without an event; with JSON it prints a document a line.
  expectRows({{"timeout 90 qvctl log show --follow --json 2>err | head -1 | cut -c1-9; ((PIPESTATUS[0] != 124))", 0,
               "{\"time\":\"\n"},
              {"timeout 90 qvctl log show none --follow", 1, "", "No such file"}});
}

TEST_F(LogTest, KilledAnywhereLeavesTheOldLogOrTheNew)
{
  if (const char *reason = whyNotKilled(); reason != nullptr) {
    GTEST_SKIP() << reason;
  }
  const std::string old = xmlLog(simple("old"));
  const std::string cut = old.substr(0, old.size() - 5);
  killAtEveryCall(
      "log repair a.xml",
      [&] {
        run("rm -f a.xml*");
        put("a.xml", cut);
      },
      [&] { EXPECT_TRUE(get("a.xml") == cut || (get("a.xml") == old && get("a.xml.before-repair.1") == cut)); });
  EXPECT_EQ(get("a.xml"), old);
  const auto prepare = [&] {
    run("rm -f /etc/tallowmere/vela/log/*");  // killed, it may leave one file under both names
    put(kXmlLog, old);
    put("/etc/tallowmere/vela/log/qvsys32.xm_", "older");
  };
  killAtEveryCall("log rotate --to xml", prepare, [&] {
    const std::string backup = get("/etc/tallowmere/vela/log/qvsys32.xm_");
    const std::string log = get(kXmlLog);
    EXPECT_TRUE(log == old ? backup == old || backup == "older" : backup == old) << log;
    EXPECT_TRUE(log == old || log.find("Log backup created") != std::string::npos) << log;
  });
  killAtEveryCall("log clear --to xml", prepare, [&] {
    EXPECT_TRUE(get(kXmlLog) == old || get(kXmlLog).find("Log was cleared") != std::string::npos);
  });
  EXPECT_NE(get(kXmlLog), old);
}

}  // namespace
