// Arguments are bytes that are UTF-8 by convention, and the loader never looks in the current
// folder.
#include "host/platform/program_start.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace ostria::host {

std::vector<std::string> startProgram(int argc, char** argv) {
  // Buffers hold what was read from disks: none of it may lie in a core file of whoever's folder
  // this is. A limit of 1 byte also ends the dump into a program, which no limit of 0 does.
  const rlimit none{1, 1};
  setrlimit(RLIMIT_CORE, &none);
  prctl(PR_SET_DUMPABLE, 0);
  return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

}  // namespace ostria::host
