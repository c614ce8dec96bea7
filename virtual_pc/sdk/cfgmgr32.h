// The part of the SDK header of this name that the Windows-bound classes use: the device tree.
#pragma once

#include <windows.h>

using CONFIGRET = DWORD;
using DEVINST = DWORD;
using PDEVINST = DEVINST*;

#define CR_SUCCESS 0x00000000u
#define CR_FAILURE 0x00000013u
#define CR_NO_SUCH_DEVNODE 0x0000000Du

extern "C" {
/// The device above another one in the tree of devices: of a disk its port.
CONFIGRET WINAPI CM_Get_Parent(PDEVINST parent, DEVINST device, ULONG flags);
}
