// Writes the pictures the tool's tests feed to `videodevice convert`.
// Usage: videodevice_tool_test_pictures DIR

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace {

bool write(const std::string& dir, const std::string& name, const cv::Mat& picture) {
  const std::string path = dir + "/" + name;
  if (!cv::imwrite(path, picture)) {
    std::cerr << "cannot write " << path << "\n";
    return false;
  }
  return true;
}

// Colour gradients with saturated blocks, so that every channel and hue varies.
cv::Mat colourPattern(int width, int height) {
  cv::Mat picture(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      picture.at<cv::Vec3b>(y, x) = cv::Vec3b(static_cast<unsigned char>(255 * x / width),
                                              static_cast<unsigned char>(255 * y / height),
                                              static_cast<unsigned char>((x * 7 + y * 3) % 256));
    }
  }
  cv::rectangle(picture, cv::Rect(width / 8, height / 8, width / 4, height / 4),
                cv::Scalar(0, 0, 255), cv::FILLED);
  cv::circle(picture, cv::Point(width * 2 / 3, height / 2), height / 5, cv::Scalar(255, 200, 0),
             cv::FILLED);
  return picture;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " DIR\n";
    return 2;
  }
  const std::string dir = argv[1];
  std::filesystem::create_directories(dir);
  cv::Mat depth(240, 320, CV_16UC1);
  for (int y = 0; y < depth.rows; ++y) {
    for (int x = 0; x < depth.cols; ++x) {
      depth.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(500 + 10 * x + (y % 16));
    }
  }
  cv::circle(depth, cv::Point(100, 120), 40, cv::Scalar(800), cv::FILLED);
  bool ok = write(dir, "colour.png", colourPattern(640, 480)) &&
            write(dir, "large.png", colourPattern(800, 600)) &&
            write(dir, "odd.png", colourPattern(500, 300)) &&
            write(dir, "red.png", cv::Mat(240, 320, CV_8UC3, cv::Scalar(0, 0, 255))) &&
            write(dir, "white.png", cv::Mat(240, 320, CV_8UC3, cv::Scalar::all(255))) &&
            write(dir, "grey.png", cv::Mat(240, 320, CV_8UC1, cv::Scalar(90))) &&
            write(dir, "depth.png", depth) &&
            write(dir, "depth_flat.png", cv::Mat(240, 320, CV_16UC1, cv::Scalar(1000)));
  std::ofstream(dir + "/garbage.png") << "this is not a picture\n";
  return ok ? 0 : 1;
}
