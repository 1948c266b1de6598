#pragma once
// Base of the simulated cameras: a CameraBase with no hardware, flagged as
// simulated. Frames arrive from outside through putImage; the helpers below
// are what the 2D and depth simulators share. Each simulator logs in its own
// category, so the helpers take it.
//
// No lock of its own: the helpers run under the camera mutex, like the hooks
// that call them.

#include <cstdint>
#include <memory>
#include <string>

#include <lumo/Log.h>

#include "videodevice/CameraBase.h"
#include "videodevice/ImageBuffer.h"

namespace videoDevice {

class CameraSimulator : public CameraBase {
 public:
  CameraSimulator(std::weak_ptr<VideoDevice> videoDevice, std::string model, std::string name)
      : CameraBase(std::move(videoDevice), std::move(model), std::move(name), true) {}
  ~CameraSimulator() override = default;

 protected:
  // The checks of a pushed frame that follow the colour-space check: a
  // natively supported size, then at least one subscriber (without one the
  // frame is dropped and false returned), then pixel memory to read. An
  // accepted frame opens the camera; `timeStamp` receives its capture time,
  // or now when it carries none.
  bool _admitPushedImage(const ImageBuffer& image, const lumo::log::Category& category,
                         lumo::Clock::time_point& timeStamp);

  // The whole factor by which a pushed frame is widened to the native width:
  // 2, 4 or 8; any other width ratio is refused.
  std::uint64_t _overSamplingFactor(std::uint64_t nativeWidth, std::uint64_t imageWidth,
                                    const lumo::log::Category& category,
                                    const char* function) const;

  // For destructors: closes the camera without letting an exception escape.
  void _closeQuietly(const lumo::log::Category& category) noexcept;

  // Copies time stamp, resolution, colour space, then as many pixel bytes as
  // both blocks hold.
  static void copyImage(const ImageBuffer& from, ImageBuffer& to);
  // Sets every byte of the current image to 0.
  static void zeroImage(ImageBuffer& image);
};

}  // namespace videoDevice
