#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace ostria::storage {

/// One read or write at a byte offset.
struct TransferRequest {
  int descriptor = -1;
  std::uint64_t offset = 0;         ///< bytes; ignored by what has no position, such as a pipe
  std::size_t length = 0;           ///< bytes
  void* readInto = nullptr;         ///< set for a read; receives the bytes that came in time
  const void* writeFrom = nullptr;  ///< set for a write
  /// For a read: owner of the memory at `readInto`, which is aligned for unbuffered access. The
  /// data then go there without a copy, and a read that outlives its time-out keeps the memory:
  /// the caller must not look at it again.
  std::shared_ptr<void> memory = nullptr;
};

/// How a transfer ended.
struct TransferOutcome {
  enum class Kind { NotIssued, Finished, TimedOut };
  Kind kind = Kind::NotIssued;
  std::uint64_t bytes = 0;  ///< bytes that moved
  int error = 0;            ///< errno of a finished transfer that failed, else 0
};

/// Reads and writes that give up waiting after a time. Data pass through a buffer that belongs to
/// the request, aligned for unbuffered access, or go straight to memory that the request shares: a
/// request that outlives its time-out keeps either and its own duplicate of the descriptor, and
/// never touches memory that is the caller's alone. It is reaped by a later transfer. May be used
/// from several threads at a time.
class TimedTransfer {
 public:
  enum class Engine {
    Ring,    ///< the kernel's asynchronous interface, and a thread where the kernel refuses it
    Thread,  ///< always a thread of the request's own
  };

  explicit TimedTransfer(Engine engine = Engine::Ring);
  ~TimedTransfer();
  TimedTransfer(const TimedTransfer&) = delete;
  TimedTransfer& operator=(const TimedTransfer&) = delete;

  TransferOutcome run(const TransferRequest& request, std::uint32_t timeoutSeconds);
  /// Requests that timed out and are still under way. Reaps those that have ended.
  std::size_t outstanding();

 private:
  class Ring;
  class Buffer;

  std::unique_ptr<Ring> takeRing();
  TransferOutcome runOnRing(std::unique_ptr<Ring> ring, const TransferRequest& request,
                            std::uint32_t timeoutSeconds);
  TransferOutcome runOnThread(const TransferRequest& request, std::uint32_t timeoutSeconds);

  std::mutex mutex_;
  std::vector<std::unique_ptr<Ring>> idle_;
  std::vector<std::unique_ptr<Ring>> abandoned_;
  bool ringRefused_;
  struct ThreadCount;
  std::shared_ptr<ThreadCount> hangingThreads_;
};

}  // namespace ostria::storage
