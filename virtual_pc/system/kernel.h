// What stands behind the Win32 functions: the handles, and the machine that runs.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_pc/system/kernel_object.h"
#include "virtual_pc/system/machine.h"

namespace ostria::virtual_pc {

/// Installs a machine instead of the one that runs; every handle to that is void.
void installMachine(MachineDescription description);
/// The same from the text of a machine file. On an error nothing changes.
bool installMachine(std::string_view text, std::string* error);
/// Frees the machine with everything that it holds. The next use switches on a new one: of the file
/// that the environment variable OSTRIA_VIRTUAL_PC names, or the built-in one.
void resetMachine();
/// The machine that runs; switched on if need be.
Machine& machine();
/// Handles that are open, of every kind: files, devices, events, enumerations, libraries.
std::size_t openHandles();

/// A handle value, as the system's programming interface has it: opaque, never null.
using HandleValue = std::uintptr_t;

/// What stands behind the system's programming interface: the handles, and the requests in flight.
/// All of it is used under the lock that `KernelCall` holds.
class Kernel {
 public:
  static Kernel& instance();

  Machine& machine();
  void install(std::unique_ptr<Machine> machine);
  std::recursive_mutex& mutex() { return mutex_; }

  HandleValue add(std::shared_ptr<KernelObject> object);
  std::shared_ptr<KernelObject> get(HandleValue handle) const;
  template <typename Object>
  std::shared_ptr<Object> get(HandleValue handle) const {
    return std::dynamic_pointer_cast<Object>(get(handle));
  }
  /// False for a handle that is not open. Requests in flight on it are cancelled.
  bool close(HandleValue handle);
  std::size_t openHandles() const { return handles_.size(); }

  /// Opens a device, volume or file.
  /// @return the system's error code; 0, or ERROR_ALREADY_EXISTS with `existed`, on success
  struct OpenRequest {
    std::string path;
    std::uint32_t access = 0;
    std::uint32_t share = 0;
    std::uint32_t disposition = 0;
    std::uint32_t flags = 0;
  };
  std::uint32_t open(const OpenRequest& request, HandleValue* handle, bool* existed);

  /// Whether the openings that are there allow another one, and it allows them.
  bool shares(const IoObject& object, const OpenFile& wanted) const;
  /// Whether an open handle belongs to an object of that kind.
  template <typename Predicate>
  bool anyOpen(Predicate predicate) const {
    return std::ranges::any_of(handles_, [&](const auto& entry) {
      const auto* file = dynamic_cast<const OpenFile*>(entry.second.get());
      return file != nullptr && predicate(*file);
    });
  }

  /// Finds the volume of a file path and the rest of the path. Null for no such volume.
  std::shared_ptr<VolumeObject> locate(const std::string& path, std::string* rest);

  /// A request in flight: the caller's memory that it will write to, once it is over.
  struct Pending {
    HandleValue file = 0;
    void* overlapped = nullptr;
    void* buffer = nullptr;
    std::shared_ptr<EventObject> event;
    IoRequest request;
    std::uint64_t endsAt = 0;
  };
  void addPending(Pending pending) { pending_.push_back(std::move(pending)); }
  /// Ends the requests whose time has come.
  void settle();
  /// When the request with this OVERLAPPED ends; false when none is in flight.
  bool endOf(const void* overlapped, std::uint64_t* moment) const;
  /// Asks the drivers to end the requests of a handle with ERROR_OPERATION_ABORTED, which they do a
  /// moment later.
  void cancel(HandleValue file);
  /// Lets time pass until the object is signalled, or `milliseconds` are over. False for the
  /// latter.
  bool wait(KernelObject& object, std::uint32_t milliseconds);

 private:
  std::uint32_t openDevice(const OpenRequest& request, HandleValue* handle);
  std::uint32_t openFile(const OpenRequest& request, HandleValue* handle, bool* existed);
  void finish(Pending& pending, std::uint32_t error);

  std::recursive_mutex mutex_;
  std::unique_ptr<Machine> machine_;
  std::map<HandleValue, std::shared_ptr<KernelObject>> handles_;
  HandleValue nextHandle_ = 0x100;
  std::vector<Pending> pending_;
};

/// One call of the system's programming interface: holds the lock, and counts among the calls that
/// a fault sweep lets fail, if it is one that can.
class KernelCall {
 public:
  enum class Kind { Fallible, Plain };
  explicit KernelCall(Kind kind = Kind::Fallible);
  ~KernelCall();
  KernelCall(const KernelCall&) = delete;
  KernelCall& operator=(const KernelCall&) = delete;
  /// Whether this thread is in one: what it does then is the system's doing, not the program's.
  static bool isInside();
  /// Whether this call is to fail. The last error is then set.
  bool fails() const { return fails_; }
  Kernel* operator->() const { return &kernel_; }
  Kernel& kernel() const { return kernel_; }

 private:
  Kernel& kernel_;
  std::lock_guard<std::recursive_mutex> guard_;
  bool fails_ = false;
};

}  // namespace ostria::virtual_pc
