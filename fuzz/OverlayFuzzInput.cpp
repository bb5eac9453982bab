#include "OverlayFuzzInput.h"

#include "UBXOverlay.h"

#include <QImage>

namespace {

// True when no element lies more than aLevels levels down from aElement and
// its siblings. Recursion stops at the limit, so a deep tree costs no stack.
bool gfWithinDepth(const QDomElement& aElement, int aLevels)
{
    for (QDomElement lChild = aElement; !lChild.isNull(); lChild = lChild.nextSiblingElement()) {
        if (aLevels == 0 || !gfWithinDepth(lChild.firstChildElement(), aLevels - 1))
            return false;
    }
    return true;
}

} // namespace

bool gfFeedOverlay(const uint8_t* apData, size_t aSize)
{
    UBXOverlay lOverlay;
    QString lError;
    int lLine = 0;
    int lColumn = 0;
    const QByteArray lText(reinterpret_cast<const char*>(apData), qsizetype(aSize));
    if (!lOverlay.mpLoad(lText, lError, lLine, lColumn))
        return lOverlay.isNull() && !lError.isEmpty();
    if (!gfWithinDepth(lOverlay.documentElement(), UBXOverlay::cMaxElementDepth))
        return false;

    lOverlay.mpSetKeyColor(Qt::red);
    lOverlay.mpSetReplacementColor(Qt::blue);
    QImage lImage(96, 64, QImage::Format_ARGB32_Premultiplied);
    lImage.fill(Qt::transparent);
    lOverlay.mpRender(&lImage);
    const QStringList lFirst = lOverlay.mfGetErrors();
    lOverlay.mpRender(&lImage);
    return lOverlay.mfGetErrors() == lFirst;
}
