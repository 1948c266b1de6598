#pragma once
// The demo's world: a room with a chequered floor and three balls that roll,
// approach and bounce. Every frame is a pure function of its index, so two runs
// show the same pictures. Both cameras sit at the same spot, 1 m above the
// floor and looking slightly down, and see the same world: the colour picture
// and the depth picture of one frame agree pixel for pixel, up to each
// camera's own field of view.

#include <opencv2/core/mat.hpp>
#include <videodevice/Types.h>

namespace videoDeviceTool {

class Scene {
 public:
  static constexpr int framesPerSecond = 30;

  // RGB_888 pixels (bytes R, G, B) of frame `frame`.
  static cv::Mat renderColour(long frame, const videoDevice::Resolution& size,
                              const videoDevice::FieldOfView& fieldOfView);
  // DEPTH_16 pixels: millimetres along the optical axis.
  static cv::Mat renderDepth(long frame, const videoDevice::Resolution& size,
                             const videoDevice::FieldOfView& fieldOfView);
};

}  // namespace videoDeviceTool
