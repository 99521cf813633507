// The red-black tree beside the trees of the C and the C++ library. All three hold pointers to the same records and
// compare two records through a function pointer.

#include <search.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

struct Record {
  uint32_t key;
  uint32_t payload[3];
};

/// Negative, 0 or positive: neither operand overflows, keys stay below 2^31.
int32_t compareRecords(void *a, void *b)
{
  return static_cast<int32_t>(static_cast<Record *>(a)->key) - static_cast<int32_t>(static_cast<Record *>(b)->key);
}

int compareConstRecords(const void *a, const void *b)
{
  return static_cast<int>(static_cast<const Record *>(a)->key) - static_cast<int>(static_cast<const Record *>(b)->key);
}

/// The keys of a walk in their order, as one number.
struct Digest {
  uint32_t value = 0;

  void add(const Record *record) { value = value * 31 + record->key; }
};

int32_t visit(void *digest, void *record)
{
  static_cast<Digest *>(digest)->add(static_cast<Record *>(record));
  return 1;
}

void visitNode(const void *node, VISIT which, void *digest)
{
  if (which == postorder || which == leaf) {
    static_cast<Digest *>(digest)->add(*static_cast<Record *const *>(node));
  }
}

class OurTree {
 public:
  OurTree() { RedBlackTreeAttach(&root_); }
  ~OurTree() { RedBlackTreeDelete(&root_, nullptr, nullptr); }
  OurTree(const OurTree &) = delete;
  OurTree &operator=(const OurTree &) = delete;

  bool insert(Record *record) { return RedBlackTreeDataInsert(&root_, record, record, compare_) == SM_STATUS_SUCCESS; }
  bool erase(Record *key) { return RedBlackTreeDataDelete(&root_, key, compare_) == SM_STATUS_SUCCESS; }
  const Record *find(Record *key) const
  {
    const SMRedBlackTreeNode *node = SMRedBlackTreeNodeFind(root_, key, compare_);
    return node == nullptr ? nullptr : static_cast<const Record *>(node->data);
  }
  void walk(Digest &digest) const { (void)RedBlackTreeDataWalk(root_, &digest, visit, SM_TREE_WALK_ASCENDING); }

 private:
  SMRedBlackTreeNode *root_;
  SMRedBlackTreeCallback compare_ = opaque(&compareRecords);
};

void keepRecord(void *) {}

/// tsearch(3) and its family.
class SearchTree {
 public:
  SearchTree() = default;
  ~SearchTree() { tdestroy(root_, keepRecord); }
  SearchTree(const SearchTree &) = delete;
  SearchTree &operator=(const SearchTree &) = delete;

  bool insert(Record *record)
  {
    void *node = tsearch(record, &root_, compare_);
    return node != nullptr && *static_cast<Record **>(node) == record;
  }
  bool erase(Record *key) { return tdelete(key, &root_, compare_) != nullptr; }
  const Record *find(Record *key) const
  {
    void *node = tfind(key, &root_, compare_);
    return node == nullptr ? nullptr : *static_cast<Record **>(node);
  }
  /// twalk with a context.
  void walk(Digest &digest) const { twalk_r(root_, visitNode, &digest); }

 private:
  void *root_ = nullptr;
  int (*compare_)(const void *, const void *) = opaque(&compareConstRecords);
};

class StdSet {
 public:
  bool insert(Record *record) { return set_.insert(record).second; }
  bool erase(Record *key) { return set_.erase(key) == 1; }
  const Record *find(Record *key) const
  {
    const auto found = set_.find(key);
    return found == set_.end() ? nullptr : *found;
  }
  void walk(Digest &digest) const
  {
    const auto callback = opaque(&visit);
    for (Record *record : set_) {
      (void)callback(&digest, record);
    }
  }

 private:
  struct Less {
    bool operator()(Record *a, Record *b) const { return compare(a, b) < 0; }
    int32_t (*compare)(void *, void *) = opaque(&compareRecords);
  };

  std::set<Record *, Less> set_;
};

/// Records with even keys, the random orders in which trees take them in and give them up, and a random sequence of
/// keys to find. Small trees get an order each, and the sequence is long, since a processor learns what repeats.
struct Workload {
  using Order = std::vector<Record *>;

  explicit Workload(uint32_t count) : records(count), orders(std::max(1U, kEntriesAtLeast / count))
  {
    std::vector<uint32_t> keys(count);
    Digest digest;
    for (uint32_t i = 0; i < count; ++i) {
      keys[i] = 2 * i;
      const Record record = {keys[i], {}};
      digest.add(&record);
    }
    walked = digest.value;

    std::mt19937 random(kSeed);
    std::shuffle(keys.begin(), keys.end(), random);
    std::transform(keys.begin(), keys.end(), records.begin(), [](uint32_t key) { return Record{key, {}}; });
    for (auto &[inserted, erased] : orders) {
      std::transform(records.begin(), records.end(), std::back_inserter(inserted), [](Record &r) { return &r; });
      erased = inserted;
      std::shuffle(erased.begin(), erased.end(), random);
      if (orders.size() > 1) {
        std::shuffle(inserted.begin(), inserted.end(), random);  // else the records stand in a random order already
      }
    }
    std::generate_n(std::back_inserter(sought), std::max(count, kFindsAtLeast), [&] { return 2 * (random() % count); });
  }

  static constexpr uint32_t kEntriesAtLeast = 10000;
  static constexpr uint32_t kFindsAtLeast = 65536;

  std::vector<Record> records;
  std::vector<std::pair<Order, Order>> orders;  // of inserting and of deleting
  std::vector<uint32_t> sought;
  uint32_t walked;
};

template <class Tree>
void fill(Tree &tree, const Workload::Order &order)
{
  for (Record *record : order) {
    benchmark::DoNotOptimize(tree.insert(record));
  }
}

template <class Tree>
void check(const Workload &workload, const std::string &row)
{
  const auto &[inserted, erased] = workload.orders.back();
  Tree tree;
  for (Record *record : inserted) {
    require(tree.insert(record), row, "does not insert");
  }
  Record twin = *inserted.front();
  require(!tree.insert(&twin), row, "inserts a key twice");
  Digest digest;
  tree.walk(digest);
  require(digest.value == workload.walked, row, "does not walk in order");

  for (size_t i = 0; i < erased.size(); ++i) {
    Record key = {erased[i]->key, {}};
    require(tree.find(&key) == erased[i], row, "does not find");
    if (i % 2 == 0) {
      require(tree.erase(&key) && tree.find(&key) == nullptr, row, "does not delete");
    }
    ++key.key;
    require(tree.find(&key) == nullptr, row, "finds what is not there");
  }
}

template <class Tree>
void insertAll(benchmark::State &state, const Workload &workload)
{
  for (auto _ : state) {
    settleHeap();
    std::vector<Tree> trees(workload.orders.size());
    const IterationTimer timer(state);
    for (size_t i = 0; i < trees.size(); ++i) {
      fill(trees[i], workload.orders[i].first);
    }
  }
  countItems(state, workload.orders.size() * workload.records.size());
}

template <class Tree>
void eraseAll(benchmark::State &state, const Workload &workload)
{
  for (auto _ : state) {
    settleHeap();
    std::vector<Tree> trees(workload.orders.size());
    for (size_t i = 0; i < trees.size(); ++i) {
      fill(trees[i], workload.orders[i].first);
    }
    const IterationTimer timer(state);
    for (size_t i = 0; i < trees.size(); ++i) {
      for (Record *key : workload.orders[i].second) {
        benchmark::DoNotOptimize(trees[i].erase(key));
      }
    }
  }
  countItems(state, workload.orders.size() * workload.records.size());
}

template <class Tree>
void findAll(benchmark::State &state, const Workload &workload)
{
  settleHeap();
  Tree tree;
  fill(tree, workload.orders.front().first);
  for (auto _ : state) {
    for (const uint32_t sought : workload.sought) {
      Record key = {sought, {}};
      benchmark::DoNotOptimize(tree.find(&key));
    }
  }
  countItems(state, workload.sought.size());
}

template <class Tree>
void walkAll(benchmark::State &state, const Workload &workload)
{
  settleHeap();
  Tree tree;
  fill(tree, workload.orders.front().first);
  for (auto _ : state) {
    Digest digest;
    tree.walk(digest);
    benchmark::DoNotOptimize(digest);
  }
  countItems(state, workload.records.size());
}

const Workload &workloadOf(uint32_t count)
{
  static std::map<uint32_t, Workload> made;
  return made.try_emplace(count, count).first->second;
}

/// Adds a row that checks the tree, once for all its rows of a size, and then times one operation.
template <class Tree>
benchmark::internal::Benchmark *addRow(const char *operation, uint32_t count, const char *who,
                                       void (*time)(benchmark::State &, const Workload &))
{
  const std::string row = "tree/" + std::string(operation) + "/" + std::to_string(count) + "/" + who;
  return benchmark::RegisterBenchmark(row.c_str(), [row, count, time](benchmark::State &state) {
    static std::set<uint32_t> checked;
    const Workload &workload = workloadOf(count);
    if (checked.insert(count).second) {
      check<Tree>(workload, row);
    }
    time(state, workload);
  });
}

template <class Tree>
void addRows(uint32_t count, const char *who)
{
  addRow<Tree>("insert", count, who, insertAll<Tree>)->UseManualTime();
  addRow<Tree>("find", count, who, findAll<Tree>);
  addRow<Tree>("delete", count, who, eraseAll<Tree>)->UseManualTime();
  addRow<Tree>("walk", count, who, walkAll<Tree>);
}

void registerRows()
{
  for (const uint32_t count : {100U, 10000U, 1000000U}) {
    addRows<OurTree>(count, "ours");
    addRows<SearchTree>(count, "tsearch");
    addRows<StdSet>(count, "std_set");
  }
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
