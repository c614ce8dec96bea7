// What a program leaves behind on the virtual PC beside open handles.
#pragma once

#include <gtest/gtest.h>

#include "platform/windows/io/win_timed_io.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {

/// Handles that are open when the drivers have ended what was cancelled, and the module has freed
/// what it kept for them.
inline std::size_t settledHandles() {
  constexpr std::uint64_t kDriverMicroseconds = 10'000;
  virtual_pc::machine().clock().advance(kDriverMicroseconds);
  virtual_pc::Kernel::instance().settle();
  EXPECT_EQ(timedRead(DeviceHandle(), 0, 0, nullptr, 0, nullptr), ProtocolResult::Failure);
  return virtual_pc::openHandles();
}

/// Expects that nothing hung without an error code, and that the state of the process is as it was
/// found: no privilege enabled, no error mode set.
inline void expectGoodConduct() {
  virtual_pc::Machine& machine = virtual_pc::machine();
  for (const std::string& complaint : machine.complaints()) {
    ADD_FAILURE() << complaint;
  }
  EXPECT_FALSE(machine.process().manageVolume) << "a privilege was not given back";
  EXPECT_EQ(machine.process().errorMode, 0u) << "the error mode was not put back";
}

}  // namespace ostria::storage::test
