#pragma once
// A simulated depth camera. Pushed DEPTH_16 frames fill the held depth and raw
// depth images, pushed INFRARED_16 frames the held infrared image, each at the
// native resolution; raw requests copy them, and INFRARED_16 / RAW_DEPTH_16
// requests go through the extra raw stream. Conversions use a reprojection
// table built once from the field of view at the largest supported size.
//
// No lock of its own: its hooks run under the camera mutex.

#include <memory>
#include <string>

#include <opencv2/core/mat.hpp>

#include "CameraSimulator.h"
#include "videodevice/ImageBuffer.h"

namespace videoDevice {

class CameraSimulator3D : public CameraSimulator {
 public:
  CameraSimulator3D(std::weak_ptr<VideoDevice> videoDevice, std::string model, std::string name);
  ~CameraSimulator3D() override;

  bool isColorSpaceValid(const ColorSpace& colorSpace) const override;
  bool isExtraColorSpace(const ColorSpace& colorSpace) const override;

 protected:
  void _getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                          const std::shared_ptr<ImageBuffer>& raw) override;
  void _getDeviceExtraRawImage(const lumo::Clock::time_point& timePoint,
                               const CameraPreferences& preferences,
                               std::shared_ptr<ImageBuffer> raw) override;
  void _convertImage(const CameraPreferences& preferences,
                     const std::shared_ptr<const ImageBuffer>& raw,
                     const std::shared_ptr<ImageBuffer>& out) const override;
  void _putImage(const std::shared_ptr<const ImageBuffer>& image) override;
  CameraPreferences _getExpectedImageParameters() const override;
  ColorSpace _getCorrespondentRawColorSpace(const ColorSpace& colorSpace) override;

  void _createDefaultDepthImage(const lumo::Clock::time_point& timePoint);
  void _createDefaultInfraredImage(const lumo::Clock::time_point& timePoint);
  void _buildLUT() const;
  void _resize(const std::shared_ptr<const ImageBuffer>& image);
  void _overSampleDepth16toDepth16(const std::shared_ptr<const ImageBuffer>& image,
                                   const std::shared_ptr<ImageBuffer>& target);

  mutable cv::Mat _lut;
  std::shared_ptr<ImageBuffer> _heldRawDepthImage;
  std::shared_ptr<ImageBuffer> _heldDepthImage;
  std::shared_ptr<ImageBuffer> _heldInfraredImage;
};

}  // namespace videoDevice
