// Camera controls: the in-memory control and the parameter operations.
//
// Flip controls store the flip relative to how the camera is mounted (its
// default flip); callers always see and set absolute values.

#include <cstdint>
#include <stdexcept>

#include <lumo/Log.h>

#include "videodevice/CameraBase.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera")

namespace videoDevice {

namespace {

using Controls = std::map<Parameter, std::shared_ptr<CameraBase::Control>>;

// The control of a parameter, or the common "unsupported" failure logged
// under the calling operation's name.
std::shared_ptr<CameraBase::Control> findControl(const Controls& controls,
                                                 const std::string& cameraName,
                                                 const Parameter& parameter,
                                                 const char* function) {
  const auto found = controls.find(parameter);
  if (found == controls.end())
    LUMO_FAIL_AS(function, std::runtime_error,
                 lumo::log::concat(cameraName, ": parameter ", parameter, " unsupported."));
  return found->second;
}

int toFlag(bool value) { return value ? 1 : 0; }

}  // namespace

// --- ControlSoftware -------------------------------------------------------------

CameraBase::ControlSoftware::ControlSoftware(const ParameterInfo& info, bool skipReset)
    : Control(skipReset), _info(info), _value(info.defaultValue) {}

ParameterInfo CameraBase::ControlSoftware::getInfo() const { return _info; }

int CameraBase::ControlSoftware::getValue() const { return _value; }

void CameraBase::ControlSoftware::setValue(int value) {
  // 64-bit so that value - min cannot overflow; a zero step allows min only.
  const std::int64_t offset = std::int64_t{value} - _info.min;
  const bool onGrid = _info.step == 0 ? offset == 0 : offset % _info.step == 0;
  if (value < _info.min || value > _info.max || !onGrid) {
    LUMO_LOG(2) << value << " is not in the range [" << _info.min << ", " << _info.max
                << "] (step: " << _info.step << ").";
    throw std::out_of_range("New value not in the allowed range.");
  }
  _value = value;
}

// --- public operations -----------------------------------------------------------

std::vector<Parameter> CameraBase::getParameterList() const {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  std::vector<Parameter> parameters;
  parameters.reserve(_controls.size());
  for (const auto& entry : _controls) parameters.push_back(entry.first);
  return parameters;
}

int CameraBase::getParameter(const Parameter& parameter) const {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  return _getParameter(parameter);
}

ParameterInfo CameraBase::getParameterInfo(const Parameter& parameter) const {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  return _getParameterInfo(parameter);
}

void CameraBase::setParameter(const Parameter& parameter, int value) {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _setParameter(parameter, value);
}

void CameraBase::resetParameter(const Parameter& parameter) {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _resetParameter(parameter);
}

void CameraBase::resetParameters() {
  std::lock_guard<std::mutex> lock(_cameraMutex);
  _resetParameters();
}

// --- underscore operations (camera mutex held) -------------------------------------

int CameraBase::_getParameter(const Parameter& parameter) const {
  const auto control = findControl(_controls, _name, parameter, __func__);
  LUMO_LOG(5) << _name << ": get value of parameter " << parameter;
  try {
    if (parameter == Parameter::VERTICAL_FLIP)
      return toFlag(control->getValue() != toFlag(getDefaultFlip().second));
    if (parameter == Parameter::HORIZONTAL_FLIP)
      return toFlag(control->getValue() != toFlag(getDefaultFlip().first));
    return control->getValue();
  } catch (const std::exception&) {
    LUMO_LOG(2) << _name << ": Can't get value for parameter " << parameter;
    throw;
  }
}

ParameterInfo CameraBase::_getParameterInfo(const Parameter& parameter) const {
  const auto control = findControl(_controls, _name, parameter, __func__);
  LUMO_LOG(5) << _name << ": get info of " << parameter;
  // Whatever a backend's control holds, these are on/off switches.
  if (parameter == Parameter::HORIZONTAL_FLIP || parameter == Parameter::VERTICAL_FLIP ||
      parameter == Parameter::AUTO_FOCUS)
    return ParameterInfo{0, 1, 1, 0};
  try {
    return control->getInfo();
  } catch (const std::exception&) {
    LUMO_LOG(2) << _name << ": Can't get info for parameter " << parameter;
    throw;
  }
}

void CameraBase::_setParameter(const Parameter& parameter, int value) {
  const auto control = findControl(_controls, _name, parameter, __func__);
  LUMO_LOG(5) << _name << ": set parameter " << parameter << " to " << value;
  try {
    if (parameter == Parameter::VERTICAL_FLIP) {
      control->setValue(toFlag((value != 0) != getDefaultFlip().second));
      return;
    }
    if (parameter == Parameter::HORIZONTAL_FLIP) {
      control->setValue(toFlag((value != 0) != getDefaultFlip().first));
      return;
    }
    // Nobody holds an idle camera open but KEEP_ALIVE: dropping it closes now.
    if (parameter == Parameter::KEEP_ALIVE && !isInUse()) {
      if (_getParameter(parameter) == 1 && value == 0) _close();
    }
    control->setValue(value);
  } catch (const std::exception&) {
    LUMO_LOG(2) << _name << ": Can't set value for parameter " << parameter;
    throw;
  }
}

void CameraBase::_resetParameter(const Parameter& parameter) {
  const auto control = findControl(_controls, _name, parameter, __func__);
  if (control->skipsReset()) return;
  _setParameter(parameter, _getParameterInfo(parameter).defaultValue);
}

// Re-opening the device brings every control back to what _initDevice sets.
void CameraBase::_resetParameters() {
  const bool wasStarted = isStarted();
  _close();
  _open();
  _update();
  if (wasStarted) _start();
}

}  // namespace videoDevice
