#include "commands.h"

#include "grabsession.h"
#include "interruptwatcher.h"

#include <imagerecorder.h>
#include <recordingwriter.h>

#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTimer>

using Core::OptiRosterComponents::CameraInfoPtr;
using Recording::CImageRecorder;

namespace {

// "<serial>-<date>-<time>", with the format's extension for a video, in the current folder.
QString defaultTarget(const CameraInfoPtr& camera, Recording::ERecordingFormat format)
{
    QString name = camera->getSerialNumber().isEmpty() ? camera->getDisplayName() : camera->getSerialNumber();
    name.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9.-]+")), QStringLiteral("_"));
    name += QDateTime::currentDateTime().toString(QStringLiteral("-yyyyMMdd-HHmmss"));
    if (Recording::isVideo(format))
        name += QLatin1Char('.') + Recording::fileExtension(format);
    return QDir::current().absoluteFilePath(name);
}

// The options of the command line that say what is recorded and how; false with the status set
// on a bad one.
bool recorderOptions(CCommandContext& context, CImageRecorder::Options& options, int& seconds, int& status)
{
    const QString formatName = context.parser.value(context.options.format);
    if (!Recording::formatFromName(formatName, options.format)) {
        context.err << "--format is one of " << Recording::formatNames().join(QStringLiteral(", ")) << ", not '"
                    << formatName << "'.\n";
        status = ExitUsage;
        return false;
    }
    const QString rotation = context.parser.value(context.options.rotate);
    const int degrees = rotation.toInt();
    if (!QStringList{"0", "90", "180", "270"}.contains(rotation)) {
        context.err << "--rotate takes 0, 90, 180 or 270, not '" << rotation << "'.\n";
        status = ExitUsage;
        return false;
    }
    options.orientation = Recording::COrientation{degrees / 90, context.parser.isSet(context.options.mirror)};
    if (context.parser.isSet(context.options.count) && context.parser.isSet(context.options.seconds)) {
        context.err << "record stops after --count images or after --seconds, not both.\n";
        status = ExitUsage;
        return false;
    }
    options.maxImages = context.parser.isSet(context.options.count) ? integerOption(context, context.options.count, status) : 0;
    seconds = context.parser.isSet(context.options.seconds) ? integerOption(context, context.options.seconds, status) : 0;
    return status == ExitSuccess;
}

void reportRecording(CCommandContext& context, const CImageRecorder& recorder, const CameraInfoPtr& camera, qint64 elapsedMs)
{
    const CImageRecorder::Figures figures = recorder.figures();
    context.out << QStringLiteral("Recorded %1 images of %2 in %3 s to %4 (%5); %6 dropped, %7 failed in the camera.\n")
                       .arg(figures.written)
                       .arg(camera->getDisplayName())
                       .arg(double(elapsedMs) / 1000.0, 0, 'f', 2)
                       .arg(QDir::toNativeSeparators(recorder.target()),
                            Recording::formatDescription(recorder.options().format))
                       .arg(figures.dropped)
                       .arg(figures.failed);
    context.out << QStringLiteral("Recorder thread: %1 ms of processor time per image.\n").arg(figures.cpuMsPerImage, 0, 'f', 2);
}

} // namespace

int runRecord(CCommandContext& context)
{
    int status = ExitSuccess;
    CImageRecorder::Options recording;
    int seconds = 0;
    if (!recorderOptions(context, recording, seconds, status))
        return status;
    const CameraInfoPtr camera = resolveCamera(context, context.parser.value(context.options.camera), status);
    if (!camera)
        return status;
    // Made once the camera is open; the session, which goes first, hands it each image from the
    // grab thread, and the recorder never makes that thread wait.
    std::unique_ptr<CImageRecorder> recorder;
    CGrabSession::Options options;
    options.count = 0; // the recorder counts the images it takes
    options.monitor = context.parser.isSet(context.options.monitor);
    options.exclusive = context.parser.isSet(context.options.exclusive);
    options.imageSink = [&recorder](const Tavix::CGrabResultPtr& result) { recorder->offer(result); };
    CGrabSession session(context.services, camera, options);
    QString error;
    if (!session.open(error)) {
        context.err << error << '\n';
        return ExitFailure;
    }
    recording.target = context.parser.isSet(context.options.output)
                           ? QDir::current().absoluteFilePath(context.parser.value(context.options.output))
                           : defaultTarget(camera, recording.format);
    // A video's file without an extension gets its format's.
    if (Recording::isVideo(recording.format) && QFileInfo(recording.target).suffix().isEmpty())
        recording.target += QLatin1Char('.') + Recording::fileExtension(recording.format);
    recording.baseName = camera->getSerialNumber().isEmpty() ? QStringLiteral("image") : camera->getSerialNumber();
    recording.nominalRate = session.optionalParameter(QStringLiteral("AcquisitionFrameRate")).toDouble();
    recording.decompressors = session.decompressors();
    recorder = std::make_unique<CImageRecorder>(recording);
    if (!recorder->start(error)) {
        context.err << error << '\n';
        return ExitFailure;
    }
    context.out << "Recording " << camera->getDisplayName() << " to " << QDir::toNativeSeparators(recorder->target())
                << (recording.maxImages > 0 || seconds > 0 ? QString() : QStringLiteral("; Ctrl-C stops")) << ".\n";
    context.out.flush();
    QEventLoop loop;
    QObject::connect(recorder.get(), &CImageRecorder::limitReached, &loop, &QEventLoop::quit);
    QObject::connect(recorder.get(), &CImageRecorder::finished, &loop, &QEventLoop::quit);
    if (seconds > 0)
        QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    qint64 elapsed = 0;
    if (!runSession(context, session, loop, elapsed))
        return ExitFailure;
    // The grab first, so that no image comes any more; then the queue is written and the file finished.
    session.stop();
    recorder->requestStop();
    // The queue may still hold images, and a slow disk makes this last: say what is going on.
    context.out << "Finishing " << QDir::toNativeSeparators(recorder->target()) << ".\n";
    context.out.flush();
    recorder->waitForFinished();
    reportRecording(context, *recorder, camera, elapsed);
    if (!recorder->error().isEmpty()) {
        context.err << "The recording ended early: " << recorder->error() << '\n';
        return ExitFailure;
    }
    if (context.interrupt.isInterrupted())
        context.out << "Interrupted; the recording is finished and " << camera->getDisplayName() << " is closed.\n";
    else if (!session.endReason().isEmpty()) {
        context.err << session.endReason() << '\n';
        return ExitFailure;
    }
    const CImageRecorder::Figures figures = recorder->figures();
    if (figures.dropped > 0) {
        context.err << figures.dropped << " of " << figures.offered
                    << " images were dropped: the recorder didn't keep up with the camera.\n";
        return ExitDropped;
    }
    if (figures.written == 0) {
        context.err << "No image was recorded.\n";
        return ExitFailure;
    }
    return ExitSuccess;
}
