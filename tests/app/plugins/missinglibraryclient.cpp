// A client plug-in that needs a library the dynamic loader can't find: the test builds that
// library where the module doesn't look.
#include <core/plugin/iplugin.h>

int vanishedAnswer();

class CMissingLibraryClient : public Core::Plugin::IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "missinglibraryclient.json")
public:
    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override { return vanishedAnswer() == 42; }
    bool postInitialize() override { return true; }
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override { return true; }
};

#include "missinglibraryclient.moc"
