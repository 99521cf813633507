// The `text` commands: string resources. The library would deliver its failures as if they were texts, so the file is
// looked into here.

#include <charconv>
#include <cstring>
#include <memory>

#include "command_line.h"
#include "files.h"
#include "install_path.h"
#include "json.h"
#include "qvsupt32/language.h"
#include "settings_file.h"
#include "string_file.h"
#include "utf.h"

namespace qvctl {
namespace {

struct Options {
  std::string id;
  std::optional<std::string> language;
  std::optional<std::string> file;
  std::string checked;
};

/// A decimal number, or a hexadecimal one that begins with "0x".
std::optional<uint32_t> parseNumber(std::string_view text)
{
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  text.remove_prefix(hexadecimal ? 2 : 0);
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

uint32_t languageOf(const std::optional<std::string> &text)
{
  if (!text) {
    return 0;
  }
  if (const std::optional<uint32_t> number = parseNumber(*text)) {
    return *number;
  }
  uint32_t unknown = 0;
  const uint32_t language = GetLangIDFromLocaleName(text->c_str(), &unknown);
  if (unknown != 0) {
    throw usageFailure("--language: '" + *text + "' is no language; name one as en_US, de or zh_TW, or by its number");
  }
  return language;
}

/// The files of the library's own product.
std::string iniDirectory()
{
  const std::string directory = installPath();
  if (directory.empty()) {
    throw libraryFailure("install path", SM_STATUS_NOT_FOUND);
  }
  return directory + "/ini/";
}

uint32_t oemSetting(const IniFile &settings, const char *key, uint32_t otherwise)
{
  const std::optional<std::string_view> text = findIniValue(settings, "OEM Configuration", key);
  if (!text) {
    return otherwise;
  }
  const std::string digits(*text);
  return static_cast<uint32_t>(strtoul(digits.c_str(), nullptr, 10));
}

/// Identifiers of the OEM range are mapped to others by the settings of the installation.
uint32_t remapped(uint32_t id)
{
  constexpr uint32_t kDefaultBase = 2304;
  constexpr uint32_t kDefaultRange = 32;
  std::string content;
  (void)readFile(iniDirectory() + "qvprv32.ini", content);  // without the file the defaults hold
  const IniFile settings = parseIni(content);
  const uint64_t base = oemSetting(settings, "BaseID", kDefaultBase);
  const bool inRange = id >= base && id <= base + oemSetting(settings, "oemRange", kDefaultRange);
  return inRange ? id + oemSetting(settings, "offset", 0) : id;
}

std::u16string readUnits(const std::string &path)
{
  std::string content;
  if (const int error = readFile(path, content); error != 0) {
    throw systemFailure(path, error);
  }
  if (!isStringFile(content)) {
    throw toolFailure(path, "no string file: it does not begin with the bytes FF FE");
  }
  return unitsOf(std::string_view(content).substr(2));
}

Exit get(Context &context, const Options &options)
{
  const std::optional<uint32_t> id = parseNumber(options.id);
  if (!id) {
    throw usageFailure("'" + options.id + "' is no string identifier");
  }
  const uint32_t language = languageOf(options.language);
  const std::string path = options.file ? *options.file : iniDirectory() + "qvunidat.txt";
  std::u16string units;
  uint32_t wanted = *id;
  {
    const Hold hold(context, path);
    units = readUnits(path);
    wanted = options.file ? wanted : remapped(wanted);
  }
  const std::optional<std::u16string> text = findString(stringLines(units), language, wanted);
  if (!text) {
    throw libraryFailure(path, SM_STATUS_NOT_FOUND, "no string " + options.id);
  }
  if (context.json) {
    printJson(context.output, {{"value", toUtf8(*text)}});
  } else {
    context.output.line(toUtf8(*text));
  }
  return Exit::done;
}

Exit check(Context &context, const Options &options)
{
  std::string content;
  {
    const Hold hold(context, options.checked);
    if (const int error = readFile(options.checked, content); error != 0) {
      throw systemFailure(options.checked, error);
    }
  }
  std::vector<StringFinding> findings;
  if (isStringFile(content)) {
    const std::u16string units = unitsOf(std::string_view(content).substr(2));
    findings = checkStrings(stringLines(units));
  } else {
    findings.push_back({1, "the file does not begin with the bytes FF FE: nothing in it is found"});
  }
  Json list = Json::array();
  for (const auto &[line, what] : findings) {
    if (context.json) {
      list.push_back({{"where", "line " + std::to_string(line)}, {"what", what}});
    } else {
      context.output.line(options.checked + ":" + std::to_string(line) + ": " + what);
    }
  }
  if (context.json) {
    printJson(context.output, {{"ok", findings.empty()}, {"findings", list}});
  }
  return findings.empty() ? Exit::done : Exit::findings;
}

}  // namespace

void addTextCommands(CommandLine &commands, Context &context)
{
  commands.group("text", "String resources");
  const auto options = std::make_shared<Options>();
  commands.command("text get", "Print a text", "qvctl text get 768 --language de")
      .argument("ID", options->id, "The string identifier, decimal or as 0x300")
      .option("--language", "LANGUAGE", options->language,
              "A locale name or a number (default: 0, the default language)")
      .option("--file", "FILE", options->file, "Another string file than that of the installation")
      .waits()
      .run([&context, options] { return get(context, *options); });
  commands
      .command("text check", "Print the lines of a string file that no lookup finds",
               "qvctl text check /etc/tallowmere/vela/ini/qvunidat.txt")
      .argument("FILE", options->checked, "The string file")
      .waits()
      .run([&context, options] { return check(context, *options); });
}

}  // namespace qvctl
