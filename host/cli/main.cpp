// The program: what has to come before everything else, and the application.
#include "host/cli/application.h"
#include "host/platform/console.h"
#include "host/platform/program_start.h"

int main(int argc, char** argv) {
  ostria::host::holdStandardStreams();
  const auto arguments = ostria::host::startProgram(argc, argv);
  // Before everything else: other threads are to inherit the blocked signals.
  const auto interrupts = ostria::host::watchInterrupts();
  return ostria::host::runApplication(arguments, *interrupts);
}
