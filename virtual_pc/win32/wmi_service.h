// The way into the WMI service.
#pragma once

#include <wbemidl.h>

namespace ostria::virtual_pc {

/// The entrance to the WMI service. The caller releases it.
IWbemLocator* makeWmiLocator();

}  // namespace ostria::virtual_pc
