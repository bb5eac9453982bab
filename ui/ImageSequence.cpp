#include "ImageSequence.h"

#include "ICLoggerModel.h"
#include "SequenceInflater_p.h"

#include <QBuffer>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QTimer>

#include <algorithm>
#include <climits>
#include <cmath>

namespace {
constexpr int sTickMs = 10;

// 1000 * aCount / aFrameRate in ms, truncated; 0 when the rate is not above 0
// and INT_MAX when the result would not fit (a rate read from a file can be
// anything).
int gfMilliseconds(int aCount, float aFrameRate)
{
    if (!(aFrameRate > 0.0f))
        return 0;
    const float lMs = static_cast<float>(aCount) * 1000.0f / aFrameRate;
    return lMs < static_cast<float>(INT_MAX) ? static_cast<int>(lMs) : INT_MAX;
}

} // namespace

ImageSequence::ImageSequence(QObject* apParent) : QObject(apParent), mvTimer(new QTimer(this))
{
    mvTimer->setInterval(sTickMs);
    connect(mvTimer, &QTimer::timeout, this, &ImageSequence::mpOnTimeout);
}

ImageSequence::~ImageSequence()
{
    mpClear();
}

void ImageSequence::mpStart()
{
    // The tick divides by the interval.
    if (mvFrameInterval < 1) {
        ICLoggerModel::instance()->mpLog(
            Warn, QStringLiteral("[ImageSequence::mpStart] Frame rate %1 cannot be played.")
                      .arg(double(mvFrameRate)));
        return;
    }
    mvClock.start();
    mvCurrentFrame = 0;
    mvTimer->start();
}

void ImageSequence::mpStop()
{
    mvTimer->stop();
}

void ImageSequence::mpOnTimeout()
{
    mpAdvanceTo(mvClock.elapsed());
}

void ImageSequence::mpAdvanceTo(qint64 aElapsedMs)
{
    if (mvFrameInterval < 1)
        return;
    const qint64 lFrame = aElapsedMs / mvFrameInterval;
    if (lFrame == mvCurrentFrame)
        return;
    const qint64 lCount = mvFrames.size();
    if (mvReverse) {
        // The clock is not restarted: a looping reverse sequence stays on
        // frame 0 once it got there.
        if (lCount - lFrame > 0) {
            mvCurrentFrame = qint32(lCount - lFrame);
            emit sgFrameChanged();
        } else {
            mvCurrentFrame = 0;
            if (mvLoop) {
                emit sgFrameChanged();
            } else {
                mvTimer->stop();
                emit sgSequenceFinished();
            }
        }
    } else if (lFrame < lCount) {
        mvCurrentFrame = qint32(lFrame);
        emit sgFrameChanged();
    } else if (mvLoop) {
        mvCurrentFrame = qint32(lFrame % lCount);
        emit sgFrameChanged();
    } else {
        mvCurrentFrame = 0;
        mvTimer->stop();
        emit sgSequenceFinished();
    }
}

void ImageSequence::mpSetFrameRate(float aFrameRate)
{
    if (aFrameRate == mvFrameRate)
        return;
    mvFrameRate = aFrameRate;
    mvFrameInterval = gfMilliseconds(1, aFrameRate);
}

float ImageSequence::mfGetProgress() const
{
    if (mvFrames.isEmpty())
        return 0.0f;
    return float(mvCurrentFrame + 1) * 100.0f / float(mvFrames.size());
}

void ImageSequence::mpSetProgress(float aPercent)
{
    if (mvFrames.isEmpty())
        return;
    const float lLast = float(mvFrames.size() - 1);
    const float lFrame = std::clamp(aPercent / 100.0f * lLast, 0.0f, lLast);
    const qint32 lNew = std::isnan(lFrame) ? 0 : qint32(lFrame);
    if (lNew == mvCurrentFrame)
        return;
    mvCurrentFrame = lNew;
    emit sgFrameChanged();
}

int ImageSequence::mfGetDuration() const
{
    return gfMilliseconds(mfGetFrameCount(), mvFrameRate);
}

QImage ImageSequence::mfGetCurrentImage() const
{
    return mfGetFrame(mvCurrentFrame);
}

QImage ImageSequence::mfGetFrame(int aIndex) const
{
    if (aIndex < 0 || aIndex >= mvFrames.size())
        return {};
    return mvFrames.at(aIndex);
}

void ImageSequence::mpAddFrame(const QImage& aImage)
{
    mvFrames.append(aImage.copy());
}

void ImageSequence::mpScaleFrames(const QSize& aSize)
{
    for (QImage& lFrame : mvFrames)
        lFrame = lFrame.scaled(aSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    emit sgFrameChanged();
}

void ImageSequence::mpMirrorFrames()
{
    for (QImage& lFrame : mvFrames)
        lFrame = lFrame.mirrored(true, false);
    emit sgFrameChanged();
}

void ImageSequence::mpClear()
{
    mvTimer->stop();
    mvFrames.clear();
    mvCurrentFrame = 0;
    mvFormatName.clear();
    mpSetFrameRate(30.0f);
}

bool ImageSequence::mfLoadFromDirectory(const QString& aPath, float aFrameRate)
{
    mpClear();
    mpSetFrameRate(aFrameRate);
    const QDir lDir(aPath);
    if (!lDir.exists())
        return false;
    const QFileInfoList lEntries =
        lDir.entryInfoList({QStringLiteral("*")}, QDir::Files, QDir::Name);
    for (const QFileInfo& lEntry : lEntries) {
        const QImage lImage(lEntry.absoluteFilePath());
        if (!lImage.isNull())
            mvFrames.append(lImage);
    }
    return true;
}

bool ImageSequence::mfSaveToData(QByteArray& aData, const QString& aFormatName) const
{
    if (mvFrames.isEmpty())
        return false;
    QBuffer lBuffer(&aData);
    if (!lBuffer.open(QIODevice::WriteOnly))
        return false;
    QDataStream lOut(&lBuffer);
    lOut.setVersion(QDataStream::Qt_4_8);
    const QByteArray lFormat = aFormatName.toLatin1();
    lOut << qint8(1) << double(mvFrameRate) << qint32(mvFrames.size()) << aFormatName;
    for (const QImage& lFrame : mvFrames) {
        QByteArray lEncoded;
        QBuffer lFrameBuffer(&lEncoded);
        lFrameBuffer.open(QIODevice::WriteOnly);
        lFrame.save(&lFrameBuffer, lFormat.constData());
        lOut << lEncoded;
    }
    return true;
}

bool ImageSequence::mfLoadFromData(const QByteArray& aData)
{
    mpClear();
    QDataStream lIn(aData);
    mpReadRecord(lIn);
    return true;
}

bool ImageSequence::mfLoadFromCompressedData(const QByteArray& aData)
{
    mpClear();
    SequenceInflater lInflater(aData, mcMaxRecordBytes);
    if (!lInflater.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    QDataStream lIn(&lInflater);
    mpReadRecord(lIn);
    if (lInflater.mfIsIntact())
        return true;
    mpClear();
    return false;
}

void ImageSequence::mpReadRecord(QDataStream& aIn)
{
    aIn.setVersion(QDataStream::Qt_4_8);
    qint8 lMarker = 0;
    double lRate = 0.0;
    qint32 lCount = 0;
    QString lFormatName;
    aIn >> lMarker >> lRate >> lCount >> lFormatName;
    mpSetFrameRate(float(lRate));
    mvFormatName = lFormatName;
    const QByteArray lFormat = lFormatName.toLatin1();
    qint64 lFrameBytes = 0;
    const qint32 lReadable = std::min(lCount, mcMaxFrames);
    for (qint32 lIndex = 0; lIndex < lReadable && aIn.status() == QDataStream::Ok; ++lIndex) {
        QByteArray lEncoded;
        aIn >> lEncoded;
        if (aIn.status() != QDataStream::Ok)
            break;
        if (lEncoded.isEmpty())
            continue;
        QBuffer lBuffer(&lEncoded);
        lBuffer.open(QIODevice::ReadOnly);
        // Only the named format: probing every other format for each broken
        // frame would make a file of tiny frames slow.
        QImageReader lReader(&lBuffer, lFormat);
        lReader.setAutoDetectImageFormat(false);
        // The header's size, when the format gives one, keeps a small frame
        // that claims a huge picture from being allocated.
        const QSize lSize = lReader.size();
        if (lSize.isValid() &&
            lFrameBytes + 4 * qint64(lSize.width()) * lSize.height() > mcMaxFrameBytes)
            continue;
        const QImage lImage = lReader.read();
        if (lImage.isNull() || lFrameBytes + lImage.sizeInBytes() > mcMaxFrameBytes)
            continue;
        lFrameBytes += lImage.sizeInBytes();
        mvFrames.append(lImage);
    }
}

bool ImageSequence::mfSaveToFile(const QString& aFileName, const QString& aFormatName) const
{
    if (mvFrames.isEmpty())
        return false;
    QFile lFile(aFileName);
    if (!lFile.open(QIODevice::WriteOnly))
        return false;
    QByteArray lRecord;
    mfSaveToData(lRecord, aFormatName);
    const QByteArray lCompressed = qCompress(lRecord, 9);
    const bool lWritten = lFile.write(lCompressed) == lCompressed.size();
    lFile.close();
    return lWritten;
}

bool ImageSequence::mfLoadFromFile(const QString& aFileName)
{
    mpClear();
    QFile lFile(aFileName);
    if (!lFile.open(QIODevice::ReadOnly))
        return false;
    const QByteArray lData = lFile.readAll();
    lFile.close();
    return mfLoadFromCompressedData(lData);
}
