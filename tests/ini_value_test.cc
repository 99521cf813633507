// Typed values in INI files: the stored text and the value read back at the limits of each type, what a read answers
// with a default, the sizes that are taken, and the files of products.

#include <cmath>

#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr uint32_t kMostBytes = 1638;

template <class T>
std::string bytesOf(T value)
{
  return {reinterpret_cast<const char *>(&value), sizeof(value)};
}

class IniValue : public Scratch {
 protected:
  uint32_t write(int32_t type, const std::string &value)
  {
    return WriteINIPathFileValue("s", "k", type, value.data(), static_cast<uint32_t>(value.size()), file.c_str(), 1);
  }

  /// Status, size and the bytes of a buffer that ends at an unreadable page.
  std::string read(int32_t type, uint32_t size, const std::string &defaultValue = "")
  {
    GuardedBlock buffer(std::vector<uint8_t>(size, '?'));
    const uint32_t status =
        ReadINIPathFileValue("s", "k", type, buffer.data(), &size, defaultValue.empty() ? nullptr : defaultValue.data(),
                             static_cast<uint32_t>(defaultValue.size()), file.c_str(), 1);
    return answer(status, size, {reinterpret_cast<const char *>(buffer.data()), buffer.size()});
  }

  static std::string answer(uint32_t status, size_t size, const std::string &bytes)
  {
    return std::to_string(static_cast<int32_t>(status)) + " " + std::to_string(size) + " " + bytes;
  }

  void store(const std::string &text) const { put(file, "[s]\nk=" + text + "\n"); }

  std::string stored() const
  {
    const std::string content = get(file);
    return content.substr(6, content.size() - 7);
  }

  const std::string file = path("x.ini");
};

TEST_F(IniValue, TextsOfValuesAndBack)
{
  const struct {
    int32_t type;
    std::string value;
    std::string text;
  } rows[] = {{SM_INI_TYPE_ASTRING, " a=b \0"s, " a=b "},
              {SM_INI_TYPE_USTRING, utf16(u"A\0"s), "0x41,0x00,0x00,0x00"},
              {SM_INI_TYPE_USTRING, utf16(u"\u20AC\xD83D\0"s), "0xAC,0x20,0x3D,0xD8,0x00,0x00"},
              {SM_INI_TYPE_BINARY, "\x00\x0F\xF0\xFF"s, "0x00,0x0F,0xF0,0xFF"},
              {SM_INI_TYPE_BOOLN, bytesOf(SMBool{1}), "TRUE"},
              {SM_INI_TYPE_BOOLN, bytesOf(SMBool{0}), "FALSE"},
              {SM_INI_TYPE_U32, bytesOf(UINT32_MAX), "4294967295"},
              {SM_INI_TYPE_S32, bytesOf(INT32_MIN), "-2147483648"},
              {SM_INI_TYPE_U64, bytesOf(UINT64_MAX), "18446744073709551615"},
              {SM_INI_TYPE_S64, bytesOf(INT64_MIN), "-9223372036854775808"},
              {SM_INI_TYPE_D64, bytesOf(1.5), "1.50000000"},
              {SM_INI_TYPE_D64, bytesOf(double{INFINITY}), "inf"},
              {SM_INI_TYPE_D64, bytesOf(0x1p1023), ""}};
  for (const auto &row : rows) {
    EXPECT_EQ(write(row.type, row.value), 0u) << row.text;
    if (!row.text.empty()) {
      EXPECT_EQ(stored(), row.text);
    }
    EXPECT_EQ(read(row.type, static_cast<uint32_t>(row.value.size())), answer(0, row.value.size(), row.value));
    EXPECT_EQ(WriteINIPathFileValue("s", "k", row.type, nullptr, 0, file.c_str(), 1), 0u);
    EXPECT_EQ(get(file), "[s]\n") << "removed";
  }
  write(SM_INI_TYPE_BOOLN, bytesOf(SMBool{2}));
  EXPECT_EQ(stored(), "FALSE");
  write(SM_INI_TYPE_D64, bytesOf(0.1));
  EXPECT_EQ(stored(), "0.10000000");
  write(SM_INI_TYPE_D64, bytesOf(-0x1.FFFFFFFFFFFFFp1023));
  EXPECT_EQ(stored().size(), 1u + 309 + 9);
  const std::string most(kMostBytes, '\xA5');
  EXPECT_EQ(write(SM_INI_TYPE_BINARY, most), 0u);
  EXPECT_EQ(stored().size(), 8189u);
  EXPECT_EQ(read(SM_INI_TYPE_BINARY, kMostBytes), answer(0, kMostBytes, most));
}

TEST_F(IniValue, TextsThatOthersWrote)
{
  const auto u32 = [](uint32_t value) { return answer(0, 4, bytesOf(value)); };
  const struct {
    int32_t type;
    uint32_t size;
    std::string text;
    std::string result;
  } rows[] = {{SM_INI_TYPE_BINARY, 4, "", answer(0, 0, "????")},
              {SM_INI_TYPE_BINARY, 2, "0x00,0x0F,0xF0,0xFF", answer(kTooSmall, 4, "\x00\x0F"s)},
              {SM_INI_TYPE_BINARY, 4, ",,1,, \tfFx,+0X2,,", answer(0, 3, "\1\xFF\2?")},
              {SM_INI_TYPE_BINARY, 2, "1;2", answer(0, 1, "\1?")},
              {SM_INI_TYPE_BINARY, 4, "0xFFFFFFFF,-1,80000041,123456789", answer(0, 4, "\xFF\xFF\x41\xFF")},
              {SM_INI_TYPE_BINARY, 2, "01,0x100", answer(kBadSize, 0, "\1?")},
              {SM_INI_TYPE_USTRING, 3, "0x41,0x00,0x42", answer(0, 3, "A\0B"s)},
              {SM_INI_TYPE_BOOLN, 2, "  tRuE x", answer(0, 2, "\1\0"s)},
              {SM_INI_TYPE_BOOLN, 4, "False", answer(0, 4, "\0\0??"s)},
              {SM_INI_TYPE_BOOLN, 2, "TRUE\t", answer(kBadSize, 0, "??")},
              {SM_INI_TYPE_BOOLN, 2, "TRUES", answer(kBadSize, 0, "??")},
              {SM_INI_TYPE_BOOLN, 2, "1", answer(kBadSize, 0, "??")},
              {SM_INI_TYPE_U32, 4, " \t+12x", u32(12)},
              {SM_INI_TYPE_U32, 4, "-1", u32(UINT32_MAX)},
              {SM_INI_TYPE_U32, 4, "4294967296", u32(UINT32_MAX)},
              {SM_INI_TYPE_S32, 4, "2147483648", u32(0x7FFFFFFF)},
              {SM_INI_TYPE_S32, 4, "", u32(0)},
              {SM_INI_TYPE_S64, 9, "-5", answer(0, 9, bytesOf(int64_t{-5}) + "?")},
              {SM_INI_TYPE_U64, 8, "-5", answer(0, 8, bytesOf(uint64_t{0}))},
              {SM_INI_TYPE_D64, 8, " -1.5e3x", answer(0, 8, bytesOf(-1500.0))},
              {SM_INI_TYPE_D64, 8, std::string(8192, '0'), answer(0, 8, bytesOf(0.0))},
              {SM_INI_TYPE_D64, 8, std::string(8193, '0'), answer(kTooSmall, 0, "????????")}};
  for (const auto &row : rows) {
    store(row.text);
    EXPECT_EQ(read(row.type, row.size), row.result) << row.type << " " << row.text.substr(0, 60);
  }
}

TEST_F(IniValue, DefaultsStandInForEveryFailure)
{
  const std::string one = bytesOf(uint64_t{0x0102030405060708});
  const struct {
    int32_t type;
    uint32_t size;
    std::string defaultValue;
    uint32_t resultSize;
  } rows[] = {{SM_INI_TYPE_BINARY, 4, "abcdef", 4}, {SM_INI_TYPE_BINARY, 4, "ab", 2},
              {SM_INI_TYPE_BINARY, 4, "", 0},       {SM_INI_TYPE_USTRING, 3, "a\0\0\0"s, 3},
              {SM_INI_TYPE_BOOLN, 3, one, 2},       {SM_INI_TYPE_BOOLN, 2, "x", 0},
              {SM_INI_TYPE_U32, 4, one, 4},         {SM_INI_TYPE_S32, 5, "abc", 0},
              {SM_INI_TYPE_S64, 8, one, 8},         {SM_INI_TYPE_D64, 9, one.substr(0, 7), 0}};
  for (const auto &row : rows) {
    const auto result = [&](uint32_t status) {
      return answer(status, row.resultSize,
                    row.defaultValue.substr(0, row.resultSize) + std::string(row.size - row.resultSize, '?'));
    };
    EXPECT_EQ(read(row.type, row.size, row.defaultValue), result(kNoAccess)) << row.type;
    put(file, "[other]\n");
    EXPECT_EQ(read(row.type, row.size, row.defaultValue), result(kNoSection)) << row.type;
    {
      const Fault fault(Call::fcntl, 1, EIO);
      EXPECT_EQ(read(row.type, row.size, row.defaultValue), result(kLocked)) << row.type;
    }
    fs::remove(file);
  }
  store("0x1,0x1FF");
  EXPECT_EQ(read(SM_INI_TYPE_BINARY, 2, "xyz"), answer(kBadSize, 2, "xy"));
  store("yes");
  EXPECT_EQ(read(SM_INI_TYPE_BOOLN, 2, "xy"), answer(kBadSize, 2, "xy"));
  uint32_t size = 4;
  uint32_t value = 7;
  const Fault fault(Call::allocation, 1);
  EXPECT_EQ(ReadINIFileValue_u32("s", "k", &value, &size, &value, 4, file.c_str(), 1), kFailed);
  EXPECT_EQ(value, 7u) << "the default may be the buffer";
  EXPECT_EQ(size, 4u);
}

TEST_F(IniValue, SizesThatAreTaken)
{
  const std::string nothing = get(file);
  const std::string zeros(3000, '\0');
  const auto reading = [&](int32_t type, uint32_t size) {
    char buffer[16];
    const uint32_t given = size;
    const uint32_t status = ReadINIPathFileValue("s", "k", type, buffer, &size, nullptr, 0, file.c_str(), 1);
    EXPECT_TRUE(status != 2 || size == given) << "left as it was";
    return status;
  };
  const struct {
    int32_t type;
    uint32_t least, most;  // sizes that are written; the least one is also that of a read
  } rows[] = {{SM_INI_TYPE_BINARY, 1, kMostBytes}, {SM_INI_TYPE_BOOLN, 2, 3000}, {SM_INI_TYPE_U32, 4, 3000},
              {SM_INI_TYPE_S32, 4, 3000},          {SM_INI_TYPE_U64, 8, 3000},   {SM_INI_TYPE_S64, 8, 3000},
              {SM_INI_TYPE_D64, 8, 3000}};
  for (const auto &row : rows) {
    EXPECT_EQ(write(row.type, zeros.substr(0, row.least - 1)), kBadSize) << row.type;
    EXPECT_EQ(row.most < 3000 ? write(row.type, zeros.substr(0, row.most + 1)) : kBadSize, kBadSize) << row.type;
    EXPECT_EQ(WriteINIPathFileValue("s", "k", row.type, nullptr, row.least, file.c_str(), 1), kBadSize) << row.type;
    EXPECT_EQ(WriteINIPathFileValue("s", nullptr, row.type, nullptr, 1, file.c_str(), 1), kBadArgument) << row.type;
    EXPECT_EQ(reading(row.type, row.least - 1), kBadArgument) << row.type;
    EXPECT_EQ(get(file), nothing);
    EXPECT_EQ(write(row.type, zeros.substr(0, row.least)), 0u) << row.type;
    EXPECT_EQ(write(row.type, zeros.substr(0, row.most)), 0u) << row.type;
    EXPECT_EQ(reading(row.type, row.least) & ~16u, 0u) << row.type;
    fs::remove(file);
  }
  const std::u16string text(kMostBytes / 2 - 1, u'x');
  EXPECT_EQ(write(SM_INI_TYPE_USTRING, utf16(text + u"\0"s)), 0u);
  fs::remove(file);
  for (const std::string &wrong :
       {utf16(text + u"x\0"s), utf16(u"x"s), utf16(u"x\0x\0"s), "x\0\0"s, "x\0\0\0\0"s, ""s}) {
    EXPECT_EQ(write(SM_INI_TYPE_USTRING, wrong), kBadSize) << wrong.size();
    EXPECT_EQ(wrong.empty() ? answer(kBadArgument, 4, "????") : read(SM_INI_TYPE_USTRING, 4, wrong),
              wrong.size() > 8 ? answer(kNoAccess, 4, "x\0x\0"s) : answer(kBadArgument, 4, "????"));
  }
  EXPECT_EQ(get(file), nothing);
  for (const int32_t type : {INT32_MIN, -1, 0, 10, INT32_MAX}) {
    EXPECT_EQ(write(type, "x"), kBadArgument);
    EXPECT_EQ(read(type, 4), answer(kBadArgument, 4, "????"));
  }
}

using Product = Scratch;

TEST_F(Product, FilesLieInItsIniDirectory)
{
  const auto write = [](const char *name) {
    return SMWriteINIFileValue("s", "k", SM_INI_TYPE_S32, "\1\0\0", 4, name, 1);
  };
  const auto read = [](uint32_t product, const char *name) {
    int32_t value = -1;
    uint32_t size = sizeof(value);
    const uint32_t status =
        SMReadINIPIDFileValue("s", "k", SM_INI_TYPE_S32, &value, &size, nullptr, 0, product, name, 1);
    return std::to_string(static_cast<int32_t>(status)) + " " + std::to_string(value);
  };
  EXPECT_EQ(write("test.ini"), 0u);
  EXPECT_EQ(get("/etc/tallowmere/vela/ini/test.ini"), "[s]\nk=1\n");
  EXPECT_EQ(read(35, "test.ini"), "0 1");
  EXPECT_EQ(read(34, "test.ini"), "-1 -1") << "the directory of the product is missing";
  EXPECT_EQ(read(2, "test.ini"), "-1 -1") << "no such product";
  EXPECT_EQ(read(35, nullptr), "2 -1");
  int32_t value = 0;
  uint32_t size = 4;
  EXPECT_EQ(SMReadINIFileValue("s", "k", SM_INI_TYPE_S32, &value, &size, nullptr, 0, "test.ini", 1), 0u);
  EXPECT_EQ(SMReadINIFileValue("s", "k", 10, &value, &size, nullptr, 0, "test.ini", 1), kBadArgument);
  EXPECT_EQ(SMWriteINIPIDFileValue("s", "k", 10, &value, 4, 2, "test.ini", 1), kFailed) << "the product comes first";
  fs::remove_all("/etc/tallowmere/vela/ini");

  // 20 bytes of the directory, "/ini/", and a name that is made of components: 255 bytes are taken.
  const std::string longest = std::string(221, 'n') + "/x.ini.xy";
  ASSERT_EQ(longest.size(), 230u);
  EXPECT_EQ(write(longest.c_str()), kFailed) << "the directory below does not exist";
  EXPECT_EQ(write((longest + "z").c_str()), kBadArgument);
  EXPECT_FALSE(fs::exists("/etc/tallowmere/vela/ini"));
}

}  // namespace
