#pragma once
// The library's front door. Create it with std::make_shared<VideoDevice>()
// (cameras keep a weak reference to it), add cameras built by CameraBuilder,
// subscribe client modules by name, then fetch and release images.
//
// Thread-safe: every operation may be called from any thread; the device
// guards its registries and each camera guards itself. A single subscriber is
// meant to be driven by one client thread at a time.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <lumo/Clock.h>
#include <videodevice/Camera.h>
#include <videodevice/CameraPreferences.h>
#include <videodevice/ImageBuffer.h>
#include <videodevice/Types.h>

namespace videoDevice {

class VideoDevicePrivate;

class VideoDevice {
 public:
  using TimePoint = lumo::Clock::time_point;

  VideoDevice();
  virtual ~VideoDevice();
  VideoDevice(const VideoDevice&) = delete;
  VideoDevice& operator=(const VideoDevice&) = delete;

  // --- camera registry ---------------------------------------------------------
  void addCamera(std::shared_ptr<Camera> camera);
  std::shared_ptr<Camera> getCamera(const std::string& cameraName);
  std::shared_ptr<Camera> getCamera(const std::string& cameraName) const;
  std::string getDefaultActiveCamera() const;
  void setDefaultActiveCamera(const std::string& cameraName);
  std::vector<std::string> getCameraIndexes() const;
  bool isCamera3DPlugged(bool unused) const;

  // --- per-camera operations ("Default" names the default active camera) -------
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

  // --- subscriptions -----------------------------------------------------------
  // Both return the registered name (the requested name plus "_0" to "_6"),
  // which the client uses in every later call.
  std::string subscribeCamera(std::string name, std::string cameraName, Resolution resolution,
                              ColorSpace colorSpace, unsigned short frameRate);
  std::string subscribeCameras(std::string name, std::vector<std::string> cameraNames,
                               std::vector<Resolution> resolutions,
                               std::vector<ColorSpace> colorSpaces, unsigned short frameRate);
  void unsubscribe(const std::string& name);
  std::vector<std::string> getSubscribers() const;

  // --- subscriber settings -------------------------------------------------------
  std::string getActiveCamera(const std::string& name) const;
  void setActiveCamera(const std::string& name, const std::string& cameraName);
  Resolution getResolution(const std::string& name) const;
  void setResolution(const std::string& name, const Resolution& resolution);
  ColorSpace getColorSpace(const std::string& name) const;
  void setColorSpace(const std::string& name, const ColorSpace& colorSpace);
  unsigned short getFrameRate(const std::string& name) const;
  void setFrameRate(const std::string& name, unsigned short frameRate);
  std::vector<std::string> getActiveCameras(const std::string& name) const;
  void setActiveCameras(const std::string& name, const std::vector<std::string>& cameraNames);
  std::vector<Resolution> getResolutions(const std::string& name) const;
  void setResolutions(const std::string& name, const std::vector<Resolution>& resolutions);
  std::vector<ColorSpace> getColorSpaces(const std::string& name) const;
  void setColorSpaces(const std::string& name, const std::vector<ColorSpace>& colorSpaces);

  // --- images ------------------------------------------------------------------
  std::shared_ptr<const ImageBuffer> getImage(const TimePoint& timePoint, const std::string& name);
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
  // Feeds a simulated camera: routed to the camera named in the image.
  void putImage(const std::shared_ptr<const ImageBuffer>& image);

 private:
  VideoDevicePrivate* _impl;
};

}  // namespace videoDevice
