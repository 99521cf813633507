// Eight processes of both widths with four threads each do file work on shared files. One is killed every 50 ms and
// another takes its place. At the end every change that was acknowledged is in the files, nothing is torn, and nothing
// else is left behind. A kill inside a write of the XML log leaves it without its closing tag; the next to append repairs
// it, as an administrator would.
//
// QVSUPT32_SOAK_SECONDS is how long it runs; 10 unless set.

#include "support/test.h"

namespace {

using namespace support;

constexpr size_t kProcesses = 8;

class Soak : public Scratch {
 protected:
  /// Starts the work of a slot. What it acknowledges is appended to the slot's own file.
  pid_t start(size_t slot)
  {
    const bool otherWidth = instances % 2 == 1 && access(QVSUPT32_OTHER_PEER, X_OK) == 0;
    const std::string program = otherWidth ? QVSUPT32_OTHER_PEER : QVSUPT32_PEER;
    const std::string worker = "w" + std::to_string(slot) + "-";
    const std::string firstEvent = std::to_string(1'000'000 * ++instances);
    const std::string acknowledged = acknowledgedOf(slot);
    const pid_t pid = fork();
    if (pid == 0) {
      const int output = open(acknowledged.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
      dup2(output, STDOUT_FILENO);
      execl(program.c_str(), program.c_str(), "work", directory.c_str(), worker.c_str(), firstEvent.c_str(), nullptr);
      _exit(127);
    }
    return pid;
  }

  std::string acknowledgedOf(size_t slot) const { return path("acknowledged" + std::to_string(slot)); }

  void stop(pid_t pid)
  {
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "a peer ended by itself, see its last line";
  }

  size_t instances = 0;
};

TEST_F(Soak, EveryAcknowledgedChangeIsThere)
{
  const char *configured = getenv("QVSUPT32_SOAK_SECONDS");
  const auto over = std::chrono::steady_clock::now() + std::chrono::seconds(configured ? atoi(configured) : 10);
  put(path("soak.values"), "first=line\n");
  const std::string objects = systemVObjects();
  std::vector<pid_t> running;
  for (size_t slot = 0; slot < kProcesses; ++slot) {
    running.push_back(start(slot));
  }
  const auto hasAcknowledged = [&](size_t slot) { return !get(acknowledgedOf(slot)).empty(); };
  for (size_t turn = 0; std::chrono::steady_clock::now() < over || turn < kProcesses; ++turn) {
    const size_t slot = (turn * 5 + 3) % kProcesses;
    do {
      usleep(50'000);
    } while (!hasAcknowledged(slot));  // on a machine that is slow to start it
    stop(running[slot]);
    running[slot] = start(slot);
  }
  for (const pid_t pid : running) {
    stop(pid);
  }

  std::string text = get(path("soak.log"));
  std::erase(text, '\0');
  const std::string xml = get(path("soak.xml"));
  const auto inXml = between(xml, "<ID>", "</ID>");
  const auto inText = between(text, "EventID: ", "\r\n");
  // The last kills may have been inside a write, which nobody repaired.
  const size_t end = xml.rfind("</LogEntry>") + 11;
  EXPECT_TRUE(xml.substr(end) == "</EventLog>" || xml.find("</EventLog>", end) == std::string::npos);
  EXPECT_EQ(between(xml.substr(0, end), "<LogEntr", ">")["y"], between(xml, "</LogEntr", ">")["y"]);

  std::map<char, std::map<std::string, uint32_t>> last;  // by kind of work and worker
  size_t acknowledged = 0;
  size_t repairs = 0;
  for (size_t slot = 0; slot < kProcesses; ++slot) {
    std::istringstream lines(get(acknowledgedOf(slot)));
    for (std::string line; std::getline(lines, line);) {
      char kind = 0;
      std::string worker;
      uint32_t number = 0;
      std::istringstream words(line);
      if (!(words >> kind >> worker >> number) || lines.eof()) {
        EXPECT_TRUE(lines.eof()) << line;  // a killed peer's last line may be cut
        continue;
      }
      ++acknowledged;
      const std::string event = std::to_string(number);
      EXPECT_NE(std::string("ikxtr").find(kind), std::string::npos) << line;
      EXPECT_TRUE(kind != 'x' || (inXml.contains(event) && inXml.at(event) == 1)) << line;
      EXPECT_TRUE(kind != 't' || inText.contains(event)) << line;
      last[kind][worker] = std::max(last[kind][worker], number);
      repairs += kind == 'r' ? 1 : 0;
    }
  }
  for (const auto &[worker, number] : last['i']) {
    uint32_t value = 0;
    uint32_t size = sizeof(value);
    EXPECT_EQ(SMReadINIPathFileValue("soak", worker.c_str(), SM_INI_TYPE_U32, &value, &size, nullptr, 0,
                                     path("soak.ini").c_str(), 1),
              0u)
        << worker;
    EXPECT_GE(value, number) << worker;
  }
  uint32_t count = 0;
  CFGUKeyValueEntry *loaded = SMCFGGetKeyValueEntries(path("soak.values").c_str(), &count);
  for (const auto &[worker, number] : last['k']) {
    const char *value = CFGUGetKeyValue(loaded, count, worker.c_str(), 0);
    EXPECT_GE(value == nullptr ? 0 : strtoul(value, nullptr, 10), number) << worker;
    EXPECT_EQ(CFGUGetKeyValue(loaded, count, worker.c_str(), 1), nullptr) << worker;
  }
  SMCFGFreeKeyValueEntries(loaded, count);
  EXPECT_GE(last['i'].size(), kProcesses);
  printf("%zu processes, %zu acknowledged changes, %zu kills inside a write of the XML log\n", instances, acknowledged,
         repairs);

  EXPECT_EQ(systemVObjects(), objects);
  EXPECT_EQ(FileLock(0), 1u) << "the file lock went with its holders";
  EXPECT_EQ(FileUnlock(), 0);
  // A temporary file of a killed rewrite may be there; the next rewrite replaces it.
  EXPECT_EQ(SMWriteINIPathFileValue("soak", "last", SM_INI_TYPE_ASTRING, "x", 2, path("soak.ini").c_str(), 1), 0u);
  EXPECT_EQ(SMCFGSetKeyValue(path("soak.values").c_str(), "last", "x", 0), 0u);
  for (const auto &entry : std::filesystem::directory_iterator(directory)) {
    EXPECT_FALSE(entry.path().extension() == ".tmp") << entry.path();
  }
}

}  // namespace
