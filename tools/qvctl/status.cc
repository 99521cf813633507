// See status.h.

#include "status.h"

#include "qvsupt32/types.h"

namespace qvctl {
namespace {

struct StatusText {
  uint32_t status;
  const char *name;
  const char *text;
};

constexpr StatusText kStatuses[] = {
    {SM_STATUS_SUCCESS, "SM_STATUS_SUCCESS", "success"},
    {SM_STATUS_UNSUCCESSFUL, "SM_STATUS_UNSUCCESSFUL", "the operation failed"},
    {SM_STATUS_NOT_SUPPORTED, "SM_STATUS_NOT_SUPPORTED", "not supported"},
    {SM_STATUS_BAD_ARGUMENT, "SM_STATUS_BAD_ARGUMENT", "bad argument"},
    {SM_STATUS_TIMEOUT, "SM_STATUS_TIMEOUT", "timed out"},
    {SM_STATUS_FILE_OPEN_FAILED, "SM_STATUS_FILE_OPEN_FAILED", "file cannot be opened"},
    {SM_STATUS_CHDIR_FAILED, "SM_STATUS_CHDIR_FAILED", "working directory not restored"},
    {SM_STATUS_LOCK_FAILED, "SM_STATUS_LOCK_FAILED", "file lock not obtained"},
    {SM_STATUS_INDEX_OUT_OF_RANGE, "SM_STATUS_INDEX_OUT_OF_RANGE", "index out of range"},
    {SM_STATUS_BUFFER_TOO_SMALL, "SM_STATUS_BUFFER_TOO_SMALL", "buffer too small"},
    {SM_STATUS_NOT_LOADED, "SM_STATUS_NOT_LOADED", "IP support not loaded"},
    {SM_STATUS_LIMIT_EXCEEDED, "SM_STATUS_LIMIT_EXCEEDED", "limit exceeded, or a write failed"},
    {SM_STATUS_NOT_FOUND, "SM_STATUS_NOT_FOUND", "not found"},
    {SM_STATUS_BAD_TYPE, "SM_STATUS_BAD_TYPE", "wrong type"},
    {SM_STATUS_ALREADY_EXISTS, "SM_STATUS_ALREADY_EXISTS", "already exists, or a rename failed"},
    {SM_STATUS_FILE_NOT_OPENED, "SM_STATUS_FILE_NOT_OPENED", "file cannot be opened"},
    {SM_STATUS_BAD_INI_FILE, "SM_STATUS_BAD_INI_FILE", "malformed section header, or a read error"},
    {SM_STATUS_SECTION_NOT_FOUND, "SM_STATUS_SECTION_NOT_FOUND", "section not found"},
    {SM_STATUS_KEY_NOT_FOUND, "SM_STATUS_KEY_NOT_FOUND", "key not found"},
    {SM_STATUS_BAD_DATA_SIZE, "SM_STATUS_BAD_DATA_SIZE", "bad value or value size"},
    {SM_STATUS_FILE_REPLACE_FAILED, "SM_STATUS_FILE_REPLACE_FAILED", "file cannot be replaced"},
    {SM_STATUS_INVALID_PARAMETER, "SM_STATUS_INVALID_PARAMETER", "invalid parameter"},
    {SM_STATUS_NO_MEMORY, "SM_STATUS_NO_MEMORY", "out of memory"},
    {SM_STATUS_VALUE_TOO_LARGE, "SM_STATUS_VALUE_TOO_LARGE", "value too large"},
    {SM_STATUS_VALUE_TOO_SMALL, "SM_STATUS_VALUE_TOO_SMALL", "value too small"},
};

const StatusText *find(uint32_t status)
{
  for (const StatusText &known : kStatuses) {
    if (known.status == status) {
      return &known;
    }
  }
  return nullptr;
}

}  // namespace

std::string describeStatus(uint32_t status)
{
  const StatusText *const known = find(status);
  return describeStatus(status, known == nullptr ? "unknown status" : known->text);
}

std::string describeStatus(uint32_t status, const std::string &words)
{
  const StatusText *const known = find(status);
  const std::string number = std::to_string(static_cast<int32_t>(status));
  return words + " (" + number + (known == nullptr ? "" : std::string(", ") + known->name) + ")";
}

}  // namespace qvctl
