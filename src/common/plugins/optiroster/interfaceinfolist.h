#pragma once

#include <core/optirostercomponents/iinterfaceinfo.h>

#include <tavix/deviceinfo.h>

#include <QVector>

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::DeviceBaseInfoPtr;

/// The interfaces of one transport layer, sorted by display name.
class CInterfaceInfoList : public QVector<QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo>>
{
public:
    ///@{
    /// A value type: constructed empty, copied, moved and assigned like the vector.
    CInterfaceInfoList();
    CInterfaceInfoList(const CInterfaceInfoList& other);
    CInterfaceInfoList(CInterfaceInfoList&& other) noexcept;
    ~CInterfaceInfoList();
    CInterfaceInfoList& operator=(const CInterfaceInfoList& other);
    CInterfaceInfoList& operator=(CInterfaceInfoList&& other) noexcept;
    ///@}

    /// Builds the list from the SDK's records, reusing the known description of each interface
    /// id unchanged.
    static CInterfaceInfoList fromInterfaceInfoList(Tavix::InterfaceInfoList list);

    /// The same descriptions, in the same order, as the base type.
    QVector<DeviceBaseInfoPtr> toDeviceBaseInfoVector();
};

} // namespace Plugin::OptiRoster
