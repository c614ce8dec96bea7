// The library through which programs reach LSI controllers.
#pragma once

#include <memory>

namespace ostria::virtual_pc {

class LsiLibrary;
class Machine;

/// Makes the library through which the LSI controllers of the machine are reached, and has programs
/// find it. Null when there is no such controller.
std::shared_ptr<LsiLibrary> addLsiLibrary(Machine& machine);

}  // namespace ostria::virtual_pc
