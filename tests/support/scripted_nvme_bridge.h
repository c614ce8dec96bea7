#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "transport/nvme/nvme_bridge.h"
#include "transport/nvme/nvme_cmd.h"

namespace ostria::storage::test {

using Bytes = std::vector<std::uint8_t>;

/// The commands that a test expects, in order, with what comes back. A command that differs, one
/// too many and one left over fail the test.
class ScriptedNvmeBridge : public NvmeBridge {
 public:
  struct Step {
    std::uint8_t opcode;
    std::uint32_t namespaceId;
    std::uint32_t cdw10;
    Bytes answer;
    ProtocolResult result = ProtocolResult::Success;
  };

  ScriptedNvmeBridge() : NvmeBridge(DeviceHandle(7)) {}
  ~ScriptedNvmeBridge() override { EXPECT_EQ(steps_.size(), 0u) << "commands left over"; }

  void expect(Step step) { steps_.push_back(std::move(step)); }
  void identify(Bytes answer) { expect({6, 0, 1, std::move(answer)}); }
  void namespaceList(Bytes answer) { expect({6, 0, 2, std::move(answer)}); }
  void identifyNamespace(std::uint32_t id, Bytes answer) { expect({6, id, 0, std::move(answer)}); }
  /// A log of `bytes` bytes for all namespaces.
  void log(std::uint32_t page, std::uint32_t bytes, Bytes answer) {
    expect({2, 0xFFFFFFFF, page | ((bytes / 4 - 1) << 16), std::move(answer)});
  }

  ProtocolResult Send(NvmeCmd& command) override {
    sent.push_back(command.image());
    pathIds.push_back(command.pathId);
    if (steps_.empty()) {
      ADD_FAILURE() << "unexpected command " << command.opcode;
      return ProtocolResult::Failure;
    }
    const Step step = std::move(steps_.front());
    steps_.pop_front();
    EXPECT_EQ(command.opcode, step.opcode);
    EXPECT_EQ(command.namespaceId, step.namespaceId);
    EXPECT_EQ(command.cdw10, step.cdw10);
    if (step.result == ProtocolResult::Success) {
      std::copy_n(step.answer.begin(), std::min(step.answer.size(), command.transferBytes),
                  static_cast<std::uint8_t*>(command.data));
    }
    return step.result;
  }

  std::vector<std::array<std::uint8_t, NvmeCmd::kImageBytes>> sent;
  std::vector<std::uint8_t> pathIds;

 private:
  std::deque<Step> steps_;
};

/// Identify Controller data.
inline Bytes controllerData(const std::string& serial, const std::string& model = "MODEL",
                            std::uint8_t adminCommands = 0) {
  Bytes data(4096);
  data[0] = 0x86;
  data[1] = 0x80;
  std::fill_n(data.begin() + 4, 68, std::uint8_t{' '});
  std::copy(serial.begin(), serial.end(), data.begin() + 4);
  std::copy(model.begin(), model.end(), data.begin() + 24);
  data[256] = adminCommands;
  data[516] = 1;
  return data;
}

/// Identify Namespace data of one format.
inline Bytes namespaceData(std::uint64_t size, std::uint64_t capacity, std::uint8_t power,
                           std::uint8_t format = 0) {
  Bytes data(4096);
  for (unsigned i = 0; i < 8; ++i) {
    data[i] = static_cast<std::uint8_t>(size >> (8 * i));
    data[8 + i] = static_cast<std::uint8_t>(capacity >> (8 * i));
  }
  data[26] = format;
  data[128u + 4u * (format & 15u) + 2u] = power;
  return data;
}

}  // namespace ostria::storage::test
