// Before anything runs: texts, settings, devices. What is wrong here ends the program with nothing
// touched.
#include "host/core/run/session_setup.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "host/core/run/describe_device.h"
#include "host/core/run/parameters.h"
#include "host/core/run/settings_file.h"

namespace ostria::host {

std::optional<std::string> readFile(const std::string& path) {
  // A folder can be opened as a file and holds nothing.
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

std::string languageOf(const std::string& locale) {
  const std::string language = locale.substr(0, locale.find_first_of("_.@"));
  // The name becomes part of a path.
  const bool plain = language.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos;
  return plain && language != "en" ? language : std::string();
}

UsageError addLanguage(Texts& texts, const std::string& folder, const std::string& language) {
  if (language.empty()) {
    return {};
  }
  const std::string path = folder + "/" + language + ".txt";
  const auto content = readFile(path);
  return content ? texts.add(*content, path) : UsageError{};
}

UsageError addTextFile(Texts& texts, const std::string& path) {
  const auto content = readFile(path);
  if (!content) {
    return {"file.texts_unreadable", {{"file", path}}};
  }
  return texts.add(*content, path);
}

UsageError applySettingsFile(const Catalogue& catalogue, const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    return {};
  }
  const auto content = readFile(path);
  if (!content) {
    return {"file.settings_unreadable", {{"file", path}}};
  }
  const auto settings = readConfiguration(*content, path);
  if (const auto* wrong = std::get_if<UsageError>(&settings)) {
    return *wrong;
  }
  return configureTests(catalogue, std::get<storage::ConfigurationMap>(settings), path);
}

std::vector<DeviceKey> deviceKeys(storage::SystemComponentManager& manager,
                                  const FindDeviceNames& names) {
  std::vector<DeviceKey> keys;
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    if (storage::SystemComponent* component = manager.component(i)) {
      keys.push_back(
          {i, component->description().model, serialOf(*component), names(component->id())});
    }
  }
  return keys;
}

void takeDevices(storage::SystemComponentManager& manager, const Selection& selection,
                 const FindDeviceNames& names, const Texts& texts, Redactor& redactor,
                 Session& session) {
  std::vector<DeviceInfo> all;
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    if (storage::SystemComponent* component = manager.component(i)) {
      all.push_back(describeDevice(*component, i, names(component->id()), texts, redactor));
    }
  }
  if (selection.devices.empty()) {
    session.devices = std::move(all);
    return;
  }
  for (const std::uint32_t index : selection.devices) {
    for (const DeviceInfo& device : all) {
      if (device.index == index) {
        session.devices.push_back(device);
      }
    }
  }
}

}  // namespace ostria::host
