// What all commands have in common: help, usage, options, the end of options, and output that cannot be written.

#include "support/test.h"
#include "tool.h"

namespace {

using namespace support;
using namespace tool;

/// Every command that the program's own help lists.
std::vector<std::string> allCommands()
{
  std::istringstream words(run("for g in $(qvctl --help | sed -n '/^Subcommands/,/^$/s/^  \\([a-z]*\\) .*/\\1/p'); do "
                               "qvctl $g --help | sed -n \"/^Subcommands/,/^$/s/^  \\([a-z]*\\) .*/$g \\1/p\"; done")
                               .out);
  std::vector<std::string> commands{"doctor"};
  for (std::string line; std::getline(words, line);) {
    commands.push_back(line);
  }
  EXPECT_GT(commands.size(), 20u);
  return commands;
}

TEST_F(ToolTest, HelpAndVersionNeedNeitherLockNorLibrary)
{
  for (const std::string &command : allCommands()) {
    const tool::Result result = run("LD_LIBRARY_PATH= qvctl lock run -- qvctl " + command + " --help");
    EXPECT_EQ(result.status, 0) << command;
    EXPECT_NE(result.out.find("qvctl " + command, result.out.find("Example:")), std::string::npos) << result.out;
    EXPECT_EQ(result.err, "") << command;
  }
  expectRows({
      {"qvctl --version | sed 's/[0-9]/N/g'", 0, "qvctl N.N.N\n"},
      {"qvctl --help | tail -1 | cut -c1-21", 0, "'qvctl COMMAND --help\n"},
  });
}

TEST_F(ToolTest, ManualAndCompletionKnowEveryCommandAndOption)
{
  const std::string manual = run("sed 's/\\\\-/-/g; s/\\\\f[RPBI]//g; s/[\"]//g' " QVCTL_SOURCE "/qvctl.1").out;
  for (const std::string &command : allCommands()) {
    SCOPED_TRACE(command);
    EXPECT_NE(manual.find("qvctl " + command), std::string::npos);
    const std::string options =
        "qvctl " + command + " --help | sed -n 's/^  \\(-[a-z],\\)\\?\\(--[a-z-]*\\) .*/\\2/p' | sort";
    const std::string completed = "source " QVCTL_SOURCE "/completion/qvctl; COMP_WORDS=(qvctl " + command +
                                  " --); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _qvctl; printf '%s\\n' "
                                  "\"${COMPREPLY[@]}\" | sort";
    EXPECT_EQ(run(completed).out, run(options).out);
    std::istringstream each(run(options).out);
    for (std::string option; std::getline(each, option);) {
      EXPECT_NE(std::string::npos, manual.find(option == "--output" ? "-o" : option)) << option;
    }
  }
}

TEST_F(ToolTest, CompletionLooksIntoFiles)
{
  put("a b.ini", "[one $(touch oops)]\nkey=1\nkind=2\n[two]\n");
  put("a.conf", "k=1\nk=2\nl=3\n");
  const std::string prepare = "source " QVCTL_SOURCE
                              "/completion/qvctl; compopt() { :; }; complete_() { COMP_WORDS=(\"$@\"); "
                              "COMP_CWORD=$(($# - 1)); _qvctl; printf '%s.' \"${COMPREPLY[@]}\"; }; complete_ qvctl ";
  const auto completed = [&prepare](const char *line) { return run(prepare + line).out; };
  EXPECT_EQ(completed("ini get 'a\\ b.ini' o"), "one\\ \\$\\(touch\\ oops\\).");
  EXPECT_EQ(completed("--json ini get --type u32 'a\\ b.ini' 'one $(touch oops)' ki"), "kind.");
  EXPECT_EQ(completed("kv get a.conf ''"), "k.l.");
  EXPECT_EQ(completed("ini get a.ini s k --type s"), "s32.s64.");
  EXPECT_EQ(completed("o"), "objects.");
  EXPECT_EQ(run("ls").out, "a b.ini\na.conf\n");
}

TEST_F(ToolTest, RefusesWhatCannotBeMeant)
{
  expectRows({
      {"qvctl", 2, "", "qvctl: "},
      {"qvctl ini", 2, "", "qvctl: "},
      {"qvctl ini get a.ini", 2, "", "SECTION"},
      {"qvctl ini get a.ini s k --no-such-option", 2, "", "--no-such-option"},
      {"qvctl ini get a.ini s k --type s16", 2, "", "s16"},
      {"qvctl kv get a.conf k --nth -1", 2, "", "-1"},
      {"qvctl lock run --wait 0", 2, "", "command"},
      {"qvctl text get 5 --language xx", 2, "", "xx"},
      {"ls", 0, ""},
  });
}

TEST_F(ToolTest, TakesOptionsAnywhereAndValuesAsTheyAre)
{
  expectRows({
      {"qvctl ini set a.ini list get set", 0, ""},
      {"qvctl --json ini get a.ini list get", 0, "{\"value\":\"set\"}\n"},
      {"qvctl ini get a.ini --json list get", 0, "{\"value\":\"set\"}\n"},
      {"qvctl ini get a.ini list get --json", 0, "{\"value\":\"set\"}\n"},
      {"qvctl ini get a.ini list other --default --json", 0, "--json\n"},
      {"qvctl ini get a.ini list other --default=", 0, "\n"},
      {"qvctl ini get a.ini list other --default 1 --default 2", 0, "2\n"},
      {"qvctl ini set -- a.ini --section --key --value", 0, ""},
      {"qvctl ini get a.ini -- --section --key", 0, "--value\n"},
      {"qvctl ini set a.ini '[a' '{}' '[a,b]' && qvctl ini get a.ini '[a' '{}'", 0, "[a,b]\n"},
      {"qvctl ini set a.ini ++ '%' '++' && qvctl ini get a.ini ++ '%'", 0, "++\n"},
      {"qvctl ini set a.ini $'\\x01[' k $'\\x01{' && qvctl ini get a.ini $'\\x01[' k | od -An -tx1", 0, " 01 7b 0a\n"},
      {"qvctl ini set a.ini s k -- -- && qvctl ini get a.ini s k", 0, "--\n"},
      {"qvctl kv set a.conf -- -k -v && qvctl kv list a.conf", 0, "-k=-v\n"},
      {"qvctl kv set ./-f k v && qvctl kv get -- -f k", 0, "v\n"},
      {"qvctl objects list '[a,b]' -- -x", 0, ""},
  });
}

TEST_F(ToolTest, SaysWhenItsOutputIsLost)
{
  expectRows({
      {"qvctl ini set a.ini s k v", 0, ""},
      {"qvctl --help >/dev/full", 1, "", "standard output: No space left on device"},
      {"qvctl ini get a.ini s k >/dev/full", 1, "", "standard output: No space left on device"},
      {"mkfifo p; exec 3<>p 4>p 3<&-; qvctl ini get a.ini s k >&4", 1, ""},  // a pipe without a reader
      {"qvctl ini list a.ini --json >&-", 1, "", "standard output: Bad file descriptor"},
  });
}

TEST_F(ToolTest, ShowsControlCharactersOfItsMessagesAsEscapes)
{
  expectRows({{"qvctl ini list $'a\\nb\\x1b[31m'", 1, "",
               "qvctl: a\\nb\\x1b[31m: file cannot be opened (7, SM_STATUS_FILE_OPEN_FAILED)\n"}});
}

}  // namespace
