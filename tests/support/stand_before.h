#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "virtual_pc/drives/drive.h"

namespace ostria::storage::test {

/// Stands before one side of a drive of the virtual PC: `perform` gets each command that comes, and
/// the side itself.
template <typename Exchange, typename Target>
void standBefore(std::unique_ptr<Target>& side,
                 std::function<void(Exchange&, Target& drive)> perform) {
  class Before final : public Target {
   public:
    Before(std::unique_ptr<Target> drive, std::function<void(Exchange&, Target&)> act)
        : drive_(std::move(drive)), act_(std::move(act)) {}

   private:
    void perform(Exchange& exchange) override { act_(exchange, *drive_); }

    std::unique_ptr<Target> drive_;
    std::function<void(Exchange&, Target&)> act_;
  };
  if (side != nullptr) {
    side = std::make_unique<Before>(std::move(side), std::move(perform));
  }
}

}  // namespace ostria::storage::test
