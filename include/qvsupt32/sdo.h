/* Self-describing data objects (SDOs): typed values under 16-bit field IDs, and their flat binary form.
 *
 * An SDOConfig keeps its entries ordered by field ID and knows at every moment how large its flat binary form is. A
 * value is opaque bytes of the caller's own type, or one nested SDOConfig, or an array of them. Nested objects belong
 * to the entry that holds them from the successful add on: the caller neither frees nor changes them, and never adds an
 * object to itself or to what it holds.
 *
 * Sizes are bytes. In-out sizes give the size of the buffer and come back as declared at each function. Output
 * arguments that a declaration does not name for a status are left as they were.
 *
 * Threads: an object and all that is nested in it, or a binary block, is used by one thread at a time. */
#ifndef QVSUPT32_SDO_H
#define QVSUPT32_SDO_H

#include "types.h"

QVSUPT32_BEGIN_C

/* Type bytes are the caller's own code space, except for these bits. 0 is no type. */
#define SDO_TYPE_MASK 0x0Fu   /* the bits in which the next two stand */
#define SDO_TYPE_BINARY 0x0Cu /* a block in binary form: taken by SDOConfigAddData, found in a binary's entries */
#define SDO_TYPE_CONFIG 0x0Du /* a nested object */
#define SDO_TYPE_ARRAY 0x10u  /* with the two above: an array of them */

/* The replace argument of SDOConfigAddData: exactly this value replaces, any other refuses a field that is present. */
#define SDO_KEEP 0
#define SDO_REPLACE 1

/* Field IDs from 1 to this one are valid. */
#define SDO_FIELD_ID_MAX 65533u

/* Objects, binaries and binary arrays are at most this large in binary form. */
#define SDO_BINARY_SIZE_MAX 65535u

#define SDO_BINARY_MAGIC 0x53444F42u       /* "BODS" */
#define SDO_BINARY_ARRAY_MAGIC 0x53444142u /* "BADS" */

typedef struct SDOConfig SDOConfig;

/* One entry of an object: this header with the value's bytes right behind it, in one block. */
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
QVSUPT32_API SDOConfig *SDOConfigAlloc(void);
QVSUPT32_API SDOConfig *SMSDOConfigAlloc(void);

/* Frees an object with all its entries and everything nested in it, at any depth. Null does nothing. */
QVSUPT32_API void SDOConfigFree(SDOConfig *object);
QVSUPT32_API void SMSDOConfigFree(SDOConfig *object);

/* Returns the number of entries, -1 for null. */
QVSUPT32_API int32_t SDOConfigGetCount(const SDOConfig *object);
QVSUPT32_API int32_t SMSDOConfigGetCount(const SDOConfig *object);

/* Adds a value, or replaces the one under the same field ID when replace is exactly 1. The value is copied.
 *
 * What value and dataSize are, by the low four bits of type:
 *   SDO_TYPE_CONFIG   value is the nested object itself, dataSize is sizeof(void *); with SDO_TYPE_ARRAY value is an
 *                     array of dataSize / sizeof(void *) object pointers, which is copied, null pointers counting for
 *                     nothing
 *   SDO_TYPE_BINARY   value is a binary or a binary array, which tells its own size; dataSize only has to be nonzero.
 *                     It is turned into a nested object, or an array of them, and stored as SDO_TYPE_CONFIG with the
 *                     high four bits kept
 *   anything else     dataSize bytes at value
 *
 *   271  object or value is null, the field ID is invalid, type or dataSize is 0; dataSize of one nested object is not
 *        that of a pointer; a block without either magic
 *   -1   a binary that SDOBinaryToConfig refuses; for a binary array, the statuses of SDOBinaryArrayToConfigArray
 *   19   the object has 65535 entries, or its binary size would pass 65535 with the new entry counted in full, also
 *        where it would replace another
 *   272  the heap is exhausted
 *   258  the field ID is present and replace is not 1
 *   0    stored
 * A failed add leaves the object as it was, and nested objects that were passed stay the caller's. */
QVSUPT32_API uint32_t SDOConfigAddData(SDOConfig *object, uint16_t fieldID, uint8_t type, const void *value,
                                       uint32_t dataSize, int16_t replace);
QVSUPT32_API uint32_t SMSDOConfigAddData(SDOConfig *object, uint16_t fieldID, uint8_t type, const void *value,
                                         uint32_t dataSize, int16_t replace);

/* Copies the value of a field. For nested objects the value is the stored pointer or pointers, which stay the entry's.
 *   271  object or size is null, the field ID is invalid
 *   256  no such field
 *   16   buffer is null or *size too small; *size and *type are stored
 *   0    copied; *size and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOConfigGetDataByID(const SDOConfig *object, uint16_t fieldID, uint8_t *type, void *buffer,
                                           uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigGetDataByID(const SDOConfig *object, uint16_t fieldID, uint8_t *type, void *buffer,
                                             uint32_t *size);

/* Copies the value with the (index + 1)-th smallest field ID. Takes time proportional to index.
 *   271  object, fieldID or size is null
 *   12   index is not below the count
 *   16   buffer is null or *size too small; *size, *fieldID and *type are stored
 *   0    copied; *size, *fieldID and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOConfigGetDataByIndex(const SDOConfig *object, uint32_t index, uint16_t *fieldID, uint8_t *type,
                                              void *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigGetDataByIndex(const SDOConfig *object, uint32_t index, uint16_t *fieldID,
                                                uint8_t *type, void *buffer, uint32_t *size);

/* Removes an entry with everything nested in it: all of them when removeAll is not 0, else the one under fieldID when
 * that is valid, else the one at index.
 *   271  object is null
 *   12   index is not below the count
 *   256  no such field
 *   0    removed */
QVSUPT32_API uint32_t SDOConfigRemoveData(SDOConfig *object, uint16_t fieldID, uint32_t index, int16_t removeAll);
QVSUPT32_API uint32_t SMSDOConfigRemoveData(SDOConfig *object, uint16_t fieldID, uint32_t index, int16_t removeAll);

/* Returns the size of the object's flat binary form in constant time, -1 for null. */
QVSUPT32_API int32_t SDOConfigGetBinarySize(const SDOConfig *object);
QVSUPT32_API int32_t SMSDOConfigGetBinarySize(const SDOConfig *object);

/* Counts the binary size again from the entries. Returns it when it equals the maintained one; -1 when it differs (a
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

/* 8 for a value of up to 4 bytes, which sits inside its entry, else n + 8; 0xFFFFFFFF where that passes 32 bits. */
QVSUPT32_API uint32_t CalcSDOEntrySizeByDataBinSize(uint32_t n);

/* Callbacks for trees of entries ------------------------------------------------------------------------------------
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

/* Flat binary form --------------------------------------------------------------------------------------------------
 *
 * One contiguous, position-independent block; header and entry fields are little-endian and nothing is aligned.
 *
 *   SDOBinary       offset 0  magic "BODS"
 *                          4  16-bit entry count n
 *                          6  16-bit total size, this header included
 *                          8  n entries of 8 bytes, by ascending field ID
 *                    8 + 8 n  the out-of-line values, in the order of their entries, back to back
 *   entry                  0  16-bit field ID
 *                          2  type byte; a nested object or array has SDO_TYPE_BINARY in its low bits
 *                          3  flags: 0x04 out of line; without it bits 0 and 1 hold the value's size - 1
 *                          4  1 to 4 value bytes; or 16-bit value size and 16-bit position relative to the entry
 *   SDOBinaryArray         0  magic "BADS"
 *                          4  16-bit element count
 *                          6  16-bit total size, this header included
 *                          8  complete SDOBinary blocks back to back
 *
 * Blocks may come from anywhere. A reader checks what it touches before it uses it, in constant time: that the count
 * fits the total size, that an entry's value lies behind the entry table and inside the total size, that an entry's low
 * type bits are not SDO_TYPE_CONFIG (its bytes are no object pointers), that an array's elements lie inside it. A block
 * that fails is malformed. Nothing past a block's own total size is read, and nothing past its first 8 bytes before
 * that size is known. Blocks need no alignment. */

/* Writes the object's binary form into buffer; nested objects are written in place.
 *   271  object, buffer or size is null
 *   16   *size is below SDOConfigGetBinarySize; *size is left as it was
 *   -1   something nested was changed after it was added, so that the sizes no longer agree; the buffer's content is
 *        incomplete, and *size is what the object's entries add up to now
 *   0    written; *size is the size of the binary
 * Nothing is ever written past the size given. */
QVSUPT32_API uint32_t SDOConfigToBinary(const SDOConfig *object, void *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigToBinary(const SDOConfig *object, void *buffer, uint32_t *size);

/* Returns a new object with the entries of a binary, nested ones included, freed by the caller with SDOConfigFree; null
 * when binary is null, has another magic, is malformed anywhere, holds an invalid or repeated field ID, type 0, an
 * empty value, or more than an object can, or when memory is short. The entries may stand in any order. Blocks nested
 * as deeply as their size allows are taken without recursion. */
QVSUPT32_API SDOConfig *SDOBinaryToConfig(const void *binary);
QVSUPT32_API SDOConfig *SMSDOBinaryToConfig(const void *binary);

/* Writes the objects, null pointers skipped, as a binary array; without a buffer it only measures.
 *   271  objects or size is null
 *   16   there is a buffer and *size is below 8; or the elements that fit the buffer pass 65535 bytes
 *   272  the heap is exhausted, looking at nested objects that are left out or only measured
 *   -1   an object that SDOConfigToBinary refuses
 *   0    *size is the size of all elements. When that is more than the buffer's size, the leading elements that fit
 *        were written and the rest left out: compare the two. */
QVSUPT32_API uint32_t SDOConfigArrayToBinaryArray(SDOConfig *const *objects, uint32_t count, void *buffer,
                                                  uint32_t *size);
QVSUPT32_API uint32_t SMSDOConfigArrayToBinaryArray(SDOConfig *const *objects, uint32_t count, void *buffer,
                                                    uint32_t *size);

/* Turns the elements of a binary array into new objects, each freed by the caller with SDOConfigFree. *count is the
 * capacity of objects.
 *   271  array or count is null
 *   257  another magic, or malformed
 *   16   *count is below the element count, which is stored there
 *   271  objects is null and there are elements
 *   -1   an element that SDOBinaryToConfig refuses
 *   272  the heap is exhausted
 *   0    *count is the element count
 * On a failure among the elements the objects already made are freed and their slots set to null. */
QVSUPT32_API uint32_t SDOBinaryArrayToConfigArray(const void *array, SDOConfig **objects, uint32_t *count);
QVSUPT32_API uint32_t SMSDOBinaryArrayToConfigArray(const void *array, SDOConfig **objects, uint32_t *count);

/* Returns the entry count of a binary or the element count of a binary array, as its header tells it: the rest of the
 * block is not looked at. -1 for null and any other magic. */
QVSUPT32_API int32_t SDOBinaryGetCount(const void *block);
QVSUPT32_API int32_t SMSDOBinaryGetCount(const void *block);

/* Copies the value of a field out of a binary, by binary search.
 *   271  binary or size is null, the field ID is invalid
 *   257  another magic, or malformed
 *   256  no such field
 *   16   buffer is null or *size too small; *size is stored, *type is not
 *   0    copied; *size and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOBinaryGetDataByID(const void *binary, uint16_t fieldID, uint8_t *type, void *buffer,
                                           uint32_t *size);
QVSUPT32_API uint32_t SMSDOBinaryGetDataByID(const void *binary, uint16_t fieldID, uint8_t *type, void *buffer,
                                             uint32_t *size);

/* Copies the value of the entry at index.
 *   271  binary, fieldID or size is null
 *   12   index is not below the count (decided before the magic)
 *   257  another magic, or malformed
 *   16   buffer is null or *size too small; *size is stored, *fieldID and *type are not
 *   0    copied; *size, *fieldID and *type are stored
 * type may be null. */
QVSUPT32_API uint32_t SDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *fieldID, uint8_t *type,
                                              void *buffer, uint32_t *size);
QVSUPT32_API uint32_t SMSDOBinaryGetDataByIndex(const void *binary, uint32_t index, uint16_t *fieldID, uint8_t *type,
                                                void *buffer, uint32_t *size);

/* Changes the value of an existing field. In place where the value keeps its size or stays within 4 bytes, whatever the
 * buffer's size; otherwise the binary is decoded and written again. *size is the size of the buffer.
 *   271  binary, size or value is null, the field ID is invalid, type or valueSize is 0
 *   16   *size is below 16; *size is left as it was
 *   271  another magic, or malformed
 *   256  no such field, or it has another type (as found in the binary: SDO_TYPE_BINARY for a nested block)
 *   16   SDOBinaryToConfig refuses the binary (*size is left as it was), or the buffer is too small for the new one
 *        (*size is the size needed)
 *   0    changed; *size is the binary's total size
 * and the statuses of SDOConfigAddData. On every status but 0 the binary is unchanged. */
QVSUPT32_API uint32_t SDOBinarySetData(void *binary, uint32_t *size, uint16_t fieldID, uint8_t type, const void *value,
                                       uint32_t valueSize);
QVSUPT32_API uint32_t SMSDOBinarySetData(void *binary, uint32_t *size, uint16_t fieldID, uint8_t type,
                                         const void *value, uint32_t valueSize);

/* Makes buffer an empty binary array of 8 bytes.
 *   271  buffer is null
 *   16   size is below 8
 *   0    written */
QVSUPT32_API uint32_t SDOBinaryArrayInitHeader(void *buffer, uint32_t size);
QVSUPT32_API uint32_t SMSDOBinaryArrayInitHeader(void *buffer, uint32_t size);

/* Appends a copy of element, a binary, to a binary array in a buffer of *size bytes.
 *   271  array, size or element is null
 *   16   *size is below 16; *size is left as it was
 *   271  another magic, or malformed
 *   16   the new total passes *size (*size is the new total, at most 0xFFFFFFFF), or passes 65535 (*size is left)
 *   0    appended; *size is left as it was */
QVSUPT32_API uint32_t SDOBinaryArrayAddData(void *array, uint32_t *size, const void *element, uint32_t elementSize);
QVSUPT32_API uint32_t SMSDOBinaryArrayAddData(void *array, uint32_t *size, const void *element, uint32_t elementSize);

/* Copies the element at index, a binary, out of a binary array. arraySize is not consulted: the header governs.
 *   271  array or size is null
 *   257  another magic, or malformed
 *   256  index is not below the element count
 *   257  the element, or one before it, is malformed, or the element has another magic
 *   16   buffer is null or *size too small; *size is the element's size
 *   0    copied; *size is the element's size */
QVSUPT32_API uint32_t SDOBinaryArrayGetByIndex(const void *array, uint32_t arraySize, uint32_t index, void *buffer,
                                               uint32_t *size);
QVSUPT32_API uint32_t SMSDOBinaryArrayGetByIndex(const void *array, uint32_t arraySize, uint32_t index, void *buffer,
                                                 uint32_t *size);

/* Walk callback: writes an entry at the generator's positions and moves them on. Returns -1 to go on, 0 to stop when
 * something nested cannot be written. The caller has sized the block: nothing bounds the positions here. */
QVSUPT32_API int32_t BSOCWalkSDOBinaryGenerator(void *generator, void *entry);

/* Compares the 16-bit field IDs at two addresses, in the machine's byte order: -1, 0 or 1. */
QVSUPT32_API int32_t BSOBinaryFieldIDCompare(const void *a, const void *b);

QVSUPT32_END_C

#endif
