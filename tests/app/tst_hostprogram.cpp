#include "firmwarefixture.h"
#include "testmain.h"
#include <tavix/sim/testpattern.h>
#include <videoframes.h>

#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

#include <sys/stat.h>

namespace {

const QString CamerasScenario = QStringLiteral(TAVIX_TEST_DATA_DIR "/host-cameras.json");
const QString TimelineScenario = QStringLiteral(TAVIX_TEST_DATA_DIR "/host-timeline.json");
const QString EmptyScenario = QStringLiteral(TAVIX_TEST_DATA_DIR "/host-empty.json");
constexpr int RunTimeoutMs = 60000;
// What "at once" means for a command that must not wait for images or discovery that won't
// come: well below the 10 s that a stalled grab or a missing enumeration result would take.
constexpr int PromptMs = 8000;

struct RunResult
{
    qint64 elapsedMs = 0;
    int exitCode = -1;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    QString out;
    QString err;
};

// The full names of the cameras of a scenario file, in the file's order.
QStringList scenarioCameras(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QStringList names;
    for (const QJsonValue& layer : QJsonDocument::fromJson(file.readAll()).object().value("transportLayers").toArray()) {
        for (const QJsonValue& device : layer.toObject().value("devices").toArray())
            names << device.toObject().value("fullName").toString();
    }
    return names;
}

// The red and blue of a pixel of the simulated cameras' test pattern in the image of that number;
// a monochrome camera sends the red wave.
QPair<int, int> patternRedAndBlue(const QPoint& point, qint64 imageNumber, bool colour)
{
    const auto c = TavixSim::CTestPattern::colourAt(uint32_t(point.x()), uint32_t(point.y()), uint64_t(imageNumber));
    return {c.red, colour ? c.blue : c.red};
}

} // namespace

// The host program as a person runs it: a separate process, its exit status and its output.
class TestHostProgram : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void listNamesEveryScenarioCameraWithItsAddress();
    void theCommandsArePromptAndTruthfulAboutBadInput_data();
    void theCommandsArePromptAndTruthfulAboutBadInput();
    void grabReportsTheRunsImagesFailuresAndAverageRate();
    void logLinesOnlyWhenAskedFor_data();
    void logLinesOnlyWhenAskedFor();
    void grabWritesSnapshotsOfThePattern_data();
    void grabWritesSnapshotsOfThePattern();
    void recordWritesEveryImageTurnedAsAsked_data();
    void recordWritesEveryImageTurnedAsAsked();
    void anInterruptedRecordingFinishesItsVideo();
    void aRecordingThatDropsSaysSoInItsExitStatus();
    void watchShowsTheTimelinesComingAndGoing();
    void anInterruptedGrabClosesAndExitsCleanly();
    void serveEndsOnTime();
    void aClientPathIsTakenFromTheCurrentFolder_data();
    void aClientPathIsTakenFromTheCurrentFolder();
    void aServiceKeptPastTheRosterIsNamedAndNothingCrashes();
    void anUpdateWhoseCameraIsNotFoundAgainSaysTheFirmwareWasWritten();

private:
    void configure(QProcess& process, const QStringList& arguments, const QString& logRules = QString());
    RunResult run(const QStringList& arguments, const QString& logRules = QString());

    QTemporaryDir m_settingsHome; // the program's settings never reach the user's
};

void TestHostProgram::initTestCase()
{
    QVERIFY(QFileInfo::exists(QStringLiteral(TAVIX_HOST_PROGRAM)));
    QVERIFY(m_settingsHome.isValid());
}

// logRules: QT_LOGGING_RULES for the program; none by default, as a user's shell has.
void TestHostProgram::configure(QProcess& process, const QStringList& arguments, const QString& logRules)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_settingsHome.path());
    environment.remove(QStringLiteral("TAVIX_SIM_SCENARIO"));
    environment.remove(QStringLiteral("QT_LOGGING_RULES"));
    if (!logRules.isEmpty())
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), logRules);
    process.setProcessEnvironment(environment);
    process.setProgram(QStringLiteral(TAVIX_HOST_PROGRAM));
    process.setArguments(QStringList{"--plugin-dir", QStringLiteral(TAVIX_TEST_PLUGIN_DIR)} + arguments);
}

RunResult TestHostProgram::run(const QStringList& arguments, const QString& logRules)
{
    QProcess process;
    configure(process, arguments, logRules);
    QElapsedTimer clock;
    clock.start();
    process.start();
    RunResult result;
    if (!process.waitForFinished(RunTimeoutMs)) {
        process.kill();
        process.waitForFinished();
    }
    result.elapsedMs = clock.elapsed();
    result.exitCode = process.exitCode();
    result.exitStatus = process.exitStatus();
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

void TestHostProgram::listNamesEveryScenarioCameraWithItsAddress()
{
    const RunResult result = run({"--scenario", CamerasScenario, "list", "--json"});
    QCOMPARE(result.exitCode, 0);
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QStringList listed;
    QMap<QString, QString> addresses;
    for (const QJsonValue& layer : document.object().value("transportLayers").toArray()) {
        for (const QJsonValue& camera : layer.toObject().value("cameras").toArray()) {
            listed << camera.toObject().value("fullName").toString();
            addresses.insert(camera.toObject().value("serialNumber").toString(), camera.toObject().value("ipAddress").toString());
            QCOMPARE(camera.toObject().value("open").toBool(), false);
        }
    }
    QStringList expected = scenarioCameras(CamerasScenario);
    listed.sort();
    expected.sort();
    QCOMPARE(listed, expected);
    QCOMPARE(addresses.value("70000031"), QStringLiteral("192.168.7.31"));
    QCOMPARE(addresses.value("70000041"), QString()); // a USB camera has none

    const RunResult text = run({"--scenario", CamerasScenario, "list"});
    QCOMPARE(text.exitCode, 0);
    QVERIFY2(text.out.contains(QRegularExpression("Orvik left \\(70000031\\).*GEV  192\\.168\\.7\\.31  closed")), qPrintable(text.out));
}

void TestHostProgram::theCommandsArePromptAndTruthfulAboutBadInput_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("errors");
    const QString held = QStringLiteral("Held elsewhere");
    // Usage errors, whichever part of the program finds them, exit with 2.
    QTest::newRow("unknown option") << QStringList{"list", "--no-such"} << 2
                                    << QStringList{"Unknown option 'no-such'; see tavix-host --help."};
    QTest::newRow("option without its value") << QStringList{"grab", "--camera"} << 2
                                              << QStringList{"Missing value after '--camera'; see tavix-host --help."};
    QTest::newRow("unknown command") << QStringList{"frobnicate"} << 2 << QStringList{"'frobnicate' is no command"};
    QTest::newRow("count not a number") << QStringList{"grab", "--camera", held, "--count", "many"} << 2
                                        << QStringList{"--count needs a whole number of 0 or more, not 'many'"};
    QTest::newRow("unknown camera") << QStringList{"grab", "--camera", "Halvard"} << 2
                                    << QStringList{"Halvard", "Orvik left", "Orvik right", "Tesmar bench", "Tesmar packed"};
    QTest::newRow("ambiguous prefix") << QStringList{"grab", "--camera", "Orvik"} << 2
                                      << QStringList{"'Orvik' names more than one camera.", "Orvik left", "Orvik right"};
    QTest::newRow("record of an unknown format") << QStringList{"record", "--camera", "Orvik left", "--format", "gif"} << 2
                                                 << QStringList{"--format is one of png, tiff, raw, ffv1, h264, not 'gif'."};
    QTest::newRow("record by count and time") << QStringList{"record", "--camera", "Orvik left", "--count", "3", "--seconds", "1"}
                                              << 2 << QStringList{"record stops after --count images or after --seconds, not both."};
    QTest::newRow("record turned askew") << QStringList{"record", "--camera", "Orvik left", "--rotate", "45"} << 2
                                         << QStringList{"--rotate takes 0, 90, 180 or 270, not '45'."};
    QTest::newRow("record into a folder that can't be made")
        << QStringList{"record", "--camera", "Orvik left", "--count", "3", "--format", "raw", "--output", "/proc/self/recording"} << 1
        << QStringList{"The folder '/proc/self/recording' can't be created"};
    QTest::newRow("factory list written") << QStringList{"defects", "--camera", held, "--factory", "--write", "pixels.txt"} << 2
                                          << QStringList{"Only the user list can be written."};
    // A negative number is a value, not an option.
    QTest::newRow("negative value") << QStringList{"set", "--camera", "Orvik left", "ExposureTime", "-5"} << 1
                                    << QStringList{"ExposureTime: Value of 'ExposureTime' is out of range."};
    // Failures name their reason, at once.
    QTest::newRow("grab that can't start") << QStringList{"grab", "--camera", held, "--count", "5"} << 1
                                           << QStringList{"Held elsewhere (70000043) couldn't start grabbing: ",
                                                          "The camera is held by another application."};
    QTest::newRow("snapshot folder not writable") << QStringList{"grab", "--camera", "Orvik left", "--count", "3", "--png", "/proc/self"}
                                                  << 1 << QStringList{"No snapshot can be written in '/proc/self': "};
    QTest::newRow("pixel file not readable") << QStringList{"defects", "--camera", held, "--write", "/nonexistent/pixels.txt"} << 1
                                             << QStringList{"/nonexistent/pixels.txt: No such file or directory"};
    QTest::newRow("broadcast address not IPv4")
        << QStringList{"action", "--device-key", "0", "--group-key", "0", "--group-mask", "1", "--broadcast", "abc"} << 1
        << QStringList{"'abc' is no IPv4 broadcast address."};
    QTest::newRow("empty world") << QStringList{"--scenario", EmptyScenario, "list"} << 1
                                 << QStringList{"No transport layer was found: the camera world is empty."};
    // Client plug-ins themselves are served by the kit's test of the example plug-in; here, what
    // the host does around them. Each way of not being a plug-in of this host has its own words.
    const auto serving = [](const QString& client) { return QStringList{"--client", client, "serve", "--seconds", "1"}; };
    const QString clients = QStringLiteral(TAVIX_TEST_CLIENT_DIR);
    QTest::newRow("client path that does not exist") << serving("no/such/libClient.so") << 1
                                                     << QStringList{"The client plug-in could not be loaded: 'no/such/libClient.so' does not exist"};
    QTest::newRow("bare client name that is nowhere") << serving("libNoSuchClient.so") << 1
                                                      << QStringList{"'libNoSuchClient.so' is neither in the current folder nor in "
                                                                     TAVIX_TEST_PLUGIN_DIR};
    QTest::newRow("client that is no library") << serving(EmptyScenario) << 1
                                               << QStringList{"'" + EmptyScenario + "' is no shared library"};
    QTest::newRow("program as a client") << serving(TAVIX_HOST_PROGRAM) << 1
                                         << QStringList{"is no Qt plug-in: it has no plug-in metadata"};
    QTest::newRow("library that is no plug-in") << serving(TAVIX_CORE_LIBRARY) << 1
                                                << QStringList{"is no Qt plug-in: it has no plug-in metadata"};
    QTest::newRow("plug-in of another host")
        << serving(clients + "/libotherhostplugin.so") << 1
        << QStringList{"is a plug-in of another host: its interface is 'org.example.OtherHost/1.0', this host loads "
                       "'org.tavix.Core.Plugin.IPlugin/2.0'"};
    QTest::newRow("client for a newer roster")
        << serving(clients + "/libnewerrosterclient.so") << 1
        << QStringList{"(NewerRosterClient 1.0.0) needs the plug-in OptiRoster 3.0.0; the loaded one is OptiRoster 2.0.0, "
                       "which stands in for versions 2.0.0 to 2.0.0"};
    QTest::newRow("client whose library is missing")
        << serving(clients + "/libmissinglibraryclient.so") << 1
        << QStringList{"needs the library libtavixtestvanished.so, which is not found"};
    QTest::newRow("the roster as a client") << serving(QStringLiteral(TAVIX_TEST_PLUGIN_DIR "/libOptiRoster.so")) << 1
                                            << QStringList{"is the plug-in OptiRoster, which is loaded already from"};
}

void TestHostProgram::theCommandsArePromptAndTruthfulAboutBadInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QStringList, errors);
    if (!arguments.contains("--scenario"))
        arguments = QStringList{"--scenario", CamerasScenario} + arguments;
    const RunResult result = run(arguments);
    QCOMPARE(result.exitStatus, QProcess::NormalExit); // bad input never crashes the program
    QVERIFY2(result.exitCode == exitCode, qPrintable(QStringLiteral("exit %1: %2").arg(result.exitCode).arg(result.err)));
    for (const QString& error : errors)
        QVERIFY2(result.err.contains(error), qPrintable(result.err));
    QVERIFY2(!result.err.contains("Unknown option '1'"), qPrintable(result.err));
    QVERIFY(!result.out.contains("Snapshot:"));
    if (exitCode == 2)
        QVERIFY2(result.out.isEmpty(), qPrintable(result.out)); // a usage error does nothing
    QVERIFY2(result.elapsedMs < PromptMs, qPrintable(QStringLiteral("%1 ms").arg(result.elapsedMs)));
}

void TestHostProgram::grabReportsTheRunsImagesFailuresAndAverageRate()
{
    // Every fourth frame of this camera is lost; a frame the grab loop came too late for is skipped.
    const RunResult result = run({"--scenario", CamerasScenario, "grab", "--camera", "Tesmar bench", "--count", "20"});
    QVERIFY2(result.exitCode == 0, qPrintable(result.err));
    QVERIFY2(result.err.isEmpty(), qPrintable(result.err)); // nothing but what was asked for
    const QRegularExpressionMatch summary =
        QRegularExpression("^20 images from Tesmar bench \\(70000041\\) in ([0-9.]+) s: ([0-9.]+) fps, [0-9.]+ MB/s on average; "
                           "(\\d+) failed, (\\d+) skipped$",
                           QRegularExpression::MultilineOption)
            .match(result.out);
    QVERIFY2(summary.hasMatch(), qPrintable(result.out));
    const double seconds = summary.captured(1).toDouble();
    QVERIFY(seconds > 0);
    QVERIFY(qAbs(summary.captured(2).toDouble() - 20 / seconds) < 0.5 + 20 / seconds * 0.01);
    const int failed = summary.captured(3).toInt();
    const int skipped = summary.captured(4).toInt();
    QVERIFY2(skipped == 0 ? failed == 5 : failed <= 5, qPrintable(result.out));
}

void TestHostProgram::logLinesOnlyWhenAskedFor_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("environmentRules");
    QTest::addColumn<bool>("logged");
    QTest::newRow("quiet by default") << QStringList() << QString() << false;
    QTest::newRow("--verbose") << QStringList{"--verbose"} << QString() << true;
    QTest::newRow("--log-rules") << QStringList{"--log-rules", "tavix.*=true"} << QString() << true;
    QTest::newRow("QT_LOGGING_RULES") << QStringList() << "tavix.*=true" << true;
    QTest::newRow("QT_LOGGING_RULES wins over --verbose") << QStringList{"--verbose"} << "tavix.*=false" << false;
}

void TestHostProgram::logLinesOnlyWhenAskedFor()
{
    QFETCH(QStringList, options);
    QFETCH(QString, environmentRules);
    QFETCH(bool, logged);
    const RunResult result = run(QStringList{"--scenario", CamerasScenario} + options + QStringList{"params", "--camera", "Orvik left",
                                                                                                  "Width"},
                                 environmentRules);
    QVERIFY2(result.exitCode == 0, qPrintable(result.err));
    QCOMPARE(result.out, QStringLiteral("Width = 64\n"));
    QVERIFY2(result.err.isEmpty() != logged, qPrintable(result.err));
}

void TestHostProgram::grabWritesSnapshotsOfThePattern_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("bytesPerPixel");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("Mono8 by display name") << "Orvik left (70000031)" << 64 << 48 << 1 << QStringList();
    QTest::newRow("RGB8 by full name, exclusive") << "VorlanGigE#192.168.7.32#OVK-64c#70000032" << 40 << 30 << 3
                                                  << QStringList{"--exclusive"};
    QTest::newRow("Mono8, compressed by the camera") << "Tesmar packed" << 48 << 32 << 1 << QStringList();
}

void TestHostProgram::grabWritesSnapshotsOfThePattern()
{
    QFETCH(QString, camera);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, bytesPerPixel);
    QFETCH(QStringList, options);
    QTemporaryDir folder;
    const RunResult result = run(QStringList{"--scenario", CamerasScenario, "grab", "--camera", camera, "--count", "5", "--png",
                                             folder.path()} + options);
    QVERIFY2(result.exitCode == 0, qPrintable(result.err));
    const QFileInfoList files = QDir(folder.path()).entryInfoList({"*.png"}, QDir::Files, QDir::Name);
    // The encoder never holds the grab up: on a slow machine it skips images, and says so.
    QVERIFY2(!files.isEmpty() && files.size() <= 5, qPrintable(result.err));
    if (files.size() < 5)
        QVERIFY2(result.err.contains("snapshots were skipped while the encoder was busy"), qPrintable(result.err));
    const QRegularExpression numbered(QStringLiteral("-(\\d+)\\.png$"));
    for (const QFileInfo& file : files) {
        QVERIFY(result.out.contains(file.absoluteFilePath()));
        const QImage image(file.absoluteFilePath());
        QCOMPARE(image.size(), QSize(width, height));
        const qint64 imageNumber = numbered.match(file.fileName()).captured(1).toLongLong();
        QVERIFY(imageNumber > 0);
        for (const QPoint& point : {QPoint(0, 0), QPoint(width - 1, height - 1), QPoint(width / 2, height / 3)}) {
            const QRgb pixel = image.pixel(point);
            const QPair<int, int> expected = patternRedAndBlue(point, imageNumber, bytesPerPixel == 3);
            QCOMPARE(qRed(pixel), expected.first);
            QCOMPARE(qBlue(pixel), expected.second);
        }
    }
}

void TestHostProgram::recordWritesEveryImageTurnedAsAsked_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("extension");
    QTest::addColumn<QSize>("size");
    QTest::newRow("raw, as it comes") << QStringList{"--format", "raw"} << "raw" << QSize(64, 48);
    QTest::newRow("PNG, turned right") << QStringList{"--format", "png", "--rotate", "90"} << "png" << QSize(48, 64);
    QTest::newRow("TIFF, mirrored") << QStringList{"--format", "tiff", "--mirror"} << "tiff" << QSize(64, 48);
}

// Every image of the count is in the folder, named by its number, the pattern's values turned as
// asked; the program says what it wrote and that it dropped nothing.
void TestHostProgram::recordWritesEveryImageTurnedAsAsked()
{
    QFETCH(QStringList, options);
    QFETCH(QString, extension);
    QFETCH(QSize, size);
    QTemporaryDir folder;
    const QString target = folder.filePath("recording");
    const RunResult result = run(QStringList{"--scenario", CamerasScenario, "record", "--camera", "Orvik left", "--count", "5",
                                             "--output", target} + options);
    QVERIFY2(result.exitCode == 0, qPrintable(result.err));
    QVERIFY2(result.out.contains("Recorded 5 images of Orvik left (70000031)") && result.out.contains("0 dropped"),
             qPrintable(result.out));
    const QFileInfoList files = QDir(target).entryInfoList({"*." + extension}, QDir::Files, QDir::Name);
    QCOMPARE(files.size(), 5);
    const QRegularExpression numbered(QStringLiteral("70000031-(\\d+)\\.") + extension + "$");
    const bool turned = options.contains("--rotate");
    const bool mirrored = options.contains("--mirror");
    for (const QFileInfo& file : files) {
        const qint64 imageNumber = numbered.match(file.fileName()).captured(1).toLongLong();
        QVERIFY2(imageNumber > 0, qPrintable(file.fileName()));
        QImage image;
        if (extension == "raw") {
            QFile raw(file.absoluteFilePath());
            QVERIFY(raw.open(QIODevice::ReadOnly));
            const QByteArray bytes = raw.readAll();
            QCOMPARE(bytes.size(), size.width() * size.height());
            image = QImage(reinterpret_cast<const uchar*>(bytes.constData()), size.width(), size.height(), size.width(),
                           QImage::Format_Grayscale8).copy();
            QVERIFY(QFileInfo::exists(file.absolutePath() + "/" + file.completeBaseName() + ".json"));
        } else {
            image = QImage(file.absoluteFilePath());
        }
        QCOMPARE(image.size(), size);
        // The camera's pixel (x, y) lands where the turn puts it.
        for (const QPoint& point : {QPoint(0, 0), QPoint(63, 47), QPoint(20, 7)}) {
            QPoint shown = mirrored ? QPoint(63 - point.x(), point.y()) : point;
            if (turned)
                shown = QPoint(47 - shown.y(), shown.x());
            QCOMPARE(qRed(image.pixel(shown)), patternRedAndBlue(point, imageNumber, false).first);
        }
    }
}

// Ctrl-C ends a recording without a count properly: the video is finished and can be played.
void TestHostProgram::anInterruptedRecordingFinishesItsVideo()
{
    QTemporaryDir folder;
    const QString video = folder.filePath("run");
    QProcess process;
    configure(process, {"--scenario", CamerasScenario, "record", "--camera", "Orvik left", "--format", "ffv1", "--output", video});
    process.start();
    QVERIFY(process.waitForStarted());
    QString out;
    QTRY_VERIFY_WITH_TIMEOUT((out += QString::fromUtf8(process.readAllStandardOutput())).contains("Ctrl-C stops"), RunTimeoutMs);
    // Some images in.
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(video + ".mkv").size() > 0, RunTimeoutMs);
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(RunTimeoutMs));
    out += QString::fromUtf8(process.readAllStandardOutput());
    const QString err = QString::fromUtf8(process.readAllStandardError());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    // 3 when a slow machine (a sanitizer's build) made the recorder drop: the next test is about that.
    QVERIFY2(process.exitCode() == 0 || process.exitCode() == 3, qPrintable(err));
    QVERIFY2(out.contains("Interrupted; the recording is finished"), qPrintable(out));
    const QRegularExpression written(QStringLiteral("Recorded (\\d+) images"));
    const int images = written.match(out).captured(1).toInt();
    QVERIFY2(images > 0, qPrintable(out));
    QString error;
    const QList<QImage> frames = VideoFrames::read(video + ".mkv", error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(frames.size(), images);
    QCOMPARE(frames.first().size(), QSize(64, 48));
}

// A recorder that can't keep up drops images rather than hold the grab up, says how many, and
// exits with 3; the video is still finished. It goes into a pipe that no one reads until the
// program says it is finishing: the recorder's thread waits there, and its queue fills.
void TestHostProgram::aRecordingThatDropsSaysSoInItsExitStatus()
{
    QTemporaryDir folder;
    const QString pipe = folder.filePath("unread.mkv");
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QProcess process;
    configure(process, {"--scenario", CamerasScenario, "record", "--camera", "Orvik left", "--format", "ffv1", "--count", "30",
                        "--output", pipe});
    process.start();
    QVERIFY(process.waitForStarted());
    QString out;
    QTRY_VERIFY_WITH_TIMEOUT((out += QString::fromUtf8(process.readAllStandardOutput())).contains("Finishing"), RunTimeoutMs);
    // The recorder's thread waits in opening the pipe since the first image: reading meets it, and
    // the video, read as it is written, ends when the program has finished it.
    QString error;
    const QList<QImage> frames = VideoFrames::read(pipe, error);
    QVERIFY(process.waitForFinished(RunTimeoutMs));
    out += QString::fromUtf8(process.readAllStandardOutput());
    const QString err = QString::fromUtf8(process.readAllStandardError());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QVERIFY2(process.exitCode() == 3, qPrintable(out + err));
    const QRegularExpressionMatch recorded = QRegularExpression(QStringLiteral("Recorded (\\d+) images.*; (\\d+) dropped")).match(out);
    QVERIFY2(recorded.hasMatch(), qPrintable(out));
    const int written = recorded.captured(1).toInt();
    const int dropped = recorded.captured(2).toInt();
    QVERIFY2(written > 0 && dropped > 0 && written + dropped == 30, qPrintable(out));
    QVERIFY2(err.contains(QStringLiteral("%1 of 30 images were dropped").arg(dropped)), qPrintable(err));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(frames.size(), written);
}

void TestHostProgram::watchShowsTheTimelinesComingAndGoing()
{
    // Ended by Ctrl-C once both events are in, rather than by its own clock, so that a slow
    // machine only makes it take longer.
    QProcess process;
    configure(process, {"--scenario", TimelineScenario, "watch", "--json", "--seconds", "60", "--interval", "200"});
    process.start();
    QVERIFY(process.waitForStarted());
    QStringList events;
    const auto readEvents = [&] {
        while (process.canReadLine()) {
            const QJsonObject event = QJsonDocument::fromJson(process.readLine()).object();
            events << event.value("event").toString() + ' ' + event.value("device").toString();
        }
        return events;
    };
    QTRY_VERIFY2_WITH_TIMEOUT(readEvents().contains("deviceConnected Orvik comes (70000053)")
                                  && events.contains("deviceDisconnected Orvik goes (70000052)"),
                              qPrintable(events.join('\n')), RunTimeoutMs);
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(RunTimeoutMs));
    QCOMPARE(process.exitCode(), 0);
    readEvents();
    QVERIFY(!events.contains(" ")); // every line was a JSON event
    QVERIFY(!events.contains("deviceDisconnected Orvik stays (70000051)"));
}

void TestHostProgram::anInterruptedGrabClosesAndExitsCleanly()
{
    QProcess process;
    configure(process, {"--scenario", CamerasScenario, "grab", "--camera", "Orvik left", "--count", "0"});
    process.start();
    QVERIFY(process.waitForStarted());
    QString out;
    QTRY_VERIFY_WITH_TIMEOUT((out += QString::fromUtf8(process.readAllStandardOutput())).contains("Grabbing from"), RunTimeoutMs);
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(RunTimeoutMs));
    out += QString::fromUtf8(process.readAllStandardOutput());
    const QString err = QString::fromUtf8(process.readAllStandardError());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QVERIFY2(process.exitCode() == 0, qPrintable(err));
    QVERIFY2(out.contains("Interrupted; Orvik left (70000031) is closed."), qPrintable(out));
    QVERIFY2(!err.contains("not balanced"), qPrintable(err));
}

void TestHostProgram::serveEndsOnTime()
{
    const RunResult served = run({"serve", "--seconds", "1"});
    QCOMPARE(served.exitCode, 0);
    QCOMPARE(served.exitStatus, QProcess::NormalExit);
}

void TestHostProgram::aClientPathIsTakenFromTheCurrentFolder_data()
{
    QTest::addColumn<QString>("client");
    QTest::newRow("relative path") << "test-plugins/libquietclient.so";
    QTest::newRow("path with a dot") << "./test-plugins/libquietclient.so";
    QTest::newRow("bare name") << "libquietclient.so";
}

// As the README has it: a client built beside the current folder is named by a relative path.
void TestHostProgram::aClientPathIsTakenFromTheCurrentFolder()
{
    QFETCH(QString, client);
    const QString clients = QStringLiteral(TAVIX_TEST_CLIENT_DIR);
    QProcess process;
    configure(process, {"--scenario", CamerasScenario, "--client", client, "serve", "--seconds", "60"});
    process.setWorkingDirectory(client.contains('/') ? QFileInfo(clients).absolutePath() : clients);
    process.start();
    QVERIFY(process.waitForFinished(RunTimeoutMs));
    const QString err = QString::fromUtf8(process.readAllStandardError());
    QVERIFY2(process.exitCode() == 0, qPrintable(err));
    QVERIFY2(err.isEmpty(), qPrintable(err));
}

// A client that keeps the roster's service in a global of a module that can't be unloaded lets
// go only at exit, after the roster: the host names the service, keeps it, and exits with 1.
void TestHostProgram::aServiceKeptPastTheRosterIsNamedAndNothingCrashes()
{
    const RunResult result = run({"--scenario", CamerasScenario, "--client", TAVIX_TEST_CLIENT_DIR "/libkeepingclient.so", "serve"});
    QCOMPARE(result.exitStatus, QProcess::NormalExit);
    QVERIFY2(result.exitCode == 1, qPrintable(result.err));
    QVERIFY2(result.err.contains("OptiRoster's ICameraEnumerationService is still held after every plug-in object was deleted and "
                                 "the clients' modules unloaded, by a global or static object of a module that stays in memory "
                                 "(KeepingClient)"),
             qPrintable(result.err));
    QVERIFY2(result.err.contains("OptiRoster stays loaded, and its services alive, until the process ends."), qPrintable(result.err));
    QVERIFY2(!result.err.contains("not balanced"), qPrintable(result.err));
}

// A camera on a subnet this host can't reach: the enumeration of all subnets lists it and the
// update opens it, but its search after the restart doesn't find it. The program says that the
// firmware was written, not that nothing changed. (The restart's search takes its full time:
// about 15 seconds.)
void TestHostProgram::anUpdateWhoseCameraIsNotFoundAgainSaysTheFirmwareWasWritten()
{
    QJsonObject unreachable = FirmwareScenario::orvik();
    unreachable.insert("reachable", false);
    QTemporaryDir folder;
    const QString scenario = folder.filePath(QStringLiteral("unreachable.json"));
    QFile file(scenario);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(TestScenario::document({TestScenario::gigeLayer({unreachable})}));
    file.close();
    const RunResult result = run({"--scenario", scenario, "firmware", "--camera", QLatin1String(FirmwareScenario::OrvikSerial),
                                  QFINDTESTDATA("../data/firmware/updates.json"), "--apply", "2"});
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.out.contains("Written and verified, and the camera restarted with 2.1.8, but it wasn't found again "
                                 "afterwards: Could not rediscover device after reset."),
             qPrintable(result.out));
    QVERIFY2(!result.out.contains("Not updated"), qPrintable(result.out));
}

TAVIX_TEST_MAIN(TestHostProgram)

#include "tst_hostprogram.moc"
