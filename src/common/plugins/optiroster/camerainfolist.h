#pragma once

#include <core/optirostercomponents/icamerainfo.h>

#include <tavix/deviceinfo.h>

#include <QVector>

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::CameraInfoPtr;
using Core::OptiRosterComponents::DeviceBaseInfoPtr;

/// The cameras of one transport layer, sorted by display name.
class CCameraInfoList : public QVector<CameraInfoPtr>
{
public:
    using QVector<CameraInfoPtr>::QVector;

    /// Builds the list of one layer from the SDK's records, reusing the known description of
    /// each full name. *recordChanged tells whether a known camera's record has changed.
    static CCameraInfoList fromDeviceInfoList(const Tavix::DeviceInfoList& devices, bool* recordChanged);

    /// The same descriptions, in the same order, as the base type.
    QVector<DeviceBaseInfoPtr> toDeviceBaseInfoVector() const;
};

} // namespace Plugin::OptiRoster
