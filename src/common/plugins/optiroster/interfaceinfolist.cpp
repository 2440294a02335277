#include "interfaceinfolist.h"

#include <plugins/optiroster/internal/interfaceinfo.h>
#include <plugins/optiroster/internal/knownobjects.h>
#include <plugins/optiroster/internal/sortbyname.h>

namespace Plugin::OptiRoster {

using Internal::CInterfaceInfo;
using InterfaceInfoPtr = QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo>;

namespace {
// Every interface ever seen; created during static initialisation, never deleted. It stays out
// of the public header, as its element type is the implementation's: clients see the list type only.
QVector<QSharedPointer<CInterfaceInfo>>* const m_pKnownInterfaces = new QVector<QSharedPointer<CInterfaceInfo>>;
// Lives as long as the list it indexes: never deleted.
Internal::KnownIndex<CInterfaceInfo>* const knownInterfaceIndex = new Internal::KnownIndex<CInterfaceInfo>;
} // namespace

CInterfaceInfoList::CInterfaceInfoList() = default;
CInterfaceInfoList::CInterfaceInfoList(const CInterfaceInfoList& other) = default;
CInterfaceInfoList::CInterfaceInfoList(CInterfaceInfoList&& other) noexcept = default;
CInterfaceInfoList::~CInterfaceInfoList() = default;
CInterfaceInfoList& CInterfaceInfoList::operator=(const CInterfaceInfoList& other) = default;
CInterfaceInfoList& CInterfaceInfoList::operator=(CInterfaceInfoList&& other) noexcept = default;

CInterfaceInfoList CInterfaceInfoList::fromInterfaceInfoList(Tavix::InterfaceInfoList list)
{
    CInterfaceInfoList result;
    for (const auto& record : list) {
        // A known interface keeps what it said when it was first seen.
        result.append(Internal::adoptKnown(*m_pKnownInterfaces, *knownInterfaceIndex, QString::fromUtf8(record.GetInterfaceID().c_str()),
                                           [&record] { return QSharedPointer<CInterfaceInfo>(new CInterfaceInfo(record, nullptr)); }));
    }
    Internal::sortByName(result, [](const InterfaceInfoPtr& info) { return info->getDisplayName(); });
    return result;
}

QVector<DeviceBaseInfoPtr> CInterfaceInfoList::toDeviceBaseInfoVector()
{
    QVector<DeviceBaseInfoPtr> infos;
    infos.reserve(size());
    for (const auto& info : qAsConst(*this))
        infos.append(info);
    return infos;
}

} // namespace Plugin::OptiRoster
