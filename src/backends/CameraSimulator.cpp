#include "backends/CameraSimulator.h"

#include <lumo/Log.h>

// The simulator base is header-only and logs nothing itself; the category is
// registered so that its verbosity can be set like every other one.
LUMO_LOG_CATEGORY("vision.videodevice.camerasimulator")
