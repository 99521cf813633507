// Red-black tree of opaque data pointers: insertion and deletion with fix-up by recolouring and rotation. There is no
// sentinel; a null child is a black leaf. Recursion is bounded by the height.

#include "containers/red_black_tree.h"

#include <cstdlib>

#include "base/alias.h"
#include "base/status.h"

namespace {

using qv::Status;
using qv::tree::Fetch;
using qv::tree::Node;
using qv::tree::Place;
using Callback = SMRedBlackTreeCallback;

// The two sides of a node, so that every mirrored step is written once.
constexpr auto kLeft = &Node::left;
constexpr auto kRight = &Node::right;
using Side = Node *Node::*;

constexpr Side otherSide(Side side)
{
  return side == kLeft ? kRight : kLeft;
}

bool isBlack(const Node *node)
{
  return node == nullptr || node->color == SM_TREE_BLACK;
}

/// Puts replacement (null for none) where node hangs: at the root, or below node's parent.
void replaceChild(Node **tree, Node *node, Node *replacement)
{
  Node *parent = node->parent;
  if (replacement != nullptr) {
    replacement->parent = parent;
  }
  if (parent == nullptr) {
    *tree = replacement;
  } else if (parent->left == node) {
    parent->left = replacement;
  } else {
    parent->right = replacement;
  }
}

/// Moves node down to a side; its child of the other side rises into its place.
template <Side side>
void rotate(Node **tree, Node *node)
{
  constexpr Side kOther = otherSide(side);
  Node *risen = node->*kOther;
  if (risen == nullptr) {
    return;
  }
  Node *middle = risen->*side;
  replaceChild(tree, node, risen);
  node->*kOther = middle;
  if (middle != nullptr) {
    middle->parent = node;
  }
  risen->*side = node;
  node->parent = risen;
}

/// One step of the fix-up below a red parent on a side of the grandparent. The node from which to go on, null at the
/// end.
template <Side side>
Node *insertFixupStep(Node **tree, Node *node, Node *parent, Node *grandparent)
{
  constexpr Side kOther = otherSide(side);
  Node *uncle = grandparent->*kOther;
  if (!isBlack(uncle)) {
    parent->color = SM_TREE_BLACK;
    uncle->color = SM_TREE_BLACK;
    grandparent->color = SM_TREE_RED;
    return grandparent;
  }
  if (parent->*kOther == node) {
    rotate<side>(tree, parent);
    parent = node;
  }
  parent->color = SM_TREE_BLACK;
  grandparent->color = SM_TREE_RED;
  rotate<kOther>(tree, grandparent);
  return nullptr;
}

void insertFixup(Node **tree, Node *node)
{
  while (node != nullptr && node->parent != nullptr && node->parent->color == SM_TREE_RED) {
    Node *parent = node->parent;
    Node *grandparent = parent->parent;
    if (grandparent == nullptr) {
      break;  // a red root: it becomes black below
    }
    node = grandparent->left == parent ? insertFixupStep<kLeft>(tree, node, parent, grandparent)
                                       : insertFixupStep<kRight>(tree, node, parent, grandparent);
  }
  (*tree)->color = SM_TREE_BLACK;
}

/// One step of the fix-up below parent, on whose side a black node is missing. The node from which to go on.
template <Side side>
Node *deleteFixupStep(Node **tree, Node *parent)
{
  constexpr Side kOther = otherSide(side);
  Node *sibling = parent->*kOther;
  if (!isBlack(sibling)) {
    sibling->color = SM_TREE_BLACK;
    parent->color = SM_TREE_RED;
    rotate<side>(tree, parent);
    sibling = parent->*kOther;
  }
  if (isBlack(sibling->left) && isBlack(sibling->right)) {
    sibling->color = SM_TREE_RED;
    return parent;
  }
  if (isBlack(sibling->*kOther)) {
    (sibling->*side)->color = SM_TREE_BLACK;  // NOLINT: it is red, since not both children are black
    sibling->color = SM_TREE_RED;
    rotate<kOther>(tree, sibling);
    sibling = parent->*kOther;
  }
  sibling->color = parent->color;
  parent->color = SM_TREE_BLACK;
  (sibling->*kOther)->color = SM_TREE_BLACK;
  rotate<side>(tree, parent);
  return *tree;
}

void deleteFixup(Node **tree, Node *node, Node *parent)
{
  while (node != *tree && isBlack(node)) {
    // A null node below a parent without children counts as the left one.
    node = parent->left == node ? deleteFixupStep<kLeft>(tree, parent) : deleteFixupStep<kRight>(tree, parent);
    parent = node->parent;
  }
  if (node != nullptr) {
    node->color = SM_TREE_BLACK;
  }
}

Node *allocate(Node *parent, void *datum)
{
  auto *node = static_cast<Node *>(malloc(sizeof(Node)));
  if (node != nullptr) {
    *node = {nullptr, nullptr, parent, datum, SM_TREE_RED};
  }
  return node;
}

template <Fetch fetch = Fetch::none>
Place locate(Node *root, void *key, Callback compare)
{
  return qv::tree::locate<fetch>(root, [key, compare](void *datum) { return compare(key, datum); });
}

/// Walks `before`'s subtree, the node, then the other one, and returns the datum at which the callback returned 0.
void *walkInOrder(Node *node, void *context, Callback callback, Side before)
{
  for (; node != nullptr; node = node->*otherSide(before)) {
    if (node->*before != nullptr) {
      if (void *found = walkInOrder(node->*before, context, callback, before)) {
        return found;
      }
    }
    if (callback(context, node->data) == 0) {
      return node->data;
    }
  }
  return nullptr;
}

/// Calls back for the node, then walks the subtree that the sign names, then the other one.
void *walkSteered(Node *node, void *context, Callback callback)
{
  while (node != nullptr) {
    const int32_t order = callback(context, node->data);
    if (order == 0) {
      return node->data;
    }
    const Side side = order < 0 ? kLeft : kRight;
    if (void *found = walkSteered(node->*side, context, callback)) {
      return found;
    }
    node = node->*otherSide(side);
  }
  return nullptr;
}

/// Empties a subtree in a slot. Every slot is null as soon as its subtree is gone, so that a callback may look at what is
/// left of the tree.
void release(Node **slot, void *context, Callback callback)
{
  Node *node = *slot;
  if (node->right != nullptr) {
    release(&node->right, context, callback);
  }
  if (node->left != nullptr) {
    release(&node->left, context, callback);
  }
  if (callback != nullptr) {
    (void)callback(context, node->data);  // the result of a release has no meaning
  }
  free(node);
  *slot = nullptr;
}

}  // namespace

namespace qv::tree {

void link(Node **tree, Node *node, const Place &place)
{
  node->parent = place.parent;
  if (place.parent == nullptr) {
    *tree = node;
  } else if (place.leftOfParent) {
    place.parent->left = node;
  } else {
    place.parent->right = node;
  }
  insertFixup(tree, node);
}

bool erase(Node **tree, Node *node)
{
  Node *unlinked = node;
  if (node->left != nullptr && node->right != nullptr) {
    unlinked = first(node->right);
  }
  Node *child = unlinked->left != nullptr ? unlinked->left : unlinked->right;
  Node *parent = unlinked->parent;
  replaceChild(tree, unlinked, child);
  node->data = unlinked->data;
  if (unlinked->color == SM_TREE_BLACK) {
    deleteFixup(tree, child, parent);
  }
  free(unlinked);
  return unlinked != node;
}

}  // namespace qv::tree

void RedBlackTreeAttach(Node **tree)
{
  if (tree != nullptr) {
    *tree = nullptr;
  }
}

void RedBlackTreeDetach(Node **tree)
{
  if (tree != nullptr) {
    *tree = nullptr;
  }
}

SMBool RedBlackTreeIsEmpty(const Node *root)
{
  return root == nullptr ? 1 : 0;
}

int32_t SMRedBlackTreeIsEmpty(const Node *root)
{
  return RedBlackTreeIsEmpty(root);
}

uint32_t RedBlackTreeDataInsert(Node **tree, void *datum, void *key, Callback compare)
{
  if (tree == nullptr || datum == nullptr || key == nullptr || compare == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const Place place = locate<Fetch::children>(*tree, key, compare);
  if (place.found != nullptr) {
    return qv::result(Status::alreadyExists);
  }
  Node *node = allocate(place.parent, datum);
  if (node == nullptr) {
    return qv::result(Status::noMemory);
  }
  qv::tree::link(tree, node, place);
  return qv::result(Status::success);
}

void *RedBlackTreeDataReplace(Node **tree, void *newDatum, void *key, Callback compare)
{
  if (tree == nullptr || newDatum == nullptr) {
    return nullptr;
  }
  Node *node = SMRedBlackTreeNodeFind(*tree, key, compare);
  if (node == nullptr) {
    return nullptr;
  }
  void *oldDatum = node->data;
  node->data = newDatum;
  return oldDatum;
}

uint32_t RedBlackTreeDataDelete(Node **tree, void *key, Callback compare)
{
  if (tree == nullptr || key == nullptr || compare == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  Node *node = locate<Fetch::children>(*tree, key, compare).found;
  if (node == nullptr) {
    return qv::result(Status::notFound);
  }
  (void)qv::tree::erase(tree, node);  // callers keep data, never nodes
  return qv::result(Status::success);
}

void RedBlackTreeDelete(Node **tree, void *context, Callback callback)
{
  if (tree == nullptr || *tree == nullptr) {
    return;
  }
  release(tree, context, callback);
}

void *RedBlackTreeDataWalk(Node *node, void *context, Callback callback, uint32_t mode)
{
  if (node == nullptr || context == nullptr || callback == nullptr) {
    return nullptr;
  }
  switch (mode) {
    case SM_TREE_WALK_NODE:
      return callback(context, node->data) == 0 ? node->data : nullptr;
    case SM_TREE_WALK_ASCENDING:
      return walkInOrder(node, context, callback, kLeft);
    case SM_TREE_WALK_DESCENDING:
      return walkInOrder(node, context, callback, kRight);
    case SM_TREE_WALK_SEARCH: {
      const Node *found = locate(node, context, callback).found;
      return found == nullptr ? nullptr : found->data;
    }
    case SM_TREE_WALK_STEERED:
      return walkSteered(node, context, callback);
    default:
      return nullptr;
  }
}

Node *SMRedBlackTreeNodeAlloc(Node *parent, void *datum)
{
  return allocate(parent, datum);
}

void SMRedBlackTreeNodeFree(Node *node)
{
  free(node);
}

Node *SMRedBlackTreeNodeFind(Node *root, void *key, Callback compare)
{
  if (key == nullptr || compare == nullptr) {
    return nullptr;
  }
  return locate(root, key, compare).found;
}

void RedBlackTreeRotateLeft(Node **tree, Node *node)
{
  if (tree != nullptr && node != nullptr) {
    rotate<kLeft>(tree, node);
  }
}

void RedBlackTreeRotateRight(Node **tree, Node *node)
{
  if (tree != nullptr && node != nullptr) {
    rotate<kRight>(tree, node);
  }
}

void RedBlackTreeInsertFixup(Node **tree, Node *node)
{
  if (tree != nullptr && *tree != nullptr && node != nullptr) {
    insertFixup(tree, node);
  }
}

void RedBlackTreeDeleteFixup(Node **tree, Node *node, Node *parent)
{
  if (tree != nullptr) {
    deleteFixup(tree, node, parent);
  }
}

QV_ALIAS(SMRedBlackTreeAttach, RedBlackTreeAttach)
QV_ALIAS(SMRedBlackTreeDetach, RedBlackTreeDetach)
QV_ALIAS(SMRedBlackTreeDataInsert, RedBlackTreeDataInsert)
QV_ALIAS(SMRedBlackTreeDataReplace, RedBlackTreeDataReplace)
QV_ALIAS(SMRedBlackTreeDataDelete, RedBlackTreeDataDelete)
QV_ALIAS(SMRedBlackTreeDelete, RedBlackTreeDelete)
QV_ALIAS(SMRedBlackTreeDataWalk, RedBlackTreeDataWalk)
