// A stand-in for the presentation client, for tests and demonstrations. It
// reports how it was started, listens on the client channel "beamoraclient"
// with a plain local server (independent of the library under test), decodes
// the frames it receives by hand and exits when it is asked to.
// Every line goes to standard output and, when BEAMORA_STANDIN_RECORD names a
// file, is appended there too.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>

#include <csignal>
#include <cstdio>

namespace {
void gpReport(const QString& aLine)
{
    const QByteArray lLine = aLine.toUtf8() + '\n';
    std::fwrite(lLine.constData(), 1, static_cast<size_t>(lLine.size()), stdout);
    std::fflush(stdout);
    const QString lRecord = qEnvironmentVariable("BEAMORA_STANDIN_RECORD");
    if (lRecord.isEmpty())
        return;
    QFile lFile(lRecord);
    if (lFile.open(QIODevice::WriteOnly | QIODevice::Append))
        lFile.write(lLine);
}

// Takes whole frames (2-byte big-endian length, UTF-8 text) off the buffer.
void gpDecodeFrames(QByteArray& aBuffer)
{
    while (aBuffer.size() >= 2) {
        const int lLength = (static_cast<unsigned char>(aBuffer.at(0)) << 8) |
                            static_cast<unsigned char>(aBuffer.at(1));
        if (aBuffer.size() < 2 + lLength)
            return;
        const QByteArray lFrame = aBuffer.left(2 + lLength);
        aBuffer.remove(0, 2 + lLength);
        const QString lMessage = QString::fromUtf8(lFrame.mid(2));
        gpReport(
            QStringLiteral("stand-in client frame: %1").arg(QString::fromLatin1(lFrame.toHex())));
        gpReport(QStringLiteral("stand-in client received: %1").arg(lMessage));
        if (lMessage == QLatin1String("exit")) {
            gpReport(QStringLiteral("stand-in client exits"));
            QCoreApplication::exit(0);
        }
    }
}
} // namespace

int main(int argc, char* argv[])
{
    // Outlives the launcher in tests, whose standard output then has no reader.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication lApplication(argc, argv);
    gpReport(QStringLiteral("stand-in client started: %1")
                 .arg(QCoreApplication::arguments().mid(1).join(QLatin1Char(' '))));
    gpReport(QStringLiteral("stand-in client directory: %1").arg(QDir::currentPath()));

    QLocalServer lServer;
    QLocalServer::removeServer(QStringLiteral("beamoraclient"));
    if (!lServer.listen(QStringLiteral("beamoraclient"))) {
        gpReport(QStringLiteral("stand-in client cannot listen: %1").arg(lServer.errorString()));
        return 2;
    }
    gpReport(QStringLiteral("stand-in client listening"));
    gpReport(QStringLiteral("stand-in client pid: %1").arg(QCoreApplication::applicationPid()));
    QObject::connect(&lServer, &QLocalServer::newConnection, [&lServer] {
        while (QLocalSocket* lSocket = lServer.nextPendingConnection()) {
            auto* lBuffer = new QByteArray;
            QObject::connect(lSocket, &QLocalSocket::readyRead, [lSocket, lBuffer] {
                lBuffer->append(lSocket->readAll());
                gpDecodeFrames(*lBuffer);
            });
            QObject::connect(lSocket, &QLocalSocket::disconnected, [lSocket, lBuffer] {
                delete lBuffer;
                lSocket->deleteLater();
            });
        }
    });
    return QCoreApplication::exec();
}
