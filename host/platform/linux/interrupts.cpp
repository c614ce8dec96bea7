#include "host/platform/linux/interrupts.h"

#include <csignal>
#include <ctime>

namespace ostria::host {
namespace {

constexpr long kTickNanoseconds = 500'000'000;

sigset_t watchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGHUP);
  return set;
}

}  // namespace

Interrupts::Interrupts() {
  const sigset_t set = watchedSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  thread_ = std::thread([this] { loop(); });
}

Interrupts::~Interrupts() {
  ending_ = true;
  pthread_kill(thread_.native_handle(), SIGTERM);
  thread_.join();
}

void Interrupts::setHandlers(std::function<void(int)> onInterrupt, std::function<void()> onTick) {
  const std::lock_guard lock(mutex_);
  onInterrupt_ = std::move(onInterrupt);
  onTick_ = std::move(onTick);
}

void Interrupts::loop() {
  const sigset_t set = watchedSignals();
  const timespec tick{0, kTickNanoseconds};
  while (!ending_) {
    const int signal = sigtimedwait(&set, nullptr, &tick);
    if (ending_) {
      return;
    }
    const std::lock_guard lock(mutex_);
    if (signal > 0) {
      const int count = count_.fetch_add(1) + 1;
      if (onInterrupt_) {
        onInterrupt_(count);
      }
    } else if (onTick_) {
      onTick_();
    }
  }
}

}  // namespace ostria::host
