// Progress on standard error: a bar, plain lines for a log file, or JSON lines.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "host/cli/terminal.h"
#include "host/cli/time_left.h"
#include "host/core/run/run_services.h"

namespace ostria::host {

/// How progress is shown.
enum class ProgressForm { Bar, Lines, Json, None };

/// @param control  whether the terminal of messages takes control sequences
ProgressForm progressFormOf(bool json, bool control, bool quiet);

/// What a line of progress says.
struct BarState {
  std::string label;
  std::string text;  ///< may be empty
  double percent = 0;
  bool tenths = false;  ///< the run is so long that whole percents stand still
  std::chrono::seconds elapsed{0};
  std::optional<std::chrono::seconds> left;
};

/// Shows on standard error how far a run is.
class Progress final : public ProgressSink {
 public:
  using Steady = std::chrono::steady_clock;

  /// @param clock  what the pace is made of
  Progress(Output& error, ProgressForm form, std::size_t width, const Texts& texts,
           std::function<Steady::time_point()> clock = Steady::now)
      : error_(error), form_(form), width_(width), texts_(texts), clock_(std::move(clock)) {}

  void begin(const RunItem& item) override;
  void update(std::uint8_t percent, const std::string& key, const std::string& text) override;
  void reads(const ReadTimes& times) override;
  void end(ExitCode outcome) override;
  /// Lets the time move on: draws the bar anew, or writes a line after a long silence.
  void tick();
  /// The whole result of a test or tool as JSON, when progress is JSON lines.
  /// @param what  "test" or "tool"
  /// @param json  an object
  void result(const std::string& what, const std::string& json);
  /// A sentence between the lines of progress.
  void say(const std::string& sentence);
  /// Takes the bar away while something else is written to the terminal.
  void hide();

 private:
  void draw();
  void erase();
  void writeLine();
  void show(bool changed, const std::string& key);
  void measure(const ReadTimes& times, Steady::time_point now);
  std::string details() const;
  BarState state(Steady::time_point now) const;
  void write(const nlohmann::json& line);
  void json(const std::string& name, const std::string& key, const std::string& outcome);

  std::mutex mutex_;
  Output& error_;
  ProgressForm form_;
  std::size_t width_;
  const Texts& texts_;
  std::function<Steady::time_point()> clock_;
  bool running_ = false;
  bool drawn_ = false;
  RunItem item_;
  std::string text_;
  double percent_ = 0;  ///< with the tenths that the position gives
  int lastLine_ = 0;
  std::optional<ReadTimes> reads_;
  std::uint64_t measuredSectors_ = 0;
  Steady::time_point measured_;
  double bytesPerSecond_ = 0;  ///< 0 before it was measured
  TimeLeft timeLeft_;
  Steady::time_point started_;
  Steady::time_point lastWritten_;
};

/// Why the program ends, as a line of JSON progress.
std::string errorLine(const std::string& sentence, ExitCode code);

/// One line of the bar, at most `width` columns wide.
std::string barLine(const BarState& state, std::size_t width, const Texts& texts);

}  // namespace ostria::host
