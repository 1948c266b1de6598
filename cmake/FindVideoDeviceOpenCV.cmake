# Finds the OpenCV modules the library uses (core, imgproc, and imgcodecs when
# present) from Debian's split packages, which ship neither a CMake package nor
# a pkg-config file. Defines imported targets VideoDeviceOpenCV::core,
# VideoDeviceOpenCV::imgproc and, if found, VideoDeviceOpenCV::imgcodecs.
find_path(VideoDeviceOpenCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)

foreach(module core imgproc imgcodecs)
  find_library(VideoDeviceOpenCV_${module}_LIBRARY NAMES opencv_${module})
  if(VideoDeviceOpenCV_${module}_LIBRARY AND VideoDeviceOpenCV_INCLUDE_DIR
      AND NOT TARGET VideoDeviceOpenCV::${module})
    add_library(VideoDeviceOpenCV::${module} UNKNOWN IMPORTED)
    set_target_properties(VideoDeviceOpenCV::${module} PROPERTIES
      IMPORTED_LOCATION "${VideoDeviceOpenCV_${module}_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${VideoDeviceOpenCV_INCLUDE_DIR}")
  endif()
endforeach()
if(TARGET VideoDeviceOpenCV::imgproc AND TARGET VideoDeviceOpenCV::core)
  set_property(TARGET VideoDeviceOpenCV::imgproc APPEND PROPERTY INTERFACE_LINK_LIBRARIES VideoDeviceOpenCV::core)
endif()
if(TARGET VideoDeviceOpenCV::imgcodecs AND TARGET VideoDeviceOpenCV::imgproc)
  set_property(TARGET VideoDeviceOpenCV::imgcodecs APPEND PROPERTY INTERFACE_LINK_LIBRARIES VideoDeviceOpenCV::imgproc)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(VideoDeviceOpenCV
  REQUIRED_VARS VideoDeviceOpenCV_INCLUDE_DIR VideoDeviceOpenCV_core_LIBRARY VideoDeviceOpenCV_imgproc_LIBRARY)
mark_as_advanced(VideoDeviceOpenCV_INCLUDE_DIR VideoDeviceOpenCV_core_LIBRARY
  VideoDeviceOpenCV_imgproc_LIBRARY VideoDeviceOpenCV_imgcodecs_LIBRARY)
