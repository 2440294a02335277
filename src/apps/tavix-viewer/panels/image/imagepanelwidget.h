#pragma once

#include "convertedimage.h"
#include "imageconverter.h"
#include "recordings.h"

#include <viewerservices.h>

#include <QHash>
#include <QPointer>
#include <QWidget>

#include <memory>

class QAction;
class QLabel;
class QScrollArea;
class QStackedWidget;
class QThread;

namespace Viewer {

class CImageAnalysis;
class CImageCanvas;
class CImageGrid;
class CImageObserver;

// The live image of the active camera: an observer on the grab thread picks at most the
// screen's rate of images, a converter on a thread of its own turns them into pictures, and
// the newest is shown. Once the grab stops or the camera is lost, the last picture stays with a
// mark that says so. Zoom to fit, 1:1, in steps or smoothly with the wheel around the cursor;
// each camera's pictures turned and flipped as its owner wants them, for the display, snapshots
// and recordings; the camera's value of the pixel under the cursor, and the figures of a rectangle
// drawn on the picture for the histogram panel; a snapshot of the shown picture as PNG; a
// recording of a camera's images. The grid shows every grabbing camera at once instead. A camera
// this viewer holds in exclusive use is shown from the viewer's own record of it, since the roster
// doesn't pass its images on.
class CImagePanelWidget : public QWidget
{
    Q_OBJECT
    // Counts for a look from outside the module, as a benchmark takes it.
    Q_PROPERTY(qulonglong displayedImages READ displayedImages)
    Q_PROPERTY(qulonglong deliveredImages READ deliveredImages)
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    CImagePanelWidget(QSharedPointer<const CViewerServices> services, CImageAnalysis* analysis, QWidget* parent = nullptr);
    ~CImagePanelWidget() override;

    qulonglong displayedImages() const { return m_displayed; }
    qulonglong deliveredImages() const;
    CRecordings* recordings() const { return m_pRecordings; }

public slots:
    // Asks for a file and writes the shown picture there as PNG.
    void saveSnapshot();
    // Asks how to record the camera and starts, or stops its recording.
    void toggleRecording(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void showGrid(bool grid);

private:
    void createToolBar();
    void connectHeldCameras();
    void setActiveDevice(const DeviceBaseInfoPtr& device);
    void onGrabStarting(const CameraInfoPtr& camera);
    void onGrabStopped(const CameraInfoPtr& camera);
    void onConnectionLost(const CameraInfoPtr& camera);
    // The name a snapshot is offered under: camera, size, pixel format and time.
    QString suggestedSnapshotName() const;
    void showLatest();
    void showPixel(const QPoint& pixel);
    void showMessage(const QString& text);
    void setFitToWindow(bool fit);
    // A zoom of the picture that keeps the point of the viewport at anchor where it is.
    void zoomTo(double zoom, const QPoint& anchor);
    void zoomBy(double factor);
    void updateZoomText();
    void turn(const Recording::COrientation& orientation);
    Recording::COrientation orientationOf(const DeviceBaseInfoPtr& camera) const;
    CImageConverter::CSettings settingsFor(const CameraInfoPtr& camera) const;
    void updateSettings();
    void setRegion(const QRect& region);
    // The shown picture again, as the orientation and the marking of saturated pixels now say.
    void refreshShown();
    void publishStatistics();
    void updatePlaceholder();
    void updateRecordingState();
    void clearImage();

    const QSharedPointer<const CViewerServices> m_ptrServices;
    QPointer<CImageAnalysis> m_pAnalysis;
    CameraInfoPtr m_ptrCamera;
    QThread* m_pConverterThread;
    CImageConverter* m_pConverter;
    std::unique_ptr<CImageObserver> m_pObserver;
    CConvertedImage m_shown;
    QPoint m_hovered{-1, -1};
    QRect m_region;
    QHash<DeviceBaseInfoPtr, Recording::COrientation> m_orientations;
    QString m_snapshotFolder;
    QString m_recordingFolder;
    Recording::ERecordingFormat m_recordingFormat = Recording::ERecordingFormat::Ffv1;
    qulonglong m_displayed = 0;
    CRecordings* m_pRecordings;
    QStackedWidget* m_pPages;
    QScrollArea* m_pScrollArea;
    CImageCanvas* m_pCanvas;
    CImageGrid* m_pGrid = nullptr;
    QLabel* m_pPixelValue;
    QLabel* m_pMessage;
    QLabel* m_pRecordingStatus;
    QLabel* m_pZoomText = nullptr;
    QLabel* m_pSnapshotSaved = nullptr;
    QAction* m_pGridAction = nullptr;
    QAction* m_pFitAction = nullptr;
    QAction* m_pActualSizeAction = nullptr;
    QAction* m_pSnapshotAction = nullptr;
    QAction* m_pRecordAction = nullptr;
};

} // namespace Viewer
