// Device enumeration: disks and the ports above them.
#include <cfgmgr32.h>
#include <devguid.h>
#include <setupapi.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

/// A device of the machine by its instance number: disks from 1 on, ports from 1001 on.
constexpr DWORD kFirstPort = 1001;

struct DeviceSet : KernelObject {
  GUID interfaceClass{};
  std::vector<DWORD> devices;
};

DiskObject* diskOf(const KernelCall& call, DWORD instance) {
  const auto& disks = call->machine().disks();
  return instance >= 1 && instance <= disks.size() ? disks[instance - 1].get() : nullptr;
}

PortObject* portOf(const KernelCall& call, DWORD instance) {
  const auto& ports = call->machine().ports();
  return instance >= kFirstPort && instance - kFirstPort < ports.size()
             ? ports[instance - kFirstPort].get()
             : nullptr;
}

std::string instanceId(const KernelCall& call, DWORD instance) {
  if (const DiskObject* disk = diskOf(call, instance)) {
    return disk->instanceId();
  }
  if (const PortObject* port = portOf(call, instance)) {
    return port->description().hardwareId + "\\" + std::to_string(port->number());
  }
  return {};
}

/// A device property as text; none for one that the device does not have.
std::optional<std::string> property(const KernelCall& call, DWORD instance, DWORD code) {
  if (DiskObject* disk = diskOf(call, instance)) {
    const DriveIdentity& identity = disk->drive().identity;
    switch (code) {
      case SPDRP_DEVICEDESC:
        return "Disk drive";
      case SPDRP_FRIENDLYNAME:
        return identity.vendor.empty() ? identity.product
                                       : identity.vendor + " " + identity.product;
      case SPDRP_HARDWAREID:
        return disk->instanceId().substr(0, disk->instanceId().find_last_of('\\'));
      case SPDRP_SERVICE:
        return "disk";
      case SPDRP_LOCATION_INFORMATION:
        return "Bus Number " + std::to_string(disk->pathId()) + ", Target Id " +
               std::to_string(disk->target()) + ", LUN 0";
      default:
        return std::nullopt;
    }
  }
  if (const PortObject* port = portOf(call, instance)) {
    switch (code) {
      case SPDRP_DEVICEDESC:
      case SPDRP_FRIENDLYNAME:
        return port->description().description;
      case SPDRP_HARDWAREID:
        return port->description().hardwareId;
      case SPDRP_SERVICE:
        return "storport";
      case SPDRP_LOCATION_INFORMATION:
        return port->locationText();
      default:
        return std::nullopt;
    }
  }
  return std::nullopt;
}

void fill(const KernelCall& call, DWORD instance, PSP_DEVINFO_DATA out) {
  if (out == nullptr) {
    return;
  }
  out->ClassGuid =
      diskOf(call, instance) != nullptr ? GUID_DEVCLASS_DISKDRIVE : GUID_DEVCLASS_SCSIADAPTER;
  out->DevInst = instance;
  out->Reserved = 0;
}

}  // namespace

extern "C" {

HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR, HWND, DWORD) {
  const KernelCall call;
  if (call.fails()) {
    return INVALID_HANDLE_VALUE;
  }
  auto set = std::make_shared<DeviceSet>();
  if (classGuid != nullptr) {
    set->interfaceClass = *classGuid;
  }
  const bool disks = (classGuid == nullptr) || *classGuid == GUID_DEVINTERFACE_DISK ||
                     *classGuid == GUID_DEVCLASS_DISKDRIVE;
  const bool ports = (classGuid == nullptr) || *classGuid == GUID_DEVINTERFACE_STORAGEPORT ||
                     *classGuid == GUID_DEVCLASS_SCSIADAPTER;
  if (disks) {
    for (DWORD i = 0; i < call->machine().disks().size(); ++i) {
      if (call->machine().disks()[i]->present()) {
        set->devices.push_back(i + 1);
      }
    }
  }
  if (ports) {
    for (DWORD i = 0; i < call->machine().ports().size(); ++i) {
      set->devices.push_back(kFirstPort + i);
    }
  }
  return handleOf(call->add(std::move(set)));
}

BOOL WINAPI SetupDiEnumDeviceInfo(HDEVINFO handle, DWORD index, PSP_DEVINFO_DATA data) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto set = call->get<DeviceSet>(valueOf(handle));
  if (!set) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  if (data->cbSize != sizeof *data) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  if (index >= set->devices.size()) {
    return failWith(ERROR_NO_MORE_ITEMS);
  }
  fill(call, set->devices[index], data);
  return TRUE;
}

BOOL WINAPI SetupDiEnumDeviceInterfaces(HDEVINFO handle, PSP_DEVINFO_DATA device,
                                        const GUID* interfaceClass, DWORD index,
                                        PSP_DEVICE_INTERFACE_DATA data) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto set = call->get<DeviceSet>(valueOf(handle));
  if (!set) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  if (data->cbSize != sizeof *data) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  std::vector<DWORD> matching;
  for (const DWORD instance : set->devices) {
    const GUID own =
        diskOf(call, instance) != nullptr ? GUID_DEVINTERFACE_DISK : GUID_DEVINTERFACE_STORAGEPORT;
    if (own == *interfaceClass && ((device == nullptr) || device->DevInst == instance)) {
      matching.push_back(instance);
    }
  }
  if (index >= matching.size()) {
    return failWith(ERROR_NO_MORE_ITEMS);
  }
  data->InterfaceClassGuid = *interfaceClass;
  data->Flags = SPINT_ACTIVE;
  data->Reserved = matching[index];
  return TRUE;
}

BOOL WINAPI SetupDiGetDeviceInterfaceDetailW(HDEVINFO handle, PSP_DEVICE_INTERFACE_DATA data,
                                             PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail,
                                             DWORD detailBytes, PDWORD required,
                                             PSP_DEVINFO_DATA device) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  if (!call->get<DeviceSet>(valueOf(handle))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  const auto instance = static_cast<DWORD>(data->Reserved);
  const DiskObject* disk = diskOf(call, instance);
  const PortObject* port = portOf(call, instance);
  if ((disk == nullptr) && (port == nullptr)) {
    return failWith(ERROR_NO_MORE_ITEMS);
  }
  const std::wstring path = wide(disk != nullptr ? disk->interfacePath() : port->interfacePath());
  constexpr std::size_t kHead = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
  const auto needed = static_cast<DWORD>(kHead + (path.size() + 1) * sizeof(WCHAR));
  if (required != nullptr) {
    *required = needed;
  }
  fill(call, instance, device);
  if ((detail == nullptr) || detailBytes < needed) {
    return failWith(ERROR_INSUFFICIENT_BUFFER);
  }
  if (detail->cbSize != sizeof *detail) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  std::memcpy(reinterpret_cast<std::uint8_t*>(detail) + kHead, path.c_str(),
              (path.size() + 1) * sizeof(WCHAR));
  return TRUE;
}

BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HDEVINFO handle, PSP_DEVINFO_DATA device, DWORD code,
                                              PDWORD type, PBYTE buffer, DWORD bytes,
                                              PDWORD required) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  if (!call->get<DeviceSet>(valueOf(handle))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  const std::optional<std::string> text = property(call, device->DevInst, code);
  if (!text) {
    return failWith(ERROR_INVALID_DATA);
  }
  const bool list = code == SPDRP_HARDWAREID;
  std::wstring value = wide(*text);
  value.push_back(0);
  if (list) {
    value.push_back(0);
  }
  const auto needed = static_cast<DWORD>(value.size() * sizeof(WCHAR));
  if (type != nullptr) {
    *type = list ? REG_MULTI_SZ : REG_SZ;
  }
  if (required != nullptr) {
    *required = needed;
  }
  if ((buffer == nullptr) || bytes < needed) {
    return failWith(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memcpy(buffer, value.data(), needed);
  return TRUE;
}

BOOL WINAPI SetupDiGetDeviceInstanceIdW(HDEVINFO handle, PSP_DEVINFO_DATA device, PWSTR id,
                                        DWORD characters, PDWORD required) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  if (!call->get<DeviceSet>(valueOf(handle))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  const std::wstring text = wide(instanceId(call, device->DevInst));
  if (required != nullptr) {
    *required = static_cast<DWORD>(text.size() + 1);
  }
  if ((id == nullptr) || characters <= text.size()) {
    return failWith(ERROR_INSUFFICIENT_BUFFER);
  }
  std::copy_n(text.c_str(), text.size() + 1, id);
  return TRUE;
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO handle) {
  const KernelCall call(KernelCall::Kind::Plain);
  if (!call->get<DeviceSet>(valueOf(handle))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  return call->close(valueOf(handle)) ? TRUE : FALSE;
}

CONFIGRET WINAPI CM_Get_Parent(PDEVINST parent, DEVINST device, ULONG) {
  const KernelCall call;
  if (call.fails()) {
    return CR_FAILURE;
  }
  DiskObject* disk = diskOf(call, device);
  if (disk == nullptr) {
    return CR_NO_SUCH_DEVNODE;
  }
  *parent = kFirstPort + disk->port().number();
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_Device_IDW(DEVINST device, PWSTR buffer, ULONG characters, ULONG) {
  const KernelCall call;
  if (call.fails()) {
    return CR_FAILURE;
  }
  const std::wstring text = wide(instanceId(call, device));
  if (text.empty()) {
    return CR_INVALID_DEVNODE;
  }
  if (characters <= text.size()) {
    return CR_BUFFER_SMALL;
  }
  std::copy_n(text.c_str(), text.size() + 1, buffer);
  return CR_SUCCESS;
}

}  // extern "C"
