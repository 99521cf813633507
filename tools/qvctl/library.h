// The shared library, loaded when a command needs it and never unloaded: a program that linked it would wait for the
// file lock, without limit, before it could print its help.
//
// Functions take their types from the public headers:  QVCTL_FUNCTION(library, SMFreeMem)(block);
#pragma once

#include <string>

#include "qvsupt32.h"

namespace qvctl {

class Library {
 public:
  /// Loads the library. The caller holds the file lock, which the attach takes (it belongs to the process) and gives
  /// up. Throws a Failure when there is no such library.
  void load();

  bool loaded() const { return handle_ != nullptr; }

  /// Null when this version of the library has no such symbol.
  void *find(const char *name) const;

  /// Throws a Failure when this version of the library has no such symbol.
  void *symbol(const char *name) const;

  /// The file that was loaded.
  std::string path() const;

 private:
  void *handle_ = nullptr;
};

}  // namespace qvctl

#define QVCTL_FUNCTION(library, name) (reinterpret_cast<decltype(&::name)>((library).symbol(#name)))
