#pragma once

#include "hostedplugin.h"
#include "mqttprobe.h"
#include "testbroker.h"

#include <rosterwatcher.h>
#include <stationbridge.h>

#include <tavix/sim/simcontrol.h>

#include <QUuid>

#include <memory>

// A station in the test's process: the roster loaded as the host loads it, and the bridge on it,
// connected to the test's broker.
struct CTestStation
{
    CHostedPlugin host;
    MqttBridge::CBridgeSettings settings;
    std::unique_ptr<MqttBridge::CStationBridge> bridge;
    std::unique_ptr<MqttBridge::CRosterWatcher> watcher;

    // A station name of its own for each test, so that other runs and brokers don't mix in.
    static QString uniqueStation(const QString& stem)
    {
        return stem + QLatin1Char('-') + QUuid::createUuid().toString(QUuid::Id128).left(8);
    }

    static MqttBridge::CBridgeSettings settingsFor(const CTestBroker& broker, const QString& stem)
    {
        MqttBridge::CBridgeSettings settings;
        settings.host = QStringLiteral("127.0.0.1");
        settings.port = broker.port();
        settings.station = uniqueStation(stem);
        settings.statisticsIntervalMs = 200;
        settings.enumerationIntervalMs = 100;
        return settings;
    }

    bool start(const MqttBridge::CBridgeSettings& bridgeSettings)
    {
        settings = bridgeSettings;
        if (!host.start())
            return false;
        bridge = std::make_unique<MqttBridge::CStationBridge>(settings);
        bridge->connection().setRetryDelays(200, 1000);
        watcher = std::make_unique<MqttBridge::CRosterWatcher>(CClientServices::find(host.registry), bridge.get(),
                                                               settings.statisticsIntervalMs, settings.enumerationIntervalMs);
        watcher->start();
        bridge->start();
        host.enumeration->requestEnumeration();
        return true;
    }

    MqttBridge::CStationTopics topics() const { return MqttBridge::CStationTopics(settings.station); }

    Core::OptiRosterComponents::CameraInfoPtr camera(const QString& serial) const
    {
        for (const auto& layer : host.enumeration->getTransportLayers()) {
            for (const auto& info : layer->getCameraInfoList()) {
                if (info->getSerialNumber() == serial)
                    return info;
            }
        }
        return {};
    }

    void stop()
    {
        if (watcher)
            watcher->stop();
        if (bridge)
            bridge->stop();
        watcher.reset();
        bridge.reset();
        if (host.plugin)
            host.stop();
    }

    ~CTestStation() { stop(); }
};
