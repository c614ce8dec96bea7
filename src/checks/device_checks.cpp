#include "checks/device_checks.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/sector_size.h"
#include "checks/host_messages.h"
#include "checks/message_keys.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kWakeTimeoutSeconds = 30;

}  // namespace

StorageProtocolProperties cachedProperties(const StorageProtocol* protocol) {
  StorageProtocolProperties properties;
  // Fails for a null record only.
  if (protocol != nullptr) {
    (void)protocol->GetCachedProperties(&properties);
  }
  return properties;
}

std::uint32_t sectorBufferBytes(const StorageProtocolProperties& properties) {
  return std::max(properties.logicalSectorSize, kSmallestSectorBytes);
}

void wakeByReading(StorageComponent& component) {
  std::vector<std::uint8_t> buffer(
      sectorBufferBytes(cachedProperties(component.storageProtocol())));
  (void)component.readVolume(0, 1, buffer.data(), kWakeTimeoutSeconds);
}

bool checkReadyToRead(StorageComponent* component, TestListener* listener, MessageLog* log) {
  if (component == nullptr) {
    showThenLog(listener, log, keys::kDeviceNotIdentified, Statement);
    return false;
  }
  if (component->storageProtocol() == nullptr) {
    showThenLog(listener, log, keys::kInvalidProtocol, Statement);
    return false;
  }
  if (listener == nullptr || log == nullptr) {
    return false;
  }

  const StorageProtocolProperties properties = cachedProperties(component->storageProtocol());
  if (properties.totalSectors == 0 || properties.logicalSectorSize < kSmallestSectorBytes) {
    logThenShow(listener, log, keys::kDeviceCommunicationFailure, DeviceFault);
    return false;
  }

  // A bridge may hide the security state from the protocol in use; discovery kept what the ATA
  // probe had learnt.
  const bool external = component->connection() == DeviceConnection::External;
  const bool supported = external ? component->securitySupported() : properties.securitySupported;
  const bool locked = external ? component->securityLocked() : properties.securityLocked;
  if (supported && locked) {
    logThenShow(listener, log, passwordText(), Statement);
    return false;
  }

  if (component->connection() != DeviceConnection::RaidMember) {
    wakeByReading(*component);
  }
  return true;
}

bool checkSeekable(StorageComponent* component, TestListener* listener, MessageLog* log) {
  if (component == nullptr) {
    showThenLog(listener, log, keys::kDeviceNotIdentified, Statement);
    return false;
  }
  if (component->busKind() == StorageBusKind::Emmc ||
      component->busKind() == StorageBusKind::Nvme || component->storageProtocol() == nullptr) {
    showThenLog(listener, log, keys::kInvalidProtocol, Statement);
    return false;
  }
  return listener != nullptr && log != nullptr;
}

TestResult reportReadError(std::uint64_t lba, ProtocolResult error, std::uint8_t percent,
                           std::uint32_t limit, std::set<std::uint64_t>& badSectors,
                           TestListener* listener, MessageLog* log) {
  switch (error) {
    case ProtocolResult::InterfaceCrcError:
    case ProtocolResult::MediumError:
      break;
    case ProtocolResult::CommandRejected:
      logThenShow(listener, log, keys::kCannotAccessDevice, DeviceFault);
      return TestResult::NotPerformed;
    case ProtocolResult::ReadTimeout:
      logThenShow(listener, log, keys::kReadOperationTimeout, DeviceFault);
      return TestResult::Failed;
    default:
      logThenShow(listener, log, keys::kDeviceCommunicationFailure, DeviceFault);
      return TestResult::Stopped;
  }

  badSectors.insert(lba);
  const std::string text = keyWithNumber(keys::kReadingSector, lba);
  if (limit == 1) {
    logThenShow(listener, log, text, DeviceFault);
    return TestResult::Failed;
  }
  if (log != nullptr) {
    log->add(text, DeviceFault, 0);
  }
  if (listener != nullptr) {
    listener->progress(percent, text);
  }
  if (badSectors.size() < limit) {
    return TestResult::Passed;
  }
  logThenShow(listener, log, keyColonNumber(keys::kTooManyBadSectors, limit), DeviceFault);
  return TestResult::Failed;
}

}  // namespace ostria::storage
