#pragma once

#include <cstdint>
#include <vector>

#include "ostria/storage/identifier.h"
#include "ostria/storage/test.h"

namespace ostria::storage {

/// A named group of tests, in the order in which the host shows them. The tests are owned by the
/// catalogue; the destructor frees the list only.
class Diagnostic {
 public:
  Diagnostic(const Identifier& id, const std::vector<Test*>& tests)
      : identifier_(id), tests_(tests) {}
  virtual ~Diagnostic() = default;

  virtual Identifier identifier() { return identifier_; }
  virtual std::uint32_t testCount() { return static_cast<std::uint32_t>(tests_.size()); }
  /// Null when `index` is out of range.
  virtual Test* test(std::uint32_t index) {
    return index < tests_.size() ? tests_[index] : nullptr;
  }
  /// The first test with the same packed identifier, or null.
  virtual Test* testByIdentifier(const Identifier& id) {
    for (Test* candidate : tests_) {
      if (candidate != nullptr && candidate->identifier() == id) return candidate;
    }
    return nullptr;
  }

 private:
  Identifier identifier_;
  std::vector<Test*> tests_;
};

}  // namespace ostria::storage
