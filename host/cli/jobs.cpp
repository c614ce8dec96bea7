// The other processes are this program, with the same options and one drive. They get no terminal,
// so what wants an answer that was not given beforehand is not performed. Results of a drive are
// shown when all of them are there, so that those of two drives never mix.
#include "host/cli/jobs.h"

#include <algorithm>
#include <map>
#include <set>

#include "host/core/report/job_lines.h"
#include "host/core/run/describe_device.h"
#include "host/core/run/run_tests.h"

namespace ostria::host {
namespace {

struct Job {
  const DeviceInfo* device = nullptr;
  std::string name;        ///< by which the other process finds it
  std::string controller;  ///< empty: not known
  bool started = false;
  bool rightDrive = false;  ///< the other process found the same one
  bool ended = false;       ///< with all results
  std::string error;
  std::vector<TestRun> runs;
};

std::vector<std::string> argumentsFor(const JobRun& run, const std::string& device) {
  const CommandLine& line = run.line;
  std::vector<std::string> out = {"--job-lines", "-Mstorage"};
  const auto add = [&](const char* option, const std::optional<std::string>& value) {
    if (value) {
      out.insert(out.end(), {option, *value});
    }
  };
  if (line.virtualPc) {
    out.push_back("--virtual" + (line.machineFile ? "=" + *line.machineFile : std::string()));
  }
  for (const auto& [set, option] :
       {std::pair{line.readOnly, "--read-only"}, std::pair{line.redact, "--redact"},
        std::pair{line.jsonProgress, "--progress=json"}, std::pair{line.quiet, "-q"}}) {
    if (set) {
      out.emplace_back(option);
    }
  }
  add("--config", line.configFile);
  add("--texts", line.textsFile);
  for (const auto& [key, value] : line.settings) {
    out.insert(out.end(), {"--set", key + "=" + value});
  }
  if (run.routine) {
    out.insert(out.end(), {"--set", "SEC_NUM=" + *run.routine});
  }
  if (line.assume) {
    add("--assume", *line.assume ? "yes" : "no");
  }
  for (const std::string& serial : line.assumeWrite) {
    add("--assume-write", serial);
  }
  for (const ModuleOption& option : line.moduleOptions) {
    out.push_back(option.written + (option.value && option.isLong ? "=" : "") +
                  option.value.value_or(""));
  }
  out.insert(out.end(), {"--", device});
  return out;
}

class JobRunner {
 public:
  JobRunner(const JobRun& run, Children& children, Session& session)
      : run_(run), children_(children), session_(session) {
    for (const DeviceInfo& device : session.devices) {
      Job job;
      job.device = &device;
      if (storage::SystemComponent* component = run.manager.component(device.index)) {
        const DeviceNames names = run.names(component->id());
        const std::string serial = serialOf(*component);
        job.name = !names.node.empty() ? names.node
                   : !serial.empty()   ? serial
                                       : std::to_string(device.index);
        job.controller = device.raid.controller.empty() ? names.controller : device.raid.controller;
        // The drives of a virtual PC wait for no other.
        if (run.line.virtualPc) {
          job.controller = std::to_string(device.index);
        }
      }
      jobs_.push_back(std::move(job));
    }
  }

  void run() {
    bool asked = false;
    for (;;) {
      const bool abort = run_.services.abort.isAbortRequested();
      if (abort && !asked) {
        children_.interrupt();
        asked = true;
      }
      while (!abort && children_.running() < run_.line.jobs && startNext()) {
      }
      if (children_.running() == 0) {
        break;
      }
      children_.wait(
          200,
          [this](std::size_t i, const std::string& line, bool error) {
            take(jobs_[i], line, error);
          },
          [this](std::size_t i, int code) { finish(jobs_[i], code); });
    }
    // What was never started: the runs that say so.
    for (Job& job : jobs_) {
      if (!job.started) {
        addLocally(job);
      }
    }
    for (const Job& job : jobs_) {
      session_.tests.insert(session_.tests.end(), job.runs.begin(), job.runs.end());
    }
    noteWhatDidNotRun(run_.plan.selection, run_.catalogue, run_.services.texts, supported(),
                      session_);
  }

 private:
  // The drives of a controller share its bandwidth and its time-outs.
  bool startNext() {
    for (std::size_t i = 0; i < jobs_.size(); ++i) {
      Job& job = jobs_[i];
      if (!job.started && !job.name.empty() && !busy_.contains(job.controller)) {
        job.started = true;
        if (children_.start(i, argumentsFor(run_, job.name))) {
          busy_.insert(job.controller);
          return true;
        }
        finish(job, -1);
      }
    }
    return false;
  }

  void take(Job& job, const std::string& text, bool error) {
    if (error) {
      run_.onErrorLine(text);
      return;
    }
    auto line = readJobLine(text);
    if (!line) {
      return;
    }
    if (line->device) {
      job.rightDrive = *line->device == job.device->id;
    }
    if (line->error) {
      job.error = *line->error;
    }
    job.ended = job.ended || line->ended;
    if (line->run && (job.rightDrive || !line->run->begun)) {
      const bool meant =
          line->run->applicable || !line->run->named || !run_.plan.selection.devices.empty();
      line->run->device = job.device->index;
      if (meant) {
        job.runs.push_back(std::move(*line->run));
      }
    }
  }

  void finish(Job& job, int code) {
    busy_.erase(job.controller);
    if (!job.ended) {
      addMissing(job, job.error.empty() ? run_.services.texts.say("note.job_ended",
                                                                  {{"code", std::to_string(code)}})
                                        : job.error);
    }
    for (const TestRun& run : job.runs) {
      if (run.begun) {
        run_.onFinished(run);
      }
    }
  }

  // Nothing is left away because of a process that died: its tests could not be made.
  void addMissing(Job& job, const std::string& note) const {
    storage::SystemComponent* component = run_.manager.component(job.device->index);
    for (const TestChoice& choice : run_.plan.selection.tests) {
      const CatalogueDiagnostic& diagnostic = run_.catalogue.diagnostics[choice.diagnostic];
      const CatalogueTest& test = diagnostic.tests[choice.test];
      const bool there = std::any_of(job.runs.begin(), job.runs.end(),
                                     [&](const TestRun& run) { return run.test.id == test.id; });
      if (there || component == nullptr || !test.test->isApplicable(component)) {
        continue;
      }
      TestRun run;
      run.device = job.device->index;
      run.test = {test.id, test.nameKey, run_.services.texts.text(test.nameKey)};
      run.diagnosticName = run_.services.texts.text(diagnostic.nameKey);
      run.named = choice.named;
      run.outcome = ExitCode::CouldNotStart;
      run.note = note;
      run.started = run.finished = Clock::now();
      job.runs.push_back(std::move(run));
    }
  }

  // With the abort there no test begins.
  void addLocally(Job& job) {
    Session alone;
    alone.devices.push_back(*job.device);
    Selection selection = run_.plan.selection;
    runTests(selection, run_.catalogue, run_.services, run_.manager, alone, [](const TestRun&) {});
    job.runs = std::move(alone.tests);
  }

  std::vector<bool> supported() const {
    const Selection& selection = run_.plan.selection;
    std::vector<bool> out(selection.tests.size(), !selection.devices.empty());
    for (std::size_t i = 0; i < out.size(); ++i) {
      const TestChoice& choice = selection.tests[i];
      for (const DeviceInfo& device : session_.devices) {
        storage::SystemComponent* component = run_.manager.component(device.index);
        out[i] =
            out[i] ||
            (component != nullptr &&
             run_.catalogue.diagnostics[choice.diagnostic].tests[choice.test].test->isApplicable(
                 component));
      }
    }
    return out;
  }

  const JobRun& run_;
  Children& children_;
  Session& session_;
  std::vector<Job> jobs_;
  std::set<std::string> busy_;  ///< controllers
};

}  // namespace

void runJobs(const JobRun& run, Children& children, Session& session) {
  JobRunner(run, children, session).run();
}

}  // namespace ostria::host
