// What every command is given: the options that all of them have, the output, the file lock and the library.
#pragma once

#include "failure.h"
#include "file_lock.h"
#include "library.h"
#include "output.h"

namespace qvctl {

struct Context {
  bool json = false;
  Output output;
  FileLock lock;
  Library library;

  /// Takes the file lock and loads the library, for calls that follow at once. A call that locks gives the lock up:
  /// ask again before the next one.
  Library &lockedLibrary(const std::string &subject)
  {
    lock.take(subject);
    if (!library.loaded()) {
      library.load();
      lock.take(subject);  // the attach gave it up
    }
    return library;
  }
};

/// A scope that holds the file lock: what is read and written in it by the program's own code is one snapshot.
class Hold {
 public:
  Hold(Context &context, const std::string &subject) : lock_(context.lock) { lock_.take(subject); }
  ~Hold() { lock_.release(); }
  Hold(const Hold &) = delete;
  Hold &operator=(const Hold &) = delete;

 private:
  FileLock &lock_;
};

}  // namespace qvctl
