#pragma once
// Everything a program embedding the library needs.

#include <videodevice/Camera.h>
#include <videodevice/Camera2D.h>
#include <videodevice/Camera3D.h>
#include <videodevice/CameraBase.h>
#include <videodevice/CameraBuilder.h>
#include <videodevice/CameraInfo.h>
#include <videodevice/CameraPreferences.h>
#include <videodevice/ImageBuffer.h>
#include <videodevice/Types.h>
#include <videodevice/VideoDevice.h>
