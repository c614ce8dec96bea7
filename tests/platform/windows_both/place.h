// What these tests need of the system they run on. Each of the two systems defines it.
#pragma once

#include <string>

namespace ostria::storage::test {

/// Whether Wine answers. It is not the system that the documentation speaks of: where it differs, a
/// test says how.
bool runsOnWine();

/// A folder of its own on a volume that can be written to; it goes with the object. The processes
/// of the place may run the program that stands for the file system checker.
class Place {
 public:
  Place();
  ~Place();
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  /// "C:\folder", without a backslash at its end.
  const std::string& folder() const { return folder_; }
  /// Root of the volume, "C:\".
  std::string root() const { return folder_.substr(0, 3); }

  /// A key of the local machine's registry with the text "driver 1.2" under the name "Version".
  const std::string& registryKey() const { return registryKey_; }

  /// What the checker of volume "C:" is to do next.
  void scriptChecker(const std::string& output, unsigned exitCode);

 private:
  std::string folder_;
  std::string registryKey_;
};

}  // namespace ostria::storage::test
