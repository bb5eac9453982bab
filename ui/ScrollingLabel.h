#ifndef SCROLLINGLABEL_H
#define SCROLLINGLABEL_H

#include "ScrollingTextRenderer.h"
#include "UIExport.h"

#include <QLabel>

// A text label that paints its text through a ScrollingTextRenderer on its
// own background, with an optional shadow. Scroll mode 0 scrolls whenever the
// text does not fit, 1 (the default) while the mouse pointer is over the
// label, any other value never.
class UI_EXPORT ScrollingLabel : public QLabel
{
    Q_OBJECT
public:
    explicit ScrollingLabel(QWidget* apParent = nullptr);
    ~ScrollingLabel() override;

    void mpSetScrollMode(int aMode);
    int mfGetScrollMode() const { return mvScrollMode; }
    void mpSetStyle(const QColor& aBackground, const QColor& aTextColour, bool abShadow,
                    const QFont& aFont);
    void mpSetScrollSpeed(int aSpeed) { mvRenderer.mpSetScrollSpeed(aSpeed); }
    int mfGetScrollSpeed() const { return mvRenderer.mfGetScrollSpeed(); }
    void mpSetGap(int aGap) { mvRenderer.mpSetGap(aGap); }
    int mfGetGap() const { return mvRenderer.mfGetGap(); }

protected:
    void enterEvent(QEnterEvent* apEvent) override;
    void leaveEvent(QEvent* apEvent) override;
    void paintEvent(QPaintEvent* apEvent) override;

private:
    ScrollingTextRenderer mvRenderer;
    qint32 mvScrollMode = 1;
    QColor mvBackground = Qt::black;
    QColor mvTextColour = Qt::white;
    bool mvShadow = false;
    QFont mvFont;
};

#endif
