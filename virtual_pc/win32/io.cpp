// CreateFile, DeviceIoControl, ReadFile, WriteFile, and waiting for them.
#include <algorithm>
#include <cstring>

#include "virtual_pc/system/text_forms.h"
#include "virtual_pc/win32/handles.h"

using namespace ostria::virtual_pc;

namespace {

enum class Action { Control, Read, Write };

void perform(Action action, IoRequest& request) {
  IoObject& object = *request.file->object;
  const bool moves = action != Action::Control;
  const std::size_t bytes = action == Action::Read ? request.bytes : request.input.size();
  const auto address = reinterpret_cast<std::uintptr_t>(request.memory);
  if (moves && request.file->unbuffered &&
      (request.offset % object.alignment() || bytes % object.alignment() ||
       address % object.alignment())) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  switch (action) {
    case Action::Control: {
      const std::uint32_t access = (request.code >> 14) & 3;
      if (((access & 1) && !request.file->readable) || ((access & 2) && !request.file->writable)) {
        return request.fail(ERROR_ACCESS_DENIED);
      }
      return object.control(request);
    }
    case Action::Read:
      return request.file->readable ? object.read(request) : request.fail(ERROR_ACCESS_DENIED);
    case Action::Write:
      return request.file->writable ? object.write(request) : request.fail(ERROR_ACCESS_DENIED);
  }
}

/// Does a request and ends it: at once, or later when the handle is asynchronous and the device
/// takes time.
BOOL run(const KernelCall& call, HANDLE handle, Action action, IoRequest request, void* buffer,
         LPDWORD done, LPOVERLAPPED overlapped) {
  const auto file = call->get<OpenFile>(valueOf(handle));
  if (!file) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  std::shared_ptr<EventObject> event;
  if ((overlapped != nullptr) && (overlapped->hEvent != nullptr)) {
    event = call->get<EventObject>(valueOf(overlapped->hEvent));
    if (!event) {
      return failWith(ERROR_INVALID_HANDLE);
    }
    event->set(false);
  }
  if (file->overlapped && (overlapped == nullptr)) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  if ((overlapped != nullptr) && action != Action::Control) {
    request.offset = (std::uint64_t{overlapped->OffsetHigh} << 32) | overlapped->Offset;
  } else if (action != Action::Control) {
    request.offset = file->position;
  }

  request.file = file.get();
  if (action == Action::Read) {
    request.output = std::move(file->spare);
  }
  perform(action, request);
  if (action == Action::Read && request.error != ERROR_SUCCESS) {
    request.output.clear();  // what an earlier read left there is no answer to this one
  }
  if (const auto& change = call->machine().faults().onAnswer) {
    change({request.code, request.output, request.returned, request.error});
    request.returned = std::min(
        request.returned, action == Action::Write ? request.input.size() : request.output.size());
  }
  Clock& clock = call->machine().clock();
  const bool delivers = request.error == ERROR_SUCCESS || request.error == ERROR_MORE_DATA;
  if (done != nullptr) {
    *done = delivers ? static_cast<DWORD>(request.returned) : 0;
  }

  if (file->overlapped && request.durationMicroseconds != 0) {
    overlapped->Internal = STATUS_PENDING;
    overlapped->InternalHigh = 0;
    const std::uint64_t endsAt = clock.now() + request.durationMicroseconds;
    request.file = nullptr;
    if (done != nullptr) {
      *done = 0;
    }
    call->addPending(
        {valueOf(handle), overlapped, buffer, std::move(event), std::move(request), endsAt});
    return failWith(ERROR_IO_PENDING);
  }
  clock.advance(request.durationMicroseconds);
  call->settle();
  if (delivers && (buffer != nullptr) && !request.output.empty() && request.returned != 0) {
    std::memcpy(buffer, request.output.data(), request.returned);
  }
  if (action == Action::Read) {
    file->spare = std::move(request.output);
  }
  if (overlapped != nullptr) {
    overlapped->Internal = request.error;
    overlapped->InternalHigh = delivers ? request.returned : 0;
    if (event && delivers) {
      event->set(true);
    }
  }
  if (action != Action::Control && !file->overlapped && delivers) {
    file->position = request.offset + request.returned;
  }
  // A synchronous read at the end of a file is no failure, it just gives nothing.
  if (request.error == ERROR_HANDLE_EOF && (overlapped == nullptr)) {
    return TRUE;
  }
  return succeeded(request.error);
}

std::vector<std::uint8_t> bytesOf(LPCVOID data, DWORD count) {
  const auto* first = static_cast<const std::uint8_t*>(data);
  return first != nullptr ? std::vector<std::uint8_t>(first, first + count)
                          : std::vector<std::uint8_t>();
}

}  // namespace

namespace ostria::virtual_pc {

DWORD copyOut(const std::wstring& text, LPWSTR buffer, DWORD size) {
  const auto length = static_cast<DWORD>(text.size());
  if (size <= length || (buffer == nullptr)) {
    return length + 1;
  }
  std::copy_n(text.c_str(), length + 1, buffer);
  return length;
}

}  // namespace ostria::virtual_pc

extern "C" {

DWORD WINAPI GetLastError(void);

HANDLE WINAPI CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES,
                          DWORD disposition, DWORD flags, HANDLE) {
  const KernelCall call;
  if (call.fails()) {
    return INVALID_HANDLE_VALUE;
  }
  HandleValue handle = 0;
  bool existed = false;
  const std::uint32_t error =
      call->open({utf8(name), access, share, disposition, flags}, &handle, &existed);
  if (error != ERROR_SUCCESS) {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
  }
  SetLastError(existed && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS)
                   ? ERROR_ALREADY_EXISTS
                   : ERROR_SUCCESS);
  return handleOf(handle);
}

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flags, HANDLE templateFile) {
  return CreateFileW(wide(name).c_str(), access, share, security, disposition, flags, templateFile);
}

BOOL WINAPI CloseHandle(HANDLE handle) {
  const KernelCall call(KernelCall::Kind::Plain);
  const auto object = call->get(valueOf(handle));
  if (object == nullptr || !object->closedByCloseHandle()) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  return call->close(valueOf(handle)) ? TRUE : FALSE;
}

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inBytes, LPVOID out,
                            DWORD outBytes, LPDWORD returned, LPOVERLAPPED overlapped) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  IoRequest request;
  request.code = code;
  request.input = bytesOf(in, inBytes);
  request.output.resize(out != nullptr ? outBytes : 0);
  return run(call, device, Action::Control, std::move(request), out, returned, overlapped);
}

BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD done,
                     LPOVERLAPPED overlapped) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  IoRequest request;
  request.memory = buffer;
  request.bytes = bytes;
  return run(call, file, Action::Read, std::move(request), buffer, done, overlapped);
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, LPDWORD done,
                      LPOVERLAPPED overlapped) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  IoRequest request;
  request.memory = buffer;
  request.input = bytesOf(buffer, bytes);
  const auto opened = call->get<OpenFile>(valueOf(file));
  const BOOL taken = run(call, file, Action::Write, std::move(request), nullptr, done, overlapped);
  if (opened && opened->unbuffered && !opened->writeThrough &&
      (taken != FALSE || GetLastError() == ERROR_IO_PENDING)) {
    call->machine().complaints().emplace_back(
        "An unbuffered file was written without write-through: the drive's cache may answer for "
        "the medium.");
    SetLastError(taken != FALSE ? ERROR_SUCCESS : ERROR_IO_PENDING);
  }
  return taken;
}

BOOL WINAPI SetFilePointerEx(HANDLE handle, LARGE_INTEGER distance, PLARGE_INTEGER position,
                             DWORD method) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto file = call->get<OpenFile>(valueOf(handle));
  if (!file) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  LONGLONG from = 0;
  if (method == FILE_CURRENT) {
    from = static_cast<LONGLONG>(file->position);
  }
  if (method == FILE_END) {
    from = static_cast<LONGLONG>(file->object->size());
  }
  LONGLONG moved = 0;
  if (__builtin_add_overflow(from, distance.QuadPart, &moved) || moved < 0) {
    return failWith(ERROR_NEGATIVE_SEEK);
  }
  if (file->unbuffered && moved % file->object->alignment() != 0) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  file->position = static_cast<std::uint64_t>(moved);
  if (position != nullptr) {
    position->QuadPart = moved;
  }
  return TRUE;
}

BOOL WINAPI SetEndOfFile(HANDLE handle) {
  const KernelCall call;
  if (call.fails()) {
    return FALSE;
  }
  const auto file = call->get<OpenFile>(valueOf(handle));
  if (!file) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  if (!file->writable) {
    return failWith(ERROR_ACCESS_DENIED);
  }
  return succeeded(file->object->resize(file->position));
}

BOOL WINAPI GetOverlappedResult(HANDLE file, LPOVERLAPPED overlapped, LPDWORD done, BOOL wait) {
  const KernelCall call(KernelCall::Kind::Plain);
  if (!call->get<OpenFile>(valueOf(file))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  call->settle();
  std::uint64_t moment = 0;
  if (call->endOf(overlapped, &moment)) {
    if (!wait) {
      return failWith(ERROR_IO_INCOMPLETE);
    }
    call->machine().clock().advanceTo(moment);
    call->settle();
  }
  *done = static_cast<DWORD>(overlapped->InternalHigh);
  return succeeded(static_cast<std::uint32_t>(overlapped->Internal));
}

BOOL WINAPI CancelIo(HANDLE file) {
  const KernelCall call(KernelCall::Kind::Plain);
  if (!call->get<OpenFile>(valueOf(file))) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  call->cancel(valueOf(file));
  return TRUE;
}

HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCWSTR) {
  const KernelCall call;
  if (call.fails()) {
    return nullptr;
  }
  return handleOf(call->add(std::make_shared<EventObject>(manualReset != 0, initialState != 0)));
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  const KernelCall call;
  if (call.fails()) {
    return WAIT_FAILED;
  }
  const auto object = call->get(valueOf(handle));
  if (!object || !object->waitable()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
  }
  if (call->wait(*object, milliseconds)) {
    return WAIT_OBJECT_0;
  }
  if (milliseconds != INFINITE) {
    return WAIT_TIMEOUT;
  }
  // Nothing in this machine will ever signal it: a wait without end is the caller's mistake.
  SetLastError(ERROR_INVALID_FUNCTION);
  return WAIT_FAILED;
}

}  // extern "C"
