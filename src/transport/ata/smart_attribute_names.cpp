// Names of ATA SMART attributes. No standard names them: these are the usual ones, and where
// vendors differ the first of them.
#include <algorithm>

#include "transport/smart_name_tables.h"

namespace ostria::storage {

namespace {

// Sorted by attribute id.
constexpr SmartName kAttributes[] = {
    {1, "Raw Read Error Rate"},
    {2, "Throughput Performance"},
    {3, "Spin Up Time"},
    {4, "Start Stop Count"},
    {5, "Reallocated Sector Count"},
    {6, "Read Channel Margin"},
    {7, "Seek Error Rate"},
    {8, "Seek Time Performance"},
    {9, "Power On Hours"},
    {10, "Spin Retry Count"},
    {11, "Calibration Retry Count"},
    {12, "Power Cycle Count"},
    {13, "Read Soft Error Rate"},
    {22, "Current Helium Level"},
    {170, "Available Reserved Space"},
    {171, "SSD Program Fail Count"},
    {172, "SSD Erase Fail Count"},
    {173, "SSD Wear Leveling Count"},
    {174, "Unexpected power loss count"},
    {175, "Program Fail Count Chip"},
    {176, "Erase Fail Count Chip"},
    {177, "Wear Leveling Count"},
    {178, "Used Rsvd Blk Cnt Chip"},
    {179, "Used Rsvd Blk Cnt Tot"},
    {180, "Unused Rsvd Blk Cnt Tot"},
    {181, "Program Fail Cnt Total"},
    {182, "Erase Fail Count Total"},
    {183, "Runtime Bad Block"},
    {184, "End-to-End_Error"},
    {187, "Reported Uncorrect"},
    {188, "Command Timeout"},
    {189, "High Fly Writes"},
    {190, "Airflow Temperature Cel"},
    {191, "G-Sense Error Rate"},
    {192, "Power-Off Retract Count"},
    {193, "Load Cycle Count"},
    {194, "Temperature Celsius"},
    {195, "Hardware ECC Recovered"},
    {196, "Reallocated Event Count"},
    {197, "Current Pending Sector"},
    {198, "Offline Uncorrectable"},
    {199, "UDMA CRC Error Count"},
    {200, "Multi Zone Error Rate"},
    {201, "Soft Read Error Rate"},
    {202, "Data Address Mark Errs"},
    {203, "Run Out Cancel"},
    {204, "Soft ECC Correction"},
    {205, "Thermal Asperity Rate"},
    {206, "Flying Height"},
    {207, "Spin High Current"},
    {208, "Spin Buzz"},
    {209, "Offline Seek Performnce"},
    {210, "Vibration During Write"},
    {211, "Vibration During Write"},
    {212, "Shock During Write"},
    {220, "Disk Shift"},
    {221, "G-Sense Error Rate"},
    {222, "Loaded_Hours"},
    {223, "Load Retry Count"},
    {224, "Load Friction"},
    {225, "Load Cycle Count"},
    {226, "Load-in Time"},
    {227, "Torq-amp Count"},
    {228, "Power-off Retract Count"},
    {230, "Head Amplitude"},
    {231, "Temperature Celsius"},
    {232, "Available Reservd Space"},
    {233, "Media Wearout Indicator"},
    {234, "Average erase count AND Maximum Erase Count"},
    {235, "Good Block Count AND System(Free) Block Count"},
    {240, "Head Flying Hours"},
    {241, "Total LBAs Written "},
    {242, "Total LBAs Read"},
    {243, "Total LBAs Written Expanded"},
    {244, "Total LBAs Read Expanded"},
    {249, "NAND Writes (1GiB)"},
    {250, "Read Error Retry Rate"},
    {251, "Minimum Spares Remaining"},
    {252, "Newly Added Bad Flash Block"},
    {254, "Free Fall Sensor"},
};

static_assert(std::ranges::is_sorted(kAttributes, std::ranges::less_equal(), &SmartName::key));

}  // namespace

std::span<const SmartName> smartAttributeNameTable() { return kAttributes; }

}  // namespace ostria::storage
