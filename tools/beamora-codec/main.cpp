// beamora-codec: encodes a sequence of screen images into a stream of hybrid
// codec frames, decodes such a stream back into images, and lists its blocks.
// The stream file holds one record per frame: a 4-byte big-endian length L,
// then the L bytes the codec's output held after mpEndFrame.

#include "UBXChangedRegion.h"
#include "UBXFrameUpdate.h"
#include "UBXHybridCodec.h"
#include "UBXScreenGrabberImage.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImageReader>
#include <QTextStream>
#include <QtEndian>

#include <optional>

namespace {
constexpr int sFailure = 1;
constexpr int sUsage = 2;
// Every line of every tile is compared between successive images.
constexpr int sChangePasses = 32;

const char* const sUsageText =
    "usage: beamora-codec encode [--tile N] [--quality-new Q] [--quality-refresh Q]\n"
    "                            [--mode hybrid|jpeg|png] [--compress] [--sequential]\n"
    "                            [--verbose] -o STREAM FRAME.png...\n"
    "       beamora-codec decode [--compress] [--sequential] [--verbose] [--all]\n"
    "                            -o OUT.png|DIR STREAM\n"
    "       beamora-codec info [--compress] STREAM\n";

int gfUsage(const QString& aProblem)
{
    QTextStream(stderr) << "beamora-codec: " << aProblem << '\n' << sUsageText;
    return sUsage;
}

int gfFail(const QString& aPlace, const QString& aProblem)
{
    QTextStream(stderr) << "beamora-codec: " << aPlace << ": " << aProblem << '\n';
    return sFailure;
}

struct Options
{
    int mvTile = 128;
    int mvQualityNew = 50;
    int mvQualityRefresh = 75;
    UBXHybridCodec::TileMode mvMode = UBXHybridCodec::HybridTiles;
    bool mvCompress = false;
    bool mvSequential = false;
    bool mvVerbose = false;
    bool mvAll = false;
    QString mvOutput;
    QStringList mvInputs;
};

std::optional<int> gfNumber(const QString& aText, int aLowest, int aHighest)
{
    bool lOk = false;
    const int lValue = aText.toInt(&lOk);
    if (!lOk || lValue < aLowest || lValue > aHighest)
        return std::nullopt;
    return lValue;
}

// The options of one command; aProblem names the first bad argument.
std::optional<Options> gfParse(const QString& aCommand, const QStringList& aArgs, QString& aProblem)
{
    Options lOptions;
    const bool lEncode = aCommand == QLatin1String("encode");
    const bool lInfo = aCommand == QLatin1String("info");
    for (int lIndex = 0; lIndex < aArgs.size(); ++lIndex) {
        const QString& lArg = aArgs.at(lIndex);
        if (lArg == QLatin1String("--compress")) {
            lOptions.mvCompress = true;
        } else if (!lInfo && lArg == QLatin1String("--sequential")) {
            lOptions.mvSequential = true;
        } else if (!lInfo && lArg == QLatin1String("--verbose")) {
            lOptions.mvVerbose = true;
        } else if (aCommand == QLatin1String("decode") && lArg == QLatin1String("--all")) {
            lOptions.mvAll = true;
        } else if (!lArg.startsWith(QLatin1String("--")) && lArg != QLatin1String("-o")) {
            lOptions.mvInputs << lArg;
        } else if (lIndex + 1 >= aArgs.size() || (lInfo && lArg == QLatin1String("-o"))) {
            aProblem = QStringLiteral("unknown option or missing value: ") + lArg;
            return std::nullopt;
        } else {
            const QString& lValue = aArgs.at(++lIndex);
            std::optional<int> lNumber;
            if (lArg == QLatin1String("-o")) {
                lOptions.mvOutput = lValue;
                continue;
            }
            if (lEncode && lArg == QLatin1String("--mode")) {
                const QStringList lModes{"hybrid", "jpeg", "png"};
                if (!lModes.contains(lValue)) {
                    aProblem = QStringLiteral("unknown mode: ") + lValue;
                    return std::nullopt;
                }
                lOptions.mvMode = UBXHybridCodec::TileMode(lModes.indexOf(lValue));
                continue;
            }
            if (lEncode && lArg == QLatin1String("--tile") && (lNumber = gfNumber(lValue, 8, 1024)))
                lOptions.mvTile = *lNumber;
            else if (lEncode && lArg == QLatin1String("--quality-new") &&
                     (lNumber = gfNumber(lValue, 0, 100)))
                lOptions.mvQualityNew = *lNumber;
            else if (lEncode && lArg == QLatin1String("--quality-refresh") &&
                     (lNumber = gfNumber(lValue, 0, 100)))
                lOptions.mvQualityRefresh = *lNumber;
            else {
                aProblem = QStringLiteral("bad option or value: ") + lArg + ' ' + lValue;
                return std::nullopt;
            }
        }
    }
    if (lInfo ? !lOptions.mvOutput.isEmpty() : lOptions.mvOutput.isEmpty())
        aProblem = lInfo ? QStringLiteral("info takes no -o") : QStringLiteral("-o is missing");
    else if (lOptions.mvInputs.isEmpty() || (!lEncode && lOptions.mvInputs.size() != 1))
        aProblem = lEncode ? QStringLiteral("no images given")
                           : QStringLiteral("exactly one stream is expected");
    if (!aProblem.isEmpty())
        return std::nullopt;
    return lOptions;
}

int gfEncode(const Options& aOptions)
{
    QFile lStream(aOptions.mvOutput);
    if (!lStream.open(QIODevice::WriteOnly))
        return gfFail(aOptions.mvOutput, lStream.errorString());
    UBXHybridCodec lCodec;
    lCodec.mpSetTileSize(aOptions.mvTile);
    lCodec.mpSetNewQuality(aOptions.mvQualityNew);
    lCodec.mpSetRefreshQuality(aOptions.mvQualityRefresh);
    lCodec.mpSetTileMode(aOptions.mvMode);
    lCodec.mpSetCompress(aOptions.mvCompress);
    lCodec.mpSetParallel(!aOptions.mvSequential && lCodec.mfIsParallel());
    // Two grab buffers: the current image and the one before it.
    UBXScreenGrabberImage lGrabs[2] = {UBXScreenGrabberImage(0), UBXScreenGrabberImage(0)};
    for (int lFrame = 0; lFrame < aOptions.mvInputs.size(); ++lFrame) {
        const QString& lPath = aOptions.mvInputs.at(lFrame);
        const QImage lImage(lPath);
        if (lImage.isNull())
            return gfFail(lPath, QStringLiteral("not a readable image"));
        if (lImage.width() > UBXHybridCodec::gcMaxCanvasSide ||
            lImage.height() > UBXHybridCodec::gcMaxCanvasSide)
            return gfFail(lPath, QStringLiteral("larger than 16384 pixels on a side"));
        UBXScreenGrabberImage& lCurrent = lGrabs[lFrame % 2];
        const UBXScreenGrabberImage& lPrevious = lGrabs[(lFrame + 1) % 2];
        if (lFrame > 0 && lImage.size() != lPrevious.mfGetSize())
            return gfFail(lPath, QStringLiteral("size differs from the first image"));
        if (!lCurrent.mfSetFromQImage(lImage))
            return gfFail(lPath, QStringLiteral("out of memory"));
        QElapsedTimer lTimer;
        lTimer.start();
        const QRegion lChanged =
            lFrame == 0
                ? QRegion(lImage.rect())
                : gfGetChangedRegion(sChangePasses, lCurrent.mfGetData(), lPrevious.mfGetData(),
                                     lImage.width(), lImage.height(), 4);
        lCodec.mpBeginFrame(lImage.width(), lImage.height());
        lCodec.mpEncodeRegion(&lCurrent, lChanged);
        lCodec.mpEndFrame();
        const QByteArray& lBytes = *lCodec.mfGetOutput();
        char lLength[4];
        qToBigEndian(quint32(lBytes.size()), lLength);
        if (lStream.write(lLength, 4) != 4 || lStream.write(lBytes) != lBytes.size())
            return gfFail(aOptions.mvOutput, lStream.errorString());
        if (aOptions.mvVerbose)
            QTextStream(stderr) << "frame " << lFrame + 1 << ": " << lBytes.size() << " bytes, "
                                << lTimer.nsecsElapsed() / 1e6 << " ms, run-length "
                                << lCodec.mfGetRlePixels() << " px, jpeg "
                                << lCodec.mfGetJpegPixels() << " px, png "
                                << lCodec.mfGetPngPixels() << " px\n";
    }
    return 0;
}

// The frame records of a stream file; aProblem tells where the records end
// early.
QVector<QByteArray> gfReadRecords(const QByteArray& aFile, QVector<qint64>& aOffsets,
                                  QString& aProblem)
{
    QVector<QByteArray> lRecords;
    qint64 lPos = 0;
    while (lPos < aFile.size()) {
        const quint32 lLength =
            aFile.size() - lPos >= 4 ? qFromBigEndian<quint32>(aFile.constData() + lPos) : 0;
        if (aFile.size() - lPos < 4 || lLength > quint64(aFile.size() - lPos - 4)) {
            aProblem = QStringLiteral("frame %1 at byte %2: record cut short")
                           .arg(lRecords.size() + 1)
                           .arg(lPos);
            break;
        }
        aOffsets << lPos;
        lRecords << aFile.mid(lPos + 4, lLength);
        lPos += 4 + lLength;
    }
    return lRecords;
}

int gfDecode(const Options& aOptions)
{
    const QString& lPath = aOptions.mvInputs.first();
    QFile lFile(lPath);
    if (!lFile.open(QIODevice::ReadOnly))
        return gfFail(lPath, lFile.errorString());
    QVector<qint64> lOffsets;
    QString lProblem;
    const QVector<QByteArray> lRecords = gfReadRecords(lFile.readAll(), lOffsets, lProblem);
    if (aOptions.mvAll && !QDir().mkpath(aOptions.mvOutput))
        return gfFail(aOptions.mvOutput, QStringLiteral("cannot make the folder"));
    UBXHybridCodec lCodec;
    lCodec.mpSetCompress(aOptions.mvCompress);
    lCodec.mpSetParallel(!aOptions.mvSequential && lCodec.mfIsParallel());
    UBXFrameUpdate lTarget;
    for (int lFrame = 0; lFrame < lRecords.size(); ++lFrame) {
        QElapsedTimer lTimer;
        lTimer.start();
        QRegion lDirty;
        lCodec.mpDecode(lRecords.at(lFrame), &lTarget, &lDirty, QRegion());
        const qint64 lError = lCodec.mfGetDecodeErrorOffset();
        if (lError >= 0 && lProblem.isEmpty())
            lProblem = QStringLiteral("frame %1 (record at byte %2): malformed at byte %3 of "
                                      "its data")
                           .arg(lFrame + 1)
                           .arg(lOffsets.at(lFrame))
                           .arg(lError);
        if (aOptions.mvVerbose) {
            qint64 lPixels = 0;
            for (const QRect& lRect : lDirty)
                lPixels += qint64(lRect.width()) * lRect.height();
            QTextStream(stderr) << "frame " << lFrame + 1 << ": " << lRecords.at(lFrame).size()
                                << " bytes, " << lTimer.nsecsElapsed() / 1e6 << " ms, " << lPixels
                                << " px painted\n";
        }
        const QString lOut =
            QDir(aOptions.mvOutput)
                .filePath(QStringLiteral("frame-%1.png").arg(lFrame + 1, 4, 10, QLatin1Char('0')));
        if (aOptions.mvAll && !lCodec.mfGetCanvas()->save(lOut, "PNG"))
            return gfFail(lOut, QStringLiteral("cannot write the image"));
    }
    if (!aOptions.mvAll) {
        if (!lCodec.mfGetCanvas() || lCodec.mfGetCanvas()->isNull())
            return gfFail(lPath,
                          lProblem.isEmpty() ? QStringLiteral("no frame decoded") : lProblem);
        if (!lCodec.mfGetCanvas()->save(aOptions.mvOutput, "PNG"))
            return gfFail(aOptions.mvOutput, QStringLiteral("cannot write the image"));
    }
    return lProblem.isEmpty() ? 0 : gfFail(lPath, lProblem);
}

int gfInfo(const Options& aOptions)
{
    const QString& lPath = aOptions.mvInputs.first();
    QFile lFile(lPath);
    if (!lFile.open(QIODevice::ReadOnly))
        return gfFail(lPath, lFile.errorString());
    QVector<qint64> lOffsets;
    QString lProblem;
    const QVector<QByteArray> lRecords = gfReadRecords(lFile.readAll(), lOffsets, lProblem);
    QTextStream lOut(stdout);
    for (int lFrame = 0; lFrame < lRecords.size() && lProblem.isEmpty(); ++lFrame) {
        const QByteArray lData =
            aOptions.mvCompress ? qUncompress(lRecords.at(lFrame)) : lRecords.at(lFrame);
        QDataStream lStream(lData);
        lStream.setVersion(QDataStream::Qt_4_1);
        qint32 lHeader;
        qint16 lWidth, lHeight;
        lStream >> lHeader >> lWidth >> lHeight;
        lOut << "frame " << lFrame + 1 << ": " << lWidth << "x" << lHeight << ", " << lData.size()
             << " bytes\n";
        while (lStream.status() == QDataStream::Ok && !lStream.atEnd()) {
            const qint64 lBlockStart = lStream.device()->pos();
            qint8 lType;
            qint16 lX, lY, lW, lH;
            lStream >> lType;
            lOut << "frame " << lFrame + 1 << " type " << lType;
            if (lType == 0) {
                quint8 lColors;
                quint16 lSpans;
                lStream >> lX >> lY >> lW >> lH >> lColors;
                lStream.skipRawData(4 * (lColors == 0 ? 256 : lColors));
                lStream >> lSpans;
                lStream.skipRawData(2 * lSpans);
                lOut << " " << lX << "," << lY << " " << lW << "x" << lH << " colours "
                     << (lColors == 0 ? 256 : lColors) << " spans " << lSpans;
            } else if (lType == 1 || lType == 2) {
                qint32 lLength;
                lStream >> lLength >> lX >> lY;
                QByteArray lImage(qBound(0, lLength, int(lData.size())), Qt::Uninitialized);
                if (lStream.readRawData(lImage.data(), lImage.size()) != lLength)
                    lStream.setStatus(QDataStream::ReadPastEnd);
                QBuffer lBuffer(&lImage);
                const QSize lSize = QImageReader(&lBuffer).size();
                lOut << " " << lX << "," << lY << " " << lSize.width() << "x" << lSize.height()
                     << " length " << lLength;
            }
            lOut << '\n';
            if (lStream.status() != QDataStream::Ok)
                lProblem = QStringLiteral("frame %1 (record at byte %2): malformed at byte %3 of "
                                          "its data")
                               .arg(lFrame + 1)
                               .arg(lOffsets.at(lFrame))
                               .arg(lBlockStart);
        }
    }
    lOut.flush();
    return lProblem.isEmpty() ? 0 : gfFail(lPath, lProblem);
}
} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication lApplication(argc, argv);
    QStringList lArgs = lApplication.arguments().mid(1);
    if (lArgs.isEmpty())
        return gfUsage(QStringLiteral("no command given"));
    const QString lCommand = lArgs.takeFirst();
    if (lCommand != QLatin1String("encode") && lCommand != QLatin1String("decode") &&
        lCommand != QLatin1String("info"))
        return gfUsage(QStringLiteral("unknown command: ") + lCommand);
    QString lProblem;
    const std::optional<Options> lOptions = gfParse(lCommand, lArgs, lProblem);
    if (!lOptions)
        return gfUsage(lProblem);
    if (lCommand == QLatin1String("encode"))
        return gfEncode(*lOptions);
    return lCommand == QLatin1String("decode") ? gfDecode(*lOptions) : gfInfo(*lOptions);
}
