// The hash identifier table: against a plain model bit by bit, and at the edges of tables of every size.

#include "support/test.h"

namespace {

using namespace support;

/// A table that ends at an unreadable page.
class Table {
 public:
  explicit Table(uint32_t size) : block_(size), size_(size) { ClearHashTable(words(), static_cast<int32_t>(size)); }
  uint32_t *words() { return reinterpret_cast<uint32_t *>(block_.data()); }
  uint32_t size() const { return size_; }

 private:
  GuardedBlock block_;
  uint32_t size_;
};

std::vector<uint32_t> enumerate(Table &table)
{
  std::vector<uint32_t> ids;
  uint32_t word = 99;
  uint32_t bit = 99;
  for (uint32_t id = SMFindFirstHashID(table.words(), table.size(), &word, &bit); id != 0;
       id = SMFindNextHashID(table.words(), table.size(), &word, &bit)) {
    EXPECT_EQ(id, word * 32 + bit);
    ids.push_back(id);
  }
  return ids;
}

TEST(HashIdTest, BytesNeeded)
{
  const std::pair<int32_t, uint32_t> rows[] = {
      {0, 0},  {-1, 0},  {INT32_MIN, 0},          {1, 4},         {31, 4}, {32, 8},
      {63, 8}, {64, 12}, {1073741822, 134217728}, {1073741823, 0}};
  for (const auto &[highest, bytes] : rows) {
    EXPECT_EQ(SMHashTableBytesNeeded(highest), bytes) << highest;
  }
}

TEST(HashIdTest, StatusesAtTheEdges)
{
  Table table(4);
  EXPECT_EQ(SMVerifyHashID(table.words(), 4, 0), SM_STATUS_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(SMVerifyHashID(table.words(), 4, 31), SM_STATUS_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(SMVerifyHashID(table.words(), 4, 32), SM_STATUS_BAD_TYPE);
  EXPECT_EQ(SMReleaseHashID(table.words(), 4, UINT32_MAX), SM_STATUS_BAD_TYPE);
  // A table that does not end with a whole word has its own capacity, and hands out nothing below a word.
  Table odd(5);
  EXPECT_EQ(SMVerifyHashID(odd.words(), 5, 39), SM_STATUS_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(SMVerifyHashID(odd.words(), 5, 40), SM_STATUS_BAD_TYPE);
  for (uint32_t size = 0; size < 4; ++size) {
    EXPECT_EQ(SMVerifyHashID(table.words(), size, 0), SM_STATUS_INDEX_OUT_OF_RANGE);
    EXPECT_EQ(SMReleaseHashID(table.words(), size, 1), size == 0 ? SM_STATUS_BAD_TYPE : SM_STATUS_INDEX_OUT_OF_RANGE);
    EXPECT_EQ(SMAcquireHashID(table.words(), size), 0u);
    EXPECT_EQ(SMGetMaxInUseID(table.words(), size), 0u);
    uint32_t word = 7;
    uint32_t bit = 7;
    EXPECT_EQ(SMFindFirstHashID(table.words(), size, &word, &bit), 0u);
  }
  // A bit of identifier 0 that somebody else has set is never reported.
  table.words()[0] = 1;
  EXPECT_EQ(SMVerifyHashID(table.words(), 4, 0), SM_STATUS_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(SMGetMaxInUseID(table.words(), 4), 0u);
  EXPECT_TRUE(enumerate(table).empty());
}

TEST(HashIdTest, EnumerationKeepsItsPosition)
{
  Table table(8);
  table.words()[0] = 1U << 5;
  table.words()[1] = 1U << 1;
  uint32_t word = 0;
  uint32_t bit = 0;
  EXPECT_EQ(SMFindFirstHashID(table.words(), 8, &word, &bit), 5u);
  EXPECT_EQ(SMFindNextHashID(table.words(), 8, &word, &bit), 33u);
  EXPECT_EQ(SMFindNextHashID(table.words(), 8, &word, &bit), 0u);
  EXPECT_EQ(word, 1u);
  EXPECT_EQ(bit, 1u);
  EXPECT_EQ(SMGetMaxInUseID(table.words(), 8), 33u);
  for (uint32_t past : {2U, UINT32_MAX}) {
    word = past;
    EXPECT_EQ(SMFindNextHashID(table.words(), 8, &word, &bit), 0u);
    EXPECT_EQ(past, word);
  }
  word = 0;
  bit = 31;
  EXPECT_EQ(SMFindNextHashID(table.words(), 8, &word, &bit), 33u);
}

TEST(HashIdTest, AgreesWithAModel)
{
  std::mt19937 random(1);
  for (const uint32_t size : {4U, 60U, 64U, 68U, 72U, 260U}) {
    Table table(size);
    std::vector<bool> model(size * 8, false);
    for (int round = 0; round < 4000; ++round) {
      // Long runs of acquiring fill the table past every block; then it empties again.
      if (random() % 8 < (round % 2000 < 1200 ? 7U : 2U)) {
        const auto free = std::find(model.begin() + 1, model.end(), false);
        const auto expected = static_cast<uint32_t>(free == model.end() ? 0 : free - model.begin());
        ASSERT_EQ(AcquireHashID(table.words(), size), expected);
        if (expected != 0) {
          model[expected] = true;
        }
      } else {
        const auto id = static_cast<uint32_t>(random() % model.size());
        ASSERT_EQ(ReleaseHashID(table.words(), size, id), model[id] ? SM_STATUS_SUCCESS : SM_STATUS_INDEX_OUT_OF_RANGE);
        model[id] = false;
      }
    }
    std::vector<uint32_t> used;
    for (uint32_t id = 0; id < model.size(); ++id) {
      ASSERT_EQ(VerifyHashID(table.words(), size, id), model[id] ? SM_STATUS_SUCCESS : SM_STATUS_INDEX_OUT_OF_RANGE);
      if (model[id]) {
        used.push_back(id);
      }
    }
    EXPECT_EQ(enumerate(table), used);
    EXPECT_EQ(GetMaxInUseID(table.words(), size), used.empty() ? 0 : used.back());
    EXPECT_EQ(SMClearHashTable(table.words(), static_cast<int32_t>(size)), 0u);
    EXPECT_TRUE(enumerate(table).empty());
  }
}

}  // namespace
