// MD5: the test suite of RFC 1321 and lengths around a block, in several cuts, and the exported parts.

#include <cmath>

#include "support/test.h"

namespace {

using namespace support;

std::string hex(const uint8_t (&digest)[16])
{
  std::string text;
  for (const uint8_t byte : digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[byte / 16];
    text += kDigits[byte % 16];
  }
  return text;
}

uint64_t bitCount(const RFC1321Context &context)
{
  return uint64_t{context.bitCount[1]} << 32 | context.bitCount[0];
}

/// The digest of a message that is added in runs of a size.
std::string digest(const std::string &message, size_t run)
{
  RFC1321Context context;
  memset(&context, 0xA5, sizeof(context));
  SMRFC1321Load(&context);
  GuardedBlock bytes(std::vector<uint8_t>(message.begin(), message.end()));
  for (size_t at = 0; at < message.size(); at += run) {
    SMRFC1321AddMsg(&context, bytes.data() + at, static_cast<uint32_t>(std::min(run, message.size() - at)));
    SMRFC1321AddMsg(&context, nullptr, 0);
  }
  EXPECT_EQ(bitCount(context), 8 * message.size());
  SMRFC1321ComputeMsgDigest(&context);
  return hex(context.digest);
}

TEST(Md5Test, PublishedDigests)
{
  const std::pair<std::string, const char *> rows[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
      {std::string(55, 'x'), "04364420e25c512fd958a70738aa8f72"},
      {std::string(56, 'x'), "668a72d5ba17f08e62dabcafad6db14b"},
      {std::string(63, 'x'), "7dc2ca208106a2f703567bdff99d8981"},
      {std::string(64, 'x'), "c1bb4f81d892b2d57947682aeb252456"},
      {std::string(200, 'x'), "30a83621ce5422fbdfdd539777458c78"},
  };
  for (const auto &[message, expected] : rows) {
    for (const size_t run : {1U, 7U, 63U, 64U, 65U, 1000U}) {
      EXPECT_EQ(digest(message, run), expected) << message << " in runs of " << run;
    }
  }
}

TEST(Md5Test, RecordIsLoadedAndWiped)
{
  RFC1321Context context;
  memset(&context, 0xA5, sizeof(context));
  RFC1321Load(&context);
  EXPECT_EQ(bitCount(context), 0U);
  EXPECT_EQ(context.bufferedCount, 0u);
  EXPECT_EQ(context.state[0], 0x67452301u);
  EXPECT_EQ(context.state[3], 0x10325476u);
  EXPECT_EQ(hex(context.digest), std::string(32, '0'));
  EXPECT_EQ(context.buffer[0], 0xA5) << "the block buffer is left";
  EXPECT_EQ(SMRFC1321UnLoad(&context), &context);
  const auto *bytes = reinterpret_cast<const uint8_t *>(&context);
  EXPECT_TRUE(std::all_of(bytes, bytes + sizeof(context), [](uint8_t byte) { return byte == 0; }));
}

TEST(Md5Test, BitCountPassesFourGigabytes)
{
  const std::vector<uint8_t> zeros(1 << 20);
  RFC1321Context context;
  RFC1321Load(&context);
  context.bitCount[0] = 0xFFFFFFF8;
  RFC1321AddMsg(&context, zeros.data(), 2);
  EXPECT_EQ(bitCount(context), 0x100000008U);
}

TEST(Md5Test, StepsMakeTheTransform)
{
  uint8_t block[65];
  for (size_t i = 0; i < sizeof(block); ++i) {
    block[i] = static_cast<uint8_t>(i * 29 + 3);
  }
  const uint8_t *message = block + 1;  // not aligned
  RFC1321Context context;
  RFC1321Load(&context);
  uint32_t state[4];
  std::copy_n(context.state, 4, state);
  RFC1321Transform(&context, message);

  using Step = decltype(RFC1321Step4Round1) *;
  const Step rounds[4] = {RFC1321Step4Round1, RFC1321Step4Round2, RFC1321Step4Round3, RFC1321Step4Round4};
  const uint32_t first[4] = {0, 1, 5, 0};
  const uint32_t stride[4] = {1, 5, 3, 7};
  const uint32_t shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  uint32_t word[4];
  std::copy_n(state, 4, word);
  for (uint32_t i = 0; i < 64; ++i) {
    const uint32_t round = i / 16;
    const uint32_t turn = (4 - i % 4) % 4;  // the state words move on by one each step
    rounds[round](&word[turn], &word[(turn + 1) % 4], &word[(turn + 2) % 4], &word[(turn + 3) % 4], message,
                  (first[round] + stride[round] * (i % 16)) % 16, shifts[round][i % 4], i + 1);
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(context.state[i], state[i] + word[i]);
  }
  for (uint32_t i = 1; i <= 64; ++i) {
    EXPECT_EQ(RFC1321Step4T(i), static_cast<uint32_t>(4294967296.0 * std::fabs(std::sin(static_cast<double>(i)))));
  }
  EXPECT_EQ(RFC1321Step4T(0), 0u);
  EXPECT_EQ(RFC1321Step4T(65), 0u);
  EXPECT_EQ(RFC1321Step4RotateLeft(0x80000001, 1), 0x00000003u);
  EXPECT_EQ(RFC1321Step4RotateLeft(0x80000001, 32), 0x80000001u);
}

}  // namespace
