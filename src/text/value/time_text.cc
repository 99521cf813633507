// Times as text: what ctime(3) writes, without its line feed.

#include "text/value/time_text.h"

#include <time.h>

#include <cstring>

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/value.h"

namespace qv::text {
namespace {

/// Two digits, the first a space if it is 0 and `padding` says so.
char *putTwo(int value, char *out, char padding = '0')
{
  out[0] = value < 10 ? padding : static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
  return out + 2;
}

/// A time in a year of four digits as asctime(3) writes it, "Thu Nov 19 03:13:03 2026". Most of the work of appending a
/// record to a log was the C library's formatting of this text.
void putUsualTime(const tm &local, int year, char *out)
{
  memcpy(out, &"SunMonTueWedThuFriSat"[3 * local.tm_wday], 3);
  out[3] = ' ';
  memcpy(out + 4, &"JanFebMarAprMayJunJulAugSepOctNovDec"[3 * local.tm_mon], 3);
  out[7] = ' ';
  out = putTwo(local.tm_mday, out + 8, ' ');
  *out = ' ';
  out = putTwo(local.tm_hour, out + 1);
  *out = ':';
  out = putTwo(local.tm_min, out + 1);
  *out = ':';
  out = putTwo(local.tm_sec, out + 1);
  *out = ' ';
  out = putTwo(year % 100, putTwo(year / 100, out + 1));
  *out = '\0';
}

}  // namespace

bool formTime(int64_t seconds, char *buffer)
{
  const auto time = static_cast<time_t>(seconds);
  tm local;
  tzset();  // ctime looks at TZ, the reentrant call would not
  if (localtime_r(&time, &local) == nullptr) {
    return false;
  }
  constexpr int kFirstYear = 1900;
  if (local.tm_year >= 1000 - kFirstYear && local.tm_year <= 9999 - kFirstYear) {
    putUsualTime(local, kFirstYear + local.tm_year, buffer);
    return true;
  }
  if (asctime_r(&local, buffer) == nullptr) {
    return false;
  }
  buffer[strcspn(buffer, "\n")] = '\0';
  return true;
}

}  // namespace qv::text

uint32_t TimeToUTF8Str(const int32_t *seconds, char *buffer)
{
  return qv::result(qv::text::formTime(*seconds, buffer) ? qv::Status::success : qv::Status::unsuccessful);
}

uint32_t SMTimeToUTF8Str(int64_t seconds, char *buffer)
{
  const auto kept = static_cast<int32_t>(seconds);
  return TimeToUTF8Str(&kept, buffer);
}

uint32_t UCS2TimeToStr(const int32_t *seconds, SMChar16 *buffer, uint32_t *size)
{
  char text[qv::text::kTimeRoom];
  const bool converted =
      qv::text::formTime(*seconds, text) && UTF8StrToUCS2Str(buffer, size, text) == SM_STATUS_SUCCESS;
  return qv::result(converted ? qv::Status::success : qv::Status::unsuccessful);
}

QV_ALIAS(SMUCS2TimeToStr, UCS2TimeToStr)
