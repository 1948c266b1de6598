// Fuzz target: the command-line tool's picture loading. The bytes are written
// to a file and read back as the tool reads a picture to push (PNG, JPEG or
// whatever else the decoder recognises), then turned into an image buffer and
// into the picture the tool would show for it.
//
// Only the tool's ToolError and the library's documented failures may
// escape; the buffer holds exactly the picture's bytes.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include "FuzzSupport.h"
#include "ImageFiles.h"

using namespace videoDevice;

namespace {

std::string picturePath;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char*** argv) {
  // The decoders allocate what a header announces: keep pictures to a few
  // megapixels, as the rest of the fuzzing does, so that a forged header
  // cannot exhaust memory before anything of ours runs. OpenCV reads the
  // limit once, when it is loaded, so the process starts again with it set.
  if (std::getenv("OPENCV_IO_MAX_IMAGE_PIXELS") == nullptr) {
    setenv("OPENCV_IO_MAX_IMAGE_PIXELS", "4194304", 1);
    execv("/proc/self/exe", *argv);
    fuzz::fail("cannot restart with a limit on picture sizes");
  }
  fuzz::quietLog();
  // The decoders complain about every broken file; the complaints are noise here.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  const char* directory = std::getenv("TMPDIR");
  picturePath = std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") +
                "/videodevice-fuzz-picture-" + std::to_string(getpid());
  std::atexit([] { std::remove(picturePath.c_str()); });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::FILE* file = std::fopen(picturePath.c_str(), "wb");
  if (file == nullptr) fuzz::fail("cannot write " + picturePath);
  if (size > 0 && std::fwrite(data, 1, size, file) != size)
    fuzz::fail("cannot write " + picturePath);
  std::fclose(file);

  // The tool's --infrared switch, taken from the length so that the
  // picture's own bytes stay untouched.
  const bool infrared = size % 2 == 1;
  videoDeviceTool::InputPicture picture;
  if (fuzz::run([&] { picture = videoDeviceTool::readInputPicture(picturePath, infrared); }) !=
      fuzz::Outcome::Completed)
    return 0;
  if (picture.pixels.empty()) fuzz::fail("a picture was read without pixels");

  std::shared_ptr<ImageBuffer> buffer;
  if (fuzz::run([&] {
        buffer = videoDeviceTool::toImageBuffer(picture.pixels, picture.colorSpace, "camera");
      }) != fuzz::Outcome::Completed)
    fuzz::fail("a picture the tool read could not become a buffer");
  const std::uint64_t bytes =
      static_cast<std::uint64_t>(picture.pixels.total()) * picture.pixels.elemSize();
  if (buffer->getSize() != bytes) fuzz::fail("the buffer does not hold the picture's bytes");
  fuzz::expectReadable(*buffer);

  cv::Mat shown;
  fuzz::run([&] { shown = videoDeviceTool::visualise(*buffer); });
  return 0;
}
