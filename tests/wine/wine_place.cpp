// Wine as the system below the tests that run on two systems.
#include <windows.h>

#include <fstream>
#include <stdexcept>

#include "platform/windows/io/win_filesystem.h"
#include "services/string_handler.h"
#include "tests/platform/windows_both/place.h"

namespace ostria::storage::test {

bool runsOnWine() { return true; }

Place::Place() : folder_("C:\\place"), registryKey_("SOFTWARE\\Ostria\\Place") {
  WinFilesystem().removeTree(folder_);
  const wchar_t text[] = L"driver 1.2";
  if (!CreateDirectoryW(L"C:\\place", nullptr) ||
      RegSetKeyValueW(HKEY_LOCAL_MACHINE, toWide(registryKey_).c_str(), L"Version", REG_SZ, text,
                      sizeof text) != ERROR_SUCCESS) {
    throw std::runtime_error("no place for the test");
  }
}

Place::~Place() { WinFilesystem().removeTree(folder_); }

void Place::scriptChecker(const std::string& output, unsigned exitCode) {
  std::ofstream("C:\\checker.txt", std::ios::binary) << exitCode << '\n' << output;
}

}  // namespace ostria::storage::test
