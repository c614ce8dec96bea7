#pragma once

#include <gtest/gtest.h>
#include <windows.h>

namespace ostria::virtual_pc::test {

/// Expects that a call of the system failed with this error.
inline void expectFails(BOOL succeeded, DWORD error, const char* why = "") {
  const DWORD found = GetLastError();
  EXPECT_FALSE(succeeded) << why;
  EXPECT_EQ(found, error) << why;
}
inline void expectFails(HANDLE opened, DWORD error, const char* why = "") {
  expectFails(opened != INVALID_HANDLE_VALUE, error, why);
}

}  // namespace ostria::virtual_pc::test
