// The program: what has to come before everything else, and the application.
#include "host/cli/application.h"
#include "host/platform/console.h"

int main(int argc, char** argv) {
  ostria::host::holdStandardStreams();
  // Before everything else: other threads are to inherit the blocked signals.
  const auto interrupts = ostria::host::watchInterrupts();
  return ostria::host::runApplication({argv + (argc > 0 ? 1 : 0), argv + argc}, *interrupts);
}
