/* Containers: the red-black tree.
 *
 * A container holds the caller's data pointers. It never copies, inspects or frees what they point to, has no state but
 * the caller's slot and the nodes, and takes no lock: its owner serializes all operations on it. */
#ifndef QVSUPT32_CONTAINERS_H
#define QVSUPT32_CONTAINERS_H

#include "types.h"

QVSUPT32_BEGIN_C

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
 *     ranks before it, positive when it ranks after. An inconsistent order makes lookups miss, it never breaks the tree.
 *   To walk: 0 stops the walk at this datum, anything else goes on; in mode 4 the sign steers as well.
 *   To release: called once for every datum; the result is ignored.
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
 *   271  tree, datum, key or compare is null
 *   258  a datum compares equal; the tree is unchanged
 *   272  no node can be allocated; the tree is unchanged
 *   0    inserted */
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
 *   271  tree, key or compare is null
 *   256  no datum compares equal
 *   0    taken out */
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
QVSUPT32_API SMRedBlackTreeNode *SMRedBlackTreeNodeAlloc(SMRedBlackTreeNode *parent, void *datum);

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

QVSUPT32_END_C

#endif
