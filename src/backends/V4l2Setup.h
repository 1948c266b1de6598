#pragma once
// Filling a CameraInfo from what a V4L2 node reports.

#include <string>

#include <videodevice/CameraInfo.h>

#include "backends/V4l2Io.h"

namespace videoDevice {
namespace backends {

// Backend "V4L2", model = the card name, the node's YUYV sizes of the same
// shape as its largest one and their rates,
// colour space YUV_422, the path in devicePath, and a field of view of about
// 60 x 47 degrees when none is set. Throws as probeV4l2.
void setupV4l2Camera(V4l2Io& io, CameraInfo& info, const std::string& devicePath);

}  // namespace backends
}  // namespace videoDevice
