// The 2D conversion frame: checks a request against the raw buffer and the
// pool buffer, prepares the output and hands the pixels to a converter.

#include <videodevice/Camera2D.h>

#include <stdexcept>

#include <lumo/Log.h>

LUMO_LOG_CATEGORY("vision.videodevice.camera2d")

namespace videoDevice {

namespace {

using Converter = void (*)(const Camera2D::Input&, const Camera2D::Output&);

struct Dispatch {
  ColorSpace colorSpace;
  Converter converter;
};

// NV12_420 is a valid request with no converter: it fails here, at dispatch.
const Dispatch kConverters[] = {
    {ColorSpace::YUV_422, &Camera2D::convertYUV422toYUV422},
    {ColorSpace::Y_8, &Camera2D::convertYUV422toY8},
    {ColorSpace::RGB_888, &Camera2D::convertYUV422toRGB888},
    {ColorSpace::BGR_888, &Camera2D::convertYUV422toBGR888},
    {ColorSpace::YUV_888, &Camera2D::convertYUV422toYUV888},
    {ColorSpace::HSY_888, &Camera2D::convertYUV422toHSY888},
    {ColorSpace::HSMIXED_888, &Camera2D::convertYUV422toHSMixed888},
    {ColorSpace::U_8, &Camera2D::convertYUV422toU8},
    {ColorSpace::V_8, &Camera2D::convertYUV422toV8},
    {ColorSpace::H_8, &Camera2D::convertYUV422toH8},
    {ColorSpace::S_8, &Camera2D::convertYUV422toS8},
    {ColorSpace::R_8, &Camera2D::convertYUV422toR8},
    {ColorSpace::G_8, &Camera2D::convertYUV422toG8},
    {ColorSpace::B_8, &Camera2D::convertYUV422toB8},
    {ColorSpace::YYCBCR_8888, &Camera2D::convertYUV422toYYCbCr},
    {ColorSpace::H2RGB_888, &Camera2D::convertYUV422toH2RGB},
};

Converter findConverter(ColorSpace colorSpace) {
  for (const Dispatch& entry : kConverters)
    if (entry.colorSpace == colorSpace) return entry.converter;
  return nullptr;
}

}  // namespace

bool Camera2D::isColorSpaceValid(const ColorSpace& colorSpace) {
  switch (colorSpace) {
    case ColorSpace::YUV_422:
    case ColorSpace::Y_8:
    case ColorSpace::RGB_888:
    case ColorSpace::BGR_888:
    case ColorSpace::NV12_420:
    case ColorSpace::YUV_888:
    case ColorSpace::HSY_888:
    case ColorSpace::HSMIXED_888:
    case ColorSpace::U_8:
    case ColorSpace::V_8:
    case ColorSpace::H_8:
    case ColorSpace::S_8:
    case ColorSpace::R_8:
    case ColorSpace::G_8:
    case ColorSpace::B_8:
    case ColorSpace::YYCBCR_8888:
    case ColorSpace::H2RGB_888:
      return true;
    default:
      return false;
  }
}

void Camera2D::convert2DImage(const CameraPreferences& requested, const Input& input,
                              const Output& output) {
  const Resolution size = requested.getResolution();
  const ColorSpace colorSpace = requested.getColorSpace();

  if (size.width == 0)
    LUMO_FAIL(std::domain_error, "Can't convert input to image whose width will be zero.");
  if (size.height == 0)
    LUMO_FAIL(std::domain_error, "Can't convert input to image whose height will be zero.");
  if (!isColorSpaceValid(colorSpace))
    LUMO_FAIL(std::runtime_error, "Can't convert image to the requested colorspace.");

  if (!input) LUMO_FAIL(std::invalid_argument, "Can't convert image if input pointer is empty.");
  if (input->getData() == nullptr)
    LUMO_FAIL(std::invalid_argument, "Can't convert image if input data is unavailable.");
  const Resolution inputSize = input->getResolution();
  if (inputSize.width == 0)
    LUMO_FAIL(std::domain_error, "Can't convert input image whose width is zero.");
  if (inputSize.height == 0)
    LUMO_FAIL(std::domain_error, "Can't convert input image whose height is zero.");

  if (!output) LUMO_FAIL(std::invalid_argument, "Can't convert image if output pointer is empty.");
  // An owning pool buffer allocates its block here if it had none.
  if (output->getData() == nullptr)
    LUMO_FAIL(std::invalid_argument, "Can't convert image if output data is unavailable.");
  if (input.get() == output.get())
    LUMO_FAIL(std::invalid_argument, "Inplace conversion is not supported.");

  // Exact products: in 64 bits a huge request could wrap onto the input's ratio.
  __extension__ using Wide = unsigned __int128;
  if (Wide{size.width} * inputSize.height != Wide{inputSize.width} * size.height)
    LUMO_FAIL(std::domain_error, "Input and Requested aspect ratio are different.");
  if (size.width > inputSize.width || size.height > inputSize.height)
    LUMO_FAIL(std::domain_error, "Upscale conversion is not supported.");

  // The output is prepared before the input format is judged, so a refused
  // input still leaves it resized, re-typed and stamped.
  output->setResolution(size);
  output->setColorSpace(colorSpace);
  output->setTimeStamp(input->getTimeStamp());
  output->setFielOfView(input->getFieldOfView());

  if (input->getColorSpace() != ColorSpace::YUV_422)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(input->getCameraName(),
                                ": Conversion from the input buffer color space ",
                                input->getColorSpace(), " is not supported."));

  const Converter converter = findConverter(colorSpace);
  if (converter == nullptr)
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(input->getCameraName(), ": Conversion to ", colorSpace,
                                " is currently not supported."));
  converter(input, output);
}

}  // namespace videoDevice
