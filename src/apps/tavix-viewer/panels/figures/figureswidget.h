#pragma once

#include "skippedimagecounter.h"

#include <viewerservices.h>

#include <QWidget>

class QFormLayout;
class QLabel;
class QTimer;

namespace Viewer {

class CRatePlot;

// The figures of the active camera: the state of its grab, frame rate, bandwidth, images grabbed,
// failed and skipped, the compression ratio and the last failure, as numbers and as a plot of the
// last minute. The roster sends statistics for every image; the widget keeps the latest and shows
// them a few times a second, so that a fast camera costs the GUI no more than a slow one. The
// rates are those of a running grab: once the grab stops or the camera is lost they are 0, and
// the counts stay as the grab left them. A camera this viewer holds in exclusive use has its
// figures from the viewer's own record, since the roster doesn't send them.
class CFiguresWidget : public QWidget
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    explicit CFiguresWidget(QSharedPointer<const CViewerServices> services, QWidget* parent = nullptr);
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
    void onConnectionLost(const CameraInfoPtr& camera);
    void tick();
    void showFigures();
    bool isGrabbing() const;
    QString stateText() const;
    QString compressionText() const;

    QSharedPointer<const CViewerServices> m_ptrServices;
    CameraInfoPtr m_ptrCamera;
    CFigures m_figures;
    bool m_lost = false;
    CSkippedImageCounter m_skipped;
    QTimer* m_pTimer;
    CRatePlot* m_pPlot;
    QLabel* m_pCamera;
    QLabel* m_pState;
    QLabel* m_pFps;
    QLabel* m_pBandwidth;
    QLabel* m_pGrabbed;
    QLabel* m_pFailed;
    QLabel* m_pSkipped;
    QLabel* m_pCompression;
    QLabel* m_pLastFailure;
};

} // namespace Viewer
