#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "diagnostics/storage_test_base.h"

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
  /// @param closing  set to the closing line, which may be empty
  TestResult scan(std::uint64_t first, std::uint64_t last, std::string& closing);
  TestResult scanBlocks(std::uint64_t first, std::uint64_t last, std::uint64_t blockSectors,
                        std::uint8_t* buffer, std::uint32_t blockBytes, std::string& closing);
  /// Notes a bad block, or tells why the scan cannot go on.
  TestResult judgeError(std::uint64_t lba, ProtocolResult error, std::string& closing);

  std::uint64_t errorLimit_ = 1;  ///< bad blocks at which the test stops; 0 for no limit
  std::vector<TestParameter> parameterList_;
  std::vector<std::uint64_t> badBlocks_;  ///< of this run
};

}  // namespace ostria::storage
