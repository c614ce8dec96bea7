#pragma once

#include "platform/linux/sg_io.h"
#include "transport/commands/ata_cmd.h"
#include "transport/protocol_result.h"

namespace ostria::storage {

/// The command as ATA PASS-THROUGH (16) of SAT; one without data asks for the output registers.
SgCommand ataPassThrough(const AtaCmd& command);

/// Writes what came back into the command. Results as `HalAtaSend::Send`.
ProtocolResult takeAtaAnswer(const SgCommand& answer, AtaCmd& command);

}  // namespace ostria::storage
