// The model of an NVMe controller with its namespace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "virtual_pc/description/nvme_traits.h"
#include "virtual_pc/drives/block_medium.h"
#include "virtual_pc/drives/clock.h"
#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// An NVMe controller with its namespaces: identify, logs 02h, 06h, 09h and DFh, device self-test,
/// read and write. A command that moves more than MDTS allows is refused, and every refused command
/// counts in the error log.
class NvmeDrive : public NvmeDeviceModel {
 public:
  /// @param medium, clock  outlive the drive
  NvmeDrive(NvmeTraits traits, BlockMedium& medium, Clock& clock);

  NvmeTraits& traits() { return traits_; }
  /// Adds a namespace. The medium outlives the drive.
  void addNamespace(std::uint32_t id, BlockMedium& medium) { namespaces_[id] = &medium; }
  /// Answers of a real controller in place of the model's own, but for the self-test log once a
  /// test was started.
  void setRecorded(std::vector<RecordedNvme> answers) { recorded_ = std::move(answers); }

  static constexpr std::size_t kLargestTransfer = std::size_t{128} << 10;

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
  void admin(NvmeExchange& exchange);
  void io(NvmeExchange& exchange);
  void identify(NvmeExchange& exchange);
  void getLog(NvmeExchange& exchange);
  void transfer(NvmeExchange& exchange, BlockMedium& medium, bool write);
  BlockMedium* mediumOf(std::uint32_t namespaceId) const;
  std::vector<std::uint8_t> namespaceList(std::uint32_t after) const;
  void selfTest(NvmeExchange& exchange);
  void startSelfTest(std::uint8_t code);
  void settleSelfTest();
  void finishSelfTest(std::uint8_t result);

  std::vector<std::uint8_t> controllerData() const;
  std::vector<std::uint8_t> namespaceData(const BlockMedium& medium) const;
  std::vector<std::uint8_t> commonNamespaceData() const;
  std::vector<std::uint8_t> healthLog() const;
  std::vector<std::uint8_t> selfTestLog();
  std::vector<std::uint8_t> enduranceLog() const;
  std::vector<std::uint8_t> vendorLog() const;

  NvmeTraits traits_;
  BlockMedium& medium_;  ///< of the first namespace
  std::map<std::uint32_t, BlockMedium*> namespaces_;
  Clock& clock_;
  std::optional<RunningTest> running_;
  std::vector<FinishedTest> finished_;  ///< newest first, at most 20
  std::vector<RecordedNvme> recorded_;
  bool selfTestTouched_ = false;  ///< the host has started or ended one
};

/// Another namespace of a controller, as the system has a disk for it: its commands go to the one
/// controller, with the faults that are planned for that.
class NvmeNamespaceModel : public NvmeDeviceModel {
 public:
  /// @param controller  outlives the model
  explicit NvmeNamespaceModel(NvmeDrive& controller) : controller_(controller) {}

 private:
  void perform(NvmeExchange& exchange) override { controller_.execute(exchange); }

  NvmeDrive& controller_;
};

}  // namespace ostria::virtual_pc
