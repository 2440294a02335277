#include "startupcamera.h"
#include "viewerwindow.h"

#include <host.h>

#include <tavix/sim/simcontrol.h>

#include <QAction>
#include <QApplication>
#include <QStatusBar>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QTextStream>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

// ../plugins beside the program in the build tree; the installed plug-in folder otherwise.
QString defaultPluginDir(const QString& programDir)
{
    const QDir dir(programDir);
    const QString buildTreeDir = dir.absoluteFilePath(QStringLiteral("../plugins"));
    if (QFileInfo(buildTreeDir).isDir())
        return buildTreeDir;
    return QDir::cleanPath(dir.absoluteFilePath(QStringLiteral(TAVIX_VIEWER_INSTALLED_PLUGIN_DIR)));
}

// Without a display QApplication would abort with a message about platform plug-ins; say
// what to do instead.
bool haveDisplay()
{
    return qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || qEnvironmentVariableIsSet("DISPLAY")
           || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

struct CViewerOptions
{
    QCommandLineOption scenario{QStringLiteral("scenario"),
                                QStringLiteral("The simulated world's scenario file (as TAVIX_SIM_SCENARIO)."),
                                QStringLiteral("file")};
    QCommandLineOption backends{QStringLiteral("backends"),
                                QStringLiteral("The camera worlds, comma-separated: sim, aravis (as TAVIX_BACKENDS)."),
                                QStringLiteral("list")};
    QCommandLineOption pluginDir{QStringLiteral("plugin-dir"),
                                 QStringLiteral("The folder of the roster plug-in; the panels are in its viewer/ folder."),
                                 QStringLiteral("folder")};
    QCommandLineOption verbose{QStringLiteral("verbose"), QStringLiteral("Show the plug-ins' log lines on standard error.")};
    QCommandLineOption camera{QStringLiteral("camera"),
                              QStringLiteral("Make the camera (display name, full name, serial number or a unique prefix) the "
                                             "active one, open it and grab at start-up; repeat it to grab from several (the "
                                             "first is the active one)."),
                              QStringLiteral("name")};
    QCommandLineOption grid{QStringLiteral("grid"), QStringLiteral("Show every grabbing camera at once, in a grid.")};
    QCommandLineOption screenshot{QStringLiteral("screenshot"),
                                  QStringLiteral("Save a picture of the window as a PNG file after --screenshot-after "
                                                 "milliseconds, and quit."),
                                  QStringLiteral("file")};
    QCommandLineOption screenshotAfter{QStringLiteral("screenshot-after"),
                                       QStringLiteral("The wait before the screenshot (3000 ms)."), QStringLiteral("ms"),
                                       QStringLiteral("3000")};
    QCommandLineOption client{QStringLiteral("client"),
                              QStringLiteral("A client plug-in to load after the panels (repeatable), such as the MQTT bridge."),
                              QStringLiteral("file")};
    QList<QCommandLineOption> all() const
    {
        return {scenario, backends, pluginDir, client, verbose, camera, grid, screenshot, screenshotAfter};
    }
};

// The picture of the window that --screenshot asks for; then the viewer ends.
void scheduleScreenshot(QWidget* window, const QString& file, int afterMs, QTextStream& err)
{
    QTimer::singleShot(afterMs, window, [window, file, &err] {
        if (!window->grab().save(file, "PNG")) {
            err << "The screenshot could not be written to " << file << ".\n";
            err.flush();
            QApplication::exit(1);
            return;
        }
        QApplication::quit();
    });
}

// The settings that must be in place before the roster makes its first call to the SDK. A
// scenario that can't be used leaves the simulated world empty, with the reason in
// scenarioError for the window to show: a person started a viewer, and gets one that says why
// it has no cameras.
bool applyOptions(const QCommandLineParser& parser, const CViewerOptions& options, QTextStream& err, QString& scenarioError)
{
    if (!parser.isSet(options.verbose))
        QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));
    QString error;
    if (!CHost::chooseCameraWorld(parser.value(options.backends), QString(), &error)) {
        err << error << '\n';
        return false;
    }
    const QString scenario = parser.isSet(options.scenario) ? parser.value(options.scenario) : qEnvironmentVariable("TAVIX_SIM_SCENARIO");
    if (!scenario.isEmpty() && !CHost::chooseCameraWorld(QString(), scenario, &scenarioError)) {
        err << scenarioError << '\n';
        TavixSim::loadScenario(QByteArrayLiteral("{\"transportLayers\": []}"));
    }
    return true;
}

// Whether a person asked only for the help or the version, which need no display.
bool asksForTextOnly(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "-h" || argument == "--help" || argument == "--help-all" || argument == "-?" || argument == "-v"
            || argument == "--version")
            return true;
    }
    return false;
}

void describe(QCommandLineParser& parser, const CViewerOptions& options)
{
    parser.setApplicationDescription(QStringLiteral("A camera viewer: the camera roster plug-in and the viewer's panels, "
                                                    "loaded as plug-ins of the host."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions(options.all());
}

// The roster first, then every panel plug-in of the viewer's folder, in the order of their names,
// then the client plug-ins asked for.
bool loadPlugins(CHost& host, const QString& pluginDir, const QStringList& clients, QTextStream& err)
{
    const QString roster = CHost::findPlugin(pluginDir);
    if (roster.isEmpty() || !host.load(roster)) {
        err << "The camera roster plug-in was not found in " << pluginDir << (roster.isEmpty() ? QString() : ": " + host.errorString())
            << '\n';
        return false;
    }
    const QDir panels(QDir(pluginDir).filePath(QStringLiteral("viewer")));
    for (const QFileInfo& file : panels.entryInfoList(QDir::Files, QDir::Name)) {
        if (QLibrary::isLibrary(file.fileName()) && !host.load(file.absoluteFilePath())) {
            err << "The panel plug-in " << file.fileName() << " could not be loaded: " << host.errorString() << '\n';
            return false;
        }
    }
    for (const QString& client : clients) {
        if (!host.load(client)) {
            err << "The client plug-in could not be loaded: " << host.errorString() << '\n';
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    QTextStream err(stderr);
    CViewerOptions options;
    if (asksForTextOnly(argc, argv)) {
        // Printed and ended by the parser, without a window.
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("tavix-viewer"));
        QCoreApplication::setApplicationVersion(QStringLiteral(TAVIX_VIEWER_VERSION));
        QCommandLineParser parser;
        describe(parser, options);
        parser.process(app);
        return 0;
    }
    if (!haveDisplay()) {
        err << "tavix-viewer needs a display, and none is set (DISPLAY, WAYLAND_DISPLAY or QT_QPA_PLATFORM).\n"
               "Run it on a desktop, under a virtual one (xvfb-run -a tavix-viewer), or draw off screen "
               "(QT_QPA_PLATFORM=offscreen tavix-viewer).\n";
        return 1;
    }
    QApplication app(argc, argv);
    // The roster's settings ("Grab", "Enumeration") are the host application's: the same as tavix-host's.
    QApplication::setOrganizationName(QStringLiteral("Tavix"));
    QApplication::setApplicationName(QStringLiteral("TavixViewer"));
    QApplication::setApplicationVersion(QStringLiteral(TAVIX_VIEWER_VERSION));

    QCommandLineParser parser;
    describe(parser, options);
    parser.process(app);
    QString scenarioError;
    if (!applyOptions(parser, options, err, scenarioError))
        return 2;

    const QString pluginDir = parser.isSet(options.pluginDir) ? parser.value(options.pluginDir)
                                                               : defaultPluginDir(QApplication::applicationDirPath());
    CHost host;
    if (!loadPlugins(host, pluginDir, parser.values(options.client), err))
        return 1;
    if (!host.start()) {
        err << "The plug-ins could not be started.\n";
        host.stop();
        return 1;
    }
    int status = 0;
    {
        // The panels' widgets go before the plug-ins are uninitialised: they hold the services.
        Viewer::CViewerWindow window(host.registry());
        window.show();
        if (!scenarioError.isEmpty()) {
            // Once the window stands, so that the message has it as its parent.
            QTimer::singleShot(0, &window, [&window, scenarioError] {
                QMessageBox::critical(&window, QObject::tr("Scenario Not Loaded"),
                                      QObject::tr("The simulated cameras' scenario can't be used, so the viewer starts without "
                                                  "simulated cameras.\n\n%1")
                                          .arg(scenarioError));
            });
        }
        std::vector<std::unique_ptr<Viewer::CStartupCamera>> startupCameras;
        for (const QString& name : parser.values(options.camera)) {
            startupCameras.push_back(std::make_unique<Viewer::CStartupCamera>(CClientServices::find(host.registry()), name,
                                                                              startupCameras.empty()));
            QObject::connect(startupCameras.back().get(), &Viewer::CStartupCamera::finished, &window, [&window](const QString& error) {
                if (!error.isEmpty())
                    window.statusBar()->showMessage(error);
            });
        }
        if (parser.isSet(options.grid)) {
            // The image panel offers the grid in the Camera menu.
            if (auto* showGrid = window.findChild<QAction*>(QStringLiteral("showGridMenu")))
                showGrid->trigger();
        }
        if (parser.isSet(options.screenshot))
            scheduleScreenshot(&window, parser.value(options.screenshot), parser.value(options.screenshotAfter).toInt(), err);
        status = app.exec();
    }
    host.stop();
    return status;
}
