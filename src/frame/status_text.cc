// Statuses as text, for messages to people who know the library.

#include "qvsupt32/frame.h"

const char *SMStatusText(uint32_t status)
{
  switch (status) {
    case SM_STATUS_SUCCESS:
      return "SM_STATUS_SUCCESS: success";
    case SM_STATUS_UNSUCCESSFUL:
      return "SM_STATUS_UNSUCCESSFUL: a platform call, an allocation or a conversion failed";
    case SM_STATUS_NOT_SUPPORTED:
      return "SM_STATUS_NOT_SUPPORTED: the selected log has no such property";
    case SM_STATUS_BAD_ARGUMENT:
      return "SM_STATUS_BAD_ARGUMENT: a missing or over-long argument, an unsupported type";
    case SM_STATUS_TIMEOUT:
      return "SM_STATUS_TIMEOUT: a polling wait ran out";
    case SM_STATUS_FILE_OPEN_FAILED:
      return "SM_STATUS_FILE_OPEN_FAILED: a file to read cannot be opened";
    case SM_STATUS_CHDIR_FAILED:
      return "SM_STATUS_CHDIR_FAILED: the working directory was not restored";
    case SM_STATUS_LOCK_FAILED:
      return "SM_STATUS_LOCK_FAILED: the global file lock was not obtained";
    case SM_STATUS_INDEX_OUT_OF_RANGE:
      return "SM_STATUS_INDEX_OUT_OF_RANGE: an index not below the count, an identifier not in use";
    case SM_STATUS_BUFFER_TOO_SMALL:
      return "SM_STATUS_BUFFER_TOO_SMALL: the buffer is too small; the in-out size is the size needed";
    case SM_STATUS_NOT_LOADED:
      return "SM_STATUS_NOT_LOADED: IP support is not loaded";
    case SM_STATUS_LIMIT_EXCEEDED:
      return "SM_STATUS_LIMIT_EXCEEDED: a count or size limit; a failed or short write to a file";
    case SM_STATUS_NOT_FOUND:
      return "SM_STATUS_NOT_FOUND: no such entry, field, node, parameter, path or directory";
    case SM_STATUS_BAD_TYPE:
      return "SM_STATUS_BAD_TYPE: an object of the wrong kind, a malformed block, invalid characters";
    case SM_STATUS_ALREADY_EXISTS:
      return "SM_STATUS_ALREADY_EXISTS: the key is already present; a rename failed";
    case SM_STATUS_FILE_NOT_OPENED:
      return "SM_STATUS_FILE_NOT_OPENED: a key=value file or its temporary file cannot be opened";
    case SM_STATUS_BAD_INI_FILE:
      return "SM_STATUS_BAD_INI_FILE: a section header without its closing bracket, or a read error";
    case SM_STATUS_SECTION_NOT_FOUND:
      return "SM_STATUS_SECTION_NOT_FOUND: no such INI section";
    case SM_STATUS_KEY_NOT_FOUND:
      return "SM_STATUS_KEY_NOT_FOUND: no such key or occurrence of it";
    case SM_STATUS_BAD_DATA_SIZE:
      return "SM_STATUS_BAD_DATA_SIZE: a value size that breaks the rules, a stored value that does not parse";
    case SM_STATUS_FILE_REPLACE_FAILED:
      return "SM_STATUS_FILE_REPLACE_FAILED: the old file was not removed before its replacement";
    case SM_STATUS_INVALID_PARAMETER:
      return "SM_STATUS_INVALID_PARAMETER: a null or invalid argument";
    case SM_STATUS_NO_MEMORY:
      return "SM_STATUS_NO_MEMORY: the heap is exhausted";
    case SM_STATUS_VALUE_TOO_LARGE:
      return "SM_STATUS_VALUE_TOO_LARGE: a value above its type's range";
    case SM_STATUS_VALUE_TOO_SMALL:
      return "SM_STATUS_VALUE_TOO_SMALL: a value below its type's range";
    default:
      return "unknown status";
  }
}
