// fork and exec, with two pipes for each child. This process has threads, so between the two only
// calls are made that are safe there.
#include "host/platform/children.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace ostria::host {
namespace {

// A line of a child that goes wrong must not fill the memory.
constexpr std::size_t kMostLineBytes = std::size_t{64} << 20;

struct Pipe {
  int descriptor = -1;
  std::string text;  ///< of a line that is not whole yet
};

struct Child {
  std::size_t number = 0;
  pid_t process = -1;
  std::array<Pipe, 2> pipes;  ///< standard output, standard error
};

class ForkedChildren final : public Children {
 public:
  ~ForkedChildren() override {
    interrupt();
    const OnLine noLine = [](std::size_t, const std::string&, bool) {};
    const OnEnd noEnd = [](std::size_t, int) {};
    while (!children_.empty()) {
      wait(1000, noLine, noEnd);
    }
  }

  bool start(std::size_t number, const std::vector<std::string>& arguments) override {
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), "OstriaDiagnosticsCLI");
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
      argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    pid_t process = -1;
    if (null >= 0 && pipe2(out, O_CLOEXEC) == 0 && pipe2(err, O_CLOEXEC) == 0) {
      const pid_t parent = getpid();
      process = fork();
      if (process == 0) {
        // A child that stays in the group gets Ctrl-C twice, which does no harm.
        (void)setpgid(0, 0);
        (void)prctl(PR_SET_PDEATHSIG, SIGINT);
        // It may have died meanwhile.
        if (getppid() == parent && dup2(null, STDIN_FILENO) >= 0 &&
            dup2(out[1], STDOUT_FILENO) >= 0 && dup2(err[1], STDERR_FILENO) >= 0) {
          execv("/proc/self/exe", argv.data());
        }
        _exit(127);
      }
    }
    for (const int descriptor : {null, out[1], err[1]}) {
      close(descriptor);
    }
    if (process < 0) {
      close(out[0]);
      close(err[0]);
      return false;
    }
    children_.push_back({number, process, {Pipe{out[0], {}}, Pipe{err[0], {}}}});
    return true;
  }

  std::size_t running() const override { return children_.size(); }

  void wait(int milliseconds, const OnLine& onLine, const OnEnd& onEnd) override {
    std::vector<pollfd> watched;
    for (const Child& child : children_) {
      for (const Pipe& pipe : child.pipes) {
        watched.push_back({pipe.descriptor, POLLIN, 0});
      }
    }
    if (poll(watched.data(), watched.size(), milliseconds) <= 0) {
      return;
    }
    for (std::size_t i = 0; i < watched.size(); ++i) {
      if (watched[i].revents != 0) {
        take(children_[i / 2], i % 2, onLine);
      }
    }
    for (std::size_t i = children_.size(); i-- > 0;) {
      if (children_[i].pipes[0].descriptor < 0 && children_[i].pipes[1].descriptor < 0) {
        const Child child = std::move(children_[i]);
        children_.erase(children_.begin() + static_cast<std::ptrdiff_t>(i));
        int status = 0;
        while (waitpid(child.process, &status, 0) < 0 && errno == EINTR) {
        }
        onEnd(child.number, WIFEXITED(status) ? WEXITSTATUS(status) : -1);
      }
    }
  }

  void interrupt() override {
    for (const Child& child : children_) {
      // One that has ended already needs none.
      (void)kill(child.process, SIGINT);
    }
  }

 private:
  static void take(Child& child, std::size_t which, const OnLine& onLine) {
    Pipe& pipe = child.pipes[which];
    std::array<char, 65536> buffer{};
    const ssize_t count = read(pipe.descriptor, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) {
      return;
    }
    if (count <= 0 || pipe.text.size() > kMostLineBytes) {
      close(pipe.descriptor);
      pipe.descriptor = -1;
      if (!pipe.text.empty()) {
        onLine(child.number, pipe.text, which == 1);
      }
      return;
    }
    pipe.text.append(buffer.data(), static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = pipe.text.find('\n')) != std::string::npos;) {
      const std::string line = pipe.text.substr(0, end);
      pipe.text.erase(0, end + 1);
      onLine(child.number, line, which == 1);
    }
  }

  std::vector<Child> children_;
};

}  // namespace

std::unique_ptr<Children> makeChildren() { return std::make_unique<ForkedChildren>(); }

}  // namespace ostria::host
