// What every test begins with: the library, GoogleTest, the parts of the standard library that most tests use, and the
// means that they share. A program takes it with `using namespace support`.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qvsupt32.h"
#include "support/child.h"
#include "support/faults.h"
#include "support/guarded_block.h"
#include "support/record_locks.h"
#include "support/residue.h"
#include "support/scratch.h"
#include "support/texts.h"

namespace support {

namespace fs = std::filesystem;
using namespace std::string_literals;
using Inside = Child::Inside;

}  // namespace support
