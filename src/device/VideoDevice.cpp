// The public facade: every operation is passed on unchanged to the one
// VideoDevicePrivate the device owns. Vectors and values the implementation
// takes by value are copied here, from the caller's constant references.

#include <videodevice/VideoDevice.h>

#include <utility>

#include "device/VideoDevicePrivate.h"

namespace videoDevice {

VideoDevice::VideoDevice() : _impl(new VideoDevicePrivate()) {}

VideoDevice::~VideoDevice() {
  VideoDevicePrivate* impl = _impl;
  _impl = nullptr;
  delete impl;
}

void VideoDevice::addCamera(std::shared_ptr<Camera> camera) { _impl->addCamera(std::move(camera)); }

std::shared_ptr<Camera> VideoDevice::getCamera(const std::string& cameraName) {
  return _impl->getCamera(cameraName);
}

std::shared_ptr<Camera> VideoDevice::getCamera(const std::string& cameraName) const {
  return _impl->getCamera(cameraName);
}

std::string VideoDevice::getDefaultActiveCamera() const { return _impl->getDefaultActiveCamera(); }

void VideoDevice::setDefaultActiveCamera(const std::string& cameraName) {
  _impl->setDefaultActiveCamera(cameraName);
}

std::vector<std::string> VideoDevice::getCameraIndexes() const { return _impl->getCamerasName(); }

// A fixed answer by design: no camera is consulted.
bool VideoDevice::isCamera3DPlugged(bool /*unused*/) const { return true; }

void VideoDevice::openCamera(const std::string& cameraName) { _impl->openCamera(cameraName); }

void VideoDevice::closeCamera(const std::string& cameraName) { _impl->closeCamera(cameraName); }

bool VideoDevice::isCameraOpen(const std::string& cameraName) const {
  return _impl->isCameraOpen(cameraName);
}

void VideoDevice::startCamera(const std::string& cameraName) { _impl->startCamera(cameraName); }

void VideoDevice::stopCamera(const std::string& cameraName) { _impl->stopCamera(cameraName); }

bool VideoDevice::isCameraStarted(const std::string& cameraName) const {
  return _impl->isCameraStarted(cameraName);
}

void VideoDevice::resetCamera(const std::string& cameraName) { _impl->resetCamera(cameraName); }

std::string VideoDevice::getCameraModel(const std::string& cameraName) const {
  return _impl->getCameraModel(cameraName);
}

bool VideoDevice::isCameraSimulated(const std::string& cameraName) const {
  return _impl->isCameraSimulated(cameraName);
}

std::string VideoDevice::getCameraName(const std::string& cameraName) const {
  return _impl->getCameraName(cameraName);
}

unsigned short VideoDevice::getCameraNativeFrameRate(const std::string& cameraName) const {
  return _impl->getCameraNativeFrameRate(cameraName);
}

std::pair<unsigned short, unsigned short> VideoDevice::getCameraNativeFrameRateRange(
    const std::string& cameraName) const {
  return _impl->getCameraNativeFrameRateRange(cameraName);
}

Resolution VideoDevice::getCameraNativeResolution(const std::string& cameraName) const {
  return _impl->getCameraNativeResolution(cameraName);
}

std::pair<Resolution, Resolution> VideoDevice::getCameraNativeResolutionRange(
    const std::string& cameraName) const {
  return _impl->getCameraNativeResolutionRange(cameraName);
}

ColorSpace VideoDevice::getCameraNativeColorSpace(const std::string& cameraName) const {
  return _impl->getCameraNativeColorSpace(cameraName);
}

FieldOfView VideoDevice::getCameraFieldOfView(const std::string& cameraName) const {
  return _impl->getCameraFieldOfView(cameraName);
}

std::vector<Parameter> VideoDevice::getCameraParameterList(const std::string& cameraName) const {
  return _impl->getCameraParameterList(cameraName);
}

int VideoDevice::getCameraParameter(const std::string& cameraName,
                                    const Parameter& parameter) const {
  return _impl->getCameraParameter(cameraName, parameter);
}

ParameterInfo VideoDevice::getCameraParameterInfo(const std::string& cameraName,
                                                  const Parameter& parameter) const {
  return _impl->getCameraParameterInfo(cameraName, parameter);
}

void VideoDevice::setCameraParameter(const std::string& cameraName, const Parameter& parameter,
                                     int value) {
  _impl->setCameraParameter(cameraName, parameter, value);
}

void VideoDevice::resetCameraParameter(const std::string& cameraName, const Parameter& parameter) {
  _impl->resetCameraParameter(cameraName, parameter);
}

void VideoDevice::resetAllCameraParameters(const std::string& cameraName) {
  _impl->resetAllCameraParameters(cameraName);
}

void VideoDevice::setCameraCalibration(const std::string& cameraName,
                                       const std::vector<std::string>& calibrationFiles) {
  _impl->setCameraCalibration(cameraName, calibrationFiles);
}

std::vector<float> VideoDevice::getAngularPositionFromImagePosition(
    const std::string& cameraName, const std::vector<float>& position) const {
  return _impl->getAngularPositionFromImagePosition(cameraName, position);
}

std::vector<float> VideoDevice::getImagePositionFromAngularPosition(
    const std::string& cameraName, const std::vector<float>& position) const {
  return _impl->getImagePositionFromAngularPosition(cameraName, position);
}

std::vector<float> VideoDevice::getAngularSizeFromImageSize(const std::string& cameraName,
                                                            const std::vector<float>& size) const {
  return _impl->getAngularSizeFromImageSize(cameraName, size);
}

std::vector<float> VideoDevice::getImageSizeFromAngularSize(const std::string& cameraName,
                                                            const std::vector<float>& size) const {
  return _impl->getImageSizeFromAngularSize(cameraName, size);
}

std::vector<float> VideoDevice::getImageInfoFromAngularInfo(const std::string& cameraName,
                                                            const std::vector<float>& info) const {
  return _impl->getImageInfoFromAngularInfo(cameraName, info);
}

std::vector<float> VideoDevice::getImageInfoFromAngularInfoWithResolution(
    const std::string& cameraName, const std::vector<float>& info,
    const Resolution& resolution) const {
  return _impl->getImageInfoFromAngularInfoWithResolution(cameraName, info, resolution);
}

CameraPreferences VideoDevice::getExpectedImageParameters(const std::string& cameraName) const {
  return _impl->getExpectedImageParameters(cameraName);
}

std::string VideoDevice::subscribeCamera(std::string name, std::string cameraName,
                                         Resolution resolution, ColorSpace colorSpace,
                                         unsigned short frameRate) {
  return _impl->subscribeCamera(std::move(name), std::move(cameraName), resolution, colorSpace,
                                frameRate);
}

std::string VideoDevice::subscribeCameras(std::string name, std::vector<std::string> cameraNames,
                                          std::vector<Resolution> resolutions,
                                          std::vector<ColorSpace> colorSpaces,
                                          unsigned short frameRate) {
  return _impl->subscribeCameras(std::move(name), std::move(cameraNames), std::move(resolutions),
                                 std::move(colorSpaces), frameRate);
}

void VideoDevice::unsubscribe(const std::string& name) { _impl->unsubscribe(name); }

std::vector<std::string> VideoDevice::getSubscribers() const {
  return _impl->getSubscribersNames();
}

std::string VideoDevice::getActiveCamera(const std::string& name) const {
  return _impl->getActiveCamera(name);
}

void VideoDevice::setActiveCamera(const std::string& name, const std::string& cameraName) {
  _impl->setActiveCamera(name, cameraName);
}

Resolution VideoDevice::getResolution(const std::string& name) const {
  return _impl->getResolution(name);
}

void VideoDevice::setResolution(const std::string& name, const Resolution& resolution) {
  _impl->setResolution(name, resolution);
}

ColorSpace VideoDevice::getColorSpace(const std::string& name) const {
  return _impl->getColorSpace(name);
}

void VideoDevice::setColorSpace(const std::string& name, const ColorSpace& colorSpace) {
  _impl->setColorSpace(name, colorSpace);
}

unsigned short VideoDevice::getFrameRate(const std::string& name) const {
  return _impl->getFrameRate(name);
}

void VideoDevice::setFrameRate(const std::string& name, unsigned short frameRate) {
  _impl->setFrameRate(name, frameRate);
}

std::vector<std::string> VideoDevice::getActiveCameras(const std::string& name) const {
  return _impl->getActiveCameras(name);
}

void VideoDevice::setActiveCameras(const std::string& name,
                                   const std::vector<std::string>& cameraNames) {
  _impl->setActiveCameras(name, cameraNames);
}

std::vector<Resolution> VideoDevice::getResolutions(const std::string& name) const {
  return _impl->getResolutions(name);
}

void VideoDevice::setResolutions(const std::string& name,
                                 const std::vector<Resolution>& resolutions) {
  _impl->setResolutions(name, resolutions);
}

std::vector<ColorSpace> VideoDevice::getColorSpaces(const std::string& name) const {
  return _impl->getColorSpaces(name);
}

void VideoDevice::setColorSpaces(const std::string& name,
                                 const std::vector<ColorSpace>& colorSpaces) {
  _impl->setColorSpaces(name, colorSpaces);
}

std::shared_ptr<const ImageBuffer> VideoDevice::getImage(const VideoDevice::TimePoint& timePoint,
                                                         const std::string& name) {
  return _impl->getImage(timePoint, name);
}

std::shared_ptr<const ImageBuffer> VideoDevice::getDirectRawImage(
    const VideoDevice::TimePoint& timePoint, const std::string& name) {
  return _impl->getDirectRawImage(timePoint, name);
}

std::vector<std::shared_ptr<const ImageBuffer>> VideoDevice::getImages(
    const VideoDevice::TimePoint& timePoint, const std::string& name) {
  return _impl->getImages(timePoint, name);
}

std::vector<std::shared_ptr<const ImageBuffer>> VideoDevice::getDirectRawImages(
    const VideoDevice::TimePoint& timePoint, const std::string& name) {
  return _impl->getDirectRawImages(timePoint, name);
}

void VideoDevice::releaseImage(const std::string& name) { _impl->releaseImage(name); }

void VideoDevice::releaseDirectRawImage(const std::string& name) {
  _impl->releaseDirectRawImage(name);
}

void VideoDevice::releaseImages(const std::string& name) { _impl->releaseImages(name); }

void VideoDevice::releaseDirectRawImages(const std::string& name) {
  _impl->releaseDirectRawImages(name);
}

void VideoDevice::putImage(const std::shared_ptr<const ImageBuffer>& image) {
  _impl->putImage(image);
}

}  // namespace videoDevice
