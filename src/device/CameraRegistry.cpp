// The camera half of VideoDevicePrivate: construction and destruction, the
// registry with its "Default" alias, and the operations that only look a
// camera up and forward to it.

#include <sstream>
#include <stdexcept>

#include <lumo/Log.h>

#include "device/Subscriber.h"
#include "device/VideoDevicePrivate.h"

LUMO_LOG_CATEGORY("vision.videodevice")

namespace videoDevice {

namespace {
const char* const defaultCameraAlias = "Default";
}  // namespace

VideoDevicePrivate::VideoDevicePrivate() = default;

VideoDevicePrivate::~VideoDevicePrivate() {
  // Subscribers left behind are only reported: their cameras may already be
  // gone with the rest of the program, so nothing is withdrawn from them.
  if (!_subscribers.empty()) {
    std::ostringstream names;
    for (const auto& entry : _subscribers) names << entry.first << " ";
    LUMO_LOG_AS(1, "~VideoDevicePrivate") << "Subscribers still subscribe (" << names.str() << ")";
  }
}

void VideoDevicePrivate::addCamera(std::shared_ptr<Camera> camera) {
  if (!camera) LUMO_FAIL(std::invalid_argument, "Can't add camera: invalid pointer.");

  std::lock_guard<std::mutex> lock(_camerasMutex);
  const std::string& name = camera->getName();
  if (!_cameras.emplace(name, camera).second)
    LUMO_FAIL(std::runtime_error, lumo::log::concat("Can't add camera \"", name, "\""));
  LUMO_LOG(5) << "Camera added: " << name;
  if (_defaultActiveCamera.empty()) _defaultActiveCamera = camera->getName();
}

std::shared_ptr<Camera> VideoDevicePrivate::getCamera(const std::string& cameraName) {
  return _getCamera(cameraName);
}

std::shared_ptr<Camera> VideoDevicePrivate::getCamera(const std::string& cameraName) const {
  return _getCamera(cameraName);
}

std::string VideoDevicePrivate::getDefaultActiveCamera() const {
  std::lock_guard<std::mutex> lock(_camerasMutex);
  return _defaultActiveCamera;
}

std::vector<std::string> VideoDevicePrivate::getCamerasName() const {
  std::lock_guard<std::mutex> lock(_camerasMutex);
  std::vector<std::string> names;
  names.reserve(_cameras.size());
  for (const auto& entry : _cameras) names.push_back(entry.second->getName());
  return names;
}

std::string VideoDevicePrivate::_getRealCameraName(const std::string& cameraName) const {
  if (cameraName != defaultCameraAlias) return cameraName;
  return getDefaultActiveCamera();
}

const std::string& VideoDevicePrivate::_resolveCameraName(const std::string& cameraName,
                                                          std::string& storage) const {
  if (cameraName != defaultCameraAlias) return cameraName;
  storage = getDefaultActiveCamera();
  return storage;
}

std::shared_ptr<Camera> VideoDevicePrivate::_getCamera(const std::string& cameraName) {
  return static_cast<const VideoDevicePrivate&>(*this)._getCamera(cameraName);
}

std::shared_ptr<Camera> VideoDevicePrivate::_findCamera(const std::string& cameraName) const {
  std::lock_guard<std::mutex> lock(_camerasMutex);
  const std::string& key = cameraName == defaultCameraAlias ? _defaultActiveCamera : cameraName;
  const auto it = _cameras.find(key);
  return it != _cameras.end() ? it->second : nullptr;
}

std::shared_ptr<Camera> VideoDevicePrivate::_getCamera(const std::string& cameraName) const {
  if (std::shared_ptr<Camera> camera = _findCamera(cameraName)) return camera;
  LUMO_FAIL_AS("_getCamera", std::invalid_argument,
               lumo::log::concat("Camera \"", cameraName, "\" doesn't exist."));
}

void VideoDevicePrivate::setDefaultActiveCamera(const std::string& cameraName) {
  const std::string currentDefault = getDefaultActiveCamera();
  const std::string requested = cameraName == defaultCameraAlias ? currentDefault : cameraName;
  if (requested == currentDefault) {
    LUMO_LOG(3) << "Try to replace default camera by itself.";
    return;
  }

  const std::shared_ptr<Camera> newCamera = _getCamera(cameraName);
  const std::shared_ptr<Camera> oldCamera = _getCamera(currentDefault);
  {
    std::lock_guard<std::mutex> lock(_camerasMutex);
    _defaultActiveCamera = cameraName;
  }

  // Subscribers that asked for "Default" follow the default camera. Only the
  // first entry of the list is looked at: a multi-stream subscriber naming
  // "Default" later in its list stays where it is.
  std::lock_guard<std::mutex> lock(_subscribersMutex);
  for (const auto& entry : _subscribers) {
    const std::shared_ptr<Subscriber>& subscriber = entry.second;
    const std::vector<std::string> activeCameras = subscriber->getActiveCameraList();
    if (activeCameras.empty() || activeCameras.front() != defaultCameraAlias) continue;

    const std::shared_ptr<CameraPreferences> oldPreferences =
        subscriber->getCameraPreferences(oldCamera->getName());
    oldCamera->removePreferences(oldPreferences);
    if (newCamera->isValidRequest(*oldPreferences))
      subscriber->setCameraPreferences(newCamera->getName(),
                                       std::make_shared<CameraPreferences>(*oldPreferences));
    else
      subscriber->setCameraPreferences(newCamera->getName(), newCamera->buildDefaultPreferences());
    newCamera->addPreferences(subscriber->getCameraPreferences(newCamera->getName()));
  }
}

// --- per-camera operations ---------------------------------------------------

void VideoDevicePrivate::openCamera(const std::string& cameraName) { _getCamera(cameraName)->open(); }

void VideoDevicePrivate::closeCamera(const std::string& cameraName) {
  _getCamera(cameraName)->close();
}

bool VideoDevicePrivate::isCameraOpen(const std::string& cameraName) const {
  return _getCamera(cameraName)->isOpen();
}

void VideoDevicePrivate::startCamera(const std::string& cameraName) {
  _getCamera(cameraName)->start();
}

void VideoDevicePrivate::stopCamera(const std::string& cameraName) { _getCamera(cameraName)->stop(); }

bool VideoDevicePrivate::isCameraStarted(const std::string& cameraName) const {
  return _getCamera(cameraName)->isStarted();
}

void VideoDevicePrivate::resetCamera(const std::string& cameraName) {
  _getCamera(cameraName)->reset();
}

std::string VideoDevicePrivate::getCameraModel(const std::string& cameraName) const {
  return _getCamera(cameraName)->getModel();
}

bool VideoDevicePrivate::isCameraSimulated(const std::string& cameraName) const {
  return _getCamera(cameraName)->isSimulated();
}

std::string VideoDevicePrivate::getCameraName(const std::string& cameraName) const {
  return _getCamera(cameraName)->getName();
}

unsigned short VideoDevicePrivate::getCameraNativeFrameRate(const std::string& cameraName) const {
  return _getCamera(cameraName)->getNativeFrameRate();
}

// The two range queries read the ends of the camera's ordered set. A camera
// made by CameraBuilder never has an empty set; a hand-made one that does gets
// a pair of default values instead of a read past the set.
std::pair<unsigned short, unsigned short> VideoDevicePrivate::getCameraNativeFrameRateRange(
    const std::string& cameraName) const {
  const std::set<unsigned short> frameRates =
      _getCamera(cameraName)->getNativelySupportedFrameRates();
  if (frameRates.empty()) return {};
  return {*frameRates.begin(), *frameRates.rbegin()};
}

Resolution VideoDevicePrivate::getCameraNativeResolution(const std::string& cameraName) const {
  return _getCamera(cameraName)->getNativeResolution();
}

std::pair<Resolution, Resolution> VideoDevicePrivate::getCameraNativeResolutionRange(
    const std::string& cameraName) const {
  const std::set<Resolution> resolutions =
      _getCamera(cameraName)->getNativelySupportedResolutions();
  if (resolutions.empty()) return {};
  return {*resolutions.begin(), *resolutions.rbegin()};
}

ColorSpace VideoDevicePrivate::getCameraNativeColorSpace(const std::string& cameraName) const {
  return _getCamera(cameraName)->getNativeColorSpace();
}

FieldOfView VideoDevicePrivate::getCameraFieldOfView(const std::string& cameraName) const {
  return _getCamera(cameraName)->getFieldOfView();
}

std::vector<Parameter> VideoDevicePrivate::getCameraParameterList(
    const std::string& cameraName) const {
  return _getCamera(cameraName)->getParameterList();
}

int VideoDevicePrivate::getCameraParameter(const std::string& cameraName,
                                           const Parameter& parameter) const {
  return _getCamera(cameraName)->getParameter(parameter);
}

ParameterInfo VideoDevicePrivate::getCameraParameterInfo(const std::string& cameraName,
                                                         const Parameter& parameter) const {
  return _getCamera(cameraName)->getParameterInfo(parameter);
}

void VideoDevicePrivate::setCameraParameter(const std::string& cameraName,
                                            const Parameter& parameter, int value) {
  _getCamera(cameraName)->setParameter(parameter, value);
}

void VideoDevicePrivate::resetCameraParameter(const std::string& cameraName,
                                              const Parameter& parameter) {
  _getCamera(cameraName)->resetParameter(parameter);
}

void VideoDevicePrivate::resetAllCameraParameters(const std::string& cameraName) {
  _getCamera(cameraName)->resetParameters();
}

void VideoDevicePrivate::setCameraCalibration(const std::string& cameraName,
                                              const std::vector<std::string>& calibrationFiles) {
  _getCamera(cameraName)->setCalibration(calibrationFiles);
}

std::vector<float> VideoDevicePrivate::getAngularPositionFromImagePosition(
    const std::string& cameraName, const std::vector<float>& position) const {
  return _getCamera(cameraName)->getAngularPositionFromImagePosition(position);
}

std::vector<float> VideoDevicePrivate::getImagePositionFromAngularPosition(
    const std::string& cameraName, const std::vector<float>& position) const {
  return _getCamera(cameraName)->getImagePositionFromAngularPosition(position);
}

std::vector<float> VideoDevicePrivate::getAngularSizeFromImageSize(
    const std::string& cameraName, const std::vector<float>& size) const {
  return _getCamera(cameraName)->getAngularSizeFromImageSize(size);
}

std::vector<float> VideoDevicePrivate::getImageSizeFromAngularSize(
    const std::string& cameraName, const std::vector<float>& size) const {
  return _getCamera(cameraName)->getImageSizeFromAngularSize(size);
}

std::vector<float> VideoDevicePrivate::getImageInfoFromAngularInfo(
    const std::string& cameraName, const std::vector<float>& info) const {
  return _getCamera(cameraName)->getImageInfoFromAngularInfo(info);
}

std::vector<float> VideoDevicePrivate::getImageInfoFromAngularInfoWithResolution(
    const std::string& cameraName, const std::vector<float>& info,
    const Resolution& resolution) const {
  return _getCamera(cameraName)->getImageInfoFromAngularInfoWithResolution(info, resolution);
}

CameraPreferences VideoDevicePrivate::getExpectedImageParameters(
    const std::string& cameraName) const {
  return _getCamera(cameraName)->getExpectedImageParameters();
}

}  // namespace videoDevice
