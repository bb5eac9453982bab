#include "BlockCat.h"

#include "UBXAbstractConnection.h"
#include "UBXConnection.h"
#include "UBXNetworkConnection.h"

#include <QCryptographicHash>
#include <QStringDecoder>

#include <unistd.h>

namespace {
constexpr qsizetype cMaximumTextBytes = 1024;

QString gfJsonString(const QString& aText)
{
    QString lQuoted = QStringLiteral("\"");
    for (const QChar lChar : aText) {
        if (lChar == QLatin1Char('"') || lChar == QLatin1Char('\\'))
            lQuoted += QLatin1Char('\\') + lChar;
        else if (lChar == QLatin1Char('\n'))
            lQuoted += QLatin1String("\\n");
        else if (lChar.unicode() < 0x20)
            lQuoted += QStringLiteral("\\u%1").arg(lChar.unicode(), 4, 16, QLatin1Char('0'));
        else
            lQuoted += lChar;
    }
    return lQuoted + QLatin1Char('"');
}

QString gfEvent(const char* apName, int aId)
{
    return QStringLiteral("{\"event\":\"%1\",\"id\":%2").arg(QLatin1String(apName)).arg(aId);
}
} // namespace

BlockCat::BlockCat(const Options& aOptions, int aOutputFd)
    : QObject(nullptr), mvOptions(aOptions), mvOutputFd(aOutputFd)
{}

BlockCat::~BlockCat()
{
    for (auto lEntry = mvConnections.cbegin(); lEntry != mvConnections.cend(); ++lEntry)
        delete lEntry.key();
}

void BlockCat::mpWriteEvent(const QString& aJsonObject)
{
    const QByteArray lLine = aJsonObject.toUtf8() + '\n';
    qsizetype lOffset = 0;
    while (lOffset < lLine.size()) {
        const ssize_t lWritten =
            ::write(mvOutputFd, lLine.constData() + lOffset, size_t(lLine.size() - lOffset));
        if (lWritten <= 0)
            return;
        lOffset += lWritten;
    }
}

void BlockCat::mpAddConnection(UBXAbstractConnection* apTransport, bool abConnected)
{
    const int lId = mvNextId++;
    auto* lConnection = new UBXConnection(apTransport, this, QStringLiteral("blockcat-%1").arg(lId),
                                          mvOptions.mvWithBlockType);
    lConnection->mpSetOwnsConnection(true);
    mvConnections.insert(lConnection, Entry{lId, false});
    if (mvOptions.mvBandwidthIntervalMs > 0) {
        lConnection->mpSetBandwidthMeasurementInterval(mvOptions.mvBandwidthIntervalMs);
        lConnection->mpSetBandwidthMeasurementEnabled(true);
        connect(lConnection, &UBXConnection::sgBandwidthMeasurementDone, this,
                [this, lId](float aUp, float aDown) {
                    mpWriteEvent(gfEvent("bandwidth", lId) +
                                 QStringLiteral(",\"up\":%1,\"down\":%2}").arg(aUp).arg(aDown));
                });
    }
    if (abConnected)
        mpConnectionEstablished(lConnection);
}

void BlockCat::mpSendLine(const QString& aLine)
{
    for (auto lEntry = mvConnections.cbegin(); lEntry != mvConnections.cend(); ++lEntry) {
        if (lEntry->mvEstablished)
            lEntry.key()->gfSendMessage(aLine, 0);
    }
}

bool BlockCat::gfHandleIncomingConnection(UBXNetworkConnection* apConnection,
                                          const QString& aDescriptor)
{
    if (!mvOptions.mvAccepted.isEmpty() && !mvOptions.mvAccepted.contains(aDescriptor))
        return false;
    mpWriteEvent(gfEvent("accepted", mvNextId) +
                 QStringLiteral(",\"descriptor\":%1}").arg(gfJsonString(aDescriptor)));
    mpAddConnection(apConnection, true);
    return true;
}

void BlockCat::mpConnectionEstablished(UBXConnection* apConnection)
{
    Entry& lEntry = mvConnections[apConnection];
    lEntry.mvEstablished = true;
    mpWriteEvent(gfEvent("established", lEntry.mvId) + QLatin1Char('}'));
    if (mvOptions.mvSendFile)
        apConnection->gfSendDataBlock(mvOptions.mvFileData, mvOptions.mvFileType);
}

void BlockCat::mpConnectionLost(UBXConnection* apConnection)
{
    const auto lEntry = mvConnections.constFind(apConnection);
    if (lEntry == mvConnections.cend())
        return;
    if (apConnection->mfGetConnection()->mfIsConnected()) {
        mpWriteEvent(gfEvent("lost", lEntry->mvId) + QLatin1Char('}'));
        return;
    }
    mpWriteEvent(gfEvent("closed", lEntry->mvId) + QLatin1Char('}'));
    mvConnections.erase(lEntry);
    // Later: the connection may be inside its own read.
    apConnection->deleteLater();
}

void BlockCat::mpConnectionError(UBXConnection* apConnection, const QString& aError)
{
    const auto lEntry = mvConnections.constFind(apConnection);
    if (lEntry == mvConnections.cend())
        return;
    mpWriteEvent(gfEvent("error", lEntry->mvId) +
                 QStringLiteral(",\"text\":%1}").arg(gfJsonString(aError)));
    if (mvOptions.mvCloseOnError)
        apConnection->mfGetConnection()->gpDisconnect();
}

void BlockCat::mpDataBlockReceived(UBXConnection* apConnection, const QByteArray& aData,
                                   quint8 aType)
{
    QString lEvent = gfEvent("block", mvConnections.value(apConnection).mvId) +
                     QStringLiteral(",\"type\":%1,\"size\":%2,\"sha256\":\"%3\"")
                         .arg(aType)
                         .arg(aData.size())
                         .arg(QLatin1String(
                             QCryptographicHash::hash(aData, QCryptographicHash::Sha256).toHex()));
    if (aData.size() <= cMaximumTextBytes) {
        QStringDecoder lDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString lText = lDecoder.decode(aData);
        if (!lDecoder.hasError())
            lEvent += QStringLiteral(",\"text\":") + gfJsonString(lText);
    }
    mpWriteEvent(lEvent + QLatin1Char('}'));
}
