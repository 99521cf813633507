// The export-context bracket of the exported wrappers that touch files.
#pragma once

#include "qvsupt32/frame.h"

namespace qv {

/// Enters the library's context for the duration of a scope and returns to the caller's at its end.
class ExportBracket {
 public:
  ExportBracket() { OSSetExportContext(&slot_, &origECI); }
  ~ExportBracket() { OSResetExportContext(&slot_); }
  ExportBracket(const ExportBracket &) = delete;
  ExportBracket &operator=(const ExportBracket &) = delete;

 private:
  SMExportContext slot_ = 0;
};

}  // namespace qv
