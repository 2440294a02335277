#include "cameranameresolver.h"
#include "simscenario.h"
#include "snapshotwriter.h"
#include "testmain.h"

#include <plugins/optiroster/camerainfofactory.h>

#include <tavix/instantcamera.h>
#include <tavix/sim/testpattern.h>
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
                    {"entries", QJsonArray{"Mono8", "RGB8", "BGR8", "Mono16"}}},
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

// A byte of the simulated cameras' test pattern in the image of that number.
int patternByte(const Tavix::CGrabResultPtr& image, int bytesPerPixel, qint64 offset)
{
    const std::vector<unsigned char> frame = TavixSim::CTestPattern::frame(
        image->GetWidth(), image->GetHeight(), size_t(bytesPerPixel), image->GetPixelType(), uint64_t(image->GetImageNumber()));
    return frame.at(size_t(offset));
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
    void everyNthImageUpToTheLimitIsWrittenAndOneOfAnotherFormatIsReported();
    void eachSnapshotHasTheShapeOfItsOwnImage();
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
        CSnapshotWriter writer(folder.path(), "shot", 1);
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
            QCOMPARE(qRed(written.pixel(point)), patternByte(image, bytesPerPixel, offset + redByte));
            QCOMPARE(qBlue(written.pixel(point)), patternByte(image, bytesPerPixel, offset + blueByte));
        }
    }
}

void TestHostClient::layoutsThatCantBeWrittenAreRefused_data()
{
    QTest::addColumn<QString>("pixelFormat");
    QTest::addColumn<QString>("compression");
    QTest::addColumn<QString>("named");
    QTest::newRow("16-bit") << "Mono16" << "" << "Mono16";
    QTest::newRow("with alpha") << "BGRA8" << "" << "BGRA8";
    QTest::newRow("unknown format") << "" << "" << "unknown pixel format";
    QTest::newRow("compressed, no decompressor") << "Mono8" << "Lossless" << "Lossless";
}

void TestHostClient::layoutsThatCantBeWrittenAreRefused()
{
    QFETCH(QString, pixelFormat);
    QFETCH(QString, compression);
    QFETCH(QString, named);
    const QString reason = CSnapshotWriter::checkLayout({pixelFormat, compression}, false);
    QVERIFY2(reason.contains(named), qPrintable(reason));
    QVERIFY(CSnapshotWriter::checkLayout({QStringLiteral("Mono8"), QStringLiteral("Off")}, false).isEmpty());
    QVERIFY(CSnapshotWriter::checkLayout({QStringLiteral("RGB8Packed"), QString()}, false).isEmpty());
    QVERIFY(CSnapshotWriter::checkLayout({QStringLiteral("Mono8"), QStringLiteral("Lossless")}, true).isEmpty());
}

void TestHostClient::everyNthImageUpToTheLimitIsWrittenAndOneOfAnotherFormatIsReported()
{
    const auto images = grab(QStringLiteral("Mono8"), 16, 2, 10);
    QCOMPARE(images.size(), size_t(10));
    QTemporaryDir folder;
    CSnapshotWriter writer(folder.path(), "n", 3, 2);
    for (const auto& image : images) {
        writer.offer(image);
        writer.waitForDone(); // one at a time, so that none is skipped for a busy worker
    }
    QStringList names;
    for (const QString& file : writer.writtenFiles())
        names << QFileInfo(file).fileName();
    const auto nameOf = [&](size_t index) { return QStringLiteral("n-%1.png").arg(images[index]->GetImageNumber(), 6, 10, QChar('0')); };
    QCOMPARE(names, (QStringList{nameOf(0), nameOf(3)}));

    // An image of a format a snapshot isn't written of is reported, not written.
    const auto wide = grab(QStringLiteral("Mono16"), 16, 2, 1);
    QCOMPARE(wide.size(), size_t(1));
    QTemporaryDir otherFolder;
    CSnapshotWriter refusing(otherFolder.path(), "wide", 1);
    refusing.offer(wide.front());
    refusing.waitForDone();
    QVERIFY(refusing.writtenFiles().isEmpty());
    QCOMPARE(refusing.errors().size(), 1);
    QVERIFY2(refusing.errors().first().contains("the image is Mono16"), qPrintable(refusing.errors().first()));
    QVERIFY(QDir(otherFolder.path()).isEmpty());
}

void TestHostClient::eachSnapshotHasTheShapeOfItsOwnImage()
{
    // One writer, images of two sizes and formats: each file is its image, read by the shape the
    // image came with.
    const auto narrow = grab(QStringLiteral("Mono8"), 10, 3, 1);
    const auto wide = grab(QStringLiteral("RGB8"), 33, 2, 1);
    QCOMPARE(narrow.size() + wide.size(), size_t(2));
    QTemporaryDir folder;
    CSnapshotWriter writer(folder.path(), "s", 1);
    QList<QImage> written; // both are image 1 of their grab: each file is read before the next
    for (const auto& image : {narrow.front(), wide.front()}) {
        writer.offer(image);
        writer.waitForDone();
        written << QImage(writer.writtenFiles().constLast());
    }
    QVERIFY(writer.errors().isEmpty());
    QCOMPARE(written[0].size(), QSize(10, 3));
    QCOMPARE(written[1].size(), QSize(33, 2));
    QCOMPARE(qGray(written[0].pixel(9, 2)), patternByte(narrow.front(), 1, 2 * 10 + 9));
    QCOMPARE(qGreen(written[1].pixel(32, 1)), patternByte(wide.front(), 3, (33 + 32) * 3 + 1));
}

TAVIX_TEST_MAIN(TestHostClient)
#include "tst_hostclient.moc"
