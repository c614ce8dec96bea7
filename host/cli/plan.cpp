// What the arguments mean by the module's tables. What changes a disk is never chosen by leaving
// something away.
#include "host/cli/plan.h"

#include <algorithm>

#include "host/cli/chosen_tests.h"
#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

constexpr std::string_view kRecover = "recover";
constexpr std::string_view kOperations[] = {"scan", "repair", "filesystem", "filterDevices"};

std::string lowered(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return text;
}

bool isNamed(const CatalogueTest& test, std::string_view name) {
  return !test.shortName.empty() && (test.shortName == name || test.longName == name);
}

class Planner {
 public:
  Planner(const CommandLine& line, const Catalogue& catalogue)
      : line_(line), catalogue_(catalogue) {}

  OrUsageError<Plan> make() {
    if (line_.help || line_.version) {
      plan_.action = line_.help ? Action::Help : Action::Version;
      return plan_;
    }
    UsageError error = checkModule();
    if (!error.isSet()) {
      error = readDiagnostics();
    }
    if (!error.isSet()) {
      error = readOperands();
    }
    if (!error.isSet()) {
      error = chooseAction();
    }
    if (error.isSet()) {
      return error;
    }
    return plan_;
  }

 private:
  UsageError checkModule() const {
    if (line_.module && lowered(*line_.module) != lowered(catalogue_.moduleName)) {
      return {"usage.unknown_module",
              {{"module", *line_.module}, {"known", lowered(catalogue_.moduleName)}}};
    }
    return {};
  }

  UsageError readDiagnostics() {
    for (const ModuleOption& option : line_.moduleOptions) {
      const auto found =
          std::find_if(catalogue_.diagnostics.begin(), catalogue_.diagnostics.end(),
                       [&](const CatalogueDiagnostic& row) {
                         return !option.name.empty() &&
                                option.name == (option.isLong ? row.longName : row.shortName);
                       });
      if (found == catalogue_.diagnostics.end()) {
        return {"usage.unknown_option", {{"option", option.written}}};
      }
      const auto index = static_cast<std::size_t>(found - catalogue_.diagnostics.begin());
      UsageError error = option.value ? addNamed(option, index) : addAll(option, index);
      if (error.isSet()) {
        return error;
      }
    }
    return {};
  }

  UsageError addAll(const ModuleOption& option, std::size_t diagnostic) {
    for (std::size_t t = 0; t < catalogue_.diagnostics[diagnostic].tests.size(); ++t) {
      if (isChosen(diagnostic, t)) {
        return {"usage.option_twice", {{"option", option.written}}};
      }
      plan_.selection.tests.push_back({diagnostic, t, false, {}});
    }
    return {};
  }

  UsageError addNamed(const ModuleOption& option, std::size_t diagnostic) {
    std::string list = *option.value;
    // A short option may be written with "=" too.
    if (!option.isLong && !list.empty() && list.front() == '=') {
      list.erase(0, 1);
    }
    if (list.empty()) {
      return {"usage.no_test_named", {{"option", option.written}}};
    }
    auto entries = readTestList(list);
    if (auto* error = std::get_if<UsageError>(&entries)) {
      return *error;
    }
    for (TestListEntry& entry : std::get<std::vector<TestListEntry>>(entries)) {
      const auto& tests = catalogue_.diagnostics[diagnostic].tests;
      const auto found = std::find_if(tests.begin(), tests.end(), [&](const CatalogueTest& test) {
        return isNamed(test, entry.name) || isNamedAsInHelp(catalogue_, test, entry.name);
      });
      if (found == tests.end()) {
        return unknownTest(option, entry.name);
      }
      if (entry.hasBrackets && !found->takesParameters) {
        return {"usage.no_parameters", {{"option", option.written}, {"test", entry.name}}};
      }
      const auto t = static_cast<std::size_t>(found - tests.begin());
      if (isChosen(diagnostic, t)) {
        return {"usage.test_twice", {{"option", option.written}, {"test", entry.name}}};
      }
      plan_.selection.tests.push_back({diagnostic, t, true, std::move(entry.parameters)});
    }
    return {};
  }

  bool isChosen(std::size_t diagnostic, std::size_t test) const {
    return std::any_of(plan_.selection.tests.begin(), plan_.selection.tests.end(),
                       [&](const TestChoice& choice) {
                         return choice.diagnostic == diagnostic && choice.test == test;
                       });
  }

  UsageError unknownTest(const ModuleOption& option, const std::string& name) const {
    for (const CatalogueDiagnostic& other : catalogue_.diagnostics) {
      for (const CatalogueTest& test : other.tests) {
        if (isNamed(test, name)) {
          return {"usage.test_elsewhere",
                  {{"option", option.written},
                   {"test", name},
                   {"short", other.shortName},
                   {"long", other.longName}}};
        }
      }
    }
    return {"usage.unknown_test", {{"option", option.written}, {"test", name}}};
  }

  UsageError readOperands() {
    std::size_t next = 0;
    const auto& operands = line_.operands;
    if (next < operands.size()) {
      const auto tool =
          std::find_if(catalogue_.tools.begin(), catalogue_.tools.end(),
                       [&](const CatalogueTool& row) { return row.commandName == operands[next]; });
      if (tool != catalogue_.tools.end()) {
        plan_.action = Action::RunTool;
        plan_.selection.tool = static_cast<std::size_t>(tool - catalogue_.tools.begin());
        ++next;
        if (tool->commandName == kRecover) {
          UsageError error = readOperation(next < operands.size() ? operands[next++] : "");
          if (error.isSet()) {
            return error;
          }
        }
      }
    }
    for (; next < operands.size(); ++next) {
      UsageError error = readDevice(operands[next]);
      if (error.isSet()) {
        return error;
      }
    }
    return {};
  }

  UsageError readOperation(const std::string& word) {
    if (std::find(std::begin(kOperations), std::end(kOperations), word) == std::end(kOperations)) {
      return word.empty() ? UsageError{"usage.no_operation", {}}
                          : UsageError{"usage.unknown_operation", {{"word", word}}};
    }
    plan_.selection.operation = word;
    return {};
  }

  UsageError readDevice(const std::string& text) {
    if (!line_.moduleOptions.empty() && !line_.moduleOptions.back().value && isTestList(text)) {
      const std::string& option = line_.moduleOptions.back().written;
      return {"usage.list_apart",
              {{"text", text},
               {"option", option},
               {"form", option + (line_.moduleOptions.back().isLong ? "=" : "") + text}}};
    }
    if (std::find(std::begin(kOperations), std::end(kOperations), text) != std::end(kOperations)) {
      return {"usage.operation_alone", {{"word", text}}};
    }
    if (text.empty()) {
      return {"usage.no_device_number", {{"text", text}}};
    }
    auto& names = plan_.selection.names;
    if (std::find(names.begin(), names.end(), text) != names.end()) {
      return {"usage.device_twice", {{"device", text}}};
    }
    names.push_back(text);
    return {};
  }

  // What only a list of tests can be that was written apart from its option.
  bool isTestList(const std::string& text) const {
    auto entries = readTestList(text);
    const auto* list = std::get_if<std::vector<TestListEntry>>(&entries);
    return list != nullptr &&
           std::all_of(list->begin(), list->end(), [this](const TestListEntry& entry) {
             return std::any_of(catalogue_.diagnostics.begin(), catalogue_.diagnostics.end(),
                                [&](const CatalogueDiagnostic& row) {
                                  return std::any_of(row.tests.begin(), row.tests.end(),
                                                     [&](const CatalogueTest& test) {
                                                       return isNamed(test, entry.name);
                                                     });
                                });
           });
  }

  UsageError chooseAction() {
    const bool tests = !plan_.selection.tests.empty();
    const bool tool = plan_.action == Action::RunTool;
    if (static_cast<int>(tests) + static_cast<int>(tool) + static_cast<int>(line_.list) +
            static_cast<int>(line_.show) + static_cast<int>(line_.history) +
            static_cast<int>(line_.compare) + static_cast<int>(line_.captureFile.has_value()) >
        1) {
      return {"usage.exclusive", {}};
    }
    if (tests) {
      plan_.action = Action::RunTests;
    }
    if (line_.show) {
      plan_.action = Action::Show;
    }
    if (line_.captureFile) {
      plan_.action = Action::Capture;
    }
    if (line_.history) {
      plan_.action = Action::History;
    }
    if (line_.compare) {
      plan_.action = Action::Compare;
    }
    if (!line_.history && (!line_.historyTest.empty() || !line_.historySince.empty())) {
      return {"usage.needs_history", {}};
    }
    if (line_.list && !plan_.selection.names.empty()) {
      return {"usage.list_takes_no_devices", {}};
    }
    if (plan_.action == Action::List && !plan_.selection.names.empty()) {
      return {"usage.no_action", {}};
    }
    if (line_.compare && !plan_.selection.names.empty() && !areTwoRuns(plan_.selection.names)) {
      return {"usage.compare_takes_runs", {}};
    }
    if (line_.record && line_.redact) {
      return {"usage.record_redacted", {}};
    }
    // What changes a disk is never done to "all of them" by leaving the numbers away.
    if (tool && plan_.selection.names.empty() && plan_.changesVolumes()) {
      return {"usage.needs_devices", {{"operation", plan_.selection.operation}}};
    }
    if (line_.readOnly) {
      std::erase_if(plan_.selection.tests, [this](const TestChoice& choice) {
        return !choice.named && isWriteTest(choice);
      });
    }
    plan_.writes = std::any_of(plan_.selection.tests.begin(), plan_.selection.tests.end(),
                               [this](const TestChoice& choice) { return isWriteTest(choice); });
    if (line_.readOnly && (plan_.writes || plan_.changesVolumes())) {
      return {"usage.read_only",
              {{"what", plan_.writes ? nameOfWriteTest() : plan_.selection.operation}}};
    }
    const std::string& operation = plan_.selection.operation;
    if (line_.sectorsFile && operation != "scan" && operation != "repair") {
      return {"usage.no_sectors", {}};
    }
    if (line_.forceMounted && operation != "repair") {
      return {"usage.no_force", {}};
    }
    if (line_.jobs > 1 && !tests) {
      return {"usage.jobs_tests", {}};
    }
    if (plan_.changesVolumes() && line_.assume == true && !line_.virtualPc) {
      plan_.namesTaken = NamesTaken::OwnOnly;
    }
    plan_.leavesAsleep = plan_.action == Action::List || plan_.action == Action::Show ||
                         (tool && (operation.empty() || operation == "filterDevices"));
    if (line_.record && !tests && !tool) {
      return {"usage.nothing_to_record", {}};
    }
    for (const ChosenReport& report : line_.reports) {
      const bool listed = report.format->collected && plan_.action == Action::List;
      if (!tests && !tool && !line_.show && !listed) {
        return {report.format->collected ? "usage.nothing_to_collect" : "usage.nothing_to_report",
                {{"option", "--" + std::string(report.format->option)}}};
      }
    }
    return {};
  }

  static bool areTwoRuns(const std::vector<std::string>& names) {
    return names.size() == 2 && std::all_of(names.begin(), names.end(), [](const auto& name) {
             return name.size() <= 9 && name.find_first_not_of("0123456789") == std::string::npos;
           });
  }

  std::string nameOfWriteTest() const {
    const auto& tests = plan_.selection.tests;
    const auto choice =
        std::find_if(tests.begin(), tests.end(), [this](const auto& c) { return isWriteTest(c); });
    return catalogue_.diagnostics[choice->diagnostic].tests[choice->test].longName;
  }

  bool isWriteTest(const TestChoice& choice) const {
    return catalogue_.diagnostics[choice.diagnostic].tests[choice.test].id ==
           storage::ids::kDeviceWrite;
  }

  const CommandLine& line_;
  const Catalogue& catalogue_;
  Plan plan_;
};

}  // namespace

OrUsageError<Plan> makePlan(const CommandLine& line, const Catalogue& catalogue) {
  return Planner(line, catalogue).make();
}

}  // namespace ostria::host
