// The skeleton of a port answers "not supported" everywhere and lists nothing.
#include <gtest/gtest.h>

#include "ostria/storage/entry_points.h"
#include "services/sal.h"
#include "tools/check_filesystem_operation.h"
#include "transport/ata/ata_bridge.h"
#include "transport/ata/ata_protocol.h"
#include "transport/scsi/scsi_bridge.h"
#include "transport/scsi/scsi_protocol.h"

namespace ostria::storage::test {
namespace {

TEST(PortSkeleton, IsAModuleWithoutDevices) {
  ModuleInterface* module = GetModuleInterfaceInstance();
  ASSERT_NE(module, nullptr);
  SystemComponentManager* devices = module->componentManager();
  EXPECT_FALSE(devices->hasDevices());
  devices->scan();
  EXPECT_EQ(devices->componentCount(), 0u);
  EXPECT_EQ(devices->refreshComponent(0), nullptr);
  for (std::uint32_t i = 0; i < module->diagnosticCount(); ++i) {
    EXPECT_GT(module->diagnostic(i)->testCount(), 0u);
  }
  ReleaseModuleInterfaceInstance();
}

TEST(PortSkeleton, ReachesNothing) {
  AtaBridge ata(DeviceHandle(1));
  ScsiBridge scsi(DeviceHandle(1));
  EXPECT_FALSE(AtaProtocol::ProbeBridge(ata));
  EXPECT_FALSE(ScsiProtocol::ProbeBridge(scsi));
  EXPECT_EQ(makeCheckFilesystemOperation(nullptr)->execute({}, 0), ToolStatus::CouldNotRun);
  const std::int64_t before = get_timer()->clock();
  get_timer()->wait(2);
  EXPECT_GE(get_timer()->secondsBetween(before, get_timer()->clock()), 0.002);
}

}  // namespace
}  // namespace ostria::storage::test
