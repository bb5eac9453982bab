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
#include <iterator>

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
            lResult += QChar(cCharacters[aRandom.bounded(int(std::size(cCharacters)) - 1)]);
        return lResult;
    };
    switch (aRandom.bounded(aDepth < 4 ? 12 : 8)) {
    case 0:
        return QVariant();
    case 1:
        return aRandom.bounded(2) == 0;
    case 2:
        return qlonglong(aRandom.generate64());
    case 3:
        return U(aRandom.generate64());
    case 4:
        return int(aRandom.generate());
    case 5: { // Infinities and NaN are left out: they cannot come back.
        double lValue = aRandom.bounded(10) * std::pow(10.0, aRandom.bounded(25));
        quint64 lBits = aRandom.generate64();
        if (aRandom.bounded(2) == 0)
            std::memcpy(&lValue, &lBits, sizeof lValue);
        return std::isfinite(lValue) ? lValue : 0.5;
    }
    case 6:
        return lText();
    case 7:
        return lText().toUtf8();
    case 8:
        return QStringList{lText(), lText()};
    default: {
        List lList;
        QVariantMap lMap;
        QVariantHash lHash;
        for (int lIndex = aRandom.bounded(4); lIndex > 0; --lIndex) {
            lList.append(gfRandomValue(aRandom, aDepth + 1));
            lMap.insert(lText(), gfRandomValue(aRandom, aDepth + 1));
            lHash.insert(lText(), gfRandomValue(aRandom, aDepth + 1));
        }
        return aRandom.bounded(3) == 0 ? QVariant(lList)
                                       : (aRandom.bounded(2) ? QVariant(lMap) : QVariant(lHash));
    }
    }
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
        QTest::newRow("commas anywhere")
            << "[,1,,2 3,]" << QVariant(List{U(1), U(2), U(3)}) << true;
        QTest::newRow("failed element") << "[1,:]" << QVariant(List()) << false;
        QTest::newRow("signed") << "-5" << QVariant(qlonglong(-5)) << true;
        QTest::newRow("unsigned, trailing text") << "5]x" << QVariant(U(5)) << true;
        QTest::newRow("double") << "5.0" << QVariant(5.0) << true;
        QTest::newRow("exponent without point") << "1e3" << QVariant(U(0)) << true;
        QTest::newRow("exponent with point") << "-1.5E+3" << QVariant(-1500.0) << true;
        QTest::newRow("signed overflow")
            << "-9223372036854775809" << QVariant(qlonglong(0)) << true;
        QTest::newRow("unsigned maximum")
            << "18446744073709551615" << QVariant(U(18446744073709551615u)) << true;
        QTest::newRow("keywords") << "[true false null]" << QVariant(List{true, false, QVariant()})
                                  << true;
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
        QVariant lObjects = U(1);
        for (int lDepth = 0; lDepth < 1024; ++lDepth)
            lObjects = QVariantMap{{"k", lObjects}};
        QTest::newRow("objects at limit") << gfNested(1024, "{\"k\":", "}") << lObjects << true;
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
        QTest::newRow("null") << QVariant() << QByteArray("null");
        QTest::newRow("empty list") << QVariant(List()) << QByteArray("[  ]");
        QTest::newRow("list") << QVariant(List{1, true, QStringList{"s"}})
                              << QByteArray("[ 1, true, [ \"s\" ] ]");
        QTest::newRow("map") << QVariant(QVariantMap{{"b", false}, {"a", QVariantHash{{"c", 2u}}}})
                             << QByteArray("{ \"a\" : { \"c\" : 2 }, \"b\" : false }");
        QTest::newRow("escapes") << QVariant(QStringLiteral("\\\"\b\f\n\r\t\x01/\u00e9\xd800"))
                                 << QByteArray("\"\\\\\\\"\\b\\f\\n\\r\\t\x01/\xc3\xa9?\"");
        QTest::newRow("bytes as UTF-8")
            << QVariant(QByteArray("\xe6\x97\xa5")) << QByteArray("\"\xe6\x97\xa5\"");
        QTest::newRow("3.0") << QVariant(3.0) << QByteArray("3.0");
        QTest::newRow("20 digits") << QVariant(0.1) << QByteArray("0.10000000000000000555");
        QTest::newRow("1e25") << QVariant(1e25) << QByteArray("1.0000000000000000906e+25");
        QTest::newRow("5e20") << QVariant(-5e20) << QByteArray("-5e+20");
        QTest::newRow("1e19") << QVariant(1e19) << QByteArray("10000000000000000000.0");
        QTest::newRow("1e-4") << QVariant(1e-4) << QByteArray("0.00010000000000000000479");
        QTest::newRow("infinity") << QVariant(-qInf()) << QByteArray("-inf.0");
        QTest::newRow("unsigned") << QVariant(U(18446744073709551615u))
                                  << QByteArray("18446744073709551615");
        QTest::newRow("signed") << QVariant(qlonglong(-9223372036854775807 - 1))
                                << QByteArray("-9223372036854775808");
        QTest::newRow("integer before string") << QVariant(QChar(u'A')) << QByteArray("65");
        QTest::newRow("string conversion")
            << QVariant(QDate(2020, 1, 2)) << QByteArray("\"2020-01-02\"");
        QTest::newRow("unsupported member")
            << QVariant(QVariantMap{{"a", QPoint()}}) << QByteArray();
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
        const QStringList lInputs = lCorpus.entryList(QDir::Files, QDir::Name);
        QVERIFY(!lInputs.isEmpty());
        for (const QString& lInput : lInputs) {
            QFile lFile(lCorpus.filePath(lInput));
            QVERIFY2(lFile.open(QIODevice::ReadOnly), qPrintable(lInput));
            const QByteArray lData = lFile.readAll();
            QVERIFY2(gfCheckJsonInput(reinterpret_cast<const uint8_t*>(lData.constData()),
                                      size_t(lData.size())),
                     qPrintable(lInput));
        }
    }
};

QTEST_GUILESS_MAIN(tst_UBXJson)
#include "tst_UBXJson.moc"
