// The part of the SDK header of this name that the Windows-bound classes use: device enumeration.
#pragma once

#include <windows.h>

using HDEVINFO = PVOID;

#define DIGCF_PRESENT 0x00000002u
#define DIGCF_DEVICEINTERFACE 0x00000010u

#define SPINT_ACTIVE 0x00000001u

#define SPDRP_DEVICEDESC 0x00000000u
#define SPDRP_HARDWAREID 0x00000001u
#define SPDRP_SERVICE 0x00000004u
#define SPDRP_FRIENDLYNAME 0x0000000Cu
#define SPDRP_LOCATION_INFORMATION 0x0000000Du

#define REG_SZ 1u
#define REG_DWORD 4u
#define REG_MULTI_SZ 7u

struct SP_DEVINFO_DATA {
  DWORD cbSize;
  GUID ClassGuid;
  DWORD DevInst;
  ULONG_PTR Reserved;
};
using PSP_DEVINFO_DATA = SP_DEVINFO_DATA*;
static_assert(sizeof(SP_DEVINFO_DATA) == 32);

struct SP_DEVICE_INTERFACE_DATA {
  DWORD cbSize;
  GUID InterfaceClassGuid;
  DWORD Flags;
  ULONG_PTR Reserved;
};
using PSP_DEVICE_INTERFACE_DATA = SP_DEVICE_INTERFACE_DATA*;
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 32);

struct SP_DEVICE_INTERFACE_DETAIL_DATA_W {
  DWORD cbSize;
  WCHAR DevicePath[ANYSIZE_ARRAY];
};
using PSP_DEVICE_INTERFACE_DETAIL_DATA_W = SP_DEVICE_INTERFACE_DETAIL_DATA_W*;

extern "C" {
HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND parent,
                                     DWORD flags);
BOOL WINAPI SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA data);
BOOL WINAPI SetupDiEnumDeviceInterfaces(HDEVINFO set, PSP_DEVINFO_DATA device,
                                        const GUID* interfaceClass, DWORD index,
                                        PSP_DEVICE_INTERFACE_DATA data);
BOOL WINAPI SetupDiGetDeviceInterfaceDetailW(HDEVINFO set, PSP_DEVICE_INTERFACE_DATA data,
                                             PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail,
                                             DWORD detailBytes, PDWORD required,
                                             PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property,
                                              PDWORD type, PBYTE buffer, DWORD bytes,
                                              PDWORD required);
BOOL WINAPI SetupDiGetDeviceInstanceIdW(HDEVINFO set, PSP_DEVINFO_DATA device, PWSTR id,
                                        DWORD characters, PDWORD required);
BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set);
}
