// The tool reports through events and named values, all of them text. One device is treated at a
// time: each has its own question and its own line of progress.
#include "host/core/run/run_tool.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "host/core/model/tool_status.h"
#include "host/core/run/collect_health.h"
#include "host/core/run/collect_reads.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/device_question.h"
#include "host/core/run/identity_check.h"
#include "host/core/run/run_context.h"
#include "host/core/run/smart_report.h"

namespace ostria::host {
namespace {

using storage::SystemComponent;
using storage::Tool;
using Values = std::vector<std::string>;

template <typename Number>
Number numberAt(const Values& values, std::size_t index, Number otherwise) {
  if (index >= values.size()) {
    return otherwise;
  }
  const std::string& text = values[index];
  Number number = otherwise;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : otherwise;
}

std::string textAt(const Values& values, std::size_t index) {
  return index < values.size() ? values[index] : std::string();
}

constexpr int kNoStatus = -1;
// How the tool begins its sentence on a volume that did not come back.
constexpr std::string_view kLostVolume = "The volume could not be mounted again";
constexpr std::chrono::milliseconds kReadsInterval{250};

// The tool asks between its reads, far more often than it has a percent to report.
class UserAbort final : public storage::AbortContext {
 public:
  UserAbort(const AbortFlag& abort, std::function<void()> onPoll)
      : abort_(abort), onPoll_(std::move(onPoll)) {}
  bool isAborted() override {
    onPoll_();
    return abort_.isAbortRequested();
  }

 private:
  const AbortFlag& abort_;
  std::function<void()> onPoll_;
};

// Four values for each mounted partition, as the check of file systems takes them.
Values partitionTable(SystemComponent& component) {
  Values table;
  for (const storage::PropertySection& section : component.sections()) {
    std::string mountPoint;
    std::string label;
    std::string fileSystem;
    for (const storage::PropertyEntry& entry : section.entries) {
      if (entry.key == "MOUNT_POINT") {
        mountPoint = entry.value;
      }
      if (entry.key == "LABEL") {
        label = entry.value;
      }
      if (entry.key == "FILE_SYSTEM") {
        fileSystem = entry.value;
      }
    }
    if (mountPoint.empty()) {
      continue;
    }
    std::string title = mountPoint;
    if (!label.empty()) {
      title.append(" (").append(label).append(")");
    }
    table.push_back(std::move(title));
    table.push_back(fileSystem);
    table.push_back(mountPoint);
    table.push_back(holdsRunningSystem(mountPoint) ? "T" : "F");
  }
  return table;
}

class ToolRunner final : public storage::ToolEventReceiver {
 public:
  ToolRunner(const Selection& selection, const CatalogueTool& entry, const RunServices& services,
             Session& session, const std::function<void(const ToolRun&)>& onFinished)
      : selection_(selection),
        entry_(entry),
        tool_(*entry.tool),
        services_(services),
        session_(session),
        onFinished_(onFinished),
        abort_(services.abort, [this] { showReads(); }) {}

  void run(storage::SystemComponentManager& manager) {
    session_.toolName = entry_.commandName;
    session_.toolTitle = services_.texts.text(tool_.getNameKey());
    session_.operation = selection_.operation;
    if (!selection_.operation.empty()) {
      tool_.setParameter("Operation", {selection_.operation});
    }
    connect();
    if (selection_.operation == "filterDevices") {
      filter(manager);
    } else {
      treat(manager);
    }
    disconnect();
    if (session_.tools.empty()) {
      session_.unperformed = true;
      session_.notices.push_back(services_.texts.say("notice.tool_unsupported"));
    }
  }

  void requestInput(storage::InputRequest& request) override {
    const std::string question = services_.texts.message(request.title) + " (" + partition_ +
                                 "): " + services_.texts.message(request.question);
    const Answer answer = services_.asker.ask(services_.redactor.text(question));
    if (answer == Answer::Yes) {
      request.answer = storage::InputRequest::Yes;
    }
    if (answer == Answer::No) {
      request.answer = storage::InputRequest::No;
    }
  }

 private:
  bool isFilesystem() const { return selection_.operation == "filesystem"; }
  bool changesDevice() const { return isFilesystem() || selection_.operation == "repair"; }

  void connect() {
    tool_.abortSource = &abort_;
    tool_.systemEvents = &systemEvents_;
    tool_.eventReceiver = this;
    handlers["OnPartitionInit"] = [this](Tool*, const std::string&) {
      partition_ = textAt(stored("PartitionInit"), 1);
      services_.progress.update(0, {}, services_.redactor.text(partition_));
    };
    handlers["OnPartitionFinish"] = [this](Tool*, const std::string&) { partitionFinished(); };
    handlers["OnProgress"] = [this](Tool*, const std::string&) {
      showReads();
      services_.progress.update(
          numberAt<std::uint8_t>(stored("Progress"), 0, 0), {},
          isFilesystem() ? services_.redactor.text(partition_) : std::string());
    };
    handlers["OnDeviceFinish"] = [this](Tool*, const std::string&) { deviceFinished(); };
  }

  void disconnect() {
    handlers.clear();
    tool_.eventReceiver = nullptr;
    tool_.abortSource = nullptr;
    tool_.systemEvents = nullptr;
    tool_.setDevices({});
  }

  void showReads() {
    const auto now = std::chrono::steady_clock::now();
    if (treated_ == nullptr || isFilesystem() || now - shown_ < kReadsInterval) {
      return;
    }
    shown_ = now;
    if (const auto times = readTimesOf(*treated_)) {
      services_.progress.reads(*times);
    }
  }

  Values stored(const char* name) {
    const Values* values = tool_.getParameter(name);
    return values == nullptr ? Values() : *values;
  }

  void filter(storage::SystemComponentManager& manager) {
    std::vector<SystemComponent*> components;
    for (const DeviceInfo& device : session_.devices) {
      components.push_back(manager.component(device.index));
    }
    tool_.setDevices(components);
    tool_.run();
    const Values answers = stored("DevicesFilter");
    for (std::size_t i = 0; i < session_.devices.size(); ++i) {
      ToolRun run;
      run.device = session_.devices[i].index;
      run.applicable = textAt(answers, i) == "T";
      run.outcome = ExitCode::Passed;
      run.started = run.finished = Clock::now();
      finish(run);
    }
  }

  // One device after the other: each is asked for, and has its own line of progress.
  void treat(storage::SystemComponentManager& manager) {
    for (DeviceInfo& device : session_.devices) {
      SystemComponent* component = manager.component(device.index);
      if (component == nullptr) {
        continue;
      }
      run_ = ToolRun();
      run_.device = device.index;
      run_.isSmart = selection_.operation.empty();
      run_.repairs = selection_.operation == "repair";
      run_.applicable = tool_.isApplicable(component);
      run_.started = Clock::now();
      if (!run_.applicable && run_.isSmart && !services_.abort.isAbortRequested() &&
          judgeAttributes(*component, device)) {
        // Drives behind USB bridges, which the tool leaves out and the module can read all the
        // same.
        run_.applicable = true;
        run_.finished = Clock::now();
        finish(run_);
        continue;
      }
      if (!run_.applicable && selection_.devices.empty()) {
        continue;
      }
      if (services_.abort.isAbortRequested()) {
        run_.outcome = ExitCode::Stopped;
        run_.note = services_.texts.say("note.not_begun");
      } else if (!run_.applicable) {
        run_.note = services_.texts.say("note.tool_unsupported");
      } else if (mayTreat(device, *component) && hasPartitions(*component)) {
        tool_.setDevices({component});
        beginProgress(device);
        const std::string line =
            changesDevice() ? services_.journalBegin("journal." + selection_.operation, device)
                            : std::string();
        treated_ = component;
        tool_.setParameter("ForceMounted", {services_.forceMounted ? "T" : "F"});
        tool_.run();
        treated_ = nullptr;
        if (!run_.isSmart && !isFilesystem()) {
          run_.reads = readTimesOf(*component);
        }
        if (changesDevice()) {
          services_.journalEnd(line, run_.outcome);
        }
        if (run_.isSmart) {
          judgeAttributes(*component, device);
        }
        loseDevice();
        services_.progress.end(run_.outcome);
      }
      run_.finished = Clock::now();
      finish(run_);
    }
  }

  void beginProgress(const DeviceInfo& device) {
    RunItem item{"tool", entry_.commandName, device.index, {}};
    item.label = services_.texts.say(
        "progress.test",
        {{"device", std::to_string(device.index)},
         {"name", session_.toolTitle +
                      (selection_.operation.empty() ? "" : " (" + selection_.operation + ")")}});
    item.drives = session_.devices.size();
    item.drive = static_cast<std::size_t>(&device - session_.devices.data()) + 1;
    services_.progress.begin(item);
  }

  // The verdict is that on the drive: attributes that could be read are none. False for a drive
  // without attributes.
  bool judgeAttributes(SystemComponent& component, DeviceInfo& device) {
    collectHealth(component, services_.texts, services_.redactor, device);
    const HealthEvidence& evidence = device.evidence;
    run_.outcome = exitCodeOf(judge(evidence).verdict);
    run_.smart = evidence.rows;
    run_.note.clear();
    if (evidence.smart != DataState::Value || evidence.rows.empty()) {
      run_.outcome = worse(run_.outcome, ExitCode::NotPerformed);
      run_.note = services_.texts.say(std::string("attributes.") + stateWord(evidence.smart));
    }
    return !evidence.rows.empty();
  }

  // The tool ends a scan early when the user stops it, or when its device is gone.
  void loseDevice() {
    if (run_.outcome != ExitCode::Stopped || services_.abort.isAbortRequested()) {
      return;
    }
    if (isFilesystem()) {
      run_.outcome = ExitCode::CouldNotStart;
    } else {
      run_.outcome = ExitCode::Failed;
      run_.lost = true;
      run_.note += (run_.note.empty() ? "" : " ") + services_.texts.say("note.device_lost");
    }
  }

  bool mayTreat(const DeviceInfo& device, SystemComponent& component) {
    if (!changesDevice()) {
      return true;
    }
    const std::string users = usersOf(component);
    if (!users.empty() && !services_.forceMounted) {
      run_.outcome = ExitCode::CouldNotStart;
      run_.note = services_.texts.say(isFilesystem() ? "note.in_use_check" : "note.in_use_repair",
                                      {{"users", users}});
      return false;
    }
    const Arguments names = {{"device", std::to_string(device.index)},
                             {"name", deviceForQuestion(device, services_.texts)},
                             {"users", users}};
    const Answer answer =
        services_.forceMounted
            ? services_.asker.askForSerial(services_.texts.say("question.force_mounted", names),
                                           serialOf(component))
            : services_.asker.ask(services_.texts.say(
                  isFilesystem() ? "question.filesystem" : "question.repair", names));
    if (answer == Answer::Yes && isStillThatDrive(component)) {
      return true;
    }
    if (answer == Answer::Yes) {
      run_.outcome = ExitCode::CouldNotStart;
      run_.note = services_.texts.say("note.other_drive");
      return false;
    }
    const bool stopped = services_.abort.isAbortRequested();
    if (stopped) {
      run_.outcome = ExitCode::Stopped;
    }
    run_.note = services_.texts.say(stopped ? "note.stopped_by_user" : refusalKey(answer));
    return false;
  }

  // "/mnt/a: bash (1234)" for each mounted volume that a program uses.
  std::string usersOf(SystemComponent& component) const {
    std::string out;
    const Values table = services_.volumeUsers ? partitionTable(component) : Values();
    for (std::size_t i = 0; i + 3 < table.size(); i += 4) {
      const Values programs = services_.volumeUsers(table[i + 2]);
      for (std::size_t p = 0; p < programs.size(); ++p) {
        out += (p > 0 ? ", " : (out.empty() ? "" : "; ") + table[i + 2] + ": ") + programs[p];
      }
    }
    return services_.redactor.text(out);
  }

  bool hasPartitions(SystemComponent& component) {
    if (!isFilesystem()) {
      return true;
    }
    const Values table = partitionTable(component);
    tool_.setParameter("partition_table" + component.id(), table);
    if (table.empty()) {
      run_.note = services_.texts.say("note.no_volume");
    }
    return !table.empty();
  }

  void partitionFinished() {
    const Values values = stored("PartitionFinish");
    PartitionResult result;
    result.name = services_.redactor.text(textAt(values, 1));
    result.report = services_.redactor.text(textAt(values, 2));
    result.status = numberAt(values, 3, kNoStatus);
    result.outcome = outcomeOfStatus(result.status, true);
    for (const std::string& note : stored("Message")) {
      result.notes.push_back(services_.redactor.text(services_.texts.message(note)));
      // A check that the user did not want scheduled was not stopped, it never began.
      if (result.status == 8) {
        result.outcome = ExitCode::NotPerformed;
      }
    }
    run_.outcome = run_.partitions.empty() ? result.outcome : worse(run_.outcome, result.outcome);
    run_.partitions.push_back(std::move(result));
  }

  void deviceFinished() {
    const Values values = stored("DeviceFinish");
    if (run_.isSmart) {
      smartFinished(values);
      return;
    }
    run_.note = noteOf(stored("Message"));
    if (isFilesystem() || values.size() < 2) {
      return;
    }
    run_.status = numberAt(values, 1, kNoStatus);
    run_.outcome = outcomeOfStatus(*run_.status, false);
    const Values sectors = stored("SectorsInfo");
    run_.hasSectors = sectors.size() >= 3;
    run_.sectorsScanned = numberAt<std::uint64_t>(sectors, 0, 0);
    run_.badSectorsFound = numberAt<std::uint64_t>(sectors, 1, 0);
    run_.badSectorsRepaired = numberAt<std::uint64_t>(sectors, 2, 0);
    const Values list = stored("BadSectorsList");
    for (std::size_t i = 0; i < list.size(); ++i) {
      run_.badSectors.push_back(numberAt<std::uint64_t>(list, i, 0));
    }
    const Values repaired = stored("RepairedSectorsList");
    for (std::size_t i = 0; i < repaired.size(); ++i) {
      run_.repairedSectors.push_back(numberAt<std::uint64_t>(repaired, i, 0));
    }
    // Whatever was found, the system is not as it was.
    const Values messages = stored("Message");
    if (std::any_of(messages.begin(), messages.end(),
                    [](const std::string& text) { return text.starts_with(kLostVolume); })) {
      run_.outcome = worse(run_.outcome == ExitCode::Stopped && !services_.abort.isAbortRequested()
                               ? ExitCode::CouldNotStart
                               : run_.outcome,
                           ExitCode::CouldNotStart);
    }
    // Bad sectors count, also when the scan did not come to its end.
    if (run_.badSectorsFound > 0) {
      run_.outcome = worse(run_.outcome, ExitCode::Failed);
    }
  }

  // A text and the names that it is about, then sentences, which end in a full stop.
  std::string noteOf(const Values& messages) const {
    std::string note;
    std::size_t names = 0;
    for (const std::string& message : messages) {
      if (note.empty()) {
        note = services_.texts.message(message);
      } else if (message.ends_with('.')) {
        note += (note.ends_with('.') ? " " : ". ") + services_.texts.message(message);
      } else {
        note += (names++ == 0 ? ": " : ", ") + message;
      }
    }
    return services_.redactor.text(note);
  }

  void smartFinished(const Values& values) {
    run_.protocol = textAt(values, 2);
    run_.logPage = readSmartReport(textAt(values, 4));
    redactRows(run_.logPage, services_.redactor);
  }

  void finish(const ToolRun& run) {
    session_.tools.push_back(run);
    onFinished_(run);
  }

  const Selection& selection_;
  const CatalogueTool& entry_;
  Tool& tool_;
  const RunServices& services_;
  Session& session_;
  const std::function<void(const ToolRun&)>& onFinished_;
  UserAbort abort_;
  SystemComponent* treated_ = nullptr;
  std::chrono::steady_clock::time_point shown_{};
  std::uint8_t systemEvents_ = 0;
  std::string partition_;
  ToolRun run_;
};

}  // namespace

void runTool(const Selection& selection, const Catalogue& catalogue, const RunServices& services,
             storage::SystemComponentManager& manager, Session& session,
             const std::function<void(const ToolRun&)>& onFinished) {
  ToolRunner(selection, catalogue.tools[selection.tool], services, session, onFinished)
      .run(manager);
}

bool holdsRunningSystem(const std::string& mountPoint) {
  static constexpr std::array<std::string_view, 6> kSystem = {"/",    "/boot", "/boot/efi",
                                                              "/usr", "/var",  "C:\\"};
  return std::find(kSystem.begin(), kSystem.end(), mountPoint) != kSystem.end();
}

}  // namespace ostria::host
