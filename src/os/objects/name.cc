// Records of named objects, and the System V keys of their names.

#include <cerrno>
#include <cstring>

#include "os/objects/record.h"
#include "qvsupt32/digest.h"

namespace {

constexpr char kLockFilePrefix[] = "/etc/tallowmere/vela/.";
constexpr size_t kStoredNameMax = 256;  // with its terminator

}  // namespace

uint32_t GenerateCRC32(const void *data, uint32_t length, uint32_t total)
{
  constexpr uint32_t kPolynomial = 0xEDB88320;
  uint32_t crc = 0xFFFFFFFF;
  for (uint32_t i = 0; i < total; ++i) {
    uint32_t byte = i < length ? static_cast<const uint8_t *>(data)[i] : 0;
    for (int bit = 0; bit < 8; ++bit) {
      byte ^= crc & 1;
      crc >>= 1;
      if (byte != 0) {
        crc ^= kPolynomial;
      }
      byte >>= 1;
    }
  }
  return crc;
}

int32_t GetUniqueKeyFromStr(const char *name)
{
  RFC1321Context context;
  RFC1321Load(&context);
  RFC1321AddMsg(&context, name, static_cast<uint32_t>(strlen(name) + 1));
  RFC1321ComputeMsgDigest(&context);
  const uint32_t key = GenerateCRC32(context.digest, sizeof(context.digest), sizeof(context.digest));
  (void)RFC1321UnLoad(&context);  // it returns its argument
  return static_cast<int32_t>(key);
}

OSSyncInfo *OSSyncInfoAlloc(const char *name, uint32_t recordSize, int32_t kind)
{
  const char *prefix = kind == SM_KIND_MUTEX ? kLockFilePrefix : "";
  size_t storedSize = 0;
  if (name != nullptr) {
    storedSize = strlen(prefix) + strlen(name) + 1;
    if (*name == '\0' || storedSize > kStoredNameMax) {
      errno = *name == '\0' ? EINVAL : ENAMETOOLONG;
      return nullptr;
    }
  }
  if (recordSize < sizeof(OSSyncInfo) || recordSize > UINT32_MAX - storedSize) {
    errno = EINVAL;
    return nullptr;
  }
  auto *info = static_cast<OSSyncInfo *>(calloc(1, recordSize + storedSize));
  if (info == nullptr) {
    return nullptr;
  }
  info->kind = static_cast<uint32_t>(kind);
  if (name != nullptr) {
    info->name = reinterpret_cast<char *>(info) + recordSize;
    memcpy(info->name, prefix, strlen(prefix));
    memcpy(info->name + strlen(prefix), name, strlen(name) + 1);
  }
  return info;
}

SMBool OSSyncInfoAttach(void)
{
  return 1;
}

void OSSyncInfoDetach(void) {}
