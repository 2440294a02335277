#pragma once

#include <clientservices.h>
#include <host.h>
#include <viewerwindow.h>

#include <QAbstractSpinBox>
#include <QApplication>
#include <QLineEdit>
#include <QDir>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

#include <memory>

// The viewer as its program puts it together: the roster and the panel plug-ins loaded by the
// host from the build's plug-in folder, and the main window with every panel. Tests drive it
// through the panels' widgets, as a person would, and reach the roster only through its
// services. Load the scenario before start().
class CViewerFixture
{
public:
    ~CViewerFixture() { stop(); }

    // panels: file name patterns of the panel plug-ins to load (all by default).
    bool start(const QStringList& panels = {QStringLiteral("*")})
    {
        const QString pluginDir = qEnvironmentVariable("TAVIX_PLUGIN_DIR");
        m_host = std::make_unique<CHost>();
        if (!m_host->load(CHost::findPlugin(pluginDir))) {
            qWarning() << m_host->errorString();
            return false;
        }
        const QDir viewerDir(QDir(pluginDir).filePath(QStringLiteral("viewer")));
        for (const QFileInfo& file : viewerDir.entryInfoList(panels, QDir::Files, QDir::Name)) {
            if (QLibrary::isLibrary(file.fileName()) && !m_host->load(file.absoluteFilePath())) {
                qWarning() << m_host->errorString();
                return false;
            }
        }
        if (!m_host->start())
            return false;
        // The first pass runs on a worker and its result comes by queue: not before the event loop turns.
        services = CClientServices::find(m_host->registry());
        if (!services.enumeration)
            return false;
        QSignalSpy enumerated(services.enumeration.data(), &Plugin::OptiRoster::ICameraEnumerationService::enumerationChanged);
        window = std::make_unique<Viewer::CViewerWindow>(m_host->registry());
        window->show();
        return !enumerated.isEmpty() || enumerated.wait(10000);
    }

    void stop()
    {
        if (!m_host)
            return;
        // The active device is the process's and outlives a load of the roster: the next test
        // starts without one.
        if (services.status)
            services.status->setActiveDevice({});
        window.reset();
        services = CClientServices();
        m_host->stop();
        m_host.reset();
    }

    // The enumerated camera of that serial number, or none.
    Core::OptiRosterComponents::CameraInfoPtr camera(const QString& serial) const
    {
        for (const auto& layer : services.enumeration->getTransportLayers()) {
            for (const auto& camera : layer->getCameraInfoList()) {
                if (camera->getSerialNumber() == serial)
                    return camera;
            }
        }
        return {};
    }

    // What a person does: clicks into the box, types a value and presses Enter.
    static void type(QAbstractSpinBox* box, const QString& text)
    {
        QVERIFY(box);
        box->setFocus();
        box->findChild<QLineEdit*>()->selectAll();
        QTest::keyClicks(box, text);
        QTest::keyClick(box, Qt::Key_Return);
    }

    template <typename Widget>
    Widget* find(const QString& objectName) const
    {
        return window ? window->findChild<Widget*>(objectName) : nullptr;
    }

    CClientServices services;
    std::unique_ptr<Viewer::CViewerWindow> window;

private:
    std::unique_ptr<CHost> m_host;
};

// main() of a viewer test: a QApplication (the platform comes from QT_QPA_PLATFORM, offscreen in
// CTest), Qt's test mode for settings, and the plug-ins' log lines off.
#define TAVIX_VIEWER_TEST_MAIN(TestClass)                                      \
    int main(int argc, char* argv[])                                           \
    {                                                                          \
        QStandardPaths::setTestModeEnabled(true);                              \
        QApplication app(argc, argv);                                          \
        QCoreApplication::setOrganizationName(QStringLiteral("TavixTests"));   \
        QCoreApplication::setApplicationName(QStringLiteral(#TestClass));      \
        QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));     \
        TestClass test;                                                        \
        QTEST_SET_MAIN_SOURCE_PATH                                             \
        return QTest::qExec(&test, argc, argv);                                \
    }
