// Runs tests, device by device. A test that was asked for by name and does not apply is run all the
// same with an abort after its first poll: only the module itself can say why it does not apply.
#include "host/core/run/run_tests.h"

#include <algorithm>

#include "host/core/model/health_rules.h"
#include "host/core/run/collect_health.h"
#include "host/core/run/collect_reads.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/device_question.h"
#include "host/core/run/identity_check.h"
#include "host/core/run/parameters.h"
#include "host/core/run/run_context.h"
#include "host/core/run/self_test_time.h"
#include "host/core/run/surface_notes.h"
#include "ostria/storage/test_ids.h"

namespace ostria::host {
namespace {

using storage::TestResult;

// The test that writes to the volumes of a device.
constexpr storage::Identifier kWriteTest = storage::ids::kDeviceWrite;

// Tests whose answer the host adds numbers to.
constexpr std::string_view kStatusTest = "SMART_STATUS_TEST";
constexpr std::string_view kWearTest = "SMART_WEAROUT_TEST";
constexpr std::string_view kSpareTest = "NVME_SMART_SPARE_SPACE_TEST";

class TestRunner {
 public:
  TestRunner(const Selection& selection, const Catalogue& catalogue, const RunServices& services,
             Session& session, const std::function<void(const TestRun&)>& onFinished)
      : selection_(selection),
        catalogue_(catalogue),
        services_(services),
        session_(session),
        onFinished_(onFinished) {}

  void run(storage::SystemComponentManager& manager) {
    std::vector<bool> supported(selection_.tests.size(), !selection_.devices.empty());
    item_.kind = "test";
    item_.drives = session_.devices.size();
    item_.drive = 0;
    for (const DeviceInfo& device : session_.devices) {
      ++item_.drive;
      storage::SystemComponent* component = manager.component(device.index);
      if (component == nullptr) {
        continue;
      }
      item_.test = 0;
      item_.tests = countTests(*component);
      for (std::size_t i = 0; i < selection_.tests.size(); ++i) {
        const TestChoice& choice = selection_.tests[i];
        const bool applicable = entry(choice).test->isApplicable(component);
        if (applicable) {
          supported[i] = true;
        }
        // Without a choice of devices, or with a whole diagnostic, what does not apply is not
        // meant.
        if (!applicable && (selection_.devices.empty() || !choice.named)) {
          continue;
        }
        runOne(choice, device, *component, applicable);
      }
    }
    noteWhatDidNotRun(selection_, catalogue_, services_.texts, supported, session_);
  }

 private:
  // How many tests will run on the device: for the user only, who waits for the last of them.
  std::size_t countTests(storage::SystemComponent& component) const {
    return static_cast<std::size_t>(std::count_if(
        selection_.tests.begin(), selection_.tests.end(),
        [&](const auto& choice) { return entry(choice).test->isApplicable(&component); }));
  }

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
    run.named = choice.named;
    for (const ParameterText& pair : choice.parameters) {
      run.parameters.emplace_back(pair.key, pair.value);
    }
    run.started = Clock::now();
    if (services_.abort.isAbortRequested()) {
      run.outcome = ExitCode::Stopped;
      run.note = services_.texts.say("note.not_begun");
      run.begun = false;
    } else if (!applicable) {
      askForReason(*test.test, component, run);
    } else if (++item_.test; mayRun(test, device, component, run)) {
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
      run.note = services_.texts.say("note.not_offered");
    }
  }

  bool mayRun(const CatalogueTest& test, const DeviceInfo& device,
              storage::SystemComponent& component, TestRun& run) {
    if (test.id != kWriteTest) {
      return true;
    }
    const std::string question = services_.texts.say(
        "question.write_test", {{"test", services_.texts.text(test.nameKey)},
                                {"device", std::to_string(device.index)},
                                {"name", deviceForQuestion(device, services_.texts)},
                                {"alert", services_.texts.text("VOLUME_SPACE_ALLOCATION_ALERT")}});
    const Answer answer = services_.asker.askToWrite(question, serialOf(component));
    if (answer == Answer::Yes && isStillThatDrive(component)) {
      return true;
    }
    if (answer == Answer::Yes) {
      run.outcome = ExitCode::CouldNotStart;
      run.note = services_.texts.say("note.other_drive");
      return false;
    }
    const bool stopped = services_.abort.isAbortRequested();
    run.outcome = stopped ? ExitCode::Stopped : ExitCode::NotPerformed;
    run.note = services_.texts.say(stopped                    ? "note.stopped_by_user"
                                   : answer == Answer::Nobody ? "note.nobody_to_ask_to_write"
                                                              : refusalKey(answer));
    return false;
  }

  void perform(const TestChoice& choice, storage::Test& test, storage::SystemComponent& component,
               const DeviceInfo& device, TestRun& run) {
    // Values of an earlier run stay in the test until they are reset.
    test.resetParameters();
    RunContext context(services_, component, parametersOf(test, choice.parameters), false,
                       run.test.id == kWriteTest);
    item_.id = identifierText(run.test.id);
    item_.device = device.index;
    item_.label = services_.texts.say(
        "progress.test", {{"device", std::to_string(device.index)}, {"name", run.test.name}});
    item_.expected = selfTestTime(run.test.id, component);
    services_.progress.begin(item_);
    const bool writes = run.test.id == kWriteTest;
    const std::string line =
        writes ? services_.journalBegin("journal.write_test", device) : std::string();
    run.outcome = exitCodeOf(test.run(&context));
    if (writes) {
      services_.journalEnd(line, run.outcome);
    }
    run.messages = context.messages();
    // Nobody stops a test but the user, and the test itself when a command did not reach its
    // device. Whether that is gone shows when it is asked.
    const bool ended = run.outcome == ExitCode::Stopped && !services_.abort.isAbortRequested();
    if (ended) {
      run.lost = !isStillThatDrive(component);
      run.gaps = !run.lost;
      run.outcome = run.lost ? ExitCode::Failed : ExitCode::CouldNotStart;
    }
    if (run.outcome == ExitCode::NotPerformed && !run.named && isNotOffered(run)) {
      run.applicable = false;
    }
    run.reads = readTimesOf(component);
    const std::string surface = lookAtSurface(test, run, services_.texts);
    if (run.reads) {
      services_.progress.reads(*run.reads);
    }
    services_.progress.end(run.outcome);
    if (ended) {
      run.note = services_.texts.say(run.lost ? "note.device_lost" : "note.device_there");
    } else if (run.messages.empty()) {
      const char* key = noteFor(run.outcome, context);
      run.note = key != nullptr ? services_.texts.say(key) : std::string();
    }
    addNote(run, surface);
    explain(component, device, run);
  }

  static void addNote(TestRun& run, const std::string& text, const char* between = " ") {
    run.note += (run.note.empty() || text.empty() ? "" : between) + text;
  }

  static bool isNotOffered(const TestRun& run) {
    return std::any_of(run.messages.begin(), run.messages.end(), [](const Message& message) {
      return std::find(std::begin(kNotOffered), std::end(kNotOffered), message.key) !=
             std::end(kNotOffered);
    });
  }

  // A test that only says yes or no gets the numbers behind it.
  void explain(storage::SystemComponent& component, const DeviceInfo& device, TestRun& run) {
    const bool status = run.test.nameKey == kStatusTest && run.outcome == ExitCode::Failed;
    const bool wear = run.test.nameKey == kWearTest && run.outcome != ExitCode::NotPerformed;
    const bool spare = run.test.nameKey == kSpareTest && run.outcome != ExitCode::NotPerformed;
    if (run.lost || !(status || wear || spare)) {
      return;
    }
    DeviceInfo asked = device;
    collectHealth(component, services_.texts, services_.redactor, asked);
    const Health health = judge(asked.evidence);
    const auto add = [&](const std::string& text) {
      addNote(run, services_.redactor.text(text), "; ");
    };
    if (wear && health.wearPercent) {
      add(services_.texts.say("health.used", {{"percent", std::to_string(*health.wearPercent)}}));
    }
    if (spare && health.sparePercent) {
      add(services_.texts.say("health.spare_left",
                              {{"percent", std::to_string(*health.sparePercent)}}));
    }
    for (const HealthReason& reason : health.reasons) {
      if (status && reason.verdict > Verdict::NotKnown &&
          reason.source == HealthSource::SmartAttribute) {
        add(services_.texts.say(reason.key, reason.arguments));
      }
    }
  }

  // The host's own note on a run that said nothing, null for none.
  const char* noteFor(ExitCode outcome, const RunContext& context) const {
    switch (outcome) {
      case ExitCode::Stopped:
        return "note.stopped_by_user";
      case ExitCode::NotPerformed:
        if (context.wasAskedForInput() && !services_.asker.canAsk()) {
          return "note.needs_answers";
        }
        return "note.no_reason";
      case ExitCode::CouldNotStart:
        return "note.device_gone";
      default:
        return nullptr;
    }
  }

  const Selection& selection_;
  const Catalogue& catalogue_;
  const RunServices& services_;
  Session& session_;
  const std::function<void(const TestRun&)>& onFinished_;
  RunItem item_;
};

}  // namespace

void noteWhatDidNotRun(const Selection& selection, const Catalogue& catalogue, const Texts& texts,
                       const std::vector<bool>& supported, Session& session) {
  for (std::size_t i = 0; i < selection.tests.size(); ++i) {
    const TestChoice& choice = selection.tests[i];
    if (supported[i] || !choice.named) {
      continue;
    }
    session.unperformed = true;
    session.notices.push_back(texts.say(
        "notice.test_unsupported",
        {{"test",
          texts.text(catalogue.diagnostics[choice.diagnostic].tests[choice.test].nameKey)}}));
  }
  const auto waiting = std::count_if(session.tests.begin(), session.tests.end(),
                                     [](const TestRun& run) { return !run.begun; });
  if (waiting > 0) {
    session.notices.push_back(
        texts.say(waiting == 1 ? "notice.test_not_begun" : "notice.tests_not_begun",
                  {{"count", std::to_string(waiting)}}));
  }
}

void runTests(const Selection& selection, const Catalogue& catalogue, const RunServices& services,
              storage::SystemComponentManager& manager, Session& session,
              const std::function<void(const TestRun&)>& onFinished) {
  TestRunner(selection, catalogue, services, session, onFinished).run(manager);
}

}  // namespace ostria::host
