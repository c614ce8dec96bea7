// A disk in standby (ACS, CHECK POWER MODE) needs seconds to spin up; one that does not answer
// within ten once it turns has lost the command. Behind a RAID controller the power mode is the
// controller's affair, so a member always gets the longer time.
#include "checks/read_timeout.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kWakingTimeoutSeconds = 30;
constexpr std::uint32_t kReadyTimeoutSeconds = 10;

bool isRotating(StorageComponent& component) {
  if (component.busKind() != StorageBusKind::Ata) {
    return false;
  }
  const auto& attributes = component.attributeMap();
  const auto found = attributes.find("NonRotatingMedia");
  return found != attributes.end() && found->second == "F";
}

}  // namespace

std::uint32_t chooseReadTimeout(StorageComponent& component) {
  if (component.connection() == DeviceConnection::RaidMember) {
    return kWakingTimeoutSeconds;
  }
  if (!isRotating(component)) {
    return kReadyTimeoutSeconds;
  }

  StorageProtocol& protocol = *component.storageProtocol();
  // A protocol without power modes succeeds and leaves the sentinel.
  std::uint32_t mode = StorageProtocol::OtherMode;
  if (!succeeded(protocol.GetPowerMode(&mode))) {
    return kWakingTimeoutSeconds;
  }
  switch (mode) {
    case StorageProtocol::Idle:
    case StorageProtocol::Active:
      return kReadyTimeoutSeconds;
    case StorageProtocol::Standby:
      // A drive that does not care stays asleep and gets the longer time all the same.
      (void)protocol.IdleImmediate();
      return kWakingTimeoutSeconds;
    default:
      return kWakingTimeoutSeconds;
  }
}

}  // namespace ostria::storage
