// ATA commands as the kernel's own translator takes them; its twin for adapters is
// transport/tunnels/sat_pass_through.
#pragma once

#include "base/protocol_result.h"
#include "platform/linux/passthrough/sg_io.h"
#include "transport/ata/ata_cmd.h"

namespace ostria::storage {

/// The command as ATA PASS-THROUGH (16) of SAT; one without data asks for the output registers.
SgCommand ataPassThrough(const AtaCmd& command);

/// Writes what came back into the command. Results as `HalAtaSend::Send`.
ProtocolResult takeAtaAnswer(const SgCommand& answer, AtaCmd& command);

}  // namespace ostria::storage
