// name=value parameters: found by name in an array, and read as typed values.

#include <cctype>
#include <cstring>

#include "base/alias.h"
#include "base/size.h"
#include "base/status.h"
#include "qvsupt32/value.h"

namespace {

using qv::Status;

constexpr char kSeparator = '=';
constexpr int32_t kNoIndex = -1;

char folded(char c)
{
  return static_cast<char>(tolower(static_cast<unsigned char>(c)));
}

/// Whether the name is the parameter's, alone or followed by "=" and anything.
bool isNamed(const char *parameter, size_t length, const char *name, bool ignoreCase)
{
  for (size_t i = 0; i <= length; ++i) {
    const bool equal = ignoreCase ? folded(parameter[i]) == folded(name[i]) : parameter[i] == name[i];
    if (!equal) {
      return i == length && name[i] == '\0';
    }
  }
  return true;
}

/// 0 when the parameter has no name.
size_t nameLength(const char *parameter)
{
  const char *separator = parameter == nullptr ? nullptr : strchr(parameter, kSeparator);
  return separator == nullptr ? 0 : static_cast<size_t>(separator - parameter);
}

}  // namespace

uint32_t GetUTF8StrParamNameLen(const char *parameter)
{
  return qv::clampSize(nameLength(parameter));
}

char *GetUTF8StrParamName(char *parameter)
{
  const size_t length = nameLength(parameter);
  if (length == 0) {
    return nullptr;
  }
  parameter[length] = '\0';
  return parameter;
}

char *GetUTF8StrParamValue(char *parameter)
{
  const size_t length = nameLength(parameter);
  return length == 0 ? nullptr : parameter + length + 1;
}

int32_t GetParamIndexByUTF8StrName(int32_t count, char *const *parameters, const char *name, int16_t ignoreCase)
{
  if (parameters == nullptr || name == nullptr) {
    return kNoIndex;
  }
  for (int32_t i = 0; i < count; ++i) {
    const size_t length = nameLength(parameters[i]);
    if (length > 0 && isNamed(parameters[i], length, name, ignoreCase == 1)) {
      return i;
    }
  }
  return kNoIndex;
}

char *GetUTF8StrParamValueByUTF8StrName(int32_t count, char *const *parameters, const char *name, int16_t ignoreCase)
{
  const int32_t index = GetParamIndexByUTF8StrName(count, parameters, name, ignoreCase);
  return index == kNoIndex ? nullptr : GetUTF8StrParamValue(parameters[index]);
}

uint32_t NVPUTF8ToTypeValue(int32_t count, char *const *parameters, const char *name, int16_t ignoreCase, void *value,
                            uint32_t *size, uint32_t type, uint32_t radix)
{
  if (parameters == nullptr || value == nullptr) {
    return qv::result(Status::invalidParameter);
  }
  const char *text = GetUTF8StrParamValueByUTF8StrName(count, parameters, name, ignoreCase);
  return text == nullptr ? qv::result(Status::notFound) : XLTUTF8ToTypeValue(text, value, size, type, radix);
}

SMBool IsValidParam(const char *parameter)
{
  return nameLength(parameter) == 0 ? 0 : 1;
}

int32_t SMIsValidParam(const char *parameter)
{
  return IsValidParam(parameter);
}

QV_ALIAS(SMNVPGetUTF8ParamName, GetUTF8StrParamName)
QV_ALIAS(SMNVPGetUTF8ParamValue, GetUTF8StrParamValue)
QV_ALIAS(SMNVPGetParamIndexByUTF8Name, GetParamIndexByUTF8StrName)
QV_ALIAS(SMNVPGetUTF8ParamValueByUTF8Name, GetUTF8StrParamValueByUTF8StrName)
QV_ALIAS(SMNVPUTF8ToTypeValue, NVPUTF8ToTypeValue)
