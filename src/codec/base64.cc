// Base64 encoding and decoding: counts, terminators, and the choice between the parts of codec/base64.h.

#include "codec/base64.h"

#include <cpuid.h>

#include <atomic>

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/codec.h"

namespace {

namespace base64 = qv::base64;
using qv::Status;

enum class Blocks : uint8_t { unknown, no, yes };

/// Whether the processor has AVX2 and the system keeps its registers.
bool hasAvx2()
{
  unsigned eax;
  unsigned ebx;
  unsigned ecx;
  unsigned edx;
  constexpr unsigned kWanted = bit_AVX | bit_OSXSAVE;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & kWanted) != kWanted) {
    return false;
  }
  unsigned kept;
  __asm__("xgetbv" : "=a"(kept), "=d"(edx) : "c"(0));
  constexpr unsigned kXmmAndYmm = 6;
  return (kept & kXmmAndYmm) == kXmmAndYmm && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 &&
         (ebx & bit_AVX2) != 0;
}

/// Asks the processor once: the instruction is slow, and a virtual machine intercepts it. The compiler's own query
/// would add an initialiser to the library.
bool usesBlocks()
{
  constinit static std::atomic<Blocks> known = Blocks::unknown;
  Blocks blocks = known.load(std::memory_order_relaxed);
  if (blocks == Blocks::unknown) {
    blocks = hasAvx2() ? Blocks::yes : Blocks::no;
    known.store(blocks, std::memory_order_relaxed);
  }
  return blocks == Blocks::yes;
}

}  // namespace

uint32_t encode64(char *text, const uint8_t *bytes, int32_t count, const char *alphabet)
{
  base64::Encoder at = {bytes, text};
  if (count > 0) {
    const uint8_t *end = bytes + count;
    alphabet = alphabet == nullptr ? base64::basis64 : alphabet;
    if (count >= base64::kEncodedAtOnce && usesBlocks()) {
      base64::encodeBlocks(at, end, alphabet);
    }
    base64::encodeGroups(at, end, alphabet);
  }
  *at.out = 0;
  return result(Status::success);
}

QV_ALIAS(SMBase64Encode, encode64)

uint32_t decode64(uint8_t *bytes, const char *text, int32_t count)
{
  base64::Decoder at = {text, bytes};
  if (count >= 4) {
    const char *end = text + count / 4 * 4;
    if (count >= base64::kBlockText && usesBlocks()) {
      base64::decodeBlocks(at, end);
    }
    base64::decodeGroups(at, end);
  }
  *at.out = 0;
  return result(Status::success);
}

QV_ALIAS(SMBase64Decode, decode64)
