// The steps that lead from a loaded module to a session whose devices can be tested. Each can be
// used alone; a front end decides on their order.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/core/file_reader.h"
#include "host/core/model/module_catalogue.h"
#include "host/core/model/results.h"
#include "host/core/run/redact.h"
#include "host/core/run/resolve_devices.h"
#include "host/core/run/selection.h"
#include "host/core/texts/texts.h"
#include "host/core/user_error.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// The languages of a list such as "de_AT:en", in order, up to English, which is built in: "de".
/// What is no language is passed over.
std::vector<std::string> languagesOf(const std::string& locales);

/// Adds the texts of the first language that one of the folders has a file LANGUAGE.txt for, of
/// each folder in turn.
UsageError addLanguage(Texts& texts, const std::vector<std::string>& folders,
                       const std::vector<std::string>& languages, const FileReader& read);

/// Adds the texts of a file that the user named.
UsageError addTextFile(Texts& texts, const std::string& path, const FileReader& read);

/// The system's names of a device by the module's name of it.
using FindDeviceNames = std::function<DeviceNames(const std::string& id)>;

/// Copies what the module says about the chosen devices to `session.devices`, in the order in which
/// they were chosen. Teaches the redactor the serial numbers of all devices.
/// @param names  what the system calls each device
/// @param silent  disks that are no devices of the module's; their numbers follow those of the
///                devices
void takeDevices(storage::SystemComponentManager& manager,
                 const std::vector<storage::LeftOutDevice>& silent, const Selection& selection,
                 const FindDeviceNames& names, const Texts& texts, Redactor& redactor,
                 Session& session);

/// The devices by all that a user may call them.
std::vector<DeviceKey> deviceKeys(storage::SystemComponentManager& manager,
                                  const std::vector<storage::LeftOutDevice>& silent,
                                  const FindDeviceNames& names);

}  // namespace ostria::host
