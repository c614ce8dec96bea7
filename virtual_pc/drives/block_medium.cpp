// Content, flaws and timing of a medium. A flaw acts when its sector is reached, not before.
#include "virtual_pc/drives/block_medium.h"

#include <algorithm>

#include "virtual_pc/drives/clock.h"

namespace ostria::virtual_pc {

BlockMedium::BlockMedium(std::uint64_t sectors, std::uint32_t sectorBytes, MediumTiming timing)
    : sectors_(sectors), store_(sectorBytes), timing_(timing) {
  timing_.bytesPerSecond = std::max<std::uint64_t>(timing_.bytesPerSecond, 1);
}

void BlockMedium::addBadSectors(const BadSectors& run) {
  for (std::uint64_t i = 0; i < run.count && run.lba + i < sectors_; ++i) {
    bad_[run.lba + i] = {run.kind, run.onWrite, run.failures, run.delayMicroseconds};
  }
}

bool BlockMedium::markUncorrectable(std::uint64_t lba) {
  if (lba >= sectors_) {
    return false;
  }
  bad_[lba] = {BadSectorKind::Medium, WriteEffect::Heals, 0, 0};
  return true;
}

std::optional<std::uint64_t> BlockMedium::firstUnreadable() const {
  for (const auto& [lba, flaw] : bad_) {
    if (flaw.kind == BadSectorKind::Medium || flaw.kind == BadSectorKind::Rejected ||
        flaw.kind == BadSectorKind::Hang) {
      return lba;
    }
  }
  return std::nullopt;
}

bool BlockMedium::start(std::uint64_t lba, std::uint64_t count, MediumAnswer* answer) {
  if (lba >= sectors_ || count > sectors_ - lba) {
    answer->outcome = MediumOutcome::OutOfRange;
    answer->failedLba = lba >= sectors_ ? lba : sectors_;
    return false;
  }
  if (lba != nextLba_) {
    answer->durationMicroseconds += timing_.accessMicroseconds;
  }
  return true;
}

void BlockMedium::finish(std::uint64_t lba, MediumAnswer* answer) {
  nextLba_ = lba + answer->doneSectors;
  if (answer->outcome == MediumOutcome::Hang) {
    answer->durationMicroseconds = kNever;
    return;
  }
  const std::uint64_t bytes = answer->doneSectors * store_.sectorBytes();
  answer->durationMicroseconds += bytes * kMicrosecondsPerSecond / timing_.bytesPerSecond;
}

/// Lets a flaw have its effect; true when the sector can't be had now.
bool BlockMedium::hit(Flaw& flaw, std::uint64_t lba, MediumAnswer* answer) {
  switch (flaw.kind) {
    case BadSectorKind::Slow:
      answer->durationMicroseconds += flaw.delay;
      return false;
    case BadSectorKind::Transient:
      if (flaw.failuresLeft == 0) {
        return false;
      }
      --flaw.failuresLeft;
      answer->outcome = MediumOutcome::MediumError;
      break;
    case BadSectorKind::Medium:
      answer->outcome = MediumOutcome::MediumError;
      break;
    case BadSectorKind::Interface:
      answer->outcome = MediumOutcome::InterfaceError;
      break;
    case BadSectorKind::Rejected:
      answer->outcome = MediumOutcome::Rejected;
      break;
    case BadSectorKind::Hang:
      answer->outcome = MediumOutcome::Hang;
      break;
  }
  answer->failedLba = lba;
  return true;
}

MediumAnswer BlockMedium::read(std::uint64_t lba, std::uint64_t count, std::uint8_t* out) {
  MediumAnswer answer;
  if (!start(lba, count, &answer)) {
    return answer;
  }
  auto flaw = bad_.lower_bound(lba);
  while (answer.doneSectors < count) {
    const std::uint64_t now = lba + answer.doneSectors;
    if (flaw != bad_.end() && flaw->first == now && hit((flaw++)->second, now, &answer)) {
      break;
    }
    const std::uint64_t next = flaw == bad_.end() ? sectors_ : flaw->first;
    const std::uint64_t run = std::min(count - answer.doneSectors, next - now);
    store_.read(now, run, out + answer.doneSectors * store_.sectorBytes());
    answer.doneSectors += run;
  }
  finish(lba, &answer);
  return answer;
}

MediumAnswer BlockMedium::write(std::uint64_t lba, std::uint64_t count, const std::uint8_t* in) {
  MediumAnswer answer;
  if (!start(lba, count, &answer)) {
    return answer;
  }
  auto flaw = bad_.lower_bound(lba);
  for (std::uint64_t i = 0; i < count; ++i, ++answer.doneSectors) {
    if (flaw != bad_.end() && flaw->first == lba + i) {
      if (flaw->second.onWrite == WriteEffect::Fails) {
        if (hit((flaw++)->second, lba + i, &answer)) {
          break;
        }
      } else if (flaw->second.onWrite == WriteEffect::Heals) {
        flaw = bad_.erase(flaw);
        ++healed_;
      } else {
        ++flaw;
      }
    }
    store_.write(lba + i, in + i * store_.sectorBytes());
  }
  finish(lba, &answer);
  return answer;
}

}  // namespace ostria::virtual_pc
