#include "host/cli/application.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>

#include "host/cli/command_line.h"
#include "host/cli/plan.h"
#include "host/cli/text_report.h"
#include "host/core/report/history.h"
#include "host/core/report/html_report.h"
#include "host/core/report/json_report.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/run_tests.h"
#include "host/core/run/run_tool.h"
#include "host/core/run/settings_file.h"
#include "host/platform/linux/access_check.h"
#include "host/platform/linux/computer_name.h"
#include "host/platform/linux/module_library.h"
#include "virtual_pc/description/description.h"

namespace ostria::host {
namespace {

constexpr const char* kProgram = "OstriaDiagnosticsCLI";
constexpr const char* kProgramVersion = OSTRIA_HOST_VERSION;
constexpr const char* kMachineVariable = "OSTRIA_VIRTUAL_PC";
constexpr const char* kUsualConfig = "config.ini";

std::optional<std::string> readFile(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

// "de" of "de_DE.UTF-8", or nothing for the languages that are built in.
std::string wantedLanguage() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') {
      continue;
    }
    const std::string locale = value;
    const std::string language = locale.substr(0, locale.find_first_of("_.@"));
    const bool plain =
        language.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos;
    return plain && language != "en" ? language : std::string();
  }
  return {};
}

// An end of the program with one sentence.
struct Stop {
  ExitCode code;
  std::string sentence;
};

class Application {
 public:
  Application(const std::vector<std::string>& arguments, Interrupts& interrupts)
      : arguments_(arguments),
        interrupts_(interrupts),
        terminal_(detectTerminal()),
        output_(STDOUT_FILENO),
        error_(STDERR_FILENO),
        json_(asksForJson(arguments)) {}

  int run() {
    ExitCode code = ExitCode::Passed;
    try {
      code = runChecked();
    } catch (const Stop& stop) {
      code = stop.code;
      tellWhy(stop);
    }
    interrupts_.setHandlers({}, {});
    if (output_.isClosed()) {
      code = tellLostOutput(code);
    }
    return static_cast<int>(code);
  }

 private:
  // Whoever reads an exit code of 0 relies on having all of the output.
  ExitCode tellLostOutput(ExitCode code) {
    const bool unread = output_.failure() == EPIPE;
    const std::string sentence =
        unread ? "Nobody reads the output any more, so not all of it was made."
               : "The output cannot be written: " +
                     std::generic_category().message(output_.failure()) + ".";
    sayWhy(sentence);
    return worse(code, unread ? ExitCode::Stopped : ExitCode::CouldNotStart);
  }

  TextStyle style() const { return {terminal_.outputWidth, terminal_.outputColour}; }

  void tellWhy(const Stop& stop) {
    if (json_) {
      output_.write(errorJson(stop.sentence, stop.code));
    }
    sayWhy(stop.sentence);
  }

  void sayWhy(const std::string& sentence) {
    error_.write(
        wrapped(std::string(kProgram) + ": " + harmless(sentence), terminal_.errorWidth, 2) + "\n");
  }

  static void check(const UsageError& error) {
    if (!error.sentence.empty()) {
      throw Stop{ExitCode::Usage, error.sentence};
    }
  }

  template <typename T>
  static T checked(OrUsageError<T> result, ExitCode code = ExitCode::Usage) {
    if (auto* error = std::get_if<UsageError>(&result)) {
      throw Stop{code, error->sentence};
    }
    return std::get<T>(std::move(result));
  }

  ExitCode runChecked() {
    line_ = checked(readCommandLine(arguments_));
    redactor_ = Redactor(line_.redact);
    loadTexts();
    if (line_.version) {
      return printVersion();
    }
    loadModule();
    catalogue_ = readCatalogue(library_->module());
    plan_ = checked(makePlan(line_, catalogue_));
    if (plan_.action == Action::Help) {
      const std::string help = library_->module().resource()->getHelpText() + hostOptionsHelp();
      output_.write(json_ ? helpJson(help) : help);
      return ExitCode::Passed;
    }
    if (plan_.action == Action::History) {
      return showHistory();
    }
    configure();
    checkReportFile();
    check(checkParameters(plan_, catalogue_, texts_));
    findDevices();
    switch (plan_.action) {
      case Action::RunTests:
      case Action::RunTool:
        return runPlan();
      case Action::Show:
        return show();
      default:
        return list();
    }
  }

  void loadTexts() {
    const std::string language = wantedLanguage();
    if (!language.empty()) {
      const std::string path = programFolder() + "/texts/" + language + ".txt";
      if (const auto content = readFile(path)) {
        check(texts_.add(*content, path));
      }
    }
    if (!line_.textsFile) {
      return;
    }
    const auto content = readFile(*line_.textsFile);
    if (!content) {
      throw Stop{ExitCode::Usage, "The text file " + *line_.textsFile + " cannot be read."};
    }
    check(texts_.add(*content, *line_.textsFile));
  }

  std::string modulePath() const {
    return programFolder() +
           (line_.virtualPc ? "/libmodule_storage_virtual.so" : "/libmodule_storage.so");
  }

  void loadModule() {
    unsetenv(kMachineVariable);
    if (line_.machineFile) {
      const auto content = readFile(*line_.machineFile);
      if (!content) {
        throw Stop{ExitCode::Usage, "The machine file " + *line_.machineFile + " cannot be read."};
      }
      virtual_pc::MachineDescription machine;
      std::string error;
      if (!virtual_pc::parseMachine(*content, &machine, &error)) {
        throw Stop{ExitCode::Usage, *line_.machineFile + ": " + error};
      }
      administrator_ = machine.administrator;
      setenv(kMachineVariable, line_.machineFile->c_str(), 1);
    }
    library_ = checked(ModuleLibrary::load(modulePath()), ExitCode::CouldNotStart);
  }

  ExitCode printVersion() {
    const auto library = ModuleLibrary::load(modulePath());
    const auto* loaded = std::get_if<std::unique_ptr<ModuleLibrary>>(&library);
    if (json_) {
      output_.write(loaded != nullptr
                        ? versionJson(kProgramVersion, (*loaded)->version(), {})
                        : versionJson(kProgramVersion, {}, std::get<UsageError>(library).sentence));
      return ExitCode::Passed;
    }
    output_.write(std::string(kProgram) + " " + kProgramVersion + "\n" +
                  (loaded != nullptr ? "storage module, interface " + (*loaded)->version()
                                     : std::get<UsageError>(library).sentence) +
                  "\n");
    return ExitCode::Passed;
  }

  void configure() {
    const std::string path = line_.configFile.value_or(kUsualConfig);
    std::error_code error;
    // A file that is not there holds no settings; one that cannot be read would hide some.
    if (!std::filesystem::exists(path, error)) {
      return;
    }
    const auto content = readFile(path);
    if (!content) {
      throw Stop{ExitCode::Usage, "The configuration file " + path + " cannot be read."};
    }
    const auto settings = checked(readConfiguration(*content, path));
    check(configureTests(catalogue_, settings, path));
  }

  // A report that cannot be written is better known before a test of two hours.
  void checkReportFile() const {
    if (!line_.reportFile) {
      return;
    }
    const std::ofstream file(*line_.reportFile, std::ios::binary | std::ios::app);
    if (!file) {
      throw Stop{ExitCode::Usage, "The report " + *line_.reportFile + " cannot be written."};
    }
  }

  // The worse of the outcome and what became of the report. To be called before the results are
  // printed, as a failure is one of their notices.
  ExitCode writeReport(ExitCode outcome) {
    if (!line_.reportFile) {
      return outcome;
    }
    std::ofstream file(*line_.reportFile, std::ios::binary | std::ios::trunc);
    file << htmlReport(session_);
    file.flush();
    if (file) {
      return outcome;
    }
    session_.notices.push_back("The report " + *line_.reportFile + " could not be written.");
    return worse(outcome, ExitCode::CouldNotStart);
  }

  storage::SystemComponentManager& manager() { return *library_->module().componentManager(); }

  void findDevices() {
    session_.started = Clock::now();
    session_.virtualPc = line_.virtualPc;
    session_.moduleVersion = library_->version();
    nameMachine(line_.virtualPc, session_.machine, session_.system);
    const bool note = terminal_.errorControl && !line_.jsonProgress;
    interrupts_.setHandlers([this](int count) { tellInterrupt(count); }, {});
    if (note) {
      error_.write("Looking for devices...");
    }
    manager().scan();
    if (note) {
      error_.write("\r\033[K");
    }

    const std::uint32_t count = manager().componentCount();
    const std::string missing = missingRights();
    if (count == 0 && !missing.empty()) {
      throw Stop{ExitCode::CouldNotStart, missing};
    }
    check(checkDevices(plan_, count));
    if (count == 0) {
      throw Stop{ExitCode::NotPerformed, "No storage device was found."};
    }
    if (!missing.empty()) {
      session_.notices.push_back(missing);
    }
    std::vector<DeviceInfo> all;
    for (std::uint32_t i = 0; i < count; ++i) {
      if (storage::SystemComponent* component = manager().component(i)) {
        all.push_back(describeDevice(*component, i, texts_, redactor_));
      }
    }
    if (plan_.devices.empty()) {
      session_.devices = std::move(all);
    } else {
      for (const std::uint32_t index : plan_.devices) {
        for (const DeviceInfo& device : all) {
          if (device.index == index) {
            session_.devices.push_back(device);
          }
        }
      }
    }
    stopIfAsked();
  }

  static std::string interruptSentence(int count) {
    return count == 1 ? "Stopping: waiting for the device to finish what it is doing."
                      : "Still waiting for the device; a command that is under way cannot be cut "
                        "off.";
  }

  void tellInterrupt(int count) {
    error_.write("\n" + wrapped(interruptSentence(count), terminal_.errorWidth, 0) + "\n");
  }

  void stopIfAsked() const {
    if (interrupts_.isAbortRequested()) {
      throw Stop{ExitCode::Stopped, "Stopped by the user."};
    }
  }

  std::string missingRights() const {
    if (!line_.virtualPc) {
      return missingAccess("/sys/block", "/dev");
    }
    if (administrator_) {
      return {};
    }
    return "The virtual PC is used without the rights of an administrator, which opening a disk "
           "takes: set them in its machine file.";
  }

  ExitCode list() {
    session_.finished = Clock::now();
    if (json_) {
      output_.write(listJson(session_));
    } else {
      output_.write(listText(session_.devices, style()));
      tellNotices();
    }
    return ExitCode::Passed;
  }

  ExitCode show() {
    describeAll();
    session_.finished = Clock::now();
    const ExitCode code = writeReport(ExitCode::Passed);
    if (json_) {
      output_.write(detailsJson(session_));
    } else {
      bool first = true;
      for (const DeviceInfo& device : session_.devices) {
        output_.write((first ? "" : "\n") + detailsText(device, style()));
        first = false;
      }
      tellNotices();
    }
    return code;
  }

  ExitCode showHistory() {
    std::vector<HistoryRecord> records = checked(history_.read(), ExitCode::CouldNotStart);
    for (HistoryRecord& record : records) {
      redactor_.addSecret(record.serial);
      record.serial = redactor_.whole(record.serial);
    }
    for (HistoryRecord& record : records) {
      record.text = redactor_.text(record.text);
    }
    output_.write(json_ ? historyJson(records) : historyText(records, style()));
    return ExitCode::Passed;
  }

  void describeAll() {
    for (DeviceInfo& device : session_.devices) {
      storage::SystemComponent* component = manager().component(device.index);
      if (plan_.action == Action::Show) {
        stopIfAsked();
      }
      if (component != nullptr) {
        describeDetails(*component, catalogue_, texts_, redactor_, device);
      }
    }
  }

  void tellNotices() {
    for (const std::string& notice : session_.notices) {
      error_.write(wrapped(harmless(notice), terminal_.errorWidth, 2) + "\n");
    }
  }

  ProgressForm progressForm() const {
    if (line_.jsonProgress) {
      return ProgressForm::Json;
    }
    return terminal_.errorControl ? ProgressForm::Bar : ProgressForm::Lines;
  }

  ExitCode runPlan() {
    Progress progress(error_, progressForm(), terminal_.errorWidth);
    Questions questions(line_.assume, isatty(STDIN_FILENO) == 1 && terminal_.errorIsTerminal,
                        progress, error_, interrupts_);
    interrupts_.setHandlers([&](int count) { progress.say(interruptSentence(count)); },
                            [&] { progress.tick(); });
    const RunServices services{texts_,   redactor_,   questions,
                               progress, interrupts_, terminal_.errorWidth};
    if (plan_.action == Action::RunTests) {
      runTests(plan_, catalogue_, services, manager(), session_, [&](const TestRun& run) {
        if (!run.begun) {
          return;  // they are counted at the end
        }
        progress.hide();
        print(run.device, testText(run, style()));
      });
    } else {
      runTool(plan_, catalogue_, services, manager(), session_, [&](const ToolRun& run) {
        progress.hide();
        print(run.device, toolText(run, session_, style()));
      });
    }
    interrupts_.setHandlers({}, {});
    session_.finished = Clock::now();
    if (line_.reportFile) {
      describeAll();
    }
    if (line_.record) {
      const UsageError error = history_.add(recordsOf(session_));
      if (!error.sentence.empty()) {
        session_.notices.push_back(error.sentence);
      }
    }
    const ExitCode code = writeReport(session_.outcome());
    output_.write(json_ ? runJson(session_) : summaryText(session_, style()));
    return code;
  }

  void print(std::uint32_t device, const std::string& text) {
    if (json_) {
      return;
    }
    if (device != printedDevice_) {
      if (const DeviceInfo* info = session_.device(device)) {
        output_.write((printedDevice_ ? "\n" : "") + deviceHeading(*info, style()));
      }
      printedDevice_ = device;
    }
    output_.write(text);
    // Nobody reads the results any more, so no more are made.
    if (output_.isClosed()) {
      interrupts_.requestAbort();
    }
  }

  const std::vector<std::string>& arguments_;
  Interrupts& interrupts_;
  Terminal terminal_;
  Output output_;
  Output error_;
  bool json_;
  CommandLine line_;
  Texts texts_;
  Redactor redactor_{false};
  std::unique_ptr<ModuleLibrary> library_;
  Catalogue catalogue_;
  Plan plan_;
  Session session_;
  FileHistory history_{usualHistoryFile()};
  std::optional<std::uint32_t> printedDevice_;
  bool administrator_ = true;  ///< of the virtual PC
};

}  // namespace

int runApplication(const std::vector<std::string>& arguments, Interrupts& interrupts) {
  return Application(arguments, interrupts).run();
}

}  // namespace ostria::host
