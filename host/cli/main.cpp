// The program: what has to come before everything else, and the application. Whatever goes wrong,
// it leaves through its destructors: the module gives back the volumes that it took off line.
#include <exception>
#include <string>

#include "host/cli/application.h"
#include "host/core/model/outcome.h"
#include "host/platform/console.h"
#include "host/platform/program_start.h"

int main(int argc, char** argv) {
  using namespace ostria::host;
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
