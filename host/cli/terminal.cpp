#include "host/cli/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ostria::host {
namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kLeastWidth = 20;

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u; }

std::size_t widthOf(int descriptor) {
  winsize size{};
  std::size_t width = 0;
  if (ioctl(descriptor, TIOCGWINSZ, &size) == 0) {
    width = size.ws_col;
  }
  if (width == 0) {
    const char* columns = std::getenv("COLUMNS");
    if (columns != nullptr) {
      width = std::strtoul(columns, nullptr, 10);
    }
  }
  return width == 0 ? kUsualWidth : std::max(width, kLeastWidth);
}

// The first `width` columns of the text, in bytes.
std::size_t bytesOf(std::string_view text, std::size_t width) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t next = at + 1;
    while (next < text.size() && isContinuation(text[next])) {
      ++next;
    }
    if (width-- == 0) {
      return at;
    }
    at = next;
  }
  return at;
}

}  // namespace

Terminal detectTerminal() {
  Terminal terminal;
  const char* kind = std::getenv("TERM");
  const char* noColour = std::getenv("NO_COLOR");
  const bool capable = kind != nullptr && std::strcmp(kind, "dumb") != 0;
  terminal.outputIsTerminal = isatty(STDOUT_FILENO) == 1;
  terminal.errorIsTerminal = isatty(STDERR_FILENO) == 1;
  terminal.outputColour =
      terminal.outputIsTerminal && capable && (noColour == nullptr || *noColour == '\0');
  terminal.errorControl = terminal.errorIsTerminal && capable;
  if (terminal.outputIsTerminal) {
    terminal.outputWidth = widthOf(STDOUT_FILENO);
  }
  if (terminal.errorIsTerminal) {
    terminal.errorWidth = widthOf(STDERR_FILENO);
  }
  return terminal;
}

std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

std::string fitted(std::string_view text, std::size_t width) {
  if (columns(text) <= width) {
    return std::string(text);
  }
  if (width == 0) {
    return {};
  }
  return std::string(text.substr(0, bytesOf(text, width - 1))) + "~";
}

std::string padded(std::string text, std::size_t width) {
  const std::size_t have = columns(text);
  if (have < width) {
    text.append(width - have, ' ');
  }
  return text;
}

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent) {
  if (width == 0) {
    return std::string(text);
  }
  if (indent + 10 > width) {
    indent = 0;
  }
  std::string out;
  std::size_t room = width;
  bool lineIsEmpty = true;
  const auto newLine = [&] {
    out += '\n';
    out.append(indent, ' ');
    room = width - indent;
    lineIsEmpty = true;
  };
  std::size_t at = 0;
  while (at < text.size()) {
    // Blanks in front of a word belong to it while it fits on the line.
    const std::size_t wordBegin = std::min(text.find_first_not_of(' ', at), text.size());
    const std::size_t wordEnd = std::min(text.find_first_of(" \n", wordBegin), text.size());
    std::string_view piece = text.substr(at, wordEnd - at);
    if (columns(piece) > room && !lineIsEmpty) {
      newLine();
      piece = text.substr(wordBegin, wordEnd - wordBegin);
    }
    while (columns(piece) > room) {
      const std::size_t bytes = bytesOf(piece, room);
      out += piece.substr(0, bytes);
      piece.remove_prefix(bytes);
      newLine();
    }
    out += piece;
    room -= columns(piece);
    lineIsEmpty = lineIsEmpty && piece.empty();
    at = wordEnd;
    if (at < text.size() && text[at] == '\n') {
      newLine();
      ++at;
    }
  }
  return out;
}

std::string harmless(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n' || c == '\t' || c == '\r') {
      c = ' ';
    } else if (byte < 0x20 || byte == 0x7F) {
      c = '?';
    }
  }
  // The control characters of the second half of ISO 8859-1, as UTF-8 writes them.
  for (std::size_t i = 0; i + 1 < out.size(); ++i) {
    const auto next = static_cast<unsigned char>(out[i + 1]);
    if (out[i] == '\xC2' && next >= 0x80 && next < 0xA0) {
      out.replace(i, 2, "?");
    }
  }
  return out;
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
  while (failure_ == 0 && !text.empty()) {
    const ssize_t written = ::write(descriptor_, text.data(), text.size());
    if (written > 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (written < 0 && errno == EAGAIN) {
      pollfd room{descriptor_, POLLOUT, 0};
      poll(&room, 1, -1);
    } else if (written < 0 && errno != EINTR) {
      failure_ = errno;
    }
  }
}

void holdStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) {
      continue;
    }
    // The lowest free number is the one that is missing.
    const int opened = open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY);
    if (opened != descriptor) {
      std::abort();
    }
  }
}

}  // namespace ostria::host
