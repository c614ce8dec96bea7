#pragma once

#include "ostria/storage/zrd_service.h"

namespace ostria::storage {

/// A hold on the optional driver service: the loaded library and its service object. Both are null
/// when the service could not be had, which is no failure. Defined by each platform.
class DriverServiceHolder {
 public:
  DriverServiceHolder();   ///< loads the library and creates the service
  ~DriverServiceHolder();  ///< destroys the service and unloads the library
  DriverServiceHolder(const DriverServiceHolder&) = delete;
  DriverServiceHolder& operator=(const DriverServiceHolder&) = delete;

  /// The service, or null unless it is there and says that it can be used.
  ZRDService* usableService() const;

 private:
  void* library_ = nullptr;
  ZRDService* service_ = nullptr;
};

}  // namespace ostria::storage
