// JSON for results, with the members in the order in which they are added.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "output.h"

namespace qvctl {

using Json = nlohmann::ordered_json;

/// One line without its end. What is no UTF-8 becomes U+FFFD.
std::string jsonText(const Json &value);

/// The whole result of a command: one document on a line.
void printJson(Output &output, const Json &value);

}  // namespace qvctl
