/* IP support: the host's name and DNS suffix, the IPv4 addresses of its interfaces, and addresses as text.
 *
 * An address is a 32-bit number in network byte order: its bytes in memory are those of the dotted text, from left to
 * right. Texts are zero-terminated bytes; sizes are bytes.
 *
 * IP support is loaded from attach to detach. All functions but LoadIPSupt and UnLoadIPSupt return SM_STATUS_NOT_LOADED
 * (17) while it is not, before they look at their arguments; GetDNSSuffixName alone first looks at its size pointer and
 * takes memory.
 *
 * Threads: may run in parallel, but not with an attach or a detach. No function here may be called from a signal
 * handler. */
#ifndef QVSUPT32_NETWORK_H
#define QVSUPT32_NETWORK_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Bytes of one address in the list of GetIPAddrStrList. */
#define SM_IP_ADDRESS_SIZE 16

/* 1 while IP support is loaded. Initially 0; read-only for callers. */
QVSUPT32_API extern SMBool ipsuptLoaded;

/* Marks IP support loaded, which the attach does. Returns SM_STATUS_SUCCESS (0), or SM_STATUS_BAD_ARGUMENT (2) if it
 * already was. */
QVSUPT32_API uint32_t LoadIPSupt(void);

/* Marks it unloaded, which the detach does. Returns SM_STATUS_SUCCESS (0), or SM_STATUS_BAD_ARGUMENT (2) if it was not
 * loaded. */
QVSUPT32_API uint32_t UnLoadIPSupt(void);

/* Stores the host's name, as gethostname(2) does.
 *   SM_STATUS_NOT_LOADED (17)    IP support is not loaded
 *   SM_STATUS_BAD_ARGUMENT (2)   size is null
 *   SM_STATUS_UNSUCCESSFUL (-1)  buffer is null, the name and its terminator pass *size, or the platform has no name;
 *                                *size stays, and buffer may hold the beginning of the name without a terminator
 *   SM_STATUS_SUCCESS (0)        *size is the length of the name plus 1 */
QVSUPT32_API uint32_t GetIPHostName(char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetIPHostName(char *buffer, uint32_t *size);

/* Stores the host's name as UCS-2. The name is taken for UTF-8 and converted by UTF8StrToUCS2Str, whose statuses begin
 * with the third; a null buffer asks for the size.
 *   SM_STATUS_NOT_LOADED (17)          IP support is not loaded
 *   SM_STATUS_UNSUCCESSFUL (-1)        the name is longer than 127 bytes, or the platform has none
 *   SM_STATUS_INVALID_PARAMETER (271)  size is null
 *   SM_STATUS_BAD_TYPE (257)           the name is not UTF-8
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the name does not fit; *size stays
 *   SM_STATUS_SUCCESS (0)              *size is the bytes written or needed, terminator included */
QVSUPT32_API uint32_t UCS2GetIPHostName(SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMUCS2GetIPHostName(SMChar16 *buffer, uint32_t *size);

/* Stores the IPv4 addresses of the network interfaces as dotted texts, the first address of an interface that has
 * several. The first interface of the machine, its loopback, is left out; of the others up to 15 are listed, in the
 * order of if_nameindex(3). An interface whose address cannot be queried, such as one without an address, shows
 * "0.0.0.0".
 *
 * *count is the capacity of slots in addresses, and becomes the number of interfaces, stored or not. Nothing is written
 * to a slot after the text's terminator. Null slots have no capacity: that asks for the number.
 *   SM_STATUS_NOT_LOADED (17)        IP support is not loaded
 *   SM_STATUS_BAD_ARGUMENT (2)       count is null
 *   SM_STATUS_UNSUCCESSFUL (-1)      there is no interface but the first, or the platform lists none; *count is 0
 *   SM_STATUS_BUFFER_TOO_SMALL (16)  there are more interfaces than slots; the first ones are stored
 *   SM_STATUS_SUCCESS (0)            all are stored */
QVSUPT32_API uint32_t GetIPAddrStrList(uint32_t *count, char (*slots)[SM_IP_ADDRESS_SIZE]);
QVSUPT32_API uint32_t SMGetIPAddrStrList(uint32_t *count, char (*slots)[SM_IP_ADDRESS_SIZE]);

/* Stores the host's DNS suffix: the part after the first full stop of the official name that the resolver (hosts file,
 * DNS) gives the host. It is empty if that name has no full stop. A null buffer asks for the size. May wait for a name
 * server.
 *   SM_STATUS_INVALID_PARAMETER (271)  size is null
 *   SM_STATUS_NO_MEMORY (272)          memory is exhausted
 *   SM_STATUS_NOT_LOADED (17)          IP support is not loaded
 *   SM_STATUS_UNSUCCESSFUL (-1)        the host's name is longer than 63 bytes, or does not resolve to an IPv4 address;
 *                                      *size stays
 *   SM_STATUS_NO_MEMORY (272)          memory is exhausted; *size stays
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the suffix and its terminator pass *size; *size is the size needed
 *   SM_STATUS_SUCCESS (0)              *size is the size needed, terminator included */
QVSUPT32_API uint32_t GetDNSSuffixName(char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetDNSSuffixNameName(char *buffer, uint32_t *size);

/* Reads an address from dotted text, in any of the forms of inet_addr(3). The address of all ones is taken from
 * "255.255.255.255" and "0xff.0xff.0xff.0xff" only, in any letter case.
 *   SM_STATUS_NOT_LOADED (17)    IP support is not loaded
 *   SM_STATUS_BAD_ARGUMENT (2)   an argument is null
 *   SM_STATUS_UNSUCCESSFUL (-1)  text is no address; nothing is stored
 *   SM_STATUS_SUCCESS (0)        stored */
QVSUPT32_API uint32_t IPAddrASCIIToNetwork(const char *text, uint32_t *address);
QVSUPT32_API uint32_t SMIPAddrASCIIToNetwork(const char *text, uint32_t *address);

/* Writes an address as dotted text.
 *   SM_STATUS_NOT_LOADED (17)        IP support is not loaded
 *   SM_STATUS_BAD_ARGUMENT (2)       a pointer is null
 *   SM_STATUS_BUFFER_TOO_SMALL (16)  the text and its terminator pass *size; nothing is written and *size stays
 *   SM_STATUS_SUCCESS (0)            *size is the length of the text, its terminator not counted */
QVSUPT32_API uint32_t IPAddrNetworkToASCII(uint32_t address, char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMIPAddrNetworkToASCII(uint32_t address, char *buffer, uint32_t *size);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
