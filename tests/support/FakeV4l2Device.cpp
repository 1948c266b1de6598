#include "support/FakeV4l2Device.h"

#include <cerrno>
#include <algorithm>
#include <cstring>

namespace videoDevice {
namespace testing {

namespace {

int fail(int error) {
  errno = error;
  return -1;
}

void copyName(std::uint8_t* field, std::size_t size, const std::string& text) {
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), std::min(size - 1, text.size()));
}

}  // namespace

FakeV4l2Camera FakeV4l2Camera::usbWebcam() {
  FakeV4l2Camera camera;
  camera.card = "HD Webcam C270";
  camera.driver = "uvcvideo";
  camera.formats = {V4L2_PIX_FMT_YUYV, V4L2_PIX_FMT_MJPEG};
  camera.sizes = {{640, 480, {{1, 30}, {1, 15}}},
                  {1280, 720, {{1, 10}, {1, 5}}},
                  {1280, 960, {{2, 15}, {1, 5}}}};
  return camera;
}

FakeV4l2Camera FakeV4l2Camera::stepwiseSensor() {
  FakeV4l2Camera camera;
  camera.card = "mmal service 16.1";
  camera.driver = "bm2835 mmal";
  camera.stepwise = true;
  camera.range = v4l2_frmsize_stepwise{32, 2592, 16, 32, 1944, 8};
  camera.intervalRange = v4l2_frmival_stepwise{{1, 60}, {1, 1}, {1, 60}};
  return camera;
}

FakeV4l2Camera FakeV4l2Camera::mjpegOnly() {
  FakeV4l2Camera camera;
  camera.card = "USB 2.0 Camera";
  camera.driver = "uvcvideo";
  camera.formats = {V4L2_PIX_FMT_MJPEG, V4L2_PIX_FMT_H264};
  return camera;
}

void FakeV4l2Io::add(const std::string& path, FakeV4l2Camera camera) {
  const std::lock_guard<std::mutex> lock(_mutex);
  _cameras[path] = std::move(camera);
}

std::size_t FakeV4l2Io::openDescriptors() const {
  const std::lock_guard<std::mutex> lock(_mutex);
  return _open.size();
}

int FakeV4l2Io::open(const char* path, int) {
  const std::lock_guard<std::mutex> lock(_mutex);
  const auto camera = _cameras.find(path);
  if (camera == _cameras.end()) return fail(ENOENT);
  if (camera->second.busy) return fail(EBUSY);
  _open[_nextFd] = path;
  return _nextFd++;
}

int FakeV4l2Io::close(int fd) {
  const std::lock_guard<std::mutex> lock(_mutex);
  return _open.erase(fd) == 1 ? 0 : fail(EBADF);
}

int FakeV4l2Io::ioctl(int fd, unsigned long request, void* argument) {
  const std::lock_guard<std::mutex> lock(_mutex);
  const auto open = _open.find(fd);
  if (open == _open.end()) return fail(EBADF);
  return answer(_cameras.at(open->second), request, argument);
}

int FakeV4l2Io::answer(const FakeV4l2Camera& camera, unsigned long request,
                       void* argument) const {
  switch (request) {
    case VIDIOC_QUERYCAP: {
      auto* capability = static_cast<v4l2_capability*>(argument);
      *capability = v4l2_capability{};
      copyName(capability->card, sizeof capability->card, camera.card);
      copyName(capability->driver, sizeof capability->driver, camera.driver);
      capability->device_caps = camera.capabilities;
      capability->capabilities = camera.capabilities | V4L2_CAP_DEVICE_CAPS;
      return 0;
    }
    case VIDIOC_ENUM_FMT: {
      auto* format = static_cast<v4l2_fmtdesc*>(argument);
      if (format->type != V4L2_BUF_TYPE_VIDEO_CAPTURE || format->index >= camera.formats.size())
        return fail(EINVAL);
      format->pixelformat = camera.formats[format->index];
      return 0;
    }
    case VIDIOC_ENUM_FRAMESIZES: {
      auto* size = static_cast<v4l2_frmsizeenum*>(argument);
      if (size->pixel_format != V4L2_PIX_FMT_YUYV) return fail(EINVAL);
      if (camera.stepwise) {
        if (size->index != 0) return fail(EINVAL);
        size->type = V4L2_FRMSIZE_TYPE_STEPWISE;
        size->stepwise = camera.range;
        return 0;
      }
      if (size->index >= camera.sizes.size()) return fail(EINVAL);
      size->type = V4L2_FRMSIZE_TYPE_DISCRETE;
      size->discrete = {camera.sizes[size->index].width, camera.sizes[size->index].height};
      return 0;
    }
    case VIDIOC_ENUM_FRAMEINTERVALS: {
      auto* interval = static_cast<v4l2_frmivalenum*>(argument);
      if (interval->pixel_format != V4L2_PIX_FMT_YUYV) return fail(EINVAL);
      if (camera.stepwise) {
        if (interval->index != 0) return fail(EINVAL);
        interval->type = V4L2_FRMIVAL_TYPE_STEPWISE;
        interval->stepwise = camera.intervalRange;
        return 0;
      }
      for (const FakeV4l2Size& size : camera.sizes) {
        if (size.width != interval->width || size.height != interval->height) continue;
        if (interval->index >= size.intervals.size()) return fail(EINVAL);
        interval->type = V4L2_FRMIVAL_TYPE_DISCRETE;
        interval->discrete = size.intervals[interval->index];
        return 0;
      }
      return fail(EINVAL);
    }
    default:
      return fail(ENOTTY);
  }
}

void* FakeV4l2Io::mmap(std::size_t, int, int, int, off_t) {
  errno = ENODEV;
  return reinterpret_cast<void*>(-1);
}

int FakeV4l2Io::munmap(void*, std::size_t) { return fail(EINVAL); }

int FakeV4l2Io::poll(pollfd*, nfds_t, int) { return fail(ENOSYS); }

}  // namespace testing
}  // namespace videoDevice
