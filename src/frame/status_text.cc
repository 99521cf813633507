// Statuses as text, for messages to people who know the library.

#include "qvsupt32/frame.h"

// The name is spelled by the preprocessor, so that it cannot differ from the number.
#define QV_STATUS(name, text) \
  case name:                  \
    return #name ": " text;

const char *SMStatusText(uint32_t status)
{
  // NOLINTBEGIN(readability-uppercase-literal-suffix): the constants of a C header
  switch (status) {
    QV_STATUS(SM_STATUS_SUCCESS, "success")
    QV_STATUS(SM_STATUS_UNSUCCESSFUL, "a platform call, an allocation or a conversion failed")
    QV_STATUS(SM_STATUS_NOT_SUPPORTED, "the selected log has no such property")
    QV_STATUS(SM_STATUS_BAD_ARGUMENT, "a missing or over-long argument, an unsupported type")
    QV_STATUS(SM_STATUS_TIMEOUT, "a polling wait ran out")
    QV_STATUS(SM_STATUS_FILE_OPEN_FAILED, "a file to read cannot be opened")
    QV_STATUS(SM_STATUS_CHDIR_FAILED, "the working directory was not restored")
    QV_STATUS(SM_STATUS_LOCK_FAILED, "the global file lock was not obtained")
    QV_STATUS(SM_STATUS_INDEX_OUT_OF_RANGE, "an index not below the count, an identifier not in use")
    QV_STATUS(SM_STATUS_BUFFER_TOO_SMALL, "the buffer is too small; the in-out size is the size needed")
    QV_STATUS(SM_STATUS_NOT_LOADED, "IP support is not loaded")
    QV_STATUS(SM_STATUS_LIMIT_EXCEEDED, "a count or size limit; a failed or short write to a file")
    QV_STATUS(SM_STATUS_NOT_FOUND, "no such entry, field, node, parameter, path or directory")
    QV_STATUS(SM_STATUS_BAD_TYPE, "an object of the wrong kind, a malformed block, invalid characters")
    QV_STATUS(SM_STATUS_ALREADY_EXISTS, "the key is already present; a rename failed")
    QV_STATUS(SM_STATUS_FILE_NOT_OPENED, "a key=value file or its temporary file cannot be opened")
    QV_STATUS(SM_STATUS_BAD_INI_FILE, "a section header without its closing bracket, or a read error")
    QV_STATUS(SM_STATUS_SECTION_NOT_FOUND, "no such INI section")
    QV_STATUS(SM_STATUS_KEY_NOT_FOUND, "no such key or occurrence of it")
    QV_STATUS(SM_STATUS_BAD_DATA_SIZE, "a value size that breaks the rules, a stored value that does not parse")
    QV_STATUS(SM_STATUS_FILE_REPLACE_FAILED, "the old file was not removed before its replacement")
    QV_STATUS(SM_STATUS_INVALID_PARAMETER, "a null or invalid argument")
    QV_STATUS(SM_STATUS_NO_MEMORY, "the heap is exhausted")
    QV_STATUS(SM_STATUS_VALUE_TOO_LARGE, "a value above its type's range")
    QV_STATUS(SM_STATUS_VALUE_TOO_SMALL, "a value below its type's range")
    default:
      return "unknown status";
  }
  // NOLINTEND(readability-uppercase-literal-suffix)
}

#undef QV_STATUS
