// A read that hangs cannot be taken back on Linux: it goes on in memory of its own, on a ring or a
// thread that is left behind.
#include "platform/linux/io/timed_transfer.h"

#include <fcntl.h>
#include <liburing.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/io/left_behind.h"

namespace ostria::storage {
namespace {

using Clock = std::chrono::steady_clock;

// Enough for every sector size and every controller's address rule.
constexpr std::size_t kAlignment = 4096;
// The kernel moves no more than this in one call.
constexpr std::size_t kLongestTransfer = 0x7FFFF000;
// Each request that hangs pins its buffer. A drive that collects this many will not recover by
// more.
constexpr std::size_t kMostOutstanding = 64;
// Bytes of a buffer that waits for the next transfer. Blocks of a scan are larger, and come with
// memory of their own.
constexpr std::size_t kMostKept = 1u << 20;

ssize_t transferNow(int descriptor, bool read, void* buffer, std::size_t length,
                    std::uint64_t offset) {
  const auto at = static_cast<off_t>(offset);
  ssize_t moved = -1;
  do {
    moved =
        read ? ::pread(descriptor, buffer, length, at) : ::pwrite(descriptor, buffer, length, at);
    if (moved < 0 && errno == ESPIPE) {
      moved = read ? ::read(descriptor, buffer, length) : ::write(descriptor, buffer, length);
    }
  } while (moved < 0 && errno == EINTR);
  return moved;
}

}  // namespace

/// Aligned memory that grows and is reused.
class TimedTransfer::Buffer {
 public:
  bool reserve(std::size_t bytes) {
    if (bytes <= capacity_) {
      return true;
    }
    const std::size_t rounded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    memory_.reset(std::aligned_alloc(kAlignment, rounded));
    capacity_ = memory_ == nullptr ? 0 : rounded;
    return memory_ != nullptr;
  }
  void* data() const { return memory_.get(); }
  void trim(std::size_t most) {
    if (capacity_ > most) {
      memory_.reset();
      capacity_ = 0;
    }
  }

 private:
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };
  std::unique_ptr<void, Free> memory_;
  std::size_t capacity_ = 0;
};

/// One submission queue with at most one request in it, and the buffer of that request.
class TimedTransfer::Ring {
 public:
  Ring() { open_ = ::io_uring_queue_init(2, &ring_, 0) == 0; }
  ~Ring() {
    if (open_) {
      ::io_uring_queue_exit(&ring_);
    }
  }
  Ring(const Ring&) = delete;
  Ring& operator=(const Ring&) = delete;

  /// The first kernels with rings could not read and write by plain address.
  bool usable() {
    if (!open_) {
      return false;
    }
    io_uring_probe* const probe = ::io_uring_get_probe_ring(&ring_);
    if (probe == nullptr) {
      return false;
    }
    const bool able = ::io_uring_opcode_supported(probe, IORING_OP_READ) != 0 &&
                      ::io_uring_opcode_supported(probe, IORING_OP_WRITE) != 0;
    ::io_uring_free_probe(probe);
    return able;
  }
  Buffer& buffer() { return buffer_; }

  /// A request with memory of its own uses that, any other the buffer.
  bool submit(const TransferRequest& request) {
    memory_ = request.memory;
    void* const data = memory_ != nullptr ? request.readInto : buffer_.data();
    descriptor_.reset(::fcntl(request.descriptor, F_DUPFD_CLOEXEC, 0));
    io_uring_sqe* entry = descriptor_.valid() ? ::io_uring_get_sqe(&ring_) : nullptr;
    if (entry == nullptr) {
      return false;
    }
    const auto length = static_cast<unsigned>(request.length);
    if (request.readInto != nullptr) {
      ::io_uring_prep_read(entry, descriptor_.get(), data, length, request.offset);
    } else {
      ::io_uring_prep_write(entry, descriptor_.get(), data, length, request.offset);
    }
    entry->user_data = kTransferTag;
    int submitted = 0;
    do {
      submitted = ::io_uring_submit(&ring_);
    } while (submitted == -EINTR);
    inFlight_ = submitted == 1;
    return inFlight_;
  }

  /// Waits until the deadline. @return whether the request has ended
  bool wait(Clock::time_point deadline, std::int32_t* result) {
    for (;;) {
      if (reap(result)) {
        return true;
      }
      const auto left = deadline - Clock::now();
      if (left <= Clock::duration::zero()) {
        return false;
      }
      const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
      __kernel_timespec limit = {nanoseconds / 1000000000, nanoseconds % 1000000000};
      io_uring_cqe* entry = nullptr;
      const int waited = ::io_uring_wait_cqe_timeout(&ring_, &entry, &limit);
      if (waited < 0 && waited != -ETIME && waited != -EINTR && waited != -EAGAIN) {
        return false;
      }
    }
  }

  /// Takes what has come back, without waiting. @return whether the request has ended
  bool reap(std::int32_t* result) {
    io_uring_cqe* entry = nullptr;
    while (inFlight_ && ::io_uring_peek_cqe(&ring_, &entry) == 0 && entry != nullptr) {
      if (entry->user_data == kTransferTag) {
        inFlight_ = false;
        *result = entry->res;
      }
      ::io_uring_cqe_seen(&ring_, entry);
    }
    if (!inFlight_) {
      descriptor_.reset();
      memory_.reset();
    }
    return !inFlight_;
  }

  void cancel() {
    io_uring_sqe* entry = ::io_uring_get_sqe(&ring_);
    if (entry == nullptr) {
      return;
    }
    ::io_uring_prep_cancel64(entry, kTransferTag, 0);
    entry->user_data = kCancelTag;
    ::io_uring_submit(&ring_);
  }

 private:
  static constexpr std::uint64_t kTransferTag = 1;
  static constexpr std::uint64_t kCancelTag = 2;

  io_uring ring_ = {};
  bool open_ = false;
  bool inFlight_ = false;
  FdOwner descriptor_;
  std::shared_ptr<void> memory_;  ///< that the request in flight shares with its caller
  Buffer buffer_;
};

struct TimedTransfer::ThreadCount {
  std::atomic<std::size_t> running{0};
};

TimedTransfer::TimedTransfer(Engine engine)
    : ringRefused_(engine == Engine::Thread), hangingThreads_(std::make_shared<ThreadCount>()) {}

TimedTransfer::~TimedTransfer() {
  // A request in flight still writes into its buffer; closing the ring does not wait for the
  // device. Such memory is left to the end of the process.
  outstanding();
  for (auto& ring : abandoned_) {
    static_cast<void>(ring.release());
  }
}

std::size_t TimedTransfer::outstanding() {
  const std::lock_guard lock(mutex_);
  const auto ended =
      std::partition(abandoned_.begin(), abandoned_.end(), [](const std::unique_ptr<Ring>& ring) {
        std::int32_t ignored = 0;
        return !ring->reap(&ignored);
      });
  // An abandoned ring may still owe the answer to its cancellation: it is not used again.
  abandoned_.erase(ended, abandoned_.end());
  return abandoned_.size() + hangingThreads_->running;
}

std::unique_ptr<TimedTransfer::Ring> TimedTransfer::takeRing() {
  const std::lock_guard lock(mutex_);
  if (ringRefused_) {
    return nullptr;
  }
  if (!idle_.empty()) {
    auto ring = std::move(idle_.back());
    idle_.pop_back();
    return ring;
  }
  auto ring = std::make_unique<Ring>();
  if (ring->usable()) {
    return ring;
  }
  ringRefused_ = true;
  return nullptr;
}

TransferOutcome TimedTransfer::run(const TransferRequest& request, std::uint32_t timeoutSeconds) {
  if ((request.readInto == nullptr) == (request.writeFrom == nullptr) ||
      (request.memory != nullptr && request.readInto == nullptr)) {
    return {};
  }
  if (request.length > kLongestTransfer ||
      request.offset > static_cast<std::uint64_t>(INT64_MAX) - request.length) {
    return {};
  }
  if (outstanding() >= kMostOutstanding) {
    return {};
  }
  if (auto ring = takeRing()) {
    return runOnRing(std::move(ring), request, timeoutSeconds);
  }
  return runOnThread(request, timeoutSeconds);
}

TransferOutcome TimedTransfer::runOnRing(std::unique_ptr<Ring> ring, const TransferRequest& request,
                                         std::uint32_t timeoutSeconds) {
  const bool direct = request.memory != nullptr;
  if (!direct && !ring->buffer().reserve(request.length)) {
    return {};
  }
  if (request.writeFrom != nullptr) {
    std::memcpy(ring->buffer().data(), request.writeFrom, request.length);
  }
  const auto deadline = Clock::now() + std::chrono::seconds(timeoutSeconds);
  if (!ring->submit(request)) {
    return {};
  }

  TransferOutcome outcome;
  std::int32_t result = 0;
  if (!ring->wait(deadline, &result)) {
    ring->cancel();
    // What was only queued ends with the cancellation at once; its data still do not count.
    const std::lock_guard lock(mutex_);
    Ring* const left =
        ring.release();  // without room in the list it leaks: the kernel still writes
    try {
      abandoned_.emplace_back(left);
    } catch (const std::bad_alloc&) {
      ++hangingThreads_->running;
    }
    outcome.kind = TransferOutcome::Kind::TimedOut;
    return outcome;
  }
  outcome.kind = TransferOutcome::Kind::Finished;
  if (result < 0) {
    outcome.error = -result;
  } else {
    outcome.bytes = std::min<std::uint64_t>(static_cast<std::uint32_t>(result), request.length);
    if (request.readInto != nullptr && !direct) {
      std::memcpy(request.readInto, ring->buffer().data(), outcome.bytes);
    }
  }
  ring->buffer().trim(kMostKept);
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(ring));
  return outcome;
}

TransferOutcome TimedTransfer::runOnThread(const TransferRequest& request,
                                           std::uint32_t timeoutSeconds) {
  struct Shared {
    FdOwner descriptor;
    Buffer buffer;
    std::shared_ptr<void> memory;  // of the request, instead of the buffer
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;
    bool abandoned = false;
    ssize_t moved = -1;
    int error = 0;
  };
  const auto shared = std::make_shared<Shared>();
  shared->descriptor.reset(::fcntl(request.descriptor, F_DUPFD_CLOEXEC, 0));
  shared->memory = request.memory;
  const bool direct = request.memory != nullptr;
  if (!shared->descriptor.valid() || (!direct && !shared->buffer.reserve(request.length))) {
    return {};
  }
  const bool read = request.readInto != nullptr;
  void* const data = direct ? request.readInto : shared->buffer.data();
  if (!read) {
    std::memcpy(shared->buffer.data(), request.writeFrom, request.length);
  }

  const auto deadline = Clock::now() + std::chrono::seconds(timeoutSeconds);
  keepModuleLoaded();
  try {
    std::thread([shared, read, data, length = request.length, offset = request.offset,
                 count = hangingThreads_] {
      const ssize_t moved = transferNow(shared->descriptor.get(), read, data, length, offset);
      const int error = moved < 0 ? errno : 0;
      const std::lock_guard lock(shared->mutex);
      shared->moved = moved;
      shared->error = error;
      shared->done = true;
      if (shared->abandoned) {
        --count->running;
      }
      shared->ended.notify_all();
    }).detach();
  } catch (const std::exception&) {
    return {};
  }

  TransferOutcome outcome;
  std::unique_lock lock(shared->mutex);
  if (!shared->ended.wait_until(lock, deadline, [&] { return shared->done; })) {
    shared->abandoned = true;
    ++hangingThreads_->running;
    outcome.kind = TransferOutcome::Kind::TimedOut;
    return outcome;
  }
  outcome.kind = TransferOutcome::Kind::Finished;
  outcome.error = shared->error;
  outcome.bytes = shared->moved < 0 ? 0 : static_cast<std::uint64_t>(shared->moved);
  if (read && !direct && outcome.bytes > 0) {
    std::memcpy(request.readInto, shared->buffer.data(), outcome.bytes);
  }
  return outcome;
}

}  // namespace ostria::storage
