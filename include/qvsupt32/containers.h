/* Containers: the red-black tree, linked lists, the hash identifier table.
 *
 * A container holds the caller's data pointers. It never copies, inspects or frees what they point to, and has no state
 * but what is declared here. Statuses are listed in the order in which they are decided.
 *
 * Threads: nothing is locked; the owner of a container serializes all operations on it. Signal handlers: none of these
 * functions may be called there. */
#ifndef QVSUPT32_CONTAINERS_H
#define QVSUPT32_CONTAINERS_H

#include "types.h"

QVSUPT32_BEGIN_C

#include "hide_unprefixed.inc"

/* Red-black tree ----------------------------------------------------------------------------------------------------
 *
 * The tree's handle is one pointer-sized slot of the caller that holds the root, null for an empty tree. Operations
 * that change the tree take the address of the slot, the others the root itself. Insert, delete and find make at most
 * one comparison a level, and the height stays at most 2 log2(n + 1).
 *
 * Deleting can move a datum into another node: keep data pointers, never node pointers. */

#define SM_TREE_BLACK 0u
#define SM_TREE_RED 1u

typedef struct SMRedBlackTreeNode {
  struct SMRedBlackTreeNode *left;   /* null for none, which counts as a black leaf */
  struct SMRedBlackTreeNode *right;  /* likewise */
  struct SMRedBlackTreeNode *parent; /* null at the root */
  void *data;                        /* the caller's, never null in a tree */
  uint32_t color;                    /* SM_TREE_RED or SM_TREE_BLACK */
} SMRedBlackTreeNode;

/* A callback, called with the caller's key or context and a node's datum.
 *   To compare (insert, replace, delete, find, walk mode 3): 0 when the datum is the one sought, negative when the key
 *     ranks before it, positive when it ranks after. An inconsistent order makes lookups miss, it never breaks the
 *     tree.
 *   To walk: 0 stops the walk at this datum, anything else goes on; in mode 4 the sign steers as well.
 *   To release: called once for every datum, when all below it are gone; the result is ignored. It may look at what is
 *     left of the tree: the node of its own datum, without children, and all that is not yet released.
 * A callback must not change the tree that it is called for. */
typedef int32_t (*SMRedBlackTreeCallback)(void *key, void *nodeData);

/* Walk modes. */
#define SM_TREE_WALK_NODE 0u       /* the given node only */
#define SM_TREE_WALK_ASCENDING 1u  /* left subtree, node, right subtree */
#define SM_TREE_WALK_DESCENDING 2u /* right subtree, node, left subtree */
#define SM_TREE_WALK_SEARCH 3u     /* the callback compares; the matching datum */
#define SM_TREE_WALK_STEERED 4u    /* node, then both subtrees, the one that the sign names first */

/* Makes the slot an empty tree. A null handle does nothing. */
QVSUPT32_API void RedBlackTreeAttach(SMRedBlackTreeNode **tree);
QVSUPT32_API void SMRedBlackTreeAttach(SMRedBlackTreeNode **tree);

/* Clears the slot without freeing any node; RedBlackTreeDelete empties a tree first. A null handle does nothing. */
QVSUPT32_API void RedBlackTreeDetach(SMRedBlackTreeNode **tree);
QVSUPT32_API void SMRedBlackTreeDetach(SMRedBlackTreeNode **tree);

/* Returns 1 when the root is null, else 0. */
QVSUPT32_API SMBool RedBlackTreeIsEmpty(const SMRedBlackTreeNode *root);
QVSUPT32_API int32_t SMRedBlackTreeIsEmpty(const SMRedBlackTreeNode *root);

/* Inserts datum where compare ranks key.
 *   SM_STATUS_INVALID_PARAMETER (271)  tree, datum, key or compare is null
 *   SM_STATUS_ALREADY_EXISTS (258)     a datum compares equal; the tree is unchanged
 *   SM_STATUS_NO_MEMORY (272)          no node can be allocated; the tree is unchanged
 *   SM_STATUS_SUCCESS (0)              inserted */
QVSUPT32_API uint32_t RedBlackTreeDataInsert(SMRedBlackTreeNode **tree, void *datum, void *key,
                                             SMRedBlackTreeCallback compare);
QVSUPT32_API uint32_t SMRedBlackTreeDataInsert(SMRedBlackTreeNode **tree, void *datum, void *key,
                                               SMRedBlackTreeCallback compare);

/* Puts newDatum in the place of the datum that compares equal to key, and returns the old one; null when there is none
 * or an argument is null. newDatum must rank where the old one did. */
QVSUPT32_API void *RedBlackTreeDataReplace(SMRedBlackTreeNode **tree, void *newDatum, void *key,
                                           SMRedBlackTreeCallback compare);
QVSUPT32_API void *SMRedBlackTreeDataReplace(SMRedBlackTreeNode **tree, void *newDatum, void *key,
                                             SMRedBlackTreeCallback compare);

/* Takes the datum that compares equal to key out of the tree. The caller, who found it through its key, frees it.
 *   SM_STATUS_INVALID_PARAMETER (271)  tree, key or compare is null
 *   SM_STATUS_NOT_FOUND (256)          no datum compares equal
 *   SM_STATUS_SUCCESS (0)              taken out */
QVSUPT32_API uint32_t RedBlackTreeDataDelete(SMRedBlackTreeNode **tree, void *key, SMRedBlackTreeCallback compare);
QVSUPT32_API uint32_t SMRedBlackTreeDataDelete(SMRedBlackTreeNode **tree, void *key, SMRedBlackTreeCallback compare);

/* Empties the tree: right subtree, left subtree, then release(context, datum) and the node, so that every datum is
 * released after all the data below it. context and release may be null. A null handle or root does nothing. */
QVSUPT32_API void RedBlackTreeDelete(SMRedBlackTreeNode **tree, void *context, SMRedBlackTreeCallback release);
QVSUPT32_API void SMRedBlackTreeDelete(SMRedBlackTreeNode **tree, void *context, SMRedBlackTreeCallback release);

/* Walks from node in one of the modes above and returns the datum at which the callback returned 0, null when it never
 * did, when node, context or callback is null, or when the mode is above 4. */
QVSUPT32_API void *RedBlackTreeDataWalk(SMRedBlackTreeNode *node, void *context, SMRedBlackTreeCallback callback,
                                        uint32_t mode);
QVSUPT32_API void *SMRedBlackTreeDataWalk(SMRedBlackTreeNode *node, void *context, SMRedBlackTreeCallback callback,
                                          uint32_t mode);

/* Returns a new red node without children, owned by the caller until it is linked; null when the heap is exhausted. */
QVSUPT32_API QVSUPT32_OWNED SMRedBlackTreeNode *SMRedBlackTreeNodeAlloc(SMRedBlackTreeNode *parent, void *datum);

/* Frees a node, never its datum. Null does nothing. */
QVSUPT32_API void SMRedBlackTreeNodeFree(SMRedBlackTreeNode *node);

/* Returns the node whose datum compares equal to key, null when there is none or root, key or compare is null. */
QVSUPT32_API SMRedBlackTreeNode *SMRedBlackTreeNodeFind(SMRedBlackTreeNode *root, void *key,
                                                        SMRedBlackTreeCallback compare);

/* Building blocks of insert and delete; callers use them only through those two. A rotation moves node down to the side
 * it is named for, and its other child up in its place; without that child it does nothing. */
QVSUPT32_API void RedBlackTreeRotateLeft(SMRedBlackTreeNode **tree, SMRedBlackTreeNode *node);
QVSUPT32_API void RedBlackTreeRotateRight(SMRedBlackTreeNode **tree, SMRedBlackTreeNode *node);

/* Restores the colours after node was linked as a red leaf. */
QVSUPT32_API void RedBlackTreeInsertFixup(SMRedBlackTreeNode **tree, SMRedBlackTreeNode *node);

/* Restores the colours after a black node was unlinked: node took its place (it may be null) below parent. */
QVSUPT32_API void RedBlackTreeDeleteFixup(SMRedBlackTreeNode **tree, SMRedBlackTreeNode *node,
                                          SMRedBlackTreeNode *parent);

/* Linked lists ------------------------------------------------------------------------------------------------------
 *
 * Intrusive lists, singly (SLList) and doubly linked (DLList), with a head and a tail. A list never frees an entry:
 * every removal hands it back, its links as they were. An entry is in at most one list at a time. The data pointer is
 * set when an entry is allocated and cleared when it is freed; the lists never read it, and callbacks are given
 * entries.
 *
 * Functions without a result do nothing, and those that return an entry return null, when the list or an entry that
 * they need is null. Inserting at head or tail, removing at the head, and every removal from a doubly linked list take
 * constant time. */

typedef struct SLListEntry {
  struct SLListEntry *next; /* null at the tail */
  void *data;               /* the data area that follows the entry, or null */
} SLListEntry;

typedef struct SLList {
  SLListEntry *head; /* null when empty */
  SLListEntry *tail; /* null when empty */
} SLList;

typedef struct DLListEntry {
  struct DLListEntry *next;     /* null at the tail */
  struct DLListEntry *previous; /* null at the head */
  void *data;                   /* the data area that follows the entry, or null */
} DLListEntry;

typedef struct DLList {
  DLListEntry *head; /* null when empty */
  DLListEntry *tail; /* null when empty */
} DLList;

/* A callback, called with the caller's key or context and an entry: 0 selects the entry. For the ordered insert a
 * negative value means that the new entry goes before this one, a positive value that it goes after it. It must not
 * change the list. */
typedef int32_t (*SMListCallback)(void *key, void *entry);

/* Returns a new empty list, freed by the caller with SLListFree or DLListFree; null when the heap is exhausted. */
QVSUPT32_API QVSUPT32_NEW SLList *SLListAlloc(void);
QVSUPT32_API QVSUPT32_NEW SLList *SMSLListAlloc(void);
QVSUPT32_API QVSUPT32_NEW DLList *DLListAlloc(void);
QVSUPT32_API QVSUPT32_NEW DLList *SMDLListAlloc(void);

/* Frees the list itself; entries that it still holds stay the caller's. Null does nothing. */
QVSUPT32_API void SLListFree(SLList *list);
QVSUPT32_API void SMSLListFree(SLList *list);
QVSUPT32_API void DLListFree(DLList *list);
QVSUPT32_API void SMDLListFree(DLList *list);

/* Makes a list in the caller's memory empty. */
QVSUPT32_API void SLListInitNoAlloc(SLList *list);
QVSUPT32_API void SMSLListInitNoAlloc(SLList *list);
QVSUPT32_API void DLListInitNoAlloc(DLList *list);
QVSUPT32_API void SMDLListInitNoAlloc(DLList *list);

/* Returns a new unlinked entry followed by a data area of that many bytes, to which its data pointer points
 * (null for 0 bytes); freed by the caller with SLListEntryFree or DLListEntryFree. Null when the heap is exhausted or
 * the sum of both sizes passes 32 bits. */
QVSUPT32_API QVSUPT32_OWNED SLListEntry *SLListEntryAlloc(uint32_t dataSize);
QVSUPT32_API QVSUPT32_OWNED SLListEntry *SMSLListEntryAlloc(uint32_t dataSize);
QVSUPT32_API QVSUPT32_OWNED DLListEntry *DLListEntryAlloc(uint32_t dataSize);
QVSUPT32_API QVSUPT32_OWNED DLListEntry *SMDLListEntryAlloc(uint32_t dataSize);

/* Clears the data pointer and frees the entry with its data area. */
QVSUPT32_API void SLListEntryFree(SLListEntry *entry);
QVSUPT32_API void SMSLListEntryFree(SLListEntry *entry);
QVSUPT32_API void DLListEntryFree(DLListEntry *entry);
QVSUPT32_API void SMDLListEntryFree(DLListEntry *entry);

/* Clears the links of an entry in the caller's memory; its data pointer is left. */
QVSUPT32_API void SLListEntryInitNoAlloc(SLListEntry *entry);
QVSUPT32_API void SMSLListEntryInitNoAlloc(SLListEntry *entry);
QVSUPT32_API void DLListEntryInitNoAlloc(DLListEntry *entry);
QVSUPT32_API void SMDLListEntryInitNoAlloc(DLListEntry *entry);

/* Puts the entry before all others. */
QVSUPT32_API void SLListInsertEntryAtHead(SLList *list, SLListEntry *entry);
QVSUPT32_API void SMSLListInsertEntryAtHead(SLList *list, SLListEntry *entry);
QVSUPT32_API void DLListInsertEntryAtHead(DLList *list, DLListEntry *entry);
QVSUPT32_API void SMDLListInsertEntryAtHead(DLList *list, DLListEntry *entry);

/* Puts the entry after all others. */
QVSUPT32_API void SLListInsertEntryAtTail(SLList *list, SLListEntry *entry);
QVSUPT32_API void SMSLListInsertEntryAtTail(SLList *list, SLListEntry *entry);
QVSUPT32_API void DLListInsertEntryAtTail(DLList *list, DLListEntry *entry);
QVSUPT32_API void SMDLListInsertEntryAtTail(DLList *list, DLListEntry *entry);

/* Puts the entry before the first one for which compare(key, listed entry) is negative, or after all of them.
 *   SM_STATUS_INVALID_PARAMETER (271)  list, entry, key or compare is null
 *   SM_STATUS_ALREADY_EXISTS (258)     compare gave 0 for a listed entry; the list is unchanged
 *   SM_STATUS_SUCCESS (0)              inserted */
QVSUPT32_API uint32_t SLListInsertEntry(SLList *list, SLListEntry *entry, void *key, SMListCallback compare);
QVSUPT32_API uint32_t SMSLListInsertEntry(SLList *list, SLListEntry *entry, void *key, SMListCallback compare);
QVSUPT32_API uint32_t DLListInsertEntry(DLList *list, DLListEntry *entry, void *key, SMListCallback compare);
QVSUPT32_API uint32_t SMDLListInsertEntry(DLList *list, DLListEntry *entry, void *key, SMListCallback compare);

/* Returns the first entry from the head for which callback(context, entry) is 0; null when there is none, or when list,
 * context or callback is null. */
QVSUPT32_API SLListEntry *SLListWalkAtHead(SLList *list, void *context, SMListCallback callback);
QVSUPT32_API SLListEntry *SMSLListWalkAtHead(SLList *list, void *context, SMListCallback callback);
QVSUPT32_API DLListEntry *DLListWalkAtHead(DLList *list, void *context, SMListCallback callback);
QVSUPT32_API DLListEntry *SMDLListWalkAtHead(DLList *list, void *context, SMListCallback callback);

/* The same from the tail backwards. */
QVSUPT32_API DLListEntry *DLListWalkAtTail(DLList *list, void *context, SMListCallback callback);
QVSUPT32_API DLListEntry *SMDLListWalkAtTail(DLList *list, void *context, SMListCallback callback);

/* Puts newEntry in the place of the first entry from the head for which callback(key, entry) is 0, and returns that
 * one; null when there is none or an argument is null. */
QVSUPT32_API SLListEntry *SLListReplaceEntry(SLList *list, SLListEntry *newEntry, void *key, SMListCallback callback);
QVSUPT32_API SLListEntry *SMSLListReplaceEntry(SLList *list, SLListEntry *newEntry, void *key, SMListCallback callback);
QVSUPT32_API DLListEntry *DLListReplaceEntry(DLList *list, DLListEntry *newEntry, void *key, SMListCallback callback);
QVSUPT32_API DLListEntry *SMDLListReplaceEntry(DLList *list, DLListEntry *newEntry, void *key, SMListCallback callback);

/* Unlinks an entry of the list. previous is the entry before it, null when it is the head. */
QVSUPT32_API void SLListDeleteEntry(SLList *list, SLListEntry *previous, SLListEntry *entry);
QVSUPT32_API void SMSLListDeleteEntry(SLList *list, SLListEntry *previous, SLListEntry *entry);

/* Unlinks an entry of the list. */
QVSUPT32_API void DLListDeleteEntry(DLList *list, DLListEntry *entry);
QVSUPT32_API void SMDLListDeleteEntry(DLList *list, DLListEntry *entry);

/* Unlinks the first entry and returns it; null for an empty list. */
QVSUPT32_API SLListEntry *SLListRemoveEntryAtHead(SLList *list);
QVSUPT32_API SLListEntry *SMSLListRemoveEntryAtHead(SLList *list);
QVSUPT32_API DLListEntry *DLListRemoveEntryAtHead(DLList *list);
QVSUPT32_API DLListEntry *SMDLListRemoveEntryAtHead(DLList *list);

/* Unlinks the last entry and returns it; null for an empty list. */
QVSUPT32_API SLListEntry *SLListRemoveEntryAtTail(SLList *list);
QVSUPT32_API SLListEntry *SMSLListRemoveEntryAtTail(SLList *list);
QVSUPT32_API DLListEntry *DLListRemoveEntryAtTail(DLList *list);
QVSUPT32_API DLListEntry *SMDLListRemoveEntryAtTail(DLList *list);

/* Returns 1 when the list is null or has no entry, else 0. */
QVSUPT32_API SMBool SLListIsEmpty(const SLList *list);
QVSUPT32_API int32_t SMSLListIsEmpty(const SLList *list);
QVSUPT32_API SMBool DLListIsEmpty(const DLList *list);
QVSUPT32_API int32_t SMDLListIsEmpty(const DLList *list);

/* Hash identifier table ---------------------------------------------------------------------------------------------
 *
 * A bitmap in the caller's memory that hands out small numbers, the lowest free one first, and takes them back.
 * Identifier n is bit n mod 32 of the 32-bit word n div 32; a set bit is an identifier in use. Identifier 0 means none:
 * its bit is never set and never reported. Sizes are the table's size in bytes. Identifiers are handed out and
 * enumerated from its whole 4-byte words, so none from a table smaller than 4 bytes; a table must not be null. Nothing
 * is allocated. */

/* Returns the bytes that a table for the identifiers 1 to highest takes; 0 when highest is not in 1..1073741822. */
QVSUPT32_API uint32_t HashTableBytesNeeded(int32_t highest);
QVSUPT32_API uint32_t SMHashTableBytesNeeded(int32_t highest);

/* Clears all bits. Returns 0. A size below 1 clears nothing. */
QVSUPT32_API uint32_t ClearHashTable(uint32_t *table, int32_t size);
QVSUPT32_API uint32_t SMClearHashTable(uint32_t *table, int32_t size);

/* Takes the lowest free identifier into use and returns it; 0 when none is free. */
QVSUPT32_API uint32_t AcquireHashID(uint32_t *table, uint32_t size);
QVSUPT32_API uint32_t SMAcquireHashID(uint32_t *table, uint32_t size);

/* Finds out whether an identifier is in use.
 *   SM_STATUS_INDEX_OUT_OF_RANGE (12)  identifier 0, in a table of any size
 *   SM_STATUS_BAD_TYPE (257)           it is beyond the table: not below 8 times the size
 *   SM_STATUS_INDEX_OUT_OF_RANGE (12)  not in use
 *   SM_STATUS_SUCCESS (0)              in use */
QVSUPT32_API uint32_t VerifyHashID(const uint32_t *table, uint32_t size, uint32_t id);
QVSUPT32_API uint32_t SMVerifyHashID(const uint32_t *table, uint32_t size, uint32_t id);

/* Gives an identifier back.
 *   SM_STATUS_INDEX_OUT_OF_RANGE (12)  identifier 0, in a table of any size
 *   SM_STATUS_BAD_TYPE (257)           it is beyond the table: not below 8 times the size
 *   SM_STATUS_INDEX_OUT_OF_RANGE (12)  not in use; nothing changes
 *   SM_STATUS_SUCCESS (0)              free now */
QVSUPT32_API uint32_t ReleaseHashID(uint32_t *table, uint32_t size, uint32_t id);
QVSUPT32_API uint32_t SMReleaseHashID(uint32_t *table, uint32_t size, uint32_t id);

/* Returns the highest identifier in use, 0 when there is none. */
QVSUPT32_API uint32_t GetMaxInUseID(const uint32_t *table, uint32_t size);
QVSUPT32_API uint32_t SMGetMaxInUseID(const uint32_t *table, uint32_t size);

/* Starts an enumeration: sets the position *word, *bit to the start and goes on as FindNextHashID. */
QVSUPT32_API uint32_t FindFirstHashID(const uint32_t *table, uint32_t size, uint32_t *word, uint32_t *bit);
QVSUPT32_API uint32_t SMFindFirstHashID(const uint32_t *table, uint32_t size, uint32_t *word, uint32_t *bit);

/* Returns the lowest identifier in use above the position and makes it the position; 0 when there is none, the position
 * unchanged. Identifiers acquired below the position meanwhile are not reported. */
QVSUPT32_API uint32_t FindNextHashID(const uint32_t *table, uint32_t size, uint32_t *word, uint32_t *bit);
QVSUPT32_API uint32_t SMFindNextHashID(const uint32_t *table, uint32_t size, uint32_t *word, uint32_t *bit);

#include "show_unprefixed.inc"

QVSUPT32_END_C

#endif
