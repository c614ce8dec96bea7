// Health and self-test of a SCSI drive: the informational exceptions page (SPC mode page 1Ch and
// log page 2Fh), temperature (0Dh) and self-test results (10h).

#include <algorithm>
#include <vector>

#include "base/byte_order.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_protocol.h"
#include "transport/scsi/scsi_sense.h"

namespace ostria::storage {

namespace {

constexpr std::uint8_t kPageBytes = 252;
using Page = std::array<std::uint8_t, kPageBytes>;

constexpr std::uint8_t kThresholdExceeded = 0x5D;  // additional sense code: failure predicted

constexpr std::uint8_t kTemperaturePage = 0x0D;
constexpr std::uint8_t kSelfTestPage = 0x10;

// A page says which it is. Nothing but zeros would read as "passed", and as 0 degrees.
bool isLogPage(std::span<const std::uint8_t> page, std::uint8_t code) {
  return (page[0] & 0x3F) == code;
}

std::uint8_t healthOf(std::uint8_t asc) { return asc == kThresholdExceeded ? 0 : 1; }

// Whether a result is what a device made of a command, and not what became of it on the way.
bool deviceAnswered(ProtocolResult result) {
  switch (result) {
    case ProtocolResult::Success:
    case ProtocolResult::Failure:
    case ProtocolResult::ScsiStatusNotGood:
    case ProtocolResult::CommandRejected:
    case ProtocolResult::CommandUnusable:
      return true;
    default:
      return false;
  }
}

// Decodes as much of a REQUEST SENSE reply as came back, which is hardly ever all that was asked.
ProtocolResult decodeReply(const ScsiCmd& command, std::span<const std::uint8_t> buffer,
                           ScsiSense& sense) {
  const auto bytes = std::min<std::uint64_t>(command.transferBytes, buffer.size());
  return sense.Decode(buffer.first(static_cast<std::size_t>(bytes)));
}

}  // namespace

// Where things lie in the two forms of IEC mode data: a header, no block descriptor, the page.
struct ScsiProtocol::IecForm {
  std::size_t bytes;
  std::size_t deviceSpecific;       // the header's byte for WP and DPOFUA
  std::size_t descriptorLengthLow;  // the block descriptor length's lowest byte
  std::size_t descriptorLengthHigh;
  std::size_t page;

  std::size_t flags() const { return page + 2; }
  std::size_t mrie() const { return page + 3; }
  bool isLong() const { return page == 8; }

  static constexpr IecForm six() { return {16, 2, 3, 3, 4}; }
  static constexpr IecForm ten() { return {20, 3, 7, 6, 8}; }
};

namespace {

constexpr std::uint8_t kDexcpt = 0x08;
constexpr std::uint8_t kReportOnRequest = 0x06;
constexpr std::uint8_t kParametersSaveable = 0x80;  // PS of the page

// Exceptions are reported one way or another; with MRIE 0 the log page still has them.
bool countsAsEnabled(std::uint8_t flags, std::uint8_t mrie) {
  return (mrie & ~kReportOnRequest) == 0 && (flags & kDexcpt) == 0;
}

}  // namespace

ProtocolResult ScsiProtocol::ReadIecPage(const IecForm& form, std::span<std::uint8_t> data) {
  constexpr std::uint8_t kIecPage = 0x1C;
  ScsiCmd command;
  const auto length = static_cast<std::uint8_t>(data.size());
  if (form.isLong()) {
    command = ModeSense10IECPage(data.data(), length);
  } else {
    command = ModeSense6IECPage(data.data(), length);
  }
  if (!succeeded(CheckStatus(command, ProtocolResult::Failure))) {
    return ProtocolResult::Failure;
  }
  // The data go back to the device in MODE SELECT: in a reply with block descriptors or of another
  // page the changed bytes would be somebody else's.
  if (command.transferBytes < form.bytes || data[form.descriptorLengthLow] != 0 ||
      data[form.descriptorLengthHigh] != 0 || (data[form.page] & 0x3F) != kIecPage) {
    return ProtocolResult::InvalidDeviceData;
  }
  return ProtocolResult::Success;
}

void ScsiProtocol::ReadIecState() {
  // Many USB adapters hang on the mode page.
  if (busKind_ == StorageBusKind::Usb) {
    properties_->smartSupported = false;
    return;
  }
  for (const IecForm& form : {IecForm::six(), IecForm::ten()}) {
    std::array<std::uint8_t, 32> data{};
    if (!succeeded(ReadIecPage(form, data))) {
      continue;
    }
    properties_->smartSupported = true;
    properties_->smartEnabled = countsAsEnabled(data[form.flags()], data[form.mrie()]);
    return;
  }
}

ProtocolResult ScsiProtocol::SetSmartEnabled(std::uint8_t enable) {
  const ProtocolResult result = ChangeIecPage(IecForm::six(), enable != 0);
  return succeeded(result) ? result : ChangeIecPage(IecForm::ten(), enable != 0);
}

ProtocolResult ScsiProtocol::ChangeIecPage(const IecForm& form, bool enable) {
  std::array<std::uint8_t, 32> data{};
  ProtocolResult result = ReadIecPage(form, data);
  if (!succeeded(result)) {
    return result;
  }
  std::uint8_t& flags = data[form.flags()];
  std::uint8_t& mrie = data[form.mrie()];
  // A drive that reports by another method (MRIE 2 or 4) keeps it: the change would outlive the
  // test.
  if (enable && countsAsEnabled(flags, mrie)) {
    return ProtocolResult::Success;
  }
  if (iecUnchanged_) {
    savedMrie_ = mrie;
    savedIecFlags_ = flags;
  }
  if (enable) {
    mrie |= kReportOnRequest;
    flags = static_cast<std::uint8_t>(flags & ~kDexcpt);
  } else {
    mrie = savedMrie_;
    flags = savedIecFlags_;
  }
  ScsiCmd command;
  if (form.isLong()) {
    command = ModeSelect10IecPage(data.data());
  } else {
    command = ModeSelect6IecPage(data.data());
  }
  // What the command has no use for is reserved in it (MODE DATA LENGTH, WP and DPOFUA, PS), and a
  // strict device refuses it set. PS has gone into the CDB as SP.
  data[0] = 0;
  data[1] = form.isLong() ? 0 : data[1];
  data[form.deviceSpecific] = 0;
  data[form.page] = static_cast<std::uint8_t>(data[form.page] & ~kParametersSaveable);
  result = CheckStatus(command, ProtocolResult::Failure);
  // The long form is the last try: whatever it did, what was saved is what the drive had.
  if (succeeded(result) || form.isLong()) {
    iecUnchanged_ = false;
  }
  return result;
}

ProtocolResult ScsiProtocol::GetTemperature(std::uint8_t* celsius) {
  constexpr std::uint8_t kUnknown = 255;
  if (celsius == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  Page page{};
  LogSenseTemperaturePage command(page.data(), page.size());
  if (!succeeded(CheckStatus(command, ProtocolResult::Failure)) || command.transferBytes < 10 ||
      !isLogPage(page, kTemperaturePage) || page[9] == kUnknown) {
    return ProtocolResult::Failure;
  }
  *celsius = page[9];
  return ProtocolResult::Success;
}

ProtocolResult ScsiProtocol::GetSmartStatus(std::uint8_t* healthy) {
  if (healthy == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  std::uint8_t health = 1;
  ProtocolResult result = ReadIecLog(health);
  // Not every device has the page. But what answers REQUEST SENSE for a drive that was lost on the
  // way may be its controller.
  if (health == 1 && deviceAnswered(result)) {
    result = ReadRequestSense(health);
  }
  if (result == ProtocolResult::Failure) {
    return PredictFailureFallback(healthy);
  }
  if (succeeded(result)) {
    *healthy = health;
  }
  return result;
}

ProtocolResult ScsiProtocol::ReadIecLog(std::uint8_t& healthy) {
  std::vector<std::uint8_t> page(kPageBytes);
  LogSenseIECPage first(page.data(), kPageBytes);
  ProtocolResult result = CheckStatus(first, ProtocolResult::ScsiStatusNotGood);
  if (!succeeded(result)) {
    return result;
  }
  std::uint64_t received = first.transferBytes;
  const std::size_t whole = std::min<std::size_t>(loadBe16(&page[2]) + 4u, 0xFFFF);
  if (whole > page.size()) {
    page.assign(whole, 0);
    LogSenseIECPage again(page.data(), static_cast<std::uint16_t>(whole));
    result = CheckStatus(again, ProtocolResult::Failure);
    if (!succeeded(result)) {
      return result;
    }
    received = again.transferBytes;
  }
  if (received < 9 || loadBe16(&page[2]) < 7 || loadBe16(&page[4]) != 0) {
    return ProtocolResult::Failure;
  }
  healthy = healthOf(page[8]);
  return ProtocolResult::Success;
}

ProtocolResult ScsiProtocol::ReadRequestSense(std::uint8_t& healthy) {
  Page page{};
  RequestSense command(page.data(), page.size());
  ScsiSense sense;
  if (!succeeded(CheckStatus(command, ProtocolResult::Failure)) ||
      !succeeded(decodeReply(command, page, sense)) || sense.GetSenseKey() != SenseKey::NoSense) {
    return ProtocolResult::Failure;
  }
  healthy = healthOf(sense.GetAsc());
  return ProtocolResult::Success;
}

ProtocolResult ScsiProtocol::AbortSelfTest() {
  constexpr std::uint8_t kAbortBackground = 4;
  SendDiagnostic command(kAbortBackground);
  return CheckStatus(command, ProtocolResult::Failure);
}

ProtocolResult ScsiProtocol::GetSelfTestProgress(std::uint8_t* percent) {
  if (percent == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  Page page{};
  RequestSense command(page.data(), page.size());
  ScsiSense sense;
  if (!succeeded(CheckStatus(command, ProtocolResult::Failure)) ||
      !succeeded(decodeReply(command, page, sense))) {
    return ProtocolResult::Failure;
  }
  if (sense.GetSenseKey() != SenseKey::NoSense && sense.GetSenseKey() != SenseKey::NotReady) {
    return ProtocolResult::Failure;
  }
  // Without the valid bit the field holds whatever stood there: no test runs.
  constexpr std::uint8_t kValid = 0x80;
  ScsiSense::DescriptorBytes bytes{};
  if (!succeeded(sense.GetDescriptor(ScsiSense::kSenseKeySpecific, bytes)) ||
      (bytes[0] & kValid) == 0) {
    return ProtocolResult::Failure;
  }
  const float done = static_cast<float>(loadBe16(&bytes[1])) / 65536.0f;
  *percent = static_cast<std::uint8_t>(done * 100.0f);
  return ProtocolResult::Success;
}

// SPC-4 7.5.8: the control mode page, after a header and, whatever was asked, block descriptors.
ProtocolResult ScsiProtocol::GetExtendedSelfTestSeconds(std::uint32_t* seconds) {
  constexpr std::uint8_t kControlPage = 0x0A;
  constexpr std::size_t kPageHead = 12;
  constexpr std::uint32_t kBeyond = 0xFFFF;
  if (seconds == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  for (const bool isLong : {false, true}) {
    Page data{};
    ScsiCmd command;
    if (isLong) {
      command = ModeSense10ControlPage(data.data(), data.size());
    } else {
      command = ModeSense6ControlPage(data.data(), data.size());
    }
    const std::size_t header = isLong ? 8 : 4;
    if (!succeeded(CheckStatus(command, ProtocolResult::Failure)) ||
        command.transferBytes < header) {
      continue;
    }
    const std::size_t page = header + (isLong ? loadBe16(&data[6]) : data[3]);
    const auto received = std::min<std::uint64_t>(command.transferBytes, data.size());
    if (page + kPageHead > received || (data[page] & 0x7F) != kControlPage ||
        data[page + 1] < kPageHead - 2) {
      return ProtocolResult::InvalidDeviceData;
    }
    const std::uint32_t time = loadBe16(&data[page + 10]);
    if (time == 0 || time == kBeyond) {
      return ProtocolResult::NotSupported;
    }
    *seconds = time;
    return ProtocolResult::Success;
  }
  return ProtocolResult::Failure;
}

ProtocolResult ScsiProtocol::ReadSelfTestLog(std::span<std::uint8_t> page, std::size_t needed) {
  LogSenseSelfTestPage command(page.data(), static_cast<std::uint16_t>(page.size()));
  const bool good = succeeded(CheckStatus(command, ProtocolResult::Failure));
  return good && command.transferBytes >= needed && isLogPage(page, kSelfTestPage)
             ? ProtocolResult::Success
             : ProtocolResult::Failure;
}

ProtocolResult ScsiProtocol::GetSelfTestResult(std::uint8_t* code) {
  if (code == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  Page page{};
  const ProtocolResult result = ReadSelfTestLog(page, 9);
  if (succeeded(result)) {
    *code = page[8] & 0x0F;
  }
  return result;
}

ProtocolResult ScsiProtocol::GetFirstFailedLba(std::uint64_t* lba) {
  if (lba == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  Page page{};
  const ProtocolResult result = ReadSelfTestLog(page, 20);
  if (!succeeded(result)) {
    return result;
  }
  *lba = loadBe64(&page[12]);
  return *lba == ~std::uint64_t{0} ? ProtocolResult::Failure : ProtocolResult::Success;
}

}  // namespace ostria::storage
