// All fields of a result, as the process that waits for it prints it in every form: the JSON
// document has less of the reads, and nothing of a test that did not begin.
#include "host/core/report/job_lines.h"

#include <nlohmann/json.hpp>

#include "host/core/report/output_formats.h"
#include "host/core/texts/clean_text.h"

namespace ostria::host {
namespace {

using Json = nlohmann::json;

Json timeJson(Clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

Clock::time_point timeOf(const Json& json) {
  return Clock::time_point(std::chrono::milliseconds(json.get<std::int64_t>()));
}

Json readsJson(const ReadTimes& reads) {
  Json slowest = Json::array();
  for (const SlowRead& read : reads.slowest) {
    slowest.push_back({read.first, read.count, read.microseconds});
  }
  return {{"sectors", reads.sectors},
          {"sector_bytes", reads.sectorBytes},
          {"reads", reads.reads},
          {"failed", reads.failedReads},
          {"read", reads.sectorsRead},
          {"position", reads.position},
          {"classes", reads.classes},
          {"bad_blocks", reads.badBlocks},
          {"microseconds", reads.microseconds},
          {"bad", reads.bad},
          {"slowest", slowest},
          {"map", cleanText(reads.map)}};
}

ReadTimes readsOf(const Json& json) {
  ReadTimes reads;
  json.at("sectors").get_to(reads.sectors);
  json.at("sector_bytes").get_to(reads.sectorBytes);
  json.at("reads").get_to(reads.reads);
  json.at("failed").get_to(reads.failedReads);
  json.at("read").get_to(reads.sectorsRead);
  json.at("position").get_to(reads.position);
  json.at("classes").get_to(reads.classes);
  json.at("bad_blocks").get_to(reads.badBlocks);
  json.at("microseconds").get_to(reads.microseconds);
  json.at("bad").get_to(reads.bad);
  for (const Json& read : json.at("slowest")) {
    reads.slowest.push_back({read.at(0), read.at(1), read.at(2)});
  }
  json.at("map").get_to(reads.map);
  return reads;
}

Json runJson(const TestRun& run) {
  Json messages = Json::array();
  for (const Message& message : run.messages) {
    messages.push_back({message.key, cleanText(message.text), message.severity, message.flag});
  }
  return {{"id", {run.test.id.module, run.test.id.category, run.test.id.item}},
          {"key", run.test.nameKey},
          {"name", run.test.name},
          {"diagnostic", run.diagnosticName},
          {"parameters", run.parameters},
          {"outcome", static_cast<int>(run.outcome)},
          {"applicable", run.applicable},
          {"named", run.named},
          {"lost", run.lost},
          {"gaps", run.gaps},
          {"begun", run.begun},
          {"messages", messages},
          {"note", cleanText(run.note)},
          {"reads", run.reads ? readsJson(*run.reads) : Json()},
          {"bad_ranges", run.badRanges},
          {"started", timeJson(run.started)},
          {"finished", timeJson(run.finished)}};
}

TestRun runOf(const Json& json) {
  TestRun run;
  const Json& id = json.at("id");
  run.test = {
      {id.at(0).get<std::uint16_t>(), id.at(1).get<std::uint32_t>(), id.at(2).get<std::uint32_t>()},
      json.at("key"),
      json.at("name")};
  json.at("diagnostic").get_to(run.diagnosticName);
  json.at("parameters").get_to(run.parameters);
  const int outcome = json.at("outcome");
  const bool known = outcome >= 0 && outcome <= static_cast<int>(ExitCode::CouldNotStart);
  run.outcome = known ? static_cast<ExitCode>(outcome) : ExitCode::CouldNotStart;
  json.at("applicable").get_to(run.applicable);
  json.at("named").get_to(run.named);
  json.at("lost").get_to(run.lost);
  json.at("gaps").get_to(run.gaps);
  json.at("begun").get_to(run.begun);
  for (const Json& message : json.at("messages")) {
    run.messages.push_back({message.at(0), message.at(1), message.at(2), message.at(3)});
  }
  json.at("note").get_to(run.note);
  if (!json.at("reads").is_null()) {
    run.reads = readsOf(json.at("reads"));
  }
  json.at("bad_ranges").get_to(run.badRanges);
  run.started = timeOf(json.at("started"));
  run.finished = timeOf(json.at("finished"));
  return run;
}

class JobOutput final : public OutputFormat {
 public:
  explicit JobOutput(WriteText write) : write_(std::move(write)) {}

  void begin(DocumentKind /*kind*/, const Session& session) override { session_ = &session; }
  void device(const DeviceInfo& device) override { line({{"device", device.id}}); }
  void testResult(const TestRun& run) override { line({{"run", runJson(run)}}); }
  void end() override {
    for (const TestRun& run : session_->tests) {
      if (!run.begun) {
        testResult(run);
      }
    }
    line({{"ended", true}});
  }
  void error(const std::string& sentence, ExitCode /*code*/) override {
    line({{"error", cleanText(sentence)}});
  }

 private:
  void line(const Json& json) {
    write_(json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
  }

  WriteText write_;
  const Session* session_ = nullptr;
};

}  // namespace

std::optional<JobLine> readJobLine(std::string_view line) {
  const Json json = Json::parse(line, nullptr, false);
  if (!json.is_object() || json.size() != 1) {
    return std::nullopt;
  }
  JobLine out;
  try {
    if (json.contains("run")) {
      out.run = runOf(json.at("run"));
    } else if (json.contains("device")) {
      out.device = json.at("device").get<std::string>();
    } else if (json.contains("error")) {
      out.error = json.at("error").get<std::string>();
    } else {
      out.ended = json.value("ended", false);
    }
  } catch (const Json::exception&) {
    return std::nullopt;
  }
  return out;
}

std::unique_ptr<OutputFormat> makeJobOutput(WriteText write, const Texts& /*texts*/) {
  return std::make_unique<JobOutput>(std::move(write));
}

}  // namespace ostria::host
