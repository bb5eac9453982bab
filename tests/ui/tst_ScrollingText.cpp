#include "ScrollingLabel.h"

#include <QEnterEvent>
#include <QFontMetrics>
#include <QTest>
#include <QTimeLine>

namespace {
QFont gfFont()
{
    QFont lFont;
    lFont.setPixelSize(14);
    return lFont;
}

// The bounding box of the pixels that differ from aBackground, and whether
// any of them is black.
QRect gfInk(const QImage& aImage, const QColor& aBackground, bool& aBlack)
{
    QRect lBox;
    aBlack = false;
    for (int lY = 0; lY < aImage.height(); ++lY) {
        for (int lX = 0; lX < aImage.width(); ++lX) {
            const QColor lColour = aImage.pixelColor(lX, lY);
            if (lColour != aBackground)
                lBox |= QRect(lX, lY, 1, 1);
            aBlack |= lColour == Qt::black;
        }
    }
    return lBox;
}
} // namespace

class tst_ScrollingText : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // The gap tops the picture's width up to a distance of 230 pixels.
    void timeLine_data()
    {
        QTest::addColumn<int>("speed");
        QTest::addColumn<int>("direction");
        QTest::addColumn<int>("duration");
        QTest::newRow("forward") << 30 << int(QTimeLine::Forward) << 7666;
        QTest::newRow("negative runs backward") << -30 << int(QTimeLine::Backward) << 7666;
        QTest::newRow("zero runs backward, endlessly long")
            << 0 << int(QTimeLine::Backward) << INT_MAX;
    }
    void timeLine()
    {
        QFETCH(int, speed);
        ScrollingTextRenderer lRenderer;
        lRenderer.mpSetContent(QStringLiteral("Marquee"), Qt::black, Qt::white, gfFont(), false,
                               10);
        lRenderer.mpSetGap(230 - lRenderer.mfGetPicture().width());
        lRenderer.mpSetScrollSpeed(speed);
        lRenderer.mpStartScrolling();
        const QTimeLine* lTimeLine = lRenderer.mfGetTimeLine();
        QCOMPARE(lTimeLine->state(), QTimeLine::Running);
        QCOMPARE(lTimeLine->endFrame(), 2300);
        QTEST(int(lTimeLine->direction()), "direction");
        QTEST(lTimeLine->duration(), "duration");
    }

    // A narrow text lies whole at the left edge, centred vertically; the
    // shadow is the only black.
    void narrowText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("shadow");
        QTest::newRow("plain") << "Hi" << false;
        QTest::newRow("shadow") << "Hi" << true;
        QTest::newRow("empty: background only") << "" << false;
    }
    void narrowText()
    {
        QFETCH(QString, text);
        QFETCH(bool, shadow);
        const QColor lBackground(0, 0, 200);
        ScrollingLabel lLabel;
        lLabel.resize(200, 60);
        lLabel.setText(text);
        lLabel.mpSetStyle(lBackground, Qt::white, shadow, gfFont());
        bool lBlack = false;
        const QRect lInk = gfInk(lLabel.grab().toImage(), lBackground, lBlack);
        QCOMPARE(lBlack, shadow);
        if (text.isEmpty()) {
            QVERIFY(lInk.isNull());
            return;
        }
        const QFontMetrics lMetrics(gfFont());
        const int lTop = (60 - lMetrics.height() - (shadow ? 1 : 0)) / 2;
        QVERIFY2(lInk.left() <= 2 && lInk.right() >= lMetrics.horizontalAdvance(text) - 3,
                 qPrintable(QStringLiteral("%1 %2").arg(lInk.left()).arg(lInk.right())));
        QVERIFY(lInk.top() >= lTop && lInk.bottom() <= lTop + lMetrics.height() + 1);
    }

    // Mode 1 moves the text while the pointer is over the label and shows it
    // from its start again when the pointer leaves.
    void hoverMode()
    {
        ScrollingLabel lLabel;
        lLabel.resize(60, 30);
        lLabel.setText(QStringLiteral("A text much wider than sixty pixels"));
        lLabel.mpSetScrollSpeed(200);
        const QImage lStill = lLabel.grab().toImage();
        QEnterEvent lEnter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
        QCoreApplication::sendEvent(&lLabel, &lEnter);
        QTRY_VERIFY_WITH_TIMEOUT(lLabel.grab().toImage() != lStill, 10000);
        QEvent lLeave(QEvent::Leave);
        QCoreApplication::sendEvent(&lLabel, &lLeave);
        QCOMPARE(lLabel.grab().toImage(), lStill);
    }
};

QTEST_MAIN(tst_ScrollingText)
#include "tst_ScrollingText.moc"
