#include "diagnostics/health/nvme_health_prediction.h"

#include "checks/message_keys.h"
#include "diagnostics/health/nvme_health_estimate.h"
#include "inventory/html_table.h"

namespace ostria::storage {

namespace {

constexpr char sectionName[] = "STORAGE";
constexpr char enableKey[] = "ENABLE_NVME_HEALTH_PREDICTION_TEST";
constexpr char healthFail[] = "SSD_HEALTH_FAIL";
constexpr char healthWarning[] = "SSD_HEALTH_WARNING";
constexpr char enduranceWarning[] = "SSD_ENDURANCE_RATING_WARNING";

constexpr char passed[] = "<font color=green>Passed</font>";
constexpr char failed[] = "<font color=red>Fail</font>";
constexpr char warning[] = "<font color=#FFC300>Warning</font>";

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
    for (const char* name : {"DEN", "SEN", "NBB"}) row(name, 0, passed);
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
  table.percentRow("SSD Health", e.health, e.health < 1 ? failed : passed);
  table.row("CW", e.criticalWarning, e.criticalWarning != 0 ? failed : passed);
  table.percentRow("TBW", e.usedPercent, e.leftPercent() < 21 ? warning : passed);
  return table.html();
}

std::string warningTable(const NvmeHealthEstimate& e) {
  VerdictTable table;
  table.percentRow("SSD Health", e.health, e.health < 6 ? warning : passed);
  table.row("MDIE", e.mediaErrors, e.mediaErrors != 0 ? warning : passed);
  table.uncountedRows();
  table.percentRow("TBW", e.usedPercent, passed);
  return table.html("left");
}

std::string wholeTable(const NvmeHealthEstimate& e, const char* enduranceVerdict) {
  VerdictTable table;
  table.percentRow("SSD Health", e.health, passed);
  table.row("CW", e.criticalWarning, passed);
  table.row("MDIE", e.mediaErrors, e.mediaErrors != 0 ? warning : passed);
  table.uncountedRows();
  table.percentRow("TBW", e.usedPercent, enduranceVerdict);
  return table.html();
}

}  // namespace

bool NvmeHealthPredictionTest::isApplicable(SystemComponent* component) {
  return enabled_ && StorageTest::isApplicable(component);
}

bool NvmeHealthPredictionTest::configure(ConfigurationMap configuration, ConfigurationError*) {
  const auto section = configuration.find(sectionName);
  if (section == configuration.end()) return true;
  const auto value = section->second.find(enableKey);
  if (value != section->second.end()) enabled_ = value->second == "1";
  return true;
}

TestResult NvmeHealthPredictionTest::check(StorageComponent* component, TestListener* listener,
                                           MessageLog* log) {
  const char* reason = component == nullptr                         ? keys::DeviceNotIdentified
                       : !hasNvmeLogs(component->storageProtocol()) ? keys::InvalidProtocol
                                                                    : nullptr;
  if (reason == nullptr) return TestResult::Passed;
  showThenLogFlagged(listener, log, reason, Statement);
  return TestResult::NotPerformed;
}

TestResult NvmeHealthPredictionTest::run(TestRunContext* context) {
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) return bound;
  // The verdict is a table: a host that shows nothing has no use for it.
  if (!listener_->canRequestInput()) return TestResult::NotPerformed;
  if (checkStopNoted(context_, true)) return TestResult::Stopped;

  const StorageProtocolProperties properties = cachedProperties(protocol_);
  const double capacity = static_cast<double>(properties.totalSectors) *
                          static_cast<double>(properties.logicalSectorSize);
  const NvmeHealthEstimate e = estimateNvmeHealth(NvmeAccess(protocol_), capacity);

  if (!e.judgeable) {
    constexpr char noData[] = "FAILED_TO_GET_SMART_DATA";
    progress(0, noData);
    log_->add(noData, Statement, 0);
    return close(TestResult::Stopped);
  }
  if (e.health < 1 || e.criticalWarning != 0) {
    report(failureTable(e), {healthFail}, {healthFail});
    return close(TestResult::Failed);
  }
  if (e.leftPercent() <= 20) {
    report(wholeTable(e, warning), {enduranceWarning, healthWarning},
           {healthWarning, enduranceWarning});
    return close(TestResult::Warning);
  }
  if (e.health < 6 || e.mediaErrors != 0) {
    report(warningTable(e), {healthWarning}, {healthWarning});
    return close(TestResult::Warning);
  }
  report(wholeTable(e, passed), {}, {});
  return close(TestResult::Passed);
}

void NvmeHealthPredictionTest::report(const std::string& table,
                                      const std::vector<std::string>& shown,
                                      const std::vector<std::string>& logged) {
  progress(0, table);
  for (const std::string& key : shown) progress(0, key);
  for (const std::string& key : logged) log_->add(key, Statement, 0);
  log_->add(table, Statement, 0);
}

}  // namespace ostria::storage
