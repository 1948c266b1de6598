#include "lumo/Clock.h"

#include <chrono>

namespace lumo {

Clock::time_point Clock::now() noexcept {
  const auto sinceEpoch = std::chrono::steady_clock::now().time_since_epoch();
  const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
  return time_point(duration(static_cast<rep>(ns)));
}

}  // namespace lumo
