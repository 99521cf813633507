// A text of more units than 32 bits count. Only where the address space is wide enough, and not under the sanitizers,
// which would need as much memory for their own records.
#pragma once

#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define QV_HUGE_TEXTS

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace support {

/// So many letters and zeros behind them, in one page of memory that is mapped again and again.
class HugeText {
 public:
  explicit HugeText(size_t length)
  {
    constexpr size_t kPiece = size_t{1} << 24;
    const int memory = memfd_create("huge", MFD_CLOEXEC);
    const std::string piece(kPiece, 'x');
    EXPECT_EQ(write(memory, piece.data(), kPiece), static_cast<ssize_t>(kPiece));
    size_ = (length / kPiece + 1) * kPiece;
    text_ = static_cast<char *>(mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    for (size_t at = 0; at < size_; at += kPiece) {
      mmap(text_ + at, kPiece, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, memory, 0);
    }
    close(memory);
    memset(text_ + length, 0, size_ - length);
  }
  ~HugeText() { munmap(text_, size_); }
  HugeText(const HugeText &) = delete;
  HugeText &operator=(const HugeText &) = delete;

  char *bytes() const { return text_; }
  char16_t *units() const { return reinterpret_cast<char16_t *>(text_); }

 private:
  size_t size_;
  char *text_;
};

}  // namespace support
#endif
