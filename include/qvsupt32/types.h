/* The types and statuses that every family shares. */
#ifndef QVSUPT32_TYPES_H
#define QVSUPT32_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if !defined(__cplusplus) && defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#include <uchar.h>
#endif

/* The version that these headers declare. SMGetVersionText tells that of the loaded library. Since 4.1. */
#define QVSUPT32_VERSION_MAJOR 4
#define QVSUPT32_VERSION_MINOR 1
#define QVSUPT32_VERSION_PATCH 0
#define QVSUPT32_VERSION_STRING "4.1.0"

#ifdef __cplusplus
#define QVSUPT32_BEGIN_C extern "C" {
#define QVSUPT32_END_C }
#else
#define QVSUPT32_BEGIN_C
#define QVSUPT32_END_C
#endif

/* Marks every exported function and variable. A program may define it first, as nothing for tools that read headers. */
#ifndef QVSUPT32_API
#define QVSUPT32_API __attribute__((visibility("default")))
#endif

/* Marks the functions whose result the caller has to free or to close: who drops it has lost it. */
#define QVSUPT32_OWNED __attribute__((warn_unused_result))

/* The same for those that return a fresh block without pointers to anything that the caller has. */
#define QVSUPT32_NEW __attribute__((warn_unused_result, malloc))

/* One UCS-2 code unit in the machine's byte order: char16_t where the language has it, so that u"..." can be passed. */
#if (defined(__cplusplus) && __cplusplus >= 201103L) || \
    (!defined(__cplusplus) && defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L)
typedef char16_t SMChar16;
#else
typedef uint16_t SMChar16;
#endif

/* A boolean of the interface: 1 true, 0 false. */
typedef int16_t SMBool;

/* A timeout without limit: one blocking call. Any other timeout is a number of polling steps (see os.h). */
#define SM_WAIT_FOREVER 0xFFFFFFFFu

/* Modes of the global file lock: wait for it up to a minute, or try once. Any other mode tries once. */
#define SM_LOCK_WAIT 1
#define SM_LOCK_TRY 0

/* Statuses. One numbering serves the whole library; each declaration lists those that it returns and what they mean
 * there. Functions with a signed result return the same numbers, so failure is -1. */
#define SM_STATUS_SUCCESS 0u               /* success */
#define SM_STATUS_UNSUCCESSFUL 0xFFFFFFFFu /* a platform call, an allocation or a conversion failed */
#define SM_STATUS_NOT_SUPPORTED 1u         /* the selected log has no such property */
#define SM_STATUS_BAD_ARGUMENT 2u          /* a missing or over-long argument, an unsupported type */
#define SM_STATUS_TIMEOUT 3u               /* a polling wait ran out */
#define SM_STATUS_FILE_OPEN_FAILED 7u      /* a file to read cannot be opened */
#define SM_STATUS_CHDIR_FAILED 9u          /* the working directory was not restored */
#define SM_STATUS_LOCK_FAILED 11u          /* the global file lock was not obtained */
#define SM_STATUS_INDEX_OUT_OF_RANGE 12u   /* an index not below the count, an identifier not in use */
#define SM_STATUS_BUFFER_TOO_SMALL 16u     /* the in-out size is the size needed */
#define SM_STATUS_NOT_LOADED 17u           /* IP support is not loaded */
#define SM_STATUS_LIMIT_EXCEEDED 19u       /* a count or size limit; a failed or short write to a file */
#define SM_STATUS_NOT_FOUND 256u           /* no such entry, field, node, parameter, path or directory */
#define SM_STATUS_BAD_TYPE 257u            /* an object of the wrong kind, a malformed block, invalid characters */
#define SM_STATUS_ALREADY_EXISTS 258u      /* the key is already present; a rename failed */
#define SM_STATUS_FILE_NOT_OPENED 260u     /* a key=value file or its temporary file cannot be opened */
#define SM_STATUS_BAD_INI_FILE 261u        /* a section header without its closing bracket, or a read error */
#define SM_STATUS_SECTION_NOT_FOUND 262u   /* no such INI section */
#define SM_STATUS_KEY_NOT_FOUND 263u       /* no such key or occurrence of it */
#define SM_STATUS_BAD_DATA_SIZE 264u       /* a value size that breaks the rules, a stored value that does not parse */
#define SM_STATUS_FILE_REPLACE_FAILED 270u /* the old file was not removed before its replacement */
#define SM_STATUS_INVALID_PARAMETER 271u   /* a null or invalid argument */
#define SM_STATUS_NO_MEMORY 272u           /* the heap is exhausted */
#define SM_STATUS_VALUE_TOO_LARGE 290u     /* a value above its type's range */
#define SM_STATUS_VALUE_TOO_SMALL 291u     /* a value below its type's range */

#endif
