#pragma once

#include <string>

#include "ostria/storage/tool.h"

namespace ostria::storage::test {

/// A tool that only owns operations.
class PlainTool final : public Tool {
 public:
  PlainTool() : Tool(Identifier(50, 0, 0)) {}
  void run() override {}
  std::string getNameKey() override { return ""; }
  std::string getDescriptionKey() override { return ""; }
  std::string getCommandName() override { return ""; }
  bool isApplicable(SystemComponent*) override { return true; }
};

}  // namespace ostria::storage::test
