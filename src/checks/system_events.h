#pragma once

#include <cstdint>

namespace ostria::storage {

/// Whether the host's byte of event flags has one that compromises the outcome of a test or tool.
/// Safe against a host that sets the byte from another thread.
/// @param events  null: the host has no such byte, so nothing has happened
bool compromisingEventHappened(const std::uint8_t* events);

}  // namespace ostria::storage
