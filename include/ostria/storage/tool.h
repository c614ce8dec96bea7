#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ostria/storage/identifier.h"
#include "ostria/storage/test_channels.h"

namespace ostria::storage {

class SystemComponent;
class Tool;

/// Abort flag that the host sets, from any thread, and a running tool polls.
class AbortContext {
 public:
  virtual ~AbortContext() = default;
  virtual void setAborted(bool aborted) { aborted_ = aborted; }
  virtual bool isAborted() { return aborted_; }

 private:
  std::atomic<bool> aborted_ = false;
};

/// Where the events of a tool go. Implemented by the host. There is no virtual destructor: the
/// request is the first entry of the table of virtual functions.
class ToolEventReceiver {
 public:
  using Handler = std::function<void(Tool*, std::string)>;

  /// Blocks until the user answered; the answer is in the request on return.
  virtual void requestInput(InputRequest& request) = 0;

  /// Event name ("OnProgress") to handler. A name that is not there is not fired.
  std::map<std::string, Handler> handlers;

 protected:
  ~ToolEventReceiver() = default;
};

/// A service on the devices that the user picked. Data crosses the border as lists of texts stored
/// under a name in `parameters`; an event `OnXxx` follows the data stored under `Xxx`. Everything
/// runs on the thread of `run`.
class Tool {
 public:
  explicit Tool(const Identifier& id) : identifier(id) {}
  virtual ~Tool() = default;

  /// Replaces or inserts the entry.
  virtual void setParameter(std::string name, const std::vector<std::string>& values) {
    parameters[std::move(name)] = values;
  }
  /// The stored list, or null; valid until the entry is next replaced.
  virtual std::vector<std::string>* getParameter(std::string name) {
    const auto found = parameters.find(name);
    return found == parameters.end() ? nullptr : &found->second;
  }
  /// Replaces `devices`; the components stay the module's.
  virtual void setDevices(const std::vector<SystemComponent*>& chosen) { devices = chosen; }
  virtual void setHostContext(void* context) { hostContext = context; }
  /// Runs the tool to its end. Never throws.
  virtual void run() = 0;
  virtual std::string getNameKey() = 0;         ///< message key of the display name
  virtual std::string getDescriptionKey() = 0;  ///< message key of the description
  virtual std::string getCommandName() = 0;     ///< the word that selects the tool
  virtual bool isApplicable(SystemComponent* component) = 0;

  Identifier identifier;
  // Assigned by the host before `run`; all may stay null.
  AbortContext* abortSource = nullptr;
  std::uint8_t* systemEvents = nullptr;  ///< event byte, see `kCompromisingSystemEvents`
  ToolEventReceiver* eventReceiver = nullptr;
  std::vector<SystemComponent*> devices;  ///< not owned
  void* hostContext = nullptr;            ///< not owned, never read by the module
  std::map<std::string, std::vector<std::string>> parameters;
};

}  // namespace ostria::storage
