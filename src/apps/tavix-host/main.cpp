#include "host.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>

namespace {

QString defaultPluginDirectory()
{
    return QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(QStringLiteral("../plugins"));
}

void printMetaData(QTextStream& out, const QJsonObject& metaData)
{
    const QJsonObject plugin = metaData.value(QStringLiteral("MetaData")).toObject();
    out << "Plug-in " << metaData.value(QStringLiteral("className")).toString() << '\n';
    out << "  IID:            " << metaData.value(QStringLiteral("IID")).toString() << '\n';
    for (const char* key : {"Name", "Version", "CompatVersion", "Description"})
        out << "  " << QString::fromLatin1(key).leftJustified(15) << ' ' << plugin.value(QLatin1String(key)).toString() << '\n';
    out << "  Required:       " << (plugin.value(QStringLiteral("Required")).toBool() ? "true" : "false") << '\n';
    out << "  Dependencies:  ";
    for (const QJsonValue& dependency : plugin.value(QStringLiteral("Dependencies")).toArray()) {
        const QJsonObject d = dependency.toObject();
        out << ' ' << d.value(QStringLiteral("Name")).toString() << ' ' << d.value(QStringLiteral("Version")).toString();
    }
    out << '\n';
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Tavix"));
    QCoreApplication::setApplicationName(QStringLiteral("TavixViewer"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Loads the camera roster plug-in and runs its life cycle."));
    parser.addHelpOption();
    const QCommandLineOption pluginOption(QStringLiteral("plugin"), QStringLiteral("The plug-in file to load."),
                                          QStringLiteral("file"));
    const QCommandLineOption pluginDirOption(QStringLiteral("plugin-dir"),
                                             QStringLiteral("The folder to search for the plug-in."),
                                             QStringLiteral("folder"), defaultPluginDirectory());
    parser.addOption(pluginOption);
    parser.addOption(pluginDirOption);
    parser.process(app);

    QTextStream out(stdout);
    QTextStream err(stderr);
    const QString pluginPath = parser.isSet(pluginOption) ? parser.value(pluginOption)
                                                          : CHost::findPlugin(parser.value(pluginDirOption));
    if (pluginPath.isEmpty()) {
        err << "No plug-in found in " << parser.value(pluginDirOption) << '\n';
        return 1;
    }

    CHost host;
    if (!host.load(pluginPath)) {
        err << "Could not load the plug-in: " << host.errorString() << '\n';
        return 1;
    }
    printMetaData(out, host.metaData());
    if (!host.start()) {
        err << "The plug-in failed to initialise.\n";
        return 1;
    }
    out << "Objects of the plug-in:\n";
    for (const QString& name : host.pluginObjectNames())
        out << "  " << name << '\n';
    out << "Services in the registry:\n";
    for (const QString& name : host.serviceNames())
        out << "  " << name << '\n';
    out.flush();
    host.stop();
    out << "Plug-in uninitialised.\n";
    return 0;
}
