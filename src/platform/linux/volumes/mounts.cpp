// The mount table by libmount, which knows its escapes and the options in their two parts.
#include "platform/linux/volumes/mounts.h"

#include <libmount/libmount.h>
#include <sys/mount.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/volumes/blkid_probe.h"

namespace ostria::storage {
namespace {

std::string textOf(const char* text) { return text == nullptr ? std::string() : text; }

bool isFuse(const MountEntry& mount) { return mount.type.rfind("fuse", 0) == 0; }

// Subvolumes are named in the options; any other part of a file system is mounted by other means.
bool canBeMountedAgain(const MountEntry& mount) {
  return mount.target != "/" && (mount.root == "/" || mount.type == "btrfs");
}

int mountWith(const MountEntry& mount, const std::string& options) {
  const std::unique_ptr<libmnt_context, decltype(&mnt_free_context)> context(mnt_new_context(),
                                                                             &mnt_free_context);
  if (context == nullptr) {
    return ENOMEM;
  }
  mnt_context_set_source(context.get(), mount.source.c_str());
  mnt_context_set_target(context.get(), mount.target.c_str());
  mnt_context_set_options(context.get(), options.c_str());
  // A file system in user space shows a type that no helper has; its content has the real one.
  if (!isFuse(mount)) {
    mnt_context_set_fstype(context.get(), mount.type.c_str());
    mnt_context_disable_helpers(context.get(), 1);
  }
  const int result = mnt_context_mount(context.get());
  if (result == 0 && mnt_context_get_status(context.get()) == 1) {
    return 0;
  }
  return result < 0 ? -result : EIO;
}

int mountOne(const MountEntry& mount) {
  // A file system may show options that it does not take; without them is better than not at all.
  return mountWith(mount, mount.options) == 0 ? 0 : mountWith(mount, mount.plainOptions);
}

}  // namespace

std::vector<MountEntry> readMounts(const std::string& path) {
  std::vector<MountEntry> mounts;
  const std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)> table(
      mnt_new_table_from_file(path.c_str()), &mnt_unref_table);
  const std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)> step(mnt_new_iter(MNT_ITER_FORWARD),
                                                                    &mnt_free_iter);
  if (table == nullptr || step == nullptr) {
    return mounts;
  }
  libmnt_fs* entry = nullptr;
  while (mnt_table_next_fs(table.get(), step.get(), &entry) == 0) {
    MountEntry mount;
    const dev_t device = mnt_fs_get_devno(entry);
    mount.device = deviceNumberOf(major(device), minor(device));
    mount.root = textOf(mnt_fs_get_root(entry));
    mount.target = textOf(mnt_fs_get_target(entry));
    mount.source = textOf(mnt_fs_get_srcpath(entry));
    mount.type = textOf(mnt_fs_get_fstype(entry));
    mount.plainOptions = textOf(mnt_fs_get_vfs_options(entry));
    mount.options = mount.plainOptions;
    const std::string own = textOf(mnt_fs_get_fs_options(entry));
    // The options that the kernel shows for a file system in user space are not those it takes.
    if (!own.empty() && !isFuse(mount)) {
      mount.options += "," + own;
    }
    mounts.push_back(std::move(mount));
  }
  return mounts;
}

std::string fileSystemOf(const MountEntry& mount) {
  if (mount.source.starts_with('/')) {
    if (const auto identity = probeFilesystem(mount.source)) {
      return identity->fileSystem;
    }
  }
  return mount.type == "ntfs3" ? "ntfs" : mount.type;
}

int unmountFilesystem(const std::string& target, TakenMounts& taken) {
  taken.clear();
  const std::vector<MountEntry> mounts = readMounts();
  const auto named = std::find_if(mounts.rbegin(), mounts.rend(),
                                  [&](const MountEntry& mount) { return mount.target == target; });
  if (named == mounts.rend()) {
    return ENOENT;
  }
  TakenMounts places;
  std::copy_if(mounts.begin(), mounts.end(), std::back_inserter(places),
               [&](const MountEntry& mount) {
                 return mount.device == named->device && mount.source == named->source;
               });
  // Unmounting the root would not fail but make the running system read-only.
  if (!std::all_of(places.begin(), places.end(), canBeMountedAgain)) {
    return EBUSY;
  }

  for (auto place = places.rbegin(); place != places.rend(); ++place) {
    if (::umount2(place->target.c_str(), UMOUNT_NOFOLLOW) != 0) {
      const int error = errno;
      mountAgain(taken);
      taken.clear();
      return error;
    }
    taken.insert(taken.begin(), *place);
  }
  return 0;
}

int mountAgain(const TakenMounts& taken) {
  int result = 0;
  for (const MountEntry& mount : taken) {
    const int error = mountOne(mount);
    if (result == 0) {
      result = error;
    }
  }
  return result;
}

}  // namespace ostria::storage
