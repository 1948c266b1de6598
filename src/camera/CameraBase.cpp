#include "videodevice/CameraBase.h"

#include <stdexcept>
#include <utility>

#include <lumo/Log.h>

#include "camera/SupportedSets.h"
#include "videodevice/ImageBuffer.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera")

namespace videoDevice {

using detail::firstOf;

CameraBase::CameraBase(std::weak_ptr<VideoDevice> videoDevice, std::string model, std::string name,
                       bool simulated)
    : _videoDevice(std::move(videoDevice)),
      _name(std::move(name)),
      _model(std::move(model)),
      _simulated(simulated),
      _fieldOfView{0.0f, 0.0f},
      _defaultFlip(false, false),
      _nativePreferences(CameraPreferences::defaultResolution,
                         CameraPreferences::defaultColorSpace, 0),
      _isOpen(false),
      _isStarted(false),
      _rawGrabFailures(0),
      _extraRawGrabFailures(0) {}

// The device is left as it is: whoever drops the last reference stops and
// closes the camera first.
CameraBase::~CameraBase() = default;

void CameraBase::init() {
  // emplace keeps a control registered earlier (and its value).
  _controls.emplace(Parameter::KEEP_ALIVE,
                    std::make_shared<ControlSoftware>(ParameterInfo{0, 1, 1, 0}, false));
}

std::shared_ptr<CameraPreferences> CameraBase::buildDefaultPreferences() const {
  return std::make_shared<CameraPreferences>(
      firstOf(_supportedResolutions, lumoLogCategory, _name, "resolutions", __func__),
      firstOf(_supportedColorSpaces, lumoLogCategory, _name, "color spaces", __func__),
      firstOf(_supportedFrameRates, lumoLogCategory, _name, "frame rates", __func__));
}

const std::string& CameraBase::getModel() const { return _model; }

bool CameraBase::isSimulated() const { return _simulated; }

const std::string& CameraBase::getName() const { return _name; }

FieldOfView CameraBase::getFieldOfView() const { return _fieldOfView; }

void CameraBase::setFieldOfView(const FieldOfView& fieldOfView) {
  // Written as a rejection so that a NaN angle passes, as callers expect.
  if (0.0f >= fieldOfView.horizontal || 0.0f >= fieldOfView.vertical) {
    LUMO_LOG(2) << _name << ": Invalid Field Of View to set.";
    throw std::invalid_argument("Field of View must be strictly positive.");
  }
  _fieldOfView = fieldOfView;
}

std::pair<bool, bool> CameraBase::getDefaultFlip() const { return _defaultFlip; }

void CameraBase::setDefaultFlip(bool horizontal, bool vertical) {
  _defaultFlip = std::make_pair(horizontal, vertical);
}

void CameraBase::setCalibration(std::vector<std::string> /*files*/) {
  LUMO_LOG(3) << _name << ": Calibration is not supported.";
}

std::set<Resolution> CameraBase::getNativelySupportedResolutions() const {
  return _supportedResolutions;
}

void CameraBase::setNativelySupportedResolutions(std::set<Resolution> resolutions) {
  _supportedResolutions = std::move(resolutions);
}

std::set<ColorSpace> CameraBase::getNativelySupportedColorSpaces() const {
  return _supportedColorSpaces;
}

void CameraBase::setNativelySupportedColorSpaces(std::set<ColorSpace> colorSpaces) {
  _supportedColorSpaces = std::move(colorSpaces);
}

std::set<unsigned short> CameraBase::getNativelySupportedFrameRates() const {
  return _supportedFrameRates;
}

void CameraBase::setNativelySupportedFrameRates(std::set<unsigned short> frameRates) {
  _supportedFrameRates = std::move(frameRates);
}

// Pure, but backends that only produce their native colour spaces call it.
bool CameraBase::isColorSpaceValid(const ColorSpace& colorSpace) const {
  return _supportedColorSpaces.count(colorSpace) != 0;
}

bool CameraBase::isExtraColorSpace(const ColorSpace& /*colorSpace*/) const { return false; }

// --- refusing defaults: only cameras with a second stream or an outside frame
// source override these ---------------------------------------------------------

void CameraBase::_getDeviceExtraRawImage(const lumo::Clock::time_point& /*timePoint*/,
                                         const CameraPreferences& /*preferences*/,
                                         std::shared_ptr<ImageBuffer> /*raw*/) {
  LUMO_FAIL(std::runtime_error, lumo::log::concat(_name, ": ColorSpace unsupported."));
}

void CameraBase::_putImage(const std::shared_ptr<const ImageBuffer>& /*image*/) {
  LUMO_FAIL(std::runtime_error,
            lumo::log::concat(_name, ": putImage() not supported with this camera."));
}

CameraPreferences CameraBase::_getExpectedImageParameters() const {
  LUMO_FAIL(std::runtime_error,
            lumo::log::concat(_name, ": getExpectedImageParameters() not supported with this camera."));
}

void CameraBase::putImage(const std::shared_ptr<const ImageBuffer>& image) {
  if (!image)
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(_name, ": Cannot grab image since output buffer is invalid."));
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _putImage(image);
}

CameraPreferences CameraBase::getExpectedImageParameters() const {
  return _getExpectedImageParameters();
}

}  // namespace videoDevice
