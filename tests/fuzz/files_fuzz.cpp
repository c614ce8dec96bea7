// Fuzz target: everything that reads what users and other programs wrote: machine files, both
// readers of configuration files, command lines, texts, reports of a module, kept results, the
// output of checkers, WQL. The first byte chooses.
#include <fstream>
#include <functional>
#include <set>

#include "host/cli/command_line.h"
#include "host/cli/plan.h"
#include "host/core/file_lock.h"
#include "host/core/model/file_history.h"
#include "host/core/report/plain_text.h"
#include "host/core/run/settings_file.h"
#include "host/core/run/smart_report.h"
#include "host/core/texts/texts.h"
#include "services/config_file.h"
#include "services/wql_condition.h"
#include "tests/fuzz/input.h"
#include "tools/checker_output.h"
#include "virtual_pc/description/description.h"

namespace {

using namespace ostria;
using ostria::storage::test::MemoryFile;

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out(1);
  for (const char c : text) {
    if (c == '\n') {
      out.emplace_back();
    } else if (c != '\0') {
      out.back() += c;
    }
  }
  return out;
}

void machineFile(const std::string& text) {
  virtual_pc::MachineDescription machine;
  std::string error;
  if (!virtual_pc::parseMachine(text, &machine, &error) && error.empty()) {
    std::abort();  // a refusal without a reason
  }
}
void moduleConfiguration(const std::string& text) {
  const MemoryFile file(text);
  storage::ConfigurationMap contents;
  storage::ConfigurationError error;
  (void)storage::readConfigurationFile(file.path(), contents, error);
}
void hostConfiguration(const std::string& text) { (void)host::readConfiguration(text, "f"); }
void commandLine(const std::string& text) {
  const auto line = host::readCommandLine(lines(text));
  (void)host::formatAskedFor(lines(text));
  if (const auto* read = std::get_if<host::CommandLine>(&line)) {
    host::Catalogue catalogue;
    catalogue.moduleName = "STORAGE";
    catalogue.diagnostics = {{{1, 1, 0},
                              "QUICK_TESTS",
                              "Q",
                              "quick",
                              {{{1, 1, 1}, "T", "m", "smart-status", true, nullptr}}}};
    catalogue.tools = {{"recover", "R", nullptr}};
    (void)host::makePlan(*read, catalogue);
  }
}
void texts(const std::string& text) {
  host::Texts all;
  (void)all.add(text, "f");
  (void)host::harmless(all.say("usage.unknown_option", {{"option", text}}));
  (void)all.message(text);
  (void)host::plainTable(text);
}
void smartReport(const std::string& text) { (void)host::readSmartReport(text); }
void keptResults(const std::string& text) { (void)host::runsOfLines(text); }
void checker(const std::string& text) {
  storage::CheckerOutput output([](const std::string& line) { return line; });
  int last = 0;
  for (const char c : text) {
    const auto percent = output.accept(c);
    if (percent && (*percent < last || *percent > 100)) {
      std::abort();  // progress that goes back
    }
    last = percent.value_or(last);
  }
  (void)output.message();
}
void query(const std::string& text) {
  if (const auto condition = storage::parseWqlCondition(text)) {
    (void)condition->accepts(text);
  }
}

constexpr void (*kReaders[])(const std::string&) = {
    machineFile, moduleConfiguration, hostConfiguration, commandLine, texts,
    smartReport, keptResults,         checker,           query};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t bytes) {
  ostria::storage::test::Input in(data, bytes);
  const std::uint8_t which = in.byte();
  kReaders[which % std::size(kReaders)](in.rest());
  return 0;
}
