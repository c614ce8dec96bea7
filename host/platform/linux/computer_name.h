#pragma once

#include <string>

namespace ostria::host {

/// Name and operating system of this computer, or what stands for them on a virtual PC.
void nameMachine(bool virtualPc, std::string& name, std::string& system);

}  // namespace ostria::host
