// See failure.h.

#include "failure.h"

#include <cstring>

#include "status.h"

namespace qvctl {

Failure libraryFailure(const std::string &subject, uint32_t status)
{
  return {Exit::failed, subject + ": " + describeStatus(status)};
}

Failure libraryFailure(const std::string &subject, uint32_t status, const std::string &words)
{
  return {Exit::failed, subject + ": " + describeStatus(status, words)};
}

Failure toolFailure(const std::string &subject, const std::string &reason)
{
  return {Exit::failed, subject + ": " + reason};
}

Failure systemFailure(const std::string &subject, int error)
{
  return toolFailure(subject, strerror(error));
}

Failure usageFailure(const std::string &reason)
{
  return {Exit::usage, reason};
}

}  // namespace qvctl
