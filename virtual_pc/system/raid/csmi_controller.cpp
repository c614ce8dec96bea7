// A RAID controller that speaks CSMI through its port.
#include "virtual_pc/system/raid/csmi_controller.h"

#include <winerror.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_command_traits.h"
#include "virtual_pc/system/machine.h"
#include "virtual_pc/system/raid/member_drives.h"
#include "virtual_pc/system/raid/request_faults.h"

namespace ostria::virtual_pc {

namespace {

using storage::loadLe32;
using storage::storeBe16;
using storage::storeLe16;
using storage::storeLe32;

using Block = std::span<std::uint8_t>;

constexpr std::size_t kHeaderBytes = 28;

// Return codes of the interface.
constexpr std::uint32_t kGood = 0;
constexpr std::uint32_t kFailed = 1;
constexpr std::uint32_t kBadControlCode = 2;
constexpr std::uint32_t kInvalidParameter = 3;
constexpr std::uint32_t kSetOutOfRange = 1000;

constexpr std::uint32_t kSspPassThrough = 24;
constexpr std::uint32_t kStpPassThrough = 25;
constexpr std::size_t kAddressEnd = 100;  // phy, port and address of a pass-through lie before it

constexpr std::size_t kPhyBytes = 64;
constexpr std::size_t kSetDriveBytes = 136;

/// Text in a field, cut and padded with zeros.
void putText(Block field, const std::string& text) {
  std::ranges::fill(field, std::uint8_t{0});
  std::copy_n(text.begin(), std::min(text.size(), field.size()), field.begin());
}

class CsmiController {
 public:
  CsmiController(Machine& machine, PortObject& port)
      : machine_(machine),
        port_(port),
        description_(*port.description().csmi),
        faults_(machine, description_.faults) {}

  std::uint32_t handle(std::string_view signature, Block block, std::uint64_t* duration,
                       std::size_t* returned) {
    if (loadLe32(&block[24]) != block.size() - kHeaderBytes) {
      return ERROR_INVALID_PARAMETER;
    }
    const std::uint32_t code = loadLe32(&block[16]);
    const bool passThrough = code == kSspPassThrough || code == kStpPassThrough;
    const bool hasAddress = passThrough && block.size() > kAddressEnd;
    const RequestFault* fault = faults_.take(code, hasAddress ? addressed(block) : nullptr);
    if (const auto* error = RequestFaults::actionOf<RequestError>(fault)) {
      return error->error;
    }
    if (const auto* refusal = RequestFaults::actionOf<RequestReturnCode>(fault)) {
      storeLe32(&block[20], refusal->code);
      return ERROR_SUCCESS;
    }
    const auto* connection = RequestFaults::actionOf<RequestConnectionStatus>(fault);
    if (connection != nullptr && passThrough) {
      breakConnection(block, code, connection->status);
      return ERROR_SUCCESS;
    }
    systemError_ = ERROR_SUCCESS;
    const std::uint32_t returnCode = answer(signature, code, block, duration);
    if (systemError_) {
      return systemError_;
    }
    storeLe32(&block[20], returnCode);
    RequestFaults::patch(fault, block);
    if (const auto* cut = RequestFaults::actionOf<RequestShort>(fault)) {
      *returned = std::min<std::size_t>(*returned, cut->bytes);
    }
    return ERROR_SUCCESS;
  }

 private:
  /// The reply of a pass-through whose connection failed: a status, no frame, no response, no data.
  static void breakConnection(Block block, std::uint32_t code, std::uint8_t status) {
    const bool ssp = code == kSspPassThrough;
    const std::size_t statusAt = ssp ? 100 : 72;
    const std::size_t dataAt = ssp ? 368 : 164;
    std::ranges::fill(block.subspan(statusAt, std::min(dataAt, block.size()) - statusAt),
                      std::uint8_t{0});
    block[statusAt] = status;
    storeLe32(&block[20], kGood);
  }

  std::uint32_t answer(std::string_view signature, std::uint32_t code, Block block,
                       std::uint64_t* duration) {
    struct Request {
      std::uint32_t code;
      std::string_view signature;
      std::size_t smallest;
    };
    static constexpr std::array<Request, 6> kRequests{{{2, "CSMIALL", 208},
                                                       {10, "CSMIARY", 128},
                                                       {11, "CSMIARY", 64},
                                                       {20, "CSMISAS", 2080},
                                                       {24, "CSMISAS", 372},
                                                       {25, "CSMISAS", 168}}};
    const auto known = std::ranges::find(kRequests, code, &Request::code);
    if (known == kRequests.end() || known->signature != signature) {
      return kBadControlCode;
    }
    if (block.size() < known->smallest) {
      return kInvalidParameter;
    }
    switch (code) {
      case 2:
        return controllerConfig(block);
      case 10:
        storeLe32(&block[28], static_cast<std::uint32_t>(description_.sets.size()));
        storeLe32(&block[32], description_.drivesPerSet);
        return kGood;
      case 11:
        return raidConfig(block);
      case 20:
        return phyInfo(block);
      case 24:
        return sspPassThrough(block, duration);
      default:
        return stpPassThrough(block, duration);
    }
  }

  std::uint32_t controllerConfig(Block block) const {
    const ControllerDescription& controller = port_.description();
    block[46] = 5;  // SAS or SATA
    block[47] = 3;  // on a PCI bus
    block[48] = static_cast<std::uint8_t>(controller.bus);
    block[49] = static_cast<std::uint8_t>(controller.device);
    block[50] = static_cast<std::uint8_t>(controller.function);
    for (std::size_t i = 0; i < description_.biosVersion.size(); ++i) {
      storeLe16(&block[170 + 2 * i], description_.biosVersion[i]);
    }
    storeLe32(&block[180], description_.flags);
    return kGood;
  }

  std::uint32_t raidConfig(Block block) const {
    const std::uint32_t index = loadLe32(&block[28]);
    if (index >= description_.sets.size()) {
      return kSetOutOfRange;
    }
    const CsmiSetDescription& set = description_.sets[index];
    storeLe32(&block[32], set.capacityMebibytes);
    block[40] = set.type;
    block[43] = static_cast<std::uint8_t>(set.drives.size());
    const std::size_t room = (block.size() - 64) / kSetDriveBytes;
    for (std::size_t i = 0; i < std::min(room, set.drives.size()); ++i) {
      const Drive* drive = machine_.drive(set.drives[i]);
      if (drive == nullptr) {
        return kFailed;
      }
      const Block entry = block.subspan(64 + i * kSetDriveBytes, kSetDriveBytes);
      putText(entry.subspan(0, 40), drive->identity.product);
      putText(entry.subspan(40, 8), drive->identity.revision);
      putText(entry.subspan(48, 40), drive->identity.serial);
    }
    return kGood;
  }

  /// The drives that have a phy.
  std::vector<Drive*> phyDrives() const {
    std::vector<Drive*> out;
    for (Drive* drive : port_.drives()) {
      if (isSata(*drive) || isSas(*drive)) {
        out.push_back(drive);
      }
    }
    return out;
  }
  // Ports are numbered otherwise than phys, so that one can't pass for the other.
  static std::uint8_t portOf(std::size_t phy) { return static_cast<std::uint8_t>(phy + 8); }
  static std::array<std::uint8_t, 8> addressOf(std::size_t phy) {
    return {0x50, 0x01, 0x20, 0x00, 0x00, 0x00, 0x10, static_cast<std::uint8_t>(phy)};
  }

  std::uint32_t phyInfo(Block block) const {
    const std::vector<Drive*> drives = phyDrives();
    // Nothing is plugged into the first phy.
    block[28] = static_cast<std::uint8_t>(drives.size() + 1);
    for (std::size_t phy = 0; phy <= drives.size(); ++phy) {
      const Block entry = block.subspan(32 + phy * kPhyBytes, kPhyBytes);
      entry[20] = static_cast<std::uint8_t>(phy);
      entry[28] = portOf(phy);
      if (phy == 0) {
        continue;
      }
      entry[36] = 0x10;  // an end device
      entry[39] = isSas(*drives[phy - 1]) ? 8 : 1;
      std::ranges::copy(addressOf(phy), entry.begin() + 48);
    }
    return kGood;
  }

  /// The drive that a pass-through is for; null when phy, port and address don't belong together.
  Drive* addressed(Block block) const {
    const std::vector<Drive*> drives = phyDrives();
    const std::size_t phy = block[28];
    if (phy == 0 || phy > drives.size() || block[29] != portOf(phy) ||
        !std::ranges::equal(addressOf(phy), block.subspan(32, 8))) {
      return nullptr;
    }
    return drives[phy - 1];
  }

  /// Fills direction and data of an exchange; false when the request contradicts itself.
  static bool prepare(Exchange& exchange, Block block, std::uint32_t flags, std::uint32_t bytes,
                      std::size_t dataAt) {
    if (bytes > block.size() - dataAt) {
      return false;
    }
    switch (flags) {
      case 1:
        exchange.direction = DataDirection::In;
        exchange.data.resize(bytes);
        return bytes != 0;
      case 2:
        exchange.direction = DataDirection::Out;
        exchange.data.assign(block.begin() + static_cast<std::ptrdiff_t>(dataAt),
                             block.begin() + static_cast<std::ptrdiff_t>(dataAt + bytes));
        return bytes != 0;
      case 4:
        return bytes == 0;
      default:
        return false;
    }
  }

  /// Takes time and refusals of an exchange over. True when the drive has answered.
  bool settle(DriveReply reply, const Exchange& exchange, Block block, std::size_t dataAt,
              std::uint64_t* duration) {
    *duration = exchange.durationMicroseconds;
    if (reply == DriveReply::SystemError) {
      systemError_ = exchange.transportError;
    }
    if (reply != DriveReply::Answered) {
      return false;
    }
    if (exchange.direction == DataDirection::In) {
      std::copy_n(exchange.data.begin(), exchange.transferred,
                  block.begin() + static_cast<std::ptrdiff_t>(dataAt));
    }
    return true;
  }
  static std::uint64_t timeoutOf(Block block) {
    return loadLe32(&block[12]) * kMicrosecondsPerSecond;
  }

  std::uint32_t sspPassThrough(Block block, std::uint64_t* duration) {
    constexpr std::size_t kDataAt = 368;
    Drive* drive = addressed(block);
    if ((drive == nullptr) || !isSas(*drive)) {
      return kFailed;
    }
    ScsiExchange exchange;
    const std::uint32_t cdbLength = loadLe32(&block[48]);
    if (cdbLength == 0 || cdbLength > exchange.cdb.size() ||
        !prepare(exchange, block, loadLe32(&block[68]), loadLe32(&block[96]), kDataAt)) {
      return kInvalidParameter;
    }
    exchange.cdbLength = static_cast<std::uint8_t>(cdbLength);
    std::copy_n(&block[52], cdbLength, exchange.cdb.begin());
    const DriveReply reply = sendToMember(machine_, *drive->scsi, exchange, timeoutOf(block));
    if (!settle(reply, exchange, block, kDataAt, duration)) {
      return kFailed;
    }
    block[105] = exchange.status;
    const std::size_t sense = std::min<std::size_t>(exchange.sense.size(), 256);
    block[104] = sense != 0 ? 2 : 0;
    storeBe16(&block[106], static_cast<std::uint16_t>(sense));
    std::copy_n(exchange.sense.begin(), sense, block.begin() + 108);
    storeLe32(&block[364], static_cast<std::uint32_t>(exchange.transferred));
    return kGood;
  }

  std::uint32_t stpPassThrough(Block block, std::uint64_t* duration) {
    constexpr std::size_t kDataAt = 164;
    constexpr std::uint32_t kPio = 16;
    Drive* drive = addressed(block);
    if ((drive == nullptr) || !isSata(*drive)) {
      return kFailed;
    }
    AtaExchange exchange;
    const std::uint32_t flags = loadLe32(&block[64]);
    if (block[44] != 0x27 || block[45] != 0x80 || (flags & kPio) == 0 ||
        !prepare(exchange, block, flags & ~kPio, loadLe32(&block[68]), kDataAt)) {
      return kInvalidParameter;
    }
    exchange.in = readCommandFis(&block[44]);
    if (ataCommandTraits(exchange.in.command, 0).transfer == AtaTransfer::Dma) {
      return kInvalidParameter;  // the request says PIO
    }
    const DriveReply reply = sendToMember(machine_, *drive->ata, exchange, timeoutOf(block));
    if (!settle(reply, exchange, block, kDataAt, duration)) {
      return kFailed;
    }
    writeReplyFis(exchange.out, &block[76]);
    storeLe32(&block[160], static_cast<std::uint32_t>(exchange.transferred));
    return kGood;
  }

  Machine& machine_;
  PortObject& port_;
  const CsmiDescription& description_;
  RequestFaults faults_;
  std::uint32_t systemError_ = ERROR_SUCCESS;
};

/// The controller under one of its signatures.
class CsmiMiniport : public MiniportHandler {
 public:
  CsmiMiniport(std::shared_ptr<CsmiController> controller, std::string_view signature)
      : controller_(std::move(controller)), signature_(signature) {}
  std::string_view signature() const override { return signature_; }
  std::uint32_t handle(Block block, std::uint64_t* duration, std::size_t* returned) override {
    return controller_->handle(signature_, block, duration, returned);
  }

 private:
  std::shared_ptr<CsmiController> controller_;
  std::string_view signature_;
};

}  // namespace

void addCsmiController(Machine& machine, PortObject& port) {
  const auto controller = std::make_shared<CsmiController>(machine, port);
  for (const std::string_view signature : {"CSMIALL", "CSMISAS", "CSMIARY"}) {
    port.addMiniport(std::make_unique<CsmiMiniport>(controller, signature));
  }
}

}  // namespace ostria::virtual_pc
