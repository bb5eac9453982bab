// A stand-in for the presentation client, for tests and demonstrations. It
// prints how it was started, listens on the client channel "beamoraclient"
// with a plain local server (independent of the library under test), decodes
// the frames it receives by hand (2-byte big-endian length, UTF-8 text) and
// exits when it is asked to.
#include <QCoreApplication>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

#include <csignal>
#include <cstdio>

namespace {
void gpReport(const QString& aLine)
{
    std::printf("stand-in client %s\n", qPrintable(aLine));
    std::fflush(stdout);
}
} // namespace

int main(int argc, char* argv[])
{
    // Outlives the launcher in tests, whose standard output then has no reader.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication lApplication(argc, argv);
    gpReport("started: " + QCoreApplication::arguments().mid(1).join(QLatin1Char(' ')));
    gpReport("directory: " + QDir::currentPath());
    QLocalServer lServer;
    QLocalServer::removeServer(QStringLiteral("beamoraclient"));
    if (!lServer.listen(QStringLiteral("beamoraclient"))) {
        gpReport("cannot listen: " + lServer.errorString());
        return 2;
    }
    gpReport(QStringLiteral("listening"));
    QObject::connect(&lServer, &QLocalServer::newConnection, [&lServer] {
        QLocalSocket* lSocket = lServer.nextPendingConnection();
        QObject::connect(lSocket, &QLocalSocket::readyRead, [lSocket] {
            uchar lLength[2];
            while (lSocket->peek(reinterpret_cast<char*>(lLength), 2) == 2 &&
                   lSocket->bytesAvailable() >= 2 + (lLength[0] << 8 | lLength[1])) {
                const QByteArray lFrame = lSocket->read(2 + (lLength[0] << 8 | lLength[1]));
                gpReport("received: " + QString::fromUtf8(lFrame.mid(2)));
                if (lFrame.mid(2) == "exit")
                    QCoreApplication::exit(0);
            }
        });
        QObject::connect(lSocket, &QLocalSocket::disconnected, lSocket, &QObject::deleteLater);
    });
    return QCoreApplication::exec();
}
