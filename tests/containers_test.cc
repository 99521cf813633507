// The red-black tree: statuses, the exact shapes that insertion and deletion leave, walks and release order, and the
// invariants of the tree under random operations beside a model.

#include <set>

#include "support/test.h"

namespace {

using namespace support;
using Node = SMRedBlackTreeNode;
using Keys = std::vector<int>;

constexpr int kKeyMax = 400;

/// Two data of equal rank for every key, so that a replaced datum can be told from the old one.
int *datum(int key, int bank = 0)
{
  static int data[2][kKeyMax + 1];
  data[bank][key] = key;
  return &data[bank][key];
}

int keyOf(const void *nodeData)
{
  return *static_cast<const int *>(nodeData);
}

unsigned comparisons;

int32_t byKey(void *key, void *nodeData)
{
  ++comparisons;
  return keyOf(key) - keyOf(nodeData);
}

/// Every node as key and colour, with its children in parentheses, '.' for none: "2b(1r,.)".
std::string shape(const Node *node)
{
  if (node == nullptr) {
    return ".";
  }
  const std::string text = std::to_string(keyOf(node->data)) + (node->color == SM_TREE_RED ? "r" : "b");
  const bool leaf = node->left == nullptr && node->right == nullptr;
  return leaf ? text : text + "(" + shape(node->left) + "," + shape(node->right) + ")";
}

struct Measure {
  size_t count = 0;
  unsigned height = 0;
  unsigned blackHeight = 0;
};

/// Checks links and colours of a subtree, and measures it.
Measure checked(const Node *node, const Node *parent = nullptr)
{
  if (node == nullptr) {
    return {};
  }
  EXPECT_EQ(node->parent, parent);
  EXPECT_TRUE(node->color == SM_TREE_BLACK || (parent != nullptr && parent->color == SM_TREE_BLACK));
  const Measure left = checked(node->left, node);
  const Measure right = checked(node->right, node);
  EXPECT_EQ(left.blackHeight, right.blackHeight);
  return {left.count + right.count + 1, std::max(left.height, right.height) + 1,
          left.blackHeight + (node->color == SM_TREE_BLACK ? 1 : 0)};
}

struct Tree {
  Tree(const Keys &keys = {})
  {
    for (const int key : keys) {
      EXPECT_EQ(insert(key), SM_STATUS_SUCCESS);
    }
  }
  ~Tree() { RedBlackTreeDelete(&root, nullptr, nullptr); }
  Tree(const Tree &) = delete;
  Tree &operator=(const Tree &) = delete;

  uint32_t insert(int key) { return RedBlackTreeDataInsert(&root, datum(key), datum(key), byKey); }
  uint32_t remove(int key) { return RedBlackTreeDataDelete(&root, datum(key, 1), byKey); }

  Node *root = nullptr;
};

TEST(RedBlackTree, AttachDetachAndEmptinessOnlyKnowTheSlot)
{
  Tree tree({1});
  Node *const node = tree.root;
  EXPECT_TRUE(RedBlackTreeIsEmpty(node) == 0 && SMRedBlackTreeIsEmpty(node) == 0);
  RedBlackTreeDetach(&tree.root);
  EXPECT_EQ(tree.root, nullptr);
  EXPECT_EQ(node->data, datum(1)) << "detaching frees no node";
  tree.root = node;
  Node *slot = node;
  RedBlackTreeAttach(&slot);
  EXPECT_EQ(slot, nullptr);
  EXPECT_TRUE(RedBlackTreeIsEmpty(slot) == 1 && SMRedBlackTreeIsEmpty(slot) == 1);
  RedBlackTreeDelete(&slot, nullptr, nullptr);
  SMRedBlackTreeNodeFree(nullptr);
}

TEST(RedBlackTree, NullArgumentsChangeNothing)
{
  Tree tree({2, 1, 3});
  int *const other = datum(2, 1);
  EXPECT_EQ(RedBlackTreeDataReplace(nullptr, other, other, byKey), nullptr);
  EXPECT_EQ(RedBlackTreeDataReplace(&tree.root, nullptr, other, byKey), nullptr);
  EXPECT_EQ(RedBlackTreeDataReplace(&tree.root, other, nullptr, byKey), nullptr);
  EXPECT_EQ(RedBlackTreeDataReplace(&tree.root, other, other, nullptr), nullptr);
  EXPECT_EQ(SMRedBlackTreeNodeFind(tree.root, nullptr, byKey), nullptr);
  EXPECT_EQ(SMRedBlackTreeNodeFind(tree.root, other, nullptr), nullptr);
  RedBlackTreeRotateLeft(nullptr, tree.root);
  RedBlackTreeRotateRight(&tree.root, nullptr);
  RedBlackTreeInsertFixup(&tree.root, nullptr);
  RedBlackTreeDeleteFixup(nullptr, tree.root->left, tree.root);
  EXPECT_EQ(shape(tree.root), "2b(1r,3r)");
  EXPECT_EQ(tree.root->data, datum(2));
}

TEST(RedBlackTree, ADatumOfEqualRankIsRefusedAndCanBeReplaced)
{
  Tree tree({2, 1, 3});
  EXPECT_EQ(RedBlackTreeDataInsert(&tree.root, datum(2, 1), datum(2, 1), byKey), SM_STATUS_ALREADY_EXISTS);
  EXPECT_EQ(tree.root->data, datum(2));
  EXPECT_EQ(RedBlackTreeDataReplace(&tree.root, datum(2, 1), datum(2), byKey), datum(2));
  EXPECT_EQ(tree.root->data, datum(2, 1));
  EXPECT_EQ(RedBlackTreeDataReplace(&tree.root, datum(9), datum(9), byKey), nullptr);
  EXPECT_EQ(tree.remove(9), SM_STATUS_NOT_FOUND);
  EXPECT_EQ(shape(tree.root), "2b(1r,3r)");
  for (const int key : {1, 2, 3}) {
    EXPECT_EQ(tree.remove(key), SM_STATUS_SUCCESS);
  }
  EXPECT_EQ(tree.root, nullptr);
  EXPECT_EQ(tree.remove(1), SM_STATUS_NOT_FOUND);
  EXPECT_EQ(tree.insert(2), SM_STATUS_SUCCESS);
  EXPECT_EQ(RedBlackTreeDataInsert(&tree.root, datum(50), datum(1), byKey), SM_STATUS_SUCCESS);
  EXPECT_EQ(shape(tree.root), "2b(50r,.)") << "the place is that of the key";
}

TEST(RedBlackTree, EveryFixupLeavesTheShapeOfTheScheme)
{
  const Keys ten = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  const struct {
    const char *what;
    Keys inserted;
    Keys deleted;
    const char *shape;
  } rows[] = {
      {"insert: outer right", {1, 2, 3}, {}, "2b(1r,3r)"},
      {"insert: outer left", {3, 2, 1}, {}, "2b(1r,3r)"},
      {"insert: inner right", {1, 3, 2}, {}, "2b(1r,3r)"},
      {"insert: inner left", {3, 1, 2}, {}, "2b(1r,3r)"},
      {"insert: red uncle", {2, 1, 3, 4}, {}, "2b(1b,3b(.,4r))"},
      {"insert: recolouring climbs, then rotates", {1, 2, 3, 4, 5, 6, 7, 8}, {}, "4b(2r(1b,3b),6r(5b,7b(.,8r)))"},
      {"insert: recolouring reaches the root", ten, {}, "4b(2b(1b,3b),6b(5b,8r(7b,9b(.,10r))))"},
      {"delete: the only node", {1}, {1}, "."},
      {"delete: a red leaf", {2, 1, 3}, {1}, "2b(.,3r)"},
      {"delete: a black root with one red child", {2, 3}, {2}, "3b"},
      {"delete: a black node whose red child takes its place", {2, 1, 3, 4}, {3}, "2b(1b,4b)"},
      {"delete: the right child is the successor", {2, 1, 3}, {2}, "3b(1r,.)"},
      {"delete: the successor is deep", ten, {6}, "4b(2b(1b,3b),7b(5b,9r(8b,10b)))"},
      {"delete: black sibling without red children, on the right", {2, 1, 3, 4}, {4, 1}, "2b(.,3r)"},
      {"delete: black sibling without red children, on the left", {2, 1, 3, 4}, {4, 3}, "2b(1r,.)"},
      {"delete: red near child only, sibling on the right", {2, 1, 4, 3}, {1}, "3b(2b,4b)"},
      {"delete: red near child only, sibling on the left", {4, 5, 2, 3}, {5}, "3b(2b,4b)"},
      {"delete: both children red, sibling on the right", {2, 1, 4, 3, 5}, {1}, "4b(2b(.,3r),5b)"},
      {"delete: both children red, sibling on the left", {4, 5, 2, 3, 1}, {5}, "2b(1b,4b(3r,.))"},
      {"delete: red sibling on the right", {1, 2, 3, 4, 5, 6}, {1}, "4b(2b(.,3r),5b(.,6r))"},
      {"delete: red sibling on the left", {6, 5, 4, 3, 2, 1}, {6}, "3b(2b(1r,.),5b(4r,.))"},
  };
  for (const auto &row : rows) {
    Tree tree(row.inserted);
    for (const int key : row.deleted) {
      EXPECT_EQ(tree.remove(key), SM_STATUS_SUCCESS);
    }
    EXPECT_EQ(shape(tree.root), row.shape) << row.what;
    (void)checked(tree.root);
  }
}

TEST(RedBlackTree, TheBuildingBlocksWorkOnLinksAlone)
{
  Tree tree({2, 1, 4, 3, 5});
  Node *const two = tree.root;
  RedBlackTreeRotateLeft(&tree.root, two);
  EXPECT_EQ(shape(tree.root), "4b(2b(1b,3r),5r)") << "a rotation recolours nothing";
  EXPECT_TRUE(tree.root->parent == nullptr && two->parent == tree.root && two->right->parent == two);
  RedBlackTreeRotateRight(&tree.root, tree.root);
  RedBlackTreeRotateLeft(&tree.root, two->left);
  RedBlackTreeRotateRight(&tree.root, two->left);
  EXPECT_EQ(shape(tree.root), "2b(1b,4b(3r,5r))") << "below 1 there is nothing to rotate up";

  Node *const five = two->right->right;
  Node *const six = SMRedBlackTreeNodeAlloc(five, datum(6));
  ASSERT_NE(six, nullptr);
  EXPECT_TRUE(six->left == nullptr && six->right == nullptr && six->parent == five && six->data == datum(6));
  EXPECT_EQ(six->color, SM_TREE_RED);
  five->right = six;
  RedBlackTreeInsertFixup(&tree.root, six);
  EXPECT_EQ(shape(tree.root), "2b(1b,4r(3b,5b(.,6r)))");

  SMRedBlackTreeNodeFree(two->left);
  two->left = nullptr;
  RedBlackTreeDeleteFixup(&tree.root, nullptr, two);
  EXPECT_EQ(shape(tree.root), "4b(2b(.,3r),5b(.,6r))");
  (void)checked(tree.root);
}

int32_t appendKey(void *keys, void *nodeData)
{
  static_cast<Keys *>(keys)->push_back(keyOf(nodeData));
  return 1;
}

TEST(RedBlackTree, RandomOperationsKeepOrderBalanceAndAllData)
{
  const long blocksBefore = liveBlocks();
  for (const int range : {12, 60, kKeyMax}) {
    std::mt19937 random(static_cast<unsigned>(range));
    Tree tree;
    std::set<int> model;
    Measure measure;
    // Mostly inserts in the first half, mostly deletes in the second: the tree grows, stays full, and empties.
    const int steps = range * 6;
    for (int step = 0; step < steps && !HasFailure(); ++step) {
      const int key = static_cast<int>(random() % static_cast<unsigned>(range)) + 1;
      const bool present = model.count(key) != 0;
      Node *const node = SMRedBlackTreeNodeFind(tree.root, datum(key), byKey);
      ASSERT_EQ(node != nullptr, present);
      comparisons = 0;
      if (random() % 8 < (step < steps / 2 ? 6U : 2U)) {
        EXPECT_EQ(tree.insert(key), present ? SM_STATUS_ALREADY_EXISTS : SM_STATUS_SUCCESS);
        model.insert(key);
      } else {
        const bool hasBoth = present && node->left != nullptr && node->right != nullptr;
        EXPECT_EQ(tree.remove(key), present ? SM_STATUS_SUCCESS : SM_STATUS_NOT_FOUND);
        if (hasBoth) {
          EXPECT_EQ(node->data, datum(*model.upper_bound(key))) << "the successor's datum moves into the node";
        }
        model.erase(key);
      }
      EXPECT_LE(comparisons, measure.height);
      measure = checked(tree.root);
      EXPECT_LE(1ULL << measure.height, (model.size() + 1) * (model.size() + 1));
      Keys walked;
      EXPECT_EQ(RedBlackTreeDataWalk(tree.root, &walked, appendKey, SM_TREE_WALK_ASCENDING), nullptr);
      EXPECT_EQ(walked, Keys(model.begin(), model.end()));
    }
  }
  EXPECT_EQ(liveBlocks(), blocksBefore);
}

TEST(RedBlackTree, AnInconsistentOrderNeverBreaksTheLinks)
{
  static std::mt19937 random(7);
  const auto byChance = [](void *, void *) { return static_cast<int32_t>(random() % 7) - 3; };
  Tree tree;
  size_t count = 0;
  for (int step = 0; step < 3000 && !HasFailure(); ++step) {
    if (random() % 3 != 0) {
      count += RedBlackTreeDataInsert(&tree.root, datum(1), datum(1), byChance) == SM_STATUS_SUCCESS ? 1 : 0;
    } else {
      count -= RedBlackTreeDataDelete(&tree.root, datum(1), byChance) == SM_STATUS_SUCCESS ? 1 : 0;
    }
    EXPECT_EQ(checked(tree.root).count, count);
  }
}

struct Visits {
  std::string order;
  int stopAt;
  int sign;  // what the callback returns elsewhere; 0 to steer towards stopAt
};

int32_t visit(void *context, void *nodeData)
{
  auto *visits = static_cast<Visits *>(context);
  visits->order += std::to_string(keyOf(nodeData));
  const int difference = visits->stopAt - keyOf(nodeData);
  return visits->sign == 0 || difference == 0 ? difference : visits->sign;
}

TEST(RedBlackTree, WalksVisitInTheOrderOfTheirMode)
{
  const Tree tree({4, 2, 6, 1, 3, 5, 7});
  ASSERT_EQ(shape(tree.root), "4b(2b(1r,3r),6b(5r,7r))");
  constexpr int kNever = 8;
  const struct {
    uint32_t mode;
    Node *from;
    int sign;
    int stopAt;
    const char *order;
    int found;  // 0 for none
  } rows[] = {
      {SM_TREE_WALK_NODE, tree.root, 1, kNever, "4", 0},
      {SM_TREE_WALK_NODE, tree.root, 1, 4, "4", 4},
      {SM_TREE_WALK_ASCENDING, tree.root, 1, kNever, "1234567", 0},
      {SM_TREE_WALK_ASCENDING, tree.root, -1, 3, "123", 3},
      {SM_TREE_WALK_ASCENDING, tree.root->right, -1, kNever, "567", 0},
      {SM_TREE_WALK_DESCENDING, tree.root, -1, kNever, "7654321", 0},
      {SM_TREE_WALK_DESCENDING, tree.root, 1, 5, "765", 5},
      {SM_TREE_WALK_DESCENDING, tree.root->left, 1, kNever, "321", 0},
      {SM_TREE_WALK_SEARCH, tree.root, 0, 3, "423", 3},
      {SM_TREE_WALK_SEARCH, tree.root, 0, kNever, "467", 0},
      {SM_TREE_WALK_SEARCH, tree.root, -1, 3, "421", 0},
      {SM_TREE_WALK_STEERED, tree.root, -1, kNever, "4213657", 0},
      {SM_TREE_WALK_STEERED, tree.root, 1, kNever, "4675231", 0},
      {SM_TREE_WALK_STEERED, tree.root, -1, 5, "421365", 5},
      {SM_TREE_WALK_STEERED, tree.root, 1, 3, "467523", 3},
      {SM_TREE_WALK_STEERED, tree.root, 0, 3, "423", 3},
      {SM_TREE_WALK_STEERED, tree.root->right, 1, kNever, "675", 0},
      {5, tree.root, 1, 4, "", 0},
      {UINT32_MAX, tree.root, 1, 4, "", 0},
      {SM_TREE_WALK_ASCENDING, nullptr, 1, 4, "", 0},
  };
  for (const auto &row : rows) {
    Visits visits = {"", row.stopAt, row.sign};
    const void *found = RedBlackTreeDataWalk(row.from, &visits, visit, row.mode);
    EXPECT_EQ(visits.order, row.order) << "mode " << row.mode << " stopping at " << row.stopAt;
    EXPECT_EQ(found, row.found == 0 ? nullptr : datum(row.found)) << visits.order;
  }
  static unsigned calls = 0;
  const auto count = [](void *, void *) -> int32_t { return ++calls, 0; };
  for (uint32_t mode = SM_TREE_WALK_NODE; mode <= SM_TREE_WALK_STEERED; ++mode) {
    EXPECT_EQ(RedBlackTreeDataWalk(tree.root, nullptr, count, mode), nullptr);
    EXPECT_EQ(RedBlackTreeDataWalk(tree.root, &calls, nullptr, mode), nullptr);
  }
  EXPECT_EQ(calls, 0U);
}

TEST(RedBlackTree, DeleteReleasesRightThenLeftThenTheNodeWhichIsGoneThen)
{
  const long blocksBefore = liveBlocks();
  struct Look {
    Node *root;
    std::string seen;
  };
  {
    Tree tree({4, 2, 6, 1, 3, 5});
    Look look = {tree.root, ""};
    RedBlackTreeDelete(&look.root, &look, [](void *context, void *nodeData) -> int32_t {
      auto *at = static_cast<Look *>(context);
      at->seen += std::to_string(keyOf(nodeData)) + " of " + shape(at->root) + "\n";
      return 0;  // which has no meaning here
    });
    tree.root = look.root;
    EXPECT_EQ(tree.root, nullptr);
    EXPECT_EQ(look.seen,
              "5 of 4b(2b(1r,3r),6b(5r,.))\n6 of 4b(2b(1r,3r),6b)\n3 of 4b(2b(1r,3r),.)\n1 of 4b(2b(1r,.),.)\n"
              "2 of 4b(2b,.)\n4 of 4b\n");
  }
  EXPECT_EQ(liveBlocks(), blocksBefore);
}

TEST(RedBlackTree, AFailedAllocationLeavesTheTreeAsItWas)
{
  Tree tree({2, 1, 3});
  {
    Fault fault(Call::allocation, 1, ENOMEM, true);
    EXPECT_EQ(SMRedBlackTreeNodeAlloc(nullptr, datum(1)), nullptr);
    EXPECT_EQ(tree.insert(4), SM_STATUS_NO_MEMORY);
    EXPECT_EQ(tree.insert(3), SM_STATUS_ALREADY_EXISTS) << "an equal datum is met before a node is needed";
  }
  EXPECT_EQ(shape(tree.root), "2b(1r,3r)");
}

}  // namespace
