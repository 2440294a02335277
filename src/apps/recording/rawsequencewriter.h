#pragma once

#include "recordingwriter.h"

namespace Recording {

/// Writes each image's bytes as they are, row after row without padding, into a file of its own
/// ("<base>-<number>.raw"), beside a JSON file of the same name that describes them: shape, pixel
/// format, image number, time stamp and how the image was turned.
class CRawSequenceWriter : public ARecordingWriter
{
public:
    CRawSequenceWriter(QString folder, QString baseName);

    bool write(const CRecordedImage& image, QString& error) override;
    QString target() const override { return m_folder; }

private:
    bool writeFile(const QString& file, const char* data, qint64 size, QString& error);

    const QString m_folder;
    const QString m_baseName;
};

} // namespace Recording
