#pragma once

#include <plugins/optiroster/iimagedecompressorservice.h>

#include <QMap>
#include <QMutex>
#include <QPointer>

namespace Plugin::OptiRoster::Internal {

class COptiRoster;

// Builds a decompressor for each camera at its grab start, while the camera is still idle,
// and hands it to clients until the camera closes or starts again without compression.
class CImageDecompressorService : public IImageDecompressorService
{
    Q_OBJECT
public:
    CImageDecompressorService(QPointer<COptiRoster> pool, QObject* parent);

    QSharedPointer<const Tavix::CImageDecompressor> getImageDecompressor(const DeviceBaseInfoPtr& info) override;
    QVector<unsigned char> getCompressionDescriptor(const Core::OptiRosterComponents::CameraInfoPtr& info) override;

private slots:
    void onCameraGrabStart(Core::OptiRosterComponents::CameraInfoPtr info);
    void onDeviceClosed(Core::OptiRosterComponents::DeviceBaseInfoPtr info);

private:
    // The decompressor for the camera's current settings, null when it doesn't compress.
    QSharedPointer<const Tavix::CImageDecompressor> createDecompressor(const Core::OptiRosterComponents::CameraInfoPtr& info);
    void reportFailure(const Core::OptiRosterComponents::CameraInfoPtr& info, const QString& lastError, const QString& logText);
    COptiRoster& pool() const;

    QPointer<COptiRoster> m_pool;
    QMutex m_mutex;
    QMap<DeviceBaseInfoPtr, QSharedPointer<const Tavix::CImageDecompressor>> m_decompressors;
};

} // namespace Plugin::OptiRoster::Internal
