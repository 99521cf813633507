// Runs command lines as a user would: in a shell, with qvctl in the path, in a directory of the case's own.
#pragma once

#include <sys/types.h>

#include <functional>
#include <initializer_list>
#include <string>

#include "support/scratch.h"

namespace tool {

struct Result {
  int status;
  std::string out;
  std::string err;
};

/// Runs a line of bash with an input.
Result run(const std::string &line, const std::string &input = "");

/// A line, what it prints and how it ends. Exact, but for "err", which is a part of what goes to stderr; without it
/// nothing may go there. Lines of one table are run one after another.
struct Row {
  const char *line;
  int status;
  const char *out;
  const char *err = "";
};

void expectRows(std::initializer_list<Row> rows);

/// A case with the program in the path, in an empty working directory, and with the product's directories.
class ToolTest : public support::Scratch {
 protected:
  ToolTest();
  ~ToolTest() override;
};

/// Why killAtEveryCall cannot be used, or is not worth its time; null where it is.
const char *whyNotKilled();

/// Runs the program alone, without a shell, and kills it at its n-th system call from the end, for each n that counts:
/// before every run `prepare` sets the files up, after it `check` looks at what is there. Ends with a whole run.
void killAtEveryCall(const std::string &arguments, const std::function<void()> &prepare,
                     const std::function<void()> &check);

}  // namespace tool
