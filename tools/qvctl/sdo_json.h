// Self-describing objects as people and programs read them: a tree, JSON, and back from JSON.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "sdo_block.h"

namespace qvctl {

/// What a site knows of its fields: names, and how values are to be shown.
struct SdoSchema {
  struct Field;
  std::map<uint16_t, Field> fields;
};

struct SdoSchema::Field {
  std::string name;
  std::string type;  // text, number, hex, or none of them
  SdoSchema nested;
};

/// {"fields":{"9":{"name":"disk","type":"text","fields":{...}}}}. Throws a Failure about the file.
SdoSchema parseSchema(const std::string &json, const std::string &file);

/// One document. Each value is there as "hex", and as "text" and "number" where it is such.
std::string sdoToJson(const SdoBlock &block, const SdoSchema &schema);

/// A line a field, what is nested indented.
std::string sdoToText(const SdoBlock &block, const SdoSchema &schema);

/// The block of such a document. Throws a Failure about the file.
SdoBlock sdoFromJson(const std::string &json, const std::string &file);

}  // namespace qvctl
