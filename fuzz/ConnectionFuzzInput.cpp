#include "ConnectionFuzzInput.h"

#include "MemoryConnection.h"
#include "UBXConnection.h"
#include "UBXConnectionDelegate.h"

#include <QCoreApplication>
#include <QStringList>

namespace {
constexpr uint8_t cLongFlag = 0x80;

// One line per report, so the connection's and the plain parse's reports
// compare as lists.
class RecordingDelegate : public UBXConnectionDelegate
{
public:
    void mpConnectionEstablished(UBXConnection*) override {}
    void mpConnectionLost(UBXConnection*) override {}
    void mpConnectionError(UBXConnection*, const QString& aError) override
    {
        mvReports.append(aError);
    }
    void mpDataBlockReceived(UBXConnection*, const QByteArray& aData, quint8 aType) override
    {
        mvReports.append(QStringLiteral("block %1 %2 %3")
                             .arg(aType)
                             .arg(aData.size())
                             .arg(QString::fromLatin1(aData.left(64).toHex())));
    }

    QStringList mvReports;
};

// Runs the event loop until the connection stops consuming: bytes behind a
// refused header are read on a later pass.
void gpDrain(const MemoryConnection& aTransport)
{
    int lIdlePasses = 0;
    while (lIdlePasses < 2) {
        const qint64 lBefore = aTransport.mfBytesConsumed();
        QCoreApplication::processEvents();
        lIdlePasses = aTransport.mfBytesConsumed() == lBefore ? lIdlePasses + 1 : 0;
    }
}

// The same framing read from all bytes at once: what any split must give.
QStringList gfPlainParse(const QByteArray& aStream, bool abWithBlockType)
{
    QStringList lReports;
    const qsizetype lHeaderSize = abWithBlockType ? 5 : 4;
    qsizetype lPosition = 0;
    while (aStream.size() - lPosition >= lHeaderSize) {
        const auto* lHeader = reinterpret_cast<const uchar*>(aStream.constData() + lPosition);
        const quint32 lLength = (quint32(lHeader[0]) << 24) | (quint32(lHeader[1]) << 16) |
                                (quint32(lHeader[2]) << 8) | quint32(lHeader[3]);
        const quint8 lType = abWithBlockType ? lHeader[4] : 0;
        lPosition += lHeaderSize;
        if (lLength > UBXConnection::cMaximumBlockSize) {
            lReports.append(QStringLiteral("Size of data block is bigger than allowed. Size: %1.")
                                .arg(lLength));
            continue;
        }
        if (aStream.size() - lPosition < qsizetype(lLength))
            break;
        if (lLength > 0)
            lReports.append(QStringLiteral("block %1 %2 %3")
                                .arg(lType)
                                .arg(lLength)
                                .arg(QString::fromLatin1(
                                    aStream.mid(lPosition, qMin<qsizetype>(lLength, 64)).toHex())));
        lPosition += lLength;
    }
    return lReports;
}
} // namespace

bool gfFeedConnection(const uint8_t* apData, size_t aSize)
{
    if (aSize == 0)
        return true;
    const bool lWithBlockType = (apData[0] & 1) != 0;
    MemoryConnection lTransport(true);
    RecordingDelegate lDelegate;
    QByteArray lStream;
    {
        UBXConnection lConnection(&lTransport, &lDelegate, QStringLiteral("fuzz"), lWithBlockType);
        size_t lPosition = 1;
        while (lPosition < aSize) {
            const uint8_t lControl = apData[lPosition++];
            size_t lLength =
                (lControl & cLongFlag) ? ((lControl & 0x7Fu) + 1u) * 64u : (lControl & 0x7Fu) + 1u;
            lLength = qMin(lLength, aSize - lPosition);
            const QByteArray lPiece(reinterpret_cast<const char*>(apData + lPosition),
                                    qsizetype(lLength));
            lPosition += lLength;
            lStream.append(lPiece);
            lTransport.mpAppend(lPiece);
            gpDrain(lTransport);
        }
    }
    if (lTransport.mfHasOverRead() || lTransport.mfBytesAvailable() >= (lWithBlockType ? 5 : 4))
        return false;
    return lDelegate.mvReports == gfPlainParse(lStream, lWithBlockType);
}
