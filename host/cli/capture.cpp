// A drive may say what no machine can be made of; a file that nobody can read is of no use, so what
// is written is read first.
#include "host/cli/capture.h"

#include "host/cli/machine_file.h"
#include "host/core/run/capture_drives.h"

namespace ostria::host {

ExitCode recordDrives(Session& session, storage::SystemComponentManager& manager, bool masked,
                      RunFiles& files, const Texts& texts,
                      const std::function<void()>& beforeEach) {
  const std::size_t notices = session.notices.size();
  const std::string machine = captureDrives(session, manager, masked, texts, beforeEach);
  const ExitCode code =
      session.notices.size() != notices ? ExitCode::NotPerformed : ExitCode::Passed;
  if (machine.empty()) {
    return code;
  }
  if (const std::string fault = machineFault(machine); !fault.empty()) {
    session.notices.push_back(texts.say("capture.unusable", {{"reason", fault}}));
    return ExitCode::CouldNotStart;
  }
  return files.writeCapture(machine, session, texts) ? code : ExitCode::CouldNotStart;
}

}  // namespace ostria::host
