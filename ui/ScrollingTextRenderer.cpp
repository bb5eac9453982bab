#include "ScrollingTextRenderer.h"

#include <QFontMetrics>
#include <QPainter>
#include <QTimeLine>

#include <climits>
#include <cstdlib>

ScrollingTextRenderer::ScrollingTextRenderer(QObject* apParent)
    : QObject(apParent), mvTimeLine(new QTimeLine(1000, this))
{
    mvTimeLine->setEasingCurve(QEasingCurve::Linear);
    // A coarse step on purpose: the marquee moves in visible jumps but costs
    // few repaints.
    mvTimeLine->setUpdateInterval(300);
    mvTimeLine->setLoopCount(0);
    connect(mvTimeLine, &QTimeLine::frameChanged, this,
            &ScrollingTextRenderer::mpOnScrollTimeLineFrameChanged);
}

ScrollingTextRenderer::~ScrollingTextRenderer() = default;

void ScrollingTextRenderer::mpSetContent(const QString& aText, const QColor& aBackground,
                                         const QColor& aTextColour, const QFont& aFont,
                                         bool abShadow, int aAvailableWidth)
{
    if (aText == mvText && aBackground == mvBackground && aTextColour == mvTextColour &&
        aFont == mvFont && abShadow == mvShadow)
        return;
    mvText = aText;
    mvBackground = aBackground;
    mvTextColour = aTextColour;
    mvFont = aFont;
    mvShadow = abShadow;

    // A font sized in points reports a pixel size of -1 and so gets 1.
    const int lBorder = !abShadow ? 0 : (aFont.pixelSize() < 16 ? 1 : 2);
    const QFontMetrics lMetrics(aFont);
    const int lWidth = lMetrics.horizontalAdvance(aText);
    const int lHeight = lMetrics.height();
    if (lWidth < 1 || lHeight < 1) {
        mvPicture = QPixmap();
    } else {
        mvPicture = QPixmap(lWidth + lBorder, lHeight + lBorder);
        mvPicture.fill(aBackground);
        QPainter lPainter(&mvPicture);
        lPainter.setRenderHint(QPainter::Antialiasing);
        lPainter.setRenderHint(QPainter::TextAntialiasing);
        lPainter.setFont(aFont);
        if (abShadow) {
            lPainter.setPen(Qt::black);
            lPainter.drawText(QRect(QPoint(lBorder, lBorder), mvPicture.size()), Qt::AlignLeft,
                              aText);
        }
        lPainter.setPen(aTextColour);
        lPainter.drawText(mvPicture.rect(), Qt::AlignLeft, aText);
    }
    mvNeedsScrolling = mvPicture.width() > aAvailableWidth;
    mpUpdateTimeLine();
}

void ScrollingTextRenderer::mpStartScrolling()
{
    if (mvScrollingEnabled)
        return;
    mvScrollingEnabled = true;
    mpUpdateTimeLine();
}

void ScrollingTextRenderer::mpStopScrolling()
{
    if (!mvScrollingEnabled)
        return;
    mvScrollingEnabled = false;
    mpUpdateTimeLine();
}

void ScrollingTextRenderer::mpSetScrollSpeed(int aSpeed)
{
    if (aSpeed == mvScrollSpeed)
        return;
    mvScrollSpeed = aSpeed;
    mpUpdateTimeLine();
}

void ScrollingTextRenderer::mpSetGap(int aGap)
{
    if (double(aGap) == mvGap)
        return;
    mvGap = aGap;
    mpUpdateTimeLine();
}

void ScrollingTextRenderer::mpUpdateTimeLine()
{
    if (mvScrollingEnabled && mvNeedsScrolling) {
        const double lDistance = mvPicture.width() + mvGap;
        mvTimeLine->setFrameRange(0, static_cast<int>(10 * lDistance));
        // Speed 0 divides by zero: an infinite duration, clamped to the
        // largest whole number of milliseconds.
        const float lDuration =
            1000.0f * static_cast<float>(lDistance) / static_cast<float>(std::abs(mvScrollSpeed));
        const int lMs = lDuration < float(INT_MAX) ? static_cast<int>(lDuration) : INT_MAX;
        mvTimeLine->setDuration(qMax(lMs, 1));
        mvTimeLine->setDirection(mvScrollSpeed > 0 ? QTimeLine::Forward : QTimeLine::Backward);
        if (mvTimeLine->state() != QTimeLine::Running) {
            mvTimeLine->start();
            mvTimeLine->setCurrentTime(0);
        }
    } else if (mvTimeLine->state() == QTimeLine::Running) {
        mvTimeLine->stop();
        mvOffset = 0.0;
        emit sgRepaintNeeded();
    }
}

void ScrollingTextRenderer::mpDraw(QPainter* apPainter, double aX, double aY, double aWidth,
                                   double aHeight) const
{
    const bool lWasAntialiased = apPainter->testRenderHint(QPainter::Antialiasing);
    apPainter->setRenderHint(QPainter::Antialiasing);
    const double lPictureWidth = mvPicture.width();
    const double lPictureHeight = mvPicture.height();
    const double lTop = (aHeight - lPictureHeight) * 0.5;
    if (aWidth >= lPictureWidth) {
        apPainter->drawPixmap(QPointF(aX, aY + lTop), mvPicture);
    } else {
        const double lFirst = qMin(lPictureWidth - mvOffset - 1, aWidth);
        if (lFirst >= 1)
            apPainter->drawPixmap(QRectF(aX, aY + lTop, lFirst, lPictureHeight), mvPicture,
                                  QRectF(mvOffset, 0, lFirst, lPictureHeight));
        const double lRest = aWidth - (lFirst + mvGap);
        if (lRest >= 1)
            apPainter->drawPixmap(QRectF(aX + lFirst + mvGap, aY + lTop, lRest, lPictureHeight),
                                  mvPicture, QRectF(0, 0, lRest, lPictureHeight));
    }
    if (!lWasAntialiased)
        apPainter->setRenderHint(QPainter::Antialiasing, false);
}

void ScrollingTextRenderer::mpOnScrollTimeLineFrameChanged(int aFrame)
{
    mvOffset = aFrame / 10.0;
    emit sgRepaintNeeded();
}
