// A volume of a controller is no drive, however much it looks like one.
#include "host/cli/volume_notices.h"

#include "host/cli/stop.h"
#include "host/platform/device_names.h"

namespace ostria::host {

void noteVolumes(const std::vector<std::string>& volumes, const std::vector<std::string>& wanted,
                 const Texts& texts, std::vector<std::string>& notices) {
  std::string disks;
  for (const std::string& volume : volumes) {
    disks += (disks.empty() ? "" : ", ") + volume;
    for (const std::string& name : wanted) {
      if (name == volume || resolvedDevicePath(name) == "/dev/" + volume) {
        throw Stop{ExitCode::Usage, texts.say("usage.raid_volume", {{"text", name}})};
      }
    }
  }
  if (!disks.empty()) {
    notices.push_back(texts.say("notice.raid_volumes", {{"disks", disks}}));
  }
}

}  // namespace ostria::host
