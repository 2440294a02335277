#pragma once

#include <core/optirostercomponents/iinterfaceinfo.h>

#include <tavix/deviceinfo.h>

#include <QVector>

namespace Plugin::OptiRoster {

namespace Internal {
class CInterfaceInfo;
}

using Core::OptiRosterComponents::DeviceBaseInfoPtr;

// The interfaces of one transport layer, sorted by display name.
class CInterfaceInfoList : public QVector<QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo>>
{
public:
    CInterfaceInfoList();
    CInterfaceInfoList(const CInterfaceInfoList& other);
    CInterfaceInfoList(CInterfaceInfoList&& other) noexcept;
    ~CInterfaceInfoList();
    CInterfaceInfoList& operator=(const CInterfaceInfoList& other);
    CInterfaceInfoList& operator=(CInterfaceInfoList&& other) noexcept;

    // Builds the list from the SDK's records, reusing the known description of each interface
    // id unchanged.
    static CInterfaceInfoList fromInterfaceInfoList(Tavix::InterfaceInfoList list);

    QVector<DeviceBaseInfoPtr> toDeviceBaseInfoVector();

    // Every interface ever seen; created during static initialisation, never deleted.
    static QVector<QSharedPointer<Internal::CInterfaceInfo>>* m_pKnownInterfaces;
};

} // namespace Plugin::OptiRoster
