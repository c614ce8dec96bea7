// Partition tables and file systems as libblkid finds them, in safe mode: two signatures on one
// device are an answer of none.
#include "platform/linux/volumes/blkid_probe.h"

#include <blkid/blkid.h>
#include <fcntl.h>

#include <array>
#include <cctype>
#include <charconv>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/io/left_behind.h"

namespace ostria::storage {
namespace {

using Probe = std::unique_ptr<blkid_struct_probe, decltype(&blkid_free_probe)>;

constexpr std::uint64_t kBlkidSector = 512;
// A table of a kind that has no entries of ours, such as a BSD label.
constexpr PartitionStyle kOtherStyle{3};

std::string hexDigitsOf(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    }
  }
  return digits;
}

// A GUID text as its bytes on the disk: the first three fields little-endian.
std::array<std::uint8_t, 16> guidBytes(const std::string& text) {
  constexpr std::array<std::size_t, 16> kOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                  8, 9, 10, 11, 12, 13, 14, 15};
  std::array<std::uint8_t, 16> bytes{};
  const std::string digits = hexDigitsOf(text);
  if (digits.size() != 32) {
    return bytes;
  }
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::from_chars(digits.data() + 2 * i, digits.data() + 2 * i + 2, bytes[kOrder[i]], 16);
  }
  return bytes;
}

std::string valueOf(blkid_probe probe, const char* name) {
  const char* value = nullptr;
  return blkid_probe_lookup_value(probe, name, &value, nullptr) == 0 && value != nullptr
             ? std::string(value)
             : std::string();
}

}  // namespace

std::uint32_t volumeSerial(const std::string& uuid) {
  const std::string digits = hexDigitsOf(uuid);
  // Sixteen digits are the form of NTFS, whose system shows the lower half.
  const std::string eight = digits.size() == 16 ? digits.substr(8) : digits.substr(0, 8);
  std::uint32_t serial = 0;
  std::from_chars(eight.data(), eight.data() + eight.size(), serial, 16);
  return serial;
}

namespace {

/// libblkid reads without a limit. A drive that is only asleep answers well before this.
constexpr std::chrono::seconds kProbeLimit{30};

/// What a probe that may be left behind in the middle of a read has found so far.
template <typename Result>
struct Findings {
  std::mutex mutex;
  bool began = false;
  std::optional<Result> result;
};

/// @param probe      leaves what it finds in its argument, under its lock
/// @param readsHang  out, may be null: whether it did not end
template <typename Result>
std::optional<Result> probeWithin(std::function<void(Findings<Result>&)> probe, bool* readsHang) {
  const auto findings = std::make_shared<Findings<Result>>();
  const bool ended = runWithin(kProbeLimit, [findings, probe = std::move(probe)] {
    {
      const std::lock_guard lock(findings->mutex);
      findings->began = true;
    }
    probe(*findings);
  });
  const std::lock_guard lock(findings->mutex);
  if (readsHang != nullptr) {
    // Without a thread to be had nothing was read, which is not the disk's fault.
    *readsHang = !ended && findings->began;
  }
  return findings->result;
}

std::optional<DiskLayout> layoutOf(blkid_probe probe) {
  blkid_probe_enable_superblocks(probe, 0);
  blkid_probe_enable_partitions(probe, 1);
  blkid_probe_set_partitions_flags(probe, BLKID_PARTS_ENTRY_DETAILS);
  DiskLayout layout;
  layout.style = PartitionStyle::Raw;
  const int probed = blkid_do_safeprobe(probe);
  if (probed < 0) {
    return probed == -2 ? std::optional(layout) : std::nullopt;
  }
  const blkid_partlist list = blkid_probe_get_partitions(probe);
  const blkid_parttable table = list == nullptr ? nullptr : blkid_partlist_get_table(list);
  if (table == nullptr) {
    return layout;
  }

  const std::string type = blkid_parttable_get_type(table);
  if (type == "gpt") {
    layout.style = PartitionStyle::Gpt;
  } else if (type == "dos") {
    layout.style = PartitionStyle::Mbr;
  } else {
    layout.style = kOtherStyle;
  }
  for (int i = 0; i < blkid_partlist_numof_partitions(list); ++i) {
    const blkid_partition partition = blkid_partlist_get_partition(list, i);
    if (partition == nullptr) {
      continue;
    }
    // What lies inside another partition's own table (a BSD label, say) belongs to that partition.
    if (blkid_partition_get_table(partition) != table && !blkid_partition_is_logical(partition)) {
      continue;
    }
    LayoutEntry entry;
    entry.style = layout.style;
    entry.number = static_cast<std::uint32_t>(blkid_partition_get_partno(partition));
    entry.start = static_cast<std::uint64_t>(blkid_partition_get_start(partition)) * kBlkidSector;
    entry.length = static_cast<std::uint64_t>(blkid_partition_get_size(partition)) * kBlkidSector;
    entry.mbrType = static_cast<std::uint8_t>(blkid_partition_get_type(partition));
    const char* guid = blkid_partition_get_type_string(partition);
    if (guid != nullptr) {
      entry.gptType = guidBytes(guid);
    }
    layout.entries.push_back(entry);
  }
  return layout;
}

std::optional<VolumeFacts::Identity> filesystemOf(blkid_probe probe) {
  blkid_probe_enable_partitions(probe, 0);
  blkid_probe_enable_superblocks(probe, 1);
  blkid_probe_set_superblocks_flags(probe,
                                    BLKID_SUBLKS_LABEL | BLKID_SUBLKS_UUID | BLKID_SUBLKS_TYPE);
  if (blkid_do_safeprobe(probe) != 0) {
    return std::nullopt;
  }
  VolumeFacts::Identity identity;
  identity.fileSystem = valueOf(probe, "TYPE");
  if (identity.fileSystem.empty()) {
    return std::nullopt;
  }
  identity.label = valueOf(probe, "LABEL");
  identity.serial = volumeSerial(valueOf(probe, "UUID"));
  return identity;
}

std::optional<VolumeFacts::Identity> filesystemOn(const std::string& node) {
  const Probe probe(blkid_new_probe_from_filename(node.c_str()), &blkid_free_probe);
  return probe == nullptr ? std::nullopt : filesystemOf(probe.get());
}

// A disk that hangs in the second half keeps the first.
void probeInto(int descriptor, Findings<DiskContent>& findings) {
  const Probe probe(blkid_new_probe(), &blkid_free_probe);
  if (probe == nullptr || blkid_probe_set_device(probe.get(), descriptor, 0, 0) != 0) {
    return;
  }
  const auto layout = layoutOf(probe.get());
  if (!layout) {
    return;
  }
  {
    const std::lock_guard lock(findings.mutex);
    findings.result = DiskContent{*layout, std::nullopt};
  }
  if (layout->style != PartitionStyle::Raw) {
    return;
  }
  blkid_reset_probe(probe.get());
  auto whole = filesystemOf(probe.get());
  const std::lock_guard lock(findings.mutex);
  findings.result->whole = std::move(whole);
}

}  // namespace

std::optional<DiskContent> probeDisk(int descriptor, bool* readsHang) {
  const auto own = std::make_shared<FdOwner>(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  return probeWithin<DiskContent>(
      [own](Findings<DiskContent>& findings) { probeInto(own->get(), findings); }, readsHang);
}

std::optional<VolumeFacts::Identity> probeFilesystem(const std::string& node, bool* readsHang) {
  return probeWithin<VolumeFacts::Identity>(
      [node](Findings<VolumeFacts::Identity>& findings) {
        auto found = filesystemOn(node);
        const std::lock_guard lock(findings.mutex);
        findings.result = std::move(found);
      },
      readsHang);
}

}  // namespace ostria::storage
