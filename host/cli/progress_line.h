// Progress on standard error: a bar, plain lines for a log file, or JSON lines.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "host/cli/terminal.h"
#include "host/core/run/run_services.h"

namespace ostria::host {

/// How progress is shown.
enum class ProgressForm { Bar, Lines, Json };

/// Shows on standard error how far a run is.
class Progress final : public ProgressSink {
 public:
  using Steady = std::chrono::steady_clock;

  Progress(Output& error, ProgressForm form, std::size_t width, const Texts& texts)
      : error_(error), form_(form), width_(width), texts_(texts) {}

  void begin(const std::string& kind, const std::string& id, std::uint32_t device,
             const std::string& label) override;
  void update(std::uint8_t percent, const std::string& key, const std::string& text) override;
  void end(ExitCode outcome) override;
  /// Draws the bar anew, so that the time moves on.
  void tick();
  /// A sentence between the lines of progress.
  void say(const std::string& sentence);
  /// Takes the bar away while something else is written to the terminal.
  void hide();

 private:
  void draw();
  void erase();
  void json(const std::string& event, const std::string& key, const std::string& text,
            const std::string& outcome);

  std::mutex mutex_;
  Output& error_;
  ProgressForm form_;
  std::size_t width_;
  const Texts& texts_;
  bool running_ = false;
  bool drawn_ = false;
  std::string kind_;
  std::string id_;
  std::string label_;
  std::string text_;
  std::uint32_t device_ = 0;
  std::uint8_t percent_ = 0;
  int lastLine_ = 0;
  Steady::time_point started_;
  Steady::time_point lastWritten_;
};

/// One line of the bar, at most `width` columns wide.
std::string barLine(const std::string& label, const std::string& text, unsigned percent,
                    std::chrono::seconds elapsed, std::size_t width, const Texts& texts);

}  // namespace ostria::host
