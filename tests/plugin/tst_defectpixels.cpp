#include "camerafixture.h"
#include "exceptiontext.h"
#include "logrecorder.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/internal/staticdefectpixelcorrectionservice.h>

using namespace Plugin::OptiRoster;
using Internal::COptiRoster;
using Internal::CStaticDefectPixelCorrectionService;
using Internal::ImageGrabbedNotifierService;
using Tavix::StaticDefectPixelList;

Q_DECLARE_METATYPE(Tavix::StaticDefectPixelList)

namespace {

const QString ServiceCategory = QStringLiteral("tavix.viewer.plugins.optiRoster.staticDefectPixelCorrectionService");
const QString CameraCategory = QStringLiteral("tavix.viewer.plugins.optiRoster.camera");

QJsonArray sensor(QJsonArray more = {})
{
    more.prepend(QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 8}});
    more.prepend(QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}});
    return more;
}

QJsonArray pixels(std::initializer_list<std::pair<int, int>> list)
{
    QJsonArray array;
    for (const auto& pixel : list)
        array.append(QJsonArray{pixel.first, pixel.second});
    return array;
}

StaticDefectPixelList list(std::initializer_list<std::pair<uint32_t, uint32_t>> pixels)
{
    StaticDefectPixelList result;
    for (const auto& pixel : pixels)
        result.push_back({pixel.first, pixel.second});
    return result;
}

} // namespace

namespace QTest {
template <>
char* toString(const StaticDefectPixelList& list)
{
    return qstrdup(Tavix::CStaticDefectPixelCorrection::ToText(list).c_str());
}
} // namespace QTest

class TestDefectPixels : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void bothListsAreReadAndAWrittenUserListStaysWithTheDevice();
    void normalisingSortsDropsDuplicatesAndPixelsOffTheSensor_data();
    void normalisingSortsDropsDuplicatesAndPixelsOffTheSensor();
    void theCameraRefusesWhatItCantTake_data();
    void theCameraRefusesWhatItCantTake();
    void anUnknownCameraFailsEveryOperation();
    void aClosedOrGrabbingCameraAnswersFalseSilentlyAndSupportNeedsBothParameters();

private:
    void makeRoster();
    CameraInfoPtr openCamera(const QString& serial);

    QSharedPointer<ImageGrabbedNotifierService> m_notifier;
    std::unique_ptr<COptiRoster> m_pRoster;
    std::unique_ptr<CStaticDefectPixelCorrectionService> m_pService;
};

void TestDefectPixels::init()
{
    TavixSim::reset();
    QJsonObject corrected = TestScenario::camera(QStringLiteral("701"), QJsonObject{{"frameRate", 100}}, sensor());
    corrected.insert("defectPixels", QJsonObject{{"factory", pixels({{5, 1}, {2, 0}, {63, 7}})}, {"user", pixels({{3, 3}})}});
    const QJsonArray cameras{
        corrected,
        TestScenario::camera(QStringLiteral("702"), {}, sensor()),
        TestScenario::camera(QStringLiteral("703"), {}, sensor({QJsonObject{{"name", "VrlStaticDefectPixelCorrectionMode"},
                                                                             {"type", "enumeration"},
                                                                             {"entries", QJsonArray{"Off", "On"}}}})),
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(cameras)}), QString());
    m_notifier.reset(new ImageGrabbedNotifierService(nullptr));
    makeRoster();
}

void TestDefectPixels::cleanup()
{
    m_pService.reset();
    m_pRoster.reset();
    m_notifier.reset();
}

// A new roster and service, the old ones gone first.
void TestDefectPixels::makeRoster()
{
    m_pService.reset();
    m_pRoster = std::make_unique<COptiRoster>(m_notifier, nullptr);
    m_pService = std::make_unique<CStaticDefectPixelCorrectionService>(m_pRoster.get(), nullptr);
}

CameraInfoPtr TestDefectPixels::openCamera(const QString& serial)
{
    const CameraInfoPtr info = cameraInfo(serial);
    m_pRoster->addDevice(info);
    return m_pRoster->openDevice(info, false) ? info : CameraInfoPtr();
}

void TestDefectPixels::bothListsAreReadAndAWrittenUserListStaysWithTheDevice()
{
    CameraInfoPtr info = openCamera(QStringLiteral("701"));
    QVERIFY(info);
    StaticDefectPixelList read = list({{9, 9}}); // replaced, not appended to
    QVERIFY(m_pService->getDefectPixelList(info, read, ListType_User));
    QCOMPARE(read, list({{3, 3}}));
    StaticDefectPixelList written = list({{1, 0}, {7, 2}, {0, 5}});
    QVERIFY(m_pService->setDefectPixelList(info, written, ListType_User));
    QVERIFY(m_pService->getDefectPixelList(info, read, ListType_User));
    QCOMPARE(read, written);

    // A new roster with a new camera object, after the old ones are gone, finds the list on the
    // device, and the factory's as the camera holds it.
    makeRoster();
    info = openCamera(QStringLiteral("701"));
    QVERIFY(info);
    QVERIFY(m_pService->getDefectPixelList(info, read, ListType_User));
    QCOMPARE(read, written);
    QVERIFY(m_pService->getDefectPixelList(info, read, ListType_Factory));
    QCOMPARE(read, list({{5, 1}, {2, 0}, {63, 7}}));
}

void TestDefectPixels::normalisingSortsDropsDuplicatesAndPixelsOffTheSensor_data()
{
    QTest::addColumn<StaticDefectPixelList>("given");
    QTest::addColumn<StaticDefectPixelList>("normal");
    QTest::newRow("empty") << StaticDefectPixelList() << StaticDefectPixelList();
    QTest::newRow("by row, then column") << list({{9, 2}, {3, 2}, {60, 0}}) << list({{60, 0}, {3, 2}, {9, 2}});
    QTest::newRow("duplicates") << list({{4, 4}, {1, 1}, {4, 4}, {1, 1}}) << list({{1, 1}, {4, 4}});
    QTest::newRow("off the sensor") << list({{64, 0}, {0, 8}, {63, 7}, {4000000000u, 1}}) << list({{63, 7}});
}

void TestDefectPixels::normalisingSortsDropsDuplicatesAndPixelsOffTheSensor()
{
    QFETCH(StaticDefectPixelList, given);
    QFETCH(StaticDefectPixelList, normal);
    const CameraInfoPtr info = openCamera(QStringLiteral("701"));
    QVERIFY(info);
    QVERIFY(m_pService->normalizeDefectPixelList(info, given));
    QCOMPARE(given, normal); // in place
    QVERIFY(m_pService->setDefectPixelList(info, given, ListType_User)); // and the camera takes it
}

void TestDefectPixels::theCameraRefusesWhatItCantTake_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("type");
    QTest::addColumn<StaticDefectPixelList>("pixels");
    QTest::addColumn<QString>("fault"); // an operation of the SDK that fails once; the list is then read
    QTest::addColumn<QString>("reason");
    const QString unsupported = QStringLiteral("The camera doesn't support static defect pixel correction.");
    QTest::newRow("factory list") << "701" << int(ListType_Factory) << list({{1, 1}}) << ""
                                  << "The factory's defect pixel list is read-only.";
    QTest::newRow("not normal") << "701" << int(ListType_User) << list({{2, 1}, {1, 1}}) << ""
                                << "The defect pixel list is not in normal form. Normalize it first.";
    QTest::newRow("without the feature") << "702" << int(ListType_User) << list({{1, 1}}) << "" << unsupported;
    QTest::newRow("mode only") << "703" << int(ListType_User) << list({{1, 1}}) << "" << unsupported;
    QTest::newRow("the SDK fails a read") << "701" << int(ListType_User) << StaticDefectPixelList()
                                          << "Read:VrlStaticDefectPixelListUser" << "The list memory is busy.";
}

void TestDefectPixels::theCameraRefusesWhatItCantTake()
{
    QFETCH(QString, serial);
    QFETCH(int, type);
    QFETCH(StaticDefectPixelList, pixels);
    QFETCH(QString, fault);
    QFETCH(QString, reason);
    const CameraInfoPtr info = openCamera(serial);
    QVERIFY(info);
    if (!fault.isEmpty())
        TavixSim::injectFault({info->getFullName().toStdString(), fault.toStdString(), "AccessException", reason.toStdString(), 1});
    CLogRecorder log;
    const auto listType = EStaticDefectPixelListType(type);
    QVERIFY(fault.isEmpty() ? !m_pService->setDefectPixelList(info, pixels, listType)
                            : !m_pService->getDefectPixelList(info, pixels, listType));
    QCOMPARE(info->getLastError(), reason);
    const QStringList lines = log.messages(CameraCategory);
    QCOMPARE(lines.size(), 1);
    const QString start = fault.isEmpty() ? QStringLiteral("Failure when set static defect pixel list on camera. Reason:  ")
                                          : QStringLiteral("Failure when get static defect pixel list from camera. Reason:  ");
    QVERIFY2(lines[0].startsWith(start) && lines[0].contains(reason), qPrintable(lines[0]));
    QVERIFY(log.messages(ServiceCategory).isEmpty()); // the camera reported it already

    if (serial == QLatin1String("701")) { // the stored list is untouched; a fault came once
        StaticDefectPixelList user;
        QVERIFY(m_pService->getDefectPixelList(info, user, ListType_User));
        QCOMPARE(user, list({{3, 3}}));
    }
}

void TestDefectPixels::anUnknownCameraFailsEveryOperation()
{
    const CameraInfoPtr unknown = cameraInfo(QStringLiteral("702")); // never added to the roster
    const QString reason = QStringLiteral("No camera found for the provided camera info.");
    CLogRecorder log;
    StaticDefectPixelList pixels = list({{1, 1}});
    QVERIFY(!m_pService->getDefectPixelList(unknown, pixels, ListType_Factory));
    QVERIFY(!m_pService->setDefectPixelList(unknown, pixels, ListType_User));
    QVERIFY(!m_pService->normalizeDefectPixelList(unknown, pixels));
    QCOMPARE(unknown->getLastError(), reason);
    QCOMPARE(log.messages(ServiceCategory), (QStringList{
        QStringLiteral("Could not get defect pixel list. Reason: ") + reason,
        QStringLiteral("Could not set defect pixel list. Reason: ") + reason,
        QStringLiteral("Could not normalize defect pixel list. Reason: ") + reason}));
    QVERIFY_EXCEPTION_THROWN(m_pService->isDefectPixelCorrectionSupported(unknown), Core::Exception::RuntimeException);
    // A null description is in the client services' bad-input table.
}

void TestDefectPixels::aClosedOrGrabbingCameraAnswersFalseSilentlyAndSupportNeedsBothParameters()
{
    QVector<CameraInfoPtr> infos;
    for (const auto& serial : {QStringLiteral("701"), QStringLiteral("702"), QStringLiteral("703")}) {
        infos << cameraInfo(serial);
        m_pRoster->addDevice(infos.last());
        QCOMPARE(messageOf<Core::Exception::RuntimeException>([&] { m_pService->isDefectPixelCorrectionSupported(infos.last()); }),
                 QStringLiteral("Camera must not be closed."));
    }
    const CameraInfoPtr info = infos[0];
    CLogRecorder log;
    StaticDefectPixelList pixels;
    QVERIFY(!m_pService->getDefectPixelList(info, pixels, ListType_Factory)); // closed

    QVERIFY(m_pRoster->openDevice(info, false));
    QSignalSpy started(m_pRoster.get(), &COptiRoster::cameraGrabStarted);
    m_pRoster->startGrabbing(info);
    QTRY_COMPARE_WITH_TIMEOUT(started.count(), 1, 10000);
    QVERIFY(!m_pService->getDefectPixelList(info, pixels, ListType_Factory));
    QVERIFY(!m_pService->normalizeDefectPixelList(info, pixels));
    QVERIFY(m_pRoster->isCameraGrabbing(info)); // the grab goes on
    m_pRoster->stopGrabbing(info);

    QVERIFY(log.messages(ServiceCategory).isEmpty());
    QVERIFY(log.messages(CameraCategory).filter(QStringLiteral("defect pixel")).isEmpty());
    QVERIFY(info->getLastError().isEmpty());
    QVERIFY(pixels.empty());

    QVERIFY(m_pService->isDefectPixelCorrectionSupported(info));
    QVERIFY(m_pRoster->openDevice(infos[1], false));
    QVERIFY(!m_pService->isDefectPixelCorrectionSupported(infos[1]));
    QVERIFY(m_pRoster->openDevice(infos[2], false));
    QVERIFY(!m_pService->isDefectPixelCorrectionSupported(infos[2])); // mode without reload
}

TAVIX_TEST_MAIN(TestDefectPixels)
#include "tst_defectpixels.moc"
