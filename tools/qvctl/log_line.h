// An event as people read it: a line, and with everything the lines after it.
#pragma once

#include "event.h"

namespace qvctl {

class LogLine {
 public:
  LogLine(bool verbose, bool colours) : verbose_(verbose), colours_(colours) {}

  void append(std::string &out, const Event &event) const;

 private:
  bool verbose_;
  bool colours_;
};

}  // namespace qvctl
