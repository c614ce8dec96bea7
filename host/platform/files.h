// Reading and writing files of the user's as somebody whose rights others would like to have.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/core/file_reader.h"

namespace ostria::host {

/// In the meaning of `FileReader`.
OrUsageError<std::string> readRegularFile(const std::string& path, const FileDemands& demands);

/// Who may read a file. On Windows the folder decides.
enum class Readers { Owner, Everybody };

/// A file that is there whole or not at all. What was there before stays until `keep`; links are
/// not followed, and nothing but a regular file is replaced.
class WholeFile {
 public:
  /// Finds out whether a file can be written there, with the folder as it is now; leaves nothing
  /// behind.
  static OrUsageError<std::unique_ptr<WholeFile>> prepare(const std::string& path, Readers readers);
  /// Removes what was not kept.
  virtual ~WholeFile() = default;

  virtual void write(std::string_view text) = 0;
  /// @return false when not all of it could be written; nothing has changed then
  virtual bool keep() = 0;
};

}  // namespace ostria::host
