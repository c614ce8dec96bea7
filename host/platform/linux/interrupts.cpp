// The signals are blocked in every thread and fetched by one of them with sigtimedwait: no handler
// runs in the middle of another call, so what it calls need not be safe against signals.
#include "host/platform/interrupts.h"

#include <atomic>
#include <csignal>
#include <ctime>
#include <mutex>
#include <new>
#include <thread>

#include "host/platform/linux/capabilities.h"

namespace ostria::host {
namespace {

constexpr long kTickNanoseconds = 500'000'000;
/// Wakes the thread for its end. The program has no other use for it.
constexpr int kWake = SIGUSR1;

// What the program was started with as ignored stays ignored: nohup and the background of a script
// rely on that, and a blocked signal would be fetched all the same.
sigset_t watchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    struct sigaction old {};
    if (sigaction(number, nullptr, &old) != 0 || old.sa_handler != SIG_IGN) {
      sigaddset(&set, number);
    }
  }
  std::signal(kWake, SIG_DFL);
  sigaddset(&set, kWake);
  return set;
}

class SignalInterrupts final : public Interrupts {
 public:
  SignalInterrupts();
  ~SignalInterrupts() override;
  SignalInterrupts(const SignalInterrupts&) = delete;
  SignalInterrupts& operator=(const SignalInterrupts&) = delete;

  int count() const override { return count_.load(); }
  void requestAbort() override { count_.fetch_add(1); }
  void setHandlers(std::function<void(int)> onInterrupt, std::function<void()> onTick) override;

 private:
  void loop();
  void take(int signal);

  const sigset_t set_ = watchedSignals();
  std::atomic<int> count_{0};
  std::atomic<bool> ending_{false};
  std::mutex mutex_;
  std::function<void(int)> onInterrupt_;
  std::function<void()> onTick_;
  std::thread thread_;
};

SignalInterrupts::SignalInterrupts() {
  pthread_sigmask(SIG_BLOCK, &set_, nullptr);
  // The writes fail instead, and the program says what could not be kept.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  thread_ = std::thread([this] { loop(); });
}

SignalInterrupts::~SignalInterrupts() {
  ending_ = true;
  pthread_kill(thread_.native_handle(), kWake);
  thread_.join();
}

void SignalInterrupts::setHandlers(std::function<void(int)> onInterrupt,
                                   std::function<void()> onTick) {
  const std::lock_guard lock(mutex_);
  onInterrupt_ = std::move(onInterrupt);
  onTick_ = std::move(onTick);
}

void SignalInterrupts::loop() {
  // This thread waits and writes to streams that are open. What the others give up later it would
  // keep.
  keepCapabilities(0);
  const timespec tick{0, kTickNanoseconds};
  while (!ending_) {
    const int signal = sigtimedwait(&set_, nullptr, &tick);
    if (!ending_ && signal != kWake) {
      take(signal);
    }
  }
}

void SignalInterrupts::take(int signal) {
  const std::lock_guard lock(mutex_);
  try {
    if (signal > 0) {
      const int count = count_.fetch_add(1) + 1;
      if (onInterrupt_) {
        onInterrupt_(count);
      }
    } else if (onTick_) {
      onTick_();
    }
  } catch (const std::bad_alloc&) {
    // A line on the screen is missing; the wish to stop has been counted.
  }
}

}  // namespace

std::unique_ptr<Interrupts> watchInterrupts() { return std::make_unique<SignalInterrupts>(); }

}  // namespace ostria::host
