#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <tuple>
#include <vector>

#include "transport/ata/ata_bridge.h"

namespace ostria::storage::test {

using Bytes = std::vector<std::uint8_t>;

/// The ATA commands that a test expects, in order, with what the drive answers. A field that
/// differs, a command too many and one left over fail the test.
class ScriptedAtaBridge : public AtaBridge {
 public:
  struct Step {
    AtaCmd expected;
    Bytes out;  ///< data that the command must carry
    Bytes answer;
    std::optional<std::uint64_t> moved;
    AtaCmd registers;  ///< what comes back, error and status included
    ProtocolResult result = ProtocolResult::Success;

    Step& carries(Bytes data) { return out = std::move(data), *this; }
    Step& returns(Bytes data) { return answer = std::move(data), *this; }
    Step& moves(std::uint64_t bytes) { return moved = bytes, *this; }
    Step& fails(ProtocolResult with) { return result = with, *this; }
    Step& error(std::uint8_t bits) {
      registers.features = bits;
      registers.command = 0x51;
      return *this;
    }
    /// The status register, behind `error` where both are given.
    Step& ends(std::uint8_t status) { return registers.command = status, *this; }
    Step& count(std::uint8_t value) { return registers.sectorCount = value, *this; }
    Step& lba(std::uint8_t mid, std::uint8_t high) {
      registers.lbaMid = mid;
      registers.lbaHigh = high;
      return *this;
    }
  };

  ScriptedAtaBridge() : AtaBridge(DeviceHandle(7)) {}
  ~ScriptedAtaBridge() override { EXPECT_EQ(steps_.size(), 0u) << "commands left over"; }

  /// Expects a command with the fields of `command`, whose buffer plays no part.
  Step& expect(const AtaCmd& command) {
    Step step;
    step.expected = command;
    step.registers.command = 0x50;
    return steps_.emplace_back(std::move(step));
  }

  /// A failed send leaves rubbish in the registers, as a wrapping bridge does.
  ProtocolResult Send(AtaCmd& command) override {
    if (steps_.empty()) {
      ADD_FAILURE() << "unexpected command " << int{command.command};
      return ProtocolResult::TransportFailure;
    }
    const Step step = std::move(steps_.front());
    steps_.pop_front();
    check(step, command);
    setRegisters(command, step.registers);
    if (!succeeded(step.result)) {
      return step.result;
    }
    if (command.dataDirection == DataDirection::FromDevice) {
      const auto bytes = std::min<std::uint64_t>(step.answer.size(), command.transferBytes);
      std::copy_n(step.answer.begin(), bytes, static_cast<std::uint8_t*>(command.data));
      command.transferBytes = bytes;
    }
    if (step.moved) {
      command.transferBytes = *step.moved;
    }
    return step.result;
  }

 private:
  static auto fieldsOf(const AtaCmd& c) {
    return std::tie(c.features, c.featuresPrevious, c.sectorCount, c.sectorCountPrevious, c.lbaLow,
                    c.lbaLowPrevious, c.lbaMid, c.lbaMidPrevious, c.lbaHigh, c.lbaHighPrevious,
                    c.device, c.command, c.transferBytes, c.timeoutSeconds, c.wantRegisters,
                    c.dataDirection);
  }

  static void check(const Step& step, const AtaCmd& command) {
    EXPECT_EQ(fieldsOf(command), fieldsOf(step.expected));
    if (step.out.empty()) {
      return;
    }
    ASSERT_EQ(command.transferBytes, step.out.size());
    const auto* data = static_cast<const std::uint8_t*>(command.data);
    EXPECT_TRUE(std::equal(step.out.begin(), step.out.end(), data));
  }

  static void setRegisters(AtaCmd& command, const AtaCmd& registers) {
    command.features = registers.features;
    command.sectorCount = registers.sectorCount;
    command.lbaLow = registers.lbaLow;
    command.lbaMid = registers.lbaMid;
    command.lbaHigh = registers.lbaHigh;
    command.device = registers.device;
    command.command = registers.command;
  }

  std::deque<Step> steps_;
};

}  // namespace ostria::storage::test
