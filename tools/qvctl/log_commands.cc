// The `log` commands. Those that read never wait for the file lock and never create a log.

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "command_line.h"
#include "event_filter.h"
#include "event_log.h"
#include "file_replacement.h"
#include "files.h"
#include "install_path.h"
#include "json.h"
#include "log_check.h"
#include "log_export.h"
#include "log_follower.h"
#include "log_line.h"
#include "log_report.h"
#include "utf.h"

namespace qvctl {
namespace {

constexpr unsigned kLogMode = 0664;
constexpr unsigned kPageMode = 0644;
constexpr uint32_t kClearedId = 0;
constexpr uint32_t kBackupCreatedId = 1;

/// What a component could have set it to at most: an event that is written here never moves a log that a component
/// would not have moved.
constexpr uint32_t kLargestLog = 4194304;

const char *nameOf(LogFormat format)
{
  return format == LogFormat::text ? "qvsys32.log" : "qvsys32.xml";
}

/// The path of one of the library's logs, which need not exist.
std::string libraryLog(LogFormat format)
{
  const std::string directory = installPath();
  if (directory.empty()) {
    throw libraryFailure("install path", SM_STATUS_NOT_FOUND);
  }
  return directory + "/log/" + nameOf(format);
}

std::string backupOf(std::string path)
{
  path.back() = '_';
  return path;
}

uint32_t parseType(const std::string &name)
{
  const auto number = typeNumber(name);
  if (!number || *number > UINT16_MAX) {
    throw usageFailure("--type: '" + name +
                       "' is none of success, error, warning, information, audit-success, audit-failure, and no number "
                       "from 0 to 65535");
  }
  return *number;
}

/// The text log shows IDs as signed numbers: either form is taken.
uint32_t parseId(const std::string &text)
{
  int64_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  if (error != std::errc{} || end != text.data() + text.size() || id < INT32_MIN || id > UINT32_MAX) {
    throw usageFailure("--id: '" + text + "' is no event ID");
  }
  return static_cast<uint32_t>(id);
}

std::optional<int64_t> parseTime(const char *option, const std::optional<std::string> &text)
{
  const auto time = text ? parseUserTime(*text) : std::nullopt;
  if (text && !time) {
    throw usageFailure(std::string(option) + ": '" + *text + "' is no time: YYYY-MM-DD[ HH:MM[:SS]] or @SECONDS");
  }
  return time;
}

/// Which logs a command is about: "text,xml".
struct Targets {
  bool text = false;
  bool xml = false;
  bool system = false;
};

Targets parseTargets(const std::optional<std::string> &list, bool allowSystem)
{
  Targets targets;
  const std::string all = list.value_or("text,xml");
  for (size_t at = 0; at <= all.size();) {
    const size_t end = std::min(all.find(',', at), all.size());
    const std::string name = all.substr(at, end - at);
    if (name == "text") {
      targets.text = true;
    } else if (name == "xml") {
      targets.xml = true;
    } else if (name == "system" && allowSystem) {
      targets.system = true;
    } else {
      throw usageFailure("--to: '" + name + "' is none of text, xml" + (allowSystem ? ", system" : ""));
    }
    at = end + 1;
  }
  return targets;
}

/// Runs a piece of work for one log, so that the other ones have their turn where it fails.
template <class Work>
void attempt(Exit &status, Work work)
{
  try {
    work();
  } catch (const Failure &failure) {
    complain(failure.what());
    status = failure.status();
  }
}

// show ----------------------------------------------------------------------------------------------------------------

struct ShowOptions {
  std::optional<std::string> file;
  std::vector<std::string> types;
  std::optional<std::string> source;
  std::optional<std::string> id;
  std::optional<std::string> since;
  std::optional<std::string> until;
  std::optional<std::string> words;
  std::optional<uint32_t> last;
  bool follow = false;
  bool verbose = false;
};

EventFilter filterOf(const ShowOptions &options)
{
  EventFilter filter;
  for (const std::string &type : options.types) {
    filter.types.push_back(parseType(type));
  }
  filter.source = options.source;
  if (options.id) {
    filter.id = parseId(*options.id);
  }
  filter.since = parseTime("--since", options.since);
  filter.until = parseTime("--until", options.until);
  filter.words = options.words;
  filter.last = options.last;
  return filter;
}

Exit showJson(Context &context, const EventLog &log, const EventFilter &filter)
{
  std::string out = "[";
  for (const Event *event : filter.select(log.events)) {
    if (out != "[") {
      out += ',';
    }
    appendJson(out, *event);
    if (out.size() > 65536) {
      context.output.write(out);
      out = "";
      out.reserve(131072);
    }
  }
  context.output.line(out + "]");
  return Exit::done;
}

Exit follow(Context &context, const std::string &path, const ShowOptions &options, EventFilter filter)
{
  const LogLine line(options.verbose, Output::colours());
  LogFollower follower(path, backupOf(path));
  for (bool first = true;; first = false) {
    std::string out;
    follower.look([&](const EventLog &log) {
      for (const Event *event : filter.select(log.events)) {
        if (context.json) {
          appendJson(out, *event);
          out += '\n';
        } else {
          line.append(out, *event);
        }
      }
      if (first) {
        tellLost(path, log);
      }
    });
    filter.last.reset();
    context.output.write(out);
    context.output.flush();
    // A reader that went away shows before the next event does.
    constexpr int kMillisecondsBetweenLooks = 200;
    pollfd reader = {STDOUT_FILENO, 0, 0};
    if (poll(&reader, 1, kMillisecondsBetweenLooks) > 0 && (reader.revents & (POLLERR | POLLNVAL)) != 0) {
      return Exit::failed;
    }
  }
}

Exit show(Context &context, const ShowOptions &options)
{
  const EventFilter filter = filterOf(options);
  const std::string path = options.file ? *options.file : libraryLog(LogFormat::xml);
  if (options.follow) {
    return follow(context, path, options, filter);
  }
  const EventLog log = readLog(path);
  if (context.json) {
    showJson(context, log, filter);
  } else {
    const LogLine line(options.verbose, Output::colours());
    std::string out;
    for (const Event *event : filter.select(log.events)) {
      out.clear();
      line.append(out, *event);
      context.output.write(out);
    }
  }
  tellLost(path, log);
  return Exit::done;
}

// write ---------------------------------------------------------------------------------------------------------------

struct WriteOptions {
  std::string type;
  std::string id;
  std::string source;
  std::optional<std::string> data;
  std::string text;
  std::optional<std::string> targets;
};

std::u16string parseText(const char *what, const std::string &text)
{
  const auto units = toUtf16(text);
  if (!units) {
    throw usageFailure(std::string(what) + " is no UTF-8");
  }
  return *units;
}

Exit write(Context &context, const WriteOptions &options)
{
  const auto type = static_cast<uint16_t>(parseType(options.type));
  const uint32_t id = parseId(options.id);
  const std::u16string source = parseText("--source", options.source);
  const std::u16string text = parseText("TEXT", options.text);
  const std::string data = options.data ? readWhole(*options.data) : "";
  const Targets targets = parseTargets(options.targets, true);
  const auto *units = source.c_str();
  const void *bytes = data.empty() ? nullptr : data.data();
  const auto size = static_cast<uint32_t>(data.size());
  Exit result = Exit::done;
  const auto check = [](const std::string &log, uint32_t status) {
    if (status != SM_STATUS_SUCCESS) {
      throw libraryFailure(log, status);
    }
  };
  if (targets.text) {
    attempt(result, [&] {
      const std::string path = libraryLog(LogFormat::text);
      check(path, QVCTL_FUNCTION(context.lockedLibrary(path), AppendToUNITXTLog)(
                      path.c_str(), type, id, units, text.c_str(), bytes, size, kLargestLog));
    });
  }
  if (targets.xml) {
    attempt(result, [&] {
      const std::string path = libraryLog(LogFormat::xml);
      check(path, QVCTL_FUNCTION(context.lockedLibrary(path), AppendToXMLLog)(path.c_str(), type, id, nullptr, units,
                                                                              text.c_str(), bytes, size, kLargestLog));
    });
  }
  if (targets.system) {
    attempt(result, [&] {
      check("system log", QVCTL_FUNCTION(context.lockedLibrary("system log"), OSAppendToSysLog)(
                              type, id, units, text.c_str(), bytes, size));
    });
  }
  return result;
}

// check, repair -------------------------------------------------------------------------------------------------------

Exit check(Context &context, const std::string &path)
{
  Progress progress("reading");
  const std::string bytes = readWhole(path, [&](uint64_t done, uint64_t total) { progress.show(done, total); });
  const std::vector<Finding> findings = checkLog(bytes);
  if (context.json) {
    Json list = Json::array();
    for (const Finding &finding : findings) {
      list.push_back({{"where", finding.where}, {"what", finding.what}});
    }
    printJson(context.output, {{"ok", findings.empty()}, {"findings", list}});
  } else {
    for (const Finding &finding : findings) {
      context.output.line("offset " + std::to_string(finding.where) + ": " + finding.what);
    }
  }
  return findings.empty() ? Exit::done : Exit::findings;
}

Exit repair(Context &context, const std::string &path)
{
  const Hold hold(context, path);
  const std::string bytes = readWhole(path);
  const auto format = recogniseLog(bytes);
  if (!format) {
    throw toolFailure(path, "neither a text log nor an XML log");
  }
  if (checkLog(bytes).empty()) {
    return Exit::done;
  }
  const std::string repaired = repairedLog(bytes, *format);
  const std::string kept = keepBeside(path, "before-repair");
  replaceFile(path, repaired, kLogMode);
  const size_t events = splitLog(repaired, *format).events.size();
  if (context.json) {
    printJson(context.output, {{"events", events}, {"kept", kept}});
  } else {
    context.output.line(path + ": repaired, with " + std::to_string(events) + (events == 1 ? " event" : " events") +
                        "; the old file is " + kept);
  }
  return Exit::done;
}

// rotate, clear -------------------------------------------------------------------------------------------------------

/// Replaces the library's logs by new ones. Where none was named, a log that does not exist is not missed as long as
/// the other one does.
template <class Replace>
Exit replaceLogs(Context &context, const std::optional<std::string> &list, Replace replace)
{
  const Targets targets = parseTargets(list, false);
  std::vector<std::pair<LogFormat, std::string>> logs;
  for (const LogFormat format : {LogFormat::text, LogFormat::xml}) {
    if (format == LogFormat::text ? targets.text : targets.xml) {
      logs.emplace_back(format, libraryLog(format));
    }
  }
  if (!list && std::any_of(logs.begin(), logs.end(), [](const auto &log) { return exists(log.second); })) {
    std::erase_if(logs, [](const auto &log) { return !exists(log.second); });
  }
  Exit status = Exit::done;
  for (const auto &[format, path] : logs) {
    attempt(status, [&, format = format, &path = path] {
      const Hold hold(context, path);
      if (!exists(path)) {
        throw systemFailure(path, ENOENT);
      }
      replace(format, path);
    });
  }
  return status;
}

Exit rotate(Context &context, const std::optional<std::string> &targets)
{
  return replaceLogs(context, targets, [](LogFormat format, const std::string &path) {
    replaceFile(path, newLog(format, kBackupCreatedId, "Log backup created"), kLogMode, backupOf(path));
  });
}

Exit clear(Context &context, const std::optional<std::string> &targets)
{
  return replaceLogs(context, targets, [](LogFormat format, const std::string &path) {
    replaceFile(path, newLog(format, kClearedId, "Log was cleared"), kLogMode);
  });
}

// export, report ------------------------------------------------------------------------------------------------------

struct ExportOptions {
  std::optional<std::string> file;
  std::string format;
};

Exit exportLog(Context &context, const ExportOptions &options)
{
  void (*append)(std::string &, const Event &) = nullptr;
  std::string out;
  if (options.format == "jsonl") {
    append = [](std::string &text, const Event &event) {
      appendJson(text, event);
      text += '\n';
    };
  } else if (options.format == "csv") {
    append = appendCsv;
    appendCsvHeader(out);
  } else if (options.format == "journal") {
    append = appendJournal;
  } else {
    throw usageFailure("--format: '" + options.format + "' is none of jsonl, csv, journal");
  }
  const std::string path = options.file ? *options.file : libraryLog(LogFormat::xml);
  const EventLog log = readLog(path);
  Progress progress("exporting");
  size_t done = 0;
  for (const Event &event : log.events) {
    append(out, event);
    context.output.write(out);
    out.clear();
    progress.show(++done, log.events.size());
  }
  context.output.write(out);
  tellLost(path, log);
  return Exit::done;
}

struct ReportOptions {
  std::optional<std::string> file;
  std::string page;
};

Exit report(Context &context, const ReportOptions &options)
{
  const std::string path = options.file ? *options.file : libraryLog(LogFormat::xml);
  const EventLog log = readLog(path);
  const std::string page = makeReport(log, path);
  if (options.page == "-") {
    context.output.write(page);
  } else {
    replaceFile(options.page, page, kPageMode);
  }
  tellLost(path, log);
  return Exit::done;
}

void addWritingCommands(CommandLine &commands, Context &context)
{
  auto written = std::make_shared<WriteOptions>();
  commands
      .command("log write", "Write an event, as a component does",
               "qvctl log write --type warning --id 2003 --source backup \"tape 4 is full\"")
      .requiredOption("--type", "TYPE", written->type,
                      "success, error, warning, information, audit-success, audit-failure, or a number")
      .requiredOption("--id", "N", written->id, "Event ID")
      .requiredOption("--source", "NAME", written->source, "What the event comes from")
      .option("--data", "FILE", written->data, "Bytes that go with the event; - is stdin")
      .option("--to", "LOGS", written->targets, "Any of text,xml,system (default: text,xml)")
      .argument("TEXT", written->text, "Description")
      .waits()
      .run([&context, written] { return write(context, *written); });

  auto repaired = std::make_shared<std::string>();
  commands
      .command("log repair", "Drop what is no whole event and close the log; the old file is kept",
               "qvctl log repair /etc/tallowmere/vela/log/qvsys32.xml")
      .argument("FILE", *repaired, "Text or XML log")
      .waits()
      .run([&context, repaired] { return repair(context, *repaired); });

  auto rotated = std::make_shared<std::optional<std::string>>();
  commands.command("log rotate", "Move the logs to their backup names and begin new ones", "qvctl log rotate --to xml")
      .option("--to", "LOGS", *rotated, "Any of text,xml (default: both)")
      .waits()
      .run([&context, rotated] { return rotate(context, *rotated); });

  auto cleared = std::make_shared<std::optional<std::string>>();
  commands.command("log clear", "Begin the logs again, without a backup", "qvctl log clear --to text,xml")
      .option("--to", "LOGS", *cleared, "Any of text,xml (default: both)")
      .waits()
      .run([&context, cleared] { return clear(context, *cleared); });
}

}  // namespace

void addLogCommands(CommandLine &commands, Context &context)
{
  constexpr char kFileHelp[] = "Text or XML log (default: the library's XML log)";
  commands.group("log", "Event logs");

  auto shown = std::make_shared<ShowOptions>();
  commands
      .command("log show", "Print events, oldest first",
               "qvctl log show --type error --type warning --since \"2026-11-25 08:00\" --last 20")
      .argument("FILE", shown->file, kFileHelp)
      .option("--type", "TYPE", shown->types, "Only events of this type, by name or number; may be given several times")
      .option("--source", "NAME", shown->source, "Only events of exactly this source")
      .option("--id", "N", shown->id, "Only events of this ID")
      .option("--since", "TIME", shown->since, "Not before YYYY-MM-DD[ HH:MM[:SS]], local, or @SECONDS")
      .option("--until", "TIME", shown->until, "Not after this time")
      .option("--grep", "TEXT", shown->words, "Only events whose description has this text")
      .option("--last", "N", shown->last, "Only the last ones of these")
      .flag("--follow", shown->follow, "Go on with new events, also across a rotation")
      .flag("--verbose", shown->verbose, "Also print computer, user and data")
      .run([&context, shown] { return show(context, *shown); });

  addWritingCommands(commands, context);

  auto checked = std::make_shared<std::string>();
  commands
      .command("log check", "Find what readers would lose and what stops the library",
               "qvctl log check /etc/tallowmere/vela/log/qvsys32.xml")
      .argument("FILE", *checked, "Text or XML log")
      .run([&context, checked] { return check(context, *checked); });

  auto exported = std::make_shared<ExportOptions>();
  commands
      .command("log export", "Print all events for another program",
               "qvctl log export --format journal | systemd-journal-remote --output=collected.journal -")
      .argument("FILE", exported->file, kFileHelp)
      .requiredOption("--format", "FORMAT", exported->format, "jsonl, csv or journal")
      .run([&context, exported] { return exportLog(context, *exported); });

  auto reported = std::make_shared<ReportOptions>();
  commands.command("log report", "Write a page to look through the events in a browser", "qvctl log report -o log.html")
      .argument("FILE", reported->file, kFileHelp)
      .requiredOption("-o,--output", "PAGE.html", reported->page, "File to write; - is stdout")
      .run([&context, reported] { return report(context, *reported); });
}

}  // namespace qvctl
