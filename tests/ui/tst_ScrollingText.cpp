#include "ScrollingLabel.h"

#include <QEnterEvent>
#include <QFontMetrics>
#include <QTest>
#include <QTimeLine>

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
        lRenderer.mpSetContent(QStringLiteral("Marquee"), Qt::black, Qt::white, QFont(), false, 10);
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
    // shadow is the only near-black.
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
        lLabel.mpSetStyle(lBackground, Qt::white, shadow, lLabel.font());
        const QImage lImage = lLabel.grab().toImage();
        QRect lInk;
        bool lBlack = false;
        for (int lPixel = 0; lPixel < 200 * 60; ++lPixel) {
            const QPoint lAt(lPixel % 200, lPixel / 200);
            lInk |= lImage.pixelColor(lAt) != lBackground ? QRect(lAt, lAt) : QRect();
            lBlack |= lImage.pixelColor(lAt).value() < 60;
        }
        QCOMPARE(lBlack, shadow);
        QCOMPARE(lInk.isNull(), text.isEmpty());
        const QFontMetrics lMetrics(lLabel.font());
        const int lTop = (60 - lMetrics.height() - (shadow ? 1 : 0)) / 2;
        QVERIFY(text.isEmpty() ||
                (lInk.left() <= 2 && lInk.right() >= lMetrics.horizontalAdvance(text) - 3 &&
                 lInk.top() >= lTop && lInk.bottom() <= lTop + lMetrics.height() + 1));
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
