#pragma once

#include <gtest/gtest.h>

#include <string>

#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {

/// The built-in virtual PC, or the one that a test switches on. Every handle has to be closed.
class OnVirtualPc : public testing::Test {
 protected:
  OnVirtualPc() { virtual_pc::resetMachine(); }
  ~OnVirtualPc() override {
    EXPECT_EQ(virtual_pc::openHandles(), 0u);
    virtual_pc::resetMachine();
  }
  static void switchOn(const std::string& machineText) {
    std::string error;
    ASSERT_TRUE(virtual_pc::installMachine(machineText, &error)) << error;
  }
};

}  // namespace ostria::storage::test
