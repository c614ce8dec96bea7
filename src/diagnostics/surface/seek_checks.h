#pragma once

#include "inventory/storage_component.h"
#include "ostria/storage/test.h"

namespace ostria::storage {

// What the quick and the extended seek tests demand of a device, see `StorageTest::check` and
// `StorageTest::prepare`.

/// Any bus but eMMC and NVMe.
TestResult checkQuickSeek(StorageComponent* component, TestListener* listener, MessageLog* log);
/// The device can be read; what `checkQuickSeek` demands was checked before.
TestResult prepareQuickSeek(StorageComponent* component, TestListener* listener, MessageLog* log);
/// An internal disk that speaks SCSI.
TestResult checkInternalScsi(StorageComponent* component, TestListener* listener, MessageLog* log);
/// Wakes the device, except a RAID member.
TestResult prepareExtendedSeek(StorageComponent* component);

}  // namespace ostria::storage
