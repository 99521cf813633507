// See sdo_json.h. JSON is written by hand, so that a tree that is as deep as a block can be costs little stack.

#include "sdo_json.h"

#include <algorithm>
#include <charconv>

#include "event.h"
#include "failure.h"
#include "hex.h"
#include "json.h"
#include "log_export.h"

namespace qvctl {
namespace {

constexpr size_t kHexOnOneLine = 16;
const SdoSchema kNoSchema;

const SdoSchema::Field *find(const SdoSchema &schema, uint16_t id)
{
  const auto place = schema.fields.find(id);
  return place == schema.fields.end() ? nullptr : &place->second;
}

/// Without its terminator.
std::optional<std::string_view> textOf(const std::string &value)
{
  const std::string_view text(value.data(), value.size() - 1);
  const bool isText = value.back() == '\0' && text.find('\0') == std::string_view::npos && isUtf8(text);
  return isText ? std::optional(text) : std::nullopt;
}

/// What people would read as a text, terminated or not.
std::optional<std::string_view> readableText(const std::string &value)
{
  if (const auto text = textOf(value)) {
    return text;
  }
  const bool isPlain = isUtf8(value) && std::none_of(value.begin(), value.end(), [](char character) {
                         return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
                       });
  return isPlain ? std::optional<std::string_view>(value) : std::nullopt;
}

std::optional<uint64_t> numberOf(const std::string &value)
{
  if (value.size() != 1 && value.size() != 2 && value.size() != 4 && value.size() != 8) {
    return std::nullopt;
  }
  uint64_t number = 0;
  for (size_t i = value.size(); i > 0; --i) {
    number = number << 8 | static_cast<unsigned char>(value[i - 1]);
  }
  return number;
}

// To JSON -------------------------------------------------------------------------------------------------------------

void appendFields(std::string &out, const SdoObject &object, const SdoSchema &schema);

void appendObjects(std::string &out, const std::vector<SdoObject> &objects, const SdoSchema &schema)
{
  out += '[';
  for (size_t i = 0; i < objects.size(); ++i) {
    out += i == 0 ? "" : ",";
    appendFields(out, objects[i], schema);
  }
  out += ']';
}

void appendValue(std::string &out, const std::string &value)
{
  out += ",\"size\":" + std::to_string(value.size()) + ",\"hex\":\"" + toHex(value) + '"';
  if (const auto text = textOf(value)) {
    out += ",\"text\":";
    appendJsonString(out, *text);
  }
  if (const auto number = numberOf(value)) {
    out += ",\"number\":" + std::to_string(*number);
  }
}

void appendFieldHead(std::string &out, const SdoField &field, const SdoSchema::Field *known)
{
  out += "{\"id\":" + std::to_string(field.id);
  if (known != nullptr && !known->name.empty()) {
    out += ",\"name\":";
    appendJsonString(out, known->name);
  }
  out += ",\"type\":" + std::to_string(field.type);
}

void appendFields(std::string &out, const SdoObject &object, const SdoSchema &schema)
{
  out += "{\"fields\":[";
  for (const SdoField &field : object.fields) {
    if (&field != &object.fields.front()) {
      out += ',';
    }
    const SdoSchema::Field *const known = find(schema, field.id);
    const SdoSchema &nested = known == nullptr ? kNoSchema : known->nested;
    appendFieldHead(out, field, known);
    if (field.isArray()) {
      out += ",\"array\":";
      appendObjects(out, field.nested, nested);
    } else if (field.isNested()) {
      out += ",\"object\":";
      appendFields(out, field.nested.front(), nested);
    } else {
      appendValue(out, field.value);
    }
    out += '}';
  }
  out += "]}";
}

// To text -------------------------------------------------------------------------------------------------------------

void appendIndent(std::string &out, size_t depth)
{
  out.append(2 * depth, ' ');
}

void appendLine(std::string &out, size_t depth, const std::string &line)
{
  appendIndent(out, depth);
  out += line + '\n';
}

/// Adds a value to the line of its field.
void appendShown(std::string &out, const std::string &value, std::string_view wanted, size_t depth)
{
  const auto text = readableText(value);
  const auto number = numberOf(value);
  const bool any = wanted != "text" && wanted != "number" && wanted != "hex";
  // A short number may be a text by chance: both are shown unless somebody knows which it is.
  const bool asText = text && (wanted == "text" || (any && (!text->empty() || !number)));
  const bool asNumber = number && (wanted == "number" || any);
  if (asText) {
    out += " \"" + showControls(*text) + '"';
  }
  if (asNumber) {
    out += " = " + std::to_string(*number);
  }
  if (asText || asNumber) {
    out += '\n';
    return;
  }
  if (value.size() <= kHexOnOneLine) {
    out += " hex " + toHex(value) + '\n';
    return;
  }
  out += '\n';
  const std::string dump = encodeDump(value);
  for (size_t at = 0; at < dump.size();) {
    const size_t end = dump.find('\r', at);
    std::string line = dump.substr(at, end - at);
    line.erase(line.find_last_not_of(' ') + 1);
    appendLine(out, depth + 1, line);
    at = end + 2;
  }
}

void appendTree(std::string &out, const SdoObject &object, const SdoSchema &schema, size_t depth);

void appendElements(std::string &out, const std::vector<SdoObject> &objects, const SdoSchema &schema, size_t depth)
{
  for (size_t i = 0; i < objects.size(); ++i) {
    appendLine(out, depth, "[" + std::to_string(i) + "]");
    appendTree(out, objects[i], schema, depth + 1);
  }
}

void appendFieldLine(std::string &out, const SdoField &field, const SdoSchema::Field *known, size_t depth)
{
  appendIndent(out, depth);
  out += std::to_string(field.id);
  if (known != nullptr && !known->name.empty()) {
    out += ' ' + showControls(known->name);
  }
  out += ": type " + std::to_string(field.type);
  if (field.isArray()) {
    out += ", array of " + std::to_string(field.nested.size()) + '\n';
  } else if (field.isNested()) {
    out += ", object\n";
  } else {
    out += ", size " + std::to_string(field.value.size());
    appendShown(out, field.value, known == nullptr ? "" : known->type, depth);
  }
}

void appendTree(std::string &out, const SdoObject &object, const SdoSchema &schema, size_t depth)
{
  for (const SdoField &field : object.fields) {
    const SdoSchema::Field *const known = find(schema, field.id);
    const SdoSchema &nested = known == nullptr ? kNoSchema : known->nested;
    appendFieldLine(out, field, known, depth);
    if (field.isArray()) {
      appendElements(out, field.nested, nested, depth + 1);
    } else if (field.isNested()) {
      appendTree(out, field.nested.front(), nested, depth + 1);
    }
  }
}

// From JSON -----------------------------------------------------------------------------------------------------------

/// Reads documents. What is wrong with one is told with the place in it.
class Reader {
 public:
  explicit Reader(const std::string &file) : file_(file) {}

  Json parse(const std::string &json) const
  {
    try {
      return Json::parse(json);
    } catch (const Json::parse_error &error) {
      throw toolFailure(file_, "no JSON: byte " + std::to_string(error.byte));
    } catch (const Json::exception &) {
      throw toolFailure(file_, "no JSON: a number is out of range");
    }
  }

  [[noreturn]] void refuse(const std::string &reason) const { throw toolFailure(file_, reason); }

  SdoBlock block(const Json &document) const
  {
    SdoBlock block;
    if (document.is_object() && document.contains("array")) {
      block.isArray = true;
      objects(document["array"], block.objects, 0);
    } else {
      object(document, block.objects.emplace_back(), 0);
    }
    return block;
  }

  SdoSchema schema(const Json &document, size_t depth) const
  {
    SdoSchema schema;
    checkDepth(depth);
    if (!document.is_object() || !document.contains("fields") || !document["fields"].is_object()) {
      refuse("a schema is {\"fields\":{\"ID\":{\"name\":...,\"type\":...,\"fields\":{...}}}}");
    }
    for (const auto &[id, field] : document["fields"].items()) {
      uint16_t number = 0;
      const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
      if (error != std::errc{} || end != id.data() + id.size() || !field.is_object()) {
        refuse("no field of a schema: \"" + id + "\"");
      }
      SdoSchema::Field &known = schema.fields[number];
      known.name = textMember(field, "name");
      known.type = textMember(field, "type");
      if (field.contains("fields")) {
        known.nested = this->schema(field, depth + 1);
      }
    }
    return schema;
  }

 private:
  static void checkDepthOf(size_t depth, const Reader &reader)
  {
    constexpr size_t kDeepest = 4096;  // no block has as many levels
    if (depth > kDeepest) {
      reader.refuse("nested too deep");
    }
  }
  void checkDepth(size_t depth) const { checkDepthOf(depth, *this); }

  std::string textMember(const Json &object, const char *name) const
  {
    if (!object.contains(name)) {
      return {};
    }
    if (!object[name].is_string()) {
      refuse(std::string("\"") + name + "\" is no text");
    }
    return object[name].get<std::string>();
  }

  uint64_t numberMember(const Json &object, const char *name, uint64_t largest) const
  {
    if (!object.contains(name) || !object[name].is_number_unsigned() || object[name].get<uint64_t>() > largest) {
      refuse(std::string("\"") + name + "\" is no number from 0 to " + std::to_string(largest));
    }
    return object[name].get<uint64_t>();
  }

  void objects(const Json &list, std::vector<SdoObject> &objects, size_t depth) const
  {
    if (!list.is_array()) {
      refuse("\"array\" is no list of objects");
    }
    for (const Json &element : list) {
      object(element, objects.emplace_back(), depth);
    }
  }

  void object(const Json &document, SdoObject &object, size_t depth) const
  {
    checkDepth(depth);
    if (!document.is_object() || !document.contains("fields") || !document["fields"].is_array()) {
      refuse("an object is {\"fields\":[...]}");
    }
    for (const Json &element : document["fields"]) {
      SdoField &field = object.fields.emplace_back();
      readHead(element, field);
      if (element.contains("object")) {
        this->object(element["object"], field.nested.emplace_back(), depth + 1);
      } else if (element.contains("array")) {
        objects(element["array"], field.nested, depth + 1);
      } else {
        readValue(element, field);
      }
    }
  }

  void readHead(const Json &element, SdoField &field) const
  {
    if (!element.is_object()) {
      refuse("a field is {\"id\":...,\"type\":...,...}");
    }
    field.id = static_cast<uint16_t>(numberMember(element, "id", UINT16_MAX));
    field.type = static_cast<uint8_t>(numberMember(element, "type", UINT8_MAX));
    if (element.contains("object") && (!field.isNested() || field.isArray())) {
      refuseField(field, "type " + std::to_string(field.type) + " is not that of an object, 13");
    }
    if (!element.contains("object") && element.contains("array") && !field.isArray()) {
      refuseField(field, "type " + std::to_string(field.type) + " is not that of an array, 29");
    }
  }

  [[noreturn]] void refuseField(const SdoField &field, const std::string &reason) const
  {
    refuse("field " + std::to_string(field.id) + ": " + reason);
  }

  void readValue(const Json &element, SdoField &field) const
  {
    if (element.contains("hex")) {
      const auto bytes = fromHex(textMember(element, "hex"));
      if (!bytes) {
        refuseField(field, "\"hex\" is no pairs of hexadecimal digits");
      }
      if (element.contains("size") && numberMember(element, "size", UINT32_MAX) != bytes->size()) {
        refuseField(field, "\"size\" is not that of \"hex\"");
      }
      field.value = *bytes;
    } else if (element.contains("text")) {
      field.value = textMember(element, "text");
      field.value += '\0';
    } else if (element.contains("number")) {
      readNumber(element, field);
    } else {
      refuseField(field, "has neither \"hex\" nor \"text\" nor \"number\" nor \"object\" nor \"array\"");
    }
  }

  void readNumber(const Json &element, SdoField &field) const
  {
    const uint64_t size = numberMember(element, "size", 8);
    if (size != 1 && size != 2 && size != 4 && size != 8) {
      refuseField(field, "the \"size\" of a number is 1, 2, 4 or 8");
    }
    const Json &json = element["number"];
    if (!json.is_number_integer()) {
      refuseField(field, "\"number\" is no whole number of 64 bits");
    }
    const auto bits = static_cast<unsigned>(8 * size);
    auto number = json.is_number_unsigned() ? json.get<uint64_t>() : static_cast<uint64_t>(json.get<int64_t>());
    const bool negative = !json.is_number_unsigned() && json.get<int64_t>() < 0;
    const bool fits =
        bits == 64 || (negative ? json.get<int64_t>() >= -(int64_t{1} << (bits - 1)) : number >> bits == 0);
    if (!fits) {
      refuseField(field, "\"number\" does not fit into " + std::to_string(size) + " bytes");
    }
    for (uint64_t i = 0; i < size; ++i) {
      field.value += static_cast<char>(number & 0xFF);
      number >>= 8;
    }
  }

  const std::string &file_;
};

}  // namespace

SdoSchema parseSchema(const std::string &json, const std::string &file)
{
  const Reader reader(file);
  return reader.schema(reader.parse(json), 0);
}

std::string sdoToJson(const SdoBlock &block, const SdoSchema &schema)
{
  std::string out;
  if (block.isArray) {
    out = "{\"array\":";
    appendObjects(out, block.objects, schema);
    out += '}';
  } else {
    appendFields(out, block.objects.front(), schema);
  }
  return out;
}

std::string sdoToText(const SdoBlock &block, const SdoSchema &schema)
{
  std::string out;
  if (block.isArray) {
    appendElements(out, block.objects, schema, 0);
  } else {
    appendTree(out, block.objects.front(), schema, 0);
  }
  return out;
}

SdoBlock sdoFromJson(const std::string &json, const std::string &file)
{
  const Reader reader(file);
  return reader.block(reader.parse(json));
}

}  // namespace qvctl
