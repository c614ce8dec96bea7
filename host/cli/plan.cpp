#include "host/cli/plan.h"

#include <algorithm>
#include <charconv>

#include "host/cli/chosen_tests.h"

namespace ostria::host {
namespace {

constexpr std::string_view kRecover = "recover";
constexpr std::string_view kOperations[] = {"scan", "repair", "filesystem", "filterDevices"};

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

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
    if (line_.empty) {
      return UsageError{"Nothing to do: give -Mstorage to list the devices, or --help."};
    }
    UsageError error = checkModule();
    if (error.sentence.empty()) {
      error = readDiagnostics();
    }
    if (error.sentence.empty()) {
      error = readOperands();
    }
    if (error.sentence.empty()) {
      error = chooseAction();
    }
    if (!error.sentence.empty()) {
      return error;
    }
    return plan_;
  }

 private:
  UsageError checkModule() const {
    if (line_.module && lowered(*line_.module) != lowered(catalogue_.moduleName)) {
      return {"There is no module " + quoted(*line_.module) + "; the module here is \"" +
              lowered(catalogue_.moduleName) + "\"."};
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
        return {"There is no option " + option.written + "; --help tells which there are."};
      }
      const auto index = static_cast<std::size_t>(found - catalogue_.diagnostics.begin());
      UsageError error = option.value ? addNamed(option, index) : addAll(option, index);
      if (!error.sentence.empty()) {
        return error;
      }
    }
    return {};
  }

  UsageError addAll(const ModuleOption& option, std::size_t diagnostic) {
    for (std::size_t t = 0; t < catalogue_.diagnostics[diagnostic].tests.size(); ++t) {
      if (isChosen(diagnostic, t)) {
        return twice(option.written);
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
      return {option.written + "= names no test; leave the = away to choose all of them."};
    }
    auto entries = readTestList(list);
    if (auto* error = std::get_if<UsageError>(&entries)) {
      return *error;
    }
    for (TestListEntry& entry : std::get<std::vector<TestListEntry>>(entries)) {
      const auto& tests = catalogue_.diagnostics[diagnostic].tests;
      const auto found = std::find_if(tests.begin(), tests.end(), [&](const CatalogueTest& test) {
        return isNamed(test, entry.name);
      });
      if (found == tests.end()) {
        return unknownTest(option, entry.name);
      }
      if (entry.hasBrackets && !found->takesParameters) {
        return {"Test " + quoted(entry.name) + " of " + option.written + " takes no parameters."};
      }
      const auto t = static_cast<std::size_t>(found - tests.begin());
      if (isChosen(diagnostic, t)) {
        return twice("Test " + quoted(entry.name) + " of " + option.written);
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

  static UsageError twice(const std::string& what) { return {what + " is given twice."}; }

  UsageError unknownTest(const ModuleOption& option, const std::string& name) const {
    std::string sentence = option.written + " has no test " + quoted(name);
    for (const CatalogueDiagnostic& other : catalogue_.diagnostics) {
      for (const CatalogueTest& test : other.tests) {
        if (isNamed(test, name)) {
          return {sentence + "; that is a test of -" + other.shortName + " (--" + other.longName +
                  "): -" + other.shortName + quoted(name) + "."};
        }
      }
    }
    return {sentence + "; --help tells which there are."};
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
          if (!error.sentence.empty()) {
            return error;
          }
        }
      }
    }
    for (; next < operands.size(); ++next) {
      UsageError error = readDevice(operands[next]);
      if (!error.sentence.empty()) {
        return error;
      }
    }
    return {};
  }

  UsageError readOperation(const std::string& word) {
    if (std::find(std::begin(kOperations), std::end(kOperations), word) == std::end(kOperations)) {
      const std::string known = "scan, repair, filesystem or filterDevices";
      if (word.empty()) {
        return {"recover needs to know what to do: " + known + "."};
      }
      return {"recover cannot do " + quoted(word) + "; it knows " + known + "."};
    }
    plan_.selection.operation = word;
    return {};
  }

  UsageError readDevice(const std::string& text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
      if (!line_.moduleOptions.empty() && !line_.moduleOptions.back().value) {
        const std::string& option = line_.moduleOptions.back().written;
        return {quoted(text) + " is no device number; a list of tests stands directly behind " +
                option + ", without a blank: " + option +
                (line_.moduleOptions.back().isLong ? "=" : "") + quoted(text) + "."};
      }
      if (std::find(std::begin(kOperations), std::end(kOperations), text) !=
          std::end(kOperations)) {
        return {quoted(text) + " is an operation of a tool: " + std::string(kRecover) + " " + text +
                "."};
      }
      return {quoted(text) + " is neither a device number nor a tool; --help tells what there is."};
    }
    if (std::find(plan_.selection.devices.begin(), plan_.selection.devices.end(), number) !=
        plan_.selection.devices.end()) {
      return twice("Device " + std::to_string(number));
    }
    plan_.selection.devices.push_back(number);
    return {};
  }

  UsageError chooseAction() {
    const bool tests = !plan_.selection.tests.empty();
    const bool tool = plan_.action == Action::RunTool;
    if (static_cast<int>(tests) + static_cast<int>(tool) + static_cast<int>(line_.list) +
            static_cast<int>(line_.show) + static_cast<int>(line_.history) >
        1) {
      return {"Only one of tests, a tool, --list, --show and --history can be had at a time."};
    }
    if (tests) {
      plan_.action = Action::RunTests;
    }
    if (line_.show) {
      plan_.action = Action::Show;
    }
    if (line_.history) {
      plan_.action = Action::History;
    }
    if (line_.list && !plan_.selection.devices.empty()) {
      return {
          "--list shows all devices and takes no device numbers; --show tells about single ones."};
    }
    if (plan_.action == Action::List && !plan_.selection.devices.empty()) {
      return {
          "Nothing is said about what to do with the devices: choose tests with -Q or -E, a tool, "
          "or --show."};
    }
    if (plan_.action == Action::List && !line_.list && !line_.module) {
      return {"Nothing to do: give -Mstorage to list the devices, or --help."};
    }
    if (line_.history && !plan_.selection.devices.empty()) {
      return {"--history shows the kept results of all devices and takes no device numbers."};
    }
    // What changes a disk is never done to "all of them" by leaving the numbers away.
    if (tool && plan_.selection.devices.empty() &&
        (plan_.selection.operation == "repair" || plan_.selection.operation == "filesystem")) {
      return {"recover " + plan_.selection.operation +
              " changes what is on a device: name the device numbers."};
    }
    if ((line_.record || !line_.reports.empty()) && !tests && !tool) {
      if (line_.record) {
        return {"--record keeps the results of tests and tools, and none is chosen."};
      }
      if (!line_.show) {
        return {"--" + std::string(line_.reports.front().format->option) +
                " tells of tests, tools or --show, and none is chosen."};
      }
    }
    return {};
  }

  const CommandLine& line_;
  const Catalogue& catalogue_;
  Plan plan_;
};

}  // namespace

OrUsageError<Plan> makePlan(const CommandLine& line, const Catalogue& catalogue) {
  return Planner(line, catalogue).make();
}

UsageError checkDevices(const Selection& selection, std::uint32_t deviceCount) {
  for (const std::uint32_t device : selection.devices) {
    if (device < deviceCount) {
      continue;
    }
    std::string sentence = "There is no device " + std::to_string(device) + "; ";
    if (deviceCount == 0) {
      return {sentence + "no storage device was found."};
    }
    if (deviceCount == 1) {
      return {sentence + "the only device is 0."};
    }
    return {sentence + "the devices are 0 to " + std::to_string(deviceCount - 1) + "."};
  }
  return {};
}

}  // namespace ostria::host
