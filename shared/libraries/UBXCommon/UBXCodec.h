#ifndef UBXCODEC_H
#define UBXCODEC_H

#include "UBXCommonExport.h"

#include <QByteArray>
#include <QRegion>
#include <QString>

class UBXFrameUpdate;
class UBXScreenGrabberImage;

// A screen codec: turns changed regions of screen grabs into one encoded
// byte array per frame and such arrays back into a picture of the screen.
// Codecs are made by name through gfCreateCodec; one thread uses a codec at
// a time.
class UBXCOMMON_EXPORT UBXCodec
{
public:
    explicit UBXCodec(const QString& aName);
    virtual ~UBXCodec();
    UBXCodec(const UBXCodec&) = delete;
    UBXCodec& operator=(const UBXCodec&) = delete;

    // "HYBRID" (exactly so) gives the hybrid codec; any other name null.
    static UBXCodec* gfCreateCodec(const QString& aName);

    // Starts a frame of a screen of this size (kept as 16-bit values).
    virtual void mpBeginFrame(int aWidth, int aHeight);
    // Finishes the frame: the output then holds its final bytes.
    virtual void mpEndFrame() = 0;
    virtual void mpEncodeRegion(UBXScreenGrabberImage* apSource, const QRegion& aChanged) = 0;
    void mpEncodeRegionByValue(UBXScreenGrabberImage* apSource, QRegion aChanged)
    {
        mpEncodeRegion(apSource, aChanged);
    }
    // Re-sends areas that stayed still in better quality for at most
    // aTimeLimit ms; true when something was sent.
    virtual bool mfUpdateQuality(int aTimeLimit, UBXScreenGrabberImage* apSource) = 0;
    // Paints one encoded frame; apDirty (may be null) receives the painted
    // areas, aClip marks screen areas that stay unpainted.
    virtual void mpDecode(const QByteArray& aInput, UBXFrameUpdate* apTarget, QRegion* apDirty,
                          QRegion aClip) = 0;

    void mpSetSize(qint16 aWidth, qint16 aHeight);
    qint16 mfGetWidth() const { return mvWidth; }
    qint16 mfGetHeight() const { return mvHeight; }
    void mpSetHeaderValue(qint32 aValue) { mvHeaderValue = aValue; }
    qint32 mfGetHeaderValue() const { return mvHeaderValue; }
    void mpSetParallel(bool aParallel) { mvParallel = aParallel; }
    bool mfIsParallel() const { return mvParallel; }
    void mpSetCompress(bool aCompress) { mvCompress = aCompress; }
    bool mfIsCompress() const { return mvCompress; }
    QString mfGetName() const { return mvName; }

    // Settings kept for the users of a codec; the codec itself does not read them.
    void mpSetLevel(float aLevel) { mvLevel = aLevel; }
    float mfGetLevel() const { return mvLevel; }
    void mpSetOption(int aIndex, bool aOn) { mvOptions[aIndex] = aOn; }
    bool mfGetOption(int aIndex) const { return mvOptions[aIndex]; }
    void mpSetDescription(const QString& aDescription) { mvDescription = aDescription; }
    QString mfGetDescription() const { return mvDescription; }

protected:
    qint16 mvWidth = 0;
    qint16 mvHeight = 0;
    qint32 mvHeaderValue = 0;
    bool mvParallel;
    bool mvCompress = false;
    float mvLevel = 10000.0f;
    bool mvOptions[4] = {false, false, false, false};
    QString mvName;
    QString mvDescription;
};

#endif
