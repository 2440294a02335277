#include "camerainfolist.h"

#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/knownobjects.h>
#include <plugins/optiroster/internal/sortbyname.h>

#include <QSettings>

namespace Plugin::OptiRoster {

using Internal::CCameraInfo;

namespace {

// Every camera ever seen, one object for each full name. Only one enumeration pass runs at a
// time, and that is the list's only protection.
QVector<QSharedPointer<CCameraInfo>> m_knownCameras;
Internal::KnownIndex<CCameraInfo> knownCameraIndex;

bool showQuaroCamera()
{
    QSettings settings;
    settings.beginGroup(QStringLiteral("Enumeration"));
    const bool show = settings.value(QStringLiteral("ShowQuaroCamera"), false).toBool();
    settings.endGroup();
    return show;
}

// A time-of-flight camera reached over the GigE layer is hidden unless the setting shows it;
// the same camera seen through its own producer stays.
bool isHiddenTimeOfFlightCamera(const Tavix::CDeviceInfo& device, bool showQuaro)
{
    return QString::fromUtf8(device.GetManufacturerInfo().c_str()).contains(QLatin1String("061B020F")) && !showQuaro
           && device.GetDeviceClass() == "VorlanGigE";
}

// Unlike an interface, a known camera takes over a changed record.
QSharedPointer<CCameraInfo> knownCamera(const Tavix::CDeviceInfo& device, bool* recordChanged)
{
    bool wasKnown = false;
    const QSharedPointer<CCameraInfo> camera =
        Internal::adoptKnown(m_knownCameras, knownCameraIndex, QString::fromUtf8(device.GetFullName().c_str()),
                             [&device] { return QSharedPointer<CCameraInfo>(new CCameraInfo(device, nullptr)); }, &wasKnown);
    if (wasKnown && camera->getDeviceInfo() != device) {
        camera->setDeviceInfo(device);
        *recordChanged = true;
    }
    return camera;
}

} // namespace

CCameraInfoList CCameraInfoList::fromDeviceInfoList(const Tavix::DeviceInfoList& devices, bool* recordChanged)
{
    CCameraInfoList list;
    const bool showQuaro = showQuaroCamera();
    *recordChanged = false;
    for (const auto& device : devices) {
        if (isHiddenTimeOfFlightCamera(device, showQuaro))
            continue;
        list.append(knownCamera(device, recordChanged));
    }
    Internal::sortByName(list, [](const CameraInfoPtr& info) { return info->getDisplayName(); });
    return list;
}

QVector<DeviceBaseInfoPtr> CCameraInfoList::toDeviceBaseInfoVector() const
{
    QVector<DeviceBaseInfoPtr> infos;
    infos.reserve(size());
    for (const auto& info : *this)
        infos.append(info);
    return infos;
}

} // namespace Plugin::OptiRoster
