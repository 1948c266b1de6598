// The reference points the library's converters are compared with: memcpy
// of a frame, libyuv's YUYV conversions, and OpenCV on one thread (main sets
// OpenCV's thread count). None of them is used by the library itself.

#include <cstdint>
#include <cstring>
#include <vector>

#include <libyuv.h>
#include <opencv2/imgproc.hpp>

#include "Catalogue.h"
#include "Frames.h"
#include "Measure.h"
#include "ReferenceNames.h"

namespace bench {

namespace {

using Bytes = std::vector<std::uint8_t>;

int asInt(std::uint64_t value) { return static_cast<int>(value); }

Entry reference(std::string name, std::string what, std::string size, std::uint64_t bytes) {
  Entry entry;
  entry.name = std::move(name);
  entry.section = Section::Reference;
  entry.what = std::move(what);
  entry.size = std::move(size);
  entry.bytes = bytes;
  return entry;
}

void addMemcpy(Catalogue& catalogue, const Resolution& size) {
  const std::uint64_t frame = imageBytes(size, ColorSpace::YUV_422);
  catalogue.add(reference(memcpyReference(size), "memcpy of the frame", sizeName(size), 2 * frame),
                [size, frame](benchmark::State& state) {
                  const auto input = yuyvFrame(size);
                  Bytes output(frame);
                  measure(state, 2 * frame,
                          [&] { std::memcpy(output.data(), input->getData(), frame); });
                });
}

void addYuy2ToArgb(Catalogue& catalogue, const Resolution& size) {
  const std::uint64_t bytes = imageBytes(size, ColorSpace::YUV_422) + size.width * size.height * 4;
  catalogue.add(
      reference("ref/libyuv_YUY2ToARGB/" + sizeName(size), "libyuv YUY2ToARGB", sizeName(size),
                bytes),
      [size, bytes](benchmark::State& state) {
        const auto input = yuyvFrame(size);
        const int width = asInt(size.width);
        Bytes output(size.width * size.height * 4);
        measure(state, bytes, [&] {
          libyuv::YUY2ToARGB(input->getData(), 2 * width, output.data(), 4 * width, width,
                             asInt(size.height));
        });
      });
}

void addYuy2ToY(Catalogue& catalogue, const Resolution& size) {
  const std::uint64_t bytes = imageBytes(size, ColorSpace::YUV_422) + size.width * size.height;
  catalogue.add(reference(lumaReference(size), "libyuv YUY2ToY", sizeName(size), bytes),
                [size, bytes](benchmark::State& state) {
                  const auto input = yuyvFrame(size);
                  const int width = asInt(size.width);
                  Bytes output(size.width * size.height);
                  measure(state, bytes, [&] {
                    libyuv::YUY2ToY(input->getData(), 2 * width, output.data(), width, width,
                                    asInt(size.height));
                  });
                });
}

// libyuv has no YUY2 to RGB24 plane function: each row goes to ARGB in a
// one-row buffer that stays in the first-level cache, then to RGB24 (B, G, R
// in memory; the R, G, B order costs the same).
void addYuyvToRgb24Rows(Catalogue& catalogue, const Resolution& size) {
  const std::uint64_t bytes = imageBytes(size, ColorSpace::YUV_422) + size.width * size.height * 3;
  catalogue.add(reference(rgb24RowsReference(size), "libyuv YUYV→RGB24 row by row",
                          sizeName(size), bytes),
                [size, bytes](benchmark::State& state) {
                  const auto input = yuyvFrame(size);
                  const int width = asInt(size.width);
                  Bytes argbRow(size.width * 4);
                  Bytes output(size.width * size.height * 3);
                  measure(state, bytes, [&] {
                    for (std::uint64_t row = 0; row < size.height; ++row) {
                      libyuv::YUY2ToARGB(input->getData() + row * size.width * 2, 2 * width,
                                         argbRow.data(), 4 * width, width, 1);
                      libyuv::ARGBToRGB24(argbRow.data(), 4 * width,
                                          output.data() + row * size.width * 3, 3 * width, width,
                                          1);
                    }
                  });
                });
}

void addOpenCvYuy2ToRgb(Catalogue& catalogue, const Resolution& size) {
  const std::uint64_t bytes = imageBytes(size, ColorSpace::YUV_422) + size.width * size.height * 3;
  catalogue.add(reference("ref/opencv_YUV2RGB_YUY2/" + sizeName(size),
                          "OpenCV cvtColor YUV2RGB_YUY2", sizeName(size), bytes),
                [size, bytes](benchmark::State& state) {
                  const auto input = yuyvFrame(size);
                  const cv::Mat source = ImageBuffer::imageBufferToCvMat(*input);
                  cv::Mat output(asInt(size.height), asInt(size.width), CV_8UC3);
                  measure(state, bytes,
                          [&] { cv::cvtColor(source, output, cv::COLOR_YUV2RGB_YUY2); });
                });
}

void addOpenCvRgbToHsv(Catalogue& catalogue, const Resolution& size) {
  const std::uint64_t bytes = 2 * imageBytes(size, ColorSpace::RGB_888);
  catalogue.add(reference(hsvReference(size), "OpenCV cvtColor RGB2HSV", sizeName(size), bytes),
                [size, bytes](benchmark::State& state) {
                  const auto input = rgbFrame(size);
                  const cv::Mat source = ImageBuffer::imageBufferToCvMat(*input);
                  cv::Mat output(asInt(size.height), asInt(size.width), CV_8UC3);
                  measure(state, bytes, [&] { cv::cvtColor(source, output, cv::COLOR_RGB2HSV); });
                });
}

void addOpenCvResize(Catalogue& catalogue, const Resolution& from, const Resolution& to) {
  const std::uint64_t bytes =
      imageBytes(from, ColorSpace::DEPTH_16) + imageBytes(to, ColorSpace::DEPTH_16);
  catalogue.add(reference(resizeReference(from, to), "OpenCV resize INTER_NEAREST 16-bit",
                          sizeName(from) + " → " + sizeName(to), bytes),
                [from, to, bytes](benchmark::State& state) {
                  const auto input = depthFrame(from);
                  const cv::Mat source = ImageBuffer::imageBufferToCvMat(*input);
                  cv::Mat output(asInt(to.height), asInt(to.width), CV_16UC1);
                  measure(state, bytes, [&] {
                    cv::resize(source, output, output.size(), 0, 0, cv::INTER_NEAREST);
                  });
                });
}

}  // namespace

void addReferences(Catalogue& catalogue) {
  const Resolution small(320, 240), medium(640, 480), large(1280, 960);
  for (const Resolution& size : {medium, large}) {
    addMemcpy(catalogue, size);
    addYuy2ToArgb(catalogue, size);
  }
  // The scaled converters (factor 2) are compared with these at their output size.
  for (const Resolution& size : {small, medium, large}) {
    addYuy2ToY(catalogue, size);
    addYuyvToRgb24Rows(catalogue, size);
    addOpenCvYuy2ToRgb(catalogue, size);
    addOpenCvRgbToHsv(catalogue, size);
  }
  for (const Resolution& from : {medium, large}) {
    addOpenCvResize(catalogue, from, from);
    addOpenCvResize(catalogue, from, Resolution(from.width / 2, from.height / 2));
  }
}

}  // namespace bench
