// The module as a host meets it: catalogue and SMART tests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/fake_protocol.h"

namespace ostria::storage::test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;

TEST(ModuleCatalogue, IsBuiltOnceAndAgainAfterARelease) {
  ModuleBench bench(machineOf({}));
  ModuleInterface* first = GetModuleInterfaceInstance();
  EXPECT_EQ(first, &bench.module());
  const auto items = [](Diagnostic& group) {
    std::vector<std::uint32_t> found;
    for (std::uint32_t i = 0; i < group.testCount(); ++i) {
      found.push_back(group.test(i)->identifier().item);
    }
    return found;
  };
  EXPECT_THAT(items(*first->diagnostic(0)),
              ElementsAre(2, 3, 4, 5, 6, 7, 1, 14, 15, 22, 20, 21, 19, 11, 25));
  EXPECT_THAT(items(*first->diagnostic(1)), ElementsAre(8, 9, 10, 12, 16, 18, 13));
  EXPECT_EQ(first->diagnostic(2), nullptr);
  EXPECT_EQ(first->tool(2), nullptr);
  EXPECT_EQ(first->diagnostic(0)->test(15), nullptr);
  EXPECT_EQ(first->diagnostic(0)->testByIdentifier(Identifier(1, 2, 8)), nullptr);
  EXPECT_EQ(first->tool(0)->identifier, Identifier(50, 0, 0));
  EXPECT_EQ(first->tool(1)->identifier, Identifier(1, 0, 50));
  EXPECT_EQ(first->resource()->getLabelTable().at(1), "+ 60");
  EXPECT_EQ(first->extension(), nullptr);
  EXPECT_FALSE(first->hasExtension());

  ReleaseModuleInterfaceInstance();
  ReleaseModuleInterfaceInstance();
  EXPECT_EQ(GetModuleInterfaceInstance()->diagnosticCount(), 2u);
  EXPECT_EQ(GetProductVersion()->minor(), 46u);
}

std::vector<std::string> departures;
virtual_pc::Machine::Function destroyService = nullptr;
void noteServiceGone(ZRDService* service) {
  departures.emplace_back("driver service");
  reinterpret_cast<void (*)(ZRDService*)>(destroyService)(service);
}

struct LeavingProtocol : FakeProtocol<> {
  LeavingProtocol() : FakeProtocol(ProtocolKind::Ata, 1000) {}
  ~LeavingProtocol() override { departures.emplace_back("protocol"); }
};

TEST(StorageComponentTest, TheProtocolGoesBeforeTheDriverService) {
  ModuleBench bench(R"({"format": 1, "driver_service": {}})");
  virtual_pc::Machine::Function& destroy =
      bench.machine().libraries()["ostriadiagnosticsdriverservice.dll"]["DestroyZRDService"];
  destroyService =
      std::exchange(destroy, reinterpret_cast<virtual_pc::Machine::Function>(&noteServiceGone));
  departures.clear();
  { const StorageComponent component(std::make_unique<LeavingProtocol>()); }
  EXPECT_THAT(departures, ElementsAre("protocol", "driver service"));
}

TEST(SmartTests, HealthyAndFailingDisksGetTheirVerdictAndTheHintItsPlace) {
  ModuleBench bench(machineOf(
      {driveOf("sata", "GOOD"), driveOf("sata", "BAD", R"("smart": {"failing": true})")}));
  bench.scan(2);
  EXPECT_TRUE(bench.test(ids::kSmartStatus).isApplicable(bench.manager().component(0)));
  EXPECT_EQ(bench.run(ids::kSmartStatus, 0), "0 / 50 / 100 / 100 = 0");
  EXPECT_EQ(bench.run(ids::kSmartStatus, 1),
            "0 / 50 / 100 / 100 / log 0 POSSIBLE_DEFECTIVE_COMPONENTS: STORAGE_DEVICE / 100 same "
            "= 1");
}

TEST(SmartTests, RefusalsNameTheirReason) {
  ModuleBench bench(machineOf({driveOf("sata", "U0", R"("smart": {"supported": false})"),
                               driveOf("usb_sat", "U1"), driveOf("usb_sat_no_ck", "U2"),
                               driveOf("usb_jmicron", "U3"), driveOf("usb_sunplus", "U4")}));
  bench.scan(5);
  for (std::uint32_t index = 0; index < 5; ++index) {
    EXPECT_FALSE(bench.test(ids::kSmartStatus).isApplicable(bench.manager().component(index)));
    EXPECT_EQ(bench.run(ids::kSmartStatus, index),
              index == 0 ? "100 SMART_NOT_SUPPORTED / log 3 same / 100 = 3"
                         : "100 TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE / log 3 same / 100 = 3");
    EXPECT_EQ(*bench.device(index).findProperty("SERIAL"), "U" + std::to_string(index))
        << "a USB bridge of any kind lets the drive behind it be identified";
  }
}

TEST(SmartTests, AStandbyDiskIsSpunUpBeforeItIsRead) {
  OneDriveBench bench(driveOf(
      "sata", "ASLEEP", R"("power": "standby", "spin_up_seconds": 20, "rotation_rate": 7200)"));
  // A read of a sleeping disk would run into 10 seconds; woken with 30 it passes.
  EXPECT_THAT(bench.run(ids::kTargetedRead), EndsWith(" = 0"));
}

}  // namespace
}  // namespace ostria::storage::test
