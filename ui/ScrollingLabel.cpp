#include "ScrollingLabel.h"

#include <QPainter>

ScrollingLabel::ScrollingLabel(QWidget* apParent) : QLabel(apParent), mvFont(font())
{
    connect(&mvRenderer, &ScrollingTextRenderer::sgRepaintNeeded, this,
            qOverload<>(&QWidget::update));
}

ScrollingLabel::~ScrollingLabel() = default;

void ScrollingLabel::mpSetScrollMode(int aMode)
{
    if (aMode == mvScrollMode)
        return;
    mvScrollMode = aMode;
    if (aMode == 0)
        mvRenderer.mpStartScrolling();
    else
        mvRenderer.mpStopScrolling();
}

void ScrollingLabel::mpSetStyle(const QColor& aBackground, const QColor& aTextColour, bool abShadow,
                                const QFont& aFont)
{
    mvBackground = aBackground;
    mvTextColour = aTextColour;
    mvShadow = abShadow;
    mvFont = aFont;
    update();
}

void ScrollingLabel::enterEvent(QEnterEvent* apEvent)
{
    if (mvScrollMode == 1)
        mvRenderer.mpStartScrolling();
    QLabel::enterEvent(apEvent);
}

void ScrollingLabel::leaveEvent(QEvent* apEvent)
{
    if (mvScrollMode == 1)
        mvRenderer.mpStopScrolling();
    QLabel::leaveEvent(apEvent);
}

void ScrollingLabel::paintEvent(QPaintEvent*)
{
    mvRenderer.mpSetContent(text(), mvBackground, mvTextColour, mvFont, mvShadow, width());
    QPainter lPainter(this);
    lPainter.fillRect(rect(), mvBackground);
    mvRenderer.mpDraw(&lPainter, 0, 0, width(), height());
}
