#include "cameraname.h"

namespace Viewer {

QString cameraName(const Core::OptiRosterComponents::ICameraInfo& camera)
{
    const QString name = camera.getDisplayName();
    const QString serial = camera.getSerialNumber();
    return serial.isEmpty() || name.contains(serial) ? name : QStringLiteral("%1 (%2)").arg(name, serial);
}

} // namespace Viewer
