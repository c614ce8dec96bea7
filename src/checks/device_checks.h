#pragma once

#include <cstdint>
#include <set>

#include "inventory/storage_component.h"
#include "ostria/storage/test.h"

namespace ostria::storage {

// Checks and reports that tests and tools share. Those that take pointers accept null ones and say
// so by their answer.

/// Copy of what the protocol last learnt about its device; empty without a protocol.
StorageProtocolProperties cachedProperties(const StorageProtocol* protocol);

/// Bytes of a buffer for one sector: the sector size, at least 512.
std::uint32_t sectorBufferBytes(const StorageProtocolProperties& properties);

/// Whether a password locks the disk, as far as discovery has seen. The component has a protocol.
bool isLocked(const StorageComponent& component);

/// Reads sector 0 by the operating system and ignores what comes of it: a sleeping disk wakes up.
void wakeByReading(StorageComponent& component);

/// Whether the device can be read: it is there, its size is known and no password locks it. Reports
/// the reason when it cannot. Wakes the device, except a RAID member.
bool checkReadyToRead(StorageComponent* component, TestListener* listener, MessageLog* log);

/// The light form, without device traffic: there is a protocol, and the bus is neither eMMC nor
/// NVMe.
bool checkSeekable(StorageComponent* component, TestListener* listener, MessageLog* log);

/// Turns the error of a failed read into messages and a result.
/// @param percent     progress to report with a bad sector after which the test goes on
/// @param limit       number of bad sectors at which the test stops
/// @param badSectors  distinct bad sectors of this run; gets `lba` when the medium is at fault
/// @return `Passed` when the test goes on
TestResult reportReadError(std::uint64_t lba, ProtocolResult error, std::uint8_t percent,
                           std::uint32_t limit, std::set<std::uint64_t>& badSectors,
                           TestListener* listener, MessageLog* log);

/// Sectors that may be read from `lba`, at most `count`, without passing `lastLba`.
/// @param lba  not above `lastLba`
constexpr std::uint64_t clampReadCount(std::uint64_t lastLba, std::uint64_t count,
                                       std::uint64_t lba) {
  return lastLba - lba < count ? lastLba - lba + 1 : count;
}

}  // namespace ostria::storage
