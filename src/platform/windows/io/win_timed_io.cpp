// Overlapped requests. CancelIo only asks: the driver may write until it has ended the request, so
// its memory is kept until then.
#include "platform/windows/io/win_timed_io.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "platform/windows/io/win_handle.h"

namespace ostria::storage {
namespace {

/// Bytes of a request that the system did not take.
constexpr std::uint64_t kNotIssued = UINT64_MAX;

/// Unbuffered access wants the memory aligned to the sector size.
constexpr std::align_val_t kBufferAlignment{4096};

struct AlignedDelete {
  void operator()(std::uint8_t* memory) const { ::operator delete(memory, kBufferAlignment); }
};

/// All memory that the system may use until the request has ended.
struct TimedRequest {
  OVERLAPPED overlapped{};
  UniqueHandle event;
  std::unique_ptr<std::uint8_t, AlignedDelete> buffer;
  std::shared_ptr<void> shared;  ///< owner of the memory of a read that needs no buffer

  bool ended() const { return HasOverlappedIoCompleted(&overlapped); }
};

/// Null when memory or the event cannot be had.
std::unique_ptr<TimedRequest> makeRequest(std::uint64_t offset, std::uint64_t length,
                                          std::shared_ptr<void> shared) {
  std::unique_ptr<TimedRequest> request(new (std::nothrow) TimedRequest);
  if (!request) {
    return nullptr;
  }
  request->event = UniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  request->shared = std::move(shared);
  if (!request->shared) {
    request->buffer.reset(static_cast<std::uint8_t*>(
        ::operator new(static_cast<std::size_t>(std::max<std::uint64_t>(length, 1)),
                       kBufferAlignment, std::nothrow)));
  }
  if (!request->event || (!request->buffer && !request->shared)) {
    return nullptr;
  }
  request->overlapped.hEvent = request->event.get();
  request->overlapped.Offset = static_cast<DWORD>(offset);
  request->overlapped.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return request;
}

/// Requests that were given up while the system still worked on them.
class ParkedRequests {
 public:
  /// Where memory for the list is short the request is leaked: freed, it would be written to.
  void add(std::unique_ptr<TimedRequest> request) {
    const std::lock_guard lock(mutex_);
    TimedRequest* const parked = request.release();
    try {
      requests_.emplace_back(parked);
    } catch (const std::bad_alloc&) {
      return;
    }
  }
  void freeEnded() {
    const std::lock_guard lock(mutex_);
    std::erase_if(requests_, [](const auto& request) { return request->ended(); });
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<TimedRequest>> requests_;
};

ParkedRequests& parkedRequests() {
  static ParkedRequests& parked = *new ParkedRequests;
  return parked;
}

void giveUp(HANDLE file, std::unique_ptr<TimedRequest> request) {
  CancelIo(file);
  if (!request->ended()) {
    parkedRequests().add(std::move(request));
  }
}

DWORD milliseconds(std::uint32_t seconds) {
  return static_cast<DWORD>(std::min<std::uint64_t>(std::uint64_t{seconds} * 1000, INFINITE - 1));
}

/// What the error of a request that ended says. Only these two are the disk driver's words for a
/// sector that the medium does not give back.
ProtocolResult resultOf(DWORD error) {
  switch (error) {
    case ERROR_CRC:
    case ERROR_SECTOR_NOT_FOUND:
      return ProtocolResult::MediumError;
    case ERROR_DISK_FULL:
      return ProtocolResult::VolumeFull;
    default:
      return ProtocolResult::TransportFailure;
  }
}

/// Waits for an issued request. @param moved  set when the request ended in time
ProtocolResult finish(HANDLE file, std::unique_ptr<TimedRequest>& request, std::uint64_t length,
                      std::uint64_t* moved, std::uint32_t timeoutSeconds,
                      ProtocolResult timeoutResult) {
  const DWORD waited = WaitForSingleObject(request->event.get(), milliseconds(timeoutSeconds));
  if (waited != WAIT_OBJECT_0) {
    giveUp(file, std::move(request));
    return waited == WAIT_TIMEOUT ? timeoutResult : ProtocolResult::MediumError;
  }
  DWORD bytes = 0;
  if (!GetOverlappedResult(file, &request->overlapped, &bytes, FALSE)) {
    const DWORD error = GetLastError();
    if (!request->ended()) {
      giveUp(file, std::move(request));
      return ProtocolResult::MediumError;
    }
    *moved = 0;
    return resultOf(error);
  }
  *moved = std::min<std::uint64_t>(bytes, length);
  return *moved == length ? ProtocolResult::Success : ProtocolResult::MediumError;
}

/// What a request that failed at once says: a device that is fast enough fails there, too.
ProtocolResult failedAtOnce(DWORD error) {
  return error == ERROR_CRC || error == ERROR_SECTOR_NOT_FOUND ? ProtocolResult::MediumError
                                                               : ProtocolResult::Failure;
}

std::unique_ptr<TimedRequest> prepare(DeviceHandle handle, std::uint64_t offset,
                                      std::uint64_t length, std::shared_ptr<void> shared = {}) {
  parkedRequests().freeEnded();
  if (!handle || length > UINT32_MAX) {
    return nullptr;
  }
  return makeRequest(offset, length, std::move(shared));
}

/// Issues a read and waits for it.
/// @param request  null afterwards when the read was given up
ProtocolResult read(HANDLE file, std::unique_ptr<TimedRequest>& request, void* memory,
                    std::uint64_t length, std::uint64_t* moved, std::uint32_t timeoutSeconds) {
  if (!ReadFile(file, memory, static_cast<DWORD>(length), nullptr, &request->overlapped)) {
    const DWORD error = GetLastError();
    if (error != ERROR_IO_PENDING) {
      return failedAtOnce(error);
    }
  }
  return finish(file, request, length, moved, timeoutSeconds, ProtocolResult::ReadTimeout);
}

}  // namespace

ProtocolResult timedRead(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                         std::uint64_t* done, std::uint32_t timeoutSeconds, void* buffer) {
  std::unique_ptr<TimedRequest> request = prepare(handle, offset, length);
  if (!request) {
    return ProtocolResult::Failure;
  }
  std::uint64_t moved = kNotIssued;
  const ProtocolResult result =
      read(toNativeHandle(handle), request, request->buffer.get(), length, &moved, timeoutSeconds);
  if (request && moved != kNotIssued) {
    if (moved != 0) {
      std::memcpy(buffer, request->buffer.get(), static_cast<std::size_t>(moved));
    }
    if (done != nullptr) {
      *done = moved;
    }
  }
  return result;
}

ProtocolResult timedRead(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                         std::uint64_t* done, std::uint32_t timeoutSeconds,
                         TransferBuffer& buffer) {
  if (buffer.data() == nullptr || length > buffer.size()) {
    return ProtocolResult::Failure;
  }
  std::unique_ptr<TimedRequest> request = prepare(handle, offset, length, buffer.share());
  if (!request) {
    return ProtocolResult::Failure;
  }
  std::uint64_t moved = kNotIssued;
  const ProtocolResult result =
      read(toNativeHandle(handle), request, buffer.data(), length, &moved, timeoutSeconds);
  if (!request) {
    // The driver may still write there, nobody knows how long.
    buffer.abandon();
  } else if (done != nullptr && moved != kNotIssued) {
    *done = moved;
  }
  return result;
}

ProtocolResult timedWrite(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                          std::uint64_t* done, std::uint32_t timeoutSeconds, const void* buffer) {
  std::unique_ptr<TimedRequest> request = prepare(handle, offset, length);
  if (!request) {
    return ProtocolResult::Failure;
  }
  if (length != 0) {
    std::memcpy(request->buffer.get(), buffer, static_cast<std::size_t>(length));
  }
  const HANDLE file = toNativeHandle(handle);
  if (!WriteFile(file, request->buffer.get(), static_cast<DWORD>(length), nullptr,
                 &request->overlapped)) {
    const DWORD error = GetLastError();
    if (error != ERROR_IO_PENDING) {
      return error == ERROR_DISK_FULL ? ProtocolResult::VolumeFull : failedAtOnce(error);
    }
  }

  std::uint64_t moved = 0;
  const ProtocolResult result =
      finish(file, request, length, &moved, timeoutSeconds, ProtocolResult::WriteTimeout);
  if (request && done != nullptr) {
    *done = moved;
  }
  return result;
}

}  // namespace ostria::storage
