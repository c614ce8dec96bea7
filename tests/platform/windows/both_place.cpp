// The virtual PC as the system below the tests that run on two systems.
#include <windows.h>

#include <stdexcept>

#include "platform/windows/io/win_filesystem.h"
#include "tests/platform/windows_both/place.h"
#include "tests/support/good_conduct.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {
namespace {

void install(const std::string& checker) {
  std::string error;
  const std::string machine = R"({"format": 1, "drives": [
    {"name": "d", "kind": "sata", "model": "M", "serial": "S", "size_sectors": 400000}],
    "volumes": [{"letter": "C", "file_system": "NTFS", "total_bytes": 100000000, )" +
                              checker + R"(}],
    "registry": [{"key": "SOFTWARE\\Place", "name": "Version", "text": "driver 1.2"}]})";
  if (!virtual_pc::installMachine(machine, &error)) {
    throw std::invalid_argument(error);
  }
}

}  // namespace

bool runsOnWine() { return false; }

Place::Place() : folder_("C:\\place"), registryKey_("SOFTWARE\\Place") {
  install(R"("label": "")");
  CreateDirectoryW(L"C:\\place", nullptr);
}

Place::~Place() {
  EXPECT_EQ(settledHandles(), 0u);
  expectGoodConduct();
  virtual_pc::resetMachine();
}

void Place::scriptChecker(const std::string& output, unsigned exitCode) {
  std::string pieces;
  for (std::size_t at = 0; at < output.size(); at += 4000) {
    // The machine file takes a text of 4096 bytes at most.
    std::string text;
    for (const char c : output.substr(at, 4000)) {
      text += c == '\r' ? "\\r" : c == '\n' ? "\\n" : std::string(1, c);
    }
    pieces += (at == 0 ? "" : ", ") + (R"({"text": ")" + text + R"("})");
  }
  install(R"("checker": {"exit_code": )" + std::to_string(exitCode) + R"(, "output": [)" + pieces +
          "]}");
}

}  // namespace ostria::storage::test
