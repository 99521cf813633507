// The linked lists beside the lists of the C++ library, and the identifier table beside a scan word by word.

#include <algorithm>
#include <bit>
#include <forward_list>
#include <list>
#include <random>
#include <vector>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

/// What an entry holds: the order of the ordered insert, and something to carry.
struct Payload {
  uint32_t key;
  uint32_t value;
};

/// Negative, 0 or positive: neither operand overflows, keys stay below 2^31.
int32_t rank(const Payload &a, const Payload &b)
{
  return static_cast<int32_t>(a.key) - static_cast<int32_t>(b.key);
}

/// The keys of a walk in their order, as one number.
struct Sum {
  uint32_t value = 0;

  void add(uint32_t key) { value = value * 31 + key; }
};

template <class Entry>
int32_t compareEntry(void *key, void *entry)
{
  return rank(*static_cast<Payload *>(key), *static_cast<Payload *>(static_cast<Entry *>(entry)->data));
}

template <class Entry>
int32_t visitEntry(void *sum, void *entry)
{
  static_cast<Sum *>(sum)->add(static_cast<Payload *>(static_cast<Entry *>(entry)->data)->key);
  return 1;
}

struct Single {
  using List = SLList;
  using Entry = SLListEntry;
  static constexpr auto allocate = SLListEntryAlloc;
  static constexpr auto freeEntry = SLListEntryFree;
  static constexpr auto insertAtHead = SLListInsertEntryAtHead;
  static constexpr auto insertAtTail = SLListInsertEntryAtTail;
  static constexpr auto insert = SLListInsertEntry;
  static constexpr auto walk = SLListWalkAtHead;
  static constexpr auto removeAtHead = SLListRemoveEntryAtHead;
};

struct Double {
  using List = DLList;
  using Entry = DLListEntry;
  static constexpr auto allocate = DLListEntryAlloc;
  static constexpr auto freeEntry = DLListEntryFree;
  static constexpr auto insertAtHead = DLListInsertEntryAtHead;
  static constexpr auto insertAtTail = DLListInsertEntryAtTail;
  static constexpr auto insert = DLListInsertEntry;
  static constexpr auto walk = DLListWalkAtHead;
  static constexpr auto removeAtHead = DLListRemoveEntryAtHead;
};

template <class Family>
class OurList {
 public:
  OurList() = default;
  ~OurList()
  {
    while (Entry *entry = Family::removeAtHead(&list_)) {
      Family::freeEntry(entry);
    }
  }
  OurList(const OurList &) = delete;
  OurList &operator=(const OurList &) = delete;

  void insertAtHead(Payload payload) { Family::insertAtHead(&list_, make(payload)); }
  void insertAtTail(Payload payload) { Family::insertAtTail(&list_, make(payload)); }
  void insertInOrder(Payload payload)
  {
    if (Family::insert(&list_, make(payload), &payload, compare_) != SM_STATUS_SUCCESS) {
      abort();  // the keys are distinct
    }
  }
  uint32_t walk()
  {
    Sum sum;
    (void)Family::walk(&list_, &sum, visit_);
    return sum.value;
  }

 private:
  using Entry = typename Family::Entry;

  static Entry *make(Payload payload)
  {
    Entry *entry = Family::allocate(sizeof(payload));
    *static_cast<Payload *>(entry->data) = payload;
    return entry;
  }

  typename Family::List list_ = {nullptr, nullptr};
  SMListCallback compare_ = opaque(&compareEntry<Entry>);
  SMListCallback visit_ = opaque(&visitEntry<Entry>);
};

int32_t comparePayload(void *key, void *payload)
{
  return rank(*static_cast<Payload *>(key), *static_cast<Payload *>(payload));
}

int32_t visitPayload(void *sum, void *payload)
{
  static_cast<Sum *>(sum)->add(static_cast<Payload *>(payload)->key);
  return 1;
}

/// std::forward_list with its last place remembered, and std::list; both call back through a pointer.
template <class List>
class StdList {
 public:
  void insertAtHead(Payload payload) { list_.push_front(payload); }
  void insertAtTail(Payload payload)
  {
    if constexpr (kSingle) {
      last_ = list_.insert_after(last_, payload);
    } else {
      list_.push_back(payload);
    }
  }
  void insertInOrder(Payload payload)
  {
    if constexpr (kSingle) {
      auto before = list_.before_begin();
      for (auto at = list_.begin(); at != list_.end() && compare_(&payload, &*at) > 0; ++at) {
        before = at;
      }
      list_.insert_after(before, payload);
    } else {
      auto at = list_.begin();
      while (at != list_.end() && compare_(&payload, &*at) > 0) {
        ++at;
      }
      list_.insert(at, payload);
    }
  }
  uint32_t walk()
  {
    Sum sum;
    for (Payload &payload : list_) {
      (void)visit_(&sum, &payload);
    }
    return sum.value;
  }

 private:
  static constexpr bool kSingle = std::is_same_v<List, std::forward_list<Payload>>;

  List list_;
  typename List::iterator last_ = before(list_);
  int32_t (*compare_)(void *, void *) = opaque(&comparePayload);
  int32_t (*visit_)(void *, void *) = opaque(&visitPayload);

  static typename List::iterator before(List &list)
  {
    if constexpr (kSingle) {
      return list.before_begin();
    } else {
      return list.begin();
    }
  }
};

/// Distinct keys in a random order.
std::vector<Payload> payloadsOf(uint32_t count)
{
  std::vector<Payload> payloads(count);
  for (uint32_t i = 0; i < count; ++i) {
    payloads[i] = {i, ~i};
  }
  std::shuffle(payloads.begin(), payloads.end(), std::mt19937(kSeed));
  return payloads;
}

template <class List>
using Insert = void (List::*)(Payload);

template <class List>
void fill(List &list, Insert<List> insert, const std::vector<Payload> &payloads)
{
  for (const Payload &payload : payloads) {
    (list.*insert)(payload);
  }
}

/// The sum of the walk that the inserts have to lead to.
template <class List>
uint32_t expectedSum(Insert<List> insert, std::vector<Payload> payloads)
{
  if (insert == &List::insertAtHead) {
    std::reverse(payloads.begin(), payloads.end());
  } else if (insert == &List::insertInOrder) {
    std::sort(payloads.begin(), payloads.end(), [](const Payload &a, const Payload &b) { return rank(a, b) < 0; });
  }
  Sum sum;
  for (const Payload &payload : payloads) {
    sum.add(payload.key);
  }
  return sum.value;
}

std::string rowOf(const char *operation, uint32_t count, const char *who)
{
  return "list/" + std::string(operation) + "/" + std::to_string(count) + "/" + who;
}

template <class List>
void addInsertRow(const std::string &operation, uint32_t count, const char *who, Insert<List> insert)
{
  const std::string row = rowOf(operation.c_str(), count, who);
  benchmark::RegisterBenchmark(row.c_str(), [row, count, insert](benchmark::State &state) {
    const std::vector<Payload> payloads = payloadsOf(count);
    {
      List list;
      fill(list, insert, payloads);
      require(list.walk() == expectedSum<List>(insert, payloads), row, "the entries do not stand in their order");
    }
    for (auto _ : state) {
      settleHeap();
      List list;
      const IterationTimer timer(state);
      fill(list, insert, payloads);
    }
    countItems(state, count);
  })->UseManualTime();
}

template <class List>
void addWalkRow(const std::string &operation, uint32_t count, const char *who)
{
  const std::string row = rowOf(operation.c_str(), count, who);
  benchmark::RegisterBenchmark(row.c_str(), [row, count](benchmark::State &state) {
    settleHeap();
    const std::vector<Payload> payloads = payloadsOf(count);
    List list;
    fill(list, &List::insertAtTail, payloads);
    require(list.walk() == expectedSum<List>(&List::insertAtTail, payloads), row, "the walk misses entries");
    for (auto _ : state) {
      benchmark::DoNotOptimize(list.walk());
    }
    countItems(state, count);
  });
}

template <class List>
void addListRows(const std::string &family, const char *who)
{
  constexpr uint32_t kMany = 10000;
  constexpr uint32_t kSome = 100;  // an ordered insert passes half of the entries
  addInsertRow<List>(family + "_insert_head", kMany, who, &List::insertAtHead);
  addInsertRow<List>(family + "_insert_tail", kMany, who, &List::insertAtTail);
  addInsertRow<List>(family + "_insert_in_order", kSome, who, &List::insertInOrder);
  addWalkRow<List>(family + "_walk", kMany, who);
}

// Identifiers ---------------------------------------------------------------------------------------------------------

constexpr uint32_t kIds = 100000;
constexpr uint32_t kIdsInUse = kIds / 10 * 9;
constexpr uint32_t kTableSizes[] = {100, 1000, 10000, kIds};

using IdTable = std::vector<uint32_t>;

uint32_t sizeOf(const IdTable &table)
{
  return static_cast<uint32_t>(table.size() * sizeof(table[0]));
}

IdTable emptyTable(uint32_t ids)
{
  return IdTable(HashTableBytesNeeded(static_cast<int32_t>(ids)) / sizeof(uint32_t));
}

/// The lowest nine tenths are in use, as acquiring leaves them.
IdTable denseTable(uint32_t ids)
{
  IdTable table = emptyTable(ids);
  for (uint32_t i = 0; i < ids / 10 * 9; ++i) {
    (void)AcquireHashID(table.data(), sizeOf(table));
  }
  return table;
}

/// Nine of ten are in use, wherever they are.
IdTable scatteredTable()
{
  IdTable table = emptyTable(kIds);
  std::mt19937 random(kSeed);
  for (uint32_t id = 1; id <= kIds; ++id) {
    if (random() % 10 != 0) {
      table[id / 32] |= 1U << (id % 32);
    }
  }
  return table;
}

/// The table's functions as a scan word by word has them: called as ours are, through a pointer.
uint32_t scanAcquire(uint32_t *table, uint32_t size)
{
  for (uint32_t word = 0; word < size / sizeof(uint32_t); ++word) {
    const uint32_t free = word == 0 ? ~(table[0] | 1U) : ~table[word];
    if (free != 0) {
      const auto bit = static_cast<uint32_t>(std::countr_zero(free));
      table[word] |= 1U << bit;
      return word * 32 + bit;
    }
  }
  return 0;
}

uint32_t scanNext(const uint32_t *table, uint32_t size, uint32_t *word, uint32_t *bit)
{
  const uint32_t words = static_cast<uint32_t>(size / sizeof(uint32_t));
  if (*word >= words) {
    return 0;
  }
  uint32_t at = *word;
  uint32_t used = table[at] & (0xFFFFFFFEU << *bit);
  while (used == 0) {
    if (++at == words) {
      return 0;
    }
    used = table[at];
  }
  *word = at;
  *bit = static_cast<uint32_t>(std::countr_zero(used));
  return at * 32 + *bit;
}

uint32_t enumerate(const IdTable &table, decltype(&FindNextHashID) next)
{
  Sum sum;
  uint32_t word = 0;
  uint32_t bit = 0;
  while (const uint32_t id = next(table.data(), sizeOf(table), &word, &bit)) {
    sum.add(id);
  }
  return sum.value;
}

uint32_t enumerateByBit(const IdTable &table)
{
  Sum sum;
  for (uint32_t id = 1; id < table.size() * 32; ++id) {
    if ((table[id / 32] >> (id % 32) & 1U) != 0) {
      sum.add(id);
    }
  }
  return sum.value;
}

void addAcquireRow(uint32_t ids, const char *who, decltype(&AcquireHashID) acquire)
{
  const std::string row = "ids/acquire/" + std::to_string(ids) + "/" + who;
  benchmark::RegisterBenchmark(row.c_str(), [row, ids, acquire](benchmark::State &state) {
    IdTable table = denseTable(ids);
    const uint32_t lowestFree = ids / 10 * 9 + 1;
    const auto called = opaque(acquire);
    require(called(table.data(), sizeOf(table)) == lowestFree, row, "not the lowest free identifier");
    uint32_t &last = table[lowestFree / 32];
    const uint32_t mask = ~(1U << (lowestFree % 32));
    for (auto _ : state) {
      last &= mask;
      benchmark::DoNotOptimize(called(table.data(), sizeOf(table)));
    }
    countItems(state, 1);
  });
}

void addEnumerateRow(const char *who, decltype(&FindNextHashID) next)
{
  const std::string row = "ids/enumerate/" + std::to_string(kIds) + "/" + who;
  benchmark::RegisterBenchmark(row.c_str(), [row, next](benchmark::State &state) {
    const IdTable table = scatteredTable();
    const auto called = opaque(next);
    require(enumerate(table, called) == enumerateByBit(table), row, "does not enumerate what is in use");
    for (auto _ : state) {
      benchmark::DoNotOptimize(enumerate(table, called));
    }
    countItems(state, kIdsInUse);
  });
}

/// The same scan where the compiler sees it: what a program gains that does without the call.
void addInlinedEnumerateRow()
{
  const std::string row = "ids/enumerate/" + std::to_string(kIds) + "/inlined_scan";
  benchmark::RegisterBenchmark(row.c_str(), [row](benchmark::State &state) {
    const IdTable table = scatteredTable();
    const auto scan = [&table] {
      Sum sum;
      for (uint32_t word = 0; word < table.size(); ++word) {
        for (uint32_t used = table[word]; used != 0; used &= used - 1) {
          sum.add(word * 32 + static_cast<uint32_t>(std::countr_zero(used)));
        }
      }
      return sum.value;
    };
    require(scan() == enumerateByBit(table), row, "does not enumerate what is in use");
    for (auto _ : state) {
      benchmark::DoNotOptimize(scan());
    }
    countItems(state, kIdsInUse);
  });
}

void registerRows()
{
  addListRows<OurList<Single>>("single", "ours");
  addListRows<StdList<std::forward_list<Payload>>>("single", "std_forward_list");
  addListRows<OurList<Double>>("double", "ours");
  addListRows<StdList<std::list<Payload>>>("double", "std_list");
  for (const uint32_t ids : kTableSizes) {
    addAcquireRow(ids, "ours", AcquireHashID);
    addAcquireRow(ids, "word_scan", scanAcquire);
  }
  addEnumerateRow("ours", FindNextHashID);
  addEnumerateRow("word_scan", scanNext);
  addInlinedEnumerateRow();
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
