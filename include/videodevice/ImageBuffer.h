#pragma once
// One image in memory with what describes it: camera name, resolution, colour
// space, capture time and field of view.
//
// A buffer either owns its pixel memory, allocated lazily on the first
// getData() and kept across changes that need no more room, or wraps memory
// handed in with setData(). It has no lock: the camera's pools guard it, and
// useCount is their per-buffer lock (0 means free).

#include <atomic>
#include <cstdint>
#include <ostream>
#include <string>

#include <lumo/Clock.h>
#include <opencv2/core/mat.hpp>
#include <videodevice/CameraPreferences.h>
#include <videodevice/Types.h>

namespace videoDevice {

class ImageBuffer {
 public:
  // Throws std::invalid_argument for a size no memory can hold (more pixels
  // than a block of the deepest colour space can index), as setResolution.
  ImageBuffer(std::string cameraName, Resolution resolution, ColorSpace colorSpace, bool ownsData);
  ~ImageBuffer();
  ImageBuffer(const ImageBuffer&) = delete;
  ImageBuffer& operator=(const ImageBuffer&) = delete;

  // The pixel memory. An owning buffer without memory allocates
  // allocatedResolution x depth bytes here (also through the const overload);
  // a non-owning buffer returns what was last set, or null.
  unsigned char* getData();
  const unsigned char* getData() const;

  // Wraps caller memory. An owned block is freed first and the buffer stops
  // owning. Exception kept on purpose: an owning buffer that had not allocated
  // yet stays owning, and frees the caller's block with delete[] later.
  void setData(unsigned char* newData);

  // Grows the allocated size per dimension when the new size has more pixels
  // (dropping an owned block); always sets the current size. A size no memory
  // can hold is refused (std::invalid_argument) and changes nothing.
  void setResolution(Resolution resolution);
  // A change to a deeper colour space drops an owned block.
  void setColorSpace(ColorSpace colorSpace);

  // Same resolution and colour space as the preferences; the rate is ignored.
  bool isPreferencesValid(const CameraPreferences& preferences) const;

  Resolution getResolution() const { return _resolution; }
  ColorSpace getColorSpace() const { return _colorSpace; }
  void setTimeStamp(const lumo::Clock::time_point& timeStamp) { _timeStamp = timeStamp; }
  const lumo::Clock::time_point& getTimeStamp() const { return _timeStamp; }
  void setFielOfView(FieldOfView fieldOfView) { _fieldOfView = fieldOfView; }
  FieldOfView getFieldOfView() const { return _fieldOfView; }
  void setCameraName(std::string cameraName) { _cameraName = std::move(cameraName); }
  std::string getCameraName() const { return _cameraName; }
  // The same name without a copy, for the per-frame path; valid while the
  // buffer lives and its name is not reassigned.
  const std::string& cameraName() const noexcept { return _cameraName; }

  // Byte size of the current image (not of the allocated block).
  std::uint64_t getSize() const;

  // An OpenCV header over the buffer's pixels (no copy), valid while the
  // buffer keeps its block; empty for colour spaces OpenCV cannot describe
  // and for sizes beyond its int rows and columns.
  static cv::Mat imageBufferToCvMat(const ImageBuffer& buffer);

  std::atomic<std::int32_t> useCount;

 private:
  void dropOwnedData();

  mutable unsigned char* _data;
  Resolution _allocatedResolution;
  std::string _cameraName;
  Resolution _resolution;
  ColorSpace _colorSpace;
  lumo::Clock::time_point _timeStamp;
  FieldOfView _fieldOfView;
  bool _ownsData;
};

// Prints width "x" height "@" colour space, e.g. 640x480@RGB_888.
std::ostream& operator<<(std::ostream& out, const ImageBuffer& buffer);

}  // namespace videoDevice
