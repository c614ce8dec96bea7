// What a test of the surface leaves unsaid.
#pragma once

#include <string>

#include "host/core/model/results.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/test.h"

namespace ostria::host {

/// Notes where a test of the surface found bad blocks, each once, and keeps what a stopped one has
/// found.
/// @param run  with its outcome, messages and reads
/// @return a sentence on how much was read when the test did not come to its end, else empty
std::string lookAtSurface(storage::Test& test, TestRun& run, const Texts& texts);

}  // namespace ostria::host
