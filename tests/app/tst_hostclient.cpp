#include "cameranameresolver.h"
#include "simscenario.h"
#include "snapshotwriter.h"
#include "testmain.h"

#include <plugins/optiroster/camerainfofactory.h>

#include <tavix/instantcamera.h>
#include <tavix/tlfactory.h>

#include <QImage>
#include <QTemporaryDir>

#include <atomic>
#include <vector>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

CameraInfoPtr cameraInfo(const QString& displayName, const QString& fullName, const QString& serial)
{
    Tavix::CDeviceInfo record;
    record.SetPropertyValue("FullName", fullName.toUtf8().constData());
    record.SetPropertyValue("FriendlyName", displayName.toUtf8().constData());
    record.SetPropertyValue("UserDefinedName", displayName.toUtf8().constData());
    record.SetPropertyValue("SerialNumber", serial.toUtf8().constData());
    record.SetPropertyValue("DeviceClass", "VorlanGigE");
    return Plugin::OptiRoster::createCameraInfo(record);
}

// Keeps the handle of every image of one grab, as an observer that holds on to them would. The
// grab thread writes the list before it tells the stop; the test's thread reads it after.
class CKeepingHandler : public Tavix::CImageEventHandler, public Tavix::CConfigurationEventHandler
{
public:
    void OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr& result) override { results.push_back(result); }
    void OnGrabStopped(Tavix::CInstantCamera&) override { stopped.store(true); }
    std::vector<Tavix::CGrabResultPtr> results;
    std::atomic<bool> stopped{false};
};

// Grabs images of a simulated camera in the pixel format and keeps them.
std::vector<Tavix::CGrabResultPtr> grab(const QString& pixelFormat, int width, int height, size_t count)
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", width}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", height}},
        QJsonObject{{"name", "PixelFormat"}, {"type", "enumeration"}, {"value", pixelFormat},
                    {"entries", QJsonArray{"Mono8", "RGB8", "BGR8"}}},
    };
    if (!TestScenario::load({TestScenario::gigeLayer({TestScenario::camera("610", {}, features)})}).isEmpty())
        return {};
    CKeepingHandler handler;
    Tavix::CInstantCamera camera(Tavix::CTlFactory::GetInstance().CreateFirstDevice());
    camera.RegisterImageEventHandler(&handler, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.RegisterConfiguration(&handler, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.Open();
    camera.MaxNumBuffer.SetValue(int64_t(count) + 2); // every kept image holds a buffer
    camera.StartGrabbing(count);
    const bool stopped = QTest::qWaitFor([&] { return handler.stopped.load(); }, 30000);
    camera.Close();
    return stopped ? handler.results : std::vector<Tavix::CGrabResultPtr>();
}

// A byte of the simulated cameras' test pattern (see the simulator's stream grabber).
int patternByte(qint64 offset, qint64 imageNumber, qint64 lineLength)
{
    const qint64 i = offset + imageNumber % lineLength;
    return int(((i % lineLength) + (i / lineLength)) & 0xff);
}

} // namespace

// The host program's pieces that work without the plug-in: naming cameras and writing snapshots.
class TestHostClient : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void namesFindOneCameraOrSayWhoCouldBeMeant_data();
    void namesFindOneCameraOrSayWhoCouldBeMeant();

    void snapshotsHoldThePixelsInTheirOrder_data();
    void snapshotsHoldThePixelsInTheirOrder();
    void layoutsThatCantBeWrittenAreRefused_data();
    void layoutsThatCantBeWrittenAreRefused();
    void everyNthImageUpToTheLimitIsWrittenAndOneTooSmallIsReported();
};

void TestHostClient::init()
{
    TavixSim::reset();
}

void TestHostClient::namesFindOneCameraOrSayWhoCouldBeMeant_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("found");   // the serial number of the camera found, empty for none
    QTest::addColumn<int>("candidates");
    QTest::newRow("display name") << "Orvik left (611)" << "611" << 0;
    QTest::newRow("full name") << "VorlanGigE#10.0.0.12#612" << "612" << 0;
    QTest::newRow("serial number") << "613" << "613" << 0;
    QTest::newRow("unique prefix") << "Tesmar" << "613" << 0;
    QTest::newRow("exact before prefix") << "Orvik" << "614" << 0;
    QTest::newRow("ambiguous prefix") << "Orvik " << "" << 2;
    QTest::newRow("unknown: every camera") << "Halvard" << "" << 4;
    QTest::newRow("empty") << "" << "" << 4;
}

void TestHostClient::namesFindOneCameraOrSayWhoCouldBeMeant()
{
    QFETCH(QString, name);
    QFETCH(QString, found);
    QFETCH(int, candidates);
    const CCameraNameResolver resolver({cameraInfo("Orvik left (611)", "VorlanGigE#10.0.0.11#611", "611"),
                                        cameraInfo("Orvik right (612)", "VorlanGigE#10.0.0.12#612", "612"),
                                        cameraInfo("Tesmar bench (613)", "VorlanUsb#613", "613"),
                                        cameraInfo("Orvik", "VorlanGigE#10.0.0.14#614", "614")});
    const auto result = resolver.resolve(name);
    QCOMPARE(result.camera ? result.camera->getSerialNumber() : QString(), found);
    QCOMPARE(result.candidates.size(), candidates);
    QCOMPARE(result.error.isEmpty(), !found.isEmpty());
}

void TestHostClient::snapshotsHoldThePixelsInTheirOrder_data()
{
    QTest::addColumn<QString>("pixelFormat");
    QTest::addColumn<int>("bytesPerPixel");
    QTest::addColumn<int>("redByte");   // where red is among a pixel's bytes
    QTest::addColumn<int>("blueByte");
    QTest::newRow("Mono8") << "Mono8" << 1 << 0 << 0;
    QTest::newRow("RGB8") << "RGB8" << 3 << 0 << 2;
    QTest::newRow("BGR8") << "BGR8" << 3 << 2 << 0;
}

void TestHostClient::snapshotsHoldThePixelsInTheirOrder()
{
    QFETCH(QString, pixelFormat);
    QFETCH(int, bytesPerPixel);
    QFETCH(int, redByte);
    QFETCH(int, blueByte);
    const int width = 24;
    const int height = 5;
    const auto images = grab(pixelFormat, width, height, 3);
    QCOMPARE(images.size(), size_t(3));
    QTemporaryDir folder;
    {
        CSnapshotWriter writer(folder.path(), "shot", {width, height, pixelFormat, {}}, 1);
        for (const auto& image : images)
            writer.offer(image);
        writer.waitForDone();
        QCOMPARE(writer.writtenFiles().size(), 3);
        QVERIFY(writer.errors().isEmpty());
    }
    const qint64 lineLength = qint64(width) * bytesPerPixel;
    for (const auto& image : images) {
        const QImage written(QDir(folder.path()).absoluteFilePath(QStringLiteral("shot-%1.png").arg(image->GetImageNumber(), 6, 10, QChar('0'))));
        QCOMPARE(written.size(), QSize(width, height));
        for (const QPoint& point : {QPoint(0, 0), QPoint(width - 1, 2), QPoint(7, height - 1)}) {
            const qint64 offset = point.y() * lineLength + point.x() * bytesPerPixel;
            QCOMPARE(qRed(written.pixel(point)), patternByte(offset + redByte, image->GetImageNumber(), lineLength));
            QCOMPARE(qBlue(written.pixel(point)), patternByte(offset + blueByte, image->GetImageNumber(), lineLength));
        }
    }
}

void TestHostClient::layoutsThatCantBeWrittenAreRefused_data()
{
    QTest::addColumn<QString>("pixelFormat");
    QTest::addColumn<int>("width");
    QTest::addColumn<QString>("compression");
    QTest::addColumn<QString>("named");
    QTest::newRow("16-bit") << "Mono16" << 64 << "" << "Mono16";
    QTest::newRow("with alpha") << "BGRA8" << 64 << "" << "BGRA8";
    QTest::newRow("unknown format") << "" << 64 << "" << "unknown pixel format";
    QTest::newRow("no width") << "Mono8" << 0 << "" << "0 x 4";
    QTest::newRow("compressed, no decompressor") << "Mono8" << 64 << "Lossless" << "Lossless";
}

void TestHostClient::layoutsThatCantBeWrittenAreRefused()
{
    QFETCH(QString, pixelFormat);
    QFETCH(int, width);
    QFETCH(QString, compression);
    QFETCH(QString, named);
    const QString reason = CSnapshotWriter::checkLayout({width, 4, pixelFormat, compression}, false);
    QVERIFY2(reason.contains(named), qPrintable(reason));
    QVERIFY(CSnapshotWriter::checkLayout({width > 0 ? width : 4, 4, QStringLiteral("Mono8"), QStringLiteral("Off")}, false).isEmpty());
    QVERIFY(CSnapshotWriter::checkLayout({4, 4, QStringLiteral("Mono8"), QStringLiteral("Lossless")}, true).isEmpty());
}

void TestHostClient::everyNthImageUpToTheLimitIsWrittenAndOneTooSmallIsReported()
{
    const auto images = grab(QStringLiteral("Mono8"), 16, 2, 10);
    QCOMPARE(images.size(), size_t(10));
    QTemporaryDir folder;
    CSnapshotWriter writer(folder.path(), "n", {16, 2, QStringLiteral("Mono8"), {}}, 3, 2);
    for (const auto& image : images) {
        writer.offer(image);
        writer.waitForDone(); // one at a time, so that none is skipped for a busy worker
    }
    QStringList names;
    for (const QString& file : writer.writtenFiles())
        names << QFileInfo(file).fileName();
    const auto nameOf = [&](size_t index) { return QStringLiteral("n-%1.png").arg(images[index]->GetImageNumber(), 6, 10, QChar('0')); };
    QCOMPARE(names, (QStringList{nameOf(0), nameOf(3)}));

    // An image smaller than the layout says is reported, not written.
    QTemporaryDir otherFolder;
    CSnapshotWriter big(otherFolder.path(), "big", {640, 480, QStringLiteral("Mono8"), {}}, 1);
    big.offer(images.front());
    big.waitForDone();
    QVERIFY(big.writtenFiles().isEmpty());
    QCOMPARE(big.errors().size(), 1);
    QVERIFY2(big.errors().first().contains("640 x 480"), qPrintable(big.errors().first()));
    QVERIFY(QDir(otherFolder.path()).isEmpty());
}

TAVIX_TEST_MAIN(TestHostClient)
#include "tst_hostclient.moc"
