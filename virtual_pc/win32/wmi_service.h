#pragma once

#include <wbemidl.h>

#include "virtual_pc/kernel/wmi_repository.h"

namespace ostria::virtual_pc {

/// What the management service of the running PC knows.
WmiRepository& managementRepository();

/// The entrance to the management service. The caller releases it.
IWbemLocator* makeManagementLocator();

}  // namespace ostria::virtual_pc
