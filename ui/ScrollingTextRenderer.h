#ifndef SCROLLINGTEXTRENDERER_H
#define SCROLLINGTEXTRENDERER_H

#include "UIExport.h"

#include <QColor>
#include <QFont>
#include <QObject>
#include <QPixmap>
#include <QString>

class QPainter;
class QTimeLine;

// One line of text as a picture, drawn whole when it fits and otherwise, while
// scrolling is enabled, scrolled endlessly from right to left as a marquee:
// the text, a gap and the text again, so the loop shows no seam. An endless
// linear time line of 1000 ms with a 300 ms update step drives the offset in
// tenths of a pixel; its duration and frame range follow the picture's width,
// the gap and the speed.
class UI_EXPORT ScrollingTextRenderer : public QObject
{
    Q_OBJECT
public:
    explicit ScrollingTextRenderer(QObject* apParent = nullptr);
    ~ScrollingTextRenderer() override;

    // Renders the picture unless text, colours, font and shadow are all
    // unchanged; the width alone does not re-evaluate whether the text needs
    // scrolling. With shadow a black copy of the text lies 1 pixel (fonts
    // below 16 pixels, or sized in points) or 2 pixels down and right.
    void mpSetContent(const QString& aText, const QColor& aBackground, const QColor& aTextColour,
                      const QFont& aFont, bool abShadow, int aAvailableWidth);

    void mpStartScrolling();
    void mpStopScrolling();
    // Pixels per second; 0 or below runs the time line backward.
    void mpSetScrollSpeed(int aSpeed);
    int mfGetScrollSpeed() const { return mvScrollSpeed; }
    // Pixels between the end of the text and its next copy.
    void mpSetGap(int aGap);
    int mfGetGap() const { return static_cast<int>(mvGap); }

    // The picture vertically centred in the rectangle, from its left edge:
    // whole when it fits, otherwise the two pieces at the current offset.
    void mpDraw(QPainter* apPainter, double aX, double aY, double aWidth, double aHeight) const;

    const QPixmap& mfGetPicture() const { return mvPicture; }
    const QTimeLine* mfGetTimeLine() const { return mvTimeLine; }

Q_SIGNALS:
    void sgRepaintNeeded();

public Q_SLOTS:
    void mpOnScrollTimeLineFrameChanged(int aFrame);

private:
    void mpUpdateTimeLine();

    QPixmap mvPicture;
    QString mvText;
    QColor mvBackground;
    QColor mvTextColour;
    QFont mvFont;
    bool mvShadow = false;
    double mvOffset = 0.0;
    QTimeLine* mvTimeLine;
    qint32 mvScrollSpeed = 30;
    double mvGap = 30.0;
    bool mvScrollingEnabled = false;
    bool mvNeedsScrolling = true;
};

#endif
