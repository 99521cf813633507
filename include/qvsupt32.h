/* qvsupt32: the support library of the systems-management suite.
 *
 * This is the one header to include. Each family has a header of its own behind it, and a function's contract stands
 * where the function is declared: what it does, the units it counts in, who owns what, which arguments may be null,
 * every status in the order in which it is decided, and what threads may do. "Threads" is left out where a function
 * works on its arguments alone: such calls may run in parallel as long as they do not share an object.
 *
 * Most functions have two names, of which a new component uses the one with the SM prefix where there is one. With
 * QVSUPT32_NO_UNPREFIXED defined first, every function without the prefix is hidden from a component that has functions
 * of those names itself.
 *
 * Nothing here throws, and nothing here prints. Compiles as C99 and later and as C++98 and later. */
#ifndef QVSUPT32_H
#define QVSUPT32_H

#include "qvsupt32/codec.h"
#include "qvsupt32/containers.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/digest.h"
#include "qvsupt32/format.h"
#include "qvsupt32/frame.h"
#include "qvsupt32/language.h"
#include "qvsupt32/log.h"
#include "qvsupt32/network.h"
#include "qvsupt32/os.h"
#include "qvsupt32/os_objects.h"
#include "qvsupt32/paths.h"
#include "qvsupt32/resource.h"
#include "qvsupt32/sdo.h"
#include "qvsupt32/store.h"
#include "qvsupt32/strings.h"
#include "qvsupt32/types.h"
#include "qvsupt32/value.h"

#endif
