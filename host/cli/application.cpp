// The order of the steps: texts, module, plan, settings, devices, and what the plan asks for. Every
// mistake of the user is found before a device is touched, and ends the program with one sentence.
#include "host/cli/application.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "host/cli/capture.h"
#include "host/cli/command_line.h"
#include "host/cli/explain.h"
#include "host/cli/installed_files.h"
#include "host/cli/jobs.h"
#include "host/cli/kept_results.h"
#include "host/cli/left_out_notices.h"
#include "host/cli/machine_file.h"
#include "host/cli/module_start.h"
#include "host/cli/plan.h"
#include "host/cli/progress_line.h"
#include "host/cli/questions.h"
#include "host/cli/rights_notices.h"
#include "host/cli/routine_question.h"
#include "host/cli/run_files.h"
#include "host/cli/scan_demand.h"
#include "host/cli/session_head.h"
#include "host/cli/sleeping_drives.h"
#include "host/cli/stop.h"
#include "host/cli/text_report.h"
#include "host/cli/volume_notices.h"
#include "host/core/report/plain_text.h"
#include "host/core/run/ask_drives.h"
#include "host/core/run/collect_health.h"
#include "host/core/run/left_out.h"
#include "host/core/run/parameters.h"
#include "host/core/run/run_tests.h"
#include "host/core/run/run_tool.h"
#include "host/core/run/session_setup.h"
#include "host/core/run/settings.h"
#include "host/core/texts/clean_text.h"
#include "host/platform/access_check.h"
#include "host/platform/device_names.h"
#include "host/platform/environment.h"
#include "host/platform/files.h"
#include "host/platform/journal.h"
#include "host/platform/module_library.h"
#include "host/platform/raid_volumes.h"
#include "host/platform/rights.h"
#include "host/platform/suspended_disks.h"
#include "host/platform/volume_users.h"

namespace ostria::host {
namespace {

constexpr const char* kProgram = "OstriaDiagnosticsCLI";
constexpr const char* kProgramVersion = OSTRIA_HOST_VERSION;

class Application {
 public:
  Application(const std::vector<std::string>& arguments, Interrupts& interrupts)
      : arguments_(arguments), interrupts_(interrupts) {
    chooseOutput(formatAskedFor(arguments));
  }

  int run() {
    ExitCode code = ExitCode::Passed;
    try {
      code = runSteps();
    } catch (const Stop& stop) {
      code = stop.code;
      main_->error(stop.sentence, stop.code);
      sayWhy(stop.sentence, stop.code);
    }
    interrupts_.setHandlers({}, {});
    if (output_.isClosed()) {
      code = reportLostOutput(code);
    }
    return static_cast<int>(code);
  }

 private:
  void chooseOutput(const OutputFormatRow* format) {
    if (format != nullptr) {
      // A terminal may read a byte of a character as a control.
      const bool ascii = isConsole(Stream::Output);
      main_ = format->make(
          [this, ascii](std::string_view text) {
            output_.write(ascii ? asciiJson(text) : std::string(text));
          },
          texts_);
      return;
    }
    const TextStyle style{terminal_.outputWidth, terminal_.outputColour, texts_};
    main_ = std::make_unique<TextReport>(output_, error_, style, terminal_.errorWidth);
  }

  // Whoever reads an exit code of 0 relies on having all of the output.
  ExitCode reportLostOutput(ExitCode code) {
    const bool unread = output_.failure() == EPIPE;
    const std::string sentence =
        texts_.say(unread ? "output.closed" : "output.unwritable",
                   {{"reason", std::generic_category().message(output_.failure())}});
    // The stop was none of the user's.
    code = worse(stoppedUnread_ && code == ExitCode::Stopped ? ExitCode::Passed : code,
                 ExitCode::CouldNotStart);
    sayWhy(sentence, code);
    return code;
  }

  void sayWhy(const std::string& sentence, ExitCode code) {
    if (jsonProgress_) {
      error_.write(errorLine(sentence, code));
      return;
    }
    error_.write(
        wrapped(std::string(kProgram) + ": " + harmless(sentence), terminal_.errorWidth, 2) + "\n");
  }

  void check(const UsageError& error) const { stopOn(error, texts_); }

  template <typename T>
  T checked(OrUsageError<T> result) const {
    return orStop(std::move(result), texts_);
  }

  ExitCode runSteps() {
    // The language comes first: a wrong argument is to be said in it.
    check(addLanguage(texts_, textsFolders(), languagesOf(userLocales()), readRegularFile));
    line_ = checked(readCommandLine(arguments_));
    redactor_ = Redactor(line_.redact);
    if (line_.textsFile) {
      check(addTextFile(texts_, *line_.textsFile, readRegularFile));
    }
    if (line_.version) {
      return printVersion();
    }
    loadModule();
    catalogue_ = readCatalogue(library_->module());
    plan_ = checked(makePlan(line_, catalogue_));
    if (plan_.action == Action::Help) {
      main_->help(line_.operands.empty()
                      ? library_->module().resource()->getHelpText() + hostOptionsHelp(texts_)
                      : checked(explain(line_.operands, catalogue_, texts_)));
      return ExitCode::Passed;
    }
    if (plan_.action == Action::History) {
      main_->history(kept_.records({plan_.selection.names, line_.historyTest, line_.historySince}));
      return ExitCode::Passed;
    }
    if (plan_.action == Action::Compare) {
      main_->comparison(kept_.comparison(plan_.selection.names));
      return ExitCode::Passed;
    }
    takeSettings();
    check(files_.prepare(line_));
    if (line_.quiet) {
      main_->setQuiet();
    }
    check(checkParameters(plan_.selection, catalogue_, texts_));
    giveUpRights();
    findDevices();
    switch (plan_.action) {
      case Action::RunTests:
      case Action::RunTool:
        return runSelection();
      case Action::Show:
        return show();
      case Action::Capture:
        return list(recordDrives(session_, manager(), line_.redact, files_, texts_,
                                 [this] { stopIfAsked(); }));
      default:
        return list(ExitCode::Passed);
    }
  }

  void takeSettings() {
    settings_ = checked(readSettings(line_.configFile, line_.settings, readRegularFile));
    check(applySettings(catalogue_, settings_));
    for (const UsageError& notice : settings_.notices) {
      session_.notices.push_back(texts_.say(notice));
    }
  }

  void loadModule() {
    if (line_.machineFile) {
      machine_ = checked(readMachineFile(*line_.machineFile));
    }
    prepareModule(line_.readOnly, line_.machineFile);
    library_ = orStop(ModuleLibrary::load(trustedModulePath(line_.virtualPc, texts_)), texts_,
                      ExitCode::CouldNotStart);
  }

  ExitCode printVersion() {
    const auto library = ModuleLibrary::load(trustedModulePath(line_.virtualPc, texts_));
    const auto* error = std::get_if<UsageError>(&library);
    main_->version(
        kProgramVersion,
        error != nullptr ? "" : std::get<std::unique_ptr<ModuleLibrary>>(library)->version(),
        error != nullptr ? texts_.say(*error) : "");
    return ExitCode::Passed;
  }

  // To be called before the main output ends, as a failure is one of its notices.
  void writeFiles(DocumentKind kind) {
    if (line_.isCollected()) {
      kept_.takeLastRuns(session_, manager(), catalogue_);
    }
    if (!files_.write(kind, session_, texts_)) {
      session_.ending = worse(session_.ending, ExitCode::CouldNotStart);
    }
  }

  storage::SystemComponentManager& manager() { return *library_->module().componentManager(); }

  void findDevices() {
    beginSession(line_, kProgramVersion, library_->version(), texts_, session_);
    if (!line_.wake) {
      leaveDrivesAsleep();
    }
    suspended_ = line_.virtualPc ? std::vector<SuspendedDisk>() : suspendedDisks();
    demand_ = demandOf(line_, plan_, !suspended_.empty());
    scan();

    const FindDeviceNames names = line_.virtualPc ? simulatedDeviceNames : deviceNames;
    const auto rights = line_.virtualPc ? std::vector<MissingRight>() : missingRights();
    const std::vector<std::string> missing = missingRightsNotices(rights);
    const std::vector<std::string> known = knownToBeSilent(rights, suspended_);
    std::vector<storage::LeftOutDevice> silent = silentDisks(manager(), names, known);
    const std::size_t count = manager().componentCount() + silent.size();
    if (count == 0 && !missing.empty()) {
      throw Stop{ExitCode::CouldNotStart, missing.front()};
    }
    if (!line_.virtualPc) {
      noteVolumes(raidVolumes(), plan_.selection.names, texts_, session_.notices);
      noteUnlisted(manager(), suspended_, texts_, session_.notices);
    }
    if (!plan_.selection.names.empty()) {
      plan_.selection.devices =
          checked(resolveDevices(plan_.selection.names, deviceKeys(manager(), silent, names),
                                 resolvedDevicePath, plan_.namesTaken));
    }
    if (line_.wake || !plan_.leavesAsleep) {
      const auto again = [this] { scan(); };
      wakeDrives(manager(), plan_.selection, again, texts_, session_.notices);
      silent = silentDisks(manager(), names, known);
    }
    takeDevices(manager(), silent, plan_.selection, names, texts_, redactor_, session_);
    noteLeftOut(manager(), plan_.action == Action::List, count == 0, names, texts_, session_);
    session_.notices.insert(session_.notices.end(), missing.begin(), missing.end());
    stopIfAsked();
  }

  void scan() {
    const bool note = terminal_.errorControl && !jsonProgress_;
    const auto say = [this](int count) {
      error_.write("\n" + wrapped(interruptSentence(count), terminal_.errorWidth, 0) + "\n");
    };
    interrupts_.setHandlers(say, {});
    error_.write(note ? texts_.say("progress.scan") : "");
    manager().scanFor(demand_);
    error_.write(note ? "\r\033[K" : "");
  }

  std::string interruptSentence(int count) const {
    return texts_.say(count == 1 ? "progress.stopping" : "progress.still_stopping");
  }

  void stopIfAsked() const {
    if (interrupts_.isAbortRequested()) {
      throw Stop{ExitCode::Stopped, texts_.say("note.stopped_by_user")};
    }
  }

  std::vector<std::string> missingRightsNotices(const std::vector<MissingRight>& rights) const {
    if (!line_.virtualPc) {
      return rightsNotices(rights, texts_);
    }
    return machine_.administrator ? std::vector<std::string>()
                                  : std::vector{texts_.say("rights.virtual")};
  }

  // What was named has been read; what is written later is a file of the user's.
  void giveUpRights() const {
    if (!line_.virtualPc) {
      const bool files = line_.record || !line_.reports.empty() || line_.sectorsFile ||
                         line_.captureFile || plan_.writes;
      keepRightsFor({.volumes = plan_.changesVolumes(), .files = files});
    }
  }

  void askForHealth() {
    askDrives(session_, manager(), texts_, redactor_,
              [this] { return interrupts_.isAbortRequested(); });
  }

  ExitCode list(ExitCode before) {
    session_.ending = before;
    askForHealth();
    return finishLooking(DocumentKind::List);
  }

  ExitCode show() {
    describeDrives(session_, manager(), catalogue_, texts_, redactor_, [this] { stopIfAsked(); });
    return finishLooking(DocumentKind::Details);
  }

  ExitCode finishLooking(DocumentKind kind) {
    judgeDevices(session_);
    if (kind == DocumentKind::Details) {
      kept_.compareWithLastTime(session_, manager());
    }
    session_.finished = Clock::now();
    writeFiles(kind);
    noteStop();
    writeSession(*main_, kind, session_);
    return worse(session_.healthOutcome(), session_.ending);
  }

  // A verdict that the user did not wait for is none.
  void noteStop() {
    if (interrupts_.isAbortRequested()) {
      session_.ending = worse(session_.ending, ExitCode::Stopped);
      session_.notices.push_back(texts_.say("note.stopped_by_user"));
    }
  }

  ExitCode runSelection() {
    Progress progress(error_, progressFormOf(jsonProgress_, terminal_.errorControl, line_.quiet),
                      terminal_.errorWidth, texts_);
    Questions questions(line_.assume, line_.assumeWrite,
                        isConsole(Stream::Input) && terminal_.errorIsTerminal, progress, error_,
                        terminal_.errorWidth, interrupts_, texts_);
    interrupts_.setHandlers([&](int count) { progress.say(interruptSentence(count)); },
                            [&] { progress.tick(); });
    askForRoutine(settings_, plan_.selection, catalogue_, texts_, questions);
    RunServices services{texts_, redactor_, questions, progress, interrupts_};
    if (!line_.virtualPc) {
      services.journal = [](const std::string& line) { writeJournal(harmless(line)); };
    }
    services.volumeUsers = volumeUsers;
    services.forceMounted = line_.forceMounted;
    main_->begin(DocumentKind::Run, session_);
    if (plan_.action == Action::RunTests) {
      // What did not begin is counted at the end.
      const auto show = [&](const TestRun& run) {
        progress.hide();
        announce(run.device);
        main_->testResult(run);
        stopWhenUnread();
      };
      const auto children =
          line_.jobs > 1 && session_.devices.size() > 1 ? makeChildren() : nullptr;
      if (children != nullptr) {
        runJobs({line_, plan_, catalogue_, services, manager(), settings_.riskyRoutine,
                 line_.virtualPc ? simulatedDeviceNames : deviceNames,
                 [this](const std::string& line) { error_.write(line + "\n"); }, show},
                *children, session_);
      } else {
        runTests(plan_.selection, catalogue_, services, manager(), session_,
                 [&](const TestRun& run) {
                   if (run.begun) {
                     progress.result("test", testRunJson(run));
                     show(run);
                   }
                 });
      }
    } else {
      runTool(plan_.selection, catalogue_, services, manager(), session_, [&](const ToolRun& run) {
        progress.result("tool", toolRunJson(run, session_, texts_));
        progress.hide();
        announce(run.device);
        main_->toolResult(run);
        stopWhenUnread();
      });
    }
    interrupts_.setHandlers({}, {});
    return finishRun();
  }

  ExitCode finishRun() {
    session_.finished = Clock::now();
    if (!line_.reports.empty() && !interrupts_.isAbortRequested()) {
      describeDrives(session_, manager(), catalogue_, texts_, redactor_, [] {});
    } else if (plan_.selection.operation != "filterDevices" || line_.isCollected()) {
      askForHealth();
    }
    judgeDevices(session_);
    if (line_.record || !line_.reports.empty()) {
      kept_.compareWithLastTime(session_, manager());
    }
    if (line_.record && !kept_.keep(session_)) {
      session_.ending = ExitCode::CouldNotStart;
    }
    if (interrupts_.isAbortRequested()) {
      session_.ending = worse(session_.ending, ExitCode::Stopped);
    }
    writeFiles(DocumentKind::Run);
    main_->end();
    return worse(session_.outcome(), session_.ending);
  }

  void announce(std::uint32_t device) {
    const DeviceInfo* info = session_.device(device);
    if (device != announced_ && info != nullptr) {
      main_->device(*info);
    }
    announced_ = device;
  }

  // Nobody reads the results any more, so no more are made.
  void stopWhenUnread() {
    if (output_.isClosed() && !interrupts_.isAbortRequested()) {
      stoppedUnread_ = true;
      interrupts_.requestAbort();
    }
  }

  const std::vector<std::string>& arguments_;
  Interrupts& interrupts_;
  /// Also when the arguments are wrong otherwise: what is to be read by machines stays so.
  const bool jsonProgress_ = isJsonProgress(arguments_);
  Terminal terminal_ = detectTerminal();
  Output output_{Stream::Output};
  Output error_{Stream::Error};
  std::unique_ptr<OutputFormat> main_;  ///< what goes to standard output
  CommandLine line_;
  Texts texts_;
  Redactor redactor_{false};
  std::unique_ptr<ModuleLibrary> library_;
  Catalogue catalogue_;
  Plan plan_;
  Session session_;
  Settings settings_;
  RunFiles files_;
  KeptResults kept_{redactor_, texts_, interrupts_};
  storage::ScanDemand demand_;
  std::vector<SuspendedDisk> suspended_;
  std::optional<std::uint32_t> announced_;  ///< device whose heading is out
  MachineFile machine_;
  bool stoppedUnread_ = false;  ///< the run was stopped as nobody reads its results
};

}  // namespace

int runApplication(const std::vector<std::string>& arguments, Interrupts& interrupts) {
  return Application(arguments, interrupts).run();
}

}  // namespace ostria::host
