#pragma once

#include <cstdint>
#include <vector>

#include "diagnostics/storage_test_base.h"
#include "diagnostics/surface/bad_blocks.h"

namespace ostria::storage {

/// Samples an area of the disk: cuts it into equal strides and reads one block at a random position
/// in each, so that a chosen share of the area is read in one pass.
class LinearReadTest : public StorageTest {
 public:
  explicit LinearReadTest(const Identifier& id);

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

 private:
  struct Area {
    std::uint64_t start;
    std::uint64_t stop;
  };
  /// What one run knows: the area, the block, and what could not be read.
  struct Pass {
    Area area{};
    std::uint32_t sectorBytes = 0;
    std::uint16_t blockSectors = 0;
    BadBlocks bad;
  };

  TestResult samplePass();
  Area chooseArea(std::uint64_t last) const;
  TestResult sample(Pass& pass, TransferBuffer& buffer, std::uint32_t bufferBytes);
  TestResult readBlock(Pass& pass, std::uint64_t lba, TransferBuffer& buffer,
                       std::uint32_t bufferBytes);

  double startPercent_ = 0.0;
  double stopPercent_ = 100.0;
  double coveragePercent_ = 20.0;
  std::uint64_t errorLimit_ = 1;  ///< bad blocks at which the test stops; 0 for no limit
  std::vector<TestParameter> parameterList_;
};

}  // namespace ostria::storage
