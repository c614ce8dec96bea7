#pragma once

#include <memory>
#include <span>
#include <string>

#include "ostria/storage/resource.h"
#include "ostria/storage/test.h"

namespace ostria::storage {

/// Texts and command-line name of a diagnostic or test, as `Resource` answers them.
struct ResourceRow {
  Identifier id;
  const char* displayKey;
  const char* tooltipKey;
  const char* shortName;  ///< the letter; empty: cannot be chosen on the command line
  const char* longName;
  std::uint32_t argumentKind;  ///< see `OptionEntry`
};

/// All that the module says about a test, and how it is made. A new test is a new row.
struct TestRow {
  /// Which components the line behind a failure names.
  enum class Hint { Device, DeviceAndBoard };

  ResourceRow resource;
  Hint hint;
  /// @param hint  composed text of message keys
  std::unique_ptr<Test> (*make)(const Identifier& id, const std::string& hint);
};

/// Quick before Extended.
std::span<const ResourceRow> diagnosticRows();
/// In the order in which the host shows the tests, those of Quick first.
std::span<const TestRow> testRows();

}  // namespace ostria::storage
