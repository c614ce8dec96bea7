// The text that the node exporter's textfile collector takes, valid as OpenMetrics too. Both forms
// write a counter differently, so there are gauges alone: rate() works on them all the same. What
// was not read has no sample: an alert on a 0 that nobody read would never fire.
#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <map>

#include "host/core/model/health_rules.h"
#include "host/core/model/history.h"
#include "host/core/model/raw_values.h"
#include "host/core/report/output_formats.h"
#include "host/core/report/plain_text.h"

namespace ostria::host {
namespace {

using Reading = std::optional<double>;

constexpr std::uint32_t kNvmeTemperature = 1;
constexpr std::uint32_t kNvmeDataUnitsWritten = 48;
constexpr double kNvmeDataUnitBytes = 512000;
constexpr double kSecondsPerHour = 3600;
constexpr std::array<Verdict, 5> kVerdicts = {Verdict::Good, Verdict::NotKnown, Verdict::Watch,
                                              Verdict::Replace, Verdict::NotAnswering};

bool isAttribute(const SmartRow& row) { return !row.threshold.empty(); }

const SmartRow* rowOf(const DeviceInfo& device, std::uint32_t id, bool attribute) {
  const auto& rows = device.evidence.rows;
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const SmartRow& row) {
    return isAttribute(row) == attribute && row.number(&SmartRow::id) == id;
  });
  return found == rows.end() ? nullptr : &*found;
}

Reading temperature(const DeviceInfo& device) {
  if (const SmartRow* row = rowOf(device, kNvmeTemperature, false)) {
    int celsius = 0;
    const char* end = row->data.data() + row->data.size();
    if (std::from_chars(row->data.data(), end, celsius).ec == std::errc()) {
      return celsius;
    }
  }
  for (const std::uint32_t id : {194u, 190u}) {
    const SmartRow* row = rowOf(device, id, true);
    if (const auto count = row != nullptr ? countOf(*row) : std::nullopt; count && *count > 0) {
      return static_cast<double>(*count);
    }
  }
  const auto& scanned = device.temperatureCelsius;
  return scanned ? Reading(static_cast<double>(*scanned)) : std::nullopt;
}

Reading lifeLeft(const DeviceInfo& device) {
  const auto& wear = device.health.wearPercent;
  return wear ? Reading(static_cast<double>(100 - std::min<std::uint64_t>(*wear, 100)) / 100)
              : std::nullopt;
}

Reading spare(const DeviceInfo& device) {
  const auto& percent = device.health.sparePercent;
  return percent ? Reading(static_cast<double>(*percent) / 100) : std::nullopt;
}

Reading powerOn(const DeviceInfo& device) {
  const auto& hours = device.health.powerOnHours;
  return hours ? Reading(static_cast<double>(*hours) * kSecondsPerHour) : std::nullopt;
}

// ATA drives have no such number that means the same everywhere: attribute 241 counts in units of
// each maker's own, and the module gives its 32 low bits alone.
Reading written(const DeviceInfo& device) {
  const SmartRow* row = rowOf(device, kNvmeDataUnitsWritten, false);
  const auto units = row != nullptr ? countOf(*row) : std::nullopt;
  return units ? Reading(static_cast<double>(*units) * kNvmeDataUnitBytes) : std::nullopt;
}

Reading asleep(const DeviceInfo& device) {
  if (device.evidence.smart == DataState::Asleep) {
    return 1;
  }
  return device.evidence.smart == DataState::Value ? Reading(0) : std::nullopt;
}

/// The first of these numbers, named as `numbersOf` does, that the drive has.
template <const char*... Names>
Reading numberOf(const DeviceInfo& device) {
  const auto numbers = numbersOf(device);
  for (const char* name : {Names...}) {
    if (const auto found = numbers.find(name); found != numbers.end()) {
      return static_cast<double>(found->second);
    }
  }
  return std::nullopt;
}

constexpr char kMediaErrors[] = "media_errors";
constexpr char kReported[] = "reported";
constexpr char kReallocated[] = "reallocated";
constexpr char kPending[] = "pending";
constexpr char kUncorrectable[] = "uncorrectable";
constexpr char kCrc[] = "crc";

struct MetricRow {
  const char* name;
  const char* unit;  ///< the end of the name, where it is a unit
  const char* help;
  Reading (*read)(const DeviceInfo& device);
};

constexpr MetricRow kMetrics[] = {
    {"temperature_celsius", "celsius", "Temperature of the drive.", temperature},
    {"life_left_ratio", "ratio", "Share of the rated life that is left.", lifeLeft},
    {"spare_ratio", "ratio", "Share of the spare space that is left.", spare},
    {"media_errors", "", "Media errors that the drive counted or reported.",
     numberOf<kMediaErrors, kReported>},
    {"reallocated_sectors", "", "Sectors that the drive replaced by spare ones.",
     numberOf<kReallocated>},
    {"pending_sectors", "", "Sectors that cannot be read now.", numberOf<kPending>},
    {"uncorrectable_sectors", "", "Sectors that an offline scan of the drive could not correct.",
     numberOf<kUncorrectable>},
    {"interface_crc_errors", "", "Transfers between drive and controller that were garbled.",
     numberOf<kCrc>},
    {"power_on_seconds", "seconds", "Time that the drive was on, in its life.", powerOn},
    {"written_bytes", "bytes", "Data written to the drive, in its life.", written},
    {"asleep", "", "1: the drive sleeps and was not woken.", asleep},
};

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : harmless(text)) {
    out += c == '\\' || c == '"' ? std::string("\\") + c : std::string(1, c);
  }
  return out;
}

std::string label(std::string_view name, std::string_view value) {
  return value.empty() ? std::string() : "," + std::string(name) + "=\"" + escaped(value) + "\"";
}

std::string numberText(double value) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

class MetricsReport final : public OutputFormat {
 public:
  explicit MetricsReport(WriteText write) : write_(std::move(write)) {}

  void begin(DocumentKind /*kind*/, const Session& session) override { session_ = &session; }

  void end() override {
    nameDrives();
    family("drive_info", "", "A drive and what may change of it.");
    for (std::size_t i = 0; i < session_->devices.size(); ++i) {
      const DeviceInfo& device = session_->devices[i];
      sample("drive_info", i,
             label("firmware", device.firmware) + label("node", device.names.node) +
                 label("connection", device.connection) +
                 label("controller", device.raid.controller),
             1);
    }
    family("verdict", "", "1 for the verdict on the drive, 0 for the others.");
    for (std::size_t i = 0; i < session_->devices.size(); ++i) {
      for (const Verdict verdict : kVerdicts) {
        sample("verdict", i, label("verdict", verdictWord(verdict)),
               session_->devices[i].health.verdict == verdict ? 1 : 0);
      }
    }
    for (const MetricRow& row : kMetrics) {
      readings(row);
    }
    tests("test_last_run_timestamp_seconds", "seconds", "When the test last ran on the drive.",
          [](const LastRun& run) { return static_cast<double>(run.time); });
    tests("test_last_exit_code", "", "How it ended, as an exit code of the program: 0 is good.",
          [](const LastRun& run) { return static_cast<double>(run.outcome); });
    family("collected_timestamp_seconds", "seconds", "When these numbers were read.");
    write_("ostria_storage_collected_timestamp_seconds " +
           std::to_string(Clock::to_time_t(session_->finished)) + "\n# EOF\n");
  }

 private:
  // Two drives without numbers of their own, or with masked ones, would be one series.
  void nameDrives() {
    std::map<std::string, unsigned> drives;
    for (const DeviceInfo& device : session_->devices) {
      labels_.push_back(label("model", device.model) + label("serial", device.serial) +
                        label("wwn", device.names.wwn) + label("bus", device.bus));
      ++drives[labels_.back()];
    }
    for (std::size_t i = 0; i < labels_.size(); ++i) {
      if (drives[labels_[i]] > 1) {
        const DeviceInfo& device = session_->devices[i];
        labels_[i] += label(
            "device", device.names.node.empty() ? std::to_string(device.index) : device.names.node);
      }
    }
  }

  void family(const std::string& name, const std::string& unit, const std::string& help) {
    const std::string whole = "ostria_storage_" + name;
    write_("# HELP " + whole + " " + help + "\n# TYPE " + whole + " gauge\n" +
           (unit.empty() ? "" : "# UNIT " + whole + " " + unit + "\n"));
  }

  void sample(const std::string& name, std::size_t drive, const std::string& more, double value) {
    // The bus is always known, so there is a label.
    write_("ostria_storage_" + name + "{" + (labels_[drive] + more).substr(1) + "} " +
           numberText(value) + "\n");
  }

  void readings(const MetricRow& row) {
    family(row.name, row.unit, row.help);
    for (std::size_t i = 0; i < session_->devices.size(); ++i) {
      if (const Reading value = row.read(session_->devices[i])) {
        sample(row.name, i, {}, *value);
      }
    }
  }

  void tests(const char* name, const char* unit, const char* help,
             const std::function<double(const LastRun&)>& value) {
    family(name, unit, help);
    for (std::size_t i = 0; i < session_->devices.size(); ++i) {
      for (const LastRun& run : session_->devices[i].lastRuns) {
        sample(name, i, label("test", run.test), value(run));
      }
    }
  }

  WriteText write_;
  const Session* session_ = nullptr;
  std::vector<std::string> labels_;  ///< of each drive, with a comma before each label
};

}  // namespace

std::unique_ptr<OutputFormat> makeMetricsOutput(WriteText write, const Texts& /*texts*/) {
  return std::make_unique<MetricsReport>(std::move(write));
}

}  // namespace ostria::host
