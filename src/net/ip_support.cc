// IP support: whether it is loaded, the host's name, and its DNS suffix.
//
// Promises: threads share nothing of the resolver's answer.
// Leaves to others: when it is loaded (frame/lifecycle), and what UTF-8 is (text/convert).

#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/alias.h"
#include "base/heap.h"
#include "base/size.h"
#include "net/host_name.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/network.h"

SMBool ipsuptLoaded = 0;

namespace {

using qv::HeapBlock;
using qv::Status;

/// Buffers for the host's name, terminator included. The resolver takes names of up to 63 bytes.
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

  /// The part of a resolved name after its first full stop.
  const char *suffix() const
  {
    const char *fullStop = strchr(name_, '.');
    return fullStop == nullptr ? "" : fullStop + 1;
  }

 private:
  HeapBlock<char> answer_;
  const char *name_ = nullptr;
};

Status getDnsSuffix(char *buffer, uint32_t *size)
{
  if (size == nullptr) {
    return Status::invalidParameter;
  }
  const HeapBlock<char> host(static_cast<char *>(malloc(kResolvableNameSize)));
  if (host == nullptr) {
    return Status::noMemory;
  }
  uint32_t hostSize = kResolvableNameSize;
  if (const Status status = qv::net::getHostName(host.get(), &hostSize); status != Status::success) {
    return status;
  }
  OfficialName name;
  if (const Status status = name.resolve(host.get()); status != Status::success) {
    return status;
  }
  const Status copied = qv::copyTextOut(name.suffix(), buffer, *size);
  return buffer == nullptr ? Status::success : copied;  // without a buffer the size is all that is asked for
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

Status qv::net::getHostName(char *buffer, uint32_t *size)
{
  if (ipsuptLoaded == 0) {
    return Status::notLoaded;
  }
  if (size == nullptr) {
    return Status::badArgument;
  }
  // The C library's gethostname faults on null where the system call would fail.
  if (buffer == nullptr || gethostname(buffer, *size) != 0) {
    return Status::unsuccessful;
  }
  // POSIX allows a truncated name without a terminator.
  const size_t length = strnlen(buffer, *size);
  if (length == *size) {
    return Status::unsuccessful;
  }
  *size = static_cast<uint32_t>(length + 1);
  return Status::success;
}

uint32_t GetIPHostName(char *buffer, uint32_t *size)
{
  return result(qv::net::getHostName(buffer, size));
}

uint32_t UCS2GetIPHostName(SMChar16 *buffer, uint32_t *size)
{
  char name[kNameSize];
  uint32_t nameSize = sizeof(name);
  const Status status = qv::net::getHostName(name, &nameSize);
  return status == Status::success ? UTF8StrToUCS2Str(buffer, size, name) : result(status);
}

uint32_t GetDNSSuffixName(char *buffer, uint32_t *size)
{
  return result(getDnsSuffix(buffer, size));
}

QV_ALIAS(SMGetIPHostName, GetIPHostName)
QV_ALIAS(SMUCS2GetIPHostName, UCS2GetIPHostName)
QV_ALIAS(SMGetDNSSuffixNameName, GetDNSSuffixName)
