// Ctrl-C, Ctrl-Break and the end of the session come on a thread of the system. A program whose
// window is closed is ended when that call returns, so the call waits until what was taken off line
// is back; the system itself sets the limit.
#include "host/platform/interrupts.h"

#include <windows.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace ostria::host {
namespace {

constexpr auto kTick = std::chrono::milliseconds(500);

class ConsoleInterrupts final : public Interrupts {
 public:
  ConsoleInterrupts() {
    current() = this;
    SetConsoleCtrlHandler(&ConsoleInterrupts::onEvent, TRUE);
    thread_ = std::thread([this] { loop(); });
  }
  ~ConsoleInterrupts() override {
    SetConsoleCtrlHandler(&ConsoleInterrupts::onEvent, FALSE);
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    ended_.notify_all();
    thread_.join();
    current() = nullptr;
  }
  ConsoleInterrupts(const ConsoleInterrupts&) = delete;
  ConsoleInterrupts& operator=(const ConsoleInterrupts&) = delete;

  int count() const override { return count_.load(); }
  void requestAbort() override { count_.fetch_add(1); }
  void setHandlers(std::function<void(int)> onInterrupt, std::function<void()> onTick) override {
    const std::lock_guard lock(mutex_);
    onInterrupt_ = std::move(onInterrupt);
    onTick_ = std::move(onTick);
  }

 private:
  static std::atomic<ConsoleInterrupts*>& current() {
    static std::atomic<ConsoleInterrupts*> object{nullptr};
    return object;
  }

  static BOOL WINAPI onEvent(DWORD event) {
    ConsoleInterrupts* self = current();
    if (self == nullptr) {
      return FALSE;
    }
    self->interrupt();
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
      Sleep(INFINITE);  // the program ends by itself, and this thread with it
    }
    return TRUE;
  }

  void interrupt() {
    const std::lock_guard lock(mutex_);
    const int count = count_.fetch_add(1) + 1;
    if (onInterrupt_) {
      onInterrupt_(count);
    }
  }

  void loop() {
    std::unique_lock lock(mutex_);
    while (!ended_.wait_for(lock, kTick, [this] { return ending_; })) {
      if (onTick_) {
        onTick_();
      }
    }
  }

  std::atomic<int> count_{0};
  std::mutex mutex_;
  std::condition_variable ended_;
  bool ending_ = false;
  std::function<void(int)> onInterrupt_;
  std::function<void()> onTick_;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<Interrupts> watchInterrupts() { return std::make_unique<ConsoleInterrupts>(); }

}  // namespace ostria::host
