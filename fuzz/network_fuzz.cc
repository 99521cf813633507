// Addresses from any text: what is taken comes back as dotted text that means the same address, and what is refused
// stores nothing. Every size decides as the length of the text does.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qvsupt32.h"

namespace {

constexpr uint32_t kUntouched = 0x5A5A5A5A;

void require(bool holds)
{
  if (!holds) {
    abort();
  }
}

/// Writes the address at every size, into a buffer of exactly that size.
std::string write(uint32_t address)
{
  std::string text;
  for (uint32_t room = 0; room <= SM_IP_ADDRESS_SIZE; ++room) {
    const auto buffer = std::make_unique<char[]>(room);
    uint32_t size = room;
    const uint32_t status = IPAddrNetworkToASCII(address, buffer.get(), &size);
    if (status == SM_STATUS_BUFFER_TOO_SMALL) {
      require(text.empty() && size == room && (room == 0 || buffer[0] == '\0'));
      continue;
    }
    require(status == SM_STATUS_SUCCESS && strlen(buffer.get()) == size);
    require(text.empty() ? size + 1 == room : text == buffer.get());
    text = buffer.get();
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  std::vector<char> text(data, data + size);
  text.push_back('\0');
  uint32_t address = kUntouched;
  const uint32_t status = IPAddrASCIIToNetwork(text.data(), &address);
  if (status == SM_STATUS_UNSUCCESSFUL) {
    require(address == kUntouched);
    return 0;
  }
  require(status == SM_STATUS_SUCCESS);
  uint32_t again = kUntouched;
  require(IPAddrASCIIToNetwork(write(address).c_str(), &again) == SM_STATUS_SUCCESS && again == address);
  return 0;
}
