#pragma once

#include "recordingwriter.h"

#include <QImage>

namespace Recording {

/// Writes each image as a PNG or TIFF file of its own in a folder: 8-bit formats as 8-bit images,
/// deeper ones as 16-bit images with the camera's values as they are, colour as RGB. A Bayer
/// mosaic is written as it came, one value a pixel.
class CImageSequenceWriter : public ARecordingWriter
{
public:
    CImageSequenceWriter(ERecordingFormat format, QString folder, QString baseName);

    bool write(const CRecordedImage& image, QString& error) override;
    QString target() const override { return m_folder; }

    /// The QImage format that holds a pixel type as it is; QImage::Format_Invalid for one it can't.
    static QImage::Format imageFormatOf(Tavix::EPixelType pixelType);
    /// The file of an image in the folder: "<baseName>-<image number>.<extension>".
    static QString fileName(const QString& baseName, int64_t imageNumber, const QString& extension);

private:
    const ERecordingFormat m_format;
    const QString m_folder;
    const QString m_baseName;
};

} // namespace Recording
