// See command_line.h. What CLI11 would do of its own to a value is prevented here: values are taken as they are, byte by
// byte.

#include "command_line.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <string_view>

namespace qvctl {
namespace {

constexpr char kVersion[] = "qvctl " QVCTL_VERSION;

/// Words that CLI11 would take for something else, such as "[a,b]", "++" and what begins with "-" after "--", are marked
/// before it sees them, and unmarked when they are stored.
constexpr char kMark = '\x01';

bool needsMark(const std::string &word, bool optionsEnded)
{
  constexpr std::string_view kSpecial = "[{+\x01";
  return !word.empty() &&
         (kSpecial.find(word[0]) != std::string_view::npos || (optionsEnded && word.size() > 1 && word[0] == '-'));
}

std::string unmarked(std::string word)
{
  if (!word.empty() && word[0] == kMark) {
    word.erase(0, 1);
  }
  return word;
}

bool toNumber(std::string_view text, uint32_t &value)
{
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} && end == text.data() + text.size();
}

uint32_t numberValue(const CLI::results_t &results, const char *name)
{
  uint32_t value = 0;
  if (!toNumber(unmarked(results.back()), value)) {
    throw CLI::ValidationError(name, "'" + unmarked(results.back()) + "' is no whole number from 0 to 4294967295");
  }
  return value;
}

void append(const CLI::results_t &results, std::vector<std::string> &values)
{
  for (const std::string &result : results) {
    values.push_back(unmarked(result));
  }
}

std::vector<std::string> splitPath(std::string_view path)
{
  std::vector<std::string> words;
  while (!path.empty()) {
    const size_t end = path.find(' ');
    words.emplace_back(path.substr(0, end));
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
  }
  return words;
}

}  // namespace

template <class Store>
CLI::Option *Command::addValued(const char *name, const char *valueName, const char *help, Store store)
{
  for (const std::string_view each : {std::string_view(name).substr(0, std::string_view(name).find(',')),
                                      std::string_view(name).substr(std::string_view(name).find(',') + 1)}) {
    valued_.emplace(each);
  }
  const CLI::callback_t callback = [store](const CLI::results_t &results) {
    store(results);
    return true;
  };
  return app_.add_option(name, callback, help)
      ->type_name(valueName)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
      ->expected(1);
}

Command &Command::argument(const char *name, std::string &value, const char *help)
{
  app_.add_option(
          name,
          [&value](const CLI::results_t &results) {
            value = unmarked(results.back());
            return true;
          },
          help)
      ->type_name("")
      ->required();
  return *this;
}

Command &Command::argument(const char *name, std::optional<std::string> &value, const char *help)
{
  app_.add_option(
          name,
          [&value](const CLI::results_t &results) {
            value = unmarked(results.back());
            return true;
          },
          help)
      ->type_name("");
  return *this;
}

Command &Command::arguments(const char *name, std::vector<std::string> &values, bool required, const char *help)
{
  app_.add_option(
          name,
          [&values](const CLI::results_t &results) {
            append(results, values);
            return true;
          },
          help)
      ->type_name("")
      ->expected(required ? 1 : 0, CLI::detail::expected_max_vector_size)
      ->allow_extra_args()
      ->required(required);
  return *this;
}

Command &Command::option(const char *name, const char *valueName, std::optional<std::string> &value, const char *help)
{
  addValued(name, valueName, help, [&value](const CLI::results_t &results) { value = unmarked(results.back()); });
  return *this;
}

Command &Command::option(const char *name, const char *valueName, std::vector<std::string> &values, const char *help)
{
  addValued(name, valueName, help, [&values](const CLI::results_t &results) {
    append(results, values);
  })->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  return *this;
}

Command &Command::option(const char *name, const char *valueName, std::optional<uint32_t> &value, const char *help)
{
  addValued(name, valueName, help,
            [&value, name](const CLI::results_t &results) { value = numberValue(results, name); });
  return *this;
}

Command &Command::requiredOption(const char *name, const char *valueName, std::string &value, const char *help)
{
  addValued(name, valueName, help, [&value](const CLI::results_t &results) {
    value = unmarked(results.back());
  })->required();
  return *this;
}

Command &Command::requiredOption(const char *name, const char *valueName, uint32_t &value, const char *help)
{
  addValued(name, valueName, help, [&value, name](const CLI::results_t &results) {
    value = numberValue(results, name);
  })->required();
  return *this;
}

Command &Command::rest(const char *name, const char *help)
{
  app_.add_option(
          name, [](const CLI::results_t &) { return true; }, help)
      ->type_name("...");
  return *this;
}

Command &Command::flag(const char *name, bool &value, const char *help)
{
  app_.add_flag(name, value, help);
  return *this;
}

Command &Command::waits()
{
  addValued("--wait", "SECONDS", "Wait this long for the file lock; 0 tries once (default: 60)",
            [&lock = context_.lock](const CLI::results_t &results) {
              double seconds = 0;
              const std::string text = unmarked(results.back());
              const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
              if (error != std::errc{} || end != text.data() + text.size() || !(seconds >= 0 && seconds <= 1e9)) {
                throw CLI::ValidationError("--wait", "'" + text + "' is no number of seconds");
              }
              lock.setWait(std::chrono::milliseconds(std::llround(seconds * 1000)));
            });
  return *this;
}

void Command::run(std::function<Exit()> function)
{
  app_.final_callback([function = std::move(function)] { throw function(); });
}

CommandLine::CommandLine(Context &context) : context_(context), app_(std::make_unique<CLI::App>())
{
  app_->description("Look into and change the files, logs and shared objects of libqvsupt32");
  app_->name("qvctl");
  app_->get_formatter()->label("REQUIRED", "");  // the usage line shows it
  app_->set_version_flag("--version", kVersion, "Print the version and exit");
  app_->add_flag("--json", context.json, "Print results as JSON");
  app_->require_subcommand(1);
  app_->footer("'qvctl COMMAND --help' explains a command with an example; qvctl(1) has the whole story.");
}

CommandLine::~CommandLine() = default;

void CommandLine::group(const char *name, const char *help)
{
  CLI::App *const added = app_->add_subcommand(name, help);
  added->add_flag("--json", context_.json, "Print results as JSON");
  added->require_subcommand(1);
}

Command CommandLine::command(const char *path, const char *help, const char *example)
{
  const std::vector<std::string> words = splitPath(path);
  CLI::App *parent = app_.get();
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    parent = parent->get_subcommand(words[i]);
  }
  CLI::App *const added = parent->add_subcommand(words.back(), help);
  added->add_flag("--json", context_.json, "Print results as JSON");
  added->footer(std::string("Example:\n  ") + example);
  return {*added, context_, valued_};
}

void CommandLine::passRest(const char *path, std::vector<std::string> &rest)
{
  rests_.push_back({splitPath(path), &rest});
}

bool CommandLine::isOption(const std::string &word) const
{
  return word.size() > 1 && word[0] == '-' && word != "--";
}

/// How many words an option takes, itself included.
size_t CommandLine::wordsOf(const std::string &option) const
{
  return valued_.contains(option) ? 2 : 1;
}

void CommandLine::takeRest(std::vector<std::string> &words) const
{
  for (const Rest &rest : rests_) {
    size_t matched = 0;
    size_t i = 0;
    while (i < words.size() && (isOption(words[i]) || matched < rest.path.size())) {
      if (isOption(words[i])) {
        i += wordsOf(words[i]);
      } else if (words[i++] != rest.path[matched++]) {
        break;
      }
      if (matched == rest.path.size() && (i >= words.size() || !isOption(words[i]))) {
        i = std::min(i, words.size());
        const auto end = words.begin() + static_cast<ptrdiff_t>(i);
        rest.words->assign(i < words.size() && *end == "--" ? end + 1 : end, words.end());
        words.erase(end, words.end());
        return;
      }
    }
  }
}

/// The words as CLI11 gets them. "--" is resolved here, and "--name=" stands for an empty value, for which it
/// would take the next word.
std::vector<std::string> CommandLine::prepared(const std::vector<std::string> &words) const
{
  std::vector<std::string> result;
  bool optionsEnded = false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string &word = words[i];
    if (!optionsEnded && word == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && word.ends_with('=') && valued_.contains(word.substr(0, word.size() - 1))) {
      result.push_back(word.substr(0, word.size() - 1));
      result.emplace_back();
    } else if (!optionsEnded && valued_.contains(word) && i + 1 < words.size()) {
      result.push_back(word);
      result.push_back(kMark + words[++i]);
    } else {
      result.push_back(needsMark(word, optionsEnded) ? kMark + word : word);
    }
  }
  return result;
}

Exit CommandLine::run(int count, char **arguments)
{
  std::vector<std::string> words(arguments + (count > 0 ? 1 : 0), arguments + count);
  takeRest(words);
  words = prepared(words);
  std::vector<std::string> backwards(words.rbegin(), words.rend());
  try {
    app_->parse(std::move(backwards));
  } catch (const CLI::CallForHelp &) {
    context_.output.write(app_->help());
  } catch (const CLI::CallForVersion &) {
    context_.output.line(kVersion);
  } catch (const CLI::ParseError &error) {
    throw usageFailure(unmarked(error.what()));
  } catch (const Exit status) {
    return status;
  }
  return Exit::done;
}

}  // namespace qvctl
