#pragma once

#include <span>
#include <string>

#include "ostria/storage/resource.h"

namespace ostria::storage {

/// Texts and command-line name of one diagnostic or test.
struct ResourceRow {
  Identifier id;
  const char* displayKey;
  const char* tooltipKey;
  const char* shortName;  ///< empty: cannot be chosen on the command line
  const char* longName;
  std::uint32_t argumentKind;
};

std::span<const ResourceRow> diagnosticRows();
std::span<const ResourceRow> testRows();

/// What the command-line host prints for the module's help.
std::string storageHelpText();

}  // namespace ostria::storage
