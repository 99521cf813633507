// IPv4 addresses: those of the machine's interfaces, and the conversion between dotted text and number.
//
// Leaves to others: whether IP support is loaded (net/ip_support).

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

#include "base/alias.h"
#include "base/descriptor.h"
#include "base/status.h"
#include "qvsupt32/network.h"

namespace {

using qv::Status;
using qv::UniqueFd;

static_assert(SM_IP_ADDRESS_SIZE == INET_ADDRSTRLEN);

/// The most interfaces listed, the loopback before them not counted.
constexpr uint32_t kInterfacesMax = 15;

struct FreeNames {
  void operator()(struct if_nameindex *names) const { if_freenameindex(names); }
};
using InterfaceNames = std::unique_ptr<struct if_nameindex, FreeNames>;

/// A socket to query addresses through. The query has always used the old packet socket, SOCK_PACKET: it works in a
/// process that has no IPv4 sockets. It needs CAP_NET_RAW; an unprivileged caller gets the same answers from a socket of
/// the address family.
int openQuerySocket()
{
  constexpr int kAllProtocols = 0x0300;  // ETH_P_ALL in network byte order
  int querySocket = socket(AF_PACKET, SOCK_PACKET | SOCK_CLOEXEC, kAllProtocols);
  if (querySocket < 0) {
    querySocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  }
  return querySocket;
}

/// The address of an interface; 0.0.0.0 if the query fails.
in_addr addressOf(const UniqueFd &querySocket, const char *interface)
{
  ifreq request = {};
  strncpy(request.ifr_name, interface, sizeof(request.ifr_name) - 1);
  in_addr address = {};
  if (ioctl(querySocket.get(), SIOCGIFADDR, &request) == 0) {
    sockaddr_in answer;
    static_assert(sizeof(answer) == sizeof(request.ifr_addr));
    memcpy(&answer, &request.ifr_addr, sizeof(answer));
    address = answer.sin_addr;
  }
  return address;
}

bool spellsAllOnes(const char *text)
{
  return strcasecmp(text, "255.255.255.255") == 0 || strcasecmp(text, "0xff.0xff.0xff.0xff") == 0;
}

}  // namespace

uint32_t GetIPAddrStrList(uint32_t *count, char (*slots)[SM_IP_ADDRESS_SIZE])
{
  if (ipsuptLoaded == 0) {
    return result(Status::notLoaded);
  }
  if (count == nullptr) {
    return result(Status::badArgument);
  }
  const uint32_t capacity = slots == nullptr ? 0 : *count;
  *count = 0;
  const UniqueFd querySocket(capacity == 0 ? -1 : openQuerySocket());
  const InterfaceNames names(if_nameindex());
  if (names == nullptr || names.get()->if_name == nullptr) {
    return result(Status::unsuccessful);
  }
  for (const struct if_nameindex *each = names.get() + 1; each->if_name != nullptr && *count < kInterfacesMax; ++each) {
    if (*count < capacity) {
      const in_addr address = addressOf(querySocket, each->if_name);
      (void)inet_ntop(AF_INET, &address, slots[*count], SM_IP_ADDRESS_SIZE);  // every address fits in a slot
    }
    ++*count;
  }
  if (*count == 0) {
    return result(Status::unsuccessful);
  }
  return result(*count > capacity ? Status::bufferTooSmall : Status::success);
}

uint32_t IPAddrASCIIToNetwork(const char *text, uint32_t *address)
{
  if (ipsuptLoaded == 0) {
    return result(Status::notLoaded);
  }
  if (text == nullptr || address == nullptr) {
    return result(Status::badArgument);
  }
  const in_addr_t read = inet_addr(text);
  if (read == INADDR_NONE && !spellsAllOnes(text)) {
    return result(Status::unsuccessful);
  }
  *address = read;
  return result(Status::success);
}

uint32_t IPAddrNetworkToASCII(uint32_t address, char *buffer, uint32_t *size)
{
  if (ipsuptLoaded == 0) {
    return result(Status::notLoaded);
  }
  if (buffer == nullptr || size == nullptr) {
    return result(Status::badArgument);
  }
  const in_addr binary = {address};
  char text[INET_ADDRSTRLEN];
  if (inet_ntop(AF_INET, &binary, text, sizeof(text)) == nullptr) {
    return result(Status::unsuccessful);
  }
  const auto length = static_cast<uint32_t>(strlen(text));
  if (length + 1 > *size) {
    return result(Status::bufferTooSmall);
  }
  memcpy(buffer, text, length + 1);
  *size = length;
  return result(Status::success);
}

QV_ALIAS(SMGetIPAddrStrList, GetIPAddrStrList)
QV_ALIAS(SMIPAddrASCIIToNetwork, IPAddrASCIIToNetwork)
QV_ALIAS(SMIPAddrNetworkToASCII, IPAddrNetworkToASCII)
