#include "exampleclientplugin.h"

#include <core/exception/exceptions.h>

// What the other services tell of the camera, open and idle after its grab. Each step prints one
// line; a failure is shown and the tour goes on.
void CExampleClientPlugin::tourServices()
{
    if (!m_open)
        return;
    showDecompressor();
    showDefectPixels();
    showActionCommands();
    showActiveDevice();
    showExclusiveUse();
}

void CExampleClientPlugin::showDecompressor()
{
    if (!m_ptrDecompressor)
        return;
    //! [decompressor]
    // Set up at the grab's start for a camera that compresses; null for one that doesn't. The
    // decompressor is safe to use on the grab thread, from an observer.
    const QSharedPointer<const Tavix::CImageDecompressor> decompressor = m_ptrDecompressor->getImageDecompressor(m_ptrCamera);
    m_out << "ExampleClient: decompressor: " << (decompressor ? "ready" : "none, the camera doesn't compress");
    if (decompressor) {
        // A read that the client can't do without throws the host's exception type.
        try {
            m_out << ", descriptor of " << m_ptrDecompressor->getCompressionDescriptor(m_ptrCamera).size() << " bytes";
        } catch (const Core::Exception::BaseException& e) {
            m_out << ", no descriptor: " << e.getMessage();
        }
    }
    m_out << Qt::endl;
    //! [decompressor]
}

void CExampleClientPlugin::showDefectPixels()
{
    if (!m_ptrDefectPixels)
        return;
    //! [defect-pixels]
    // The camera must be open and idle. The support question throws when it isn't; the list
    // operations answer false and leave the reason in the description's last error.
    try {
        if (!m_ptrDefectPixels->isDefectPixelCorrectionSupported(m_ptrCamera)) {
            m_out << "ExampleClient: no defect pixel correction" << Qt::endl;
            return;
        }
    } catch (const Core::Exception::BaseException& e) {
        m_out << "ExampleClient: defect pixel correction unknown: " << e.getMessage() << Qt::endl;
        return;
    }
    Tavix::StaticDefectPixelList pixels;
    if (m_ptrDefectPixels->getDefectPixelList(m_ptrCamera, pixels, Plugin::OptiRoster::ListType_User))
        m_out << "ExampleClient: user list of defect pixels: " << pixels.size() << " pixels" << Qt::endl;
    else
        m_out << "ExampleClient: no user list of defect pixels: " << m_ptrCamera->getLastError() << Qt::endl;
    //! [defect-pixels]
}

void CExampleClientPlugin::showActionCommands()
{
    if (!m_ptrActionCommands)
        return;
    //! [action-commands]
    m_out << "ExampleClient: action commands: "
          << (m_ptrActionCommands->supportsActionCommands(m_ptrCamera) ? "supported" : "not supported")
          << ", scheduled: " << (m_ptrActionCommands->supportsScheduledActionCommands(m_ptrCamera) ? "yes" : "no")
          << Qt::endl;
    //! [action-commands]
}

void CExampleClientPlugin::showActiveDevice()
{
    //! [active-device]
    // One active device for the whole process, shared by every client: the operations that name
    // no device act on it. A client that sets it says so to all others by activeDeviceChanged().
    const Core::OptiRosterComponents::DeviceBaseInfoPtr before = m_ptrStatus->getActiveDevice();
    m_ptrStatus->setActiveDevice(m_ptrCamera);
    const bool openByActiveDevice = m_ptrStatus->isDeviceOpen(m_ptrStatus->getActiveDevice());
    m_ptrStatus->setActiveDevice(before);
    //! [active-device]
    m_out << "ExampleClient: as the active device, the camera is " << (openByActiveDevice ? "open" : "closed") << Qt::endl;
}

void CExampleClientPlugin::showExclusiveUse()
{
    //! [exclusive-use]
    // In exclusive use, the camera leaves the roster's shared view: other clients can't open,
    // grab or find it, and its images come only through the ICamera signals of the object
    // handed out here. Give it back when done.
    const QSharedPointer<Plugin::OptiRoster::ICamera> camera = m_ptrControl->takeExclusive(m_ptrCamera);
    if (!camera) {
        m_out << "ExampleClient: the camera can't be taken into exclusive use" << Qt::endl;
        return;
    }
    const bool exclusive = m_ptrStatus->isExclusive(m_ptrCamera);
    const bool released = m_ptrControl->releaseExclusive(camera);
    //! [exclusive-use]
    m_out << "ExampleClient: exclusive use: " << (exclusive ? "taken" : "not reported") << ", "
          << (released ? "given back" : "not given back") << Qt::endl;
}
