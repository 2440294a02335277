#pragma once

#include "skippedimagecounter.h"

#include <clientservices.h>

#include <QWidget>

class QFormLayout;
class QLabel;
class QTimer;

namespace Viewer {

class CRatePlot;

// The figures of the active camera: frame rate, bandwidth, images grabbed, failed and skipped,
// the compression ratio and the last failure, as numbers and as a plot of the last minute. The
// roster sends statistics for every image; the widget keeps the latest and shows them a few
// times a second, so that a fast camera costs the GUI no more than a slow one.
class CFiguresWidget : public QWidget
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    explicit CFiguresWidget(QSharedPointer<const CClientServices> services, QWidget* parent = nullptr);
    ~CFiguresWidget() override;

private:
    struct CFigures
    {
        int grabbed = 0;
        int failed = 0;
        double fps = 0.0;
        uint64_t bytesPerSecond = 0;
        Plugin::OptiRoster::CCompressionStatistic compression;
        QString lastFailure;
    };

    QLabel* addRow(QFormLayout* form, const QString& label, const QString& objectName);
    void follow(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device);
    void reset();
    void onStatistic(const CameraInfoPtr& camera, int grabbed, int failed, double fps, uint64_t bytesPerSecond,
                     const Plugin::OptiRoster::CCompressionStatistic& compression);
    void onImageInfo(const CameraInfoPtr& camera, Plugin::OptiRoster::ImageGrabbedInfo info);
    void tick();
    void showFigures();
    QString compressionText() const;

    QSharedPointer<const CClientServices> m_ptrServices;
    CameraInfoPtr m_ptrCamera;
    CFigures m_figures;
    CSkippedImageCounter m_skipped;
    QTimer* m_pTimer;
    CRatePlot* m_pPlot;
    QLabel* m_pCamera;
    QLabel* m_pFps;
    QLabel* m_pBandwidth;
    QLabel* m_pGrabbed;
    QLabel* m_pFailed;
    QLabel* m_pSkipped;
    QLabel* m_pCompression;
    QLabel* m_pLastFailure;
};

} // namespace Viewer
