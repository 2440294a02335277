// A Qt plug-in of another host: its interface id is not the Tavix host's.
#include <QObject>

class COtherHostPlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.example.OtherHost/1.0" FILE "otherhostplugin.json")
};

#include "otherhostplugin.moc"
