#include "host/cli/questions.h"

#include <poll.h>
#include <unistd.h>

#include <string_view>

namespace ostria::host {
namespace {

constexpr int kPollMilliseconds = 100;

// One line of standard input, or nothing at its end or when an abort is asked for.
std::optional<std::string> readLine(const Interrupts& interrupts) {
  std::string line;
  for (;;) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const int ready = poll(&input, 1, kPollMilliseconds);
    if (interrupts.isAbortRequested()) {
      return std::nullopt;
    }
    if (ready <= 0) {
      continue;
    }
    char c = 0;
    if (read(STDIN_FILENO, &c, 1) != 1) {
      return std::nullopt;
    }
    if (c == '\n') {
      return line;
    }
    line += c;
  }
}

}  // namespace

Answer Questions::ask(const std::string& question, std::size_t width) {
  progress_.hide();
  if (assumed_) {
    progress_.say(question + (*assumed_ ? " Yes (assumed)." : " No (assumed)."));
    return *assumed_ ? Answer::Yes : Answer::No;
  }
  if (!terminal_) {
    return Answer::Nobody;
  }
  for (;;) {
    error_.write(wrapped(question + " [y/N] ", width, 0));
    const std::optional<std::string> line = readLine(interrupts_);
    if (!line) {
      error_.write("\n");
      return Answer::No;
    }
    if (*line == "y" || *line == "Y" || *line == "yes" || *line == "Yes") {
      return Answer::Yes;
    }
    if (line->empty() || *line == "n" || *line == "N" || *line == "no" || *line == "No") {
      return Answer::No;
    }
    error_.write("Please answer y or n.\n");
  }
}

}  // namespace ostria::host
