// Opening a V4L2 node and enumerating its YUYV modes.
//
// Stepwise and continuous sizes and intervals are turned into the usual
// sizes and rates that fall inside the device's range (and its extremes), so
// that negotiation has discrete modes to round up to, as with any camera.

#include "backends/V4l2Probe.h"

#include <fcntl.h>
#include <linux/videodev2.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <lumo/Log.h>

LUMO_LOG_CATEGORY("vision.videodevice.v4l2")

namespace videoDevice {
namespace backends {

namespace {

// Closes a probing descriptor on every way out.
class ProbeFd {
 public:
  ProbeFd(V4l2Io& io, int fd) : _io(io), _fd(fd) {}
  ~ProbeFd() { _io.close(_fd); }
  ProbeFd(const ProbeFd&) = delete;
  ProbeFd& operator=(const ProbeFd&) = delete;
  int get() const { return _fd; }

 private:
  V4l2Io& _io;
  int _fd;
};

std::string fourccName(std::uint32_t fourcc) {
  std::string name;
  for (int shift = 0; shift < 32; shift += 8) {
    const char c = static_cast<char>((fourcc >> shift) & 0xFF);
    if (c != ' ' && c != '\0') name += c;
  }
  return name;
}

const Resolution kUsualSizes[] = {{160, 120},  {320, 240},   {352, 288},   {640, 360},
                                 {640, 480},  {800, 600},   {960, 540},   {1024, 768},
                                 {1280, 720}, {1280, 960},  {1600, 1200}, {1920, 1080},
                                 {2560, 1440}, {2560, 1920}, {3840, 2160}};
constexpr unsigned short kUsualRates[] = {1, 2, 5, 10, 15, 20, 24, 25, 30, 50, 60, 90, 120};

bool onStep(std::uint32_t value, std::uint32_t min, std::uint32_t max, std::uint32_t step) {
  return value >= min && value <= max && (step == 0 || (value - min) % step == 0);
}

unsigned short framesPerSecond(const v4l2_fract& interval) {
  if (interval.numerator == 0 || interval.denominator == 0) return 0;
  const std::uint64_t rate =
      (std::uint64_t{interval.denominator} + interval.numerator / 2) / interval.numerator;
  return rate > 0xFFFF ? 0xFFFF : static_cast<unsigned short>(rate);
}

std::set<unsigned short> ratesOf(V4l2Io& io, int fd, const Resolution& size) {
  std::set<unsigned short> rates;
  v4l2_frmivalenum interval{};
  interval.pixel_format = V4L2_PIX_FMT_YUYV;
  interval.width = static_cast<std::uint32_t>(size.width);
  interval.height = static_cast<std::uint32_t>(size.height);
  for (interval.index = 0; io.xioctl(fd, VIDIOC_ENUM_FRAMEINTERVALS, &interval) == 0;
       ++interval.index) {
    if (interval.type == V4L2_FRMIVAL_TYPE_DISCRETE) {
      if (const unsigned short rate = framesPerSecond(interval.discrete)) rates.insert(rate);
      continue;
    }
    // Stepwise or continuous: the shortest interval is the highest rate.
    const unsigned short fastest = framesPerSecond(interval.stepwise.min);
    const unsigned short slowest = framesPerSecond(interval.stepwise.max);
    for (const unsigned short rate : kUsualRates)
      if (rate >= slowest && rate <= fastest) rates.insert(rate);
    if (fastest != 0) rates.insert(fastest);
    if (slowest != 0) rates.insert(slowest);
    break;
  }
  return rates;
}

}  // namespace

int openV4l2(V4l2Io& io, const std::string& who, const std::string& path) {
  const int fd = io.open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fd >= 0) return fd;
  const int error = errno;
  if (error == ENOENT)
    LUMO_FAIL(std::runtime_error, lumo::log::concat(who, ": ", path, " does not exist"));
  if (error == EBUSY)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(who, ": ", path, " is busy (another program has it open)"));
  LUMO_FAIL(std::runtime_error,
            lumo::log::concat(who, ": can't open ", path, ": ", std::strerror(error)));
}

V4l2Description probeV4l2(V4l2Io& io, const std::string& who, const std::string& path) {
  const ProbeFd fd(io, openV4l2(io, who, path));

  v4l2_capability capability{};
  if (io.xioctl(fd.get(), VIDIOC_QUERYCAP, &capability) != 0)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(who, ": ", path, " is not a video capture device"));
  const std::uint32_t caps = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0
                                 ? capability.device_caps
                                 : capability.capabilities;
  if ((caps & V4L2_CAP_VIDEO_CAPTURE) == 0 || (caps & V4L2_CAP_STREAMING) == 0)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(who, ": ", path, " is not a video capture device"));

  V4l2Description description;
  description.card.assign(reinterpret_cast<const char*>(capability.card),
                          strnlen(reinterpret_cast<const char*>(capability.card),
                                  sizeof capability.card));
  description.driver.assign(reinterpret_cast<const char*>(capability.driver),
                            strnlen(reinterpret_cast<const char*>(capability.driver),
                                    sizeof capability.driver));

  std::vector<std::string> offered;
  bool yuyv = false;
  v4l2_fmtdesc format{};
  format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  for (format.index = 0; io.xioctl(fd.get(), VIDIOC_ENUM_FMT, &format) == 0; ++format.index) {
    offered.push_back(fourccName(format.pixelformat));
    yuyv = yuyv || format.pixelformat == V4L2_PIX_FMT_YUYV;
  }
  if (!yuyv) {
    std::string list;
    for (const std::string& name : offered) list += (list.empty() ? "" : ", ") + name;
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(who, ": ", path, " offers no YUYV (YUV 4:2:2) frames; it offers: ",
                                list.empty() ? std::string("nothing") : list));
  }

  v4l2_frmsizeenum size{};
  size.pixel_format = V4L2_PIX_FMT_YUYV;
  std::vector<Resolution> sizes;
  for (size.index = 0; io.xioctl(fd.get(), VIDIOC_ENUM_FRAMESIZES, &size) == 0; ++size.index) {
    if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
      sizes.emplace_back(size.discrete.width, size.discrete.height);
      continue;
    }
    const v4l2_frmsize_stepwise& range = size.stepwise;
    for (const Resolution& usual : kUsualSizes) {
      if (onStep(static_cast<std::uint32_t>(usual.width), range.min_width, range.max_width,
                 range.step_width) &&
          onStep(static_cast<std::uint32_t>(usual.height), range.min_height, range.max_height,
                 range.step_height))
        sizes.push_back(usual);
    }
    sizes.emplace_back(range.max_width, range.max_height);
    break;
  }
  for (const Resolution& each : sizes) {
    std::set<unsigned short> rates = ratesOf(io, fd.get(), each);
    if (!rates.empty()) description.modes[each] = std::move(rates);
  }
  if (description.modes.empty())
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(who, ": ", path, " lists no YUYV frame size with a frame rate"));
  return description;
}

}  // namespace backends
}  // namespace videoDevice
