// Disks that are left asleep: what is asked of them is answered without waking them, or not at all.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/passthrough/sg_io.h"

namespace ostria::storage {

/// Keeps the records of a list for the opening of its disks, until the next list.
void rememberListed(const std::map<std::uint32_t, SysfsDisk>& disks);
/// Opens a disk and leaves it asleep if it sleeps and must not be woken: the host has set
/// OSTRIA_KEEP_ASLEEP in its environment, to the numbers of the disks (their ids) that may be woken
/// all the same, with blanks between them. A disk that the kernel has suspended is not even opened:
/// opening it would wake it.
/// @param open  opens the node as usual; a descriptor, or -1 with errno
/// @return a descriptor for `sendSgCommand`, or -1 with errno
int openAsleep(const std::string& node, int (*open)(const std::string& node));
/// To be called when the descriptor of a disk is closed.
void forgetAsleep(int descriptor);
/// Whether the disk is open and was left asleep: nothing may be read from it.
bool isLeftAsleep(std::uint32_t number);

/// A disk that was asleep when it was opened.
struct SleepingDisk {
  std::uint32_t number = 0;            ///< the kernel's 32-bit dev_t
  bool suspended = false;              ///< by the kernel; there is nothing to send a command to
  std::vector<std::uint8_t> identify;  ///< IDENTIFY data that the kernel has kept; may be empty
};
/// The disk behind the descriptor, when it was left asleep.
std::optional<SleepingDisk> sleepingDisk(int descriptor);
/// Answers a command in the place of such a disk.
/// @return the result of `sendSgCommand`, or none for a command that may go to the disk
std::optional<int> answerAsleep(const SleepingDisk& disk, SgCommand& command);

}  // namespace ostria::storage
