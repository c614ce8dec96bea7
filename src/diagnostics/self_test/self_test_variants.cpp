#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "checks/message_keys.h"
#include "diagnostics/self_test/self_test_routine.h"
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

enum class Setting { Absent, Taken, Unusable };

/// Takes a decimal number below 256 from the section.
Setting takeByte(const std::map<std::string, std::string>& section, const char* key,
                 std::uint32_t* value, ConfigurationError* error) {
  const auto found = section.find(key);
  if (found == section.end()) {
    return Setting::Absent;
  }
  const std::string& text = found->second;
  const char* end = text.data() + text.size();
  std::int64_t number = 0;
  const auto parsed = std::from_chars(text.data(), end, number);
  std::uint32_t code = 0;
  if (parsed.ec == std::errc::invalid_argument || parsed.ptr != end) {
    code = ConfigurationError::NotANumber;
  } else if (parsed.ec == std::errc::result_out_of_range || number < 0 || number > 255) {
    code = ConfigurationError::OutOfRange;
  } else {
    *value = static_cast<std::uint32_t>(number);
    return Setting::Taken;
  }
  if (error != nullptr) {
    *error = {0, code, 0, key, kStorageSection};
  }
  return Setting::Unusable;
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
  if (isAta(*component) && !cachedProperties(component->storageProtocol()).conveyanceSupported) {
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
  const Setting routine = takeByte(section->second, "SEC_NUM", &routine_.testCode, error);
  if (routine == Setting::Unusable) {
    return false;
  }
  if (routine == Setting::Taken) {
    explicitParameters_ = true;
  }
  return takeByte(section->second, "SEC_COUNT", &routine_.secondCode, error) != Setting::Unusable;
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
