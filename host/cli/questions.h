#pragma once

#include <optional>
#include <string>

#include "host/cli/progress_line.h"
#include "host/platform/linux/interrupts.h"

namespace ostria::host {

enum class Answer { Yes, No, Nobody };

/// Asks the user: by the option `--assume`, else on the terminal, else nobody can answer.
class Questions {
 public:
  Questions(std::optional<bool> assumed, bool terminal, Progress& progress, Output& error,
            const Interrupts& interrupts)
      : assumed_(assumed),
        terminal_(terminal),
        progress_(progress),
        error_(error),
        interrupts_(interrupts) {}

  bool canAsk() const { return assumed_.has_value() || terminal_; }
  /// Blocks until an answer is there; an interrupt is a no.
  Answer ask(const std::string& question, std::size_t width);

 private:
  std::optional<bool> assumed_;
  bool terminal_;
  Progress& progress_;
  Output& error_;
  const Interrupts& interrupts_;
};

}  // namespace ostria::host
