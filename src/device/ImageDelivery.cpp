// Handing images to subscribers and taking them back. Every buffer handed out
// is recorded in the subscriber under the camera name it carries, which is
// how the release finds its camera again.

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
  if (buffer) subscriber.setImageBuffer(buffer->getCameraName(), buffer);
}

// One fetch per active camera, in list order, with the preferences stored
// under the list entry itself. Each buffer is recorded as soon as it arrives,
// so that a camera failing later in the list leaves the earlier ones
// releasable.
template <typename Lookup, typename Fetch>
std::vector<std::shared_ptr<const ImageBuffer>> fetchFromEachCamera(Subscriber& subscriber,
                                                                    Lookup lookup, Fetch fetch) {
  std::vector<std::shared_ptr<const ImageBuffer>> buffers;
  for (const std::string& cameraName : subscriber.getActiveCameraList()) {
    const std::shared_ptr<Camera> camera = lookup(cameraName);
    buffers.push_back(fetch(*camera, *subscriber.getCameraPreferences(cameraName)));
    recordBuffer(subscriber, buffers.back());
  }
  return buffers;
}

}  // namespace

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
  _getCamera(image->getCameraName())->putImage(image);
}

// --- fetching ---------------------------------------------------------------------

std::shared_ptr<const ImageBuffer> VideoDevicePrivate::_getImage(
    const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber) {
  _checkSubscriberIsNotProcessing(subscriber);
  const std::shared_ptr<Camera> camera = _getCamera(subscriber->getActiveCameraList().at(0));
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
  const std::shared_ptr<Camera> camera = _getCamera(subscriber->getActiveCameraList().at(0));
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
  const auto lookup = [this](const std::string& cameraName) { return _getCamera(cameraName); };
  return fetchFromEachCamera(*subscriber, lookup,
                             [&](Camera& camera, const CameraPreferences& preferences) {
                               return camera.getImageBuffer(timePoint, preferences);
                             });
}

std::vector<std::shared_ptr<const ImageBuffer>> VideoDevicePrivate::_getDirectRawImages(
    const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber) {
  _checkSubscriberIsNotProcessing(subscriber);
  // Always the main raw stream: unlike the single-camera fetch, no camera is
  // asked whether the colour space belongs to its extra stream.
  const auto lookup = [this](const std::string& cameraName) { return _getCamera(cameraName); };
  return fetchFromEachCamera(*subscriber, lookup,
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
  for (const auto& entry : subscriber->getImageBufferMap()) {
    _getCamera(entry.first)->releaseImageBuffer(entry.second);
    subscriber->eraseImageBuffer(entry.first, entry.second);
  }
  subscriber->clearImageBufferMap();
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
