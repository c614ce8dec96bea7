// The bar is drawn over itself with a carriage return and erased before anything else is written.
#include "host/cli/progress_line.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/core/model/results.h"
#include "host/core/report/plain_text.h"

namespace ostria::host {
namespace {

// A log gets a line at every tenth percent, but not too often and not too seldom.
constexpr unsigned kLineStep = 10;
constexpr std::chrono::seconds kDenseTime{5};
constexpr std::chrono::seconds kQuietTime{30};
constexpr std::chrono::milliseconds kJsonInterval{200};
constexpr std::chrono::milliseconds kJsonReads{1000};
// Long enough for a speed that can be read, short enough for one that is true.
constexpr std::chrono::seconds kSpeedTime{2};
// What takes this long for all of it stands still for seconds at each whole percent.
constexpr std::chrono::minutes kLongRun{15};
constexpr std::chrono::seconds kFirstPercent{10};
// How far the position may be from the module's percent and still be the finer one of the two.
constexpr double kSamePercent = 1.5;
constexpr double kMegabyte = 1e6;

std::string percentOf(const BarState& state) {
  const auto tenths = static_cast<long>(std::floor(std::clamp(state.percent, 0.0, 100.0) * 10));
  const std::string whole = std::to_string(tenths / 10);
  return state.tenths ? whole + "." + std::to_string(tenths % 10) : whole;
}

nlohmann::json event(const std::string& name) {
  return {{"event", name}, {"time", isoTime(Clock::now())}};
}

// ASCII: standard error may be a terminal.
std::string lineOf(const nlohmann::json& line) {
  return line.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace

ProgressForm progressFormOf(bool json, bool control, bool quiet) {
  if (json) {
    return ProgressForm::Json;
  }
  if (control) {
    return ProgressForm::Bar;
  }
  return quiet ? ProgressForm::None : ProgressForm::Lines;
}

std::string errorLine(const std::string& sentence, ExitCode code) {
  nlohmann::json line = event("error");
  line["text"] = harmless(sentence);
  line["outcome"] = outcomeWord(code);
  line["exit_code"] = static_cast<int>(code);
  return lineOf(line);
}

std::string barLine(const BarState& state, std::size_t width, const Texts& texts) {
  const std::string percent = percentOf(state);
  std::string tail = percent + "% " + durationText(state.elapsed);
  tail.insert(0, state.percent < 10 ? 2 : state.percent < 100 ? 1 : 0, ' ');
  if (state.left) {
    tail += texts.say("progress.left", {{"time", durationText(*state.left)}});
  }
  if (width <= tail.size() + 4) {
    return fitted(tail, width);
  }
  std::size_t room = width - tail.size() - 1;
  std::string bar;
  if (room >= 40) {
    const std::size_t length = std::min<std::size_t>(room / 3, 30);
    const auto filled = static_cast<std::size_t>(static_cast<double>(length) *
                                                 std::clamp(state.percent, 0.0, 100.0) / 100);
    bar = "[" + std::string(filled, '#') + std::string(length - filled, '.') + "] ";
    room -= bar.size() + 1;
  }
  std::string head = state.label;
  if (!state.text.empty()) {
    head += ": " + state.text;
  }
  return padded(fitted(head, room), bar.empty() ? 0 : room) + " " + bar + tail;
}

void Progress::begin(const RunItem& item) {
  const std::lock_guard lock(mutex_);
  item_ = item;
  item_.label = harmless(item.label);
  percent_ = 0;
  lastLine_ = 0;
  text_.clear();
  reads_.reset();
  measuredSectors_ = 0;
  bytesPerSecond_ = 0;
  running_ = true;
  started_ = lastWritten_ = measured_ = clock_();
  timeLeft_.start(started_, item_.expected);
  switch (form_) {
    case ProgressForm::Json:
      return json(item_.kind + "_started", {}, {});
    case ProgressForm::Lines: {
      const bool alone = item_.tests <= 1 && item_.drives <= 1;
      error_.write(texts_.say(alone ? "progress.started" : "progress.started_of",
                              {{"label", item_.label},
                               {"test", std::to_string(item_.test)},
                               {"tests", std::to_string(item_.tests)},
                               {"drive", std::to_string(item_.drive)},
                               {"drives", std::to_string(item_.drives)}}) +
                   "\n");
      return;
    }
    case ProgressForm::Bar:
      return draw();
    case ProgressForm::None:
      return;
  }
}

void Progress::update(std::uint8_t percent, const std::string& key, const std::string& text) {
  const std::lock_guard lock(mutex_);
  if (!running_) {
    return;
  }
  const double reached = std::min<std::uint8_t>(percent, 100);
  // The position may be ahead of the module's whole percent.
  const bool finer = percent_ > reached && percent_ - reached < kSamePercent;
  const bool changed = std::floor(reached) != std::floor(percent_);
  percent_ = finer ? percent_ : reached;
  text_ = harmless(text);
  timeLeft_.reached(percent_, clock_());
  show(changed, key);
}

void Progress::reads(const ReadTimes& times) {
  const std::lock_guard lock(mutex_);
  if (!running_) {
    return;
  }
  const auto now = clock_();
  measure(times, now);
  reads_ = times;
  if (times.sectors > 0) {
    const double position =
        static_cast<double>(times.position) * 100 / static_cast<double>(times.sectors);
    if (position > percent_ && position - std::floor(percent_) < kSamePercent && position < 100) {
      percent_ = position;
      timeLeft_.reached(position, now);
    }
  }
  show(false, {});
}

void Progress::measure(const ReadTimes& times, Steady::time_point now) {
  if (now - measured_ < kSpeedTime || times.sectorsRead < measuredSectors_) {
    return;
  }
  const double seconds = std::chrono::duration<double>(now - measured_).count();
  bytesPerSecond_ = static_cast<double>(times.sectorsRead - measuredSectors_) *
                    static_cast<double>(times.sectorBytes) / seconds;
  measured_ = now;
  measuredSectors_ = times.sectorsRead;
}

void Progress::show(bool changed, const std::string& key) {
  const auto now = clock_();
  const auto silent = now - lastWritten_;
  switch (form_) {
    case ProgressForm::Bar:
      return draw();
    case ProgressForm::Json:
      if (changed || silent >= (key.empty() && text_.empty() ? kJsonReads : kJsonInterval)) {
        lastWritten_ = now;
        json("progress", key, {});
      }
      return;
    case ProgressForm::Lines: {
      const int step = static_cast<int>(percent_) / static_cast<int>(kLineStep);
      const bool due = step > lastLine_ && percent_ < 100 && silent >= kDenseTime;
      if (due || silent >= kQuietTime) {
        lastLine_ = std::max(lastLine_, step);
        writeLine();
      }
      return;
    }
    case ProgressForm::None:
      return;
  }
}

void Progress::writeLine() {
  const auto now = clock_();
  lastWritten_ = now;
  const BarState shown = state(now);
  std::string line = item_.label + ": " + percentOf(shown) + "%";
  const std::string more = details();
  line += more.empty() ? "" : ", " + more;
  if (shown.left) {
    line += texts_.say("progress.left", {{"time", durationText(*shown.left)}});
  }
  error_.write(line + "\n");
}

BarState Progress::state(Steady::time_point now) const {
  BarState state;
  state.label = item_.label;
  if (item_.tests > 1 || item_.drives > 1) {
    state.label = texts_.say("progress.place", {{"test", std::to_string(item_.test)},
                                                {"tests", std::to_string(item_.tests)},
                                                {"drive", std::to_string(item_.drive)},
                                                {"drives", std::to_string(item_.drives)},
                                                {"label", item_.label}});
  }
  const std::string more = details();
  state.text = text_.empty() || more.empty() ? text_ + more : text_ + ", " + more;
  state.percent = percent_;
  state.elapsed = std::chrono::duration_cast<std::chrono::seconds>(now - started_);
  state.left = timeLeft_.left(now);
  const bool slow =
      percent_ < 1 ? state.elapsed >= kFirstPercent : state.elapsed * 100 / percent_ >= kLongRun;
  state.tenths = slow && percent_ != std::floor(percent_) && percent_ < 100;
  return state;
}

// What a long read is watched for: where it is, how fast, and what it met.
std::string Progress::details() const {
  if (!reads_) {
    return {};
  }
  std::string out = texts_.say("progress.position", {{"sector", std::to_string(reads_->position)}});
  if (bytesPerSecond_ > 0) {
    out += ", " +
           texts_.say("progress.speed", {{"megabytes", percentText(bytesPerSecond_ / kMegabyte)}});
  }
  if (reads_->badBlocks > 0) {
    out += ", " + texts_.say("progress.bad", {{"count", std::to_string(reads_->badBlocks)}});
  }
  if (!reads_->slowest.empty()) {
    out +=
        ", " +
        texts_.say("progress.slowest",
                   {{"milliseconds", std::to_string(reads_->slowest.front().microseconds / 1000)}});
  }
  return out;
}

void Progress::end(ExitCode outcome) {
  const std::lock_guard lock(mutex_);
  if (!running_) {
    return;
  }
  running_ = false;
  erase();
  if (form_ == ProgressForm::Json) {
    // For machines: the same in every language.
    std::string word = outcomeWord(outcome);
    std::replace(word.begin(), word.end(), '_', ' ');
    text_.clear();
    json(item_.kind + "_finished", {}, word);
  }
  if (form_ == ProgressForm::Lines) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(clock_() - started_);
    error_.write(texts_.say("progress.finished", {{"label", item_.label},
                                                  {"outcome", texts_.say(outcomeKey(outcome))},
                                                  {"time", durationText(elapsed)}}) +
                 "\n");
  }
}

void Progress::tick() {
  const std::lock_guard lock(mutex_);
  if (!running_) {
    return;
  }
  if (form_ == ProgressForm::Bar && drawn_) {
    draw();
  }
  // Also when the device keeps the test waiting.
  if (clock_() - lastWritten_ >= kQuietTime &&
      (form_ == ProgressForm::Lines || form_ == ProgressForm::Json)) {
    show(true, {});
  }
}

void Progress::result(const std::string& what, const std::string& json) {
  const std::lock_guard lock(mutex_);
  if (form_ == ProgressForm::Json) {
    nlohmann::json line = event(what + "_result");
    line["result"] = nlohmann::json::parse(json, nullptr, false);
    write(line);
  }
}

void Progress::say(const std::string& sentence) {
  const std::lock_guard lock(mutex_);
  const bool again = drawn_;
  erase();
  if (form_ == ProgressForm::Json) {
    nlohmann::json line = event("notice");
    line["text"] = harmless(sentence);
    write(line);
  } else {
    error_.write(wrapped(sentence, width_, 0) + "\n");
  }
  if (again) {
    draw();
  }
}

void Progress::hide() {
  const std::lock_guard lock(mutex_);
  erase();
}

void Progress::draw() {
  // The last column stays free: some terminals wrap as soon as it is filled.
  error_.write("\r" + barLine(state(clock_()), width_ - 1, texts_) + "\033[K");
  drawn_ = true;
}

void Progress::erase() {
  if (drawn_) {
    error_.write("\r\033[K");
  }
  drawn_ = false;
}

void Progress::write(const nlohmann::json& line) { error_.write(lineOf(line)); }

void Progress::json(const std::string& name, const std::string& key, const std::string& outcome) {
  nlohmann::json line = event(name);
  line["device_index"] = item_.device;
  line[item_.kind == "test" ? "test_id" : "tool"] = item_.id;
  line["label"] = item_.label;
  line["test_number"] = item_.test;
  line["test_count"] = item_.tests;
  line["drive_number"] = item_.drive;
  line["drive_count"] = item_.drives;
  line["percent"] = static_cast<int>(percent_);
  if (percent_ != std::floor(percent_)) {
    line["percent_exact"] = std::floor(percent_ * 1000) / 1000;
  }
  if (const auto left = timeLeft_.left(clock_()); left && running_) {
    line["seconds_left"] = left->count();
  }
  if (reads_) {
    line["position_sector"] = reads_->position;
    line["bad_blocks"] = reads_->badBlocks;
    if (bytesPerSecond_ > 0) {
      line["bytes_per_second"] = std::llround(bytesPerSecond_);
    }
    if (!reads_->slowest.empty()) {
      line["slowest_milliseconds"] =
          static_cast<double>(reads_->slowest.front().microseconds) / 1000;
    }
  }
  if (!key.empty()) {
    line["message_key"] = key;
  }
  if (!text_.empty()) {
    line["message_text"] = text_;
  }
  if (!outcome.empty()) {
    line["outcome"] = outcome;
  }
  write(line);
}

}  // namespace ostria::host
