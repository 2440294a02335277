#pragma once

#include <tavix/grabresult.h>
#include <tavix/imagedecompressor.h>

#include <QImage>
#include <QMutex>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QThreadPool>

#include <atomic>
#include <functional>

// Writes every Nth image of a grab as a PNG file. The grab thread only keeps a handle on the
// image and hands it to a worker, which encodes it straight from the SDK's buffer (or, for a
// compressed image, decompresses it first) and then drops the handle, so that the buffer goes
// back to the SDK's pool. What the bytes mean comes from each image itself, its shape and its
// compression information, never from the camera's settings, which may change during the grab.
class CSnapshotWriter
{
public:
    // What the camera says it will send, asked once before the grab so that a grab that can't
    // give snapshots is refused at its start. The images are read by their own shape.
    struct ImageLayout
    {
        QString pixelFormat;
        QString compressionMode; // "ImageCompressionMode" of a compressing camera, empty otherwise
    };

    // The camera's decompressor as it is now: it is set up at the grab's start, after the writer.
    using DecompressorSource = std::function<QSharedPointer<const Tavix::CImageDecompressor>()>;

    // The QImage format that holds a pixel type as it is, QImage::Format_Invalid for those a
    // snapshot isn't written of.
    static QImage::Format imageFormatOf(Tavix::EPixelType pixelType);
    // The name of a pixel type, or its code when it has none.
    static QString pixelTypeText(Tavix::EPixelType pixelType);
    // Whether the result holds a compressed image, as its own compression information says.
    static bool isCompressed(const Tavix::CGrabResultPtr& result);
    // Decompresses the image into buffer, which keeps its size from one image of a grab to the
    // next, and gives the decompressed image's shape; answers the bytes written, or -1 with the
    // decompressor's reason in error.
    static qint64 decompressInto(const Tavix::CImageDecompressor& decompressor, const Tavix::CGrabResultPtr& result,
                                 QByteArray& buffer, Tavix::ImageShape& shape, QString& error);
    // Empty when the layout can be written, the reason otherwise.
    static QString checkLayout(const ImageLayout& layout, bool canDecompress);
    // Creates the folder if need be; empty when files can be written there, the reason otherwise.
    static QString checkFolder(const QString& directory);

    // Files are named "<baseName>-<image number>.png"; maxFiles < 0 is no limit. Compressed
    // images need a source of decompressors.
    CSnapshotWriter(QString directory, QString baseName, int every, int maxFiles = -1, DecompressorSource decompressors = {});
    ~CSnapshotWriter();

    // On the grab thread. Never blocks: when the worker lags behind, the image is skipped.
    void offer(const Tavix::CGrabResultPtr& result);
    void waitForDone();

    QStringList writtenFiles() const;
    QStringList errors() const;
    int skippedCount() const { return m_skipped.load(); }

private:
    // Handles kept at most; each holds one of the SDK's buffers.
    static constexpr int MaxPending = 3;

    void save(const Tavix::CGrabResultPtr& result);
    // The pixels of a compressed image and their shape, or empty with the reason recorded.
    QByteArray decompress(const Tavix::CGrabResultPtr& result, const QString& file, Tavix::ImageShape& shape);
    void record(QStringList& list, const QString& text);

    const QString m_directory;
    const QString m_baseName;
    const int m_every;
    const int m_maxFiles;
    const DecompressorSource m_decompressors;
    std::atomic<int> m_offered{0};
    std::atomic<int> m_accepted{0};
    std::atomic<int> m_pending{0};
    std::atomic<int> m_skipped{0};
    mutable QMutex m_mutex;
    QStringList m_files;
    QStringList m_errors;
    QThreadPool m_worker;
};
