#pragma once

#include "services/string_handler_imp.h"

namespace ostria::storage {

/// The text services on Windows. The system's wide text goes through `toWide` and `toNarrow`.
class WinStringHandlerImp final : public StringHandlerImp {};

}  // namespace ostria::storage
