// IP support: whether it is loaded, the host's name, and its DNS suffix.
//
// Promises: nothing of the resolver's answer is shared among threads.
// Leaves to others: when it is loaded (frame/lifecycle), and what UTF-8 is (text/convert).

#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/alias.h"
#include "base/heap.h"
#include "base/status.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/network.h"

SMBool ipsuptLoaded = 0;

namespace {

using qv::HeapBlock;
using qv::Status;

/// The most that the name of a host takes here, terminator included.
constexpr uint32_t kNameSize = 128;
constexpr uint32_t kResolvableNameSize = 64;

/// The official name that the resolver gives a host, in a block that grows until the whole answer fits.
class OfficialName {
 public:
  /// unsuccessful: there is no such host.
  Status resolve(const char *host)
  {
    constexpr size_t kUsualSize = 1024;
    constexpr size_t kLargestSize = 1048576;
    for (size_t size = kUsualSize; size <= kLargestSize; size *= 2) {
      answer_.reset(static_cast<char *>(malloc(size)));
      if (answer_ == nullptr) {
        break;
      }
      hostent entry;
      hostent *found = nullptr;
      int reason = 0;
      const int error = gethostbyname_r(host, &entry, answer_.get(), size, &found, &reason);
      if (error != ERANGE) {
        name_ = found == nullptr ? nullptr : found->h_name;
        return name_ == nullptr ? Status::unsuccessful : Status::success;
      }
    }
    return Status::noMemory;
  }

  /// What stands behind the first full stop of a name that was resolved.
  const char *suffix() const
  {
    const char *fullStop = strchr(name_, '.');
    return fullStop == nullptr ? "" : fullStop + 1;
  }

 private:
  HeapBlock<char> answer_;
  const char *name_ = nullptr;
};

/// Copies a text with its terminator where there is room, or a buffer at all, and tells the size needed.
Status store(const char *text, char *buffer, uint32_t &size)
{
  const auto needed = static_cast<uint32_t>(strlen(text) + 1);
  const bool fits = needed <= size;
  size = needed;
  if (buffer == nullptr) {
    return Status::success;
  }
  if (!fits) {
    return Status::bufferTooSmall;
  }
  memcpy(buffer, text, needed);
  return Status::success;
}

}  // namespace

uint32_t LoadIPSupt(void)
{
  if (ipsuptLoaded != 0) {
    return result(Status::badArgument);
  }
  ipsuptLoaded = 1;
  return result(Status::success);
}

uint32_t UnLoadIPSupt(void)
{
  if (ipsuptLoaded != 1) {
    return result(Status::badArgument);
  }
  ipsuptLoaded = 0;
  return result(Status::success);
}

uint32_t GetIPHostName(char *buffer, uint32_t *size)
{
  if (ipsuptLoaded == 0) {
    return result(Status::notLoaded);
  }
  if (buffer == nullptr || size == nullptr) {
    return result(Status::badArgument);
  }
  if (gethostname(buffer, *size) != 0) {
    return result(Status::unsuccessful);
  }
  // POSIX lets a name that is cut short stand without its terminator.
  const size_t length = strnlen(buffer, *size);
  if (length == *size) {
    return result(Status::unsuccessful);
  }
  *size = static_cast<uint32_t>(length + 1);
  return result(Status::success);
}

uint32_t UCS2GetIPHostName(SMChar16 *buffer, uint32_t *size)
{
  char name[kNameSize];
  uint32_t nameSize = sizeof(name);
  const uint32_t status = GetIPHostName(name, &nameSize);
  return status != result(Status::success) ? status : UTF8StrToUCS2Str(buffer, size, name);
}

uint32_t GetDNSSuffixName(char *buffer, uint32_t *size)
{
  if (size == nullptr) {
    return result(Status::invalidParameter);
  }
  const HeapBlock<char> host(static_cast<char *>(malloc(kResolvableNameSize)));
  if (host == nullptr) {
    return result(Status::noMemory);
  }
  uint32_t hostSize = kResolvableNameSize;
  const uint32_t status = GetIPHostName(host.get(), &hostSize);
  if (status != result(Status::success)) {
    return status;
  }
  OfficialName name;
  const Status resolved = name.resolve(host.get());
  return result(resolved != Status::success ? resolved : store(name.suffix(), buffer, *size));
}

QV_ALIAS(SMGetIPHostName, GetIPHostName)
QV_ALIAS(SMUCS2GetIPHostName, UCS2GetIPHostName)
QV_ALIAS(SMGetDNSSuffixNameName, GetDNSSuffixName)
