// The one interface of all outputs. A run reports to each of them; none knows of the others.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/model/history.h"
#include "host/core/model/results.h"

namespace ostria::host {

/// What an output is asked for.
enum class DocumentKind {
  List,     ///< the devices
  Details,  ///< everything about the devices
  Run       ///< the results of tests or of a tool
};

/// Takes the next piece of an output's text.
using WriteText = std::function<void(std::string_view)>;

/// One output: a text, a document or a report. An output that needs the whole of a run makes its
/// document in `end` from the session.
class OutputFormat {
 public:
  virtual ~OutputFormat() = default;

  /// @param session  borrowed until `end`; it fills up meanwhile
  virtual void begin(DocumentKind kind, const Session& session) = 0;
  /// A device of the list or of the details; of a run before its first result.
  virtual void device(const DeviceInfo& device) { (void)device; }
  virtual void testResult(const TestRun& run) { (void)run; }
  virtual void toolResult(const ToolRun& run) { (void)run; }
  /// The session is complete.
  virtual void end() = 0;

  /// Only what is not good is wanted, where the output is for people.
  virtual void setQuiet() {}

  // What is printed without a session, where the output has a form for it.
  virtual void history(const std::vector<HistoryRecord>& records) { (void)records; }
  virtual void comparison(const Comparison& comparison) { (void)comparison; }
  virtual void help(const std::string& text) { (void)text; }
  /// @param module  empty when the module cannot be loaded, for the reason in `notice`
  virtual void version(const std::string& program, const std::string& module,
                       const std::string& notice) {
    (void)program;
    (void)module;
    (void)notice;
  }
  /// Why there is no other document.
  virtual void error(const std::string& sentence, ExitCode code) {
    (void)sentence;
    (void)code;
  }
};

/// Gives a session that is complete to an output, as a run does while it fills up: a device of a
/// run comes before its first result, and what did not begin has none.
void writeSession(OutputFormat& format, DocumentKind kind, const Session& session);

}  // namespace ostria::host
