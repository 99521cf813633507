// Base64: what is encoded decodes to itself, an alphabet only changes the characters, any text decodes within the bytes
// that the header asks for, and blocks give what groups give. The first 64 bytes are an alphabet, the rest bytes and text.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../src/codec/base64.h"
#include "qvsupt32.h"

namespace {

namespace base64 = qv::base64;
using Bytes = std::vector<uint8_t>;

constexpr size_t kAlphabet = 64;

void require(bool holds)
{
  if (!holds) {
    abort();
  }
}

std::string encode(const Bytes &bytes, const char *alphabet)
{
  const auto count = static_cast<int32_t>(bytes.size());
  std::vector<char> text(SM_BASE64_TEXT_SIZE(count));
  require(encode64(text.data(), bytes.data(), count, alphabet) == 0);
  require(text.back() == 0 && strlen(text.data()) == text.size() - 1);
  return text.data();
}

std::string encodeByGroups(const Bytes &bytes)
{
  std::string text(SM_BASE64_TEXT_SIZE(bytes.size()) - 1, '\0');
  base64::Encoder at = {bytes.data(), text.data()};
  base64::encodeGroups(at, bytes.data() + bytes.size(), base64::basis64);
  require(at.out == text.data() + text.size());
  return text;
}

Bytes decode(const std::vector<char> &text)
{
  const auto count = static_cast<int32_t>(text.size());
  Bytes bytes(SM_BASE64_BYTES_SIZE(count), 0xAA);
  require(decode64(bytes.data(), text.data(), count) == 0);
  return bytes;
}

Bytes decodeByGroups(const std::vector<char> &text)
{
  Bytes bytes(SM_BASE64_BYTES_SIZE(text.size()), 0xAA);
  base64::Decoder at = {text.data(), bytes.data()};
  base64::decodeGroups(at, text.data() + text.size() / 4 * 4);
  *at.out = 0;
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  if (size < kAlphabet) {
    return 0;
  }
  Bytes alphabet(data, data + kAlphabet);
  std::replace(alphabet.begin(), alphabet.end(), 0, 1);  // a NUL would only end the text that is looked at here
  const Bytes bytes(data + kAlphabet, data + size);
  const std::string text = encode(bytes, nullptr);
  require(text == encodeByGroups(bytes));

  std::string other = text;
  for (char &character : other) {
    if (character != base64::kPad) {
      character =
          static_cast<char>(alphabet[static_cast<size_t>(strchr(base64::basis64, character) - base64::basis64)]);
    }
  }
  require(other == encode(bytes, reinterpret_cast<const char *>(alphabet.data())));

  Bytes back = decode({text.begin(), text.end()});
  require(std::equal(bytes.begin(), bytes.end(), back.begin()) && back[bytes.size()] == 0);

  const std::vector<char> any(bytes.begin(), bytes.end());
  require(decode(any) == decodeByGroups(any));
  return 0;
}
