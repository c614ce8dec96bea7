// The tool reports through events and named values, all of them text. One device is treated at a
// time: each has its own question and its own line of progress.
#include "host/core/run/run_tool.h"

#include <chrono>
#include <utility>

#include "host/core/run/collect_health.h"
#include "host/core/run/collect_reads.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/device_question.h"
#include "host/core/run/identity_check.h"
#include "host/core/run/run_context.h"
#include "host/core/run/tool_results.h"
#include "host/core/run/volume_table.h"

namespace ostria::host {
namespace {

using storage::SystemComponent;
using storage::Tool;

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

class ToolRunner final : public storage::ToolEventReceiver {
 public:
  ToolRunner(const Selection& selection, const CatalogueTool& entry, const RunServices& services,
             Session& session, const std::function<void(const ToolRun&)>& onFinished)
      : selection_(selection),
        entry_(entry),
        tool_(*entry.tool),
        results_(tool_, services),
        services_(services),
        session_(session),
        onFinished_(onFinished),
        abort_(services.abort, [this] { showReads(); }) {}

  void run(storage::SystemComponentManager& manager) {
    session_.toolName = entry_.commandName;
    session_.toolTitle = services_.texts.text(titleKey());
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
      partition_ = results_.partitionBegun();
      services_.progress.update(0, {}, services_.redactor.text(partition_));
    };
    handlers["OnPartitionFinish"] = [this](Tool*, const std::string&) { partitionFinished(); };
    handlers["OnProgress"] = [this](Tool*, const std::string&) {
      showReads();
      services_.progress.update(
          results_.percent(), {},
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

  void filter(storage::SystemComponentManager& manager) {
    std::vector<SystemComponent*> components;
    for (const DeviceInfo& device : session_.devices) {
      if (SystemComponent* component = manager.component(device.index)) {
        components.push_back(component);
      }
    }
    tool_.setDevices(components);
    tool_.run();
    std::size_t answer = 0;
    for (const DeviceInfo& device : session_.devices) {
      ToolRun run;
      run.device = device.index;
      run.applicable = manager.component(device.index) != nullptr && results_.accepts(answer++);
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
      } else if (mayTreat(device, *component) && hasPartitions(device, *component)) {
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
        loseDevice(*component);
        services_.progress.end(run_.outcome);
      }
      run_.finished = Clock::now();
      finish(run_);
    }
  }

  // One tool of the module scans, repairs and checks: what was asked for is what it is called.
  std::string titleKey() const {
    static constexpr std::pair<std::string_view, const char*> kTitles[] = {
        {"scan", "SCAN_TOOL"},
        {"repair", "SCAN_AND_FIX_TOOL"},
        {"filesystem", "|CHECK_FILESYSTEM_TOOL"}};
    for (const auto& [operation, key] : kTitles) {
      if (selection_.operation == operation) {
        return key;
      }
    }
    return tool_.getNameKey();
  }

  void beginProgress(const DeviceInfo& device) {
    RunItem item{"tool", entry_.commandName, device.index, {}};
    item.label = services_.texts.say(
        "progress.test", {{"device", std::to_string(device.index)}, {"name", session_.toolTitle}});
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

  // The tool ends a scan early when the user stops it, or when its device is gone. The latter may
  // come after sectors without an answer.
  void loseDevice(SystemComponent& component) {
    const bool gone = run_.incomplete && !isStillThatDrive(component);
    if (!gone && (run_.outcome != ExitCode::Stopped || services_.abort.isAbortRequested())) {
      return;
    }
    run_.incomplete = false;
    run_.gaps = false;
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
    const std::string users = volumeUsersOf(component, services_);
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

  bool hasPartitions(const DeviceInfo& device, SystemComponent& component) {
    if (!isFilesystem()) {
      return true;
    }
    const std::vector<std::string> table = volumeTable(component, device.names.node);
    tool_.setParameter("partition_table" + component.id(), table);
    if (table.empty()) {
      run_.note = services_.texts.say("note.no_volume");
    }
    return !table.empty();
  }

  void partitionFinished() {
    PartitionResult result = results_.partition();
    run_.outcome = run_.partitions.empty() ? result.outcome : worse(run_.outcome, result.outcome);
    run_.partitions.push_back(std::move(result));
  }

  void deviceFinished() {
    if (run_.isSmart) {
      results_.smart(run_);
    } else {
      results_.device(isFilesystem(), run_);
    }
  }

  void finish(const ToolRun& run) {
    session_.tools.push_back(run);
    onFinished_(run);
  }

  const Selection& selection_;
  const CatalogueTool& entry_;
  Tool& tool_;
  ToolResults results_;
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

}  // namespace ostria::host
