// The four routines of ATA and SCSI drives, and which drives each of them is offered for.
#include <algorithm>
#include <array>
#include <string_view>

#include "checks/message_keys.h"
#include "diagnostics/self_test/self_test_routine.h"
#include "diagnostics/settings.h"
#include "services/config_file.h"

namespace ostria::storage {

namespace {

/// Drives whose own routine is not to be trusted, by the whole model text.
constexpr std::array<std::string_view, 3> kExcludedModels = {
    "ST10000NM0478        00MX141 00MX141OST",
    "ST1000NM000A         00MX141 00MX141OST",
    "ST10000NM001G        00MX141 00MX141OST",
};

bool isAta(const StorageComponent& component) {
  return component.storageProtocol()->GetProtocolKind() == ProtocolKind::Ata;
}

bool isOptaneVolume(SystemComponent* component) {
  const auto* storage = dynamic_cast<const StorageComponent*>(component);
  return storage != nullptr && storage->optaneVolume();
}

/// What `ShortSelfTest` and `ConveyanceSelfTest` demand of how a drive is attached.
TestResult checkAttachment(const StorageComponent& component, TestListener* listener,
                           MessageLog* log) {
  if (component.connection() == DeviceConnection::External) {
    return refuse(listener, log, keys::kNotSupportedInExternalDevice, Statement);
  }
  if (component.connection() == DeviceConnection::RaidMember &&
      component.busKind() != StorageBusKind::Scsi) {
    return refuse(listener, log, keys::kNotSupportedInThisDevice, Statement);
  }
  return TestResult::Passed;
}

}  // namespace

bool ShortSelfTest::isApplicable(SystemComponent* component) {
  return !isOptaneVolume(component) && SelfTest::isApplicable(component);
}

TestResult ShortSelfTest::check(StorageComponent* component, TestListener* listener,
                                MessageLog* log) {
  TestResult checked = checkSelfTestSupported(component, listener, log);
  if (checked == TestResult::Passed) {
    checked = checkAttachment(*component, listener, log);
  }
  return checked == TestResult::Passed ? SelfTest::check(component, listener, log) : checked;
}

TestResult ExtendedSelfTest::check(StorageComponent* component, TestListener* listener,
                                   MessageLog* log) {
  const TestResult checked = checkSelfTestSupported(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  if (component->connection() == DeviceConnection::External) {
    return refuse(listener, log, keys::kNotSupportedInExternalDevice, MissingCapability);
  }
  if (component->busKind() != StorageBusKind::Scsi ||
      component->storageProtocol()->GetProtocolKind() != ProtocolKind::Scsi) {
    return refuse(listener, log, keys::kNotSupportedInThisDevice, Statement);
  }
  return SelfTest::check(component, listener, log);
}

bool ConveyanceSelfTest::isApplicable(SystemComponent* component) {
  return !isOptaneVolume(component) && SelfTest::isApplicable(component);
}

TestResult ConveyanceSelfTest::check(StorageComponent* component, TestListener* listener,
                                     MessageLog* log) {
  if (component == nullptr) {
    return TestResult::CouldNotStart;
  }
  const TestResult checked = checkAttachment(*component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  if (component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  const StorageProtocolProperties properties = cachedProperties(component->storageProtocol());
  if (isAta(*component) && !properties.conveyanceSupported && !capabilitiesUnknown(properties)) {
    return refuse(listener, log, keys::kConveyanceNotSupported, MissingCapability);
  }
  if (component->busKind() != StorageBusKind::Ata) {
    return refuse(listener, log, keys::kNotSupportedInThisDevice, Statement);
  }
  return SelfTest::check(component, listener, log);
}

bool QuickDriveSelfTest::isApplicable(SystemComponent* component) {
  if (component == nullptr) {
    return false;
  }
  const std::string model = component->description().model;
  if (std::find(kExcludedModels.begin(), kExcludedModels.end(), model) != kExcludedModels.end()) {
    return false;
  }
  return SelfTest::isApplicable(component);
}

bool QuickDriveSelfTest::configure(ConfigurationMap configuration, ConfigurationError* error) {
  const auto section = configuration.find(kStorageSection);
  if (section == configuration.end()) {
    return true;
  }
  constexpr std::uint64_t kMostInRegister = 255;
  std::uint64_t number = 0;
  const Setting routine = takeNumber(section->second, "SEC_NUM", kMostInRegister, &number, error);
  if (routine == Setting::Unusable) {
    return false;
  }
  if (routine == Setting::Taken) {
    routine_.testCode = static_cast<std::uint32_t>(number);
    explicitParameters_ = true;
  }
  const Setting count = takeNumber(section->second, "SEC_COUNT", kMostInRegister, &number, error);
  if (count == Setting::Taken) {
    routine_.secondCode = static_cast<std::uint32_t>(number);
  }
  return count != Setting::Unusable;
}

TestResult QuickDriveSelfTest::check(StorageComponent* component, TestListener* listener,
                                     MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  if (component->connection() == DeviceConnection::External) {
    return refuse(listener, log, keys::kNotSupportedInExternalDevice, MissingCapability);
  }
  if (!isAta(*component)) {
    return refuse(listener, log, keys::kNotSupportedInThisDevice, Statement);
  }
  if (!explicitParameters_ && cachedProperties(component->storageProtocol()).solidState) {
    return refuse(listener, log, keys::kNotSupportedInSsd, MissingCapability);
  }
  return SelfTest::check(component, listener, log);
}

}  // namespace ostria::storage
