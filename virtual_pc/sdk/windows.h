// The part of the SDK header of this name that the Windows-bound classes use: the umbrella header.
#pragma once

// The part of the system's programming interface that the virtual PC has, under the SDK's names.

#include <processthreadsapi.h>
#include <winbase.h>
#include <windef.h>
#include <winerror.h>
#include <winnls.h>
#include <winnt.h>
#include <winreg.h>

#define SE_MANAGE_VOLUME_NAME_A "SeManageVolumePrivilege"
#ifdef UNICODE
#define SE_MANAGE_VOLUME_NAME L"SeManageVolumePrivilege"
#define CreateFile CreateFileW
#define LookupPrivilegeValue LookupPrivilegeValueW
#else
#define SE_MANAGE_VOLUME_NAME SE_MANAGE_VOLUME_NAME_A
#define CreateFile CreateFileA
#define LookupPrivilegeValue LookupPrivilegeValueA
#endif
