// Before anything runs: texts, settings, devices. What is wrong here ends the program with nothing
// touched.
#include "host/core/run/session_setup.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "host/core/run/describe_device.h"
#include "host/core/run/left_out.h"

namespace ostria::host {

std::vector<std::string> languagesOf(const std::string& locales) {
  std::vector<std::string> languages;
  std::string_view rest = locales;
  while (!rest.empty()) {
    const std::string_view locale = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(rest.size(), locale.size() + 1));
    const std::string language(locale.substr(0, locale.find_first_of("_.@")));
    if (language == "en") {
      break;
    }
    // The name becomes part of a path.
    if (!language.empty() && language.size() <= 8 &&
        language.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos) {
      languages.push_back(language);
    }
  }
  return languages;
}

UsageError addLanguage(Texts& texts, const std::vector<std::string>& folders,
                       const std::vector<std::string>& languages, const FileReader& read) {
  for (const std::string& language : languages) {
    bool found = false;
    for (const std::string& folder : folders) {
      const std::string path = folder + "/" + language + ".txt";
      const auto content = read(path, kTextsDemands);
      const auto* failed = std::get_if<UsageError>(&content);
      if (failed != nullptr && failed->key == kFileMissing) {
        continue;
      }
      UsageError error =
          failed != nullptr ? *failed : texts.add(std::get<std::string>(content), path);
      if (error.isSet()) {
        return error;
      }
      found = true;
    }
    if (found) {
      break;
    }
  }
  return {};
}

UsageError addTextFile(Texts& texts, const std::string& path, const FileReader& read) {
  const auto content = read(path, kTextsDemands);
  if (const auto* error = std::get_if<UsageError>(&content)) {
    return *error;
  }
  return texts.add(std::get<std::string>(content), path);
}

std::vector<DeviceKey> deviceKeys(storage::SystemComponentManager& manager,
                                  const std::vector<storage::LeftOutDevice>& silent,
                                  const FindDeviceNames& names) {
  std::vector<DeviceKey> keys;
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    if (storage::SystemComponent* component = manager.component(i)) {
      keys.push_back(
          {i, component->description().model, serialOf(*component), names(component->id())});
    }
  }
  for (std::size_t i = 0; i < silent.size(); ++i) {
    keys.push_back({manager.componentCount() + static_cast<std::uint32_t>(i),
                    silent[i].name,
                    {},
                    names(silent[i].id)});
  }
  return keys;
}

void takeDevices(storage::SystemComponentManager& manager,
                 const std::vector<storage::LeftOutDevice>& silent, const Selection& selection,
                 const FindDeviceNames& names, const Texts& texts, Redactor& redactor,
                 Session& session) {
  std::vector<DeviceInfo> all;
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    if (storage::SystemComponent* component = manager.component(i)) {
      all.push_back(describeDevice(*component, i, names(component->id()), texts, redactor));
    }
  }
  for (std::size_t i = 0; i < silent.size(); ++i) {
    all.push_back(describeSilentDisk(silent[i],
                                     manager.componentCount() + static_cast<std::uint32_t>(i),
                                     names(silent[i].id), redactor));
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
