// The two buffer pools of a camera: raw frames from the device and frames
// converted for the subscribers' preferences.
//
// A buffer's useCount is its lock: it is raised only under its pool's mutex,
// from 0 for a writer, from anything for a reader. Pool searches that may run
// outside the camera mutex (the shrinking ones, called when a subscriber
// leaves or changes its request) look at useCount before anything else: the
// description of a held buffer may be rewritten by a converter meanwhile.
//
// A fetch of a new frame misses in the pools as a matter of course (nothing
// is fresh enough yet, so a frame is grabbed and converted): the searches
// answer a miss with a null buffer, and the steady path neither throws nor
// allocates.

#include <cstdint>
#include <new>
#include <stdexcept>

#include <lumo/Log.h>

#include "camera/SupportedSets.h"
#include "videodevice/CameraBase.h"
#include "videodevice/ImageBuffer.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera")

namespace videoDevice {

using detail::firstOf;
using detail::lastOf;
using detail::requireSupported;

namespace {

using Pool = std::set<std::shared_ptr<ImageBuffer>>;

// Takes a free buffer for writing; false if someone holds it.
bool tryLockForEditing(const std::shared_ptr<ImageBuffer>& buffer) {
  std::int32_t expected = 0;
  return buffer->useCount.compare_exchange_strong(expected, 1);
}

// Age of a buffer for a request at timePoint, in nanoseconds; negative for a
// buffer stamped after the request. A request time or a time stamp at an end
// of the clock's range would overflow the subtraction: the age saturates
// instead, which keeps the comparisons below meaningful.
std::int64_t ageInNanoseconds(const lumo::Clock::time_point& timePoint,
                              const ImageBuffer& buffer) {
  std::int64_t age = 0;
  if (__builtin_sub_overflow(timePoint.time_since_epoch().count(),
                             buffer.getTimeStamp().time_since_epoch().count(), &age))
    return timePoint > buffer.getTimeStamp() ? INT64_MAX : INT64_MIN;
  return age;
}

// The same age in whole milliseconds, truncated toward zero.
std::int64_t ageInMilliseconds(const lumo::Clock::time_point& timePoint,
                               const ImageBuffer& buffer) {
  return ageInNanoseconds(timePoint, buffer) / 1000000;
}

// The newest of the candidates that `accepts`; among equal ages the first in
// pool order. The chosen buffer is held for reading. Pool mutex held.
template <typename Accept>
std::shared_ptr<ImageBuffer> lockNewestForReading(const Pool& pool,
                                                  const lumo::Clock::time_point& timePoint,
                                                  Accept accepts) {
  std::shared_ptr<ImageBuffer> newest;
  std::int64_t newestAge = 0;
  for (const auto& buffer : pool) {
    if (!accepts(*buffer)) continue;
    const std::int64_t age = ageInMilliseconds(timePoint, *buffer);
    if (!newest || age < newestAge) {
      newest = buffer;
      newestAge = age;
    }
  }
  if (newest) ++newest->useCount;
  return newest;
}

// Whether a frame stamped at `buffer`'s time stamp is recent enough for a
// request at timePoint made at `refreshRate` frames per second.
bool isFreshEnough(const lumo::Clock::time_point& timePoint, const ImageBuffer& buffer,
                   unsigned short refreshRate) {
  // A rate of 0 has no frame period: no buffer can serve it.
  if (refreshRate == 0) return false;
  const std::int64_t periodNs = std::int64_t{1000 / refreshRate} * 1000000;
  return periodNs >= ageInNanoseconds(timePoint, buffer);
}

// Gives back one hold on a buffer of the pool.
void unlock(std::mutex& mutex, const std::shared_ptr<ImageBuffer>& buffer) {
  std::lock_guard<std::mutex> lock(mutex);
  --buffer->useCount;
}

// Keeps the newest candidate of a pool when it is fresh enough for the
// request; otherwise gives its hold back, traces the camera name followed by
// `missingText` and answers null (the caller grabs or converts anew).
std::shared_ptr<const ImageBuffer> keepIfFresh(std::shared_ptr<ImageBuffer> buffer,
                                               std::mutex& poolMutex,
                                               const lumo::Clock::time_point& timePoint,
                                               unsigned short refreshRate,
                                               const std::string& cameraName,
                                               const char* missingText, const char* function) {
  if (buffer) {
    if (isFreshEnough(timePoint, *buffer, refreshRate)) return buffer;
    unlock(poolMutex, buffer);
  }
  LUMO_LOG_AS(5, function) << cameraName << missingText;
  return nullptr;
}

// Runs a pool search; a backend hook that fails during it (the raw colour
// space of a request, say) is a miss like any other, so the caller still
// grabs or converts anew.
template <typename Search>
std::shared_ptr<const ImageBuffer> searchOrMiss(Search search) {
  try {
    return search();
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace

// --- public image requests -------------------------------------------------------

// Raw requests are served at the camera's default request (what
// buildDefaultPreferences makes) with the caller's rate, built here on the
// stack rather than in a shared object. Its checks come in the order they
// have always failed in, the frame rates first.
CameraPreferences CameraBase::_rawRequest(const CameraPreferences& preferences) const {
  const char* const function = "buildDefaultPreferences";
  requireSupported(_supportedFrameRates, lumoLogCategory, _name, "frame rates", function);
  const ColorSpace colorSpace =
      firstOf(_supportedColorSpaces, lumoLogCategory, _name, "color spaces", function);
  const Resolution resolution =
      firstOf(_supportedResolutions, lumoLogCategory, _name, "resolutions", function);
  return CameraPreferences(resolution, colorSpace, preferences.getRefreshRate());
}

std::shared_ptr<const ImageBuffer> CameraBase::getDirectRawImageBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  const CameraPreferences request = _rawRequest(preferences);
  std::lock_guard<std::mutex> lock(_cameraMutex);
  return _getDirectRawImageBuffer(timePoint, request);
}

std::shared_ptr<const ImageBuffer> CameraBase::getDirectRawExtraColorSpaceImageBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  const CameraPreferences request = _rawRequest(preferences);
  std::lock_guard<std::mutex> lock(_cameraMutex);
  return _getDirectRawExtraColorSpaceImageBuffer(timePoint, request);
}

std::shared_ptr<const ImageBuffer> CameraBase::getImageBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  // One snapshot of the request: its subscriber may change it meanwhile, and
  // the search, the buffer taken for writing and the conversion must agree.
  const CameraPreferences request(preferences);
  std::lock_guard<std::mutex> lock(_cameraMutex);
  return _getImageBuffer(timePoint, request);
}

// No camera lock: a subscriber may give a buffer back while another converts.
void CameraBase::releaseImageBuffer(std::shared_ptr<const ImageBuffer> buffer) {
  _releaseImageBuffer(buffer);
}

// --- growing and shrinking ---------------------------------------------------------

// Raw buffers are made for the greatest supported mode, so that a change of
// native mode never reallocates them.
void CameraBase::_increaseRawBufferNumber(const CameraPreferences& /*preferences*/) {
  const Resolution resolution =
      lastOf(_supportedResolutions, lumoLogCategory, _name, "resolutions", __func__);
  const ColorSpace colorSpace =
      lastOf(_supportedColorSpaces, lumoLogCategory, _name, "color spaces", __func__);
  std::shared_ptr<ImageBuffer> buffer;
  try {
    buffer = std::make_shared<ImageBuffer>(getName(), resolution, colorSpace, true);
    buffer->getData();
    buffer->setFielOfView(getFieldOfView());
  } catch (const std::bad_alloc&) {
    buffer.reset();
  }
  if (!buffer || buffer->getData() == nullptr)
    LUMO_FAIL(std::runtime_error, lumo::log::concat(_name, ": Impossible to add a new raw buffer"));
  std::lock_guard<std::mutex> lock(_rawBuffersMutex);
  _rawBuffers.insert(buffer);
}

void CameraBase::_increaseBufferNumber(const CameraPreferences& preferences) {
  std::shared_ptr<ImageBuffer> buffer;
  try {
    buffer = std::make_shared<ImageBuffer>(getName(), preferences.getResolution(),
                                           preferences.getColorSpace(), true);
    buffer->getData();
    buffer->setFielOfView(getFieldOfView());
  } catch (const std::bad_alloc&) {
    buffer.reset();
  }
  if (!buffer || buffer->getData() == nullptr)
    LUMO_FAIL(std::runtime_error, lumo::log::concat(_name, ": Impossible to add a new buffer"));
  std::lock_guard<std::mutex> lock(_buffersMutex);
  _buffers.insert(buffer);
}

void CameraBase::_decreaseRawBufferNumber() {
  std::lock_guard<std::mutex> lock(_rawBuffersMutex);
  for (auto it = _rawBuffers.begin(); it != _rawBuffers.end(); ++it) {
    if ((*it)->useCount.load() == 0) {
      _rawBuffers.erase(it);
      return;
    }
  }
}

void CameraBase::_decreaseBufferNumber(const CameraPreferences& preferences) {
  std::lock_guard<std::mutex> lock(_buffersMutex);
  for (auto it = _buffers.begin(); it != _buffers.end(); ++it) {
    // Free first: only a free buffer's description is stable to read here.
    if ((*it)->useCount.load() == 0 && (*it)->isPreferencesValid(preferences)) {
      _buffers.erase(it);
      return;
    }
  }
}

void CameraBase::_decreaseAllBufferNumber(const CameraPreferences& preferences) {
  _decreaseRawBufferNumber();
  _decreaseBufferNumber(preferences);
}

// --- taking buffers --------------------------------------------------------------

std::shared_ptr<ImageBuffer> CameraBase::_lockOldestRawBufferForEditing(
    const CameraPreferences& preferences) {
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(_rawBuffersMutex);
      for (const auto& buffer : _rawBuffers)
        if (tryLockForEditing(buffer)) return buffer;
    }
    _increaseRawBufferNumber(preferences);
  }
}

std::shared_ptr<ImageBuffer> CameraBase::_lockOldestBufferForEditing(
    const CameraPreferences& preferences) {
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(_buffersMutex);
      for (const auto& buffer : _buffers) {
        // Free first, then matching: a held buffer may be under conversion.
        if (buffer->useCount.load() != 0 || !buffer->isPreferencesValid(preferences)) continue;
        if (tryLockForEditing(buffer)) return buffer;
      }
    }
    _increaseBufferNumber(preferences);
  }
}

std::shared_ptr<ImageBuffer> CameraBase::_lockTheNewestRawBufferForReading(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  const ColorSpace rawColorSpace = _getCorrespondentRawColorSpace(preferences.getColorSpace());
  const Resolution wanted = preferences.getResolution();
  std::lock_guard<std::mutex> lock(_rawBuffersMutex);
  return lockNewestForReading(_rawBuffers, timePoint, [&](const ImageBuffer& buffer) {
    const Resolution size = buffer.getResolution();
    return size.width >= wanted.width && size.height >= wanted.height &&
           buffer.getColorSpace() == rawColorSpace;
  });
}

std::shared_ptr<ImageBuffer> CameraBase::_lockTheNewestBufferForReading(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  std::lock_guard<std::mutex> lock(_buffersMutex);
  return lockNewestForReading(_buffers, timePoint, [&](const ImageBuffer& buffer) {
    return buffer.isPreferencesValid(preferences);
  });
}

std::shared_ptr<const ImageBuffer> CameraBase::_getTheNewestValidRawBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  return keepIfFresh(_lockTheNewestRawBufferForReading(timePoint, preferences), _rawBuffersMutex,
                     timePoint, preferences.getRefreshRate(), _name,
                     ": no valid raw buffer available.", __func__);
}

std::shared_ptr<const ImageBuffer> CameraBase::_getTheNewestValidBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  return keepIfFresh(_lockTheNewestBufferForReading(timePoint, preferences), _buffersMutex,
                     timePoint, preferences.getRefreshRate(), _name,
                     ": no raw buffer available.", __func__);
}

// --- requests (camera mutex held) ---------------------------------------------------

std::shared_ptr<const ImageBuffer> CameraBase::_getImageBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  if (auto fresh = searchOrMiss([&] { return _getTheNewestValidBuffer(timePoint, preferences); }))
    return fresh;
  LUMO_LOG(5) << _name << ": no valid image buffer, ask a new raw buffer and convert it.";
  return _getConvertedRawBuffer(timePoint, preferences);
}

std::shared_ptr<const ImageBuffer> CameraBase::_getConvertedRawBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  const std::shared_ptr<const ImageBuffer> raw =
      isExtraColorSpace(preferences.getColorSpace())
          ? _getDirectRawExtraColorSpaceImageBuffer(timePoint, preferences)
          : _getDirectRawImageBuffer(timePoint, preferences);
  std::shared_ptr<ImageBuffer> out;
  try {
    out = _lockOldestBufferForEditing(preferences);
    const Resolution rawSize = raw->getResolution();
    const Resolution wanted = preferences.getResolution();
    LUMO_LOG(5) << _name << ": Convert raw buffer from " << raw->getColorSpace() << ", "
                << rawSize.width << "x" << rawSize.height << " to "
                << preferences.getColorSpace() << ", " << wanted.width << "x" << wanted.height;
    _convertImage(preferences, raw, out);
  } catch (const std::exception&) {
    _releaseImageBuffer(raw);
    if (out) _releaseImageBuffer(out);
    throw;
  }
  _releaseImageBuffer(raw);
  return out;  // still held: the caller releases it
}

std::shared_ptr<const ImageBuffer> CameraBase::_grabRawBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences,
    bool extraStream) {
  std::int32_t& failures = extraStream ? _extraRawGrabFailures : _rawGrabFailures;
  const char* const operation =
      extraStream ? "_getDirectRawExtraColorSpaceImageBuffer" : "_getDirectRawImageBuffer";
  // A device that keeps failing is restarted; this request still grabs after.
  const std::int32_t previousFailures = failures;
  failures = previousFailures + 1;
  if (previousFailures >= 4) {
    failures = 0;
    LUMO_LOG_AS(2, operation) << "Can't get image from " << _name << ". Restart the camera.";
    _reset();
  }
  _start();
  const auto raw = _lockOldestRawBufferForEditing(preferences);
  try {
    if (extraStream) {
      // Extra frames share the raw pool and are told apart by colour space.
      raw->setColorSpace(preferences.getColorSpace());
      _getDeviceExtraRawImage(timePoint, preferences, raw);
    } else {
      _getDeviceRawImage(timePoint, raw);
    }
  } catch (const std::exception&) {
    _releaseImageBuffer(raw);
    throw;
  }
  failures = 0;
  return raw;
}

std::shared_ptr<const ImageBuffer> CameraBase::_getDirectRawImageBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  if (auto fresh =
          searchOrMiss([&] { return _getTheNewestValidRawBuffer(timePoint, preferences); }))
    return fresh;
  LUMO_LOG(5) << _name << ": no valid raw buffer, get a new one from the device.";
  return _grabRawBuffer(timePoint, preferences, false);
}

std::shared_ptr<const ImageBuffer> CameraBase::_getDirectRawExtraColorSpaceImageBuffer(
    const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) {
  if (auto fresh =
          searchOrMiss([&] { return _getTheNewestValidRawBuffer(timePoint, preferences); }))
    return fresh;
  LUMO_LOG(5) << _name << ": no valid extra colorspace buffer, get a new one from the device.";
  return _grabRawBuffer(timePoint, preferences, true);
}

void CameraBase::_releaseImageBuffer(const std::shared_ptr<const ImageBuffer>& buffer) {
  if (!buffer) {
    LUMO_LOG(3) << _name << ": try to release empty buffer.";
    return;
  }
  // A buffer that nobody holds is not given back again: a count below zero
  // would never be free again, and a count stolen from another holder would
  // let a writer rewrite the buffer while that holder reads it. Such a
  // release is refused like a foreign buffer.
  const auto key = std::const_pointer_cast<ImageBuffer>(buffer);
  const auto giveBack = [&key](std::mutex& mutex, const Pool& pool) {
    std::lock_guard<std::mutex> lock(mutex);
    if (pool.count(key) == 0 || key->useCount.load() <= 0) return false;
    --key->useCount;
    return true;
  };
  if (giveBack(_buffersMutex, _buffers) || giveBack(_rawBuffersMutex, _rawBuffers)) return;
  const std::string message =
      lumo::log::concat(_name, ": buffer is not owned by camera anymore.", " Buffer count:",
                        buffer->useCount.load());
  LUMO_LOG(1) << message;
  throw std::runtime_error(message);
}

}  // namespace videoDevice
