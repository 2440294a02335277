#pragma once

#include <core/optirostercomponents/icamerainfo.h>

#include <QString>

namespace Viewer {

/// How the viewer names a camera: its display name, with the serial number in brackets when the
/// name doesn't hold it already ("Inspection top (40011013)", never twice).
QString cameraName(const Core::OptiRosterComponents::ICameraInfo& camera);

} // namespace Viewer
