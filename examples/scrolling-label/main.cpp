// scrolling-label: three ScrollingLabels over a long text, one per scroll mode.
//
//   scrolling-label                  opens the window
//   scrolling-label --snapshot DIR   renders the window at several moments,
//                                    writes DIR/scrolling-label.png and exits
//                                    (works with QT_QPA_PLATFORM=offscreen)

#include "ScrollingLabel.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QEnterEvent>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>

namespace {
constexpr int sMoments = 4;
constexpr int sMomentMs = 2500;

const QString sText = QStringLiteral(
    "Beamora: the presentation starts as soon as the button is plugged in, and ends a minute "
    "after it is pulled out.");

ScrollingLabel* gfAddLabel(QVBoxLayout* apLayout, const QString& aCaption, int aMode,
                           const QColor& aBackground, const QColor& aTextColour, bool abShadow)
{
    apLayout->addWidget(new QLabel(aCaption));
    auto* lLabel = new ScrollingLabel;
    lLabel->setText(sText);
    lLabel->setFixedHeight(34);
    QFont lFont = lLabel->font();
    lFont.setPixelSize(18);
    lLabel->mpSetStyle(aBackground, aTextColour, abShadow, lFont);
    lLabel->mpSetScrollSpeed(120);
    lLabel->mpSetScrollMode(aMode);
    apLayout->addWidget(lLabel);
    return lLabel;
}
} // namespace

int main(int aArgc, char** aArgv)
{
    QApplication lApplication(aArgc, aArgv);
    QCommandLineParser lParser;
    lParser.setApplicationDescription(QStringLiteral("Three scrolling labels, one per mode."));
    lParser.addHelpOption();
    const QCommandLineOption lSnapshot(
        QStringLiteral("snapshot"),
        QStringLiteral("Render the window at several moments into DIR/scrolling-label.png."),
        QStringLiteral("DIR"));
    lParser.addOption(lSnapshot);
    lParser.process(lApplication);

    QWidget lWindow;
    lWindow.setWindowTitle(QStringLiteral("Scrolling labels"));
    lWindow.setFixedWidth(420);
    auto* lLayout = new QVBoxLayout(&lWindow);
    gfAddLabel(lLayout, QStringLiteral("Mode 0: always"), 0, QColor(20, 40, 90), Qt::white, true);
    ScrollingLabel* lHover =
        gfAddLabel(lLayout, QStringLiteral("Mode 1: while the pointer is over it"), 1, Qt::black,
                   QColor(255, 200, 60), false);
    gfAddLabel(lLayout, QStringLiteral("Mode 2: never"), 2, QColor(60, 60, 60), Qt::white, false);
    lWindow.show();
    if (!lParser.isSet(lSnapshot))
        return lApplication.exec();

    // The hover label scrolls as if the pointer rested on it.
    QEnterEvent lEnter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
    QCoreApplication::sendEvent(lHover, &lEnter);
    const QString lDir = lParser.value(lSnapshot);
    QImage lStrip(lWindow.width(), sMoments * (lWindow.height() + 4), QImage::Format_RGB32);
    lStrip.fill(Qt::white);
    int lTaken = 0;
    QTimer lTimer;
    const auto lTake = [&] {
        QPainter lPainter(&lStrip);
        lPainter.drawPixmap(0, lTaken * (lWindow.height() + 4), lWindow.grab());
        if (++lTaken < sMoments)
            return;
        lPainter.end();
        const QString lFile = QDir(lDir).filePath(QStringLiteral("scrolling-label.png"));
        const bool lSaved = QDir().mkpath(lDir) && lStrip.save(lFile, "PNG");
        if (!lSaved)
            qCritical("cannot write %s", qPrintable(lFile));
        lApplication.exit(lSaved ? 0 : 1);
    };
    QObject::connect(&lTimer, &QTimer::timeout, lTake);
    lTimer.start(sMomentMs);
    lTake();
    return lApplication.exec();
}
