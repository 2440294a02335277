#pragma once

#include "imageconverter.h"

#include <viewerservices.h>

#include <plugins/optiroster/observerregistration.h>

#include <QElapsedTimer>
#include <QFrame>
#include <QHash>

#include <functional>
#include <memory>

class QGridLayout;
class QLabel;
class QThread;

namespace Viewer {

class CImageCanvas;
class CImageObserver;

// One camera in the grid: its live picture, converted at most at the tile's rate on the grid's
// converter thread, with its name, rate and state. A click makes it the active device.
class CGridTile : public QFrame
{
    Q_OBJECT
    Q_PROPERTY(qulonglong displayedImages READ displayedImages)
    Q_PROPERTY(QString state READ state)
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    CGridTile(const QSharedPointer<const CViewerServices>& services, const CameraInfoPtr& camera, QThread* converterThread,
              QWidget* parent = nullptr);
    ~CGridTile() override;

    const CameraInfoPtr& camera() const { return m_ptrCamera; }
    void setState(const QString& state);
    QString state() const;
    void setRate(double fps);
    void setNote(const QString& note);
    void setActive(bool active);
    void setSettings(const CImageConverter::CSettings& settings);
    // Whether the tile converts its camera's images: only while it can be seen.
    void setLive(bool live);
    qulonglong displayedImages() const { return m_displayed; }
    const QImage& shownPicture() const;

signals:
    void clicked(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void doubleClicked(const Core::OptiRosterComponents::CameraInfoPtr& camera);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void showLatest();
    void updateTitle();

    const CameraInfoPtr m_ptrCamera;
    CImageConverter* m_pConverter;
    std::unique_ptr<CImageObserver> m_pObserver;
    Plugin::OptiRoster::CObserverRegistration m_registration;
    QSharedPointer<CHeldCameras> m_ptrHeldCameras;
    CImageCanvas* m_pCanvas;
    QLabel* m_pTitle;
    QLabel* m_pStatus;
    QString m_state;
    QString m_note;
    double m_fps = 0.0;
    QElapsedTimer m_rateShown;
    qulonglong m_displayed = 0;
};

// The live pictures of every grabbing camera side by side, each in a tile. A camera joins when it
// starts grabbing and stays, marked as stopped or lost, until it is closed or gone; a click on a
// tile makes its camera the active device, a double click shows it alone.
class CImageGrid : public QWidget
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;
    using SettingsSource = std::function<CImageConverter::CSettings(const CameraInfoPtr&)>;

    CImageGrid(QSharedPointer<const CViewerServices> services, SettingsSource settings, QWidget* parent = nullptr);
    ~CImageGrid() override;

    CGridTile* tile(const DeviceBaseInfoPtr& camera) const;
    QList<CGridTile*> tiles() const { return m_tiles.values(); }
    // The settings of a camera's tile changed (its orientation).
    void updateSettings(const CameraInfoPtr& camera);
    // A line under a tile's name ("Recording: 120 images"); empty for none.
    void setNote(const CameraInfoPtr& camera, const QString& note);

signals:
    void showAlone(const Core::OptiRosterComponents::CameraInfoPtr& camera);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void addCamera(const CameraInfoPtr& camera);
    void removeCamera(const DeviceBaseInfoPtr& camera);
    void setState(const CameraInfoPtr& camera, const QString& state);
    void markActive(const DeviceBaseInfoPtr& active);
    void arrange();

    const QSharedPointer<const CViewerServices> m_ptrServices;
    const SettingsSource m_settings;
    QThread* m_pConverterThread;
    QGridLayout* m_pLayout;
    QLabel* m_pPlaceholder;
    QHash<DeviceBaseInfoPtr, CGridTile*> m_tiles;
};

} // namespace Viewer
