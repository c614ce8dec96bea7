// Child processes do their work when somebody looks at them, and virtual time passes meanwhile.
#include "virtual_pc/system/services/child_process.h"

#include <winerror.h>

#include <algorithm>

namespace ostria::virtual_pc {

void PipeReadEnd::read(IoRequest& request) {
  while (channel_->bytes.empty()) {
    const auto writer = channel_->writer.lock();
    if (writer != nullptr && writer->work()) {
      continue;
    }
    // A pipe reports its end when the last handle to write is closed. The caller that holds one
    // itself waits for ever, which ends here with an error and a complaint.
    if (channel_->writeEnds != 0 && channel_->onDeadlock) {
      channel_->onDeadlock();
    }
    return request.fail(ERROR_BROKEN_PIPE);
  }
  request.makeRoom();
  const std::size_t count = std::min(channel_->bytes.size(), request.output.size());
  request.answerCut(channel_->bytes.data(), count);
  channel_->bytes.erase(0, count);
}

void PipeWriteEnd::write(IoRequest& request) {
  if (channel_->readerGone) {
    return request.fail(ERROR_BROKEN_PIPE);
  }
  channel_->bytes.append(request.input.begin(), request.input.end());
  request.returned = request.input.size();
}

bool ProcessObject::work() {
  if (ended_) {
    return false;
  }
  if (steps_.empty()) {
    ended_ = true;
    return false;
  }
  const Step step = std::move(steps_.front());
  steps_.pop_front();
  clock_.advance(std::uint64_t{step.milliseconds} * 1000);
  if (output_ != nullptr && !output_->readerGone) {
    output_->bytes += step.text;
  }
  return true;
}

std::optional<std::uint32_t> ProcessObject::exitCode() {
  if (output_ == nullptr || output_->readerGone) {
    while (work()) {
      continue;
    }
  }
  return ended_ ? std::optional(exitCode_) : std::nullopt;
}

void ProcessObject::terminate(std::uint32_t exitCode) {
  if (ended_) {
    return;
  }
  ended_ = true;
  exitCode_ = exitCode;
  steps_.clear();
}

}  // namespace ostria::virtual_pc
