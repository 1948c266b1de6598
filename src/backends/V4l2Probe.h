#pragma once
// What a V4L2 capture node offers a YUV 4:2:2 client: its card name and the
// YUYV frame sizes with the frame rates of each.

#include <map>
#include <set>
#include <string>

#include <videodevice/Types.h>

#include "backends/V4l2Io.h"

namespace videoDevice {
namespace backends {

// Every size once: Resolution's own order only ranks sizes smaller in both
// dimensions, so it would merge 640x480 with 640x360.
struct SizeOrder {
  bool operator()(const Resolution& a, const Resolution& b) const {
    return a.width != b.width ? a.width < b.width : a.height < b.height;
  }
};

struct V4l2Description {
  std::string card;    // the name the driver reports for the device
  std::string driver;  // the driver's own name
  std::map<Resolution, std::set<unsigned short>, SizeOrder> modes;  // YUYV sizes, frames per second
};

// Opens `path` (non-blocking, close-on-exec), checks that it captures video
// and streams, and enumerates its YUYV modes; closes it again. Throws
// std::runtime_error, every message starting with `who`:
//  "<who>: <path> does not exist", "<who>: <path> is busy (another program
//  has it open)", "<who>: can't open <path>: <reason>",
//  "<who>: <path> is not a video capture device",
//  "<who>: <path> offers no YUYV (YUV 4:2:2) frames; it offers: MJPG, ...".
V4l2Description probeV4l2(V4l2Io& io, const std::string& who, const std::string& path);

// Opens a node as probeV4l2 does, with the same messages; returns the file
// descriptor.
int openV4l2(V4l2Io& io, const std::string& who, const std::string& path);

}  // namespace backends
}  // namespace videoDevice
