// See line_writer.h.

#include "store/line_writer.h"

#include <cstring>

#include "base/input_output.h"

namespace qv {
namespace {

constexpr size_t kBlockSize = 65536;

}  // namespace

LineWriter::LineWriter(int descriptor) : descriptor_(descriptor), block_(static_cast<char *>(malloc(kBlockSize))) {}

void LineWriter::write(std::string_view bytes)
{
  if (stream_ != nullptr) {
    failed_ = fwrite(bytes.data(), 1, bytes.size(), stream_) != bytes.size() || failed_;
    return;
  }
  if (bytes.size() > kBlockSize - size_) {
    (void)flush();  // remembered
  }
  if (bytes.size() >= kBlockSize) {
    failed_ = failed_ || !writeAll(descriptor_, bytes.data(), bytes.size());
    return;
  }
  memcpy(block_.get() + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

bool LineWriter::flush()
{
  if (stream_ != nullptr) {
    failed_ = fflush(stream_) != 0 || failed_;
    return !failed_;
  }
  // After a failure nothing more is written: the text is not whole any more.
  failed_ = failed_ || !writeAll(descriptor_, block_.get(), size_);
  size_ = 0;
  return !failed_;
}

}  // namespace qv
