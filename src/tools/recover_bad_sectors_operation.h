#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "inventory/storage_component.h"
#include "ostria/storage/tool.h"
#include "tools/recover_device_item.h"
#include "tools/tool_status.h"

namespace ostria::storage {

/// One way of treating a device or a partition. An object is reused for all devices of all runs;
/// what it found stays readable until its next execution. Progress goes to the host through the
/// owner as "Progress" and "OnProgress".
class RecoverBadSectorsOperation {
 public:
  /// Sectors scanned, bad sectors found, fixed, and not fixed.
  using SectorStatistics = std::array<std::uint64_t, 4>;
  using BadSectorList = std::list<std::uint64_t>;

  /// @param owner  the tool that holds the operation and outlives it
  RecoverBadSectorsOperation(std::string title, Tool* owner)
      : title_(std::move(title)), owner_(owner) {}
  virtual ~RecoverBadSectorsOperation() = default;
  RecoverBadSectorsOperation(const RecoverBadSectorsOperation&) = delete;
  RecoverBadSectorsOperation& operator=(const RecoverBadSectorsOperation&) = delete;

  /// Treats one partition of the item, or the whole component. Blocks until that is done.
  virtual ToolStatus execute(const RecoverDeviceItem& item, std::uint32_t partitionIndex) = 0;
  virtual void abort() = 0;
  virtual std::string getMessage() = 0;
  virtual void clearMessage() = 0;
  /// Null for an operation that counts no sectors.
  virtual const SectorStatistics* getSectorStatistics() = 0;
  /// In the order of discovery; null for an operation that lists none.
  virtual const BadSectorList* getBadSectorList() = 0;
  /// The device of the next execution; not owned.
  virtual void setComponent(StorageComponent* component) { component_ = component; }
  virtual std::string getStatusText() { return statusText_; }

  StorageComponent* component() const { return component_; }
  void setEventReceiver(ToolEventReceiver* receiver) { eventReceiver_ = receiver; }
  const std::string& getTitle() const { return title_; }
  /// Sentences about the latest execution, for the host to show.
  const std::vector<std::string>& notices() const { return notices_; }
  /// Bad sectors that read back well after they were rewritten, in the order of discovery.
  const BadSectorList& repairedSectors() const { return repairedSectors_; }
  /// Forgets what an earlier execution found, for a device on which there was none.
  void clearFindings() {
    notices_.clear();
    repairedSectors_.clear();
  }

 protected:
  ToolEventReceiver* eventReceiver_ = nullptr;
  std::string title_;
  std::string statusText_;
  StorageComponent* component_ = nullptr;
  Tool* owner_;
  std::vector<std::string> notices_;
  BadSectorList repairedSectors_;
};

}  // namespace ostria::storage
