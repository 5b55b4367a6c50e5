#pragma once
// The X11 implementation of the platform bridge (PlatformBridge.h). Code
// that is about X11 itself (the bridge, its tests) may call it by this name.
#include "../PlatformBridge.h"

namespace x11 = platform;
