// MD5 beside libmd: whole messages, from a new record to the digest.

#include <md5.h>

#include <cstring>
#include <random>
#include <vector>

#include "bench.h"
#include "qvsupt32.h"

namespace bench {
namespace {

struct Digest {
  uint8_t bytes[16];
};

Digest digestOurs(const std::vector<uint8_t> &message)
{
  RFC1321Context context;
  RFC1321Load(&context);
  RFC1321AddMsg(&context, message.data(), static_cast<uint32_t>(message.size()));
  RFC1321ComputeMsgDigest(&context);
  Digest digest;
  memcpy(digest.bytes, context.digest, sizeof(digest.bytes));
  return digest;
}

Digest digestLibmd(const std::vector<uint8_t> &message)
{
  MD5_CTX context;
  MD5Init(&context);
  MD5Update(&context, message.data(), message.size());
  Digest digest;
  MD5Final(digest.bytes, &context);
  return digest;
}

std::vector<uint8_t> messageOf(size_t size)
{
  std::mt19937 random(kSeed);
  std::vector<uint8_t> message(size);
  for (uint8_t &byte : message) {
    byte = static_cast<uint8_t>(random());
  }
  return message;
}

void addRow(size_t size, const char *who, Digest (*digest)(const std::vector<uint8_t> &))
{
  const std::string row = "digest/md5/" + std::to_string(size) + "/" + who;
  benchmark::RegisterBenchmark(row.c_str(), [row, size, digest](benchmark::State &state) {
    const std::vector<uint8_t> message = messageOf(size);
    const Digest ours = digestOurs(message);
    const Digest theirs = digestLibmd(message);
    require(memcmp(ours.bytes, theirs.bytes, sizeof(ours.bytes)) == 0, row, "the digests differ");
    for (auto _ : state) {
      benchmark::DoNotOptimize(digest(message));
    }
    countItems(state, 1);
  });
}

void registerRows()
{
  for (const size_t size : {size_t{64}, size_t{1024}, size_t{1024} * 1024}) {
    addRow(size, "ours", digestOurs);
    addRow(size, "libmd", digestLibmd);
  }
}

const Rows kRows(registerRows);

}  // namespace
}  // namespace bench
