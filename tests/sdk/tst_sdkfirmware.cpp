#include "firmwarefixture.h"
#include "testmain.h"

#include <tavix/firmware.h>
#include <tavix/instantcamera.h>
#include <tavix/runtime.h>
#include <tavix/tlfactory.h>

#include <QTemporaryDir>

#include <functional>

namespace {

class CRecordingCollector : public GenApi::IFirmwareUpdateInfoCollector
{
public:
    bool OnUpdateRead(const GenApi::CFirmwareUpdateInfo& info) override
    {
        records.push_back(info);
        return true;
    }
    QStringList versions() const
    {
        QStringList list;
        for (const auto& record : records)
            list << QString::fromUtf8(record.GetInfo("Version", "").c_str());
        return list;
    }
    std::vector<GenApi::CFirmwareUpdateInfo> records;
};

// The updates of a file, read through the filter.
CRecordingCollector read(const QString& path, const char* filter = nullptr)
{
    CRecordingCollector collector;
    GenApi::CFirmwareUpdater().ReadFirmwareUpdateInfos(path.toUtf8().constData(), collector, filter);
    return collector;
}

bool listed(const char* fullName)
{
    Tavix::DeviceInfoList devices;
    Tavix::CTlFactory::GetInstance().EnumerateDevices(devices);
    return std::any_of(devices.begin(), devices.end(), [&](const auto& device) { return device.GetFullName() == fullName; });
}

std::unique_ptr<Tavix::CInstantCamera> openOrvik()
{
    Tavix::CDeviceInfo wanted;
    wanted.SetSerialNumber(FirmwareScenario::OrvikSerial);
    auto camera = std::make_unique<Tavix::CInstantCamera>(Tavix::CTlFactory::GetInstance().CreateDevice(wanted));
    camera->Open();
    return camera;
}

} // namespace

class TestSdkFirmware : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void readsEveryUpdateOfAFileInItsOrder();
    void theDocumentedExampleReads();
    void aBadFileGivesAClearErrorAndNoRecords_data();
    void aBadFileGivesAClearErrorAndNoRecords();
    void versionsAreExtractedFromRealisticTexts_data();
    void versionsAreExtractedFromRealisticTexts();
    void matchingFollowsModelDeviceVersionAndFirmware_data();
    void matchingFollowsModelDeviceVersionAndFirmware();
    void aResetDeviceReturnsAfterItsRebootTimeOnTheSimulatorClock();

private:
    QString examplePath() const { return QFINDTESTDATA("../data/firmware/updates.json"); }
};

void TestSdkFirmware::init()
{
    TavixSim::reset();
    TavixSim::setSleepScale(0);
    QCOMPARE(FirmwareScenario::load({FirmwareScenario::orvik(), FirmwareScenario::tesmar()}), QString());
}

void TestSdkFirmware::readsEveryUpdateOfAFileInItsOrder()
{
    const CRecordingCollector collector = read(examplePath());
    QCOMPARE(collector.versions(), (QStringList{"2.1.8", "2.2.0", "2.0.3", "3.1.0", "2.3.0-rc1"}));
    const GenApi::CFirmwareUpdateInfo& first = collector.records.front();
    QVERIFY(first.IsValid());
    QCOMPARE(QString::fromUtf8(first.GetUpdateFilename().c_str()), examplePath());
    QVERIFY(QString::fromUtf8(first.GetInfo("ReleaseNotes", "").c_str()).contains(QStringLiteral("Überarbeitete")));
    QCOMPARE(QString::fromUtf8(first.GetInfo("NoSuchKey", "fallback").c_str()), QStringLiteral("fallback"));
    QCOMPARE(collector.records[1].GetData()->payload.size(), size_t(6000)); // read from the file beside
    QVERIFY(!GenApi::CFirmwareUpdateInfo().IsValid());
    // A filter selects by model name.
    QCOMPARE(read(examplePath(), "TSM-5120-*").versions(), QStringList{"3.1.0"});
    QVERIFY(read(examplePath(), "QRX-*").records.empty());
}

void TestSdkFirmware::theDocumentedExampleReads()
{
    QFile doc(QFINDTESTDATA("../../docs/firmware.md"));
    QVERIFY(doc.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(doc.readAll());
    const int start = text.indexOf(QStringLiteral("```json\n"));
    const int end = text.indexOf(QStringLiteral("```"), start + 8);
    QVERIFY(start >= 0 && end > start);
    QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("example.json")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text.mid(start + 8, end - start - 8).toUtf8());
    file.close();
    QCOMPARE(read(file.fileName()).versions(), (QStringList{"2.1.8", "2.0.3"}));
}

void TestSdkFirmware::aBadFileGivesAClearErrorAndNoRecords_data()
{
    QTest::addColumn<QString>("find");
    QTest::addColumn<QString>("replace");
    QTest::addColumn<int>("truncateAt"); // 0: whole
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("expected");

    // The fault of a file cut short is its last byte, never one past the end.
    QTest::newRow("truncated") << "" << "" << 4000 << "FormatException"
                               << "malformed at byte 3999 (line 20, column 3336): unterminated string";
    QTest::newRow("missing payload file") << "\"orvik-2.2.0.bin\"" << "\"orvik-2.2.1.bin\"" << 0
                                          << "FileNotFoundException" << "update #1 'orvik-2.2.0': the payload file";
    QTest::newRow("checksum malformed") << "\"sha256\": \"" << "\"sha256\": \"0" << 0 << "FormatException"
                                       << "update #0 'orvik-2.1.8': 'payload' needs 'sha256'";
    QTest::newRow("checksum mismatch") << "\"base64\": \"C" << "\"base64\": \"D" << 0 << "FormatException"
                                     << "update #0 'orvik-2.1.8': the payload does not match its declared checksum";
    QTest::newRow("key of unknown type") << "\"RebootTime\": \"2000\"" << "\"RebootTime\": 2000" << 0 << "FormatException"
                                         << "the info key 'RebootTime' holds a number; only texts are known";
    QTest::newRow("unknown key") << "\"Description\": \"Tesmar" << "\"Descripton\": \"Tesmar" << 0 << "FormatException"
                                 << "update #3 'tesmar-3.1.0': unknown info key 'Descripton'";
    QTest::newRow("info key twice") << "\"RebootTime\": \"2000\"" << "\"RebootTime\": \"2000\", \"RebootTime\": \"3000\"" << 0
                                    << "FormatException" << "the key 'RebootTime' is given twice in one object";
    QTest::newRow("no update file") << "\"tavixFirmwareUpdates\": 1" << "\"tavixFirmwareUpdates\": 2" << 0
                                    << "FormatException" << "no update file of a known version";
}

void TestSdkFirmware::aBadFileGivesAClearErrorAndNoRecords()
{
    QFETCH(QString, find);
    QFETCH(QString, replace);
    QFETCH(int, truncateAt);
    QFETCH(QString, type);
    QFETCH(QString, expected);

    QFile example(examplePath());
    QVERIFY(example.open(QIODevice::ReadOnly));
    QString text = QString::fromUtf8(example.readAll());
    if (!find.isEmpty()) {
        QVERIFY(text.contains(find));
        text.replace(text.indexOf(find), find.size(), replace); // the first occurrence only
    }
    QByteArray bytes = text.toUtf8();
    if (truncateAt > 0)
        bytes.truncate(truncateAt);
    QTemporaryDir dir;
    QVERIFY(QFile::copy(QFileInfo(examplePath()).dir().filePath(QStringLiteral("orvik-2.2.0.bin")), dir.filePath(QStringLiteral("orvik-2.2.0.bin"))));
    const QString path = dir.filePath(QStringLiteral("updates.json"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();

    CRecordingCollector collector;
    QString caughtType;
    QString description;
    try {
        GenApi::CFirmwareUpdater().ReadFirmwareUpdateInfos(path.toUtf8().constData(), collector, nullptr);
    } catch (const GenICam::GenericException& e) {
        caughtType = QString::fromUtf8(e.GetExceptionType());
        description = QString::fromUtf8(e.GetDescription());
    }
    QCOMPARE(caughtType, type);
    QVERIFY2(description.startsWith(path + QStringLiteral(": ")), qPrintable(description));
    QVERIFY2(description.contains(expected), qPrintable(description));
    QVERIFY(collector.records.empty()); // none of those read before the fault
}

void TestSdkFirmware::versionsAreExtractedFromRealisticTexts_data()
{
    QTest::addColumn<QString>("style");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("version");

    QTest::newRow("model prefix, build suffix") << "" << "" << "OVK2310-V02.01.007-build4411" << "02.01.007";
    QTest::newRow("plain") << "dotted" << "" << "3.4.1" << "3.4.1";
    QTest::newRow("four groups") << "" << "" << "R1.0.12.3 (2024-03-07)" << "1.0.12.3";
    QTest::newRow("semver keeps its suffix") << "semver" << "" << "Halvard HV-12 2.3.0-rc1" << "2.3.0-rc1";
    QTest::newRow("own pattern") << "" << "^TSM_\\d+ (\\d+\\.\\d+\\.\\d+)" << "TSM_5120 3.0.2 (b118)" << "3.0.2";
    QTest::newRow("nothing matches") << "" << "" << "unversioned" << "unversioned";
}

void TestSdkFirmware::versionsAreExtractedFromRealisticTexts()
{
    QFETCH(QString, style);
    QFETCH(QString, pattern);
    QFETCH(QString, device);
    QFETCH(QString, version);
    std::map<std::string, std::string> info{{"Version", "1.0"}, {"ModelNames", "*"}};
    if (!style.isEmpty())
        info["VersionStyle"] = style.toStdString();
    if (!pattern.isEmpty())
        info["VersionExtractionPattern"] = pattern.toStdString();
    const auto record = FirmwareScenario::record(info);
    QCOMPARE(QString::fromUtf8(record.ExtractVersionFromDeviceFirmwareVersion(device.toUtf8().constData()).c_str()), version);
}

void TestSdkFirmware::matchingFollowsModelDeviceVersionAndFirmware_data()
{
    QTest::addColumn<QString>("models");
    QTest::addColumn<QString>("deviceVersions");
    QTest::addColumn<QString>("minimum");
    QTest::addColumn<bool>("matches");

    QTest::newRow("model") << "OVK-2310-40gm" << "" << "" << true;
    QTest::newRow("model wildcard in a list") << "OVK-2310-40gc, OVK-2310-*" << "" << "" << true;
    QTest::newRow("other model") << "TSM-5120-*" << "" << "" << false;
    QTest::newRow("device version") << "OVK-*" << "OVK2310-R4.*" << "" << true;
    QTest::newRow("other device version") << "OVK-*" << "OVK2310-R5.*" << "" << false;
    QTest::newRow("firmware new enough") << "OVK-*" << "" << "2.1.7" << true;
    QTest::newRow("firmware too old") << "OVK-*" << "" << "2.1.10" << false;
}

void TestSdkFirmware::matchingFollowsModelDeviceVersionAndFirmware()
{
    QFETCH(QString, models);
    QFETCH(QString, deviceVersions);
    QFETCH(QString, minimum);
    QFETCH(bool, matches);
    std::map<std::string, std::string> info{{"Version", "2.2.0"}, {"ModelNames", models.toStdString()}};
    if (!deviceVersions.isEmpty())
        info["DeviceVersions"] = deviceVersions.toStdString();
    if (!minimum.isEmpty())
        info["MinimumFirmwareVersion"] = minimum.toStdString();
    QCOMPARE(GenApi::CFirmwareUpdater().FirmwareUpdateMatchesDevice(&openOrvik()->GetNodeMap(), FirmwareScenario::record(info)), matches);
}

void TestSdkFirmware::aResetDeviceReturnsAfterItsRebootTimeOnTheSimulatorClock()
{
    const int devicesBefore = TavixSim::liveObjects(TavixSim::LiveDevice);
    {
        const auto camera = openOrvik();
        Tavix::CCommandParameter(camera->GetNodeMap(), "DeviceReset").Execute();
        QVERIFY(camera->IsCameraDeviceRemoved());
    }
    QVERIFY(!listed(FirmwareScenario::OrvikName));
    QVERIFY(listed(FirmwareScenario::TesmarName));
    Tavix::WaitObject::Sleep(2999); // the scenario's reboot time is 3000 ms
    QVERIFY(!listed(FirmwareScenario::OrvikName));
    Tavix::WaitObject::Sleep(1);
    QVERIFY(listed(FirmwareScenario::OrvikName));
    QCOMPARE(TavixSim::firmwareVersion(FirmwareScenario::OrvikName), std::string(FirmwareScenario::OrvikFirmware));
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveDevice), devicesBefore);
}

TAVIX_TEST_MAIN(TestSdkFirmware)
#include "tst_sdkfirmware.moc"
