// The stack that routines of the caller get.
#pragma once

// Marks a function of the interface that calls routines of the caller. They may rely on a stack aligned to 16 bytes,
// while the function's own caller may keep 4, as old programs do. -mstackrealign does not do it: the compiler leaves
// the stack of a function that needs no alignment for itself as it is.
#ifdef __i386__
#define QV_ALIGNS_STACK [[gnu::force_align_arg_pointer]]
#else
#define QV_ALIGNS_STACK
#endif
