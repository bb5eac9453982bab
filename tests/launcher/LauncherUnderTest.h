#ifndef LAUNCHERUNDERTEST_H
#define LAUNCHERUNDERTEST_H

#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

// A private world for the built launcher: its own HOME, XDG directories, user,
// USB listing and a stand-in client, so that a test never meets a real
// session, a real button or another test.
class LauncherWorld
{
public:
    LauncherWorld()
    {
        for (const char* lName : {"home", "data", "config", "runtime", "usb", "client"})
            QDir(mvRoot.path()).mkpath(QLatin1String(lName));
        QFile::setPermissions(mfPath("runtime"), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                     QFileDevice::ExeOwner);
        mvClientProgram = mfPath("client") + QStringLiteral("/beamora");
        QFile::copy(QStringLiteral(STANDIN_CLIENT_PATH), mvClientProgram);
    }
    // Stand-in clients still running (nobody asked them to exit) end with the world.
    ~LauncherWorld()
    {
        for (const QString& lLine :
             mfRecordedLines().filter(QStringLiteral("stand-in client pid: ")))
            ::kill(static_cast<pid_t>(lLine.section(QLatin1Char(' '), -1).toLongLong()), SIGKILL);
    }

    QString mfPath(const char* aName) const { return mvRoot.filePath(QLatin1String(aName)); }
    QString mfClientProgram() const { return mvClientProgram; }
    QString mfRecordPath() const { return mvRoot.filePath(QStringLiteral("client-record.txt")); }
    QString mfServiceLogPath() const
    {
        return mfPath("data") + QStringLiteral("/Lumora/Beamora Launcher/service.log");
    }

    QProcessEnvironment mfEnvironment(const QString& aUser = QStringLiteral("alice")) const
    {
        QProcessEnvironment lEnvironment;
        const QProcessEnvironment lOwn = QProcessEnvironment::systemEnvironment();
        // Sanitizer settings, the test's own TMPDIR and its (absent) message
        // buses carry over; nothing else of the real session does.
        for (const QString& lName : lOwn.keys()) {
            if (lName.endsWith(QLatin1String("SAN_OPTIONS")) || lName == QLatin1String("TMPDIR") ||
                lName == QLatin1String("PATH") || lName.startsWith(QLatin1String("DBUS_")))
                lEnvironment.insert(lName, lOwn.value(lName));
        }
        lEnvironment.insert(QStringLiteral("USER"), aUser);
        lEnvironment.insert(QStringLiteral("HOME"), mfPath("home"));
        lEnvironment.insert(QStringLiteral("XDG_DATA_HOME"), mfPath("data"));
        lEnvironment.insert(QStringLiteral("XDG_CONFIG_HOME"), mfPath("config"));
        lEnvironment.insert(QStringLiteral("XDG_RUNTIME_DIR"), mfPath("runtime"));
        lEnvironment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        lEnvironment.insert(QStringLiteral("BEAMORA_USB_STORAGE_DIR"), mfPath("usb"));
        lEnvironment.insert(QStringLiteral("BEAMORA_CLIENT_PROGRAM"), mvClientProgram);
        lEnvironment.insert(QStringLiteral("BEAMORA_STANDIN_RECORD"), mfRecordPath());
        lEnvironment.insert(QStringLiteral("BEAMORA_EXIT_DELAY_MS"), QStringLiteral("1500"));
        return lEnvironment;
    }

    // Writes or removes the kernel's listing file of the button.
    void mpPlugButton()
    {
        QVERIFY(gfWriteFile(mfPath("usb") + QStringLiteral("/6"), gfUsbListing()));
    }
    void mpPullButton() { QVERIFY(QFile::remove(mfPath("usb") + QStringLiteral("/6"))); }

    // Waits until the stand-in client has recorded that line.
    bool mfWaitForRecord(const QString& aLine) const
    {
        return QTest::qWaitFor([&] { return mfRecordedLines().contains(aLine); }, 30000);
    }

    QStringList mfRecordedLines() const
    {
        QFile lFile(mfRecordPath());
        if (!lFile.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(lFile.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

private:
    QTemporaryDir mvRoot;
    QString mvClientProgram;
};

// One run of the built launcher binary, with its standard output collected
// and split into console lines (prefix, date-time, text).
class LauncherProcess
{
public:
    LauncherProcess(const QProcessEnvironment& aEnvironment, const QStringList& aArguments)
    {
        mvProcess.setProcessEnvironment(aEnvironment);
        mvProcess.setProcessChannelMode(QProcess::SeparateChannels);
        mvProcess.start(QStringLiteral(LAUNCHER_PATH), aArguments);
    }
    ~LauncherProcess()
    {
        if (mvProcess.state() != QProcess::NotRunning) {
            mvProcess.terminate();
            if (!mvProcess.waitForFinished(10000))
                mvProcess.kill();
            mvProcess.waitForFinished(10000);
        }
        // What the launcher said is the first thing to read when a case fails.
        if (QTest::currentTestFailed())
            qWarning("launcher standard output:\n%s\nlauncher standard error:\n%s",
                     mfOutput().constData(), mvProcess.readAllStandardError().constData());
    }

    QProcess& mfProcess() { return mvProcess; }

    QByteArray mfOutput()
    {
        mvOutput += mvProcess.readAllStandardOutput();
        return mvOutput;
    }

    struct ConsoleLine
    {
        QString mvPrefix;
        QString mvDateTime;
        QString mvText;
    };

    // The console sink's lines ("Prefix<TAB>date-time<TAB>text") seen so far;
    // other output (the stand-in client's, forwarded) is left out.
    QVector<ConsoleLine> mfConsoleLines()
    {
        QVector<ConsoleLine> lLines;
        for (const QByteArray& lLine : mfOutput().split('\n')) {
            const int lFirstTab = lLine.indexOf('\t');
            const int lSecondTab = lLine.indexOf('\t', lFirstTab + 1);
            if (lFirstTab > 0 && lSecondTab > lFirstTab)
                lLines.append(
                    {QString::fromLatin1(lLine.left(lFirstTab)),
                     QString::fromLatin1(lLine.mid(lFirstTab + 1, lSecondTab - lFirstTab - 1)),
                     QString::fromLatin1(lLine.mid(lSecondTab + 1))});
        }
        return lLines;
    }

    // Index of the first console line with exactly that text at or after aFrom, or -1.
    int mfIndexOf(const QString& aText, int aFrom = 0)
    {
        const QVector<ConsoleLine> lLines = mfConsoleLines();
        for (int i = aFrom; i < lLines.size(); ++i) {
            if (lLines.at(i).mvText == aText)
                return i;
        }
        return -1;
    }

    int mfCount(const QString& aText)
    {
        int lCount = 0;
        for (const ConsoleLine& lLine : mfConsoleLines())
            lCount += lLine.mvText == aText;
        return lCount;
    }

    // The console prefix of the first line with that text ("Debug", "Info", ...).
    QString mfPrefixOf(const QString& aText)
    {
        const int lIndex = mfIndexOf(aText);
        return lIndex < 0 ? QString() : mfConsoleLines().at(lIndex).mvPrefix;
    }

private:
    QProcess mvProcess;
    QByteArray mvOutput;
};

#endif
