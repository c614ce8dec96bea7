#pragma once

#include <wbemidl.h>

namespace ostria::virtual_pc {

/// The entrance to the management service. The caller releases it.
IWbemLocator* makeManagementLocator();

}  // namespace ostria::virtual_pc
