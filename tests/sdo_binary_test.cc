// The flat form of data objects: exact bytes, reading and editing in place, binary arrays, and what is refused. Blocks
// and buffers end at an unreadable page, so that one byte too many is met.

#include <pthread.h>

#include "support/objects.h"
#include "support/test.h"

namespace {

using namespace support;

/// Copies of the blocks one after the other.
Bytes joined(std::initializer_list<Bytes> parts)
{
  Bytes bytes;
  for (const Bytes &part : parts) {
    bytes.insert(bytes.end(), part.begin(), part.end());
  }
  return bytes;
}

const Bytes kLongBlock = hex("'BODS' 0100 1600 0200 01 04 0600 0800 'abcdef'");
const Bytes kNestBlock = hex("'BODS' 0100 1800 0300 0C 04 0800 0800 'BODS' 0000 0800");
const Bytes kEmptyArray = hex("'BADS' 0000 0800");
const Bytes kArray = joined({hex("'BADS' 0200 2E00"), kOneBlock, kLongBlock});

/// An inline value, an array, a value out of line, and a nested block.
const Bytes kMixedBlock =
    joined({hex("'BODS' 0400 6C00 0100 07 00 A1000000 0200 FC 04 2E00 1800 0300 07 04 0600 3E00 FDFF EC 04 1000 3C00"),
            kArray, hex("'abcdef'"), kOneBlock});

Object decoded(const Bytes &block)
{
  GuardedBlock guarded(block);
  return Object(SDOBinaryToConfig(guarded.data()));
}

/// Gives a block that was put together the size that it has.
Bytes sized(Bytes block)
{
  block[6] = static_cast<uint8_t>(block.size());
  block[7] = static_cast<uint8_t>(block.size() >> 8);
  return block;
}

TEST(SdoBinary, ObjectsHaveExactlyTheseBytes)
{
  Object inlined = objectOf({});
  add(inlined, 5, hex("44332211"));
  Object outOfLine = objectOf({});
  add(outOfLine, 2, hex("'abcdef'"), 1);
  Object nesting = objectOf({});
  nest(nesting, 3, objectOf({}));
  Object mixed = objectOf({});
  add(mixed, 65533, kOneBlock, 0xEC);
  add(mixed, 3, hex("'abcdef'"));
  add(mixed, 2, kArray, 0xEC);
  add(mixed, 1, {0xA1});
  const std::pair<Object, Bytes> rows[] = {
      {objectOf({}), kEmptyBlock},
      {std::move(inlined), kOneBlock},
      {std::move(outOfLine), kLongBlock},
      {std::move(nesting), kNestBlock},
      {objectOf({{9, 1}, {2, 2}, {5, 3}}),
       hex("'BODS' 0300 2000 0200 07 01 02020000 0500 07 02 05050500 0900 07 00 09000000")},
      {std::move(mixed), kMixedBlock},
  };
  for (const auto &[object, bytes] : rows) {
    const auto need = static_cast<uint32_t>(bytes.size());
    EXPECT_EQ(binarySize(object.get()), need);
    for (uint32_t room = 0; room <= need + 1; ++room) {
      const Reading expected = {room < need ? kTooSmall : kOk, std::min(room, need), bufferWith(bytes, room)};
      EXPECT_EQ(read(room, [&](Reading &out, void *into) { return SDOConfigToBinary(object.get(), into, &out.size); }),
                expected);
    }
    uint32_t total = 0;
    EXPECT_TRUE(SMSDOBinaryCheck(bytes.data(), need, &total) == kOk && total == need);
    EXPECT_EQ(SMSDOBinaryCheck(bytes.data(), UINT32_MAX, nullptr), kOk);
    for (uint32_t room = 0; room < need; ++room) {
      GuardedBlock cut(Bytes(bytes.begin(), bytes.begin() + room));
      EXPECT_EQ(SMSDOBinaryCheck(cut.data(), room, &total), kBadType);
      EXPECT_EQ(SMSDOBinaryFindValue(cut.data(), room, 1, nullptr, nullptr), nullptr);
    }
    const Object back = decoded(bytes);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(flattensTo(back.get(), bytes));
    EXPECT_EQ(SDOConfigGetCount(back.get()), SDOConfigGetCount(object.get()));
  }
}

TEST(SdoBinary, ReadersCopyWhatFitsAndTellTheSizeOrThePlace)
{
  GuardedBlock block(kMixedBlock);
  const auto available = static_cast<uint32_t>(block.size());
  const std::tuple<uint16_t, uint8_t, uint32_t, Bytes> rows[] = {
      {1, 7, 12, {0xA1}}, {2, 0xFC, 40, kArray}, {3, 7, 86, hex("'abcdef'")}, {65533, 0xEC, 92, kOneBlock}};
  uint32_t index = 0;
  for (const auto &[fieldID, type, offset, value] : rows) {
    const auto need = static_cast<uint32_t>(value.size());
    const auto byID = [&, id = fieldID](Reading &out, void *into) {
      return SDOBinaryGetDataByID(block.data(), id, &out.type, into, &out.size);
    };
    const auto byIndex = [&](Reading &out, void *into) {
      return SDOBinaryGetDataByIndex(block.data(), index, &out.fieldID, &out.type, into, &out.size);
    };
    Reading outputs;
    outputs.type = type;
    expectCopied(value, byID, outputs);
    outputs.fieldID = fieldID;
    expectCopied(value, byIndex, outputs);
    uint8_t foundType = 0;
    uint32_t size = 0;
    EXPECT_EQ(SMSDOBinaryFindValue(block.data(), available, fieldID, &foundType, &size), block.data() + offset);
    EXPECT_TRUE(foundType == type && size == need);
    EXPECT_NE(SMSDOBinaryFindValue(block.data(), available, fieldID, nullptr, nullptr), nullptr);
    uint16_t found = 0;
    size = 1000;
    EXPECT_EQ(SDOBinaryGetDataByID(block.data(), fieldID, nullptr, nullptr, &size), kTooSmall);
    EXPECT_EQ(size, need);
    EXPECT_EQ(SDOBinaryGetDataByIndex(block.data(), index++, &found, nullptr, Bytes(need).data(), &size), kOk);
  }
  const Object many = objectOf({});
  for (uint16_t count = 1; count <= 40; ++count) {  // every probe of searches of every length
    add(many, static_cast<uint16_t>(count * 2), {static_cast<uint8_t>(count)});
    const Bytes bytes = flatten(many.get());
    for (uint16_t sought = 1; sought <= count * 2 + 1; ++sought) {
      uint8_t value = 0;
      uint32_t size = 1;
      EXPECT_EQ(SDOBinaryGetDataByID(bytes.data(), sought, nullptr, &value, &size), sought % 2 == 0 ? kOk : kNotFound);
      EXPECT_EQ(value, sought % 2 == 0 ? sought / 2 : 0);
    }
  }
}

TEST(SdoBinary, ReadersRefuseInTheirOrderAndLeaveTheOutputs)
{
  GuardedBlock block(kMixedBlock);
  GuardedBlock array(kArray);
  GuardedBlock other(hex("'BODT' 0100 0800"));
  Reading out;
  uint8_t into[2] = {0, 0};
  EXPECT_EQ(SDOBinaryToConfig(nullptr), nullptr);
  EXPECT_EQ(SDOBinaryToConfig(other.data()), nullptr);
  EXPECT_EQ(SDOBinaryToConfig(array.data()), nullptr);
  EXPECT_EQ(SDOBinaryGetCount(nullptr), -1);
  EXPECT_EQ(SDOBinaryGetCount(other.data()), -1);
  EXPECT_EQ(SDOBinaryGetCount(array.data()), 2);
  EXPECT_EQ(SDOBinaryGetCount(GuardedBlock(hex("'BADS' 0500 0800")).data()), 5) << "the header's, whatever follows";
  EXPECT_EQ(SDOBinaryGetDataByID(other.data(), 0, &out.type, into, &out.size), kInvalid);
  EXPECT_EQ(SDOBinaryGetDataByID(other.data(), 65534, &out.type, into, &out.size), kInvalid);
  EXPECT_EQ(SDOBinaryGetDataByID(other.data(), 1, &out.type, into, &out.size), kBadType);
  EXPECT_EQ(SDOBinaryGetDataByID(array.data(), 1, &out.type, into, &out.size), kBadType);
  EXPECT_EQ(SDOBinaryGetDataByID(block.data(), 4, &out.type, into, &out.size), kNotFound);
  EXPECT_EQ(SDOBinaryGetDataByIndex(other.data(), 9, nullptr, &out.type, into, &out.size), kInvalid);
  EXPECT_EQ(SDOBinaryGetDataByIndex(other.data(), 1, &out.fieldID, &out.type, into, &out.size), kNoIndex);
  EXPECT_EQ(SDOBinaryGetDataByIndex(other.data(), 0, &out.fieldID, &out.type, into, &out.size), kBadType);
  EXPECT_EQ(SDOBinaryGetDataByIndex(array.data(), 1, &out.fieldID, &out.type, into, &out.size), kBadType);
  for (const uint32_t index : {4U, 65536U, UINT32_MAX}) {
    EXPECT_EQ(SDOBinaryGetDataByIndex(block.data(), index, &out.fieldID, &out.type, into, &out.size), kNoIndex);
  }
  for (const uint16_t fieldID : std::initializer_list<uint16_t>{0, 4, 65534, 65535}) {
    EXPECT_EQ(SMSDOBinaryFindValue(block.data(), 108, fieldID, &out.type, &out.size), nullptr);
  }
  EXPECT_EQ(SMSDOBinaryFindValue(nullptr, 108, 1, &out.type, &out.size), nullptr);
  EXPECT_EQ(SMSDOBinaryFindValue(array.data(), 46, 1, &out.type, &out.size), nullptr);
  EXPECT_EQ(SMSDOBinaryCheck(array.data(), 46, &out.size), kBadType);
  EXPECT_EQ(out, Reading());
}

TEST(SdoBinary, WhatABlockClaimsIsCheckedBeforeItIsUsed)
{
  enum Decoded { kRefused, kTaken, kWhole };  // whole: every field is found, and the array bits are right
  const struct {
    const char *block;
    int32_t count;
    uint32_t byID;     // of field 1
    uint32_t byIndex;  // 0
    uint32_t set;      // field 1 to five bytes of type 7
    Decoded decoded;
  } rows[] = {
      // the header
      {"'BODS' 0100 0F00", 1, kBadType, kBadType, kInvalid, kRefused},
      {"'BODS' FFFF FFFF", 65535, kBadType, kBadType, kInvalid, kRefused},
      // ... of which the count alone decides where it is 0
      {"'BODS' 0000 0700", 0, kNotFound, kNoIndex, kNotFound, kWhole},
      {"'BODS' 0000 0000", 0, kNotFound, kNoIndex, kNotFound, kWhole},
      {"'BODS' 0000 FFFF", 0, kNotFound, kNoIndex, kNotFound, kTaken},
      {"'BODS' 0100 1800 0100 0C 04 0800 0800 'BODS' 0000 0000", 1, kOk, kOk, kNotFound, kWhole},
      // the value's place: in its entry, in the table, past the end by position, by size, far away
      {"'BODS' 0100 1600 0100 07 04 0600 0000 'abcdef'", 1, kBadType, kBadType, kInvalid, kRefused},
      {"'BODS' 0100 1600 0100 07 04 0600 0700 'abcdef'", 1, kBadType, kBadType, kInvalid, kRefused},
      {"'BODS' 0200 1E00 0100 07 04 0600 0F00 0200 07 00 00000000 'abcdef'", 2, kBadType, kBadType, kInvalid, kRefused},
      {"'BODS' 0100 1600 0100 07 04 0600 0900 'abcdef'", 1, kBadType, kBadType, kInvalid, kRefused},
      {"'BODS' 0100 1600 0100 07 04 0700 0800 'abcdef'", 1, kBadType, kBadType, kInvalid, kRefused},
      {"'BODS' 0100 1600 0100 07 04 0600 FFFF 'abcdef'", 1, kBadType, kBadType, kInvalid, kRefused},
      // an object in memory, type 0, invalid field IDs, an empty value, repeated field IDs
      {"'BODS' 0100 1000 0100 0D 03 00000000", 1, kBadType, kBadType, kNotFound, kRefused},
      {"'BODS' 0100 1800 0100 1D 04 0800 0800 0000000000000000", 1, kBadType, kBadType, kNotFound, kRefused},
      {"'BODS' 0100 1000 0100 00 03 00000000", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 1000 0000 07 03 00000000", 1, kNotFound, kOk, kNotFound, kRefused},
      {"'BODS' 0100 1000 FEFF 07 03 00000000", 1, kNotFound, kOk, kNotFound, kRefused},
      {"'BODS' 0100 1000 0100 07 04 0000 0800", 1, kOk, kOk, kTooSmall, kRefused},
      {"'BODS' 0200 1800 0100 07 03 00000000 0100 07 03 00000000", 2, kOk, kOk, kTooSmall, kRefused},
      {"'BODS' 0300 2000 0100 07 00 01000000 0200 07 00 02000000 0100 07 00 03000000", 3, kOk, kOk, kTooSmall,
       kRefused},
      // oddities that do no harm: unsorted, a short value out of line, bytes to spare, a shared value
      {"'BODS' 0300 2000 0100 07 00 01000000 0900 07 00 09000000 0500 07 00 05000000", 3, kOk, kOk, kOk, kTaken},
      {"'BODS' 0100 1200 0100 07 04 0200 0800 'ab'", 1, kOk, kOk, kOk, kWhole},
      {"'BODS' 0100 1200 0100 07 00 01000000 'ab'", 1, kOk, kOk, kOk, kWhole},
      {"'BODS' 0200 1D00 0100 07 04 0500 1000 0200 07 04 0500 0800 'abcde'", 2, kOk, kOk, kOk, kWhole},
      // nested blocks: inline, cut short, larger than the value, smaller, another magic, count past the total
      {"'BODS' 0100 1000 0100 0C 03 'BODS'", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 1700 0100 0C 04 0700 0800 'BODS' 0000 08", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 2000 0100 0C 04 0800 0800 'BODS' 0000 1000 0000000000000000", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 1A00 0100 0C 04 0A00 0800 'BODS' 0000 0800 0000", 1, kOk, kOk, kNotFound, kWhole},
      {"'BODS' 0100 1800 0100 0C 04 0800 0800 'BODT' 0000 0800", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 1800 0100 0C 04 0800 0800 'BODS' 0100 0800", 1, kOk, kOk, kNotFound, kRefused},
      // nested arrays: larger than the value, an element outside, an array as element, the array bit missing, unneeded
      {"'BODS' 0100 2000 0100 1C 04 0800 0800 'BADS' 0100 1000 'BODS' 0000 0800", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 2000 0100 1C 04 1000 0800 'BADS' 0100 1000 'BODS' 0000 0900", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 2000 0100 1C 04 1000 0800 'BADS' 0100 1000 'BADS' 0000 0800", 1, kOk, kOk, kNotFound, kRefused},
      {"'BODS' 0100 1800 0100 0C 04 0800 0800 'BADS' 0000 0800", 1, kOk, kOk, kNotFound, kTaken},
      {"'BODS' 0100 1800 0100 1C 04 0800 0800 'BODS' 0000 0800", 1, kOk, kOk, kNotFound, kTaken},
  };
  for (const auto &row : rows) {
    const Bytes bytes = hex(row.block);
    GuardedBlock block(bytes);
    uint8_t value[32];
    uint32_t size = sizeof(value);
    uint16_t fieldID = 0;
    EXPECT_EQ(SDOBinaryGetCount(block.data()), row.count) << row.block;
    EXPECT_EQ(SDOBinaryGetDataByID(block.data(), 1, nullptr, value, &size), row.byID) << row.block;
    size = sizeof(value);
    EXPECT_EQ(SDOBinaryGetDataByIndex(block.data(), 0, &fieldID, nullptr, value, &size), row.byIndex) << row.block;
    const long blocksBefore = liveBlocks();
    if (const Object object(SDOBinaryToConfig(block.data())); object != nullptr) {
      EXPECT_NE(row.decoded, kRefused) << row.block;
      const Bytes rewritten = flatten(object.get());
      EXPECT_TRUE(flattensTo(object.get(), rewritten) && flattensTo(decoded(rewritten).get(), rewritten)) << row.block;
    } else {
      EXPECT_EQ(row.decoded, kRefused) << row.block;
    }
    const auto available = static_cast<uint32_t>(bytes.size());
    uint32_t total = 77;
    EXPECT_EQ(SMSDOBinaryCheck(block.data(), available, &total), row.decoded == kWhole ? kOk : kBadType) << row.block;
    EXPECT_EQ(total, row.decoded == kWhole ? bytes[6] : 77U) << row.block;
    uint8_t type = 77;
    const void *const found = SMSDOBinaryFindValue(block.data(), available, 1, &type, &total);
    EXPECT_EQ(found != nullptr, row.byID == kOk) << row.block;
    if (found != nullptr) {
      EXPECT_TRUE(type == bytes[10] && memcmp(found, value, total) == 0) << row.block;
    }
    EXPECT_EQ(liveBlocks(), blocksBefore) << row.block;
    Bytes room = bytes;
    room.resize(100);
    size = 100;
    EXPECT_EQ(SDOBinarySetData(room.data(), &size, 1, kPlain, "12345", 5), row.set) << row.block;
    if (row.set != kOk) {
      EXPECT_TRUE(size == 100 && std::equal(bytes.begin(), bytes.end(), room.begin())) << row.block;
    }
  }
}

TEST(SdoBinary, ASmallBlockCannotBecomeManyObjects)
{
  // Every block holds the one inside it twice, so that its objects double with every level.
  Bytes doubling = kOneBlock;
  for (int level = 0; level < 60; ++level) {
    Bytes outer = hex("'BODS' 0200 0000 0100 0C 04 0000 1000 0200 0C 04 0000 0800");
    outer[12] = outer[20] = doubling[6];
    outer[13] = outer[21] = doubling[7];
    doubling = sized(joined({outer, doubling}));
  }
  // Four thousand entries that share one value of ten thousand bytes.
  Bytes shared = hex("'BODS' A00F 0000");
  for (uint32_t i = 1; i <= 4000; ++i) {
    const uint32_t position = (4001 - i) * 8;
    for (const uint32_t byte : {i, i >> 8, 7U, 4U, 0x10U, 0x27U, position, position >> 8}) {
      shared.push_back(static_cast<uint8_t>(byte));
    }
  }
  shared = sized(joined({shared, Bytes(10000)}));
  for (const Bytes &hostile : {doubling, shared}) {
    Fault heap(Call::allocation);
    EXPECT_EQ(SMSDOBinaryCheck(hostile.data(), UINT32_MAX, nullptr), kBadType);
    EXPECT_EQ(heap.calls(), 0U);
    EXPECT_EQ(decoded(hostile), nullptr);
    EXPECT_LT(heap.calls(), 20000U);
  }
}

/// Flips bits of a block, reads it and flips them back. The decoder, which takes the size from the header, has zeros
/// after the block up to the largest size.
void readWithFlipped(GuardedBlock &block, Bytes &decoded, std::initializer_list<size_t> bits)
{
  const auto flip = [&] {
    for (const size_t bit : bits) {
      block.data()[bit / 8] ^= static_cast<uint8_t>(1U << bit % 8);
      decoded[bit / 8] = block.data()[bit / 8];
    }
  };
  flip();
  const bool whole = SMSDOBinaryCheck(block.data(), static_cast<uint32_t>(block.size()), nullptr) == kOk;
  const Object object(SDOBinaryToConfig(decoded.data()));
  ASSERT_TRUE(object != nullptr || !whole) << *bits.begin() << " and " << *(bits.end() - 1);
  flip();
}

// A sample of the pairs, or all of them where QVSUPT32_ALL_BIT_PAIRS is set.
TEST(SdoBinary, TwoBitErrorsAreRefusedOrRead)
{
  const Object object = objectOf({});
  for (uint16_t fieldID = 1; fieldID <= 4; ++fieldID) {
    add(object, fieldID, kMixedBlock, 0x0C);
  }
  add(object, 5, hex("'a text out of line'"));
  const Bytes bytes = flatten(object.get());
  ASSERT_GT(bytes.size(), 490u);
  GuardedBlock block(bytes);
  Bytes whole = bytes;
  whole.resize(SDO_BINARY_SIZE_MAX + 1);
  const size_t bits = 8 * bytes.size();
#ifdef __SANITIZE_ADDRESS__
  constexpr size_t kUsualStep = 251;
#else
  constexpr size_t kUsualStep = 31;
#endif
  const size_t step = getenv("QVSUPT32_ALL_BIT_PAIRS") != nullptr ? 1 : isEmulated() ? 1009 : kUsualStep;
  for (size_t first = 0, left = 0; first < bits; ++first) {
    readWithFlipped(block, whole, {first});
    size_t second = first + 1 + left;
    for (; second < bits; second += step) {
      readWithFlipped(block, whole, {first, second});
    }
    left = (second - bits) % step;
  }
  EXPECT_EQ(block.bytes(), bytes);
}

/// Runs code on a stack of its own.
template <class Code>
void runOnStack(size_t size, Code code)
{
  pthread_attr_t attributes;
  pthread_t thread;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
  const auto run = [](void *argument) -> void * { return (*static_cast<Code *>(argument))(), nullptr; };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &code), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

uint32_t checkedOnASmallStack(const Bytes &block)
{
  uint32_t status = kFailed;
  runOnStack(72 * 1024, [&] { status = SMSDOBinaryCheck(block.data(), UINT32_MAX, nullptr); });
  return status;
}

TEST(SdoBinary, TheDeepestNestingFitsASmallStack)
{
  runOnStack(256 * 1024, [] {
    for (const uint8_t type : {kObject, kObjects}) {
      Object object = objectOf({});
      Object outer = objectOf({});
      int depth = 0;
      for (; addNested(outer, 1, object.get(), type) == kOk; ++depth) {
        (void)object.release();
        object = std::move(outer);
        outer.reset(SDOConfigAlloc());
      }
      EXPECT_EQ(depth, type == kObject ? 4095 : 2730);
      Bytes block = flatten(object.get());
      EXPECT_EQ(block.size(), 65528U);
      EXPECT_TRUE(flattensTo(decoded(block).get(), block));
      EXPECT_EQ(checkedOnASmallStack(block), kOk);
      EXPECT_EQ(add(outer, 1, block, SDO_TYPE_BINARY), kLimit);
      uint32_t size = 65528;
      const auto flatType = static_cast<uint8_t>(type - 1);
      EXPECT_EQ(SDOBinarySetData(block.data(), &size, 1, flatType, kOneBlock.data(), 16), kLimit);
    }
  });
}

TEST(SdoBinary, ANestedObjectChangedFromBehindIsNoticed)
{
  const std::pair<void (*)(SDOConfig *), int32_t> rows[] = {
      {[](SDOConfig *object) { (void)SDOConfigAddData(object, 9, kPlain, "x", 1, 0); }, 8},
      {[](SDOConfig *object) { (void)SDOConfigAddData(object, 9, kPlain, Bytes(3000).data(), 3000, 0); }, 3008},
      {[](SDOConfig *object) { (void)SDOConfigRemoveData(object, 2, 0, 0); }, -14},
      {[](SDOConfig *object) { (void)SDOConfigRemoveData(object, 0, 0, 1); }, -22}};
  for (const auto &[change, difference] : rows) {
    for (const uint32_t depth : {0U, 1U, 2U}) {
      for (const uint32_t room : {0U, 1U, 7U, 15U, 4000U}) {
        Object object = objectOf({{1, 3}});
        SDOConfig *several[] = {objectOf({{1, 1}, {2, 6}}).release(), objectOf({{1, 1}}).release()};
        EXPECT_EQ(SDOConfigAddData(object.get(), 2, kObjects, several, sizeof(several), 0), kOk);
        for (uint32_t level = 0; level < depth; ++level) {
          Object outer = objectOf({{1, 7}});
          nest(outer, 2, std::move(object));
          object = std::move(outer);
        }
        const uint32_t told = binarySize(object.get());
        change(several[0]);
        GuardedBlock buffer(told + room);
        uint32_t size = told + room;
        EXPECT_EQ(SDOConfigToBinary(object.get(), buffer.data(), &size), kFailed);
        EXPECT_EQ(binarySize(object.get()), told);
        // A change one level down shows in the sum; one that is deeper ends the walk, here after seven bytes.
        EXPECT_EQ(size, depth == 0 ? told + static_cast<uint32_t>(difference) : 8 + 2 * 8 + 7);
        EXPECT_EQ(SDOConfigReCalcBinarySize(object.get()), depth == 0 ? -1 : static_cast<int32_t>(told));
        for (const SDOConfig *nested : several) {
          const auto *address = reinterpret_cast<const uint8_t *>(&nested);
          const Bytes written = buffer.bytes();
          EXPECT_EQ(std::search(written.begin(), written.end(), address, address + kPointer), written.end())
              << "no address stays in the output";
        }
        GuardedBlock array(told + room + 8);
        SDOConfig *const objects[] = {object.get()};
        size = told + room + 8;
        EXPECT_EQ(SDOConfigArrayToBinaryArray(objects, 1, array.data(), &size), kFailed);
        EXPECT_EQ(size, told + room + 8);
      }
    }
  }
}

TEST(SdoBinary, AnObjectThatClaimsLessThanItHoldsIsRefused)
{
  // What a nested object grew by from behind is taken from its parent's size when it goes: more than it had brought.
  Child child([](Child::Inside &inside) {
    unsigned written = 0;
    for (uint32_t size = 5; size < 40; ++size) {
      for (const uint8_t type : {kObject, kObjects}) {
        Object parent = objectOf({{1, 1}, {2, 1}, {3, 1}});
        (void)SDOConfigAddData(nest(parent, 9, objectOf({})), 1, kPlain, Bytes(size).data(), size, 0);
        (void)SDOConfigRemoveData(parent.get(), 9, 0, 0);
        const Object outer = objectOf({});
        const bool added = addNested(outer, 1, parent.get(), type) == kOk;
        if (added) {
          (void)parent.release();
        }
        GuardedBlock buffer(binarySize(outer.get()));
        auto room = static_cast<uint32_t>(buffer.size());
        written += added && SDOConfigToBinary(outer.get(), buffer.data(), &room) != kFailed ? 1 : 0;
      }
    }
    inside.report("%u written", written);
  });
  EXPECT_EQ(child.report(), "0 written\n");
}

TEST(SdoBinary, TheGeneratorWritesEntryByEntry)
{
  struct LooseEntry {
    SDOConfigEntry head;
    uint8_t value[8];
  };
  LooseEntry entries[] = {{{1, 1, kPlain, 0}, {0xA1}}, {{6, 2, kPlain, 0}, {'a', 'b', 'c', 'd', 'e', 'f'}}, {}};
  const Object one = decoded(kOneBlock);
  SDOConfig *pointer = one.get();
  entries[2].head = {kPointer, 3, 0xFD, 0};
  memcpy(entries[2].value, &pointer, kPointer);
  const Bytes expected = joined({hex("0100 07 00 A1000000 0200 07 04 0600 1000 0300 FC 04 1800 0E00 'abcdef'"),
                                 hex("'BADS' 0100 1800"), kOneBlock});
  GuardedBlock block(expected.size());
  SDOBinaryGenerator at = {block.data(), block.data() + 24, 32};
  for (LooseEntry &entry : entries) {
    EXPECT_EQ(BSOCWalkSDOBinaryGenerator(&at, &entry), -1);
  }
  EXPECT_EQ(block.bytes(), expected);
  EXPECT_TRUE(at.nextEntry == block.data() + 24 && at.nextValue == block.data() + 54 && at.runningTotal == 62);

  // Size and position are the low 16 bits, wherever the caller has put the value area, and however long a value is.
  const struct {
    uint32_t size;
    uint32_t table;
    uint32_t values;
    const char *entry;
  } places[] = {{6, 100, 20, "0900 07 04 0600 B0FF"},
                {6, 0, 70000, "0900 07 04 0600 7011"},
                {65542, 0, 8, "0900 07 04 0600 0800"}};
  for (const auto &place : places) {
    Bytes area(140000, 0xEE);
    Bytes loose(sizeof(SDOConfigEntry) + place.size, 0xA1);
    const SDOConfigEntry head = {place.size, 9, kPlain, 0};
    memcpy(loose.data(), &head, sizeof(head));
    at = {&area[place.table], &area[place.values], 16};
    EXPECT_EQ(BSOCWalkSDOBinaryGenerator(&at, loose.data()), -1);
    const Bytes entry = hex(place.entry);
    EXPECT_TRUE(std::equal(entry.begin(), entry.end(), &area[place.table])) << place.entry;
    EXPECT_EQ(std::count(area.begin(), area.end(), 0xA1), place.size);
    EXPECT_TRUE(at.nextEntry == &area[place.table] + 8 && at.runningTotal == 16 + place.size);
    EXPECT_TRUE(at.nextValue == &area[place.values] + place.size && at.nextValue[-1] == 0xA1);
  }

  // What is nested fails two levels down: the entry's head is written, and nothing moves on.
  const Object outer = objectOf({});
  (void)SDOConfigAddData(nest(outer, 1, objectOf({})), 1, kPlain, "x", 1, 0);
  pointer = outer.get();
  for (const uint8_t type : {uint8_t{0xFD}, kObject}) {
    entries[2].head.type = type;
    memcpy(entries[2].value, &pointer, kPointer);
    Bytes area(100, 0xEE);
    at = {&area[8], &area[16], 16};
    EXPECT_EQ(BSOCWalkSDOBinaryGenerator(&at, &entries[2]), 0) << "what is nested was changed";
    EXPECT_TRUE(at.nextEntry == &area[8] && at.nextValue == &area[16] && at.runningTotal == 16);
    const Bytes head = {3, 0, type, 0, 0, 0, 0, 0};
    EXPECT_TRUE(std::equal(head.begin(), head.end(), &area[8]));
    EXPECT_EQ(std::count(area.begin(), area.end(), 0xEE), 92);
  }

  const Bytes ids = hex("00 0100 FFFF 0100");
  EXPECT_EQ(BSOBinaryFieldIDCompare(&ids[1], &ids[3]), -1);
  EXPECT_EQ(BSOBinaryFieldIDCompare(&ids[3], &ids[1]), 1);
  EXPECT_EQ(BSOBinaryFieldIDCompare(&ids[1], &ids[5]), 0);
}

TEST(SdoBinary, SetDataEditsInPlaceOrWritesAnew)
{
  const Bytes abcdef = hex("'abcdef'");
  const Bytes memory = hex("'BODS' 0100 1000 0500 0D 03 00000000");
  const Bytes kShortBlock = hex("'BODS' 0100 1000 0500 07 00 44332211");
  const Bytes kVoidBlock = hex("'BODS' 0100 1000 0500 07 04 0000 0800");
  const struct {
    const Bytes &block;
    uint32_t room;
    uint16_t fieldID;
    uint8_t type;
    Bytes value;
    uint32_t status;
    uint32_t size;
    Bytes written;
  } rows[] = {
      // in place, with the least room there can be
      {kOneBlock, 16, 5, 7, {0xAA}, kOk, 16, hex("'BODS' 0100 1000 0500 07 00 AA332211")},
      {kOneBlock, 16, 5, 7, hex("'abcd'"), kOk, 16, hex("'BODS' 0100 1000 0500 07 03 'abcd'")},
      {kLongBlock, 16, 2, 1, hex("'ghijkl'"), kOk, 22, hex("'BODS' 0100 1600 0200 01 04 0600 0800 'ghijkl'")},
      {kNestBlock, 16, 3, 0x0C, Bytes(8, 1), kOk, 24, hex("'BODS' 0100 1800 0300 0C 04 0800 0800 0101010101010101")},
      // an empty value: in place where the entry is inline or empty too
      {kShortBlock, 16, 5, 7, {}, kOk, 16, hex("'BODS' 0100 1000 0500 07 03 44332211")},
      {kVoidBlock, 16, 5, 7, {}, kOk, 16, kVoidBlock},
      {kLongBlock, 22, 2, 1, {}, kInvalid, 22, {}},
      // anew, in exactly the room needed
      {kOneBlock, 22, 5, 7, abcdef, kOk, 22, hex("'BODS' 0100 1600 0500 07 04 0600 0800 'abcdef'")},
      {kLongBlock, 16, 2, 1, hex("'ab'"), kOk, 16, hex("'BODS' 0100 1000 0200 01 01 'ab' 0000")},
      {kLongBlock, 23, 2, 1, hex("'ghijklm'"), kOk, 23, hex("'BODS' 0100 1700 0200 01 04 0700 0800 'ghijklm'")},
      {kNestBlock, 32, 3, 0x0C, kOneBlock, kOk, 32, joined({hex("'BODS' 0100 2000 0300 0C 04 1000 0800"), kOneBlock})},
      // refused, in the order of the checks
      {kArray, 15, 0, 7, {1}, kInvalid, 15, {}},
      {kArray, 15, 5, 0, {1}, kInvalid, 15, {}},
      {kArray, 15, 5, 7, {}, kTooSmall, 15, {}},
      {kArray, 15, 5, 7, {1}, kTooSmall, 15, {}},
      {kArray, 16, 5, 7, {1}, kInvalid, 16, {}},
      {kOneBlock, 16, 6, 7, {1}, kNotFound, 16, {}},
      {kOneBlock, 16, 5, 8, {1}, kNotFound, 16, {}},
      {kNestBlock, 16, 3, kObject, Bytes(8), kNotFound, 16, {}},
      {memory, 16, 5, kObject, Bytes(8), kInvalid, 16, {}},
      {kOneBlock, 21, 5, 7, abcdef, kTooSmall, 22, {}},
      {kOneBlock, 16, 5, 7, Bytes(65520), kLimit, 16, {}},
      {kNestBlock, 24, 3, 0x0C, memory, kFailed, 24, {}},
      {kNestBlock, 24, 3, 0x0C, Bytes(9), kInvalid, 24, {}},
  };
  for (const auto &row : rows) {
    Bytes bytes = row.block;
    bytes.resize(std::max<size_t>(bytes.size(), row.room), 0xEE);
    GuardedBlock block(bytes);
    GuardedBlock value(row.value);
    uint32_t size = row.room;
    const auto valueSize = static_cast<uint32_t>(row.value.size());
    const uint32_t status = SDOBinarySetData(block.data(), &size, row.fieldID, row.type, value.data(), valueSize);
    EXPECT_TRUE(status == row.status && size == row.size) << &row - rows << " gives " << status << ", " << size;
    std::copy(row.written.begin(), row.written.end(), bytes.begin());
    EXPECT_EQ(block.bytes(), bytes) << &row - rows;
  }
  uint32_t size = 16;
  Bytes block = kOneBlock;
  // The value may be a part of the binary itself.
  EXPECT_EQ(SDOBinarySetData(block.data(), &size, 5, 7, &block[13], 3), kOk);
  EXPECT_EQ(block, hex("'BODS' 0100 1000 0500 07 02 33221111"));
  block = joined({kLongBlock, {'g'}});
  size = 22;
  EXPECT_EQ(SDOBinarySetData(block.data(), &size, 2, 1, &block[17], 6), kOk);
  EXPECT_EQ(block, hex("'BODS' 0100 1600 0200 01 04 0600 0800 'bcdefgg'"));
  block = joined({kLongBlock, Bytes(8)});
  size = 30;
  EXPECT_EQ(SDOBinarySetData(block.data(), &size, 2, 1, &block[8], 14), kOk);
  EXPECT_EQ(block, hex("'BODS' 0100 1E00 0200 01 04 0E00 0800 0200 01 04 0600 0800 'abcdef'"));
}

/// Fails each allocation of the code in turn, and expects that nothing leaks until it says that it succeeded.
template <class Code>
void expectNoLeak(Code succeeds)
{
  bool succeeded = false;
  const unsigned failures = failEach(Call::allocation, ENOMEM, [&](unsigned) {
    const long blocksBefore = liveBlocks();
    succeeded = succeeds();
    EXPECT_TRUE(succeeded || liveBlocks() == blocksBefore);
  });
  EXPECT_TRUE(succeeded && failures >= 8);
}

TEST(SdoBinary, AFailedAllocationLosesNothing)
{
  expectNoLeak([] {
    const Object object(SDOBinaryToConfig(kMixedBlock.data()));
    return flattensTo(object.get(), kMixedBlock);
  });
  const Bytes array = joined({hex("'BADS' 0200 8400"), kOneBlock, kMixedBlock});
  SDOConfig *objects[2] = {};
  expectNoLeak([&] {
    uint32_t count = 2;
    const uint32_t status = SDOBinaryArrayToConfigArray(array.data(), objects, &count);
    EXPECT_TRUE(status == kOk || (status == kNoMemory && objects[0] == nullptr && objects[1] == nullptr));
    return status == kOk;
  });
  const Object owned[] = {Object(objects[0]), Object(objects[1])};
  Bytes flat(array.size());
  Bytes edited = kMixedBlock;
  edited.resize(200);
  const Bytes before = edited;
  expectNoLeak([&] {
    uint32_t size = 200;
    const uint32_t status = SDOBinarySetData(edited.data(), &size, 3, kPlain, "longer than before", 18);
    EXPECT_TRUE(status == kOk || ((status == kNoMemory || status == kTooSmall) && size == 200 && edited == before));
    return status == kOk;
  });
  uint32_t size = static_cast<uint32_t>(flat.size());
  {
    Fault heap(Call::allocation, 1, ENOMEM, true);
    EXPECT_EQ(SDOConfigArrayToBinaryArray(objects, 2, flat.data(), &size), kOk) << "flattening needs no heap";
  }
  EXPECT_EQ(flat, array);
}

/// Runs code while a thread changes bytes of a block and puts them back, as a process that shares the memory may.
template <class Code>
void whileOthersWrite(uint8_t *block, size_t size, Code code)
{
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a race on purpose";
#endif
  std::atomic<bool> done = false;
  std::thread writer([&] {
    std::mt19937 random(5);
    while (!done) {
      // Mostly where the sizes are: in the headers and entries at the front.
      volatile uint8_t *at = block + random() % (random() % 4 == 0 ? size : 48);
      const uint8_t was = *at;
      *at = static_cast<uint8_t>(random() % 4 == 0 ? 0xFF : was ^ 1U << random() % 8);
      for (unsigned pause = random() % 64; pause > 0; --pause) {
        *at = *at;
      }
      *at = was;
    }
  });
  code();
  done = true;
  writer.join();
}

TEST(SdoBinary, OthersMayWriteABlockThatIsReadOrWritten)
{
  Object inner = objectOf({{1, 40}, {2, 4}});
  for (int level = 0; level < 12; ++level) {  // deeper than is flattened without the heap
    Object outer = objectOf({{1, 3}});
    nest(outer, 2, std::move(inner));
    inner = std::move(outer);
  }
  add(inner, 3, kArray, 0x1C);
  SDOConfig *const objects[] = {inner.get(), inner.get()};
  GuardedBlock binary(SDO_BINARY_SIZE_MAX);  // as far as any header may reach
  GuardedBlock array(SDO_BINARY_SIZE_MAX);
  const Bytes flat = flatten(inner.get());
  std::copy(flat.begin(), flat.end(), binary.data());
  uint32_t size = SDO_BINARY_SIZE_MAX;
  ASSERT_EQ(SDOConfigArrayToBinaryArray(objects, 2, array.data(), &size), kOk);
  std::vector<uint8_t> out(SDO_BINARY_SIZE_MAX);
  const int rounds = isEmulated() ? 200 : 2000;
  whileOthersWrite(binary.data(), flat.size(), [&] {
    for (int round = 0; round < rounds; ++round) {
      uint16_t fieldID;
      uint8_t type;
      (void)SDOBinaryGetCount(binary.data());
      for (uint16_t field = 1; field <= 3; ++field) {
        (void)SDOBinaryGetDataByID(binary.data(), field, &type, out.data(), &(size = SDO_BINARY_SIZE_MAX));
        (void)SDOBinaryGetDataByIndex(binary.data(), field, &fieldID, &type, out.data(), &(size = SDO_BINARY_SIZE_MAX));
      }
      const Object object(SDOBinaryToConfig(binary.data()));
      EXPECT_TRUE(object == nullptr || SDOConfigReCalcBinarySize(object.get()) == SDOConfigGetBinarySize(object.get()));
      const Object holder(SDOConfigAlloc());
      (void)SDOConfigAddData(holder.get(), 1, SDO_TYPE_BINARY, binary.data(), 1, 0);
      EXPECT_EQ(SDOConfigReCalcBinarySize(holder.get()), SDOConfigGetBinarySize(holder.get()));
      (void)SDOBinarySetData(binary.data(), &(size = SDO_BINARY_SIZE_MAX), 1, kPlain, "abc", 3);
    }
  });
  whileOthersWrite(array.data(), 2 * flat.size(), [&] {
    for (int round = 0; round < rounds; ++round) {
      std::vector<SDOConfig *> made(8191);
      uint32_t count = 8191;
      const uint32_t status = SDOBinaryArrayToConfigArray(array.data(), made.data(), &count);
      std::for_each(made.begin(), made.end(), SDOConfigFree);
      EXPECT_TRUE(status == kOk || made[0] == nullptr);
      (void)SDOBinaryArrayGetByIndex(array.data(), 0, 1, out.data(), &(size = SDO_BINARY_SIZE_MAX));
      const Object holder(SDOConfigAlloc());
      (void)SDOConfigAddData(holder.get(), 1, SDO_TYPE_BINARY, array.data(), 1, 0);
    }
  });
  GuardedBlock output(flat.size());
  whileOthersWrite(output.data(), output.size(), [&] {
    for (int round = 0; round < 2 * rounds; ++round) {
      auto room = static_cast<uint32_t>(output.size());
      EXPECT_EQ(SDOConfigToBinary(inner.get(), output.data(), &room), kOk);
    }
  });
}

TEST(SdoBinaryArray, IsBuiltElementByElement)
{
  for (uint32_t room = 0; room <= 9; ++room) {
    EXPECT_EQ(read(room, [&](Reading &, void *into) { return SDOBinaryArrayInitHeader(into, room); }),
              (Reading{room < 8 ? kTooSmall : kOk, room, bufferWith(kEmptyArray, room)}));
  }
  const struct {
    Bytes array;
    uint32_t room;
    uint32_t elementSize;
    uint32_t status;
    uint32_t size;
  } rows[] = {
      {kEmptyArray, 24, 16, kOk, 24},
      {kArray, 62, 16, kOk, 62},
      {kEmptyArray, 70000, 65527, kOk, 70000},
      {hex("'BADS' 0000 0000"), 24, 16, kOk, 24},
      {kOneBlock, 15, 16, kTooSmall, 15},
      {kOneBlock, 16, 16, kInvalid, 16},
      {kArray, 61, 16, kTooSmall, 62},
      {kEmptyArray, 70000, 65528, kTooSmall, 70000},
      {kEmptyArray, 70000, 70000, kTooSmall, 70008},
      {kEmptyArray, UINT32_MAX, UINT32_MAX, kTooSmall, UINT32_MAX},
  };
  for (const auto &row : rows) {
    const bool added = row.status == kOk;
    GuardedBlock element(joined({kOneBlock, Bytes(added ? row.elementSize - 16 : 0)}));
    GuardedBlock array(joined({row.array, Bytes(added ? row.elementSize : 0)}));
    Bytes expected = row.array;
    if (added) {
      expected = sized(joined({expected, element.bytes()}));
      ++expected[4];
    }
    uint32_t size = row.room;
    EXPECT_EQ(SDOBinaryArrayAddData(array.data(), &size, element.data(), row.elementSize), row.status) << &row - rows;
    EXPECT_EQ(size, row.size) << &row - rows;
    EXPECT_EQ(array.bytes(), expected) << &row - rows;
  }
}

TEST(SdoBinaryArray, ElementsAreReadByIndex)
{
  GuardedBlock array(kArray);
  for (const uint32_t index : {0U, 1U}) {
    expectCopied(index == 0 ? kOneBlock : kLongBlock, [&](Reading &out, void *into) {
      return SDOBinaryArrayGetByIndex(array.data(), out.size % 2, index, into, &out.size);
    });
  }
  uint32_t size = 100;
  for (const uint32_t index : {2U, UINT32_MAX}) {
    EXPECT_EQ(SDOBinaryArrayGetByIndex(array.data(), 0, index, nullptr, &size), kNotFound);
  }
  EXPECT_EQ(SDOBinaryArrayGetByIndex(kEmptyArray.data(), 0, 0, nullptr, &size), kNotFound);
  EXPECT_EQ(SDOBinaryArrayGetByIndex(hex("'BADS' 0000 0000").data(), 0, 0, nullptr, &size), kNotFound);
  EXPECT_EQ(SDOBinaryArrayGetByIndex(hex("'BADS' 0200 0800").data(), 0, 2, nullptr, &size), kNotFound);
  EXPECT_EQ(SDOBinaryArrayGetByIndex(kOneBlock.data(), 0, 9, nullptr, &size), kBadType);
  EXPECT_EQ(size, 100U);
  EXPECT_EQ(SDOBinaryArrayGetByIndex(array.data(), 0, 1, nullptr, &size), kTooSmall);
  EXPECT_EQ(size, 22U);
}

TEST(SdoBinaryArray, WhatAnArrayClaimsIsCheckedBeforeItIsUsed)
{
  const struct {
    const char *array;
    uint32_t first;
    uint32_t second;
    uint32_t add;
    uint32_t objects;
  } rows[] = {
      {"'BADS' 0200 1700 'BODS' 0000 0800 'BODS' 0000 07", kBadType, kBadType, kInvalid, kBadType},
      {"'BADS' 0200 1800 'BODS' 0000 0800 'BODT' 0000 0800", kOk, kBadType, kOk, kBadType},
      {"'BADS' 0200 1800 'BODT' 0000 0800 'BODS' 0000 0800", kBadType, kOk, kOk, kBadType},
      {"'BADS' 0200 1800 'BODS' 0000 0800 'BADS' 0000 0800", kOk, kBadType, kOk, kBadType},
      {"'BADS' 0200 1800 'BODS' 0000 0800 'BODS' 0000 0900", kOk, kBadType, kInvalid, kBadType},
      {"'BADS' 0200 1800 'BODS' 0000 1100 'BODS' 0000 0800", kBadType, kBadType, kInvalid, kBadType},
      {"'BADS' 0200 1800 'BODS' 0000 0000 'BODS' 0000 0800", kBadType, kBadType, kInvalid, kBadType},
      {"'BADS' 0200 1800 'BODS' 0000 0C00 00000000 'BODS'", kOk, kBadType, kInvalid, kBadType},
      {"'BADS' 0200 2000 'BODS' 0000 0800 'BODS' 0100 1000 0500 0D 00 00000000", kOk, kOk, kOk, kFailed},
  };
  const Object other = objectOf({});
  for (const auto &row : rows) {
    GuardedBlock array(hex(row.array));
    uint8_t into[16];
    uint32_t size = 16;
    EXPECT_EQ(SDOBinaryArrayGetByIndex(array.data(), 0, 0, into, &size), row.first) << row.array;
    size = 16;
    EXPECT_EQ(SDOBinaryArrayGetByIndex(array.data(), 0, 1, into, &size), row.second) << row.array;
    const long blocksBefore = liveBlocks();
    SDOConfig *objects[2] = {other.get(), other.get()};
    uint32_t count = 2;
    EXPECT_EQ(SDOBinaryArrayToConfigArray(array.data(), objects, &count), row.objects) << row.array;
    EXPECT_TRUE(objects[0] == (row.first == kOk ? nullptr : other.get()) && objects[1] == other.get()) << row.array;
    EXPECT_EQ(liveBlocks(), blocksBefore) << row.array;
    Bytes room = hex(row.array);
    room.resize(100);
    size = 100;
    EXPECT_EQ(SDOBinaryArrayAddData(room.data(), &size, kOneBlock.data(), 16), row.add) << row.array;
  }
}

TEST(SdoBinaryArray, BecomesObjectsWhenTheyHaveRoom)
{
  const struct {
    Bytes array;
    uint32_t room;
    uint32_t status;
    uint32_t count;
  } rows[] = {
      {kArray, 2, kOk, 2},
      {kArray, 3, kOk, 2},
      {kArray, 1, kTooSmall, 2},
      {kEmptyArray, 3, kOk, 0},
      {kOneBlock, 0, kBadType, 0},
      {hex("'BADS' 0200 1000"), 0, kTooSmall, 2},
      {hex("'BADS' 0200 1000"), 2, kBadType, 2},
      {hex("'BADS' 0000 0700"), 3, kOk, 0},
  };
  const Object other = objectOf({});
  for (const auto &row : rows) {
    GuardedBlock array(row.array);
    SDOConfig *objects[3] = {other.get(), other.get(), other.get()};
    uint32_t count = row.room;
    EXPECT_EQ(SDOBinaryArrayToConfigArray(array.data(), objects, &count), row.status) << &row - rows;
    EXPECT_EQ(count, row.count) << &row - rows;
    if (row.status == kOk && count == 2) {
      const Object made[] = {Object(objects[0]), Object(objects[1])};
      EXPECT_TRUE(flattensTo(objects[0], kOneBlock) && flattensTo(objects[1], kLongBlock));
    } else {
      EXPECT_EQ(objects[0], other.get()) << &row - rows;
    }
    EXPECT_EQ(objects[2], other.get()) << &row - rows;
  }
  uint32_t count = 2;
  EXPECT_EQ(SDOBinaryArrayToConfigArray(kEmptyArray.data(), nullptr, &count), kOk);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(SDOBinaryArrayToConfigArray(kArray.data(), nullptr, &count), kTooSmall);
}

TEST(SdoBinaryArray, ObjectsThatFitAreWrittenAndAllAreMeasured)
{
  const Object one = decoded(kOneBlock);
  const Object longer = decoded(kLongBlock);
  const Object empty = objectOf({});
  SDOConfig *const objects[] = {nullptr, one.get(), nullptr, longer.get(), empty.get()};
  const Bytes whole = joined({hex("'BADS' 0300 3600"), kOneBlock, kLongBlock, kEmptyBlock});
  for (uint32_t room = 0; room <= 55; ++room) {
    Bytes expected(room, 0xEE);
    const auto count = static_cast<uint8_t>(room < 24 ? 0 : room < 46 ? 1 : room < 54 ? 2 : 3);
    if (const uint8_t sizes[] = {8, 24, 46, 54}; room >= 8) {
      std::copy_n(whole.begin(), sizes[count], expected.begin());
      expected[4] = count;
      expected[6] = sizes[count];
    }
    EXPECT_EQ(
        read(room, [&](Reading &out, void *into) { return SDOConfigArrayToBinaryArray(objects, 5, into, &out.size); }),
        (Reading{room < 8 ? kTooSmall : kOk, room < 8 ? room : 54, expected}));
  }
  uint32_t size = 0;
  EXPECT_EQ(SDOConfigArrayToBinaryArray(objects, 5, nullptr, &size), kOk);
  EXPECT_EQ(size, 54U);
  EXPECT_EQ(SDOConfigArrayToBinaryArray(objects, 0, nullptr, &size), kOk);
  EXPECT_EQ(size, 8U);

  const Object large = objectOf({{1, 40000}});
  SDOConfig *const two[] = {large.get(), large.get()};
  Bytes buffer(90000);
  size = 90000;
  EXPECT_EQ(SDOConfigArrayToBinaryArray(two, 2, buffer.data(), &size), kTooSmall) << "an array has a limit of its own";
  EXPECT_EQ(size, 90000U);
  size = 65535;
  EXPECT_EQ(SDOConfigArrayToBinaryArray(two, 2, buffer.data(), &size), kOk);
  EXPECT_EQ(size, 8U + 2 * 40016);
  EXPECT_EQ(SDOBinaryGetCount(buffer.data()), 1);
}

TEST(SdoBinaryArray, MeasuringMeetsAChangedObjectToo)
{
  const Object object = objectOf({});
  (void)SDOConfigAddData(nest(object, 1, objectOf({})), 1, kPlain, "x", 1, 0);
  SDOConfig *const objects[] = {object.get()};
  uint32_t size = 0;
  EXPECT_EQ(SDOConfigArrayToBinaryArray(objects, 1, nullptr, &size), kFailed);
  Bytes small(8);
  size = 8;
  EXPECT_EQ(SDOConfigArrayToBinaryArray(objects, 1, small.data(), &size), kFailed) << "left out";
  const Object large = objectOf({{1, 65500}});
  SDOConfig *const tooMuch[] = {large.get(), large.get(), object.get()};
  Bytes buffer(140000);
  size = 140000;
  EXPECT_EQ(SDOConfigArrayToBinaryArray(tooMuch + 1, 2, buffer.data(), &size), kFailed);
  EXPECT_EQ(SDOConfigArrayToBinaryArray(tooMuch, 3, buffer.data(), &size), kTooSmall) << "the first that fails decides";
}

}  // namespace
