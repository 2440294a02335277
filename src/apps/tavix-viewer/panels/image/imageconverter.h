#pragma once

#include "convertedimage.h"

#include <clientservices.h>

#include <QMutex>
#include <QObject>

#include <atomic>

namespace Viewer {

// Turns camera images into pictures on a thread of its own: each image is read by the shape it
// came with, decompressed through the decompressor service when it says it is compressed, and
// converted. It takes one image at a time; the GUI is told of the newest picture by one signal,
// never more than one waiting.
class CImageConverter : public QObject
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    // What is done to each picture after its conversion.
    struct CSettings
    {
        Recording::COrientation orientation;
        bool markSaturated = false;
        bool statistics = false; // of region, in the turned picture's pixels; the whole when empty
        QRect region;
    };

    explicit CImageConverter(QSharedPointer<const CClientServices> services, QObject* parent = nullptr);
    ~CImageConverter() override;

    // On the grab thread: queues the image unless one is under way. Never waits.
    bool offer(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result);
    // On the GUI thread, after imageReady(): the newest picture, given up by the converter.
    CConvertedImage takeLatest();
    // Any thread: for the next images.
    void setSettings(const CSettings& settings);
    CSettings settings() const;

signals:
    void imageReady();
    // Why images of the grab can't be shown; once per layout.
    void conversionFailed(const QString& reason);

private:
    void convert(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result);
    // The pixels of the image and their shape, decompressed into m_decompressed when the image
    // is compressed.
    bool pixelsOf(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result, const uchar*& pixels,
                  size_t& size, Tavix::ImageShape& shape, QString& error);
    void publish(CConvertedImage image);
    void fail(const QString& reason);

    const QSharedPointer<const CClientServices> m_ptrServices;
    std::atomic<bool> m_busy{false};
    std::atomic<bool> m_posted{false};
    // Only the converter's thread touches these.
    QString m_reportedError;
    QByteArray m_decompressed;
    mutable QMutex m_latestMutex;
    CSettings m_settings;
    CConvertedImage m_latest;
};

} // namespace Viewer
