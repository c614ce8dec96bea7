// A file that is there whole or not at all: written beside its name, and renamed when it is
// complete.
#pragma once

#include <fstream>
#include <string>
#include <string_view>

namespace ostria::host {

/// What was there before stays until `keep`. A path that is no ordinary file, such as a pipe or a
/// terminal, is written directly.
class WholeFile {
 public:
  explicit WholeFile(const std::string& path);
  /// Removes what was not kept.
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  /// Whether a file can be written there; leaves nothing behind.
  static bool isPossible(const std::string& path);
  void write(std::string_view text) { file_ << text; }
  /// @return false when not all of it could be written; nothing has changed then
  bool keep();

 private:
  std::string path_;
  std::string partial_;  ///< empty: written directly
  std::ofstream file_;
};

}  // namespace ostria::host
