// Objects and their binary form beside three ways to do without them: libcbor, a std::map that writes and reads the
// same bytes, and bsearch(3) over the entry table. The limits are single copies of the bytes that a row moves.

#include <cbor.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUint32 = 0x07;
constexpr uint8_t kUint64 = 0x09;
constexpr uint8_t kString = 0x0A;
constexpr size_t kValueSizeMax = 96;

struct Field {
  uint16_t id;
  uint8_t type;
  Bytes value;
};

/// The binary form, for those who read and write it without the library.
struct Header {
  uint32_t magic;
  uint16_t count;
  uint16_t totalSize;
};

struct Entry {
  uint16_t id;
  uint8_t type;
  uint8_t flags;
  union {
    uint8_t bytes[4];
    struct {
      uint16_t size;
      uint16_t position;  // from the entry
    } outOfLine;
  };
};
static_assert(sizeof(Header) == 8 && sizeof(Entry) == 8);

constexpr uint8_t kOutOfLine = 0x04;

/// What an object of the suite holds: two numbers of 32 bits in five fields, one of 64, and two strings.
Bytes makeValue(uint8_t type, std::mt19937 &random)
{
  size_t size = type == kUint32 ? 4 : 8;
  if (type == kString) {
    size = std::uniform_int_distribution<size_t>(16, kValueSizeMax)(random);
  }
  Bytes value(size);
  std::generate(value.begin(), value.end(), [&random] { return static_cast<uint8_t>('A' + random() % 26); });
  return value;
}

/// Fields of all these types, or only of the first one where the binary form has no space for longer values.
std::vector<Field> makeFields(uint32_t count)
{
  constexpr uint8_t kTypes[] = {kUint32, kString, kUint32, kUint64, kString};
  constexpr uint32_t kMostOfAllTypes = 1000;
  std::mt19937 random(kSeed);
  std::vector<Field> fields;
  uint16_t id = 0;
  for (uint32_t i = 0; i < count; ++i) {
    id = static_cast<uint16_t>(id + 2 + 2 * (random() % 4));  // even ones only
    const uint8_t type = count > kMostOfAllTypes ? kTypes[0] : kTypes[i % std::size(kTypes)];
    fields.push_back({id, type, makeValue(type, random)});
  }
  return fields;
}

/// The library's object.
class OurObject {
 public:
  bool add(const Field &field)
  {
    if (object_ == nullptr) {
      object_.reset(SDOConfigAlloc());
    }
    return SDOConfigAddData(object_.get(), field.id, field.type, field.value.data(),
                            static_cast<uint32_t>(field.value.size()), 0) == SM_STATUS_SUCCESS;
  }
  size_t flatten(Bytes &out) const
  {
    auto size = static_cast<uint32_t>(out.size());
    return SDOConfigToBinary(object_.get(), out.data(), &size) == SM_STATUS_SUCCESS ? size : 0;
  }
  bool parse(const Bytes &binary)
  {
    object_.reset(SDOBinaryToConfig(binary.data()));
    return object_ != nullptr;
  }
  size_t find(uint16_t id, uint8_t *out) const
  {
    uint8_t type;
    uint32_t size = kValueSizeMax;
    return SDOConfigGetDataByID(object_.get(), id, &type, out, &size) == SM_STATUS_SUCCESS ? size : 0;
  }

 private:
  struct Free {
    void operator()(SDOConfig *object) const { SDOConfigFree(object); }
  };

  std::unique_ptr<SDOConfig, Free> object_;
};

/// A map of typed values that own their bytes. Flattens to the library's binary form, and parses it with the checks
/// that keep a reader inside the block.
class StdMap {
 public:
  bool add(const Field &field)
  {
    return map_.try_emplace(field.id, field.type, field.value.data(), field.value.size()).second;
  }

  size_t flatten(Bytes &out) const
  {
    const size_t tableEnd = sizeof(Header) + map_.size() * sizeof(Entry);
    if (tableEnd > out.size()) {
      return 0;
    }
    uint8_t *entryAt = out.data() + sizeof(Header);
    uint8_t *valueAt = out.data() + tableEnd;
    const uint8_t *end = out.data() + out.size();
    for (const auto &[id, value] : map_) {
      const size_t size = value.bytes.size();
      uint32_t flags = kOutOfLine;
      uint32_t rest = 0;
      if (size == sizeof(uint32_t)) {  // a number: no loop
        flags = sizeof(uint32_t) - 1;
        memcpy(&rest, value.bytes.data(), sizeof(uint32_t));
      } else if (size < sizeof(uint32_t)) {
        flags = static_cast<uint32_t>(size - 1);
        std::copy_n(value.bytes.data(), size, reinterpret_cast<uint8_t *>(&rest));
      } else {
        if (size > static_cast<size_t>(end - valueAt)) {
          return 0;
        }
        rest = static_cast<uint32_t>(size | static_cast<size_t>(valueAt - entryAt) << 16);
        memcpy(valueAt, value.bytes.data(), size);
        valueAt += size;
      }
      const uint32_t head = id | uint32_t{value.type} << 16 | flags << 24;
      memcpy(entryAt, &head, sizeof(head));
      memcpy(entryAt + sizeof(head), &rest, sizeof(rest));
      entryAt += sizeof(Entry);
    }
    const auto total = static_cast<size_t>(valueAt - out.data());
    const Header header = {SDO_BINARY_MAGIC, static_cast<uint16_t>(map_.size()), static_cast<uint16_t>(total)};
    memcpy(out.data(), &header, sizeof(header));
    return total;
  }

  bool parse(const Bytes &binary)
  {
    Header header;
    memcpy(&header, binary.data(), sizeof(header));
    const size_t tableEnd = sizeof(Header) + header.count * sizeof(Entry);
    if (header.magic != SDO_BINARY_MAGIC || tableEnd > header.totalSize || header.totalSize > binary.size()) {
      return false;
    }
    for (size_t at = sizeof(Header); at < tableEnd; at += sizeof(Entry)) {
      Entry entry;
      memcpy(&entry, binary.data() + at, sizeof(entry));
      const uint8_t *bytes = entry.bytes;
      size_t size = (entry.flags & 3U) + 1;
      if ((entry.flags & kOutOfLine) != 0) {
        const size_t start = at + entry.outOfLine.position;
        size = entry.outOfLine.size;
        if (start < tableEnd || start + size > header.totalSize) {
          return false;
        }
        bytes = binary.data() + start;
      }
      // Sorted input: each one goes to the end, without a search.
      map_.try_emplace(map_.end(), entry.id, entry.type, bytes, size);
    }
    return map_.size() == header.count;
  }

  size_t find(uint16_t id, uint8_t *out) const
  {
    const auto found = map_.find(id);
    if (found == map_.end() || found->second.bytes.size() > kValueSizeMax) {
      return 0;
    }
    std::copy(found->second.bytes.begin(), found->second.bytes.end(), out);
    return found->second.bytes.size();
  }

 private:
  struct Value {
    Value(uint8_t valueType, const uint8_t *from, size_t size) : type(valueType), bytes(from, from + size) {}

    uint8_t type;
    Bytes bytes;
  };

  std::map<uint16_t, Value> map_;
};

/// A CBOR map from field IDs to numbers and byte strings. It has no index: a search goes through the pairs.
class CborMap {
 public:
  bool add(const Field &field)
  {
    if (map_ == nullptr) {
      map_.reset(cbor_new_indefinite_map());
    }
    return cbor_map_add(map_.get(), {cbor_move(cbor_build_uint16(field.id)), cbor_move(makeItem(field))});
  }
  size_t flatten(Bytes &out) const { return cbor_serialize(map_.get(), out.data(), out.size()); }
  bool parse(const Bytes &binary)
  {
    cbor_load_result result;
    map_.reset(cbor_load(binary.data(), binary.size(), &result));
    return map_ != nullptr && cbor_isa_map(map_.get());
  }
  size_t find(uint16_t id, uint8_t *out) const
  {
    const cbor_pair *pairs = cbor_map_handle(map_.get());
    const size_t count = cbor_map_size(map_.get());
    for (size_t i = 0; i < count; ++i) {
      if (cbor_get_uint16(pairs[i].key) == id) {
        return copyItem(pairs[i].value, out);
      }
    }
    return 0;
  }

 private:
  struct Free {
    void operator()(cbor_item_t *item) const { cbor_decref(&item); }
  };

  template <class T>
  static T numberOf(const Field &field)
  {
    T number;
    memcpy(&number, field.value.data(), sizeof(number));
    return number;
  }

  static cbor_item_t *makeItem(const Field &field)
  {
    switch (field.type) {
      case kUint32:
        return cbor_build_uint32(numberOf<uint32_t>(field));
      case kUint64:
        return cbor_build_uint64(numberOf<uint64_t>(field));
      default:
        return cbor_build_bytestring(field.value.data(), field.value.size());
    }
  }

  static size_t copyItem(const cbor_item_t *item, uint8_t *out)
  {
    if (cbor_isa_bytestring(item)) {
      const size_t size = cbor_bytestring_length(item);
      if (size > kValueSizeMax) {
        return 0;
      }
      memcpy(out, cbor_bytestring_handle(item), size);
      return size;
    }
    if (cbor_int_get_width(item) == CBOR_INT_64) {
      const uint64_t number = cbor_get_uint64(item);
      memcpy(out, &number, sizeof(number));
      return sizeof(number);
    }
    const uint32_t number = cbor_get_uint32(item);
    memcpy(out, &number, sizeof(number));
    return sizeof(number);
  }

  std::unique_ptr<cbor_item_t, Free> map_;
};

/// Reads a value from a binary by the library.
size_t readOurs(const Bytes &binary, uint16_t id, uint8_t *out)
{
  uint8_t type;
  uint32_t size = kValueSizeMax;
  return SDOBinaryGetDataByID(binary.data(), id, &type, out, &size) == SM_STATUS_SUCCESS ? size : 0;
}

int compareIDs(const void *a, const void *b)
{
  uint16_t left;
  uint16_t right;
  memcpy(&left, a, sizeof(left));
  memcpy(&right, b, sizeof(right));
  return int{left} - int{right};
}

/// Reads a value from a binary that is trusted to be right: nothing is checked but the room for the value.
size_t readByBsearch(const Bytes &binary, uint16_t id, uint8_t *out)
{
  Header header;
  memcpy(&header, binary.data(), sizeof(header));
  const auto *found = static_cast<const uint8_t *>(
      bsearch(&id, binary.data() + sizeof(Header), header.count, sizeof(Entry), compareIDs));
  if (found == nullptr) {
    return 0;
  }
  Entry entry;
  memcpy(&entry, found, sizeof(entry));
  const bool outOfLine = (entry.flags & kOutOfLine) != 0;
  const size_t size = outOfLine ? entry.outOfLine.size : (entry.flags & 3U) + 1;
  if (size > kValueSizeMax) {
    return 0;
  }
  memcpy(out, found + (outOfLine ? entry.outOfLine.position : offsetof(Entry, bytes)), size);
  return size;
}

template <class Object>
Object makeObject(const std::vector<const Field *> &order)
{
  Object object;
  for (const Field *field : order) {
    benchmark::DoNotOptimize(object.add(*field));
  }
  return object;
}

template <class Object>
Bytes flattened(const Object &object)
{
  Bytes binary(SDO_BINARY_SIZE_MAX);
  binary.resize(object.flatten(binary));
  return binary;
}

/// The fields by ascending ID, the random orders in which objects take them in, and a random sequence of fields to look
/// up. Small objects get an order each, and the sequence is long, since a processor learns what repeats.
struct Workload {
  using Order = std::vector<const Field *>;

  explicit Workload(uint32_t count) : fields(makeFields(count)), orders(std::max(1U, kEntriesAtLeast / count))
  {
    std::mt19937 random(kSeed);
    for (Order &order : orders) {
      std::transform(fields.begin(), fields.end(), std::back_inserter(order), [](const Field &f) { return &f; });
      std::shuffle(order.begin(), order.end(), random);
    }
    std::generate_n(std::back_inserter(sought), kLookups, [&] { return static_cast<uint16_t>(random() % count); });
    binary = flattened(makeObject<OurObject>(orders.front()));
  }
  Workload(const Workload &) = delete;  // the orders point to the fields
  Workload &operator=(const Workload &) = delete;

  static constexpr uint32_t kEntriesAtLeast = 5000;
  static constexpr uint32_t kLookups = 65536;

  std::vector<Field> fields;
  std::vector<Order> orders;
  std::vector<uint16_t> sought;  // indexes of fields
  Bytes binary;                  // as the library writes it
};

/// Every field is found with its value, and nothing else is.
template <class Find>
void checkLookups(const Workload &workload, const std::string &row, Find find)
{
  for (const Field &field : workload.fields) {
    uint8_t out[kValueSizeMax];
    const size_t size = find(field.id, out);
    require(size == field.value.size() && memcmp(out, field.value.data(), size) == 0, row, "does not find a value");
    require(find(static_cast<uint16_t>(field.id + 1), out) == 0, row, "finds what is not there");
  }
}

template <class Object>
void check(const Workload &workload, const std::string &row)
{
  Object built;
  for (const Field *field : workload.orders.back()) {
    require(built.add(*field), row, "does not add");
  }
  const Bytes binary = flattened(built);
  require(!binary.empty(), row, "does not flatten");
  if constexpr (std::is_same_v<Object, StdMap>) {
    require(binary == workload.binary, row, "flattens to other bytes than the library");
  }
  Object parsed;
  require(parsed.parse(binary), row, "does not parse");
  require(flattened(parsed) == binary, row, "does not flatten to the bytes that it parsed");
  const auto find = [&row, &workload](const Object &object) {
    checkLookups(workload, row, [&object](uint16_t id, uint8_t *out) { return object.find(id, out); });
  };
  find(built);
  find(parsed);
}

template <class Object>
void build(benchmark::State &state, const Workload &workload)
{
  for (auto _ : state) {
    settleHeap();
    std::vector<Object> objects(workload.orders.size());
    const IterationTimer timer(state);
    for (size_t i = 0; i < objects.size(); ++i) {
      for (const Field *field : workload.orders[i]) {
        benchmark::DoNotOptimize(objects[i].add(*field));
      }
    }
  }
  countItems(state, workload.orders.size());
}

template <class Object>
void parse(benchmark::State &state, const Workload &workload)
{
  const Bytes binary = flattened(makeObject<Object>(workload.orders.front()));
  for (auto _ : state) {
    settleHeap();
    std::vector<Object> objects(workload.orders.size());
    const IterationTimer timer(state);
    for (Object &object : objects) {
      benchmark::DoNotOptimize(object.parse(binary));
    }
  }
  countItems(state, workload.orders.size());
}

template <class Object>
void flatten(benchmark::State &state, const Workload &workload)
{
  settleHeap();
  const Object object = makeObject<Object>(workload.orders.front());
  Bytes out(SDO_BINARY_SIZE_MAX);
  for (auto _ : state) {
    benchmark::DoNotOptimize(object.flatten(out));
    benchmark::ClobberMemory();
  }
  countItems(state, 1);
}

template <class Find>
void lookUp(benchmark::State &state, const Workload &workload, Find find)
{
  uint8_t out[kValueSizeMax];
  for (auto _ : state) {
    for (const uint16_t sought : workload.sought) {
      benchmark::DoNotOptimize(find(workload.fields[sought], out));
      benchmark::ClobberMemory();
    }
  }
  countItems(state, workload.sought.size());
}

template <class Object>
void find(benchmark::State &state, const Workload &workload)
{
  settleHeap();
  const Object object = makeObject<Object>(workload.orders.front());
  lookUp(state, workload, [&object](const Field &field, uint8_t *out) { return object.find(field.id, out); });
}

template <auto reader>
void checkReader(const Workload &workload, const std::string &row)
{
  checkLookups(workload, row, [&workload](uint16_t id, uint8_t *out) { return reader(workload.binary, id, out); });
}

template <auto reader>
void read(benchmark::State &state, const Workload &workload)
{
  lookUp(state, workload, [&](const Field &field, uint8_t *out) { return reader(workload.binary, field.id, out); });
}

/// Limit of the rows that move a whole object.
void copyBinary(benchmark::State &state, const Workload &workload)
{
  Bytes out(workload.binary.size());
  for (auto _ : state) {
    memcpy(out.data(), workload.binary.data(), workload.binary.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  require(out == workload.binary, "memcpy", "does not copy");
  countItems(state, 1);
}

/// Limit of the rows that move one value.
void copyValue(benchmark::State &state, const Workload &workload)
{
  lookUp(state, workload, [](const Field &field, uint8_t *out) {
    memcpy(out, field.value.data(), field.value.size());
    return field.value.size();
  });
}

const Workload &workloadOf(uint32_t count)
{
  static std::map<uint32_t, Workload> made;
  return made.try_emplace(count, count).first->second;
}

using Check = void (*)(const Workload &, const std::string &row);
using Time = void (*)(benchmark::State &, const Workload &);

/// Adds a row that checks once, before its first timing.
benchmark::internal::Benchmark *addRow(const char *operation, uint32_t count, const char *who, Check check, Time time)
{
  const std::string row = "sdo/" + std::string(operation) + "/" + std::to_string(count) + "/" + who;
  return benchmark::RegisterBenchmark(row.c_str(), [row, count, check, time](benchmark::State &state) {
    static std::set<std::string> checked;
    const Workload &workload = workloadOf(count);
    if (check != nullptr && checked.insert(row).second) {
      check(workload, row);
    }
    time(state, workload);
  });
}

template <class Object>
void addObjectRows(uint32_t count, const char *who)
{
  addRow("build", count, who, check<Object>, build<Object>)->UseManualTime();
  addRow("flatten", count, who, check<Object>, flatten<Object>);
  addRow("parse", count, who, check<Object>, parse<Object>)->UseManualTime();
  addRow("find", count, who, check<Object>, find<Object>);
}

void registerRows()
{
  // With the rows below: the cost of a field grows by the logarithm of their number.
  constexpr uint32_t kMostFields = 8000;
  addObjectRows<OurObject>(kMostFields, "ours");
  addObjectRows<StdMap>(kMostFields, "std_map");
  for (const uint32_t count : {10U, 100U, 1000U}) {
    addObjectRows<OurObject>(count, "ours");
    addObjectRows<StdMap>(count, "std_map");
    addObjectRows<CborMap>(count, "libcbor");
    addRow("read", count, "ours", checkReader<readOurs>, read<readOurs>);
    addRow("read", count, "bsearch", checkReader<readByBsearch>, read<readByBsearch>);
    for (const char *operation : {"build", "flatten", "parse"}) {
      addRow(operation, count, "memcpy", nullptr, copyBinary);  // checks itself
    }
    for (const char *operation : {"find", "read"}) {
      addRow(operation, count, "memcpy", nullptr, copyValue);
    }
  }
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
