#pragma once

#include <string>
#include <vector>

#include "platform/windows/services/win_com.h"
#include "services/cim.h"
// Needs the types of the header above.
#include <wbemidl.h>

namespace ostria::storage {

/// Text of a value: one for a scalar, one per element for an array of texts or 32-bit numbers,
/// none for a value of any other type.
std::vector<std::string> columnOf(const VARIANT& value);

/// Runs a query and appends a row for each object that it finds, with a column for each field.
/// @return whether the service answered to the end
bool collectRows(IWbemServices& services, const std::wstring& query,
                 const std::vector<std::wstring>& fields, CimTable& rows);

}  // namespace ostria::storage
