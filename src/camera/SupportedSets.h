#pragma once
// Access to the ends of a camera's natively supported sets.
//
// The builder fills the sets before a camera is opened; a camera used without
// them is misconfigured. Reading the first element of an empty set would read
// past its end, so the access fails loudly instead, in the caller's category
// and under the caller's operation name.

#include <set>
#include <stdexcept>
#include <string>

#include <lumo/Log.h>

namespace videoDevice {
namespace detail {

template <typename T>
void requireSupported(const std::set<T>& values, const lumo::log::Category& category,
                      const std::string& cameraName, const char* what, const char* function) {
  if (values.empty())
    lumo::log::fail<std::runtime_error>(
        category, lumo::log::concat(cameraName, ": no natively supported ", what, "."), __FILE__,
        function, __LINE__);
}

// The smallest element of a supported set.
template <typename T>
const T& firstOf(const std::set<T>& values, const lumo::log::Category& category,
                 const std::string& cameraName, const char* what, const char* function) {
  requireSupported(values, category, cameraName, what, function);
  return *values.begin();
}

// The greatest element of a supported set.
template <typename T>
const T& lastOf(const std::set<T>& values, const lumo::log::Category& category,
                const std::string& cameraName, const char* what, const char* function) {
  requireSupported(values, category, cameraName, what, function);
  return *values.rbegin();
}

}  // namespace detail
}  // namespace videoDevice
