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
constexpr DWORD kFormerPort = 1000;  ///< an adapter that is no longer there

struct DeviceSet : KernelObject {
  GUID interfaceClass{};
  bool interfaces = false;  ///< asked with DIGCF_DEVICEINTERFACE
  std::vector<DWORD> devices;
  bool closedByCloseHandle() const override { return false; }
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

/// Where an adapter stands in the device tree: its bus, and whether a storage port drives it.
struct AdapterKind {
  GUID setupClass;
  bool storagePort;
};

AdapterKind adapterKind(const PortObject& port) {
  constexpr std::uint32_t kIde = 0x0101;
  constexpr std::uint32_t kSata = 0x0106;
  constexpr std::uint32_t kUsb = 0x0C03;
  constexpr std::uint32_t kSdHost = 0x0805;
  switch (port.pciClass() >> 8) {
    case kIde:
    case kSata:
      return {GUID_DEVCLASS_HDC, true};
    case kUsb:
      return {GUID_DEVCLASS_USB, false};
    case kSdHost:
      return {GUID_DEVCLASS_SDHOST, false};
    default:
      return {GUID_DEVCLASS_SCSIADAPTER, true};
  }
}

GUID setupClassOf(const KernelCall& call, DWORD instance) {
  const PortObject* port = portOf(call, instance);
  if (port != nullptr) {
    return adapterKind(*port).setupClass;
  }
  return instance == kFormerPort ? GUID_DEVCLASS_SCSIADAPTER : GUID_DEVCLASS_DISKDRIVE;
}

std::optional<GUID> interfaceClassOf(const KernelCall& call, DWORD instance) {
  const PortObject* port = portOf(call, instance);
  if (port == nullptr) {
    return GUID_DEVINTERFACE_DISK;
  }
  if (!adapterKind(*port).storagePort) {
    return std::nullopt;
  }
  return GUID_DEVINTERFACE_STORAGEPORT;
}

/// An adapter of the same kind as the machine's RAID controllers was in it before.
std::string formerHardwareId(const KernelCall& call) {
  for (const auto& port : call->machine().ports()) {
    if (port->description().csmi || port->description().lsi) {
      return port->description().hardwareId;
    }
  }
  return "PCI\\VEN_1AF4&DEV_0000";
}

std::string instanceId(const KernelCall& call, DWORD instance) {
  if (const DiskObject* disk = diskOf(call, instance)) {
    return disk->instanceId();
  }
  if (const PortObject* port = portOf(call, instance)) {
    return port->description().hardwareId + "\\" + std::to_string(port->number());
  }
  return instance == kFormerPort ? formerHardwareId(call) + "\\former" : std::string();
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
  if (instance == kFormerPort && code == SPDRP_HARDWAREID) {
    return formerHardwareId(call);
  }
  if (const PortObject* port = portOf(call, instance)) {
    switch (code) {
      case SPDRP_DEVICEDESC:
        return port->description().description;
      case SPDRP_FRIENDLYNAME:
        if (!port->description().friendlyName) {
          return std::nullopt;
        }
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
  if (out == nullptr || out->cbSize != sizeof *out) {
    return;
  }
  out->ClassGuid = setupClassOf(call, instance);
  out->DevInst = instance;
  out->Reserved = 0;
}

}  // namespace

extern "C" {

HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR, HWND, DWORD flags) {
  const KernelCall call;
  if (call.fails()) {
    return INVALID_HANDLE_VALUE;
  }
  if (classGuid == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  auto set = std::make_shared<DeviceSet>();
  // The GUID names an interface class with the flag, and a set-up class without it.
  set->interfaces = (flags & DIGCF_DEVICEINTERFACE) != 0;
  const bool present = (flags & DIGCF_PRESENT) != 0;
  const auto wanted = [&](DWORD instance) {
    const auto own = set->interfaces ? interfaceClassOf(call, instance)
                                     : std::optional<GUID>(setupClassOf(call, instance));
    return own && *own == *classGuid;
  };
  for (DWORD i = 0; i < call->machine().disks().size(); ++i) {
    if (wanted(i + 1) && (!present || call->machine().disks()[i]->present())) {
      set->devices.push_back(i + 1);
    }
  }
  // The system remembers an adapter that was there once.
  if (!present && *classGuid == GUID_DEVCLASS_SCSIADAPTER) {
    set->devices.push_back(kFormerPort);
  }
  for (DWORD i = 0; i < call->machine().ports().size(); ++i) {
    if (wanted(kFirstPort + i)) {
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
    return failWith(ERROR_INVALID_USER_BUFFER);
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
    const auto own = set->interfaces ? interfaceClassOf(call, instance) : std::nullopt;
    if (own && *own == *interfaceClass && ((device == nullptr) || device->DevInst == instance)) {
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
  if (device != nullptr && device->cbSize != sizeof *device) {
    return failWith(ERROR_INVALID_USER_BUFFER);
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
  if (device->cbSize != sizeof *device) {
    return failWith(ERROR_INVALID_USER_BUFFER);
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
  std::copy_n(reinterpret_cast<const BYTE*>(value.data()), needed, buffer);
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
  if (device->cbSize != sizeof *device) {
    return failWith(ERROR_INVALID_USER_BUFFER);
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

}  // extern "C"
