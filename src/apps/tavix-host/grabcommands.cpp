#include "commands.h"

#include "devicetree.h"
#include "grabsession.h"
#include "interruptwatcher.h"

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
    const double seconds = elapsedMs / 1000.0;
    const double perSecond = seconds > 0 ? 1.0 / seconds : 0.0;
    context.out << QStringLiteral("%1 images from %2 in %3 s: %4 fps, %5 on average; %6 failed, %7 skipped\n")
                       .arg(figures.images)
                       .arg(camera->getDisplayName())
                       .arg(seconds, 0, 'f', 2)
                       .arg(figures.images * perSecond, 0, 'f', 1)
                       .arg(bandwidthText(quint64(double(figures.bytes) * perSecond)))
                       .arg(figures.failed)
                       .arg(figures.skipped);
    for (const QString& file : session.snapshots())
        context.out << "Snapshot: " << file << '\n';
    if (session.skippedSnapshots() > 0)
        context.err << session.skippedSnapshots() << " snapshots were skipped while the encoder was busy.\n";
}

// Every snapshot that failed, each reason once with how often it came; true when there was none.
bool reportSnapshotErrors(CCommandContext& context, const CGrabSession& session)
{
    const QStringList errors = session.snapshotErrors();
    QStringList reasons;
    for (const QString& error : errors) {
        if (!reasons.contains(error))
            reasons << error;
    }
    for (const QString& reason : reasons) {
        const int times = errors.count(reason);
        context.err << reason << (times > 1 ? QStringLiteral(" (%1 snapshots)").arg(times) : QString()) << '\n';
    }
    return errors.isEmpty();
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
    qint64 elapsed = 0;
    if (!runSession(context, session, loop, elapsed))
        return ExitFailure;
    session.stop();
    reportFigures(context, session, camera, elapsed);
    const bool snapshotsWritten = reportSnapshotErrors(context, session);
    if (context.interrupt.isInterrupted()) {
        context.out << "Interrupted; " << camera->getDisplayName() << " is closed.\n";
        return snapshotsWritten ? ExitSuccess : ExitFailure;
    }
    if (!session.endReason().isEmpty()) {
        context.err << session.endReason() << '\n';
        return ExitFailure;
    }
    return snapshotsWritten ? ExitSuccess : ExitFailure;
}

} // namespace

bool runSession(CCommandContext& context, CGrabSession& session, QEventLoop& loop, qint64& elapsedMs)
{
    QObject::connect(&session, &CGrabSession::finished, &loop, &QEventLoop::quit);
    QObject::connect(&context.interrupt, &CInterruptWatcher::interrupted, &loop, &QEventLoop::quit);
    QElapsedTimer clock;
    clock.start();
    if (!session.start()) {
        context.err << session.endReason() << '\n';
        return false;
    }
    if (!context.interrupt.isInterrupted())
        loop.exec();
    elapsedMs = clock.elapsed();
    return true;
}

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
