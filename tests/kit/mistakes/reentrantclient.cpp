// A client plug-in that makes a mistake on purpose: from inside onImageGrabbed, on the grab
// thread, it asks the notifier to remove and then to add an observer. The notifier refuses both
// with Core::Exception::InvalidOperationException, instead of waiting for itself for ever; the
// client says what it was told and ends its run.
#include <core/exception/exceptions.h>
#include <core/plugin/iplugin.h>
#include <core/plugin/servicelookup.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>

#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>
#include <QTextStream>

#include <atomic>
#include <functional>

using Core::OptiRosterComponents::CameraInfoPtr;
using namespace Plugin::OptiRoster;

class CReentrantClient : public Core::Plugin::IPlugin, public IImageGrabbedObserver
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "reentrantclient.json")
public:
    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer> registry) override
    {
        m_registry = registry;
        return true;
    }

    bool postInitialize() override
    {
        const auto registry = m_registry.toStrongRef();
        m_enumeration = Core::Plugin::findService<ICameraEnumerationService>(registry);
        m_control = Core::Plugin::findService<ICameraControlService>(registry);
        m_stream = Core::Plugin::findService<ICameraStreamControlService>(registry);
        m_notifier = Core::Plugin::findService<IImageGrabbedNotifierService>(registry);
        if (!m_enumeration || !m_control || !m_stream || !m_notifier)
            return false;
        connect(m_enumeration.data(), &ICameraEnumerationService::enumerationChanged, this, &CReentrantClient::grab);
        if (!m_enumeration->getTransportLayers().isEmpty())
            QMetaObject::invokeMethod(this, &CReentrantClient::grab, Qt::QueuedConnection);
        return true;
    }

    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer>) override
    {
        stop();
        m_enumeration.reset();
        m_control.reset();
        m_stream.reset();
        m_notifier.reset();
        m_camera.reset();
        return true;
    }

    // The grab thread. Both calls are mistakes; the notifier must refuse them and go on.
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr&) override
    {
        if (m_tried.exchange(true))
            return;
        const QString removal = attempt([this] { m_notifier->removeObserver(this); });
        const QString addition = attempt([this] { m_notifier->addObserver(this); });
        {
            QMutexLocker locker(&m_mutex);
            m_removal = removal;
            m_addition = addition;
        }
        QMetaObject::invokeMethod(this, &CReentrantClient::report, Qt::QueuedConnection);
    }

signals:
    void finished(int status);

private:
    static QString attempt(const std::function<void()>& call)
    {
        try {
            call();
            return QStringLiteral("not refused");
        } catch (const Core::Exception::InvalidOperationException& e) {
            return QStringLiteral("refused: ") + e.getMessage();
        } catch (const Core::Exception::BaseException& e) {
            return QStringLiteral("refused with another type: ") + e.getMessage();
        }
    }

    void grab()
    {
        if (m_camera)
            return;
        for (const auto& layer : m_enumeration->getTransportLayers()) {
            if (!layer->getCameraInfoList().isEmpty()) {
                m_camera = layer->getCameraInfoList().first();
                break;
            }
        }
        if (!m_camera || !m_control->open(m_camera, false)) {
            QTextStream(stdout) << "ReentrantClient: no camera to grab from" << Qt::endl;
            emit finished(1);
            return;
        }
        m_notifier->addObserver(this);
        m_stream->startGrabbing(m_camera);
    }

    void stop()
    {
        if (!m_camera || !m_stream)
            return;
        m_stream->stopGrabbing(m_camera);
        m_notifier->removeObserver(this);
        m_control->close(m_camera);
    }

    void report()
    {
        stop();
        QString removal;
        QString addition;
        {
            QMutexLocker locker(&m_mutex);
            removal = m_removal;
            addition = m_addition;
        }
        QTextStream out(stdout);
        out << "ReentrantClient: removeObserver inside onImageGrabbed: " << removal << Qt::endl;
        out << "ReentrantClient: addObserver inside onImageGrabbed: " << addition << Qt::endl;
        const bool refused = removal.startsWith(QLatin1String("refused: ")) && addition.startsWith(QLatin1String("refused: "));
        emit finished(refused ? 0 : 1);
    }

    QWeakPointer<Core::Plugin::IPluginInitializer> m_registry;
    QSharedPointer<ICameraEnumerationService> m_enumeration;
    QSharedPointer<ICameraControlService> m_control;
    QSharedPointer<ICameraStreamControlService> m_stream;
    QSharedPointer<IImageGrabbedNotifierService> m_notifier;
    CameraInfoPtr m_camera;
    std::atomic<bool> m_tried{false};
    QMutex m_mutex;
    QString m_removal;
    QString m_addition;
};

#include "reentrantclient.moc"
