// A V4L2 camera's description, read from the device itself.

#include "backends/V4l2Setup.h"

#include <algorithm>
#include <vector>

#include "backends/V4l2Probe.h"

namespace videoDevice {
namespace backends {

namespace {

// About 60 x 47 degrees, what most USB webcams cover; a camera whose optics
// are known gets its own field of view from the caller.
constexpr FieldOfView kDefaultFieldOfView{1.0629055500030518f, 0.8307767510414124f};

// A camera's resolutions must grow in both dimensions from one to the next
// (negotiation rounds a request up along them) and share one shape (a frame
// is only ever scaled by a whole factor), while a node may list sizes of
// several shapes (640x480 beside 640x360). Keep the sizes of the largest
// one's shape.
std::vector<Resolution> nestedSizes(const V4l2Description& description) {
  const Resolution largest = std::max_element(description.modes.begin(), description.modes.end(),
                                              [](const auto& a, const auto& b) {
                                                return a.first.width * a.first.height <
                                                       b.first.width * b.first.height;
                                              })->first;
  std::vector<Resolution> sizes;
  for (const auto& mode : description.modes) {
    const Resolution& size = mode.first;
    if (size.width * largest.height == largest.width * size.height) sizes.push_back(size);
  }
  return sizes;
}

}  // namespace

void setupV4l2Camera(V4l2Io& io, CameraInfo& info, const std::string& devicePath) {
  const std::string who = info.name.empty() ? std::string("V4L2") : info.name;
  const V4l2Description description = probeV4l2(io, who, devicePath);
  info.backend = "V4L2";
  info.model = description.card;
  info.devicePath = devicePath;
  info.colorSpaces.insert(ColorSpace::YUV_422);
  for (const Resolution& size : nestedSizes(description)) {
    info.resolutions.insert(size);
    const std::set<unsigned short>& rates = description.modes.at(size);
    info.frameRates.insert(rates.begin(), rates.end());
  }
  if (info.fieldOfView.horizontal == 0.0f || info.fieldOfView.vertical == 0.0f)
    info.fieldOfView = kDefaultFieldOfView;
}

}  // namespace backends
}  // namespace videoDevice
