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
    EXPECT_EQ(GetLangIDFromLocaleName(name, &notFound), id) << name;
    EXPECT_EQ(notFound, 0U) << name;
    EXPECT_STREQ(GetLocaleNameFromLangID(id), name);
    setenv("LANG", name, 1);
    EXPECT_EQ(GetLocalLanguageID(), id);
    EXPECT_EQ(SMGetLocalLanguageID(), id);
    EXPECT_EQ(osLocaleName(), name);
  }
}

TEST(Language, EverythingElseIsTheDefault)
{
  for (const char *name : {"", "C", "xx", "de_DE", "en_US.UTF-8", "EN_US", "z", "zh_", "zh_TWx"}) {
    uint32_t notFound = kUntouched;
    EXPECT_EQ(GetLangIDFromLocaleName(name, &notFound), 1033U) << name;
    EXPECT_EQ(notFound, 0xFFFFFFFFU) << name;
    setenv("LANG", name, 1);
    EXPECT_EQ(GetLocalLanguageID(), 1033U) << name;
    EXPECT_EQ(osLocaleName(), "en_US") << name;
  }
  for (const uint32_t id : {0U, 4U, 1042U, 0x10409U, 0xFFFFFFFFU}) {
    EXPECT_STREQ(GetLocaleNameFromLangID(id), "en_US") << id;
  }
  setenv("LANG", "ko", 1);
  EXPECT_EQ(GetLocalLanguageID(), 2066U);
  unsetenv("LANG");
  EXPECT_EQ(GetLocalLanguageID(), 1033U);
  EXPECT_EQ(osLocaleName(), "en_US");
}

TEST(Language, NoMemoryForTheCopy)
{
  const long blocks = liveBlocks();
  EXPECT_EQ(failEach(Call::allocation, ENOMEM,
                     [](unsigned nth) {
                       char *name = GetOSLocaleName();
                       EXPECT_EQ(nth == 1, name == nullptr);
                       SMFreeMem(name);
                     }),
            1U);
  EXPECT_EQ(liveBlocks(), blocks);
}

}  // namespace
