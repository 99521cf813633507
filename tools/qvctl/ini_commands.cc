// The `ini` commands: typed values of INI files.
//
// Values are read and written by the library, under the file lock. Listings are this program's own, since a section's
// keys and their values are one snapshot only under one hold of the lock, which every call of the library gives up.

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <unordered_set>

#include "command_line.h"
#include "files.h"
#include "hex.h"
#include "json.h"
#include "settings_file.h"
#include "utf.h"

namespace qvctl {
namespace {

constexpr int16_t kTryOnce = 0;  // the lock mode of calls that are made with the lock held
constexpr std::string_view kBlanks = " \t";
constexpr size_t kValueCapacity = 8451;  // more than any line holds, as text and as bytes

struct TypeName {
  const char *name;
  int32_t type;
};

constexpr TypeName kTypes[] = {
    {"astring", SM_INI_TYPE_ASTRING}, {"ustring", SM_INI_TYPE_USTRING}, {"bool", SM_INI_TYPE_BOOLN},
    {"s32", SM_INI_TYPE_S32},         {"u32", SM_INI_TYPE_U32},         {"s64", SM_INI_TYPE_S64},
    {"u64", SM_INI_TYPE_U64},         {"d64", SM_INI_TYPE_D64},         {"binary", SM_INI_TYPE_BINARY},
};
constexpr char kTypeHelp[] = "astring (default), ustring, bool, s32, u32, s64, u64, d64 or binary";

int32_t typeOf(const std::optional<std::string> &name)
{
  if (!name) {
    return SM_INI_TYPE_ASTRING;
  }
  for (const TypeName &known : kTypes) {
    if (*name == known.name) {
      return known.type;
    }
  }
  throw usageFailure("--type: '" + *name + "' is none of " + kTypeHelp);
}

template <class T>
std::string bytesOf(const T &value)
{
  return {reinterpret_cast<const char *>(&value), sizeof value};
}

template <class T>
T valueOf(std::string_view bytes)
{
  T value{};
  memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
  return value;
}

/// The bytes of a number's type, when the text is a number of it and nothing else. A plus sign may come first.
template <class T>
std::optional<std::string> parseNumber(std::string_view text)
{
  T value{};
  if (text.starts_with('+') && !text.starts_with("+-")) {
    text.remove_prefix(1);
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return bytesOf(value);
}

std::optional<std::string> parseBool(std::string_view text)
{
  const auto is = [text](std::string_view word) {
    return text.size() == word.size() && strncasecmp(text.data(), word.data(), word.size()) == 0;
  };
  return is("true")    ? std::optional(bytesOf<SMBool>(1))
         : is("false") ? std::optional(bytesOf<SMBool>(0))
                       : std::nullopt;
}

/// A value of the command line as the library takes it. Nothing when the text is no value of the type.
std::optional<std::string> parseValue(int32_t type, const std::string &text)
{
  switch (type) {
    case SM_INI_TYPE_USTRING: {
      const std::optional<std::u16string> units = toUtf16(text);
      return units ? std::optional(std::string(reinterpret_cast<const char *>(units->c_str()),
                                               (units->size() + 1) * sizeof(char16_t)))
                   : std::nullopt;
    }
    case SM_INI_TYPE_BINARY:
      return fromHex(text);
    case SM_INI_TYPE_BOOLN:
      return parseBool(text);
    case SM_INI_TYPE_U32:
      return parseNumber<uint32_t>(text);
    case SM_INI_TYPE_S32:
      return parseNumber<int32_t>(text);
    case SM_INI_TYPE_U64:
      return parseNumber<uint64_t>(text);
    case SM_INI_TYPE_S64:
      return parseNumber<int64_t>(text);
    case SM_INI_TYPE_D64: {
      const std::optional<std::string> bytes = parseNumber<double>(text);
      return bytes && std::isfinite(valueOf<double>(*bytes)) ? bytes : std::nullopt;
    }
    default:
      return std::string(text.c_str(), text.size() + 1);  // with its terminator
  }
}

/// A value as the library gave it.
Json jsonValue(int32_t type, std::string_view bytes)
{
  switch (type) {
    case SM_INI_TYPE_USTRING: {
      const std::u16string units = unitsOf(bytes);
      return toUtf8(std::u16string_view(units).substr(0, units.find(u'\0')));
    }
    case SM_INI_TYPE_BINARY:
      return toHex(bytes);
    case SM_INI_TYPE_BOOLN:
      return valueOf<SMBool>(bytes) == 1;
    case SM_INI_TYPE_U32:
      return valueOf<uint32_t>(bytes);
    case SM_INI_TYPE_S32:
      return valueOf<int32_t>(bytes);
    case SM_INI_TYPE_U64:
      return valueOf<uint64_t>(bytes);
    case SM_INI_TYPE_S64:
      return valueOf<int64_t>(bytes);
    case SM_INI_TYPE_D64:
      return valueOf<double>(bytes);
    default:
      return std::string(bytes.substr(0, bytes.find('\0')));
  }
}

/// The same as text. A double is the shortest text that reads back as it.
std::string textValue(const Json &value)
{
  if (value.is_string()) {
    return value.get<std::string>();
  }
  if (value.is_number_float()) {
    char digits[64];
    return {digits, std::to_chars(digits, digits + sizeof digits, value.get<double>()).ptr};
  }
  return value.dump();
}

void printValue(Context &context, const Json &value)
{
  if (context.json) {
    printJson(context.output, {{"value", value}});
  } else {
    context.output.line(textValue(value));
  }
}

bool isNumber(int32_t type)
{
  return type >= SM_INI_TYPE_U32 && type <= SM_INI_TYPE_D64;
}

/// Whether the text of a key is a number of the type. The library answers 0, or the digits that come first, for text that
/// is not.
bool readsAsNumber(const std::string &path, const std::string &section, const std::string &key, int32_t type)
{
  std::string content;
  if (readFile(path, content) != 0) {
    return true;  // the library has its own answer to that
  }
  std::optional<std::string_view> text = findIniValue(parseIni(content), section, key);
  if (!text) {
    return true;
  }
  constexpr std::string_view kAround = " \t\r";
  text->remove_prefix(std::min(text->find_first_not_of(kAround), text->size()));
  text = text->substr(0, text->find_last_not_of(kAround) + 1);
  return parseValue(type, std::string(*text)).has_value();
}

struct Options {
  std::string file;
  std::string section;
  std::string key;
  std::optional<std::string> maybeSection;
  std::optional<std::string> maybeKey;
  std::string value;
  std::optional<std::string> type;
  std::optional<std::string> defaultText;
};

Exit get(Context &context, const Options &options)
{
  const int32_t type = typeOf(options.type);
  Library &library = context.lockedLibrary(options.file);
  if (isNumber(type) && !readsAsNumber(options.file, options.section, options.key, type)) {
    throw libraryFailure(options.file, SM_STATUS_BAD_DATA_SIZE, "value is no " + *options.type);
  }
  char buffer[kValueCapacity] = {};
  uint32_t size = sizeof buffer;
  const uint32_t status = QVCTL_FUNCTION(library, SMReadINIPathFileValue)(
      options.section.c_str(), options.key.c_str(), type, buffer, &size, nullptr, 0, options.file.c_str(), kTryOnce);
  const bool missing = status == SM_STATUS_SECTION_NOT_FOUND || status == SM_STATUS_KEY_NOT_FOUND ||
                       status == SM_STATUS_FILE_OPEN_FAILED;
  if (missing && options.defaultText) {
    const std::optional<std::string> value = parseValue(type, *options.defaultText);
    printValue(context, context.json && value ? jsonValue(type, *value) : Json(*options.defaultText));
    return Exit::done;
  }
  if (status != SM_STATUS_SUCCESS) {
    throw libraryFailure(options.file, status);
  }
  printValue(context, jsonValue(type, {buffer, std::min<size_t>(size, sizeof buffer)}));
  return Exit::done;
}

void refuseUnreadable(const Options &options, const std::string &key, const std::string &value)
{
  if ((options.section + key + value).find('\n') != std::string::npos) {
    throw usageFailure("a line feed in a section, key or value does not read back");
  }
  if (options.section.find(']') != std::string::npos) {
    throw usageFailure("a section with ']' does not read back");
  }
  if (key.find('=') != std::string::npos) {
    throw usageFailure("a key with '=' does not read back");
  }
  if (key.empty()) {
    throw usageFailure("an empty key would take a blank line's place");
  }
  if ((std::string(kBlanks) + "[;#").find(key[0]) != std::string::npos) {
    throw usageFailure("a key that begins with a blank, '[', ';' or '#' does not read back");
  }
}

Exit set(Context &context, const Options &options)
{
  const int32_t type = typeOf(options.type);
  refuseUnreadable(options, options.key, options.value);
  const std::optional<std::string> value = parseValue(type, options.value);
  if (!value) {
    throw usageFailure("'" + options.value + "' is no value of the type " + *options.type);
  }
  const uint32_t status = QVCTL_FUNCTION(context.lockedLibrary(options.file), SMWriteINIPathFileValue)(
      options.section.c_str(), options.key.c_str(), type, value->data(), static_cast<uint32_t>(value->size()),
      options.file.c_str(), kTryOnce);
  if (status != SM_STATUS_SUCCESS) {
    throw libraryFailure(options.file, status);
  }
  return Exit::done;
}

Failure nothingToRemove(const Options &options)
{
  return libraryFailure(options.file, SM_STATUS_BAD_DATA_SIZE, "no such file or section to remove from");
}

Exit unset(Context &context, const Options &options)
{
  if (options.maybeKey && options.maybeKey->empty()) {
    throw usageFailure("an empty key would take blank lines away");
  }
  Library &library = context.lockedLibrary(options.file);
  if (!exists(options.file)) {  // for which the library would make the directory before it refuses
    throw nothingToRemove(options);
  }
  const uint32_t status = QVCTL_FUNCTION(library, SMWriteINIPathFileValue)(
      options.section.c_str(), options.maybeKey ? options.maybeKey->c_str() : nullptr, SM_INI_TYPE_ASTRING, nullptr, 0,
      options.file.c_str(), kTryOnce);
  if (status == SM_STATUS_BAD_DATA_SIZE) {
    throw nothingToRemove(options);
  }
  if (status != SM_STATUS_SUCCESS) {
    throw libraryFailure(options.file, status);
  }
  return Exit::done;
}

/// The first of equal keys counts.
Json entriesJson(const IniSection &section)
{
  Json object = Json::object();
  auto &members = object.get_ref<Json::object_t &>();
  std::unordered_set<std::string_view> seen;
  for (const auto &[key, value] : section.entries) {
    if (seen.insert(key).second) {
      // as a vector: the container's own way looks through all members
      members.std::vector<std::pair<const std::string, Json>>::emplace_back(std::string(key), std::string(value));
    }
  }
  return object;
}

Json sectionsJson(const IniFile &file)
{
  Json object = Json::object();
  auto &members = object.get_ref<Json::object_t &>();
  std::unordered_set<std::string_view> seen;
  for (const IniSection &section : file.sections) {
    if (seen.insert(section.name).second) {
      members.std::vector<std::pair<const std::string, Json>>::emplace_back(std::string(section.name),
                                                                            entriesJson(section));
    }
  }
  return object;
}

void listSections(Context &context, const Options &options, const IniFile &file)
{
  if (file.malformed) {
    throw libraryFailure(options.file, SM_STATUS_BAD_INI_FILE);
  }
  if (context.json) {
    printJson(context.output, sectionsJson(file));
    return;
  }
  for (const IniSection &section : file.sections) {
    context.output.line(section.name);
  }
}

void listKeys(Context &context, const Options &options, const IniFile &file)
{
  const IniSection *const section = file.find(*options.maybeSection);
  if (section == nullptr) {
    throw libraryFailure(options.file, file.malformed ? SM_STATUS_BAD_INI_FILE : SM_STATUS_SECTION_NOT_FOUND);
  }
  if (context.json) {
    printJson(context.output, entriesJson(*section));
    return;
  }
  for (const auto &[key, value] : section->entries) {
    context.output.write(key);
    context.output.write("=");
    context.output.line(value);
  }
}

Exit list(Context &context, const Options &options)
{
  std::string content;
  {
    const Hold hold(context, options.file);
    if (const int error = readFile(options.file, content); error != 0) {
      throw libraryFailure(options.file, error == EISDIR ? SM_STATUS_BAD_INI_FILE : SM_STATUS_FILE_OPEN_FAILED);
    }
  }
  const IniFile file = parseIni(content);
  if (options.maybeSection) {
    listKeys(context, options, file);
  } else {
    listSections(context, options, file);
  }
  return Exit::done;
}

}  // namespace

void addIniCommands(CommandLine &commands, Context &context)
{
  commands.group("ini", "Values of INI files");
  const auto options = std::make_shared<Options>();
  commands.command("ini get", "Print a value", "qvctl ini get /etc/tallowmere/vela/ini/net.ini server port --type u32")
      .argument("FILE", options->file, "The INI file")
      .argument("SECTION", options->section, "The section, without brackets")
      .argument("KEY", options->key, "The key")
      .option("--type", "TYPE", options->type, kTypeHelp)
      .option("--default", "VALUE", options->defaultText, "Print this when there is no such file, section or key")
      .waits()
      .run([&context, options] { return get(context, *options); });
  commands
      .command("ini set", "Set a value; adds what is missing, file included",
               "qvctl ini set /etc/tallowmere/vela/ini/net.ini server port 8443 --type u32")
      .argument("FILE", options->file, "The INI file")
      .argument("SECTION", options->section, "The section, without brackets")
      .argument("KEY", options->key, "The key")
      .argument("VALUE", options->value, "The value; after '--' it may begin with '-'")
      .option("--type", "TYPE", options->type, kTypeHelp)
      .waits()
      .run([&context, options] { return set(context, *options); });
  commands
      .command("ini unset", "Remove a key, or a whole section",
               "qvctl ini unset /etc/tallowmere/vela/ini/net.ini server port")
      .argument("FILE", options->file, "The INI file")
      .argument("SECTION", options->section, "The section, without brackets")
      .argument("KEY", options->maybeKey, "The key; without it the section goes")
      .waits()
      .run([&context, options] { return unset(context, *options); });
  commands
      .command("ini list", "Print the sections, or the lines 'key=value' of one",
               "qvctl ini list /etc/tallowmere/vela/ini/net.ini server")
      .argument("FILE", options->file, "The INI file")
      .argument("SECTION", options->maybeSection, "The section, without brackets")
      .waits()
      .run([&context, options] { return list(context, *options); });
}

}  // namespace qvctl
