// The C++ header beside the C calls that it wraps: the same work, so that what it costs is their difference.

#include <cstring>
#include <memory>

#include "bench.h"
#include "qvsupt32/qvsupt32.hpp"

namespace bench {
namespace {

constexpr uint16_t kFields = 100;
constexpr uint8_t kUint32 = 0x07;
constexpr uint32_t kBlockCapacity = 8 + kFields * 8;

struct FreeObject {
  void operator()(SDOConfig *object) const { SMSDOConfigFree(object); }
};
using OwnedObject = std::unique_ptr<SDOConfig, FreeObject>;

OwnedObject buildByCalls()
{
  OwnedObject object(SMSDOConfigAlloc());
  for (uint16_t field = 1; field <= kFields; ++field) {
    const uint32_t value = field;
    if (SMSDOConfigAddData(object.get(), field, kUint32, &value, sizeof(value), 0) != SM_STATUS_SUCCESS) {
      return nullptr;
    }
  }
  return object;
}

qvsupt32::result<qvsupt32::object> buildByHeader()
{
  auto object = qvsupt32::object::create();
  for (uint16_t field = 1; object && field <= kFields; ++field) {
    if (const auto s = object->add(field, kUint32, uint32_t{field}); s != qvsupt32::status::success) {
      return qvsupt32::failure(s);
    }
  }
  return object;
}

/// The sum of all fields, each looked up in the block by its ID.
uint32_t sumByCalls(const uint8_t *block, uint32_t size)
{
  uint32_t sum = 0;
  for (uint16_t field = 1; field <= kFields; ++field) {
    uint32_t value = 0, valueSize = 0;
    const void *found = SMSDOBinaryFindValue(block, size, field, nullptr, &valueSize);
    if (found != nullptr && valueSize == sizeof(value)) {
      memcpy(&value, found, sizeof(value));
      sum += value;
    }
  }
  return sum;
}

uint32_t sumByHeader(qvsupt32::block_view block)
{
  uint32_t sum = 0;
  for (uint16_t field = 1; field <= kFields; ++field) {
    sum += block.find<uint32_t>(field).value_or(0);
  }
  return sum;
}

void buildWithHeader(benchmark::State &state)
{
  require(buildByHeader()->count() == kFields, "cpp/build", "fields are missing");
  for (auto _ : state) {
    auto object = buildByHeader();
    benchmark::DoNotOptimize(object->get());
  }
  countItems(state, 1);
}

void buildWithCalls(benchmark::State &state)
{
  require(SMSDOConfigGetCount(buildByCalls().get()) == kFields, "cpp/build", "fields are missing");
  for (auto _ : state) {
    const OwnedObject object = buildByCalls();
    benchmark::DoNotOptimize(object.get());
  }
  countItems(state, 1);
}

struct Block {
  uint8_t bytes[kBlockCapacity] = {};
  uint32_t size = sizeof(bytes);

  Block()
  {
    require(SMSDOConfigToBinary(buildByCalls().get(), bytes, &size) == 0, "cpp/find", "no block");
    require(sumByCalls(bytes, size) == kFields * (kFields + 1) / 2 && sumByHeader(view()) == sumByCalls(bytes, size),
            "cpp/find", "the sums differ");
  }

  qvsupt32::block_view view() const { return qvsupt32::block_view(std::as_bytes(std::span(bytes, size))); }
};

void findWithHeader(benchmark::State &state)
{
  const Block block;
  for (auto _ : state) {
    benchmark::DoNotOptimize(sumByHeader(block.view()));
  }
  countItems(state, kFields);
}

void findWithCalls(benchmark::State &state)
{
  const Block block;
  for (auto _ : state) {
    benchmark::DoNotOptimize(sumByCalls(block.bytes, block.size));
  }
  countItems(state, kFields);
}

void registerRows()
{
  benchmark::RegisterBenchmark("cpp/build/100/ours", buildWithHeader);
  benchmark::RegisterBenchmark("cpp/build/100/c_calls", buildWithCalls);
  benchmark::RegisterBenchmark("cpp/find/100/ours", findWithHeader);
  benchmark::RegisterBenchmark("cpp/find/100/c_calls", findWithCalls);
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
