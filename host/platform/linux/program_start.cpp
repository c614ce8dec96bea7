// Arguments are bytes that are UTF-8 by convention, and the loader never looks in the current
// folder.
#include "host/platform/program_start.h"

namespace ostria::host {

std::vector<std::string> startProgram(int argc, char** argv) {
  return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

}  // namespace ostria::host
