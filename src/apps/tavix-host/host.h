#pragma once

#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/cplugininitializer.h>
#include <core/plugin/iplugin.h>
#include <core/plugin/iplugininfoservice.h>

#include <QJsonObject>
#include <QPluginLoader>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>
#include <vector>

// The host's side of a plug-in's life: it owns the registry and the host's own services,
// loads the plug-ins and drives initialize, initializationDone, postInitialize, and at the
// end aboutToUninitialize, uninitialize and unload. The first plug-in loaded is the roster;
// client plug-ins follow it in, and leave before it, in the reverse order.
class CHost
{
public:
    CHost();
    ~CHost();

    // Loads a plug-in from a file, after those loaded before; returns false and sets
    // errorString() on failure. Only before start().
    bool load(const QString& pluginPath);
    // The first file in the folder that is a plug-in of this host.
    static QString findPlugin(const QString& directory);
    // The camera worlds (a comma-separated list of backends) and the simulated world's scenario
    // file, either empty for the default; before the first plug-in loads. False with the reason.
    static bool chooseCameraWorld(const QString& backends, const QString& scenarioFile, QString* error);

    // The first plug-in's.
    QJsonObject metaData() const;
    Core::Plugin::IPlugin* plugin() const;
    // Every plug-in, in the order of loading.
    QVector<Core::Plugin::IPlugin*> plugins() const;
    const QSharedPointer<Core::Plugin::CPluginInitializer>& registry() const { return m_ptrRegistry; }
    QString errorString() const { return m_errorString; }

    bool start();
    bool stop();

    QStringList serviceNames() const;
    // The class names of the objects that the plug-in owns.
    QStringList pluginObjectNames() const;

private:
    QSharedPointer<Core::Plugin::CPluginInitializer> m_ptrRegistry;
    QSharedPointer<Core::Plugin::CPluginInfoService> m_ptrInfoService;
    QSharedPointer<Plugin::ParameterCollectionPool::CParameterService> m_ptrParameterService;
    struct CLoadedPlugin
    {
        std::unique_ptr<QPluginLoader> m_ptrLoader;
        Core::Plugin::IPlugin* m_pPlugin = nullptr;
    };
    std::vector<CLoadedPlugin> m_plugins;
    bool m_started = false;
    QString m_errorString;
};
