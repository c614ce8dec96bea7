// What the program may do with its two outputs. NO_COLOR and COLUMNS are conventions of many
// programs; a width below 20 columns, or above 1000, is taken for a mistake.
#include "host/cli/terminal.h"

#include <algorithm>
#include <cstdlib>

namespace ostria::host {
namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kLeastWidth = 20;
constexpr std::size_t kMostWidth = 1000;

std::size_t widthOf(Stream stream) {
  std::size_t width = consoleColumns(stream);
  if (width == 0) {
    const char* columns = std::getenv("COLUMNS");
    if (columns != nullptr) {
      width = std::strtoul(columns, nullptr, 10);
    }
  }
  return width == 0 || width > kMostWidth ? kUsualWidth : std::max(width, kLeastWidth);
}

}  // namespace

Terminal detectTerminal() {
  Terminal terminal;
  const char* noColour = std::getenv("NO_COLOR");
  terminal.errorIsTerminal = isConsole(Stream::Error);
  terminal.outputColour =
      followsControls(Stream::Output) && (noColour == nullptr || *noColour == '\0');
  terminal.errorControl = followsControls(Stream::Error);
  if (isConsole(Stream::Output)) {
    terminal.outputWidth = widthOf(Stream::Output);
  }
  if (terminal.errorIsTerminal) {
    terminal.errorWidth = widthOf(Stream::Error);
  }
  return terminal;
}

std::string coloured(const std::string& text, Colour colour, bool enabled) {
  if (!enabled) {
    return text;
  }
  const char* code = "";
  switch (colour) {
    case Colour::Plain:
      return text;
    case Colour::Green:
      code = "32";
      break;
    case Colour::Red:
      code = "31;1";
      break;
    case Colour::Yellow:
      code = "33";
      break;
    case Colour::Grey:
      code = "2";
      break;
    case Colour::Bold:
      code = "1";
      break;
  }
  return std::string("\033[") + code + "m" + text + "\033[0m";
}

void Output::write(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (failure_ == 0) {
    failure_ = writeStream(stream_, text);
  }
}

}  // namespace ostria::host
