// The command line. The parser is CLI11, kept inside command_line.cc, since its header takes long to compile: what the
// subjects see is this file.
//
// A command declares its arguments, options and what it runs, in the order of its help:
//
//   auto options = std::make_shared<GetOptions>();
//   commands.command("ini get", "Print a value", "qvctl ini get /etc/x.ini net port --type u32")
//       .argument("FILE", options->file, "INI file")
//       .option("--type", "TYPE", options->type, "astring, bool, ...")
//       .waits()
//       .run([&context, options] { return runGet(context, *options); });
//
// References that are given must live as long as the command: keep them in what the run function owns.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "context.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qvctl {

class Command {
 public:
  Command(CLI::App &app, Context &context, std::set<std::string> &valued)
      : app_(app), context_(context), valued_(valued)
  {
  }

  /// Positional arguments. The second form is optional, the third takes all that are left.
  Command &argument(const char *name, std::string &value, const char *help);
  Command &argument(const char *name, std::optional<std::string> &value, const char *help);
  Command &arguments(const char *name, std::vector<std::string> &values, bool required, const char *help);

  /// Options with a value. `name` is as CLI11 takes it: "--last" or "-o,--output". The last one given counts; a vector
  /// takes all of them. Whole numbers are decimal and have to fit.
  Command &option(const char *name, const char *valueName, std::optional<std::string> &value, const char *help);
  Command &option(const char *name, const char *valueName, std::vector<std::string> &values, const char *help);
  Command &option(const char *name, const char *valueName, std::optional<uint32_t> &value, const char *help);

  /// An option that the command cannot do without.
  Command &requiredOption(const char *name, const char *valueName, std::string &value, const char *help);
  Command &requiredOption(const char *name, const char *valueName, uint32_t &value, const char *help);

  /// How the help names what passRest() takes.
  Command &rest(const char *name, const char *help);

  Command &flag(const char *name, bool &value, const char *help);

  /// Gives the command `--wait SECONDS`, for those that take the file lock.
  Command &waits();

  /// What runs once the whole line is parsed. Throws a Failure where the command cannot do its work.
  void run(std::function<Exit()> function);

 private:
  template <class Store>
  CLI::Option *addValued(const char *name, const char *valueName, const char *help, Store store);

  CLI::App &app_;
  Context &context_;
  std::set<std::string> &valued_;
};

class CommandLine {
 public:
  explicit CommandLine(Context &context);
  ~CommandLine();
  CommandLine(const CommandLine &) = delete;
  CommandLine &operator=(const CommandLine &) = delete;

  /// A group of commands: "ini", with a line of help.
  void group(const char *name, const char *help);

  /// A command by its path, "ini get" below a group or "doctor" by itself, a line of help, and an example.
  Command command(const char *path, const char *help, const char *example);

  /// Declares that everything after the options of a command is another program's command line, which is stored as it
  /// is: "lock run".
  void passRest(const char *path, std::vector<std::string> &rest);

  /// Parses the line and runs the command that it names. Help and version are results like any other.
  Exit run(int count, char **arguments);

 private:
  struct Rest {
    std::vector<std::string> path;
    std::vector<std::string> *words;
  };
  bool isOption(const std::string &word) const;
  size_t wordsOf(const std::string &option) const;
  void takeRest(std::vector<std::string> &words) const;
  std::vector<std::string> prepared(const std::vector<std::string> &words) const;

  Context &context_;
  std::unique_ptr<CLI::App> app_;
  std::vector<Rest> rests_;
  std::set<std::string> valued_;  // the options that take the next word
};

/// The subjects, each in the file of its name.
void addIniCommands(CommandLine &commands, Context &context);
void addKvCommands(CommandLine &commands, Context &context);
void addSdoCommands(CommandLine &commands, Context &context);
void addLogCommands(CommandLine &commands, Context &context);
void addTextCommands(CommandLine &commands, Context &context);
void addLockCommands(CommandLine &commands, Context &context);
void addObjectCommands(CommandLine &commands, Context &context);
void addDoctorCommand(CommandLine &commands, Context &context);

}  // namespace qvctl
