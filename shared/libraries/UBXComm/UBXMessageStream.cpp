#include "UBXMessageStream.h"

#include "ICLoggerModel.h"
#include "UBXIODevice.h"

#include <QDateTime>
#include <QTimer>

#include <cstdlib>

namespace {
// One call never reads more than a 16-bit length can describe.
constexpr qint64 cMaximumBudget = 65535;
// How much of the data behind a zero-length header is thrown away and logged.
constexpr quint16 cZeroBlockDiscardLimit = 256;
} // namespace

UBXMessageStream::UBXMessageStream(UBXIODevice* apDevice) : QObject(apDevice), mvDevice(apDevice)
{
    if (!mvDevice)
        ICLoggerModel::instance()->mpLog(
            Error, QStringLiteral("[UBXMessageStream::UBXMessageStream] IODevice is NULL!"), 0);
}

UBXMessageStream::~UBXMessageStream()
{
    ICLoggerModel::instance()->mpLog(Debug, QStringLiteral("[UBXMessageStream::~UBXMessageStream]"),
                                     0);
    mpStopListening();
    std::free(mvBuffer);
}

void UBXMessageStream::mpStartListening(bool abStopAfterMessage)
{
    ICLoggerModel::instance()->mpLog(Debug, QStringLiteral("[UBXMessageStream::mpStartListening]"),
                                     0);
    mpStopListening();
    mvStopAfterMessage = abStopAfterMessage;
    mvListening = true;
    if (mvDevice)
        mvReadyReadConnection = connect(mvDevice, &UBXIODevice::sgReadyRead, this,
                                        &UBXMessageStream::mpOnDataAvailable);
    mpOnDataAvailable();
}

void UBXMessageStream::mpStopListening()
{
    mvListening = false;
    // Disconnecting by handle stays safe while the device, our parent, is
    // already half destroyed.
    disconnect(mvReadyReadConnection);
}

void UBXMessageStream::gpSendMessage(const QString& aMessage)
{
    if (!mvDevice)
        return;
    const QByteArray lText = aMessage.toUtf8();
    const quint16 lLength = static_cast<quint16>(lText.size());
    const char lHeader[2] = {static_cast<char>(lLength >> 8), static_cast<char>(lLength & 0xFF)};
    mvDevice->mfWrite(lHeader, 2);
    mvDevice->mfWrite(lText);
}

void UBXMessageStream::gpPrintStatus()
{
    ICLoggerModel* lLog = ICLoggerModel::instance();
    lLog->mpLog(Debug, QStringLiteral("STATUS OF UBXMESSAGESTREAM"), 0);
    lLog->mpLog(Debug,
                QStringLiteral(" --> Last bytes were received at %1")
                    .arg(mfLastBytesReceivedAt().toString(QStringLiteral("hh:mm:ss.zzz"))),
                0);
    lLog->mpLog(Debug, QStringLiteral(" --> Reading data block: %1").arg(mvReadingBlock ? 1 : 0),
                0);
    if (mvReadingBlock) {
        lLog->mpLog(Debug, QStringLiteral(" --> Size of data block: %1").arg(mvBlockSize), 0);
        lLog->mpLog(Debug, QStringLiteral(" --> Bytes received: %1").arg(mvBytesReceived), 0);
    }
}

QTime UBXMessageStream::mfLastBytesReceivedAt() const
{
    if (mvLastBytesReceivedAt < 0)
        return QTime();
    return QDateTime::fromMSecsSinceEpoch(mvLastBytesReceivedAt).time();
}

void UBXMessageStream::mpOnDataAvailable()
{
    if (!mvListening || !mvDevice)
        return;
    const qint64 lAvailable = mvDevice->mfBytesAvailable();
    if (lAvailable <= 0)
        return;
    quint16 lBudget = static_cast<quint16>(qMin(lAvailable, cMaximumBudget));
    mvLastBytesReceivedAt = QDateTime::currentMSecsSinceEpoch();

    if (!mvReadingBlock) {
        if (lBudget == 1)
            return;
        unsigned char lHeader[2];
        // A device that hands out fewer bytes than it announced leaves nothing
        // sensible to decode; wait for its next notification.
        if (mvDevice->mfRead(reinterpret_cast<char*>(lHeader), 2) != 2)
            return;
        lBudget -= 2;
        std::free(mvBuffer);
        mvBuffer = nullptr;
        mvBlockSize = static_cast<quint16>((lHeader[0] << 8) | lHeader[1]);
        if (mvBlockSize == 0) {
            mpDiscardAfterZeroBlock(lBudget);
            return;
        }
        mvBuffer = static_cast<char*>(std::malloc(mvBlockSize));
        if (!mvBuffer) {
            const QString lError =
                QStringLiteral("Could not allocate memory for incoming message.");
            ICLoggerModel::instance()->mpLog(
                Error, QStringLiteral("[UBXMessageStream::mpOnDataAvailable] ") + lError, 0);
            Q_EMIT sgErrorEncountered(lError);
            return;
        }
        mvReadingBlock = true;
        mvBytesReceived = 0;
    }

    const quint16 lWanted = qMin<quint16>(mvBlockSize - mvBytesReceived, lBudget);
    if (lWanted > 0) {
        const qint64 lRead = mvDevice->mfRead(mvBuffer + mvBytesReceived, lWanted);
        if (lRead <= 0)
            return;
        lBudget -= static_cast<quint16>(lRead);
        mvBytesReceived += static_cast<quint16>(lRead);
    }
    // Bytes this call leaves in the device: the rest of its budget, or what lay
    // beyond a budget capped at 65,535. No sgReadyRead announces them again.
    const bool lMoreWaiting = lBudget > 0 || lAvailable > cMaximumBudget;
    if (mvBytesReceived != mvBlockSize) {
        // Only a capped budget ends inside a frame with more bytes waiting.
        if (lMoreWaiting)
            QTimer::singleShot(0, this, &UBXMessageStream::mpOnDataAvailable);
        return;
    }

    mvReadingBlock = false;
    // One message per call keeps a burst from starving the event loop; the
    // timer takes the next frame of the same read.
    if (lMoreWaiting)
        QTimer::singleShot(0, this, &UBXMessageStream::mpOnDataAvailable);
    const QString lMessage = QString::fromUtf8(mvBuffer, mvBlockSize);
    std::free(mvBuffer);
    mvBuffer = nullptr;
    if (mvStopAfterMessage)
        mpStopListening();
    Q_EMIT sgMessageReceived(lMessage);
}

void UBXMessageStream::mpDiscardAfterZeroBlock(quint16 aBudget)
{
    const QByteArray lDiscarded = mvDevice->mfRead(qMin(aBudget, cZeroBlockDiscardLimit));
    ICLoggerModel::instance()->mpLog(
        Error,
        QStringLiteral("[UBXMessageStream::mpOnDataAvailable] Bytes in data block is zero. Bytes "
                       "available: %1. Remaining bytes in Base64: <<%2>>")
            .arg(aBudget)
            .arg(QString::fromLatin1(lDiscarded.toBase64())),
        0);
    Q_EMIT sgErrorEncountered(QStringLiteral("Zero block encountered."));
}
