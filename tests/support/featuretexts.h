#pragma once

#include <tavix/genapi.h>

#include <QString>
#include <QtTest>

#include <cmath>

// One table of feature value texts for every node map: a text is taken only when it is wholly a
// value of the feature's type, and a refusal names the text and leaves the value as it was.
namespace FeatureTexts {

inline void addRows(const char* integerFeature, const char* floatFeature)
{
    QTest::addColumn<QString>("feature");
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("value"); // what the feature holds afterwards; NAN: as before
    QTest::addColumn<QString>("refusal"); // the refused text's description; empty: taken
    const QString integer = QString::fromLatin1(integerFeature);
    const QString number = QString::fromLatin1(floatFeature);
    const auto noInteger = [&](const char* text) { return QStringLiteral("'%1' is no integer for '%2'.").arg(QLatin1String(text), integer); };
    QTest::newRow("integer") << integer << "320" << 320.0 << QString();
    QTest::newRow("integer with a plus") << integer << "+336" << 336.0 << QString();
    QTest::newRow("integer with a fraction") << integer << "1600.7" << double(NAN) << noInteger("1600.7");
    QTest::newRow("integer with letters behind") << integer << "1024abc" << double(NAN) << noInteger("1024abc");
    QTest::newRow("hexadecimal integer") << integer << "0x100" << double(NAN) << noInteger("0x100");
    QTest::newRow("integer with an exponent") << integer << "1e3" << double(NAN) << noInteger("1e3");
    QTest::newRow("integer with a blank") << integer << " 320" << double(NAN) << noInteger(" 320");
    QTest::newRow("empty integer") << integer << "" << double(NAN) << noInteger("");
    QTest::newRow("integer beyond 64 bits") << integer << "99999999999999999999" << double(NAN)
                                            << QStringLiteral("'99999999999999999999' is beyond the range of an integer for '%1'.").arg(integer);
    const auto noNumber = [&](const char* text) { return QStringLiteral("'%1' is no number for '%2'.").arg(QLatin1String(text), number); };
    QTest::newRow("number") << number << "20" << 20.0 << QString();
    QTest::newRow("number with an exponent") << number << "2.5e1" << 25.0 << QString();
    QTest::newRow("number with letters behind") << number << "100abc" << double(NAN) << noNumber("100abc");
    QTest::newRow("hexadecimal number") << number << "0x10" << double(NAN) << noNumber("0x10");
    QTest::newRow("infinity") << number << "inf" << double(NAN) << noNumber("inf");
    QTest::newRow("not a number") << number << "nan" << double(NAN) << noNumber("nan");
}

inline double valueOf(GenApi::INode* node)
{
    if (auto* integer = dynamic_cast<GenApi::IInteger*>(node))
        return double(integer->GetValue());
    if (auto* boolean = dynamic_cast<GenApi::IBoolean*>(node))
        return boolean->GetValue() ? 1.0 : 0.0;
    return dynamic_cast<GenApi::IFloat&>(*node).GetValue();
}

// Writes the row's text to the feature of the node map and checks what became of it.
inline void check(GenApi::INodeMap& nodeMap)
{
    QFETCH(QString, feature);
    QFETCH(QString, text);
    QFETCH(double, value);
    QFETCH(QString, refusal);
    GenApi::INode* node = nodeMap.GetNode(feature.toUtf8().constData());
    QVERIFY(node);
    const double before = valueOf(node);
    QString refused;
    try {
        node->FromString(text.toUtf8().constData());
    } catch (const GenICam::GenericException& e) {
        refused = QString::fromUtf8(e.GetDescription());
    }
    QCOMPARE(refused, refusal);
    QCOMPARE(valueOf(node), std::isnan(value) ? before : value);
}

} // namespace FeatureTexts
