// The filesystem checker: its output is what the machine file says, or that of a clean volume.
#include "virtual_pc/system/services/chkdsk.h"

#include "virtual_pc/system/code_pages.h"
#include "virtual_pc/system/text_forms.h"

namespace ostria::virtual_pc {
namespace {

using Steps = std::deque<ProcessObject::Step>;

constexpr std::uint32_t kCouldNotCheck = 3;

std::shared_ptr<VolumeObject> volumeOf(const Machine& machine, const std::string& name) {
  return name.size() == 2 && name[1] == ':' ? machine.volume(name[0]) : nullptr;
}

/// A check that finds nothing, in ten pieces of half a second.
Steps cleanCheck(const VolumeDescription& volume) {
  Steps steps;
  steps.push_back({500, "The file system of " + std::string(1, volume.letter) + ": is " +
                            volume.fileSystem + ".\r\n\r\n"});
  for (int percent = 0; percent <= 100; percent += 10) {
    steps.push_back({500, std::to_string(percent) + " percent completed.\r"});
  }
  steps.push_back({0, "\r\nNo problems were found.\r\n"});
  return steps;
}

Steps scriptOf(const CheckerDescription& checker) {
  Steps steps;
  for (const CheckerOutput& piece : checker.output) {
    for (std::uint32_t i = 0; i < piece.repeat; ++i) {
      // It writes for the console it would have.
      steps.push_back({piece.milliseconds, toCodePage(wide(piece.text), kConsoleCodePage)});
    }
  }
  return steps;
}

}  // namespace

bool isCheckerProgram(const Machine& machine, const std::string& path) {
  return lowerCase(path) ==
         lowerCase(machine.description().windowsDirectory + "\\system32\\chkdsk.exe");
}

std::shared_ptr<ProcessObject> startChecker(Machine& machine, const std::string& volume,
                                            bool repairs, std::shared_ptr<PipeChannel> output) {
  const auto refuse = [&](const std::string& why) {
    return std::make_shared<ProcessObject>(machine.clock(), Steps{{100, why + "\r\n"}},
                                           kCouldNotCheck, output);
  };
  const auto object = volumeOf(machine, volume);
  if (!object || !object->present()) {
    return refuse("There is no such volume.");
  }
  const VolumeDescription& description = object->description();
  if (!description.checker.starts) {
    return nullptr;
  }
  if (!machine.description().administrator) {
    return refuse("The checker needs more rights.");
  }
  if (repairs && !description.lockable) {
    return refuse("The volume is in use by another process.");
  }
  Steps steps =
      description.checker.output.empty() ? cleanCheck(description) : scriptOf(description.checker);
  // Without /F it only looks: what it would have repaired it reports as not repaired.
  constexpr std::uint32_t kRepaired = 1;
  const std::uint32_t exitCode = description.checker.exitCode;
  return std::make_shared<ProcessObject>(
      machine.clock(), std::move(steps),
      !repairs && exitCode == kRepaired ? kCouldNotCheck : exitCode, std::move(output));
}

std::int32_t scheduleCheck(Machine& machine, const std::string& volume) {
  constexpr std::int32_t kUnknownDrive = 4;
  const auto object = volumeOf(machine, volume);
  if (!object) {
    return kUnknownDrive;
  }
  const VolumeDescription& description = object->description();
  if (description.checker.scheduleResult == 0) {
    machine.checkedAtRestart().insert(description.letter);
  }
  return static_cast<std::int32_t>(description.checker.scheduleResult);
}

}  // namespace ostria::virtual_pc
