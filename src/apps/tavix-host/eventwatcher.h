#pragma once

#include "clientservices.h"

#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QTextStream>
#include <QTimer>

// Prints one line for each event of the status and enumeration services: text for people,
// or JSON Lines. Statistics come with every image; they are printed once a second per camera.
class CEventWatcher : public QObject
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    CEventWatcher(CClientServices services, QTextStream& out, bool json, QObject* parent = nullptr);

    // Asks for an enumeration pass at this pace, so that plugged and unplugged devices show.
    void startPolling(int intervalMs);

private:
    void connectDeviceEvents();
    void connectCameraEvents();
    void onStatistic(const CameraInfoPtr& info, int grabbed, int failed, double fps, uint64_t bps);
    void print(const QString& event, const DeviceBaseInfoPtr& info, const QJsonObject& details = {});
    QString describe(const QJsonObject& details) const;

    CClientServices m_services;
    QTextStream& m_out;
    const bool m_json;
    QElapsedTimer m_clock;
    QTimer m_pollTimer;
    QHash<DeviceBaseInfoPtr, qint64> m_lastStatistic;
};
