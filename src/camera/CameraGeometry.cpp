// Angular geometry: a linear model in which the image width spans the
// horizontal opening angle and the height the vertical one. Horizontal angles
// grow towards the left of the image, vertical ones towards the bottom.
//
// These never throw: bad input is logged and answered with an empty vector,
// so vision code can call them in a loop without guarding each call.

#include <string>

#include <lumo/Log.h>

#include "videodevice/CameraBase.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera")

namespace videoDevice {

namespace {

// Checks the size of a 2-value input; logs under the operation's name.
bool isPoint(const std::vector<float>& values, const char* function) {
  if (values.size() == 2) return true;
  LUMO_LOG_AS(2, function) << function << "(): " << "Invalid parameter size" << '\n'
                           << "Please provide a 2D Point.";
  return false;
}

// Checks the size of a 4-value input; logs under the operation's name.
bool isInfo(const std::vector<float>& values, const char* function) {
  if (values.size() == 4) return true;
  LUMO_LOG_AS(2, function) << function << "(): Invalid parameter size" << " (expected 4, actual "
                           << values.size() << ").";
  return false;
}

}  // namespace

std::vector<float> CameraBase::getAngularPositionFromImagePosition(
    const std::vector<float>& imagePosition) const {
  if (!isPoint(imagePosition, __func__)) return {};
  const FieldOfView fov = getFieldOfView();
  return {-(imagePosition[0] - 0.5f) * fov.horizontal, (imagePosition[1] - 0.5f) * fov.vertical};
}

std::vector<float> CameraBase::getImagePositionFromAngularPosition(
    const std::vector<float>& angularPosition) const {
  if (!isPoint(angularPosition, __func__)) return {};
  const FieldOfView fov = getFieldOfView();
  return {0.5f - angularPosition[0] / fov.horizontal, angularPosition[1] / fov.vertical + 0.5f};
}

std::vector<float> CameraBase::getAngularSizeFromImageSize(
    const std::vector<float>& imageSize) const {
  if (!isPoint(imageSize, __func__)) return {};
  // Written as a rejection: a NaN component is converted, not refused.
  if (imageSize[0] < 0.0f || imageSize[0] > 1.0f || imageSize[1] < 0.0f || imageSize[1] > 1.0f) {
    LUMO_LOG(2) << "getAngularSizeFromImageSize(): " << "Invalid input parameters";
    return {};
  }
  const FieldOfView fov = getFieldOfView();
  return {imageSize[0] * fov.horizontal, imageSize[1] * fov.vertical};
}

std::vector<float> CameraBase::getImageSizeFromAngularSize(
    const std::vector<float>& angularSize) const {
  if (!isPoint(angularSize, __func__)) return {};
  const FieldOfView fov = getFieldOfView();
  return {angularSize[0] / fov.horizontal, angularSize[1] / fov.vertical};
}

std::vector<float> CameraBase::getImageInfoFromAngularInfo(
    const std::vector<float>& angularInfo) const {
  if (!isInfo(angularInfo, __func__)) return {};
  // Through the virtual interface, so a backend's own conversions apply.
  std::vector<float> info = getImagePositionFromAngularPosition({angularInfo[0], angularInfo[1]});
  const std::vector<float> size = getImageSizeFromAngularSize({angularInfo[2], angularInfo[3]});
  if (info.size() != 2 || size.size() != 2) return {};
  info.insert(info.end(), size.begin(), size.end());
  return info;
}

std::vector<float> CameraBase::getImageInfoFromAngularInfoWithResolution(
    const std::vector<float>& angularInfo, const Resolution& resolution) const {
  if (!isInfo(angularInfo, __func__)) return {};
  if (!isResolutionValid(resolution)) {
    LUMO_LOG(2) << "getImageInfoFromAngularInfoWithResolution(): Invalid resolution (actual "
                << resolution.width << "x" << resolution.height << ").";
    return {};
  }
  std::vector<float> info = getImageInfoFromAngularInfo(angularInfo);
  if (info.size() != 4) return {};
  const float width = static_cast<float>(resolution.width);
  const float height = static_cast<float>(resolution.height);
  info[0] *= width;
  info[1] *= height;
  info[2] *= width;
  info[3] *= height;
  return info;
}

}  // namespace videoDevice
