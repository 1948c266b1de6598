// Lifecycle of a camera: the open/started state machine, the device hooks'
// default bodies, and the native mode with its validated setters.

#include <stdexcept>

#include <lumo/Log.h>

#include "camera/SupportedSets.h"
#include "videodevice/CameraBase.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera")

namespace videoDevice {

using detail::firstOf;

// --- public operations: one camera lock around the underscore twin ----------

bool CameraBase::isOpen() const { return _isOpen; }

bool CameraBase::isStarted() const { return _isStarted; }

void CameraBase::open() {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _open();
}

void CameraBase::close() {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _close();
}

void CameraBase::start() {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _start();
}

void CameraBase::stop() {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _stop();
}

void CameraBase::reset() {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _reset();
}

Resolution CameraBase::getNativeResolution() const { return _nativePreferences.getResolution(); }

void CameraBase::setNativeResolution(Resolution resolution) {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _setNativeResolution(resolution);
}

ColorSpace CameraBase::getNativeColorSpace() const { return _nativePreferences.getColorSpace(); }

void CameraBase::setNativeColorSpace(ColorSpace colorSpace) {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _setNativeColorSpace(colorSpace);
}

unsigned short CameraBase::getNativeFrameRate() const {
  return _nativePreferences.getRefreshRate();
}

void CameraBase::setNativeFrameRate(unsigned short frameRate) {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _setNativeFrameRate(frameRate);
}

// --- state machine (camera mutex held) ----------------------------------------

void CameraBase::_open() {
  if (_isOpen) {
    LUMO_LOG(5) << _name << ": Already open.";
    return;
  }
  LUMO_LOG(5) << _name << ": Opening";
  _openDevice();
  try {
    _initDevice();
    _setNativeResolution(
        firstOf(_supportedResolutions, lumoLogCategory, _name, "resolutions", __func__));
    _setNativeColorSpace(
        firstOf(_supportedColorSpaces, lumoLogCategory, _name, "color spaces", __func__));
    _setNativeFrameRate(
        firstOf(_supportedFrameRates, lumoLogCategory, _name, "frame rates", __func__));
  } catch (const std::exception&) {
    // A half-initialised device is not left open; the caller sees the cause.
    _closeDevice();
    throw;
  }
  _update();
}

void CameraBase::_close() {
  if (!_isOpen) {
    LUMO_LOG(5) << _name << ": Already close.";
    return;
  }
  _stop();
  LUMO_LOG(5) << _name << ": Closing";
  _releaseDevice();
  _closeDevice();
}

void CameraBase::_start() {
  if (_isStarted) {
    LUMO_LOG(5) << _name << ": Already start.";
    return;
  }
  _open();
  LUMO_LOG(5) << _name << ": Starting";
  _startStreaming();
  _isStarted = true;
}

void CameraBase::_stop() {
  if (_isStarted) {
    LUMO_LOG(5) << _name << ": Stoping";
    _stopStreaming();
    _isStarted = false;
  } else {
    LUMO_LOG(5) << _name << ": Already stop.";
  }
}

void CameraBase::_reset() {
  LUMO_LOG(3) << _name << ": Try to reset";
  const bool wasStarted = isStarted();
  _close();
  _open();
  _update();
  if (wasStarted) _start();
}

void CameraBase::_update() {
  const Resolution resolution = _findMaxResolutionRequested();
  const Resolution nativeResolution = _nativePreferences.getResolution();
  if (resolution != nativeResolution) {
    LUMO_LOG(5) << _name << " update resolution from " << nativeResolution.width << "x"
                << nativeResolution.height << " to " << resolution.width << "x"
                << resolution.height;
    _setNativeResolution(resolution);
  }

  // The native colour space does not follow the subscribers: conversion
  // serves every requested colour space from the first supported one.
  const ColorSpace colorSpace =
      firstOf(_supportedColorSpaces, lumoLogCategory, _name, "color spaces", __func__);
  if (colorSpace != _nativePreferences.getColorSpace()) {
    LUMO_LOG(5) << _name << " update colorspace from " << _nativePreferences.getColorSpace()
                << " to " << colorSpace;
    _setNativeColorSpace(colorSpace);
  }

  const unsigned short frameRate = _findMaxRefreshRateRequested();
  if (frameRate != _nativePreferences.getRefreshRate()) {
    LUMO_LOG(5) << _name << " update frame rate from " << _nativePreferences.getRefreshRate()
                << " to " << frameRate;
    _setNativeFrameRate(frameRate);
  }
}

// --- native mode ---------------------------------------------------------------

void CameraBase::_setNativeResolution(Resolution resolution) {
  // A set lookup under the product order: a size equivalent to a supported
  // one (neither smaller in both dimensions) is found too.
  if (_supportedResolutions.find(resolution) == _supportedResolutions.end())
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(_name, ": Invalid native resolution: ", resolution.width, "x",
                                resolution.height));
  if (resolution != _nativePreferences.getResolution()) _setDeviceResolution(resolution);
  _nativePreferences.setResolution(resolution);
}

void CameraBase::_setNativeColorSpace(ColorSpace colorSpace) {
  if (_supportedColorSpaces.count(colorSpace) == 0)
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(_name, ": Invalid native color space: ", colorSpace));
  if (colorSpace != _nativePreferences.getColorSpace()) _setDeviceColorSpace(colorSpace);
  _nativePreferences.setColorSpace(colorSpace);
}

void CameraBase::_setNativeFrameRate(unsigned short frameRate) {
  if (_supportedFrameRates.count(frameRate) == 0)
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(_name, ": Invalid native frame rate: ", frameRate));
  if (frameRate != _nativePreferences.getRefreshRate()) _setDeviceFrameRate(frameRate);
  _nativePreferences.setRefreshRate(frameRate);
}

// --- device hooks: a backend overrides them to drive hardware -------------------

void CameraBase::_openDevice() {
  LUMO_LOG(5) << _name << ": Opening Device";
  _isOpen = true;
}

void CameraBase::_initDevice() {
  LUMO_LOG(5) << _name << ": Initializing Device";
  _setParameter(Parameter::KEEP_ALIVE, 0);
}

void CameraBase::_releaseDevice() {
  LUMO_LOG(5) << _name << ": Releasing Device";
  _nativePreferences = CameraPreferences(CameraPreferences::defaultResolution,
                                         CameraPreferences::defaultColorSpace, 0);
}

void CameraBase::_closeDevice() {
  LUMO_LOG(5) << _name << ": Closing Device";
  _isOpen = false;
}

void CameraBase::_startStreaming() {
  _open();
  LUMO_LOG(5) << _name << ": Start Streaming";
}

void CameraBase::_stopStreaming() { LUMO_LOG(5) << _name << ": Stop Streaming"; }

void CameraBase::_setDeviceResolution(Resolution resolution) {
  const Resolution old = _nativePreferences.getResolution();
  LUMO_LOG(5) << _name << ": Set Device Resolution from " << old.width << "x" << old.height
              << " to " << resolution.width << "x" << resolution.height;
}

void CameraBase::_setDeviceColorSpace(ColorSpace colorSpace) {
  LUMO_LOG(5) << _name << ": Set Device Color Space from " << _nativePreferences.getColorSpace()
              << " to " << colorSpace;
}

void CameraBase::_setDeviceFrameRate(unsigned short frameRate) {
  LUMO_LOG(5) << _name << ": Set Device Frame Rate from " << _nativePreferences.getRefreshRate()
              << " to " << frameRate;
}

}  // namespace videoDevice
