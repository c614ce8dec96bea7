// What a run needs of the program around it, as small interfaces: a terminal has a bar, a question
// and Ctrl-C for them, a window something else.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/model/results.h"
#include "host/core/run/redact.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// One test or tool on one device, and where it stands among all of the run.
struct RunItem {
  std::string kind;  ///< "test" or "tool"
  std::string id;    ///< identifier of the test or command word of the tool
  std::uint32_t device = 0;
  std::string label;  ///< what is shown with the progress
  std::size_t test = 1;
  std::size_t tests = 1;  ///< on this device
  std::size_t drive = 1;
  std::size_t drives = 1;
  std::chrono::seconds expected{0};  ///< what the drive says that it takes, 0 when it says nothing
};

/// Shows how far a run is. All operations may be called from any thread. Texts may hold control
/// characters of a device; who draws them escapes them.
class ProgressSink {
 public:
  virtual ~ProgressSink() = default;
  virtual void begin(const RunItem& item) = 0;
  /// @param percent  0 to 100; anything above counts as 100
  /// @param key      as the module composed it, may be empty
  /// @param text     the same in the user's language
  virtual void update(std::uint8_t percent, const std::string& key, const std::string& text) = 0;
  /// How far the reads of the item are.
  virtual void reads(const ReadTimes& times) = 0;
  virtual void end(ExitCode outcome) = 0;
};

enum class Answer { Yes, No, Nobody };

/// Puts questions to the user.
class Asker {
 public:
  virtual ~Asker() = default;
  /// Whether somebody, or a rule given beforehand, can answer.
  virtual bool canAsk() const = 0;
  /// Blocks until an answer is there; an abort is a no.
  virtual Answer ask(const std::string& question) = 0;
  /// As `ask`, for a test that writes to the drive of this serial number. What was answered
  /// beforehand for everything does not count here.
  virtual Answer askToWrite(const std::string& question, const std::string& serial) = 0;
  /// As `askToWrite`, but the answer on a terminal is the serial number itself.
  virtual Answer askForSerial(const std::string& question, const std::string& serial) = 0;
};

/// The user's wish to stop. It is asked from several threads.
class AbortFlag {
 public:
  virtual ~AbortFlag() = default;
  virtual bool isAbortRequested() const = 0;
};

/// What the runs of tests and tools share. Borrowed: the objects outlive every run.
struct RunServices {
  const Texts& texts;
  const Redactor& redactor;
  Asker& asker;
  ProgressSink& progress;
  const AbortFlag& abort;
  /// Takes one line before and one after each operation that changes a drive. May be empty.
  std::function<void(const std::string&)> journal = {};
  /// Who uses a mounted volume: programs, by name and number. May be empty.
  std::function<std::vector<std::string>(const std::string& mountPoint)> volumeUsers = {};
  /// The user wants a repair beside the users of the disk.
  bool forceMounted = false;

  /// Notes in the journal that an operation begins.
  /// @param key  the operation, such as "journal.repair"
  /// @return the line, for `journalEnd`
  std::string journalBegin(std::string_view key, const DeviceInfo& device) const;
  void journalEnd(const std::string& line, ExitCode outcome) const;

  /// Key and text of a message, with serial numbers masked.
  Message message(const std::string& key, std::uint32_t severity, std::uint8_t flag) const;
};

}  // namespace ostria::host
