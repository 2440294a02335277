#include "testmain.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

namespace {

const QString CamerasScenario = QStringLiteral(TAVIX_TEST_DATA_DIR "/host-cameras.json");
const QString TimelineScenario = QStringLiteral(TAVIX_TEST_DATA_DIR "/host-timeline.json");
constexpr int RunTimeoutMs = 60000;

struct RunResult
{
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

// A byte of the simulated cameras' test pattern: a diagonal ramp that moves by one byte per
// frame along lines of lineLength bytes.
int patternByte(qint64 offset, qint64 imageNumber, qint64 lineLength)
{
    const qint64 i = offset + imageNumber % lineLength;
    return int(((i % lineLength) + (i / lineLength)) & 0xff);
}

} // namespace

// The host program as a person runs it: a separate process, its exit status and its output.
class TestHostProgram : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void listJsonNamesEveryScenarioCamera();
    void grabWritesSnapshotsOfThePattern_data();
    void grabWritesSnapshotsOfThePattern();
    void watchShowsTheTimelinesComingAndGoing();
    void aNameThatFitsNoOrManyCamerasExitsWithTheCandidates_data();
    void aNameThatFitsNoOrManyCamerasExitsWithTheCandidates();
    void anInterruptedGrabClosesAndExitsCleanly();
    void badInputEndsWithAClearErrorNotACrash_data();
    void badInputEndsWithAClearErrorNotACrash();

private:
    void configure(QProcess& process, const QStringList& arguments);
    RunResult run(const QStringList& arguments);

    QTemporaryDir m_settingsHome; // the program's settings never reach the user's
};

void TestHostProgram::initTestCase()
{
    QVERIFY(QFileInfo::exists(QStringLiteral(TAVIX_HOST_PROGRAM)));
    QVERIFY(m_settingsHome.isValid());
}

void TestHostProgram::configure(QProcess& process, const QStringList& arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_settingsHome.path());
    environment.remove(QStringLiteral("TAVIX_SIM_SCENARIO"));
    process.setProcessEnvironment(environment);
    process.setProgram(QStringLiteral(TAVIX_HOST_PROGRAM));
    process.setArguments(QStringList{"--plugin-dir", QStringLiteral(TAVIX_TEST_PLUGIN_DIR), "--log-rules", "tavix.*=false"}
                         + arguments);
}

RunResult TestHostProgram::run(const QStringList& arguments)
{
    QProcess process;
    configure(process, arguments);
    process.start();
    RunResult result;
    if (!process.waitForFinished(RunTimeoutMs)) {
        process.kill();
        process.waitForFinished();
    }
    result.exitCode = process.exitCode();
    result.exitStatus = process.exitStatus();
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

void TestHostProgram::listJsonNamesEveryScenarioCamera()
{
    const RunResult result = run({"--scenario", CamerasScenario, "list", "--json"});
    QCOMPARE(result.exitCode, 0);
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QStringList listed;
    for (const QJsonValue& layer : document.object().value("transportLayers").toArray()) {
        for (const QJsonValue& camera : layer.toObject().value("cameras").toArray()) {
            listed << camera.toObject().value("fullName").toString();
            QCOMPARE(camera.toObject().value("open").toBool(), false);
        }
    }
    QStringList expected = scenarioCameras(CamerasScenario);
    listed.sort();
    expected.sort();
    QCOMPARE(listed, expected);
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
        const qint64 lineLength = qint64(width) * bytesPerPixel;
        for (const QPoint& point : {QPoint(0, 0), QPoint(width - 1, height - 1), QPoint(width / 2, height / 3)}) {
            const qint64 offset = point.y() * lineLength + point.x() * bytesPerPixel;
            const QRgb pixel = image.pixel(point);
            QCOMPARE(qRed(pixel), patternByte(offset, imageNumber, lineLength));
            QCOMPARE(qBlue(pixel), patternByte(offset + bytesPerPixel - 1, imageNumber, lineLength));
        }
    }
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

void TestHostProgram::aNameThatFitsNoOrManyCamerasExitsWithTheCandidates_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("candidates");
    QTest::addColumn<QStringList>("others");
    QTest::newRow("unknown") << "Halvard" << QStringList{"Orvik left", "Orvik right", "Tesmar bench", "Tesmar packed"}
                             << QStringList();
    QTest::newRow("ambiguous prefix") << "Orvik" << QStringList{"Orvik left", "Orvik right"} << QStringList{"Tesmar bench"};
}

void TestHostProgram::aNameThatFitsNoOrManyCamerasExitsWithTheCandidates()
{
    QFETCH(QString, name);
    QFETCH(QStringList, candidates);
    QFETCH(QStringList, others);
    const RunResult result = run({"--scenario", CamerasScenario, "grab", "--camera", name});
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.out.isEmpty());
    QVERIFY(result.err.contains(name));
    for (const QString& candidate : candidates)
        QVERIFY2(result.err.contains(candidate), qPrintable(result.err));
    for (const QString& other : others)
        QVERIFY2(!result.err.contains(other), qPrintable(result.err));
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

void TestHostProgram::badInputEndsWithAClearErrorNotACrash_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("error");
    QTest::newRow("broadcast address") << QStringList{"action", "--device-key", "0", "--group-key", "0", "--group-mask", "1", "--broadcast", "abc"}
                                       << "'abc' is no IPv4 broadcast address.";
}

void TestHostProgram::badInputEndsWithAClearErrorNotACrash()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, error);
    const RunResult result = run(QStringList{"--scenario", CamerasScenario} + arguments);
    QCOMPARE(result.exitStatus, QProcess::NormalExit);
    QVERIFY2(result.exitCode != 0, qPrintable(result.out));
    QVERIFY2(result.err.contains(error), qPrintable(result.err));
}

TAVIX_TEST_MAIN(TestHostProgram)
#include "tst_hostprogram.moc"
