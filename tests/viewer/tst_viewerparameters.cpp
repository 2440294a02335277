#include "viewerfixture.h"

#include <simscenario.h>

#include <core/parametercollection/parameter.h>
#include <featuresnapshot.h>

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QWheelEvent>
#include <QtConcurrent>

#include <atomic>

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

const QString Serial = QStringLiteral("70000071");

using TestScenario::feature;

// One camera with a feature of each type, limits, and features that can't be written.
QString loadWorld()
{
    QJsonArray features{
        feature("Width", "integer", 64, {{"min", 16}, {"max", 1024}, {"inc", 16}, {"unit", "px"}}),
        feature("Height", "integer", 16, {{"min", 1}, {"max", 512}}),
        feature("FrameCounter", "integer", 0),
        feature("Gain", "float", 1.5, {{"min", 0}, {"max", 24}, {"unit", "dB"}}),
        feature("PixelFormat", "enumeration", "Mono8", {{"entries", QJsonArray{"Mono8", "Mono16", "YUV422_8", "BayerRG8"}}}),
        feature("ReverseX", "boolean", false),
        feature("DeviceUserID", "string", "left"),
        feature("DeviceTemperature", "float", 41.5, {{"access", "RO"}}),
        feature("SensorWidth", "integer", 2048, {{"access", "RO"}}),
        feature("TestPattern", "enumeration", "Off", {{"access", "NA"}, {"entries", QJsonArray{"Off", "Bars"}}}),
    };
    // A category of the camera's own, with a feature for experts that depends on another.
    features.append(QJsonObject{{"name", "Optics"}, {"type", "category"}, {"displayName", "Lens and Optics"}, {"description", "The motorised lens."}});
    features.append(feature("ZoomPosition", "integer", 0, {{"min", 0}, {"max", 100}, {"category", "Optics"}}));
    features.append(feature("FocusPosition", "integer", 50, {{"category", "Optics"}, {"displayName", "Focus"}, {"visibility", "Guru"},
                                                             {"unit", "mm"}, {"description", "Where the lens focuses."},
                                                             {"dependsOn", QJsonArray{"ZoomPosition"}}}));
    features.append(feature("ExposureTime", "float", 5000.0, {{"min", 20.0}, {"max", 100000.0}}));
    features.append(feature("ExposureAuto", "enumeration", "Off", {{"entries", QJsonArray{"Off", "Continuous"}}}));
    // Enough features that the list scrolls.
    for (int i = 0; i < 40; ++i)
        features.append(feature(QStringLiteral("UserValue%1").arg(i), "integer", i));
    return TestScenario::load({TestScenario::gigeLayer({TestScenario::camera(Serial, {}, features)})});
}

} // namespace

class TestViewerParameters : public QObject
{
    Q_OBJECT

private:
    CViewerFixture m_viewer;
    CameraInfoPtr m_ptrCamera;

    QWidget* editorOf(const QString& feature) const { return m_viewer.find<QWidget>("@CameraDevice/" + feature); }
    QString cameraText(const QString& feature) const
    {
        return m_viewer.services.parameters->getParameterText(m_ptrCamera, "@CameraDevice/" + feature);
    }
    // The titles of the groups above a feature's row, from the top.
    QString groupsOf(const QString& feature) const
    {
        QStringList titles;
        for (QTreeWidgetItem* item = itemOf(feature); item && item->parent(); item = item->parent())
            titles.prepend(item->parent()->text(0));
        return titles.join(" / ");
    }
    // Whether a person sees the row: neither it nor a group above it is hidden.
    bool isShown(const QString& feature) const
    {
        QTreeWidgetItem* item = itemOf(feature);
        for (QTreeWidgetItem* up = item; up; up = up->parent()) {
            if (up->isHidden())
                return false;
        }
        return item != nullptr;
    }
    // A feature's row, found by its path since the row shows the feature's display name.
    QTreeWidgetItem* itemOf(const QString& feature) const
    {
        auto* tree = m_viewer.find<QTreeWidget>(QStringLiteral("parametersTree"));
        for (QTreeWidgetItemIterator it(tree); *it; ++it) {
            if ((*it)->data(0, Qt::UserRole).toString() == "@CameraDevice/" + feature)
                return *it;
        }
        return nullptr;
    }
    QString reasonOf(const QString& feature) const
    {
        QTreeWidgetItem* item = itemOf(feature);
        return item ? item->toolTip(2) : QStringLiteral("<not shown>");
    }
    QAbstractSpinBox* numberBoxOf(const QString& feature) const
    {
        QWidget* editor = editorOf(feature);
        return editor ? editor->findChild<QAbstractSpinBox*>() : nullptr;
    }
    QString shownIn(const QString& feature) const
    {
        const QAbstractSpinBox* box = numberBoxOf(feature);
        return box ? box->text() : QStringLiteral("<no box>");
    }
    QString message() const { return m_viewer.find<QLabel>(QStringLiteral("parametersMessage"))->text(); }

private slots:
    void init()
    {
        TavixSim::reset();
        QCOMPARE(loadWorld(), QString());
        QVERIFY(m_viewer.start({QStringLiteral("*ViewerParameters*")}));
        m_ptrCamera = m_viewer.services.enumeration->getTransportLayers().first()->getCameraInfoList().first();
        m_viewer.services.status->setActiveDevice(m_ptrCamera);
        QVERIFY(!editorOf("Width"));
        QVERIFY(m_viewer.services.control->open(m_ptrCamera, false));
        QTRY_VERIFY_WITH_TIMEOUT(editorOf("Width"), 10000);
    }
    void cleanup()
    {
        m_ptrCamera.reset();
        m_viewer.stop();
        TavixSim::clearFaults();
    }

    // Each type has its editor; what a person enters there reaches the camera.
    void editsReachTheCamera_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("entered");
        QTest::addColumn<QString>("expected");
        QTest::newRow("integer") << "Width" << "128" << "128";
        QTest::newRow("64-bit integer") << "FrameCounter" << "5000000000" << "5000000000";
        QTest::newRow("float") << "Gain" << "6.25" << "6.25";
        QTest::newRow("enumeration") << "PixelFormat" << "Mono16" << "Mono16";
        QTest::newRow("boolean") << "ReverseX" << "true" << "true";
        QTest::newRow("string") << "DeviceUserID" << "right" << "right";
    }
    void editsReachTheCamera()
    {
        QFETCH(QString, feature);
        QFETCH(QString, entered);
        QFETCH(QString, expected);
        QWidget* editor = editorOf(feature);
        QVERIFY(editor);
        if (auto* box = editor->findChild<QAbstractSpinBox*>()) {
            CViewerFixture::type(box, entered);
        } else if (auto* combo = editor->findChild<QComboBox*>()) {
            combo->setCurrentText(entered);
            emit combo->activated(combo->currentIndex());
        } else if (auto* check = editor->findChild<QCheckBox*>()) {
            check->click();
        } else if (auto* line = editor->findChild<QLineEdit*>()) {
            line->setText(entered);
            QTest::keyClick(line, Qt::Key_Return);
        } else {
            QFAIL("no editor");
        }
        QTRY_COMPARE_WITH_TIMEOUT(cameraText(feature).toDouble() == expected.toDouble() ? expected : cameraText(feature), expected, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(message().contains(feature), 10000);
        QCOMPARE(reasonOf(feature), QString());
    }

    // The features stand in the camera's categories, standard or its own, under the names they
    // give; the tooltip tells the description and the unit.
    void featuresStandInTheirCategories_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("groups");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("toolTipHas");
        QTest::newRow("standard") << "Width" << "Image Format Control" << "Width" << "The width of the image";
        QTest::newRow("standard, another") << "Gain" << "Analog Control" << "Gain" << "dB";
        QTest::newRow("the camera's own") << "FocusPosition" << "Lens and Optics" << "Focus" << "Where the lens focuses.";
        QTest::newRow("of no category") << "UserValue3" << "@CameraDevice" << "UserValue3" << "UserValue3";
    }
    void featuresStandInTheirCategories()
    {
        QFETCH(QString, feature);
        QFETCH(QString, groups);
        QFETCH(QString, title);
        QFETCH(QString, toolTipHas);
        QCOMPARE(groupsOf(feature), groups);
        QCOMPARE(itemOf(feature)->text(0), title);
        QVERIFY2(itemOf(feature)->toolTip(0).contains(toolTipHas), qPrintable(itemOf(feature)->toolTip(0)));
    }

    // The visibility chosen and the text searched for decide which features show, and which
    // categories with them.
    void theVisibilityAndTheSearchChooseWhatShows_data()
    {
        QTest::addColumn<QString>("visibility");
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("hidden");
        QTest::newRow("beginner") << "Beginner" << "" << QStringList{"Width", "ZoomPosition"} << QStringList{"FocusPosition", "DeviceReset"};
        QTest::newRow("guru") << "Guru" << "" << QStringList{"Width", "ZoomPosition", "FocusPosition", "DeviceReset"} << QStringList{};
        QTest::newRow("search by display name") << "Guru" << "focus" << QStringList{"FocusPosition"} << QStringList{"ZoomPosition", "Width"};
        QTest::newRow("search by name, any case") << "Beginner" << "userVALUE1" << QStringList{"UserValue1", "UserValue12"}
                                                  << QStringList{"UserValue2", "Width"};
        QTest::newRow("search above the visibility") << "Beginner" << "focus" << QStringList{} << QStringList{"FocusPosition", "ZoomPosition"};
    }
    void theVisibilityAndTheSearchChooseWhatShows()
    {
        QFETCH(QString, visibility);
        QFETCH(QString, search);
        QFETCH(QStringList, shown);
        QFETCH(QStringList, hidden);
        auto* level = m_viewer.find<QComboBox>(QStringLiteral("parametersVisibility"));
        level->setCurrentText(visibility);
        QCOMPARE(level->currentText(), visibility);
        auto* searchBox = m_viewer.find<QLineEdit>(QStringLiteral("parametersSearch"));
        searchBox->clear();
        QTest::keyClicks(searchBox, search);
        for (const QString& feature : shown)
            QTRY_VERIFY2_WITH_TIMEOUT(isShown(feature), qPrintable(feature), 10000);
        for (const QString& feature : hidden)
            QVERIFY2(!isShown(feature), qPrintable(feature));
        // A category shows while it holds a feature shown.
        auto* tree = m_viewer.find<QTreeWidget>(QStringLiteral("parametersTree"));
        for (QTreeWidgetItemIterator it(tree); *it; ++it) {
            if ((*it)->childCount() == 0 || (*it)->isHidden())
                continue;
            bool holdsShown = false;
            for (QTreeWidgetItemIterator below(*it); *below && !holdsShown; ++below)
                holdsShown = *below != *it && (*below)->childCount() == 0 && !(*below)->isHidden();
            QVERIFY2(holdsShown, qPrintable((*it)->text(0)));
        }
    }

    // A write reads the features that depend on it again: the exposure turns read-only while
    // the camera sets it itself.
    void aDependentFollowsTheFeatureItDependsOn()
    {
        QVERIFY(numberBoxOf("ExposureTime"));
        auto* automatic = editorOf("ExposureAuto")->findChild<QComboBox*>();
        automatic->setCurrentText("Continuous");
        emit automatic->activated(automatic->currentIndex());
        QTRY_VERIFY_WITH_TIMEOUT(!numberBoxOf("ExposureTime") || numberBoxOf("ExposureTime")->isReadOnly(), 10000);
        automatic = editorOf("ExposureAuto")->findChild<QComboBox*>();
        automatic->setCurrentText("Off");
        emit automatic->activated(automatic->currentIndex());
        QTRY_VERIFY_WITH_TIMEOUT(numberBoxOf("ExposureTime") && !numberBoxOf("ExposureTime")->isReadOnly(), 10000);
    }

    // Workers that read the camera's features, as the panels' workers do, while the camera is
    // lost and the roster drops it, never touch its freed maps (the AddressSanitizer build
    // watches this); once it is dropped a read finds no map.
    void readsOnWorkersSurviveACameraLostAndDropped()
    {
        const auto collection = m_viewer.services.parameters->findParameterCollection(m_ptrCamera);
        QVERIFY(collection);
        std::atomic<bool> done{false};
        std::atomic<int> fullReads{0};
        const auto read = [&] {
            ParameterCollection::CIntegerParameter width(collection, QStringLiteral("@CameraDevice"), QStringLiteral("Width"));
            while (!done) {
                if (Viewer::CFeatureSnapshot::readAll(*collection).size() > 40)
                    ++fullReads;
                try {
                    width.getValue();
                } catch (const GenICam::GenericException&) {
                    // Gone meanwhile, as it says.
                }
            }
        };
        QFuture<void> first = QtConcurrent::run(read);
        QFuture<void> second = QtConcurrent::run(read);
        QTRY_VERIFY_WITH_TIMEOUT(fullReads > 0, 10000);
        QSignalSpy lost(m_viewer.services.status.data(), &Plugin::OptiRoster::ICameraStatusService::cameraConnectionLost);
        TavixSim::loseDevice(("SimGigE#" + Serial).toStdString());
        QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 10000);
        m_viewer.services.enumeration->requestEnumeration();
        const auto hasMap = [&] { return collection->readNodeMap(QStringLiteral("@CameraDevice"), [](GenApi::INodeMap&) {}); };
        QTRY_VERIFY_WITH_TIMEOUT(!hasMap(), 10000);
        done = true;
        first.waitForFinished();
        second.waitForFinished();
        QVERIFY(Viewer::CFeatureSnapshot::readAll(*collection).size() < 40);
    }

    // A typed value is taken as it stands or refused with the feature's range and increment, never
    // bent into another value; the box shows the camera's value again.
    void typedValuesOutsideTheRangeOrOffTheIncrementAreRefused_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("reason");
        QTest::newRow("above the maximum") << "Width" << "5000" << "5000 is out of range: Width takes 16 to 1024 in steps of 16 px.";
        QTest::newRow("below the minimum") << "Width" << "8" << "8 is out of range: Width takes 16 to 1024 in steps of 16 px.";
        QTest::newRow("off the increment") << "Width" << "1001"
                                           << "1001 is off the increment: Width takes 16 to 1024 in steps of 16 px. The nearest are 992 and 1008.";
        QTest::newRow("a float below the minimum") << "Gain" << "-3" << "-3 is out of range: Gain takes 0 to 24 dB.";
    }
    void typedValuesOutsideTheRangeOrOffTheIncrementAreRefused()
    {
        QFETCH(QString, feature);
        QFETCH(QString, typed);
        QFETCH(QString, reason);
        const QString before = cameraText(feature);
        CViewerFixture::type(numberBoxOf(feature), typed);
        QTRY_COMPARE_WITH_TIMEOUT(reasonOf(feature), reason, 10000);
        QVERIFY2(message().contains(reason), qPrintable(message()));
        QCOMPARE(shownIn(feature), before);
        QCOMPARE(cameraText(feature), before);
        // A value it takes clears the reason.
        CViewerFixture::type(numberBoxOf(feature), feature == QLatin1String("Width") ? QStringLiteral("1008") : QStringLiteral("12"));
        QTRY_COMPARE_WITH_TIMEOUT(reasonOf(feature), QString(), 10000);
    }

    // Every editor's tooltip says what its feature takes.
    void tooltipsGiveRangeIncrementAndUnit_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("takes");
        QTest::newRow("integer with a unit") << "Width" << "Takes 16 to 1024 in steps of 16 px";
        QTest::newRow("integer of a standard name") << "Height" << "Takes 1 to 512 px";
        QTest::newRow("unbounded integer") << "FrameCounter" << "Takes any whole number";
        QTest::newRow("float") << "Gain" << "Takes 0 to 24 dB";
    }
    void tooltipsGiveRangeIncrementAndUnit()
    {
        QFETCH(QString, feature);
        QFETCH(QString, takes);
        const QString tip = numberBoxOf(feature)->toolTip();
        QVERIFY2(tip.startsWith("@CameraDevice/" + feature) && tip.endsWith(takes), qPrintable(tip));
    }

    // The wheel over a number box or a list that a person hasn't clicked into scrolls the list
    // and writes nothing; in a box with focus it steps the value.
    void theWheelScrollsTheListUnlessTheEditorHasFocus()
    {
        auto* tree = m_viewer.find<QTreeWidget>(QStringLiteral("parametersTree"));
        tree->resize(tree->width(), 200); // fewer rows than features
        QTRY_VERIFY_WITH_TIMEOUT(tree->verticalScrollBar()->maximum() > 0, 10000);
        const auto wheel = [](QWidget* target) {
            const QPointF inside(target->width() / 2.0, target->height() / 2.0);
            QWheelEvent event(inside, target->mapToGlobal(inside.toPoint()), QPoint(), QPoint(0, -120), Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            QApplication::sendEvent(target, &event);
        };
        for (const QString& feature : {QStringLiteral("Width"), QStringLiteral("PixelFormat")}) {
            QWidget* target = feature == QLatin1String("Width") ? static_cast<QWidget*>(numberBoxOf(feature))
                                                               : editorOf(feature)->findChild<QComboBox*>();
            tree->verticalScrollBar()->setValue(0);
            wheel(target);
            QVERIFY2(tree->verticalScrollBar()->value() > 0, qPrintable(feature + " took the wheel"));
        }
        QTest::qWait(200); // a write would be on the worker by now
        QCOMPARE(cameraText("Width"), QStringLiteral("64"));
        QCOMPARE(cameraText("PixelFormat"), QStringLiteral("Mono8"));
        QCOMPARE(shownIn("Width"), QStringLiteral("64"));

        numberBoxOf("Width")->setFocus();
        QTRY_VERIFY(numberBoxOf("Width")->hasFocus());
        wheel(numberBoxOf("Width"));
        QTRY_COMPARE_WITH_TIMEOUT(cameraText("Width"), QStringLiteral("48"), 10000);
    }

    // A refused write names its reason next to the feature and below, and the editor shows
    // what the camera still holds. A long reason leaves the editors their room.
    void showsWhyAWriteWasRefused()
    {
        const QString longReason = QStringLiteral("Width is locked by the sequencer, which runs set 3 of 8 and keeps "
                                                  "its own image size until it is stopped or reconfigured.");
        auto* tree = m_viewer.find<QTreeWidget>(QStringLiteral("parametersTree"));
        const int valueWidth = tree->columnWidth(1);
        TavixSim::injectFault({("SimGigE#" + Serial).toStdString(), "Write:Width", "AccessException", longReason.toStdString(), 1});
        CViewerFixture::type(numberBoxOf("Width"), "256");
        QTRY_VERIFY_WITH_TIMEOUT(reasonOf("Width").contains("locked by the sequencer"), 10000);
        QVERIFY2(message().contains(longReason), qPrintable(message()));
        QCOMPARE(shownIn("Width"), QStringLiteral("64"));
        QCOMPARE(cameraText("Width"), QStringLiteral("64"));
        QCOMPARE(tree->columnWidth(1), valueWidth);
        const QAbstractSpinBox* box = numberBoxOf("Width");
        QVERIFY2(box->width() >= box->minimumSizeHint().width(), qPrintable(QString::number(box->width())));

        // The next write goes through and clears the reason.
        CViewerFixture::type(numberBoxOf("Width"), "96");
        QTRY_COMPARE_WITH_TIMEOUT(cameraText("Width"), QStringLiteral("96"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(reasonOf("Width"), QString(), 10000);
    }

    // While the camera grabs, it refuses what shapes its images, with its own reason; the editor
    // shows the value read back.
    void aGrabbingCameraRefusesAWidthWithItsReason()
    {
        m_viewer.services.stream->startGrabbing(m_ptrCamera);
        QVERIFY(m_viewer.services.status->isCameraGrabbing(m_ptrCamera));
        CViewerFixture::type(numberBoxOf("Width"), "128");
        QTRY_VERIFY_WITH_TIMEOUT(reasonOf("Width").contains("locked while the camera streams images"), 10000);
        QCOMPARE(shownIn("Width"), QStringLiteral("64"));
        m_viewer.services.stream->stopGrabbing(m_ptrCamera);
    }

    // The formats the viewer can't show are in the list for other clients, greyed, with the reason.
    void pixelFormatsTheViewerCantShowAreGreyed()
    {
        auto* combo = editorOf("PixelFormat")->findChild<QComboBox*>();
        QCOMPARE(combo->count(), 4);
        for (int i = 0; i < combo->count(); ++i) {
            const bool shown = combo->itemText(i) != QLatin1String("YUV422_8");
            QCOMPARE(combo->itemData(i, Qt::ForegroundRole).isValid(), !shown);
            const QString tip = combo->itemData(i, Qt::ToolTipRole).toString();
            QVERIFY2(shown ? tip.isEmpty() : tip.contains("can't show images in YUV422_8"), qPrintable(tip));
        }
    }

    // A reset is asked for first: a Cancel does nothing; a yes restarts the camera, which the panel
    // then tells is lost.
    void deviceResetAsksFirst()
    {
        auto* button = editorOf("DeviceReset")->findChild<QPushButton*>();
        QVERIFY(button);
        QString question;
        const auto answer = [&question](QMessageBox::StandardButton choice) {
            QTimer::singleShot(0, [&question, choice] {
                auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                QVERIFY(box);
                question = box->text();
                box->button(choice)->click();
            });
        };
        const std::string resets = "DeviceReset:SimGigE#" + Serial.toStdString();
        answer(QMessageBox::Cancel);
        button->click();
        QVERIFY2(question.contains("restarts"), qPrintable(question));
        QTest::qWait(200);
        QCOMPARE(TavixSim::callCount(resets), 0);
        answer(QMessageBox::Reset);
        button->click();
        QTRY_COMPARE_WITH_TIMEOUT(TavixSim::callCount(resets), 1, 10000);
        auto* device = m_viewer.find<QLabel>(QStringLiteral("parametersDevice"));
        QTRY_VERIFY_WITH_TIMEOUT(device->text().contains("was lost"), 10000);
        QVERIFY(!editorOf("Width"));
    }

    void readOnlyFeaturesCannotBeEdited_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("shown");
        QTest::newRow("read-only float") << "DeviceTemperature" << "41.5";
        QTest::newRow("read-only integer") << "SensorWidth" << "2048";
        QTest::newRow("not available") << "TestPattern" << "(not available)";
    }
    void readOnlyFeaturesCannotBeEdited()
    {
        QFETCH(QString, feature);
        QFETCH(QString, shown);
        QWidget* editor = editorOf(feature);
        QVERIFY(editor);
        for (QWidget* child : editor->findChildren<QWidget*>())
            QVERIFY2(qobject_cast<QLabel*>(child), child->metaObject()->className());
        auto* label = editor->findChild<QLabel*>();
        QVERIFY(label);
        QCOMPARE(label->text().toDouble() != 0 ? QString::number(label->text().toDouble()) : label->text(), shown);
    }

    // Refresh shows what another client wrote; closing the device empties the editor.
    void refreshesAndFollowsTheDevice()
    {
        m_viewer.services.parameters->setParameterText(m_ptrCamera, "@CameraDevice/Height", "300");
        QCOMPARE(shownIn("Height"), QStringLiteral("16"));
        m_viewer.find<QPushButton>(QStringLiteral("parametersRefresh"))->click();
        QTRY_COMPARE_WITH_TIMEOUT(shownIn("Height"), QStringLiteral("300"), 10000);

        m_viewer.services.control->close(m_ptrCamera);
        QTRY_VERIFY_WITH_TIMEOUT(!editorOf("Height"), 10000);
        QVERIFY(!m_viewer.find<QPushButton>(QStringLiteral("parametersRefresh"))->isEnabled());
    }
};

TAVIX_VIEWER_TEST_MAIN(TestViewerParameters)
#include "tst_viewerparameters.moc"
