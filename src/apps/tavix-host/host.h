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

// The host's side of a plug-in's life: it owns the registry and the host's own services,
// loads one plug-in and drives initialize, initializationDone, postInitialize, and at the
// end aboutToUninitialize, uninitialize and unload.
class CHost
{
public:
    CHost();
    ~CHost();

    // Loads the plug-in from a file; returns false and sets errorString() on failure.
    bool load(const QString& pluginPath);
    // The first file in the folder that is a plug-in of this host.
    static QString findPlugin(const QString& directory);

    QJsonObject metaData() const;
    Core::Plugin::IPlugin* plugin() const { return m_pPlugin; }
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
    QPluginLoader m_loader;
    Core::Plugin::IPlugin* m_pPlugin = nullptr;
    bool m_started = false;
    QString m_errorString;
};
