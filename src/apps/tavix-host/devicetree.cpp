#include "devicetree.h"

#include <core/optirostercomponents/iinterfaceinfo.h>

#include <QJsonArray>

using Core::OptiRosterComponents::ICameraInfo;
using Core::OptiRosterComponents::IInterfaceInfo;

CDeviceTree::CDeviceTree(QVector<TransportLayerInfoPtr> layers, QSharedPointer<Plugin::OptiRoster::ICameraStatusService> status)
    : m_layers(std::move(layers))
    , m_ptrStatus(std::move(status))
{
}

QVector<CDeviceTree::CameraInfoPtr> CDeviceTree::cameras() const
{
    QVector<CameraInfoPtr> all;
    for (const auto& layer : m_layers) {
        for (const auto& camera : layer->getCameraInfoList())
            all.append(camera);
    }
    return all;
}

void CDeviceTree::print(QTextStream& out) const
{
    if (m_layers.isEmpty())
        out << "No transport layer was found.\n";
    for (const auto& layer : m_layers) {
        out << layer->getFriendlyName() << "  [" << layer->getFullName() << "]  " << layer->getTlType() << '\n';
        for (const auto& interfaceInfo : layer->getInterfaceInfoList()) {
            out << "  interface  " << interfaceInfo->getDisplayName() << "  [" << interfaceInfo->getInterfaceId() << "]  "
                << stateText(interfaceInfo, m_ptrStatus.data()) << '\n';
        }
        for (const auto& camera : layer->getCameraInfoList()) {
            const QString address = ipAddress(camera);
            out << "  camera     " << camera->getDisplayName() << "  [" << camera->getFullName() << "]  "
                << camera->getTlType() << (address.isEmpty() ? QString() : QStringLiteral("  ") + address) << "  "
                << stateText(camera, m_ptrStatus.data()) << '\n';
        }
    }
}

QJsonObject CDeviceTree::toJson() const
{
    QJsonArray layers;
    for (const auto& layer : m_layers) {
        QJsonArray interfaces;
        for (const auto& interfaceInfo : layer->getInterfaceInfoList())
            interfaces.append(deviceJson(interfaceInfo, m_ptrStatus.data()));
        QJsonArray cameras;
        for (const auto& camera : layer->getCameraInfoList())
            cameras.append(deviceJson(camera, m_ptrStatus.data()));
        layers.append(QJsonObject{{QStringLiteral("friendlyName"), layer->getFriendlyName()},
                                  {QStringLiteral("fullName"), layer->getFullName()},
                                  {QStringLiteral("tlType"), layer->getTlType()},
                                  {QStringLiteral("interfaces"), interfaces},
                                  {QStringLiteral("cameras"), cameras}});
    }
    return QJsonObject{{QStringLiteral("transportLayers"), layers}};
}

QJsonObject CDeviceTree::deviceJson(const DeviceBaseInfoPtr& info, Plugin::OptiRoster::ICameraStatusService* status)
{
    QJsonObject device{{QStringLiteral("displayName"), info->getDisplayName()},
                       {QStringLiteral("fullName"), info->getFullName()},
                       {QStringLiteral("tlType"), info->getTlType()},
                       {QStringLiteral("vendorName"), info->getVendorName()}};
    if (status) {
        device.insert(QStringLiteral("open"), status->isDeviceOpen(info));
        device.insert(QStringLiteral("active"), status->getActiveDevice() == info);
    }
    if (const auto camera = info.objectCast<ICameraInfo>()) {
        device.insert(QStringLiteral("modelName"), camera->getModelName());
        device.insert(QStringLiteral("serialNumber"), camera->getSerialNumber());
        const QString address = ipAddress(camera);
        if (!address.isEmpty())
            device.insert(QStringLiteral("ipAddress"), address);
        if (status) {
            device.insert(QStringLiteral("grabbing"), status->isCameraGrabbing(camera));
            device.insert(QStringLiteral("exclusive"), status->isExclusive(camera));
        }
    } else if (const auto interfaceInfo = info.objectCast<IInterfaceInfo>()) {
        device.insert(QStringLiteral("interfaceId"), interfaceInfo->getInterfaceId());
    }
    if (!info->getLastError().isEmpty())
        device.insert(QStringLiteral("lastError"), info->getLastError());
    return device;
}

QString CDeviceTree::ipAddress(const CameraInfoPtr& camera)
{
    const Tavix::CDeviceInfo& record = camera->getDeviceInfo();
    return record.IsPropertyAvailable("IpAddress") ? QString::fromUtf8(record.GetPropertyValue("IpAddress").c_str()) : QString();
}

QString CDeviceTree::stateText(const DeviceBaseInfoPtr& info, Plugin::OptiRoster::ICameraStatusService* status)
{
    if (!status)
        return {};
    QStringList state{status->isDeviceOpen(info) ? QStringLiteral("open") : QStringLiteral("closed")};
    if (status->getActiveDevice() == info)
        state << QStringLiteral("active");
    if (const auto camera = info.objectCast<ICameraInfo>()) {
        if (status->isCameraGrabbing(camera))
            state << QStringLiteral("grabbing");
        if (status->isExclusive(camera))
            state << QStringLiteral("exclusive");
    }
    return state.join(QStringLiteral(", "));
}
