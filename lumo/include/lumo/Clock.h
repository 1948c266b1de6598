#pragma once
// The middleware's monotonic clock: nanosecond ticks, never adjusted.

#include <boost/chrono/duration.hpp>
#include <boost/chrono/time_point.hpp>
#include <boost/ratio.hpp>

namespace lumo {

struct Clock {
  using rep = long long;
  using period = boost::ratio<1, 1000000000>;
  using duration = boost::chrono::duration<rep, period>;
  using time_point = boost::chrono::time_point<Clock, duration>;
  static constexpr bool is_steady = true;

  // Monotonic time since an unspecified epoch; never returns the zero time point
  // in practice, which the library reserves for "no time stamp".
  static time_point now() noexcept;
};

}  // namespace lumo
