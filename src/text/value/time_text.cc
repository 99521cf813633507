// Times as text: what ctime(3) writes, without its line feed.

#include "text/value/time_text.h"

#include <time.h>

#include <cstring>

#include "base/alias.h"
#include "base/status.h"
#include "qvsupt32/convert.h"
#include "qvsupt32/value.h"

namespace qv::text {

bool formTime(int64_t seconds, char *buffer)
{
  const auto time = static_cast<time_t>(seconds);
  tzset();  // ctime looks at TZ, the reentrant call would not
  if (ctime_r(&time, buffer) == nullptr) {
    return false;
  }
  const size_t length = strlen(buffer);
  if (length > 0) {
    buffer[length - 1] = '\0';
  }
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
