#include "eventwatcher.h"

#include <QJsonDocument>

using Plugin::OptiRoster::ICameraEnumerationService;
using Plugin::OptiRoster::ICameraStatusService;
using Plugin::OptiRoster::IDeviceStatusService;

namespace {

constexpr qint64 StatisticPeriodMs = 1000;

} // namespace

CEventWatcher::CEventWatcher(CClientServices services, QTextStream& out, bool json, QObject* parent)
    : QObject(parent)
    , m_services(std::move(services))
    , m_out(out)
    , m_json(json)
{
    m_clock.start();
    connectDeviceEvents();
    connectCameraEvents();
    connect(m_services.enumeration.data(), &ICameraEnumerationService::enumerationChanged, this,
            [this] { print(QStringLiteral("enumerationChanged"), {}); });
    connect(&m_pollTimer, &QTimer::timeout, m_services.enumeration.data(), &ICameraEnumerationService::requestEnumeration);
}

void CEventWatcher::startPolling(int intervalMs)
{
    if (intervalMs > 0)
        m_pollTimer.start(intervalMs);
}

void CEventWatcher::connectDeviceEvents()
{
    ICameraStatusService* status = m_services.status.data();
    const auto relay = [this, status](auto signal, const char* name) {
        connect(status, signal, this, [this, name](const DeviceBaseInfoPtr& info) { print(QLatin1String(name), info); });
    };
    relay(&IDeviceStatusService::deviceOpening, "deviceOpening");
    relay(&IDeviceStatusService::deviceOpened, "deviceOpened");
    relay(&IDeviceStatusService::deviceClosing, "deviceClosing");
    relay(&IDeviceStatusService::deviceClosed, "deviceClosed");
    relay(&IDeviceStatusService::activeDeviceChanged, "activeDeviceChanged");
    relay(&ICameraStatusService::deviceConnected, "deviceConnected");
    relay(&ICameraStatusService::deviceDisconnected, "deviceDisconnected");
}

void CEventWatcher::connectCameraEvents()
{
    ICameraStatusService* status = m_services.status.data();
    const auto relay = [this, status](auto signal, const char* name) {
        connect(status, signal, this, [this, name](const CameraInfoPtr& info) { print(QLatin1String(name), info); });
    };
    relay(&ICameraStatusService::cameraGrabStarted, "cameraGrabStarted");
    relay(&ICameraStatusService::cameraGrabStopped, "cameraGrabStopped");
    relay(&ICameraStatusService::cameraImageGrabFailed, "cameraImageGrabFailed");
    relay(&ICameraStatusService::cameraDetached, "cameraDetached");
    relay(&ICameraStatusService::cameraAttached, "cameraAttached");
    relay(&ICameraStatusService::cameraConnectionLost, "cameraConnectionLost");
    connect(status, &ICameraStatusService::cameraStatisticUpdated, this,
            [this](const CameraInfoPtr& info, int grabbed, int failed, double fps, uint64_t bps) {
                onStatistic(info, grabbed, failed, fps, bps);
            });
}

void CEventWatcher::onStatistic(const CameraInfoPtr& info, int grabbed, int failed, double fps, uint64_t bps)
{
    const qint64 now = m_clock.elapsed();
    const auto last = m_lastStatistic.constFind(info);
    if (last != m_lastStatistic.constEnd() && now - last.value() < StatisticPeriodMs)
        return;
    m_lastStatistic.insert(info, now);
    print(QStringLiteral("cameraStatisticUpdated"), info,
          QJsonObject{{QStringLiteral("grabbed"), grabbed}, {QStringLiteral("failed"), failed},
                      {QStringLiteral("fps"), qRound(fps * 10) / 10.0}, {QStringLiteral("bps"), double(bps)}});
}

void CEventWatcher::print(const QString& event, const DeviceBaseInfoPtr& info, const QJsonObject& details)
{
    const double seconds = m_clock.elapsed() / 1000.0;
    if (m_json) {
        QJsonObject line = details;
        line.insert(QStringLiteral("time"), seconds);
        line.insert(QStringLiteral("event"), event);
        if (info) {
            line.insert(QStringLiteral("device"), info->getDisplayName());
            line.insert(QStringLiteral("fullName"), info->getFullName());
        }
        m_out << QJsonDocument(line).toJson(QJsonDocument::Compact) << '\n';
    } else {
        m_out << QStringLiteral("%1  ").arg(seconds, 8, 'f', 3) << event;
        if (info)
            m_out << QString(qMax(1, 24 - event.size()), QLatin1Char(' ')) << info->getDisplayName();
        if (!details.isEmpty())
            m_out << "  " << describe(details);
        m_out << '\n';
    }
    m_out.flush(); // a pipe into another program sees each event as it happens
}

QString CEventWatcher::describe(const QJsonObject& details) const
{
    QStringList parts;
    for (auto it = details.begin(); it != details.end(); ++it)
        parts << QStringLiteral("%1=%2").arg(it.key(), it.value().toVariant().toString());
    return parts.join(QLatin1Char(' '));
}
