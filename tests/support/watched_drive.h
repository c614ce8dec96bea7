#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "base/byte_order.h"
#include "tests/support/stand_before.h"

namespace ostria::storage::test {

/// Stands before a drive of the virtual PC and sees every command that the system sends to it.
class WatchedDrive {
 public:
  struct Read {
    std::uint64_t lba;
    std::uint64_t count;
    bool operator==(const Read&) const = default;
  };

  explicit WatchedDrive(virtual_pc::Drive& drive) {
    watch<virtual_pc::AtaExchange>(drive.ata);
    watch<virtual_pc::ScsiExchange>(drive.scsi);
  }
  WatchedDrive(const WatchedDrive&) = delete;
  WatchedDrive& operator=(const WatchedDrive&) = delete;

  /// Reads by ATA and SCSI commands, in their order. ATA commands count by ATA or SCSI
  /// pass-through.
  std::vector<Read> reads;
  std::map<std::uint8_t, unsigned> ataCommands;
  std::map<std::uint8_t, unsigned> scsiCommands;
  unsigned commands = 0;
  /// Called with each command, after it was counted.
  std::function<void()> onCommand;

  void forget() {
    reads.clear();
    ataCommands.clear();
    scsiCommands.clear();
    commands = 0;
  }

 private:
  template <typename Exchange, typename Target>
  void watch(std::unique_ptr<Target>& side) {
    standBefore<Exchange, Target>(side, [this](Exchange& exchange, Target& drive) {
      see(exchange);
      ++commands;
      if (onCommand) {
        onCommand();
      }
      drive.execute(exchange);
    });
  }

  void see(const virtual_pc::AtaExchange& exchange) { see(exchange.in); }
  void see(const virtual_pc::AtaTaskFile& in) {
    ++ataCommands[in.command];
    if (in.command == 0x24) {
      reads.push_back({in.lba48(), in.count});
    }
    if (in.command == 0x20) {
      reads.push_back({in.lba28(), in.count});
    }
  }
  void see(const virtual_pc::ScsiExchange& exchange) {
    const auto& cdb = exchange.cdb;
    ++scsiCommands[cdb[0]];
    if (cdb[0] == 0x28) {
      reads.push_back({loadBe32(&cdb[2]), loadBe16(&cdb[7])});
    }
    if (cdb[0] == 0xA8) {
      reads.push_back({loadBe32(&cdb[2]), loadBe32(&cdb[6])});
    }
    if (cdb[0] == 0x88) {
      reads.push_back({loadBe64(&cdb[2]), loadBe32(&cdb[10])});
    }
    // ATA commands on their way through SAT.
    const auto pair = [&](int high) { return loadBe16(&cdb[static_cast<std::size_t>(high)]); };
    if (cdb[0] == 0x85) {
      see({pair(3), pair(5), pair(7), pair(9), pair(11), cdb[13], cdb[14]});
    }
    if (cdb[0] == 0xA1) {
      see({cdb[3], cdb[4], cdb[5], cdb[6], cdb[7], cdb[8], cdb[9]});
    }
  }
};

}  // namespace ostria::storage::test
