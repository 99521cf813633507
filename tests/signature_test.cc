// Every exported function, called by what its header says about it, each time in a process of its own: with each pointer
// null that the contract lets be null, which gives the status that the contract has for it and leaves all arguments, and
// with every size of a buffer up to the one that it needs. The list of functions is made from the headers when this is
// built; arguments come from the type and the name of a parameter.

#include <sys/mman.h>
#include <sys/resource.h>

#include <set>
#include <span>
#include <string_view>

#include "support/test.h"

namespace {

using namespace support;
using Word = uintptr_t;
using Words = std::vector<Word>;

/// Plain data, of which a table costs the compiler nothing.
constexpr int64_t kNoStatus = -1;

struct Parameter {
  const char *typeAndName;
  const char *ownName;
  bool mayBeNull;
  int64_t statusOfNull;

  std::string_view type() const { return typeAndName; }
  std::string_view name() const { return ownName; }
  bool isDouble() const { return typeAndName != nullptr && type().starts_with("double"); }

  bool isPointer() const
  {
    return type().find('*') != std::string_view::npos || type().find("Callback") != std::string_view::npos ||
           type().find("OSRoutine") != std::string_view::npos;
  }
};

struct Function {
  const char *ownName;
  const char *result;
  void (*address)();
  Parameter listed[10];

  std::string_view name() const { return ownName; }

  std::span<const Parameter> parameters() const
  {
    return {listed,
            std::find_if(std::begin(listed), std::end(listed), [](auto &one) { return one.typeAndName == nullptr; })};
  }

  /// Whether all arguments are words, or pairs of them, where the others are.
  bool isCallable() const
  {
    return sizeof(Word) == 4 || std::none_of(std::begin(listed), std::end(listed),
                                             [](const Parameter &parameter) { return parameter.isDouble(); });
  }
};

const Function kFunctions[] = {
#include "signatures.inc"
};

// Arguments -----------------------------------------------------------------------------------------------------------

constexpr size_t kBlock = 8192;
constexpr uint32_t kSize = 4096;
constexpr char kIniFile[] = "/dev/shm/scratch/x.ini";

/// The blocks that this process has made for arguments.
std::vector<const char *> blocks;

/// A block for an argument, which starts with some bytes; nobody gives it back.
Word block(const void *bytes = "", size_t size = 0)
{
  void *memory = mmap(nullptr, kBlock, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  blocks.push_back(static_cast<const char *>(memory));
  return reinterpret_cast<Word>(memcpy(memory, bytes, size));
}

std::string bytesOfBlocks()
{
  std::string bytes;
  for (const char *const start : blocks) {
    bytes.append(start, kBlock);
  }
  return bytes;
}

Word text(const std::string &text)
{
  return block(text.data(), text.size());
}

template <class Type>
Word address(Type *pointer)
{
  return reinterpret_cast<Word>(pointer);
}

SDOConfig *newObject()
{
  SDOConfig *object = SDOConfigAlloc();
  EXPECT_EQ(SDOConfigAddData(object, 1, 10, "text", 5, 0), 0u);
  return object;
}

Word flatObject(bool isArray)
{
  SDOConfig *objects[] = {newObject()};
  const Word flat = block();
  uint32_t size = kBlock;
  EXPECT_EQ(isArray ? SDOConfigArrayToBinaryArray(objects, 1, reinterpret_cast<void *>(flat), &size)
                    : SDOConfigToBinary(objects[0], reinterpret_cast<void *>(flat), &size),
            0u);
  return flat;
}

int32_t callback(void *, void *)
{
  return 0;
}

Word textArgument(std::string_view name)
{
  const std::map<std::string_view, std::string> texts = {{"path", kIniFile},
                                                         {"pathFile", kIniFile},
                                                         {"directory", "/dev/shm/scratch"},
                                                         {"temporaryPath", "/dev/shm/scratch/x.tmp"},
                                                         {"section", "s"},
                                                         {"key", "k"},
                                                         {"keyName", "k"},
                                                         {"parameter", "k=v"},
                                                         {"line", "[s]"}};
  const auto found = texts.find(name);
  return text(found == texts.end() ? "text" : found->second);
}

Word pointerArgument(const Function &function, const Parameter &parameter)
{
  const auto is = [&](const char *part) { return parameter.type().find(part) != std::string_view::npos; };
  if (is("Callback") || is("OSRoutine")) {
    return address(callback);
  }
  if (is("SMChar16")) {
    return block(u"text", 8);
  }
  if (is("char *const *")) {
    const Word parameters[] = {text("k=v")};
    return block(parameters, sizeof(parameters));
  }
  if (is("char *")) {
    return textArgument(parameter.name());
  }
  if (is("FILE *")) {
    return address(fopen(kIniFile, "r+"));
  }
  if (is("uint32_t *")) {
    const uint32_t number = parameter.name() == "size" ? kSize : parameter.name() == "count" ? 1 : 0;
    return block(&number, sizeof(number));
  }
  if (is("OSSyncInfo *")) {
    return address(OSMutexCreate(nullptr));
  }
  if (is("OSThread *")) {
    return address(OSThreadStart([](uintptr_t) -> uint32_t { return 0; }, 0));
  }
  if (is("SMLocalMutex *")) {
    return address(CreateLocalMutex());
  }
  if (is("SDOConfig *const *")) {
    const Word objects[] = {address(newObject())};
    return block(objects, sizeof(objects));
  }
  if (is("SDOConfig *")) {
    return address(newObject());
  }
  if (parameter.name() == "array" || parameter.name() == "binary" || parameter.name() == "block" ||
      parameter.name() == "element") {
    return flatObject(parameter.name() == "array" || function.name().find("ArrayGet") != std::string_view::npos);
  }
  return block();
}

/// The arguments of a call: what a component might pass.
Words argumentsOf(const Function &function, std::vector<size_t> &places)
{
  Words words;
  for (const Parameter &parameter : function.parameters()) {
    places.push_back(words.size());
    if (parameter.isPointer() || parameter.type().starts_with("va_list")) {
      words.push_back(pointerArgument(function, parameter));
    } else if (parameter.type().find("64_t") != std::string_view::npos || parameter.isDouble()) {
      words.insert(words.end(), 8 / sizeof(Word), 0);
    } else {
      words.push_back(parameter.name() == "size"                                     ? kSize
                      : parameter.name() == "timeout" || parameter.name() == "index" ? 0
                                                                                     : 1);
    }
  }
  words.resize(14);
  return words;
}

Word call(const Function &function, const Words &w)
{
  using Any = Word (*)(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);
  return reinterpret_cast<Any>(function.address)(w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7], w[8], w[9], w[10],
                                                 w[11], w[12], w[13]);
}

// Null ----------------------------------------------------------------------------------------------------------------

/// Runs code in a child, and says whether that returned true. A call that waits may take all of its seconds.
bool holds(bool mayWait, const std::function<bool()> &code)
{
  const pid_t child = fork();
  if (child == 0) {
    const rlimit none = {0, 0};
    (void)setrlimit(RLIMIT_CORE, &none);
    close(STDERR_FILENO);
    alarm(mayWait ? 2 : 60);
    _exit(code() ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status == 0 || (mayWait && WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM);
}

class Signatures : public Scratch {
 protected:
  Signatures() { put(kIniFile, "[s]\nk=value\n"); }
};

TEST_F(Signatures, NullIsAnsweredAsTheContractSays)
{
  size_t calls = 0;
  size_t refused = 0;
  for (const Function &function : kFunctions) {
    if (!function.isCallable()) {
      continue;
    }
    for (size_t i = 0; i < function.parameters().size(); ++i) {
      const Parameter &parameter = function.parameters()[i];
      if (parameter.isPointer() && parameter.mayBeNull) {
        const int64_t status = parameter.statusOfNull;
        EXPECT_TRUE(holds(status == kNoStatus,
                          [&] {
                            std::vector<size_t> places;
                            Words words = argumentsOf(function, places);
                            words[places[i]] = 0;
                            const std::string before = bytesOfBlocks();
                            const auto result = static_cast<uint32_t>(call(function, words));
                            return status == kNoStatus || (result == status && bytesOfBlocks() == before);
                          }))
            << function.name() << " with null for " << parameter.type() << ", status " << status;
        ++calls;
        refused += status == kNoStatus ? 0 : 1;
      }
    }
  }
  EXPECT_GT(calls, 300u);
  EXPECT_GT(refused, 250u);
}

/// The buffer of an in-out call, or none: its size follows it.
std::optional<size_t> bufferOf(const Function &function)
{
  const std::set<std::string_view> buffers = {"char *", "SMChar16 *", "void *", "uint8_t *"};
  const std::set<std::string_view> inputs = {"array", "binary"};  // those are edited
  const auto parameters = function.parameters();
  for (size_t i = 0; i + 1 < parameters.size(); ++i) {
    const std::string_view type =
        parameters[i].type().substr(0, parameters[i].type().size() - parameters[i].name().size());
    if (buffers.contains(type) && !inputs.contains(parameters[i].name()) &&
        parameters[i + 1].type() == "uint32_t *size") {
      return std::string_view(function.result).ends_with("int32_t") ? std::optional(i) : std::nullopt;
    }
  }
  return std::nullopt;
}

/// Calls a function with every size that is too small, the size it needs and one more, each time with a buffer of that
/// size and nothing after it. Reports what does not fit together, and how many sizes were tried.
void callWithEverySize(const Function &function, size_t buffer, Inside &inside)
{
  std::vector<size_t> places;
  const Words words = argumentsOf(function, places);
  auto &size = *reinterpret_cast<uint32_t *>(words[places[buffer + 1]]);
  const uint32_t unit = function.name().find("ToUTF16Chars") == std::string_view::npos ? 1 : sizeof(SMChar16);
  const bool wide = function.parameters()[buffer].type().starts_with("SMChar16");
  if (static_cast<uint32_t>(call(function, words)) != SM_STATUS_SUCCESS) {
    inside.report({0});
    return;
  }
  const bool isArray = function.name().find("ArrayToBinaryArray") != std::string_view::npos;  // which writes what fits
  uint32_t needed = size;
  if (size = 1; static_cast<uint32_t>(call(function, words)) != SM_STATUS_SUCCESS && size > 1) {
    needed = size;  // more than is used
  }
  for (uint32_t given = 0; given <= needed + 1; ++given) {
    Words tight = words;
    GuardedBlock block(wide ? given * unit / 2 * 2 : given * unit);
    tight[places[buffer]] = address(block.data());
    size = given;
    for (size_t i = 0; i < places.size(); ++i) {
      if (function.parameters()[i].type().starts_with("FILE")) {
        rewind(reinterpret_cast<FILE *>(words[places[i]]));
      }
    }
    const bool success = static_cast<uint32_t>(call(function, tight)) == SM_STATUS_SUCCESS;
    if (success ? size > given && given != 0 && !isArray : given > needed) {
      inside.report("%u of %u bytes: %s and a size of %u", given, needed, success ? "success" : "failure", size);
    }
  }
  inside.report({needed + 2});
}

TEST_F(Signatures, EverySizeOfABufferIsKept)
{
  size_t tried = 0;
  for (const Function &function : kFunctions) {
    if (const auto buffer = function.isCallable() ? bufferOf(function) : std::nullopt) {
      Child child([&](Inside &inside) { callWithEverySize(function, *buffer, inside); });
      const std::string report = child.report();
      EXPECT_EQ(report.find('\n'), report.size() - 1) << function.name() << ": " << report;
      tried += report != "0\n";
    }
  }
  EXPECT_GT(tried, 60u) << "functions that succeed with arguments of their parameters' types and names";
}

}  // namespace
