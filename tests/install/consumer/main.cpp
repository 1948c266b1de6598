// An outside program: uses only the installed headers and libraries.
#include <iostream>
#include <sstream>

#include <videodevice/videodevice.h>

int main() {
  std::ostringstream out;
  out << videoDevice::ColorSpace::RGB_888 << " " << videoDevice::getColorSpaceDepth(videoDevice::ColorSpace::RGB_888);
  videoDevice::ImageBuffer buffer("cam", videoDevice::Resolution::VGA, videoDevice::ColorSpace::Y_8, true);
  if (out.str() != "RGB_888 3" || buffer.getSize() != 640u * 480u) {
    std::cerr << "unexpected: " << out.str() << "\n";
    return 1;
  }
  return 0;
}
