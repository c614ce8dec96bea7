// Questions to the user: answered by the option --assume, or on the terminal.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/cli/progress_line.h"
#include "host/core/run/run_services.h"

namespace ostria::host {

/// Asks the user: by the option `--assume`, else on the terminal, else nobody can answer.
class Questions final : public Asker {
 public:
  /// @param terminal  whether standard input and standard error are a terminal
  /// @param width     columns of standard error; 0: no limit
  /// @param writable  serial numbers of drives that tests may write to
  Questions(std::optional<bool> assumed, std::vector<std::string> writable, bool terminal,
            Progress& progress, Output& error, std::size_t width, const AbortFlag& abort,
            const Texts& texts)
      : assumed_(assumed),
        writable_(std::move(writable)),
        terminal_(terminal),
        progress_(progress),
        error_(error),
        width_(width),
        abort_(abort),
        texts_(texts) {}

  bool canAsk() const override { return assumed_.has_value() || terminal_; }
  Answer ask(const std::string& question) override;
  Answer askToWrite(const std::string& question, const std::string& serial) override;
  Answer askForSerial(const std::string& question, const std::string& serial) override;

 private:
  std::optional<Answer> answered(const std::string& shown, const std::string& serial);
  std::optional<std::string> readLine() const;
  Answer askTerminal(const std::string& shown);

  std::optional<bool> assumed_;
  std::vector<std::string> writable_;
  bool terminal_;
  Progress& progress_;
  Output& error_;
  std::size_t width_;
  const AbortFlag& abort_;
  const Texts& texts_;
};

}  // namespace ostria::host
