// The library behind which LSI controllers stand: one function takes all command records.
#include "virtual_pc/system/raid/lsi_library.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "virtual_pc/drives/sat_health_pages.h"
#include "virtual_pc/system/kernel.h"
#include "virtual_pc/system/raid/member_drives.h"
#include "virtual_pc/system/raid/request_faults.h"

namespace ostria::virtual_pc {

namespace {

using storage::loadLe16;
using storage::loadLe32;
using storage::storeLe16;
using storage::storeLe32;
using storage::storeLe64;

using Block = std::span<std::uint8_t>;

// Results of the library.
constexpr std::uint32_t kGood = 0;
constexpr std::uint32_t kInvalidCommand = 1;
constexpr std::uint32_t kInvalidParameter = 3;
constexpr std::uint32_t kNoSuchDevice = 12;
constexpr std::uint32_t kScsiStatusBad = 45;

/// The command record as the library's callers fill it.
struct CommandRecord {
  std::uint8_t command;
  std::uint8_t group;
  std::uint16_t reserved1;
  std::uint32_t controllerId;
  std::uint16_t deviceId;
  std::uint8_t subIndex;
  std::uint8_t reserved2[17];
  std::uint32_t dataSize;
  void* data;
  std::uint8_t reserved3[8];
};
static_assert(offsetof(CommandRecord, dataSize) == 28 && offsetof(CommandRecord, data) == 32 &&
              sizeof(CommandRecord) == 48);

void putText(Block block, std::size_t at, std::size_t bytes, const std::string& text) {
  std::copy_n(text.begin(), std::min(text.size(), bytes), &block[at]);
}

/// Four hexadecimal digits of a hardware identifier, behind a mark.
std::uint16_t idPart(const std::string& hardwareId, const std::string& mark) {
  const std::size_t at = hardwareId.find(mark);
  std::uint16_t value = 0;
  if (at != std::string::npos && at + mark.size() + 4 <= hardwareId.size()) {
    const char* digits = hardwareId.data() + at + mark.size();
    std::from_chars(digits, digits + 4, value, 16);
  }
  return value;
}

}  // namespace

class LsiLibrary {
 public:
  explicit LsiLibrary(Machine& machine)
      : machine_(machine), faults_(machine, machine.description().storelib.faults) {}

  std::uint32_t execute(const CommandRecord& record) {
    const std::uint32_t code = record.command | (std::uint32_t{record.group} << 8);
    const RequestFault* fault = faults_.take(code, driveFor(code, record));
    if (const auto* error = RequestFaults::actionOf<RequestError>(fault)) {
      return error->error;
    }
    if (record.data == nullptr) {
      return kInvalidParameter;
    }
    const Block block(static_cast<std::uint8_t*>(record.data), record.dataSize);
    const std::vector<std::uint8_t> asked(block.begin(), block.end());
    const std::uint32_t result = answer(code, record, block);
    if (const auto* part = RequestFaults::actionOf<RequestShort>(fault)) {
      const std::size_t came = std::min<std::size_t>(part->bytes, block.size());
      std::copy(asked.begin() + static_cast<std::ptrdiff_t>(came), asked.end(),
                block.begin() + static_cast<std::ptrdiff_t>(came));
    }
    RequestFaults::patch(fault, block);
    return result;
  }

 private:
  /// The drive that a command is for; null for commands to the controller.
  Drive* driveFor(std::uint32_t code, const CommandRecord& record) const {
    const bool forDrive = code == 0x0002 || code == 0x0006 || code == 0x0206;
    PortObject* port = forDrive ? controller(record.controllerId) : nullptr;
    return port != nullptr ? driveOf(*port, record.deviceId) : nullptr;
  }

  std::uint32_t answer(std::uint32_t code, const CommandRecord& record, Block block) {
    if (code == 0x0300) {
      return block.size() == 260 ? controllerList(block) : kInvalidParameter;
    }
    PortObject* port = controller(record.controllerId);
    if (port == nullptr) {
      return kNoSuchDevice;
    }
    const LsiDescription& lsi = *port->description().lsi;
    switch (code) {
      case 0x0001:
        return block.size() == 2480 ? controllerInfo(port->description(), block)
                                    : kInvalidParameter;
      case 0x0D01:
        return block.size() == 4104 ? properties(lsi, block) : kInvalidParameter;
      case 0x0501:
        return block.size() == 4616 ? configuration(lsi, block) : kInvalidParameter;
      case 0x0B03:
        return block.size() == 516 ? arrayInfo(*port, record.subIndex, block) : kInvalidParameter;
      case 0x0003:
        return block.size() == 384 ? driveInfo(lsi, record.deviceId, record.subIndex, block)
                                   : kInvalidParameter;
      case 0x0401:
        return driveList(*port, block);
      case 0x0002:
        return block.size() == 512 ? pdInfo(*port, record.deviceId, block) : kInvalidParameter;
      case 0x0006:
        return sspPassThrough(*port, record.deviceId, block);
      case 0x0206:
        return stpPassThrough(*port, record.deviceId, block);
      default:
        return kInvalidCommand;
    }
  }

  PortObject* controller(std::uint32_t id) const {
    for (const auto& port : machine_.ports()) {
      if (port->description().lsi && port->description().lsi->id == id) {
        return port.get();
      }
    }
    return nullptr;
  }

  std::uint32_t controllerList(Block block) const {
    std::uint32_t count = 0;
    for (const auto& port : machine_.ports()) {
      if (port->description().lsi && count < 64) {
        storeLe32(&block[4 + 4 * count++], port->description().lsi->id);
      }
    }
    storeLe32(&block[0], count);
    return kGood;
  }

  static std::uint32_t controllerInfo(const ControllerDescription& controller, Block block) {
    const LsiDescription& lsi = *controller.lsi;
    storeLe16(&block[0], idPart(controller.hardwareId, "VEN_"));
    storeLe16(&block[2], idPart(controller.hardwareId, "DEV_"));
    block[104] = lsi.interfaces;
    storeLe32(&block[180], 2);
    putText(block, 184, 8, "APP");
    putText(block, 192, 32, "3.140");
    putText(block, 256, 8, "BIOS");
    putText(block, 264, 32, lsi.biosVersion);
    putText(block, 1344, 80, lsi.product);
    putText(block, 1424, 32, lsi.serial);
    storeLe32(&block[1500], lsi.raidLevels);
    return kGood;
  }

  static std::uint32_t properties(const LsiDescription& lsi, Block block) {
    storeLe32(&block[0], static_cast<std::uint32_t>(lsi.sets.size()));
    for (std::size_t i = 0; i < lsi.sets.size(); ++i) {
      block[8 + 16 * i] = lsi.sets[i].number;
      block[8 + 16 * i + 4] = 3;  // optimal
      storeLe64(&block[8 + 16 * i + 8], lsi.sets[i].blocks);
    }
    return kGood;
  }

  static std::vector<std::uint16_t> arraysOf(const LsiDescription& lsi) {
    std::vector<std::uint16_t> out;
    for (const LsiSetDescription& set : lsi.sets) {
      if (std::ranges::find(out, set.array) == out.end()) {
        out.push_back(set.array);
      }
    }
    return out;
  }

  static std::uint32_t configuration(const LsiDescription& lsi, Block block) {
    // The head, the arrays, then the logical drives with the array of their first span.
    constexpr std::size_t kHeadBytes = 32;
    constexpr std::size_t kArrayBytes = 8;
    constexpr std::size_t kSetBytes = 96;
    const std::vector<std::uint16_t> arrays = arraysOf(lsi);
    const std::size_t bytes =
        kHeadBytes + arrays.size() * kArrayBytes + lsi.sets.size() * kSetBytes;
    if (bytes > block.size()) {
      return kInvalidParameter;
    }
    storeLe32(&block[0], static_cast<std::uint32_t>(bytes));
    storeLe16(&block[4], static_cast<std::uint16_t>(arrays.size()));
    storeLe16(&block[6], static_cast<std::uint16_t>(kArrayBytes));
    storeLe16(&block[8], static_cast<std::uint16_t>(lsi.sets.size()));
    storeLe16(&block[10], static_cast<std::uint16_t>(kSetBytes));
    for (std::size_t i = 0; i < arrays.size(); ++i) {
      storeLe16(&block[kHeadBytes + i * kArrayBytes], arrays[i]);
    }
    for (std::size_t i = 0; i < lsi.sets.size(); ++i) {
      const Block set =
          block.subspan(kHeadBytes + arrays.size() * kArrayBytes + i * kSetBytes, kSetBytes);
      set[0] = lsi.sets[i].number;
      storeLe16(&set[80], lsi.sets[i].array);
    }
    return kGood;
  }

  std::uint32_t arrayInfo(PortObject& port, std::size_t index, Block block) const {
    const LsiDescription& lsi = *port.description().lsi;
    const auto set = std::ranges::find(lsi.sets, index, &LsiSetDescription::array);
    if (set == lsi.sets.end()) {
      return kNoSuchDevice;
    }
    const auto& names = set->drives;
    storeLe32(&block[0], static_cast<std::uint32_t>(names.size()));
    for (std::size_t i = 0; i < names.size(); ++i) {
      const auto position = std::ranges::find(port.drives(), machine_.drive(names[i]));
      storeLe16(
          &block[4 + 2 * i],
          deviceIdOf(static_cast<std::size_t>(std::distance(port.drives().begin(), position))));
    }
    return kGood;
  }

  static std::uint32_t driveInfo(const LsiDescription& lsi, std::uint16_t number,
                                 std::uint8_t array, Block block) {
    const auto found = std::ranges::find(lsi.sets, number, &LsiSetDescription::number);
    if (found == lsi.sets.end() || found->array != array) {
      return kNoSuchDevice;
    }
    const LsiSetDescription& set = *found;
    block[32] = set.primary;
    block[34] = set.secondary;
    block[36] = static_cast<std::uint8_t>(set.drives.size() / set.spanDepth);
    block[37] = set.spanDepth;
    storeLe64(&block[256], set.blocks);
    return kGood;
  }

  // Numbers that neither start at 0 nor pass for a position in the list.
  static std::uint16_t deviceIdOf(std::size_t position) {
    return static_cast<std::uint16_t>(position + 4);
  }
  static Drive* driveOf(PortObject& port, std::uint16_t deviceId) {
    const std::size_t position = std::size_t{deviceId} - 4;
    return deviceId >= 4 && position < port.drives().size() ? port.drives()[position] : nullptr;
  }

  static std::uint32_t driveList(PortObject& port, Block block) {
    const auto& foreign = port.description().lsi->foreign;
    const std::size_t count = foreign.size() + port.drives().size();
    if (block.size() < 8 + 24 * count) {
      return kInvalidParameter;
    }
    storeLe32(&block[0], static_cast<std::uint32_t>(8 + 24 * count));
    storeLe32(&block[4], static_cast<std::uint32_t>(count));
    std::size_t at = 8;
    for (const LsiForeignDescription& entry : foreign) {
      storeLe16(&block[at], entry.deviceId);
      block[at + 6] = entry.type;
      at += 24;
    }
    for (std::size_t i = 0; i < port.drives().size(); ++i, at += 24) {
      storeLe16(&block[at], deviceIdOf(i));
    }
    return kGood;
  }

  std::uint32_t pdInfo(PortObject& port, std::uint16_t deviceId, Block block) {
    Drive* drive = driveOf(port, deviceId);
    if (drive == nullptr) {
      return kNoSuchDevice;
    }
    ScsiExchange inquiry;
    inquiry.cdb = {0x12, 0, 0, 0, 96};
    inquiry.cdbLength = 6;
    inquiry.direction = DataDirection::In;
    inquiry.data.resize(96);
    if (send(*drive->scsi, inquiry, 30) != DriveReply::Answered || inquiry.status != 0) {
      return kNoSuchDevice;
    }
    storeLe16(&block[0], deviceId);
    std::copy_n(inquiry.data.begin(), inquiry.transferred, &block[4]);
    putText(block, 4 + 36, 20, drive->identity.serial);
    storeLe16(&block[184], 0x18);  // online
    storeLe16(&block[188], static_cast<std::uint16_t>((isSata(*drive) ? 3 : 2) << 12));
    storeLe64(&block[232],
              drive->medium->sectors() * std::uint64_t{drive->medium->sectorBytes()} / 512);
    return kGood;
  }

  /// Sends a command, and lets the time pass that it takes.
  template <typename Model, typename Kind>
  DriveReply send(Model& model, Kind& exchange, std::uint32_t seconds) {
    const DriveReply reply =
        sendToMember(machine_, model, exchange, seconds * kMicrosecondsPerSecond);
    machine_.clock().advance(exchange.durationMicroseconds);
    return reply;
  }

  /// Fills direction and data of an exchange; false when the request contradicts itself.
  static bool prepare(Exchange& exchange, std::uint8_t direction, Block data) {
    switch (direction) {
      case 0:
        return data.empty();
      case 1:
        exchange.direction = DataDirection::Out;
        exchange.data.assign(data.begin(), data.end());
        return !data.empty();
      case 2:
        exchange.direction = DataDirection::In;
        exchange.data.resize(data.size());
        return !data.empty();
      default:
        return false;
    }
  }

  std::uint32_t sspPassThrough(PortObject& port, std::uint16_t deviceId, Block block) {
    constexpr std::size_t kDataAt = 64;
    if (block.size() < kDataAt || loadLe16(&block[0]) != deviceId || block[2] != 1 ||
        loadLe32(&block[60]) != block.size() - kDataAt) {
      return kInvalidParameter;
    }
    Drive* drive = driveOf(port, deviceId);
    if (drive == nullptr) {
      return kNoSuchDevice;
    }
    ScsiExchange exchange;
    exchange.cdbLength = block[11];
    if (exchange.cdbLength == 0 || exchange.cdbLength > exchange.cdb.size() ||
        !prepare(exchange, block[4], block.subspan(kDataAt))) {
      return kInvalidParameter;
    }
    std::copy_n(&block[12], exchange.cdbLength, exchange.cdb.begin());
    const std::uint32_t seconds = loadLe16(&block[8]);
    DriveReply reply;
    if (isSata(*drive)) {
      SatHealth firmware(*drive->ata, *drive->scsi);
      reply = send(firmware, exchange, seconds);
    } else {
      reply = send(*drive->scsi, exchange, seconds);
    }
    if (reply != DriveReply::Answered) {
      return kNoSuchDevice;
    }
    block[10] = exchange.status;
    std::copy_n(exchange.sense.begin(), std::min<std::size_t>(exchange.sense.size(), 32),
                &block[28]);
    if (exchange.direction == DataDirection::In) {
      std::copy_n(exchange.data.begin(), exchange.transferred, block.begin() + kDataAt);
    }
    storeLe32(&block[60], static_cast<std::uint32_t>(exchange.transferred));
    return exchange.status == 0 ? kGood : kScsiStatusBad;
  }

  std::uint32_t stpPassThrough(PortObject& port, std::uint16_t deviceId, Block block) {
    constexpr std::size_t kDataAt = 60;
    constexpr std::uint32_t kIdentify = 16;
    constexpr std::uint32_t kSelfTest = 0x100;
    if (block.size() < kDataAt || block[0] != static_cast<std::uint8_t>(deviceId) ||
        block[8] != 0x27 || block[9] != 0x80 || loadLe32(&block[32]) != 20 ||
        loadLe32(&block[36]) != block.size() - kDataAt) {
      return kInvalidParameter;
    }
    Drive* drive = driveOf(port, deviceId);
    if ((drive == nullptr) || !isSata(*drive)) {
      return kNoSuchDevice;
    }
    AtaExchange exchange;
    constexpr std::uint32_t kFlags[] = {4, 2, 1};  // by direction
    if (!prepare(exchange, block[1], block.subspan(kDataAt)) ||
        (loadLe32(&block[4]) & ~(kIdentify | kSelfTest)) != kFlags[block[1]] ||
        ((loadLe32(&block[4]) & kIdentify) != 0) != (block[10] == 0xEC) ||
        ((loadLe32(&block[4]) & kSelfTest) != 0) != (block[11] == 0xD4)) {
      return kInvalidParameter;
    }
    exchange.in = readCommandFis(&block[8]);
    if (send(*drive->ata, exchange, loadLe16(&block[2])) != DriveReply::Answered) {
      storeLe32(&block[28], kNoSuchDevice);
      return kGood;
    }
    writeReplyFis(exchange.out, &block[40]);
    if (exchange.direction == DataDirection::In) {
      std::copy_n(exchange.data.begin(), exchange.transferred, block.begin() + kDataAt);
    }
    return kGood;
  }

  Machine& machine_;
  RequestFaults faults_;
};

namespace {

/// What programs call. It works on the machine that runs, whoever looked it up and when.
std::uint32_t processLibCommand(void* record) {
  const KernelCall call(KernelCall::Kind::Plain);
  const auto library = call->machine().lsiLibrary();
  if (!library || (record == nullptr)) {
    return kInvalidCommand;
  }
  return library->execute(*static_cast<const CommandRecord*>(record));
}

}  // namespace

std::shared_ptr<LsiLibrary> addLsiLibrary(Machine& machine) {
  const auto& controllers = machine.description().controllers;
  if (std::ranges::none_of(controllers, [](const auto& entry) { return entry.lsi.has_value(); })) {
    return nullptr;
  }
  machine.libraries()["storelib.dll"][machine.description().storelib.function] =
      reinterpret_cast<Machine::Function>(&processLibCommand);
  return std::make_shared<LsiLibrary>(machine);
}

}  // namespace ostria::virtual_pc
