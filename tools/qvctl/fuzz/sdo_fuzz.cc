// Blocks and the JSON of blocks may be anything: what is found sound comes back bit by bit through JSON, and what is
// made of JSON is sound.
//
// Input: bytes of a block, or JSON where they begin with "{".

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "failure.h"
#include "sdo_json.h"

namespace {

void require(bool holds)
{
  if (!holds) {
    abort();
  }
}

void checkRoundTrip(const std::string &bytes)
{
  std::vector<qvctl::SdoFinding> findings;
  const qvctl::SdoBlock block = qvctl::decodeSdo(bytes, findings);
  for (const qvctl::SdoFinding &finding : findings) {
    require(finding.where <= bytes.size());
  }
  require(block.size != 0 || !findings.empty());
  if (block.size == 0) {
    return;
  }
  (void)qvctl::sdoToText(block, {});
  const std::string json = qvctl::sdoToJson(block, {});
  if (!findings.empty()) {
    return;
  }
  require(qvctl::encodeSdo(block) == bytes.substr(0, block.size));
  require(qvctl::encodeSdo(qvctl::sdoFromJson(json, "json")) == bytes.substr(0, block.size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  const std::string input(data, data + size);
  if (!input.starts_with('{')) {
    checkRoundTrip(input);
    return 0;
  }
  try {
    const std::string bytes = qvctl::encodeSdo(qvctl::sdoFromJson(input, "json"));
    std::vector<qvctl::SdoFinding> findings;
    require(qvctl::decodeSdo(bytes, findings).size == bytes.size() && findings.empty());
    checkRoundTrip(bytes);
  } catch (const qvctl::Failure &) {
    // no JSON of a block
  } catch (const std::length_error &) {
    // nor one that the library has
  }
  try {
    (void)qvctl::parseSchema(input, "json");
  } catch (const qvctl::Failure &) {
    // no schema
  }
  return 0;
}
