#include "UBXOverlay.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QFontMetrics>
#include <QImage>
#include <QImageReader>
#include <QLocale>
#include <QPaintDevice>
#include <QPainter>
#include <QXmlStreamReader>

#include <algorithm>

namespace {

// Parsed lengths are cut to this before any arithmetic, so sums of a few of
// them stay far from the int range whatever the document says.
constexpr int cLengthLimit = 1 << 24;
// The pixel size at which a label's text is first measured to estimate the
// size that fits.
constexpr int cReferencePixelSize = 100;
// Decoded pictures kept from one painting to the next, at most.
constexpr qsizetype cMaxKeptPictureBytes = 64 * 1024 * 1024;

enum class UBXAlign
{
    Start,
    Center,
    End
};

bool gfParseInteger(const QString& aText, int& aValue)
{
    bool lOk = false;
    const int lValue = aText.toInt(&lOk, 10);
    if (lOk)
        aValue = std::clamp(lValue, -cLengthLimit, cLengthLimit);
    return lOk;
}

// Digits with at most one decimal point and an optional sign; no exponent,
// no "inf" or "nan", which the library's own conversion would take.
bool gfIsDecimal(QStringView aText)
{
    if (aText.startsWith(u'+') || aText.startsWith(u'-'))
        aText = aText.mid(1);
    bool lDigit = false;
    bool lPoint = false;
    for (const QChar lChar : aText) {
        if (lChar >= u'0' && lChar <= u'9')
            lDigit = true;
        else if (lChar == u'.' && !lPoint)
            lPoint = true;
        else
            return false;
    }
    return lDigit;
}

// A position or size: pixels, or a percentage of aInner.
bool gfParseLength(const QString& aRaw, int aInner, int& aValue)
{
    const QString lText = aRaw.trimmed();
    if (!lText.endsWith(u'%'))
        return gfParseInteger(lText, aValue);
    const QStringView lNumber = QStringView(lText).chopped(1);
    if (!gfIsDecimal(lNumber))
        return false;
    const double lValue = aInner * lNumber.toDouble() / 100.0;
    aValue = qRound(std::clamp(lValue, double(-cLengthLimit), double(cLengthLimit)));
    return true;
}

// A margin: non-negative pixels for both axes, or an integer percentage of
// each extent. A margin never takes more than half of its extent.
bool gfParseMargin(const QString& aRaw, int aWidth, int aHeight, int& aHorizontal, int& aVertical)
{
    const QString lText = aRaw.trimmed();
    const bool lPercent = lText.endsWith(u'%');
    int lValue = 0;
    if (!gfParseInteger(lPercent ? lText.chopped(1) : lText, lValue) || lValue < 0)
        return false;
    // Capped before rounding, so a huge percentage cannot leave the int range.
    const auto lMargin = [&](int aExtent) {
        const double lPixels = lPercent ? aExtent * (lValue / 100.0) : lValue;
        return qRound(std::min(lPixels, aExtent / 2.0));
    };
    aHorizontal = std::min(lMargin(aWidth), aWidth / 2);
    aVertical = std::min(lMargin(aHeight), aHeight / 2);
    return true;
}

// Reads "rgba(" and aCount comma-separated numbers as the C library's scanf
// reads such a pattern: literal characters must match exactly, white space
// and a sign may precede each number, whatever follows the last number is
// ignored. Unlike scanf, an overlong number fails instead of overflowing.
bool gfReadRgbaNumbers(QStringView aText, int aCount, int* apValues)
{
    constexpr QStringView lPrefix = u"rgba(";
    if (!aText.startsWith(lPrefix))
        return false;
    qsizetype lAt = lPrefix.size();
    const auto lIsScanfSpace = [](QChar aChar) {
        return aChar == u' ' || (aChar >= u'\t' && aChar <= u'\r');
    };
    for (int lIndex = 0; lIndex < aCount; ++lIndex) {
        if (lIndex > 0) {
            if (lAt >= aText.size() || aText[lAt] != u',')
                return false;
            ++lAt;
        }
        while (lAt < aText.size() && lIsScanfSpace(aText[lAt]))
            ++lAt;
        const bool lNegative = lAt < aText.size() && aText[lAt] == u'-';
        if (lAt < aText.size() && (aText[lAt] == u'-' || aText[lAt] == u'+'))
            ++lAt;
        const qsizetype lDigits = lAt;
        qint64 lValue = 0;
        for (; lAt < aText.size() && aText[lAt] >= u'0' && aText[lAt] <= u'9'; ++lAt) {
            lValue = lValue * 10 + (aText[lAt].unicode() - u'0');
            if (lValue > 0x7fffffff)
                return false;
        }
        if (lAt == lDigits)
            return false;
        apValues[lIndex] = int(lNegative ? -lValue : lValue);
    }
    return true;
}

bool gfParseAlign(const QString& aRaw, QLatin1String aStart, QLatin1String aEnd, UBXAlign& aAlign)
{
    const QString lText = aRaw.trimmed();
    if (lText == aStart)
        aAlign = UBXAlign::Start;
    else if (lText == aEnd)
        aAlign = UBXAlign::End;
    else if (lText == QLatin1String("center"))
        aAlign = UBXAlign::Center;
    else
        return false;
    return true;
}

// Start of an extent of aSize (at most aInner) on an axis of the inner area
// that begins at aStart, kept inside the area.
int gfPlace(UBXAlign aAlign, int aOffset, int aSize, int aStart, int aInner)
{
    int lPosition = aOffset;
    if (aAlign == UBXAlign::End)
        lPosition = aInner - aSize - aOffset;
    else if (aAlign == UBXAlign::Center)
        lPosition = (aInner - aSize) / 2 + aOffset;
    return aStart + std::clamp(lPosition, 0, aInner - aSize);
}

// The largest pixel size at which the text's lines fit the area, at least 1.
// One measurement at a reference size gives an estimate, as text grows about
// linearly with its size; steps of growing length from there find a size that
// fits and one that does not, and bisection closes the gap. That takes about
// five measurements for the usual label.
int gfFitPixelSize(QFont aFont, const QString& aText, const QSize& aArea)
{
    const auto lMeasure = [&](int aPixelSize) {
        aFont.setPixelSize(aPixelSize);
        return QFontMetrics(aFont).size(0, aText);
    };
    const auto lFits = [&](int aPixelSize) {
        const QSize lSize = lMeasure(aPixelSize);
        return lSize.width() <= aArea.width() && lSize.height() <= aArea.height();
    };
    // A line is at least as tall as its pixel size.
    const int lMaximum = std::max(1, aArea.height());
    const QSize lReference = lMeasure(cReferencePixelSize);
    double lScale = double(aArea.height()) / std::max(1, lReference.height());
    if (lReference.width() > 0)
        lScale = std::min(lScale, double(aArea.width()) / lReference.width());
    const int lEstimate = std::clamp(int(cReferencePixelSize * lScale), 1, lMaximum);

    int lFitting = 0;             // fits, or 0 when no size is known to
    int lTooLarge = lMaximum + 1; // does not fit
    int lStep = std::max(1, lEstimate / 16);
    if (lFits(lEstimate)) {
        lFitting = lEstimate;
        while (lFitting + lStep <= lMaximum && lFits(lFitting + lStep)) {
            lFitting += lStep;
            lStep *= 2;
        }
        lTooLarge = std::min(lFitting + lStep, lMaximum + 1);
    } else {
        lTooLarge = lEstimate;
        while (lTooLarge - lStep >= 1 && !lFits(lTooLarge - lStep)) {
            lTooLarge -= lStep;
            lStep *= 2;
        }
        lFitting = std::max(lTooLarge - lStep, 0);
    }
    while (lTooLarge - lFitting > 1) {
        const int lMiddle = lFitting + (lTooLarge - lFitting) / 2;
        if (lFits(lMiddle))
            lFitting = lMiddle;
        else
            lTooLarge = lMiddle;
    }
    return std::max(lFitting, 1);
}

} // namespace

QImage UBXOverlay::mfPicture(const QString& aSource)
{
    const QString lPath = QDir(mvSourceDirectory).filePath(aSource);
    // Only regular files are read, so that a source naming a device or a pipe
    // cannot block the painting; the reader's allocation limit bounds the
    // memory a small file can ask for.
    const QFileInfo lInfo(lPath);
    if (!lInfo.isFile())
        return QImage();
    UBXPicture lPicture = mvUsedPictures.value(lPath, mvPictures.value(lPath));
    if (lPicture.mvImage.isNull() || lPicture.mvModified != lInfo.lastModified() ||
        lPicture.mvSize != lInfo.size()) {
        QImageReader lReader(lPath);
        lPicture = UBXPicture{lInfo.lastModified(), lInfo.size(), lReader.read()};
        // Drawn often, converted once.
        lPicture.mvImage.convertTo(QImage::Format_ARGB32_Premultiplied);
    }
    // A document naming many large pictures gets them decoded again at each
    // painting rather than held all at once.
    if (!lPicture.mvImage.isNull() && !mvUsedPictures.contains(lPath) &&
        mvUsedPictureBytes + lPicture.mvImage.sizeInBytes() <= cMaxKeptPictureBytes) {
        mvUsedPictureBytes += lPicture.mvImage.sizeInBytes();
        mvUsedPictures.insert(lPath, lPicture);
    }
    return lPicture.mvImage;
}

int UBXOverlay::mfPixelSize(const QFont& aFont, const QString& aText, const QSize& aArea)
{
    const QString lKey = aFont.key() + QLatin1Char('\n') + QString::number(aArea.width()) +
                         QLatin1Char('x') + QString::number(aArea.height()) + QLatin1Char('\n') +
                         aText;
    int lSize = mvUsedPixelSizes.value(lKey, mvPixelSizes.value(lKey));
    if (lSize == 0)
        lSize = gfFitPixelSize(aFont, aText, aArea);
    mvUsedPixelSizes.insert(lKey, lSize);
    return lSize;
}

bool UBXOverlay::mpLoad(const QByteArray& aText, QString& aError, int& aLine, int& aColumn)
{
    clear();
    if (aText.size() > cMaxDocumentBytes) {
        // Where the first byte beyond the limit is.
        const QByteArray lAllowed = aText.left(cMaxDocumentBytes);
        const qsizetype lLineStart = lAllowed.lastIndexOf('\n') + 1;
        aError = QStringLiteral("The document is longer than %1 bytes").arg(cMaxDocumentBytes);
        aLine = int(lAllowed.count('\n')) + 1;
        aColumn = int(QString::fromUtf8(lAllowed.sliced(lLineStart)).size()) + 1;
        return false;
    }

    QXmlStreamReader lReader(aText);
    // The document is built without namespace processing; reading it alike
    // refuses exactly what building it would.
    lReader.setNamespaceProcessing(false);
    int lDepth = 0;
    while (!lReader.atEnd() && !lReader.hasError()) {
        const QXmlStreamReader::TokenType lToken = lReader.readNext();
        if (lToken == QXmlStreamReader::StartElement && ++lDepth > cMaxElementDepth)
            lReader.raiseError(
                QStringLiteral("Elements are nested deeper than %1 levels").arg(cMaxElementDepth));
        else if (lToken == QXmlStreamReader::EndElement)
            --lDepth;
        else if (lToken == QXmlStreamReader::DTD)
            lReader.raiseError(QStringLiteral("A document type declaration is not allowed"));
    }
    if (lReader.hasError()) {
        aError = lReader.errorString();
        aLine = int(lReader.lineNumber());
        aColumn = int(lReader.columnNumber()) + 1;
        return false;
    }
    if (!setContent(aText, &aError, &aLine, &aColumn)) {
        clear();
        return false;
    }
    return true;
}

QColor UBXOverlay::mfParseColor(const QString& aText)
{
    const QString lText = aText.trimmed();
    int lValues[4] = {0, 0, 0, 0};
    bool lRead = lText.contains(QLatin1String("rgba")) && gfReadRgbaNumbers(lText, 4, lValues);
    if (!lRead && lText.contains(QLatin1String("rgb"))) {
        lRead = gfReadRgbaNumbers(lText, 3, lValues);
        lValues[3] = 255;
    }
    if (!lRead)
        return QColor::fromString(lText);
    for (const int lValue : lValues) {
        if (lValue < 0 || lValue > 255)
            return QColor();
    }
    return QColor(lValues[0], lValues[1], lValues[2], lValues[3]);
}

QColor UBXOverlay::mfPainted(const QColor& aColor) const
{
    if (mvKeyColor.isValid() && mvReplacementColor.isValid() &&
        aColor.rgba64() == mvKeyColor.rgba64())
        return mvReplacementColor;
    return aColor;
}

void UBXOverlay::mpRender(QPaintDevice* apDevice)
{
    mvErrors.clear();
    // A device without pixels cannot be painted on; the painter would
    // complain on the console.
    if (!apDevice || apDevice->width() <= 0 || apDevice->height() <= 0)
        return;
    QPainter lPainter;
    if (!lPainter.begin(apDevice))
        return;
    lPainter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    const int lWidth = apDevice->width();
    const int lHeight = apDevice->height();

    const QDomElement lRoot = documentElement();
    int lMarginX = 0;
    int lMarginY = 0;
    if (lRoot.hasAttribute(QStringLiteral("margin")) &&
        !gfParseMargin(lRoot.attribute(QStringLiteral("margin")), lWidth, lHeight, lMarginX,
                       lMarginY)) {
        mvErrors << QStringLiteral("Margin attribute of overlay has an invalid value");
        lMarginX = lMarginY = 0;
    }
    if (lRoot.hasAttribute(QStringLiteral("backgroundColor"))) {
        const QString lText = lRoot.attribute(QStringLiteral("backgroundColor"));
        const QColor lColor = mfParseColor(lText);
        if (lColor.isValid())
            lPainter.fillRect(QRect(0, 0, lWidth, lHeight), mfPainted(lColor));
        else
            mvErrors << QStringLiteral(
                            "backgroundColor attribute of overlay has an invalid value (%1)")
                            .arg(lText);
    }

    const QRect lInner(lMarginX, lMarginY, lWidth - 2 * lMarginX, lHeight - 2 * lMarginY);
    const QDateTime lNow = QDateTime::currentDateTime();
    for (QDomElement lChild = lRoot.firstChildElement(); !lChild.isNull();
         lChild = lChild.nextSiblingElement()) {
        if (lChild.tagName() == QLatin1String("UBXOverlayLabel"))
            mpRenderLabel(lPainter, lChild, lInner, lNow);
        else if (lChild.tagName() == QLatin1String("UBXOverlayImage"))
            mpRenderImage(lPainter, lChild, lInner);
    }
    mvPictures.swap(mvUsedPictures);
    mvUsedPictures.clear();
    mvUsedPictureBytes = 0;
    mvPixelSizes.swap(mvUsedPixelSizes);
    mvUsedPixelSizes.clear();
}

namespace {

// Reads the attributes of one element in the order the caller asks for them
// and collects a message for each value that does not parse.
class UBXAttributeReader
{
public:
    UBXAttributeReader(const QDomElement& aElement, const char* aKind, QStringList& aErrors)
        : mvElement(aElement), mvKind(aKind), mvErrors(aErrors)
    {}

    // True when the attribute is present and its value parsed; a present
    // value that does not parse is reported.
    template <typename Parse> bool mfRead(const char* aName, Parse aParse)
    {
        const QString lName = QLatin1String(aName);
        if (!mvElement.hasAttribute(lName))
            return false;
        const QString lText = mvElement.attribute(lName);
        if (aParse(lText))
            return true;
        mvErrors << QStringLiteral("%1 attribute of %2 overlay element has an invalid value (%3)")
                        .arg(lName, QLatin1String(mvKind), lText);
        return false;
    }

    bool mfReadLength(const char* aName, int aInner, int& aValue)
    {
        return mfRead(aName,
                      [&](const QString& aText) { return gfParseLength(aText, aInner, aValue); });
    }

    // A size: a length that is not negative, at most aInner.
    bool mfReadSize(const char* aName, int aInner, int& aValue)
    {
        int lValue = 0;
        if (!mfRead(aName, [&](const QString& aText) {
                return gfParseLength(aText, aInner, lValue) && lValue >= 0;
            }))
            return false;
        aValue = std::min(lValue, aInner);
        return true;
    }

    void mpReadColor(const char* aName, QColor& aColor)
    {
        mfRead(aName, [&](const QString& aText) {
            const QColor lColor = UBXOverlay::mfParseColor(aText);
            if (lColor.isValid())
                aColor = lColor;
            return lColor.isValid();
        });
    }

    void mpReadAlign(const char* aName, bool aHorizontal, UBXAlign& aAlign)
    {
        mfRead(aName, [&](const QString& aText) {
            return aHorizontal
                       ? gfParseAlign(aText, QLatin1String("left"), QLatin1String("right"), aAlign)
                       : gfParseAlign(aText, QLatin1String("top"), QLatin1String("bottom"), aAlign);
        });
    }

private:
    const QDomElement& mvElement;
    const char* mvKind;
    QStringList& mvErrors;
};

} // namespace

void UBXOverlay::mpRenderLabel(QPainter& aPainter, const QDomElement& aElement, const QRect& aInner,
                               const QDateTime& aNow)
{
    UBXAttributeReader lReader(aElement, "label", mvErrors);
    int lX = 0;
    int lY = 0;
    lReader.mfReadLength("x", aInner.width(), lX);
    lReader.mfReadLength("y", aInner.height(), lY);
    int lWidth = std::max(0, aInner.width() - std::abs(lX));
    int lHeight = std::max(0, aInner.height() - std::abs(lY));
    lReader.mfReadSize("width", aInner.width(), lWidth);
    lReader.mfReadSize("height", aInner.height(), lHeight);
    int lMarginX = 0;
    int lMarginY = 0;
    lReader.mfRead("margin", [&](const QString& aText) {
        return gfParseMargin(aText, lWidth, lHeight, lMarginX, lMarginY);
    });
    QString lText = aElement.attribute(QStringLiteral("text"));
    QFont lFont = aPainter.font();
    if (aElement.hasAttribute(QStringLiteral("font")))
        lFont.setFamily(aElement.attribute(QStringLiteral("font")));
    QColor lColor(Qt::black);
    lReader.mpReadColor("color", lColor);
    UBXAlign lAlignX = UBXAlign::Start;
    UBXAlign lAlignY = UBXAlign::Start;
    lReader.mpReadAlign("horizontalAlign", true, lAlignX);
    lReader.mpReadAlign("verticalAlign", false, lAlignY);
    int lBorder = 0;
    lReader.mfRead("borderWidth", [&](const QString& aText) {
        int lValue = -1;
        if (!gfParseInteger(aText.trimmed(), lValue) || lValue < 0)
            return false;
        lBorder = lValue;
        return true;
    });
    QColor lBackground;
    lReader.mpReadColor("backgroundColor", lBackground);
    QColor lBorderColor = lColor;
    lReader.mpReadColor("borderColor", lBorderColor);

    const QRect lBox(gfPlace(lAlignX, lX, lWidth, aInner.left(), aInner.width()),
                     gfPlace(lAlignY, lY, lHeight, aInner.top(), aInner.height()), lWidth, lHeight);
    if (lBox.isEmpty())
        return;
    if (lBackground.isValid())
        aPainter.fillRect(lBox, mfPainted(lBackground));
    lBorder = std::min({lBorder, lWidth / 2, lHeight / 2});
    if (lBorder > 0) {
        // Four strips rather than an outline, so the frame stays inside the
        // box and no corner is painted twice.
        const QColor lPainted = mfPainted(lBorderColor);
        aPainter.fillRect(lBox.x(), lBox.y(), lWidth, lBorder, lPainted);
        aPainter.fillRect(lBox.x(), lBox.bottom() - lBorder + 1, lWidth, lBorder, lPainted);
        aPainter.fillRect(lBox.x(), lBox.y() + lBorder, lBorder, lHeight - 2 * lBorder, lPainted);
        aPainter.fillRect(lBox.right() - lBorder + 1, lBox.y() + lBorder, lBorder,
                          lHeight - 2 * lBorder, lPainted);
    }

    const QRect lTextArea = lBox.adjusted(lBorder + lMarginX, lBorder + lMarginY,
                                          -lBorder - lMarginX, -lBorder - lMarginY);
    if (lTextArea.isEmpty() || lText.isEmpty())
        return;
    if (lText.contains(QLatin1String("${"))) {
        const QLocale lLocale;
        lText.replace(QLatin1String("${TIME}"), lLocale.toString(aNow.time(), QLocale::ShortFormat))
            .replace(QLatin1String("${DATE}"), lLocale.toString(aNow.date(), QLocale::ShortFormat))
            .replace(QLatin1String("${DATETIME}"), lLocale.toString(aNow, QLocale::ShortFormat));
    }
    lFont.setPixelSize(mfPixelSize(lFont, lText, lTextArea.size()));
    aPainter.save();
    aPainter.setClipRect(lTextArea);
    aPainter.setFont(lFont);
    aPainter.setPen(mfPainted(lColor));
    aPainter.drawText(lTextArea, Qt::AlignHCenter | Qt::AlignVCenter, lText);
    aPainter.restore();
}

void UBXOverlay::mpRenderImage(QPainter& aPainter, const QDomElement& aElement, const QRect& aInner)
{
    UBXAttributeReader lReader(aElement, "image", mvErrors);
    int lX = 0;
    int lY = 0;
    lReader.mfReadLength("x", aInner.width(), lX);
    lReader.mfReadLength("y", aInner.height(), lY);
    int lWidth = 0;
    int lHeight = 0;
    const bool lHasWidth = lReader.mfReadSize("width", aInner.width(), lWidth);
    const bool lHasHeight = lReader.mfReadSize("height", aInner.height(), lHeight);
    QImage lPicture;
    if (!aElement.hasAttribute(QStringLiteral("source"))) {
        mvErrors << QStringLiteral("source attribute of image overlay not specified");
    } else {
        const QString lSource = aElement.attribute(QStringLiteral("source"));
        lPicture = mfPicture(lSource);
        if (lPicture.isNull())
            mvErrors << QStringLiteral("Could not load image with source '%1'").arg(lSource);
    }
    UBXAlign lAlignX = UBXAlign::Start;
    UBXAlign lAlignY = UBXAlign::Start;
    lReader.mpReadAlign("horizontalAlign", true, lAlignX);
    lReader.mpReadAlign("verticalAlign", false, lAlignY);
    if (lPicture.isNull())
        return;

    QSize lSize = lPicture.size();
    if (lHasWidth && lHasHeight)
        lSize = QSize(lWidth, lHeight);
    else if (lHasWidth)
        lSize = QSize(lWidth, qRound(double(lWidth) * lSize.height() / lSize.width()));
    else if (lHasHeight)
        lSize = QSize(qRound(double(lHeight) * lSize.width() / lSize.height()), lHeight);
    if (lSize.width() > aInner.width() || lSize.height() > aInner.height())
        lSize.scale(aInner.size(), Qt::KeepAspectRatio);
    if (lSize.isEmpty())
        return;
    const QRect lTarget(gfPlace(lAlignX, lX, lSize.width(), aInner.left(), aInner.width()),
                        gfPlace(lAlignY, lY, lSize.height(), aInner.top(), aInner.height()),
                        lSize.width(), lSize.height());
    aPainter.drawImage(lTarget, lPicture);
}
