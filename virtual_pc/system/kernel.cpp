// Handles, opening of devices and files, requests in flight, and waits that let virtual time pass.
#include "virtual_pc/system/kernel.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "virtual_pc/system/text_forms.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::uintmax_t kMostFileBytes = std::uintmax_t{16} << 20;

/// Path and file may be anybody's, and the complaint may go to a terminal.
void complain(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
  std::fprintf(stderr, "%s\n", text.c_str());
}

/// Neither a pipe, which would never end, nor more than a machine can need.
bool readMachineFile(const char* path, std::string* text) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error) ||
      std::filesystem::file_size(path, error) > kMostFileBytes) {
    return false;
  }
  std::ifstream file(path, std::ios::binary);
  text->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return !file.fail();
}

/// The machine that the environment names. A file that can't be used gives a PC without drives, so
/// that nobody takes the built-in drives for those of the file.
MachineDescription configuredMachine() {
  MachineDescription out;
  std::string error;
  const char* path = std::getenv("OSTRIA_VIRTUAL_PC");
  if ((path == nullptr) || !*path) {
    if (!parseMachine(builtInMachineText(), &out, &error)) {
      complain("built-in machine: " + error);
    }
    return out;
  }
  std::string text;
  if (!readMachineFile(path, &text)) {
    complain(std::string(path) + ": this machine file can't be read.");
  } else if (!parseMachine(text, &out, &error)) {
    complain(std::string(path) + ": " + error);
  }
  return out;
}

}  // namespace

void installMachine(MachineDescription description) {
  Kernel::instance().install(std::make_unique<Machine>(std::move(description)));
}

bool installMachine(std::string_view text, std::string* error) {
  MachineDescription description;
  if (!parseMachine(text, &description, error)) {
    return false;
  }
  installMachine(std::move(description));
  return true;
}

void resetMachine() { Kernel::instance().install(nullptr); }

Machine& machine() { return Kernel::instance().machine(); }

std::size_t openHandles() {
  const KernelCall call(KernelCall::Kind::Plain);
  return call->openHandles();
}

Kernel& Kernel::instance() {
  static Kernel kernel;
  return kernel;
}

Machine& Kernel::machine() {
  const std::lock_guard<std::recursive_mutex> guard(mutex_);
  if (!machine_) {
    machine_ = std::make_unique<Machine>(configuredMachine());
  }
  return *machine_;
}

void Kernel::install(std::unique_ptr<Machine> machine) {
  const std::lock_guard<std::recursive_mutex> guard(mutex_);
  pending_.clear();
  handles_.clear();
  machine_ = std::move(machine);
}

HandleValue Kernel::add(std::shared_ptr<KernelObject> object) {
  // Values are never used twice, so that a handle used after its closing is always noticed.
  nextHandle_ += 4;
  handles_[nextHandle_] = std::move(object);
  return nextHandle_;
}

std::shared_ptr<KernelObject> Kernel::get(HandleValue handle) const {
  const auto found = handles_.find(handle);
  return found == handles_.end() ? nullptr : found->second;
}

bool Kernel::close(HandleValue handle) {
  const auto found = handles_.find(handle);
  if (found == handles_.end()) {
    return false;
  }
  cancel(handle);
  const std::shared_ptr<KernelObject> last = std::move(found->second);
  handles_.erase(found);
  return true;
}

std::shared_ptr<VolumeObject> Kernel::locate(const std::string& path, std::string* rest) {
  std::string full = path;
  std::ranges::replace(full, '/', '\\');
  if (full.starts_with("\\\\?\\") || full.starts_with("\\\\.\\")) {
    full.erase(0, 4);
  }
  const bool rooted = full.size() >= 2 && full[1] == ':';
  if (!rooted) {
    const std::string& current = machine().description().currentDirectory;
    full = full.starts_with("\\") ? current.substr(0, 2) + full : current + "\\" + full;
  }
  while (full.size() > 2 && full.back() == '\\') {
    full.pop_back();
  }
  *rest = full.substr(2);
  const std::shared_ptr<VolumeObject> volume = machine().volume(full[0]);
  return volume && volume->present() && full[1] == ':' ? volume : nullptr;
}

std::uint32_t Kernel::open(const OpenRequest& request, HandleValue* handle, bool* existed) {
  *existed = false;
  const std::string& path = request.path;
  if (path.empty()) {
    return ERROR_PATH_NOT_FOUND;
  }
  const bool device = path.starts_with("\\\\.\\") || path.starts_with("\\\\?\\");
  const bool fileBehind = path.size() > 6 && path[5] == ':';
  if (device && !fileBehind) {
    return openDevice(request, handle);
  }
  return openFile(request, handle, existed);
}

namespace {

std::shared_ptr<OpenFile> makeOpening(const Kernel::OpenRequest& request) {
  auto file = std::make_shared<OpenFile>();
  file->readable = (request.access & (GENERIC_READ | GENERIC_ALL | FILE_READ_DATA)) != 0;
  file->writable = (request.access & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA)) != 0;
  file->overlapped = (request.flags & FILE_FLAG_OVERLAPPED) != 0;
  file->unbuffered = (request.flags & FILE_FLAG_NO_BUFFERING) != 0;
  file->writeThrough = (request.flags & FILE_FLAG_WRITE_THROUGH) != 0;
  file->deleteOnClose = (request.flags & FILE_FLAG_DELETE_ON_CLOSE) != 0;
  file->share = request.share;
  return file;
}

/// Rights as FILE_SHARE_ bits. An opening without any is always allowed.
std::uint32_t rightsOf(const OpenFile& file) {
  return (file.readable ? FILE_SHARE_READ : 0u) | (file.writable ? FILE_SHARE_WRITE : 0u);
}

}  // namespace

bool Kernel::shares(const IoObject& object, const OpenFile& wanted) const {
  const std::uint32_t rights = rightsOf(wanted);
  return rights == 0 || !anyOpen([&](const OpenFile& other) {
           const std::uint32_t held = rightsOf(other);
           return held != 0 && other.object != nullptr &&
                  other.object->identity() == object.identity() &&
                  ((rights & ~other.share) != 0 || (held & ~wanted.share) != 0);
         });
}

std::uint32_t Kernel::openDevice(const OpenRequest& request, HandleValue* handle) {
  const std::shared_ptr<IoObject> object = machine().device(request.path);
  if (!object) {
    return ERROR_FILE_NOT_FOUND;
  }
  const auto* disk = dynamic_cast<const DiskObject*>(object.get());
  const auto* volume = dynamic_cast<const VolumeObject*>(object.get());
  if (((disk != nullptr) && !disk->present()) || ((volume != nullptr) && !volume->present())) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (request.disposition != OPEN_EXISTING && request.disposition != OPEN_ALWAYS) {
    return ERROR_INVALID_PARAMETER;
  }
  auto file = makeOpening(request);
  if ((file->readable || file->writable) && !machine().description().administrator) {
    return ERROR_ACCESS_DENIED;
  }
  // A file system that is mounted holds the disk open for reading and writing.
  constexpr std::uint32_t kReadAndWrite = FILE_SHARE_READ | FILE_SHARE_WRITE;
  const auto mountedOn = [&](const auto& mounted) {
    return (mounted->disk() == object.get() || mounted.get() == object.get()) && mounted->mounted();
  };
  const bool held = std::ranges::any_of(machine().volumes(), mountedOn);
  if (!shares(*object, *file) ||
      (rightsOf(*file) != 0 && held && (file->share & kReadAndWrite) != kReadAndWrite)) {
    return ERROR_SHARING_VIOLATION;
  }
  file->object = object;
  file->deleteOnClose = false;
  *handle = add(std::move(file));
  return ERROR_SUCCESS;
}

std::uint32_t Kernel::openFile(const OpenRequest& request, HandleValue* handle, bool* existed) {
  std::string rest;
  const std::shared_ptr<VolumeObject> volume = locate(request.path, &rest);
  if (!volume) {
    return ERROR_PATH_NOT_FOUND;
  }
  if (!volume->mounted()) {
    return ERROR_ACCESS_DENIED;
  }
  std::shared_ptr<FileNode> node = volume->find(rest);
  *existed = node != nullptr;
  const bool mustExist =
      request.disposition == OPEN_EXISTING || request.disposition == TRUNCATE_EXISTING;
  if (!node && mustExist) {
    return volume->missing(rest);
  }
  if (node && request.disposition == CREATE_NEW) {
    return ERROR_FILE_EXISTS;
  }
  if (node && node->directory && (request.flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) {
    return ERROR_ACCESS_DENIED;
  }
  auto file = makeOpening(request);
  if (node && !shares(FileObject(volume, node), *file)) {
    return ERROR_SHARING_VIOLATION;
  }
  if (!node) {
    if (const std::uint32_t error = volume->create(rest, false, &node)) {
      return error;
    }
  } else if (request.disposition == CREATE_ALWAYS || request.disposition == TRUNCATE_EXISTING) {
    volume->resize(*node, 0);
  }
  file->object = std::make_shared<FileObject>(volume, node);
  *handle = add(std::move(file));
  return ERROR_SUCCESS;
}

void Kernel::finish(Pending& pending, std::uint32_t error) {
  IoRequest& request = pending.request;
  auto* overlapped = static_cast<OVERLAPPED*>(pending.overlapped);
  const bool delivers = error == ERROR_SUCCESS || error == ERROR_MORE_DATA;
  if (delivers && (pending.buffer != nullptr) && !request.output.empty() && request.returned != 0) {
    std::memcpy(pending.buffer, request.output.data(), request.returned);
  }
  if (const auto file = get<OpenFile>(pending.file); file && request.bytes != 0) {
    file->spare = std::move(request.output);
  }
  overlapped->Internal = error;
  overlapped->InternalHigh = delivers ? request.returned : 0;
  if (pending.event) {
    pending.event->set(true);
  }
}

void Kernel::settle() {
  const std::uint64_t now = machine().clock().now();
  for (std::size_t i = 0; i < pending_.size();) {
    if (pending_[i].endsAt > now) {
      ++i;
      continue;
    }
    finish(pending_[i], pending_[i].request.error);
    pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

bool Kernel::endOf(const void* overlapped, std::uint64_t* moment) const {
  const auto found = std::ranges::find(pending_, overlapped, &Pending::overlapped);
  if (found == pending_.end()) {
    return false;
  }
  *moment = found->endsAt;
  return true;
}

void Kernel::cancel(HandleValue file) {
  constexpr std::uint64_t kDriverMicroseconds = 1000;
  for (Pending& pending : pending_) {
    if (pending.file == file) {
      pending.request.fail(ERROR_OPERATION_ABORTED);
      pending.endsAt = std::min(pending.endsAt, machine().clock().now() + kDriverMicroseconds);
    }
  }
}

bool Kernel::wait(KernelObject& object, std::uint32_t milliseconds) {
  Clock& clock = machine().clock();
  const std::uint64_t longest =
      milliseconds == INFINITE ? kNever - 1 : clock.now() + std::uint64_t{milliseconds} * 1000;
  for (;;) {
    settle();
    if (object.signalled()) {
      object.consume();
      return true;
    }
    // The next thing that can signal it: a request that ends, or the object's own time.
    std::uint64_t next = object.signalsAt().value_or(kNever);
    for (const Pending& pending : pending_) {
      if (pending.event.get() == &object) {
        next = std::min(next, pending.endsAt);
      }
    }
    if (next == kNever && milliseconds == INFINITE) {
      return false;
    }
    if (next > longest) {
      clock.advanceTo(longest);
      settle();
      return false;
    }
    clock.advanceTo(next);
  }
}

namespace {
thread_local int callDepth = 0;
}

bool KernelCall::isInside() { return callDepth > 0; }

KernelCall::~KernelCall() { --callDepth; }

KernelCall::KernelCall(Kind kind) : kernel_(Kernel::instance()), guard_(kernel_.mutex()) {
  ++callDepth;
  if (kind == Kind::Plain) {
    return;
  }
  PlatformFaults& faults = kernel_.machine().faults();
  fails_ = faults.countCall();
  if (fails_) {
    SetLastError(faults.failError());
  }
}

}  // namespace ostria::virtual_pc
