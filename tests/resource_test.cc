// String resources: what the line reader cuts, which entry a lookup takes from which file and how it is delivered, what
// stands in a string's place when the lookup cannot start, and the most specific path.

#include "support/test.h"

namespace {

using namespace support;

constexpr char kFile[] = "/etc/strings.dat";
constexpr char kMark[] = "\xFF\xFE";

void writeFile(const std::string &bytes)
{
  std::ofstream(kFile, std::ios::binary) << bytes;
}

/// All lines of a file by a room of so many units, each with a bar behind it; at the end where the file then stands.
std::string linesOf(const std::string &bytes, uint32_t capacity)
{
  writeFile(bytes);
  FILE *file = fopen(kFile, "rb");
  GuardedBlock block(capacity * sizeof(SMChar16));
  auto *line = reinterpret_cast<SMChar16 *>(block.data());
  std::string text;
  while (qv_fgetws(line, capacity, file) == line) {
    text += latin1(line) + "|";
  }
  text += std::to_string(ftell(file));
  fclose(file);
  return text;
}

TEST(LineReader, CutsWhatIsTooLongOrHasNoEnd)
{
  const std::tuple<std::string, uint32_t, const char *> rows[] = {
      {utf16("ab\r\nc\r\n\r\n"), 100, "ab\r\n|c\r\n|\r\n|18"},
      {utf16("ab\r\nc\r\n"), 4, "ab\r|\nc\r|14"},  // the line feed that finds no room, twice; what is left is one unit
      {utf16("abcdef\r\ng\r\n"), 4, "abc|def|\r\n|g\r\n|22"},
      {utf16("a\rb\nc\n\r\r\nd"), 100, "a\rb\nc\n\r\r\n|20"},
      {utf16("abc") + "d", 100, "ab|7"},
      {utf16("ab\r\nc"), 100, "ab\r\n|10"},
      {utf16("a\0b\r\nc\r\n"s), 100, "a|c\r\n|16"},
      {utf16("ab\r\n"), 2, "a|b|\r|8"},
      {utf16("ab"), 1, "2"},
      {utf16("ab"), 0, "0"},
      {"", 100, "0"},
      {"a", 100, "0"},
  };
  for (const auto &[bytes, capacity, lines] : rows) {
    EXPECT_EQ(linesOf(bytes, capacity), lines) << lines << " by " << capacity;
  }
}

TEST(LineReader, NeedsAFileThatStandsSomewhere)
{
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "a\0\r\0\n\0", 6), 6);
  FILE *file = fdopen(ends[0], "rb");
  SMChar16 line[10];
  EXPECT_EQ(qv_fgetws(line, 10, file), nullptr);
  fclose(file);
  close(ends[1]);
}

constexpr uint32_t kNone = 0xFFFFFFFF;

/// What a lookup in the file delivers, in quotes, and what becomes of the language; kNone asks without one.
std::string lookUp(uint32_t stringID, uint32_t language = kNone)
{
  SMChar16 buffer[2048];
  buffer[0] = 'x';
  uint32_t size = sizeof(buffer);
  uint32_t after = language;
  const uint32_t result =
      GetUCS2StrFromIDPathFile(stringID, language == kNone ? nullptr : &after, kFile, buffer, &size);
  EXPECT_EQ(result, size);
  std::string text = "nothing";
  if (result != 0) {
    text = "'" + latin1(buffer) + "'";
    EXPECT_EQ(result, 2 * (text.size() - 1));
  } else {
    EXPECT_EQ(buffer[0], 'x');
  }
  return language == kNone ? text : text + " " + std::to_string(after);
}

TEST(Lookup, TakesTheLanguageOrTheDefault)
{
  writeFile(kMark + utf16("; comment\r\n\r\n0:1F4=Hello\r\n407:1F4=Hallo\r\n407:5=nur deutsch\r\n407:1F4=zweite\r\n"
                          "0:1F4=second\r\n1B5:1F4=437\r\n409:1F4=1033\r\n40C:6=fran\xE7"
                          "ais\r\n0:6=a=b\r\n0:7=\r\n0:ABCDEF01=hex\r\n"));
  EXPECT_EQ(lookUp(500, 1031), "'Hallo' 1031");
  EXPECT_EQ(lookUp(500, 1033), "'Hello' 0");
  EXPECT_EQ(lookUp(500, 437), "'Hello' 0");
  EXPECT_EQ(lookUp(500, 0), "'Hello' 0");
  EXPECT_EQ(lookUp(500, 1036), "'Hello' 0");
  EXPECT_EQ(lookUp(500), "'Hello'");
  EXPECT_EQ(lookUp(5, 1031), "'nur deutsch' 1031");
  EXPECT_EQ(lookUp(5, 1036), "nothing 0");
  EXPECT_EQ(lookUp(5), "nothing");
  EXPECT_EQ(lookUp(6, 1036),
            "'fran\xE7"
            "ais' 1036");
  EXPECT_EQ(lookUp(6, 1031), "'b' 0") << "behind the last =";
  EXPECT_EQ(lookUp(7), "''");
  EXPECT_EQ(lookUp(0xABCDEF01), "'hex'");
  EXPECT_EQ(lookUp(8, 1033), "nothing 0");
}

TEST(Lookup, TakesTheFirstLineThatHoldsTheKey)
{
  const std::string longText(1017, 'x');  // with "0:9=" and its end a line of 1023 units
  const struct {
    const char *what;
    std::string text;
    const char *found;  // string 5, without a language
  } rows[] = {
      {"the end of another key", "410:5=other\r\n0:5=own\r\n", "'other'"},
      {"key inside a text", "0:1=see 0:5=here\r\n0:5=own\r\n", "'here'"},
      {"longer number", "0:55=other\r\n0:15=other\r\n0:5=own\r\n", "'own'"},
      {"almost keys", ":5=0;5=0:5 =0:50::5==\r\n0:5=own\r\n", "'own'"},
      {"cut at a line feed", "0:5=own\nother\r\n", "'own'"},
      {"cut at a carriage return", "0:5=own\rother\r\n", "'own'"},
      {"line feeds only", "0:1=one\n0:5=five\n", "'one'"},
      {"cut in front of every =", "comment\n0:5=own\r\n0:5=second\r\n", "nothing"},
      {"key behind a unit 0", "0:1=\0 0:5=other\r\n0:5=own\r\n"s, "'own'"},
      {"unit 0 in the text", "0:5=ow\0n\r\n"s, "'ow'"},
      {"last line without an end", "0:5=own", "'ow'"},
      {"only the = to lose", "0:5=", "nothing"},
      {"longest line", "0:9=" + longText + "\r\n0:5=own\r\n", "'own'"},
      {"line feed without room", "0:9=" + longText + "x\r\n0:5=own\r\n", "nothing"},
      {"line end in the second piece", "0:9=" + longText + "xx\r\n0:5=own\r\n", "'own'"},
      {"last key of the first piece", longText + "x" + "x0:5=own\r\n", "''"},
      {"key across two pieces", longText + "xx" + "x0:5=own\r\n0:5=second\r\n", "'second'"},
      {"first key of the second piece", longText + "xxxxxx" + "0:5=own\r\n", "'own'"},
      {"language cut off from its key", longText + "xxxxx0" + ":5=own\r\n", "nothing"},
      {"line of 5000 units", std::string(5000, ':') + "0:5=own\r\n", "'own'"},
  };
  for (const auto &row : rows) {
    writeFile(kMark + utf16(row.text));
    EXPECT_EQ(lookUp(5), row.found) << row.what;
    writeFile(kMark + utf16(row.text) + "\r");
    EXPECT_EQ(lookUp(5), row.found) << row.what << ", and half a unit";
  }
}

TEST(Lookup, FindsEveryLineOfALongFile)
{
  std::string text;
  for (uint32_t i = 1; i <= 5000; ++i) {
    char key[32];
    snprintf(key, sizeof(key), "%X:%X=", i % 3 == 0 ? 0x407u : 0u, i);
    text += key + std::string(i % 61, 'x') + std::to_string(i) + "\r\n";
  }
  writeFile(kMark + utf16(text));
  for (uint32_t i = 1; i <= 5000; i += i < 900 || i > 4900 ? 1 : 37) {
    const std::string value = "'" + std::string(i % 61, 'x') + std::to_string(i) + "'";
    ASSERT_EQ(lookUp(i, 1031), value + (i % 3 == 0 ? " 1031" : " 0"));
  }
  // A piece that begins with the common part of a key, after the language in the piece before it.
  writeFile(kMark + utf16(std::string(1020, 'x') + "407:5=nur deutsch\r\n"));
  EXPECT_EQ(lookUp(5, 1031), "nothing 0");
  writeFile(kMark + utf16(text));
  const Fault reads(Call::read, 3, EIO, true);
  EXPECT_EQ(lookUp(5000), "nothing") << "what cannot be read is not there";
}

TEST(Lookup, DeliversIntoWhatRoomThereIs)
{
  writeFile(kMark + utf16("0:5=text\r\n"));
  GuardedBlock block(10);
  auto *buffer = reinterpret_cast<SMChar16 *>(block.data());
  for (const auto &[room, given] : {std::pair(10u, 10u), {9u, 0u}, {0u, 0u}}) {
    uint32_t size = room;
    EXPECT_EQ(GetUCS2StrFromIDPathFile(5, nullptr, kFile, buffer, &size), given);
    EXPECT_EQ(size, given);
    EXPECT_EQ(latin1(buffer), "text");
  }
  uint32_t size = 10;
  EXPECT_EQ(GetUCS2StrFromIDPathFile(5, nullptr, kFile, nullptr, &size), 0u);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(GetUCS2StrFromIDPathFile(5, nullptr, kFile, buffer, nullptr), 0u);
  EXPECT_EQ(GetUCS2StrFromIDPathFile(5, nullptr, kFile, nullptr, nullptr), 10u);
}

TEST(Delivery, WithAndWithoutBufferAndSize)
{
  GuardedBlock block(6);
  auto *buffer = reinterpret_cast<SMChar16 *>(block.data());
  const auto deliver = [&](const SMChar16 *text, SMChar16 *to, uint32_t size) {
    buffer[0] = 'x';
    const uint32_t result = SetUnicodeStringToDestination(text, to, &size);
    return std::to_string(result) + " " + std::to_string(size) + " " + static_cast<char>(buffer[0]);
  };
  EXPECT_EQ(deliver(u"ab", buffer, 6), "6 6 a");
  EXPECT_EQ(deliver(u"ab", buffer, 4000), "6 6 a");
  EXPECT_EQ(deliver(u"ab", buffer, 5), "0 6 x");
  EXPECT_EQ(deliver(u"ab", nullptr, 6), "0 6 x");
  EXPECT_EQ(deliver(nullptr, buffer, 6), "0 0 x");
  EXPECT_EQ(SetUnicodeStringToDestination(u"ab", buffer, nullptr), 0u);
  EXPECT_EQ(SetUnicodeStringToDestination(u"ab", nullptr, nullptr), 6u);
  EXPECT_EQ(SetUnicodeStringToDestination(nullptr, nullptr, nullptr), 0u);
}

TEST(Lookup, SaysWhyItCannotStart)
{
  constexpr char kInvalid[] = "'Invalid string resource found' 1033";
  for (const std::string &start : {""s, "\xFF"s, "\xFE\xFF"s + utf16("0:5=x\r\n"), utf16("0:5=x\r\n")}) {
    writeFile(start);
    EXPECT_EQ(lookUp(5, 1033), kInvalid) << "the language stays, too";
  }
  fs::remove(kFile);
  EXPECT_EQ(lookUp(5, 1033), "'String resource not found' 1033");
  fs::create_directory(kFile);
  EXPECT_EQ(lookUp(5, 1033), kInvalid);
  fs::remove(kFile);
  ASSERT_EQ(mkfifo(kFile, 0600), 0);
  EXPECT_EQ(lookUp(5, 1033), kInvalid) << "and nobody waits for a writer";
  fs::remove(kFile);
  writeFile(kMark + utf16("0:5=x\r\n"));
  {
    const Fault fault(Call::fcntl, 1, EIO);
    EXPECT_EQ(lookUp(5, 1033), "'String resource locked' 1033");
  }
  {
    const Fault fault(Call::read, 1, EIO);
    EXPECT_EQ(lookUp(5, 1033), kInvalid);
  }
  {
    const Fault fault(Call::read, 1, EINTR);
    EXPECT_EQ(lookUp(5, 1033), "'x' 0");
  }
  SMChar16 buffer[64];
  uint32_t size = sizeof(buffer);
  EXPECT_EQ(GetUCS2StrFromIDPathFile(5, nullptr, nullptr, buffer, &size), 46u);
  EXPECT_EQ(latin1(buffer), "Invalid Path File Name");

  const long blocks = liveBlocks();
  const unsigned struck = failEach(Call::allocation, ENOMEM, [&](unsigned nth) {
    size = sizeof(buffer);
    const uint32_t result = GetUCS2StrFromIDPathFile(5, nullptr, kFile, buffer, &size);
    EXPECT_EQ(result, nth == 1 ? 0u : nth == 2 ? 52u : 4u);
    EXPECT_EQ(size, result);
  });
  EXPECT_EQ(struck, 2u);
  EXPECT_EQ(blocks, liveBlocks());
}

TEST(Lookup, HoldsTheLockWhileItReadsAndNoLonger)
{
  writeFile(kMark + utf16("0:5=x\r\n"));
  std::string locks;
  {
    const Fault watcher(Call::read, 1, [&] { locks = recordLocks(getpid()); });
    EXPECT_EQ(lookUp(5), "'x'");
  }
  EXPECT_EQ(locks, "WRITE 120000 120000\n");
  EXPECT_EQ(recordLocks(getpid()), "");
}

/// Installs a resource file and settings for the product, and forgets what was read before.
void install(const std::string &strings, const char *settings)
{
  fs::create_directories("/etc/tallowmere/vela/ini");
  std::ofstream("/etc/tallowmere/vela/ini/qvunidat.txt", std::ios::binary) << kMark << utf16(strings);
  std::ofstream("/etc/tallowmere/vela/ini/qvprv32.ini") << settings;
  oemBase = 0;
  oemOffset = 0;
}

std::string byID(uint32_t stringID, uint32_t language = 0)
{
  SMChar16 buffer[100] = {};
  uint32_t size = sizeof(buffer);
  const uint32_t result = SMGetUCS2StrFromID(stringID, &language, buffer, &size);
  EXPECT_EQ(result, size);
  return latin1(buffer);
}

TEST(ByID, MovesTheRangeOfTheMaker)
{
  const char *strings =
      "0:8FF=2303\r\n0:900=2304\r\n0:906=2310\r\n0:920=2336\r\n0:921=2337\r\n0:922=2338\r\n"
      "0:964=2404\r\n0:96A=2410\r\n0:984=2436\r\n0:985=2437\r\n407:96A=zwei\r\n";
  install(strings, "");
  EXPECT_EQ(byID(2310), "2310");
  EXPECT_EQ(std::to_string(oemBase) + " " + std::to_string(oemRange) + " " + std::to_string(oemOffset), "2304 32 0");
  install(strings, "[OEM Configuration]\noffset=100\n");
  EXPECT_EQ(byID(2303) + byID(2304) + byID(2310) + byID(2336) + byID(2337), "23032404241024362337");
  EXPECT_EQ(byID(2310, 1031), "zwei");
  install(strings, "[OEM Configuration]\nBaseID=2305\noffset=100\noemRange=32\n");
  EXPECT_EQ(byID(2304) + byID(2337) + byID(2338), "230424372338");
  EXPECT_EQ(oemBase, 2305u);
  fs::remove("/etc/tallowmere/vela/ini/qvprv32.ini");
  EXPECT_EQ(byID(2310), "2410") << "read once";
  oemBase = 0;
  EXPECT_EQ(byID(2310), "2410") << "an offset stays where there is none to read";
  EXPECT_EQ(oemBase, 2304u);
}

TEST(ByID, DeliversAsTheLookupDoes)
{
  install("0:5=five\r\n", "");
  SMChar16 buffer[5];
  uint32_t size = sizeof(buffer);
  EXPECT_EQ(GetUCS2StrFromID(5, nullptr, nullptr, nullptr), 10u);
  EXPECT_EQ(GetUCS2StrFromID(5, nullptr, buffer, &size), 10u);
  EXPECT_EQ(latin1(buffer), "five");
  fs::remove("/etc/tallowmere/vela/ini/qvunidat.txt");
  EXPECT_EQ(byID(5), "String resource not found");
  fs::rename("/etc/tallowmere/vela", "/etc/tallowmere/aside");
  size = 9;
  EXPECT_EQ(GetUCS2StrFromID(5, nullptr, buffer, &size), 0u);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(GetUCS2StrFromID(5, nullptr, buffer, nullptr), 0u);
  fs::rename("/etc/tallowmere/aside", "/etc/tallowmere/vela");
}

TEST(ByID, FindsTheSamples)
{
  const fs::path samples = QVSUPT32_SHARE "/ini";
  fs::create_directories("/etc/tallowmere/vela/ini");
  fs::copy(samples, "/etc/tallowmere/vela/ini", fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  oemBase = 0;
  EXPECT_EQ(byID(768), "VELA event");
  EXPECT_EQ(byID(768, 1031), "VELA-Ereignis");
  EXPECT_EQ(byID(2003, 1031),
            "Ein Block wurde zur\xFC"
            "ckgewiesen: Er ist fehlerhaft oder nicht lesbar");
  EXPECT_EQ(byID(2304), "VELA systems management");
  oemOffset = 100;
  EXPECT_EQ(byID(2304), "Example Computers systems management");
}

/// The path that is found, or "none".
std::string pathOf(const char *base, const char *product, const char *locale, const char *sub, const char *file)
{
  char *path = GetLocalizedPathFileName(base, product, locale, sub, file);
  const std::string text = path == nullptr ? "none" : path;
  SMFreeMem(path);
  return text;
}

TEST(LocalizedPath, TakesTheMostSpecificThatExists)
{
  fs::create_directory("/etc/tree");
  fs::current_path("/etc/tree");
  const auto make = [](const fs::path &path) {
    fs::create_directories(path.parent_path());
    std::ofstream(path).put('x');
  };
  EXPECT_EQ(pathOf(nullptr, "app", "zh_TW", "help", "a.txt"), "none");
  make("app/help/a.txt");
  EXPECT_EQ(pathOf(nullptr, "app", "zh_TW", "help", "a.txt"), "./app/help/a.txt");
  make("app/zh/help/a.txt");
  EXPECT_EQ(pathOf(".", "app", "zh_TW", "help", "a.txt"), "./app/zh/help/a.txt");
  EXPECT_EQ(pathOf(".", "app", "zh", "help", "a.txt"), "./app/zh/help/a.txt");
  EXPECT_EQ(pathOf(".", "app", "de_DE", "help", "a.txt"), "./app/help/a.txt");
  make("app/zh/TW/help/a.txt");
  EXPECT_EQ(pathOf("/etc/tree", "app", "zh_TW", "help", "a.txt"), "/etc/tree/app/zh/TW/help/a.txt");
  EXPECT_EQ(pathOf(".", "app", "zh_TW", nullptr, "help"), "./app/zh/TW//help");
  setenv("LANG", "zh_TW", 1);
  EXPECT_EQ(pathOf(nullptr, "app", nullptr, "help", "a.txt"), "./app/zh/TW/help/a.txt");
  unsetenv("LANG");
  EXPECT_EQ(pathOf(nullptr, "app", nullptr, "help", "a.txt"), "./app/help/a.txt");

  EXPECT_EQ(pathOf(".", nullptr, "zh", "help", "a.txt"), "none");
  EXPECT_EQ(pathOf(".", "app", "zh", "help", nullptr), "none");
  EXPECT_EQ(pathOf(".", "app", "12345678", "help", "a.txt"), "./app/help/a.txt");
  EXPECT_EQ(pathOf(".", "app", "123456789", "help", "a.txt"), "none");

  // With 255 characters the path without a locale fits, and those with one do not.
  const std::string longName(255 - strlen("./app/sub/"), 'n');
  make("app/sub/" + longName);
  make("app/sub/" + longName + "n");
  make("app/zh/sub/" + longName);
  EXPECT_EQ(pathOf(".", "app", "zh", "sub", longName.c_str()), "./app/sub/" + longName);
  EXPECT_EQ(pathOf(".", "app", "zh", "sub", (longName + "n").c_str()), "none");

  const long blocks = liveBlocks();
  EXPECT_EQ(failEach(Call::allocation, ENOMEM,
                     [](unsigned nth) {
                       char *path = GetLocalizedPathFileName(".", "app", "zh", "help", "a.txt");
                       EXPECT_EQ(path == nullptr, nth == 1);
                       SMFreeMem(path);
                     }),
            1u);
  EXPECT_EQ(pathOf(".", "app", "zh", "help", "none.txt"), "none");
  EXPECT_EQ(blocks, liveBlocks());
  fs::current_path("/");
}

}  // namespace
