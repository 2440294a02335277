#include "mqttbridgeplugin.h"

#include "rosterwatcher.h"
#include "stationbridge.h"

#include <core/plugin/iplugininfoservice.h>
#include <core/plugin/servicelookup.h>

#include <QMetaObject>
#include <QSettings>
#include <QTextStream>

namespace MqttBridge {

namespace {
void say(const QString& text)
{
    QTextStream(stderr) << "MQTT bridge: " << text << Qt::endl;
}
} // namespace

CMqttBridgePlugin::CMqttBridgePlugin() = default;

CMqttBridgePlugin::~CMqttBridgePlugin()
{
    shutDown();
}

bool CMqttBridgePlugin::initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    m_registry = initializer;
    return true;
}

bool CMqttBridgePlugin::postInitialize()
{
    QSettings settings;
    const CBridgeSettings bridgeSettings = CBridgeSettings::load(settings, QProcessEnvironment::systemEnvironment());
    const QString problem = bridgeSettings.problem();
    if (!problem.isEmpty()) {
        fail(problem);
        return true;
    }
    m_services = CClientServices::find(m_registry.toStrongRef());
    const QStringList missing = m_services.missing();
    if (!missing.isEmpty()) {
        fail(QStringLiteral("the roster registered no %1.").arg(missing.join(QStringLiteral(", "))));
        return true;
    }
    if (const auto hostInfo = Core::Plugin::findService<Core::Plugin::IPluginInfoService>(m_registry.toStrongRef()))
        connect(hostInfo.data(), &Core::Plugin::IPluginInfoService::aboutToUninitialize, this, &CMqttBridgePlugin::shutDown);

    m_pBridge = std::make_unique<CStationBridge>(bridgeSettings);
    connect(m_pBridge.get(), &CStationBridge::connectionChanged, this, [](bool, const QString& reason) { say(reason); });
    m_pWatcher = std::make_unique<CRosterWatcher>(m_services, m_pBridge.get(), bridgeSettings.statisticsIntervalMs,
                                                  bridgeSettings.enumerationIntervalMs);
    m_pWatcher->start();
    m_pBridge->start();
    say(QStringLiteral("station %1 connects to %2%3.")
            .arg(bridgeSettings.station, bridgeSettings.serverUri(),
                 bridgeSettings.commandsEnabled
                     ? QStringLiteral(" and takes the commands %1").arg(bridgeSettings.allowedCommands.join(QStringLiteral(", ")))
                     : QStringLiteral(" and takes no commands")));
    return true;
}

void CMqttBridgePlugin::fail(const QString& reason)
{
    say(reason);
    // Queued, so that the host hears it even during postInitialize.
    QMetaObject::invokeMethod(this, [this] { emit finished(1); }, Qt::QueuedConnection);
}

// Before the roster's services go: the station says it is offline and lets go of them.
void CMqttBridgePlugin::shutDown()
{
    if (m_pWatcher)
        m_pWatcher->stop();
    if (m_pBridge)
        m_pBridge->stop();
    m_pWatcher.reset();
    m_pBridge.reset();
}

bool CMqttBridgePlugin::uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer>)
{
    shutDown();
    m_services = CClientServices{};
    return true;
}

} // namespace MqttBridge
