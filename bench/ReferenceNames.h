#pragma once
// Names of the reference benchmarks, shared by the code that registers them
// and the converters compared with them.

#include <string>

#include <videodevice/Types.h>

#include "Frames.h"

namespace bench {

// memcpy of a YUYV frame of this size (a DEPTH_16 frame has as many bytes).
inline std::string memcpyReference(const Resolution& size) {
  return "ref/memcpy/" + sizeName(size);
}
// libyuv, one YUYV frame of this size to RGB24, row by row.
inline std::string rgb24RowsReference(const Resolution& size) {
  return "ref/libyuv_YUYV_to_RGB24_rows/" + sizeName(size);
}
// libyuv YUY2ToY on a YUYV frame of this size.
inline std::string lumaReference(const Resolution& size) {
  return "ref/libyuv_YUY2ToY/" + sizeName(size);
}
// OpenCV RGB to HSV on an RGB image of this size.
inline std::string hsvReference(const Resolution& size) {
  return "ref/opencv_RGB2HSV/" + sizeName(size);
}
// OpenCV nearest-neighbour resize of a 16-bit image.
inline std::string resizeReference(const Resolution& from, const Resolution& to) {
  return "ref/opencv_resize_nearest_16bit/" + sizeName(from) + "_to_" + sizeName(to);
}

}  // namespace bench
