// A client plug-in built for a roster that is newer than the one it meets: the host refuses to
// load it, and says which version it needs.
#include <core/plugin/iplugin.h>

class CNewerRosterClient : public Core::Plugin::IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "newerrosterclient.json")
public:
    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override { return true; }
    bool postInitialize() override { return true; }
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override { return true; }
};

#include "newerrosterclient.moc"
