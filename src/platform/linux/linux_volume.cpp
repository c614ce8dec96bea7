#include "platform/linux/linux_volume.h"

#include <blkid.h>
#include <libmount.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <memory>

namespace ostria::storage {
namespace {

struct TableUnref {
  void operator()(libmnt_table* table) const { mnt_unref_table(table); }
};
struct ProbeFree {
  void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};
struct ContextFree {
  void operator()(libmnt_context* context) const { mnt_free_context(context); }
};

std::string textOf(const char* text) { return text == nullptr ? "" : text; }

bool isBlockDevice(const std::string& path) {
  struct stat about {};
  return stat(path.c_str(), &about) == 0 && S_ISBLK(about.st_mode);
}

std::string probeFileSystem(const std::string& device) {
  const std::unique_ptr<std::remove_pointer_t<blkid_probe>, ProbeFree> probe(
      blkid_new_probe_from_filename(device.c_str()));
  const char* type = nullptr;
  if (probe == nullptr || blkid_probe_enable_superblocks(probe.get(), 1) != 0 ||
      blkid_do_safeprobe(probe.get()) != 0 ||
      blkid_probe_lookup_value(probe.get(), "TYPE", &type, nullptr) != 0)
    return "";
  return textOf(type);
}

/// Fills in where the device is mounted, if it is.
void findMounts(libmnt_table* table, dev_t number, LinuxVolume& volume) {
  const std::unique_ptr<libmnt_iter, void (*)(libmnt_iter*)> iterator(
      mnt_new_iter(MNT_ITER_FORWARD), mnt_free_iter);
  libmnt_fs* mount = nullptr;
  while (iterator != nullptr && mnt_table_next_fs(table, iterator.get(), &mount) == 0) {
    if (mnt_fs_get_devno(mount) != number) continue;
    volume.mountedTwice = !volume.mountPoint.empty();
    volume.mountPoint = textOf(mnt_fs_get_target(mount));
    volume.options = textOf(mnt_fs_get_options(mount));
    volume.plainOptions = textOf(mnt_fs_get_vfs_options(mount));
  }
}

}  // namespace

std::optional<LinuxVolume> LinuxVolume::find(const std::string& path) {
  struct stat about {};
  if (stat(path.c_str(), &about) != 0) return std::nullopt;
  const std::unique_ptr<libmnt_table, TableUnref> table(
      mnt_new_table_from_file("/proc/self/mountinfo"));
  if (table == nullptr) return std::nullopt;

  LinuxVolume volume;
  dev_t number = 0;
  if (S_ISDIR(about.st_mode)) {
    libmnt_fs* const mount = mnt_table_find_target(table.get(), path.c_str(), MNT_ITER_BACKWARD);
    if (mount == nullptr) return std::nullopt;
    number = mnt_fs_get_devno(mount);
    volume.device = textOf(mnt_fs_get_srcpath(mount));
    // The root's source may be a name that only the kernel's command line knows.
    if (!isBlockDevice(volume.device))
      volume.device =
          "/dev/block/" + std::to_string(major(number)) + ":" + std::to_string(minor(number));
    if (!isBlockDevice(volume.device)) return std::nullopt;
  } else if (S_ISBLK(about.st_mode) || S_ISREG(about.st_mode)) {
    volume.device = path;
    number = S_ISBLK(about.st_mode) ? about.st_rdev : 0;
  } else {
    return std::nullopt;
  }
  if (number != 0) findMounts(table.get(), number, volume);
  volume.fileSystem = probeFileSystem(volume.device);
  return volume;
}

bool LinuxVolumeOffline::take() {
  if (volume_.mountPoint.empty()) return true;
  if (volume_.mountedTwice) return false;
  // Without force: a volume that somebody uses stays where it is.
  taken_ = umount2(volume_.mountPoint.c_str(), UMOUNT_NOFOLLOW) == 0;
  return taken_;
}

bool LinuxVolumeOffline::giveBack() {
  if (!taken_) return true;
  taken_ = false;
  // A file system may show options that it does not take; without them is better than not at all.
  return mount(volume_.options) || mount(volume_.plainOptions);
}

bool LinuxVolumeOffline::mount(const std::string& options) const {
  const std::unique_ptr<libmnt_context, ContextFree> context(mnt_new_context());
  return context != nullptr && mnt_context_set_source(context.get(), volume_.device.c_str()) == 0 &&
         mnt_context_set_target(context.get(), volume_.mountPoint.c_str()) == 0 &&
         mnt_context_set_fstype(context.get(), volume_.fileSystem.c_str()) == 0 &&
         mnt_context_set_options(context.get(), options.c_str()) == 0 &&
         mnt_context_mount(context.get()) == 0 && mnt_context_get_status(context.get()) == 1;
}

}  // namespace ostria::storage
