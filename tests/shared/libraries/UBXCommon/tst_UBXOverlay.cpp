#include "TestFiles.h"
#include "UBXOverlay.h"

#include <QDir>
#include <QLocale>
#include <QTest>

#include <sys/stat.h>

using Points = QList<QPoint>;

class tst_UBXOverlay : public QObject
{
    Q_OBJECT
    QStringList mvErrors;

    // With key blue and replacement red; a refused document is one error "line:column: text".
    QImage mfRender(const QByteArray& aDocument, QSize aSize)
    {
        UBXOverlay lOverlay;
        QString lError;
        int lLine = 0, lColumn = 0;
        QImage lImage(aSize, QImage::Format_ARGB32);
        lImage.fill(Qt::transparent);
        const bool lLoaded = lOverlay.mpLoad(aDocument, lError, lLine, lColumn);
        mvErrors = QStringList(QString("%1:%2: %3").arg(lLine).arg(lColumn).arg(lError));
        if (lLoaded && lError.isEmpty() && !lOverlay.isNull()) {
            lOverlay.mpSetKeyColor(Qt::blue);
            lOverlay.mpSetReplacementColor(Qt::red);
            lOverlay.mpSetSourceDirectory(QDir::tempPath());
            lOverlay.mpRender(&lImage);
            mvErrors = lOverlay.mfGetErrors();
        }
        return lImage;
    }

private Q_SLOTS:
    void paints_data()
    {
        QImage lRed(4, 2, QImage::Format_ARGB32);
        lRed.fill(Qt::red);
        QVERIFY(lRed.save(QDir::temp().filePath("red.png")));
        QVERIFY(gfWriteFile(QDir::temp().filePath("text.png"), "not a picture"));
        QVERIFY(QFile::exists(QDir::temp().filePath("fifo")) ||
                !mkfifo(qPrintable(QDir::temp().filePath("fifo")), 0600));
        QTest::addColumn<QString>("document");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QStringList>("errors");
        QTest::addColumn<Points>("red");
        QTest::addColumn<Points>("clear");
        const auto lRow = [](const char* aName, const QString& aDocument, QSize aSize,
                             const QStringList& aErrors, const Points& aRed = {},
                             const Points& aClear = {{0, 0}}) {
            QTest::newRow(aName) << aDocument << aSize << aErrors << aRed << aClear;
        };
        lRow("10% margin, x 50%, key colour replaced, unknown child ignored",
             "<o margin='10%'><Clock backgroundColor='red'/>text<!-- c --><UBXOverlayLabel x='50%' "
             "width='10' height='10' backgroundColor='#0000ff' borderWidth='1' "
             "borderColor='rgba(0,0,255,255)'/></o>",
             {1000, 500}, {}, {{500, 50}, {501, 51}, {509, 59}},
             {{499, 50}, {510, 55}, {500, 49}, {500, 60}});
        lRow("empty root fills the device", "<o backgroundColor='rgba(255,0,0)'/>", {1000, 500}, {},
             {{0, 0}, {999, 499}});
        const QString lBox = QStringLiteral("<UBXOverlayLabel backgroundColor='red' ");
        lRow("aligned from the margins; oversized and outside moved in; x 12.5%",
             "<o margin='10'>" + lBox + "horizontalAlign='right' verticalAlign='bottom' x='5' " +
                 "y='5' width='20' height='10'/>" + lBox + "horizontalAlign='center' " +
                 "verticalAlign='center' width='10' height='10'/>" + lBox +
                 "x='-50' y='900' width='5000' height='5'/>" + lBox +
                 "x='12.5%' width='1' height='1'/></o>",
             {200, 100}, {},
             {{165, 75}, {184, 84}, {95, 45}, {104, 54}, {10, 85}, {189, 89}, {33, 10}},
             Points{{185, 84}, {164, 75}, {184, 74}, {94, 45}, {105, 54}} +
                 Points{{9, 89}, {190, 89}, {32, 10}, {34, 10}});
        lRow("picture stretched, then scaled into the inner area",
             "<o margin='1'><UBXOverlayImage x='2' width='8' source='red.png'/>"
             "<UBXOverlayImage y='10' width='1000' source='red.png'/></o>",
             {20, 20}, {}, {{3, 1}, {10, 4}, {1, 10}, {18, 18}},
             {{2, 1}, {11, 1}, {3, 5}, {1, 9}, {0, 11}});
        // Each attribute bad, written in the reverse of the order they are read in.
        for (const auto& [lKind, lBad] :
             {std::pair("Label", "x=a y=1e2% width=-3 height=5%% margin=1.5% color=rgb(1,2,3) "
                                 "horizontalAlign=top verticalAlign=left borderWidth=-1 "
                                 "backgroundColor=rgba(1,2) borderColor=rgba(256,0,0)"),
              std::pair("Image", "x=nan% y= width=1x height=+% horizontalAlign=Left "
                                 "verticalAlign=middle")}) {
            QString lDocument = "/></o>";
            QStringList lErrors;
            for (const QString& lPair : QString(lBad).split(' ')) {
                const QString lName = lPair.section('=', 0, 0), lValue = lPair.section('=', 1);
                lDocument.prepend(QString(" %1='%2'").arg(lName, lValue));
                lErrors << QString("%1 attribute of %2 overlay element has an invalid value (%3)")
                               .arg(lName, QString(lKind).toLower(), lValue);
            }
            if (lKind == QLatin1String("Image"))
                lErrors.insert(4, "source attribute of image overlay not specified");
            lRow(lKind, "<o><UBXOverlay" + QString(lKind) + lDocument, {50, 50}, lErrors);
        }
        lRow("12.5% margin refused, pictures that cannot be loaded",
             "<o margin='12.5%' backgroundColor='rgb(255,0,0)'><UBXOverlayImage source='fifo'/>"
             "<UBXOverlayImage source='text.png'/></o>",
             {50, 50},
             {"Margin attribute of overlay has an invalid value",
              "backgroundColor attribute of overlay has an invalid value (rgb(255,0,0))",
              "Could not load image with source 'fifo'",
              "Could not load image with source 'text.png'"});
        const QString lFull = QString("<o>").repeated(64) + '\n' +
                              QString(1024 * 1024 - 64 * 7 - 1, ' ') + QString("</o>").repeated(64);
        lRow("1 MiB, 64 levels", lFull, {1, 1}, {});
        lRow("1 MiB and a byte", lFull + ' ', {1, 1},
             {"2:1048384: The document is longer than 1048576 bytes"});
        lRow("65 levels", "<o>" + lFull.left(1024), {1, 1},
             {"1:196: Elements are nested deeper than 64 levels"});
        lRow("entities", "<!DOCTYPE o [<!ENTITY a 'aaaa'>]>\n<o>&a;&a;</o>", {1, 1},
             {"1:34: A document type declaration is not allowed"});
    }

    void paints()
    {
        QFETCH(QString, document);
        QFETCH(QSize, size);
        QFETCH(Points, red);
        QFETCH(Points, clear);
        const QImage lImage = mfRender(document.toUtf8(), size);
        QTEST(mvErrors, "errors");
        for (const QPoint& lPoint : red + clear)
            QCOMPARE(std::make_pair(lPoint, lImage.pixel(lPoint)),
                     std::make_pair(lPoint, red.contains(lPoint) ? 0xffff0000 : 0u));
    }

    // Paints as the text with the values put in by hand; the clock may pass a
    // minute in between, so a few attempts are allowed.
    void replacesPlaceholders()
    {
        const QString lLabel = QStringLiteral("<o><UBXOverlayLabel text='%1'/></o>");
        for (int lAttempt = 0;; ++lAttempt) {
            const QDateTime lNow = QDateTime::currentDateTime();
            const QString lText = QLocale().toString(lNow.time(), QLocale::ShortFormat) + '|' +
                                  QLocale().toString(lNow.date(), QLocale::ShortFormat) + '|' +
                                  QLocale().toString(lNow, QLocale::ShortFormat);
            if (mfRender(lLabel.arg("${TIME}|${DATE}|${DATETIME}").toUtf8(), QSize(300, 40)) ==
                mfRender(lLabel.arg(lText).toUtf8(), QSize(300, 40)))
                break;
            QVERIFY(lAttempt < 3);
        }
    }

    // The largest size that fits nearly fills the width inside the margin, never more.
    void fitsTextToItsBox()
    {
        const QImage lImage = mfRender("<o><UBXOverlayLabel x='10' y='10' width='420' height='120' "
                                       "margin='10' text='The quick brown fox jumps'/></o>",
                                       QSize(500, 200));
        QRect lInk;
        for (int lY = 0; lY < lImage.height(); ++lY)
            for (int lX = 0; lX < lImage.width(); ++lX)
                lInk |= qAlpha(lImage.pixel(lX, lY)) > 0 ? QRect(lX, lY, 1, 1) : QRect();
        QVERIFY(QRect(20, 20, 400, 100).contains(lInk) && lInk.width() > 360);
    }
};

QTEST_MAIN(tst_UBXOverlay)
#include "tst_UBXOverlay.moc"
