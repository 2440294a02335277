#pragma once

#include "bridgesettings.h"
#include "commandexecutor.h"

#include <core/plugin/iplugin.h>

#include <QSharedPointer>
#include <QWeakPointer>

#include <memory>

namespace MqttBridge {

class CRosterWatcher;
class CStationBridge;

// The bridge as a plug-in of the host: loaded after the roster (tavix-host --client ... serve,
// or the viewer), it reads its settings, finds the roster's services in the registry and keeps
// the station on the broker until the host shuts down. Bad settings or a roster without its
// services end it with finished(1) and the reason on standard error.
class CMqttBridgePlugin : public Core::Plugin::IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "tavixmqtt.json")
public:
    CMqttBridgePlugin();
    ~CMqttBridgePlugin() override;

    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;
    bool postInitialize() override;
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;

signals:
    // Sent only when the bridge can't run; a running bridge serves until the host stops.
    void finished(int status);

private:
    void fail(const QString& reason);
    void shutDown();

    QWeakPointer<Core::Plugin::IPluginInitializer> m_registry;
    CClientServices m_services;
    std::unique_ptr<CStationBridge> m_pBridge;
    std::unique_ptr<CRosterWatcher> m_pWatcher;
};

} // namespace MqttBridge
