#pragma once

#include <memory>
#include <string>

#include "services/cim.h"

namespace ostria::storage {

/// The system's list of disk drivers, asked for once, when it is first needed: it is the slowest of
/// all that a scan asks the system. One object for each scan.
class DriverVersions {
 public:
  DriverVersions();
  ~DriverVersions();
  DriverVersions(const DriverVersions&) = delete;
  DriverVersions& operator=(const DriverVersions&) = delete;

  /// Version of the driver that serves the drive of this model.
  /// @return "error" when the list gives no answer; may be empty
  std::string of(const std::string& model);

 private:
  bool asked_ = false;
  CimTable* table_ = nullptr;  ///< owned, given back to the service that made it
};

}  // namespace ostria::storage
