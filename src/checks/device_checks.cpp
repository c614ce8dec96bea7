// What a disk must be before a test or tool reads it, and what a failed read says to the user. A
// disk that is locked by a password (ATA security) refuses reads in ways that look like bad
// sectors, so it is recognised first.
#include "checks/device_checks.h"

#include <algorithm>
#include <memory>
#include <new>
#include <string>

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

bool isLocked(const StorageComponent& component) {
  // A bridge may hide the security state from the protocol in use; discovery kept what the ATA
  // probe had learnt.
  if (component.connection() == DeviceConnection::External) {
    return component.securitySupported() && component.securityLocked();
  }
  const StorageProtocolProperties properties = cachedProperties(component.storageProtocol());
  return properties.securitySupported && properties.securityLocked;
}

void wakeByReading(StorageComponent& component) {
  const std::uint32_t bytes = sectorBufferBytes(cachedProperties(component.storageProtocol()));
  const std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[bytes]);
  if (buffer != nullptr) {
    // A read that fails has woken the drive, too; those that count come behind it.
    (void)component.readVolume(0, 1, buffer.get(), bytes, kWakeTimeoutSeconds);
  }
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

  if (isLocked(*component)) {
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
