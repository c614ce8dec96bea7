// Each file system has its own checker; "fsck" alone would do nothing for some of them.
#include "platform/linux/checker/linux_check_filesystem_tool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "inventory/storage_scanner.h"
#include "platform/linux/checker/linux_checker_process.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/volumes/linux_disk_use.h"
#include "tools/tool_events.h"

namespace ostria::storage {
namespace {

/// A checker that complains about every block of a ruined disk fills no more than this.
constexpr std::size_t kMaxMessageBytes = 1 << 20;

constexpr const char* kInUseText = "The volume is in use.\n";
constexpr const char* kLostText = "The volume could not be mounted again.\n";

/// Percent of the whole from a line "pass done total device"; -1 for any other line.
int progressPercent(const std::string& line) {
  constexpr unsigned kPasses = 5;
  unsigned pass = 0;
  unsigned long long done = 0;
  unsigned long long total = 0;
  if (std::sscanf(line.c_str(), "%u %llu %llu", &pass, &done, &total) != 3) {
    return -1;
  }
  if (pass < 1 || pass > kPasses || total == 0) {
    return -1;
  }
  const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
  return static_cast<int>((pass - 1 + share) * 100.0 / kPasses);
}

}  // namespace

LinuxCheckFilesystemTool::LinuxCheckFilesystemTool(Tool* owner,
                                                   std::vector<std::string> programFolders)
    : CheckFilesystemOperation(owner), programFolders_(std::move(programFolders)) {}

std::vector<std::string> LinuxCheckFilesystemTool::systemFolders() {
  return {"/usr/sbin", "/sbin", "/usr/bin", "/bin"};
}

ToolStatus LinuxCheckFilesystemTool::execute(const RecoverDeviceItem& item,
                                             std::uint32_t partitionIndex) {
  message_.clear();
  if (partitionIndex >= item.partitions.size()) {
    return ToolStatus::CouldNotRun;
  }
  const auto volume = LinuxVolume::find(item.partitions[partitionIndex].volumePath);
  if (!volume) {
    message_ = "There is no such volume.\n";
    return ToolStatus::CouldNotRun;
  }
  // While it is open, no other device can get the number of this one.
  const FdOwner pinned(::open(volume->device.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!isOfDevice(*volume)) {
    message_ = "The volume is not on this device any more.\n";
    return ToolStatus::CouldNotRun;
  }
  LinuxVolumeOffline offline(*volume);
  if (const int error = offline.take(); error != 0) {
    message_ = error == StorageScanner::kNotMountedAgain ? kLostText : kInUseText;
    return ToolStatus::CouldNotRun;
  }
  ToolStatus status = check(*volume);
  if (const int error = offline.giveBack(); error != 0) {
    message_ += kLostText + ("Reason: " + std::generic_category().message(error) + ".\n");
    // Whatever was found, the system is not as it was.
    if (status == ToolStatus::Finished) {
      status = ToolStatus::Stopped;
    }
  }
  return status;
}

/// What is mounted there by now may be another stick than the one that the user was asked about.
bool LinuxCheckFilesystemTool::isOfDevice(const LinuxVolume& volume) const {
  StorageProtocol* const protocol = component_ != nullptr ? component_->storageProtocol() : nullptr;
  return protocol == nullptr || !protocol->GetDeviceHandle() ||
         diskHolds(protocol->GetDeviceHandle(), volume.device);
}

ToolStatus LinuxCheckFilesystemTool::check(const LinuxVolume& volume) {
  const LinuxChecker* const checker = findLinuxChecker(volume.fileSystem);
  const std::string program = checker == nullptr ? "" : findProgram(checker->program);
  if (checker == nullptr || program.empty()) {
    message_ = "There is no checker for this file system.\n";
    return ToolStatus::CouldNotRun;
  }
  // Fails for a device that is mounted in another namespace, or held by a driver above it.
  FdOwner claim(::open(volume.device.c_str(), O_RDONLY | O_EXCL | O_NONBLOCK | O_CLOEXEC));
  if (!claim.valid() && errno == EBUSY) {
    message_ = kInUseText;
    return ToolStatus::CouldNotRun;
  }
  if (checker->claims) {
    claim.reset();
  }
  std::vector<std::string> arguments = {program};
  arguments.insert(arguments.end(), checker->arguments.begin(), checker->arguments.end());
  arguments.push_back(volume.device);

  progressLine_.clear();
  lastPercent_ = -1;
  message_ = checker->note;
  const int code = LinuxCheckerProcess::run(
      arguments, [this](const std::string& bytes) { takeText(bytes); },
      [this](const std::string& bytes) { takeProgress(bytes); });
  return checkerStatus(*checker, code);
}

bool LinuxCheckFilesystemTool::scheduleCheck(std::string volumePath) {
  const auto volume = LinuxVolume::find(volumePath);
  const LinuxChecker* const checker = volume ? findLinuxChecker(volume->fileSystem) : nullptr;
  const std::string program = checker == nullptr ? "" : findProgram(checker->scheduler);
  if (checker == nullptr || program.empty()) {
    return false;
  }
  const auto ignore = [](const std::string&) {};
  return LinuxCheckerProcess::run(schedulerCommand(*checker, program, volume->device), ignore,
                                  ignore) == 0;
}

std::string LinuxCheckFilesystemTool::findProgram(const std::string& name) const {
  for (const std::string& folder : programFolders_) {
    std::string path = folder;
    path.append("/").append(name);
    if (!name.empty() && access(path.c_str(), X_OK) == 0) {
      return path;
    }
  }
  return "";
}

void LinuxCheckFilesystemTool::takeText(const std::string& bytes) {
  for (const char c : bytes) {
    // Carriage returns and backspaces belong to displays that redraw a line.
    if (message_.size() < kMaxMessageBytes && c != '\r' && c != '\b' && c != '\0') {
      message_ += c;
    }
  }
}

void LinuxCheckFilesystemTool::takeProgress(const std::string& bytes) {
  for (const char c : bytes) {
    if (c != '\n') {
      if (progressLine_.size() < 1024) {
        progressLine_ += c;
      }
      continue;
    }
    const int percent = progressPercent(progressLine_);
    progressLine_.clear();
    if (percent <= lastPercent_) {
      continue;
    }
    lastPercent_ = percent;
    reportProgress(percent);
  }
}

/// A host that fails here must not cost the check its outcome.
void LinuxCheckFilesystemTool::reportProgress(int percent) {
  try {
    publish(*owner_, eventReceiver_, "Progress", {std::to_string(percent)});
  } catch (...) {
    eventReceiver_ = nullptr;
  }
}

std::unique_ptr<CheckFilesystemOperation> makeCheckFilesystemOperation(Tool* owner) {
  return std::make_unique<LinuxCheckFilesystemTool>(owner);
}

}  // namespace ostria::storage
