// The medium behind every drive model, whatever command set it speaks.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "virtual_pc/description/flaws.h"
#include "virtual_pc/drives/sector_store.h"

namespace ostria::virtual_pc {

enum class MediumOutcome { Good, MediumError, InterfaceError, Rejected, Hang, OutOfRange };

struct MediumAnswer {
  MediumOutcome outcome = MediumOutcome::Good;
  std::uint64_t doneSectors = 0;           ///< sectors that moved before the failing one
  std::uint64_t failedLba = 0;             ///< the sector at fault, unless the outcome is `Good`
  std::uint64_t durationMicroseconds = 0;  ///< `kNever` for a hang
};

/// The sectors of a drive with their content, their flaws and the time that access takes.
class BlockMedium {
 public:
  BlockMedium(std::uint64_t sectors, std::uint32_t sectorBytes, MediumTiming timing = {});

  std::uint64_t sectors() const { return sectors_; }
  std::uint32_t sectorBytes() const { return store_.sectorBytes(); }
  const SectorStore& store() const { return store_; }

  void addBadSectors(const BadSectors& run);
  /// Makes one sector unreadable until it is written (WRITE UNCORRECTABLE). False out of range.
  bool markUncorrectable(std::uint64_t lba);
  /// The first sector that the drive itself fails to read, by a self-test for instance.
  std::optional<std::uint64_t> firstUnreadable() const;
  /// Bad sectors that a write has healed so far.
  std::uint64_t healedSectors() const { return healed_; }

  /// Reads into `out`, which has room for all of it. On a failure the sectors before it are there.
  MediumAnswer read(std::uint64_t lba, std::uint64_t count, std::uint8_t* out);
  MediumAnswer write(std::uint64_t lba, std::uint64_t count, const std::uint8_t* in);

  /// Raw content, ignores flaws; takes no time and has no effect.
  void peek(std::uint64_t lba, std::uint8_t* out) const { store_.read(lba, 1, out); }

 private:
  struct Flaw {
    BadSectorKind kind;
    WriteEffect onWrite;
    std::uint32_t failuresLeft;
    std::uint64_t delay;
  };
  bool start(std::uint64_t lba, std::uint64_t count, MediumAnswer* answer);
  void finish(std::uint64_t lba, MediumAnswer* answer);
  static bool hit(Flaw& flaw, std::uint64_t lba, MediumAnswer* answer);

  std::uint64_t sectors_;
  SectorStore store_;
  MediumTiming timing_;
  std::map<std::uint64_t, Flaw> bad_;
  std::uint64_t nextLba_ = 0;
  std::uint64_t healed_ = 0;
};

}  // namespace ostria::virtual_pc
