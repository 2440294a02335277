#include "rawsequencewriter.h"

#include "imagesequencewriter.h"

#include <snapshotwriter.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace Recording {

CRawSequenceWriter::CRawSequenceWriter(QString folder, QString baseName)
    : m_folder(std::move(folder))
    , m_baseName(std::move(baseName))
{
}

bool CRawSequenceWriter::write(const CRecordedImage& image, QString& error)
{
    const Tavix::ImageShape& shape = image.shape;
    const QString rawName = CImageSequenceWriter::fileName(m_baseName, image.imageNumber, QStringLiteral("raw"));
    const QString rawFile = QDir(m_folder).filePath(rawName);
    QFile raw(rawFile);
    if (!raw.open(QIODevice::WriteOnly)) {
        error = QStringLiteral("%1 can't be written: %2").arg(QDir::toNativeSeparators(rawFile), raw.errorString());
        return false;
    }
    // Rows without their padding, straight from the buffer; in one piece when there is none.
    const size_t rowBytes = shape.rowBytes();
    bool written = true;
    if (shape.paddingX == 0) {
        written = raw.write(reinterpret_cast<const char*>(image.pixels), qint64(rowBytes * shape.height)) == qint64(rowBytes * shape.height);
    } else {
        for (uint32_t y = 0; y < shape.height && written; ++y)
            written = raw.write(reinterpret_cast<const char*>(image.pixels + y * shape.rowStride()), qint64(rowBytes)) == qint64(rowBytes);
    }
    if (!written || !raw.flush()) {
        error = QStringLiteral("%1 can't be written: %2").arg(QDir::toNativeSeparators(rawFile), raw.errorString());
        raw.remove();
        return false;
    }
    raw.close();
    const QJsonObject description{
        {QStringLiteral("file"), rawName},
        {QStringLiteral("width"), qint64(shape.width)},
        {QStringLiteral("height"), qint64(shape.height)},
        {QStringLiteral("offsetX"), qint64(shape.offsetX)},
        {QStringLiteral("offsetY"), qint64(shape.offsetY)},
        {QStringLiteral("pixelFormat"), CSnapshotWriter::pixelTypeText(shape.pixelType)},
        {QStringLiteral("pixelFormatCode"), qint64(shape.pixelType)},
        {QStringLiteral("bitsPerPixel"), qint64(Tavix::GetBitsPerPixel(shape.pixelType))},
        {QStringLiteral("rowBytes"), qint64(rowBytes)},
        {QStringLiteral("imageNumber"), qint64(image.imageNumber)},
        // A time stamp of 64 bits doesn't fit a JSON number exactly: as text.
        {QStringLiteral("timestamp"), QString::number(image.timestamp)},
        {QStringLiteral("arrivalMicroseconds"), qint64(image.arrivalUs)},
        {QStringLiteral("rotationDegrees"), image.orientation.quarterTurns * 90},
        {QStringLiteral("mirrored"), image.orientation.mirrored},
    };
    const QByteArray json = QJsonDocument(description).toJson(QJsonDocument::Indented);
    QString sidecar = rawFile;
    sidecar.replace(sidecar.size() - 3, 3, QStringLiteral("json"));
    return writeFile(sidecar, json.constData(), json.size(), error);
}

bool CRawSequenceWriter::writeFile(const QString& file, const char* data, qint64 size, QString& error)
{
    QFile output(file);
    if (!output.open(QIODevice::WriteOnly) || output.write(data, size) != size || !output.flush()) {
        error = QStringLiteral("%1 can't be written: %2").arg(QDir::toNativeSeparators(file), output.errorString());
        output.remove();
        return false;
    }
    return true;
}

} // namespace Recording
