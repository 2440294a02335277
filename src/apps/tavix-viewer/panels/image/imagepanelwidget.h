#pragma once

#include "convertedimage.h"

#include <viewerservices.h>

#include <QWidget>

#include <memory>

class QAction;
class QLabel;
class QScrollArea;
class QThread;

namespace Viewer {

class CImageCanvas;
class CImageConverter;
class CImageObserver;

// The live image of the active camera: an observer on the grab thread picks at most the
// screen's rate of images, a converter on a thread of its own turns them into pictures, and
// the newest is shown. Once the grab stops or the camera is lost, the last picture stays with a
// mark that says so. Zoom to fit or 1:1 with scrolling, the camera's value of the pixel under
// the cursor, and a snapshot of the shown picture as PNG. A camera this viewer holds in
// exclusive use is shown from the viewer's own record of it, since the roster doesn't pass its
// images on.
class CImagePanelWidget : public QWidget
{
    Q_OBJECT
    // Counts for a look from outside the module, as a benchmark takes it.
    Q_PROPERTY(qulonglong displayedImages READ displayedImages)
    Q_PROPERTY(qulonglong deliveredImages READ deliveredImages)
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    explicit CImagePanelWidget(QSharedPointer<const CViewerServices> services, QWidget* parent = nullptr);
    ~CImagePanelWidget() override;

    qulonglong displayedImages() const { return m_displayed; }
    qulonglong deliveredImages() const;

public slots:
    // Asks for a file and writes the shown picture there as PNG.
    void saveSnapshot();

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
    void updatePlaceholder();
    void clearImage();

    const QSharedPointer<const CViewerServices> m_ptrServices;
    CameraInfoPtr m_ptrCamera;
    QThread* m_pConverterThread;
    CImageConverter* m_pConverter;
    std::unique_ptr<CImageObserver> m_pObserver;
    CConvertedImage m_shown;
    QPoint m_hovered{-1, -1};
    QString m_snapshotFolder;
    qulonglong m_displayed = 0;
    QScrollArea* m_pScrollArea;
    CImageCanvas* m_pCanvas;
    QLabel* m_pPixelValue;
    QLabel* m_pMessage;
    QLabel* m_pSnapshotSaved = nullptr;
    QAction* m_pFitAction = nullptr;
    QAction* m_pActualSizeAction = nullptr;
    QAction* m_pSnapshotAction = nullptr;
};

} // namespace Viewer
