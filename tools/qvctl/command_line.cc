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

/// CLI11 splits "[a,b]" and gives "++" a meaning. Words that could be such are marked before it sees them, and values
/// are unmarked when they are stored.
constexpr char kMark = '\x01';

std::string marked(std::string word)
{
  if (!word.empty() && (word[0] == '[' || word[0] == '{' || word[0] == '+' || word[0] == kMark)) {
    word.insert(word.begin(), kMark);
  }
  return word;
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
  if (!toNumber(results.back(), value)) {
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

CLI::Option *valued(CLI::Option *option, const char *valueName)
{
  return option->type_name(valueName)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)->expected(1);
}

std::vector<std::string> wordsOf(std::string_view path)
{
  std::vector<std::string> words;
  while (!path.empty()) {
    const size_t end = path.find(' ');
    words.emplace_back(path.substr(0, end));
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
  }
  return words;
}

/// "--name=" stands for an empty value, for which CLI11 would take the next word.
void splitEmptyValue(std::vector<std::string> &words)
{
  for (size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
    std::string &word = words[i];
    if (word.size() > 3 && word.starts_with("--") && word.find('=') == word.size() - 1) {
      word.pop_back();
      words.insert(words.begin() + static_cast<ptrdiff_t>(i) + 1, "");
      ++i;
    }
  }
}

}  // namespace

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
  valued(app_.add_option(
             name,
             [&value](const CLI::results_t &results) {
               value = unmarked(results.back());
               return true;
             },
             help),
         valueName);
  return *this;
}

Command &Command::option(const char *name, const char *valueName, std::vector<std::string> &values, const char *help)
{
  valued(app_.add_option(
             name,
             [&values](const CLI::results_t &results) {
               append(results, values);
               return true;
             },
             help),
         valueName)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  return *this;
}

Command &Command::option(const char *name, const char *valueName, std::optional<uint32_t> &value, const char *help)
{
  valued(app_.add_option(
             name,
             [&value, name](const CLI::results_t &results) {
               value = numberValue(results, name);
               return true;
             },
             help),
         valueName);
  return *this;
}

Command &Command::requiredOption(const char *name, const char *valueName, std::string &value, const char *help)
{
  valued(app_.add_option(
             name,
             [&value](const CLI::results_t &results) {
               value = unmarked(results.back());
               return true;
             },
             help),
         valueName)
      ->required();
  return *this;
}

Command &Command::requiredOption(const char *name, const char *valueName, uint32_t &value, const char *help)
{
  valued(app_.add_option(
             name,
             [&value, name](const CLI::results_t &results) {
               value = numberValue(results, name);
               return true;
             },
             help),
         valueName)
      ->required();
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
  valued(app_.add_option(
             "--wait",
             [this_ = &context_](const CLI::results_t &results) {
               double seconds = 0;
               const std::string &text = results.back();
               const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
               if (error != std::errc{} || end != text.data() + text.size() || !(seconds >= 0 && seconds <= 1e9)) {
                 throw CLI::ValidationError("--wait", "'" + unmarked(text) + "' is no number of seconds");
               }
               this_->lock.setWait(std::chrono::milliseconds(std::llround(seconds * 1000)));
               return true;
             },
             "Wait this long for the file lock; 0 tries once (default: 60)"),
         "SECONDS");
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
  const std::vector<std::string> words = wordsOf(path);
  CLI::App *parent = app_.get();
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    parent = parent->get_subcommand(words[i]);
  }
  CLI::App *const added = parent->add_subcommand(words.back(), help);
  added->add_flag("--json", context_.json, "Print results as JSON");
  added->footer(std::string("Example:\n  ") + example);
  return {*added, context_};
}

void CommandLine::passRest(const char *path, std::vector<std::string> &rest)
{
  rests_.push_back({wordsOf(path), &rest});
}

void CommandLine::takeRest(std::vector<std::string> &words) const
{
  for (const Rest &rest : rests_) {
    size_t matched = 0;
    size_t i = 0;
    while (i < words.size() && matched < rest.path.size()) {
      const bool option = words[i].starts_with("--") && words[i].size() > 2;
      if (!option && words[i] != rest.path[matched]) {
        break;
      }
      matched += option ? 0 : 1;
      ++i;
    }
    if (matched < rest.path.size()) {
      continue;
    }
    while (i < words.size() && words[i].size() > 1 && words[i][0] == '-' && words[i] != "--") {
      i += words[i] == "--wait" ? 2 : 1;
    }
    if (i >= words.size()) {
      return;
    }
    const auto end = words.begin() + static_cast<ptrdiff_t>(i);
    rest.words->assign(end + (*end == "--" ? 1 : 0), words.end());
    words.erase(end, words.end());
    return;
  }
}

Exit CommandLine::run(int count, char **arguments)
{
  std::vector<std::string> words(arguments + (count > 0 ? 1 : 0), arguments + count);
  takeRest(words);
  splitEmptyValue(words);
  for (std::string &word : words) {
    word = marked(std::move(word));
  }
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
