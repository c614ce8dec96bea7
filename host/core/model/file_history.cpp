// A program that dies while it writes leaves whole lines, and a damaged one costs itself only.
#include "host/core/model/file_history.h"

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace ostria::host {
namespace {

using nlohmann::json;

std::string textOf(const json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::uint32_t deviceOf(const json& object) {
  const auto found = object.find("device");
  return found != object.end() && found->is_number_unsigned() ? found->get<std::uint32_t>() : 0;
}

const json& listOf(const json& object, const char* name) {
  static const json kNone = json::array();
  const auto found = object.find(name);
  return found != object.end() && found->is_array() ? *found : kNone;
}

KeptResult resultOf(const json& object) {
  return {deviceOf(object),       textOf(object, "time"),    textOf(object, "id"),
          textOf(object, "name"), textOf(object, "outcome"), textOf(object, "text")};
}

KeptDrive driveOf(const json& object) {
  KeptDrive drive{deviceOf(object),          textOf(object, "model"),
                  textOf(object, "serial"),  textOf(object, "wwn"),
                  textOf(object, "node"),    textOf(object, "firmware"),
                  textOf(object, "verdict"), {}};
  const auto numbers = object.find("numbers");
  if (numbers != object.end() && numbers->is_object()) {
    for (const auto& [name, value] : numbers->items()) {
      if (value.is_number_unsigned()) {
        drive.numbers[name] = value.get<std::uint64_t>();
      }
    }
  }
  return drive;
}

KeptRun runOf(const json& object) {
  KeptRun run;
  const auto number = object.find("run");
  if (number != object.end() && number->is_number_integer()) {
    run.number = number->get<std::int64_t>();
  }
  run.started = textOf(object, "started");
  run.machine = textOf(object, "machine");
  run.virtualPc = object.value("virtual", json(false)) == json(true);
  run.programVersion = textOf(object, "program_version");
  run.moduleVersion = textOf(object, "module_version");
  run.outcome = textOf(object, "outcome");
  for (const json& drive : listOf(object, "drives")) {
    run.drives.push_back(driveOf(drive));
  }
  for (const json& result : listOf(object, "results")) {
    run.results.push_back(resultOf(result));
  }
  return run;
}

// One result of a version that knew no runs.
void addOldResult(const json& object, std::vector<KeptRun>& runs) {
  KeptDrive drive;
  drive.model = textOf(object, "model");
  drive.serial = textOf(object, "serial");
  const KeptResult result = resultOf(object);
  const bool sameRun = !runs.empty() && runs.back().number == 0 && !runs.back().drives.empty() &&
                       runs.back().drives[0].model == drive.model &&
                       runs.back().drives[0].serial == drive.serial &&
                       runs.back().started == result.time;
  if (!sameRun) {
    KeptRun run;
    run.started = result.time;
    run.outcome = result.outcome;
    run.drives.push_back(drive);
    runs.push_back(std::move(run));
  }
  runs.back().results.push_back(result);
}

std::string lineOf(const KeptRun& run) {
  json object = {{"run", run.number},
                 {"started", run.started},
                 {"machine", run.machine},
                 {"virtual", run.virtualPc},
                 {"program_version", run.programVersion},
                 {"module_version", run.moduleVersion},
                 {"outcome", run.outcome},
                 {"drives", json::array()},
                 {"results", json::array()}};
  for (const KeptDrive& drive : run.drives) {
    object["drives"].push_back({{"device", drive.device},
                                {"model", drive.model},
                                {"serial", drive.serial},
                                {"wwn", drive.wwn},
                                {"node", drive.node},
                                {"firmware", drive.firmware},
                                {"verdict", drive.verdict},
                                {"numbers", drive.numbers}});
  }
  for (const KeptResult& result : run.results) {
    object["results"].push_back({{"device", result.device},
                                 {"time", result.time},
                                 {"id", result.id},
                                 {"name", result.name},
                                 {"outcome", result.outcome},
                                 {"text", result.text}});
  }
  return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace

std::vector<KeptRun> runsOfLines(std::string_view text) {
  std::vector<KeptRun> runs;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const json object = json::parse(text.substr(0, end), nullptr, false);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!object.is_object()) {
      continue;
    }
    if (object.contains("results")) {
      runs.push_back(runOf(object));
    } else {
      addOldResult(object, runs);
    }
  }
  return runs;
}

UsageError FileHistory::add(KeptRun& run) {
  UsageError failed{"file.results_unwritable", {{"file", path_}}};
  if (path_.empty()) {
    return failed;
  }
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
  patience_.begin();
  const auto lock = lock_(path_ + ".lock", patience_);
  if (lock == nullptr) {
    return failed;
  }
  auto kept = read();
  if (std::holds_alternative<UsageError>(kept)) {
    return failed;
  }
  auto& all = std::get<std::vector<KeptRun>>(kept);
  run.number = all.empty() ? 1 : all.back().number + 1;
  all.push_back(run);
  std::size_t results = 0;
  std::size_t first = all.size();
  // A run in which nothing applied counts, too: there could be any number of them.
  while (first > 0 &&
         (results += std::max<std::size_t>(all[first - 1].results.size(), 1)) <= kMostResults) {
    --first;
  }
  // The newest run is kept whatever its size.
  first = std::min(first, all.size() - 1);

  // A new file in the place of the old one: whatever happens, one of the two is whole.
  const std::string fresh = path_ + ".new";
  {
    std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
    for (std::size_t i = first; i < all.size(); ++i) {
      file << lineOf(all[i]);
    }
    file.flush();
    if (!file) {
      return failed;
    }
  }
  std::filesystem::rename(fresh, path_, error);
  return error ? failed : UsageError{};
}

OrUsageError<std::vector<KeptRun>> FileHistory::read() {
  std::error_code error;
  if (!std::filesystem::exists(path_, error)) {
    return std::vector<KeptRun>();
  }
  const std::ifstream file(path_, std::ios::binary);
  if (!file) {
    return UsageError{"file.results_unreadable", {{"file", path_}}};
  }
  std::ostringstream content;
  content << file.rdbuf();
  return runsOfLines(content.str());
}

}  // namespace ostria::host
