// See json.h.

#include "json.h"

namespace qvctl {

std::string jsonText(const Json &value)
{
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void printJson(Output &output, const Json &value)
{
  output.line(jsonText(value));
}

}  // namespace qvctl
