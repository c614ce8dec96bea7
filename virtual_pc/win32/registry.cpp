// Registry texts: those of controllers and their drivers, and those of the machine file.
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "virtual_pc/system/machine.h"
#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

constexpr const char* kEnumKey = "SYSTEM\\CurrentControlSet\\Enum\\";
constexpr const char* kClassKey = "SYSTEM\\CurrentControlSet\\Control\\Class\\";
constexpr const char* kAdapterClass = "{4d36e97b-e325-11ce-bfc1-08002be10318}\\";

bool same(std::string_view a, std::string_view b) { return lowerCase(a) == lowerCase(b); }

std::string driverKey(std::uint32_t number) {
  const std::string digits = std::to_string(number);
  return kAdapterClass + std::string(4 - std::min<std::size_t>(digits.size(), 4), '0') + digits;
}

/// What the system writes down about each controller and its driver.
std::optional<std::string> controllerValue(const Machine& machine, const std::string& key,
                                           const std::string& name) {
  // The driver of the adapter that was in the machine before is still written down.
  const std::string formerDriver = kAdapterClass + std::string("9999");
  if (same(key, kClassKey + formerDriver)) {
    return same(name, "ProviderName")    ? std::optional<std::string>("Former")
           : same(name, "DriverVersion") ? std::optional<std::string>("1.0.0.0")
                                         : std::nullopt;
  }
  for (const auto& port : machine.ports()) {
    const ControllerDescription& controller = port->description();
    const std::string instance = controller.hardwareId + "\\" + std::to_string(port->number());
    if (same(key, kEnumKey + controller.hardwareId + "\\former") && same(name, "Driver")) {
      return formerDriver;
    }
    if (same(key, kEnumKey + instance)) {
      if (same(name, "Driver")) {
        return driverKey(port->number());
      }
    } else if (same(key, kClassKey + driverKey(port->number()))) {
      if (same(name, "ProviderName")) {
        return controller.driverProvider;
      }
      if (same(name, "DriverVersion")) {
        return controller.driverVersion;
      }
    }
  }
  return std::nullopt;
}

std::optional<std::string> findValue(const Machine& machine, const std::string& key,
                                     const std::string& name) {
  for (const RegistryValue& row : machine.description().registry) {
    if (same(row.key, key) && same(row.name, name)) {
      return row.text;
    }
  }
  return controllerValue(machine, key, name);
}

}  // namespace

extern "C" {

LSTATUS WINAPI RegGetValueW(HKEY root, LPCWSTR subKey, LPCWSTR value, DWORD flags, LPDWORD type,
                            PVOID data, LPDWORD bytes) {
  const KernelCall call;
  if (call.fails()) {
    return ERROR_ACCESS_DENIED;
  }
  if ((subKey == nullptr) || (value == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  if (root != HKEY_LOCAL_MACHINE || (flags & RRF_RT_REG_SZ) == 0) {
    return ERROR_INVALID_PARAMETER;
  }
  const auto found = findValue(call->machine(), utf8(subKey), utf8(value));
  if (!found) {
    return ERROR_FILE_NOT_FOUND;
  }
  const std::wstring text = wide(*found);
  const DWORD needed = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
  if (type != nullptr) {
    *type = 1;  // REG_SZ
  }
  if (data != nullptr) {
    if (bytes == nullptr) {
      return ERROR_INVALID_PARAMETER;
    }
    if (*bytes < needed) {
      *bytes = needed;
      return ERROR_MORE_DATA;
    }
    std::memcpy(data, text.c_str(), needed);
  }
  if (bytes != nullptr) {
    *bytes = needed;
  }
  return ERROR_SUCCESS;
}
}
