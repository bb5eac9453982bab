#include "UBXJson.h"

#include <QStringList>
#include <QStringView>

#include <charconv>
#include <cmath>
#include <cstring>

namespace {
// Deep enough for any real document, shallow enough for the recursion to stay
// far from the end of a thread's stack (Qt's own JSON parser stops there too).
constexpr int cMaximumDepth = 1024;

// Longest number text converted without Qt's help; longer ones are rare and
// take the slow path.
constexpr qsizetype cFastNumberLength = 64;

bool gfIsDigit(char16_t aCharacter)
{
    return aCharacter >= u'0' && aCharacter <= u'9';
}

// Single pass over the UTF-16 text. Every operation skips white space first,
// so looking at the next token may leave the position after the white space.
class JsonParser
{
public:
    explicit JsonParser(const QString& aJson)
        : mvCurrent(reinterpret_cast<const char16_t*>(aJson.constData())),
          mvEnd(mvCurrent + aJson.size())
    {}

    // aDepth is the number of arrays and objects around the value.
    QVariant mfParseValue(int aDepth, bool& aSuccess)
    {
        mpSkipWhiteSpace();
        if (mvCurrent != mvEnd) {
            switch (*mvCurrent) {
            case u'{':
                return mfParseObject(aDepth + 1, aSuccess);
            case u'[':
                return mfParseArray(aDepth + 1, aSuccess);
            case u'"': {
                const QString lText = mfParseString(aSuccess);
                return aSuccess ? QVariant(lText) : QVariant();
            }
            case u'-':
            case u'0':
            case u'1':
            case u'2':
            case u'3':
            case u'4':
            case u'5':
            case u'6':
            case u'7':
            case u'8':
            case u'9':
                return mfParseNumber();
            case u't':
                if (mfConsumeWord(u"true", 4))
                    return QVariant(true);
                break;
            case u'f':
                if (mfConsumeWord(u"false", 5))
                    return QVariant(false);
                break;
            case u'n':
                if (mfConsumeWord(u"null", 4))
                    return QVariant();
                break;
            default:
                break;
            }
        }
        aSuccess = false;
        return QVariant();
    }

private:
    void mpSkipWhiteSpace()
    {
        while (mvCurrent != mvEnd && (*mvCurrent == u' ' || *mvCurrent == u'\t' ||
                                      *mvCurrent == u'\n' || *mvCurrent == u'\r'))
            ++mvCurrent;
    }

    bool mfStartsWithWord(const char16_t* aWord, qsizetype aLength) const
    {
        return mvEnd - mvCurrent >= aLength &&
               std::memcmp(mvCurrent, aWord, size_t(aLength) * sizeof(char16_t)) == 0;
    }

    bool mfConsumeWord(const char16_t* aWord, qsizetype aLength)
    {
        if (!mfStartsWithWord(aWord, aLength))
            return false;
        mvCurrent += aLength;
        return true;
    }

    // Whether a token starts at the position (after white space); characters
    // that start none end an object with failure.
    bool mfAtToken() const
    {
        switch (*mvCurrent) {
        case u'{':
        case u'}':
        case u'[':
        case u']':
        case u':':
        case u',':
        case u'"':
        case u'-':
            return true;
        case u't':
            return mfStartsWithWord(u"true", 4);
        case u'f':
            return mfStartsWithWord(u"false", 5);
        case u'n':
            return mfStartsWithWord(u"null", 4);
        default:
            return gfIsDigit(*mvCurrent);
        }
    }

    QVariant mfParseObject(int aDepth, bool& aSuccess)
    {
        ++mvCurrent;
        QVariantMap lMap;
        if (aDepth > cMaximumDepth) {
            aSuccess = false;
            return lMap;
        }
        for (;;) {
            mpSkipWhiteSpace();
            if (mvCurrent == mvEnd || !mfAtToken())
                break;
            if (*mvCurrent == u',') {
                ++mvCurrent;
                continue;
            }
            if (*mvCurrent == u'}') {
                ++mvCurrent;
                return lMap;
            }
            // Whatever token stands here is taken as the key's opening quote.
            const QString lKey = mfParseString(aSuccess);
            if (!aSuccess)
                return QVariantMap();
            mpSkipWhiteSpace();
            if (mvCurrent == mvEnd || *mvCurrent != u':')
                break;
            ++mvCurrent;
            QVariant lValue = mfParseValue(aDepth, aSuccess);
            if (!aSuccess)
                return QVariantMap();
            lMap.insert(lKey, lValue);
        }
        aSuccess = false;
        return QVariantMap();
    }

    QVariant mfParseArray(int aDepth, bool& aSuccess)
    {
        ++mvCurrent;
        QVariantList lList;
        if (aDepth > cMaximumDepth) {
            aSuccess = false;
            return lList;
        }
        for (;;) {
            mpSkipWhiteSpace();
            if (mvCurrent == mvEnd) {
                aSuccess = false;
                return lList;
            }
            if (*mvCurrent == u',') {
                ++mvCurrent;
                continue;
            }
            if (*mvCurrent == u']') {
                ++mvCurrent;
                return lList;
            }
            QVariant lValue = mfParseValue(aDepth, aSuccess);
            if (!aSuccess)
                return QVariantList();
            lList.append(std::move(lValue));
        }
    }

    // Steps over one character unchecked, then reads up to the closing quote.
    QString mfParseString(bool& aSuccess)
    {
        ++mvCurrent;
        const char16_t* lStart = mvCurrent;
        while (mvCurrent != mvEnd) {
            if (*mvCurrent == u'"') {
                // An empty string stays a null QString, as the escaping path
                // below also gives.
                QString lText;
                if (mvCurrent != lStart)
                    lText = QString(reinterpret_cast<const QChar*>(lStart), mvCurrent - lStart);
                ++mvCurrent;
                return lText;
            }
            if (*mvCurrent == u'\\')
                return mfParseEscapedString(lStart, aSuccess);
            ++mvCurrent;
        }
        aSuccess = false;
        return QString();
    }

    // The rest of a string from its first backslash on.
    QString mfParseEscapedString(const char16_t* aStart, bool& aSuccess)
    {
        QString lText;
        lText.reserve(2 * (mvCurrent - aStart) + 16);
        lText.append(QStringView(aStart, mvCurrent));
        while (mvCurrent != mvEnd) {
            const char16_t* lRun = mvCurrent;
            while (mvCurrent != mvEnd && *mvCurrent != u'"' && *mvCurrent != u'\\')
                ++mvCurrent;
            lText.append(QStringView(lRun, mvCurrent));
            if (mvCurrent == mvEnd)
                break;
            if (*mvCurrent++ == u'"')
                return lText.isEmpty() ? QString() : lText;
            if (mvCurrent == mvEnd)
                break;
            const char16_t lEscaped = *mvCurrent++;
            switch (lEscaped) {
            case u'"':
            case u'\\':
            case u'/':
                lText.append(QChar(lEscaped));
                break;
            case u'b':
                lText.append(QChar(u'\b'));
                break;
            case u'f':
                lText.append(QChar(u'\f'));
                break;
            case u'n':
                lText.append(QChar(u'\n'));
                break;
            case u'r':
                lText.append(QChar(u'\r'));
                break;
            case u't':
                lText.append(QChar(u'\t'));
                break;
            case u'u': {
                if (mvEnd - mvCurrent < 4) {
                    aSuccess = false;
                    return QString();
                }
                // Qt's reading of a base-16 integer, odd forms such as " 0e9"
                // or "-001" included; the low 16 bits are the code unit.
                const int lCode = QStringView(mvCurrent, 4).toInt(nullptr, 16);
                lText.append(QChar(char16_t(lCode & 0xFFFF)));
                mvCurrent += 4;
                break;
            }
            default:
                break;
            }
        }
        aSuccess = false;
        return QString();
    }

    QVariant mfParseNumber()
    {
        const char16_t* lStart = mvCurrent;
        bool lHasPoint = false;
        while (mvCurrent != mvEnd) {
            const char16_t lCharacter = *mvCurrent;
            if (lCharacter == u'.')
                lHasPoint = true;
            else if (!gfIsDigit(lCharacter) && lCharacter != u'-' && lCharacter != u'+' &&
                     lCharacter != u'e' && lCharacter != u'E')
                break;
            ++mvCurrent;
        }
        const QStringView lText(lStart, mvCurrent);
        if (lHasPoint)
            return QVariant(gfToDouble(lText));
        quint64 lMagnitude;
        if (lText.front() == u'-') {
            if (gfReadDigits(lText.mid(1), 18, lMagnitude))
                return QVariant(qlonglong(-qint64(lMagnitude)));
            return QVariant(lText.toLongLong(nullptr, 10));
        }
        if (gfReadDigits(lText, 19, lMagnitude))
            return QVariant(qulonglong(lMagnitude));
        return QVariant(lText.toULongLong(nullptr, 10));
    }

    // Digits only and at most aMaximumDigits of them, so that the value is
    // exact without overflow checks; everything else is left to Qt's
    // conversion, which gives 0 on failure.
    static bool gfReadDigits(QStringView aDigits, qsizetype aMaximumDigits, quint64& aValue)
    {
        if (aDigits.isEmpty() || aDigits.size() > aMaximumDigits)
            return false;
        aValue = 0;
        for (const QChar lDigit : aDigits) {
            if (!gfIsDigit(lDigit.unicode()))
                return false;
            aValue = 10 * aValue + (lDigit.unicode() - u'0');
        }
        return true;
    }

    // Plain decimal forms ("-12.5", "1.25e-3") are converted here, correctly
    // rounded like Qt's conversion; anything else, and results that could be
    // out of range, are left to Qt.
    static double gfToDouble(QStringView aText)
    {
        char lBuffer[cFastNumberLength];
        if (aText.size() <= cFastNumberLength && gfIsPlainDecimal(aText)) {
            for (qsizetype lIndex = 0; lIndex < aText.size(); ++lIndex)
                lBuffer[lIndex] = char(aText[lIndex].unicode());
            double lValue = 0;
            const std::from_chars_result lResult =
                std::from_chars(lBuffer, lBuffer + aText.size(), lValue);
            if (lResult.ec == std::errc() && std::isnormal(lValue))
                return lValue;
        }
        bool lOk = false;
        const double lValue = aText.toDouble(&lOk);
        return lOk ? lValue : 0.0;
    }

    // -?d+.d+([eE][+-]?d+)?
    static bool gfIsPlainDecimal(QStringView aText)
    {
        const char16_t* lCurrent = aText.utf16();
        const char16_t* lEnd = lCurrent + aText.size();
        const auto lSkipDigits = [&lCurrent, lEnd]() {
            const char16_t* lFirst = lCurrent;
            while (lCurrent != lEnd && gfIsDigit(*lCurrent))
                ++lCurrent;
            return lCurrent != lFirst;
        };
        if (*lCurrent == u'-')
            ++lCurrent;
        if (!lSkipDigits() || lCurrent == lEnd || *lCurrent++ != u'.' || !lSkipDigits())
            return false;
        if (lCurrent == lEnd)
            return true;
        if (*lCurrent != u'e' && *lCurrent != u'E')
            return false;
        ++lCurrent;
        if (lCurrent != lEnd && (*lCurrent == u'+' || *lCurrent == u'-'))
            ++lCurrent;
        return lSkipDigits() && lCurrent == lEnd;
    }

    const char16_t* mvCurrent;
    const char16_t* const mvEnd;
};

using Unsigned128 = unsigned __int128;

Unsigned128 gfPowerOfTen(int aExponent)
{
    Unsigned128 lPower = 1;
    for (int lIndex = 0; lIndex < aExponent; ++lIndex)
        lPower *= 10;
    return lPower;
}

int gfDecimalDigits(Unsigned128 aValue)
{
    int lDigits = 1;
    for (Unsigned128 lPower = 10; lPower <= aValue && lDigits < 39; lPower *= 10)
        ++lDigits;
    return lDigits;
}

// The first 20 significant digits of |aValue| and the decimal exponent of the
// first one, rounded half up on the exact binary value as Qt's "g" formatting
// rounds. Exact in 128-bit integers for 0.001 <= |aValue| < 2^127; false
// outside that range, for zero and for non-finite values.
bool gfTwentyDigits(double aValue, char* aDigits, int& aExponent)
{
    quint64 lBits;
    std::memcpy(&lBits, &aValue, sizeof lBits);
    const int lBiasedExponent = int((lBits >> 52) & 0x7FF);
    if (lBiasedExponent == 0 || lBiasedExponent == 0x7FF)
        return false;
    const quint64 lMantissa = (lBits & ((quint64(1) << 52) - 1)) | (quint64(1) << 52);
    const int lBinaryExponent = lBiasedExponent - 1075;

    // lScaled = floor(|aValue| * 10^lScale); lFraction holds the bits below
    // the point, out of 2^lShift.
    Unsigned128 lScaled;
    Unsigned128 lFraction = 0;
    int lShift = 0;
    int lScale = 0;
    if (lBinaryExponent >= 0) {
        if (lBinaryExponent > 127 - 53)
            return false;
        lScaled = Unsigned128(lMantissa) << lBinaryExponent;
    } else {
        lShift = -lBinaryExponent;
        if (lShift > 100)
            return false;
        lScale = 22;
        const Unsigned128 lProduct = Unsigned128(lMantissa) * gfPowerOfTen(lScale);
        lScaled = lProduct >> lShift;
        lFraction = lProduct & ((Unsigned128(1) << lShift) - 1);
    }
    int lDigits = gfDecimalDigits(lScaled);
    if (lDigits < 20 && lFraction != 0)
        return false;
    Unsigned128 lTwenty;
    bool lRoundUp = false;
    if (lDigits <= 20) {
        lTwenty = lScaled * gfPowerOfTen(20 - lDigits);
        lRoundUp = lShift > 0 && lFraction >= (Unsigned128(1) << (lShift - 1));
    } else {
        const Unsigned128 lDivisor = gfPowerOfTen(lDigits - 20);
        lTwenty = lScaled / lDivisor;
        lRoundUp = 2 * (lScaled % lDivisor) >= lDivisor;
    }
    if (lRoundUp && ++lTwenty == gfPowerOfTen(20)) {
        lTwenty /= 10;
        ++lDigits;
    }
    aExponent = lDigits - 1 - lScale;
    // 10^20 does not fit in 64 bits: two halves of ten digits.
    const quint64 lHalves[2] = {quint64(lTwenty / 10000000000u), quint64(lTwenty % 10000000000u)};
    for (int lHalf = 0; lHalf < 2; ++lHalf) {
        quint64 lRest = lHalves[lHalf];
        for (int lIndex = 9; lIndex >= 0; --lIndex) {
            aDigits[10 * lHalf + lIndex] = char('0' + lRest % 10);
            lRest /= 10;
        }
    }
    return true;
}

// Appends into one buffer that grows by doubling; the unused tail is cut off
// at the end.
class JsonWriter
{
public:
    JsonWriter() { mvText.resize(4096); }

    QByteArray mfTakeText()
    {
        mvText.resize(mvSize);
        return std::move(mvText);
    }

    // aDepth is the number of lists and maps around the value.
    bool mfWriteValue(const QVariant& aValue, int aDepth)
    {
        if (!aValue.isValid()) {
            mpAppend("null", 4);
            return true;
        }
        switch (aValue.metaType().id()) {
        case QMetaType::QVariantList:
            return mfWriteList(*static_cast<const QVariantList*>(aValue.constData()), aDepth + 1);
        case QMetaType::QStringList:
            return mfWriteList(*static_cast<const QStringList*>(aValue.constData()), aDepth + 1);
        case QMetaType::QVariantMap:
            return mfWriteMap(*static_cast<const QVariantMap*>(aValue.constData()), aDepth + 1);
        case QMetaType::QVariantHash:
            return mfWriteMap(*static_cast<const QVariantHash*>(aValue.constData()), aDepth + 1);
        case QMetaType::QString:
            mpWriteString(*static_cast<const QString*>(aValue.constData()));
            return true;
        case QMetaType::QByteArray:
            mpWriteString(QString::fromUtf8(*static_cast<const QByteArray*>(aValue.constData())));
            return true;
        case QMetaType::Double:
            mpWriteDouble(*static_cast<const double*>(aValue.constData()));
            return true;
        case QMetaType::Bool:
            if (*static_cast<const bool*>(aValue.constData()))
                mpAppend("true", 4);
            else
                mpAppend("false", 5);
            return true;
        case QMetaType::ULongLong:
            mpWriteInteger(*static_cast<const qulonglong*>(aValue.constData()));
            return true;
        case QMetaType::LongLong:
            mpWriteInteger(*static_cast<const qlonglong*>(aValue.constData()));
            return true;
        case QMetaType::Int:
            mpWriteInteger(*static_cast<const int*>(aValue.constData()));
            return true;
        default:
            break;
        }
        if (aValue.canConvert<qlonglong>())
            mpWriteInteger(aValue.toLongLong());
        else if (aValue.canConvert<long>())
            mpWriteInteger(aValue.value<long>());
        else if (aValue.canConvert<QString>())
            mpWriteString(aValue.toString());
        else
            return false;
        return true;
    }

private:
    char* mfMakeRoom(qsizetype aCount)
    {
        if (mvSize + aCount > mvText.size())
            mvText.resize(std::max(2 * mvText.size(), mvSize + aCount));
        return mvText.data() + mvSize;
    }

    void mpAppend(const char* aText, qsizetype aLength)
    {
        std::memcpy(mfMakeRoom(aLength), aText, size_t(aLength));
        mvSize += aLength;
    }

    template <typename List> bool mfWriteList(const List& aList, int aDepth)
    {
        if (aDepth > cMaximumDepth)
            return false;
        mpAppend("[ ", 2);
        for (auto lIterator = aList.cbegin(); lIterator != aList.cend(); ++lIterator) {
            if (lIterator != aList.cbegin())
                mpAppend(", ", 2);
            if (!mfWriteElement(*lIterator, aDepth))
                return false;
        }
        mpAppend(" ]", 2);
        return true;
    }

    template <typename Map> bool mfWriteMap(const Map& aMap, int aDepth)
    {
        if (aDepth > cMaximumDepth)
            return false;
        mpAppend("{ ", 2);
        for (auto lIterator = aMap.cbegin(); lIterator != aMap.cend(); ++lIterator) {
            if (lIterator != aMap.cbegin())
                mpAppend(", ", 2);
            mpWriteString(lIterator.key());
            mpAppend(" : ", 3);
            if (!mfWriteValue(lIterator.value(), aDepth))
                return false;
        }
        mpAppend(" }", 2);
        return true;
    }

    bool mfWriteElement(const QVariant& aValue, int aDepth) { return mfWriteValue(aValue, aDepth); }

    bool mfWriteElement(const QString& aText, int)
    {
        mpWriteString(aText);
        return true;
    }

    // Quoted, with the seven escapes, straight into UTF-8.
    void mpWriteString(QStringView aText)
    {
        // At most three bytes for each UTF-16 unit, two for an escape.
        char* lOut = mfMakeRoom(3 * aText.size() + 2);
        char* const lFirst = lOut;
        *lOut++ = '"';
        const char16_t* lCurrent = aText.utf16();
        const char16_t* const lEnd = lCurrent + aText.size();
        while (lCurrent != lEnd) {
            const char16_t lCharacter = *lCurrent++;
            if (lCharacter < 0x80) {
                const char lEscape = gfEscapeLetter(lCharacter);
                if (lEscape != 0) {
                    *lOut++ = '\\';
                    *lOut++ = lEscape;
                } else {
                    *lOut++ = char(lCharacter);
                }
            } else if (lCharacter < 0x800) {
                *lOut++ = char(0xC0 | (lCharacter >> 6));
                *lOut++ = char(0x80 | (lCharacter & 0x3F));
            } else if (!QChar::isSurrogate(lCharacter)) {
                *lOut++ = char(0xE0 | (lCharacter >> 12));
                *lOut++ = char(0x80 | ((lCharacter >> 6) & 0x3F));
                *lOut++ = char(0x80 | (lCharacter & 0x3F));
            } else if (QChar::isHighSurrogate(lCharacter) && lCurrent != lEnd &&
                       QChar::isLowSurrogate(*lCurrent)) {
                const char32_t lCode = QChar::surrogateToUcs4(lCharacter, *lCurrent++);
                *lOut++ = char(0xF0 | (lCode >> 18));
                *lOut++ = char(0x80 | ((lCode >> 12) & 0x3F));
                *lOut++ = char(0x80 | ((lCode >> 6) & 0x3F));
                *lOut++ = char(0x80 | (lCode & 0x3F));
            } else {
                // What QString::toUtf8() writes for a lone surrogate.
                *lOut++ = '?';
            }
        }
        *lOut++ = '"';
        mvSize += lOut - lFirst;
    }

    static char gfEscapeLetter(char16_t aCharacter)
    {
        switch (aCharacter) {
        case u'\\':
            return '\\';
        case u'"':
            return '"';
        case u'\b':
            return 'b';
        case u'\f':
            return 'f';
        case u'\n':
            return 'n';
        case u'\r':
            return 'r';
        case u'\t':
            return 't';
        default:
            return 0;
        }
    }

    template <typename Integer> void mpWriteInteger(Integer aValue)
    {
        char* lOut = mfMakeRoom(24);
        mvSize += std::to_chars(lOut, lOut + 24, aValue).ptr - lOut;
    }

    // QByteArray::number(aValue, 'g', 20), plus ".0" when the text has
    // neither "." nor "e".
    void mpWriteDouble(double aValue)
    {
        char lDigitText[20];
        int lExponent;
        if (!gfTwentyDigits(aValue, lDigitText, lExponent)) {
            QByteArray lText = QByteArray::number(aValue, 'g', 20);
            if (!lText.contains('.') && !lText.contains('e'))
                lText.append(".0");
            mpAppend(lText.constData(), lText.size());
            return;
        }
        int lLength = 20;
        while (lLength > 1 && lDigitText[lLength - 1] == '0')
            --lLength;
        // Sign, "0.000", twenty digits and ".0" or an exponent fit easily.
        char* lOut = mfMakeRoom(40);
        char* const lFirst = lOut;
        if (aValue < 0)
            *lOut++ = '-';
        const auto lCopy = [&lOut, &lDigitText](int aFrom, int aTo) {
            std::memcpy(lOut, lDigitText + aFrom, size_t(aTo - aFrom));
            lOut += aTo - aFrom;
        };
        if (lExponent < -4 || lExponent >= 20) {
            lCopy(0, 1);
            if (lLength > 1) {
                *lOut++ = '.';
                lCopy(1, lLength);
            }
            *lOut++ = 'e';
            *lOut++ = lExponent < 0 ? '-' : '+';
            const int lMagnitude = std::abs(lExponent);
            if (lMagnitude < 10)
                *lOut++ = '0';
            lOut = std::to_chars(lOut, lOut + 3, lMagnitude).ptr;
        } else if (lExponent < 0) {
            *lOut++ = '0';
            *lOut++ = '.';
            for (int lZero = -1; lZero > lExponent; --lZero)
                *lOut++ = '0';
            lCopy(0, lLength);
        } else if (lLength > lExponent + 1) {
            lCopy(0, lExponent + 1);
            *lOut++ = '.';
            lCopy(lExponent + 1, lLength);
        } else {
            lCopy(0, lLength);
            for (int lZero = lLength; lZero <= lExponent; ++lZero)
                *lOut++ = '0';
            *lOut++ = '.';
            *lOut++ = '0';
        }
        mvSize += lOut - lFirst;
    }

    QByteArray mvText;
    qsizetype mvSize = 0;
};
} // namespace

QVariant gfParseJson(const QString& aJson, bool& aSuccess)
{
    aSuccess = true;
    if (aJson.isNull())
        return QVariant();
    return JsonParser(aJson).mfParseValue(0, aSuccess);
}

QVariant gfParseJson(const QString& aJson)
{
    bool lSuccess;
    return gfParseJson(aJson, lSuccess);
}

QByteArray gfSerializeJson(const QVariant& aData, bool& aSuccess)
{
    JsonWriter lWriter;
    aSuccess = lWriter.mfWriteValue(aData, 0);
    return aSuccess ? lWriter.mfTakeText() : QByteArray();
}

QByteArray gfSerializeJson(const QVariant& aData)
{
    bool lSuccess;
    return gfSerializeJson(aData, lSuccess);
}
