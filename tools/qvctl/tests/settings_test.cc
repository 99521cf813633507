// The `ini` and `kv` commands.

#include "support/test.h"
#include "tool.h"

namespace {

using namespace support;
using namespace tool;

TEST_F(ToolTest, IniValuesOfEveryType)
{
  expectRows({
      {"qvctl ini set a.ini s a ' two words ' && qvctl ini get a.ini s a", 0, " two words \n"},
      {"qvctl ini set a.ini s u 'é€𐍈' --type ustring", 0, ""},
      {"qvctl ini get a.ini s u --type ustring", 0, "é€𐍈\n"},
      {"qvctl ini get a.ini s u --type ustring --json", 0, "{\"value\":\"é€𐍈\"}\n"},
      {"qvctl ini set a.ini s u $'\\xff' --type ustring", 2, "", "no value of the type ustring"},
      {"qvctl ini set a.ini s b TRUE --type bool && qvctl ini get a.ini s b --type bool", 0, "true\n"},
      {"qvctl ini get a.ini s b --type bool --json", 0, "{\"value\":true}\n"},
      {"qvctl ini set a.ini s b yes --type bool", 2, "", "yes"},
      {"qvctl ini set a.ini s x 00fFAb --type binary && qvctl ini get a.ini s x --type binary", 0, "00ffab\n"},
      {"qvctl ini set a.ini s x 00f --type binary", 2, "", "00f"},
      {"qvctl ini set a.ini s n -2147483648 --type s32 && qvctl ini get a.ini s n --type s32", 0, "-2147483648\n"},
      {"qvctl ini set a.ini s n 2147483648 --type s32", 2, "", "2147483648"},
      {"qvctl ini set a.ini s m 4294967295 --type u32", 0, ""},
      {"qvctl ini get a.ini s m --type u32 --json", 0, "{\"value\":4294967295}\n"},
      {"qvctl ini set a.ini s l -9223372036854775808 --type s64", 0, ""},
      {"qvctl ini get a.ini s l --type s64", 0, "-9223372036854775808\n"},
      {"qvctl ini set a.ini s k 18446744073709551615 --type u64", 0, ""},
      {"qvctl ini get a.ini s k --type u64 --json", 0, "{\"value\":18446744073709551615}\n"},
      {"qvctl ini set a.ini s d 0.1 --type d64 && qvctl ini get a.ini s d --type d64", 0, "0.1\n"},
      {"qvctl ini set a.ini s d nan --type d64", 2, "", "nan"},
      {"qvctl ini set a.ini s e '' && qvctl ini get a.ini s e", 0, "\n"},
      {"cat a.ini", 0,
       "[s]\na= two words \nu=0xE9,0x00,0xAC,0x20,0x00,0xD8,0x48,0xDF,0x00,0x00\nb=TRUE\nx=0x00,0xFF,0xAB\n"
       "n=-2147483648\nm=4294967295\nl=-9223372036854775808\nk=18446744073709551615\nd=0.10000000\ne=\n"},
  });
}

TEST_F(ToolTest, IniAnswersTheLibrarysStatuses)
{
  put("a.ini", "[s]\nk=v\nword=abc\nmixed=12abc\nplus=+5 \r\nbig=4294967296\nhex=0x100\n[b\n[t]\nk=w\n");
  const std::string full = "qvctl: a.ini: key not found (263, SM_STATUS_KEY_NOT_FOUND)\n";
  EXPECT_EQ(run("qvctl ini get a.ini s none").err, full);
  expectRows({
      {"qvctl ini get no.ini s k", 1, "", "qvctl: no.ini: file cannot be opened (7, SM_STATUS_FILE_OPEN_FAILED)"},
      {"qvctl ini get a.ini t k", 1, "", "(261, SM_STATUS_BAD_INI_FILE)"},
      {"qvctl ini get a.ini s word --type u32", 1, "", "(264, SM_STATUS_BAD_DATA_SIZE)"},
      {"qvctl ini get a.ini s mixed --type u32", 1, "", "(264, "},
      {"qvctl ini get a.ini s big --type u32", 1, "", "(264, "},
      {"qvctl ini get a.ini s plus --type u32", 0, "5\n"},
      {"qvctl ini get a.ini s word --type bool --default true", 1, "", "(264, "},
      {"qvctl ini get a.ini s hex --type binary --default 00", 1, "", "(264, "},
      {"qvctl ini get a.ini s none --default v", 0, "v\n"},
      {"qvctl ini get no.ini s none --default v", 0, "v\n"},
      {"qvctl ini get a.ini s none --default 5 --type u32 --json", 0, "{\"value\":5}\n"},
      {"qvctl ini get a.ini s none --default five --type u32 --json", 0, "{\"value\":\"five\"}\n"},
      {"qvctl ini list a.ini", 1, "", "(261, "},
      {"qvctl ini list a.ini s | head -1", 0, "k=v\n"},
      {"qvctl ini list no.ini", 1, "", "(7, "},
      {"qvctl ini set a.ini s \"$(printf %256s | tr ' ' k)\" v", 1, "", "(2, SM_STATUS_BAD_ARGUMENT)"},
      {"qvctl ini set no/such/a.ini s k v", 1, "", "qvctl: no/such/a.ini: the operation failed (-1, SM_STATUS_UNSUCC"},
      {"ls", 0, "a.ini\n"},
  });
}

TEST_F(ToolTest, IniRefusesWhatWouldNotReadBack)
{
  put("a.ini", "[s]\n\nk=v\n");
  expectRows({
      {"qvctl ini set a.ini s k $'a\\nb'", 2, "", "line feed"},
      {"qvctl ini set a.ini s $'k\\n' v", 2, "", "line feed"},
      {"qvctl ini set a.ini $'s\\n' k v", 2, "", "line feed"},
      {"qvctl ini set a.ini 's]' k v", 2, "", "']'"},
      {"qvctl ini set a.ini s a=b v", 2, "", "'='"},
      {"qvctl ini set a.ini s ' k' v", 2, "", "blank"},
      {"qvctl ini set a.ini s '[k' v", 2, "", "'['"},
      {"qvctl ini set a.ini s ';k' v", 2, "", "';'"},
      {"qvctl ini set a.ini s '#k' v", 2, "", "'#'"},
      {"qvctl ini set a.ini s '' v", 2, "", "empty"},
      {"qvctl ini unset a.ini s ''", 2, "", "empty"},
      {"cat a.ini", 0, "[s]\n\nk=v\n"},
  });
}

TEST_F(ToolTest, IniUnsetTakesAwayKeysAndSections)
{
  put("a.ini", "; head\n[s]\nk=v\n# mine\n[t]\nk=w\n");
  expectRows({
      {"qvctl ini unset a.ini s none && cat a.ini", 0, "; head\n[s]\nk=v\n# mine\n[t]\nk=w\n"},
      {"qvctl ini unset a.ini s k && cat a.ini", 0, "; head\n[s]\n# mine\n[t]\nk=w\n"},
      {"qvctl ini unset a.ini s && cat a.ini", 0, "; head\n# mine\n[t]\nk=w\n"},
      {"qvctl ini unset a.ini s", 1, "", "(264, SM_STATUS_BAD_DATA_SIZE)"},
      {"qvctl ini unset a.ini s k", 1, "", "(264, "},
      {"qvctl ini unset no/a.ini s", 1, "", "qvctl: no/a.ini: "},
      {"ls", 0, "a.ini\n"},
  });
}

TEST_F(ToolTest, IniListsShowTheFile)
{
  const std::string longLine(8448, 'x');
  put("a.ini",
      std::string("k=none\n[b]\n; c\n# c\n  k = v \nno\nk=1\r\nk=2\n=e\n ;q=1\n[a]] x\n[b]\nk=3\n[]\nz=\xff\n") +
          std::string("nul=a\0b\n", 8) + "long=" + longLine + "=cut\n[last]\nend=here");
  put("empty.ini", "; nothing\n");
  expectRows({
      {"qvctl ini list a.ini", 0, "b\na\nb\n\nlast\n"},
      {"qvctl ini list a.ini b", 0, "k = v \nk=1\r\nk=2\n=e\n;q=1\n"},
      {"qvctl ini list a.ini b --json", 0, "{\"k \":\" v \",\"k\":\"1\\r\",\"\":\"e\",\";q\":\"1\"}\n"},
      {"qvctl ini list a.ini '' | head -2", 0, "z=\xff\nnul=a\n"},
      {"qvctl ini list a.ini '' | tail -n +3 | wc -lc", 0, "      2    8459\n"},
      {"qvctl ini list a.ini last", 0, "end=here\n"},
      {"qvctl ini list a.ini --json | cut -c1-74", 0,
       "{\"b\":{\"k \":\" v "
       "\",\"k\":\"1\\r\",\"\":\"e\",\";q\":\"1\"},\"a\":{},\"\":{\"z\":\"\xef\xbf\xbd\",\"nul\":\"a\"\n"},
      {"qvctl ini list a.ini none", 1, "", "(262, SM_STATUS_SECTION_NOT_FOUND)"},
      {"qvctl ini list empty.ini", 0, ""},
      {"qvctl ini list empty.ini --json", 0, "{}\n"},
      {"qvctl ini list a.ini a", 0, ""},
      {"qvctl ini list a.ini a --json", 0, "{}\n"},
      {"mkfifo pipe && timeout 90 qvctl ini list pipe", 1, "", "(7, "},
  });
}

TEST_F(ToolTest, PathsAndNamesMayHoldAnything)
{
  expectRows({
      {"mkdir $'d \\n\"é' && cd $'d \\n\"é' && qvctl ini set $'f \\'\\n' 'se \"ct' $'k\\'é x' '\"=;#' && "
       "qvctl ini get $'f \\'\\n' 'se \"ct' $'k\\'é x'",
       0, "\"=;#\n"},
      {"qvctl ini list $'d \\n\"é/f \\'\\n' --json", 0, "{\"se \\\"ct\":{\"k'é x\":\"\\\"=;#\"}}\n"},
      {"qvctl kv set $'d \\n\"é/kv \\n' $'k\\'é' $'a b\\'=x' && qvctl kv list $'d \\n\"é/kv \\n'", 0, "k'é=a b'=x\n"},
  });
}

TEST_F(ToolTest, KvReadsByTheLibrarysRules)
{
  put("a.conf", "a = 1\n# a=2\na=\"x y\"\nb\nmy key=3\n\"my key\"=4\nempty=\n ;c=1\nq\"u=\" o\"t\n");
  expectRows({
      {"qvctl kv list a.conf", 0, "a=1\na=x y\nmykey=3\nmy key=4\nempty=\nqu= ot\n"},
      {"qvctl kv list a.conf --json", 0,
       "[[\"a\",\"1\"],[\"a\",\"x y\"],[\"mykey\",\"3\"],[\"my key\",\"4\"],[\"empty\",\"\"],[\"qu\",\" ot\"]]\n"},
      {"qvctl kv get a.conf a", 0, "1\n"},
      {"qvctl kv get a.conf a --nth 1", 0, "x y\n"},
      {"qvctl kv get a.conf a --nth 1 --json", 0, "{\"value\":\"x y\"}\n"},
      {"qvctl kv get a.conf a --nth 2", 1, "", "qvctl: a.conf: key not found (263, SM_STATUS_KEY_NOT_FOUND)"},
      {"qvctl kv get no.conf a", 1, "", "(260, SM_STATUS_FILE_NOT_OPENED)"},
      {"qvctl kv list no.conf", 1, "", "(260, "},
      {": >e.conf && qvctl kv list e.conf && qvctl kv list e.conf --json", 0, "[]\n"},
  });
}

TEST_F(ToolTest, KvSetsAndRemovesOccurrences)
{
  expectRows({
      {"qvctl kv set d/a.conf k 1 && stat -c %a d/a.conf", 0, "664\n"},
      {"qvctl kv set d/a.conf k 2 --nth 1", 0, ""},
      {"qvctl kv set d/a.conf k 4 --nth 3", 1, "", "(271, SM_STATUS_INVALID_PARAMETER)"},
      {"qvctl kv set d/a.conf k 0", 0, ""},
      {"cat d/a.conf", 0, "k=0\nk=2\n"},
      {"qvctl kv unset d/a.conf k && cat d/a.conf", 0, "k=2\n"},
      {"qvctl kv unset d/a.conf none", 1, "", "(263, "},
      {"qvctl kv unset no/a.conf k", 1, "", "(260, "},
      {"qvctl kv set new.conf k v --nth 1", 1, "", "(271, "},
      {"qvctl kv set new.conf k \"$(printf %8448s | tr ' ' v)\"", 1, "", "(264, "},
      {"ls", 0, "d\n"},
      {"qvctl kv set d/a.conf k $'a\\nb'", 2, "", "line feed"},
      {"qvctl kv set d/a.conf k 'a\"b'", 2, "", "quote"},
      {"qvctl kv set d/a.conf '\"k' v", 2, "", "quote"},
      {"qvctl kv set d/a.conf k ' v'", 2, "", "blank"},
      {"qvctl kv set d/a.conf k $'v\\r'", 2, "", "blank"},
      {"qvctl kv set d/a.conf 'k k' v", 2, "", "blank"},
      {"qvctl kv set d/a.conf k=k v", 2, "", "'='"},
      {"qvctl kv set d/a.conf '#k' v", 2, "", "'#'"},
      {"cat d/a.conf", 0, "k=2\n"},
  });
}

TEST_F(ToolTest, WaitsForTheLockAsLongAsItIsTold)
{
  put("a.ini", "[s]\nk=v\n");
  put("a.conf", "k=v\n");
  put("a.xml", "<EventLog><LogEntry>");
  run("qvctl log write --type 1 --id 1 --source s one");
  RecordHolder holder(kFileLockRecord);
  for (const char *command :
       {"ini get a.ini s k --default d", "ini set a.ini s k w", "ini unset a.ini s k", "ini list a.ini",
        "kv get a.conf k", "kv set a.conf k w", "kv set new.conf k w", "kv unset a.conf k", "kv list a.conf",
        "text get 5 --file a.ini", "text check a.ini", "log write --type 1 --id 1 --source s x", "log repair a.xml",
        "log rotate", "log clear"}) {
    const tool::Result result = run(std::string("timeout 90 qvctl ") + command + " --wait 0");
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_NE(result.err.find("(11, SM_STATUS_LOCK_FAILED)"), std::string::npos) << command << result.err;
  }
  expectRows({
      {"qvctl lock run --wait 0.2 touch x", 1, "", "(11, SM_STATUS_LOCK_FAILED)"},
      {"cat a.ini a.conf; ls", 0, "[s]\nk=v\nk=v\na.conf\na.ini\na.xml\n"},
      {"qvctl log show | sed 's/.*  //'; ls /etc/tallowmere/vela/log", 0, "s: one\nqvsys32.log\nqvsys32.xml\n"},
      {"for c in 'lock status' 'objects list' doctor --help; do timeout 90 qvctl $c >/dev/null; echo $?; done", 0,
       "0\n0\n0\n0\n"},
  });
  holder.letGo();
  EXPECT_EQ(run("qvctl ini set a.ini s k w --wait 0 && qvctl ini get a.ini s k").out, "w\n");
}

TEST_F(ToolTest, LosesNoKeyAmongToolsAndComponents)
{
  constexpr int kKeys = 25;
  const auto component = [](const char *name) {
    return [name](Inside &inside) {
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = name + std::to_string(i);
        inside.report({WriteINIFileValue_astring("s", key.c_str(), "v", 2, "shared.ini", 1) == 0 ? 0 : 1});
      }
    };
  };
  Child first(component("a"));
  Child second(component("b"));
  const std::string loop = "for i in $(seq 0 24); do qvctl ini set shared.ini s $k$i v || exit 1; done";
  EXPECT_EQ(run("k=c; (" + loop + ") & k=d; " + loop + "; wait $! ").status, 0);
  EXPECT_EQ(first.report().find('1'), std::string::npos);
  EXPECT_EQ(second.report().find('1'), std::string::npos);
  EXPECT_EQ(run("qvctl ini list shared.ini s | sort | uniq | grep -c '^[abcd][0-9]*=v$'").out, "100\n");
}

TEST_F(ToolTest, KilledAnywhereLeavesTheOldFileOrTheNew)
{
  if (const char *reason = whyNotKilled(); reason != nullptr) {
    GTEST_SKIP() << reason;
  }
  const struct {
    const char *arguments;
    const char *file;
    const char *before;  // null where there is no file
    const char *after;
  } rows[] = {
      {"ini set a.ini s k new", "a.ini", "[s]\nk=old\n[t]\n", "[s]\nk=new\n[t]\n"},
      {"ini set new.ini s k v", "new.ini", nullptr, "[s]\nk=v\n"},
      {"ini unset a.ini s", "a.ini", "[s]\nk=old\n[t]\n", "[t]\n"},
      {"kv set a.conf k new", "a.conf", "k=old\nl=1\n", "k=new\nl=1\n"},
      {"kv set new.conf k v", "new.conf", nullptr, "k=v\n"},
      {"kv unset a.conf k", "a.conf", "k=old\nl=1\n", "l=1\n"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.arguments);
    std::string last;
    const auto prepare = [&row] {
      fs::remove(row.file);
      if (row.before != nullptr) {
        put(row.file, row.before);
      }
    };
    killAtEveryCall(row.arguments, prepare, [&row, &last] {
      last = get(row.file);
      EXPECT_TRUE(last == row.after || last == (row.before == nullptr ? "(missing)" : row.before)) << last;
    });
    EXPECT_EQ(last, row.after) << "the last run ends by itself";
  }
}

}  // namespace
