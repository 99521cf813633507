// The `kv` commands: key=value files, whose keys may occur several times.
//
// Reading is this program's own, since the library waits a minute for the lock when it loads such a file, whatever the
// command line says. Setting is the library's, called with the lock held; only a file that is missing is written here.

#include <sys/stat.h>

#include <cstring>
#include <memory>

#include "command_line.h"
#include "file_replacement.h"
#include "files.h"
#include "json.h"
#include "settings_file.h"

namespace qvctl {
namespace {

constexpr mode_t kFileMode = 0664;
constexpr mode_t kDirectoryMode = 0755;
constexpr size_t kLongestEntry = 8448;
constexpr std::string_view kBlanks = " \t\r";

struct Options {
  std::string file;
  std::string key;
  std::string value;
  std::optional<uint32_t> nth;
};

using Entries = std::vector<std::pair<std::string, std::string>>;

Entries readEntries(Context &context, const std::string &path)
{
  const Hold hold(context, path);
  std::string content;
  if (readFile(path, content) != 0) {
    throw libraryFailure(path, SM_STATUS_FILE_NOT_OPENED);
  }
  return parseKeyValues(content);
}

Exit get(Context &context, const Options &options)
{
  uint32_t left = options.nth.value_or(0);
  for (const auto &[key, value] : readEntries(context, options.file)) {
    if (key != options.key || left-- != 0) {
      continue;
    }
    if (context.json) {
      printJson(context.output, {{"value", value}});
    } else {
      context.output.line(value);
    }
    return Exit::done;
  }
  throw libraryFailure(options.file, SM_STATUS_KEY_NOT_FOUND);
}

Exit list(Context &context, const Options &options)
{
  const Entries entries = readEntries(context, options.file);
  if (context.json) {
    Json all = Json::array();
    for (const auto &[key, value] : entries) {
      all.push_back(Json::array({key, value}));
    }
    printJson(context.output, all);
    return Exit::done;
  }
  for (const auto &[key, value] : entries) {
    context.output.line(key + "=" + value);
  }
  return Exit::done;
}

void refuseUnreadable(const Options &options)
{
  const std::string &key = options.key;
  const std::string &value = options.value;
  if ((key + value).find('\n') != std::string::npos) {
    throw usageFailure("a line feed in a key or value does not read back");
  }
  if ((key + value).find('"') != std::string::npos) {
    throw usageFailure("a double quote in a key or value does not read back");
  }
  if (key.find_first_of(std::string(kBlanks) + "=") != std::string::npos) {
    throw usageFailure("a key with '=' or a blank does not read back");
  }
  if (!key.empty() && strchr("[;#", key[0]) != nullptr) {
    throw usageFailure("a key that begins with '[', ';' or '#' does not read back");
  }
  if (!value.empty() &&
      (kBlanks.find(value.front()) != std::string_view::npos || kBlanks.find(value.back()) != std::string_view::npos)) {
    throw usageFailure("blanks around a value do not read back");
  }
}

/// What the library does before it sets a key, with its statuses.
uint32_t setInMissingFile(const Options &options)
{
  if (options.key.size() + options.value.size() > kLongestEntry) {
    return SM_STATUS_BAD_DATA_SIZE;
  }
  if (options.nth.value_or(0) != 0) {
    return SM_STATUS_INVALID_PARAMETER;
  }
  const std::string directory = directoryOf(options.file);
  if (!exists(directory) && mkdir(directory.c_str(), kDirectoryMode) != 0) {
    return SM_STATUS_UNSUCCESSFUL;
  }
  replaceFile(options.file, options.key + "=" + options.value + "\n", kFileMode);
  return SM_STATUS_SUCCESS;
}

/// Sets the entry, or removes it where there is no value.
uint32_t setEntry(Library &library, const Options &options, const char *value)
{
  std::string key = options.key;
  std::string copy = value == nullptr ? "" : value;
  const CFGUKeyValueEntry entry = {key.data(), value == nullptr ? nullptr : copy.data()};
  return QVCTL_FUNCTION(library, SMCFGSetKeyValueEntry)(options.file.c_str(), &entry, options.nth.value_or(0));
}

void finish(const Options &options, uint32_t status)
{
  if (status != SM_STATUS_SUCCESS) {
    throw libraryFailure(options.file, status);
  }
}

Exit set(Context &context, const Options &options)
{
  refuseUnreadable(options);
  Library &library = context.lockedLibrary(options.file);
  finish(options, exists(options.file) ? setEntry(library, options, options.value.c_str()) : setInMissingFile(options));
  return Exit::done;
}

Exit unset(Context &context, const Options &options)
{
  Library &library = context.lockedLibrary(options.file);
  if (!exists(options.file)) {  // for which the library would make the directory before it refuses
    throw libraryFailure(options.file, SM_STATUS_FILE_NOT_OPENED);
  }
  finish(options, setEntry(library, options, nullptr));
  return Exit::done;
}

}  // namespace

void addKvCommands(CommandLine &commands, Context &context)
{
  commands.group("kv", "Entries of key=value files");
  const auto options = std::make_shared<Options>();
  commands.command("kv get", "Print a value", "qvctl kv get /etc/tallowmere/vela/agents.conf peer --nth 1")
      .argument("FILE", options->file, "The key=value file")
      .argument("KEY", options->key, "The key")
      .option("--nth", "N", options->nth, "Which occurrence of the key, from 0 (default: 0)")
      .waits()
      .run([&context, options] { return get(context, *options); });
  commands
      .command("kv set", "Set a value; adds what is missing, file included",
               "qvctl kv set /etc/tallowmere/vela/agents.conf peer 10.0.0.7 --nth 1")
      .argument("FILE", options->file, "The key=value file")
      .argument("KEY", options->key, "The key")
      .argument("VALUE", options->value, "The value; after '--' it may begin with '-'")
      .option("--nth", "N", options->nth, "Which occurrence of the key, from 0; the next one is added (default: 0)")
      .waits()
      .run([&context, options] { return set(context, *options); });
  commands.command("kv unset", "Remove an entry", "qvctl kv unset /etc/tallowmere/vela/agents.conf peer --nth 1")
      .argument("FILE", options->file, "The key=value file")
      .argument("KEY", options->key, "The key")
      .option("--nth", "N", options->nth, "Which occurrence of the key, from 0 (default: 0)")
      .waits()
      .run([&context, options] { return unset(context, *options); });
  commands.command("kv list", "Print the entries as 'key=value'", "qvctl kv list /etc/tallowmere/vela/agents.conf")
      .argument("FILE", options->file, "The key=value file")
      .waits()
      .run([&context, options] { return list(context, *options); });
}

}  // namespace qvctl
