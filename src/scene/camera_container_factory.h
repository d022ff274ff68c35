#pragma once

#include "cgi/api_version_handler.h"

class CameraContainer;

/// Chooses how scenes arrive, once for the life of the process.
namespace CameraContainerFactory {

/// A container for the subscriber module on a platform of version 2.15 or above, for the scene
/// socket below. The caller owns it. Waits without limit until the source of scenes is there.
CameraContainer* create(API_VersionHandler versions, unsigned capabilities);

}  // namespace CameraContainerFactory
