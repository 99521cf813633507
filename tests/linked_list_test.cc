// Linked lists: links, ends and statuses of both families, which share their cases where they behave alike.

#include "support/test.h"

namespace {

using namespace support;

/// The names of a family behind one prefix; `unlink` takes what its two functions take.
#define QV_FAMILY(Name, Prefix, unlinkParameters, ...)                                \
  struct Name {                                                                       \
    using List = Prefix##List;                                                        \
    using Entry = Prefix##ListEntry;                                                  \
    static constexpr auto allocateList = SM##Prefix##ListAlloc;                       \
    static constexpr auto freeList = SM##Prefix##ListFree;                            \
    static constexpr auto init = SM##Prefix##ListInitNoAlloc;                         \
    static constexpr auto allocateEntry = SM##Prefix##ListEntryAlloc;                 \
    static constexpr auto freeEntry = SM##Prefix##ListEntryFree;                      \
    static constexpr auto initEntry = SM##Prefix##ListEntryInitNoAlloc;               \
    static constexpr auto insertAtHead = SM##Prefix##ListInsertEntryAtHead;           \
    static constexpr auto insertAtTail = SM##Prefix##ListInsertEntryAtTail;           \
    static constexpr auto insert = SM##Prefix##ListInsertEntry;                       \
    static constexpr auto walk = SM##Prefix##ListWalkAtHead;                          \
    static constexpr auto replace = SM##Prefix##ListReplaceEntry;                     \
    static constexpr auto removeAtHead = SM##Prefix##ListRemoveEntryAtHead;           \
    static constexpr auto removeAtTail = SM##Prefix##ListRemoveEntryAtTail;           \
    static constexpr auto isEmpty = SM##Prefix##ListIsEmpty;                          \
    static void unlink unlinkParameters { SM##Prefix##ListDeleteEntry(__VA_ARGS__); } \
  };
QV_FAMILY(Single, SL, (List * list, Entry *before, Entry *entry), list, before, entry)
QV_FAMILY(Double, DL, (List * list, Entry *, Entry *entry), list, entry)

/// An entry of the caller's own with a number behind the links.
template <class Entry>
struct Numbered {
  Entry entry;
  int number;
};

template <class Entry>
int numberOf(const void *entry)
{
  return static_cast<const Numbered<Entry> *>(entry)->number;
}

template <class Entry>
int32_t compare(void *key, void *entry)
{
  return *static_cast<int *>(key) - numberOf<Entry>(entry);
}

int32_t never(void *, void *)
{
  return 1;
}

/// The numbers from the head, after checking every link that the family has.
template <class List>
std::vector<int> contents(const List &list)
{
  using Entry = std::remove_pointer_t<decltype(list.head)>;
  std::vector<int> numbers;
  const Entry *last = nullptr;
  for (const Entry *entry = list.head; entry != nullptr; entry = entry->next) {
    numbers.push_back(numberOf<Entry>(entry));
    if constexpr (std::is_same_v<Entry, DLListEntry>) {
      EXPECT_EQ(entry->previous, last);
    }
    last = entry;
  }
  EXPECT_EQ(list.tail, last);
  return numbers;
}

using Numbers = std::vector<int>;

template <class Family>
class ListTest : public testing::Test {
 protected:
  typename Family::Entry *entry(int number)
  {
    // Links that the functions have to overwrite.
    auto &made = entries_[used_++];
    memset(static_cast<void *>(&made), 0xA5, sizeof(made));
    made.number = number;
    return &made.entry;
  }

  void fill(const Numbers &numbers)
  {
    for (int number : numbers) {
      Family::insertAtTail(&list_, entry(number));
    }
  }

  typename Family::List list_ = {nullptr, nullptr};

 private:
  Numbered<typename Family::Entry> entries_[32];
  size_t used_ = 0;
};

using Families = testing::Types<Single, Double>;
TYPED_TEST_SUITE(ListTest, Families);

TYPED_TEST(ListTest, EndsGrowAndShrink)
{
  using F = TypeParam;
  F::insertAtHead(&this->list_, this->entry(2));
  EXPECT_EQ(Numbers({2}), contents(this->list_));
  F::insertAtHead(&this->list_, this->entry(1));
  F::insertAtTail(&this->list_, this->entry(3));
  EXPECT_EQ(Numbers({1, 2, 3}), contents(this->list_));
  EXPECT_EQ(F::isEmpty(&this->list_), 0);

  EXPECT_EQ(numberOf<typename F::Entry>(F::removeAtHead(&this->list_)), 1);
  EXPECT_EQ(Numbers({2, 3}), contents(this->list_));
  EXPECT_EQ(numberOf<typename F::Entry>(F::removeAtTail(&this->list_)), 3);
  EXPECT_EQ(Numbers({2}), contents(this->list_));
  EXPECT_EQ(numberOf<typename F::Entry>(F::removeAtTail(&this->list_)), 2);
  EXPECT_EQ(this->list_.head, nullptr);
  EXPECT_EQ(this->list_.tail, nullptr);
  EXPECT_EQ(F::removeAtTail(&this->list_), nullptr);
  EXPECT_EQ(F::removeAtHead(&this->list_), nullptr);
  EXPECT_EQ(F::isEmpty(&this->list_), 1);

  F::insertAtTail(&this->list_, this->entry(4));
  EXPECT_EQ(numberOf<typename F::Entry>(F::removeAtHead(&this->list_)), 4);
  EXPECT_EQ(Numbers({}), contents(this->list_));
}

TYPED_TEST(ListTest, OrderedInsert)
{
  using F = TypeParam;
  using Entry = typename F::Entry;
  const std::tuple<int, uint32_t, Numbers> rows[] = {{4, SM_STATUS_SUCCESS, {1, 3, 4, 5}},
                                                     {9, SM_STATUS_SUCCESS, {1, 3, 5, 9}},
                                                     {0, SM_STATUS_SUCCESS, {0, 1, 3, 5}},
                                                     {3, SM_STATUS_ALREADY_EXISTS, {1, 3, 5}}};
  for (const auto &[inserted, status, after] : rows) {
    this->list_ = {nullptr, nullptr};
    this->fill({1, 3, 5});
    int key = inserted;
    EXPECT_EQ(F::insert(&this->list_, this->entry(key), &key, compare<Entry>), status);
    EXPECT_EQ(contents(this->list_), after);
  }
  this->list_ = {nullptr, nullptr};
  int key = 7;
  EXPECT_EQ(F::insert(&this->list_, this->entry(key), &key, compare<Entry>), SM_STATUS_SUCCESS);
  EXPECT_EQ(Numbers({7}), contents(this->list_));
}

TYPED_TEST(ListTest, WalkReplaceAndUnlink)
{
  using F = TypeParam;
  using Entry = typename F::Entry;
  this->fill({1, 2, 3});
  int key = 2;
  Entry *found = F::walk(&this->list_, &key, compare<Entry>);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(numberOf<Entry>(found), 2);
  EXPECT_EQ(F::walk(&this->list_, &key, never), nullptr);
  EXPECT_EQ(F::walk(&this->list_, nullptr, compare<Entry>), nullptr);
  EXPECT_EQ(F::walk(&this->list_, &key, nullptr), nullptr);
  EXPECT_EQ(F::walk(nullptr, &key, compare<Entry>), nullptr);

  for (int replaced : {1, 3, 2}) {
    Entry *old = F::replace(&this->list_, this->entry(10 * replaced), &replaced, compare<Entry>);
    ASSERT_NE(old, nullptr);
    EXPECT_EQ(numberOf<Entry>(old), replaced);
  }
  EXPECT_EQ(Numbers({10, 20, 30}), contents(this->list_));
  EXPECT_EQ(F::replace(&this->list_, this->entry(0), &key, never), nullptr);
  EXPECT_EQ(F::replace(&this->list_, nullptr, &key, compare<Entry>), nullptr);

  Entry *middle = this->list_.head->next;
  F::unlink(&this->list_, this->list_.head, middle);
  EXPECT_EQ(Numbers({10, 30}), contents(this->list_));
  F::unlink(&this->list_, this->list_.head, this->list_.tail);
  EXPECT_EQ(Numbers({10}), contents(this->list_));
  F::unlink(&this->list_, nullptr, this->list_.head);
  EXPECT_EQ(Numbers({}), contents(this->list_));
}

TYPED_TEST(ListTest, AllocationAndNulls)
{
  using F = TypeParam;
  using Entry = typename F::Entry;
  Entry *entry = F::allocateEntry(16);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->data, entry + 1);
  EXPECT_EQ(entry->next, nullptr);
  void *dataWhenFreed = entry;
  {
    Fault freed(Call::free, 1, [&] { dataWhenFreed = entry->data; });
    F::freeEntry(entry);
  }
  EXPECT_EQ(dataWhenFreed, nullptr);
  entry = F::allocateEntry(0);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->data, nullptr);
  int data = 0;
  entry->data = &data;
  entry->next = entry;
  F::initEntry(entry);
  EXPECT_EQ(entry->next, nullptr);
  EXPECT_EQ(entry->data, &data);
  F::freeEntry(entry);
  if (sizeof(void *) == 4) {
    EXPECT_EQ(F::allocateEntry(UINT32_MAX), nullptr);
    EXPECT_EQ(F::allocateEntry(static_cast<uint32_t>(UINT32_MAX - sizeof(Entry) + 1)), nullptr);
  }

  const long before = liveBlocks();
  auto *list = F::allocateList();
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(F::isEmpty(list), 1);
  list->head = this->entry(1);
  F::init(list);
  EXPECT_EQ(list->head, nullptr);
  F::freeList(list);
  EXPECT_EQ(liveBlocks(), before);
  {
    Fault fault(Call::allocation, 1, ENOMEM, true);
    EXPECT_EQ(F::allocateList(), nullptr);
    EXPECT_EQ(F::allocateEntry(4), nullptr);
  }
  F::freeList(nullptr);
  F::init(nullptr);
  F::freeEntry(nullptr);
  F::initEntry(nullptr);
  F::insertAtHead(nullptr, this->entry(1));
  F::insertAtHead(&this->list_, nullptr);
  F::insertAtTail(nullptr, this->entry(1));
  F::insertAtTail(&this->list_, nullptr);
  F::unlink(nullptr, nullptr, this->entry(1));
  F::unlink(&this->list_, nullptr, nullptr);
  EXPECT_EQ(F::removeAtHead(nullptr), nullptr);
  EXPECT_EQ(F::removeAtTail(nullptr), nullptr);
  EXPECT_EQ(F::isEmpty(nullptr), 1);
  EXPECT_EQ(Numbers({}), contents(this->list_));
}

TEST(DoubleListTest, WalksBackwards)
{
  Numbered<DLListEntry> entries[3] = {};
  DLList list = {nullptr, nullptr};
  for (int i = 0; i < 3; ++i) {
    entries[i].number = 5;
    DLListInsertEntryAtTail(&list, &entries[i].entry);
  }
  int key = 5;
  EXPECT_EQ(SMDLListWalkAtTail(&list, &key, compare<DLListEntry>), &entries[2].entry);
  EXPECT_EQ(SMDLListWalkAtHead(&list, &key, compare<DLListEntry>), &entries[0].entry);
  EXPECT_EQ(SMDLListWalkAtTail(&list, &key, never), nullptr);
  EXPECT_EQ(SMDLListWalkAtTail(&list, nullptr, never), nullptr);
}

}  // namespace
