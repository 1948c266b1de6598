#include "backends/CameraSimulator.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

// The simulator base logs nothing in its own name (its helpers log in the
// category of the simulator they serve); the category is registered so that
// its verbosity can be set like every other one.
LUMO_LOG_CATEGORY("vision.videodevice.camerasimulator")

namespace videoDevice {

bool CameraSimulator::_admitPushedImage(const ImageBuffer& image,
                                        const lumo::log::Category& category,
                                        lumo::Clock::time_point& timeStamp) {
  if (!isResolutionValid(image.getResolution()))
    LUMO_FAIL_TO(category, "_putImage", std::invalid_argument,
                 getName() + ": putImage(): Resolution unsupported!");
  if (!isInUse()) {
    LUMO_LOG_TO(category, 5, "_putImage")
        << getName() << ": putImage(): No subscribers use the camera. Drop image.";
    return false;
  }
  // A frame that wraps no memory has nothing to convert; refuse it before the
  // camera or a held image is touched.
  if (image.getData() == nullptr)
    LUMO_FAIL_TO(category, "_putImage", std::invalid_argument,
                 getName() + ": putImage(): Image data unavailable.");

  _open();
  timeStamp = image.getTimeStamp() != lumo::Clock::time_point() ? image.getTimeStamp()
                                                                 : lumo::Clock::now();
  return true;
}

std::uint64_t CameraSimulator::_overSamplingFactor(std::uint64_t nativeWidth,
                                                   std::uint64_t imageWidth,
                                                   const lumo::log::Category& category,
                                                   const char* function) const {
  const std::uint64_t factor = imageWidth == 0 ? 0 : nativeWidth / imageWidth;
  if (factor != 2 && factor != 4 && factor != 8)
    LUMO_FAIL_TO(category, function, std::runtime_error,
                 getName() + ": over sampling factor unsupported. Please check resolution.");
  return factor;
}

void CameraSimulator::_closeQuietly(const lumo::log::Category& category) noexcept {
  // Closing a simulator does not fail in practice, but a hook of a derived
  // camera could, and nothing may escape a destructor.
  try {
    close();
  } catch (const std::exception& error) {
    LUMO_LOG_TO(category, 2, "~CameraSimulator") << getName() << ": Error while closing: " << error.what();
  }
}

void CameraSimulator::copyImage(const ImageBuffer& from, ImageBuffer& to) {
  to.setTimeStamp(from.getTimeStamp());
  to.setResolution(from.getResolution());
  to.setColorSpace(from.getColorSpace());
  unsigned char* target = to.getData();
  const unsigned char* source = from.getData();
  const std::uint64_t bytes = std::min(from.getSize(), to.getSize());
  if (target != nullptr && source != nullptr && bytes > 0) std::memcpy(target, source, bytes);
}

void CameraSimulator::zeroImage(ImageBuffer& image) {
  unsigned char* data = image.getData();
  const std::uint64_t bytes = image.getSize();
  if (data != nullptr && bytes > 0) std::memset(data, 0, bytes);
}

}  // namespace videoDevice
