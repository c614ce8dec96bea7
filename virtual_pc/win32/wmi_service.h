// The way into the WMI service.
#pragma once

#include <wbemidl.h>

namespace ostria::virtual_pc {

/// The entrance to the WMI service. The caller releases it.
IWbemLocator* makeWmiLocator();

/// Sets how calls through a proxy of the service are made. Without the caller's identity at the
/// level of calls the service answers nothing.
/// @return false for an object that is no such proxy
bool setWmiProxyBlanket(IUnknown* proxy, DWORD authenticationLevel, DWORD impersonationLevel);

}  // namespace ostria::virtual_pc
