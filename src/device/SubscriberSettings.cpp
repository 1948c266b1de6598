// Reading and changing what a subscriber asked for. The device never edits a
// preference object itself: the camera does, so that it can renegotiate its
// native mode at the same time.

#include <algorithm>
#include <stdexcept>

#include <lumo/Log.h>

#include "device/Subscriber.h"
#include "device/VideoDevicePrivate.h"

LUMO_LOG_CATEGORY("vision.videodevice")

namespace videoDevice {

namespace {

// The camera a mono-stream operation works on. A mono-stream subscriber always
// has exactly one entry; at() only guards against a list emptied by a
// multi-stream setting.
std::string firstCamera(const Subscriber& subscriber) {
  return subscriber.getActiveCameraList().at(0);
}

// Hands one value to each active camera, in list order, for the preferences
// stored under the camera's own name. `what` names the values in the message
// refusing a list of the wrong length; `name` is the subscriber as the client
// named it.
template <typename Value, typename Lookup, typename Update>
void updateEachActiveCamera(const Subscriber& subscriber, const std::string& name,
                            const std::vector<Value>& values, const char* what,
                            const char* operation, Lookup lookup, Update update) {
  const std::vector<std::string> activeCameras = subscriber.getActiveCameraList();
  if (values.size() != activeCameras.size())
    LUMO_FAIL_AS(operation, std::invalid_argument,
                 lumo::log::concat(operation, "(", name, "): ", "Could not set ", what, ".\n",
                                   "Wrong size, parameters size: ", values.size(),
                                   " expected size: ", activeCameras.size()));
  for (std::size_t i = 0; i < activeCameras.size(); ++i) {
    const std::shared_ptr<Camera> camera = lookup(activeCameras[i]);
    update(*camera, subscriber.getCameraPreferences(camera->getName()), values[i]);
  }
}

}  // namespace

// --- mono stream ---------------------------------------------------------------

std::string VideoDevicePrivate::getActiveCamera(const std::string& name) const {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  return firstCamera(*subscriber);
}

void VideoDevicePrivate::setActiveCamera(const std::string& name, const std::string& cameraName) {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  const std::shared_ptr<Camera> oldCamera = _getCamera(firstCamera(*subscriber));
  const std::shared_ptr<Camera> newCamera = _getCamera(cameraName);

  const std::shared_ptr<CameraPreferences> preferences =
      subscriber->getCameraPreferences(oldCamera->getName());
  oldCamera->removePreferences(preferences);
  if (newCamera->isValidRequest(*preferences))
    subscriber->setCameraPreferences(newCamera->getName(),
                                     std::make_shared<CameraPreferences>(*preferences));
  else
    subscriber->setCameraPreferences(newCamera->getName(), newCamera->buildDefaultPreferences());
  // Looked up under the name as passed: for "Default" there is no such entry
  // and the move stops here, with the old camera already left.
  newCamera->addPreferences(subscriber->getCameraPreferences(cameraName));
  subscriber->setActiveCameras({cameraName});
}

Resolution VideoDevicePrivate::getResolution(const std::string& name) const {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  return subscriber->getCameraPreferences(_getRealCameraName(firstCamera(*subscriber)))
      ->getResolution();
}

void VideoDevicePrivate::setResolution(const std::string& name, Resolution resolution) {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  _checkSubscriberIsNotProcessing(subscriber);
  const std::shared_ptr<Camera> camera = _getCamera(firstCamera(*subscriber));
  camera->updateResolutionPreferences(subscriber->getCameraPreferences(camera->getName()),
                                      resolution);
}

ColorSpace VideoDevicePrivate::getColorSpace(const std::string& name) const {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  return subscriber->getCameraPreferences(_getRealCameraName(firstCamera(*subscriber)))
      ->getColorSpace();
}

void VideoDevicePrivate::setColorSpace(const std::string& name, ColorSpace colorSpace) {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  _checkSubscriberIsNotProcessing(subscriber);
  const std::shared_ptr<Camera> camera = _getCamera(firstCamera(*subscriber));
  camera->updateColorSpacePreferences(subscriber->getCameraPreferences(camera->getName()),
                                      colorSpace);
}

// --- either stream kind --------------------------------------------------------

unsigned short VideoDevicePrivate::getFrameRate(const std::string& name) const {
  return _getSubscriber(name)->getFrameRate();
}

void VideoDevicePrivate::setFrameRate(const std::string& name, unsigned short frameRate) {
  const auto subscriber = _getSubscriber(name);
  // Only the first camera renegotiates; the subscriber's other preference
  // objects take the new rate below without their cameras being told. A
  // multi-stream subscriber left without cameras just stores the rate.
  const std::vector<std::string> activeCameras = subscriber->getActiveCameraList();
  if (!activeCameras.empty()) {
    const std::shared_ptr<Camera> camera = _getCamera(activeCameras.front());
    camera->updateFrameRatePreferences(subscriber->getCameraPreferences(camera->getName()),
                                       frameRate);
  }
  subscriber->setFrameRate(frameRate);
}

// --- multi stream --------------------------------------------------------------

std::vector<std::string> VideoDevicePrivate::getActiveCameras(const std::string& name) const {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  return subscriber->getActiveCameraList();
}

void VideoDevicePrivate::setActiveCameras(const std::string& name,
                                          std::vector<std::string> cameraNames) {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);

  std::vector<std::string> distinct = cameraNames;
  std::sort(distinct.begin(), distinct.end());
  distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
  if (distinct.size() < cameraNames.size())
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat("setActiveCameras(", name, "): ", "Invalid input parameters, ",
                                "using several time the same camera is forbidden."));

  // Every new camera must exist before anything is withdrawn.
  std::vector<std::shared_ptr<Camera>> newCameras;
  for (const std::string& cameraName : cameraNames) newCameras.push_back(_getCamera(cameraName));

  for (const std::string& cameraName : subscriber->getActiveCameraList())
    _getCamera(cameraName)->removePreferences(subscriber->getCameraPreferences(cameraName));

  for (std::size_t i = 0; i < cameraNames.size(); ++i) {
    const std::shared_ptr<Camera> camera = _getCamera(cameraNames[i]);
    if (!subscriber->getCameraPreferences(cameraNames[i]))
      subscriber->setCameraPreferences(cameraNames[i], camera->buildDefaultPreferences());
    camera->addPreferences(subscriber->getCameraPreferences(cameraNames[i]));
  }
  subscriber->setActiveCameras(cameraNames);
}

std::vector<Resolution> VideoDevicePrivate::getResolutions(const std::string& name) const {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  std::vector<Resolution> resolutions;
  for (const std::string& cameraName : subscriber->getActiveCameraList())
    resolutions.push_back(subscriber->getCameraPreferences(cameraName)->getResolution());
  return resolutions;
}

void VideoDevicePrivate::setResolutions(const std::string& name,
                                        std::vector<Resolution> resolutions) {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  _checkSubscriberIsNotProcessing(subscriber);
  const auto lookup = [this](const std::string& cameraName) { return _getCamera(cameraName); };
  updateEachActiveCamera(*subscriber, name, resolutions, "resolutions", __func__, lookup,
                         [](Camera& camera, const std::shared_ptr<CameraPreferences>& preferences,
                            const Resolution& resolution) {
                           camera.updateResolutionPreferences(preferences, resolution);
                         });
}

std::vector<ColorSpace> VideoDevicePrivate::getColorSpaces(const std::string& name) const {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  std::vector<ColorSpace> colorSpaces;
  for (const std::string& cameraName : subscriber->getActiveCameraList())
    colorSpaces.push_back(subscriber->getCameraPreferences(cameraName)->getColorSpace());
  return colorSpaces;
}

void VideoDevicePrivate::setColorSpaces(const std::string& name,
                                        std::vector<ColorSpace> colorSpaces) {
  const auto subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  _checkSubscriberIsNotProcessing(subscriber);
  const auto lookup = [this](const std::string& cameraName) { return _getCamera(cameraName); };
  updateEachActiveCamera(*subscriber, name, colorSpaces, "colorspaces", __func__, lookup,
                         [](Camera& camera, const std::shared_ptr<CameraPreferences>& preferences,
                            const ColorSpace& colorSpace) {
                           camera.updateColorSpacePreferences(preferences, colorSpace);
                         });
}

}  // namespace videoDevice
