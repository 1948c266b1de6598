// Handing images to subscribers and taking them back. Every buffer handed out
// is recorded in the subscriber under the camera name it carries, which is
// how the release finds its camera again.
//
// This is the per-frame path: names are looked up where they are stored,
// never copied, and the subscriber's records reuse their nodes. Only a failure
// takes the slower way that copies a name to report it.

#include <stdexcept>

#include <lumo/Log.h>

#include "device/Subscriber.h"
#include "device/VideoDevicePrivate.h"

LUMO_LOG_CATEGORY("vision.videodevice")

namespace videoDevice {

namespace {

// Records a fetched buffer; from now on the subscriber is processing. A camera
// answers with a buffer or throws; a null answer is passed on unrecorded.
void recordBuffer(Subscriber& subscriber, const std::shared_ptr<const ImageBuffer>& buffer) {
  if (buffer) subscriber.setImageBuffer(buffer->cameraName(), buffer);
}

}  // namespace

// One fetch per active camera, in list order, with the preferences stored
// under the list entry itself. Each buffer is recorded as soon as it arrives,
// so that a camera failing later in the list leaves the earlier ones
// releasable.
template <typename Fetch>
std::vector<std::shared_ptr<const ImageBuffer>> VideoDevicePrivate::_fetchFromEachCamera(
    Subscriber& subscriber, Fetch fetch) {
  std::vector<std::shared_ptr<const ImageBuffer>> buffers;
  buffers.reserve(subscriber.getActiveCameraCount());
  const auto find = [this](const std::string& cameraName) { return _findCamera(cameraName); };
  std::shared_ptr<Camera> camera;
  std::shared_ptr<CameraPreferences> preferences;
  for (std::size_t i = 0; subscriber.resolveActiveCamera(i, find, camera, preferences); ++i) {
    // A missing camera or request fails as the lookups by name report it.
    if (!camera) camera = _getCamera(subscriber.getActiveCameraList().at(i));
    if (!preferences)
      preferences = subscriber.getCameraPreferences(subscriber.getActiveCameraList().at(i));
    buffers.push_back(fetch(*camera, *preferences));
    recordBuffer(subscriber, buffers.back());
  }
  return buffers;
}

// The camera of a mono-stream subscriber: the first of its list.
std::shared_ptr<Camera> VideoDevicePrivate::_firstActiveCamera(const Subscriber& subscriber) const {
  const auto find = [this](const std::string& cameraName) { return _findCamera(cameraName); };
  std::shared_ptr<Camera> camera;
  std::shared_ptr<CameraPreferences> unused;
  if (subscriber.resolveActiveCamera(0, find, camera, unused) && camera) return camera;
  // An empty list or a camera gone: fail as the lookup by name reports it.
  return _getCamera(subscriber.getActiveCameraList().at(0));
}

// --- public entry points --------------------------------------------------------

std::shared_ptr<const ImageBuffer> VideoDevicePrivate::getImage(const TimePoint& timePoint,
                                                                const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  return _getImage(timePoint, subscriber);
}

std::shared_ptr<const ImageBuffer> VideoDevicePrivate::getDirectRawImage(
    const TimePoint& timePoint, const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  return _getDirectRawImage(timePoint, subscriber);
}

std::vector<std::shared_ptr<const ImageBuffer>> VideoDevicePrivate::getImages(
    const TimePoint& timePoint, const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  return _getImages(timePoint, subscriber);
}

std::vector<std::shared_ptr<const ImageBuffer>> VideoDevicePrivate::getDirectRawImages(
    const TimePoint& timePoint, const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  return _getDirectRawImages(timePoint, subscriber);
}

void VideoDevicePrivate::releaseImage(const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  _releaseImage(subscriber);
}

void VideoDevicePrivate::releaseDirectRawImage(const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMonostream(subscriber);
  _releaseDirectRawImage(subscriber);
}

void VideoDevicePrivate::releaseImages(const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  _releaseImages(subscriber);
}

void VideoDevicePrivate::releaseDirectRawImages(const std::string& name) {
  const std::shared_ptr<Subscriber> subscriber = _getSubscriber(name);
  _checkSubscriberIsMultistream(subscriber);
  _releaseDirectRawImages(subscriber);
}

void VideoDevicePrivate::putImage(const std::shared_ptr<const ImageBuffer>& image) {
  if (!image) LUMO_FAIL(std::invalid_argument, "Can't put image: invalid pointer.");
  _getCamera(image->cameraName())->putImage(image);
}

// --- fetching ---------------------------------------------------------------------

std::shared_ptr<const ImageBuffer> VideoDevicePrivate::_getImage(
    const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber) {
  _checkSubscriberIsNotProcessing(subscriber);
  const std::shared_ptr<Camera> camera = _firstActiveCamera(*subscriber);
  // The key subscribeCamera used: the camera's own name, "Default" resolved.
  const std::shared_ptr<CameraPreferences> preferences =
      subscriber->getCameraPreferences(camera->getName());
  std::shared_ptr<const ImageBuffer> buffer = camera->getImageBuffer(timePoint, *preferences);
  recordBuffer(*subscriber, buffer);
  return buffer;
}

std::shared_ptr<const ImageBuffer> VideoDevicePrivate::_getDirectRawImage(
    const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber) {
  _checkSubscriberIsNotProcessing(subscriber);
  const std::shared_ptr<Camera> camera = _firstActiveCamera(*subscriber);
  const std::shared_ptr<CameraPreferences> preferences =
      subscriber->getCameraPreferences(camera->getName());
  std::shared_ptr<const ImageBuffer> buffer =
      camera->isExtraColorSpace(preferences->getColorSpace())
          ? camera->getDirectRawExtraColorSpaceImageBuffer(timePoint, *preferences)
          : camera->getDirectRawImageBuffer(timePoint, *preferences);
  recordBuffer(*subscriber, buffer);
  return buffer;
}

std::vector<std::shared_ptr<const ImageBuffer>> VideoDevicePrivate::_getImages(
    const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber) {
  _checkSubscriberIsNotProcessing(subscriber);
  return _fetchFromEachCamera(*subscriber,
                              [&](Camera& camera, const CameraPreferences& preferences) {
                                return camera.getImageBuffer(timePoint, preferences);
                              });
}

std::vector<std::shared_ptr<const ImageBuffer>> VideoDevicePrivate::_getDirectRawImages(
    const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber) {
  _checkSubscriberIsNotProcessing(subscriber);
  // Always the main raw stream: unlike the single-camera fetch, no camera is
  // asked whether the colour space belongs to its extra stream.
  return _fetchFromEachCamera(*subscriber,
                              [&](Camera& camera, const CameraPreferences& preferences) {
                                return camera.getDirectRawImageBuffer(timePoint, preferences);
                              });
}

// --- releasing ----------------------------------------------------------------------

// One path for raw and converted buffers alike: each camera knows which pool a
// buffer came from. If a release fails, what is still held stays in the map so
// that the release can be retried; what a camera already took back is
// forgotten at once, so that a retry never gives it back twice (that would
// take the hold of another subscriber of the same buffer).
void VideoDevicePrivate::_releaseImage(const std::shared_ptr<Subscriber>& subscriber) {
  subscriber->giveBackImageBuffers(
      [this](const std::string& cameraName, const std::shared_ptr<const ImageBuffer>& buffer) {
        _getCamera(cameraName)->releaseImageBuffer(buffer);
      });
}

void VideoDevicePrivate::_releaseDirectRawImage(const std::shared_ptr<Subscriber>& subscriber) {
  _releaseImage(subscriber);
}

void VideoDevicePrivate::_releaseImages(const std::shared_ptr<Subscriber>& subscriber) {
  _releaseImage(subscriber);
}

void VideoDevicePrivate::_releaseDirectRawImages(const std::shared_ptr<Subscriber>& subscriber) {
  _releaseImage(subscriber);
}

}  // namespace videoDevice
