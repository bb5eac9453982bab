// beamora-blockcat: a netcat for the block protocol. See the README's section
// of the same name.
#include "BlockCat.h"
#include "ICConsoleLogger.h"
#include "ICLoggerModel.h"
#include "ShutdownSignals.h"
#include "UBXConnectionServer.h"
#include "UBXNetworkConnection.h"
#include "UBXNetworkConnectionClient.h"
#include "UBXPrefixedConnectionClient.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {
constexpr quint16 cDefaultPort = 9876;

const char cUsage[] =
    "usage: beamora-blockcat listen [--port N] [--types] [--accept DESCRIPTOR]... [OPTIONS]\n"
    "       beamora-blockcat connect [--types] [--prefix P] HOST[:PORT] DESCRIPTOR [OPTIONS]\n"
    "OPTIONS: --send-file F [--type T]  --bandwidth MS  --close-on-error\n"
    "Standard input: each line is sent as a text message to every established connection.\n"
    "Standard output: one JSON object per line. Log lines go to standard error.\n";

int gfUsage(const QString& aError)
{
    std::fprintf(stderr, "beamora-blockcat: %s\n%s", qPrintable(aError), cUsage);
    return 2;
}

// Reads standard input line by line, also after partial reads; end of input
// only stops the reading.
class LineReader : public QObject
{
public:
    explicit LineReader(BlockCat* apBlockCat)
        : mvpBlockCat(apBlockCat), mvNotifier(STDIN_FILENO, QSocketNotifier::Read)
    {
        connect(&mvNotifier, &QSocketNotifier::activated, this, &LineReader::mpOnReadable);
    }

private:
    void mpOnReadable()
    {
        char lChunk[65536];
        const ssize_t lRead = ::read(STDIN_FILENO, lChunk, sizeof lChunk);
        if (lRead <= 0) {
            mvNotifier.setEnabled(false);
            return;
        }
        mvPending.append(lChunk, lRead);
        qsizetype lEnd;
        while ((lEnd = mvPending.indexOf('\n')) >= 0) {
            mvpBlockCat->mpSendLine(QString::fromUtf8(mvPending.constData(), lEnd));
            mvPending.remove(0, lEnd + 1);
        }
    }

    BlockCat* mvpBlockCat;
    QSocketNotifier mvNotifier;
    QByteArray mvPending;
};
} // namespace

int main(int argc, char* argv[])
{
    // Standard output carries the JSON events only: they get a descriptor of
    // their own and everything else printing to standard output (the console
    // log sink) goes to standard error.
    const int lEventFd = ::dup(STDOUT_FILENO);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);

    QCoreApplication lApplication(argc, argv);
    QCommandLineParser lParser;
    lParser.addOptions({{QStringLiteral("port"), QString(), QStringLiteral("N")},
                        {QStringLiteral("types"), QString()},
                        {QStringLiteral("accept"), QString(), QStringLiteral("DESCRIPTOR")},
                        {QStringLiteral("prefix"), QString(), QStringLiteral("P")},
                        {QStringLiteral("send-file"), QString(), QStringLiteral("F")},
                        {QStringLiteral("type"), QString(), QStringLiteral("T")},
                        {QStringLiteral("bandwidth"), QString(), QStringLiteral("MS")},
                        {QStringLiteral("close-on-error"), QString()}});
    if (!lParser.parse(lApplication.arguments()))
        return gfUsage(lParser.errorText());
    const QStringList lArguments = lParser.positionalArguments();
    const QString lMode = lArguments.value(0);
    const bool lListen = lMode == QLatin1String("listen");
    if (!(lListen && lArguments.size() == 1) &&
        !(lMode == QLatin1String("connect") && lArguments.size() == 3))
        return gfUsage(QStringLiteral("expected 'listen' or 'connect HOST[:PORT] DESCRIPTOR'"));
    if (lListen ? lParser.isSet(QStringLiteral("prefix"))
                : lParser.isSet(QStringLiteral("port")) || lParser.isSet(QStringLiteral("accept")))
        return gfUsage(QStringLiteral("option not available with '%1'").arg(lMode));

    const auto lNumber = [&](const char* apOption, uint aMaximum, uint& aValue) {
        const QString lName = QLatin1String(apOption);
        if (!lParser.isSet(lName))
            return true;
        bool lOk = false;
        aValue = lParser.value(lName).toUInt(&lOk);
        return lOk && aValue <= aMaximum;
    };
    uint lPort = cDefaultPort;
    uint lType = 0;
    uint lBandwidth = 0;
    if (!lNumber("port", 65535, lPort) || !lNumber("type", 255, lType) ||
        !lNumber("bandwidth", 0x7FFFFFFF, lBandwidth))
        return gfUsage(QStringLiteral("--port, --type and --bandwidth take decimal numbers"));

    BlockCat::Options lOptions;
    lOptions.mvWithBlockType = lParser.isSet(QStringLiteral("types"));
    lOptions.mvAccepted = lParser.values(QStringLiteral("accept"));
    lOptions.mvFileType = quint8(lType);
    lOptions.mvBandwidthIntervalMs = lBandwidth;
    lOptions.mvCloseOnError = lParser.isSet(QStringLiteral("close-on-error"));
    if (lParser.isSet(QStringLiteral("send-file"))) {
        QFile lFile(lParser.value(QStringLiteral("send-file")));
        if (!lFile.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "beamora-blockcat: %s: %s\n", qPrintable(lFile.fileName()),
                         qPrintable(lFile.errorString()));
            return 1;
        }
        lOptions.mvSendFile = true;
        lOptions.mvFileData = lFile.readAll();
    }

    auto* lConsole = new ICConsoleLogger;
    lConsole->mpSetLevel(Debug);
    ICLoggerModel::instance()->mpAddObserver(lConsole, true);

    auto lBlockCat = std::make_unique<BlockCat>(lOptions, lEventFd);
    auto lReader = std::make_unique<LineReader>(lBlockCat.get());
    ShutdownSignals lSignals;
    QObject::connect(&lSignals, &ShutdownSignals::sgShutdownRequested, &lApplication,
                     [] { QCoreApplication::exit(0); });

    std::unique_ptr<UBXConnectionServer> lServer;
    if (lListen) {
        lServer = std::make_unique<UBXConnectionServer>(0);
        lServer->mpAddHandler(lBlockCat.get());
        // Room for a crowd of peers connecting at once.
        lServer->setListenBacklogSize(1024);
        if (!lServer->listen(QHostAddress::LocalHost, quint16(lPort))) {
            std::fprintf(stderr, "beamora-blockcat: cannot listen on 127.0.0.1:%u: %s\n", lPort,
                         qPrintable(lServer->errorString()));
            return 1;
        }
        lBlockCat->mpWriteEvent(
            QStringLiteral("{\"event\":\"listening\",\"port\":%1}").arg(lServer->serverPort()));
    } else {
        UBXNetworkConnectionClient lPlain;
        UBXPrefixedConnectionClient lPrefixed(&lPlain, lParser.value(QStringLiteral("prefix")));
        UBXNetworkConnection* lConnection =
            lPrefixed.gfCreateConnection(lArguments.at(2), lArguments.at(1));
        if (!lConnection)
            return gfUsage(QStringLiteral("'%1' names no host").arg(lArguments.at(1)));
        lBlockCat->mpAddConnection(lConnection, false);
        lConnection->gpConnect();
    }
    const int lStatus = lApplication.exec();
    lServer.reset();
    lReader.reset();
    lBlockCat.reset();
    // The sink's thread must be finished while the application still exists.
    ICLoggerModel::instance()->mpRemoveObserver(lConsole);
    return lStatus;
}
