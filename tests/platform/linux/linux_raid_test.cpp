// Without a controller whose drives are hidden nothing is found, and nothing fails.
#include <gtest/gtest.h>

#include <memory>

#include "inventory/raid_collection.h"
#include "platform/linux/raid/megaraid_node.h"
#include "raid/lsi/lsi_cmd.h"
#include "raid/raid_component_manager.h"
#include "services/sal.h"

namespace ostria::storage::test {
namespace {

TEST(LinuxRaid, HasNoControllerAndSaysNothing) {
  if (!MegaraidNode().controllers().empty()) {
    GTEST_SKIP() << "this computer has such a controller";
  }
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
