// What a SAS drive adds: self-tests, informational exceptions, log and mode pages (SPC-4).
#include "virtual_pc/drives/scsi_drive.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/byte_order.h"
#include "virtual_pc/drives/scsi_commands.h"

namespace ostria::virtual_pc {

using storage::loadBe16;
using storage::storeBe16;
using storage::storeBe64;

namespace {

constexpr std::uint8_t kControlPage = 0x0A;
constexpr std::uint8_t kIecPage = 0x1C;
constexpr std::uint8_t kDisableExceptions = 0x08;
constexpr std::uint8_t kReportOnRequest = 6;
constexpr std::uint8_t kFailurePrediction = 0x5D;
constexpr std::uint8_t kDataChannelFailure = 0x10;
constexpr std::uint8_t kDpoFua = 0x10;  // device-specific parameter of MODE SENSE
constexpr std::uint8_t kSaveable = 0x80;

}  // namespace

ScsiDrive::ScsiDrive(const DriveDescription& description, ScsiIdentity identity, const Clock& clock,
                     BlockMedium& medium)
    : ScsiBlockDevice(std::move(identity), medium),
      smart_(description.smart),
      temperature_(description.temperature),
      selfTests_(clock, medium, description.smart.selfTests),
      iecFlags_(smart_.enabled ? std::uint8_t{0} : kDisableExceptions),
      iecMethod_(smart_.enabled ? kReportOnRequest : std::uint8_t{0}) {
  if (smart_.runningSelfTest) {
    selfTests_.start(*smart_.runningSelfTest);
  }
}

bool ScsiDrive::reportsFailure() const {
  return smart_.failing && (iecFlags_ & kDisableExceptions) == 0;
}

void ScsiDrive::other(ScsiExchange& exchange) {
  const ScsiDescription& traits = identity().traits;
  switch (exchange.cdb[0]) {
    case scsi::SendDiagnostic:
      return sendDiagnostic(exchange);
    case scsi::ModeSense6:
      if (traits.modePages6) {
        return modeSense(exchange, false);
      }
      break;
    case scsi::ModeSense10:
      if (traits.modePages10) {
        return modeSense(exchange, true);
      }
      break;
    case scsi::ModeSelect6:
      if (traits.modePages6) {
        return modeSelect(exchange, false);
      }
      break;
    case scsi::ModeSelect10:
      if (traits.modePages10) {
        return modeSelect(exchange, true);
      }
      break;
    case scsi::LogSense:
      return logSense(exchange);
    default:
      break;
  }
  ScsiBlockDevice::other(exchange);
}

void ScsiDrive::requestSense(ScsiExchange& exchange) {
  std::array<std::uint8_t, 252> sense{};
  sense[0] = 0x70;
  sense[7] = 10;
  if (selfTests_.runningCode()) {
    sense[2] = kSenseNotReady;
    sense[12] = 0x04;
    sense[13] = 0x09;
    sense[15] = 0x80;
    storeBe16(&sense[16], static_cast<std::uint16_t>(selfTests_.percentDone() * 65536 / 100));
  } else if (reportsFailure()) {
    sense[12] = kFailurePrediction;
    sense[13] = kDataChannelFailure;
  }
  const std::size_t bytes =
      std::min<std::size_t>(identity().traits.requestSenseBytes, exchange.cdb[4]);
  exchange.answer(sense.data(), bytes);
}

void ScsiDrive::sendDiagnostic(ScsiExchange& exchange) {
  const auto code = static_cast<std::uint8_t>(exchange.cdb[1] >> 5);
  const bool defaultTest = (exchange.cdb[1] & 0x04) != 0;
  constexpr std::uint8_t kAbort = 4;
  if (code != 0 && defaultTest) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  if (code == kAbort) {
    if (!selfTests_.abort()) {
      exchange.fail(kSenseIllegalRequest, kAscInvalidField);
    }
    return;
  }
  if (selfTests_.runningCode()) {
    return exchange.fail(kSenseNotReady, 0x04, 0x09);  // self-test in progress
  }
  if (code == 1 || code == 2) {
    if (!selfTests_.start(code)) {
      exchange.fail(kSenseIllegalRequest, kAscInvalidField);
    }
    return;
  }
  if (code == 0 && (!defaultTest || !selfTests_.knows(0))) {
    return;  // passes without any work
  }
  const auto result = selfTests_.runNow(code);
  if (!result) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  exchange.durationMicroseconds += selfTests_.durationMicroseconds(code);
  if (result->status != 0) {
    exchange.fail(kSenseHardwareError, 0x3E, 0x03);
  }
}

void ScsiDrive::modeSense(ScsiExchange& exchange, bool ten) {
  const std::uint8_t* cdb = exchange.cdb.data();
  const std::uint8_t page = cdb[2] & 0x3F;
  constexpr std::uint8_t kAllPages = 0x3F;
  const bool known = identity().traits.iecPage && (page == kIecPage || page == kAllPages);
  const bool control = page == kControlPage || page == kAllPages;
  if (!known && !control) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }

  std::vector<std::uint8_t> data(ten ? 8 : 4, 0);
  data[ten ? 3 : 2] = kDpoFua;
  if ((cdb[1] & 0x08) == 0) {
    data[ten ? 7 : 3] = 8;
    data.insert(data.end(), {0, 0, 0, 0, 0, 0, storage::byteOf(medium().sectorBytes(), 1),
                             storage::byteOf(medium().sectorBytes(), 0)});
  }
  const bool changeable = (cdb[2] >> 6) == 1;
  if (control) {
    const std::uint64_t seconds = selfTests_.durationMicroseconds(2) / kMicrosecondsPerSecond;
    const std::uint16_t time =
        changeable ? 0 : static_cast<std::uint16_t>(std::min<std::uint64_t>(seconds, 0xFFFF));
    data.insert(data.end(), {kControlPage, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, storage::byteOf(time, 1),
                             storage::byteOf(time, 0)});
  }
  if (known) {
    data.insert(data.end(), {static_cast<std::uint8_t>(kSaveable | kIecPage), 0x0A,
                             changeable ? kDisableExceptions : iecFlags_,
                             changeable ? std::uint8_t{0x0F} : iecMethod_, 0, 0, 0, 0, 0, 0, 0, 1});
  }
  if (ten) {
    storeBe16(&data[0], static_cast<std::uint16_t>(data.size() - 2));
  } else {
    data[0] = static_cast<std::uint8_t>(data.size() - 1);
  }
  exchange.answer(data.data(),
                  std::min<std::size_t>(data.size(), ten ? loadBe16(cdb + 7) : cdb[4]));
}

void ScsiDrive::modeSelect(ScsiExchange& exchange, bool ten) {
  const std::size_t length = std::min<std::size_t>(
      ten ? loadBe16(&exchange.cdb[7]) : exchange.cdb[4], exchange.data.size());
  const std::size_t header = ten ? 8 : 4;
  if (length < header) {
    return exchange.fail(kSenseIllegalRequest, 0x1A);
  }
  const std::uint8_t* data = exchange.data.data();
  const std::size_t at = header + (ten ? loadBe16(data + 6) : data[3]);
  if (at + 12 > length) {
    return exchange.fail(kSenseIllegalRequest, 0x1A);
  }
  // Of the page only DEXCPT and MRIE change.
  constexpr std::uint8_t kMethods = 0x0F;
  const std::uint8_t* page = data + at;
  const std::array<std::uint8_t, 7> kInterval{0, 0, 0, 0, 0, 0, 0};
  const bool pageFormat = (exchange.cdb[1] & 0x10) != 0;
  if (!pageFormat) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  // MODE DATA LENGTH, DPOFUA and PS belong to MODE SENSE and are reserved here.
  const bool reserved = (ten ? loadBe16(data) : data[0]) != 0 ||
                        (data[ten ? 3 : 2] & kDpoFua) != 0 || (page[0] & kSaveable) != 0;
  if (reserved || !identity().traits.iecPage || (page[0] & 0x3F) != kIecPage || page[1] != 0x0A ||
      ((page[2] ^ iecFlags_) & ~kDisableExceptions) != 0 || (page[3] & ~kMethods) != 0 ||
      !std::equal(kInterval.begin(), kInterval.end(), page + 4) || page[11] != 1) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidParameter);
  }
  iecFlags_ = page[2];
  iecMethod_ = page[3];
  exchange.transferred = length;
}

std::vector<std::uint8_t> ScsiDrive::selfTestPage() {
  std::vector<SelfTestResult> newestFirst;
  for (const SelfTestEntryDescription& entry : smart_.selfTestLog) {
    newestFirst.push_back({entry.code, entry.status, 0, entry.failingLba});
  }
  const auto& ended = selfTests_.ended();
  newestFirst.insert(newestFirst.end(), ended.begin(), ended.end());
  constexpr std::uint8_t kInProgress = 15;
  if (const auto code = selfTests_.runningCode()) {
    newestFirst.push_back({*code, kInProgress, 0, std::nullopt});
  }
  std::ranges::reverse(newestFirst);

  std::vector<std::uint8_t> page(4 + 20 * 20, 0);
  page[0] = 0x10;
  for (std::size_t i = 0; i < 20; ++i) {
    std::uint8_t* entry = &page[4 + 20 * i];
    storeBe16(entry, static_cast<std::uint16_t>(i + 1));
    entry[2] = 0x03;
    entry[3] = 0x10;
    if (i >= newestFirst.size()) {
      continue;
    }
    const SelfTestResult& result = newestFirst[i];
    entry[4] = static_cast<std::uint8_t>((result.code << 5) | result.status);
    storeBe16(entry + 6, static_cast<std::uint16_t>(result.moment / kMicrosecondsPerSecond / 3600));
    storeBe64(entry + 8, result.failingLba.value_or(~std::uint64_t{0}));
    if (result.status >= 3 && result.status < kInProgress) {
      entry[16] = result.failingLba ? kSenseMediumError : kSenseHardwareError;
      entry[17] = result.failingLba ? 0x11 : 0x3E;
    }
  }
  return page;
}

void ScsiDrive::logSense(ScsiExchange& exchange) {
  // Cumulative values of the page itself: nothing else is kept, and nothing can be saved.
  constexpr unsigned kCumulative = 1;
  if (exchange.cdb[1] != 0 || (exchange.cdb[2] >> 6) != kCumulative || exchange.cdb[3] != 0) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  std::vector<std::uint8_t> page;
  switch (exchange.cdb[2] & 0x3F) {
    case 0x0D:
      page = {0x0D, 0, 0, 0, 0, 0, 0x03, 2, 0, temperature_, 0, 1, 0x03, 2, 0, 65};
      break;
    case 0x10:
      page = selfTestPage();
      break;
    case 0x2F: {
      if (!identity().traits.iecPage) {
        return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
      }
      const bool failing = reportsFailure();
      page = {0x2F,
              0,
              0,
              0,
              0,
              0,
              0x03,
              4,
              failing ? kFailurePrediction : std::uint8_t{0},
              failing ? kDataChannelFailure : std::uint8_t{0},
              temperature_,
              65};
      break;
    }
    default:
      return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  storeBe16(&page[2], static_cast<std::uint16_t>(page.size() - 4));
  exchange.answer(page.data(), std::min<std::size_t>(page.size(), loadBe16(&exchange.cdb[7])));
}

}  // namespace ostria::virtual_pc
