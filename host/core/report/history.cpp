// Results are kept as JSON lines: a program that dies while it writes leaves whole lines, and a
// damaged one costs itself only.
#include "host/core/report/history.h"

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/core/model/module_catalogue.h"
#include "host/core/model/tool_status.h"

namespace ostria::host {
namespace {

using nlohmann::json;

struct Field {
  const char* name;
  std::string HistoryRecord::*member;
};

constexpr Field kFields[] = {
    {"time", &HistoryRecord::time},     {"model", &HistoryRecord::model},
    {"serial", &HistoryRecord::serial}, {"id", &HistoryRecord::id},
    {"name", &HistoryRecord::name},     {"outcome", &HistoryRecord::outcome},
    {"text", &HistoryRecord::text},
};

std::string lineOf(const HistoryRecord& record) {
  json object;
  for (const Field& field : kFields) {
    object[field.name] = record.*field.member;
  }
  return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace

UsageError FileHistory::add(const std::vector<HistoryRecord>& records) {
  const UsageError failed{"file.results_unwritable", {{"file", path_}}};
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
  const auto lock = lock_(path_ + ".lock");
  if (lock == nullptr) {
    return failed;
  }
  auto kept = read();
  if (std::holds_alternative<UsageError>(kept)) {
    return failed;
  }
  auto& all = std::get<std::vector<HistoryRecord>>(kept);
  all.insert(all.end(), records.begin(), records.end());
  const std::size_t first = all.size() > kMostRecords ? all.size() - kMostRecords : 0;

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

OrUsageError<std::vector<HistoryRecord>> FileHistory::read() const {
  std::vector<HistoryRecord> records;
  std::error_code error;
  if (!std::filesystem::exists(path_, error)) {
    return records;
  }
  std::ifstream file(path_, std::ios::binary);
  if (!file) {
    return UsageError{"file.results_unreadable", {{"file", path_}}};
  }
  for (std::string line; std::getline(file, line);) {
    const json object = json::parse(line, nullptr, false);
    if (!object.is_object()) {
      continue;
    }
    HistoryRecord record;
    for (const Field& field : kFields) {
      const auto found = object.find(field.name);
      if (found != object.end() && found->is_string()) {
        record.*field.member = *found;
      }
    }
    records.push_back(std::move(record));
  }
  return records;
}

std::vector<HistoryRecord> recordsOf(const Session& session, const Texts& texts) {
  std::vector<HistoryRecord> records;
  const auto make = [&](std::uint32_t device, Clock::time_point time, ExitCode outcome) {
    HistoryRecord record;
    if (const DeviceInfo* info = session.device(device)) {
      record.model = info->model;
      record.serial = info->serial;
    }
    record.time = isoTime(time);
    record.outcome = outcomeWord(outcome);
    return record;
  };
  for (const TestRun& run : session.tests) {
    if (!run.applicable) {
      continue;
    }
    HistoryRecord record = make(run.device, run.started, run.outcome);
    record.id = identifierText(run.test.id);
    record.name = run.test.name;
    for (const Message& message : run.messages) {
      record.text += (record.text.empty() ? "" : " / ") + message.text;
    }
    if (record.text.empty()) {
      record.text = run.note;
    }
    records.push_back(std::move(record));
  }
  for (const ToolRun& run : session.tools) {
    if (!run.applicable || session.operation == "filterDevices") {
      continue;
    }
    HistoryRecord record = make(run.device, run.started, run.outcome);
    record.id = session.toolName + (session.operation.empty() ? "" : " " + session.operation);
    record.name = session.toolTitle;
    record.text = run.status ? texts.say(statusKey(*run.status, false)) : run.note;
    records.push_back(std::move(record));
  }
  return records;
}

}  // namespace ostria::host
