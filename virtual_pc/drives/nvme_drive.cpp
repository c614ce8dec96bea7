// Admin and I/O commands of an NVMe controller (NVM Express 1.3).
#include "virtual_pc/drives/nvme_drive.h"

#include <algorithm>
#include <array>
#include <bit>

#include "base/byte_order.h"

namespace ostria::virtual_pc {

namespace {

using storage::loadLe32;
using storage::storeLe16;
using storage::storeLe32;
using storage::storeLe64;

constexpr std::uint8_t kGenericStatus = 0;
constexpr std::uint8_t kCommandStatus = 1;
constexpr std::uint8_t kMediaStatus = 2;

constexpr std::uint8_t kInvalidOpcode = 0x01;
constexpr std::uint8_t kInvalidField = 0x02;
constexpr std::uint8_t kTransferError = 0x04;
constexpr std::uint8_t kInvalidNamespace = 0x0B;
constexpr std::uint8_t kLbaOutOfRange = 0x80;
constexpr std::uint8_t kInvalidLogPage = 0x09;      // command specific
constexpr std::uint8_t kSelfTestInProgress = 0x1D;  // command specific
constexpr std::uint8_t kWriteFault = 0x80;          // media
constexpr std::uint8_t kUnrecoveredRead = 0x81;     // media
constexpr std::uint8_t kAccessDenied = 0x86;        // media

constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;
constexpr std::uint64_t kAdminMicroseconds = 150;

constexpr std::size_t kSelfTestEntries = 20;
constexpr std::uint8_t kTestAborted = 1;  // by a self-test command
constexpr std::uint8_t kSegmentFailed = 7;
constexpr std::uint8_t kUnusedEntry = 15;

void fail(NvmeExchange& exchange, std::uint8_t type, std::uint8_t code) {
  exchange.statusType = type;
  exchange.statusCode = code;
  exchange.transferred = 0;
}

void give(NvmeExchange& exchange, const std::vector<std::uint8_t>& bytes) {
  exchange.answer(bytes.data(), bytes.size());
}

void putText(std::vector<std::uint8_t>& data, std::size_t at, std::size_t width,
             const std::string& text) {
  std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(at), width, std::uint8_t{' '});
  std::copy_n(text.begin(), std::min(width, text.size()),
              data.begin() + static_cast<std::ptrdiff_t>(at));
}

}  // namespace

NvmeDrive::NvmeDrive(NvmeTraits traits, BlockMedium& medium, Clock& clock)
    : traits_(std::move(traits)), medium_(medium), clock_(clock) {
  addNamespace(traits_.namespaceId, medium);
  if (traits_.runningSelfTest) {
    startSelfTest(*traits_.runningSelfTest);
  }
}

BlockMedium* NvmeDrive::mediumOf(std::uint32_t namespaceId) const {
  const auto found = namespaces_.find(namespaceId);
  return found == namespaces_.end() ? nullptr : found->second;
}

void NvmeDrive::perform(NvmeExchange& exchange) {
  exchange.durationMicroseconds = kAdminMicroseconds;
  if (exchange.data.size() > kLargestTransfer) {
    fail(exchange, kGenericStatus, kInvalidField);
  } else if (exchange.admin) {
    admin(exchange);
  } else {
    io(exchange);
  }
  if (exchange.statusType != 0 || exchange.statusCode != 0) {
    ++traits_.health.errorLogEntries;
  }
  if (exchange.statusType == kMediaStatus) {
    ++traits_.health.mediaErrors;
  }
}

void NvmeDrive::admin(NvmeExchange& exchange) {
  constexpr std::uint8_t kGetLog = 0x02;
  constexpr std::uint8_t kSelfTestLog = 0x06;
  const bool outdated = selfTestTouched_ && exchange.opcode == kGetLog &&
                        storage::byteOf(exchange.cdw[0], 0) == kSelfTestLog;
  if (!outdated && answerRecorded(recorded_, exchange)) {
    return;
  }
  switch (exchange.opcode) {
    case 0x02:
      return getLog(exchange);
    case 0x06:
      return identify(exchange);
    case 0x14:
      selfTest(exchange);
      selfTestTouched_ = selfTestTouched_ || exchange.statusCode == 0;
      return;
    default:
      return fail(exchange, kGenericStatus, kInvalidOpcode);
  }
}

void NvmeDrive::io(NvmeExchange& exchange) {
  BlockMedium* medium = mediumOf(exchange.namespaceId);
  if (medium == nullptr) {
    return fail(exchange, kGenericStatus, kInvalidNamespace);
  }
  switch (exchange.opcode) {
    case 0x01:
      return transfer(exchange, *medium, true);
    case 0x02:
      return transfer(exchange, *medium, false);
    default:
      return fail(exchange, kGenericStatus, kInvalidOpcode);
  }
}

void NvmeDrive::identify(NvmeExchange& exchange) {
  constexpr std::size_t kPageBytes = 4096;
  if (exchange.direction != DataDirection::In || exchange.data.size() < kPageBytes) {
    return fail(exchange, kGenericStatus, kInvalidField);
  }
  switch (exchange.cdw[0] & 0xFF) {
    case 0: {
      if (exchange.namespaceId == kAllNamespaces && traits_.namespaceManagement) {
        return give(exchange, commonNamespaceData());
      }
      const std::uint32_t highest = namespaces_.rbegin()->first;
      if (exchange.namespaceId == 0 || exchange.namespaceId > highest) {
        return fail(exchange, kGenericStatus, kInvalidNamespace);
      }
      // A number without a namespace has a structure of zeros.
      const BlockMedium* medium = mediumOf(exchange.namespaceId);
      return give(exchange, medium != nullptr ? namespaceData(*medium)
                                              : std::vector<std::uint8_t>(kPageBytes));
    }
    case 1:
      return give(exchange, controllerData());
    case 2:
      return give(exchange, namespaceList(exchange.namespaceId));
    default:
      return fail(exchange, kGenericStatus, kInvalidField);
  }
}

std::vector<std::uint8_t> NvmeDrive::namespaceList(std::uint32_t after) const {
  std::vector<std::uint8_t> list(4096);
  std::size_t at = 0;
  for (auto entry = namespaces_.upper_bound(after); entry != namespaces_.end(); ++entry) {
    storeLe32(&list[at], entry->first);
    at += 4;
  }
  return list;
}

void NvmeDrive::getLog(NvmeExchange& exchange) {
  const std::uint64_t dwords =
      std::uint64_t{exchange.cdw[0] >> 16} + (std::uint64_t{exchange.cdw[1] & 0xFFFF} << 16) + 1;
  std::vector<std::uint8_t> log;
  switch (exchange.cdw[0] & 0xFF) {
    case 0x02:
      log = healthLog();
      break;
    case 0x06:
      if (traits_.selfTests) {
        log = selfTestLog();
      }
      break;
    case 0x09:
      // Groups are numbered from 1, 0 is reserved; the log-specific identifier names one.
      if (traits_.enduranceEstimate && (exchange.cdw[1] >> 16) == 1) {
        log = enduranceLog();
      }
      break;
    case 0xDF:
      if (traits_.partNumber) {
        log = vendorLog();
      }
      break;
    default:
      break;
  }
  if (log.empty()) {
    return fail(exchange, kCommandStatus, kInvalidLogPage);
  }
  if (dwords * 4 > exchange.data.size()) {
    return fail(exchange, kGenericStatus, kInvalidField);
  }
  log.resize(std::min<std::uint64_t>(log.size(), dwords * 4));
  give(exchange, log);
}

void NvmeDrive::transfer(NvmeExchange& exchange, BlockMedium& medium, bool write) {
  const std::uint64_t lba = exchange.cdw[0] | (std::uint64_t{exchange.cdw[1]} << 32);
  const std::uint64_t sectors = (exchange.cdw[2] & 0xFFFF) + std::uint64_t{1};
  // The host's buffer has to hold what the command moves, in the direction in which it moves.
  const std::uint64_t bytes = sectors * medium.sectorBytes();
  if (exchange.data.size() < bytes || bytes > kLargestTransfer ||
      exchange.direction != (write ? DataDirection::Out : DataDirection::In)) {
    return fail(exchange, kGenericStatus, kInvalidField);
  }
  const MediumAnswer answer = write ? medium.write(lba, sectors, exchange.data.data())
                                    : medium.read(lba, sectors, exchange.data.data());
  exchange.durationMicroseconds = answer.durationMicroseconds;
  switch (answer.outcome) {
    case MediumOutcome::Good:
      exchange.transferred = static_cast<std::size_t>(bytes);
      return;
    case MediumOutcome::MediumError:
      return fail(exchange, kMediaStatus, write ? kWriteFault : kUnrecoveredRead);
    case MediumOutcome::InterfaceError:
      return fail(exchange, kGenericStatus, kTransferError);
    case MediumOutcome::Rejected:
      return fail(exchange, kMediaStatus, kAccessDenied);
    case MediumOutcome::OutOfRange:
      return fail(exchange, kGenericStatus, kLbaOutOfRange);
    case MediumOutcome::Hang:
      exchange.transferred = 0;
      return;
  }
}

void NvmeDrive::selfTest(NvmeExchange& exchange) {
  if (!traits_.selfTests) {
    return fail(exchange, kGenericStatus, kInvalidOpcode);
  }
  // Of the controller alone, of all namespaces, or of one that is there.
  if (exchange.namespaceId != 0 && exchange.namespaceId != kAllNamespaces &&
      mediumOf(exchange.namespaceId) == nullptr) {
    return fail(exchange, kGenericStatus, kInvalidNamespace);
  }
  settleSelfTest();
  const auto code = static_cast<std::uint8_t>(exchange.cdw[0] & 0x0F);
  if (code == 15) {
    if (running_) {
      finishSelfTest(kTestAborted);
    }
    return;
  }
  if (code != 1 && code != 2) {
    return fail(exchange, kGenericStatus, kInvalidField);
  }
  if (running_) {
    return fail(exchange, kCommandStatus, kSelfTestInProgress);
  }
  startSelfTest(code);
}

void NvmeDrive::startSelfTest(std::uint8_t code) {
  RunningTest test;
  test.routine.code = code;
  if (code == 2) {
    test.routine.seconds = traits_.extendedSelfTestMinutes * 60u;
  }
  const auto own = std::find_if(traits_.tests.begin(), traits_.tests.end(),
                                [&](const NvmeSelfTest& t) { return t.code == code; });
  if (own != traits_.tests.end()) {
    test.routine = *own;
  }

  if (test.routine.outcome) {
    test.outcome = *test.routine.outcome;
  } else if (code == 2) {
    if (const std::optional<std::uint64_t> bad = medium_.firstUnreadable()) {
      test.outcome = kSegmentFailed;
      test.routine.failingLba = bad;
      test.routine.stopsAtPercent = static_cast<std::uint8_t>(
          static_cast<double>(*bad) / static_cast<double>(medium_.sectors()) * 100);
    }
  }
  const std::uint64_t whole = test.routine.seconds * kMicrosecondsPerSecond;
  test.started = clock_.now();
  test.ends =
      test.started + (test.outcome == 0 ? whole : whole / 100 * test.routine.stopsAtPercent);
  running_ = test;
}

void NvmeDrive::settleSelfTest() {
  if (running_ && clock_.now() >= running_->ends) {
    finishSelfTest(running_->outcome);
  }
}

void NvmeDrive::finishSelfTest(std::uint8_t result) {
  FinishedTest entry{running_->routine.code, result, std::nullopt};
  if (result > kTestAborted) {
    entry.failingLba = running_->routine.failingLba;
  }
  finished_.insert(finished_.begin(), entry);
  if (finished_.size() > kSelfTestEntries) {
    finished_.pop_back();
  }
  running_.reset();
}

std::vector<std::uint8_t> NvmeDrive::controllerData() const {
  std::vector<std::uint8_t> data(4096);
  storeLe16(&data[0], traits_.vendorId);
  storeLe16(&data[2], traits_.subsystemVendorId);
  putText(data, 4, 20, traits_.serial);
  putText(data, 24, 40, traits_.model);
  putText(data, 64, 8, traits_.firmware);
  data[77] = 5;                      // MDTS: 128 KiB
  storeLe32(&data[80], 0x00010300);  // version 1.3
  if (traits_.enduranceEstimate) {
    data[96] = 1u << 4;
  }
  if (traits_.namespaceManagement) {
    data[256] |= 1u << 3;
  }
  if (traits_.selfTests) {
    data[256] |= 1u << 4;
    storeLe16(&data[316], traits_.extendedSelfTestMinutes);
    data[318] = 1;  // one test at a time
  }
  data[512] = 0x66;  // submission and completion queue entry sizes
  data[513] = 0x44;
  storeLe32(&data[516], namespaces_.rbegin()->first);
  return data;
}

std::vector<std::uint8_t> NvmeDrive::namespaceData(const BlockMedium& medium) const {
  std::vector<std::uint8_t> data(4096);
  storeLe64(&data[0], traits_.namespaceSize.value_or(medium.sectors()));
  storeLe64(&data[8], medium.sectors());
  storeLe64(&data[16], medium.sectors());
  // The last of two formats is the active one.
  data[25] = 1;
  data[26] = 1;
  data[130] = medium.sectorBytes() == 512 ? 12 : 9;
  data[134] = traits_.dataSizePower.value_or(
      static_cast<std::uint8_t>(std::countr_zero(medium.sectorBytes())));
  return data;
}

/// What all namespaces have in common: the formats, but neither a size nor an active format.
std::vector<std::uint8_t> NvmeDrive::commonNamespaceData() const {
  std::vector<std::uint8_t> data = namespaceData(medium_);
  std::fill_n(data.begin(), 24, std::uint8_t{0});
  data[26] = 0;
  return data;
}

std::vector<std::uint8_t> NvmeDrive::healthLog() const {
  const NvmeHealth& h = traits_.health;
  std::vector<std::uint8_t> log(512);
  log[0] = h.criticalWarning;
  storeLe16(&log[1], h.temperatureKelvin);
  log[3] = h.availableSpare;
  log[4] = h.spareThreshold;
  log[5] = h.percentageUsed;
  const std::array<std::uint64_t, 10> counters{
      h.dataUnitsRead, h.dataUnitsWritten, h.hostReads,       h.hostWrites,  h.busyMinutes,
      h.powerCycles,   h.powerOnHours,     h.unsafeShutdowns, h.mediaErrors, h.errorLogEntries};
  for (std::size_t i = 0; i < counters.size(); ++i) {
    storeLe64(&log[32 + 16 * i], counters[i]);
  }
  return log;
}

std::vector<std::uint8_t> NvmeDrive::selfTestLog() {
  settleSelfTest();
  std::vector<std::uint8_t> log(564);
  if (running_) {
    const std::uint64_t whole =
        std::max<std::uint64_t>(running_->routine.seconds * kMicrosecondsPerSecond, 1);
    log[0] = running_->routine.code;
    log[1] = static_cast<std::uint8_t>(
        std::min<std::uint64_t>((clock_.now() - running_->started) * 100 / whole, 99));
  }
  for (std::size_t i = 0; i < kSelfTestEntries; ++i) {
    std::uint8_t* entry = &log[4 + 28 * i];
    if (i >= finished_.size()) {
      entry[0] = kUnusedEntry;
      continue;
    }
    const FinishedTest& test = finished_[i];
    entry[0] = static_cast<std::uint8_t>(test.result | (test.code << 4));
    storeLe64(entry + 4, traits_.health.powerOnHours);
    storeLe32(entry + 12, kAllNamespaces);
    if (test.failingLba) {
      entry[2] = 0x03;  // namespace and failing address are valid
      storeLe32(entry + 12, traits_.namespaceId);
      storeLe64(entry + 16, *test.failingLba);
    }
  }
  return log;
}

std::vector<std::uint8_t> NvmeDrive::enduranceLog() const {
  std::vector<std::uint8_t> log(512);
  log[3] = traits_.health.availableSpare;
  log[4] = traits_.health.spareThreshold;
  log[5] = traits_.health.percentageUsed;
  storeLe64(&log[32], *traits_.enduranceEstimate);
  return log;
}

std::vector<std::uint8_t> NvmeDrive::vendorLog() const {
  std::vector<std::uint8_t> log(512);
  putText(log, 110, 30, *traits_.partNumber);
  storeLe16(&log[279], traits_.vendorCount);
  return log;
}

}  // namespace ostria::virtual_pc
