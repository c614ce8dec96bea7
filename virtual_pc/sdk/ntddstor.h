#pragma once

#include <winioctl.h>
