// NVMe, eMMC and SD drives of the built-in machine, found and tested as a host does it.

#include <gtest/gtest.h>
#include <winerror.h>

#include "diagnostics/device_io/device_read.h"
#include "diagnostics/device_io/device_write.h"
#include "diagnostics/health/nvme_smart.h"
#include "inventory/storage_component_manager.h"
#include "platform/windows/discovery/win_emmc_utils.h"
#include "tests/support/fake_host.h"
#include "tests/support/good_conduct.h"
#include "tests/support/on_virtual_pc.h"
#include "transport/emmc/emmc_protocol.h"
#include "transport/nvme/nvme_protocol.h"
#include "transport/nvme/nvme_system_call_protocol.h"

namespace ostria::storage::test {
namespace {

namespace vpc = virtual_pc;
using Lines = std::vector<std::string>;

class FoundDrives : public OnVirtualPc {
 protected:
  void TearDown() override {
    manager.reset();
    settledHandles();
  }

  void scan() {
    manager = std::make_unique<StorageComponentManager>(Identifier{});
    manager->scan();
  }
  /// Scans a machine whose only drive is an NVMe drive of 1000 sectors.
  StorageComponent* scanOne(const std::string& nvme) {
    switchOn(R"({"format": 1, "drives": [{"kind": "nvme", "model": "M", "serial": "S",
                 "size_sectors": 1000, "nvme": )" +
             nvme + "}]}");
    scan();
    return manager->componentCount() == 0 ? nullptr
                                          : dynamic_cast<StorageComponent*>(manager->component(0));
  }
  StorageComponent& component(const std::string& serial) {
    for (std::uint32_t i = 0; i < manager->componentCount(); ++i) {
      auto* found = dynamic_cast<StorageComponent*>(manager->component(i));
      if (propertiesOf(*found).serialNumber == serial) {
        return *found;
      }
    }
    throw std::runtime_error("no drive " + serial);
  }
  static StorageProtocolProperties propertiesOf(StorageComponent& component) {
    StorageProtocolProperties properties;
    EXPECT_EQ(component.storageProtocol()->GetCachedProperties(&properties),
              ProtocolResult::Success);
    return properties;
  }

  std::unique_ptr<StorageComponentManager> manager;
};

std::string withoutBlanks(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

TEST_F(FoundDrives, PassThroughsAreTriedInTheirOrderAndAgreeOnTheDrive) {
  // Each identification that fails costs the pass-through whose probe it is.
  const struct {
    int failures;
    ProtocolKind kind;
    bool longReads;  ///< only the first of the two port pass-throughs takes more than 4096 bytes
  } rows[] = {{0, ProtocolKind::Nvme, true},
              {1, ProtocolKind::Nvme, false},
              {2, ProtocolKind::NvmeSystemCall, false},
              {3, ProtocolKind::NvmeScsi, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.failures);
    const std::string failures = R"(, "faults": [{"action": "transport", "command": 6, "detail": 1,
        "times": )" + std::to_string(row.failures) +
                                 "}]";
    switchOn(R"({"format": 1, "drives": [{"kind": "nvme", "model": "PASSTHROUGHS",
        "serial": "SERIAL-7", "firmware": "FW7", "size_sectors": 100000, "temperature": 47,
        "nvme": {"pass_through": "all"})" +
             (row.failures == 0 ? "" : failures) + "}]}");
    scan();
    ASSERT_EQ(manager->componentCount(), 1u);
    auto& found = dynamic_cast<StorageComponent&>(*manager->component(0));
    StorageProtocol& protocol = *found.storageProtocol();
    EXPECT_EQ(protocol.GetProtocolKind(), row.kind);
    const StorageProtocolProperties properties = propertiesOf(found);
    // SCSI texts keep the blanks that fill their fields.
    EXPECT_EQ(withoutBlanks(properties.modelNumber), "PASSTHROUGHS");
    EXPECT_EQ(withoutBlanks(properties.serialNumber), "SERIAL-7");
    EXPECT_EQ(withoutBlanks(properties.firmwareRevision), "FW7");
    EXPECT_EQ(properties.totalSectors, 100'000u);
    EXPECT_EQ(properties.logicalSectorSize, 512u);
    EXPECT_TRUE(properties.solidState && properties.smartSupported && properties.smartEnabled);
    std::uint8_t celsius = 0;
    EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::Success);
    EXPECT_EQ(celsius, 47);
    std::vector<std::uint8_t> read(8192), held(8192);
    for (unsigned i = 0; i < 16; ++i) {
      vpc::machine().drives()[0]->medium->peek(5000 + i, &held[512 * i]);
    }
    EXPECT_EQ(succeeded(protocol.Read(5000, 16, 10, read.data(), 8192)), row.longReads);
    EXPECT_EQ(read == held, row.longReads);
  }
}

TEST_F(FoundDrives, SelfTestOfEveryPassThroughRunsToItsOutcome) {
  scan();
  const struct {
    const char* serial;
    std::uint8_t outcome;
    bool silent = false;  ///< its pass-through hands no completion status on
  } rows[] = {{"VPC-NVM-0001", 0}, {"VPC-NVM-0002", 0, true}, {"VPC-NVM-0003", 7}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.serial);
    StorageProtocol& protocol = *component(row.serial).storageProtocol();
    std::uint8_t value = 0;
    EXPECT_EQ(protocol.GetSelfTestProgress(&value), ProtocolResult::Failure);
    EXPECT_EQ(protocol.StartSelfTest(1, 0), ProtocolResult::Success);
    EXPECT_EQ(succeeded(protocol.StartSelfTest(1, 0)), row.silent) << "one runs already";
    vpc::machine().clock().advance(6 * vpc::kMicrosecondsPerSecond);
    EXPECT_EQ(protocol.GetSelfTestProgress(&value), ProtocolResult::Success);
    EXPECT_GT(value, 3);
    vpc::machine().clock().advance(200 * vpc::kMicrosecondsPerSecond);
    EXPECT_EQ(protocol.GetSelfTestResult(&value), ProtocolResult::Success);
    EXPECT_EQ(value, row.outcome);
    EXPECT_EQ(protocol.StartSelfTest(2, 0), ProtocolResult::Success);
    EXPECT_EQ(protocol.AbortSelfTest(), ProtocolResult::Success);
    EXPECT_EQ(protocol.GetSelfTestResult(&value), ProtocolResult::Success);
    EXPECT_EQ(value, 1);
  }
}

TEST_F(FoundDrives, ControllersThatTalkNonsenseAreListedOnlyAsFarAsTheyCanBeUsed) {
  for (const char* passThrough : {"intel_port", "mini_port"}) {
    for (const char* broken :
         {R"({"data_size_power": 0})", R"({"data_size_power": 255})", R"({"namespace_size": 0})",
          R"({"data_offset": 4294967280})", R"({"data_offset": 0})"}) {
      SCOPED_TRACE(std::string(passThrough) + broken);
      StorageComponent* found = scanOne(std::string(R"({"pass_through": ")") + passThrough +
                                        R"(", "broken": )" + broken + "}");
      // A drive without a sector size is listed, and not read.
      std::uint8_t buffer[4096];
      if (found != nullptr && propertiesOf(*found).logicalSectorSize == 0) {
        EXPECT_EQ(found->storageProtocol()->Read(0, 1, 10, buffer, sizeof buffer),
                  ProtocolResult::InvalidArgument);
      }
    }
  }
  StorageComponent* shifted =
      scanOne(R"({"pass_through": "storage_query", "broken": {"data_offset": 4294967280}})");
  ASSERT_NE(shifted, nullptr);
  std::uint8_t celsius = 0;
  EXPECT_EQ(shifted->storageProtocol()->GetTemperature(&celsius), ProtocolResult::Failure);
}

TEST_F(FoundDrives, CardsAreReadByTheSystemAndKnowTheirFixedVolumes) {
  scan();
  StorageComponent& emmc = component("VEM0001A");
  const auto& protocol = dynamic_cast<EmmcProtocol&>(*emmc.storageProtocol());
  ASSERT_EQ(protocol.volumes().size(), 1u);
  EXPECT_EQ(protocol.volumes()[0].devicePath, "\\\\.\\M:");
  EXPECT_EQ(protocol.volumes()[0].tempDirectory, "M:\\\\Temp");
  EXPECT_EQ(protocol.volumes()[0].fileSystem, "NTFS");
  EXPECT_EQ(propertiesOf(emmc).protocolName, "EMMC");
  EXPECT_EQ(propertiesOf(emmc).modelNumber, "VEMMC8");
  const auto& card = dynamic_cast<EmmcProtocol&>(*component("VPC-SD-0001").storageProtocol());
  ASSERT_EQ(card.volumes().size(), 1u);
  EXPECT_EQ(card.volumes()[0].fileSystem, "FAT32");

  vpc::machine().drive("emmc")->medium->addBadSectors(
      {40'000, 1, vpc::BadSectorKind::Medium, vpc::WriteEffect::Heals, 1, 0});
  StorageDeviceReadTest test{Identifier{}};
  FakeHost host(&emmc);
  EXPECT_EQ(test.run(&host), TestResult::Failed);
  EXPECT_EQ(host.count("log 2 BAD_SECTORS_WERE_FOUND"), 1u);
}

TEST(DescriptorText, IsDecodedOnlyWhenAllOfItIsSwappedHexadecimal) {
  const std::pair<const char*, const char*> texts[] = {{"34313242", "14B2"},
                                                       {"3431324", "3431324"},
                                                       {"3431G242", "3431G242"},
                                                       {"0a313242", "0a313242"},
                                                       {"  AB 1\x7F tail", "AB 1"},
                                                       {"20202020", ""},
                                                       {"", ""}};
  for (const auto& [text, decoded] : texts) {
    EXPECT_EQ(DecodeDescriptorText(text), decoded);
  }
}

}  // namespace
}  // namespace ostria::storage::test
