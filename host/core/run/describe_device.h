// Copies what the module says about a device.
#pragma once

#include "host/core/model/module_catalogue.h"
#include "host/core/model/results.h"
#include "host/core/run/redact.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/system_component.h"

namespace ostria::host {

/// The names as they may be shown. A link by id is made of serial number or WWN, often of those of
/// the adapter, which nobody else knows: it is masked whole.
DeviceNames redactedNames(const DeviceNames& names, const Redactor& redactor);

/// Copies what the module says about a device, and teaches the redactor its serial numbers.
/// @param names  the system's names of the device
DeviceInfo describeDevice(storage::SystemComponent& component, std::uint32_t index,
                          const DeviceNames& names, const Texts& texts, Redactor& redactor);

/// Adds what takes commands to the device: the applicable tests and the SMART data.
void describeDetails(storage::SystemComponent& component, const Catalogue& catalogue,
                     const Texts& texts, const Redactor& redactor, DeviceInfo& info);

/// The serial number as the device reports it, for comparisons; never to be shown.
std::string serialOf(storage::SystemComponent& component);

/// Masks what the reports of a device name.
void redactRows(std::vector<SmartRow>& rows, const Redactor& redactor);

}  // namespace ostria::host
