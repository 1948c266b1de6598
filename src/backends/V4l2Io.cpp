// The system calls themselves.

#include "backends/V4l2Io.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace videoDevice {
namespace backends {

namespace {

class SystemV4l2Io final : public V4l2Io {
 public:
  int open(const char* path, int flags) override { return ::open(path, flags); }
  int close(int fd) override { return ::close(fd); }
  int ioctl(int fd, unsigned long request, void* argument) override {
    return ::ioctl(fd, request, argument);
  }
  void* mmap(std::size_t length, int protection, int flags, int fd, off_t offset) override {
    return ::mmap(nullptr, length, protection, flags, fd, offset);
  }
  int munmap(void* address, std::size_t length) override { return ::munmap(address, length); }
  int poll(pollfd* fds, nfds_t count, int timeoutMs) override {
    return ::poll(fds, count, timeoutMs);
  }
};

}  // namespace

int V4l2Io::xioctl(int fd, unsigned long request, void* argument) {
  int result;
  do {
    result = ioctl(fd, request, argument);
  } while (result == -1 && errno == EINTR);
  return result;
}

std::shared_ptr<V4l2Io> systemV4l2Io() {
  static const std::shared_ptr<V4l2Io> io = std::make_shared<SystemV4l2Io>();
  return io;
}

}  // namespace backends
}  // namespace videoDevice
