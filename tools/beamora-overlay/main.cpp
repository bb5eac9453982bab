// beamora-overlay: paints an overlay document over an image or a transparent
// canvas and writes the PNG, so that overlay authors see what they wrote.
#include "UBXOverlay.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QRegularExpression>

#include <algorithm>

#include <cstdio>

namespace {

constexpr int cUsageStatus = 2;
constexpr int cFailureStatus = 1;
// Larger canvases are refused as arguments rather than failing to allocate.
constexpr int cMaxCanvasExtent = 16384;

int gfUsage(const QString& aProblem)
{
    std::fprintf(stderr,
                 "beamora-overlay: %s\n"
                 "usage: beamora-overlay render DOC.xml [--background IMAGE | --size WxH]\n"
                 "                       [--key COLOR --replace COLOR] -o OUT.png\n"
                 "Without --background the canvas is transparent, 1920x1080 unless --size "
                 "says otherwise.\n",
                 qPrintable(aProblem));
    return cUsageStatus;
}

int gfFailure(const QString& aMessage)
{
    std::fprintf(stderr, "beamora-overlay: %s\n", qPrintable(aMessage));
    return cFailureStatus;
}

} // namespace

int main(int argc, char* argv[])
{
    // Rendering needs fonts but never a screen.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication lApplication(argc, argv);
    QStringList lArguments = QCoreApplication::arguments().mid(1);
    if (lArguments.size() < 2 || lArguments.takeFirst() != QLatin1String("render"))
        return gfUsage(QStringLiteral("expected the command render and a document"));
    const QString lDocumentPath = lArguments.takeFirst();

    QString lBackgroundPath, lSizeText, lKeyText, lReplaceText, lOutputPath;
    const QList<QPair<QString, QString*>> lOptions{
        {QStringLiteral("--background"), &lBackgroundPath},
        {QStringLiteral("--size"), &lSizeText},
        {QStringLiteral("--key"), &lKeyText},
        {QStringLiteral("--replace"), &lReplaceText},
        {QStringLiteral("-o"), &lOutputPath}};
    while (!lArguments.isEmpty()) {
        const QString lName = lArguments.takeFirst();
        auto lOption = std::find_if(lOptions.begin(), lOptions.end(),
                                    [&](const auto& aOption) { return aOption.first == lName; });
        if (lOption == lOptions.end())
            return gfUsage(QStringLiteral("unknown argument '%1'").arg(lName));
        if (lArguments.isEmpty() || !lOption->second->isNull())
            return gfUsage(QStringLiteral("%1 needs one value, given once").arg(lName));
        *lOption->second = lArguments.takeFirst();
    }
    if (lOutputPath.isEmpty())
        return gfUsage(QStringLiteral("-o OUT.png is missing"));
    if (!lBackgroundPath.isNull() && !lSizeText.isNull())
        return gfUsage(QStringLiteral("--background and --size exclude each other"));
    if (lKeyText.isNull() != lReplaceText.isNull())
        return gfUsage(QStringLiteral("--key and --replace go together"));
    const QColor lKey = UBXOverlay::mfParseColor(lKeyText);
    const QColor lReplacement = UBXOverlay::mfParseColor(lReplaceText);
    if (!lKeyText.isNull() && (!lKey.isValid() || !lReplacement.isValid()))
        return gfUsage(QStringLiteral("--key and --replace need colours"));
    QSize lSize(1920, 1080);
    if (!lSizeText.isNull()) {
        const QRegularExpressionMatch lMatch =
            QRegularExpression(QStringLiteral("^([0-9]{1,5})x([0-9]{1,5})$")).match(lSizeText);
        lSize = lMatch.hasMatch() ? QSize(lMatch.captured(1).toInt(), lMatch.captured(2).toInt())
                                  : QSize();
        if (lSize.isEmpty() || lSize.width() > cMaxCanvasExtent ||
            lSize.height() > cMaxCanvasExtent)
            return gfUsage(
                QStringLiteral("--size needs WxH, each from 1 to %1 pixels").arg(cMaxCanvasExtent));
    }

    QFile lDocumentFile(lDocumentPath);
    if (!lDocumentFile.open(QIODevice::ReadOnly))
        return gfFailure(QStringLiteral("%1: %2").arg(lDocumentPath, lDocumentFile.errorString()));
    // One byte more than the limit is enough for the overlay to refuse it.
    const QByteArray lText = lDocumentFile.read(UBXOverlay::cMaxDocumentBytes + 1);
    UBXOverlay lOverlay;
    QString lError;
    int lLine = 0;
    int lColumn = 0;
    if (!lOverlay.mpLoad(lText, lError, lLine, lColumn))
        return gfFailure(
            QStringLiteral("%1:%2:%3: %4").arg(lDocumentPath).arg(lLine).arg(lColumn).arg(lError));

    QImage lImage;
    if (lBackgroundPath.isNull()) {
        lImage = QImage(lSize, QImage::Format_ARGB32_Premultiplied);
        lImage.fill(Qt::transparent);
    } else if (!lImage.load(lBackgroundPath)) {
        return gfFailure(QStringLiteral("%1: not a readable image").arg(lBackgroundPath));
    } else {
        lImage.convertTo(QImage::Format_ARGB32_Premultiplied);
    }

    if (!lKeyText.isNull()) {
        lOverlay.mpSetKeyColor(lKey);
        lOverlay.mpSetReplacementColor(lReplacement);
    }
    lOverlay.mpSetSourceDirectory(QFileInfo(lDocumentPath).absolutePath());
    lOverlay.mpRender(&lImage);
    for (const QString& lMessage : lOverlay.mfGetErrors())
        std::fprintf(stderr, "%s\n", qPrintable(lMessage));
    if (!lImage.save(lOutputPath, "PNG"))
        return gfFailure(QStringLiteral("%1: could not write the PNG").arg(lOutputPath));
    return 0;
}
