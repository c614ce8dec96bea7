// SMART commands of an ATA drive (ATA8-ACS 7.52) and the pages that they read.
#include "virtual_pc/drives/ata_smart.h"

#include <algorithm>
#include <numeric>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_commands.h"

namespace ostria::virtual_pc {

using storage::byteOf;
using storage::storeLe16;

namespace {

constexpr std::uint8_t kTemperatureAttribute = 194;
constexpr std::uint8_t kAbortSelfTest = 0x7F;
constexpr std::size_t kExecutionStatus = 363;                  // of the data page
constexpr std::size_t kEnabledFeatures = 2 * std::size_t{85};  // of IDENTIFY: bit 0 is SMART

unsigned sumOf(const AtaPage& page) { return std::accumulate(page.begin(), page.end(), 0u); }

/// Whole minutes, rounded up, of the data page.
std::uint16_t minutes(std::uint64_t microseconds) {
  const std::uint64_t whole = (microseconds / kMicrosecondsPerSecond + 59) / 60;
  return static_cast<std::uint16_t>(std::min<std::uint64_t>(whole, 0xFFFE));
}

/// The same in a byte, where 255 is "look elsewhere" for the extended test.
std::uint8_t shortMinutes(std::uint64_t microseconds) {
  return static_cast<std::uint8_t>(std::min<std::uint16_t>(minutes(microseconds), 255));
}

}  // namespace

void sealPage(AtaPage* page) {
  (*page)[511] = 0;
  (*page)[511] = static_cast<std::uint8_t>(0u - sumOf(*page));
}

void failAta(AtaExchange& exchange, std::uint8_t error) {
  exchange.out.features = error;
  exchange.out.command = 0x51;
}

AtaSmart::AtaSmart(const DriveDescription& drive, const Clock& clock, const BlockMedium& medium)
    : description_(drive.smart),
      partNumber_(drive.partNumber),
      clock_(clock),
      supported_(drive.smart.supported),
      enabled_(drive.smart.enabled),
      selfTests_(clock, medium, drive.smart.selfTests),
      errors_(drive.smart.errorLog) {
  for (SmartAttributeDescription& attribute : description_.attributes) {
    if (attribute.id == kTemperatureAttribute && attribute.raw == 0) {
      attribute.raw = drive.temperature;
    }
  }
  if (description_.runningSelfTest) {
    selfTests_.start(*description_.runningSelfTest);
  }
}

std::uint8_t AtaSmart::executionStatus() {
  if (selfTests_.runningCode()) {
    const int tenths = (100 - selfTests_.percentDone() + 9) / 10;
    return static_cast<std::uint8_t>(0xF0 | std::clamp(tenths, 1, 9));
  }
  const auto entries = selfTestEntries();
  return entries.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(entries.back().status << 4);
}

bool AtaSmart::outdates(const AtaTaskFile& in) const {
  constexpr std::uint8_t kSelfTestLog = 0x06;
  constexpr std::uint8_t kExtendedSelfTestLog = 0x07;
  const std::uint8_t log = byteOf(in.lbaLow, 0);
  if (in.command == ata::ReadLogExt) {
    return log == kExtendedSelfTestLog && selfTestTouched_;
  }
  return in.command == ata::Smart &&
         (enabled_ != description_.enabled ||
          (selfTestTouched_ && byteOf(in.features, 0) == ata::SmartReadLog && log == kSelfTestLog));
}

void AtaSmart::bringUpToDate(AtaExchange& exchange) {
  if (exchange.transferred != sizeof(AtaPage)) {
    return;
  }
  AtaPage page;
  std::copy_n(exchange.data.begin(), page.size(), page.begin());
  const AtaPage recorded = page;
  if (exchange.in.command == ata::IdentifyDevice && enabled_ != description_.enabled) {
    page[kEnabledFeatures] ^= 1;
  } else if (exchange.in.command == ata::Smart &&
             byteOf(exchange.in.features, 0) == ata::SmartReadData && selfTestTouched_) {
    page[kExecutionStatus] = executionStatus();
  }
  if (page == recorded) {
    return;
  }
  // A checksum that did not hold still does not.
  page[511] = static_cast<std::uint8_t>(page[511] + sumOf(recorded) - sumOf(page));
  exchange.answer(page.data(), page.size());
}

AtaPage AtaSmart::dataPage() {
  AtaPage page{};
  storeLe16(&page[0], 0x0010);
  std::size_t at = 2;
  for (const SmartAttributeDescription& attribute : description_.attributes) {
    page[at] = attribute.id;
    storeLe16(&page[at + 1], attribute.flags);
    page[at + 3] = attribute.value;
    page[at + 4] = attribute.worst;
    for (unsigned i = 0; i < 6; ++i) {
      page[at + 5 + i] = byteOf(attribute.raw, i);
    }
    at += 12;
  }
  page[362] = 0x82;
  page[kExecutionStatus] = executionStatus();
  storeLe16(&page[364], 120);
  page[367] = description_.capabilities;
  storeLe16(&page[368], 0x0003);
  page[370] = description_.logging ? 1 : 0;
  const std::uint64_t extended = selfTests_.durationMicroseconds(2);
  page[372] = shortMinutes(selfTests_.durationMicroseconds(1));
  page[373] = shortMinutes(extended);
  page[374] = shortMinutes(selfTests_.durationMicroseconds(3));
  storeLe16(&page[375], page[373] == 255 ? minutes(extended) : std::uint16_t{0});
  sealPage(&page);
  return page;
}

AtaPage AtaSmart::thresholdPage() const {
  AtaPage page{};
  storeLe16(&page[0], 0x0010);
  std::size_t at = 2;
  for (const SmartAttributeDescription& attribute : description_.attributes) {
    page[at] = attribute.id;
    page[at + 1] = attribute.threshold;
    at += 12;
  }
  sealPage(&page);
  return page;
}

void AtaSmart::returnStatus(AtaExchange& exchange) const {
  if (!description_.statusAnswers) {
    return failAta(exchange, kAtaAbort);
  }
  exchange.out.lbaMid = description_.failing ? ata::kFailingLbaMid : ata::kSmartLbaMid;
  exchange.out.lbaHigh = description_.failing ? ata::kFailingLbaHigh : ata::kSmartLbaHigh;
}

void AtaSmart::startSelfTest(AtaExchange& exchange) {
  const std::uint8_t code = byteOf(exchange.in.lbaLow, 0);
  const bool busy = selfTests_.runningCode().has_value() && !description_.selfTestAbortable;
  if (busy) {
    return failAta(exchange, kAtaAbort);
  }
  if (code == 0) {
    return;  // the off-line routine collects data and has no outcome
  }
  if (code == kAbortSelfTest) {
    selfTests_.abort();
    return;
  }
  if (code > 0x80 && selfTests_.knows(code & 0x7F)) {
    // In captive mode the command ends with the routine, and the registers tell the outcome.
    const auto result = selfTests_.runNow(code & 0x7F);
    exchange.durationMicroseconds = selfTests_.durationMicroseconds(code & 0x7F);
    if (result && result->status != 0) {
      failAta(exchange, kAtaAbort);
      exchange.out.lbaMid = ata::kFailingLbaMid;
      exchange.out.lbaHigh = ata::kFailingLbaHigh;
    }
    return;
  }
  if (!selfTests_.start(code)) {
    failAta(exchange, kAtaAbort);
  }
}

void AtaSmart::perform(AtaExchange& exchange) {
  const std::uint8_t subcommand = byteOf(exchange.in.features, 0);
  const bool signature = byteOf(exchange.in.lbaMid, 0) == ata::kSmartLbaMid &&
                         byteOf(exchange.in.lbaHigh, 0) == ata::kSmartLbaHigh;
  if (!supported_ || !signature || (!enabled_ && subcommand != ata::SmartEnable)) {
    return failAta(exchange, kAtaAbort);
  }
  switch (subcommand) {
    case ata::SmartReadData: {
      const AtaPage page = dataPage();
      return exchange.answer(page.data(), page.size());
    }
    case ata::SmartReadThresholds: {
      const AtaPage page = thresholdPage();
      return exchange.answer(page.data(), page.size());
    }
    case ata::SmartExecuteOffline:
      startSelfTest(exchange);
      selfTestTouched_ = selfTestTouched_ || (exchange.out.command & 1) == 0;
      return;
    case ata::SmartReadLog: {
      const std::vector<AtaPage> log = smartLog(byteOf(exchange.in.lbaLow, 0));
      const std::size_t pages = byteOf(exchange.in.count, 0);
      if (pages == 0 || pages > log.size()) {
        return failAta(exchange, kAtaAbort);
      }
      return exchange.answer(log[0].data(), pages * sizeof(AtaPage));
    }
    case ata::SmartEnable:
      enabled_ = true;
      return;
    case ata::SmartDisable:
      enabled_ = false;
      return;
    case ata::SmartReturnStatus:
      return returnStatus(exchange);
    default:
      return failAta(exchange, kAtaAbort);
  }
}

void AtaSmart::noteError(const ErrorEntryDescription& error) { errors_.push_back(error); }

std::vector<SelfTestEntryDescription> AtaSmart::selfTestEntries() {
  std::vector<SelfTestEntryDescription> all = description_.selfTestLog;
  const std::uint16_t lastHours = all.empty() ? std::uint16_t{0} : all.back().hours;
  for (const SelfTestResult& result : selfTests_.ended()) {
    const std::uint64_t hours = result.moment / kMicrosecondsPerSecond / 3600 + lastHours;
    all.push_back(
        {result.code, result.status, static_cast<std::uint16_t>(hours), result.failingLba});
  }
  return all;
}

}  // namespace ostria::virtual_pc
