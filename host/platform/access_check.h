// Which disks of the computer this user cannot use, and the right that is missing for them.
#pragma once

#include <string>
#include <vector>

namespace ostria::host {

/// Disks for which one right is missing.
struct MissingRight {
  enum class Effect {
    Closed,       ///< their nodes cannot be opened
    LeftOut,      ///< they open, and no command reaches them
    Limited,      ///< some commands do not reach them
    NotElevated,  ///< they open for an administrator whose rights are switched on
  };

  Effect effect;
  std::string right;               ///< as the system calls it; empty for NotElevated
  std::vector<std::string> disks;  ///< as the system calls them, sorted
};

/// Nothing when every disk can be used. A disk stands in one entry only, with the worst effect.
std::vector<MissingRight> missingRights();

}  // namespace ostria::host
