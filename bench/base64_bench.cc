// Base64 beside the loops that a program writes for itself: a table of characters, one of values, one group after the
// other. The limit copies the text.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

#include "qvsupt32.h"
#include "text_rows.h"

namespace bench {
namespace {

constexpr std::string_view kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr auto kValues = [] {
  std::array<uint8_t, 256> values{};
  for (size_t i = 0; i < kCharacters.size(); ++i) {
    values[static_cast<uint8_t>(kCharacters[i])] = static_cast<uint8_t>(i);
  }
  return values;
}();

void encodeByTable(char *text, const uint8_t *bytes, size_t count)
{
  size_t i = 0;
  for (; i + 3 <= count; i += 3) {
    const uint32_t bits = uint32_t{bytes[i]} << 16 | uint32_t{bytes[i + 1]} << 8 | bytes[i + 2];
    *text++ = kCharacters[bits >> 18];
    *text++ = kCharacters[bits >> 12 & 63];
    *text++ = kCharacters[bits >> 6 & 63];
    *text++ = kCharacters[bits & 63];
  }
  if (i < count) {
    const bool two = i + 2 == count;
    const uint32_t bits = uint32_t{bytes[i]} << 16 | (two ? uint32_t{bytes[i + 1]} << 8 : 0);
    *text++ = kCharacters[bits >> 18];
    *text++ = kCharacters[bits >> 12 & 63];
    *text++ = two ? kCharacters[bits >> 6 & 63] : '=';
    *text++ = '=';
  }
  *text = '\0';
}

void decodeByTable(uint8_t *bytes, const char *text, size_t count)
{
  const auto value = [text](size_t i) { return uint32_t{kValues[static_cast<uint8_t>(text[i])]}; };
  for (size_t i = 0; i + 4 <= count; i += 4) {
    const uint32_t bits = value(i) << 18 | value(i + 1) << 12 | value(i + 2) << 6 | value(i + 3);
    *bytes++ = static_cast<uint8_t>(bits >> 16);
    if (text[i + 2] != '=') {
      *bytes++ = static_cast<uint8_t>(bits >> 8);
    }
    if (text[i + 3] != '=') {
      *bytes++ = static_cast<uint8_t>(bits);
    }
  }
  *bytes = 0;
}

/// Random bytes with their text as base64(1) would write it, and where rows write.
struct Subject {
  explicit Subject(size_t count)
      : bytes(count),
        text(SM_BASE64_TEXT_SIZE(count)),
        decoded(SM_BASE64_BYTES_SIZE(text.size() - 1)),
        encoded(text.size())
  {
    std::mt19937 random(kSeed);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<uint8_t>(random()); });
    encodeByTable(text.data(), bytes.data(), bytes.size());
  }

  bool isEncoded() const { return encoded == text; }
  bool isDecoded() const { return std::equal(bytes.begin(), bytes.end(), decoded.begin()); }
  size_t length() const { return text.size() - 1; }

  std::vector<uint8_t> bytes;
  std::vector<char> text;
  std::vector<uint8_t> decoded;
  std::vector<char> encoded;
};

template <class Work>
void addRow(const std::string &row, const std::shared_ptr<Subject> &subject, bool (Subject::*isRight)() const,
            Work work)
{
  addTimedRow(
      row, 1,
      [=] {
        work(*subject);
        return ((*subject).*isRight)();
      },
      [=] {
        work(*subject);
        benchmark::DoNotOptimize(subject->encoded.data());
        benchmark::DoNotOptimize(subject->decoded.data());
      });
}

void addRows(size_t count)
{
  const auto subject = std::make_shared<Subject>(count);
  const auto addEncoder = [&](const char *who, auto work) {
    addRow("base64/encode/" + std::to_string(count) + "/" + who, subject, &Subject::isEncoded, work);
  };
  addEncoder("ours", [](Subject &s) {
    (void)SMBase64Encode(s.encoded.data(), s.bytes.data(), static_cast<int32_t>(s.bytes.size()), nullptr);
  });
  addEncoder("table_loop", [](Subject &s) { encodeByTable(s.encoded.data(), s.bytes.data(), s.bytes.size()); });
  addEncoder("memcpy", [](Subject &s) { memcpy(s.encoded.data(), s.text.data(), s.text.size()); });

  const auto addDecoder = [&](const char *who, auto work) {
    addRow("base64/decode/" + std::to_string(count) + "/" + who, subject, &Subject::isDecoded, work);
  };
  addDecoder("ours", [](Subject &s) {
    (void)SMBase64Decode(s.decoded.data(), s.text.data(), static_cast<int32_t>(s.length()));
  });
  addDecoder("table_loop", [](Subject &s) { decodeByTable(s.decoded.data(), s.text.data(), s.length()); });
  addDecoder("memcpy", [](Subject &s) { memcpy(s.decoded.data(), s.bytes.data(), s.bytes.size()); });
}

void registerRows()
{
  for (const size_t count : {16U, 64U, 256U, 1024U, 4096U}) {
    addRows(count);
  }
  addRows(1048576);
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
