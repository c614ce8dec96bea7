#pragma once

#include <string>

namespace ostria::storage {

/// Version of the disk driver that serves the drive of this model, from the system's list of
/// drivers.
/// @return "error" when the list gives no answer; may be empty
std::string findDriverVersion(const std::string& model);

}  // namespace ostria::storage
