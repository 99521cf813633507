// Many processes and threads that write one settings file, with readers among them: no update is lost, and nobody ever
// sees a value that was not written whole. What a writer leaves that dies is in power_loss_test and soak_test.

#include "support/test.h"

namespace {

using namespace support;

constexpr int kProcesses = 4;
constexpr int kThreads = 2;  // of each process

class Stress : public Scratch {
 protected:
  std::string read(const std::string &section, const std::string &key) const
  {
    char value[8193];
    uint32_t size = sizeof(value);
    const uint32_t status =
        ReadINIFileValue_astring(section.c_str(), key.c_str(), value, &size, nullptr, 0, file.c_str(), 1);
    return status == 0 ? value : "status " + std::to_string(status);
  }

  /// Sets keys of its own, each of them to be read back forever, and between them one that all writers set: its value is
  /// long enough to cross pages, and of one letter, so that a torn one shows. Returns the number of failures.
  int writeKeys(int writer) const
  {
    const auto set = [this](const std::string &section, const std::string &key, const std::string &value) {
      return WriteINIFileValue_astring(section.c_str(), key.c_str(), value.c_str(),
                                       static_cast<uint32_t>(value.size()) + 1, file.c_str(), 1);
    };
    int failures = 0;
    for (int i = 0; i < kKeys; ++i) {
      failures += set("shared", "k", std::string(kLong, static_cast<char>('a' + writer))) == 0 ? 0 : 1;
      failures += set(sectionOf(i), keyOf(writer, i), std::to_string(i)) == 0 ? 0 : 1;
    }
    return failures;
  }

  static std::string keyOf(int writer, int i) { return "w" + std::to_string(writer) + "k" + std::to_string(i); }
  static std::string sectionOf(int i) { return "s" + std::to_string(i % 3); }

  static constexpr size_t kLong = 5000;
  const int kKeys = isEmulated() ? 20 : 150;
  const std::string file = path("x.ini");
};

TEST_F(Stress, ProcessesAndThreadsLoseNoUpdate)
{
  put(file, "[shared]\nk=" + std::string(kLong, 'x') + "\n");
  std::vector<std::unique_ptr<Child>> processes;
  for (int process = 0; process < kProcesses; ++process) {
    processes.push_back(std::make_unique<Child>([&, process](Inside &inside) {
      std::atomic<int> failures = 0;
      std::thread other([&] { failures += writeKeys(process * kThreads + 1); });
      failures += writeKeys(process * kThreads);
      other.join();
      inside.report({failures});
    }));
  }
  std::atomic<bool> over = false;
  std::thread reader([&] {
    do {
      const std::string value = read("shared", "k");
      EXPECT_EQ(value, std::string(kLong, value[0]));
    } while (!over);
  });
  for (const auto &process : processes) {
    EXPECT_EQ(process->report(), "0\n");
  }
  over = true;
  reader.join();
  for (int writer = 0; writer < kProcesses * kThreads; ++writer) {
    for (int i = 0; i < kKeys; ++i) {
      ASSERT_EQ(read(sectionOf(i), keyOf(writer, i)), std::to_string(i)) << keyOf(writer, i);
    }
  }
}

}  // namespace
