#pragma once
// Pictures on disk and image buffers in memory: reading a picture to push into
// a simulated camera, turning any fetched buffer into a picture a person can
// look at, and writing files so that a failed run leaves none behind.

#include <memory>
#include <string>

#include <opencv2/core/mat.hpp>
#include <videodevice/ImageBuffer.h>
#include <videodevice/Types.h>

namespace videoDeviceTool {

// A picture ready to push: RGB_888 for 8-bit pictures (grey, colour or with
// alpha), DEPTH_16 (or INFRARED_16 when asked) for 16-bit single-channel ones.
struct InputPicture {
  cv::Mat pixels;
  videoDevice::ColorSpace colorSpace;
};

// Throws ToolError when the file is missing or is not a picture.
InputPicture readInputPicture(const std::string& path, bool sixteenBitAsInfrared);

// A new owning buffer for the camera, holding a copy of the pixels.
std::shared_ptr<videoDevice::ImageBuffer> toImageBuffer(const cv::Mat& pixels,
                                                        videoDevice::ColorSpace colorSpace,
                                                        const std::string& cameraName);

// An 8-bit picture (grey or BGR, as OpenCV writes them) showing the buffer.
// How each colour space is shown is told by visualisationHelp().
cv::Mat visualise(const videoDevice::ImageBuffer& buffer);
std::string visualisationHelp();

// The library's depth colour ramp applied to 16-bit depth values.
cv::Mat depthToColour(const cv::Mat& depth16);

// Write to a temporary name beside the target, then rename: the target either
// appears complete or not at all. Throw ToolError on failure.
void writePicture(const std::string& path, const cv::Mat& picture);
void writeFileAtomically(const std::string& path, const std::string& bytes);

}  // namespace videoDeviceTool
