// SMART of an ATA drive: the data page and the thresholds, whose layout the standard leaves to the
// vendor but all drives share, and what the drive says of its own health and self-tests.
#include <algorithm>

#include "base/all_zero.h"
#include "base/byte_order.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/ata/ata_protocol.h"

namespace ostria::storage {

namespace {

// The SMART data page and the threshold page have their 30 entries of 12 bytes at the same offsets.
constexpr std::size_t kEntries = 30;
constexpr std::size_t kExecutionStatus = 363;
constexpr std::size_t kCapability = 367;

const std::uint8_t* entryOf(const AtaPage& page, std::size_t index) {
  return page.data() + 2 + 12 * index;
}
std::uint8_t idOf(const std::uint8_t* entry) { return entry[0]; }
std::uint8_t valueOf(const std::uint8_t* entry) { return entry[3]; }
const std::uint8_t* rawOf(const std::uint8_t* entry) { return entry + 5; }
bool hasValue(const std::uint8_t* entry) { return valueOf(entry) >= 1 && valueOf(entry) <= 253; }

std::uint8_t thresholdOf(const AtaPage& thresholds, std::uint8_t id) {
  for (std::size_t i = 0; i < kEntries; ++i) {
    const std::uint8_t* entry = entryOf(thresholds, i);
    if (idOf(entry) == id) {
      return entry[1];
    }
  }
  return 0;
}

}  // namespace

// A page that did not come whole is no page: its zeros would read as "passed" and "complete".
ProtocolResult AtaProtocol::SendPage(AtaCmd& command) {
  const std::uint64_t asked = command.transferBytes;
  const ProtocolResult result = SendChecked(command);
  if (succeeded(result) && command.transferBytes < asked) {
    return ProtocolResult::DeviceError;
  }
  return result;
}

ProtocolResult AtaProtocol::ReadSmartData(AtaPage& page) {
  page.fill(0);
  SmartReadData command(page.data());
  const ProtocolResult result = SendPage(command);
  // Bits 0 and 1 of the SMART capability are set on every drive.
  return succeeded(result) && isAllZero(page) ? ProtocolResult::DeviceError : result;
}

void AtaProtocol::ReadSmartCapabilities() {
  AtaPage page;
  if (!succeeded(ReadSmartData(page))) {
    return;
  }
  const std::uint8_t capability = page[kCapability];
  properties_->smartDataValid = true;
  properties_->offlineImmediateSupported = (capability & 0x01) != 0;
  properties_->selfTestAbortSupported = (capability & 0x04) != 0;
  properties_->selfTestSupported = (capability & 0x10) != 0;
  properties_->conveyanceSupported = (capability & 0x20) != 0;
}

ProtocolResult AtaProtocol::GetTemperature(std::uint8_t* celsius) {
  constexpr std::uint8_t kTemperature = 194;
  if (celsius == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  AtaPage page;
  const ProtocolResult result = ReadSmartData(page);
  if (!succeeded(result)) {
    return result;
  }
  for (std::size_t i = 0; i < kEntries; ++i) {
    const std::uint8_t* entry = entryOf(page, i);
    if (idOf(entry) == kTemperature) {
      *celsius = rawOf(entry)[0];
    }
  }
  return ProtocolResult::Success;
}

ProtocolResult AtaProtocol::GetWearIndicator(std::uint32_t* percent) {
  constexpr std::uint8_t kMediaWearout = 233;
  if (percent == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  AtaPage page;
  const ProtocolResult result = ReadSmartData(page);
  if (!succeeded(result)) {
    return result;
  }
  for (std::size_t i = 0; i < kEntries; ++i) {
    const std::uint8_t* entry = entryOf(page, i);
    if (idOf(entry) != kMediaWearout || !hasValue(entry)) {
      continue;
    }
    *percent = valueOf(entry);
    break;
  }
  return ProtocolResult::Success;
}

ProtocolResult AtaProtocol::GetSmartAttributes(std::vector<SmartAttribute>* attributes) {
  if (attributes == nullptr) {
    return ProtocolResult::Failure;
  }
  AtaPage page;
  ProtocolResult result = ReadSmartData(page);
  if (!succeeded(result)) {
    return result;
  }
  AtaPage thresholds{};
  SmartReadWarrantyThresholds readThresholds(thresholds.data());
  result = SendPage(readThresholds);
  // Thresholds have a revision.
  if (!succeeded(result) || isAllZero(thresholds)) {
    return succeeded(result) ? ProtocolResult::DeviceError : result;
  }
  for (std::size_t i = 0; i < kEntries; ++i) {
    const std::uint8_t* entry = entryOf(page, i);
    if (idOf(entry) == 0 || !hasValue(entry)) {
      continue;
    }
    attributes->push_back({idOf(entry), valueOf(entry), entry[4], loadLe32(rawOf(entry)),
                           thresholdOf(thresholds, idOf(entry))});
  }
  return ProtocolResult::Success;
}

ProtocolResult AtaProtocol::GetSmartStatus(std::uint8_t* healthy) {
  if (healthy == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  SmartReturnStatus command;
  if (succeeded(SendChecked(command))) {
    const bool good = command.lbaHigh == ata::kSmartLbaHigh && command.lbaMid == ata::kSmartLbaMid;
    const bool failing =
        command.lbaHigh == ata::kSmartFailingLbaHigh && command.lbaMid == ata::kSmartFailingLbaMid;
    if (good || failing) {
      *healthy = good ? 1 : 0;
      return ProtocolResult::Success;
    }
  }
  return PredictFailureFallback(healthy);
}

ProtocolResult AtaProtocol::GetSelfTestProgress(std::uint8_t* percent) {
  if (percent == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  AtaPage page;
  const ProtocolResult result = ReadSmartData(page);
  if (!succeeded(result)) {
    return result;
  }
  // Tenths remaining; the nibble has room for more than there are.
  const int tenths = std::min(page[kExecutionStatus] & 0x0F, 10);
  *percent = static_cast<std::uint8_t>(100 - 10 * tenths);
  return ProtocolResult::Success;
}

// Polling times in minutes (ACS-3 7.48.6.8): a byte each, and a word for an extended test that
// takes longer than a byte can tell.
ProtocolResult AtaProtocol::GetSelfTestTimes(SelfTestTimes* times) {
  constexpr std::uint8_t kSelfTest = 0x10;
  constexpr std::uint8_t kConveyance = 0x20;
  if (times == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  AtaPage page;
  const ProtocolResult result = ReadSmartData(page);
  if (!succeeded(result)) {
    return result;
  }
  const std::uint8_t capability = page[kCapability];
  const std::uint32_t extended = page[373] == 0xFF ? loadLe16(&page[375]) : page[373];
  *times = {};
  if ((capability & kSelfTest) != 0) {
    (*times)[0] = page[372] * 60u;
    (*times)[1] = extended * 60u;
  }
  if ((capability & kConveyance) != 0) {
    (*times)[2] = page[374] * 60u;
  }
  return ProtocolResult::Success;
}

ProtocolResult AtaProtocol::GetSelfTestResult(std::uint8_t* code) {
  if (code == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  AtaPage page;
  const ProtocolResult result = ReadSmartData(page);
  if (succeeded(result)) {
    *code = page[kExecutionStatus] >> 4;
  }
  return result;
}

}  // namespace ostria::storage
