// Data objects: what an add takes and refuses, the size kept with every change, lookups, removal, nested objects and
// who owns them, failed allocations, and the callbacks. Their binary form has tests of its own.

#include <limits>

#include "support/objects.h"
#include "support/test.h"

namespace {

using namespace support;

constexpr uint16_t kInvalidFieldIDs[] = {0, 65534, 65535};
const Bytes kTwiceTheSameID = hex("'BODS' 0200 1800 0500 07 00 01000000 0500 07 00 02000000");

Bytes arrayOf(std::initializer_list<Bytes> elements)
{
  Bytes array = hex("'BADS' 0000 0000");
  for (const Bytes &element : elements) {
    array.insert(array.end(), element.begin(), element.end());
  }
  array[4] = static_cast<uint8_t>(elements.size());
  array[6] = static_cast<uint8_t>(array.size());
  return array;
}

TEST(SdoConfig, AddRefusesWhatIsMissingOrInvalid)
{
  const Object object = objectOf({{5, 4}});
  const Bytes before = flatten(object.get());
  const Bytes other = hex("'BODT' 0000 0800");
  const struct {
    uint8_t type;
    const void *value;
    uint32_t dataSize;
  } rows[] = {
      {0, &other, 4},
      {kPlain, &other, 0},
      {SDO_TYPE_BINARY, kEmptyBlock.data(), 0},
      {SDO_TYPE_BINARY, other.data(), 8},
      {SDO_TYPE_BINARY, "BODT", 4},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(SDOConfigAddData(object.get(), 1, row.type, row.value, row.dataSize, 0), kInvalid) << &row - rows;
  }
  for (const uint16_t fieldID : kInvalidFieldIDs) {
    EXPECT_EQ(BSOCIsFieldIDValid(fieldID), 0);
    EXPECT_EQ(add(object, fieldID, {1}), kInvalid);
  }
  EXPECT_TRUE(flattensTo(object.get(), before));
  EXPECT_TRUE(BSOCIsFieldIDValid(1) == 1 && BSOCIsFieldIDValid(65533) == 1);
  EXPECT_TRUE(add(object, 1, {1}) == kOk && add(object, 65533, {1}) == kOk);

  SDOConfigFree(nullptr);
  EXPECT_EQ(SDOConfigGetCount(nullptr), -1);
  EXPECT_EQ(SDOConfigGetBinarySize(nullptr), -1);
  EXPECT_EQ(SDOConfigReCalcBinarySize(nullptr), -1);
}

TEST(SdoConfig, EveryOtherTypeByteIsTheCallersOwn)
{
  const Object object = objectOf({});
  for (int type = 1; type <= 255; ++type) {
    if (const int low = type & 15; low != SDO_TYPE_BINARY && low != SDO_TYPE_CONFIG) {
      uint8_t stored = 0;
      uint32_t size = 0;
      EXPECT_EQ(add(object, 1, {1, 2, 3, 4, 5}, static_cast<uint8_t>(type), 1), kOk);
      EXPECT_EQ(SDOConfigGetDataByID(object.get(), 1, &stored, nullptr, &size), kTooSmall);
      EXPECT_TRUE(stored == type && size == 5 && binarySize(object.get()) == 8 + 13) << type;
    }
  }
}

TEST(SdoConfig, AnEntryCountsEightAndWhatPassesFourBytes)
{
  EXPECT_EQ(SDOConfigGetCount(objectOf({}).get()), 0);
  EXPECT_EQ(SDOConfigGetBinarySize(objectOf({}).get()), 8);
  for (const auto &[size, counted] : {std::pair(1U, 8U), {4U, 8U}, {5U, 13U}, {6U, 14U}, {65519U, 65527U}}) {
    EXPECT_EQ(binarySize(objectOf({{1, size}}).get()), 8 + counted);
    EXPECT_EQ(CalcSDOEntrySizeByDataBinSize(size), counted);
  }
  EXPECT_EQ(CalcSDOEntrySizeByDataBinSize(0), 8U);
  EXPECT_EQ(CalcSDOEntrySizeByDataBinSize(0xFFFFFFF7), 0xFFFFFFFF);
  EXPECT_EQ(CalcSDOEntrySizeByDataBinSize(0xFFFFFFF8), 0xFFFFFFFF) << "a sum past 32 bits must not wrap";
}

TEST(SdoConfig, TheBinarySizeHasALimit)
{
  EXPECT_EQ(add(objectOf({}), 1, Bytes(65520)), kLimit);
  const Object many = objectOf({});
  for (uint16_t fieldID = 1; fieldID <= 8190; ++fieldID) {
    ASSERT_EQ(add(many, fieldID, {1}), kOk);
  }
  EXPECT_EQ(add(many, 8191, {1}), kLimit);
  EXPECT_TRUE(SDOConfigGetCount(many.get()) == 8190 && binarySize(many.get()) == 65528);

  const Object full = objectOf({{1, 65519 - 13}, {2, 5}});
  const Bytes before = flatten(full.get());
  ASSERT_EQ(before.size(), 65535U);
  Fault heap(Call::allocation, 1, ENOMEM, true);
  const uint8_t value[5] = {};
  for (const int16_t replace : {int16_t{0}, int16_t{1}}) {
    EXPECT_EQ(SDOConfigAddData(full.get(), 2, kPlain, value, 5, replace), kLimit)
        << "the new entry counts in full, before the old one is looked for and before the heap is asked";
  }
  EXPECT_EQ(SDOConfigAddData(full.get(), 3, SDO_TYPE_BINARY, value, 5, 0), kInvalid) << "the block comes first";
  EXPECT_EQ(SDOConfigAddData(full.get(), 3, kObject, many.get(), 1, 0), kLimit);
  EXPECT_TRUE(flattensTo(full.get(), before));
}

TEST(SdoConfig, SizesPastTheLimitAreRefusedBeforeTheValueIsRead)
{
  const Object large = objectOf({{1, 30000}});
  const SDOConfig *const pointers[] = {large.get(), large.get(), large.get()};
  for (const uint8_t type : {kPlain, kObject, kObjects}) {
    for (const uint32_t size : {0xFFFFFFF4U, 0xFFFFFFF8U, 0xFFFFFFFCU, 0xFFFFFFFFU}) {
      if (type == kObject && size == 0xFFFFFFF4U) {
        continue;  // one object, whatever the size says: a question of memory
      }
      // A process of its own: whoever believes the size runs out of the block.
      Child child([&](Child::Inside &inside) {
        GuardedBlock value(sizeof(pointers));
        memcpy(value.data(), pointers, sizeof(pointers));
        const Object object = objectOf({{1, 4}});
        const uint32_t status = SDOConfigAddData(object.get(), 2, type, value.data(), size, 0);
        inside.report("%u, %u bytes", status, binarySize(object.get()));
      });
      EXPECT_EQ(child.report(), "19, 16 bytes\n") << "type " << int{type} << " size " << size;
    }
  }
}

TEST(SdoConfig, OneNestedObjectKeepsTheDataSizeOfItsCaller)
{
  for (const uint32_t dataSize : {1U, kPointer - 1, kPointer, kPointer + 1, 100U}) {
    const Object object = objectOf({});
    SDOConfig *const nested = objectOf({{1, 5}}).release();
    ASSERT_EQ(SDOConfigAddData(object.get(), 3, kObject, nested, dataSize, 0), kOk);
    Bytes value(std::max(dataSize, kPointer));
    memcpy(value.data(), &nested, kPointer);
    value.resize(dataSize);
    const auto byID = [&](Reading &out, void *into) {
      return SDOConfigGetDataByID(object.get(), 3, &out.type, into, &out.size);
    };
    Reading expected = {kOk, dataSize, value};
    expected.type = kObject;
    EXPECT_EQ(read(dataSize, byID), expected);
    EXPECT_TRUE(flattensTo(object.get(), hex("'BODS' 0100 2500 0300 0C 04 1500 0800"
                                             "'BODS' 0100 1500 0100 07 04 0500 0800 0101010101")));
  }
}

TEST(SdoConfig, AnObjectPutIntoItsOwnPlaceStays)
{
  const long blocksBefore = liveBlocks();
  {
    const Object object = objectOf({});
    SDOConfig *const nested = nest(object, 3, objectOf({{1, 5}}));
    const Bytes before = flatten(object.get());
    EXPECT_EQ(addNested(object, 3, nested), kOk);
    EXPECT_TRUE(flattensTo(object.get(), before));
    SDOConfig *const two[] = {objectOf({{2, 1}}).release(), nested};
    EXPECT_EQ(SDOConfigAddData(object.get(), 3, kObjects, two, sizeof(two), 1), kOk);
    SDOConfig *const other[] = {nested, nullptr, objectOf({{4, 2}}).release()};
    EXPECT_EQ(SDOConfigAddData(object.get(), 3, kObjects, other, sizeof(other), 1), kOk);
    EXPECT_EQ(addNested(object, 3, nested), kOk);
    EXPECT_TRUE(flattensTo(object.get(), before));
  }
  EXPECT_EQ(liveBlocks(), blocksBefore) << "only what the new value does not hold is freed";
}

TEST(SdoConfig, OnlyReplaceOneReplaces)
{
  const long blocksBefore = liveBlocks();
  {
    const Object object = objectOf({{1, 4}, {2, 4}});
    for (const int16_t replace : {int16_t{0}, int16_t{2}, int16_t{-1}}) {
      EXPECT_EQ(add(object, 2, {9}, kPlain, replace), kExists);
      EXPECT_TRUE(flattensTo(object.get(), flatten(objectOf({{1, 4}, {2, 4}}).get())));
    }
    for (const uint32_t size : {20U, 5U, 4U, 1U, 6U}) {
      EXPECT_EQ(add(object, 2, Bytes(size, 2), kPlain, 1), kOk);
      EXPECT_TRUE(flattensTo(object.get(), flatten(objectOf({{1, 4}, {2, size}}).get())));
    }
    EXPECT_EQ(add(object, 3, {3}, kPlain, 1), kOk) << "nothing to replace: it is added";
    nest(object, 4, objectOf({{1, 100}}));
    EXPECT_EQ(add(object, 4, {4}, kPlain, 1), kOk);
    EXPECT_TRUE(flattensTo(object.get(), flatten(objectOf({{1, 4}, {2, 6}, {3, 1}, {4, 1}}).get())));
    EXPECT_EQ(SDOConfigGetCount(object.get()), 4);
  }
  EXPECT_EQ(liveBlocks(), blocksBefore) << "the replaced entry is freed with what was nested in it";
}

TEST(SdoConfig, LookupsCopyWhatFitsAndTellTypeAndSize)
{
  const Object object = objectOf({{9, 6}, {2, 4}, {5, 1}});
  uint32_t index = 0;
  for (const auto &[fieldID, need] : {std::pair<uint16_t, uint32_t>(2, 4), {5, 1}, {9, 6}}) {
    const auto byIndex = [&](Reading &out, void *into) {
      return SDOConfigGetDataByIndex(object.get(), index, &out.fieldID, &out.type, into, &out.size);
    };
    const auto byID = [&, id = fieldID](Reading &out, void *into) {
      out.fieldID = id;
      return SDOConfigGetDataByID(object.get(), id, &out.type, into, &out.size);
    };
    const Bytes value(need, static_cast<uint8_t>(fieldID));
    const Reading outputs = {0, 0, {}, fieldID, kPlain};
    expectCopied(value, byIndex, outputs, true);
    expectCopied(value, byID, outputs, true);
    uint16_t found = 0;
    uint32_t size[] = {100, 100};
    EXPECT_EQ(SDOConfigGetDataByID(object.get(), fieldID, nullptr, nullptr, &size[0]), kTooSmall);
    EXPECT_EQ(SDOConfigGetDataByIndex(object.get(), index++, &found, nullptr, nullptr, &size[1]), kTooSmall);
    EXPECT_TRUE(size[0] == need && size[1] == need && found == fieldID);
  }
}

TEST(SdoConfig, LookupsThatFailLeaveTheOutputs)
{
  const Object object = objectOf({{2, 4}});
  SDOConfig *const from = object.get();
  Reading out;
  uint8_t into[4] = {};
  for (const uint16_t fieldID : kInvalidFieldIDs) {
    EXPECT_EQ(SDOConfigGetDataByID(from, fieldID, &out.type, into, &out.size), kInvalid);
  }
  EXPECT_EQ(SDOConfigGetDataByID(from, 3, &out.type, into, &out.size), kNotFound);
  EXPECT_EQ(SDOConfigGetDataByIndex(from, 9, nullptr, &out.type, into, &out.size), kInvalid);
  EXPECT_EQ(SDOConfigGetDataByIndex(from, 1, &out.fieldID, &out.type, into, &out.size), kNoIndex);
  EXPECT_EQ(SDOConfigGetDataByIndex(from, UINT32_MAX, &out.fieldID, &out.type, into, &out.size), kNoIndex);
  EXPECT_EQ(out, Reading());
}

TEST(SdoConfig, RemoveTakesTheFieldOrTheIndexOrAll)
{
  const long blocksBefore = liveBlocks();
  {
    const Object object = objectOf({{9, 6}, {2, 4}, {5, 1}});
    SDOConfig *const from = object.get();
    nest(object, 7, objectOf({{1, 40}}));
    EXPECT_EQ(SDOConfigRemoveData(from, 3, 0, 0), kNotFound) << "a valid field ID: the index is not read";
    EXPECT_EQ(SDOConfigRemoveData(from, 0, 4, 0), kNoIndex);
    EXPECT_EQ(SDOConfigGetCount(from), 4);
    EXPECT_EQ(SDOConfigRemoveData(from, 7, 99, 0), kOk);
    EXPECT_TRUE(flattensTo(from, flatten(objectOf({{9, 6}, {2, 4}, {5, 1}}).get())));
    EXPECT_EQ(SDOConfigRemoveData(from, 65535, 1, 0), kOk);
    EXPECT_TRUE(flattensTo(from, flatten(objectOf({{9, 6}, {2, 4}}).get())));
    EXPECT_EQ(SDOConfigRemoveData(from, 65534, 1, 0), kOk);
    EXPECT_EQ(SDOConfigRemoveData(from, 0, 0, 0), kOk);
    EXPECT_TRUE(flattensTo(from, kEmptyBlock));
    EXPECT_EQ(SDOConfigRemoveData(from, 0, 0, 0), kNoIndex);
    for (const int16_t all : {int16_t{1}, int16_t{-1}, int16_t{256}}) {
      add(object, 2, {1});
      nest(object, 7, objectOf({{1, 40}}));
      EXPECT_EQ(SDOConfigRemoveData(from, 3, 99, all), kOk);
      EXPECT_TRUE(flattensTo(from, kEmptyBlock));
    }
  }
  EXPECT_EQ(liveBlocks(), blocksBefore);
}

TEST(SdoConfig, NestedObjectsBelongToTheirEntry)
{
  const long blocksBefore = liveBlocks();
  {
    const Object object = objectOf({});
    SDOConfig *const one = nest(object, 1, objectOf({{1, 5}}));
    EXPECT_EQ(binarySize(object.get()), 8U + 8 + 21);
    SDOConfig *several[] = {objectOf({{1, 5}}).release(), nullptr, objectOf({{1, 14}, {2, 1}}).release()};
    SDOConfig *const kept[] = {several[0], several[1], several[2]};
    EXPECT_EQ(SDOConfigAddData(object.get(), 2, 0xFD, several, sizeof(several), 0), kOk);
    EXPECT_EQ(binarySize(object.get()), 37U + 8 + (8 + 21 + 38)) << "null pointers count for nothing";
    EXPECT_EQ(SDOConfigReCalcBinarySize(object.get()), SDOConfigGetBinarySize(object.get()));
    std::fill(std::begin(several), std::end(several), nullptr);  // the caller's array was copied

    uint8_t type = 0;
    uint32_t size = sizeof(several);
    EXPECT_EQ(SDOConfigGetDataByID(object.get(), 2, &type, several, &size), kOk);
    EXPECT_TRUE(type == 0xFD && size == sizeof(several) && std::equal(several, several + 3, kept));
    EXPECT_EQ(SDOConfigGetDataByID(object.get(), 1, &type, several, &size), kOk);
    EXPECT_TRUE(type == kObject && size == kPointer && several[0] == one);
  }
  EXPECT_EQ(liveBlocks(), blocksBefore);
}

TEST(SdoConfig, ABlockInBinaryFormIsStoredAsObjects)
{
  const struct {
    uint8_t type;
    Bytes block;
    uint8_t storedType;
    uint32_t objects;
    uint32_t counted;
    Bytes first;
  } rows[] = {
      {0x0C, kOneBlock, 0x0D, 1, 8 + 16, kOneBlock},
      {0xEC, kOneBlock, 0xED, 1, 8 + 16, kOneBlock},
      {0x1C, kOneBlock, 0x1D, 1, 8 + 8 + 16, kOneBlock},
      {0xFC, kEmptyBlock, 0xFD, 1, 8 + 8 + 8, kEmptyBlock},
      {0x0C, arrayOf({}), 0x1D, 0, 8 + 8, {}},
      {0xAC, arrayOf({kOneBlock}), 0xBD, 1, 8 + 8 + 16, kOneBlock},
      {0x1C, arrayOf({kEmptyBlock, kOneBlock, kOneBlock}), 0x1D, 3, 8 + 8 + 40, kEmptyBlock},
  };
  for (const auto &row : rows) {
    const Object object = objectOf({});
    GuardedBlock block(row.block);
    EXPECT_EQ(SDOConfigAddData(object.get(), 3, row.type, block.data(), 1, 0), kOk);
    EXPECT_EQ(SDOConfigReCalcBinarySize(object.get()), static_cast<int32_t>(8 + row.counted));
    SDOConfig *nested[3] = {};
    uint8_t type = 0;
    uint32_t size = sizeof(nested);
    EXPECT_EQ(SDOConfigGetDataByID(object.get(), 3, &type, nested, &size), kOk);
    EXPECT_TRUE(type == row.storedType && size == row.objects * kPointer) << int{type} << ", " << size << " bytes";
    EXPECT_TRUE(row.objects == 0 || flattensTo(nested[0], row.first));
    EXPECT_TRUE(row.objects < 3 || flattensTo(nested[2], kOneBlock));
  }
}

TEST(SdoConfig, ARefusedBlockLeavesNothingBehind)
{
  const Object object = objectOf({{1, 4}, {2, 65400}});
  const Bytes before = flatten(object.get());
  Bytes longElement = arrayOf({kOneBlock});
  longElement[14] = 0x11;  // one byte past the array's end
  const struct {
    uint16_t fieldID;
    Bytes block;
    uint32_t status;
  } rows[] = {
      {3, hex("'BODS' 0100 0800"), kFailed},
      {3, kTwiceTheSameID, kFailed},
      {3, hex("'BADS' 0100 0800"), kBadType},
      {3, arrayOf({kOneBlock, hex("'BODT' 0000 0800")}), kBadType},
      {3, arrayOf({kOneBlock, arrayOf({})}), kBadType},
      {3, longElement, kBadType},
      {3, arrayOf({kOneBlock, kTwiceTheSameID}), kFailed},
      {1, kOneBlock, kExists},
      {1, arrayOf({kOneBlock, kEmptyBlock}), kExists},
      {3, flatten(objectOf({{1, 200}}).get()), kLimit},
      {3, arrayOf({kOneBlock, kOneBlock, kOneBlock, kOneBlock, kOneBlock, kOneBlock}), kLimit},
  };
  for (const auto &row : rows) {
    GuardedBlock block(row.block);
    const long blocksBefore = liveBlocks();
    EXPECT_EQ(SDOConfigAddData(object.get(), row.fieldID, SDO_TYPE_BINARY, block.data(), 1, 0), row.status)
        << &row - rows;
    EXPECT_EQ(liveBlocks(), blocksBefore) << &row - rows;
    EXPECT_TRUE(flattensTo(object.get(), before));
  }
}

TEST(SdoConfig, AFailedAllocationChangesNothing)
{
  const Object outer = objectOf({{1, 9}});
  nest(outer, 2, objectOf({{1, 9}, {2, 2}}));
  const Bytes block = flatten(outer.get());
  const Bytes array = arrayOf({kOneBlock, block});
  const Bytes value(9, 1);
  for (int i = 0; i < 10; ++i) {
    const Object object = objectOf({{6, 9}});
    const Bytes before = flatten(object.get());
    Object nested = objectOf({{1, 9}});
    const SDOConfig *pointers[] = {nested.get(), nullptr};
    const struct {
      uint8_t type;
      const void *value;
      uint32_t size;
    } rows[] = {
        {kPlain, value.data(), 9},         {SDO_TYPE_BINARY, block.data(), 1},     {SDO_TYPE_BINARY, array.data(), 1},
        {kObject, nested.get(), kPointer}, {kObjects, pointers, sizeof(pointers)},
    };
    const auto &row = rows[i / 2];
    const auto fieldID = static_cast<uint16_t>(5 + i % 2);  // one that is added, and one that is replaced
    const unsigned failures = failEach(Call::allocation, ENOMEM, [&](unsigned) {
      const long blocksBefore = liveBlocks();
      const uint32_t status = SDOConfigAddData(object.get(), fieldID, row.type, row.value, row.size, 1);
      if (status != kOk) {
        EXPECT_TRUE(status == kNoMemory || (row.value == block.data() && status == kFailed));
        EXPECT_EQ(liveBlocks(), blocksBefore);
        EXPECT_TRUE(flattensTo(object.get(), before));
        EXPECT_EQ(SDOConfigGetCount(nested.get()), 1) << "it stays the caller's";
      }
    });
    EXPECT_GE(failures, fieldID == 5 ? 2U : 1U);
    EXPECT_FALSE(flattensTo(object.get(), before));
    if (i / 2 > 2) {
      (void)nested.release();  // the entry holds it now
    }
  }
  Fault heap(Call::allocation, 1, ENOMEM, true);
  EXPECT_EQ(SDOConfigAddData(outer.get(), 1, kPlain, value.data(), 9, 0), kNoMemory) << "before 258 is found out";
  EXPECT_EQ(SDOConfigAlloc(), nullptr);
}

/// An entry with its value, outside any object.
struct LooseEntry {
  SDOConfigEntry head;
  SDOConfig *nested[3];
};

TEST(SdoCallbacks, SizesFollowTheType)
{
  const Object small = objectOf({});
  const Object large = objectOf({{1, 5}});
  SDOConfig *objects[] = {small.get(), nullptr, large.get()};
  const struct {
    uint8_t type;
    uint32_t dataSize;
    uint32_t dataBinSize;
    uint32_t entrySize;
  } rows[] = {
      {kPlain, 3, 3, 8},
      {SDO_TYPE_ARRAY, 5, 5, 13},
      {kPlain, 0xFFFFFFFE, 0xFFFFFFFE, 0xFFFFFFFF},
      {kObject, kPointer, 8, 16},
      {kObjects, 3 * kPointer, 8 + 8 + 21, 8 + 37},
      {0xFD, kPointer, 8 + 8, 8 + 16},
      {kObjects, 0, 8, 16},
  };
  for (const auto &row : rows) {
    uint32_t size[2] = {};
    EXPECT_EQ(CalcDataBinSizeByType(row.type, objects, row.dataSize, &size[0]), row.dataBinSize);
    EXPECT_EQ(CalcSDOEntrySizeByType(row.type, objects, row.dataSize, &size[1]), row.entrySize);
    EXPECT_TRUE(size[0] == row.dataBinSize && size[1] == row.entrySize);
    EXPECT_EQ(CalcDataBinSizeByType(row.type, objects, row.dataSize, nullptr), row.dataBinSize);
    EXPECT_EQ(CalcSDOEntrySizeByType(row.type, objects, row.dataSize, nullptr), row.entrySize);
  }
  LooseEntry entry = {{3 * kPointer, 1, kObjects, 0}, {small.get(), nullptr, large.get()}};
  uint32_t total = 100;
  EXPECT_EQ(BSOCWalkCalculateBinarySize(&total, &entry), -1);
  EXPECT_EQ(total, 100U + 8 + 37);
}

template <class T>
void expectUnsignedOrder(int32_t (*compare)(T, T))
{
  constexpr T kMax = std::numeric_limits<T>::max();
  EXPECT_TRUE(compare(1, kMax) == -1 && compare(kMax, kMax) == 0 && compare(kMax, 1) == 1);
}

TEST(SdoCallbacks, ComparisonsAreUnsigned)
{
  expectUnsignedOrder(BSOCu8WalkCompare);
  expectUnsignedOrder(BSOCu16WalkCompare);
  expectUnsignedOrder(BSOCu32WalkCompare);
  LooseEntry low = {{1, 1, kPlain, 0}, {}};
  LooseEntry high = {{1, 65533, kPlain, 0}, {}};
  EXPECT_TRUE(BSOCWalkInsert(&low, &high) == -1 && BSOCWalkInsert(&low, &low) == 0 && BSOCWalkInsert(&high, &low) == 1);
}

TEST(SdoCallbacks, QueriesCompareCountAndRecord)
{
  LooseEntry entry = {{1, 65000, kPlain, 0}, {}};
  const struct {
    SMRedBlackTreeCallback callback;
    SDOConfigQuery query;
    int32_t result;
    uint32_t counter;
  } rows[] = {
      {BSOCWalkNodeDataQuery, {nullptr, 3, 3, 64999, SDO_QUERY_BY_ID}, -1, 3},
      {BSOCWalkNodeDataQuery, {nullptr, 3, 9, 65000, SDO_QUERY_BY_ID}, 0, 3},
      {BSOCWalkNodeDataQuery, {nullptr, 3, 3, 65001, SDO_QUERY_BY_ID}, 1, 3},
      {BSOCWalkNodeDataQuery, {nullptr, 3, 2, 65000, SDO_QUERY_BY_INDEX}, -1, 4},
      {BSOCWalkNodeDataQuery, {nullptr, 3, 3, 1, SDO_QUERY_BY_INDEX}, 0, 3},
      {BSOCWalkNodeDataQuery, {nullptr, 3, 4, 65000, SDO_QUERY_BY_INDEX}, 1, 4},
      {BSOCWalkNodeDataQuery, {nullptr, 3, 3, 65000, 0}, -1, 3},
      {BSOCWalkNodeDataQuery, {nullptr, 3, 3, 65000, 3}, -1, 3},
      {BSOCWalkRemoveByFieldID, {nullptr, 3, 3, 64999, SDO_QUERY_BY_ID}, -1, 3},
      {BSOCWalkRemoveByFieldID, {nullptr, 3, 9, 65000, SDO_QUERY_BY_ID}, 0, 3},
      {BSOCWalkRemoveByIndex, {nullptr, 3, 2, 65000, SDO_QUERY_BY_INDEX}, -1, 4},
      {BSOCWalkRemoveByIndex, {nullptr, 3, 3, 1, SDO_QUERY_BY_INDEX}, 0, 3},
      {BSOCWalkRemoveByIndex, {nullptr, 3, 4, 65000, SDO_QUERY_BY_INDEX}, 1, 4},
  };
  for (const auto &row : rows) {
    SDOConfigQuery query = row.query;
    const bool records = row.callback != BSOCWalkNodeDataQuery && row.result == 0;
    EXPECT_EQ(row.callback(&query, &entry), row.result) << &row - rows;
    EXPECT_EQ(query.counter, row.counter) << &row - rows;
    EXPECT_EQ(query.matched, records ? &entry.head : nullptr) << &row - rows;
  }
}

TEST(SdoCallbacks, ReleasingFreesWhatIsNested)
{
  const long blocksBefore = liveBlocks();
  LooseEntry array = {{3 * kPointer, 1, 0xFD, 0}, {objectOf({{1, 5}}).release(), nullptr, objectOf({}).release()}};
  LooseEntry single = {{kPointer, 1, kObject, 0}, {objectOf({}).release(), nullptr, nullptr}};
  for (LooseEntry *entry : {&array, &single}) {
    BSOCConfigDataPointerFree(&entry->head);
    EXPECT_EQ(std::count(entry->nested, entry->nested + 3, nullptr), 3);
  }
  LooseEntry plain = {{3 * kPointer, 1, kPlain, 0}, {}};
  memset(plain.nested, 0xEE, sizeof(plain.nested));
  BSOCConfigDataPointerFree(&plain.head);
  EXPECT_NE(plain.nested[0], nullptr) << "no object stands there";

  auto *entry = static_cast<LooseEntry *>(SMAllocMem(sizeof(LooseEntry)));
  ASSERT_NE(entry, nullptr);
  *entry = {{kPointer, 1, kObject, 0}, {objectOf({{1, 5}}).release(), nullptr, nullptr}};
  EXPECT_EQ(BSOCNotifyDelNodeData(nullptr, entry), 0);
  EXPECT_EQ(liveBlocks(), blocksBefore);
}

}  // namespace
