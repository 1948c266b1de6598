// The subscriber half of VideoDevicePrivate: subscribing and unsubscribing,
// the choice of the registered name, subscriber lookups and the checks that
// the settings and image operations run first.

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include <lumo/Log.h>

#include "device/Subscriber.h"
#include "device/VideoDevicePrivate.h"

LUMO_LOG_CATEGORY("vision.videodevice")

namespace videoDevice {

namespace {

// Asks the camera to accept the request, letting it correct the request in
// place when it cannot serve it as it stands. `function` is the subscribe
// operation the messages are logged for.
void validateRequest(Camera& camera, CameraPreferences& preferences, const std::string& name,
                     const char* function) {
  if (camera.isValidRequest(preferences)) return;
  const std::string header = lumo::log::concat("Can't add subscriber ", name, " to Video Device\n",
                                               "Some camera parameter values are not supported.\n");
  LUMO_LOG_AS(3, function) << header << "Try to change the camera parameter requested automatically...";
  if (!camera.updateRequestToValidRequest(preferences))
    LUMO_FAIL_AS(function, std::invalid_argument,
                 header + "You must change the camera parameter requested.");
}

}  // namespace

std::string VideoDevicePrivate::_findAvailableSubscriberName(const std::string& name) {
  // The first rejection retries name_0 once more before counting up; the
  // extra lookup is harmless and keeps the suffixes where clients expect them.
  std::string candidate = name + "_0";
  int rejected = 0;
  while (_subscribers.count(candidate) != 0 && rejected < 7) {
    candidate = name + "_" + std::to_string(rejected);
    ++rejected;
  }
  if (_subscribers.count(candidate) != 0)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat("Could not subscribe module: ", name, "\n", 6, " instances of: ",
                                name, " have already subscribed to the video device.\n",
                                "Please unsubscribe before subscribing again to this module."));
  if (rejected > 0)
    LUMO_LOG(5) << "Subscriber name " << name << " already in use.\n"
                << "Name id changed to \"" << candidate << "\"";
  return candidate;
}

std::string VideoDevicePrivate::subscribeCamera(std::string name, std::string cameraName,
                                                Resolution resolution, ColorSpace colorSpace,
                                                unsigned short frameRate) {
  const std::shared_ptr<Camera> camera = _getCamera(cameraName);
  camera->open();
  const auto preferences = std::make_shared<CameraPreferences>(resolution, colorSpace, frameRate);
  validateRequest(*camera, *preferences, name, "subscribeCamera");

  std::string registeredName;
  {
    std::lock_guard<std::mutex> lock(_subscribersMutex);
    registeredName = _findAvailableSubscriberName(name);
    const auto subscriber = std::make_shared<Subscriber>(registeredName);
    // Stored under the camera's own name ("Default" resolved), while the
    // active-camera list keeps what the client asked for so that the
    // subscriber follows later changes of the default camera.
    subscriber->setCameraPreferences(camera->getName(), preferences);
    subscriber->setActiveCameras({cameraName});
    subscriber->setFrameRate(preferences->getRefreshRate());
    if (!_subscribers.emplace(registeredName, subscriber).second)
      LUMO_FAIL(std::runtime_error,
                lumo::log::concat("Can't add subscriber \"", registeredName, "\" to VideoDevice."));
  }

  try {
    camera->addPreferences(preferences);
  } catch (const std::exception& error) {
    LUMO_LOG(2) << "Can't update camera with new subscriber param: " << error.what();
  }

  LUMO_LOG(5) << "Registered subscriber \"" << name << "\"\n"
              << "with active camera: " << cameraName
              << ", resolution: " << preferences->getResolution().width << "x"
              << preferences->getResolution().height
              << ", colorspace: " << preferences->getColorSpace()
              << ", framerate: " << preferences->getRefreshRate();
  LUMO_LOG(5) << "subscribeCamera(): Number of subscribers: " << getSubscribersNames().size();
  return registeredName;
}

std::string VideoDevicePrivate::subscribeCameras(std::string name,
                                                 std::vector<std::string> cameraNames,
                                                 std::vector<Resolution> resolutions,
                                                 std::vector<ColorSpace> colorSpaces,
                                                 unsigned short frameRate) {
  if (name.empty() || cameraNames.empty() || resolutions.empty() || colorSpaces.empty())
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat("Can't add subscriber ", name, " to Video Device.\n",
                                "Some input parameters are empty.\n", "Please verify parameters"));
  if (resolutions.size() != cameraNames.size() || colorSpaces.size() != cameraNames.size())
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat("Can't add subscriber ", name, " to Video Device.\n",
                                "Parameters list don't have the same size.\n",
                                "Please verify parameters"));
  std::vector<std::string> distinct = cameraNames;
  std::sort(distinct.begin(), distinct.end());
  distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
  if (distinct.size() < cameraNames.size())
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat("subscribeCameras(): ", "Can't add subscriber ", name,
                                " to Video Device.\n", "Invalid input parameters, list contains ",
                                cameraNames.size(), " elements but only ", distinct.size(),
                                " different elements",
                                " (using several time the same camera is forbidden).\n",
                                "Please correct camera indexes list."));

  std::vector<std::shared_ptr<Camera>> cameras;
  std::vector<std::shared_ptr<CameraPreferences>> preferences;
  unsigned short refreshRate = frameRate;
  for (std::size_t i = 0; i < cameraNames.size(); ++i) {
    const std::shared_ptr<Camera> camera = _getCamera(cameraNames[i]);
    camera->open();
    const auto request =
        std::make_shared<CameraPreferences>(resolutions[i], colorSpaces[i], frameRate);
    validateRequest(*camera, *request, name, "subscribeCameras");
    refreshRate = request->getRefreshRate();
    cameras.push_back(camera);
    preferences.push_back(request);
  }

  std::string registeredName;
  {
    std::lock_guard<std::mutex> lock(_subscribersMutex);
    registeredName = _findAvailableSubscriberName(name);
    const auto subscriber = std::make_shared<Subscriber>(registeredName);
    // Keys are the names as listed, "Default" included: the multi-stream
    // reads and fetches look them up the same way.
    for (std::size_t i = 0; i < cameraNames.size(); ++i)
      subscriber->setCameraPreferences(cameraNames[i], preferences[i]);
    subscriber->setActiveCameras(cameraNames);
    subscriber->setFrameRate(refreshRate);
    if (!_subscribers.emplace(registeredName, subscriber).second)
      LUMO_FAIL(std::runtime_error,
                lumo::log::concat("Can't add subscriber \"", registeredName, "\" to VideoDevice."));
  }

  for (std::size_t i = 0; i < cameras.size(); ++i) cameras[i]->addPreferences(preferences[i]);

  if (lumo::log::isEnabled(5, lumoLogCategory.name())) {
    std::ostringstream message;
    message << "Registered subscriber multicam \"" << name << "\"\n";
    for (std::size_t i = 0; i < cameraNames.size(); ++i)
      message << "  with active camera: " << cameraNames[i]
              << ", resolution: " << preferences[i]->getResolution().width << "x"
              << preferences[i]->getResolution().height
              << ", colorspace: " << preferences[i]->getColorSpace() << "\n";
    message << "  framerate: " << refreshRate;
    LUMO_LOG(5) << message.str();
  }
  LUMO_LOG(5) << "subscribeCameras(): Number of subscribers: " << getSubscribersNames().size();
  return registeredName;
}

void VideoDevicePrivate::unsubscribe(const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsNotProcessing(subscriber);
  LUMO_LOG(5) << "Unregistered subscriber \"" << name << "\"";
  {
    std::lock_guard<std::mutex> lock(_subscribersMutex);
    _subscribers.erase(name);
  }
  for (const std::string& cameraName : subscriber->getActiveCameraList()) {
    const std::shared_ptr<Camera> camera = _getCamera(cameraName);
    camera->removePreferences(subscriber->getCameraPreferences(_getRealCameraName(cameraName)));
  }
  LUMO_LOG(5) << "unsubscribe(): Number of remaining subscribers: "
              << getSubscribersNames().size();
}

std::vector<std::string> VideoDevicePrivate::getSubscribersNames() const {
  std::lock_guard<std::mutex> lock(_subscribersMutex);
  std::vector<std::string> names;
  names.reserve(_subscribers.size());
  for (const auto& entry : _subscribers) names.push_back(entry.first);
  return names;
}

std::shared_ptr<Subscriber> VideoDevicePrivate::_getSubscriber(const std::string& name) {
  // "Default" resolves like a camera name, as in _getCamera. The default
  // camera's name is read before the subscribers mutex is taken: the two
  // device mutexes are never held together.
  std::string defaultCamera;
  const std::string& key = _resolveCameraName(name, defaultCamera);
  {
    std::lock_guard<std::mutex> lock(_subscribersMutex);
    const auto it = _subscribers.find(key);
    if (it != _subscribers.end()) return it->second;
  }
  LUMO_FAIL_AS("_getSubscriber", std::invalid_argument,
               lumo::log::concat("Subscriber \"", name, "\" doesn't exist."));
}

std::shared_ptr<const Subscriber> VideoDevicePrivate::_getSubscriber(
    const std::string& name) const {
  return const_cast<VideoDevicePrivate*>(this)->_getSubscriber(name);
}

namespace {
const char* const streamKindMessage =
    "Only mono stream subscribers can call this method."
    " Please verify you have subscribed to VideoDevice using subscribeCamera().";
}  // namespace

void VideoDevicePrivate::_checkSubscriberIsMonostream(
    const std::shared_ptr<const Subscriber>& subscriber) const {
  if (subscriber->isMultiStream()) LUMO_FAIL(std::runtime_error, streamKindMessage);
}

void VideoDevicePrivate::_checkSubscriberIsMultistream(
    const std::shared_ptr<const Subscriber>& subscriber) const {
  // Same text as the mono-stream check: clients match on it.
  if (!subscriber->isMultiStream()) LUMO_FAIL(std::runtime_error, streamKindMessage);
}

void VideoDevicePrivate::_checkSubscriberIsNotProcessing(
    const std::shared_ptr<const Subscriber>& subscriber) const {
  if (subscriber->isProcessing())
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat("Subscriber \"", subscriber->getName(), "\" is still processing.",
                                " Please verify you have release previous image(s)."));
}

}  // namespace videoDevice
