#include "platform/windows/win_filesystem.h"

#include <gtest/gtest.h>

namespace ostria::storage {
namespace {

TEST(WinFilesystemTest, PathsThatCannotBeUsed) {
  const struct {
    std::string path;
    bool invalid;
  } rows[] = {
      {"", true},
      {"C", true},
      {"C:", false},
      {"COM1", true},
      {"com1", true},
      {R"(C:\COM1\x)", true},
      {R"(C:\x\nul)", true},
      {R"(C:\COM10)", false},
      {R"(C:\XCOM1)", false},
      {R"(C:\COM1.txt)", false},
      {R"(C:\XCOM1\COM1)", false},  // only the first place of a name counts
      {R"(C:\a\ \b)", true},
      {"C:\\a\\\t \\b", true},
      {R"(C:\a\ b\c)", false},
      {R"(C:\a\\b)", false},
      {R"(C:\ )", false},
      {std::string(255, 'a'), false},
      {std::string(256, 'a'), true},
  };
  WinFilesystem files;
  for (const auto& row : rows) EXPECT_EQ(files.isInvalidPath(row.path), row.invalid) << row.path;
}

}  // namespace
}  // namespace ostria::storage
