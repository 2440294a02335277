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
// compressing camera, decompresses it first) and then drops the handle, so that the buffer goes
// back to the SDK's pool.
class CSnapshotWriter
{
public:
    struct ImageLayout
    {
        int width = 0;
        int height = 0;
        QString pixelFormat;
        QString compressionMode; // "ImageCompressionMode" of a compressing camera, empty otherwise
    };

    // The camera's decompressor as it is now: it is set up at the grab's start, after the writer.
    using DecompressorSource = std::function<QSharedPointer<const Tavix::CImageDecompressor>()>;

    // The QImage format of a pixel format, QImage::Format_Invalid for those it can't hold.
    static QImage::Format imageFormatOf(const QString& pixelFormat);
    static bool isCompressed(const ImageLayout& layout);
    // Decompresses the image into buffer, which keeps its size from one image of a grab to the
    // next; answers the bytes written, or -1 with the decompressor's reason in error.
    static qint64 decompressInto(const Tavix::CImageDecompressor& decompressor, const Tavix::CGrabResultPtr& result,
                                 QByteArray& buffer, QString& error);
    // Empty when the layout can be written, the reason otherwise.
    static QString checkLayout(const ImageLayout& layout, bool canDecompress);
    // Creates the folder if need be; empty when files can be written there, the reason otherwise.
    static QString checkFolder(const QString& directory);

    // Files are named "<baseName>-<image number>.png"; maxFiles < 0 is no limit. Compressed
    // images need a source of decompressors.
    CSnapshotWriter(QString directory, QString baseName, ImageLayout layout, int every, int maxFiles = -1,
                    DecompressorSource decompressors = {});
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
    // The pixels of a compressed image, or empty with the reason recorded.
    QByteArray decompress(const Tavix::CGrabResultPtr& result, const QString& file);
    void record(QStringList& list, const QString& text);

    const QString m_directory;
    const QString m_baseName;
    const ImageLayout m_layout;
    const QImage::Format m_format;
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
