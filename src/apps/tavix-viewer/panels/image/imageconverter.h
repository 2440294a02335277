#pragma once

#include "convertedimage.h"

#include <clientservices.h>

#include <QMutex>
#include <QObject>

#include <atomic>

namespace Viewer {

// Turns camera images into pictures on a thread of its own: it reads the image layout of a grab
// through the parameter service, decompresses through the decompressor service, and converts.
// It takes one image at a time; the GUI is told of the newest picture by one signal, never more
// than one waiting.
class CImageConverter : public QObject
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    explicit CImageConverter(QSharedPointer<const CClientServices> services, QObject* parent = nullptr);
    ~CImageConverter() override;

    // On the grab thread: queues the image unless one is under way. Never waits.
    bool offer(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result);
    // Any thread: the layout is read again before the next image (a new grab may change it).
    void forgetLayout();
    // On the GUI thread, after imageReady(): the newest picture, given up by the converter.
    CConvertedImage takeLatest();

signals:
    void imageReady();
    // Why images of the grab can't be shown; once per layout.
    void conversionFailed(const QString& reason);

private:
    void convert(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result);
    bool readLayout(const CameraInfoPtr& camera, QString& error);
    QString readOptional(const CameraInfoPtr& camera, const QString& path);
    // The pixels of the image, decompressed into m_decompressed when the camera compresses.
    bool pixelsOf(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result, const uchar*& pixels,
                  size_t& size, QString& error);
    void publish(CConvertedImage image);
    void fail(const QString& reason);

    const QSharedPointer<const CClientServices> m_ptrServices;
    std::atomic<bool> m_busy{false};
    std::atomic<bool> m_layoutStale{true};
    std::atomic<bool> m_posted{false};
    // Only the converter's thread touches these.
    CConvertedImage::Layout m_layout;
    CameraInfoPtr m_ptrLayoutCamera;
    QString m_reportedError;
    QByteArray m_decompressed;
    QMutex m_latestMutex;
    CConvertedImage m_latest;
};

} // namespace Viewer
