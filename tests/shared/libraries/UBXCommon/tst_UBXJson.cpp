#include "JsonFuzzInput.h"
#include "UBXJson.h"

#include <QDate>
#include <QPoint>
#include <QRandomGenerator>
#include <QTest>
#include <QtEndian>

#include <cmath>

namespace {
using List = QVariantList;
using U = qulonglong;

QString gfNested(int aDepth, const QString& aOpen, const QString& aClose)
{
    return aOpen.repeated(aDepth) + QStringLiteral("1") + aClose.repeated(aDepth);
}

} // namespace

class tst_UBXJson : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("expected");
        QTest::addColumn<bool>("success");
        QTest::newRow("null text") << QString() << QVariant() << true;
        QTest::newRow("empty text") << QStringLiteral("") << QVariant() << false;
        QTest::newRow("blanks, empty object") << " \t\r\n{}" << QVariant(QVariantMap()) << true;
        QTest::newRow("unclosed object") << "{" << QVariant(QVariantMap()) << false;
        QTest::newRow("commas anywhere, number kinds")
            << "[,1,,-2 5.0 1e3,]" << QVariant(List{U(1), qlonglong(-2), 5.0, U(0)}) << true;
        QTest::newRow("unsigned, trailing text") << "5]x" << QVariant(U(5)) << true;
        QTest::newRow("overflow") << "-9223372036854775809" << QVariant(qlonglong(0)) << true;
        QTest::newRow("fals") << "fals" << QVariant() << false;
        QTest::newRow("last of repeated keys, any opening character")
            << "{\"a\":1 ,1a\" : 2}" << QVariant(QVariantMap{{"a", U(2)}}) << true;
        QTest::newRow("key not at a token") << "{a\":1}" << QVariant(QVariantMap()) << false;
        QTest::newRow("no colon") << "{\"a\" 1}" << QVariant(QVariantMap()) << false;
        QTest::newRow("escapes") << "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\x\\u00e9\\u0041b\""
                                 << QVariant(QStringLiteral("\"\\/\b\f\n\r\t\u00e9Ab")) << true;
        QTest::newRow("short \\u") << "\"\\u12\"" << QVariant() << false;
        QTest::newRow("objects over limit")
            << gfNested(1025, "{\"k\":", "}") << QVariant(QVariantMap()) << false;
        QTest::newRow("100,000 brackets") << QString(100000, u'[') << QVariant(List()) << false;
    }

    void parse()
    {
        QFETCH(QString, text);
        QFETCH(QVariant, expected);
        QFETCH(bool, success);
        bool lSuccess = !success;
        const QVariant lResult = gfParseJson(text, lSuccess);
        QCOMPARE(lSuccess, success);
        QVERIFY2(gfSameJsonTree(lResult, expected), gfSerializeJson(lResult).constData());
    }

    void serialize_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("list") << QVariant(List{1, true, QVariant(), QStringList{"s"}, List(),
                                               QByteArray("\xc3\xa9")})
                              << QByteArray("[ 1, true, null, [ \"s\" ], [  ], \"\xc3\xa9\" ]");
        QTest::newRow("map") << QVariant(QVariantMap{{"b", false}, {"a", QVariantHash{{"c", 2u}}}})
                             << QByteArray("{ \"a\" : { \"c\" : 2 }, \"b\" : false }");
        QTest::newRow("escapes") << QVariant(QStringLiteral("\\\"\b\f\n\r\t\x01/\u00e9\xd800"))
                                 << QByteArray("\"\\\\\\\"\\b\\f\\n\\r\\t\x01/\xc3\xa9?\"");
        QTest::newRow("1e25") << QVariant(1e25) << QByteArray("1.0000000000000000906e+25");
        QTest::newRow("5e20") << QVariant(-5e20) << QByteArray("-5e+20");
        QTest::newRow("infinity") << QVariant(-qInf()) << QByteArray("-inf.0");
        QTest::newRow("integer before string") << QVariant(QChar(u'A')) << QByteArray("65");
        QTest::newRow("to string") << QVariant(QDate(2020, 1, 2)) << QByteArray("\"2020-01-02\"");
        QTest::newRow("unsupported") << QVariant(QVariantMap{{"a", QPoint()}}) << QByteArray();
        QTest::newRow("maps at limit")
            << gfParseJson(gfNested(1024, "{\"k\":", "}"))
            << QByteArray("{ \"k\" : ").repeated(1024) + "1" + QByteArray(" }").repeated(1024);
        QTest::newRow("lists at limit")
            << gfParseJson(gfNested(1024, "[", "]"))
            << QByteArray("[ ").repeated(1024) + "1" + QByteArray(" ]").repeated(1024);
        List lDeep{gfParseJson(gfNested(1024, "[", "]"))};
        QTest::newRow("lists over limit") << QVariant(lDeep) << QByteArray();
    }

    void serialize()
    {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, expected);
        bool lSuccess = false;
        QCOMPARE(gfSerializeJson(value, lSuccess), expected);
        QCOMPARE(lSuccess, !expected.isEmpty());
    }

    // Doubles are formatted without Qt's help; the text must stay Qt's.
    void doublesAreFormattedAsQtDoes()
    {
        QRandomGenerator lRandom(7);
        for (int lIndex = 0; lIndex < 100000; ++lIndex) {
            const quint64 lBits = lRandom.generate64();
            // Any bit pattern, or exact halves between 20-digit neighbours (they round up).
            const double lValue = lIndex % 2 ? std::ldexp(double(lBits >> 11), -lRandom.bounded(80))
                                             : qFromUnaligned<double>(&lBits);
            QByteArray lQt = QByteArray::number(lValue, 'g', 20);
            if (!lQt.contains('.') && !lQt.contains('e'))
                lQt += ".0";
            QCOMPARE(gfSerializeJson(lValue), lQt);
        }
    }
};

QTEST_GUILESS_MAIN(tst_UBXJson)
#include "tst_UBXJson.moc"
