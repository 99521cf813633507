// Fails every case that leaves a descriptor or a System V object behind.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace support {

/// The open descriptors of this process, one a line, with what they refer to.
std::string openDescriptors();

/// Those of them that a program started now would inherit, standard streams included.
std::string inheritableDescriptors();

/// The System V semaphore sets and shared-memory segments of the namespace, one a line.
std::string systemVObjects();

class ResidueCheck : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo &) override;
  void OnTestEnd(const testing::TestInfo &) override;

  std::string descriptors_;
  std::string objects_;
};

}  // namespace support
