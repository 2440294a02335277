#pragma once

#include "imagecounter.h"

#include <core/plugin/iplugin.h>
#include <plugins/optiroster/compressionstatistic.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagedecompressorservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>
#include <plugins/optiroster/icameraactioncommandsservice.h>
#include <plugins/optiroster/istaticdefectpixelcorrectionservice.h>
#include <plugins/optiroster/observerregistration.h>

#include <QSharedPointer>
#include <QTextStream>
#include <QWeakPointer>

#include <memory>

// A plug-in of the host that uses the camera roster as any client does: it finds the roster's
// services in the registry by their interfaces, lists the cameras once the first enumeration is
// in (or waits for the first camera to come), opens the first camera, counts a few images with
// an observer, stops, prints the figures that the status service reported, asks the other
// services about the camera, and closes it again. finished(int) tells the host that it is done
// (0) or has failed (1): a camera that can't be opened or won't grab, or is lost meanwhile.
class CExampleClientPlugin : public Core::Plugin::IPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "exampleclient.json")
public:
    CExampleClientPlugin();
    ~CExampleClientPlugin() override;

    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;
    bool postInitialize() override;
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;

signals:
    void finished(int status);

private slots:
    void onEnumerationChanged();
    void onEnoughImages();
    void onStatisticUpdated(const Core::OptiRosterComponents::CameraInfoPtr& camera, int imagesGrabbedCount,
                            int imagesFailedCount, double fps, uint64_t bps,
                            const Plugin::OptiRoster::CCompressionStatistic& compression);
    void onGrabStopped(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void onConnectionLost(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void onAboutToUninitialize();

private:
    bool findServices();
    void listCameras(const QVector<Plugin::OptiRoster::TransportLayerInfoPtr>& layers);
    void grabFrom(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void printFigures();
    // In servicetour.cpp: the services beyond the grab, on the open camera.
    void tourServices();
    void showDecompressor();
    void showDefectPixels();
    void showActionCommands();
    void showActiveDevice();
    void showExclusiveUse();
    void finish(int status);
    // Stops the grab, takes the observer out and closes the camera: what must be undone before
    // the roster's services go and before this plug-in's code is unloaded.
    void cleanUp();
    void releaseServices();

    QWeakPointer<Core::Plugin::IPluginInitializer> m_registry;
    QSharedPointer<Plugin::OptiRoster::ICameraEnumerationService> m_ptrEnumeration;
    QSharedPointer<Plugin::OptiRoster::ICameraStatusService> m_ptrStatus;
    QSharedPointer<Plugin::OptiRoster::ICameraControlService> m_ptrControl;
    QSharedPointer<Plugin::OptiRoster::ICameraStreamControlService> m_ptrStream;
    QSharedPointer<Plugin::OptiRoster::IImageGrabbedNotifierService> m_ptrNotifier;
    // Optional: the tour skips a service that isn't registered.
    QSharedPointer<Plugin::OptiRoster::IImageDecompressorService> m_ptrDecompressor;
    QSharedPointer<Plugin::OptiRoster::IStaticDefectPixelCorrectionService> m_ptrDefectPixels;
    QSharedPointer<Plugin::OptiRoster::ICameraActionCommandsService> m_ptrActionCommands;

    Core::OptiRosterComponents::CameraInfoPtr m_ptrCamera;
    std::unique_ptr<CImageCounter> m_pCounter;
    // Declared after the counter, so that it goes first: the notifier never calls a counter
    // that has gone.
    Plugin::OptiRoster::CObserverRegistration m_counterRegistration;
    bool m_open = false;
    bool m_grabbing = false;
    bool m_waitingForCamera = false;
    bool m_done = false;

    struct Figures
    {
        int grabbed = 0;
        int failed = 0;
        double fps = 0.0;
        uint64_t bps = 0;
        Plugin::OptiRoster::CCompressionStatistic compression;
    } m_figures;

    QTextStream m_out;
};
