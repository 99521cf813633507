// Install paths: where they come from, what a lookup answers, and the functions on paths. The cache is built anew in
// each case; lookups meet the directories of the sandbox.

#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr char kCorvane[] = "/etc/tallowmere/corvane";

class InstallPath : public testing::Test {
 protected:
  InstallPath() { fs::create_directory(kCorvane); }

  ~InstallPath() override
  {
    for (const char *name : {"velainstallpath", "VELAINSTALLPATH", "corvaneinstallpath", "ZKROOTINSTALLPATH"}) {
      unsetenv(name);
    }
    fs::remove(kCorvane);
    rebuild();
  }

  static void rebuild()
  {
    SUPTMiscFreeInstallPathCache();
    SUPTMiscInitInstallPathCache();
  }

  /// Status, size, path.
  static std::string find(uint32_t product, uint32_t size = 256)
  {
    char path[300] = "?";
    const uint32_t status = SUPTMiscGetInstallPathByProductID(product, path, &size);
    return std::to_string(status) + " " + std::to_string(size) + " " + path;
  }
};

TEST_F(InstallPath, ComesFromThePlatform)
{
  EXPECT_EQ(find(1), "0 16 /etc/tallowmere");
  EXPECT_EQ(find(34), "0 24 /etc/tallowmere/corvane");
  EXPECT_EQ(find(35), "0 21 /etc/tallowmere/vela");
  EXPECT_EQ(find(35, 21), "0 21 /etc/tallowmere/vela");
  EXPECT_EQ(find(35, 20), "16 21 ?");
  EXPECT_EQ(find(35, 0), "16 21 ?");
  EXPECT_EQ(find(2, 99), "256 99 ?");
  fs::remove(kCorvane);
  EXPECT_EQ(find(34), "257 0 ?");
  char path[256];
  uint32_t size = sizeof(path);
  EXPECT_EQ(SMGetInstallPath(path, &size), 0u);
  EXPECT_STREQ(path, "/etc/tallowmere/vela");
}
TEST_F(InstallPath, ComesFromTheEnvironmentOnce)
{
  setenv("VELAINSTALLPATH", "/", 1);
  setenv("ZKROOTINSTALLPATH", "", 1);
  EXPECT_EQ(find(35), "0 21 /etc/tallowmere/vela") << "not built anew";
  SUPTMiscInitInstallPathCache();
  EXPECT_EQ(find(35), "0 21 /etc/tallowmere/vela") << "built already";
  rebuild();
  EXPECT_EQ(find(35), "0 2 /") << "as it stands";
  EXPECT_EQ(find(1), "257 0 ?") << "an empty path does not exist";
  setenv("velainstallpath", "/etc/", 1);
  setenv("corvaneinstallpath", "/no such directory", 1);
  rebuild();
  EXPECT_EQ(find(35), "0 6 /etc/") << "lower case comes first";
  EXPECT_EQ(find(34), "257 0 ?");
  for (const size_t length : {254u, 255u}) {
    setenv("velainstallpath", std::string(length, '/').c_str(), 1);
    rebuild();
    EXPECT_EQ(find(35), length == 254 ? "0 255 " + std::string(254, '/') : "256 0 ?") << "the platform is not asked";
    EXPECT_EQ(pGInstallPathList[1].installPathSize, length == 254 ? 255u : 0u);
  }
}

TEST_F(InstallPath, TextOfARecordDecidesWhereFilesLie)
{
  strcpy(pGInstallPathList[1].installPath, "/etc/tallowmere/corvane");  // longer than the size beside it
  EXPECT_EQ(find(35), "0 24 /etc/tallowmere/corvane");
  EXPECT_EQ(find(35, 23), "16 24 ?");
  EXPECT_EQ(SMWriteINIFileValue("s", "k", SM_INI_TYPE_ASTRING, "v", 2, "x.ini", 1), 0u);
  EXPECT_TRUE(fs::exists("/etc/tallowmere/corvane/ini/x.ini"));
  strcpy(pGInstallPathList[1].installPath, "/tmp");
  EXPECT_EQ(find(35), "0 5 /tmp");
  fs::remove_all("/etc/tallowmere/corvane/ini");
}

TEST_F(InstallPath, CacheHoldsTheKnownProductsInTheirOrder)
{
  ASSERT_EQ(gInstallPathListCount, 3u);
  const char *names[] = {"Corvane", "VELA", "ZKRoot"};
  const uint32_t products[] = {34, 35, 1};
  for (int i = 0; i < 3; ++i) {
    EXPECT_STREQ(pGKnownProductIDS[i].productName, names[i]);
    EXPECT_EQ(pGKnownProductIDS[i].productID, products[i]);
    EXPECT_EQ(pGInstallPathList[i].productID, products[i]);
  }
  EXPECT_EQ(sizeof(SMInstallPath), 264u);
  const long blocks = liveBlocks();
  SUPTMiscFreeInstallPathCache();
  SUPTMiscFreeInstallPathCache();
  EXPECT_EQ(liveBlocks(), blocks - 1);
  {
    const Fault fault(Call::allocation, 1);
    SUPTMiscInitInstallPathCache();
  }
  EXPECT_EQ(pGInstallPathList, nullptr);
  EXPECT_EQ(gInstallPathListCount, 0u);
  EXPECT_EQ(find(35), "256 0 ?");
  EXPECT_EQ(find(2), "256 0 ?");
}

TEST_F(InstallPath, PlatformDirectoriesWhateverExists)
{
  const struct {
    uint32_t product, size, status, resultSize;
    const char *path;
  } rows[] = {
      {1, 21, 0, 16, "/etc/tallowmere"}, {1, 20, kTooSmall, 24, "?"},  {1, 0, kTooSmall, 24, "?"},
      {34, 24, 0, 24, kCorvane},         {34, 23, kTooSmall, 24, "?"}, {35, 21, 0, 21, "/etc/tallowmere/vela"},
      {35, 20, kTooSmall, 21, "?"},      {0, 99, 271, 99, "?"},        {36, 99, 271, 99, "?"},
  };
  for (const auto &row : rows) {
    char path[100] = "?";
    uint32_t size = row.size;
    EXPECT_EQ(OSInitProductInstallPath(row.product, path, &size), row.status) << row.product << " " << row.size;
    EXPECT_EQ(size, row.resultSize) << row.product << " " << row.size;
    EXPECT_STREQ(path, row.path);
  }
  char path[8];
  uint32_t size = 2;
  EXPECT_EQ(OSInitProductInstallPath(35, nullptr, &size), kInvalid);
  EXPECT_EQ(OSInitProductInstallPath(35, path, nullptr), kInvalid);
  EXPECT_EQ(OSInitInstallPathByKeyName("k/", path, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(OSInitInstallPathByKeyName("k/", path, &size), 0u);
  EXPECT_STREQ(path, "k/");
}

TEST(Path, CutAtItsEnd)
{
  const struct {
    void (*cut)(char *, uint32_t *);
    const char *path, *result;
    uint32_t size;  // 99 where it is left
  } rows[] = {
      {SUPTMiscRemoveTrailingPathSeparator, "/a/", "/a", 3},
      {SUPTMiscRemoveTrailingPathSeparator, "/a//", "/a/", 4},
      {SUPTMiscRemoveTrailingPathSeparator, "/", "", 1},
      {SUPTMiscRemoveTrailingPathSeparator, "/a", "/a", 99},
      {SUPTMiscRemoveTrailingPathSeparator, "", "", 99},
      {SUPTMiscRemoveSubDir, "/etc/a/b", "/etc/a", 7},
      {SUPTMiscRemoveSubDir, "/etc", "/etc", 99},
      {SUPTMiscRemoveSubDir, "a/b/", "a/b", 4},
      {SUPTMiscRemoveSubDir, "a", "a", 99},
      {SUPTMiscRemoveSubDir, "", "", 99},
  };
  for (const auto &row : rows) {
    char path[16];
    strcpy(path, row.path);
    uint32_t size = 99;
    row.cut(path, &size);
    EXPECT_STREQ(path, row.result);
    EXPECT_EQ(size, row.size) << row.path;
  }
}

}  // namespace
