/* IP support: the host's name and DNS suffix, the IPv4 addresses of its interfaces, and addresses as text.
 *
 * An address is a 32-bit number in network byte order: its bytes in memory are those of the dotted text, from left to
 * right. Texts are zero-terminated bytes; sizes are bytes.
 *
 * The functions answer while IP support is loaded, which it is from attach to detach. All of them but LoadIPSupt and
 * UnLoadIPSupt look at that first and return 17 (SM_STATUS_NOT_LOADED) while it is not, before they look at their
 * arguments; GetDNSSuffixName alone looks at its size pointer before that.
 *
 * Threads: may run in parallel, but not with an attach or a detach. */
#ifndef QVSUPT32_NETWORK_H
#define QVSUPT32_NETWORK_H

#include "types.h"

QVSUPT32_BEGIN_C

/* Bytes of one address in the list of GetIPAddrStrList. */
#define SM_IP_ADDRESS_SIZE 16

/* 1 while IP support is loaded. Initially 0; read-only for callers. */
QVSUPT32_API extern SMBool ipsuptLoaded;

/* Marks IP support loaded, which the attach does. Returns 0, or 2 (SM_STATUS_BAD_ARGUMENT) when it was already. */
QVSUPT32_API uint32_t LoadIPSupt(void);

/* Marks it unloaded, which the detach does. Returns 0, or 2 (SM_STATUS_BAD_ARGUMENT) when it was not loaded. */
QVSUPT32_API uint32_t UnLoadIPSupt(void);

/* Stores the host's name, as gethostname(2) does.
 *   17   IP support is not loaded
 *   2    an argument is null
 *   -1   the name and its terminator pass *size, or the platform has none; *size stays, and buffer may hold the name's
 *        beginning without a terminator
 *   0    *size is the length of the name plus 1 */
QVSUPT32_API uint32_t GetIPHostName(char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetIPHostName(char *buffer, uint32_t *size);

/* Stores the host's name as UCS-2. Taken for UTF-8, it is converted by UTF8StrToUCS2Str, which decides everything from
 * 271 down; a null buffer asks for the size.
 *   17   IP support is not loaded
 *   -1   the name is longer than 127 bytes, or the platform has none
 *   271  size is null
 *   257  the name is not UTF-8
 *   16   the name does not fit; *size stays
 *   0    *size is the bytes written or needed, terminator included */
QVSUPT32_API uint32_t UCS2GetIPHostName(SMChar16 *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMUCS2GetIPHostName(SMChar16 *buffer, uint32_t *size);

/* Stores the IPv4 addresses of the network interfaces as dotted texts, the first one of an interface that has several.
 * The first interface of the machine, its loopback, is left out; of the others the first 15 are looked at, in the order
 * of if_nameindex(3). An interface whose address cannot be asked for, such as one that has none, shows "0.0.0.0".
 *
 * *count gives the number of addresses that slots has room for and comes back as the number of interfaces looked at,
 * stored or not. Of a slot nothing is written behind the text's terminator. Null slots have room for none: that is how
 * to ask for the number.
 *   17   IP support is not loaded
 *   2    count is null; nothing else is decided before the end of the list
 *   -1   there is no interface but the first, or the platform names none; *count is 0
 *   16   an address found no room; the others are stored
 *   0    all are stored */
QVSUPT32_API uint32_t GetIPAddrStrList(uint32_t *count, char (*slots)[SM_IP_ADDRESS_SIZE]);
QVSUPT32_API uint32_t SMGetIPAddrStrList(uint32_t *count, char (*slots)[SM_IP_ADDRESS_SIZE]);

/* Stores the host's DNS suffix: what stands behind the first full stop of the official name that the resolver (hosts
 * file, DNS) gives the host. It is empty where that name has no full stop. A null buffer asks for the size. May wait for
 * a name server.
 *   271  size is null
 *   272  the heap is exhausted
 *   17   IP support is not loaded
 *   -1   the host's name is longer than 63 bytes, or does not resolve to an IPv4 address; *size stays
 *   16   the suffix and its terminator pass *size; *size is the size needed
 *   0    *size is the size needed, terminator included */
QVSUPT32_API uint32_t GetDNSSuffixName(char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMGetDNSSuffixNameName(char *buffer, uint32_t *size);

/* Reads an address from dotted text, in any of the forms of inet_addr(3). The address of all ones is taken from
 * "255.255.255.255" and "0xff.0xff.0xff.0xff" only, in any letter case.
 *   17   IP support is not loaded
 *   2    an argument is null
 *   -1   text is no address; nothing is stored
 *   0    stored */
QVSUPT32_API uint32_t IPAddrASCIIToNetwork(const char *text, uint32_t *address);
QVSUPT32_API uint32_t SMIPAddrASCIIToNetwork(const char *text, uint32_t *address);

/* Writes an address as dotted text.
 *   17   IP support is not loaded
 *   2    a pointer is null
 *   16   the text and its terminator pass *size; nothing is written and *size stays
 *   0    *size is the length of the text, its terminator not counted */
QVSUPT32_API uint32_t IPAddrNetworkToASCII(uint32_t address, char *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMIPAddrNetworkToASCII(uint32_t address, char *buffer, uint32_t *size);

QVSUPT32_END_C

#endif
