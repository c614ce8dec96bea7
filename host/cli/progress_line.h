#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "host/cli/terminal.h"

namespace ostria::host {

/// How progress is shown.
enum class ProgressForm { Bar, Lines, Json };

/// Tells on standard error how far a run is. All operations may be called from any thread.
class Progress {
 public:
  using Steady = std::chrono::steady_clock;

  Progress(Output& error, ProgressForm form, std::size_t width)
      : error_(error), form_(form), width_(width) {}

  /// @param kind   "test" or "tool"
  /// @param id     identifier of the test or command word of the tool
  /// @param label  what is shown in front of the bar
  void begin(const std::string& kind, const std::string& id, std::uint32_t device,
             const std::string& label);
  void update(std::uint8_t percent, const std::string& key, const std::string& text);
  void end(const std::string& outcome);
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
                    std::chrono::seconds elapsed, std::size_t width);

}  // namespace ostria::host
