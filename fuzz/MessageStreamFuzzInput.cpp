#include "MessageStreamFuzzInput.h"

#include "MemoryIODevice.h"
#include "UBXMessageStream.h"

#include <QCoreApplication>
#include <QStringList>

namespace {
constexpr uint8_t cRestartFlag = 0x80;
constexpr uint8_t cStopAfterMessageFlag = 0x40;
constexpr uint8_t cLargePieceFlag = 0x40;
constexpr uint8_t cLengthMask = 0x3F;

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
        size_t lLength = (lControl & cLengthMask) + 1u;
        if (lControl & cRestartFlag)
            lStream->mpStartListening((lControl & cStopAfterMessageFlag) != 0);
        else if (lControl & cLargePieceFlag)
            lLength *= 1024u;
        lLength = qMin(lLength, aSize - lPosition);
        lDevice.mpAppend(
            QByteArray(reinterpret_cast<const char*>(apData + lPosition), qsizetype(lLength)));
        lPosition += lLength;
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
