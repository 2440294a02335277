#pragma once

#include <QJsonObject>
#include <QString>
#include <QVector>
#include <QVersionNumber>

// One file offered to the host as a plug-in, before it is loaded: where it is, and what its
// metadata says. Each way in which a file can fail to be a plug-in of this host has a reason of
// its own, so that a person who typed a path learns what is wrong with it.
struct CPluginFile
{
    struct CDependency
    {
        QString name;
        QVersionNumber version;
    };

    QString path;  // absolute
    QString given; // as it was named, for messages
    QString name;  // the metadata's, or the file's base name when it names none
    QVersionNumber version;
    QVersionNumber compatVersion; // the oldest version this one stands in for
    QVector<CDependency> dependencies;

    // The file that a name given on a command line means: a name with a slash is a path, taken
    // from the current folder when it is relative; a bare name is looked for in the current
    // folder, then in pluginFolder. False with the reason when there is no such file.
    static bool locate(const QString& given, const QString& pluginFolder, QString* path, QString* error);
    // Reads the plug-in metadata of file->path without loading it. False with the reason when
    // the file is no library, a library without plug-in metadata, or a plug-in of another host.
    static bool inspect(CPluginFile* file, QString* error);
    // Why the library could not be loaded, from the loader's error text: a library it needs
    // that is missing gets its own wording.
    QString loadFailure(const QString& loaderError) const;

    // Whether this plug-in can stand in where version is asked for.
    bool provides(const QVersionNumber& wanted) const { return compatVersion <= wanted && wanted <= version; }
    QString title() const { return QStringLiteral("%1 %2").arg(name, version.toString()); }
};
