#include "Scene.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace videoDeviceTool {

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double cameraHeight = 1.0;  // metres above the floor
constexpr double cameraPitch = 0.30;  // radians the cameras look down
constexpr double wallDistance = 3.4;  // metres to the back wall

struct Vec {
  double x, y, z;
};
Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec operator*(Vec a, double s) { return {a.x * s, a.y * s, a.z * s}; }
double dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Vec normalised(Vec a) { return a * (1.0 / std::sqrt(dot(a, a))); }

struct Ball {
  Vec centre;
  double radius;
  std::array<double, 3> colour;  // R, G, B in 0..1
};

// x to the right, y up, z forward; the camera is at the origin.
std::array<Ball, 3> ballsAt(double t) {
  const double floorY = -cameraHeight;
  const double rollX = 0.8 * std::sin(2.0 * pi * t / 4.0);
  const double approachZ = 2.0 + 0.8 * std::sin(2.0 * pi * t / 5.0);
  const double bounce = std::fabs(std::sin(pi * t / 1.1));
  return {{
      {{rollX, floorY + 0.25, 1.7}, 0.25, {0.85, 0.12, 0.10}},
      {{-0.7, floorY + 0.3, approachZ}, 0.3, {0.15, 0.70, 0.20}},
      {{0.55, floorY + 0.15 + 0.6 * bounce, 1.1}, 0.15, {0.15, 0.30, 0.90}},
  }};
}

struct Hit {
  double z = 0.0;  // distance along the optical axis, metres; 0 = nothing
  std::array<double, 3> colour{0.0, 0.0, 0.0};
};

// Light from the upper left, behind the camera.
const Vec light = normalised({-0.5, 0.8, -0.4});

Hit castRay(const Vec& direction, const std::array<Ball, 3>& balls) {
  Hit hit;
  double best = 1e9;
  // The ray parameter s is the depth of the hit along the optical axis.
  const auto consider = [&](double s, std::array<double, 3> colour) {
    if (s > 0.05 && s < best) {
      best = s;
      hit.z = s;
      hit.colour = colour;
    }
  };
  if (direction.y < 0.0) {
    const double s = -cameraHeight / direction.y;
    const Vec p = direction * s;
    const bool dark = (static_cast<long>(std::floor(p.x / 0.5)) +
                       static_cast<long>(std::floor(p.z / 0.5))) % 2 != 0;
    const double shade = std::clamp(1.15 - 0.15 * s, 0.4, 1.0);
    const double tone = (dark ? 0.35 : 0.78) * shade;
    consider(s, {tone, tone, tone * 0.95});
  }
  if (direction.z > 0.0) {
    const double s = wallDistance / direction.z;
    const Vec p = direction * s;
    const bool stripe = p.y > 0.05 && p.y < 0.2;
    consider(s, stripe ? std::array<double, 3>{0.55, 0.35, 0.65}
                       : std::array<double, 3>{0.86, 0.80, 0.68});
  }
  for (const Ball& ball : balls) {
    const double a = dot(direction, direction);
    const double b = -2.0 * dot(direction, ball.centre);
    const double c = dot(ball.centre, ball.centre) - ball.radius * ball.radius;
    const double discriminant = b * b - 4.0 * a * c;
    if (discriminant < 0.0) continue;
    const double s = (-b - std::sqrt(discriminant)) / (2.0 * a);
    if (s <= 0.05 || s >= best) continue;
    const Vec normal = normalised(direction * s - ball.centre);
    const double lambert = 0.3 + 0.7 * std::max(0.0, dot(normal, light));
    consider(s, {ball.colour[0] * lambert, ball.colour[1] * lambert, ball.colour[2] * lambert});
  }
  return hit;
}

template <typename Pixel>
void render(long frame, const videoDevice::Resolution& size,
            const videoDevice::FieldOfView& fieldOfView, cv::Mat& out, Pixel pixel) {
  const auto balls = ballsAt(static_cast<double>(frame) / Scene::framesPerSecond);
  const double spanX = std::tan(fieldOfView.horizontal / 2.0);
  const double spanY = std::tan(fieldOfView.vertical / 2.0);
  const double cosPitch = std::cos(cameraPitch);
  const double sinPitch = std::sin(cameraPitch);
  const int width = static_cast<int>(size.width);
  const int height = static_cast<int>(size.height);
  for (int row = 0; row < height; ++row) {
    const double y = spanY * (1.0 - 2.0 * (row + 0.5) / height);
    for (int column = 0; column < width; ++column) {
      const double x = spanX * (2.0 * (column + 0.5) / width - 1.0);
      // Camera ray (x, y, 1) turned down by the pitch: its parameter along the
      // ray is still the depth along the optical axis.
      const Vec direction{x, y * cosPitch - sinPitch, y * sinPitch + cosPitch};
      pixel(out, row, column, castRay(direction, balls));
    }
  }
}

}  // namespace

cv::Mat Scene::renderColour(long frame, const videoDevice::Resolution& size,
                            const videoDevice::FieldOfView& fieldOfView) {
  cv::Mat out(static_cast<int>(size.height), static_cast<int>(size.width), CV_8UC3);
  render(frame, size, fieldOfView, out, [](cv::Mat& image, int row, int column, const Hit& hit) {
    auto& rgb = image.at<cv::Vec3b>(row, column);
    for (int c = 0; c < 3; ++c) {
      rgb[c] = static_cast<unsigned char>(std::clamp(hit.colour[c] * 255.0 + 0.5, 0.0, 255.0));
    }
  });
  return out;
}

cv::Mat Scene::renderDepth(long frame, const videoDevice::Resolution& size,
                           const videoDevice::FieldOfView& fieldOfView) {
  cv::Mat out(static_cast<int>(size.height), static_cast<int>(size.width), CV_16UC1);
  render(frame, size, fieldOfView, out, [](cv::Mat& image, int row, int column, const Hit& hit) {
    image.at<std::uint16_t>(row, column) =
        static_cast<std::uint16_t>(std::clamp(hit.z * 1000.0 + 0.5, 0.0, 65535.0));
  });
  return out;
}

}  // namespace videoDeviceTool
