#pragma once

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace ostria::host::test {

/// The built program, run as its users run it.
class Program {
 public:
  /// A terminal that does not know its width.
  static constexpr int kNoWidth = 65536;
  enum class Reader { Reads, GoneFromTheStart };

  /// @param terminalColumns  0: pipes; else standard error and input are a terminal of that width
  /// @param reader           whether anybody reads standard output
  /// @param ignored          signals that it is started with as ignored
  Program(const std::string& folder, std::vector<std::string> arguments, int terminalColumns = 0,
          Reader reader = Reader::Reads, const std::vector<int>& ignored = {}) {
    const std::string path = folder + "/OstriaDiagnosticsCLI";
    arguments.insert(arguments.begin(), path);
    int out[2];
    int err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
      std::abort();
    }
    if (reader == Reader::GoneFromTheStart) {
      close(std::exchange(out[0], -1));
    }
    int slave = -1;
    if (terminalColumns > 0) {
      winsize size{};
      size.ws_col = static_cast<unsigned short>(terminalColumns);
      size.ws_row = 24;
      if (openpty(&terminal_, &slave, nullptr, nullptr, &size) != 0) {
        std::abort();
      }
    }
    child_ = fork();
    if (child_ == 0) {
      for (const int number : ignored) {
        ::signal(number, SIG_IGN);
      }
      const int null = open("/dev/null", O_RDONLY);
      dup2(slave >= 0 ? slave : null, STDIN_FILENO);
      dup2(slave >= 0 ? slave : out[1], STDOUT_FILENO);
      dup2(slave >= 0 ? slave : err[1], STDERR_FILENO);
      if (terminal_ >= 0) {
        close(terminal_);
      }
      if (slave >= 0) {
        setenv("TERM", "xterm", 1);
      }
      std::vector<char*> argv;
      for (std::string& argument : arguments) {
        argv.push_back(argument.data());
      }
      argv.push_back(nullptr);
      execv(path.c_str(), argv.data());
      _exit(127);
    }
    close(out[1]);
    close(err[1]);
    if (slave >= 0) {
      close(slave);
    }
    out_ = out[0];
    err_ = err[0];
  }
  ~Program() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
    for (const int descriptor : {out_, err_, terminal_}) {
      if (descriptor >= 0) {
        close(descriptor);
      }
    }
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t process() const { return child_; }
  void interrupt() const { send(SIGINT); }
  void send(int signal) const { kill(child_, signal); }
  void type(const std::string& text) const {
    if (write(terminal_, text.data(), text.size()) < 0) {
      std::abort();
    }
  }
  /// Reads until the outputs hold the text; false when they end or the seconds pass before.
  bool waitFor(const std::string& text, int seconds = 20) {
    return pump(
        [&] {
          return output.find(text) != std::string::npos || errors.find(text) != std::string::npos;
        },
        seconds);
  }
  /// Reads to the end and returns the exit code, or -1 for a program that hangs or crashes.
  int finish() {
    pump([] { return false; });
    int status = 0;
    for (int i = 0; i < 200; ++i) {
      if (waitpid(child_, &status, WNOHANG) == child_) {
        child_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      }
      usleep(50'000);
    }
    return -1;
  }

  std::string output;  ///< of a terminal: everything
  std::string errors;

 private:
  template <typename Done>
  bool pump(Done done, int seconds = 20) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!done()) {
      pollfd watched[3] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}, {terminal_, POLLIN, 0}};
      if (std::chrono::steady_clock::now() > end || (out_ < 0 && err_ < 0 && terminal_ < 0)) {
        return false;
      }
      poll(watched, 3, 100);
      take(watched[0], out_, output);
      take(watched[1], err_, errors);
      take(watched[2], terminal_, output);
    }
    return true;
  }
  static void take(const pollfd& watched, int& descriptor, std::string& into) {
    if ((watched.revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
      return;
    }
    char buffer[4096];
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count > 0) {
      into.append(buffer, static_cast<std::size_t>(count));
    } else {
      close(descriptor);
      descriptor = -1;
    }
  }

  pid_t child_ = -1;
  int out_ = -1;
  int err_ = -1;
  int terminal_ = -1;
};

}  // namespace ostria::host::test
