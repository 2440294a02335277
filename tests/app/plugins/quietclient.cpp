// A client plug-in that does nothing and ends the host's serve at once, with status 0: what the
// tests of loading need of a client that loads.
#include <core/plugin/iplugin.h>

#include <QMetaObject>

class CQuietClient : public Core::Plugin::IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "quietclient.json")
public:
    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override { return true; }
    bool postInitialize() override
    {
        QMetaObject::invokeMethod(this, [this] { emit finished(0); }, Qt::QueuedConnection);
        return true;
    }
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override { return true; }

signals:
    void finished(int status);
};

#include "quietclient.moc"
