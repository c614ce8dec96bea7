// The NVMe health tests on a drive model: temperature, spare, reliability, and the estimate over
// days.
#include <gtest/gtest.h>

#include "diagnostics/health/controller_status.h"
#include "diagnostics/health/nvme_health_prediction.h"
#include "diagnostics/health/nvme_smart.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/nvme_bench.h"

namespace ostria::storage::test {
namespace {

using Lines = std::vector<std::string>;

constexpr std::uint64_t kSectorsPerGiB = 2'097'152;
constexpr char kInvalidProtocol[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_PROTOCOL_BEING_USED_BY_THE_DEVICE_IS_INVALID";

TEST(NvmeTests, EachWarningBitFailsItsOwnTestOnly) {
  virtual_pc::NvmeTraits traits;
  traits.health.criticalWarning = 0x06;
  NvmeBench bench(traits);
  SmartSpareSpaceTest spare{Identifier{}};
  SmartTemperatureTest temperature{Identifier{}};
  SmartReliabilityTest reliability{Identifier{}};

  FakeHost host(bench.component.get());
  EXPECT_TRUE(spare.isApplicable(bench.component.get()));
  EXPECT_EQ(spare.run(&host), TestResult::Passed);
  EXPECT_EQ(temperature.run(&host), TestResult::Failed);
  EXPECT_EQ(reliability.run(&host), TestResult::Failed);
  EXPECT_EQ(host.messages, (Lines{"progress 100", "progress 100 NVME_SMART_TEMPERATURE_TEST_FAIL",
                                  "log 2 flag 1 NVME_SMART_TEMPERATURE_TEST_FAIL",
                                  "progress 100 NVME_SMART_RELIABILITY_TEST_FAIL",
                                  "log 2 flag 1 NVME_SMART_RELIABILITY_TEST_FAIL"}));

  // A stop after the log was read discards the verdict.
  FakeHost stopping(bench.component.get());
  stopping.abortFromPoll = 0;
  EXPECT_EQ(temperature.run(&stopping), TestResult::Stopped);

  bench.breakLog(2);
  FakeHost deaf(bench.component.get());
  EXPECT_EQ(temperature.run(&deaf), TestResult::NotPerformed);
  EXPECT_EQ(deaf.messages, (Lines{"progress 100 FAILED_TO_GET_SMART_DATA",
                                  "log 0 flag 1 FAILED_TO_GET_SMART_DATA"}));
}

TEST(NvmeTests, DriveBehindScsiTranslationIsRefused) {
  FakeDevice<> device(ProtocolKind::NvmeScsi);
  device.component->setBusKind(StorageBusKind::Nvme);
  SmartTemperatureTest smart{Identifier{}};
  NvmeHealthPredictionTest prediction{Identifier{}};
  prediction.configure({{"STORAGE", {{"ENABLE_NVME_HEALTH_PREDICTION_TEST", "1"}}}}, nullptr);
  EXPECT_FALSE(smart.isApplicable(device.component.get()));
  EXPECT_FALSE(prediction.isApplicable(device.component.get()));
  FakeHost host(device.component.get());
  EXPECT_EQ(smart.run(&host), TestResult::NotPerformed);
  EXPECT_EQ(host.messages, (Lines{std::string("progress 100 ") + kInvalidProtocol,
                                  std::string("log 0 flag 1 ") + kInvalidProtocol}));
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

  FakeHost silent(bench.component.get());
  EXPECT_EQ(test.run(&silent), TestResult::NotPerformed);
  EXPECT_EQ(silent.messages, std::vector<std::string>{"progress 100"});
}

// Units of 512000 bytes that make so many GiB.
std::uint64_t writtenGiB(double gib) {
  return static_cast<std::uint64_t>(gib * 1024 * 1024 * 1024 / 512000) + 1;
}

struct Prediction {
  TestResult result;
  Lines keys;    ///< what is shown beside the table, in order
  Lines logged;  ///< what is logged beside the table
  std::string table;
};

Prediction predict(NvmeBench& bench) {
  NvmeHealthPredictionTest test{Identifier{}};
  FakeHost host(bench.component.get());
  host.answer = InputRequest::Yes;
  Prediction out{test.run(&host), {}, {}, {}};
  EXPECT_EQ(host.messages.back(), "progress 100");
  for (const std::string& line : host.messages) {
    if (line.rfind("progress 0 <", 0) == 0) {
      out.table = line.substr(11);
    } else if (line.rfind("progress 0 ", 0) == 0) {
      out.keys.push_back(line.substr(11));
    } else if (line.rfind("log 0 ", 0) == 0 && line[6] != '<') {
      out.logged.push_back(line.substr(6));
    }
  }
  return out;
}

bool hasRow(const Prediction& p, const std::string& name, const std::string& value,
            const std::string& verdict) {
  // The cells of one row follow each other, whatever markup stands between them.
  const std::size_t at = p.table.find("> " + name + " <");
  if (at == std::string::npos) {
    return false;
  }
  const std::size_t valueAt = p.table.find("> " + value + " <", at);
  const std::size_t verdictAt = p.table.find(">" + verdict + "<", at);
  const std::size_t end = p.table.find("</tr>", at);
  return valueAt < verdictAt && verdictAt < end;
}

TEST(NvmeHealthPrediction, VerdictFollowsHealthThenEnduranceThenErrors) {
  struct Case {
    const char* name;
    std::uint8_t percentageUsed = 10;
    double gibWritten = 10;
    std::uint64_t mediaErrors = 0;
    TestResult result = TestResult::Warning;
    const char* health = "90%";
    const char* used = "0%";
    Lines keys = {};
    Lines logged = {};
  };
  const Lines failing{"SSD_HEALTH_FAIL"};
  const Lines warning{"SSD_HEALTH_WARNING"};
  const Lines worn{"SSD_ENDURANCE_RATING_WARNING", "SSD_HEALTH_WARNING"};
  const Lines wornLog{"SSD_HEALTH_WARNING", "SSD_ENDURANCE_RATING_WARNING"};
  // A drive of 500 GiB is rated for 150 times 1024 GiB.
  const std::vector<Case> cases{
      {.name = "worn out",
       .percentageUsed = 100,
       .result = TestResult::Failed,
       .health = "0%",
       .keys = failing,
       .logged = failing},
      {.name = "beyond its life",
       .percentageUsed = 255,
       .result = TestResult::Failed,
       .health = "-155%",
       .keys = failing,
       .logged = failing},
      {.name = "at its rating",
       .gibWritten = 153600,
       .used = "100%",
       .keys = worn,
       .logged = wornLog},
      {.name = "21 percent left",
       .percentageUsed = 94,
       .gibWritten = 153600 * 0.795,
       .result = TestResult::Passed,
       .health = "6%",
       .used = "79%"},
      {.name = "20 percent left",
       .percentageUsed = 94,
       .gibWritten = 153600 * 0.805,
       .health = "6%",
       .used = "80%",
       .keys = worn,
       .logged = wornLog},
      {.name = "health of 5",
       .percentageUsed = 95,
       .health = "5%",
       .keys = warning,
       .logged = warning},
      {.name = "media errors", .mediaErrors = 3, .keys = warning, .logged = warning},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    virtual_pc::NvmeTraits traits;
    traits.health.percentageUsed = c.percentageUsed;
    traits.health.dataUnitsWritten = writtenGiB(c.gibWritten);
    traits.health.mediaErrors = c.mediaErrors;
    NvmeBench bench(traits, 500 * kSectorsPerGiB);
    bench.breakLog(9);
    bench.breakLog(0xDF);
    const Prediction p = predict(bench);
    EXPECT_EQ(p.result, c.result);
    EXPECT_EQ(p.keys, c.keys);
    EXPECT_EQ(p.logged, c.logged);
    EXPECT_NE(p.table.find(std::string("> ") + c.health + " <"), std::string::npos) << p.table;
    EXPECT_NE(p.table.find(std::string("> ") + c.used + " <"), std::string::npos) << p.table;
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
  const Prediction byCount = predict(counted);
  EXPECT_TRUE(hasRow(byCount, "SSD Health", "46%", "Passed")) << byCount.table;
  EXPECT_TRUE(hasRow(byCount, "TBW", "53%", "Passed")) << byCount.table;

  traits.vendorCount = 0x2020;
  NvmeBench blank(traits, 100 * kSectorsPerGiB);
  EXPECT_TRUE(hasRow(predict(blank), "SSD Health", "70%", "Passed"));
  traits.vendorCount = 12;
  NvmeBench overdrawn(traits, 100 * kSectorsPerGiB);
  EXPECT_TRUE(hasRow(predict(overdrawn), "SSD Health", "-28%", "Fail"));

  // Wear, warnings and media errors stand in the health log alone.
  counted.breakLog(2);
  const Prediction none = predict(counted);
  EXPECT_EQ(none.result, TestResult::Stopped);
  EXPECT_EQ(none.keys, Lines{"FAILED_TO_GET_SMART_DATA"});
}

TEST(NvmeHealthPrediction, UnratedCapacityAndNonsenseStayWithinPercents) {
  virtual_pc::NvmeTraits traits;
  traits.health.dataUnitsWritten = ~std::uint64_t{0};
  NvmeBench big(traits, 4001 * kSectorsPerGiB);
  EXPECT_TRUE(hasRow(predict(big), "TBW", "0%", "Passed"));
  NvmeBench small(traits, 128 * kSectorsPerGiB);
  EXPECT_TRUE(hasRow(predict(small), "TBW", "100%", "Warning"));

  traits.enduranceEstimate = 1;
  traits.partNumber = "";
  traits.vendorCount = 0xFFFF;
  NvmeBench tiny(traits, 2048);  // less than one GiB
  EXPECT_TRUE(hasRow(predict(tiny), "SSD Health", "98%", "Passed"));
}

}  // namespace
}  // namespace ostria::storage::test
