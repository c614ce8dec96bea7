// Answers that were recorded on a real drive, in place of the model's own.
#pragma once

#include <utility>
#include <vector>

#include "virtual_pc/description/recorded.h"

namespace ostria::virtual_pc {

struct AtaExchange;
struct ScsiExchange;
struct NvmeExchange;

/// Gives the recorded answer to a command, cut to what the host asked for. The time that it takes
/// is the caller's.
/// @return false when there is none; the exchange is then as it was
bool answerRecorded(const std::vector<RecordedAta>& answers, AtaExchange& exchange);
bool answerRecorded(const std::vector<RecordedNvme>& answers, NvmeExchange& exchange);

/// The answers of a SCSI device. What a command of the host has changed no longer reads as it was
/// recorded: the sense and the results of self-tests after SEND DIAGNOSTIC, the exceptions after
/// MODE SELECT.
class RecordedScsiAnswers {
 public:
  void set(std::vector<RecordedScsi> answers) { answers_ = std::move(answers); }
  /// As `answerRecorded`.
  bool answer(ScsiExchange& exchange) const;
  /// Takes note of what the model has done.
  void noteDone(const ScsiExchange& exchange);

 private:
  bool isOutdated(const ScsiExchange& exchange) const;

  std::vector<RecordedScsi> answers_;
  bool selfTestSent_ = false;
  bool modeSelected_ = false;
};

}  // namespace ostria::virtual_pc
