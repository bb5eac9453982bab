#include "JsonFuzzInput.h"
#include "UBXJson.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QPoint>
#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <cstring>

namespace {
using List = QVariantList;
using U = qulonglong;

QString gfNested(int aDepth, const QString& aOpen, const QString& aClose)
{
    return aOpen.repeated(aDepth) + QStringLiteral("1") + aClose.repeated(aDepth);
}

// Any value the serialiser takes, with the text's hard cases over-represented:
// escapes, control characters, non-ASCII, lone surrogates, single-digit doubles.
QVariant gfRandomValue(QRandomGenerator& aRandom, int aDepth)
{
    const auto lText = [&aRandom]() {
        static const char16_t cCharacters[] = u"a\\\"/\b\f\n\r\t\x01\u00e9\u65e5\xd83d\xde00";
        QString lResult;
        for (int lIndex = aRandom.bounded(6); lIndex > 0; --lIndex)
            lResult += QChar(cCharacters[aRandom.bounded(int(sizeof cCharacters / 2 - 1))]);
        return lResult;
    };
    const quint64 lBits = aRandom.generate64();
    double lDouble;
    std::memcpy(&lDouble, &lBits, sizeof lDouble);
    if (!std::isfinite(lDouble) || lBits % 3 == 0) // Infinities and NaN cannot come back.
        lDouble = double(lBits % 10) * std::pow(10.0, double((lBits >> 8) % 25));
    const QVariant lScalars[] = {QVariant(), lBits % 2 == 0,   qlonglong(lBits),
                                 U(lBits),   int(lBits),       lDouble,
                                 lText(),    lText().toUtf8(), QStringList{lText(), lText()}};
    const int lKind = aRandom.bounded(aDepth < 4 ? 12 : 9);
    if (lKind < 9)
        return lScalars[lKind];
    List lList;
    QVariantMap lMap;
    QVariantHash lHash;
    for (int lIndex = aRandom.bounded(4); lIndex > 0; --lIndex) {
        lList.append(gfRandomValue(aRandom, aDepth + 1));
        lMap.insert(lText(), gfRandomValue(aRandom, aDepth + 1));
        lHash.insert(lText(), gfRandomValue(aRandom, aDepth + 1));
    }
    return lKind == 9 ? QVariant(lList) : lKind == 10 ? QVariant(lMap) : QVariant(lHash);
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
        QTest::newRow("tru") << "tru" << QVariant() << false;
        QTest::newRow("fals") << "fals" << QVariant() << false;
        QTest::newRow("last of repeated keys, any opening character")
            << "{\"a\":1 ,1a\" : 2}" << QVariant(QVariantMap{{"a", U(2)}}) << true;
        QTest::newRow("key not at a token") << "{a\":1}" << QVariant(QVariantMap()) << false;
        QTest::newRow("no colon") << "{\"a\" 1}" << QVariant(QVariantMap()) << false;
        QTest::newRow("escapes") << "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\x\\u00e9\\u0041b\""
                                 << QVariant(QStringLiteral("\"\\/\b\f\n\r\t\u00e9Ab")) << true;
        QTest::newRow("short \\u") << "\"\\u12\"" << QVariant() << false;
        QTest::newRow("unterminated") << "[\"ab\\\"" << QVariant(List()) << false;
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
        QTest::newRow("list") << QVariant(List{1, true, QVariant(), QStringList{"s"}, List()})
                              << QByteArray("[ 1, true, null, [ \"s\" ], [  ] ]");
        QTest::newRow("map") << QVariant(QVariantMap{{"b", false}, {"a", QVariantHash{{"c", 2u}}}})
                             << QByteArray("{ \"a\" : { \"c\" : 2 }, \"b\" : false }");
        QTest::newRow("escapes") << QVariant(QStringLiteral("\\\"\b\f\n\r\t\x01/\u00e9\xd800"))
                                 << QByteArray("\"\\\\\\\"\\b\\f\\n\\r\\t\x01/\xc3\xa9?\"");
        QTest::newRow("3.0") << QVariant(3.0) << QByteArray("3.0");
        QTest::newRow("20 digits") << QVariant(0.1) << QByteArray("0.10000000000000000555");
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
            double lValue;
            std::memcpy(&lValue, &lBits, sizeof lValue);
            if (lIndex % 2) // Exact halves between 20-digit neighbours round up.
                lValue = std::ldexp(double(lBits >> 11), -lRandom.bounded(80));
            QByteArray lQt = QByteArray::number(lValue, 'g', 20);
            if (!lQt.contains('.') && !lQt.contains('e'))
                lQt += ".0";
            QCOMPARE(gfSerializeJson(lValue), lQt);
        }
    }

    void roundTrip()
    {
        QRandomGenerator lRandom(11);
        for (int lIndex = 0; lIndex < 3000; ++lIndex) {
            const QVariant lValue = gfRandomValue(lRandom, 0);
            bool lSuccess = false;
            const QByteArray lText = gfSerializeJson(lValue, lSuccess);
            QVERIFY(lSuccess);
            const QVariant lBack = gfParseJson(QString::fromUtf8(lText), lSuccess);
            QVERIFY2(lSuccess && gfSameJsonTree(lBack, gfRoundTripped(lValue)), lText.constData());
        }
    }

    void fuzzCorpus()
    {
        const QDir lCorpus(QStringLiteral(UBXJSON_FUZZ_CORPUS));
        const QStringList lInputs = lCorpus.entryList(QDir::Files);
        QVERIFY(!lInputs.isEmpty());
        for (const QString& lInput : lInputs) {
            QFile lFile(lCorpus.filePath(lInput));
            const QByteArray lData =
                lFile.open(QIODevice::ReadOnly) ? lFile.readAll() : QByteArray();
            QVERIFY2(!lData.isEmpty() &&
                         gfCheckJsonInput(reinterpret_cast<const uint8_t*>(lData.data()),
                                          size_t(lData.size())),
                     qPrintable(lInput));
        }
    }
};

QTEST_GUILESS_MAIN(tst_UBXJson)
#include "tst_UBXJson.moc"
