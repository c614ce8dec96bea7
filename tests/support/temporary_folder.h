#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace ostria::storage::test {

/// A folder of a test's own, since tests run side by side; it goes with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = ::testing::TempDir() + "ostria-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary folder: " + pattern);
    }
    path_ = std::filesystem::canonical(pattern).string();
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  std::size_t entries() const {
    using Files = std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(Files(path_), Files()));
  }
  /// A file with this text, and the folders above it.
  void write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(file(name)).parent_path());
    std::ofstream(file(name), std::ios::binary) << text;
  }

 private:
  std::string path_;
};

}  // namespace ostria::storage::test
