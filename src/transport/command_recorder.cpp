// The one recorder that sees commands, if there is one.
#include "transport/command_recorder.h"

namespace ostria::storage {
namespace {

CommandRecorder* current = nullptr;

}  // namespace

CommandRecorder* commandRecorder() { return current; }

RecordingScope::RecordingScope(CommandRecorder& recorder) { current = &recorder; }

RecordingScope::~RecordingScope() { current = nullptr; }

}  // namespace ostria::storage
