// The bar is drawn over itself with a carriage return and erased before anything else is written.
#include "host/cli/progress_line.h"

#include <algorithm>
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

}  // namespace

std::string barLine(const std::string& label, const std::string& text, unsigned percent,
                    std::chrono::seconds elapsed, std::size_t width, const Texts& texts) {
  percent = std::min(percent, 100u);
  std::string tail = std::string(percent < 10    ? "  "
                                 : percent < 100 ? " "
                                                 : "") +
                     std::to_string(percent) + "% " + durationText(elapsed);
  // The first seconds say nothing about the rest.
  if (percent > 0 && percent < 100 && elapsed >= std::chrono::seconds(2)) {
    const auto left = elapsed * (100 - percent) / percent;
    tail += texts.say("progress.left", {{"time", durationText(left)}});
  }
  if (width <= tail.size() + 4) {
    return fitted(tail, width);
  }
  std::size_t room = width - tail.size() - 1;
  std::string bar;
  if (room >= 40) {
    const std::size_t length = std::min<std::size_t>(room / 3, 30);
    const std::size_t filled = length * percent / 100;
    bar = "[" + std::string(filled, '#') + std::string(length - filled, '.') + "] ";
    room -= bar.size() + 1;
  }
  std::string head = label;
  if (!text.empty()) {
    head += ": " + text;
  }
  return padded(fitted(head, room), bar.empty() ? 0 : room) + " " + bar + tail;
}

void Progress::begin(const std::string& kind, const std::string& id, std::uint32_t device,
                     const std::string& label) {
  const std::lock_guard lock(mutex_);
  kind_ = kind;
  id_ = id;
  label_ = label;
  device_ = device;
  percent_ = 0;
  lastLine_ = 0;
  text_.clear();
  running_ = true;
  started_ = lastWritten_ = Steady::now();
  if (form_ == ProgressForm::Json) {
    json(kind_ + "_started", {}, {}, {});
  }
  if (form_ == ProgressForm::Lines) {
    error_.write(texts_.say("progress.started", {{"label", label_}}) + "\n");
  }
  if (form_ == ProgressForm::Bar) {
    draw();
  }
}

void Progress::update(std::uint8_t percent, const std::string& key, const std::string& text) {
  const std::lock_guard lock(mutex_);
  if (!running_) {
    return;
  }
  const bool changed = percent != percent_;
  percent_ = std::min<std::uint8_t>(percent, 100);
  text_ = harmless(text);
  const auto now = Steady::now();
  switch (form_) {
    case ProgressForm::Bar:
      draw();
      break;
    case ProgressForm::Json:
      if (changed || now - lastWritten_ >= kJsonInterval) {
        lastWritten_ = now;
        json("progress", key, text_, {});
      }
      break;
    case ProgressForm::Lines: {
      const int step = static_cast<int>(percent_ / kLineStep);
      const auto silent = now - lastWritten_;
      if (percent_ == 0 || percent_ == 100 || silent < kDenseTime) {
        break;
      }
      if (step <= lastLine_ && silent < kQuietTime) {
        break;
      }
      lastLine_ = step;
      lastWritten_ = now;
      error_.write(label_ + ": " + std::to_string(percent_) + "%\n");
      break;
    }
  }
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
    json(kind_ + "_finished", {}, {}, word);
  }
  if (form_ == ProgressForm::Lines) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(Steady::now() - started_);
    error_.write(texts_.say("progress.finished", {{"label", label_},
                                                  {"outcome", texts_.say(outcomeKey(outcome))},
                                                  {"time", durationText(elapsed)}}) +
                 "\n");
  }
}

void Progress::tick() {
  const std::lock_guard lock(mutex_);
  if (running_ && drawn_) {
    draw();
  }
}

void Progress::say(const std::string& sentence) {
  const std::lock_guard lock(mutex_);
  const bool again = drawn_;
  erase();
  if (form_ == ProgressForm::Json) {
    nlohmann::json line = {{"event", "notice"}, {"text", sentence}};
    error_.write(line.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n");
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
  const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(Steady::now() - started_);
  // The last column stays free: some terminals wrap as soon as it is filled.
  const std::string line = barLine(label_, text_, percent_, elapsed, width_ - 1, texts_);
  error_.write("\r" + line + "\033[K");
  drawn_ = true;
}

void Progress::erase() {
  if (drawn_) {
    error_.write("\r\033[K");
  }
  drawn_ = false;
}

void Progress::json(const std::string& event, const std::string& key, const std::string& text,
                    const std::string& outcome) {
  nlohmann::json line;
  line["event"] = event;
  line["time"] = isoTime(Clock::now());
  line["device_index"] = device_;
  line[kind_ == "test" ? "test_id" : "tool"] = id_;
  line["percent"] = percent_;
  if (!key.empty()) {
    line["message_key"] = key;
  }
  if (!text.empty()) {
    line["message_text"] = text;
  }
  if (!outcome.empty()) {
    line["outcome"] = outcome;
  }
  error_.write(line.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n");
}

}  // namespace ostria::host
