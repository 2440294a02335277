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

class CHostPrivate;

/// The host's side of a plug-in's life, as tavix-host and tavix-viewer run it, and as a test of
/// a plug-in runs it in its own process: it owns the registry and the host's own services, loads
/// the plug-ins and drives initialize(), initializationDone(), postInitialize(), and at the end
/// aboutToUninitialize(), uninitialize(), the deletion of the plug-in objects and the unloading
/// of their modules. The first plug-in loaded is normally the camera roster; client plug-ins
/// follow it in, and leave before it, in the reverse order. Use it on the main thread.
///
/// A plug-in that still holds another's service after uninitialize() is found when the host
/// unloads: the host names the service and who held it, and keeps the module whose code the
/// service runs loaded, and the service alive, for the rest of the process, rather than let a
/// late release run code that is gone.
class CHost
{
public:
    /// A host with its registry, its IPluginInfoService and its IParameterService.
    CHost();
    /// Stops and unloads, if that has not been done.
    ~CHost();
    CHost(const CHost&) = delete;
    CHost& operator=(const CHost&) = delete;

    /// The folder in which load() looks for a bare file name that is not in the current folder.
    void setPluginFolder(const QString& folder);
    /// Loads a plug-in from a file, after those loaded before; only before start(). A name with a
    /// slash is a path (relative to the current folder); a bare name is looked for in the current
    /// folder, then in the plug-in folder. The plug-ins that the file's metadata names under
    /// "Dependencies" must be loaded already, or be the host's own (AppCore and
    /// ParameterCollectionPool), in a version that the loaded one stands in for. Returns false
    /// and sets errorString() when the file is missing, is no library, is a library without
    /// plug-in metadata, is a plug-in of another host, lacks a library it needs, or lacks a
    /// plug-in it depends on.
    bool load(const QString& pluginPath);
    /// The first file in the folder that is a plug-in of this host, by name; empty when none is.
    static QString findPlugin(const QString& directory);
    /// Chooses the camera worlds (a comma-separated list of backends: sim, aravis) and the
    /// simulated world's scenario file, either empty for the default; before the first plug-in
    /// loads. False with the reason in error.
    static bool chooseCameraWorld(const QString& backends, const QString& scenarioFile, QString* error);

    /// The metadata of the first plug-in, as Qt's plug-in loader gives it.
    QJsonObject metaData() const;
    /// The first plug-in's object; null before load().
    Core::Plugin::IPlugin* plugin() const;
    /// Every plug-in object, in the order of loading.
    QVector<Core::Plugin::IPlugin*> plugins() const;
    /// The registry that the plug-ins get.
    const QSharedPointer<Core::Plugin::CPluginInitializer>& registry() const;
    /// Why the last load() failed.
    QString errorString() const;

    /// initialize() on each plug-in in the order of loading, initializationDone(), then
    /// postInitialize() on each. False when a plug-in fails or nothing is loaded.
    bool start();
    /// aboutToUninitialize(), then uninitialize() on each plug-in, in the reverse order. False
    /// when a plug-in fails or the host hasn't started; once only.
    bool stop();
    /// Stops if need be, deletes the plug-in objects (clients first), then unloads their
    /// modules. False when a service of a plug-in was still held by someone after that
    /// plug-in's object was deleted: heldServices() tells which and by whom. Once only; the
    /// destructor calls it.
    bool unload();
    /// One line for each service that was still held at unload(), saying by whom and what the
    /// host did about it; empty when every plug-in let go in time.
    QStringList heldServices() const;

    /// The class names of the services in the registry, in the order of registration.
    QStringList serviceNames() const;
    /// The class names of the objects that the first plug-in owns.
    QStringList pluginObjectNames() const;

private:
    std::unique_ptr<CHostPrivate> d;
};
