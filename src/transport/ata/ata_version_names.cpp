// Minor version numbers of ATA standards (IDENTIFY DEVICE word 81) and their texts.
#include "transport/ata/ata_version_names.h"

#include <algorithm>

namespace ostria::storage {

namespace {

// Sorted by the minor version number.
constexpr AtaVersion kVersions[] = {
    {0, "VERSION_NOT_REPORTED"},
    {13, "ATA/ATAPI-4 X3T13 1153D version 6"},
    {14, "ATA-ATAPI-4 T13 1153D version 13"},
    {15, "ATA-ATAPI-4 X3T13 1153D version 7"},
    {16, "ATA-ATAPI-4 T13 1153D version 18"},
    {17, "ATA-ATAPI-4 T13 1153D version 15"},
    {18, "ATA-ATAPI-4 published, ANSI INCITS 317-1998"},
    {19, "ATA-ATAPI-5 T13 1321D version 3"},
    {20, "ATA-ATAPI-4 T13 1153D version 14"},
    {21, "ATA-ATAPI-5 T13 1321D version 1"},
    {22, "ATA-ATAPI-5 published, ANSI INCITS 340-2000"},
    {23, "ATA-ATAPI-4 T13 1153D version 17"},
    {24, "ATA-ATAPI-6 T13 1410D version 17"},
    {25, "ATA-ATAPI-6 T13 1410D version 3a"},
    {26, "ATA-ATAPI-7 T13 1532D version 1"},
    {27, "ATA-ATAPI-6 T13 1410D version 2"},
    {28, "ATA-ATAPI-6 T13 1410D version 1"},
    {29, "ATA-ATAPI-7 published, ANSI INCITS 397-2005"},
    {30, "ATA-ATAPI-7 T13 1532D version 0"},
    {33, "ATA-ATAPI-7 T13 1532D version 4a"},
    {34, "ATA-ATAPI-6 published, ANSI INCITS 361-2002"},
    {39, "ATA8-ACS version 3c"},
    {40, "ATA8-ACS version 6"},
    {41, "ATA8-ACS version 4"},
    {51, "ATA8-ACS version 3e"},
    {57, "ATA8-ACS version 4c"},
    {66, "ATA8-ACS version 3f"},
    {82, "ATA8-ACS version 3b"},
    {263, "ATA8-ACS version 2d"},
    {65535, "VERSION_NOT_REPORTED"},
};

static_assert(std::ranges::is_sorted(kVersions, std::ranges::less_equal(), &AtaVersion::number));

}  // namespace

std::span<const AtaVersion> ataVersions() { return kVersions; }

}  // namespace ostria::storage
