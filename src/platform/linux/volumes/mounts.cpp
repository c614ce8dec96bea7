// The mount table by libmount, which knows its escapes and the options in their two parts. Mounting
// again trusts no path: whoever owns the parent of a mount point may have put a link there.
#include "platform/linux/volumes/mounts.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <linux/openat2.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <thread>

#include "inventory/storage_scanner.h"
#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/passthrough/read_only.h"
#include "platform/linux/volumes/blkid_probe.h"

namespace ostria::storage {
namespace {

constexpr auto kMountPause = std::chrono::milliseconds(500);
constexpr int kMountTries = 10;

std::string textOf(const char* text) { return text == nullptr ? std::string() : text; }

bool isFuse(const MountEntry& mount) { return mount.type.rfind("fuse", 0) == 0; }

// Subvolumes are named in the options; any other part of a file system is mounted by other means.
// A driver in user space whose options are unknown would come back with other rights.
bool canBeMountedAgain(const MountEntry& mount) {
  return mount.target != "/" && (mount.root == "/" || mount.type == "btrfs") &&
         (!isFuse(mount) || fuseOptions(mount));
}

/// A directory without following any link on the way; -1 with an errno otherwise.
FdOwner openDirectory(const std::string& path) {
  open_how how = {};
  how.flags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  return FdOwner(
      static_cast<int>(::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
}

/// The directory beneath a mount. A copy of the parent's mount shows it while it is still covered,
/// when whoever owns the parent cannot exchange it.
FdOwner openCovered(const std::string& target) {
  const std::filesystem::path path(target);
  const FdOwner parent = openDirectory(path.parent_path().string());
  if (!parent.valid()) {
    return {};
  }
  const FdOwner bare(
      ::open_tree(parent.get(), "", AT_EMPTY_PATH | OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC));
  if (!bare.valid()) {
    return {};
  }
  return FdOwner(
      ::openat(bare.get(), path.filename().c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void rememberDirectory(TakenMount& taken, const FdOwner& directory) {
  struct stat about = {};
  if (directory.valid() && ::fstat(directory.get(), &about) == 0) {
    taken.directoryDevice = about.st_dev;
    taken.directoryInode = about.st_ino;
  }
}

bool isSameDirectory(const TakenMount& taken, int directory) {
  struct stat about = {};
  if (::fstat(directory, &about) != 0 || about.st_ino != taken.directoryInode) {
    return false;
  }
  // A file system without a device of its own (btrfs) has another number after each mount.
  return about.st_dev == taken.directoryDevice || major(about.st_dev) == 0;
}

/// A directory of our own in which nobody else can put anything.
class PrivateDirectory {
 public:
  PrivateDirectory() {
    std::string pattern = "/run/ostria-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      pattern = "/tmp/ostria-XXXXXX";
      if (::mkdtemp(pattern.data()) == nullptr) {
        return;
      }
    }
    path_ = pattern;
  }
  ~PrivateDirectory() {
    if (!path_.empty()) {
      ::umount2(path_.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW);
      ::rmdir(path_.c_str());
    }
  }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

int mountAt(const MountEntry& mount, const std::string& path) {
  const std::unique_ptr<libmnt_context, decltype(&mnt_free_context)> context(mnt_new_context(),
                                                                             &mnt_free_context);
  if (context == nullptr) {
    return ENOMEM;
  }
  mnt_context_set_source(context.get(), mount.source.c_str());
  mnt_context_set_target(context.get(), path.c_str());
  mnt_context_set_options(context.get(), mount.options.c_str());
  // The private directory has no business in the table of mount options.
  mnt_context_disable_mtab(context.get(), 1);
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

/// Mounts where nobody can interfere, and moves the mount to the open directory.
int mountOne(const TakenMount& taken) {
  const FdOwner directory = openDirectory(taken.mount.target);
  if (!directory.valid()) {
    return errno;
  }
  if (!isSameDirectory(taken, directory.get())) {
    return ELOOP;
  }
  const PrivateDirectory own;
  if (own.path().empty()) {
    return errno;
  }
  if (const int error = mountAt(taken.mount, own.path()); error != 0) {
    return error;
  }
  const FdOwner tree(
      ::open_tree(AT_FDCWD, own.path().c_str(), OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC));
  if (!tree.valid() || ::move_mount(tree.get(), "", directory.get(), "",
                                    MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH) != 0) {
    return errno;
  }
  return 0;
}

/// The same without memory is a failure like any other: what is off line must come back.
int tryMount(const TakenMount& taken) try {
  return mountOne(taken);
} catch (const std::bad_alloc&) {
  return ENOMEM;
}

/// @param stacked  there are several mounts at its path, and only the lowest covers the directory
int takeOne(const MountEntry& mount, bool stacked, TakenMounts& taken) {
  TakenMount next{mount};
  if (isFuse(mount)) {
    // Its driver ends with the unmount, and what it was started with goes with it.
    next.mount.options = fuseOptions(mount).value_or(mount.plainOptions);
  }
  if (!stacked) {
    rememberDirectory(next, openCovered(mount.target));
  }
  if (::umount2(mount.target.c_str(), UMOUNT_NOFOLLOW) != 0) {
    return errno;
  }
  if (next.directoryInode == 0) {
    rememberDirectory(next, openDirectory(mount.target));
  }
  taken.insert(taken.begin(), std::move(next));  // there is room for it
  return 0;
}

std::vector<std::string> wordsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<std::string> words;
  for (std::string word; std::getline(file, word, '\0');) {
    words.push_back(word);
  }
  return words;
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

std::optional<std::string> fuseOptions(const MountEntry& mount, const std::string& root) {
  std::error_code error;
  std::filesystem::directory_iterator entry(root + "/proc", error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    // "mount.ntfs-3g /dev/sda1 /mnt -o rw,uid=1000", and nobody but root may say so.
    const std::string folder = entry->path().string();
    struct stat about = {};
    if (::stat(folder.c_str(), &about) != 0 || about.st_uid != 0) {
      continue;
    }
    const std::vector<std::string> words = wordsOf(folder + "/cmdline");
    const auto has = [&](const std::string& word) {
      return std::find(words.begin(), words.end(), word) != words.end();
    };
    if (!has(mount.source) || !has(mount.target) || words[0].find("ntfs") == std::string::npos) {
      continue;
    }
    const auto flag = std::find(words.begin(), words.end(), "-o");
    return flag == words.end() || flag + 1 == words.end() ? mount.plainOptions
                                                          : *(flag + 1) + "," + mount.plainOptions;
  }
  return std::nullopt;
}

int unmountFilesystem(const std::string& target, TakenMounts& taken) {
  taken.clear();
  if (isReadOnly()) {
    return EROFS;
  }
  const std::vector<MountEntry> mounts = readMounts();
  const auto named = std::find_if(mounts.rbegin(), mounts.rend(),
                                  [&](const MountEntry& mount) { return mount.target == target; });
  if (named == mounts.rend()) {
    return ENOENT;
  }
  std::vector<MountEntry> all;
  std::copy_if(mounts.begin(), mounts.end(), std::back_inserter(all), [&](const MountEntry& mount) {
    return mount.device == named->device && mount.source == named->source;
  });
  // Unmounting the root would not fail but make the running system read-only.
  if (!std::all_of(all.begin(), all.end(), canBeMountedAgain)) {
    return EBUSY;
  }

  taken.reserve(all.size());
  for (auto mount = all.rbegin(); mount != all.rend(); ++mount) {
    const bool stacked = std::count_if(mounts.begin(), mounts.end(), [&](const MountEntry& entry) {
                           return entry.target == mount->target;
                         }) > 1;
    int error = ENOMEM;
    try {
      error = takeOne(*mount, stacked, taken);
    } catch (const std::bad_alloc&) {
      // What was taken before goes back, as after any other failure.
    }
    if (error != 0) {
      const bool back = mountAgain(taken) == 0;
      taken.clear();
      return back ? error : StorageScanner::kNotMountedAgain;
    }
  }
  return 0;
}

int mountAgain(const TakenMounts& taken) {
  int result = 0;
  for (const TakenMount& mount : taken) {
    int error = tryMount(mount);
    // A device that was just let go may still be looked at by others. A link is no accident.
    for (int i = 1; error != 0 && error != ELOOP && i < kMountTries; ++i) {
      std::this_thread::sleep_for(kMountPause);
      error = tryMount(mount);
    }
    if (result == 0) {
      result = error;
    }
  }
  return result;
}

}  // namespace ostria::storage
