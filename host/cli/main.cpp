#include "host/cli/application.h"
#include "host/cli/terminal.h"

int main(int argc, char** argv) {
  ostria::host::holdStandardDescriptors();
  // Before everything else: other threads are to inherit the blocked signals.
  ostria::host::Interrupts interrupts;
  return ostria::host::runApplication({argv + (argc > 0 ? 1 : 0), argv + argc}, interrupts);
}
