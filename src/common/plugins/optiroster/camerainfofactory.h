#pragma once

#include <core/optirostercomponents/icamerainfo.h>

namespace Tavix {
class CDeviceInfo;
}

namespace Plugin::OptiRoster {

/// Makes a description of the camera that an SDK record names, for a client that holds a record
/// but no description from enumeration (a device it found through the SDK itself, or a test's).
///
/// The result is a new object, not the one enumeration keeps for the device. The services look a
/// camera up by its full name, so it names the same camera there; a comparison of pointers with
/// enumeration's descriptions tells them apart.
Core::OptiRosterComponents::CameraInfoPtr createCameraInfo(const Tavix::CDeviceInfo& record);

} // namespace Plugin::OptiRoster
