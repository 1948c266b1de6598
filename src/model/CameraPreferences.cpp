#include "videodevice/CameraPreferences.h"

#include <lumo/Log.h>

// Registered for completeness: preferences are plain values and log nothing.
LUMO_LOG_CATEGORY("vision.videodevice.camerapreferences")

namespace videoDevice {

const Resolution CameraPreferences::defaultResolution(0, 0);
const ColorSpace CameraPreferences::defaultColorSpace = ColorSpace::UNKNOWN;

}  // namespace videoDevice
