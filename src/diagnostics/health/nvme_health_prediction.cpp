// The verdict is shown as an HTML table whose words are no message keys: hosts show it as it is.
#include "diagnostics/health/nvme_health_prediction.h"

#include "diagnostics/health/nvme_access.h"
#include "diagnostics/health/nvme_health_estimate.h"
#include "inventory/html_table.h"
#include "services/config_file.h"

namespace ostria::storage {

namespace {

constexpr char kEnableKey[] = "ENABLE_NVME_HEALTH_PREDICTION_TEST";
constexpr char kHealthFail[] = "SSD_HEALTH_FAIL";
constexpr char kHealthWarning[] = "SSD_HEALTH_WARNING";
constexpr char kEnduranceWarning[] = "SSD_ENDURANCE_RATING_WARNING";

constexpr char kPassed[] = "<font color=green>Passed</font>";
constexpr char kFailed[] = "<font color=red>Fail</font>";
constexpr char kWarning[] = "<font color=#FFC300>Warning</font>";

class VerdictTable {
 public:
  void row(const char* name, std::uint64_t value, const char* verdict) {
    rowText(name, std::to_string(value), verdict);
  }
  void percentRow(const char* name, int value, const char* verdict) {
    rowText(name, std::to_string(value) + "%", verdict);
  }
  /// What nothing counts so far; the host's table has the rows.
  void uncountedRows() {
    for (const char* name : {"DEN", "SEN", "NBB"}) {
      row(name, 0, kPassed);
    }
  }
  std::string html(const std::string& cellAlignment = {}) const {
    return makeHtmlTable({"Attribute", "Value", "Status"}, "left", cells_, cellAlignment, 60,
                         false);
  }

 private:
  void rowText(const char* name, const std::string& value, const char* verdict) {
    cells_.insert(cells_.end(), {name, value, verdict});
  }
  std::vector<std::string> cells_;
};

std::string failureTable(const NvmeHealthEstimate& e) {
  VerdictTable table;
  table.percentRow("SSD Health", e.health, e.health < 1 ? kFailed : kPassed);
  table.row("CW", e.criticalWarning, e.criticalWarning != 0 ? kFailed : kPassed);
  table.percentRow("TBW", e.usedPercent, e.leftPercent() < 21 ? kWarning : kPassed);
  return table.html();
}

std::string warningTable(const NvmeHealthEstimate& e) {
  VerdictTable table;
  table.percentRow("SSD Health", e.health, e.health < 6 ? kWarning : kPassed);
  table.row("MDIE", e.mediaErrors, e.mediaErrors != 0 ? kWarning : kPassed);
  table.uncountedRows();
  table.percentRow("TBW", e.usedPercent, kPassed);
  return table.html("left");
}

std::string wholeTable(const NvmeHealthEstimate& e, const char* enduranceVerdict) {
  VerdictTable table;
  table.percentRow("SSD Health", e.health, kPassed);
  table.row("CW", e.criticalWarning, kPassed);
  table.row("MDIE", e.mediaErrors, e.mediaErrors != 0 ? kWarning : kPassed);
  table.uncountedRows();
  table.percentRow("TBW", e.usedPercent, enduranceVerdict);
  return table.html();
}

}  // namespace

bool NvmeHealthPredictionTest::isApplicable(SystemComponent* component) {
  return enabled_ && StorageTest::isApplicable(component);
}

bool NvmeHealthPredictionTest::configure(ConfigurationMap configuration, ConfigurationError*) {
  const auto section = configuration.find(kStorageSection);
  if (section == configuration.end()) {
    return true;
  }
  const auto value = section->second.find(kEnableKey);
  if (value != section->second.end()) {
    enabled_ = value->second == "1";
  }
  return true;
}

TestResult NvmeHealthPredictionTest::check(StorageComponent* component, TestListener* listener,
                                           MessageLog* log) {
  const char* reason = nvmeRefusal(component);
  if (reason == nullptr) {
    return TestResult::Passed;
  }
  showThenLogFlagged(listener, log, reason, Statement);
  return TestResult::NotPerformed;
}

TestResult NvmeHealthPredictionTest::run(TestRunContext* context) {
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) {
    return bound;
  }
  // The verdict is a table: a host that shows nothing has no use for it.
  if (!listener_->canRequestInput()) {
    return close(TestResult::NotPerformed);
  }
  if (checkStopNoted(context_, true)) {
    return TestResult::Stopped;
  }

  const StorageProtocolProperties properties = cachedProperties(protocol_);
  const double capacity = static_cast<double>(properties.totalSectors) *
                          static_cast<double>(properties.logicalSectorSize);
  const NvmeHealthEstimate e = estimateNvmeHealth(nvmeLogsOf(protocol_), capacity);

  if (!e.judgeable) {
    constexpr char kNoData[] = "FAILED_TO_GET_SMART_DATA";
    progress(0, kNoData);
    log_->add(kNoData, Statement, 0);
    return close(TestResult::Stopped);
  }
  if (e.health < 1 || e.criticalWarning != 0) {
    report(failureTable(e), {kHealthFail}, {kHealthFail});
    return close(TestResult::Failed);
  }
  if (e.leftPercent() <= 20) {
    report(wholeTable(e, kWarning), {kEnduranceWarning, kHealthWarning},
           {kHealthWarning, kEnduranceWarning});
    return close(TestResult::Warning);
  }
  if (e.health < 6 || e.mediaErrors != 0) {
    report(warningTable(e), {kHealthWarning}, {kHealthWarning});
    return close(TestResult::Warning);
  }
  report(wholeTable(e, kPassed), {}, {});
  return close(TestResult::Passed);
}

void NvmeHealthPredictionTest::report(const std::string& table,
                                      const std::vector<std::string>& shown,
                                      const std::vector<std::string>& logged) {
  progress(0, table);
  for (const std::string& key : shown) {
    progress(0, key);
  }
  for (const std::string& key : logged) {
    log_->add(key, Statement, 0);
  }
  log_->add(table, Statement, 0);
}

}  // namespace ostria::storage
