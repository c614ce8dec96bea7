// The standard descriptors of POSIX.
#include "host/platform/console.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ostria::host {
namespace {

constexpr int kPollMilliseconds = 100;

int descriptorOf(Stream stream) {
  switch (stream) {
    case Stream::Input:
      return STDIN_FILENO;
    case Stream::Output:
      return STDOUT_FILENO;
    case Stream::Error:
      return STDERR_FILENO;
  }
  return STDERR_FILENO;
}

}  // namespace

bool isConsole(Stream stream) { return isatty(descriptorOf(stream)) == 1; }

bool followsControls(Stream stream) {
  const char* kind = std::getenv("TERM");
  return isConsole(stream) && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

std::size_t consoleColumns(Stream stream) {
  winsize size{};
  return ioctl(descriptorOf(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

int writeStream(Stream stream, std::string_view text) {
  const int descriptor = descriptorOf(stream);
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written > 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (written < 0 && errno == EAGAIN) {
      // Somebody has made the pipe non-blocking.
      pollfd room{descriptor, POLLOUT, 0};
      poll(&room, 1, -1);
    } else if (written < 0 && errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

ByteRead readInputByte(char& byte) {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  if (poll(&input, 1, kPollMilliseconds) <= 0) {
    return ByteRead::Nothing;
  }
  return read(STDIN_FILENO, &byte, 1) == 1 ? ByteRead::Byte : ByteRead::End;
}

void discardTypedInput() {
  // Fails on a pipe or file, where nothing is typed.
  (void)tcflush(STDIN_FILENO, TCIFLUSH);
}

void holdStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) {
      continue;
    }
    // The lowest free number is the one that is missing.
    // What is written there fails, as nobody would get it.
    const int opened = open("/dev/null", O_RDONLY);
    if (opened != descriptor) {
      std::abort();
    }
  }
}

}  // namespace ostria::host
