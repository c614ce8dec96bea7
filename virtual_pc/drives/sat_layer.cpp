// SCSI to ATA translation (SAT-2), and two vendors' own commands instead of it.
#include "virtual_pc/drives/sat_layer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_command_traits.h"
#include "virtual_pc/drives/ata_commands.h"
#include "virtual_pc/drives/scsi_commands.h"

namespace ostria::virtual_pc {

using storage::byteOf;
using storage::loadBe16;

namespace {

constexpr std::uint8_t kErrorBit = 0x01;
constexpr std::uint8_t kFaultBit = 0x20;
constexpr std::uint8_t kBusyBit = 0x80;
constexpr std::uint8_t kFailureBits = kErrorBit | kFaultBit | kBusyBit;

std::uint16_t pair(std::uint8_t previous, std::uint8_t current) {
  return static_cast<std::uint16_t>((previous << 8) | current);
}

/// Sense key and codes for an ATA error (SAT-2, table of ATA errors).
void failByRegisters(ScsiExchange& exchange, const AtaTaskFile& registers, bool writing) {
  const std::uint8_t error = byteOf(registers.features, 0);
  const std::uint8_t status = registers.command;
  if (status & kBusyBit) {
    exchange.fail(kSenseNotReady, 0x04);
  } else if (status & kFaultBit) {
    exchange.fail(kSenseHardwareError, 0x44);  // internal target failure
  } else if (error & 0x40) {
    exchange.fail(kSenseMediumError, writing ? 0x0C : 0x11);
  } else if (error & 0x80) {
    exchange.fail(kSenseAborted, 0x47, 0x03);
  } else if (error & 0x10) {
    exchange.fail(kSenseIllegalRequest, kAscOutOfRange);
  } else {
    exchange.fail(kSenseAborted, 0x00);
  }
}

/// ATA Status Return descriptor, 14 bytes.
std::array<std::uint8_t, 14> statusReturn(const AtaTaskFile& registers, bool extended) {
  std::array<std::uint8_t, 14> out{0x09, 0x0C};
  out[2] = extended ? 1 : 0;
  out[3] = byteOf(registers.features, 0);
  const std::array<std::uint16_t, 4> pairs{registers.count, registers.lbaLow, registers.lbaMid,
                                           registers.lbaHigh};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    out[4 + 2 * i] = extended ? byteOf(pairs[i], 1) : std::uint8_t{0};
    out[5 + 2 * i] = byteOf(pairs[i], 0);
  }
  out[12] = registers.device;
  out[13] = registers.command;
  return out;
}

// Protocols of the pass-through CDB.
constexpr unsigned kNonData = 3;
constexpr unsigned kPioIn = 4;
constexpr unsigned kPioOut = 5;
constexpr unsigned kDma = 6;
constexpr unsigned kUltraDmaIn = 10;
constexpr unsigned kUltraDmaOut = 11;

/// Bytes that the CDB says are moved: T_LENGTH names the field, BYT_BLOK and T_TYPE its unit.
std::size_t transferLength(const std::uint8_t* cdb, const AtaTaskFile& in,
                           std::size_t sectorBytes) {
  const unsigned field = cdb[2] & 0x03u;
  const std::size_t units = field == 1 ? in.features : field == 2 ? in.count : 0;
  const bool blocks = (cdb[2] & 0x04) != 0;
  const bool sectors = (cdb[2] & 0x10) != 0;
  return units * (!blocks ? 1 : sectors ? sectorBytes : 512);
}

/// Commands whose result stands in the registers alone.
bool answersInRegisters(const AtaTaskFile& in) {
  return in.command == ata::CheckPowerMode || in.command == ata::FormerCheckPowerMode ||
         (in.command == ata::Smart && byteOf(in.features, 0) == ata::SmartReturnStatus);
}

}  // namespace

SatLayer::SatLayer(SatLayerKind kind, ScsiIdentity identity, AtaDeviceModel& drive, bool lba48,
                   BlockMedium& medium)
    : ScsiBlockDevice(std::move(identity), medium), kind_(kind), drive_(drive), lba48_(lba48) {}

bool SatLayer::forward(ScsiExchange& exchange, AtaExchange& ata) {
  ata.direction = exchange.direction;
  ata.data = std::move(exchange.data);
  drive_.execute(ata);
  exchange.data = std::move(ata.data);
  exchange.transferred = ata.transferred;
  exchange.delivery = ata.delivery;
  exchange.transportError = ata.transportError;
  if (ata.delivery != Delivery::Answered || ata.durationMicroseconds == kNever) {
    exchange.durationMicroseconds = ata.durationMicroseconds;
  }
  if (ata.delivery != Delivery::Answered || exchange.durationMicroseconds == kNever) {
    return false;
  }
  exchange.durationMicroseconds += ata.durationMicroseconds;
  return true;
}

void SatLayer::transfer(ScsiExchange& exchange, Access access, std::uint64_t lba,
                        std::uint64_t count) {
  constexpr std::array<std::uint8_t, 2> kShort{ata::ReadDma, ata::WriteDma};
  constexpr std::array<std::uint8_t, 2> kLong{ata::ReadDmaExt, ata::WriteDmaExt};
  const auto which = static_cast<std::size_t>(access);
  const std::uint64_t most = lba48_ ? 65536 : 256;
  const std::size_t sectorBytes = medium().sectorBytes();
  std::vector<std::uint8_t> whole;
  whole.swap(exchange.data);
  std::size_t moved = 0;
  for (std::uint64_t done = 0; done < count;) {
    const std::uint64_t now = std::min(most, count - done);
    const auto first = whole.begin() + static_cast<std::ptrdiff_t>(done * sectorBytes);
    AtaExchange ata;
    ata.in.setLba48(lba + done);
    ata.in.count = static_cast<std::uint16_t>(now == 65536 ? 0 : now);
    ata.in.device = 0x40;
    ata.in.command = lba48_ ? kLong[which] : kShort[which];
    if (!lba48_) {
      ata.in.count = byteOf(now, 0);
      ata.in.device = static_cast<std::uint8_t>(0x40 | (byteOf(lba + done, 3) & 0x0F));
    }
    const bool all = now == count;  // the usual case needs no copy
    if (all) {
      exchange.data.swap(whole);
    } else {
      exchange.data.assign(first, first + static_cast<std::ptrdiff_t>(now * sectorBytes));
    }
    const bool answered = forward(exchange, ata);
    moved += exchange.transferred;
    if (all) {
      exchange.data.swap(whole);
    } else if (access == Access::Read) {
      std::copy(exchange.data.begin(), exchange.data.end(), first);
    }
    if (!answered) {
      break;
    }
    if (ata.out.command & kFailureBits) {
      failByRegisters(exchange, ata.out, access == Access::Write);
      break;
    }
    done += now;
  }
  exchange.data = std::move(whole);
  exchange.transferred = moved;
}

void SatLayer::other(ScsiExchange& exchange) {
  const bool sat = kind_ == SatLayerKind::Sat || kind_ == SatLayerKind::SatNoCk;
  if (sat &&
      (exchange.cdb[0] == scsi::AtaPassThrough12 || exchange.cdb[0] == scsi::AtaPassThrough16)) {
    return satPassThrough(exchange, exchange.cdb[0] == scsi::AtaPassThrough16);
  }
  if (kind_ == SatLayerKind::Jmicron && exchange.cdb[0] == 0xDF) {
    return jmicron(exchange);
  }
  if (kind_ == SatLayerKind::Sunplus && exchange.cdb[0] == 0xF8) {
    return sunplus(exchange);
  }
  ScsiBlockDevice::other(exchange);
}

void SatLayer::returnRegisters(ScsiExchange& exchange) const {
  const auto descriptor = statusReturn(last_, lastExtended_);
  exchange.answer(descriptor.data(), descriptor.size());
}

bool SatLayer::acceptsPassThrough(const ScsiExchange& exchange, const AtaTaskFile& in,
                                  bool extended) {
  const std::uint8_t* cdb = exchange.cdb.data();
  const AtaCommandTraits traits = ataCommandTraits(in.command, byteOf(in.features, 0));
  if (!traits.known) {
    return true;  // the drive aborts it
  }
  const unsigned protocol = (cdb[1] >> 1) & 0x0Fu;
  const bool fromDrive = traits.direction == DataDirection::In;
  const auto pio = fromDrive ? kPioIn : kPioOut;
  const auto ultraDma = fromDrive ? kUltraDmaIn : kUltraDmaOut;
  const bool protocolFits = traits.transfer == AtaTransfer::None ? protocol == kNonData
                            : traits.transfer == AtaTransfer::Pio
                                ? protocol == pio
                                : protocol == kDma || protocol == ultraDma;
  const std::size_t moves = ataTransferBytes(in, medium().sectorBytes());
  const std::size_t length = transferLength(cdb, in, medium().sectorBytes());
  const bool toHost = (cdb[2] & 0x08) != 0;
  return protocolFits && (!traits.extended || extended) && length == moves &&
         exchange.data.size() == length && (length == 0 || toHost == fromDrive);
}

void SatLayer::satPassThrough(ScsiExchange& exchange, bool sixteen) {
  const std::uint8_t* cdb = exchange.cdb.data();
  constexpr unsigned kReturnInformation = 15;
  if (((cdb[1] >> 1) & 0x0Fu) == kReturnInformation) {
    return returnRegisters(exchange);
  }

  AtaExchange ata;
  const bool extended = sixteen && ((cdb[1] & 1) != 0);
  if (sixteen) {
    const auto field = [&](unsigned at) {
      return extended ? pair(cdb[at], cdb[at + 1]) : std::uint16_t{cdb[at + 1]};
    };
    ata.in = {field(3), field(5), field(7), field(9), field(11), cdb[13], cdb[14]};
  } else {
    ata.in = {cdb[3], cdb[4], cdb[5], cdb[6], cdb[7], cdb[8], cdb[9]};
  }
  if (!acceptsPassThrough(exchange, ata.in, extended)) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  if (!forward(exchange, ata)) {
    return;
  }
  last_ = ata.out;
  lastExtended_ = extended;

  const bool error = (ata.out.command & kFailureBits) != 0;
  const bool wanted = (cdb[2] & 0x20) != 0;
  const std::size_t moved = exchange.transferred;
  if (kind_ == SatLayerKind::SatNoCk) {
    // This kind knows no CK_COND: where the registers matter it says so, and keeps them.
    if (error) {
      failByRegisters(exchange, ata.out, exchange.direction == DataDirection::Out);
    } else if (answersInRegisters(ata.in)) {
      exchange.fail(kSenseRecovered, 0x00, 0x1D);
    }
  } else if (error || wanted) {
    if (error) {
      failByRegisters(exchange, ata.out, exchange.direction == DataDirection::Out);
    } else {
      exchange.fail(kSenseRecovered, 0x00, 0x1D);
    }
    const auto fixed = exchange.sense;
    exchange.sense = {0x72, fixed[2], fixed[12], fixed[13], 0, 0, 0, 14};
    const auto descriptor = statusReturn(ata.out, extended);
    exchange.sense.insert(exchange.sense.end(), descriptor.begin(), descriptor.end());
  }
  exchange.transferred = moved;
}

void SatLayer::jmicron(ScsiExchange& exchange) {
  const std::uint8_t* cdb = exchange.cdb.data();
  const bool in = (cdb[1] & 0x10) != 0;
  const std::size_t length = loadBe16(cdb + 3);
  if ((in && length == 0) || exchange.data.size() < length) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  AtaExchange ata;
  ata.in = {cdb[5], cdb[6], cdb[7], cdb[8], cdb[9], cdb[10], cdb[11]};
  if (!forward(exchange, ata)) {
    return;
  }
  if (ata.out.command & kFailureBits) {
    failByRegisters(exchange, ata.out, !in);
  }
}

void SatLayer::sunplus(ScsiExchange& exchange) {
  const std::uint8_t* cdb = exchange.cdb.data();
  constexpr std::uint8_t kPassThrough = 0x22;
  constexpr std::uint8_t kPreset = 0x23;
  if (cdb[2] == kPreset) {
    preset_ = {cdb[5], cdb[6], cdb[7], cdb[8], cdb[9], 0, 0};
    return;
  }
  if (cdb[2] != kPassThrough) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  const std::size_t length = std::size_t{cdb[4]} * 512;
  if (exchange.data.size() < length) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  const AtaTaskFile previous = std::exchange(preset_, {});
  AtaExchange ata;
  const auto field = [](std::uint16_t high, std::uint8_t low) {
    return pair(byteOf(high, 0), low);
  };
  ata.in = {field(previous.features, cdb[5]),
            field(previous.count, cdb[6]),
            field(previous.lbaLow, cdb[7]),
            field(previous.lbaMid, cdb[8]),
            field(previous.lbaHigh, cdb[9]),
            cdb[10],
            cdb[11]};
  if (!forward(exchange, ata)) {
    return;
  }
  if (ata.out.command & kFailureBits) {
    failByRegisters(exchange, ata.out, exchange.direction == DataDirection::Out);
  }
}

}  // namespace ostria::virtual_pc
