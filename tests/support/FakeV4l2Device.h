#pragma once
// An in-process V4L2 device for tests: capture nodes described in code,
// answering the backend's system calls as a driver would. It enumerates
// formats, frame sizes (discrete or stepwise) and frame intervals, and can be
// told to be busy, to be no capture device, or to offer no YUYV. Streaming is
// not modelled yet: mmap, munmap and poll fail as on a node without buffers.
//
// Thread-safe: one mutex guards the nodes and the open descriptors.

#include <linux/videodev2.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "backends/V4l2Io.h"

namespace videoDevice {
namespace testing {

struct FakeV4l2Size {
  std::uint32_t width;
  std::uint32_t height;
  std::vector<v4l2_fract> intervals;  // seconds per frame, fastest first
};

struct FakeV4l2Camera {
  std::string card;
  std::string driver = "fakevideo";
  std::uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
  std::vector<std::uint32_t> formats{V4L2_PIX_FMT_YUYV};
  std::vector<FakeV4l2Size> sizes;  // discrete YUYV sizes
  bool stepwise = false;            // otherwise a stepwise range:
  v4l2_frmsize_stepwise range{};
  v4l2_frmival_stepwise intervalRange{};
  bool busy = false;  // open fails with EBUSY

  // A USB webcam as `v4l2-ctl --list-formats-ext` shows many of them: YUYV at
  // 640x480 (30 and 15 fps), 1280x720 (10 and 5 fps) and 1280x960 (7.5 and
  // 5 fps), plus MJPG.
  static FakeV4l2Camera usbWebcam();
  // A CSI sensor with stepwise sizes from 32x32 to 2592x1944 in steps of 16
  // x 8, and any interval from 1/60 to 1 s.
  static FakeV4l2Camera stepwiseSensor();
  // A camera that only streams MJPG and H264.
  static FakeV4l2Camera mjpegOnly();
};

class FakeV4l2Io : public backends::V4l2Io {
 public:
  void add(const std::string& path, FakeV4l2Camera camera);
  std::size_t openDescriptors() const;

  int open(const char* path, int flags) override;
  int close(int fd) override;
  int ioctl(int fd, unsigned long request, void* argument) override;
  void* mmap(std::size_t length, int protection, int flags, int fd, off_t offset) override;
  int munmap(void* address, std::size_t length) override;
  int poll(pollfd* fds, nfds_t count, int timeoutMs) override;

 private:
  int answer(const FakeV4l2Camera& camera, unsigned long request, void* argument) const;

  mutable std::mutex _mutex;
  std::map<std::string, FakeV4l2Camera> _cameras;
  std::map<int, std::string> _open;  // descriptor to path
  int _nextFd = 1000;
};

}  // namespace testing
}  // namespace videoDevice
