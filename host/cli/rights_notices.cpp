// A list that is short for lack of rights must not look like a short list.
#include "host/cli/rights_notices.h"

namespace ostria::host {

std::vector<std::string> rightsNotices(const std::vector<MissingRight>& missing,
                                       const Texts& texts) {
  // In the order of the effects.
  static constexpr const char* kKeys[] = {"rights.closed", "rights.left_out", "rights.limited",
                                          "rights.not_elevated"};
  std::vector<std::string> notices;
  for (const MissingRight& entry : missing) {
    std::string disks;
    for (const std::string& disk : entry.disks) {
      disks += (disks.empty() ? "" : ", ") + disk;
    }
    notices.push_back(texts.say(kKeys[static_cast<std::size_t>(entry.effect)],
                                {{"disks", disks}, {"right", entry.right}}));
  }
  return notices;
}

std::vector<std::string> knownToBeSilent(const std::vector<MissingRight>& missing,
                                         const std::vector<SuspendedDisk>& suspended) {
  std::vector<std::string> disks;
  for (const MissingRight& right : missing) {
    disks.insert(disks.end(), right.disks.begin(), right.disks.end());
  }
  for (const SuspendedDisk& disk : suspended) {
    disks.push_back(disk.node.substr(disk.node.rfind('/') + 1));
  }
  return disks;
}

}  // namespace ostria::host
