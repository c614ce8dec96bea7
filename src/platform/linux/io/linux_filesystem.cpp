// Files by POSIX calls; raw transfers by io_uring or a thread, and what the errno of a failed one
// says about the medium.
#include "platform/linux/io/linux_filesystem.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/io/open_unbuffered.h"
#include "platform/linux/passthrough/read_only.h"

namespace ostria::storage {
namespace {

namespace fs = std::filesystem;

constexpr int kScratchFlags = O_RDWR | O_DSYNC;
constexpr mode_t kScratchMode = 0600;
constexpr std::chrono::seconds kPauseBeforeSecondRead{1};

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    return ".";
  }
  return slash == 0 ? "/" : path.substr(0, slash);
}

// A file that has no name: whatever happens to the process, nothing is left behind.
int openNameless(const std::string& path) {
  const int descriptor = openUnbuffered(directoryOf(path), kScratchFlags | O_TMPFILE, kScratchMode);
  if (descriptor >= 0) {
    return descriptor;
  }
  if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL && errno != ENOENT) {
    return descriptor;
  }
  const int named =
      openUnbuffered(path, kScratchFlags | O_CREAT | O_EXCL | O_NOFOLLOW, kScratchMode);
  if (named >= 0) {
    ::unlink(path.c_str());
  }
  return named;
}

// Errors that mean that the request never reached the device.
bool refused(int error) {
  switch (error) {
    case EBADF:
    case EINVAL:
    case EFAULT:
    case EPERM:
    case EACCES:
    case EROFS:
    case ENODEV:
    case ENXIO:
    case ENOMEM:
    case EISDIR:
    case EFBIG:
    case EOPNOTSUPP:
      return true;
    default:
      return false;
  }
}

// On a device the same errors mean a write behind its end.
bool isBlockDevice(int descriptor) {
  struct stat status = {};
  return ::fstat(descriptor, &status) == 0 && S_ISBLK(status.st_mode);
}

/// The kernel keeps ENODATA for a medium error and has names for most faults of the way to the
/// device (ETIMEDOUT, ENOLINK, EREMOTEIO, EBADE, EILSEQ). EIO is what is left of older drivers and
/// of the file systems, so it counts against the medium once it has come twice.
bool isMediumError(int error) { return error == ENODATA || error == EIO; }

bool volumeIsFull(int error, int descriptor) {
  return (error == ENOSPC || error == EDQUOT) && !isBlockDevice(descriptor);
}

}  // namespace

Filesystem& getLocalFilesystem() {
  static auto* const kFilesystem = new LinuxFilesystem;
  return *kFilesystem;
}

const char* LinuxFilesystem::getCurrentDirectory() {
  if (currentDirectory_.empty()) {
    std::error_code error;
    currentDirectory_ = fs::current_path(error).string();
    if (error) {
      currentDirectory_.clear();
    }
  }
  return currentDirectory_.empty() ? nullptr : currentDirectory_.c_str();
}

const char* LinuxFilesystem::getProgramPath() {
  if (programPath_.empty()) {
    std::error_code error;
    programPath_ = fs::read_symlink("/proc/self/exe", error).string();
    if (error) {
      programPath_.clear();
    }
  }
  return programPath_.empty() ? nullptr : programPath_.c_str();
}

const char* LinuxFilesystem::getProgramDirectory() {
  if (programDirectory_.empty()) {
    if (getProgramPath() == nullptr) {
      return nullptr;
    }
    programDirectory_ = directoryOf(programPath_);
  }
  return programDirectory_.c_str();
}

int LinuxFilesystem::listDirectory(const std::string& pattern, std::vector<std::string>& names) {
  names.clear();
  if (pattern.empty()) {
    return 1;
  }
  const std::size_t slash = pattern.rfind('/');
  const std::string prefix = slash == std::string::npos ? "" : pattern.substr(0, slash + 1);
  const std::string wanted = pattern.substr(prefix.size());
  std::error_code error;
  fs::directory_iterator entry(directoryOf(pattern), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (::fnmatch(wanted.c_str(), name.c_str(), 0) == 0) {
      names.push_back(prefix + name);
    }
  }
  std::sort(names.begin(), names.end());
  return error || names.empty() ? 1 : 0;
}

int LinuxFilesystem::createDirectories(const std::string& path, std::vector<std::string>& made) {
  made.clear();
  if (path.empty()) {
    return 1;
  }
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    const std::string prefix = path.substr(0, end);
    struct stat status = {};
    if (::mkdir(prefix.c_str(), 0777) == 0) {
      made.push_back(prefix);
    } else if (::stat(prefix.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
      for (; !made.empty(); made.pop_back()) {
        ::rmdir(made.back().c_str());
      }
      return 1;
    }
  }
  return 0;
}

bool LinuxFilesystem::isInvalidPath(std::string path) {
  if (path.size() < 2 || path.size() > 255 || path.find('\0') != std::string::npos) {
    return true;
  }
  // A component of nothing but white space, between two separators.
  for (std::size_t start = path.find('/'); start != std::string::npos;) {
    const std::size_t end = path.find('/', start + 1);
    if (end == std::string::npos) {
      return false;
    }
    const std::size_t text = path.find_first_not_of(" \t\n\v\f\r", start + 1);
    if (end > start + 1 && text == end) {
      return true;
    }
    start = end;
  }
  return false;
}

int LinuxFilesystem::removeTree(const std::string& path) {
  std::error_code error;
  if (!fs::is_directory(fs::symlink_status(path, error)) || error) {
    return 1;
  }
  fs::remove_all(path, error);
  return error ? 1 : 0;
}

int LinuxFilesystem::createFile(const std::string& path, DeviceHandle* handle, bool deleteOnClose) {
  if (handle == nullptr || path.empty() || isReadOnly()) {
    return 1;
  }
  FdOwner file(deleteOnClose
                   ? openNameless(path)
                   : openUnbuffered(path, kScratchFlags | O_CREAT | O_NOFOLLOW, kScratchMode));
  if (!file.valid()) {
    return 1;
  }
  struct stat status = {};
  // The lock keeps a second run of ours away; only then is an older content given up.
  if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 || ::ftruncate(file.get(), 0) != 0) {
    return 1;
  }
  *handle = handleOfDescriptor(file.release());
  return 0;
}

int LinuxFilesystem::closeFile(DeviceHandle handle) {
  return ::close(descriptorOf(handle)) == 0 ? 0 : 1;
}

int LinuxFilesystem::setFileSize(DeviceHandle handle, std::uint64_t size) {
  if (size > static_cast<std::uint64_t>(INT64_MAX)) {
    return 1;
  }
  return ::ftruncate(descriptorOf(handle), static_cast<off_t>(size)) == 0 ? 0 : 1;
}

ProtocolResult LinuxFilesystem::transfer(const TransferRequest& request, std::uint64_t* done,
                                         std::uint32_t timeoutSeconds) {
  TransferOutcome outcome = move(request, timeoutSeconds);
  if (outcome.error == EIO && request.readInto != nullptr) {
    // A link that was just reset fails what was on it.
    std::this_thread::sleep_for(kPauseBeforeSecondRead);
    outcome = move(request, timeoutSeconds);
  }
  switch (outcome.kind) {
    case TransferOutcome::Kind::NotIssued:
      return ProtocolResult::Failure;
    case TransferOutcome::Kind::TimedOut:
      return request.readInto != nullptr ? ProtocolResult::ReadTimeout
                                         : ProtocolResult::WriteTimeout;
    case TransferOutcome::Kind::Finished:
      break;
  }
  if (refused(outcome.error)) {
    return ProtocolResult::Failure;
  }
  if (done != nullptr) {
    *done = outcome.bytes;
  }
  if (volumeIsFull(outcome.error, request.descriptor)) {
    return ProtocolResult::VolumeFull;
  }
  if (request.writeFrom != nullptr && outcome.error == 0 && outcome.bytes > 0 &&
      outcome.bytes < request.length) {
    // Why a write stopped halfway shows in what becomes of the rest.
    TransferRequest rest = request;
    rest.offset += outcome.bytes;
    rest.length -= outcome.bytes;
    rest.writeFrom = static_cast<const char*>(request.writeFrom) + outcome.bytes;
    if (volumeIsFull(move(rest, timeoutSeconds).error, request.descriptor)) {
      return ProtocolResult::VolumeFull;
    }
  }
  if (outcome.error != 0) {
    return isMediumError(outcome.error) ? ProtocolResult::MediumError
                                        : ProtocolResult::TransportFailure;
  }
  return outcome.bytes == request.length ? ProtocolResult::Success : ProtocolResult::MediumError;
}

ProtocolResult LinuxFilesystem::writeAt(DeviceHandle handle, std::uint64_t offset,
                                        std::uint64_t length, std::uint64_t* done,
                                        std::uint32_t timeoutSeconds, const void* buffer) {
  if (isReadOnly()) {
    return ProtocolResult::Failure;
  }
  return transfer(
      {.descriptor = descriptorOf(handle), .offset = offset, .length = length, .writeFrom = buffer},
      done, timeoutSeconds);
}

ProtocolResult LinuxFilesystem::readAt(DeviceHandle handle, std::uint64_t offset,
                                       std::uint64_t length, std::uint64_t* done,
                                       std::uint32_t timeoutSeconds, void* buffer) {
  return transfer(
      {.descriptor = descriptorOf(handle), .offset = offset, .length = length, .readInto = buffer},
      done, timeoutSeconds);
}

ProtocolResult LinuxFilesystem::readInto(DeviceHandle handle, std::uint64_t offset,
                                         std::uint64_t length, std::uint64_t* done,
                                         std::uint32_t timeoutSeconds, TransferBuffer& buffer) {
  if (buffer.data() == nullptr || length > buffer.size()) {
    return ProtocolResult::Failure;
  }
  const ProtocolResult result = transfer({.descriptor = descriptorOf(handle),
                                          .offset = offset,
                                          .length = length,
                                          .readInto = buffer.data(),
                                          .memory = buffer.share()},
                                         done, timeoutSeconds);
  if (result == ProtocolResult::ReadTimeout) {
    // The kernel still writes there, nobody knows how long.
    buffer.abandon();
  }
  return result;
}

}  // namespace ostria::storage
