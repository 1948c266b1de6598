// Negotiation of one native mode from the requests of every subscriber: the
// validation and correction of a request, attaching and detaching requests,
// and the choice of the native resolution and frame rate.
//
// Attach, detach and update take the preferences mutex, the pool mutexes and
// the camera mutex one after another, never together, so they may be called
// while another thread fetches images.

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include <lumo/Log.h>

#include "camera/SupportedSets.h"
#include "videodevice/CameraBase.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera")

namespace videoDevice {

using detail::firstOf;
using detail::lastOf;

// --- validation (no lock: the supported sets do not change once built) --------

bool CameraBase::isResolutionValid(const Resolution& resolution) const {
  for (const Resolution& supported : _supportedResolutions)
    if (supported == resolution) return true;
  if (_supportedResolutions.empty()) return false;
  // Any whole down-scaling with the aspect ratio of the largest size.
  const Resolution& largest = *_supportedResolutions.rbegin();
  if (resolution.width > largest.width || resolution.height > largest.height) return false;
  if (largest.width == 0) return false;
  return resolution.width * largest.height / largest.width == resolution.height;
}

bool CameraBase::isFrameRateValid(const unsigned short& frameRate) const {
  return frameRate != 0 && !_supportedFrameRates.empty() &&
         frameRate <= *_supportedFrameRates.rbegin();
}

bool CameraBase::isValidRequest(const CameraPreferences& preferences) const {
  const Resolution resolution = preferences.getResolution();
  if (!isResolutionValid(resolution)) {
    LUMO_LOG(2) << _name << ": resolution " << resolution.width << "x" << resolution.height
                << " not supported by device.";
    return false;
  }
  if (!isColorSpaceValid(preferences.getColorSpace())) {
    LUMO_LOG(2) << _name << ": colorspace " << preferences.getColorSpace()
                << " not supported by device.";
    return false;
  }
  if (preferences.getRefreshRate() == 0 || !isFrameRateValid(preferences.getRefreshRate())) {
    LUMO_LOG(2) << _name << ": frame rate " << preferences.getRefreshRate()
                << " not supported by the device.";
    return false;
  }
  return true;
}

bool CameraBase::updateRequestToValidRequest(CameraPreferences& preferences) const {
  const unsigned short slowest =
      firstOf(_supportedFrameRates, lumoLogCategory, _name, "frame rates", __func__);
  const unsigned short fastest =
      lastOf(_supportedFrameRates, lumoLogCategory, _name, "frame rates", __func__);
  // A rate between the two is kept even when the device has no such mode:
  // the pools serve it from a faster native rate.
  if (preferences.getRefreshRate() < slowest) {
    LUMO_LOG(3) << _name << ": Invalid Framerate (too low), Framerate set to: " << slowest;
    preferences.setRefreshRate(slowest);
  } else if (preferences.getRefreshRate() > fastest) {
    LUMO_LOG(3) << _name << ": Invalid Framerate (too high), Framerate set to: " << fastest;
    preferences.setRefreshRate(fastest);
  }

  if (!isResolutionValid(preferences.getResolution())) {
    const Resolution fallback = buildDefaultPreferences()->getResolution();
    LUMO_LOG(3) << _name << ": Invalid Resolution, Resolution set to: " << fallback.width << "x"
                << fallback.height;
    preferences.setResolution(fallback);
  }

  if (!isColorSpaceValid(preferences.getColorSpace())) {
    const ColorSpace fallback = buildDefaultPreferences()->getColorSpace();
    LUMO_LOG(3) << _name << ": Invalid ColorSpace, ColorSpace set to: " << fallback;
    preferences.setColorSpace(fallback);
  }
  return isValidRequest(preferences);
}

// --- attached requests -------------------------------------------------------------

bool CameraBase::isInUse() const {
  std::lock_guard<std::mutex> lock(_preferencesMutex);
  return !_preferences.empty();
}

void CameraBase::addPreferences(const std::shared_ptr<CameraPreferences>& preferences) {
  if (!preferences || !isValidRequest(*preferences))
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(_name,
                                ": Can't add preferences, invalid camera preferences request."));
  bool inserted = false;
  {
    std::lock_guard<std::mutex> lock(_preferencesMutex);
    inserted = _preferences.insert(preferences).second;
  }
  if (!inserted)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(_name, ": Can't insert preferences to camera preferences list."));
  // Attaching opens the device; streaming waits for the first image request.
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _open();
  _update();
}

void CameraBase::removePreferences(const std::shared_ptr<CameraPreferences>& preferences) {
  if (!preferences) {
    LUMO_LOG(2) << _name << ": empty preferences, can't remove it.";
    return;
  }
  bool erased = false;
  {
    std::lock_guard<std::mutex> lock(_preferencesMutex);
    erased = _preferences.erase(preferences) != 0;
  }
  if (!erased)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(_name, ": Can't remove preferences to camera preferences list."));

  // The leaving subscriber takes one raw and one of its converted buffers
  // with it, when they are free, so the pools follow the audience.
  _decreaseRawBufferNumber();
  _decreaseBufferNumber(*preferences);

  bool closeCamera = false;
  {
    std::lock_guard<std::mutex> lock(_cameraMutex);
    // Decided under the camera mutex, so that a subscriber attached meanwhile
    // is seen and the camera is not closed under it.
    if (isInUse()) {
      _update();
    } else {
      const auto keepAlive = _controls.find(Parameter::KEEP_ALIVE);
      closeCamera = keepAlive == _controls.end() || keepAlive->second->getValue() == 0;
    }
  }
  // The public close() takes the camera mutex itself (and may be a backend's).
  if (closeCamera) close();
}

namespace {

// Whether `preferences` is one of the attached requests.
bool isAttached(std::mutex& mutex, const std::set<std::shared_ptr<CameraPreferences>>& attached,
                const std::shared_ptr<CameraPreferences>& preferences) {
  std::lock_guard<std::mutex> lock(mutex);
  return preferences && attached.count(preferences) != 0;
}

}  // namespace

void CameraBase::_changeAttachedPreferences(
    const std::shared_ptr<CameraPreferences>& preferences, bool shrinkPools,
    const std::function<void(CameraPreferences&)>& change, const char* operation) {
  if (!isAttached(_preferencesMutex, _preferences, preferences))
    LUMO_FAIL_AS(operation, std::runtime_error,
                 lumo::log::concat(_name, " doesn't own this preference."));
  if (shrinkPools) {
    _decreaseRawBufferNumber();
    _decreaseBufferNumber(*preferences);
  }
  std::lock_guard<std::mutex> lock(_cameraMutex);
  {
    // The native-mode search reads attached requests under this mutex.
    std::lock_guard<std::mutex> preferencesLock(_preferencesMutex);
    change(*preferences);
  }
  _update();
}

void CameraBase::updateResolutionPreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                             Resolution resolution) {
  if (!isResolutionValid(resolution))
    LUMO_FAIL(std::out_of_range,
              lumo::log::concat(_name, " can't support requested resolution (", resolution.width,
                                "x", resolution.height, ")."));
  _changeAttachedPreferences(preferences, true, [&](CameraPreferences& request) {
    request.setResolution(resolution);
  }, __func__);
}

void CameraBase::updateColorSpacePreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                             ColorSpace colorSpace) {
  if (!isColorSpaceValid(colorSpace))
    LUMO_FAIL(std::out_of_range,
              lumo::log::concat(_name, " can't support requested colorspace (", colorSpace, ")."));
  _changeAttachedPreferences(preferences, true, [&](CameraPreferences& request) {
    request.setColorSpace(colorSpace);
  }, __func__);
}

// The pools keep their buffers: they stay valid for any rate.
void CameraBase::updateFrameRatePreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                            unsigned short frameRate) {
  if (!isFrameRateValid(frameRate))
    LUMO_FAIL(std::out_of_range,
              lumo::log::concat(_name, " can't support requested frame rate (", frameRate, ")."));
  _changeAttachedPreferences(preferences, false, [&](CameraPreferences& request) {
    request.setRefreshRate(frameRate);
  }, __func__);
}

// --- choice of the native mode (camera mutex held; takes the preferences mutex) ---

Resolution CameraBase::_findMaxResolutionRequested() const {
  const Resolution& smallest =
      firstOf(_supportedResolutions, lumoLogCategory, _name, "resolutions", __func__);
  Resolution wanted = smallest;
  {
    std::lock_guard<std::mutex> lock(_preferencesMutex);
    // Only a request larger in both dimensions counts.
    for (const auto& preferences : _preferences) {
      const Resolution requested = preferences->getResolution();
      if (requested.width > wanted.width && requested.height > wanted.height) wanted = requested;
    }
  }
  // The first supported size covering the wish, else the greatest one.
  const auto last = std::prev(_supportedResolutions.end());
  return *std::lower_bound(_supportedResolutions.begin(), last, wanted);
}

unsigned short CameraBase::_findMaxRefreshRateRequested() const {
  const unsigned short slowest =
      firstOf(_supportedFrameRates, lumoLogCategory, _name, "frame rates", __func__);
  unsigned short wanted = slowest;
  {
    std::lock_guard<std::mutex> lock(_preferencesMutex);
    for (const auto& preferences : _preferences)
      wanted = std::max(wanted, preferences->getRefreshRate());
  }
  const auto last = std::prev(_supportedFrameRates.end());
  return *std::lower_bound(_supportedFrameRates.begin(), last, wanted);
}

}  // namespace videoDevice
