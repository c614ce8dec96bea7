// The part of the SDK header of this name that the Windows-bound classes use: definition of GUIDs.
#pragma once

#include <guiddef.h>
