// A RAID controller that speaks CSMI through its port.
#pragma once

namespace ostria::virtual_pc {

class Machine;
class PortObject;

/// Gives a port that is described as a CSMI controller the answers to the requests of that
/// interface: its configuration, RAID sets and phys, and pass-through to the SATA and SAS drives
/// on it. Machine and port outlive it.
void addCsmiController(Machine& machine, PortObject& port);

}  // namespace ostria::virtual_pc
