// The order of the steps: texts, module, plan, settings, devices, and what the plan asks for. Every
// mistake of the user is found before a device is touched, and ends the program with one sentence.
#include "host/cli/application.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "host/cli/command_line.h"
#include "host/cli/explain.h"
#include "host/cli/machine_file.h"
#include "host/cli/plan.h"
#include "host/cli/progress_line.h"
#include "host/cli/questions.h"
#include "host/cli/rights_notices.h"
#include "host/cli/text_report.h"
#include "host/core/report/kept_run.h"
#include "host/core/report/plain_text.h"
#include "host/core/run/collect_health.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/parameters.h"
#include "host/core/run/run_tests.h"
#include "host/core/run/run_tool.h"
#include "host/core/run/session_setup.h"
#include "host/core/run/settings.h"
#include "host/core/texts/clean_text.h"
#include "host/platform/access_check.h"
#include "host/platform/computer_name.h"
#include "host/platform/device_names.h"
#include "host/platform/environment.h"
#include "host/platform/files.h"
#include "host/platform/journal.h"
#include "host/platform/module_library.h"
#include "host/platform/program_files.h"
#include "host/platform/result_store.h"
#include "host/platform/rights.h"
#include "host/platform/volume_users.h"

namespace ostria::host {
namespace {

constexpr const char* kProgram = "OstriaDiagnosticsCLI";
constexpr const char* kProgramVersion = OSTRIA_HOST_VERSION;
constexpr const char* kMachineVariable = "OSTRIA_VIRTUAL_PC";
// With it the module itself writes nothing, whatever this program asks of it.
constexpr const char* kReadOnlyVariable = "OSTRIA_READ_ONLY";

// An end of the program with one sentence.
struct Stop {
  ExitCode code;
  std::string sentence;
};

// One sector a line, as other programs take them. With several drives a line that begins with "#"
// says whose they are.
std::string badSectorLines(const Session& session) {
  std::string lines;
  for (const ToolRun& run : session.tools) {
    const DeviceInfo* device = session.device(run.device);
    if (session.tools.size() > 1 && device != nullptr) {
      lines += "# " + std::to_string(run.device) + " " + harmless(device->name) + " " +
               harmless(device->serial) + "\n";
    }
    for (const std::uint64_t sector : run.badSectors) {
      lines += std::to_string(sector) + "\n";
    }
  }
  return lines;
}

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

  void check(const UsageError& error) const {
    if (error.isSet()) {
      throw Stop{ExitCode::Usage, texts_.say(error)};
    }
  }

  template <typename T>
  T checked(OrUsageError<T> result, ExitCode code = ExitCode::Usage) const {
    if (auto* error = std::get_if<UsageError>(&result)) {
      throw Stop{code, texts_.say(*error)};
    }
    return std::get<T>(std::move(result));
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
      if (!line_.operands.empty()) {
        main_->help(explainAll());
        return ExitCode::Passed;
      }
      main_->help(library_->module().resource()->getHelpText() + hostOptionsHelp(texts_));
      return ExitCode::Passed;
    }
    if (plan_.action == Action::History) {
      return showHistory();
    }
    if (plan_.action == Action::Compare) {
      return showComparison();
    }
    takeSettings();
    prepareReportFiles();
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
      default:
        return list();
    }
  }

  // Those of the user's own stand behind, and win.
  static std::vector<std::string> textsFolders() {
    std::vector<std::string> folders;
    for (const std::string& folder : {programFolder(), userTextsFolder()}) {
      if (!folder.empty()) {
        folders.push_back(folders.empty() && folder == programFolder() ? folder + "/texts"
                                                                       : folder);
      }
    }
    return folders;
  }

  void takeSettings() {
    settings_ = checked(readSettings(line_.configFile, line_.settings, readRegularFile));
    check(applySettings(catalogue_, settings_));
    for (const UsageError& notice : settings_.notices) {
      session_.notices.push_back(texts_.say(notice));
    }
  }

  std::string explainAll() const {
    std::string text;
    for (const std::string& word : line_.operands) {
      text += (text.empty() ? "" : "\n") + checked(explain(word, catalogue_, texts_));
    }
    return text;
  }

  // Without its folder the program knows no module that it could trust.
  std::string modulePath() const {
    if (programFolder().empty()) {
      throw Stop{ExitCode::CouldNotStart, texts_.say("module.no_folder")};
    }
    return programFolder() + "/" +
           libraryFileName(line_.virtualPc ? "module_storage_virtual" : "module_storage");
  }

  void loadModule() {
    setVariable(kMachineVariable, {});
    // One that was there before holds all the same.
    if (line_.readOnly) {
      setVariable(kReadOnlyVariable, "1");
    }
    if (line_.machineFile) {
      machine_ = checked(readMachineFile(*line_.machineFile));
      setVariable(kMachineVariable, *line_.machineFile);
    }
    library_ = checked(ModuleLibrary::load(modulePath()), ExitCode::CouldNotStart);
  }

  ExitCode printVersion() {
    const auto library = ModuleLibrary::load(modulePath());
    if (const auto* error = std::get_if<UsageError>(&library)) {
      main_->version(kProgramVersion, {}, texts_.say(*error));
    } else {
      main_->version(kProgramVersion, std::get<std::unique_ptr<ModuleLibrary>>(library)->version(),
                     {});
    }
    return ExitCode::Passed;
  }

  std::vector<KeptRun> keptRuns() {
    std::vector<KeptRun> runs = checked(history_->read(), ExitCode::CouldNotStart);
    for (const KeptRun& run : runs) {
      for (const KeptDrive& drive : run.drives) {
        redactor_.addSecret(drive.serial);
      }
    }
    return runs;
  }

  void hideSecrets(std::vector<KeptRun>& runs) const {
    for (KeptRun& run : runs) {
      for (KeptDrive& drive : run.drives) {
        drive.serial = redactor_.whole(drive.serial);
      }
      for (KeptResult& result : run.results) {
        result.text = redactor_.text(result.text);
      }
    }
  }

  ExitCode showHistory() {
    std::vector<KeptRun> runs = keptRuns();
    std::vector<HistoryRecord> records =
        chosenRecords(runs, {plan_.selection.names, line_.historyTest, line_.historySince});
    for (HistoryRecord& record : records) {
      record.serial = redactor_.whole(record.serial);
      record.result.text = redactor_.text(record.result.text);
    }
    main_->history(records);
    return ExitCode::Passed;
  }

  // Two runs by number, without numbers the two newest.
  ExitCode showComparison() {
    std::vector<KeptRun> runs = keptRuns();
    std::vector<std::string> names = plan_.selection.names;
    if (names.empty()) {
      if (runs.size() < 2) {
        throw Stop{ExitCode::NotPerformed, texts_.say("compare.too_few")};
      }
      names = {std::to_string(runs[runs.size() - 2].number), std::to_string(runs.back().number)};
    }
    std::vector<KeptRun> chosen;
    for (const std::string& name : names) {
      const auto found = std::find_if(runs.begin(), runs.end(), [&](const KeptRun& run) {
        return run.number == std::stoll(name);
      });
      if (found == runs.end()) {
        throw Stop{ExitCode::Usage, texts_.say("usage.no_run", {{"run", name}})};
      }
      chosen.push_back(*found);
    }
    hideSecrets(chosen);
    main_->comparison(compareRuns(chosen[0], chosen[1]));
    return ExitCode::Passed;
  }

  // A drive that answers is compared with what the newest kept run knew of it. A store that cannot
  // be read costs no more than this.
  void compareWithLastTime() {
    const auto kept = history_->read();
    const auto* runs = std::get_if<std::vector<KeptRun>>(&kept);
    if (runs == nullptr) {
      session_.notices.push_back(texts_.say(std::get<UsageError>(kept)));
      return;
    }
    for (DeviceInfo& device : session_.devices) {
      storage::SystemComponent* component = manager().component(device.index);
      if (component == nullptr) {
        continue;
      }
      // The serial number of `device` may be masked.
      const std::string serial = serialOf(*component);
      const KeptRun* run = lastRunOf(*runs, device.model, serial, session_.virtualPc);
      const KeptDrive now{device.index, device.model, serial, {}, {}, {}, {}, numbersOf(device)};
      if (run == nullptr || now.numbers.empty()) {
        continue;
      }
      for (const KeptDrive& drive : run->drives) {
        if (drive.model == device.model && drive.serial == serial) {
          device.sinceLastTime = {run->number, run->started, changesBetween(drive, now)};
        }
      }
    }
  }

  // A report that cannot be written is better known before a test of two hours.
  void prepareReportFiles() {
    for (const ChosenReport& report : line_.reports) {
      reportFiles_.push_back(checked(WholeFile::prepare(report.file)));
    }
    if (line_.sectorsFile) {
      sectorsFile_ = checked(WholeFile::prepare(*line_.sectorsFile));
    }
  }

  // The worse of the outcome and what became of the reports. To be called before the main output
  // ends, as a failure is one of its notices.
  ExitCode writeReports(DocumentKind kind, ExitCode outcome) {
    for (std::size_t i = 0; i < reportFiles_.size(); ++i) {
      WholeFile& file = *reportFiles_[i];
      const auto format =
          line_.reports[i].format->make([&](std::string_view text) { file.write(text); }, texts_);
      writeSession(*format, kind, session_);
      if (!file.keep()) {
        session_.notices.push_back(
            texts_.say("file.report_lost", {{"file", line_.reports[i].file}}));
        outcome = worse(outcome, ExitCode::CouldNotStart);
      }
    }
    if (sectorsFile_ != nullptr) {
      sectorsFile_->write(badSectorLines(session_));
      if (!sectorsFile_->keep()) {
        session_.notices.push_back(texts_.say("file.report_lost", {{"file", *line_.sectorsFile}}));
        outcome = worse(outcome, ExitCode::CouldNotStart);
      }
    }
    return outcome;
  }

  storage::SystemComponentManager& manager() { return *library_->module().componentManager(); }

  void findDevices() {
    session_.started = Clock::now();
    session_.virtualPc = line_.virtualPc;
    session_.moduleVersion = library_->version();
    session_.programVersion = kProgramVersion;
    session_.notes = line_.notes;
    const ComputerName computer = line_.virtualPc ? ComputerName{texts_.say("computer.virtual"),
                                                                 texts_.say("computer.simulated")}
                                                  : computerName();
    session_.machine = computer.name;
    session_.system = computer.system;
    scan();

    const std::uint32_t count = manager().componentCount();
    const std::vector<std::string> missing = missingRightsNotices();
    if (count == 0 && !missing.empty()) {
      throw Stop{ExitCode::CouldNotStart, missing.front()};
    }
    const FindDeviceNames names = [this](const std::string& id) { return namesOf(id); };
    plan_.selection.devices = checked(
        resolveDevices(plan_.selection.names, deviceKeys(manager(), names), resolvedDevicePath));
    if (count == 0 && plan_.action != Action::List) {
      throw Stop{ExitCode::NotPerformed, texts_.say("notice.no_device")};
    }
    if (count == 0) {
      session_.notices.push_back(texts_.say("notice.no_device"));
    }
    session_.notices.insert(session_.notices.end(), missing.begin(), missing.end());
    takeDevices(manager(), plan_.selection, names, texts_, redactor_, session_);
    stopIfAsked();
  }

  // The disks of a virtual PC are those of its simulated system.
  DeviceNames namesOf(const std::string& id) const {
    if (!line_.virtualPc) {
      return deviceNames(id);
    }
    const bool number = id.find_first_not_of("0123456789") == std::string::npos;
    return {number && !id.empty() ? "\\\\.\\PhysicalDrive" + id : std::string(), {}, {}, {}};
  }

  void scan() {
    const bool note = terminal_.errorControl && !jsonProgress_;
    interrupts_.setHandlers(
        [this](int count) {
          error_.write("\n" + wrapped(interruptSentence(count), terminal_.errorWidth, 0) + "\n");
        },
        {});
    if (note) {
      error_.write(texts_.say("progress.scan"));
    }
    manager().scan();
    if (note) {
      error_.write("\r\033[K");
    }
  }

  std::string interruptSentence(int count) const {
    return texts_.say(count == 1 ? "progress.stopping" : "progress.still_stopping");
  }

  void stopIfAsked() const {
    if (interrupts_.isAbortRequested()) {
      throw Stop{ExitCode::Stopped, texts_.say("note.stopped_by_user")};
    }
  }

  std::vector<std::string> missingRightsNotices() const {
    if (!line_.virtualPc) {
      return rightsNotices(missingRights(), texts_);
    }
    return machine_.administrator ? std::vector<std::string>()
                                  : std::vector{texts_.say("rights.virtual")};
  }

  // What was named has been read; what is written later is a file of the user's.
  void giveUpRights() const {
    if (!line_.virtualPc) {
      const bool files =
          line_.record || !line_.reports.empty() || line_.sectorsFile || plan_.writes;
      keepRightsFor({.volumes = plan_.changesVolumes(), .files = files});
    }
  }

  ExitCode list() {
    askDrives();
    judgeDevices(session_);
    session_.finished = Clock::now();
    writeSession(*main_, DocumentKind::List, session_);
    return session_.healthOutcome();
  }

  void askDrives() {
    for (DeviceInfo& device : session_.devices) {
      storage::SystemComponent* component = manager().component(device.index);
      // A drive that was lost has cost its time-outs already, and a user who stops is not kept.
      if (component != nullptr && !interrupts_.isAbortRequested() && !device.evidence.asked &&
          !wasLost(device.index)) {
        collectHealth(*component, texts_, redactor_, device);
      }
    }
  }

  bool wasLost(std::uint32_t device) const {
    const auto lost = [device](const auto& run) { return run.device == device && run.lost; };
    return std::any_of(session_.tests.begin(), session_.tests.end(), lost) ||
           std::any_of(session_.tools.begin(), session_.tools.end(), lost);
  }

  ExitCode show() {
    describeAll();
    judgeDevices(session_);
    compareWithLastTime();
    session_.finished = Clock::now();
    const ExitCode code = writeReports(DocumentKind::Details, session_.healthOutcome());
    writeSession(*main_, DocumentKind::Details, session_);
    return code;
  }

  void describeAll() {
    for (DeviceInfo& device : session_.devices) {
      storage::SystemComponent* component = manager().component(device.index);
      if (plan_.action == Action::Show) {
        stopIfAsked();
      }
      if (component != nullptr && !wasLost(device.index)) {
        describeDetails(*component, catalogue_, texts_, redactor_, device);
      }
    }
  }

  ProgressForm progressForm() const {
    if (jsonProgress_) {
      return ProgressForm::Json;
    }
    if (terminal_.errorControl) {
      return ProgressForm::Bar;
    }
    return line_.quiet ? ProgressForm::None : ProgressForm::Lines;
  }

  ExitCode runSelection() {
    Progress progress(error_, progressForm(), terminal_.errorWidth, texts_);
    Questions questions(line_.assume, line_.assumeWrite,
                        isConsole(Stream::Input) && terminal_.errorIsTerminal, progress, error_,
                        terminal_.errorWidth, interrupts_, texts_);
    interrupts_.setHandlers([&](int count) { progress.say(interruptSentence(count)); },
                            [&] { progress.tick(); });
    askForRoutine(questions);
    RunServices services{texts_, redactor_, questions, progress, interrupts_};
    if (!line_.virtualPc) {
      services.journal = [](const std::string& line) { writeJournal(harmless(line)); };
    }
    services.volumeUsers = volumeUsers;
    services.forceMounted = line_.forceMounted;
    main_->begin(DocumentKind::Run, session_);
    if (plan_.action == Action::RunTests) {
      runTests(plan_.selection, catalogue_, services, manager(), session_, [&](const TestRun& run) {
        // What did not begin is counted at the end.
        if (run.begun) {
          progress.result("test", testRunJson(run));
          progress.hide();
          announce(run.device);
          main_->testResult(run);
          stopWhenUnread();
        }
      });
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

  // A file may be an old one, or somebody else's: what can hold a drive for hours wants a yes.
  void askForRoutine(Questions& questions) const {
    if (!settings_.riskyRoutine || !usesRoutine(plan_.selection, catalogue_)) {
      return;
    }
    const Arguments arguments = {{"file", settings_.source}, {"number", *settings_.riskyRoutine}};
    if (!questions.canAsk()) {
      throw Stop{ExitCode::NotPerformed, texts_.say("note.routine_unasked", arguments)};
    }
    if (questions.ask(texts_.say("question.routine", arguments)) != Answer::Yes) {
      throw Stop{ExitCode::NotPerformed, texts_.say("note.declined")};
    }
  }

  ExitCode finishRun() {
    session_.finished = Clock::now();
    if (!line_.reports.empty() && !interrupts_.isAbortRequested()) {
      describeAll();
    } else if (plan_.selection.operation != "filterDevices") {
      askDrives();
    }
    judgeDevices(session_);
    ExitCode code = session_.outcome();
    if (line_.record || !line_.reports.empty()) {
      compareWithLastTime();
    }
    if (line_.record) {
      KeptRun kept = keptRunOf(session_, kProgramVersion, texts_);
      const UsageError error = history_->add(kept);
      if (error.isSet()) {
        code = worse(code, ExitCode::CouldNotStart);
      }
      session_.notices.push_back(
          error.isSet() ? texts_.say(error)
                        : texts_.say("history.kept", {{"run", std::to_string(kept.number)},
                                                      {"file", history_->where()}}));
    }
    code = writeReports(DocumentKind::Run, code);
    main_->end();
    return code;
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
  std::unique_ptr<WholeFile> sectorsFile_;
  std::vector<std::unique_ptr<WholeFile>> reportFiles_;  ///< as `line_.reports`
  std::unique_ptr<History> history_ = resultStore();
  std::optional<std::uint32_t> announced_;  ///< device whose heading is out
  MachineFile machine_;
  bool stoppedUnread_ = false;  ///< the run was stopped as nobody reads its results
};

}  // namespace

int runApplication(const std::vector<std::string>& arguments, Interrupts& interrupts) {
  return Application(arguments, interrupts).run();
}

}  // namespace ostria::host
