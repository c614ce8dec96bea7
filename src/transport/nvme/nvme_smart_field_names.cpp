// Names of the fields of the NVMe health log, by their offset, sorted.

#include <algorithm>

#include "transport/smart_name_tables.h"

namespace ostria::storage {

namespace {

// Sorted by byte offset in the log.
constexpr SmartName kFields[] = {
    {0, "Critical Warning"},
    {1, "Temperature"},
    {3, "Avalable Spare"},
    {4, "Available Spare Threshold"},
    {5, "Percentage Used"},
    {32, "Data Units Read"},
    {48, "Data Units Written"},
    {64, "Host Read Commands"},
    {80, "Host Write Commands"},
    {96, "Controller Busy Time"},
    {112, "Power Cycles"},
    {128, "Power-On Hours"},
    {144, "Unsafe Shutdowns"},
    {160, "Media Errors"},
    {176, "Error Information Log Entries"},
    {192, "Warning composite Temperature Time"},
    {196, "Critical Composite Temperature Time"},
    {200, "Temperature Sensor 1"},
    {202, "Temperature Sensor 2"},
    {204, "Temperature Sensor 3"},
    {206, "Temperature Sensor 4"},
    {208, "Temperature Sensor 5"},
    {210, "Temperature Sensor 6"},
    {212, "Temperature Sensor 7"},
    {214, "Temperature Sensor 8"},
};

static_assert(std::ranges::is_sorted(kFields, std::ranges::less_equal(), &SmartName::key));

}  // namespace

std::span<const SmartName> nvmeSmartFieldNameTable() { return kFields; }

}  // namespace ostria::storage
