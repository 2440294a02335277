#include "recordingformat.h"

#include <QCoreApplication>

namespace Recording {

namespace {

struct CFormatEntry
{
    ERecordingFormat format;
    const char* name;
    const char* extension;
    const char* description;
};

constexpr CFormatEntry Formats[] = {
    {ERecordingFormat::Png, "png", "png", QT_TRANSLATE_NOOP("Recording", "PNG image sequence")},
    {ERecordingFormat::Tiff, "tiff", "tiff", QT_TRANSLATE_NOOP("Recording", "TIFF image sequence")},
    {ERecordingFormat::Raw, "raw", "raw", QT_TRANSLATE_NOOP("Recording", "Raw image sequence with JSON sidecars")},
    {ERecordingFormat::Ffv1, "ffv1", "mkv", QT_TRANSLATE_NOOP("Recording", "FFV1 video in Matroska, lossless")},
    {ERecordingFormat::H264, "h264", "mp4", QT_TRANSLATE_NOOP("Recording", "H.264 video in MP4, for sharing")},
};

const CFormatEntry& entryOf(ERecordingFormat format)
{
    for (const auto& entry : Formats) {
        if (entry.format == format)
            return entry;
    }
    return Formats[0];
}

} // namespace

QString formatName(ERecordingFormat format)
{
    return QString::fromLatin1(entryOf(format).name);
}

bool formatFromName(const QString& name, ERecordingFormat& format)
{
    for (const auto& entry : Formats) {
        if (name.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0) {
            format = entry.format;
            return true;
        }
    }
    return false;
}

QStringList formatNames()
{
    QStringList names;
    for (const auto& entry : Formats)
        names << QString::fromLatin1(entry.name);
    return names;
}

QString formatDescription(ERecordingFormat format)
{
    return QCoreApplication::translate("Recording", entryOf(format).description);
}

bool isVideo(ERecordingFormat format)
{
    return format == ERecordingFormat::Ffv1 || format == ERecordingFormat::H264;
}

QString fileExtension(ERecordingFormat format)
{
    return QString::fromLatin1(entryOf(format).extension);
}

} // namespace Recording
