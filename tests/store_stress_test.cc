// Many processes and threads that write one settings file, readers among them, and writers that are killed at any
// instant: no update is lost, and nobody ever sees a value that was not written whole.

#include "support/test.h"

namespace {

using namespace support;

constexpr int kWriters = 8;

/// The value of a key in its n-th version: long enough to cross pages, and of one letter, so that a torn one shows.
std::string valueOf(int version, size_t length)
{
  return std::string(length, static_cast<char>('a' + version % 26));
}

bool isWhole(const std::string &value, size_t length)
{
  return value.size() == length && value.find_first_not_of(value[0]) == std::string::npos;
}

class Stress : public Scratch {
 protected:
  std::string read(const std::string &section, const std::string &key) const
  {
    std::string value(8193, '?');
    uint32_t size = 8193;
    const uint32_t status =
        ReadINIFileValue_astring(section.c_str(), key.c_str(), value.data(), &size, nullptr, 0, file.c_str(), 1);
    value.resize(status == 0 ? size - 1 : 0);
    return status == 0 ? value : "status " + std::to_string(status);
  }

  uint32_t set(const std::string &section, const std::string &key, const std::string &value) const
  {
    return WriteINIFileValue_astring(section.c_str(), key.c_str(), value.c_str(),
                                     static_cast<uint32_t>(value.size()) + 1, file.c_str(), 1);
  }

  /// Sets keys of its own, each of them to be read back whole and forever; returns the number of failures.
  int writeKeys(int writer) const
  {
    int failures = 0;
    for (int i = 0; i < kKeys; ++i) {
      const std::string key = "w" + std::to_string(writer) + "k" + std::to_string(i);
      failures += set("s" + std::to_string(i % 3), key, valueOf(i, 40)) == 0 ? 0 : 1;
      failures += set("shared", "k", valueOf(writer, 500)) == 0 ? 0 : 1;
    }
    return failures;
  }

  /// Reads the key that all writers set; returns how often it was missing or torn.
  int watch(const std::function<bool()> &isOver) const
  {
    int failures = 0;
    do {
      failures += isWhole(read("shared", "k"), 500) ? 0 : 1;
    } while (!isOver());
    return failures;
  }

  void expectAllKeys() const
  {
    for (int writer = 0; writer < kWriters; ++writer) {
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = "w" + std::to_string(writer) + "k" + std::to_string(i);
        ASSERT_EQ(read("s" + std::to_string(i % 3), key), valueOf(i, 40)) << key;
      }
    }
  }

  /// Expects the first content of the file, followed by whole sections of one whole value each.
  void expectWhole(const std::string &start) const
  {
    const std::string content = std::filesystem::exists(file) ? get(file) : "";
    ASSERT_EQ(content.substr(0, start.size()), start);
    for (size_t at = start.size(); at < content.size();) {
      const size_t header = content.find("]\nk=", at);
      ASSERT_TRUE(content[at] == '[' && header < at + 8) << at;
      const size_t end = content.find('\n', header + 4);
      ASSERT_NE(end, std::string::npos);
      ASSERT_TRUE(isWhole(content.substr(header + 4, end - header - 4), 7000)) << at;
      at = end + 1;
    }
  }

  const int kKeys = isEmulated() ? 20 : 200;
  const std::string file = path("x.ini");
};

TEST_F(Stress, ProcessesLoseNoUpdate)
{
  set("shared", "k", valueOf(0, 500));
  std::vector<std::unique_ptr<Child>> writers;
  for (int i = 0; i < kWriters; ++i) {
    writers.push_back(std::make_unique<Child>([&, i](Child::Inside &inside) { inside.report({writeKeys(i)}); }));
  }
  std::atomic<bool> over = false;
  std::thread reader([&] { EXPECT_EQ(watch([&] { return over.load(); }), 0); });
  for (const auto &writer : writers) {
    EXPECT_EQ(writer->report(), "0\n");
  }
  over = true;
  reader.join();
  expectAllKeys();
}

TEST_F(Stress, ThreadsLoseNoUpdate)
{
  set("shared", "k", valueOf(0, 500));
  std::atomic<int> running = kWriters;
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kWriters; ++i) {
    threads.emplace_back([&, i] {
      failures += writeKeys(i);
      --running;
    });
  }
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] { failures += watch([&] { return running == 0; }); });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures, 0);
  expectAllKeys();
}

TEST_F(Stress, WriterKilledAtAnyInstantLeavesTheOldContentOrTheNew)
{
  const int rounds = isEmulated() ? 40 : 500;
  const std::string config = path("x.cfg");
  const std::string tail = "[o]\n# " + std::string(9000, '-') + "\nk=1\n";
  std::mt19937 random(1);
  for (int round = 0; round < rounds; ++round) {
    std::filesystem::remove(file);
    put(config, "k=" + valueOf(0, 5000) + "\n#\n");
    if (round % 2 == 0) {
      put(file, tail);
    }
    Child writer([&](Child::Inside &inside) {
      inside.hold();
      for (int version = 1;; ++version) {
        const std::string value = valueOf(version, 7000);
        set("s", "k", value);
        set("new" + std::to_string(version % 50), "k", value);
        SMCFGSetKeyValue(config.c_str(), "k", valueOf(version, 5000).c_str(), 0);
      }
    });
    ASSERT_TRUE(writer.waitHeld());
    writer.release();
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    writer.signal(SIGKILL);
    EXPECT_EQ(writer.wait(), 128 + SIGKILL);
    expectWhole(round % 2 == 0 ? tail : "");
    const std::string entry = get(config);
    EXPECT_TRUE(entry.size() == 5005 && entry.substr(5002) == "\n#\n" && isWhole(entry.substr(2, 5000), 5000));
    EXPECT_EQ(set("after", "k", "1"), 0u) << "the lock went with the process";
  }
}

}  // namespace
