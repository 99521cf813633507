// The `lock`, `objects`, `text` and `doctor` commands.

#include "qvsupt32/os_objects.h"
#include "support/test.h"
#include "tool.h"

namespace {

using namespace support;
using namespace tool;

/// Text as a string file holds it.
std::string stringFile(const std::string &text)
{
  std::string bytes = "\xff\xfe";
  for (const char c : text) {
    bytes += utf16(c == '\n' ? "\r\n"s : std::string{c});
  }
  return bytes;
}

TEST_F(ToolTest, LockStatusNamesHoldersAndWaiters)
{
  EXPECT_EQ(run("qvctl lock status").out, "");
  EXPECT_EQ(run("qvctl lock status --json").out, "[]\n");
  {
    RecordHolder holder(kFileLockRecord);
    EXPECT_EQ(run("qvctl lock status | sed 's/ by [0-9]* since [-0-9T:]*: .*/ by PID since TIME: COMMAND/'").out,
              "file lock: held by PID since TIME: COMMAND\n");
    EXPECT_EQ(run("qvctl lock status --json | grep -c '\"state\":\"held\",\"pid\":[1-9][0-9]*,\"command\":\"'").out,
              "1\n");
  }
  Child mutexHolder([](Child::Inside &inside) {
    OSSyncInfo *const mutex = OSMutexCreate("two words");
    inside.report({OSMutexLock(mutex, 0)});
    inside.hold();
    OSMutexDestroy(mutex);
  });
  ASSERT_TRUE(mutexHolder.waitHeld());
  Child mutexWaiter([](Child::Inside &inside) {
    OSSyncInfo *const mutex = OSMutexOpen("two words");
    inside.hold();
    inside.report({OSMutexLock(mutex, SM_WAIT_FOREVER)});
  });
  ASSERT_TRUE(mutexWaiter.waitHeld());
  mutexWaiter.release();
  const std::string held = "mutex two words: held by " + std::to_string(mutexHolder.pid()) + " since ";
  const std::string wanted = "mutex two words: wanted by " + std::to_string(mutexWaiter.pid()) + " since ";
  std::string shown;
  for (int i = 0; i < 1000 && shown.find(wanted) == std::string::npos; ++i) {
    shown = run("qvctl lock status").out;
  }
  EXPECT_EQ(shown.find(held), 0u) << shown;
  EXPECT_NE(shown.find(wanted), std::string::npos) << shown;
  EXPECT_EQ(run("qvctl objects clean 'two words'").status, 1);
  mutexHolder.release();
  EXPECT_EQ(mutexHolder.report(), "0\n");
  EXPECT_EQ(mutexWaiter.report(), "0\n");
}

TEST_F(ToolTest, LockRunHoldsTheLockAndHandsOnStatusAndSignals)
{
  expectRows({
      {"qvctl lock run -- sh -c 'qvctl ini list a.ini --wait 0; exit 7'", 7, "", "(11, SM_STATUS_LOCK_FAILED)"},
      {"qvctl lock run --wait=1 printf '%s.' a --wait 0 -- '[b,c]' --json", 0, "a.--wait.0.--.[b,c].--json."},
      {"echo input | qvctl lock run cat", 0, "input\n"},
      {"qvctl lock run ./none", 127, "", "qvctl: ./none: No such file or directory"},
      {": >file; qvctl lock run ./file", 126, "", "qvctl: ./file: Permission denied"},
      {"qvctl lock run -- sh -c 'kill -9 $$'", 137, ""},
      {"trap '' CHLD; qvctl lock run false", 1, ""},
      {"mkfifo started; qvctl lock run -- sh -c 'trap \"echo got; exit 3\" TERM; echo >started; while :; do sleep "
       "0.01; "
       "done' & read line <started; kill -TERM $!; wait $!",
       3, "got\n"},
      {"qvctl ini set a.ini s k v --wait 0", 0, ""},
  });
}

TEST_F(ToolTest, ObjectsShowWhatExistsUnderAName)
{
  put("/etc/tallowmere/vela/.settings", "not empty: no mutex");
  Child creator([](Child::Inside &inside) {
    OSSyncInfo *const segment = OSSharedMemCreate("abc", 4096);
    OSSyncInfo *const semaphore = OSSemaphoreCreate("sem", 3);
    OSSyncInfo *const event = OSEventCreate("event", 1, 1);
    inside.hold();
    OSSharedMemFree(segment);
    OSSemaphoreDestroy(semaphore);
    OSEventDestroy(event);
  });
  ASSERT_TRUE(creator.waitHeld());
  const std::string pid = std::to_string(creator.pid());
  expectRows({
      {"qvctl objects list", 0, ""},
      {"qvctl objects list none --json", 0, "[]\n"},
      {"qvctl objects list sem event | sed 's/id [0-9]*/id N/; s/0x[0-9a-f]*/KEY/'", 0,
       "semaphore or event sem: key KEY, id N, count 3\nevent event: key KEY, id N, count 1\n"},
      {"qvctl objects clean abc", 1, "", "qvctl: abc: segment kept: 1 attached"},
      {"qvctl objects clean sem", 1, "", "--force"},
      {"qvctl objects clean event --force", 1, "", "its creator is alive"},
      {"qvctl objects clean none", 1, "", "(256, SM_STATUS_NOT_FOUND)"},
      {"qvctl objects clean velaipc sharedipc", 1, "", "lock file"},
      {"cat /etc/tallowmere/vela/.settings", 0, "not empty: no mutex"},
      {"qvctl objects clean settings", 1, "", "(256, "},
      {"qvctl objects clean ../vela/.settings", 1, "", "(256, "},
  });
  EXPECT_EQ(run("qvctl objects list abc | sed 's/id [0-9]*/id N/'").out,
            "segment abc: key 0xfb8fc9a3, id N, 4096 bytes, 1 attached, creator " + pid + " alive, guard 0\n");
  EXPECT_EQ(run("qvctl objects list abc --json | sed 's/\"id\":[0-9]*/\"id\":N/g'").out,
            "[{\"name\":\"abc\",\"kind\":\"segment\",\"key\":\"0xfb8fc9a3\",\"id\":N,\"size\":4096,\"attached\":1,"
            "\"creator\":" +
                pid + ",\"creatorAlive\":true,\"guard\":{\"id\":N,\"count\":0}}]\n");
  creator.release();
  EXPECT_EQ(creator.wait(), 0);
  fs::remove("/etc/tallowmere/vela/.settings");
}

TEST_F(ToolTest, CleanRemovesWhatTheDeadLeft)
{
  Child dead([](Child::Inside &inside) {
    const OSSyncInfo *const all[] = {OSSharedMemCreate("abc", 64), OSSemaphoreCreate("sem", 3), OSMutexCreate("mutex"),
                                     OSMutexCreate("kept")};
    inside.hold();
    (void)all;  // it is killed before it could destroy them
  });
  ASSERT_TRUE(dead.waitHeld());
  dead.signal(SIGKILL);
  EXPECT_EQ(dead.wait(), 137);
  Child user([](Child::Inside &inside) {
    OSSyncInfo *const mutex = OSMutexOpen("kept");
    inside.hold();
    OSMutexDestroy(mutex);
  });
  ASSERT_TRUE(user.waitHeld());
  expectRows({
      {"qvctl objects list abc | sed 's/.* attached/attached/; s/creator [0-9]*/creator PID/'", 0,
       "attached, creator PID not alive, guard 1\n"},
      {"qvctl objects clean mutex abc --dry-run", 0, "would remove mutex mutex\nwould remove segment abc\n"},
      {"qvctl objects list abc mutex | wc -l", 0, "2\n"},
      {"qvctl objects clean kept", 1, "", "kept: mutex kept: open in "},
      {"qvctl objects clean mutex abc --json", 0,
       "[{\"name\":\"mutex\",\"kind\":\"mutex\",\"action\":\"removed\"},"
       "{\"name\":\"abc\",\"kind\":\"segment\",\"action\":\"removed\"}]\n"},
      {"qvctl objects list abc mutex", 0, ""},
      {"qvctl objects clean sem --force --dry-run", 0, "would remove semaphore or event sem\n"},
      {"qvctl objects clean sem --force", 0, "removed semaphore or event sem\n"},
      {"qvctl objects list | sed 's/open in .*/open in PID/'", 0,
       "mutex kept: /etc/tallowmere/vela/.kept, free, open in PID\n"},
  });
  user.release();
  EXPECT_EQ(user.wait(), 0);
}

TEST_F(ToolTest, TextsAreFoundAsTheLibraryFindsThem)
{
  put("s.txt", stringFile("; a comment\n0:1F4=Hello\n407:1F4=Hallo\n0:5=a=b\n0:906=moved\n0:96A=\n"));
  put("bad.txt", "0:1F4=Hello\n");
  expectRows({
      {"qvctl text get 500 --file s.txt", 0, "Hello\n"},
      {"qvctl text get 500 --file s.txt --language 1031 --json", 0, "{\"value\":\"Hallo\"}\n"},
      {"qvctl text get 500 --file s.txt --language fr", 0, "Hello\n"},
      {"qvctl text get 5 --file s.txt", 0, "b\n"},
      {"qvctl text get 500 --file none.txt", 1, "", "qvctl: none.txt: No such file or directory"},
      {"qvctl text get 500 --file bad.txt", 1, "", "FF FE"},
      {"cp s.txt /etc/tallowmere/vela/ini/qvunidat.txt; qvctl text get 2310", 0, "moved\n"},
      {"qvctl ini set /etc/tallowmere/vela/ini/qvprv32.ini 'OEM Configuration' offset 100 && qvctl text get 2310", 0,
       "\n"},
      {"mkdir other other/ini; cp s.txt other/ini/qvunidat.txt; velainstallpath=$PWD/other qvctl text get 2310", 0,
       "moved\n"},
      {"qvctl text check s.txt", 0, ""},
      {"qvctl text check s.txt --json", 0, "{\"ok\":true,\"findings\":[]}\n"},
      {"qvctl text check none.txt", 1, "", "No such file"},
  });
}

TEST_F(ToolTest, TextCheckFindsLinesThatNoLookupFinds)
{
  put("s.txt", stringFile("0:1F4=Hello\n0:05=padded\n00:5=padded\n0:1f5=lower\n1B5:6=x\n409:6=x\n0:1F4=again\n"
                          "1407:9=hides\n407:9=hidden\n0:A=see 0:B=this\n0:B=hidden\n123456789:1=x\n0:C=last"));
  put("bad.txt", "0:1F4=Hello\n");
  expectRows({
      {"qvctl text check s.txt | cut -c1-34; exit ${PIPESTATUS[0]}", 3,
       "s.txt:2: key 0:05: leading zeros: \ns.txt:3: key 00:5: leading zeros: \ns.txt:4: key 0:1f5: lower-case dig\n"
       "s.txt:5: key 1B5:6: the languages \ns.txt:6: key 409:6: the languages \ns.txt:7: key 0:1F4: repeats line 1\n"
       "s.txt:9: key 407:9: hidden by line\ns.txt:11: key 0:B: hidden by line \ns.txt:12: key 123456789:1: a numbe\n"
       "s.txt:13: no line end: the last ch\n"},
      {"qvctl text check bad.txt --json", 3,
       "{\"ok\":false,\"findings\":[{\"where\":\"line 1\",\"what\":\"the file does not begin with the bytes FF FE: "
       "nothing in it is found\"}]}\n"},
  });
}

TEST_F(ToolTest, DoctorFindsWhatStopsComponents)
{
  const auto problems = [](const std::string &setting) {
    return run(setting + " qvctl doctor | grep ^problem | cut -d: -f2; exit ${PIPESTATUS[0]}");
  };
  EXPECT_EQ(run("qvctl doctor | grep -c ^problem; exit ${PIPESTATUS[0]}").status, 0) << run("qvctl doctor").out;
  EXPECT_EQ(run("qvctl doctor --json | cut -c1-25").out, "{\"ok\":true,\"findings\":[],\n");
  EXPECT_NE(run("LANG=de qvctl doctor").out.find("ok: language: 1031 (de), from LANG=de\n"), std::string::npos);
  EXPECT_NE(run("LANG=de_DE qvctl doctor").out.find("note: language: 1033 (en_US), since LANG=de_DE"),
            std::string::npos);
  const struct {
    const char *setting;
    const char *where;
  } rows[] = {
      {"chmod 777 /etc/tallowmere/vela/ini;", " /etc/tallowmere/vela/ini\n"},
      {"chmod 755 /etc/tallowmere/vela/ini; rmdir /etc/tallowmere/vela/log;", " /etc/tallowmere/vela/log\n"},
      {"mkdir /etc/tallowmere/vela/log; export velainstallpath=/none;", " product 35\n"},
      {"LD_LIBRARY_PATH=", " library\n"},
      {"echo ipcnamebase=-20000 >/etc/vela.conf;", " /etc/vela.conf\n attach\n"},
      {"rm /etc/vela.conf; mv /etc/tallowmere/vela /etc/tallowmere/away;",
       " /etc/tallowmere/vela\n attach\n product 35\n"},
      {"mv /etc/tallowmere/away /etc/tallowmere/vela; mkdir /etc/tallowmere/shared; "
       "exec 9</etc/tallowmere/vela/.velaipc;",
       " /etc/tallowmere/vela/.velaipc\n"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.setting);
    const tool::Result result = problems(row.setting);
    EXPECT_EQ(result.out.find(row.where), 0u) << result.out;
    EXPECT_EQ(result.status, 3);
  }
  fs::remove_all("/etc/tallowmere/shared");
}

}  // namespace
