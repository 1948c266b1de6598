#pragma once
// The implementation behind VideoDevice: the camera registry (with the
// "Default" alias for the default active camera) and the subscribers.
//
// Two independent mutexes, never held together: _subscribersMutex guards
// _subscribers, _camerasMutex guards _cameras. Each is held only for a lookup,
// an insertion or a removal (plus the naming of a new subscriber and the moves
// of setDefaultActiveCamera); cameras are called with neither held, except
// where setDefaultActiveCamera moves preferences. _camerasMutex is innermost:
// a fetch also takes it under a subscriber's own mutex, to find the camera an
// active-list entry names without copying the name.

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "videodevice/Camera.h"
#include "videodevice/ImageBuffer.h"
#include "videodevice/Types.h"

namespace videoDevice {

class Subscriber;

class VideoDevicePrivate {
 public:
  using TimePoint = lumo::Clock::time_point;

  VideoDevicePrivate();
  virtual ~VideoDevicePrivate();
  VideoDevicePrivate(const VideoDevicePrivate&) = delete;
  VideoDevicePrivate& operator=(const VideoDevicePrivate&) = delete;

  // --- virtual operations, in the order of the virtual table -----------------
  virtual std::string subscribeCamera(std::string name, std::string cameraName,
                                      Resolution resolution, ColorSpace colorSpace,
                                      unsigned short frameRate);
  virtual std::string subscribeCameras(std::string name, std::vector<std::string> cameraNames,
                                       std::vector<Resolution> resolutions,
                                       std::vector<ColorSpace> colorSpaces,
                                       unsigned short frameRate);
  virtual void setDefaultActiveCamera(const std::string& cameraName);
  virtual std::shared_ptr<const ImageBuffer> getImage(const TimePoint& timePoint,
                                                      const std::string& name);

  // --- camera registry -------------------------------------------------------
  void addCamera(std::shared_ptr<Camera> camera);
  std::shared_ptr<Camera> getCamera(const std::string& cameraName);
  std::shared_ptr<Camera> getCamera(const std::string& cameraName) const;
  std::string getDefaultActiveCamera() const;
  std::vector<std::string> getCamerasName() const;

  // --- per-camera operations -------------------------------------------------
  void openCamera(const std::string& cameraName);
  void closeCamera(const std::string& cameraName);
  bool isCameraOpen(const std::string& cameraName) const;
  void startCamera(const std::string& cameraName);
  void stopCamera(const std::string& cameraName);
  bool isCameraStarted(const std::string& cameraName) const;
  void resetCamera(const std::string& cameraName);
  std::string getCameraModel(const std::string& cameraName) const;
  bool isCameraSimulated(const std::string& cameraName) const;
  std::string getCameraName(const std::string& cameraName) const;
  unsigned short getCameraNativeFrameRate(const std::string& cameraName) const;
  std::pair<unsigned short, unsigned short> getCameraNativeFrameRateRange(
      const std::string& cameraName) const;
  Resolution getCameraNativeResolution(const std::string& cameraName) const;
  std::pair<Resolution, Resolution> getCameraNativeResolutionRange(
      const std::string& cameraName) const;
  ColorSpace getCameraNativeColorSpace(const std::string& cameraName) const;
  FieldOfView getCameraFieldOfView(const std::string& cameraName) const;
  std::vector<Parameter> getCameraParameterList(const std::string& cameraName) const;
  int getCameraParameter(const std::string& cameraName, const Parameter& parameter) const;
  ParameterInfo getCameraParameterInfo(const std::string& cameraName,
                                       const Parameter& parameter) const;
  void setCameraParameter(const std::string& cameraName, const Parameter& parameter, int value);
  void resetCameraParameter(const std::string& cameraName, const Parameter& parameter);
  void resetAllCameraParameters(const std::string& cameraName);
  void setCameraCalibration(const std::string& cameraName,
                            const std::vector<std::string>& calibrationFiles);
  std::vector<float> getAngularPositionFromImagePosition(const std::string& cameraName,
                                                         const std::vector<float>& position) const;
  std::vector<float> getImagePositionFromAngularPosition(const std::string& cameraName,
                                                         const std::vector<float>& position) const;
  std::vector<float> getAngularSizeFromImageSize(const std::string& cameraName,
                                                 const std::vector<float>& size) const;
  std::vector<float> getImageSizeFromAngularSize(const std::string& cameraName,
                                                 const std::vector<float>& size) const;
  std::vector<float> getImageInfoFromAngularInfo(const std::string& cameraName,
                                                 const std::vector<float>& info) const;
  std::vector<float> getImageInfoFromAngularInfoWithResolution(const std::string& cameraName,
                                                               const std::vector<float>& info,
                                                               const Resolution& resolution) const;
  CameraPreferences getExpectedImageParameters(const std::string& cameraName) const;

  // --- subscriptions ---------------------------------------------------------
  void unsubscribe(const std::string& name);
  std::vector<std::string> getSubscribersNames() const;

  // --- subscriber settings ---------------------------------------------------
  std::string getActiveCamera(const std::string& name) const;
  void setActiveCamera(const std::string& name, const std::string& cameraName);
  Resolution getResolution(const std::string& name) const;
  void setResolution(const std::string& name, Resolution resolution);
  ColorSpace getColorSpace(const std::string& name) const;
  void setColorSpace(const std::string& name, ColorSpace colorSpace);
  unsigned short getFrameRate(const std::string& name) const;
  void setFrameRate(const std::string& name, unsigned short frameRate);
  std::vector<std::string> getActiveCameras(const std::string& name) const;
  void setActiveCameras(const std::string& name, std::vector<std::string> cameraNames);
  std::vector<Resolution> getResolutions(const std::string& name) const;
  void setResolutions(const std::string& name, std::vector<Resolution> resolutions);
  std::vector<ColorSpace> getColorSpaces(const std::string& name) const;
  void setColorSpaces(const std::string& name, std::vector<ColorSpace> colorSpaces);

  // --- images ----------------------------------------------------------------
  std::shared_ptr<const ImageBuffer> getDirectRawImage(const TimePoint& timePoint,
                                                       const std::string& name);
  std::vector<std::shared_ptr<const ImageBuffer>> getImages(const TimePoint& timePoint,
                                                            const std::string& name);
  std::vector<std::shared_ptr<const ImageBuffer>> getDirectRawImages(const TimePoint& timePoint,
                                                                     const std::string& name);
  void releaseImage(const std::string& name);
  void releaseDirectRawImage(const std::string& name);
  void releaseImages(const std::string& name);
  void releaseDirectRawImages(const std::string& name);
  void putImage(const std::shared_ptr<const ImageBuffer>& image);

 protected:
  std::string _getRealCameraName(const std::string& cameraName) const;
  // The name itself, or for "Default" the default camera's name, copied into
  // `storage`: only the alias costs a copy.
  const std::string& _resolveCameraName(const std::string& cameraName, std::string& storage) const;
  std::shared_ptr<Camera> _getCamera(const std::string& cameraName);
  std::shared_ptr<Camera> _getCamera(const std::string& cameraName) const;
  // The same lookup without failing: null when there is no such camera.
  std::shared_ptr<Camera> _findCamera(const std::string& cameraName) const;
  // Must be called with _subscribersMutex held.
  std::string _findAvailableSubscriberName(const std::string& name);
  std::shared_ptr<Subscriber> _getSubscriber(const std::string& name);
  std::shared_ptr<const Subscriber> _getSubscriber(const std::string& name) const;
  void _checkSubscriberIsMonostream(const std::shared_ptr<const Subscriber>& subscriber) const;
  void _checkSubscriberIsMultistream(const std::shared_ptr<const Subscriber>& subscriber) const;
  void _checkSubscriberIsNotProcessing(const std::shared_ptr<const Subscriber>& subscriber) const;

  std::shared_ptr<Camera> _firstActiveCamera(const Subscriber& subscriber) const;
  template <typename Fetch>
  std::vector<std::shared_ptr<const ImageBuffer>> _fetchFromEachCamera(Subscriber& subscriber,
                                                                       Fetch fetch);
  std::shared_ptr<const ImageBuffer> _getImage(const TimePoint& timePoint,
                                               const std::shared_ptr<Subscriber>& subscriber);
  std::shared_ptr<const ImageBuffer> _getDirectRawImage(
      const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber);
  std::vector<std::shared_ptr<const ImageBuffer>> _getImages(
      const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber);
  std::vector<std::shared_ptr<const ImageBuffer>> _getDirectRawImages(
      const TimePoint& timePoint, const std::shared_ptr<Subscriber>& subscriber);
  void _releaseImage(const std::shared_ptr<Subscriber>& subscriber);
  void _releaseDirectRawImage(const std::shared_ptr<Subscriber>& subscriber);
  void _releaseImages(const std::shared_ptr<Subscriber>& subscriber);
  void _releaseDirectRawImages(const std::shared_ptr<Subscriber>& subscriber);

  // --- members, in declaration order -----------------------------------------
  std::string _defaultActiveCamera;
  std::map<std::string, std::shared_ptr<Subscriber>> _subscribers;
  mutable std::mutex _subscribersMutex;
  std::map<std::string, std::shared_ptr<Camera>> _cameras;
  mutable std::mutex _camerasMutex;
};

}  // namespace videoDevice
