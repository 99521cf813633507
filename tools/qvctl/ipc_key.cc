// See ipc_key.h. The library could not be asked without loading it, which would wait for the file lock; the digest is
// its own source, the sum over it is so short that it is repeated here.

#include "ipc_key.h"

#include <cstdio>

#include "qvsupt32/digest.h"

namespace qvctl {
namespace {

/// CRC-32 with two faults that decide which keys all components use: the whole byte is tested instead of its lowest bit,
/// and there is no final complement.
uint32_t checksum(const uint8_t *bytes, uint32_t size)
{
  uint32_t sum = 0xFFFFFFFF;
  for (uint32_t i = 0; i < size; ++i) {
    uint32_t byte = bytes[i];
    for (int bit = 0; bit < 8; ++bit) {
      byte ^= sum & 1;
      sum >>= 1;
      sum ^= byte != 0 ? 0xEDB88320 : 0;
      byte >>= 1;
    }
  }
  return sum;
}

}  // namespace

int32_t ipcKeyOf(const std::string &name)
{
  RFC1321Context context;
  RFC1321Load(&context);
  RFC1321AddMsg(&context, name.c_str(), static_cast<uint32_t>(name.size() + 1));
  RFC1321ComputeMsgDigest(&context);
  return static_cast<int32_t>(checksum(context.digest, sizeof context.digest));
}

std::string keyText(int32_t key)
{
  char text[16];
  snprintf(text, sizeof text, "0x%08x", static_cast<uint32_t>(key));
  return text;
}

}  // namespace qvctl
