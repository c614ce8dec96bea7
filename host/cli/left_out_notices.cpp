// A short list must not look like a whole one, nor an empty machine like a test that passed.
#include "host/cli/left_out_notices.h"

#include <algorithm>
#include <string>

#include "host/cli/stop.h"
#include "host/core/run/left_out.h"

namespace ostria::host {

void noteLeftOut(storage::SystemComponentManager& manager, bool list, bool nothing,
                 const FindDeviceNames& names, const Texts& texts, Session& session) {
  if (!nothing && !list) {
    return;
  }
  const bool members = std::ranges::any_of(
      session.devices, [](const DeviceInfo& device) { return device.connection == "raid"; });
  auto notices = leftOutNotices(manager, members, names, texts);
  if (nothing) {
    notices.insert(notices.begin(), texts.say("notice.no_device"));
  }
  if (!list) {
    std::string sentence;
    for (const std::string& notice : notices) {
      sentence += (sentence.empty() ? "" : " ") + notice;
    }
    throw Stop{ExitCode::NotPerformed, sentence};
  }
  session.notices.insert(session.notices.end(), notices.begin(), notices.end());
}

}  // namespace ostria::host
