// Where protocols let somebody see what they ask and what devices answer, before it is judged:
// refusals are seen as they came.
#pragma once

#include <cstdint>

#include "base/protocol_result.h"

namespace ostria::storage {

class AtaCmd;
class ScsiCmd;
class NvmeCmd;

/// Sees each command of the protocols while a `RecordingScope` of it lives. A command that came
/// back holds registers, sense and data as its bridge leaves them; with any other result than
/// `Success` and `NoDataReturned` only what was asked. No notification may send a command.
class CommandRecorder {
 public:
  virtual void noteAta(const AtaCmd& asked, const AtaCmd& answered, ProtocolResult result) = 0;
  /// @param askedBytes  room for data; a driver may claim to have moved more
  virtual void noteScsi(const ScsiCmd& answered, std::uint64_t askedBytes,
                        ProtocolResult result) = 0;
  virtual void noteNvme(const NvmeCmd& answered, ProtocolResult result) = 0;

 protected:
  ~CommandRecorder() = default;
};

/// The one that sees commands now; null mostly.
CommandRecorder* commandRecorder();

/// Lets a recorder see commands as long as it lives. One at a time, by the one thread that uses the
/// module.
class RecordingScope {
 public:
  explicit RecordingScope(CommandRecorder& recorder);
  ~RecordingScope();
  RecordingScope(const RecordingScope&) = delete;
  RecordingScope& operator=(const RecordingScope&) = delete;
};

}  // namespace ostria::storage
