// A percentage of our own making from attributes that have no standard: which of them count, and
// how much, is in the tables.
#include "diagnostics/health/smart_health.h"

#include <algorithm>

#include "checks/message_keys.h"
#include "diagnostics/health/smart_health_tables.h"
#include "services/config_file.h"
#include "services/sal.h"
#include "transport/ata/ata_protocol.h"

namespace ostria::storage {

namespace {

constexpr int kHealthyFrom = 70;
constexpr std::uint32_t kReportPauseMilliseconds = 465;

/// Percent points that the attribute costs, or -1 when it bears no penalty.
int penaltyOf(const SmartAttribute& attribute) {
  const auto row =
      std::find_if(kHealthPenalties.begin(), kHealthPenalties.end(),
                   [&](const HealthPenalty& penalty) { return penalty.attribute == attribute.id; });
  if (row == kHealthPenalties.end()) {
    return -1;
  }
  const std::uint64_t count = std::uint64_t{attribute.raw} * row->weight;
  return static_cast<int>(std::min(count, static_cast<std::uint64_t>(row->maximum)));
}

bool isCritical(const SmartAttribute& attribute) {
  return attribute.value < attribute.threshold &&
         std::find(kCriticalAttributes.begin(), kCriticalAttributes.end(), attribute.id) !=
             kCriticalAttributes.end();
}

}  // namespace

int SmartHealthTest::healthPercent(const std::vector<SmartAttribute>& attributes) {
  const auto critical = std::count_if(attributes.begin(), attributes.end(), isCritical);
  bool matched = false;
  float health = 1.0f;
  for (const SmartAttribute& attribute : attributes) {
    const int penalty = penaltyOf(attribute);
    if (penalty < 0) {
      continue;
    }
    matched = true;
    health = static_cast<float>(health * ((100.0 - penalty) / 100.0));
  }
  if (!matched) {
    return -1;
  }
  health = static_cast<float>(health * 100.0);
  health -= static_cast<float>(health * 0.1 * static_cast<double>(critical));
  // More than ten critical attributes take away more than there is.
  return std::clamp(static_cast<int>(health), 0, 100);
}

bool SmartHealthTest::isApplicable(SystemComponent* component) {
  const auto* storage = dynamic_cast<StorageComponent*>(component);
  if (storage == nullptr || storage->busKind() != StorageBusKind::Ata || !enabledByConfiguration_) {
    return false;
  }
  return StorageTest::isApplicable(component);
}

bool SmartHealthTest::configure(ConfigurationMap configuration, ConfigurationError* /*error*/) {
  enabledByConfiguration_ = configuration[kStorageSection]["ENABLE_SMART_HEALTH_TEST"] == "1";
  return true;
}

TestResult SmartHealthTest::check(StorageComponent* component, TestListener* listener,
                                  MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  if (component->storageProtocol()->GetProtocolKind() != ProtocolKind::Ata) {
    return refuse(listener, log, keys::kInvalidProtocol, Statement);
  }
  if (!cachedProperties(component->storageProtocol()).smartSupported) {
    return refuse(listener, log, keys::kSmartNotSupported, MissingCapability);
  }
  return TestResult::Passed;
}

TestResult SmartHealthTest::prepare(StorageComponent* component, TestListener* listener,
                                    MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  return enableSmart(*component, listener, log);
}

TestResult SmartHealthTest::run(TestRunContext* context) {
  return runWithSmart(context, [this] { return judge(); });
}

TestResult SmartHealthTest::judge() {
  progress(0);
  std::vector<SmartAttribute> attributes;
  auto* ata = dynamic_cast<AtaProtocol*>(protocol_);
  const bool read = ata != nullptr && succeeded(ata->GetSmartAttributes(&attributes));
  const int health = read ? healthPercent(attributes) : -1;
  if (health < 0) {
    return refuse(listener_, log_, keys::kNoDeviceAttributes, Statement);
  }

  TestResult result = TestResult::Passed;
  if (health < kHealthyFrom) {
    showThenLog(listener_, log_, keys::kHealthDegraded, MissingCapability);
    result = TestResult::Warning;
  }
  get_timer()->wait(kReportPauseMilliseconds);
  const std::string text =
      keyWithNumber(keys::kDiskHealth, static_cast<std::uint64_t>(health)) + "%";
  showThenLog(listener_, log_, text, Statement);
  return result;
}

}  // namespace ostria::storage
