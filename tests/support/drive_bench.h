#pragma once

#include <string>
#include <utility>
#include <vector>

#include "virtual_pc/drives/make_drive.h"

namespace ostria::virtual_pc::test {

/// A drive of a machine-file description, with short forms of the commands.
class DriveBench {
 public:
  /// @param drive  the JSON object of one drive, without its braces
  explicit DriveBench(const std::string& drive) {
    MachineDescription machine;
    std::string error;
    if (!parseMachine(R"({"format": 1, "drives": [{)" + drive + "}]}", &machine, &error)) {
      throw std::invalid_argument(error);
    }
    drive_ = makeDrive(machine.drives[0], clock);
  }

  Drive* operator->() { return drive_.get(); }

  /// Sends an ATA command; time passes unless the drive hangs.
  AtaExchange ata(AtaTaskFile in, std::size_t readBytes = 0, std::vector<std::uint8_t> out = {}) {
    AtaExchange exchange;
    exchange.in = in;
    prepare(exchange, readBytes, std::move(out));
    drive_->ata->execute(exchange);
    pass(exchange);
    return exchange;
  }
  AtaExchange smart(std::uint8_t subcommand, std::uint8_t low = 0, std::size_t readBytes = 0,
                    std::uint8_t count = 1) {
    return ata({subcommand, count, low, 0x4F, 0xC2, 0, 0xB0}, readBytes);
  }
  AtaExchange readExt(std::uint64_t lba, std::uint16_t count = 1) {
    AtaTaskFile in{0, count, 0, 0, 0, 0x40, 0x25};
    in.setLba48(lba);
    return ata(in, std::size_t{count} * drive_->medium->sectorBytes());
  }
  AtaExchange logExt(std::uint8_t log, std::uint16_t page = 0) {
    return ata({0, 1, log, page, 0, 0, 0x2F}, 512);
  }

  ScsiExchange scsi(const std::vector<std::uint8_t>& cdb, std::size_t readBytes = 0,
                    std::vector<std::uint8_t> out = {}) {
    ScsiExchange exchange;
    std::copy(cdb.begin(), cdb.end(), exchange.cdb.begin());
    exchange.cdbLength = static_cast<std::uint8_t>(cdb.size());
    prepare(exchange, readBytes, std::move(out));
    drive_->scsi->execute(exchange);
    pass(exchange);
    return exchange;
  }
  ScsiExchange read10(std::uint32_t lba, std::uint16_t count = 1) {
    return scsi(
        {0x28, 0, static_cast<std::uint8_t>(lba >> 24), static_cast<std::uint8_t>(lba >> 16),
         static_cast<std::uint8_t>(lba >> 8), static_cast<std::uint8_t>(lba), 0,
         static_cast<std::uint8_t>(count >> 8), static_cast<std::uint8_t>(count), 0},
        std::size_t{count} * drive_->medium->sectorBytes());
  }

  Clock clock;

 private:
  static void prepare(Exchange& exchange, std::size_t readBytes, std::vector<std::uint8_t> out) {
    if (readBytes != 0) {
      exchange.direction = DataDirection::In;
      exchange.data.resize(readBytes);
    } else if (!out.empty()) {
      exchange.direction = DataDirection::Out;
      exchange.data = std::move(out);
    }
  }
  void pass(const Exchange& exchange) {
    if (exchange.durationMicroseconds != kNever) {
      clock.advance(exchange.durationMicroseconds);
    }
  }

  std::unique_ptr<Drive> drive_;
};

/// Content that an unwritten sector must have.
inline std::vector<std::uint8_t> unwritten(std::uint64_t lba, std::uint32_t bytes = 512) {
  std::vector<std::uint8_t> out(bytes);
  SectorStore::pattern(lba, bytes, out.data());
  return out;
}

}  // namespace ostria::virtual_pc::test
