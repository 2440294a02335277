#include "pluginfile.h"

#include <core/plugin/iplugin.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QPluginLoader>
#include <QRegularExpression>

namespace {

bool isElfFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(4) == QByteArray("\x7f" "ELF", 4);
}

QVersionNumber versionOf(const QJsonObject& metaData, const char* key, const QVersionNumber& otherwise)
{
    const QVersionNumber version = QVersionNumber::fromString(metaData.value(QLatin1String(key)).toString());
    return version.isNull() ? otherwise : version;
}

} // namespace

bool CPluginFile::locate(const QString& given, const QString& pluginFolder, QString* path, QString* error)
{
    if (given.isEmpty()) {
        *error = QStringLiteral("no plug-in file was named");
        return false;
    }
    if (given.contains(QLatin1Char('/'))) {
        const QFileInfo file(given);
        if (!file.isFile()) {
            *error = file.exists() ? QStringLiteral("'%1' is a folder, not a plug-in file").arg(given)
                                   : QStringLiteral("'%1' does not exist").arg(given);
            return false;
        }
        *path = file.absoluteFilePath();
        return true;
    }
    for (const QString& folder : {QDir::currentPath(), pluginFolder}) {
        const QFileInfo file(QDir(folder), given);
        if (!folder.isEmpty() && file.isFile()) {
            *path = file.absoluteFilePath();
            return true;
        }
    }
    *error = pluginFolder.isEmpty() ? QStringLiteral("'%1' is not in the current folder").arg(given)
                                    : QStringLiteral("'%1' is neither in the current folder nor in %2").arg(given, pluginFolder);
    return false;
}

bool CPluginFile::inspect(CPluginFile* file, QString* error)
{
    if (!isElfFile(file->path)) {
        *error = QStringLiteral("'%1' is no shared library").arg(file->given);
        return false;
    }
    // Qt reads the metadata from the file without loading it.
    const QJsonObject loaderData = QPluginLoader(file->path).metaData();
    if (loaderData.isEmpty()) {
        *error = QStringLiteral("'%1' is no Qt plug-in: it has no plug-in metadata (Q_PLUGIN_METADATA)").arg(file->given);
        return false;
    }
    const QString iid = loaderData.value(QStringLiteral("IID")).toString();
    if (iid != QLatin1String(TAVIX_CORE_PLUGIN_IID)) {
        *error = QStringLiteral("'%1' is a plug-in of another host: its interface is '%2', this host loads '%3'")
                     .arg(file->given, iid, QStringLiteral(TAVIX_CORE_PLUGIN_IID));
        return false;
    }
    const QJsonObject metaData = loaderData.value(QStringLiteral("MetaData")).toObject();
    file->name = metaData.value(QStringLiteral("Name")).toString();
    if (file->name.isEmpty())
        file->name = QFileInfo(file->path).completeBaseName();
    file->version = versionOf(metaData, "Version", QVersionNumber(0));
    file->compatVersion = versionOf(metaData, "CompatVersion", file->version);
    file->dependencies.clear();
    for (const QJsonValue& entry : metaData.value(QStringLiteral("Dependencies")).toArray()) {
        const QJsonObject dependency = entry.toObject();
        file->dependencies.append({dependency.value(QStringLiteral("Name")).toString(), versionOf(dependency, "Version", QVersionNumber(0))});
    }
    return true;
}

QString CPluginFile::loadFailure(const QString& loaderError) const
{
    // The dynamic loader's words for a library that isn't there, as Qt passes them on.
    static const QRegularExpression missingLibrary(QStringLiteral("([^ ():]+): cannot open shared object file"));
    const QRegularExpressionMatch missing = missingLibrary.match(loaderError);
    if (missing.hasMatch()) {
        return QStringLiteral("'%1' needs the library %2, which is not found (is it installed, or on LD_LIBRARY_PATH?)")
            .arg(given, missing.captured(1));
    }
    return QStringLiteral("'%1' could not be loaded: %2").arg(given, loaderError);
}
