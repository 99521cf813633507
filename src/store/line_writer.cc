// See line_writer.h.

#include "store/line_writer.h"

#include <unistd.h>

#include <cstring>

#include "store/file_util.h"

namespace qv {

LineWriter::LineWriter(int descriptor) : descriptor_(descriptor), block_(static_cast<char *>(malloc(kBlockSize))) {}

LineWriter::~LineWriter()
{
  if (descriptor_ >= 0) {
    (void)close(descriptor_);
  }
}

void LineWriter::write(std::string_view bytes)
{
  if (stream_ != nullptr) {
    failed_ = fwrite(bytes.data(), 1, bytes.size(), stream_) != bytes.size() || failed_;
    return;
  }
  if (bytes.size() > kBlockSize - size_) {
    flush();
  }
  if (bytes.size() >= kBlockSize) {
    failed_ = !writeAll(descriptor_, bytes) || failed_;
    return;
  }
  memcpy(block_.get() + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

bool LineWriter::end()
{
  if (stream_ != nullptr) {
    failed_ = fflush(stream_) != 0 || failed_;
    return !failed_;
  }
  flush();
  if (failed_) {
    return false;
  }
  failed_ = !syncAndClose(descriptor_);
  descriptor_ = -1;
  return !failed_;
}

void LineWriter::flush()
{
  // After a failure nothing more is written: what counts is that the text is not whole.
  failed_ = failed_ || !writeAll(descriptor_, {block_.get(), size_});
  size_ = 0;
}

}  // namespace qv
