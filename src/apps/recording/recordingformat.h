#pragma once

#include <QString>
#include <QStringList>

namespace Recording {

/// What a recording is written as: an image sequence (one file per image in a folder) or a video
/// file.
enum class ERecordingFormat {
    Png,  ///< PNG per image: 8 bits for 8-bit formats, 16 bits for deeper ones
    Tiff, ///< TIFF per image, 8 or 16 bits as PNG
    Raw,  ///< the image's bytes per image, with a JSON file that describes them
    Ffv1, ///< lossless FFV1 video in Matroska, for measurement
    H264, ///< H.264 video in MP4, for sharing
};

/// The name of a format as the command line and the viewer's settings spell it ("png", "ffv1").
QString formatName(ERecordingFormat format);
/// The format of a name; false for one it doesn't know.
bool formatFromName(const QString& name, ERecordingFormat& format);
/// Every name, in the order of the enumeration.
QStringList formatNames();
/// A line for a person: "PNG image sequence", "FFV1 video in Matroska, lossless".
QString formatDescription(ERecordingFormat format);
/// Whether the format writes one file (a video) rather than a folder of files.
bool isVideo(ERecordingFormat format);
/// The extension of the format's files, without the dot: "png", "mkv".
QString fileExtension(ERecordingFormat format);

} // namespace Recording
