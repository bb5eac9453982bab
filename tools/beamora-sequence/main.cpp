// beamora-sequence: packs a directory of images into a sequence file, unpacks
// one into numbered PNG files, and describes one.

#include "ImageSequence.h"

#include <QCoreApplication>
#include <QDir>
#include <QImageWriter>
#include <QRegularExpression>
#include <QTextStream>

#include <optional>

namespace {
constexpr int sFailure = 1;
constexpr int sUsage = 2;

const char* const sUsageText =
    "usage: beamora-sequence pack DIR --rate FPS [--format PNG|JPG|...] [--scale WxH] [--mirror]"
    " -o FILE\n"
    "       beamora-sequence unpack FILE DIR\n"
    "       beamora-sequence info FILE\n";

int gfUsage(const QString& aProblem)
{
    QTextStream(stderr) << "beamora-sequence: " << aProblem << '\n' << sUsageText;
    return sUsage;
}

int gfFail(const QString& aPlace, const QString& aProblem)
{
    QTextStream(stderr) << "beamora-sequence: " << aPlace << ": " << aProblem << '\n';
    return sFailure;
}

// The options after "pack DIR"; a usage message names the first bad one.
struct PackOptions
{
    float mvRate = 0.0f;
    QString mvFormat = QStringLiteral("PNG");
    std::optional<QSize> mvScale;
    bool mvMirror = false;
    QString mvOutput;
};

std::optional<PackOptions> gfParsePack(const QStringList& aArgs, QString& aProblem)
{
    PackOptions lOptions;
    for (int lIndex = 0; lIndex < aArgs.size(); ++lIndex) {
        const QString& lArg = aArgs.at(lIndex);
        if (lArg == QLatin1String("--mirror")) {
            lOptions.mvMirror = true;
            continue;
        }
        if (lIndex + 1 >= aArgs.size()) {
            aProblem = QStringLiteral("unknown option or missing value: ") + lArg;
            return std::nullopt;
        }
        const QString& lValue = aArgs.at(++lIndex);
        if (lArg == QLatin1String("--rate")) {
            bool lOk = false;
            lOptions.mvRate = lValue.toFloat(&lOk);
            if (!lOk || !(lOptions.mvRate > 0.0f) || lOptions.mvRate > 1000.0f) {
                aProblem = QStringLiteral("--rate needs frames per second above 0, at most 1000");
                return std::nullopt;
            }
        } else if (lArg == QLatin1String("--format")) {
            lOptions.mvFormat = lValue;
            if (!QImageWriter::supportedImageFormats().contains(lValue.toLower().toLatin1())) {
                aProblem = QStringLiteral("cannot write image format ") + lValue;
                return std::nullopt;
            }
        } else if (lArg == QLatin1String("--scale")) {
            const QRegularExpressionMatch lMatch =
                QRegularExpression(QStringLiteral("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$"))
                    .match(lValue);
            if (!lMatch.hasMatch()) {
                aProblem = QStringLiteral("--scale needs WxH, for example 64x48");
                return std::nullopt;
            }
            lOptions.mvScale = QSize(lMatch.captured(1).toInt(), lMatch.captured(2).toInt());
        } else if (lArg == QLatin1String("-o")) {
            lOptions.mvOutput = lValue;
        } else {
            aProblem = QStringLiteral("unknown option ") + lArg;
            return std::nullopt;
        }
    }
    if (lOptions.mvRate == 0.0f || lOptions.mvOutput.isEmpty()) {
        aProblem = QStringLiteral("pack needs --rate and -o");
        return std::nullopt;
    }
    return lOptions;
}

int gfPack(const QString& aDir, const QStringList& aArgs)
{
    QString lProblem;
    const std::optional<PackOptions> lOptions = gfParsePack(aArgs, lProblem);
    if (!lOptions)
        return gfUsage(lProblem);
    ImageSequence lSequence;
    if (!lSequence.mfLoadFromDirectory(aDir, lOptions->mvRate))
        return gfFail(aDir, QStringLiteral("no such directory"));
    if (lSequence.mfGetFrameCount() == 0)
        return gfFail(aDir, QStringLiteral("holds no readable images"));
    if (lOptions->mvScale)
        lSequence.mpScaleFrames(*lOptions->mvScale);
    if (lOptions->mvMirror)
        lSequence.mpMirrorFrames();
    if (!lSequence.mfSaveToFile(lOptions->mvOutput, lOptions->mvFormat))
        return gfFail(lOptions->mvOutput, QStringLiteral("cannot be written"));
    QTextStream(stdout) << lOptions->mvOutput << ": " << lSequence.mfGetFrameCount() << " frames\n";
    return 0;
}

bool gfLoad(ImageSequence& aSequence, const QString& aFile, int& aStatus)
{
    if (!QFileInfo(aFile).isReadable()) {
        aStatus = gfFail(aFile, QStringLiteral("cannot be read"));
        return false;
    }
    if (!aSequence.mfLoadFromFile(aFile)) {
        aStatus = gfFail(aFile, QStringLiteral("not a sequence file, or a broken, truncated or "
                                               "oversized one"));
        return false;
    }
    return true;
}

int gfUnpack(const QString& aFile, const QString& aDir)
{
    ImageSequence lSequence;
    int lStatus = 0;
    if (!gfLoad(lSequence, aFile, lStatus))
        return lStatus;
    if (!QDir().mkpath(aDir))
        return gfFail(aDir, QStringLiteral("cannot create the directory"));
    for (int lIndex = 0; lIndex < lSequence.mfGetFrameCount(); ++lIndex) {
        const QString lName = QDir(aDir).filePath(
            QStringLiteral("frame-%1.png").arg(lIndex + 1, 4, 10, QLatin1Char('0')));
        if (!lSequence.mfGetFrame(lIndex).save(lName, "PNG"))
            return gfFail(lName, QStringLiteral("cannot be written"));
    }
    QTextStream(stdout) << aDir << ": " << lSequence.mfGetFrameCount() << " frames\n";
    return 0;
}

int gfInfo(const QString& aFile)
{
    ImageSequence lSequence;
    int lStatus = 0;
    if (!gfLoad(lSequence, aFile, lStatus))
        return lStatus;
    const QSize lSize = lSequence.mfGetFrame(0).size();
    QTextStream(stdout) << "file: " << aFile << '\n'
                        << "rate: " << lSequence.mfGetFrameRate() << " fps\n"
                        << "frames: " << lSequence.mfGetFrameCount() << '\n'
                        << "format: " << lSequence.mfGetFormatName() << '\n'
                        << "frame size: " << lSize.width() << 'x' << lSize.height() << '\n'
                        << "duration: " << lSequence.mfGetDuration() << " ms\n";
    return 0;
}
} // namespace

int main(int aArgc, char** aArgv)
{
    QCoreApplication lApplication(aArgc, aArgv);
    const QStringList lArgs = lApplication.arguments().mid(1);
    const QString lCommand = lArgs.value(0);
    if (lCommand == QLatin1String("pack") && lArgs.size() >= 2)
        return gfPack(lArgs.at(1), lArgs.mid(2));
    if (lCommand == QLatin1String("unpack") && lArgs.size() == 3)
        return gfUnpack(lArgs.at(1), lArgs.at(2));
    if (lCommand == QLatin1String("info") && lArgs.size() == 2)
        return gfInfo(lArgs.at(1));
    return gfUsage(lCommand.isEmpty() ? QStringLiteral("no command")
                                      : QStringLiteral("bad command or arguments: ") + lCommand);
}
