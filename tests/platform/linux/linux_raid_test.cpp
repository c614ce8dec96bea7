// Linux has no RAID pass-through but that of its drivers: nothing is found, nothing fails.
#include <gtest/gtest.h>

#include <memory>

#include "inventory/raid_collection.h"
#include "raid/lsi/lsi_cmd.h"
#include "raid/raid_component_manager.h"
#include "services/sal.h"

namespace ostria::storage::test {
namespace {

TEST(LinuxRaid, HasNoControllerAndSaysNothing) {
  EXPECT_EQ(getLsiSender(), nullptr);
  RaidComponentManager manager(Identifier(0, 0, 0));
  EXPECT_FALSE(manager.hasDevices());
  manager.scan();
  EXPECT_EQ(manager.componentCount(), 0u);
  EXPECT_TRUE(manager.takePorts().empty());
  EXPECT_FALSE(hasRaidDrives());
  const std::unique_ptr<DeviceScanner, decltype(&release_device_scanner)> scanner(
      get_device_scanner(), &release_device_scanner);
  EXPECT_TRUE(collectRaidDevices(*scanner).components.empty());
}

}  // namespace
}  // namespace ostria::storage::test
