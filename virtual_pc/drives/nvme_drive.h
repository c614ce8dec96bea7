// The model of an NVMe controller with its namespace.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "virtual_pc/description/nvme_traits.h"
#include "virtual_pc/drives/block_medium.h"
#include "virtual_pc/drives/clock.h"
#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// An NVMe controller with one namespace: identify, logs 02h, 06h, 09h and DFh, device self-test,
/// read, write and flush.
class NvmeDrive : public NvmeDeviceModel {
 public:
  /// @param medium, clock  outlive the drive
  NvmeDrive(NvmeTraits traits, BlockMedium& medium, Clock& clock);

  NvmeTraits& traits() { return traits_; }
  const BlockMedium& medium() const { return medium_; }

 private:
  struct RunningTest {
    NvmeSelfTest routine;
    std::uint8_t outcome = 0;
    std::uint64_t started = 0;
    std::uint64_t ends = 0;
  };
  struct FinishedTest {
    std::uint8_t code = 0;
    std::uint8_t result = 0;
    std::optional<std::uint64_t> failingLba;
  };

  void perform(NvmeExchange& exchange) override;
  void identify(NvmeExchange& exchange);
  void getLog(NvmeExchange& exchange);
  void transfer(NvmeExchange& exchange, bool write);
  void selfTest(NvmeExchange& exchange);
  void startSelfTest(std::uint8_t code);
  void settleSelfTest();
  void finishSelfTest(std::uint8_t result);

  std::vector<std::uint8_t> controllerData() const;
  std::vector<std::uint8_t> namespaceData() const;
  std::vector<std::uint8_t> healthLog() const;
  std::vector<std::uint8_t> selfTestLog();
  std::vector<std::uint8_t> enduranceLog() const;
  std::vector<std::uint8_t> vendorLog() const;

  NvmeTraits traits_;
  BlockMedium& medium_;
  Clock& clock_;
  std::optional<RunningTest> running_;
  std::vector<FinishedTest> finished_;  ///< newest first, at most 20
};

}  // namespace ostria::virtual_pc
