// The diagnostics, tests and tools of a module.
#pragma once

#include <string>
#include <vector>

#include "ostria/storage/module_interface.h"

namespace ostria::host {

/// A test as the command line sees it.
struct CatalogueTest {
  storage::Identifier id;
  std::string nameKey;
  std::string shortName;  ///< empty: it has no name of its own on the command line
  std::string longName;
  bool takesParameters = false;
  storage::Test* test = nullptr;  ///< the module's; null in tables made without a module
};

struct CatalogueDiagnostic {
  storage::Identifier id;
  std::string nameKey;
  std::string shortName;
  std::string longName;
  std::vector<CatalogueTest> tests;  ///< in the order in which they run
};

struct CatalogueTool {
  std::string commandName;
  std::string nameKey;
  storage::Tool* tool = nullptr;
};

/// What a module offers, copied out of its tables.
struct Catalogue {
  std::string moduleName;  ///< message key
  std::vector<CatalogueDiagnostic> diagnostics;
  std::vector<CatalogueTool> tools;
};

Catalogue readCatalogue(storage::ModuleInterface& module);

/// "1.2.16".
std::string identifierText(const storage::Identifier& id);

}  // namespace ostria::host
