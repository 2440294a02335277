// A client plug-in that makes a mistake on purpose: it keeps the roster's enumeration service in
// a global past its uninitialize(), until the process ends. Its module is linked so that it
// can't be unloaded (-z nodelete), as a module with unique symbols can't be, so that the global
// lets go only at the process's exit, long after the roster has gone.
#include <core/plugin/iplugin.h>
#include <core/plugin/servicelookup.h>
#include <plugins/optiroster/icameraenumerationservice.h>

#include <QMetaObject>

namespace {
QSharedPointer<Plugin::OptiRoster::ICameraEnumerationService> g_kept;
}

class CKeepingClient : public Core::Plugin::IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "keepingclient.json")
public:
    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer> registry) override
    {
        m_registry = registry;
        return true;
    }
    bool postInitialize() override
    {
        g_kept = Core::Plugin::findService<Plugin::OptiRoster::ICameraEnumerationService>(m_registry.toStrongRef());
        const int status = g_kept ? 0 : 1;
        QMetaObject::invokeMethod(this, [this, status] { emit finished(status); }, Qt::QueuedConnection);
        return true;
    }
    // The mistake: g_kept stays.
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override { return true; }

signals:
    void finished(int status);

private:
    QWeakPointer<Core::Plugin::IPluginInitializer> m_registry;
};

#include "keepingclient.moc"
