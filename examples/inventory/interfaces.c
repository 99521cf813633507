// Network interfaces, by getifaddrs(3) and an ioctl for the MTU. Both speak of the network namespace of this process;
// a /sys that was mounted elsewhere can speak of another one.
#include <errno.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "facts.h"
#include "text.h"

static uint32_t readMtu(int descriptor, const char *name)
{
  struct ifreq request = {.ifr_mtu = 0};
  if (descriptor < 0 || strlen(name) >= sizeof(request.ifr_name)) {
    return 0;
  }
  memcpy(request.ifr_name, name, strlen(name));
  return ioctl(descriptor, SIOCGIFMTU, &request) == 0 && request.ifr_mtu > 0 ? (uint32_t)request.ifr_mtu : 0;
}

// True for an address that belongs to hardware and is all there: the record holds 8 bytes, InfiniBand has 20.
static bool hasHardwareAddress(const struct sockaddr_ll *link)
{
  return link->sll_hatype != ARPHRD_LOOPBACK && link->sll_halen > 0 && link->sll_halen <= sizeof(link->sll_addr);
}

static char *formatHardwareAddress(const struct sockaddr_ll *link)
{
  static const char kDigits[] = "0123456789abcdef";
  char *text = malloc(3U * link->sll_halen);
  if (text == NULL) {
    return NULL;
  }
  for (size_t i = 0; i < link->sll_halen; ++i) {
    text[3 * i] = kDigits[link->sll_addr[i] >> 4];
    text[3 * i + 1] = kDigits[link->sll_addr[i] & 0x0F];
    text[3 * i + 2] = ':';
  }
  text[3U * link->sll_halen - 1] = '\0';
  return text;
}

static bool appendInterface(Facts *facts, const struct ifaddrs *found, int descriptor)
{
  Interface *larger = reallocarray(facts->interfaces, facts->interfaceCount + 1, sizeof(*larger));
  if (larger == NULL) {
    return false;
  }
  facts->interfaces = larger;
  struct sockaddr_ll link;
  memcpy(&link, found->ifa_addr, sizeof(link));
  Interface *interface = &larger[facts->interfaceCount++];
  *interface = (Interface){
      .name = makeText(found->ifa_name),
      .index = (uint32_t)link.sll_ifindex,
      .up = (found->ifa_flags & IFF_UP) != 0,
      .mtu = readMtu(descriptor, found->ifa_name),
  };
  if (hasHardwareAddress(&link)) {
    interface->hardwareAddress = formatHardwareAddress(&link);
    return interface->name != NULL && interface->hardwareAddress != NULL;
  }
  return interface->name != NULL;
}

bool collectInterfaces(Facts *facts)
{
  struct ifaddrs *list;
  if (getifaddrs(&list) != 0) {
    return errno != ENOMEM;
  }
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  bool enough = true;
  for (const struct ifaddrs *found = list; found != NULL && enough; found = found->ifa_next) {
    // The list has every address of every interface; the one of the packet family is there once for each.
    if (found->ifa_addr != NULL && found->ifa_addr->sa_family == AF_PACKET) {
      enough = appendInterface(facts, found, descriptor);
    }
  }
  if (descriptor >= 0) {
    (void)close(descriptor);  // nothing was sent
  }
  freeifaddrs(list);
  return enough;
}
