#ifndef IMAGESEQUENCE_H
#define IMAGESEQUENCE_H

#include "UIExport.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QVector>

class QDataStream;
class QTimer;

// The frames of a short animation, played at a frame rate, forward or
// backward, once or in a loop. A 10 ms tick looks at the time since
// mpStart() and emits sgFrameChanged() when the frame to show changed.
//
// Sequence file: a data stream record at version Qt_4_8 (marker qint8 1, rate
// as double, frame count qint32, image format name as QString, then one byte
// array per frame, encoded in that format), compressed at level 9 in the
// qCompress layout (4-byte big-endian uncompressed length, zlib stream).
// Files from outside are hostile. A record that claims more than
// mcMaxRecordBytes, or a zlib stream that proves broken, truncated or longer
// than it claims, fails the load. The record is inflated only as far as it is
// read, and the stream's status, not the frame count, ends the frame loop,
// after at most mcMaxFrames frames. Frames that do not decode in the named
// format, or would take the decoded frames beyond mcMaxFrameBytes, are
// dropped.
class UI_EXPORT ImageSequence : public QObject
{
    Q_OBJECT
public:
    static constexpr qsizetype mcMaxRecordBytes = 16 * 1024 * 1024;
    static constexpr qint64 mcMaxFrameBytes = 128 * 1024 * 1024;
    static constexpr qint32 mcMaxFrames = 1024;

    explicit ImageSequence(QObject* apParent = nullptr);
    ~ImageSequence() override;

    // Needs a frame interval of at least 1 ms (a rate from above 0 to 1000);
    // otherwise it logs a warning and does not start.
    void mpStart();
    // Stops the tick timer only; the current frame stays.
    void mpStop();
    // The tick's work for a given time since mpStart(), so that a test can
    // drive the sequence with a clock of its own.
    void mpAdvanceTo(qint64 aElapsedMs);

    // Interval: 1000 / rate truncated, 0 when the rate is not above 0.
    void mpSetFrameRate(float aFrameRate);
    float mfGetFrameRate() const { return mvFrameRate; }
    void mpSetLoop(bool abLoop) { mvLoop = abLoop; }
    bool mfGetLoop() const { return mvLoop; }
    void mpSetReverse(bool abReverse) { mvReverse = abReverse; }
    bool mfGetReverse() const { return mvReverse; }
    int mfGetFrameInterval() const { return mvFrameInterval; }

    // (current frame + 1) * 100 / frame count; 0 without frames.
    float mfGetProgress() const;
    // Frame = integer part of percent / 100 * (frame count - 1), kept within
    // the frames; emits sgFrameChanged() when that changes the frame.
    void mpSetProgress(float aPercent);
    // Frame count * 1000 / rate in ms, truncated; 0 when the rate is not
    // above 0.
    int mfGetDuration() const;

    int mfGetFrameCount() const { return static_cast<int>(mvFrames.size()); }
    int mfGetCurrentFrame() const { return mvCurrentFrame; }
    // A null image when there are no frames.
    QImage mfGetCurrentImage() const;
    QImage mfGetFrame(int aIndex) const;
    // The image format name of the last loaded sequence; empty otherwise.
    QString mfGetFormatName() const { return mvFormatName; }

    void mpAddFrame(const QImage& aImage);
    // Exactly aSize whatever the proportions, smooth filtering.
    void mpScaleFrames(const QSize& aSize);
    // Horizontal mirror.
    void mpMirrorFrames();
    // Stops the timer, removes the frames, rate back to 30.
    void mpClear();

    // Files only, by name; those that do not load as images are skipped.
    // False when the directory does not exist.
    bool mfLoadFromDirectory(const QString& aPath, float aFrameRate);
    // The uncompressed record. False without frames.
    bool mfSaveToData(QByteArray& aData, const QString& aFormatName) const;
    bool mfLoadFromData(const QByteArray& aData);
    // The compressed record, as stored in a sequence file.
    bool mfLoadFromCompressedData(const QByteArray& aData);
    // False without frames (the file is then not touched).
    bool mfSaveToFile(const QString& aFileName, const QString& aFormatName) const;
    bool mfLoadFromFile(const QString& aFileName);

Q_SIGNALS:
    void sgFrameChanged();
    void sgSequenceFinished();

public Q_SLOTS:
    void mpOnTimeout();

private:
    // Frames are read until the count, mcMaxFrames or the stream's status
    // ends the loop.
    void mpReadRecord(QDataStream& aIn);

    float mvFrameRate = 30.0f;
    bool mvLoop = true;
    bool mvReverse = false;
    QVector<QImage> mvFrames;
    qint32 mvCurrentFrame = 0;
    qint32 mvFrameInterval = 33;
    QTimer* mvTimer;
    QElapsedTimer mvClock;
    QString mvFormatName;
};

#endif
