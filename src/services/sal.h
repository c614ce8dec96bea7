#pragma once

#include <cstdint>
#include <string>

#include "services/cim.h"
#include "services/device_scanner.h"
#include "services/filesystem.h"
#include "services/number_handler.h"
#include "services/string_handler.h"

namespace ostria::storage {

/// Loads libraries at run time.
class LibraryLoader {
 public:
  using Library = void*;

  virtual ~LibraryLoader() = default;

  /// @param flag  1: load, with the library's own directory searched for what it needs
  /// @return null when the library cannot be loaded
  virtual Library load(const std::string& path, std::uint32_t flag) = 0;
  /// Null when the library has no such function.
  virtual void* lookUp(Library library, const char* name) = 0;
  virtual void unload(Library library) = 0;
};

/// Waits and measures. On a virtual PC the time is virtual.
class Timer {
 public:
  virtual ~Timer() = default;

  virtual void wait(std::uint32_t milliseconds) = 0;
  /// Seconds from one clock value to a later one.
  virtual double secondsBetween(std::int64_t earlier, std::int64_t later) = 0;
  /// Monotonic clock value in units of its own, see `secondsBetween`.
  virtual std::int64_t clock() = 0;
};

/// The time of day.
class TimeHandler {
 public:
  virtual ~TimeHandler() = default;

  /// Seconds since 1970-01-01 UTC.
  virtual std::int64_t now() = 0;
};

// The process-wide services. Each returns the same object at every call, made on first use, never
// null and never freed, except the device scanner. First use must not race. Those marked "platform"
// are defined once by each platform, see docs/porting.md.

StringHandler* get_string_handler();  ///< that of `getLocalStringHandler`
NumberHandler* get_number_handler();  ///< that of `getLocalNumberHandler`
LibraryLoader* get_module();          ///< platform
Filesystem* get_filesystem();         ///< that of `getLocalFilesystem`
TimeHandler* get_time_handler();      ///< platform
Timer* get_timer();                   ///< platform
/// Platform. A new scanner, never null; the caller gives it back with `release_device_scanner`.
DeviceScanner* get_device_scanner();
/// Platform. Deletes the scanner; null is allowed. Handles that it opened stay open.
void release_device_scanner(DeviceScanner* scanner);
Cim* get_cim();  ///< one object of `makeCim`

}  // namespace ostria::storage
