#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "diagnostics/storage_test_base.h"
#include "diagnostics/surface/bad_blocks.h"

namespace ostria::storage {

/// Reads every block of the disk from the first sector to the last.
class FullDiskScanTest : public StorageTest {
 public:
  explicit FullDiskScanTest(const Identifier& id);

  TestResult run(TestRunContext* context) override;
  std::vector<TestParameter> parameters() override { return parameterList_; }
  std::vector<TestParameter> defaultParameters() override { return parameterList_; }
  bool setParameters(const std::vector<TestParameter>& parameters,
                     std::vector<ParameterIssue>& issues) override;
  bool checkParameters(const std::vector<TestParameter>& parameters,
                       std::vector<ParameterIssue>& issues) override {
    return setParameters(parameters, issues);
  }
  void resetParameters() override;
  TestResult check(StorageComponent* component, TestListener* listener, MessageLog* log) override;
  TestResult prepare(StorageComponent* component, TestListener* listener, MessageLog* log) override;

 private:
  /// What one run knows: the area, the block, and what could not be read.
  struct Scan {
    std::uint64_t last = 0;  ///< sector; the first is 0
    std::uint32_t sectorBytes = 0;
    std::uint16_t blockSectors = 0;
    BadBlocks bad;
    std::string closing;  ///< the closing line, may be empty
  };

  TestResult scan(Scan& scan);
  TestResult scanBlocks(Scan& scan, TransferBuffer& buffer, std::uint32_t bufferBytes);
  /// Notes a bad block, or reports why the scan cannot go on.
  TestResult judgeError(std::uint64_t lba, ProtocolResult error, Scan& scan);

  std::uint64_t errorLimit_ = 1;  ///< bad blocks at which the test stops; 0 for no limit
  std::vector<TestParameter> parameterList_;
};

}  // namespace ostria::storage
