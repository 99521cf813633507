/* Install paths of the suite's products.
 *
 * Each product that the suite knows has an install directory, below which its files lie. The directories are worked out
 * once, when the library is attached, and kept for the process: later changes of the environment are not seen. A
 * product's directory comes from the environment variable <product name>installpath, with the name in lower case or
 * else the whole in upper case, and where neither is set from the platform:
 *
 *   product      identifier   variable                                   platform directory
 *   "ZKRoot"     1            zkrootinstallpath or ZKROOTINSTALLPATH     /etc/tallowmere
 *   "Corvane"    34           corvaneinstallpath or CORVANEINSTALLPATH   /etc/tallowmere/corvane
 *   "VELA"       35           velainstallpath or VELAINSTALLPATH         /etc/tallowmere/vela
 *
 * A variable's value is taken unchanged; one of 256 bytes or more, terminator included, leaves the product without a
 * directory. Paths are zero-terminated, their sizes are bytes with the terminator. */
#ifndef QVSUPT32_PATHS_H
#define QVSUPT32_PATHS_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

#define SM_PRODUCT_ZKROOT 1u
#define SM_PRODUCT_CORVANE 34u
#define SM_PRODUCT_VELA 35u /* the library's own product: its "ini" and "log" directories hold the library's files */

/* A product that the suite knows. */
typedef struct SMKnownProduct {
  const char *productName;
  uint32_t productID;
} SMKnownProduct;

/* The known products: "Corvane", "VELA" and "ZKRoot", in this order. */
QVSUPT32_API extern const SMKnownProduct pGKnownProductIDS[3];

/* The install directory of one product. */
typedef struct SMInstallPath {
  char installPath[256];    /* empty when there is none */
  uint32_t installPathSize; /* bytes with the terminator, 0 when there is none */
  uint32_t productID;
} SMInstallPath;

/* The directories of the known products in their order; null and 0 while the library is not attached. Callers only read
 * them. */
QVSUPT32_API extern SMInstallPath *pGInstallPathList;
QVSUPT32_API extern uint32_t gInstallPathListCount;

/* Works the directories out, unless that was done already: a step of attaching. Without memory they stay unknown.
 * Threads: only while no other thread uses the library. */
QVSUPT32_API void SUPTMiscInitInstallPathCache(void);

/* Forgets the directories: a step of detaching. Threads: as SUPTMiscInitInstallPathCache. */
QVSUPT32_API void SUPTMiscFreeInstallPathCache(void);

/* Copies the install directory of a product. size must not be null; path may be null if *size is too small, such as 0.
 *   SM_STATUS_NOT_FOUND (256)        the library is not attached, or the product has no directory: *size becomes 0
 *   SM_STATUS_NOT_FOUND (256)        no such product: *size is left
 *   SM_STATUS_BAD_TYPE (257)         the directory does not exist: *size becomes 0
 *   SM_STATUS_BUFFER_TOO_SMALL (16)  *size is too small and becomes the size needed
 *   SM_STATUS_SUCCESS (0)            the path is copied and *size becomes its size */
QVSUPT32_API uint32_t SUPTMiscGetInstallPathByProductID(uint32_t productID, char *path, uint32_t *size);
QVSUPT32_API uint32_t SMGetInstallPathByProductID(uint32_t productID, char *path, uint32_t *size);

/* The same for the library's own product, 35. */
QVSUPT32_API uint32_t SMGetInstallPath(char *path, uint32_t *size);

/* Copies the platform directory of a product, without regard to the environment and to what exists.
 *   SM_STATUS_INVALID_PARAMETER (271)  the product is unknown, or a pointer is null
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is too small and becomes the size needed, for product 1 the size of the
 *                                      longer path that its own is cut from
 *   SM_STATUS_SUCCESS (0)              the path is copied and *size becomes its size */
QVSUPT32_API uint32_t OSInitProductInstallPath(uint32_t productID, char *path, uint32_t *size);

/* Copies a key name, which on this platform is the path itself. keyName must not be null.
 *   SM_STATUS_INVALID_PARAMETER (271)  path or size is null
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is too small and becomes the size needed
 *   SM_STATUS_SUCCESS (0)              the name is copied and *size becomes its size */
QVSUPT32_API uint32_t OSInitInstallPathByKeyName(const char *keyName, char *path, uint32_t *size);

/* Removes one "/" from the end of a path and stores the new size; a path without one is left, and so is *size. Neither
 * argument may be null. */
QVSUPT32_API void SUPTMiscRemoveTrailingPathSeparator(char *path, uint32_t *size);

/* Cuts a path before its last "/", unless that is its first character, and stores the new size; otherwise path and
 * *size are left. Neither argument may be null. */
QVSUPT32_API void SUPTMiscRemoveSubDir(char *path, uint32_t *size);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
