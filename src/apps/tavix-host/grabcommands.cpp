#include "commands.h"

#include "devicetree.h"
#include "grabsession.h"
#include "interruptwatcher.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>

#include <memory>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

constexpr int DefaultRunImages = 25;

QString bandwidthText(quint64 bytesPerSecond)
{
    return QStringLiteral("%1 MB/s").arg(double(bytesPerSecond) / 1.0e6, 0, 'f', 1);
}

void reportFigures(CCommandContext& context, const CGrabSession& session, const CameraInfoPtr& camera, qint64 elapsedMs)
{
    const CGrabSession::Figures figures = session.figures();
    context.out << QStringLiteral("%1 images from %2 in %3 s: %4 fps, %5, %6 failed\n")
                       .arg(session.imagesSeen())
                       .arg(camera->getDisplayName())
                       .arg(elapsedMs / 1000.0, 0, 'f', 2)
                       .arg(figures.fps, 0, 'f', 1)
                       .arg(bandwidthText(figures.bps))
                       .arg(figures.failed);
    for (const QString& file : session.snapshots())
        context.out << "Snapshot: " << file << '\n';
    for (const QString& error : session.snapshotErrors())
        context.err << error << '\n';
    if (session.skippedSnapshots() > 0)
        context.err << session.skippedSnapshots() << " snapshots were skipped while the encoder was busy.\n";
}

// Grabs from an open session until the count, an interruption or the grab's own end, then
// stops and closes.
int grabAndReport(CCommandContext& context, CGrabSession& session, const CameraInfoPtr& camera,
                  const CGrabSession::Options& options)
{
    context.out << "Grabbing from " << camera->getDisplayName() << (options.count > 0 ? QString() : QStringLiteral("; Ctrl-C stops"))
                << ".\n";
    context.out.flush();
    QEventLoop loop;
    QObject::connect(&session, &CGrabSession::finished, &loop, &QEventLoop::quit);
    QObject::connect(&context.interrupt, &CInterruptWatcher::interrupted, &loop, &QEventLoop::quit);
    QElapsedTimer clock;
    clock.start();
    session.start();
    if (!context.interrupt.isInterrupted())
        loop.exec();
    const qint64 elapsed = clock.elapsed();
    session.stop();
    // The last statistics cross to this thread by queue.
    QCoreApplication::processEvents();
    reportFigures(context, session, camera, elapsed);
    if (context.interrupt.isInterrupted()) {
        context.out << "Interrupted; " << camera->getDisplayName() << " is closed.\n";
        return ExitSuccess;
    }
    if (!session.endReason().isEmpty()) {
        context.err << session.endReason() << '\n';
        return ExitFailure;
    }
    return ExitSuccess;
}

} // namespace

// The first camera that opens and can give a snapshot; failing that, the first that opens.
std::unique_ptr<CGrabSession> openSnapshotCamera(CCommandContext& context, const QVector<CameraInfoPtr>& cameras,
                                                 const CGrabSession::Options& options, CameraInfoPtr& chosen)
{
    for (const bool withSnapshot : {true, false}) {
        for (const auto& camera : cameras) {
            auto session = std::make_unique<CGrabSession>(context.services, camera, options);
            QString error;
            if (!session->open(error))
                continue;
            if (!session->prepareSnapshots(error) && withSnapshot)
                continue;
            if (!withSnapshot)
                context.err << "No camera can give a snapshot: " << error << '\n';
            chosen = camera;
            return session;
        }
    }
    return {};
}

int runDefault(CCommandContext& context)
{
    const CDeviceTree tree(context.services.enumeration->getTransportLayers(), context.services.status);
    tree.print(context.out);
    const auto cameras = tree.cameras();
    if (cameras.isEmpty()) {
        context.err << "No camera was found.\n";
        return ExitFailure;
    }
    CGrabSession::Options options;
    options.count = DefaultRunImages;
    options.maxSnapshots = 1;
    options.pngDirectory = context.parser.value(context.options.png);
    const bool temporaryFolder = options.pngDirectory.isEmpty();
    if (temporaryFolder) {
        QTemporaryDir folder(QDir::temp().absoluteFilePath(QStringLiteral("tavix-host-XXXXXX")));
        folder.setAutoRemove(false); // the snapshot is the run's result
        options.pngDirectory = folder.path();
    }
    context.out << '\n';
    CameraInfoPtr camera;
    const auto session = openSnapshotCamera(context, cameras, options, camera);
    if (!session) {
        context.err << "No camera could be opened.\n";
        if (temporaryFolder)
            QDir().rmdir(options.pngDirectory);
        return ExitFailure;
    }
    const int status = grabAndReport(context, *session, camera, options);
    if (temporaryFolder)
        QDir().rmdir(options.pngDirectory); // only when no snapshot went there
    return status;
}

int runGrab(CCommandContext& context)
{
    int status = ExitSuccess;
    CGrabSession::Options options;
    options.count = integerOption(context, context.options.count, status);
    options.every = qMax(1, integerOption(context, context.options.every, status));
    if (status != ExitSuccess)
        return status;
    const CameraInfoPtr camera = resolveCamera(context, context.parser.value(context.options.camera), status);
    if (!camera)
        return status;
    options.pngDirectory = context.parser.value(context.options.png);
    options.monitor = context.parser.isSet(context.options.monitor);
    options.exclusive = context.parser.isSet(context.options.exclusive);
    CGrabSession session(context.services, camera, options);
    QString error;
    if (!session.open(error) || !session.prepareSnapshots(error)) {
        context.err << error << '\n';
        return ExitFailure;
    }
    return grabAndReport(context, session, camera, options);
}
