// A child process and the pipe to it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "virtual_pc/drives/clock.h"
#include "virtual_pc/system/kernel_object.h"

namespace ostria::virtual_pc {

class ProcessObject;

/// What is on its way between the two ends of a pipe, and who writes into it.
struct PipeChannel {
  std::string bytes;
  std::weak_ptr<ProcessObject> writer;
  unsigned writeEnds = 0;  ///< open handles of the write end, beside that of the writer
  /// Called when a read waits that can never end, since a write end is open that nobody uses.
  std::function<void()> onDeadlock = {};
  bool readerGone = false;
};

/// The end to read from. A read waits for the writer: the writer's time passes meanwhile.
class PipeReadEnd : public IoObject {
 public:
  explicit PipeReadEnd(std::shared_ptr<PipeChannel> channel) : channel_(std::move(channel)) {}
  void read(IoRequest& request) override;
  void closing(OpenFile&) override { channel_->readerGone = true; }

 private:
  std::shared_ptr<PipeChannel> channel_;
};

/// The end to write to, given to a process as its output.
class PipeWriteEnd : public IoObject {
 public:
  explicit PipeWriteEnd(std::shared_ptr<PipeChannel> channel) : channel_(std::move(channel)) {
    ++channel_->writeEnds;
  }
  void write(IoRequest& request) override;
  void closing(OpenFile&) override { --channel_->writeEnds; }
  const std::shared_ptr<PipeChannel>& channel() const { return channel_; }

 private:
  std::shared_ptr<PipeChannel> channel_;
};

/// A child process: what it prints, piece by piece, and its end. It works while its reader waits
/// for it; with nobody at the other end of the pipe it has done all its work by the next question.
class ProcessObject : public KernelObject {
 public:
  struct Step {
    std::uint32_t milliseconds = 0;
    std::string text;
  };

  /// @param output  where its text goes; may be null
  ProcessObject(Clock& clock, std::deque<Step> steps, std::uint32_t exitCode,
                std::shared_ptr<PipeChannel> output)
      : clock_(clock), steps_(std::move(steps)), exitCode_(exitCode), output_(std::move(output)) {}

  bool waitable() const override { return true; }
  bool signalled() override { return exitCode().has_value(); }

  /// Does the next piece of work. @return false when the process has ended
  bool work();
  /// Nothing while it runs.
  std::optional<std::uint32_t> exitCode();
  void terminate(std::uint32_t exitCode);

 private:
  Clock& clock_;
  std::deque<Step> steps_;
  std::uint32_t exitCode_;
  std::shared_ptr<PipeChannel> output_;
  bool ended_ = false;
};

}  // namespace ostria::virtual_pc
