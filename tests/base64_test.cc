// Base64: known texts, the rules for text that is none, long inputs, which are coded in blocks, and a text that its own
// bytes replace.

#include "support/test.h"

namespace {

using namespace support;
using Bytes = std::vector<uint8_t>;

constexpr char kStandard[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kReversed[] = "/+9876543210zyxwvutsrqponmlkjihgfedcbaZYXWVUTSRQPONMLKJIHGFEDCBA";

Bytes bytesOf(const std::string &text)
{
  return {text.begin(), text.end()};
}

/// The text with its NUL.
std::string encoded(const Bytes &bytes, const char *alphabet = nullptr)
{
  const auto count = static_cast<int32_t>(bytes.size());
  GuardedBlock in(bytes);
  GuardedBlock out(SM_BASE64_TEXT_SIZE(count));
  auto *text = reinterpret_cast<char *>(out.data());
  EXPECT_EQ(encode64(text, in.data(), count, alphabet), 0U);
  return {text, out.size()};
}

/// The bytes with their NUL. What is behind it has to be as it was.
Bytes decoded(const std::string &text)
{
  const auto count = static_cast<int32_t>(text.size());
  GuardedBlock in(bytesOf(text));
  GuardedBlock out(Bytes(SM_BASE64_BYTES_SIZE(count), 0xAA));
  EXPECT_EQ(decode64(out.data(), reinterpret_cast<char *>(in.data()), count), 0U);
  Bytes bytes = out.bytes();
  while (!bytes.empty() && bytes.back() == 0xAA) {
    bytes.pop_back();
  }
  return bytes;
}

Bytes withNul(Bytes bytes)
{
  bytes.push_back(0);
  return bytes;
}

Bytes randomBytes(std::mt19937 &random, size_t size)
{
  Bytes bytes(size);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
  return bytes;
}

std::string randomText(std::mt19937 &random, size_t size)
{
  std::string text(size, '\0');
  std::generate(text.begin(), text.end(), [&] { return kStandard[random() % 64]; });
  return text;
}

TEST(Base64, KnownTexts)
{
  const std::pair<const char *, const char *> rows[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\xFB\xEF\xBE\xFF\xFF", "++++//8="},
  };
  for (const auto &[bytes, text] : rows) {
    EXPECT_EQ(encoded(bytesOf(bytes)), std::string(text) + '\0');
    EXPECT_EQ(decoded(text), withNul(bytesOf(bytes)));
  }
  EXPECT_EQ(encoded(Bytes(3000)).size(), 4001U);

  char text[] = "?";
  EXPECT_EQ(encode64(text, nullptr, -1, nullptr), SM_STATUS_SUCCESS);
  EXPECT_EQ(text[0], 0);
  uint8_t bytes[] = {'?'};
  EXPECT_EQ(decode64(bytes, "AAAA", INT32_MIN), 0U);
  EXPECT_EQ(bytes[0], 0);

  char group[5];
  EXPECT_EQ(SMBase64Encode(group, bytesOf("foo").data(), 3, nullptr), 0U);
  EXPECT_STREQ(group, "Zm9v");
  EXPECT_EQ(SMBase64Decode(reinterpret_cast<uint8_t *>(group), group, 4), 0U);
  EXPECT_STREQ(group, "foo");
}

TEST(Base64, TextThatIsNone)
{
  const std::pair<std::string, std::string> rows[] = {
      {"Zm9", ""},
      {"Zm9vYmF", "foo"},
      {"=m9v", ""},
      {"Z=9v", ""},
      {"==9vZm9v", "foo"},
      {"Zm=v", "f"},
      {"Zm=!", "f"},
      {"Zm9=", "fo"},
      {"Zg==Zm8=Zm9v", "ffofoo"},
      {"AAA!", std::string("\0\0\xFF", 3)},
      {"AA!A", std::string("\0\xFF\xC0", 3)},
      {"A!AA", std::string("\xFF\xF0\0", 3)},
      {"!AAA", std::string("\xFC\0\0", 3)},
      {"//!/", "\xFF\xFF\xFF"},
      {"A!A=", "\xFF\xF0"},
      {"!A==", "\xFC"},
      {"AA\x80/", std::string("\0\xFF\xFF", 3)},
      {"A\xFF==", "\xFF"},
      {std::string("AA\0A", 4), std::string("\0\xFF\xC0", 3)},
      {"Zm9\nvYmF", std::string("fo\xFF\xBD\x89\x85", 6)},
  };
  for (const auto &[text, bytes] : rows) {
    EXPECT_EQ(decoded(text), withNul(bytesOf(bytes))) << text;
  }
}

TEST(Base64, EveryLengthComesBack)
{
  std::mt19937 random(1);
  for (size_t size = 0; size < 100; ++size) {
    const Bytes bytes = randomBytes(random, size);
    std::string text = encoded(bytes);
    ASSERT_EQ(decoded(text), withNul(bytes)) << size;
    for (char &character : text) {
      const auto *const place = std::find(kStandard, kStandard + 64, character);
      character = place == kStandard + 64 ? character : kReversed[place - kStandard];
    }
    ASSERT_EQ(encoded(bytes, kReversed), text) << size;
  }
}

TEST(Base64, DecodesOverItsText)
{
  std::mt19937 random(3);
  for (int round = 0; round < 500; ++round) {
    std::string text = randomText(random, random() % 200);
    for (size_t i = random() % 20; i < text.size(); i += 1 + random() % 20) {
      text[i] = random() % 2 == 0 ? '=' : '\n';
    }
    const Bytes expected = decoded(text);
    Bytes both = withNul(bytesOf(text));
    decode64(both.data(), reinterpret_cast<char *>(both.data()), static_cast<int32_t>(text.size()));
    both.resize(expected.size());
    ASSERT_EQ(both, expected) << round;
  }
}

}  // namespace
