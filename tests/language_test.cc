// Languages: the table both ways, the environment, and the copy that the caller owns.

#include "support/test.h"

namespace {

using namespace support;

constexpr uint32_t kUntouched = 77;

/// The process's locale name, freed.
std::string osLocaleName()
{
  char *name = GetOSLocaleName();
  const std::string text = name == nullptr ? "null" : name;
  SMFreeMem(name);
  return text;
}

TEST(Language, NamesAndIdentifiers)
{
  const std::pair<const char *, uint32_t> languages[] = {
      {"es", 0x40A}, {"de", 0x407}, {"en_US", 0x409}, {"en_GB", 0x809}, {"fr", 0x40C},
      {"ja", 0x411}, {"ko", 0x812}, {"pt_BR", 0x416}, {"zh", 0x804},    {"zh_TW", 0x404},
  };
  for (const auto &[name, id] : languages) {
    uint32_t notFound = kUntouched;
    EXPECT_EQ(id, GetLangIDFromLocaleName(name, &notFound)) << name;
    EXPECT_EQ(0U, notFound) << name;
    EXPECT_STREQ(name, GetLocaleNameFromLangID(id));
    setenv("LANG", name, 1);
    EXPECT_EQ(id, GetLocalLanguageID());
    EXPECT_EQ(id, SMGetLocalLanguageID());
    EXPECT_EQ(name, osLocaleName());
  }
}

TEST(Language, EverythingElseIsTheDefault)
{
  for (const char *name : {"", "C", "xx", "de_DE", "en_US.UTF-8", "EN_US", "z", "zh_", "zh_TWx"}) {
    uint32_t notFound = kUntouched;
    EXPECT_EQ(1033U, GetLangIDFromLocaleName(name, &notFound)) << name;
    EXPECT_EQ(0xFFFFFFFFU, notFound) << name;
    setenv("LANG", name, 1);
    EXPECT_EQ(1033U, GetLocalLanguageID()) << name;
    EXPECT_EQ("en_US", osLocaleName()) << name;
  }
  for (const uint32_t id : {0U, 4U, 1042U, 0x10409U, 0xFFFFFFFFU}) {
    EXPECT_STREQ("en_US", GetLocaleNameFromLangID(id)) << id;
  }
  setenv("LANG", "ko", 1);
  EXPECT_EQ(2066U, GetLocalLanguageID());
  unsetenv("LANG");
  EXPECT_EQ(1033U, GetLocalLanguageID());
  EXPECT_EQ("en_US", osLocaleName());
}

TEST(Language, NoMemoryForTheCopy)
{
  const long blocks = liveBlocks();
  EXPECT_EQ(1U, failEach(Call::allocation, ENOMEM, [](unsigned nth) {
              char *name = GetOSLocaleName();
              EXPECT_EQ(nth == 1, name == nullptr);
              SMFreeMem(name);
            }));
  EXPECT_EQ(blocks, liveBlocks());
}

}  // namespace
