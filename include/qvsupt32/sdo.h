/* Self-describing data objects (SDOs): typed values under 16-bit field IDs, and their flat binary form.
 *
 * An SDOConfig keeps its entries ordered by field ID and always knows how large its flat binary form is. A value is
 * opaque bytes of the caller's own type, or one nested SDOConfig, or an array of them. Nested objects belong to the
 * entry that holds them from the successful add on: the caller neither frees nor changes them, and never adds an object
 * to itself or to what it holds.
 *
 * The type byte of an SDO entry is a numbering of its own. The typed values of value.h (SM_TYPE_...) and the values of
 * an INI file (SM_INI_TYPE_..., store.h) number their types otherwise: SM_TYPE_BOOLEAN is 0, which is no type at all
 * here, and SM_TYPE_BINARY is 12, which makes SDOConfigAddData take the value for a block in binary form. Give each
 * kind of value a type byte of your own, for example
 *
 *   #define MY_TYPE_U32 0x01
 *   #define MY_TYPE_UTF8 0x02
 *   SDOConfigAddData(object, 1, MY_TYPE_U32, &number, sizeof(number), SDO_KEEP);     not SM_TYPE_U32
 *
 * Sizes are bytes. In-out sizes are the size of the buffer and are changed as declared at each function. Output
 * arguments that a declaration does not name for a status are left as they were. Statuses are listed in the order in
 * which they are decided.
 *
 * Threads: an object with all that is nested in it, or a binary block, is used by one thread at a time. Signal
 * handlers: none of these functions may be called there. */
#ifndef QVSUPT32_SDO_H
#define QVSUPT32_SDO_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Type bytes are the caller's own code space, except for these bits. 0 is no type. */
#define SDO_TYPE_MASK 0x0Fu   /* the bits that hold the next two */
#define SDO_TYPE_BINARY 0x0Cu /* a block in binary form: taken by SDOConfigAddData, found in a binary's entries */
#define SDO_TYPE_CONFIG 0x0Du /* a nested object */
#define SDO_TYPE_ARRAY 0x10u  /* with the two above: an array of them */

/* The replace argument of SDOConfigAddData: exactly SDO_REPLACE replaces. Since 4.1. */
#define SDO_KEEP 0
#define SDO_REPLACE 1

/* Field IDs from 1 to this one are valid. */
#define SDO_FIELD_ID_MAX 65533u

/* Objects, binaries and binary arrays are at most this large in binary form. */
#define SDO_BINARY_SIZE_MAX 65535u

#define SDO_BINARY_MAGIC 0x53444F42u       /* "BODS" */
#define SDO_BINARY_ARRAY_MAGIC 0x53444142u /* "BADS" */

typedef struct SDOConfig SDOConfig;

/* One entry of an object: this header followed by the bytes of the value, in one block. */
typedef struct SDOConfigEntry {
  uint32_t dataSize; /* bytes of the value */
  uint16_t fieldID;
  uint8_t type;
  uint8_t reserved; /* 0 */
} SDOConfigEntry;

/* Walk context of the lookups by the callbacks below. */
typedef struct SDOConfigQuery {
  SDOConfigEntry *matched; /* null until a match is recorded */
  uint32_t counter;        /* entries passed so far */
  uint32_t targetIndex;
  uint16_t fieldID;
  uint8_t kind; /* SDO_QUERY_BY_ID or SDO_QUERY_BY_INDEX */
} SDOConfigQuery;

#define SDO_QUERY_BY_ID 1u
#define SDO_QUERY_BY_INDEX 2u

/* Walk context of BSOCWalkSDOBinaryGenerator. */
typedef struct SDOBinaryGenerator {
  uint8_t *nextEntry;    /* where the next 8-byte entry goes */
  uint8_t *nextValue;    /* where the next out-of-line value goes */
  uint32_t runningTotal; /* bytes of the binary so far */
} SDOBinaryGenerator;

/* Objects ---------------------------------------------------------------------------------------------------------- */

/* Returns a new empty object (count 0, binary size 8), owned by the caller until SDOConfigFree or until it is nested;
 * null when the heap is exhausted. */
QVSUPT32_API QVSUPT32_NEW SDOConfig *SDOConfigAlloc(void);
QVSUPT32_API QVSUPT32_NEW SDOConfig *SMSDOConfigAlloc(void);

/* Frees an object with all its entries and everything nested in it, at any depth. Null does nothing. */
QVSUPT32_API void SDOConfigFree(SDOConfig *object);
QVSUPT32_API void SMSDOConfigFree(SDOConfig *object);

/* Returns the number of entries, -1 for null. */
QVSUPT32_API int32_t SDOConfigGetCount(const SDOConfig *object);
QVSUPT32_API int32_t SMSDOConfigGetCount(const SDOConfig *object);

/* Adds a value, or replaces the one under the same field ID if replace is exactly SDO_REPLACE (1). The value is copied.
 *
 * What value and dataSize are, by the low four bits of type:
 *   SDO_TYPE_CONFIG   value is the nested object itself (not the address of a pointer to it), dataSize is
 *                     sizeof(void *). Another size is kept as the entry's data size, and one object is stored all the
 *                     same. With SDO_TYPE_ARRAY, value is an array of dataSize / sizeof(void *) object pointers, which
 *                     is copied; null pointers count for nothing
 *   SDO_TYPE_BINARY   value is a binary or a binary array, whose header has its size; dataSize only has to be nonzero.
 *                     It is decoded into a nested object or an array of them, and stored as SDO_TYPE_CONFIG with the
 *                     high four bits kept: a binary array is stored under a type with SDO_TYPE_ARRAY even if the type
 *                     was given without, and a binary given with SDO_TYPE_ARRAY becomes an array of one object
 *   anything else     dataSize bytes at value
 *
 *   SM_STATUS_INVALID_PARAMETER (271)  object or value is null, the field ID is invalid, type or dataSize is 0; a
 *                                      block without either magic
 *   SM_STATUS_UNSUCCESSFUL (-1)        a binary that SDOBinaryToConfig refuses. A binary array gives the statuses of
 *                                      SDOBinaryArrayToConfigArray
 *   SM_STATUS_LIMIT_EXCEEDED (19)      the object has 65535 entries, or its binary size would pass 65535 with the new
 *                                      entry counted in full, also if it would replace another
 *   SM_STATUS_NO_MEMORY (272)          the heap is exhausted
 *   SM_STATUS_ALREADY_EXISTS (258)     the field ID is present and replace is not SDO_REPLACE
 *   SM_STATUS_SUCCESS (0)              stored
 * A failed add leaves the object as it was, and nested objects that were passed remain the caller's. A nested object
 * that is put into its own place again stays; everything else that a replaced entry held is freed. */
QVSUPT32_API uint32_t SDOConfigAddData(SDOConfig *object, uint16_t fieldID, uint8_t type, const void *value,
                                       uint32_t dataSize, int16_t replace);
QVSUPT32_API uint32_t SMSDOConfigAddData(SDOConfig *object, uint16_t fieldID, uint8_t type, const void *value,
                                         uint32_t dataSize, int16_t replace);

/* Copies the value of a field. For nested objects the value is the stored pointer or pointers, which still belong to
 * the entry. A status 16 stores the type here; the lookups in a binary do not.
 *   SM_STATUS_INVALID_PARAMETER (271)  object or size is null, the field ID is invalid
 *   SM_STATUS_NOT_FOUND (256)          no such field
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    buffer is null or *size too small; *size and *type are stored
 *   SM_STATUS_SUCCESS (0)              copied; *size and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOConfigGetDataByID(const SDOConfig *object, uint16_t fieldID, uint8_t *type, void *buffer,
                                           uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigGetDataByID(const SDOConfig *object, uint16_t fieldID, uint8_t *type, void *buffer,
                                             uint32_t *size);

/* Copies the value with the (index + 1)-th smallest field ID. Takes time proportional to index.
 *   SM_STATUS_INVALID_PARAMETER (271)  object, fieldID or size is null
 *   SM_STATUS_INDEX_OUT_OF_RANGE (12)  index is not below the count
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    buffer is null or *size too small; *size, *fieldID and *type are stored
 *   SM_STATUS_SUCCESS (0)              copied; *size, *fieldID and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOConfigGetDataByIndex(const SDOConfig *object, uint32_t index, uint16_t *fieldID, uint8_t *type,
                                              void *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigGetDataByIndex(const SDOConfig *object, uint32_t index, uint16_t *fieldID,
                                                uint8_t *type, void *buffer, uint32_t *size);

/* Removes an entry with everything nested in it: all of them if removeAll is not 0, else the one under fieldID if that
 * is valid, else the one at index.
 *   SM_STATUS_INVALID_PARAMETER (271)  object is null
 *   SM_STATUS_INDEX_OUT_OF_RANGE (12)  index is not below the count
 *   SM_STATUS_NOT_FOUND (256)          no such field
 *   SM_STATUS_SUCCESS (0)              removed */
QVSUPT32_API uint32_t SDOConfigRemoveData(SDOConfig *object, uint16_t fieldID, uint32_t index, int16_t removeAll);
QVSUPT32_API uint32_t SMSDOConfigRemoveData(SDOConfig *object, uint16_t fieldID, uint32_t index, int16_t removeAll);

/* Returns the size of the object's flat binary form in constant time, -1 for null. */
QVSUPT32_API int32_t SDOConfigGetBinarySize(const SDOConfig *object);
QVSUPT32_API int32_t SMSDOConfigGetBinarySize(const SDOConfig *object);

/* Counts the binary size again from the entries. Returns it if it equals the maintained one; -1 if it differs (a
 * nested object was changed after it was added) or object is null. */
QVSUPT32_API int32_t SDOConfigReCalcBinarySize(const SDOConfig *object);

/* Returns 1 for field IDs from 1 to 65533, else 0. */
QVSUPT32_API SMBool BSOCIsFieldIDValid(uint16_t fieldID);

/* The size that a stored value takes in binary form, returned and stored through size: for one nested object its binary
 * size, for an array of them 8 and the sum of theirs, else dataSize. value is the address of the stored bytes, so of
 * the pointer or pointers for nested objects. size may be null. Sizes beyond 32 bits give 0xFFFFFFFF. */
QVSUPT32_API uint32_t CalcDataBinSizeByType(uint8_t type, const void *value, uint32_t dataSize, uint32_t *size);

/* The bytes that an entry adds to its object's binary size: CalcSDOEntrySizeByDataBinSize of the above, returned and
 * stored through size, which may be null. */
QVSUPT32_API uint32_t CalcSDOEntrySizeByType(uint8_t type, const void *value, uint32_t dataSize, uint32_t *size);

/* 8 for a value of up to 4 bytes, which is inside its entry, else n + 8; 0xFFFFFFFF where that passes 32 bits. */
QVSUPT32_API uint32_t CalcSDOEntrySizeByDataBinSize(uint32_t n);

/* Callbacks for trees of entries -----------------------------------------------------------------------------------
 *
 * They follow the contract of SMRedBlackTreeCallback; none of their arguments may be null except where it says so. */

/* -1, 0 or 1 as a is below, equal to or above b. */
QVSUPT32_API int32_t BSOCu8WalkCompare(uint8_t a, uint8_t b);
QVSUPT32_API int32_t BSOCu16WalkCompare(uint16_t a, uint16_t b);
QVSUPT32_API int32_t BSOCu32WalkCompare(uint32_t a, uint32_t b);

/* Compares two SDOConfigEntry records by field ID. */
QVSUPT32_API int32_t BSOCWalkInsert(void *keyEntry, void *nodeEntry);

/* Compares an SDOConfigQuery with an entry: by field ID, or target index with counter, in which case a difference moves
 * the counter on. Any other kind of query gives -1. */
QVSUPT32_API int32_t BSOCWalkNodeDataQuery(void *query, void *nodeEntry);

/* Compares by the query's field ID and records the entry that matches. */
QVSUPT32_API int32_t BSOCWalkRemoveByFieldID(void *query, void *nodeEntry);

/* Compares target index with counter and records the entry that matches, or moves the counter on. */
QVSUPT32_API int32_t BSOCWalkRemoveByIndex(void *query, void *nodeEntry);

/* Frees the objects nested in an entry and nulls their pointers. Does nothing to entries of other types. */
QVSUPT32_API void BSOCConfigDataPointerFree(SDOConfigEntry *entry);

/* Release callback: frees what is nested in the entry, then the entry. context is not used. Returns 0. */
QVSUPT32_API int32_t BSOCNotifyDelNodeData(void *context, void *entry);

/* Walk callback: adds CalcSDOEntrySizeByType of the entry to the uint32_t at total. Returns -1, to go on. */
QVSUPT32_API int32_t BSOCWalkCalculateBinarySize(void *total, void *entry);

/* Flat binary form -------------------------------------------------------------------------------------------------
 *
 * One contiguous, position-independent block; header and entry fields are little-endian and nothing is aligned.
 *
 *   SDOBinary       offset 0  magic "BODS"
 *                          4  16-bit entry count n
 *                          6  16-bit total size, this header included
 *                          8  n entries of 8 bytes, by ascending field ID
 *                    8 + 8 n  the out-of-line values, in the order of their entries, back to back
 *   entry                  0  16-bit field ID
 *                          2  type byte; the low bits of a nested block are SDO_TYPE_BINARY, and SDO_TYPE_ARRAY is set
 *                             if it is an SDOBinaryArray: 0x0C and 0x1C where no other bit is set
 *                          3  flags: 0x04 out of line; without it bits 0 and 1 hold the value's size - 1
 *                          4  1 to 4 value bytes; or 16-bit value size and 16-bit position relative to the entry
 *   SDOBinaryArray         0  magic "BADS"
 *                          4  16-bit element count
 *                          6  16-bit total size, this header included
 *                          8  complete SDOBinary blocks back to back
 *
 * Blocks may come from anywhere. A reader checks in constant time what it is about to use: the magic; then what the
 * count alone decides (a block that counts nothing is empty, whatever its size says); then that the count fits the
 * total size, that the value of an entry is after the entry table and inside the total size, that its low type bits
 * are not SDO_TYPE_CONFIG (its bytes are no object pointers), that the elements of an array are inside it. A block
 * that fails is malformed. Nothing past a block's own total size is read, and nothing past its first 8 bytes before
 * that size is known. Each field is read once, so a block that another process changes meanwhile gives one value or
 * another and never a fault; use a lock or a copy where one and the same state is needed. */

/* Writes the object's binary form into buffer; nested objects are written in place.
 *   SM_STATUS_INVALID_PARAMETER (271)  object, buffer or size is null
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is below SDOConfigGetBinarySize; *size is left as it was
 *   SM_STATUS_UNSUCCESSFUL (-1)        something nested was changed after it was added, so that the sizes no longer
 *                                      agree, or is nested deeper than eight levels and the heap is exhausted; the
 *                                      content of the buffer is incomplete. *size is where the walk through the
 *                                      entries ended: the sum of all entries as they are now, or of those before the
 *                                      first whose nested objects cannot be written
 *   SM_STATUS_SUCCESS (0)              written; *size is the size of the binary
 * Nothing is ever written past the size given, and the output is not read. */
QVSUPT32_API uint32_t SDOConfigToBinary(const SDOConfig *object, void *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigToBinary(const SDOConfig *object, void *buffer, uint32_t *size);

/* Returns a new object with the entries of a binary, nested ones included, freed by the caller with SDOConfigFree;
 * null if binary is null, has another magic, is malformed anywhere, holds an invalid or repeated field ID, type 0, an
 * empty value, or more than an object can, or if the heap is exhausted. The entries may be in any order. Blocks nested
 * as deeply as their size allows are taken without recursion. */
QVSUPT32_API QVSUPT32_NEW SDOConfig *SDOBinaryToConfig(const void *binary);
QVSUPT32_API QVSUPT32_NEW SDOConfig *SMSDOBinaryToConfig(const void *binary);

/* Writes the objects, null pointers skipped, as a binary array; without a buffer it only measures.
 *   SM_STATUS_INVALID_PARAMETER (271)  objects or size is null
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    there is a buffer and *size is below 8
 *   SM_STATUS_UNSUCCESSFUL (-1)        an object that SDOConfigToBinary refuses, also one that is left out or only
 *                                      measured
 *   SM_STATUS_NO_MEMORY (272)          the heap is exhausted
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the elements that fit the buffer pass 65535 bytes
 *   SM_STATUS_SUCCESS (0)              *size is the size of all elements. If that is more than the buffer's size, the
 *                                      leading elements that fit were written and the rest left out: compare the two
 * The statuses from -1 on are decided object by object; *size is left as it was on all of them but 0. */
QVSUPT32_API uint32_t SDOConfigArrayToBinaryArray(SDOConfig *const *objects, uint32_t count, void *buffer,
                                                  uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigArrayToBinaryArray(SDOConfig *const *objects, uint32_t count, void *buffer,
                                                    uint32_t *size);

/* Turns the elements of a binary array into new objects, each freed by the caller with SDOConfigFree. *count is the
 * capacity of objects.
 *   SM_STATUS_INVALID_PARAMETER (271)  array or count is null
 *   SM_STATUS_BAD_TYPE (257)           another magic
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *count is below the element count, which is stored there
 *   SM_STATUS_INVALID_PARAMETER (271)  objects is null and there are elements
 *   SM_STATUS_BAD_TYPE (257)           malformed, or an element that is no binary or reaches outside the array
 *   SM_STATUS_UNSUCCESSFUL (-1)        an element that SDOBinaryToConfig refuses
 *   SM_STATUS_NO_MEMORY (272)          the heap is exhausted
 *   SM_STATUS_SUCCESS (0)              *count is the element count
 * The statuses of elements are decided one by one in their order. If one fails, the objects already made are freed and
 * their slots set to null. */
QVSUPT32_API uint32_t SDOBinaryArrayToConfigArray(const void *array, SDOConfig **objects, uint32_t *count);
QVSUPT32_API uint32_t SMSDOBinaryArrayToConfigArray(const void *array, SDOConfig **objects, uint32_t *count);

/* Returns the entry count of a binary or the element count of a binary array from its header: the rest of the block is
 * not looked at. -1 for null and any other magic. */
QVSUPT32_API int32_t SDOBinaryGetCount(const void *block);
QVSUPT32_API int32_t SMSDOBinaryGetCount(const void *block);

/* Copies the value of a field out of a binary, by binary search.
 *   SM_STATUS_INVALID_PARAMETER (271)  binary or size is null, the field ID is invalid
 *   SM_STATUS_BAD_TYPE (257)           another magic, or a count that passes the total size
 *   SM_STATUS_NOT_FOUND (256)          no such field
 *   SM_STATUS_BAD_TYPE (257)           the entry of the field is malformed
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    buffer is null or *size too small; *size is stored, *type is not
 *   SM_STATUS_SUCCESS (0)              copied; *size and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOBinaryGetDataByID(const void *binary, uint16_t fieldID, uint8_t *type, void *buffer,
                                           uint32_t *size);
QVSUPT32_API uint32_t SMSDOBinaryGetDataByID(const void *binary, uint16_t fieldID, uint8_t *type, void *buffer,
                                             uint32_t *size);

/* Copies the value of the entry at index.
 *   SM_STATUS_INVALID_PARAMETER (271)  binary, fieldID or size is null
 *   SM_STATUS_INDEX_OUT_OF_RANGE (12)  index is not below the count (decided before the magic)
 *   SM_STATUS_BAD_TYPE (257)           another magic, or malformed
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    buffer is null or *size too small; *size is stored, *fieldID and *type are not
 *   SM_STATUS_SUCCESS (0)              copied; *size, *fieldID and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *fieldID, uint8_t *type,
                                              void *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMSDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *fieldID, uint8_t *type,
                                                void *buffer, uint32_t *size);

/* Changes the value of an existing field: in place if an out-of-line value keeps its size, or an inline one stays
 * within 4 bytes, whatever the size of the buffer; otherwise the binary is decoded and written anew. *size is the size
 * of the buffer. The value may be a part of the binary. valueSize 0 makes an inline value one of 4 bytes as they are,
 * and is refused for any other that is not empty.
 *   SM_STATUS_INVALID_PARAMETER (271)  binary, size or value is null, the field ID is invalid, type is 0
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is below 16; *size is left as it was
 *   SM_STATUS_INVALID_PARAMETER (271)  another magic, or a count that passes the total size
 *   SM_STATUS_NOT_FOUND (256)          no such field, or it has another type (as found in the binary: SDO_TYPE_BINARY
 *                                      for a nested block)
 *   SM_STATUS_INVALID_PARAMETER (271)  the entry of the field is malformed
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    SDOBinaryToConfig refuses the binary; *size is left as it was
 *   SM_STATUS_INVALID_PARAMETER (271)  valueSize is 0; and the other statuses of SDOConfigAddData with SDO_REPLACE
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the buffer is too small for the new binary; *size is the size needed
 *   SM_STATUS_SUCCESS (0)              changed; *size is the binary's total size
 * On every status but 0 the binary is unchanged. */
QVSUPT32_API uint32_t SDOBinarySetData(void *binary, uint32_t *size, uint16_t fieldID, uint8_t type, const void *value,
                                       uint32_t valueSize);
QVSUPT32_API uint32_t SMSDOBinarySetData(void *binary, uint32_t *size, uint16_t fieldID, uint8_t type,
                                         const void *value, uint32_t valueSize);

/* Finds out whether a binary is whole: whether it decodes, memory permitting, and every field is then found by its ID,
 * in it and in all that is nested in it. available is the number of bytes that may be read, for example the size of the
 * message or file that the block came in.
 *
 * A whole block has the magic of a binary, a count that fits its total size, and a total size within available; field
 * IDs that are valid, ascending and unique; types that are not 0 and not of an object in memory; values that are not
 * empty and inside the value area; SDO_TYPE_ARRAY set for a nested binary array and clear for a nested binary. Nothing
 * but the size of the values counts where they share bytes: a block that decodes into more than 65535 bytes is not
 * whole. The bytes after an inline value and between values do not matter.
 *
 * Takes no heap, at most 64 KiB of stack and time proportional to the 65535 bytes, whatever the block holds. The block
 * must not change meanwhile, or what was found out may no longer hold: lock shared memory or copy it first. Since 4.1.
 *   SM_STATUS_INVALID_PARAMETER (271)  block is null
 *   SM_STATUS_BAD_TYPE (257)           not a whole binary
 *   SM_STATUS_SUCCESS (0)              whole; *size is the total size
 * size may be null. */
QVSUPT32_API uint32_t SMSDOBinaryCheck(const void *block, uint32_t available, uint32_t *size);

/* Returns where the value of a field is in a binary, of which available bytes may be read; *type and *size are what
 * SDOBinaryGetDataByID stores, and may be null. The value needs no alignment and is valid as long as the block is. A
 * nested block is found under the type that the binary has for it, SDO_TYPE_BINARY with or without SDO_TYPE_ARRAY in
 * the low bits, and can be searched in turn.
 *
 * Returns null, with *type and *size as they were, if block is null, the field ID is invalid, the block is an array or
 * has another magic, its total size is above available, its count passes its total size, there is no such field, or the
 * value is outside the value area or that of an object in memory. Since 4.1. */
QVSUPT32_API const void *SMSDOBinaryFindValue(const void *block, uint32_t available, uint16_t fieldID, uint8_t *type,
                                              uint32_t *size);

/* Makes buffer an empty binary array of 8 bytes.
 *   SM_STATUS_INVALID_PARAMETER (271)  buffer is null
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    size is below 8
 *   SM_STATUS_SUCCESS (0)              written */
QVSUPT32_API uint32_t SDOBinaryArrayInitHeader(void *buffer, uint32_t size);
QVSUPT32_API uint32_t SMSDOBinaryArrayInitHeader(void *buffer, uint32_t size);

/* Appends elementSize bytes, a binary, to a binary array in a buffer of *size bytes. The element is not looked at: it
 * has to be a binary whose total size is elementSize, or readers refuse the array from here on.
 *   SM_STATUS_INVALID_PARAMETER (271)  array, size or element is null
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    *size is below 16; *size is left as it was
 *   SM_STATUS_INVALID_PARAMETER (271)  another magic, or malformed
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the new total passes *size; *size is the new total, at most 0xFFFFFFFF
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    the new total passes 65535; *size is left as it was
 *   SM_STATUS_SUCCESS (0)              appended; *size is left as it was */
QVSUPT32_API uint32_t SDOBinaryArrayAddData(void *array, uint32_t *size, const void *element, uint32_t elementSize);
QVSUPT32_API uint32_t SMSDOBinaryArrayAddData(void *array, uint32_t *size, const void *element, uint32_t elementSize);

/* Copies the element at index, a binary, out of a binary array. arraySize is ignored, whatever it is: the total size
 * in the header of the array governs, so the block has to be as long as that says.
 *   SM_STATUS_INVALID_PARAMETER (271)  array or size is null
 *   SM_STATUS_BAD_TYPE (257)           another magic
 *   SM_STATUS_NOT_FOUND (256)          index is not below the element count
 *   SM_STATUS_BAD_TYPE (257)           the array, the element or one before it is malformed, or the element has
 *                                      another magic
 *   SM_STATUS_BUFFER_TOO_SMALL (16)    buffer is null or *size too small; *size is the element's size
 *   SM_STATUS_SUCCESS (0)              copied; *size is the element's size */
QVSUPT32_API uint32_t SDOBinaryArrayGetByIndex(const void *array, uint32_t arraySize, uint32_t index, void *buffer,
                                               uint32_t *size);
QVSUPT32_API uint32_t SMSDOBinaryArrayGetByIndex(const void *array, uint32_t arraySize, uint32_t index, void *buffer,
                                                 uint32_t *size);

/* Walk callback: writes an entry at the positions of an SDOBinaryGenerator, moves them on and returns -1, to go on.
 * The size and the position of a value are kept to their low 16 bits. If something nested cannot be written or the
 * heap is exhausted, it returns 0, to stop: the entry then has its field ID, the type of the object and zeros, and no
 * position has moved. The caller has sized the block: nothing bounds the positions here. */
QVSUPT32_API int32_t BSOCWalkSDOBinaryGenerator(void *generator, void *entry);

/* Compares the 16-bit field IDs at two addresses, in the machine's byte order: -1, 0 or 1. */
QVSUPT32_API int32_t BSOBinaryFieldIDCompare(const void *a, const void *b);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
