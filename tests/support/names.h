// Checks that a function has two exported names.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace support {

/// Expects that every name and the same name behind "SM" lead to one function.
inline void expectOneFunction(std::initializer_list<std::string> names)
{
  for (const std::string &name : names) {
    void *const function = dlsym(RTLD_DEFAULT, name.c_str());
    EXPECT_NE(function, nullptr) << name;
    EXPECT_EQ(dlsym(RTLD_DEFAULT, ("SM" + name).c_str()), function) << name;
  }
}

}  // namespace support
