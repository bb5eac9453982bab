#include "MessageStreamFuzzInput.h"

#include "MemoryIODevice.h"
#include "UBXMessageStream.h"

#include <QCoreApplication>
#include <QStringList>

namespace {
constexpr uint8_t cRestartFlag = 0x80;
constexpr uint8_t cStopAfterMessageFlag = 0x40;
constexpr uint8_t cRepeatFlag = 0x40;
constexpr uint8_t cLongFlag = 0x20;

// Cuts the next piece out of the input and advances aPosition past it.
QByteArray gfNextPiece(const uint8_t* apData, size_t aSize, size_t& aPosition, uint8_t aControl)
{
    const auto lTake = [&](size_t aLength) {
        aLength = qMin(aLength, aSize - aPosition);
        QByteArray lBytes(reinterpret_cast<const char*>(apData + aPosition), qsizetype(aLength));
        aPosition += aLength;
        return lBytes;
    };
    if (aControl & cRestartFlag)
        return lTake((aControl & 0x3Fu) + 1u);
    if (aControl & cRepeatFlag) {
        const size_t lTotal = aPosition < aSize ? (apData[aPosition++] + 1u) * 512u : 0u;
        const QByteArray lPattern = lTake((aControl & 0x3Fu) + 1u);
        if (lPattern.isEmpty())
            return lPattern;
        return lPattern.repeated(qsizetype(lTotal / size_t(lPattern.size()) + 1))
            .left(qsizetype(lTotal));
    }
    if (aControl & cLongFlag)
        return lTake(((aControl & 0x1Fu) + 1u) * 64u);
    return lTake((aControl & 0x1Fu) + 1u);
}

// Runs the event loop until the stream stops consuming; one pass may not reach
// a call the stream scheduled during the pass before.
void gpDrain(const MemoryIODevice& aDevice)
{
    int lIdlePasses = 0;
    while (lIdlePasses < 2) {
        const qint64 lBefore = aDevice.mfBytesConsumed();
        QCoreApplication::processEvents();
        lIdlePasses = aDevice.mfBytesConsumed() == lBefore ? lIdlePasses + 1 : 0;
    }
}

// Sends every message that fits a frame through a fresh pair of streams and
// compares what arrives.
bool gfRoundTripHolds(const QStringList& aMessages)
{
    MemoryIODevice lSenderDevice;
    auto* lSender = new UBXMessageStream(&lSenderDevice);
    QStringList lExpected;
    for (const QString& lMessage : aMessages) {
        const qsizetype lSize = lMessage.toUtf8().size();
        if (lSize == 0 || lSize > 65535)
            continue;
        lSender->gpSendMessage(lMessage);
        lExpected.append(lMessage);
    }

    MemoryIODevice lReceiverDevice;
    auto* lReceiver = new UBXMessageStream(&lReceiverDevice);
    QStringList lReceived;
    QObject::connect(lReceiver, &UBXMessageStream::sgMessageReceived,
                     [&lReceived](const QString& aMessage) { lReceived.append(aMessage); });
    lReceiver->mpStartListening(false);
    lReceiverDevice.mpAppend(lSenderDevice.mfWritten());
    gpDrain(lReceiverDevice);
    return lReceived == lExpected && lReceiverDevice.mfBytesAvailable() == 0;
}
} // namespace

bool gfFeedMessageStream(const uint8_t* apData, size_t aSize)
{
    MemoryIODevice lDevice;
    auto* lStream = new UBXMessageStream(&lDevice);
    QStringList lMessages;
    QObject::connect(lStream, &UBXMessageStream::sgMessageReceived,
                     [&lMessages](const QString& aMessage) { lMessages.append(aMessage); });
    lStream->mpStartListening(false);

    size_t lPosition = 0;
    while (lPosition < aSize) {
        const uint8_t lControl = apData[lPosition++];
        if (lControl & cRestartFlag)
            lStream->mpStartListening((lControl & cStopAfterMessageFlag) != 0);
        lDevice.mpAppend(gfNextPiece(apData, aSize, lPosition, lControl));
        gpDrain(lDevice);
    }

    // Bytes behind a zero-length header wait for the next announcement, so
    // keep announcing until nothing moves.
    lStream->mpStartListening(false);
    qint64 lBefore;
    do {
        lBefore = lDevice.mfBytesConsumed();
        lDevice.mpNotify();
        gpDrain(lDevice);
    } while (lDevice.mfBytesConsumed() != lBefore);

    if (lDevice.mfHasOverRead() || lDevice.mfBytesAvailable() > 1)
        return false;
    return gfRoundTripHolds(lMessages);
}
