#pragma once
// The pictures every benchmark works on: random bytes from a fixed seed, so
// that each run converts the same frames, made once per size and kept.

#include <cstdint>
#include <memory>
#include <string>

#include <opencv2/core/mat.hpp>
#include <videodevice/ImageBuffer.h>
#include <videodevice/Types.h>

namespace bench {

using videoDevice::ColorSpace;
using videoDevice::ImageBuffer;
using videoDevice::Resolution;

// "640x480".
std::string sizeName(const Resolution& size);
// Bytes of an image of this size and colour space.
std::uint64_t imageBytes(const Resolution& size, ColorSpace colorSpace);

// A YUV 4:2:2 (YUYV) frame of random bytes.
std::shared_ptr<const ImageBuffer> yuyvFrame(const Resolution& size);
// An RGB_888 frame of random bytes; `variant` picks one of several frames.
std::shared_ptr<const ImageBuffer> rgbFrame(const Resolution& size, int variant = 0);
// A DEPTH_16 frame of random depths from 0 to 10000 (millimetres).
std::shared_ptr<const ImageBuffer> depthFrame(const Resolution& size);

// An owning output buffer whose block is already allocated.
std::shared_ptr<ImageBuffer> outputImage(const Resolution& size, ColorSpace colorSpace);

// The depth simulator's distance table: one factor per pixel of the largest
// mode of its catalogue set-up, 1 / (cos(vertical angle) * cos(horizontal angle)).
const cv::Mat& distanceTable();
// That set-up's field of view, which the 3D points are computed with.
videoDevice::FieldOfView depthFieldOfView();

}  // namespace bench
