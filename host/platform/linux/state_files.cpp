// The state folder of the XDG base directories, for root the system's, and flock: it is given up
// with the descriptor, so a program that dies leaves nothing behind.
#include "host/platform/state_files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace ostria::host {
namespace {

class Flock final : public FileLock {
 public:
  Flock(const std::string& path, Patience& patience)
      : descriptor_(
            open(path.c_str(), O_CREAT | O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600)) {
    while (descriptor_ >= 0 && flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK || !patience.pause()) {
        close(descriptor_);
        descriptor_ = -1;
      }
    }
  }
  ~Flock() override {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }
  Flock(const Flock&) = delete;
  Flock& operator=(const Flock&) = delete;
  bool isHeld() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

}  // namespace

std::string stateFolder() {
  // Root's variables may be those of whoever became root, and point to a folder of theirs.
  if (geteuid() == 0) {
    return "/var/lib";
  }
  const char* state = secure_getenv("XDG_STATE_HOME");
  // The base directory rules say that a relative path counts as none.
  if (state != nullptr && *state == '/') {
    return state;
  }
  const char* home = secure_getenv("HOME");
  if (home == nullptr || *home != '/') {
    // Only one thread of the program asks for users.
    // cppcheck-suppress getpwuidCalled
    const passwd* user = getpwuid(geteuid());
    home = user != nullptr ? user->pw_dir : nullptr;
  }
  return home != nullptr && *home == '/' ? home + std::string("/.local/state") : std::string();
}

std::unique_ptr<FileLock> lockFile(const std::string& path, Patience& patience) {
  auto lock = std::make_unique<Flock>(path, patience);
  return lock->isHeld() ? std::move(lock) : nullptr;
}

}  // namespace ostria::host
