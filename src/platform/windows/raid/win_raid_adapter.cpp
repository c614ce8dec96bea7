// The driver of a RAID adapter: SetupAPI finds the device, the registry names its driver's version.
#include <windows.h>
// The set-up services need windows.h first.
#include <setupapi.h>

#include <array>
#include <memory>
#include <string>

#include "platform/windows/discovery/win_device_scan_filter.h"
#include "raid/raid_adapter.h"
#include "raid/registry_text.h"
#include "services/string_handler.h"

namespace ostria::storage {
namespace {

// Longer than any instance identifier or registry text that is looked at here.
constexpr std::size_t kTextUnits = 1024;
using TextBuffer = std::array<wchar_t, kTextUnits>;

/// The devices of the SCSI adapter class.
class AdapterSet {
 public:
  AdapterSet() {
    const WinDeviceScanFilter ports = WinDeviceScanFilter::storagePorts();
    set_ = SetupDiGetClassDevsW(&ports.setupClass(), nullptr, nullptr, DIGCF_PRESENT);
  }
  ~AdapterSet() {
    if (set_ != INVALID_HANDLE_VALUE) {
      SetupDiDestroyDeviceInfoList(set_);
    }
  }
  AdapterSet(const AdapterSet&) = delete;
  AdapterSet& operator=(const AdapterSet&) = delete;

  bool next(SP_DEVINFO_DATA* device) {
    *device = {};
    device->cbSize = sizeof(*device);
    return set_ != INVALID_HANDLE_VALUE && (SetupDiEnumDeviceInfo(set_, index_++, device) != 0);
  }
  std::string hardwareId(SP_DEVINFO_DATA device) {
    TextBuffer text{};
    // One unit stays for the terminator, whatever the registry holds.
    if (!SetupDiGetDeviceRegistryPropertyW(
            set_, &device, SPDRP_HARDWAREID, nullptr, reinterpret_cast<BYTE*>(text.data()),
            static_cast<DWORD>((text.size() - 1) * sizeof(wchar_t)), nullptr)) {
      return {};
    }
    return registryText(text.data());
  }
  std::wstring instanceId(SP_DEVINFO_DATA device) {
    TextBuffer text{};
    if (!SetupDiGetDeviceInstanceIdW(set_, &device, text.data(),
                                     static_cast<DWORD>(text.size() - 1), nullptr)) {
      return {};
    }
    return text.data();
  }

 private:
  HDEVINFO set_ = INVALID_HANDLE_VALUE;
  DWORD index_ = 0;
};

std::wstring registryValue(const std::wstring& key, const wchar_t* name) {
  TextBuffer text{};
  DWORD bytes = static_cast<DWORD>((text.size() - 1) * sizeof(wchar_t));
  if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text.data(),
                   &bytes) != ERROR_SUCCESS) {
    return {};
  }
  return text.data();
}

}  // namespace

std::unique_ptr<DeviceScanFilter> makeRaidPortFilter() {
  return std::make_unique<WinDeviceScanFilter>(WinDeviceScanFilter::storagePorts());
}

std::string raidDriverVersion(const std::string& hardwareId) {
  StringHandler& strings = getLocalStringHandler();
  std::string wanted = hardwareId;
  strings.toUpperCase(wanted);
  if (wanted.empty()) {
    return {};
  }

  AdapterSet adapters;
  SP_DEVINFO_DATA device;
  while (adapters.next(&device)) {
    std::string found = adapters.hardwareId(device);
    strings.toUpperCase(found);
    if (!strings.startsWith(found, wanted)) {
      continue;
    }
    const std::wstring driver = registryValue(
        L"SYSTEM\\CurrentControlSet\\Enum\\" + adapters.instanceId(device), L"Driver");
    if (driver.empty()) {
      continue;
    }
    const std::wstring key = L"SYSTEM\\CurrentControlSet\\Control\\Class\\" + driver;
    if (registryText(registryValue(key, L"ProviderName")) == "Microsoft") {
      continue;
    }
    return registryText(registryValue(key, L"DriverVersion"));
  }
  return {};
}

}  // namespace ostria::storage
