// Linear read and full scan before a fake protocol: ranges, limits and what counts as a bad block.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

#include "checks/message_keys.h"
#include "diagnostics/surface/full_disk_scan.h"
#include "diagnostics/surface/linear_read.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"

namespace ostria::storage::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const Identifier kSomeTest(1, 2, 16);

/// A disk that reads `block` sectors at once, with every access seen by the protocol and the search
/// for the block size done.
FakeDevice<> blockDisk(std::uint64_t totalSectors, std::uint16_t block = 127) {
  FakeDevice<> disk(ProtocolKind::Ata, totalSectors);
  disk.component->setConnection(DeviceConnection::RaidMember);
  disk.protocol->largestRead = block;
  EXPECT_EQ(disk.component->preferredReadBlock(), block);
  disk.protocol->reads.clear();
  return disk;
}

std::string runWith(Test& test, FakeDevice<>& disk, const Parameters& parameters) {
  FakeHost host(disk.component.get());
  host.choose(parameters);
  disk.protocol->reads.clear();
  return messages(host, test.run(&host));
}

std::vector<std::string> issuesOf(Test& test, const Parameters& given) {
  std::vector<ParameterIssue> issues(1);
  FakeHost host(nullptr);
  host.choose(given);
  const bool good = test.checkParameters(host.chosenParameters, issues);
  EXPECT_EQ(good, issues.empty());
  std::vector<std::string> texts;
  texts.reserve(issues.size());
  for (const ParameterIssue& issue : issues) {
    texts.push_back(std::to_string(issue.kind) + " " + issue.parameter.key + " " + issue.message);
  }
  return texts;
}

TEST(ScanParameters, GoodValuesAreTakenAndTheOthersNamed) {
  LinearReadTest linear(kSomeTest);
  EXPECT_THAT(issuesOf(linear, {}), IsEmpty());
  for (const TestParameter& parameter : linear.parameters()) {
    EXPECT_THAT(issuesOf(linear, {{parameter.key, parameter.defaultValue}}), IsEmpty());
  }
  EXPECT_THAT(issuesOf(linear, {{"SPEED", "1"},
                                {"STOP_RANGE", "0"},
                                {"START_RANGE", "100"},
                                {"COVERAGE_AREA", "2x"},
                                {"ERROR_LIMIT", "4294967297"}}),
              ElementsAre("2 SPEED INVALID_PARAMETER",
                          "1 START_RANGE USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_99",
                          "1 STOP_RANGE USE_A_NUMERICAL_VALUE_BETWEEN_1_AND_100",
                          "1 COVERAGE_AREA USE_A_NUMERICAL_VALUE_BETWEEN_1_AND_100",
                          "1 ERROR_LIMIT USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100"));
  EXPECT_THAT(
      issuesOf(linear, {{"ERROR_LIMIT", ""}, {"COVERAGE_AREA", "5"}, {"COVERAGE_AREA", "6"}}),
      ElementsAre("3 COVERAGE_AREA DUPLICATED_PARAMETER",
                  "1 ERROR_LIMIT USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100"));
  const std::string order = "1 START_RANGE THE_START_VALUE_SHOULD_BE_LESS_THAN_THE_END_VALUE.";
  EXPECT_THAT(issuesOf(linear, {{"START_RANGE", "50"}, {"STOP_RANGE", "50"}}), ElementsAre(order));
  EXPECT_THAT(issuesOf(linear, {{"START_RANGE", "50"}}), IsEmpty());
  EXPECT_THAT(issuesOf(linear, {{"STOP_RANGE", "40"}}), ElementsAre(order))
      << "a value stays until it is reset";
  EXPECT_THAT(issuesOf(linear, {}), IsEmpty()) << "a refused range is not kept";
  EXPECT_THAT(issuesOf(linear, {{"STOP_RANGE", "60"}}), IsEmpty());
  EXPECT_THAT(issuesOf(linear, {{"START_RANGE", "70"}, {"STOP_RANGE", "x"}}),
              ElementsAre("1 STOP_RANGE USE_A_NUMERICAL_VALUE_BETWEEN_1_AND_100"))
      << "the order of what was refused says nothing";
  linear.resetParameters();
  EXPECT_THAT(issuesOf(linear, {{"STOP_RANGE", "40"}}), IsEmpty());

  FullDiskScanTest scan(kSomeTest);
  EXPECT_THAT(issuesOf(scan, {{"START_RANGE", "1"}, {"ERROR_LIMIT", "101"}}),
              ElementsAre("2 START_RANGE INVALID_PARAMETER",
                          "1 ERROR_LIMIT USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100"));

  FakeDevice<> disk = blockDisk(1000);
  const std::string refused =
      "100 SPEED: INVALID_PARAMETER; |ERROR_LIMIT: USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100 = 4";
  EXPECT_EQ(runWith(linear, disk, {{"SPEED", "1"}, {"ERROR_LIMIT", "x"}}), refused);
  EXPECT_EQ(runWith(scan, disk, {{"SPEED", "1"}, {"ERROR_LIMIT", "x"}}), refused);
  EXPECT_TRUE(disk.protocol->reads.empty());
}

TEST(LinearReadTest, SamplesTheChosenShareOfTheChosenArea) {
  constexpr double kBlock = 1023;
  struct Case {
    std::uint64_t total;
    Parameters parameters;
    double start, stop, coverage;
  };
  const std::vector<Case> cases = {
      {1ull << 24, {}, 0.0, 1.0, 0.20},
      {1ull << 33,
       {{"START_RANGE", "50"}, {"STOP_RANGE", "51"}, {"COVERAGE_AREA", "1"}},
       0.50,
       0.51,
       0.01},
      {1ull << 24, {{"START_RANGE", "99"}, {"COVERAGE_AREA", "100"}}, 0.99, 1.0, 1.0},
  };
  for (const Case& c : cases) {
    FakeDevice<> disk = blockDisk(c.total, 1023);
    FakeHost host(disk.component.get());
    host.choose(c.parameters);
    LinearReadTest test(kSomeTest);
    EXPECT_EQ(test.run(&host), TestResult::Passed);
    const double range = (c.stop - c.start) * static_cast<double>(c.total);
    const std::size_t reads = disk.protocol->reads.size();
    EXPECT_NEAR(static_cast<double>(reads), range * c.coverage / kBlock, 2);
    EXPECT_EQ(host.polls, reads);
    for (std::size_t i = 0; i < reads; ++i) {
      // One block in each stride, so the next block is less than two strides away.
      const double here = static_cast<double>(disk.protocol->reads[i].lba);
      ASSERT_NEAR(
          here,
          c.start * static_cast<double>(c.total) + static_cast<double>(i) * kBlock / c.coverage,
          kBlock / c.coverage + 1);
    }
    EXPECT_EQ(host.messages.front(), "progress 0");
    EXPECT_EQ(host.count("progress 57"), host.messages.size() > 60 ? 1u : 0u);
    EXPECT_EQ(host.messages.back(), "progress 100");
  }
}

TEST(LinearReadTest, AreaOfLessThanABlockIsReadWhole) {
  LinearReadTest test(kSomeTest);
  for (const std::uint64_t total : {1u, 2u, 64u, 101u, 127u}) {
    FakeDevice<> disk = blockDisk(1000);
    disk.protocol->record().totalSectors = total;
    EXPECT_EQ(runWith(test, disk, {}), "0 / 100 = 0");
    ASSERT_EQ(disk.protocol->reads.size(), 1u) << total;
    EXPECT_EQ(disk.protocol->reads[0].lba, 0u);
    EXPECT_EQ(disk.protocol->reads[0].sectors, total);
  }
  // A stride that is longer than the area counts as one step.
  FakeDevice<> disk = blockDisk(300);
  EXPECT_EQ(runWith(test, disk, {{"COVERAGE_AREA", "1"}}), "0 / 100 / 100 = 0");
  EXPECT_EQ(disk.protocol->reads.size(), 2u);
}

TEST(LinearReadTest, BadBlocksAreListedAndOtherErrorsEndThePass) {
  FakeDevice<> disk = blockDisk(127'000);
  LinearReadTest test(kSomeTest);
  const auto run = [&](ProtocolResult error, const char* limit) {
    disk.protocol->results["Read"] = error;
    return runWith(test, disk, {{"ERROR_LIMIT", limit}});
  };
  const std::string received = run(ProtocolResult::MediumError, "1");
  ASSERT_EQ(disk.protocol->reads.size(), 1u);
  const std::uint64_t lba = disk.protocol->reads[0].lba;
  EXPECT_EQ(received,
            "0 / 100 BAD_SECTORS_WERE_FOUND NUMBER_OF_BLOCKS_WITH_BAD_SECTORS 1. "
            "BAD_SECTORS_IN_THE_FOLLOWING_RANGE [" +
                std::to_string(lba) + ", " + std::to_string(lba + 127) +
                "]. / log 0 same / 100 = 1");
  EXPECT_EQ(run(ProtocolResult::InterfaceCrcError, "0").back(), '1');
  EXPECT_NEAR(static_cast<double>(disk.protocol->reads.size()), 200, 3);
  EXPECT_EQ(run(ProtocolResult::CommandRejected, "1"),
            "0 / 100 HARD_DISK_IS_PASSWORD_PROTECTED / log 0 same / 100 = 4");
  EXPECT_EQ(run(ProtocolResult::ReadTimeout, "1"),
            "0 / 100 READ_OPERATION_TIMEOUT / log 0 same / 100 = 1");
  EXPECT_EQ(run(ProtocolResult::TransportFailure, "1"),
            "0 / 100 DEVICE_COMMUNICATION_FAILURE / log 0 same / 100 = 4");
  disk.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  EXPECT_EQ(run(ProtocolResult::MediumError, "1"),
            "0 / 100 DEVICE_COMMUNICATION_FAILURE / log 0 same / 100 = 4")
      << "a device that is gone has no bad block";
  disk.protocol->results.erase("GetProperties");
  disk.protocol->reads.clear();
  EXPECT_EQ(runOn(test, disk, 0), "0 / 100 / 100 = 4");
  EXPECT_TRUE(disk.protocol->reads.empty());
}

TEST(FullDiskScanTest, ReadsEverySectorOnceAndListsTheBadBlocks) {
  FakeDevice<> disk = blockDisk(127 * 200 + 1);
  FullDiskScanTest test(kSomeTest);
  const std::string good = runWith(test, disk, {});
  EXPECT_EQ(good.substr(0, 12), "0 / 1 / 2 / ");
  EXPECT_EQ(good.substr(good.size() - 18), "99 / 100 / 100 = 0");
  std::uint64_t next = 0;
  for (const auto& read : disk.protocol->reads) {
    EXPECT_EQ(read.lba, next);
    EXPECT_EQ(read.bufferBytes, 127u * 512);
    next += read.sectors;
  }
  EXPECT_EQ(next, 127u * 200 + 1);

  disk.protocol->badSectors = {{300, ProtocolResult::MediumError},
                               {127 * 200, ProtocolResult::InterfaceCrcError}};
  const std::string bad = runWith(test, disk, {{"ERROR_LIMIT", "0"}});
  EXPECT_EQ(bad.substr(bad.find(" / log") + 3),
            "log 0 BAD_SECTORS_WERE_FOUND NUMBER_OF_BLOCKS_WITH_BAD_SECTORS 2. "
            "BAD_SECTORS_IN_THE_FOLLOWING_RANGE [254, 381], [25400, 25527]. / 100 same = 1");
  EXPECT_EQ(runWith(test, disk, {{"ERROR_LIMIT", "1"}}),
            "0 / 1 / 100 / log 0 BAD_SECTORS_WERE_FOUND NUMBER_OF_BLOCKS_WITH_BAD_SECTORS 1. "
            "BAD_SECTORS_IN_THE_FOLLOWING_RANGE [254, 381]. / 100 same = 1");
  EXPECT_EQ(disk.protocol->reads.size(), 3u);
}

TEST(FullDiskScanTest, TellsALostDiskFromABadBlock) {
  FakeDevice<> disk = blockDisk(25'400);
  FullDiskScanTest test(kSomeTest);
  const auto run = [&](ProtocolResult error) {
    disk.protocol->results["Read"] = error;
    return runWith(test, disk, {});
  };
  EXPECT_EQ(runOn(test, disk, 1), "0 / 100 / 100 = 4");
  EXPECT_EQ(run(ProtocolResult::TransportFailure),
            "0 / log 0 DEVICE_COMMUNICATION_FAILURE / 100 same = 4");
  EXPECT_EQ(run(ProtocolResult::CommandRejected),
            "0 / log 0 HARD_DISK_IS_PASSWORD_PROTECTED / 100 same / 100 = 4");
  EXPECT_EQ(run(ProtocolResult::ReadTimeout),
            "0 / log 0 READ_OPERATION_TIMEOUT / 100 same / 100 = 1");
  disk.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  EXPECT_EQ(run(ProtocolResult::MediumError),
            "0 / 100 DEVICE_COMMUNICATION_FAILURE / log 3 same / 100 = 4");
  disk.protocol->record().totalSectors = 0;
  EXPECT_EQ(run(ProtocolResult::Success), "log 2 DEVICE_COMMUNICATION_FAILURE / 100 same = 3");
}

TEST(ScanTests, ADeviceThatDoesNotAnswerIsNotScanned) {
  FakeDevice<> disk(ProtocolKind::Ata, 1000);
  disk.component->setConnection(DeviceConnection::RaidMember);
  disk.protocol->results["Read"] = ProtocolResult::TransportFailure;
  disk.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  LinearReadTest linear(kSomeTest);
  FullDiskScanTest scan(kSomeTest);
  EXPECT_EQ(runOn(linear, disk), "100 DEVICE_COMMUNICATION_FAILURE / log 0 same / 100 = 4");
  EXPECT_EQ(runOn(scan, disk), "log 0 DEVICE_COMMUNICATION_FAILURE / 100 same = 4");
}

TEST(ScanTests, ADeviceWhoseSectorsChangeTheirSizeIsReadNoFurther) {
  const struct {
    bool whole;
    std::uint32_t before;
    std::uint32_t after;
  } rows[] = {{false, 512, 4096}, {true, 512, 4096}, {false, 4096, 512}, {true, 4096, 512}};
  for (const auto& [whole, before, after] : rows) {
    FakeDevice<> disk = blockDisk(6'350);
    disk.protocol->record().logicalSectorSize = before;
    disk.protocol->results["Read"] = ProtocolResult::MediumError;
    disk.protocol->onGetProperties = [&disk, after = after] {
      disk.protocol->record().logicalSectorSize = after;
      disk.protocol->results.erase("Read");
    };
    LinearReadTest linear(kSomeTest);
    FullDiskScanTest scan(kSomeTest);
    const std::string received =
        runWith(whole ? static_cast<storage::Test&>(scan) : linear, disk, {{"ERROR_LIMIT", "0"}});
    EXPECT_THAT(received, ::testing::HasSubstr("100 DEVICE_COMMUNICATION_FAILURE / log"));
    EXPECT_EQ(received.substr(received.size() - 4), " = 4");
    EXPECT_EQ(disk.protocol->reads.size(), 1u);
    // Whoever still holds a buffer of the old size cannot have it overrun.
    disk.protocol->record().logicalSectorSize = 4096;
    std::vector<std::uint8_t> buffer(65'024);
    const auto bytes = static_cast<std::uint32_t>(buffer.size());
    EXPECT_EQ(disk.component->readSectors(0, 127, buffer.data(), true, bytes, 10),
              ProtocolResult::InvalidArgument);
    EXPECT_EQ(disk.component->readVolume(0, 127, buffer.data(), bytes, 10),
              ProtocolResult::InvalidArgument);
  }
}

TEST(ReadBlock, WithoutMemoryForTheLargestTheNextIsTried) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer itself needs more than the limit";
#endif
  FakeDevice<> disk(ProtocolKind::Ata, 100'000);
  disk.component->setConnection(DeviceConnection::RaidMember);
  disk.protocol->record().logicalSectorSize = 4096;
  disk.protocol->largestRead = 127;
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
  std::uint64_t pages = 0;
  ASSERT_TRUE(std::ifstream("/proc/self/statm") >> pages);
  const rlimit more{pages * static_cast<std::uint64_t>(::getpagesize()) + (200ull << 20),
                    before.rlim_max};  // the largest block has 256 MiB
  ASSERT_EQ(setrlimit(RLIMIT_AS, &more), 0);
  EXPECT_EQ(disk.component->preferredReadBlock(), 127);
  EXPECT_EQ(setrlimit(RLIMIT_AS, &before), 0);
  ASSERT_FALSE(disk.protocol->reads.empty());
  EXPECT_EQ(disk.protocol->reads.front().sectors, 32'767);
}

TEST(ReadBlock, NoSectorSizeMakesIt4GiB) {
  FakeDevice<> disk(ProtocolKind::Ata, 100'000);
  disk.component->setConnection(DeviceConnection::RaidMember);
  disk.protocol->record().logicalSectorSize = 65'528;
  EXPECT_EQ(disk.component->preferredReadBlock(), 4095);
  EXPECT_EQ(disk.protocol->reads.front().sectors, 4095);
}

TEST(ScanTests, TheListOfBadBlocksEndsAndSaysHowManyMoreThereAre) {
  BadBlocks bad;
  for (std::uint64_t i = 0; i < 1003; ++i) {
    bad.add(i * 127);
  }
  const std::string text = bad.text(127);
  EXPECT_THAT(text,
              ::testing::StartsWith("BAD_SECTORS_WERE_FOUND NUMBER_OF_BLOCKS_WITH_BAD_SECTORS "
                                    "1003. BAD_SECTORS_IN_THE_FOLLOWING_RANGE [0, 127], "));
  EXPECT_THAT(text, ::testing::EndsWith("[126873, 127000]. NUMBER_OF_BLOCKS_NOT_LISTED 3."));
}

}  // namespace
}  // namespace ostria::storage::test
