// The module passes over what it does not know, as other modules share the file. A wrong name would
// then be a test that is silently off, so what this program knows of the names is compared here.
#include "host/core/run/settings.h"

#include <algorithm>

#include "host/core/run/parameters.h"
#include "host/core/run/settings_file.h"
#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

constexpr const char* kUsualFile = "config.ini";
constexpr const char* kSection = "STORAGE";
constexpr const char* kOption = "--set";
constexpr const char* kRoutineKey = "SEC_NUM";

enum class Values { Switch, Number, SwitchOfTheFile };

struct KnownSetting {
  const char* key;
  Values values;
};

// The module reads the last one itself, from the usual file alone.
constexpr KnownSetting kKnown[] = {
    {"ENABLE_SMART_HEALTH_TEST", Values::Switch},
    {"ENABLE_NVME_HEALTH_PREDICTION_TEST", Values::Switch},
    {kRoutineKey, Values::Number},
    {"SEC_COUNT", Values::Number},
    {"INITIAL_SIZE", Values::Number},
    {"CENTRAL_SIZE", Values::Number},
    {"FINAL_SIZE", Values::Number},
    {"WHOLE_DISK_READ", Values::Switch},
    {"ENABLE_OSTRIA_DRIVE_INFO", Values::SwitchOfTheFile},
};

const KnownSetting* find(const std::string& key) {
  const auto found = std::find_if(std::begin(kKnown), std::end(kKnown),
                                  [&](const KnownSetting& row) { return row.key == key; });
  return found == std::end(kKnown) ? nullptr : found;
}

bool isPossible(const KnownSetting& setting, const std::string& value) {
  return setting.values == Values::Number || value == "0" || value == "1";
}

std::vector<UsageError> unknownIn(const storage::ConfigurationMap& map, const std::string& file) {
  std::vector<UsageError> out;
  for (const auto& [section, keys] : map) {
    if (section != kSection) {
      out.push_back({"settings.unknown_section", {{"file", file}, {"section", section}}});
      continue;
    }
    for (const auto& [key, value] : keys) {
      const KnownSetting* known = find(key);
      if (known == nullptr) {
        out.push_back({"settings.unknown_key", {{"file", file}, {"name", key}}});
      } else if (!isPossible(*known, value)) {
        out.push_back(
            {"settings.unknown_value", {{"file", file}, {"name", key}, {"value", value}}});
      }
    }
  }
  return out;
}

// Routines 0 to 4 of the standard run beside the drive's other work. A captive one holds the drive
// until it ends, and what a maker's own does nobody can tell.
bool isRisky(const std::string& routine) {
  return routine.size() != 1 || routine[0] < '0' || routine[0] > '4';
}

UsageError takeFile(const std::string& path, bool named, const FileReader& read,
                    Settings& settings) {
  const auto content = read(path, named ? kSettingsDemands : kUsualSettingsDemands);
  if (const auto* error = std::get_if<UsageError>(&content)) {
    if (named) {
      return *error;
    }
    // Whoever may write to the folder must not be able to stop the program.
    if (error->key != kFileMissing) {
      settings.notices.push_back(*error);
      settings.notices.push_back({"settings.left_out", {{"file", path}}});
    }
    return {};
  }
  std::vector<std::string> blankEnded;
  auto parsed = readConfiguration(std::get<std::string>(content), path, &blankEnded);
  if (auto* wrong = std::get_if<UsageError>(&parsed)) {
    return *wrong;
  }
  settings.map = std::get<storage::ConfigurationMap>(std::move(parsed));
  settings.source = path;
  settings.notices = unknownIn(settings.map, path);
  // The module's own reader takes the blanks for a part of the value.
  for (const std::string& key : blankEnded) {
    const KnownSetting* known = find(key);
    if (known != nullptr && known->values == Values::SwitchOfTheFile) {
      settings.notices.push_back({"settings.blank_at_end", {{"file", path}, {"name", key}}});
    }
  }
  if (!named) {
    settings.notices.insert(settings.notices.begin(), {"settings.used", {{"file", path}}});
  }
  const auto section = settings.map.find(kSection);
  if (section != settings.map.end() && section->second.contains(kRoutineKey) &&
      isRisky(section->second.at(kRoutineKey))) {
    settings.riskyRoutine = section->second.at(kRoutineKey);
  }
  return {};
}

}  // namespace

OrUsageError<Settings> readSettings(const std::optional<std::string>& named,
                                    const std::vector<GivenSetting>& given,
                                    const FileReader& read) {
  Settings settings;
  const UsageError error = takeFile(named.value_or(kUsualFile), named.has_value(), read, settings);
  if (error.isSet()) {
    return error;
  }
  for (const auto& [key, value] : given) {
    const KnownSetting* known = find(key);
    if (known == nullptr || known->values == Values::SwitchOfTheFile) {
      return UsageError{"usage.unknown_setting", {{"name", key}}};
    }
    if (!isPossible(*known, value)) {
      return UsageError{"usage.setting_switch", {{"name", key}, {"value", value}}};
    }
    settings.map[kSection][key] = value;
    if (key == kRoutineKey) {
      settings.riskyRoutine.reset();
    }
  }
  if (settings.source.empty()) {
    settings.source = kOption;
  }
  return settings;
}

UsageError applySettings(const Catalogue& catalogue, const Settings& settings) {
  return configureTests(catalogue, settings.map, settings.source);
}

bool usesRoutine(const Selection& selection, const Catalogue& catalogue) {
  return std::any_of(selection.tests.begin(), selection.tests.end(), [&](const TestChoice& choice) {
    return catalogue.diagnostics[choice.diagnostic].tests[choice.test].id ==
           storage::ids::kDriveSelfTest;
  });
}

}  // namespace ostria::host
