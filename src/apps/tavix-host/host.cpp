#include "host.h"

#include <tavix/backendcontrol.h>
#include <tavix/sim/simcontrol.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QMetaObject>
#include <QReadLocker>

CHost::CHost()
    : m_ptrRegistry(new Core::Plugin::CPluginInitializer)
    , m_ptrInfoService(new Core::Plugin::CPluginInfoService)
    , m_ptrParameterService(new Plugin::ParameterCollectionPool::CParameterService)
{
    m_ptrRegistry->registerService(m_ptrInfoService);
    m_ptrRegistry->registerService(m_ptrParameterService);
}

CHost::~CHost()
{
    stop();
    // Clients go before the roster whose objects they may still hold. Objects of a plug-in that
    // were handed to this thread for deletion go while its code is still loaded, before and
    // after the plug-in object itself.
    while (!m_plugins.empty()) {
        CLoadedPlugin& loaded = m_plugins.back();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        delete loaded.m_pPlugin;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (loaded.m_ptrLoader->isLoaded())
            loaded.m_ptrLoader->unload();
        m_plugins.pop_back();
    }
}

bool CHost::load(const QString& pluginPath)
{
    if (m_started) {
        m_errorString = QStringLiteral("plug-ins are loaded before the host starts");
        return false;
    }
    // A relative path names a file from the working folder; QPluginLoader would look for it in
    // Qt's plug-in folders instead.
    const QFileInfo file(pluginPath);
    auto loader = std::make_unique<QPluginLoader>(file.exists() ? file.absoluteFilePath() : pluginPath);
    if (loader->metaData().value(QStringLiteral("IID")).toString() != QLatin1String(TAVIX_CORE_PLUGIN_IID)) {
        m_errorString = QStringLiteral("'%1' is not a plug-in of this host").arg(pluginPath);
        return false;
    }
    auto* plugin = qobject_cast<Core::Plugin::IPlugin*>(loader->instance());
    if (!plugin) {
        m_errorString = loader->errorString();
        return false;
    }
    // The host owns the object from here on and deletes it before unloading the library.
    plugin->setParent(nullptr);
    m_plugins.push_back({std::move(loader), plugin});
    return true;
}

bool CHost::chooseCameraWorld(const QString& backends, const QString& scenarioFile, QString* error)
{
    if (!backends.isEmpty()) {
        std::string reason;
        if (!TavixBackends::setActiveBackends(backends.toStdString(), &reason)) {
            *error = QString::fromStdString(reason);
            return false;
        }
    }
    return scenarioFile.isEmpty() || TavixSim::loadScenarioFile(scenarioFile, error);
}

QString CHost::findPlugin(const QString& directory)
{
    const QDir dir(directory);
    for (const QFileInfo& file : dir.entryInfoList(QDir::Files, QDir::Name)) {
        if (!QLibrary::isLibrary(file.fileName()))
            continue;
        QPluginLoader probe(file.absoluteFilePath());
        if (probe.metaData().value(QStringLiteral("IID")).toString() == QLatin1String(TAVIX_CORE_PLUGIN_IID))
            return file.absoluteFilePath();
    }
    return {};
}

QJsonObject CHost::metaData() const
{
    return m_plugins.empty() ? QJsonObject() : m_plugins.front().m_ptrLoader->metaData();
}

Core::Plugin::IPlugin* CHost::plugin() const
{
    return m_plugins.empty() ? nullptr : m_plugins.front().m_pPlugin;
}

QVector<Core::Plugin::IPlugin*> CHost::plugins() const
{
    QVector<Core::Plugin::IPlugin*> plugins;
    for (const CLoadedPlugin& loaded : m_plugins)
        plugins.append(loaded.m_pPlugin);
    return plugins;
}

bool CHost::start()
{
    if (m_plugins.empty() || m_started)
        return false;
    for (const CLoadedPlugin& loaded : m_plugins) {
        if (!loaded.m_pPlugin->initialize(m_ptrRegistry))
            return false;
    }
    m_ptrRegistry->announceInitializationDone();
    m_started = true;
    for (const CLoadedPlugin& loaded : m_plugins)
        m_started = loaded.m_pPlugin->postInitialize() && m_started;
    return m_started;
}

bool CHost::stop()
{
    if (m_plugins.empty() || !m_started)
        return false;
    m_started = false;
    m_ptrInfoService->announceUninitialization();
    bool uninitialized = true;
    for (auto loaded = m_plugins.rbegin(); loaded != m_plugins.rend(); ++loaded)
        uninitialized = loaded->m_pPlugin->uninitialize(m_ptrRegistry) && uninitialized;
    return uninitialized;
}

QStringList CHost::serviceNames() const
{
    QList<QSharedPointer<Core::Service::IService>> services;
    {
        QReadLocker locker(m_ptrRegistry->getServicesLock());
        m_ptrRegistry->getServices(services);
    }
    QStringList names;
    for (const auto& service : qAsConst(services))
        names.append(QString::fromLatin1(service->metaObject()->className()));
    return names;
}

QStringList CHost::pluginObjectNames() const
{
    QStringList names;
    if (!plugin())
        return names;
    for (const QObject* child : plugin()->children())
        names.append(QString::fromLatin1(child->metaObject()->className()));
    return names;
}
