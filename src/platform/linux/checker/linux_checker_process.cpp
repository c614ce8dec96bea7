// Starts a checker with nothing of the host: no input, no environment, no signals, no descriptors.
#include "platform/linux/checker/linux_checker_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/passthrough/read_only.h"

namespace ostria::storage {
namespace {

constexpr int kExecFailed = 127;

struct Pipe {
  FdOwner read;
  FdOwner write;

  bool open() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
      return false;
    }
    read.reset(ends[0]);
    write.reset(ends[1]);
    return true;
  }
};

/// Between fork and exec: nothing here may allocate.
[[noreturn]] void becomeChild(const char* const* arguments, const char* const* environment,
                              int text, int progress) {
  setsid();
  // Writing to a reader that has gone must fail, not kill.
  signal(SIGPIPE, SIG_IGN);
  // The child must not inherit the signal mask of a host that takes its signals on one thread.
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const int nothing = open("/dev/null", O_RDONLY);
  // Out of the way of the numbers that are given out below.
  const int safeText = fcntl(text, F_DUPFD, 10);
  const int safeProgress = fcntl(progress, F_DUPFD, 10);
  if (nothing < 0 || safeText < 0 || safeProgress < 0 || dup2(nothing, 0) < 0 ||
      dup2(safeText, 1) < 0 || dup2(safeText, 2) < 0 ||
      dup2(safeProgress, LinuxCheckerProcess::kProgressDescriptor) < 0) {
    _exit(kExecFailed);
  }
  // What the host has open without O_CLOEXEC is none of the program's.
  close_range(LinuxCheckerProcess::kProgressDescriptor + 1, ~0u, 0);
  execve(arguments[0], const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
  _exit(kExecFailed);
}

/// Reads what is there. @return false at the end of the stream
bool drain(FdOwner& source, const LinuxCheckerProcess::Receiver& receiver) {
  char buffer[4096];
  const ssize_t count = ::read(source.get(), buffer, sizeof buffer);
  if (count < 0) {
    return errno == EINTR || errno == EAGAIN;
  }
  if (count > 0) {
    receiver(std::string(buffer, static_cast<std::size_t>(count)));
  }
  return count > 0;
}

void readAll(FdOwner& text, FdOwner& progress, const LinuxCheckerProcess::Receiver& onText,
             const LinuxCheckerProcess::Receiver& onProgress) {
  while (text.get() >= 0 || progress.get() >= 0) {
    // A negative descriptor is passed over.
    std::array<pollfd, 2> waits = {{{text.get(), POLLIN, 0}, {progress.get(), POLLIN, 0}}};
    if (poll(waits.data(), waits.size(), -1) < 0) {
      if (errno == EINTR) {
        continue;
      }
      return;
    }
    if (waits[0].revents != 0 && !drain(text, onText)) {
      text.reset();
    }
    if (waits[1].revents != 0 && !drain(progress, onProgress)) {
      progress.reset();
    }
  }
}

int waitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) {
      return LinuxCheckerProcess::kNotStarted;
    }
  }
  if (WIFSIGNALED(status)) {
    return 128 + WTERMSIG(status);
  }
  const int code = WEXITSTATUS(status);
  return code == kExecFailed ? LinuxCheckerProcess::kNotStarted : code;
}

}  // namespace

int LinuxCheckerProcess::run(const std::vector<std::string>& arguments, const Receiver& onText,
                             const Receiver& onProgress) {
  Pipe text;
  Pipe progress;
  if (arguments.empty() || isReadOnly() || !text.open() || !progress.open()) {
    return kNotStarted;
  }
  std::vector<const char*> argumentList;
  argumentList.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    argumentList.push_back(argument.c_str());
  }
  argumentList.push_back(nullptr);
  const std::array<const char*, 3> environment = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin",
                                                  "LC_ALL=C.UTF-8", nullptr};

  const pid_t child = fork();
  if (child < 0) {
    return kNotStarted;
  }
  if (child == 0) {
    becomeChild(argumentList.data(), environment.data(), text.write.get(), progress.write.get());
  }
  text.write.reset();
  progress.write.reset();
  try {
    readAll(text.read, progress.read, onText, onProgress);
  } catch (...) {
    // Its reader has failed; the program still runs to its end, and is waited for.
    const auto ignore = [](const std::string&) {};
    readAll(text.read, progress.read, ignore, ignore);
    waitFor(child);
    throw;
  }
  return waitFor(child);
}

}  // namespace ostria::storage
