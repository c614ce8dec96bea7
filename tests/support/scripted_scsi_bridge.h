#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "transport/scsi/scsi_bridge.h"

namespace ostria::storage::test {

using Bytes = std::vector<std::uint8_t>;

/// The SCSI commands that a test expects, in order, with what the device answers. A field that
/// differs, a command too many and one left over fail the test.
class ScriptedScsiBridge : public ScsiBridge {
 public:
  struct Step {
    Bytes cdb;
    DataDirection direction = DataDirection::None;
    std::uint64_t bytes = 0;
    std::uint32_t timeoutSeconds = 30;
    Bytes out;  ///< data that the command must carry
    Bytes answer;
    std::optional<std::uint64_t> moved;
    std::uint8_t scsiStatus = 0;
    Bytes sense;
    std::optional<std::uint64_t> senseLength;
    ProtocolResult result = ProtocolResult::Success;

    Step& in(std::uint64_t count) {
      direction = DataDirection::FromDevice;
      bytes = count;
      return *this;
    }
    Step& within(std::uint32_t seconds) { return timeoutSeconds = seconds, *this; }
    Step& carries(Bytes data) {
      direction = DataDirection::ToDevice;
      bytes = data.size();
      return out = std::move(data), *this;
    }
    Step& returns(Bytes data) { return answer = std::move(data), *this; }
    Step& moves(std::uint64_t count) { return moved = count, *this; }
    Step& status(std::uint8_t value) { return scsiStatus = value, *this; }
    /// CHECK CONDITION with these sense data.
    Step& senses(Bytes data) { return sense = std::move(data), scsiStatus = 2, *this; }
    Step& claimsSense(std::uint64_t length) { return senseLength = length, *this; }
    Step& fails(ProtocolResult with) { return result = with, *this; }
  };

  ScriptedScsiBridge() : ScsiBridge(DeviceHandle(7)) {}
  ~ScriptedScsiBridge() override { EXPECT_EQ(steps_.size(), 0u) << "commands left over"; }

  /// Expects this whole CDB.
  Step& expect(Bytes cdb) {
    Step step;
    step.cdb = std::move(cdb);
    return steps_.emplace_back(std::move(step));
  }
  /// Expects the CDB and the transfer of `command`, whose buffer plays no part.
  Step& expect(const ScsiCmd& command) {
    Step& step = expect(Bytes(command.cdb.begin(), command.cdb.begin() + command.cdbLength));
    step.direction = command.direction;
    step.bytes = command.transferBytes;
    step.timeoutSeconds = command.timeoutSeconds;
    return step;
  }

  ProtocolResult Send(ScsiCmd& command) override {
    const Bytes cdb(command.cdb.begin(), command.cdb.begin() + command.cdbLength);
    if (steps_.empty()) {
      ADD_FAILURE() << "unexpected command " << testing::PrintToString(cdb);
      return ProtocolResult::TransportFailure;
    }
    const Step step = std::move(steps_.front());
    steps_.pop_front();
    EXPECT_EQ(cdb, step.cdb);
    EXPECT_EQ(command.direction, step.direction);
    EXPECT_EQ(command.transferBytes, step.bytes);
    EXPECT_EQ(command.timeoutSeconds, step.timeoutSeconds);
    if (!step.out.empty() && command.transferBytes == step.out.size()) {
      const auto* data = static_cast<const std::uint8_t*>(command.data);
      EXPECT_EQ(Bytes(data, data + step.out.size()), step.out);
    }
    if (!succeeded(step.result)) {
      return step.result;
    }
    if (command.direction == DataDirection::FromDevice) {
      const auto bytes = std::min<std::uint64_t>(step.answer.size(), command.transferBytes);
      std::copy_n(step.answer.begin(), bytes, static_cast<std::uint8_t*>(command.data));
      command.transferBytes = bytes;
    }
    if (step.moved) {
      command.transferBytes = *step.moved;
    }
    command.scsiStatus = step.scsiStatus;
    std::copy_n(step.sense.begin(), std::min(step.sense.size(), command.sense.size()),
                command.sense.begin());
    command.senseLength = step.senseLength.value_or(step.sense.size());
    return step.result;
  }

 private:
  std::deque<Step> steps_;
};

/// Fixed-format sense data.
inline Bytes fixedSense(std::uint8_t key, std::uint8_t asc = 0, std::uint8_t ascq = 0) {
  Bytes sense(18);
  sense[0] = 0x70;
  sense[2] = key;
  sense[7] = 10;
  sense[12] = asc;
  sense[13] = ascq;
  return sense;
}

}  // namespace ostria::storage::test
