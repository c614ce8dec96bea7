// Builds and destroys the catalogue in its fixed order: the devices go before the tests, which may
// have borrowed from them.
#include "module/catalogue.h"

#include <string>

#include "module/storage_resource.h"
#include "module/test_catalogue.h"
#include "ostria/storage/test_ids.h"
#include "tools/recover_bad_sectors.h"
#include "tools/smart_tool.h"

namespace ostria::storage {

namespace {

std::string hintText(TestRow::Hint hint) {
  const std::string device = std::string("POSSIBLE_DEFECTIVE_COMPONENTS") + ": " + "STORAGE_DEVICE";
  return hint == TestRow::Hint::Device ? device : device + ", " + "SYSTEM_BOARD";
}

/// The tests of one diagnostic, in the order of their rows.
std::vector<std::unique_ptr<Test>> makeTests(std::uint32_t category) {
  std::vector<std::unique_ptr<Test>> tests;
  for (const TestRow& row : testRows()) {
    if (row.resource.id.category == category) {
      tests.push_back(row.make(row.resource.id, hintText(row.hint)));
    }
  }
  return tests;
}

template <typename T>
std::vector<T*> borrowed(const std::vector<std::unique_ptr<T>>& owned) {
  std::vector<T*> pointers;
  pointers.reserve(owned.size());
  for (const auto& entry : owned) {
    pointers.push_back(entry.get());
  }
  return pointers;
}

}  // namespace

Catalogue::Catalogue()
    : quickTests_(makeTests(ids::kQuickCategory)),
      extendedTests_(makeTests(ids::kExtendedCategory)),
      resource_(std::make_unique<StorageResource>(ids::kModuleObject)) {
  resource_->setLabelTable({{0, "0 - 30"}, {1, "+ 60"}, {2, "+ 90"}});
  quick_ = std::make_unique<Diagnostic>(ids::kQuick, borrowed(quickTests_));
  extended_ = std::make_unique<Diagnostic>(ids::kExtended, borrowed(extendedTests_));
  manager_ = std::make_unique<StorageComponentManager>(ids::kModuleObject);
  tools_.push_back(std::make_unique<RecoverBadSectors>(ids::kRecoverBadSectors));
  tools_.push_back(std::make_unique<SmartTool>(ids::kSmartTool));
  interface_ =
      std::make_unique<ModuleInterface>(std::vector<Diagnostic*>{quick_.get(), extended_.get()},
                                        resource_.get(), manager_.get(), nullptr, borrowed(tools_));
}

Catalogue::~Catalogue() {
  resource_.reset();
  manager_.reset();
  for (auto& test : quickTests_) {
    test.reset();
  }
  quick_.reset();
  for (auto& test : extendedTests_) {
    test.reset();
  }
  extended_.reset();
  for (auto& tool : tools_) {
    tool.reset();
  }
  interface_.reset();
}

}  // namespace ostria::storage
