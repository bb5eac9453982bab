// Painting an overlay of 10 labels and 2 pictures over a 1920x1080 screen
// image, against the yardstick of painting the same boxes, texts and pictures
// by hand with a painter (fonts chosen once, pictures already decoded): what
// the overlay adds is reading the document, the font-size search and loading
// the pictures.
#include "UBXOverlay.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QTemporaryDir>

namespace {

struct Label
{
    const char* mvText;
    QRect mvBox;
};

// The boxes of the document below, as the overlay places them (margin 20).
const Label cLabels[] = {
    {"Quarterly review", {20, 20, 800, 90}},
    {"${TIME}", {1600, 20, 300, 60}},
    {"${DATE}", {1600, 90, 300, 50}},
    {"Sales grew in every region", {360, 400, 1200, 160}},
    {"North +12%", {20, 700, 400, 60}},
    {"South +8%", {20, 770, 400, 60}},
    {"East +15%", {20, 840, 400, 60}},
    {"West +5%", {20, 910, 400, 60}},
    {"Shared from meeting room 2", {660, 1000, 600, 60}},
    {"Confidential", {1500, 1000, 400, 60}},
};

QString gfDocument()
{
    QString lDocument = QStringLiteral("<overlay margin='20'>");
    for (const Label& lLabel : cLabels) {
        lDocument += QStringLiteral("<UBXOverlayLabel x='%1' y='%2' width='%3' height='%4' "
                                    "text='%5' color='white' backgroundColor='rgba(0,0,0,120)' "
                                    "borderWidth='2' borderColor='#88c0d0' margin='6'/>")
                         .arg(lLabel.mvBox.x() - 20)
                         .arg(lLabel.mvBox.y() - 20)
                         .arg(lLabel.mvBox.width())
                         .arg(lLabel.mvBox.height())
                         .arg(QLatin1String(lLabel.mvText));
    }
    return lDocument + QStringLiteral("<UBXOverlayImage horizontalAlign='right' "
                                      "verticalAlign='bottom' y='100' source='logo.png'/>"
                                      "<UBXOverlayImage x='1500' y='200' width='200' "
                                      "source='chart.png'/></overlay>");
}

QImage gfPicture(QSize aSize)
{
    QImage lImage(aSize, QImage::Format_ARGB32);
    QPainter lPainter(&lImage);
    QLinearGradient lGradient(0, 0, aSize.width(), aSize.height());
    lGradient.setColorAt(0, QColor(136, 192, 208));
    lGradient.setColorAt(1, QColor(46, 52, 64, 200));
    lPainter.fillRect(lImage.rect(), lGradient);
    return lImage;
}

struct Fixture
{
    QTemporaryDir mvDirectory;
    QImage mvScreen;
    QImage mvLogo = gfPicture(QSize(256, 128));
    QImage mvChart = gfPicture(QSize(400, 300));

    Fixture()
    {
        mvLogo.save(mvDirectory.filePath(QStringLiteral("logo.png")));
        mvChart.save(mvDirectory.filePath(QStringLiteral("chart.png")));
        mvScreen.load(QStringLiteral(BEAMORA_DATA_DIR "/screens/mixed-1.png"));
        mvScreen.convertTo(QImage::Format_ARGB32_Premultiplied);
    }
};

Fixture& gfFixture()
{
    static Fixture sFixture;
    return sFixture;
}

void BM_OverlayRender(benchmark::State& aState)
{
    Fixture& lFixture = gfFixture();
    if (lFixture.mvScreen.isNull()) {
        aState.SkipWithError("screens/mixed-1.png not found under BEAMORA_DATA_DIR");
        return;
    }
    UBXOverlay lOverlay;
    QString lError;
    int lLine = 0;
    int lColumn = 0;
    if (!lOverlay.mpLoad(gfDocument().toUtf8(), lError, lLine, lColumn)) {
        aState.SkipWithError(qPrintable(lError));
        return;
    }
    lOverlay.mpSetSourceDirectory(lFixture.mvDirectory.path());
    for (auto lUnused : aState)
        lOverlay.mpRender(&lFixture.mvScreen);
    if (!lOverlay.mfGetErrors().isEmpty())
        aState.SkipWithError(qPrintable(lOverlay.mfGetErrors().join(QLatin1Char('\n'))));
}
BENCHMARK(BM_OverlayRender)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);

// The yardstick: the same painting with nothing to read, search or load.
void BM_HandPainted(benchmark::State& aState)
{
    Fixture& lFixture = gfFixture();
    if (lFixture.mvScreen.isNull()) {
        aState.SkipWithError("screens/mixed-1.png not found under BEAMORA_DATA_DIR");
        return;
    }
    // The fonts the overlay chooses, found once here by trying every size.
    QList<QFont> lFonts;
    for (const Label& lLabel : cLabels) {
        QFont lFont;
        const QSize lArea = lLabel.mvBox.adjusted(8, 8, -8, -8).size();
        for (int lSize = 1;; ++lSize) {
            lFont.setPixelSize(lSize + 1);
            const QSize lText = QFontMetrics(lFont).size(0, QLatin1String(lLabel.mvText));
            if (lText.width() > lArea.width() || lText.height() > lArea.height()) {
                lFont.setPixelSize(lSize);
                break;
            }
        }
        lFonts << lFont;
    }
    for (auto lUnused : aState) {
        QPainter lPainter(&lFixture.mvScreen);
        lPainter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        lPainter.setPen(Qt::white);
        for (qsizetype lIndex = 0; lIndex < lFonts.size(); ++lIndex) {
            const Label& lLabel = cLabels[lIndex];
            lPainter.fillRect(lLabel.mvBox, QColor(0, 0, 0, 120));
            lPainter.fillRect(lLabel.mvBox.adjusted(0, 0, 0, 2 - lLabel.mvBox.height()),
                              QColor(136, 192, 208));
            lPainter.fillRect(lLabel.mvBox.adjusted(0, lLabel.mvBox.height() - 2, 0, 0),
                              QColor(136, 192, 208));
            lPainter.fillRect(lLabel.mvBox.adjusted(0, 2, 2 - lLabel.mvBox.width(), -2),
                              QColor(136, 192, 208));
            lPainter.fillRect(lLabel.mvBox.adjusted(lLabel.mvBox.width() - 2, 2, 0, -2),
                              QColor(136, 192, 208));
            lPainter.setFont(lFonts[lIndex]);
            lPainter.drawText(lLabel.mvBox.adjusted(8, 8, -8, -8), Qt::AlignCenter,
                              QLatin1String(lLabel.mvText));
        }
        lPainter.drawImage(QRect(1644, 832, 256, 128), lFixture.mvLogo);
        lPainter.drawImage(QRect(1520, 220, 200, 150), lFixture.mvChart);
    }
}
BENCHMARK(BM_HandPainted)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication lApplication(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
