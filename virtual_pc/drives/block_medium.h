#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "virtual_pc/drives/sector_store.h"

namespace ostria::virtual_pc {

enum class BadSectorKind {
  Medium,     ///< unreadable: uncorrectable data
  Interface,  ///< the transfer of this sector is broken: CRC error
  Rejected,   ///< the drive refuses to touch this sector
  Hang,       ///< the drive does not answer until the host gives up
  Transient,  ///< unreadable the first few times, then readable
  Slow,       ///< readable after a delay
};

/// What a write to a bad sector does.
enum class WriteEffect {
  Heals,  ///< the data is stored and the sector is good from then on
  Stays,  ///< the write is accepted, and the sector reads as badly as before
  Fails,  ///< the write fails in the way that a read does
};

/// A run of bad sectors with one kind.
struct BadSectors {
  std::uint64_t lba = 0;
  std::uint64_t count = 1;
  BadSectorKind kind = BadSectorKind::Medium;
  WriteEffect onWrite = WriteEffect::Heals;
  std::uint32_t failures = 1;           ///< transient: reads that fail before one succeeds
  std::uint64_t delayMicroseconds = 0;  ///< slow: what one sector takes
};

/// Speed of the medium.
struct MediumTiming {
  std::uint64_t accessMicroseconds = 100;      ///< per command that is not sequential
  std::uint64_t bytesPerSecond = 500'000'000;  ///< transfer rate, at least 1
};

enum class MediumOutcome { Good, MediumError, InterfaceError, Rejected, Hang, OutOfRange };

struct MediumAnswer {
  MediumOutcome outcome = MediumOutcome::Good;
  std::uint64_t doneSectors = 0;           ///< sectors that moved before the failing one
  std::uint64_t failedLba = 0;             ///< the sector at fault, unless the outcome is `Good`
  std::uint64_t durationMicroseconds = 0;  ///< `Never` for a hang
};

/// The sectors of a drive with their content, their bad places and the time that access takes.
class BlockMedium {
 public:
  BlockMedium(std::uint64_t sectors, std::uint32_t sectorBytes, MediumTiming timing = {});

  std::uint64_t sectors() const { return sectors_; }
  std::uint32_t sectorBytes() const { return store_.sectorBytes(); }
  const SectorStore& store() const { return store_; }

  void addBadSectors(const BadSectors& run);
  /// Makes one sector unreadable until it is written (WRITE UNCORRECTABLE). False out of range.
  bool markUncorrectable(std::uint64_t lba);
  std::uint64_t badSectorCount() const { return bad_.size(); }
  /// The first sector that the drive itself fails to read, by a self-test for instance.
  std::optional<std::uint64_t> firstUnreadable() const;
  /// Bad sectors that a write has healed so far.
  std::uint64_t healedSectors() const { return healed_; }

  /// Reads into `out`, which has room for all of it. On a failure the sectors before it are there.
  MediumAnswer read(std::uint64_t lba, std::uint64_t count, std::uint8_t* out);
  /// Reads without a transfer.
  MediumAnswer verify(std::uint64_t lba, std::uint64_t count);
  MediumAnswer write(std::uint64_t lba, std::uint64_t count, const std::uint8_t* in);

  /// Content as it lies on the medium, whatever ails it, without time or effect: for looking at it.
  void peek(std::uint64_t lba, std::uint8_t* out) const { store_.read(lba, out); }
  void poke(std::uint64_t lba, const std::uint8_t* in) { store_.write(lba, in); }

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
