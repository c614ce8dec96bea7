// The JSON document of docs/output.schema.json. Keys stay in the order in which they are written
// here, and what is no text in a device's text is replaced, never an error.
#include <algorithm>
#include <cmath>

#include "host/core/model/module_catalogue.h"
#include "host/core/model/raw_values.h"
#include "host/core/model/tool_status.h"
#include "host/core/report/health_text.h"
#include "host/core/report/json_device.h"
#include "host/core/report/json_parts.h"
#include "host/core/report/output_formats.h"
#include "host/core/texts/clean_text.h"

namespace ostria::host {
namespace {

// Name and version of the form of the documents. The version changes when a key does.
constexpr const char* kJsonSchema = "ostria.storage.diagnostics";
constexpr const char* kJsonVersion = "2.0";

Json bareDocument(const char* kind) {
  return {{"schema", kJsonSchema}, {"schema_version", kJsonVersion}, {"kind", kind}};
}

Json document(const char* kind, const Session& session) {
  Json json = bareDocument(kind);
  json["started_at"] = isoTime(session.started);
  json["finished_at"] = isoTime(session.finished);
  json["machine"] = {
      {"name", session.machine}, {"system", session.system}, {"virtual", session.virtualPc}};
  json["module_version"] = session.moduleVersion;
  json["program_version"] = session.programVersion;
  json["notes"] = Json::object();
  for (const auto& [key, text] : session.notes) {
    json["notes"][cleanText(key)] = text;
  }
  return json;
}

void putOutcome(Json& json, ExitCode code) {
  json["outcome"] = outcomeWord(code);
  json["exit_code"] = static_cast<int>(code);
}

void clean(Json& json) {
  if (json.is_string()) {
    json = cleanText(json.get_ref<const std::string&>());
  } else if (json.is_structured()) {
    std::for_each(json.begin(), json.end(), [](Json& part) { clean(part); });
  }
}

std::string dumped(Json& json) {
  clean(json);
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

void putTimes(Json& json, Clock::time_point started, Clock::time_point finished) {
  json["started_at"] = isoTime(started);
  json["finished_at"] = isoTime(finished);
  json["duration_seconds"] =
      std::chrono::duration<double>(
          std::chrono::duration_cast<std::chrono::milliseconds>(finished - started))
          .count();
}

Json rangesJson(const std::vector<SectorRange>& ranges) {
  Json list = Json::array();
  for (const SectorRange& range : ranges) {
    Json entry;
    putNumber(entry, "first_sector", range.first);
    putNumber(entry, "last_sector", range.second);
    list.push_back(std::move(entry));
  }
  return list;
}

Json readsJson(const std::optional<ReadTimes>& reads) {
  if (!reads) {
    return nullptr;
  }
  Json json;
  putNumber(json, "reads", reads->reads);
  putNumber(json, "failed_reads", reads->failedReads);
  putNumber(json, "read_sectors", reads->sectorsRead);
  json["read_percent"] = std::floor(reads->percentRead() * 1000) / 1000;
  json["bytes_per_second"] = std::llround(reads->bytesPerSecond());
  putNumber(json, "position_sector", reads->position);
  putNumber(json, "bad_blocks", reads->badBlocks);
  json["classes"] = Json::array();
  for (std::size_t i = 0; i < reads->classes.size(); ++i) {
    const bool last = i == ReadTimes::kLimits.size();
    json["classes"].push_back(
        {{"below_milliseconds", last ? Json(nullptr) : Json(ReadTimes::kLimits[i])},
         {"reads", reads->classes[i]}});
  }
  json["slowest"] = Json::array();
  for (const SlowRead& read : reads->slowest) {
    Json entry;
    putNumber(entry, "first_sector", read.first);
    putNumber(entry, "sectors", read.count);
    entry["milliseconds"] = static_cast<double>(read.microseconds) / 1000;
    json["slowest"].push_back(std::move(entry));
  }
  json["map"] = textOrNull(reads->map);
  return json;
}

Json runJson(const TestRun& run) {
  Json json;
  json["device_index"] = run.device;
  json["test"] = testJson(run.test);
  json["diagnostic"] = run.diagnosticName;
  json["parameters"] = Json::object();
  for (const auto& [key, value] : run.parameters) {
    json["parameters"][key] = value;
  }
  json["outcome"] = run.applicable ? outcomeWord(run.outcome) : "not_supported";
  json["result"] = static_cast<int>(run.outcome);
  json["asked_by_name"] = run.named;
  json["lost"] = run.lost;
  putTimes(json, run.started, run.finished);
  json["messages"] = Json::array();
  for (const Message& message : run.messages) {
    json["messages"].push_back({{"key", message.key},
                                {"text", message.text},
                                {"severity", message.severity},
                                {"flag", message.flag}});
  }
  json["note"] = textOrNull(run.note);
  json["bad_ranges"] = rangesJson(run.badRanges);
  json["read_times"] = readsJson(run.reads);
  return json;
}

Json toolJson(const ToolRun& run, const Session& session, const Texts& texts) {
  Json json;
  json["device_index"] = run.device;
  json["applicable"] = run.applicable;
  json["outcome"] = run.applicable || session.operation == "filterDevices"
                        ? outcomeWord(run.outcome)
                        : "not_supported";
  json["status"] = run.status ? Json(*run.status) : Json(nullptr);
  json["status_text"] = run.status ? Json(texts.say(statusKey(run))) : Json(nullptr);
  putTimes(json, run.started, run.finished);
  json["note"] = textOrNull(run.note);
  json["lost"] = run.lost;
  if (run.hasSectors) {
    Json sectors;
    putNumber(sectors, "scanned_sectors", run.sectorsScanned);
    putNumber(sectors, "bad_sectors", run.badSectorsFound);
    putNumber(sectors, "repaired_sectors", run.badSectorsRepaired);
    sectors["list"] = run.badSectors;
    sectors["repaired_list"] = run.repairedSectors;
    sectors["outcomes"] = Json::array();
    for (const std::uint64_t sector : run.badSectors) {
      const bool repaired =
          std::binary_search(run.repairedSectors.begin(), run.repairedSectors.end(), sector);
      sectors["outcomes"].push_back(!run.repairs ? "found" : repaired ? "repaired" : "bad");
    }
    json["sectors"] = std::move(sectors);
  }
  json["read_times"] = readsJson(run.reads);
  if (session.operation == "filesystem") {
    json["partitions"] = Json::array();
    for (const PartitionResult& partition : run.partitions) {
      json["partitions"].push_back({{"name", partition.name},
                                    {"outcome", outcomeWord(partition.outcome)},
                                    {"status", partition.status},
                                    {"status_text", texts.say(statusKey(partition.status, true))},
                                    {"report", partition.report},
                                    {"notes", partition.notes}});
    }
  }
  if (run.isSmart) {
    json["protocol"] = textOrNull(run.protocol);
    json["smart"] = smartJson(run.smart);
    json["vendor_log"] = smartJson(run.logPage);
  }
  return json;
}

std::string listJson(const Session& session, const Texts& texts) {
  Json json = document("device_list", session);
  putOutcome(json, worse(session.healthOutcome(), session.ending));
  json["devices"] = devicesJson(session, texts, false);
  json["notices"] = session.notices;
  return dumped(json);
}

std::string detailsJson(const Session& session, const Texts& texts) {
  Json json = document("device_details", session);
  putOutcome(json, worse(session.healthOutcome(), session.ending));
  json["devices"] = devicesJson(session, texts, true);
  json["notices"] = session.notices;
  return dumped(json);
}

std::string sessionJson(const Session& session, const Texts& texts) {
  const bool tool = !session.toolName.empty();
  Json json = document(tool ? "tool_run" : "test_run", session);
  putOutcome(json, worse(session.outcome(), session.ending));
  json["devices"] = devicesJson(session, texts, false);
  if (tool) {
    json["tool"] = session.toolName;
    json["operation"] = textOrNull(session.operation);
    json["tool_runs"] = Json::array();
    for (const ToolRun& run : session.tools) {
      json["tool_runs"].push_back(toolJson(run, session, texts));
    }
  } else {
    json["test_runs"] = Json::array();
    for (const TestRun& run : session.tests) {
      json["test_runs"].push_back(runJson(run));
    }
  }
  json["notices"] = session.notices;
  return dumped(json);
}

std::string historyJson(const std::vector<HistoryRecord>& records) {
  Json json = bareDocument("history");
  json["records"] = Json::array();
  for (const HistoryRecord& record : records) {
    json["records"].push_back({{"run", record.run},
                               {"time", record.result.time},
                               {"machine", record.machine},
                               {"virtual", record.virtualPc},
                               {"model", record.model},
                               {"serial", textOrNull(record.serial)},
                               {"id", record.result.id},
                               {"name", record.result.name},
                               {"outcome", record.result.outcome},
                               {"text", record.result.text}});
  }
  return dumped(json);
}

Json keptRunJson(const KeptRun& run) {
  return {{"run", run.number},
          {"started_at", run.started},
          {"machine", run.machine},
          {"virtual", run.virtualPc},
          {"outcome", run.outcome}};
}

std::string comparisonJson(const Comparison& comparison) {
  Json json = bareDocument("comparison");
  json["before"] = keptRunJson(comparison.before);
  json["now"] = keptRunJson(comparison.now);
  json["drives"] = Json::array();
  for (const DriveComparison& drive : comparison.drives) {
    json["drives"].push_back({{"model", drive.model},
                              {"serial", textOrNull(drive.serial)},
                              {"verdict_before", textOrNull(drive.verdictBefore)},
                              {"verdict_now", textOrNull(drive.verdictNow)},
                              {"changes", changesJson(drive.changes)}});
  }
  json["results"] = Json::array();
  for (const ResultComparison& result : comparison.results) {
    json["results"].push_back({{"model", result.model},
                               {"serial", textOrNull(result.serial)},
                               {"id", result.id},
                               {"name", result.name},
                               {"outcome_before", textOrNull(result.before)},
                               {"outcome_now", textOrNull(result.now)}});
  }
  return dumped(json);
}

std::string helpJson(const std::string& text) {
  Json json = bareDocument("help");
  json["text"] = text;
  return dumped(json);
}

std::string versionJson(const std::string& program, const std::string& module,
                        const std::string& notice) {
  Json json = bareDocument("version");
  json["program_version"] = program;
  json["module_version"] = textOrNull(module);
  json["notices"] = notice.empty() ? Json::array() : Json::array({notice});
  return dumped(json);
}

std::string errorJson(const std::string& sentence, ExitCode code) {
  Json json = bareDocument("error");
  putOutcome(json, code);
  json["error"] = sentence;
  return dumped(json);
}

class JsonOutput final : public OutputFormat {
 public:
  JsonOutput(WriteText write, const Texts& texts) : write_(std::move(write)), texts_(texts) {}

  void begin(DocumentKind kind, const Session& session) override {
    kind_ = kind;
    session_ = &session;
  }
  void end() override {
    switch (kind_) {
      case DocumentKind::List:
        return write_(listJson(*session_, texts_));
      case DocumentKind::Details:
        return write_(detailsJson(*session_, texts_));
      case DocumentKind::Run:
        return write_(sessionJson(*session_, texts_));
    }
  }
  void history(const std::vector<HistoryRecord>& records) override { write_(historyJson(records)); }
  void comparison(const Comparison& comparison) override { write_(comparisonJson(comparison)); }
  void help(const std::string& text) override { write_(helpJson(text)); }
  void version(const std::string& program, const std::string& module,
               const std::string& notice) override {
    write_(versionJson(program, module, notice));
  }
  void error(const std::string& sentence, ExitCode code) override {
    write_(errorJson(sentence, code));
  }

 private:
  WriteText write_;
  const Texts& texts_;
  DocumentKind kind_ = DocumentKind::List;
  const Session* session_ = nullptr;
};

}  // namespace

std::string testRunJson(const TestRun& run) {
  Json json = runJson(run);
  clean(json);
  return json.dump();
}

std::string toolRunJson(const ToolRun& run, const Session& session, const Texts& texts) {
  Json json = toolJson(run, session, texts);
  clean(json);
  return json.dump();
}

std::unique_ptr<OutputFormat> makeJsonOutput(WriteText write, const Texts& texts) {
  return std::make_unique<JsonOutput>(std::move(write), texts);
}

}  // namespace ostria::host
