// Identity and size of a SCSI device: INQUIRY with its vital product data, READ CAPACITY. Adapters
// answer short, with another page or not at all, so each part is taken as far as it came.

#include <algorithm>
#include <limits>
#include <vector>

#include "base/byte_order.h"
#include "base/sector_size.h"
#include "services/string_handler.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_protocol.h"
#include "transport/scsi/scsi_version_descriptors.h"

namespace ostria::storage {

namespace {

constexpr std::uint8_t kSerialNumberPage = 0x80;
constexpr std::uint8_t kBlockDeviceCharacteristicsPage = 0xB1;

using InquiryData = std::array<std::uint8_t, 64>;

const char* spcName(std::uint8_t version) {
  switch (version) {
    case 3:
      return "SCSI Primary Commands - SPC";
    case 4:
      return "SCSI Primary Commands 2 - SPC-2";
    case 5:
      return "SCSI Primary Commands 3 - SPC-3";
    case 6:
      return "SCSI Primary Commands 4 - SPC-4";
    default:
      return "";
  }
}

// A field of a reply, up to its first zero byte; blanks stay.
std::string textField(std::span<const std::uint8_t> field) {
  StringHandler& handler = getLocalStringHandler();
  return handler.cutAtNul(handler.fromBytes(field.data(), field.size()));
}

std::vector<std::string> standardsOf(std::span<const std::uint8_t> reply) {
  std::vector<std::string> standards;
  const auto known = scsiVersionDescriptors();
  for (std::size_t offset = 58; offset <= 72 && offset + 2 <= reply.size(); offset += 2) {
    const std::uint16_t code = loadBe16(&reply[offset]);
    const auto row = std::ranges::lower_bound(known, code, {}, &ScsiVersionDescriptor::code);
    if (row != known.end() && row->code == code) {
      standards.emplace_back(row->text);
    }
  }
  return standards;
}

// What came back of a buffer, whatever count the transport gives.
std::span<const std::uint8_t> received(const ScsiCmd& command,
                                       std::span<const std::uint8_t> buffer) {
  return buffer.first(
      static_cast<std::size_t>(std::min<std::uint64_t>(command.transferBytes, buffer.size())));
}

}  // namespace

ProtocolResult ScsiProtocol::GetProperties(StorageProtocolProperties* out) {
  if (out == nullptr) {
    return ProtocolResult::Failure;
  }
  properties_->protocolName = "SCSI";
  // Neither is needed to use the device.
  if (succeeded(ReadInquiry())) {
    static_cast<void>(ReadSerialNumber());
  }
  const ProtocolResult result = ReadCapacity();
  if (succeeded(result)) {
    ReadRotation();
    // A record that names no bus does not take back the one that was named.
    if (out->busKind != StorageBusKind::Unknown) {
      busKind_ = out->busKind;
    }
    ReadIecState();
  }
  properties_->securitySupported = false;
  properties_->securityLocked = false;
  *out = *properties_;
  return result;
}

ProtocolResult ScsiProtocol::ReadInquiry() {
  InquiryData data{};
  Inquiry command(data.data(), data.size());
  const ProtocolResult result = CheckStatus(command, ProtocolResult::DeviceError);
  const auto reply = received(command, data);
  if (!succeeded(result) || reply.size() < 36) {
    return ProtocolResult::DeviceError;
  }
  properties_->standardVersion = spcName(reply[2]);
  constexpr std::uint8_t kRemovableMedium = 0x80;
  properties_->removable = (reply[1] & kRemovableMedium) != 0;
  properties_->vendor = textField(reply.subspan(8, 8));
  properties_->modelNumber = textField(reply.subspan(16, 16));
  properties_->firmwareRevision = textField(reply.subspan(32, 4));
  properties_->standards = standardsOf(reply);
  return ProtocolResult::Success;
}

ProtocolResult ScsiProtocol::ReadSerialNumber() {
  constexpr std::size_t kHeader = 4;
  std::array<std::uint8_t, kHeader + 255> data{};
  std::uint16_t asked = 64;
  // Once more, with the exact length, when the first reply does not hold the whole number.
  for (int attempt = 0; attempt < 2; ++attempt) {
    Inquiry command(data.data(), asked, true, kSerialNumberPage);
    const ProtocolResult result = CheckStatus(command, ProtocolResult::ScsiStatusNotGood);
    if (!succeeded(result)) {
      return result;
    }
    const auto reply = received(command, std::span(data).first(asked));
    // An adapter that does not know the page may give standard data instead.
    if (reply.size() < kHeader || reply[1] != kSerialNumberPage) {
      return ProtocolResult::Failure;
    }
    const std::size_t length = reply[3];
    if (reply.size() >= kHeader + length) {
      properties_->serialNumber = textField(reply.subspan(kHeader, length));
      return ProtocolResult::Success;
    }
    asked = static_cast<std::uint16_t>(kHeader + length);
  }
  return ProtocolResult::Failure;
}

ProtocolResult ScsiProtocol::ReadCapacity() {
  const ProtocolResult result = ReadCapacityLong();
  return succeeded(result) ? result : ReadCapacityShort();
}

ProtocolResult ScsiProtocol::ReadCapacityLong() {
  std::array<std::uint8_t, 32> data{};
  ReadCapacity16 command(data.data());
  const ProtocolResult result = CheckStatus(command, ProtocolResult::ScsiStatusNotGood);
  if (!succeeded(result)) {
    return result;
  }
  if (command.transferBytes < 14) {
    return ProtocolResult::InvalidDeviceData;
  }
  properties_->totalSectors = loadBe64(&data[0]) + 1;
  properties_->logicalSectorSize = knownSectorSize(loadBe32(&data[8]));
  const std::uint64_t physical = std::uint64_t{properties_->logicalSectorSize} << (data[13] & 0x0F);
  // A size that does not fit is as good as unknown.
  properties_->physicalSectorSize = physical > std::numeric_limits<std::uint32_t>::max()
                                        ? 0
                                        : static_cast<std::uint32_t>(physical);
  return ProtocolResult::Success;
}

ProtocolResult ScsiProtocol::ReadCapacityShort() {
  std::array<std::uint8_t, 8> data{};
  ReadCapacity10 command(data.data());
  const ProtocolResult result = CheckStatus(command, ProtocolResult::ScsiStatusNotGood);
  if (!succeeded(result)) {
    return result;
  }
  if (command.transferBytes < data.size()) {
    return ProtocolResult::InvalidDeviceData;
  }
  const std::uint32_t last = loadBe32(&data[0]);
  if (last == 0xFFFFFFFF) {
    return ProtocolResult::Failure;
  }
  properties_->totalSectors = std::uint64_t{last} + 1;
  properties_->logicalSectorSize = knownSectorSize(loadBe32(&data[4]));
  properties_->physicalSectorSize = 0;
  return ProtocolResult::Success;
}

void ScsiProtocol::ReadRotation() {
  InquiryData data{};
  Inquiry command(data.data(), data.size(), true, kBlockDeviceCharacteristicsPage);
  const ProtocolResult result = CheckStatus(command, ProtocolResult::ScsiStatusNotGood);
  if (!succeeded(result) || command.transferBytes < 6 ||
      data[1] != kBlockDeviceCharacteristicsPage) {
    properties_->rotationRate = 0;
    return;
  }
  const std::uint16_t rate = loadBe16(&data[4]);
  if (rate == 1) {
    properties_->solidState = true;
    properties_->rotationRate = 0;
  } else if (rate >= 1025 && rate <= 65534) {
    properties_->solidState = false;
    properties_->rotationRate = rate;
  }
}

}  // namespace ostria::storage
