#include "host/core/run/run_tests.h"

#include <algorithm>
#include <utility>

namespace ostria::host {
namespace {

using storage::ParameterIssue;
using storage::TestParameter;
using storage::TestResult;

// The test that writes to the volumes of a device.
constexpr storage::Identifier kWriteTest{1, 2, 12};

constexpr const char* kStoppedByUser = "Stopped by the user.";

std::vector<TestParameter> parametersOf(storage::Test& test,
                                        const std::vector<ParameterText>& written) {
  const std::vector<TestParameter> known = test.parameters();
  std::vector<TestParameter> out;
  for (const ParameterText& pair : written) {
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const TestParameter& row) { return row.key == pair.key; });
    TestParameter parameter;
    if (found != known.end()) {
      parameter = *found;
    }
    parameter.key = pair.key;
    parameter.value = pair.value;
    out.push_back(std::move(parameter));
  }
  return out;
}

class TestRunner {
 public:
  TestRunner(const Plan& plan, const Catalogue& catalogue, const RunServices& services,
             Session& session, const std::function<void(const TestRun&)>& onFinished)
      : plan_(plan),
        catalogue_(catalogue),
        services_(services),
        session_(session),
        onFinished_(onFinished) {}

  void run(storage::SystemComponentManager& manager) {
    std::vector<bool> supported(plan_.tests.size(), !plan_.devices.empty());
    for (const DeviceInfo& device : session_.devices) {
      storage::SystemComponent* component = manager.component(device.index);
      if (component == nullptr) {
        continue;
      }
      for (std::size_t i = 0; i < plan_.tests.size(); ++i) {
        const TestChoice& choice = plan_.tests[i];
        const bool applicable = entry(choice).test->isApplicable(component);
        if (applicable) {
          supported[i] = true;
        }
        // Without a choice of devices, or with a whole diagnostic, what does not apply is not
        // meant.
        if (!applicable && (plan_.devices.empty() || !choice.named)) {
          continue;
        }
        runOne(choice, device, *component, applicable);
      }
    }
    for (std::size_t i = 0; i < plan_.tests.size(); ++i) {
      if (supported[i] || !plan_.tests[i].named) {
        continue;
      }
      session_.unperformed = true;
      session_.notices.push_back("No device here supports the test \"" +
                                 services_.texts.text(entry(plan_.tests[i]).nameKey) + "\".");
    }
    const auto waiting = std::count_if(session_.tests.begin(), session_.tests.end(),
                                       [](const TestRun& run) { return !run.begun; });
    if (waiting > 0) {
      session_.notices.push_back(std::to_string(waiting) +
                                 (waiting == 1 ? " test was" : " tests were") +
                                 " stopped before the beginning.");
    }
  }

 private:
  const CatalogueTest& entry(const TestChoice& choice) const {
    return catalogue_.diagnostics[choice.diagnostic].tests[choice.test];
  }

  void runOne(const TestChoice& choice, const DeviceInfo& device,
              storage::SystemComponent& component, bool applicable) {
    const CatalogueTest& test = entry(choice);
    TestRun run;
    run.device = device.index;
    run.test = {test.id, test.nameKey, services_.texts.text(test.nameKey)};
    run.diagnosticName = services_.texts.text(catalogue_.diagnostics[choice.diagnostic].nameKey);
    run.applicable = applicable;
    for (const ParameterText& pair : choice.parameters) {
      run.parameters.emplace_back(pair.key, pair.value);
    }
    run.started = Clock::now();
    if (services_.interrupts.isAbortRequested()) {
      run.outcome = ExitCode::Stopped;
      run.note = "Stopped before it began.";
      run.begun = false;
    } else if (!applicable) {
      askForReason(*test.test, component, run);
    } else if (mayRun(test, device, run)) {
      perform(choice, *test.test, component, device, run);
    }
    run.finished = Clock::now();
    session_.tests.push_back(run);
    onFinished_(run);
  }

  // A test that does not apply says why when it is run. Whatever it answers, it was not performed.
  void askForReason(storage::Test& test, storage::SystemComponent& component, TestRun& run) {
    RunContext context(services_, component, {}, true, false);
    const TestResult result = test.run(&context);
    run.outcome = ExitCode::NotPerformed;
    if (result == TestResult::NotPerformed || result == TestResult::CouldNotStart) {
      run.messages = context.messages();
    }
    if (run.messages.empty()) {
      run.note =
          "The module does not offer this test for this device, or it is switched off in the "
          "configuration.";
    }
  }

  bool mayRun(const CatalogueTest& test, const DeviceInfo& device, TestRun& run) {
    if (test.id != kWriteTest) {
      return true;
    }
    const Answer answer = services_.questions.ask(
        services_.texts.text(test.nameKey) + " writes to the volumes of device " +
            std::to_string(device.index) + " (" + deviceForQuestion(device) + "). " +
            services_.texts.text("VOLUME_SPACE_ALLOCATION_ALERT") + ". Go on?",
        services_.errorWidth);
    if (answer == Answer::Yes) {
      return true;
    }
    const bool stopped = services_.interrupts.isAbortRequested();
    run.outcome = stopped ? ExitCode::Stopped : ExitCode::NotPerformed;
    run.note = stopped ? kStoppedByUser : refusalNote(answer);
    return false;
  }

  void perform(const TestChoice& choice, storage::Test& test, storage::SystemComponent& component,
               const DeviceInfo& device, TestRun& run) {
    // Values of an earlier run stay in the test until they are reset.
    test.resetParameters();
    RunContext context(services_, component, parametersOf(test, choice.parameters), false,
                       run.test.id == kWriteTest);
    services_.progress.begin("test", identifierText(run.test.id), device.index,
                             "Device " + std::to_string(device.index) + ": " + run.test.name);
    run.outcome = exitCodeOf(test.run(&context));
    run.messages = context.messages();
    services_.progress.end(outcomeText(run.outcome));
    if (run.messages.empty()) {
      run.note = noteFor(run.outcome, context);
    }
  }

  std::string noteFor(ExitCode outcome, const RunContext& context) const {
    switch (outcome) {
      case ExitCode::Stopped:
        if (services_.interrupts.isAbortRequested()) {
          return kStoppedByUser;
        }
        return "The module stopped the test without giving a reason.";
      case ExitCode::NotPerformed:
        if (context.wasAskedForInput() && !services_.questions.canAsk()) {
          return "The test needs somebody who can answer questions: use a terminal, or --assume.";
        }
        return "The module gave no reason.";
      case ExitCode::CouldNotStart:
        return "The device is gone or could not be reached.";
      default:
        return {};
    }
  }

  const Plan& plan_;
  const Catalogue& catalogue_;
  const RunServices& services_;
  Session& session_;
  const std::function<void(const TestRun&)>& onFinished_;
};

}  // namespace

UsageError checkParameters(const Plan& plan, const Catalogue& catalogue, const Texts& texts) {
  for (const TestChoice& choice : plan.tests) {
    if (choice.parameters.empty()) {
      continue;
    }
    const CatalogueTest& entry = catalogue.diagnostics[choice.diagnostic].tests[choice.test];
    std::vector<ParameterIssue> issues;
    entry.test->resetParameters();
    if (entry.test->checkParameters(parametersOf(*entry.test, choice.parameters), issues)) {
      continue;
    }
    std::string sentence = texts.text(entry.nameKey);
    bool unknown = false;
    const char* separator = ": ";
    for (const ParameterIssue& issue : issues) {
      if (issue.kind == ParameterIssue::None) {
        continue;
      }
      sentence += std::exchange(separator, "; ") + issue.parameter.key + ": " +
                  texts.message(issue.message);
      unknown = unknown || issue.kind == ParameterIssue::UnknownParameter;
    }
    if (unknown) {
      sentence += " (known are";
      for (const TestParameter& known : entry.test->parameters()) {
        sentence += " " + known.key;
      }
      sentence += ")";
    }
    return {sentence + (sentence.back() == '.' ? "" : ".")};
  }
  return {};
}

UsageError configureTests(const Catalogue& catalogue, const storage::ConfigurationMap& settings,
                          const std::string& fileName) {
  for (const CatalogueDiagnostic& diagnostic : catalogue.diagnostics) {
    for (const CatalogueTest& entry : diagnostic.tests) {
      storage::ConfigurationError error;
      if (!entry.test->configure(settings, &error)) {
        return refusedSetting(error, fileName);
      }
    }
  }
  return {};
}

void runTests(const Plan& plan, const Catalogue& catalogue, const RunServices& services,
              storage::SystemComponentManager& manager, Session& session,
              const std::function<void(const TestRun&)>& onFinished) {
  TestRunner(plan, catalogue, services, session, onFinished).run(manager);
}

std::string deviceForQuestion(const DeviceInfo& device) {
  std::string text = device.model.empty() ? device.id : device.model;
  return harmless(text + ", serial number " + (device.serial.empty() ? "unknown" : device.serial));
}

std::string refusalNote(Answer answer) {
  return answer == Answer::No
             ? "Declined."
             : "It changes the device and nobody could be asked; --assume yes allows it.";
}

}  // namespace ostria::host
