// A question waits for its answer in short steps, as Ctrl-C is taken by another thread and must end
// the wait. The answer is read byte by byte, so that a second line stays for the next question.
#include "host/cli/questions.h"

#include <algorithm>

#include "host/core/report/plain_text.h"

namespace ostria::host {

// One line of standard input, or nothing at its end or when an abort is asked for.
std::optional<std::string> Questions::readLine() const {
  std::string line;
  for (;;) {
    char c = 0;
    const ByteRead read = readInputByte(c);
    if (abort_.isAbortRequested() || read == ByteRead::End) {
      return std::nullopt;
    }
    if (read == ByteRead::Nothing) {
      continue;
    }
    if (c == '\n') {
      return line;
    }
    line += c;
  }
}

Answer Questions::ask(const std::string& question) {
  // Names of devices and partitions stand in it.
  const std::string shown = harmless(question);
  progress_.hide();
  if (assumed_) {
    progress_.say(texts_.say(*assumed_ ? "question.assumed_yes" : "question.assumed_no",
                             {{"question", shown}}));
    return *assumed_ ? Answer::Yes : Answer::No;
  }
  return askTerminal(shown);
}

// What was answered beforehand for a drive that is written to.
std::optional<Answer> Questions::answered(const std::string& shown, const std::string& serial) {
  progress_.hide();
  const bool yes =
      !serial.empty() && std::find(writable_.begin(), writable_.end(), serial) != writable_.end();
  const bool no = assumed_.has_value() && !*assumed_;
  if (!yes && !no) {
    return std::nullopt;
  }
  progress_.say(
      texts_.say(yes ? "question.assumed_yes" : "question.assumed_no", {{"question", shown}}));
  return yes ? Answer::Yes : Answer::No;
}

Answer Questions::askToWrite(const std::string& question, const std::string& serial) {
  const std::string shown = harmless(question);
  const std::optional<Answer> before = answered(shown, serial);
  return before ? *before : askTerminal(shown);
}

Answer Questions::askForSerial(const std::string& question, const std::string& serial) {
  const std::string shown = harmless(question);
  if (const std::optional<Answer> before = answered(shown, serial)) {
    return *before;
  }
  // A drive without a number cannot be named.
  if (!terminal_ || serial.empty()) {
    return Answer::Nobody;
  }
  discardTypedInput();
  error_.write(wrapped(texts_.say("question.type_serial", {{"question", shown}}) + " ", width_, 0));
  const std::optional<std::string> line = readLine();
  error_.write(line ? "" : "\n");
  return line && *line == serial ? Answer::Yes : Answer::No;
}

Answer Questions::askTerminal(const std::string& shown) {
  if (!terminal_) {
    return Answer::Nobody;
  }
  // A key that was pressed earlier is no answer to this.
  discardTypedInput();
  for (;;) {
    error_.write(wrapped(texts_.say("question.prompt", {{"question", shown}}) + " ", width_, 0));
    const std::optional<std::string> line = readLine();
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
    error_.write(texts_.say("question.yes_or_no") + "\n");
  }
}

}  // namespace ostria::host
