#pragma once

// A scope guard. What must be undone is undone by an object, so that a return in the middle or an
// exception of the host's cannot leave it out.

#include <utility>

namespace ostria::storage {

/// Runs an action when its scope ends, whichever way.
/// @tparam Action  called once, without arguments
template <typename Action>
class [[nodiscard]] OnExit {
 public:
  explicit OnExit(Action action) : action_(std::move(action)) {}
  ~OnExit() {
    // The scope may end by an exception already; a second one would end the host's process. What an
    // action could not do for lack of memory has nobody left to be reported to.
    try {
      action_();
    } catch (...) {
    }
  }
  OnExit(const OnExit&) = delete;
  OnExit& operator=(const OnExit&) = delete;

 private:
  Action action_;
};

}  // namespace ostria::storage
