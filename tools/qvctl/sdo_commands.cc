// The `sdo` commands. They need neither the file lock nor the library: a block is looked at byte by byte, so that a
// damaged one is no danger.

#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "command_line.h"
#include "event_log.h"
#include "ipc_key.h"
#include "json.h"
#include "sdo_json.h"

namespace qvctl {
namespace {

struct BlockOptions {
  std::optional<std::string> file;
  std::optional<std::string> segment;
  std::optional<std::string> schema;
};

/// Objects can be nested some thousand levels deep. The stack grows as far as the limit is at that moment.
void makeRoomForDeepBlocks()
{
  constexpr rlim_t kEnough = 64 * 1024 * 1024;
  rlimit limit{};
  if (getrlimit(RLIMIT_STACK, &limit) == 0 && limit.rlim_cur < kEnough) {
    limit.rlim_cur = std::min(limit.rlim_max, kEnough);
    (void)setrlimit(RLIMIT_STACK, &limit);  // most blocks are shallow
  }
}

/// Bytes to look for a block in, and how many there are beside those that were read.
struct Bytes {
  std::string name;
  std::string content;
  size_t more = 0;
};

/// Copies what another process may be writing at this moment.
Bytes copySegment(const std::string &name)
{
  constexpr size_t kLargestBlock = 65535;
  const int segment = shmget(ipcKeyOf(name), 0, 0);
  if (segment < 0 && errno == ENOENT) {
    throw libraryFailure(name, SM_STATUS_NOT_FOUND);
  }
  shmid_ds status{};
  if (segment < 0 || shmctl(segment, IPC_STAT, &status) != 0) {
    throw systemFailure(name, errno);
  }
  const void *const address = shmat(segment, nullptr, SHM_RDONLY);
  if (address == reinterpret_cast<void *>(-1)) {
    throw systemFailure(name, errno);
  }
  const size_t size = std::min<size_t>(status.shm_segsz, kLargestBlock);
  Bytes bytes{name, std::string(static_cast<const char *>(address), size), status.shm_segsz - size};
  (void)shmdt(address);  // the process ends soon
  return bytes;
}

std::string nameOf(const std::string &file)
{
  return file == "-" ? "standard input" : file;
}

Bytes readBytes(const BlockOptions &options)
{
  if (options.file.has_value() == options.segment.has_value()) {
    throw usageFailure("either FILE (- is stdin) or --shm NAME");
  }
  return options.segment ? copySegment(*options.segment) : Bytes{nameOf(*options.file), readWhole(*options.file)};
}

void tellMore(const Bytes &bytes, const SdoBlock &block)
{
  const size_t more = bytes.content.size() - block.size + bytes.more;
  if (more != 0) {
    complain(bytes.name + ": " + std::to_string(more) + (more == 1 ? " byte" : " bytes") + " after the block");
  }
}

Exit show(Context &context, const BlockOptions &options)
{
  makeRoomForDeepBlocks();
  const SdoSchema schema = options.schema ? parseSchema(readWhole(*options.schema), *options.schema) : SdoSchema();
  const Bytes bytes = readBytes(options);
  std::vector<SdoFinding> findings;
  const SdoBlock block = decodeSdo(bytes.content, findings);
  if (block.size == 0) {
    throw toolFailure(bytes.name, findings.front().what);
  }
  if (context.json) {
    context.output.line(sdoToJson(block, schema));
  } else {
    context.output.write(sdoToText(block, schema));
  }
  tellMore(bytes, block);
  if (!findings.empty()) {
    complain(bytes.name + ": damaged: " + findings.front().what + " at offset " +
             std::to_string(findings.front().where) + "; 'qvctl sdo check' finds all");
  }
  return Exit::done;
}

Exit check(Context &context, const BlockOptions &options)
{
  makeRoomForDeepBlocks();
  const Bytes bytes = readBytes(options);
  std::vector<SdoFinding> findings;
  const SdoBlock block = decodeSdo(bytes.content, findings);
  if (context.json) {
    Json list = Json::array();
    for (const SdoFinding &finding : findings) {
      list.push_back({{"where", finding.where}, {"what", finding.what}});
    }
    printJson(context.output, {{"ok", findings.empty()}, {"findings", list}, {"size", block.size}});
  } else {
    for (const SdoFinding &finding : findings) {
      context.output.line("offset " + std::to_string(finding.where) + ": " + finding.what);
    }
    if (findings.empty()) {
      context.output.line(std::to_string(block.size));
    }
  }
  if (block.size != 0) {
    tellMore(bytes, block);
  }
  return findings.empty() ? Exit::done : Exit::findings;
}

Exit make(Context &context, const std::optional<std::string> &input)
{
  makeRoomForDeepBlocks();
  if (Output::toTerminal()) {
    throw toolFailure("standard output", "a block is not for a terminal");
  }
  const std::string file = input.value_or("-");
  const SdoBlock block = sdoFromJson(readWhole(file), nameOf(file));
  try {
    context.output.write(encodeSdo(block));
  } catch (const std::length_error &error) {
    throw toolFailure(nameOf(file), error.what());
  }
  return Exit::done;
}

}  // namespace

void addSdoCommands(CommandLine &commands, Context &context)
{
  commands.group("sdo", "Self-describing objects in binary form");

  auto shown = std::make_shared<BlockOptions>();
  commands.command("sdo show", "Print the fields of a block", "qvctl sdo show inventory.sdo --schema inventory.json")
      .argument("FILE", shown->file, "File with a block; - is stdin")
      .option("--shm", "NAME", shown->segment, "Named shared memory instead of a file")
      .option("--schema", "FILE", shown->schema, "JSON with names and types of fields")
      .run([&context, shown] { return show(context, *shown); });

  auto checked = std::make_shared<BlockOptions>();
  commands
      .command("sdo check", "Print the size of a block, or what is wrong at which offset",
               "qvctl sdo check --shm inventory")
      .argument("FILE", checked->file, "File with a block; - is stdin")
      .option("--shm", "NAME", checked->segment, "Named shared memory instead of a file")
      .run([&context, checked] { return check(context, *checked); });

  auto made = std::make_shared<std::optional<std::string>>();
  commands
      .command("sdo make", "Make a block of the JSON that 'sdo show --json' prints",
               "qvctl sdo show a.sdo --json | qvctl sdo make > b.sdo")
      .argument("FILE", *made, "JSON (default: stdin)")
      .run([&context, made] { return make(context, *made); });
}

}  // namespace qvctl
