// The computer of a virtual PC is the simulated one: a report of it must not name this one.
#include "host/cli/session_head.h"

#include "host/platform/computer_name.h"

namespace ostria::host {

void beginSession(const CommandLine& line, const std::string& programVersion,
                  const std::string& moduleVersion, const Texts& texts, Session& session) {
  session.started = Clock::now();
  session.virtualPc = line.virtualPc;
  session.moduleVersion = moduleVersion;
  session.programVersion = programVersion;
  session.notes = line.notes;
  const ComputerName computer =
      line.virtualPc ? ComputerName{texts.say("computer.virtual"), texts.say("computer.simulated")}
                     : computerName();
  session.machine = computer.name;
  session.system = computer.system;
}

}  // namespace ostria::host
