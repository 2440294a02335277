#include "interfaceinfolist.h"

#include <plugins/optiroster/internal/interfaceinfo.h>
#include <plugins/optiroster/internal/sortbyname.h>

namespace Plugin::OptiRoster {

using Internal::CInterfaceInfo;
using InterfaceInfoPtr = QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo>;

QVector<QSharedPointer<CInterfaceInfo>>* CInterfaceInfoList::m_pKnownInterfaces = new QVector<QSharedPointer<CInterfaceInfo>>;

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
        QSharedPointer<CInterfaceInfo> object(new CInterfaceInfo(record, nullptr));
        const auto known = std::find_if(m_pKnownInterfaces->cbegin(), m_pKnownInterfaces->cend(),
                                        [&](const QSharedPointer<CInterfaceInfo>& info) {
                                            return info->getInterfaceId() == object->getInterfaceId();
                                        });
        if (known == m_pKnownInterfaces->cend())
            m_pKnownInterfaces->append(object);
        else
            object = *known;
        result.append(object);
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
