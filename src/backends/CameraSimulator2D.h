#pragma once
// A simulated 2D camera. Each pushed frame (YUV_422, RGB_888 or BGR_888) is
// converted once to YUV_422 at the native resolution and held; every raw
// request gets a copy of the held frame until the next push. Without a usable
// frame, raw requests get a zero-filled one.
//
// No lock of its own: its hooks run under the camera mutex.

#include <memory>
#include <string>
#include <vector>

#include "CameraSimulator.h"
#include "videodevice/ImageBuffer.h"

namespace videoDevice {

class CameraSimulator2D : public CameraSimulator {
 public:
  CameraSimulator2D(std::weak_ptr<VideoDevice> videoDevice, std::string model, std::string name);
  ~CameraSimulator2D() override;

  bool isColorSpaceValid(const ColorSpace& colorSpace) const override;

 protected:
  void _getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                          const std::shared_ptr<ImageBuffer>& raw) override;
  void _convertImage(const CameraPreferences& preferences,
                     const std::shared_ptr<const ImageBuffer>& raw,
                     const std::shared_ptr<ImageBuffer>& out) const override;
  void _putImage(const std::shared_ptr<const ImageBuffer>& image) override;
  CameraPreferences _getExpectedImageParameters() const override;
  ColorSpace _getCorrespondentRawColorSpace(const ColorSpace& colorSpace) override;

  void _createDefaultImage(const lumo::Clock::time_point& timePoint);

 private:
  void _convertAndResize(const std::shared_ptr<const ImageBuffer>& image);
  void _overSampleYUV422toYUV422(const std::shared_ptr<const ImageBuffer>& image);
  void _convertNoScale(const std::shared_ptr<const ImageBuffer>& image);
  void _convertAndOverSample(const std::shared_ptr<const ImageBuffer>& image);
  void _convertAndSubSample(const std::shared_ptr<const ImageBuffer>& image);

  std::shared_ptr<ImageBuffer> _heldImage;
  // The pixels a decimating push samples from one row, side by side; kept
  // between pushes so that a steady stream of frames allocates nothing.
  std::vector<unsigned char> _sampledPixels;
};

}  // namespace videoDevice
