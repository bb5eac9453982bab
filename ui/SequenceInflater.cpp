#include "SequenceInflater_p.h"

SequenceInflater::SequenceInflater(const QByteArray& aCompressed, qint64 aMaxBytes)
    : mvCompressed(aCompressed), mvMaxBytes(aMaxBytes)
{}

SequenceInflater::~SequenceInflater()
{
    if (mvInitialised)
        inflateEnd(&mvStream);
}

bool SequenceInflater::open(OpenMode aMode)
{
    if (mvInitialised || !(aMode & ReadOnly) || (aMode & WriteOnly) || mvCompressed.size() < 4)
        return false;
    const auto* lIn = reinterpret_cast<const uchar*>(mvCompressed.constData());
    mvClaimed =
        (qint64(lIn[0]) << 24) | (qint64(lIn[1]) << 16) | (qint64(lIn[2]) << 8) | qint64(lIn[3]);
    if (mvClaimed == 0 || mvClaimed > mvMaxBytes || inflateInit(&mvStream) != Z_OK)
        return false;
    mvInitialised = true;
    mvStream.next_in = const_cast<Bytef*>(lIn + 4);
    mvStream.avail_in = static_cast<uInt>(mvCompressed.size() - 4);
    return QIODevice::open(aMode);
}

bool SequenceInflater::mfIsIntact()
{
    if (mvInitialised && !mvBroken && !mvEnded && mvProduced == mvClaimed) {
        char lProbe;
        mvBroken = mfInflate(&lProbe, 1) != 0 || !mvEnded;
    }
    return mvInitialised && !mvBroken;
}

qint64 SequenceInflater::readData(char* apData, qint64 aMaxSize)
{
    const qint64 lWanted = qMin(aMaxSize, mvClaimed - mvProduced);
    if (mvBroken || mvEnded || lWanted <= 0)
        return mvBroken ? -1 : 0;
    // inflate() may consume input without making output; a short read would
    // end the reader's data stream.
    qint64 lMade = 0;
    while (lMade < lWanted && !mvEnded && !mvBroken)
        lMade += mfInflate(apData + lMade, lWanted - lMade);
    mvProduced += lMade;
    return mvBroken ? -1 : lMade;
}

qint64 SequenceInflater::writeData(const char*, qint64)
{
    return -1;
}

qint64 SequenceInflater::mfInflate(char* apOut, qint64 aSize)
{
    mvStream.next_out = reinterpret_cast<Bytef*>(apOut);
    mvStream.avail_out = static_cast<uInt>(qMin<qint64>(aSize, 1 << 30));
    const uInt lBefore = mvStream.avail_out;
    const int lResult = inflate(&mvStream, Z_NO_FLUSH);
    const qint64 lMade = qint64(lBefore - mvStream.avail_out);
    if (lResult == Z_STREAM_END)
        mvEnded = true;
    // Z_BUF_ERROR with room left means the input ran out: a truncated stream.
    else if (lResult != Z_OK)
        mvBroken = true;
    return lMade;
}
