#pragma once

#include <cstdint>
#include <vector>

#include "ostria/storage/test_channels.h"
#include "ostria/storage/test_parameter.h"

namespace ostria::storage {

class SystemComponent;

/// System events (any of these bits) compromise the outcome of a test or tool.
inline constexpr std::uint8_t kCompromisingSystemEvents = 0x6B;

/// One run of a test: the device, the channels, the abort state. Implemented by the host; the
/// module only calls it and never destroys it.
class TestRunContext {
 public:
  virtual ~TestRunContext() = default;

  virtual SystemComponent* component() = 0;  ///< the device under test
  virtual MessageLog* messageLog() = 0;
  virtual TestListener* listener() = 0;
  virtual void hostNotice4() = 0;  ///< the host's own; the module never calls it
  /// The user's abort. May change while a test runs; polled by the module.
  virtual bool isAbortRequested() = 0;
  /// A byte of event flags that outlives the run, or null. See `kCompromisingSystemEvents`.
  virtual const std::uint8_t* systemEvents() = 0;
  virtual void hostNotice7() = 0;  ///< the host's own
  /// Replaces `out` by the parameter values chosen for this run.
  virtual void parameters(std::vector<TestParameter>& out) = 0;
};

}  // namespace ostria::storage
