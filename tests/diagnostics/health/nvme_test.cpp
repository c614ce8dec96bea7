// The NVMe health tests on a drive model: temperature, spare, reliability, and the estimate over
// days.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "checks/message_keys.h"
#include "diagnostics/health/nvme_health_prediction.h"
#include "diagnostics/health/nvme_smart.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"
#include "tests/support/nvme_bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr std::uint64_t kSectorsPerGiB = 2'097'152;

TEST(NvmeTests, EachWarningBitFailsItsOwnTestOnly) {
  virtual_pc::NvmeTraits traits;
  traits.health.criticalWarning = 0x06;
  NvmeBench bench(traits);
  SmartSpareSpaceTest spare{Identifier{}};
  SmartTemperatureTest temperature{Identifier{}};
  SmartReliabilityTest reliability{Identifier{}};

  EXPECT_TRUE(spare.isApplicable(bench.component.get()));
  EXPECT_EQ(runOn(spare, bench), "100 = 0");
  EXPECT_EQ(runOn(temperature, bench),
            "100 NVME_SMART_TEMPERATURE_TEST_FAIL / "
            "log 2 flag 1 NVME_SMART_TEMPERATURE_TEST_FAIL = 1");
  EXPECT_EQ(runOn(reliability, bench),
            "100 NVME_SMART_RELIABILITY_TEST_FAIL / "
            "log 2 flag 1 NVME_SMART_RELIABILITY_TEST_FAIL = 1");
  EXPECT_THAT(runOn(temperature, bench, 0), EndsWith(" = 4"))
      << "a stop after the log was read discards the verdict";
  bench.breakLog(2);
  EXPECT_EQ(runOn(temperature, bench),
            "100 FAILED_TO_GET_SMART_DATA / log 0 flag 1 FAILED_TO_GET_SMART_DATA = 3");
}

TEST(NvmeTests, DriveBehindScsiTranslationIsRefused) {
  FakeDevice<> device(ProtocolKind::NvmeScsi);
  device.component->setBusKind(StorageBusKind::Nvme);
  SmartTemperatureTest smart{Identifier{}};
  NvmeHealthPredictionTest prediction{Identifier{}};
  prediction.configure({{"STORAGE", {{"ENABLE_NVME_HEALTH_PREDICTION_TEST", "1"}}}}, nullptr);
  EXPECT_FALSE(smart.isApplicable(device.component.get()));
  EXPECT_FALSE(prediction.isApplicable(device.component.get()));
  EXPECT_EQ(runOn(smart, device), std::string("100 ") + keys::kInvalidProtocol +
                                      " / log 0 flag 1 " + keys::kInvalidProtocol + " = 3");
}

TEST(NvmeHealthPrediction, IsOffUntilConfigured) {
  NvmeBench bench;
  NvmeHealthPredictionTest test{Identifier{}};
  EXPECT_FALSE(test.isApplicable(bench.component.get()));
  const auto set = [&](const char* value) {
    test.configure({{"STORAGE", {{"ENABLE_NVME_HEALTH_PREDICTION_TEST", value}}}}, nullptr);
    return test.isApplicable(bench.component.get());
  };
  EXPECT_TRUE(set("1"));
  EXPECT_TRUE(test.configure({}, nullptr));
  EXPECT_TRUE(test.isApplicable(bench.component.get()));
  EXPECT_FALSE(set("01"));

  EXPECT_EQ(runOn(test, bench), "100 = 3") << "nobody is there to look at the table";
}

// Units of 512000 bytes that make so many GiB.
std::uint64_t writtenGiB(double gib) {
  return static_cast<std::uint64_t>(gib * 1024 * 1024 * 1024 / 512000) + 1;
}

/// The messages, with a bar for any markup.
std::string predict(NvmeBench& bench) {
  NvmeHealthPredictionTest test{Identifier{}};
  FakeHost host(bench.component.get());
  host.answer = InputRequest::Yes;
  const TestResult result = test.run(&host);
  return std::regex_replace(messages(host, result), std::regex("(<[^>]*> *)+"), "|");
}

TEST(NvmeHealthPrediction, VerdictFollowsHealthThenEnduranceThenErrors) {
  // What is reported between the table that is shown and the one that is logged, and the result.
  struct Reported {
    const char* keys;
    const char* end;
  };
  const Reported passing = {"|/ log 0 same", " = 0"};
  const Reported failing = {"|/ 0 SSD_HEALTH_FAIL / log 0 same / log 0 |", " = 1"};
  const Reported warning = {"|/ 0 SSD_HEALTH_WARNING / log 0 same / log 0 |", " = 5"};
  const Reported worn = {
      "|/ 0 SSD_ENDURANCE_RATING_WARNING / 0 SSD_HEALTH_WARNING / log 0 same / "
      "log 0 SSD_ENDURANCE_RATING_WARNING / log 0 |",
      " = 5"};
  constexpr double kRated = 153600;  // a drive of 500 GiB is rated for 150 times 1024 GiB
  const struct {
    const char* name;
    Reported report;
    std::uint8_t worn = 10;
    double gib = 10;
    std::uint64_t errors = 0;
    const char* health = "90%";
    const char* used = "0%";
  } cases[] = {
      {.name = "worn out", .report = failing, .worn = 100, .health = "0%"},
      {.name = "beyond its life", .report = failing, .worn = 255, .health = "-155%"},
      {.name = "at its rating", .report = worn, .gib = kRated, .used = "100%"},
      {.name = "21",
       .report = passing,
       .worn = 94,
       .gib = kRated * 0.795,
       .health = "6%",
       .used = "79%"},
      {.name = "20",
       .report = worn,
       .worn = 94,
       .gib = kRated * 0.805,
       .health = "6%",
       .used = "80%"},
      {.name = "health of 5", .report = warning, .worn = 95, .health = "5%"},
      {.name = "media errors", .report = warning, .errors = 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    virtual_pc::NvmeTraits traits;
    traits.health.percentageUsed = c.worn;
    traits.health.dataUnitsWritten = writtenGiB(c.gib);
    traits.health.mediaErrors = c.errors;
    NvmeBench bench(traits, 500 * kSectorsPerGiB);
    bench.breakLog(9);
    bench.breakLog(0xDF);
    EXPECT_THAT(predict(bench),
                AllOf(HasSubstr(std::string("|") + c.health + " |"),
                      HasSubstr(std::string("|") + c.used + " |"), HasSubstr(c.report.keys),
                      EndsWith(std::string("/ 100") + c.report.end)));
  }
}

TEST(NvmeHealthPrediction, EnduranceGroupAndVendorCountTakePrecedence) {
  virtual_pc::NvmeTraits traits;
  traits.health.percentageUsed = 30;
  traits.enduranceEstimate = 1000;  // 10^12 bytes are 9.31 times 100 GiB
  traits.partNumber = "PART";
  traits.vendorCount = 5;
  traits.health.dataUnitsWritten = writtenGiB(500);
  NvmeBench counted(traits, 100 * kSectorsPerGiB);
  EXPECT_THAT(predict(counted),
              AllOf(HasSubstr("|SSD Health |46% |Passed|"), HasSubstr("|TBW |53% |Passed|")));

  counted.breakLog(0xDF);
  EXPECT_THAT(predict(counted), HasSubstr("|SSD Health |70% |Passed|")) << "no count is not 0";

  traits.vendorCount = 0x2020;
  NvmeBench blank(traits, 100 * kSectorsPerGiB);
  EXPECT_THAT(predict(blank), HasSubstr("|SSD Health |70% |Passed|"));
  traits.vendorCount = 12;
  NvmeBench overdrawn(traits, 100 * kSectorsPerGiB);
  EXPECT_THAT(predict(overdrawn), HasSubstr("|SSD Health |-28% |Fail|"));

  // Wear, warnings and media errors stand in the health log alone.
  counted.breakLog(2);
  EXPECT_EQ(predict(counted), "0 FAILED_TO_GET_SMART_DATA / log 0 same / 100 = 4");
}

TEST(NvmeHealthPrediction, UnratedCapacityAndNonsenseStayWithinPercents) {
  virtual_pc::NvmeTraits traits;
  traits.health.dataUnitsWritten = ~std::uint64_t{0};
  NvmeBench big(traits, 4001 * kSectorsPerGiB);
  EXPECT_THAT(predict(big), HasSubstr("|TBW |0% |Passed|"));
  NvmeBench small(traits, 128 * kSectorsPerGiB);
  EXPECT_THAT(predict(small), HasSubstr("|TBW |100% |Warning|"));

  traits.enduranceEstimate = 1;
  traits.partNumber = "";
  traits.vendorCount = 0xFFFF;
  NvmeBench tiny(traits, 2048);  // less than one GiB
  EXPECT_THAT(predict(tiny), HasSubstr("|SSD Health |98% |Passed|"));
}

}  // namespace
}  // namespace ostria::storage::test
