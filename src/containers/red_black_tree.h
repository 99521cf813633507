// The inside of the red-black tree, for rooms that know the order of their own entries and need no callback for it.
#pragma once

#include "qvsupt32/containers.h"

namespace qv::tree {

using Node = SMRedBlackTreeNode;

/// Where a descent ended: at the node sought, or at the place where it would be.
struct Place {
  Node *found;   // null when there is none
  Node *parent;  // the last node visited, null in an empty tree
  bool leftOfParent;
};

/// Whether both children are fetched while a datum is compared. A fix-up looks at the nodes beside the path next: in a
/// tree that is larger than the caches the time of inserting and deleting goes into waiting for them. A search alone
/// gains nothing.
enum class Fetch : bool { none, children };

/// Descends from root; rank(datum) answers as a comparison callback does.
template <Fetch fetch, class Rank>
inline Place locate(Node *root, Rank rank)
{
  Place place = {nullptr, nullptr, false};
  for (Node *node = root; node != nullptr;) {
    if constexpr (fetch == Fetch::children) {
      __builtin_prefetch(node->left);
      __builtin_prefetch(node->right);
    }
    const int32_t order = rank(node->data);
    if (order == 0) {
      place.found = node;
      return place;
    }
    place.parent = node;
    place.leftOfParent = order < 0;
    node = order < 0 ? node->left : node->right;
  }
  return place;
}

/// Links a new red node at the place where a descent ended without finding one, and restores the colours.
void link(Node **tree, Node *node, const Place &place);

/// Unlinks a node and frees one: the node itself, or its successor's after the successor's datum moved into it. Whether
/// the node is still there, with that datum.
bool erase(Node **tree, Node *node);

inline Node *first(Node *root)
{
  if (root != nullptr) {
    while (root->left != nullptr) {
      root = root->left;
    }
  }
  return root;
}

/// The node with the next datum in order, null after the last.
inline Node *next(Node *node)
{
  if (node->right != nullptr) {
    return first(node->right);
  }
  Node *parent = node->parent;
  while (parent != nullptr && parent->right == node) {
    node = parent;
    parent = node->parent;
  }
  return parent;
}

}  // namespace qv::tree
