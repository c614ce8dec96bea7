// The device write test on volumes of the virtual PC: what it writes, refuses, asks and leaves
// behind.
#include "diagnostics/device_io/device_write.h"

#include <winerror.h>

#include <functional>
#include <set>

#include "tests/support/bench.h"
#include "tests/support/fake_host.h"

namespace ostria::storage::test {
namespace {

namespace vpc = virtual_pc;

constexpr std::uint64_t kReserve = 0x46666666;  // stays free on every volume
constexpr std::uint64_t kSector = 512;
constexpr std::uint64_t kChunk = 256 * kSector;
constexpr std::uint64_t kMiB = 1 << 20;
constexpr char kInRange[] = " BAD_SECTORS_IN_THE_FOLLOWING_RANGE ";
constexpr char kScratchPath[] = "\\ostria_diags_tmp_file";

constexpr char kTwoVolumes[] = R"({"format": 1, "drives": [
  {"name": "nvme", "kind": "nvme", "model": "WRITTEN", "serial": "W1", "size_bytes": 8000000000,
   "layout": {"style": "gpt", "partitions": [{"start_sector": 2048, "sectors": 6000000},
                                             {"start_sector": 6002048, "sectors": 6000000}]}},
  {"name": "other", "kind": "nvme", "model": "OTHER", "serial": "W2", "size_bytes": 3000000000,
   "layout": {"style": "gpt", "partitions": [{"start_sector": 2048, "sectors": 5000000}]}}],
  "volumes": [{"letter": "N", "drive": "nvme", "partition": 1, "free_bytes": 1300000000},
              {"letter": "O", "drive": "nvme", "partition": 2, "free_bytes": 1300000000},
              {"letter": "P", "drive": "other", "partition": 1, "free_bytes": 1300000000,
               "sector_bytes": 4096}]})";

/// A host that does something at a chosen poll.
class ActingHost : public FakeHost {
 public:
  using FakeHost::FakeHost;
  unsigned actAtPoll = kNever;
  std::function<void()> act;
  bool isAbortRequested() override {
    if (polls == actAtPoll) {
      act();
    }
    return FakeHost::isAbortRequested();
  }
};

class WriteTestOnVolumes : public ::testing::Test {
 protected:
  WriteTestOnVolumes() {
    // One chunk on the first volume; the second has too little.
    leave(device, 0, kReserve + kChunk);
    leave(device, 1, 0);
  }

  /// Lets the partition table say that a volume has so much space left.
  static void leave(StorageComponent& component, std::size_t partition, std::uint64_t bytes) {
    PartitionEntry& entry = component.partitionTable()->partitions.at(partition);
    entry.usedBytes = entry.sizeBytes - bytes;
  }
  TestResult run(StorageComponent& component) {
    host = std::make_unique<ActingHost>(&component);
    return rerun();
  }
  TestResult run() { return run(device); }
  /// With the host as it was set up.
  TestResult rerun() {
    const TestResult result = test.run(host.get());
    EXPECT_EQ(host->messages.back().rfind("progress 100", 0), 0u);
    for (const char letter : {'N', 'O', 'P'}) {
      EXPECT_EQ(bench.machine().volume(letter)->find(kScratchPath), nullptr);
    }
    return result;
  }
  void fault(std::uint8_t command, const vpc::FaultAction& action) {
    vpc::FaultRule rule;
    rule.command = command;
    rule.action = action;
    bench.machine().drive("nvme")->nvme->faults().clear();
    bench.machine().drive("nvme")->nvme->faults().add(rule);
  }
  /// How many sectors from the volume's first free cluster on hold the pattern.
  std::uint64_t patterned(char letter, std::uint64_t partitionStart) {
    const auto volume = bench.machine().volume(letter);
    const std::uint64_t bytes = volume->clusterBytes();
    const auto& about = volume->description();
    std::uint64_t lba =
        partitionStart + (about.totalBytes / bytes - about.freeBytes / bytes) * (bytes / kSector);
    std::uint64_t count = 0;
    const std::vector<std::uint8_t> pattern(kSector, 0xAA);
    std::vector<std::uint8_t> sector(kSector);
    do {
      bench.machine().drive("nvme")->medium->peek(lba + count, sector.data());
    } while (sector == pattern && ++count != 0);
    return count;
  }

  ModuleBench bench{kTwoVolumes};
  StorageComponent& device = *bench.device("WRITTEN");
  StorageDeviceWriteTest test{Identifier{}};
  std::unique_ptr<ActingHost> host = std::make_unique<ActingHost>(&device);
};

TEST_F(WriteTestOnVolumes, AVolumeIsUsableFromOneByteAboveTheReserveOn) {
  leave(device, 0, kReserve);
  EXPECT_EQ(run(), TestResult::NotPerformed);
  EXPECT_EQ(host->count("log 0 THE_AVAILABLE_VOLUMES_DO_NOT_FULFILL_THE_TEST_REQUIREMENTS."), 1u);
  leave(device, 0, kReserve + 1);  // usable, but no sector fits
  EXPECT_EQ(run(), TestResult::Warning);
  EXPECT_EQ(host->count("log 1 VOLUME_ACCESS_ERROR"), 1u);
  leave(device, 0, kReserve + kSector);
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(patterned('N', 2048), 1u);
  EXPECT_EQ(host->count("progress 50"), 1u);
  EXPECT_EQ(host->count("log"), 0u);
  device.partitionTable()->partitions[0].onSeveralDisks = true;
  EXPECT_EQ(run(), TestResult::NotPerformed) << "what is written may lie on another disk";
  device.partitionTable()->partitions[0].onSeveralDisks = false;
  device.partitionTable()->partitions[0].mountPoints.clear();
  EXPECT_EQ(run(), TestResult::NotPerformed);
}

TEST_F(WriteTestOnVolumes, TwoVolumesGetTheirSharesAndAnUnusableOneIsPassedOver) {
  leave(device, 0, kReserve + 1 * kMiB);
  leave(device, 1, kReserve + 3 * kMiB);
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(patterned('N', 2048), 1 * kMiB / kSector);
  EXPECT_EQ(patterned('O', 6002048), 3 * kMiB / kSector);
  // A quarter of the progress is made when the first is written and read back.
  EXPECT_EQ(host->count("progress 25"), 1u);
  EXPECT_EQ(host->count("progress 98"), 1u);

  // Somebody holds the name on the first volume.
  std::shared_ptr<vpc::FileNode> taken;
  bench.machine().volume('N')->create(kScratchPath, true, &taken);
  host->messages.clear();
  EXPECT_EQ(test.run(host.get()), TestResult::Passed);
  EXPECT_EQ(host->count("log"), 0u);
}

TEST_F(WriteTestOnVolumes, AVolumeThatRunsFullIsNoFaultOfTheDevice) {
  const auto volume = bench.machine().volume('N');
  // All but one cluster goes while the chunk waits to be written.
  host->actAtPoll = 3;
  host->act = [&] {
    std::shared_ptr<vpc::FileNode> other;
    ASSERT_EQ(volume->create("\\other", false, &other), 0u);
    const std::uint64_t bytes = volume->freeBytes() - volume->clusterBytes();
    const std::vector<std::uint8_t> piece(16 * kMiB);
    for (std::uint64_t at = 0; at < bytes; at += piece.size()) {
      volume->writeFile(*other, at, std::min<std::uint64_t>(piece.size(), bytes - at),
                        piece.data());
    }
  };
  EXPECT_EQ(rerun(), TestResult::Warning);
  EXPECT_EQ(host->count("log 1 VOLUME_RAN_OUT_OF_SPACE"), 1u);
  EXPECT_EQ(host->count("log"), 1u);
  EXPECT_EQ(volume->freeBytes(), volume->clusterBytes());
}

TEST_F(WriteTestOnVolumes, OneChangedByteFailsWithItsRange) {
  host->actAtPoll = 4;  // the chunk is written, not yet read
  host->act = [&] {
    const std::uint8_t other = 0xAB;
    const auto volume = bench.machine().volume('N');
    const auto file = volume->find(kScratchPath);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->bytes, kChunk);
    volume->writeFile(*file, 77'777, 1, &other);
  };
  EXPECT_EQ(rerun(), TestResult::Failed);
  const std::string key = std::string("PATTERN_VERIFICATION_FAILED") + kInRange;
  const auto reported = std::find(host->messages.begin(), host->messages.end(),
                                  "progress 100 " + key + "[0, 131072]");
  ASSERT_NE(reported, host->messages.end());
  EXPECT_EQ(reported[1], "log 2 " + key + "0 and 131072");
}

TEST_F(WriteTestOnVolumes, FailedAndHangingTransfersFailWithTheirRange) {
  const std::string range = std::string(kInRange) + "0 and 131072";
  const vpc::NvmeFault mediaError{2, 0x80};
  for (const vpc::FaultAction& action :
       {vpc::FaultAction(mediaError), vpc::FaultAction(vpc::HangFault())}) {
    for (const std::uint8_t command : {std::uint8_t{1}, std::uint8_t{2}}) {
      SCOPED_TRACE(command);
      fault(command, action);
      const std::uint64_t before = bench.machine().clock().now();
      EXPECT_EQ(run(), TestResult::Failed);
      const char* key =
          command == 1 ? "log 2 WRITE_OPERATION_FAILED" : "log 2 READ_OPERATION_FAILED";
      EXPECT_EQ(host->count(key + range), 1u);
      EXPECT_EQ(host->count("log"), 1u);
      const std::uint64_t seconds =
          (bench.machine().clock().now() - before) / vpc::kMicrosecondsPerSecond;
      EXPECT_EQ(seconds >= 30, std::holds_alternative<vpc::HangFault>(action));
      EXPECT_LT(seconds, 40u);
    }
  }
}

TEST_F(WriteTestOnVolumes, PrivilegeIsNoConditionAndGoesBack) {
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(bench.machine().process().validDataRequests, 1u) << "one file, with the privilege";
  // The calls that take it come first.
  for (std::uint64_t call = 1; call <= 3; ++call) {
    bench.machine().faults().reset();
    bench.machine().faults().failCall(call, ERROR_ACCESS_DENIED);
    EXPECT_EQ(run(), TestResult::Passed) << call;
  }
}

TEST_F(WriteTestOnVolumes, TheQuestionComesOnceForEachDeviceAndOnlyIfSomebodyCanAnswer) {
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_TRUE(host->requests.empty());
  StorageComponent& other = *bench.device("OTHER");
  leave(other, 0, kReserve + kChunk);
  for (StorageComponent* component : {&device, &other}) {
    for (const unsigned asked : {1u, 0u, 0u}) {
      ActingHost answering(component);
      answering.answer = InputRequest::Yes;
      EXPECT_EQ(test.run(&answering), TestResult::Passed);
      ASSERT_EQ(answering.requests.size(), asked);
      for (const InputRequest& request : answering.requests) {
        EXPECT_EQ(request.title, "DEVICE_WRITE_TEST");
        EXPECT_EQ(request.question, "VOLUME_SPACE_ALLOCATION_ALERT");
        EXPECT_EQ(request.questionKind, 1u);
        EXPECT_EQ(request.defaultAnswer, 0u);
      }
      EXPECT_EQ(component->userAnswer(), InputRequest::Yes);
    }
  }
}

TEST_F(WriteTestOnVolumes, TheSectorsAreThoseOfTheVolume) {
  StorageComponent& other = *bench.device("OTHER");
  leave(other, 0, kReserve + 4096 + kSector);
  EXPECT_EQ(run(other), TestResult::Passed);
  EXPECT_EQ(host->count("log"), 0u);
}

TEST(WriteTestOnALargeVolume, TheFileIsAsLargeAsTheFileSystemTakes) {
  ModuleBench bench(R"({"format": 1, "drives": [
    {"name": "nvme", "kind": "nvme", "model": "LARGE", "serial": "L1", "size_bytes": 4000000000000,
     "layout": {"style": "gpt", "partitions": [{"start_sector": 2048, "sectors": 7000000000}]}}],
    "volumes": [{"letter": "N", "drive": "nvme", "partition": 1, "free_bytes": 3300000000000}]})");
  StorageComponent& device = *bench.device("LARGE");
  std::set<std::uint64_t> sizes;
  // The call that sets the size is among these; the run ends before the first chunk is written.
  for (unsigned call = 1; call <= 30; ++call) {
    StorageDeviceWriteTest test{Identifier{}};
    ActingHost host(&device);
    host.actAtPoll = 3;
    host.act = [&] {
      if (const auto file = bench.machine().volume('N')->find(kScratchPath)) {
        sizes.insert(file->bytes);
      }
      host.abortFromPoll = host.polls;
    };
    bench.faults().reset();
    bench.faults().failCall(call, ERROR_INVALID_PARAMETER);
    const TestResult result = test.run(&host);
    EXPECT_TRUE(result == TestResult::Stopped || result == TestResult::Warning ||
                result == TestResult::NotPerformed)
        << call;
  }
  EXPECT_EQ(sizes.size(), 2u);
  EXPECT_EQ(*sizes.begin(), (std::uint64_t{2} << 40) - std::uint64_t{64} * 1024);
}

TEST_F(WriteTestOnVolumes, MembersOfASetAreRefusedOnlyOnNvme) {
  const DeviceConnection found = device.connection();
  device.setConnection(DeviceConnection::RaidMember);
  EXPECT_EQ(run(), TestResult::NotPerformed);
  EXPECT_EQ(host->count("log 0 THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_PROTOCOL_BEING_USED_BY_"
                        "THE_DEVICE_IS_INVALID"),
            1u);
  device.setBusKind(StorageBusKind::Emmc);
  EXPECT_EQ(run(), TestResult::Passed);
  device.setBusKind(StorageBusKind::Ata);
  EXPECT_FALSE(test.isApplicable(&device));
  device.setConnection(found);
}

}  // namespace
}  // namespace ostria::storage::test
