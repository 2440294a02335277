#pragma once

#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/itransportlayerinfo.h>

#include <QJsonObject>
#include <QSharedPointer>
#include <QTextStream>
#include <QVector>

// The transport layers, interfaces and cameras of the last enumeration with the state of each
// device, as a tree for people or as JSON for programs.
class CDeviceTree
{
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    CDeviceTree(QVector<TransportLayerInfoPtr> layers, QSharedPointer<Plugin::OptiRoster::ICameraStatusService> status);

    QVector<CameraInfoPtr> cameras() const;
    void print(QTextStream& out) const;
    QJsonObject toJson() const;

    // One device with its state; also what a watch prints for a device.
    static QJsonObject deviceJson(const DeviceBaseInfoPtr& info, Plugin::OptiRoster::ICameraStatusService* status);
    static QString stateText(const DeviceBaseInfoPtr& info, Plugin::OptiRoster::ICameraStatusService* status);
    // A GigE camera's address, empty for others.
    static QString ipAddress(const CameraInfoPtr& camera);

private:
    QVector<TransportLayerInfoPtr> m_layers;
    QSharedPointer<Plugin::OptiRoster::ICameraStatusService> m_ptrStatus;
};
