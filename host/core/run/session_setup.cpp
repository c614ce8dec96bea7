// Before anything runs: texts, settings, devices. What is wrong here ends the program with nothing
// touched.
#include "host/core/run/session_setup.h"

#include <vector>

#include "host/core/run/describe_device.h"

namespace ostria::host {

std::string languageOf(const std::string& locale) {
  const std::string language = locale.substr(0, locale.find_first_of("_.@"));
  // The name becomes part of a path.
  const bool plain = language.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos;
  return plain && language != "en" ? language : std::string();
}

UsageError addLanguage(Texts& texts, const std::string& folder, const std::string& language,
                       const FileReader& read) {
  if (language.empty() || folder.empty()) {
    return {};
  }
  const std::string path = folder + "/" + language + ".txt";
  const auto content = read(path, kTextsDemands);
  if (const auto* error = std::get_if<UsageError>(&content)) {
    return error->key == kFileMissing ? UsageError{} : *error;
  }
  return texts.add(std::get<std::string>(content), path);
}

UsageError addTextFile(Texts& texts, const std::string& path, const FileReader& read) {
  const auto content = read(path, kTextsDemands);
  if (const auto* error = std::get_if<UsageError>(&content)) {
    return *error;
  }
  return texts.add(std::get<std::string>(content), path);
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
