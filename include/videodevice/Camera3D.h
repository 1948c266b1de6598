#pragma once
// Conversion of 16-bit depth (and infrared / raw depth) frames into depth
// copies, grey and colour visualisations, 3D points and corrected distances,
// scaling down by a whole factor taken from the widths. Stateless apart from
// the table width that convertDepth16toDistance fixes on its first call.

#include <memory>

#include <opencv2/core/mat.hpp>
#include <videodevice/CameraPreferences.h>
#include <videodevice/ImageBuffer.h>
#include <videodevice/Types.h>

namespace videoDevice {

class Camera3D {
 public:
  using Input = std::shared_ptr<const ImageBuffer>;
  using Output = std::shared_ptr<ImageBuffer>;

  Camera3D() = delete;

  // The output colour spaces a depth camera can be asked for.
  static bool isColorSpaceValid(const ColorSpace& colorSpace);

  // Checks the request and both buffers, prepares the output and converts,
  // using distanceTable (one float factor per pixel) for DISTANCE_32.
  static void convert3DImage(const CameraPreferences& requested, const Input& input,
                             const Output& output, const cv::Mat& distanceTable);

  static void convertDepth16toDepth16(const Input& input, const Output& output);
  static void convertDepth16toRGB888(const Input& input, const Output& output);
  static void convertDepth16toYuv(const Input& input, const Output& output);
  static void convertDepth16toIJZ(const Input& input, const Output& output);
  static void convertDepth16toDistance(const Input& input, const Output& output,
                                       const cv::Mat& distanceTable);
  // Rewrites (column, row, depth) triples in place as real-world coordinates.
  static void convertProjectiveToRealWorld(const Output& output);
};

}  // namespace videoDevice
