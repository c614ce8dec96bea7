// The program: what has to come before everything else, and the application. Whatever goes wrong,
// it leaves through its destructors: the module gives back the volumes that it took off line.
#include <cstdlib>
#include <exception>
#include <string>

#include "host/cli/application.h"
#include "host/core/model/outcome.h"
#include "host/platform/console.h"
#include "host/platform/program_start.h"

namespace {

// Without memory for its own reserve at the start, the runtime cannot even make the exception that
// says so, and ends the program without one.
[[noreturn]] void endWithoutMemory() {
  using namespace ostria::host;
  if (std::current_exception() != nullptr) {
    std::abort();
  }
  // Who does not get the sentence still gets the exit code.
  (void)writeStream(Stream::Error, "OstriaDiagnosticsCLI: The program had to end: no memory.\n");
  std::_Exit(static_cast<int>(ExitCode::CouldNotStart));
}

}  // namespace

int main(int argc, char** argv) {
  using namespace ostria::host;
  std::set_terminate(endWithoutMemory);
  holdStandardStreams();
  try {
    const auto arguments = startProgram(argc, argv);
    // Before everything else: other threads are to inherit the blocked signals.
    const auto interrupts = watchInterrupts();
    return runApplication(arguments, *interrupts);
  } catch (const std::exception& error) {
    // The texts may be what could not be had, so this sentence is English only.
    for (const char* part :
         {"OstriaDiagnosticsCLI: The program had to end: ", error.what(), ".\n"}) {
      (void)writeStream(Stream::Error, part);
    }
    return static_cast<int>(ExitCode::CouldNotStart);
  }
}
