// The module as a host meets it: catalogue and SMART tests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/fake_protocol.h"

namespace ostria::storage::test {
namespace {

using ::testing::ElementsAre;

const std::string kHint = "POSSIBLE_DEFECTIVE_COMPONENTS: STORAGE_DEVICE";

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

std::vector<std::string>& departures() {
  static std::vector<std::string> list;
  return list;
}
virtual_pc::Machine::Function destroyService = nullptr;
void noteServiceGone(ZRDService* service) {
  departures().emplace_back("driver service");
  reinterpret_cast<void (*)(ZRDService*)>(destroyService)(service);
}

struct LeavingProtocol : FakeProtocol<> {
  LeavingProtocol() : FakeProtocol(ProtocolKind::Ata, 1000) {}
  ~LeavingProtocol() override { departures().emplace_back("protocol"); }
};

TEST(StorageComponentTest, TheProtocolGoesBeforeTheDriverService) {
  ModuleBench bench(R"({"format": 1, "driver_service": {}})");
  virtual_pc::Machine::Function& destroy =
      bench.machine().libraries()["ostriadiagnosticsdriverservice.dll"]["DestroyZRDService"];
  destroyService =
      std::exchange(destroy, reinterpret_cast<virtual_pc::Machine::Function>(&noteServiceGone));
  departures().clear();
  { const StorageComponent component(std::make_unique<LeavingProtocol>()); }
  EXPECT_THAT(departures(), ElementsAre("protocol", "driver service"));
}

TEST(SmartTests, HealthyAndFailingDisksGetTheirVerdictAndTheHintItsPlace) {
  ModuleBench bench(machineOf(
      {driveOf("sata", "GOOD"), driveOf("sata", "BAD", R"("smart": {"failing": true})")}));
  bench.scan(2);
  storage::Test& status = bench.test(ids::kSmartStatus);

  FakeHost good(bench.manager().component(0));
  EXPECT_TRUE(status.isApplicable(good.component()));
  EXPECT_EQ(status.run(&good), TestResult::Passed);
  EXPECT_THAT(good.messages,
              ElementsAre("progress 0", "progress 50", "progress 100", "progress 100"));

  FakeHost bad(bench.manager().component(1));
  EXPECT_EQ(status.run(&bad), TestResult::Failed);
  EXPECT_THAT(bad.messages, ElementsAre("progress 0", "progress 50", "progress 100", "progress 100",
                                        "log 0 " + kHint, "progress 100 " + kHint));
}

TEST(SmartTests, RefusalsNameTheirReason) {
  ModuleBench bench(machineOf({driveOf("sata", "PLAIN", R"("smart": {"supported": false})"),
                               driveOf("usb_sat", "U1"), driveOf("usb_sat_no_ck", "U2"),
                               driveOf("usb_jmicron", "U3"), driveOf("usb_sunplus", "U4")}));
  bench.scan(5);
  storage::Test& status = bench.test(ids::kSmartStatus);
  const auto closing = [&](std::uint32_t index) {
    FakeHost host(bench.manager().component(index));
    EXPECT_FALSE(status.isApplicable(host.component()));
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(status.run(&host), TestResult::NotPerformed);
    return host.messages.at(1);
  };
  EXPECT_EQ(closing(0), "log 3 SMART_NOT_SUPPORTED");
  for (std::uint32_t usb = 1; usb < 5; ++usb) {
    EXPECT_EQ(closing(usb), "log 3 TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE");
  }

  // A USB bridge of any kind lets the drive behind it be identified.
  std::set<std::string> serials;
  for (std::uint32_t i = 1; i < 5; ++i) {
    serials.insert(*bench.device(i).findProperty("SERIAL"));
  }
  EXPECT_EQ(serials, (std::set<std::string>{"U1", "U2", "U3", "U4"}));
}

TEST(SmartTests, AStandbyDiskIsSpunUpBeforeItIsRead) {
  ModuleBench bench(machineOf({driveOf(
      "sata", "ASLEEP", R"("power": "standby", "spin_up_seconds": 20, "rotation_rate": 7200)")}));
  bench.scan(1);
  FakeHost host(bench.manager().component(0));
  // A read of a sleeping disk would run into 10 seconds; woken with 30 it passes.
  EXPECT_EQ(bench.test(ids::kTargetedRead).run(&host), TestResult::Passed);
}

}  // namespace
}  // namespace ostria::storage::test
