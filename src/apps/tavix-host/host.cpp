#include "host.h"

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
    // Objects of the plug-in that were handed to this thread for deletion go while its code is
    // still loaded, before and after the plug-in object itself.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete m_pPlugin;
    m_pPlugin = nullptr;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (m_loader.isLoaded())
        m_loader.unload();
}

bool CHost::load(const QString& pluginPath)
{
    m_loader.setFileName(pluginPath);
    if (m_loader.metaData().value(QStringLiteral("IID")).toString()
        != QLatin1String(TAVIX_CORE_PLUGIN_IID)) {
        m_errorString = QStringLiteral("'%1' is not a plug-in of this host").arg(pluginPath);
        return false;
    }
    m_pPlugin = qobject_cast<Core::Plugin::IPlugin*>(m_loader.instance());
    if (!m_pPlugin) {
        m_errorString = m_loader.errorString();
        return false;
    }
    // The host owns the object from here on and deletes it before unloading the library.
    m_pPlugin->setParent(nullptr);
    return true;
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
    return m_loader.metaData();
}

bool CHost::start()
{
    if (!m_pPlugin || m_started)
        return false;
    if (!m_pPlugin->initialize(m_ptrRegistry))
        return false;
    m_ptrRegistry->announceInitializationDone();
    m_started = m_pPlugin->postInitialize();
    return m_started;
}

bool CHost::stop()
{
    if (!m_pPlugin || !m_started)
        return false;
    m_started = false;
    m_ptrInfoService->announceUninitialization();
    return m_pPlugin->uninitialize(m_ptrRegistry);
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
    if (!m_pPlugin)
        return names;
    for (const QObject* child : m_pPlugin->children())
        names.append(QString::fromLatin1(child->metaObject()->className()));
    return names;
}
