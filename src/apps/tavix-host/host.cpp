#include "host.h"

#include "pluginfile.h"

#include <tavix/backendcontrol.h>
#include <tavix/sim/simcontrol.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QMetaObject>
#include <QPluginLoader>
#include <QReadLocker>
#include <QRegularExpression>

#include <dlfcn.h>

#include <algorithm>
#include <vector>

using Core::Service::IService;
using ServiceList = QList<QSharedPointer<IService>>;

namespace {

// The plug-ins that the host itself stands for: a plug-in may name them among its dependencies.
QVector<CPluginFile> hostComponents()
{
    const QVersionNumber version = QVersionNumber::fromString(QStringLiteral(TAVIX_FRAMEWORK_VERSION));
    CPluginFile appCore;
    appCore.name = QStringLiteral("AppCore");
    appCore.version = appCore.compatVersion = version;
    CPluginFile parameterPool = appCore;
    parameterPool.name = QStringLiteral("ParameterCollectionPool");
    return {appCore, parameterPool};
}

// The name of the interface a service is found by: the nearest of its classes whose own name is
// that of an interface ("I" and a capital), as a client would name it.
QString interfaceName(const QObject* service)
{
    static const QRegularExpression interfacePattern(QStringLiteral("^I[A-Z]"));
    for (const QMetaObject* meta = service->metaObject(); meta; meta = meta->superClass()) {
        const QString name = QString::fromLatin1(meta->className()).section(QStringLiteral("::"), -1);
        if (interfacePattern.match(name).hasMatch())
            return name;
    }
    return QString::fromLatin1(service->metaObject()->className());
}

// Whether the dynamic loader still has the library mapped, its static objects alive: a module
// that can't be unloaded stays until the process ends.
bool staysInMemory(const QString& path)
{
    void* handle = ::dlopen(QFile::encodeName(path).constData(), RTLD_LAZY | RTLD_NOLOAD);
    if (!handle)
        return false;
    ::dlclose(handle);
    return true;
}

// Services that were held past their plug-in's unload: one reference each, never let go, so
// that the last release never runs in a module that is gone or after the SDK has ended.
ServiceList& keptForGood()
{
    static auto* services = new ServiceList;
    return *services;
}

} // namespace

struct CLoadedPlugin
{
    CPluginFile file;
    std::unique_ptr<QPluginLoader> loader;
    Core::Plugin::IPlugin* object = nullptr;
    QVector<QWeakPointer<IService>> services; // those it registered
};

class CHostPrivate
{
public:
    ServiceList registeredServices() const;
    // Remembers the services that the registry has gained since before.
    void recordRegistrations(CLoadedPlugin& loaded, const ServiceList& before) const;
    QString unmetDependency(const CPluginFile& file) const;
    const CPluginFile* provider(const QString& name) const;
    void deletePluginObjects();
    void unloadModules();
    QStringList heldServiceNames(const CLoadedPlugin& owner) const;

    QSharedPointer<Core::Plugin::CPluginInitializer> registry{new Core::Plugin::CPluginInitializer};
    QSharedPointer<Core::Plugin::CPluginInfoService> infoService{new Core::Plugin::CPluginInfoService};
    QSharedPointer<Plugin::ParameterCollectionPool::CParameterService> parameterService{
        new Plugin::ParameterCollectionPool::CParameterService};
    std::vector<CLoadedPlugin> plugins;
    const QVector<CPluginFile> components = hostComponents();
    QString pluginFolder;
    bool started = false;
    bool unloaded = false;
    QString errorString;
    QStringList held;
};

ServiceList CHostPrivate::registeredServices() const
{
    ServiceList services;
    QReadLocker locker(registry->getServicesLock());
    registry->getServices(services);
    return services;
}

void CHostPrivate::recordRegistrations(CLoadedPlugin& loaded, const ServiceList& before) const
{
    for (const QSharedPointer<IService>& service : registeredServices()) {
        if (!before.contains(service))
            loaded.services.append(service);
    }
}

const CPluginFile* CHostPrivate::provider(const QString& name) const
{
    for (const CPluginFile& component : components) {
        if (component.name == name)
            return &component;
    }
    for (const CLoadedPlugin& loaded : plugins) {
        if (loaded.file.name == name)
            return &loaded.file;
    }
    return nullptr;
}

QString CHostPrivate::unmetDependency(const CPluginFile& file) const
{
    for (const CPluginFile::CDependency& dependency : file.dependencies) {
        const CPluginFile* found = provider(dependency.name);
        const QString wanted = QStringLiteral("%1 %2").arg(dependency.name, dependency.version.toString());
        if (!found) {
            return QStringLiteral("'%1' (%2) needs the plug-in %3, which is not loaded; load it before")
                .arg(file.given, file.title(), wanted);
        }
        if (!found->provides(dependency.version)) {
            return QStringLiteral("'%1' (%2) needs the plug-in %3; the loaded one is %4, which stands in for versions %5 to %6")
                .arg(file.given, file.title(), wanted, found->title(), found->compatVersion.toString(), found->version.toString());
        }
    }
    return {};
}

// Clients first, as they may hold the objects of those loaded before them. Objects of a plug-in
// that were handed to this thread for deletion go while every module is still loaded.
void CHostPrivate::deletePluginObjects()
{
    for (auto loaded = plugins.rbegin(); loaded != plugins.rend(); ++loaded) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        delete loaded->object;
        loaded->object = nullptr;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

QStringList CHostPrivate::heldServiceNames(const CLoadedPlugin& owner) const
{
    QStringList names;
    for (const QWeakPointer<IService>& service : owner.services) {
        if (const QSharedPointer<IService> alive = service.toStrongRef())
            names << interfaceName(alive.data());
    }
    return names;
}

// Modules go clients first. Once every plug-in object is gone, a plug-in's service that is
// still alive is held by someone else: by a global of a client's module, which lets go when
// that module unloads, or by somebody the host can't name. The module of a plug-in whose
// service is still held when its turn comes stays loaded, and the service alive.
void CHostPrivate::unloadModules()
{
    QStringList residents; // clients whose modules stayed in memory when they were unloaded
    for (int index = int(plugins.size()) - 1; index >= 0; --index) {
        CLoadedPlugin& loaded = plugins[size_t(index)];
        const QStringList stillHeld = heldServiceNames(loaded);
        if (!stillHeld.isEmpty()) {
            const QString candidates = residents.isEmpty()
                ? QStringLiteral("an object that was never deleted, or the program itself")
                : QStringLiteral("a global or static object of a module that stays in memory (%1), an object that was never "
                                 "deleted, or the program itself")
                      .arg(residents.join(QStringLiteral(", ")));
            held << QStringLiteral("%1's %2 %3 still held after every plug-in object was deleted and the clients' modules "
                                   "unloaded, by %4. %1 stays loaded, and its services alive, until the process ends.")
                        .arg(loaded.file.name, stillHeld.join(QStringLiteral(", ")),
                             stillHeld.size() == 1 ? QStringLiteral("is") : QStringLiteral("are"), candidates);
            for (const QWeakPointer<IService>& service : qAsConst(loaded.services)) {
                if (const QSharedPointer<IService> alive = service.toStrongRef())
                    keptForGood().append(alive);
            }
            // A loader that goes without unload() leaves its module in memory.
            plugins.pop_back();
            continue;
        }
        // Which services of the plug-ins before it this module's own objects let go of as it unloads.
        std::vector<std::pair<size_t, QStringList>> before;
        for (size_t owner = 0; owner < size_t(index); ++owner)
            before.emplace_back(owner, heldServiceNames(plugins[owner]));
        if (loaded.loader->isLoaded())
            loaded.loader->unload();
        if (staysInMemory(loaded.file.path))
            residents.prepend(loaded.file.name);
        for (const auto& [owner, names] : before) {
            QStringList released = names;
            for (const QString& name : heldServiceNames(plugins[owner]))
                released.removeOne(name);
            if (!released.isEmpty()) {
                held << QStringLiteral("%1 held %2's %3 in a global or static object until its module was unloaded; a plug-in "
                                       "lets go of other plug-ins' services in uninitialize().")
                            .arg(loaded.file.name, plugins[owner].file.name, released.join(QStringLiteral(", ")));
            }
        }
        plugins.pop_back();
    }
}

CHost::CHost()
    : d(std::make_unique<CHostPrivate>())
{
    d->registry->registerService(d->infoService);
    d->registry->registerService(d->parameterService);
}

CHost::~CHost()
{
    const bool unloaded = d->unloaded;
    if (!unloaded && !unload()) {
        for (const QString& line : qAsConst(d->held))
            qWarning("%s", qPrintable(line));
    }
}

void CHost::setPluginFolder(const QString& folder)
{
    d->pluginFolder = folder.isEmpty() ? QString() : QDir::cleanPath(folder);
}

bool CHost::load(const QString& pluginPath)
{
    if (d->started || d->unloaded) {
        d->errorString = QStringLiteral("plug-ins are loaded before the host starts");
        return false;
    }
    CPluginFile file;
    file.given = pluginPath;
    if (!CPluginFile::locate(pluginPath, d->pluginFolder, &file.path, &d->errorString)
        || !CPluginFile::inspect(&file, &d->errorString)) {
        return false;
    }
    if (const CPluginFile* same = d->provider(file.name)) {
        d->errorString = QStringLiteral("'%1' is the plug-in %2, which is loaded already%3")
                             .arg(file.given, file.name,
                                  same->path.isEmpty() ? QStringLiteral(" (the host provides it)")
                                                       : QStringLiteral(" from '%1'").arg(same->path));
        return false;
    }
    d->errorString = d->unmetDependency(file);
    if (!d->errorString.isEmpty())
        return false;
    auto loader = std::make_unique<QPluginLoader>(file.path);
    QObject* instance = loader->instance();
    auto* plugin = qobject_cast<Core::Plugin::IPlugin*>(instance);
    if (!plugin) {
        d->errorString = instance ? QStringLiteral("'%1' has the metadata of a plug-in of this host, but its object is no "
                                                   "Core::Plugin::IPlugin")
                                        .arg(file.given)
                                  : file.loadFailure(loader->errorString());
        return false;
    }
    // The host owns the object from here on and deletes it before unloading the library.
    plugin->setParent(nullptr);
    d->plugins.push_back({file, std::move(loader), plugin, {}});
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
    return d->plugins.empty() || !d->plugins.front().loader ? QJsonObject() : d->plugins.front().loader->metaData();
}

Core::Plugin::IPlugin* CHost::plugin() const
{
    return d->plugins.empty() ? nullptr : d->plugins.front().object;
}

QVector<Core::Plugin::IPlugin*> CHost::plugins() const
{
    QVector<Core::Plugin::IPlugin*> plugins;
    for (const CLoadedPlugin& loaded : d->plugins)
        plugins.append(loaded.object);
    return plugins;
}

const QSharedPointer<Core::Plugin::CPluginInitializer>& CHost::registry() const
{
    return d->registry;
}

QString CHost::errorString() const
{
    return d->errorString;
}

bool CHost::start()
{
    if (d->plugins.empty() || d->started || d->unloaded)
        return false;
    for (CLoadedPlugin& loaded : d->plugins) {
        const ServiceList before = d->registeredServices();
        const bool initialized = loaded.object->initialize(d->registry);
        d->recordRegistrations(loaded, before);
        if (!initialized)
            return false;
    }
    d->registry->announceInitializationDone();
    d->started = true;
    for (CLoadedPlugin& loaded : d->plugins) {
        const ServiceList before = d->registeredServices();
        d->started = loaded.object->postInitialize() && d->started;
        d->recordRegistrations(loaded, before);
    }
    return d->started;
}

bool CHost::stop()
{
    if (d->plugins.empty() || !d->started)
        return false;
    d->started = false;
    d->infoService->announceUninitialization();
    bool uninitialized = true;
    for (auto loaded = d->plugins.rbegin(); loaded != d->plugins.rend(); ++loaded)
        uninitialized = loaded->object->uninitialize(d->registry) && uninitialized;
    return uninitialized;
}

bool CHost::unload()
{
    if (d->unloaded)
        return d->held.isEmpty();
    stop();
    d->unloaded = true;
    // The registry goes with the host: what the plug-ins left in it (the roster's notifier) leaves now.
    for (const CLoadedPlugin& loaded : d->plugins) {
        for (const QWeakPointer<IService>& service : loaded.services) {
            if (const QSharedPointer<IService> alive = service.toStrongRef())
                d->registry->unregisterService(alive);
        }
    }
    d->deletePluginObjects();
    d->unloadModules();
    return d->held.isEmpty();
}

QStringList CHost::heldServices() const
{
    return d->held;
}

QStringList CHost::serviceNames() const
{
    QStringList names;
    for (const auto& service : d->registeredServices())
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
