// The part of the SDK header of this name that the Windows-bound classes use: storage queries.
#pragma once

#include <winioctl.h>
