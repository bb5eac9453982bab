#ifndef BLOCKCATPROCESS_H
#define BLOCKCATPROCESS_H

#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <unistd.h>

// A beamora-blockcat process (path in BLOCKCAT_PATH) whose JSON events and log
// lines are collected while the test's event loop runs.
class BlockCatProcess
{
public:
    explicit BlockCatProcess(const QStringList& aArguments)
    {
        QObject::connect(&mvProcess, &QProcess::readyReadStandardOutput, [this] {
            while (mvProcess.canReadLine()) {
                mvEvents << QJsonDocument::fromJson(mvProcess.readLine()).object();
                ++mvCounts[mvEvents.last().value(QLatin1String("event")).toString()];
            }
        });
        QObject::connect(&mvProcess, &QProcess::readyReadStandardError,
                         [this] { mvLog += mvProcess.readAllStandardError(); });
        mvProcess.start(QStringLiteral(BLOCKCAT_PATH), aArguments);
    }
    ~BlockCatProcess()
    {
        mvProcess.terminate();
        mvProcess.waitForFinished(10000);
    }

    QList<QJsonObject> mfEvents(const QString& aName) const
    {
        QList<QJsonObject> lFound;
        std::copy_if(mvEvents.cbegin(), mvEvents.cend(), std::back_inserter(lFound),
                     [&](const QJsonObject& aEvent) { return aEvent.value("event") == aName; });
        return lFound;
    }
    bool mfWaitFor(const QString& aName, int aCount, int aTimeoutMs = 30000)
    {
        return QTest::qWaitFor([&] { return mvCounts.value(aName) >= aCount; }, aTimeoutMs);
    }
    // The listening port; 0 when the tool did not report one in time.
    quint16 mfPort()
    {
        if (!mfWaitFor(QStringLiteral("listening"), 1))
            return 0;
        return quint16(mfEvents(QStringLiteral("listening")).first().value("port").toInt());
    }
    QByteArray mfLog() const { return mvLog; }
    qint64 mfResidentKiB() const
    {
        QFile lStatm(QStringLiteral("/proc/%1/statm").arg(mvProcess.processId()));
        if (!lStatm.open(QIODevice::ReadOnly))
            return -1;
        return lStatm.readAll().split(' ').value(1).toLongLong() * (sysconf(_SC_PAGESIZE) / 1024);
    }

private:
    QProcess mvProcess;
    QList<QJsonObject> mvEvents;
    QHash<QString, int> mvCounts;
    QByteArray mvLog;
};

#endif
