// The one way in which a settings file gets new content: a temporary file in its directory, the copy, the exchange.
//
// Locks: the caller holds the FileGuard (gate of the process, then the record lock) from before the original is opened
// until after the exchange. A writer let in between would read the old content and then undo this change. Only the
// exported steps UpdateValue and ReplaceFile leave that to their callers.
//
// The order of the steps, and why none may move:
//   1. The original is opened before the temporary file, which is truncated: it must not be the original itself.
//   2. All lines are copied, up to the end of the file and not up to a size taken before: a program that appends
//      without the library must not lose what it wrote meanwhile.
//   3. Mode, fdatasync and close of the temporary file come before the exchange. A name that leads to the new file
//      before its bytes are on the disk can lead to an empty one after a power loss; and a full disk may show at the
//      close only.
//   4. The exchange is one rename over the original, so that the name always leads to the old content or the new. It
//      is removed first only if the rename fails; then there is a moment without the file.
// A failure before step 4 leaves the original as it was; the temporary file may stay, and the next rewrite truncates it.
#pragma once

#include <optional>

#include "store/file_util.h"
#include "store/line_reader.h"
#include "store/line_writer.h"

namespace qv {

/// Puts the source in the destination's place by one rename: false, with nothing changed, if that fails.
bool exchangeInOneStep(const char *destination, const char *source);

/// The same with the statuses of ReplaceFile: removes the destination first if the one step fails.
Status exchange(const char *destination, const char *source);

class Rewrite {
 public:
  enum class Original { exists, missing };

  /// Opens both files; a temporary file for a missing original is only made if its name is free.
  Rewrite(const char *path, const char *temporaryPath, Original original);
  Rewrite(const Rewrite &) = delete;
  Rewrite &operator=(const Rewrite &) = delete;

  /// False if one of the files could not be opened: nothing else may be called then.
  bool isOpen() const { return bool(temporary_); }

  /// False if there was no memory for the lines.
  bool hasMemory() const { return *output_ && (!lines_.has_value() || *lines_); }

  /// The lines of the original, if there is one.
  LineReader &lines() { return *lines_; }

  /// The lines of the new content.
  LineWriter &output() { return *output_; }

  /// Whether nobody else sees the old content by another name: the path is the only one of a regular file, or missing.
  bool replacesOnlyName() const
  {
    return !original_ || (S_ISREG(status_.st_mode) && status_.st_nlink == 1 && !isLink_);
  }

  /// Brings the new content to the disk and into the original's place: limitExceeded if a write failed, then the
  /// statuses of ReplaceFile.
  Status commit();

  /// The same by one rename or not at all: false if anything fails, with the original as it was.
  bool commitInOneStep();

  /// Removes the temporary file, which is not going to be used.
  void discard();

 private:
  void openTemporary(Original original);
  bool finish();
  void setModeOfOriginal() const;

  const char *path_;
  const char *temporaryPath_;
  struct stat status_ = {};  // of the original
  bool isLink_ = false;
  bool hasRegularTemporary_ = false;
  UniqueFd original_{-1};
  UniqueFd temporary_{-1};
  std::optional<LineReader> lines_;
  std::optional<LineWriter> output_;
};

}  // namespace qv
