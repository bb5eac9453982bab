#ifndef FAKEDESKTOPTOOLS_H
#define FAKEDESKTOPTOOLS_H

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>

// While it exists, PATH holds only "sh" and fake "gdbus" and
// "gnome-screensaver-command" tools. A fake prints the reply file of its key
// (nothing without one), appends "<epoch ms> <tool> <arguments>" to a call log,
// and, when told to hang, records its pid and that of a child it starts and
// waits for ever. A gdbus call is keyed by its destination
// ("org.gnome.ScreenSaver"), the screen-saver tool by its own name.
class FakeDesktopTools
{
public:
    struct Call
    {
        qint64 mvMs;
        QString mvLine;
    };

    FakeDesktopTools() : mvOldPath(qgetenv("PATH"))
    {
        const QString lShell = QStandardPaths::findExecutable(QStringLiteral("sh"));
        mvValid = mvDir.isValid() && !lShell.isEmpty() &&
                  QFile::link(lShell, mfPath(QStringLiteral("sh"))) &&
                  mfWriteTool(QStringLiteral("gdbus"), QStringLiteral("\"$4\"")) &&
                  mfWriteTool(QStringLiteral("gnome-screensaver-command"),
                              QStringLiteral("gnome-screensaver-command"));
        qputenv("PATH", QFile::encodeName(mvDir.path()));
    }
    ~FakeDesktopTools() { qputenv("PATH", mvOldPath); }
    FakeDesktopTools(const FakeDesktopTools&) = delete;
    FakeDesktopTools& operator=(const FakeDesktopTools&) = delete;

    bool mfIsValid() const { return mvValid; }

    // Replaced atomically, so a tool running meanwhile reads the old or the new reply.
    bool mfSetReply(const QString& aKey, const QByteArray& aReply)
    {
        QSaveFile lFile(mfPath(aKey + QStringLiteral(".reply")));
        return lFile.open(QIODevice::WriteOnly) && lFile.write(aReply) == aReply.size() &&
               lFile.commit();
    }
    bool mfSetHanging(const QString& aKey)
    {
        QFile lFile(mfPath(aKey + QStringLiteral(".hang")));
        return lFile.open(QIODevice::WriteOnly);
    }
    bool mfRemoveTool(const QString& aTool) { return QFile::remove(mfPath(aTool)); }

    QList<Call> mfCalls() const
    {
        QList<Call> lCalls;
        QFile lFile(mfPath(QStringLiteral("calls")));
        if (!lFile.open(QIODevice::ReadOnly))
            return lCalls;
        const QList<QByteArray> lLines = lFile.readAll().split('\n');
        for (const QByteArray& lLine : lLines) {
            const qsizetype lSpace = lLine.indexOf(' ');
            if (lSpace > 0)
                lCalls.append({lLine.left(lSpace).toLongLong(),
                               QString::fromLocal8Bit(lLine.mid(lSpace + 1))});
        }
        return lCalls;
    }
    QStringList mfCallLines() const
    {
        QStringList lLines;
        for (const Call& lCall : mfCalls())
            lLines << lCall.mvLine;
        return lLines;
    }
    // The time stamps of the calls whose line contains aKey.
    QList<qint64> mfCallTimes(const QString& aKey) const
    {
        QList<qint64> lTimes;
        for (const Call& lCall : mfCalls()) {
            if (lCall.mvLine.contains(aKey))
                lTimes << lCall.mvMs;
        }
        return lTimes;
    }
    QList<qint64> mfHangingPids() const
    {
        QList<qint64> lPids;
        QFile lFile(mfPath(QStringLiteral("pids")));
        if (lFile.open(QIODevice::ReadOnly)) {
            const QList<QByteArray> lLines = lFile.readAll().split('\n');
            for (const QByteArray& lLine : lLines) {
                if (!lLine.isEmpty())
                    lPids << lLine.toLongLong();
            }
        }
        return lPids;
    }

private:
    QString mfPath(const QString& aName) const { return mvDir.filePath(aName); }

    bool mfWriteTool(const QString& aTool, const QString& aKeyExpression)
    {
        const QString lDate = QStandardPaths::findExecutable(QStringLiteral("date"));
        const QString lSleep = QStandardPaths::findExecutable(QStringLiteral("sleep"));
        const QString lCat = QStandardPaths::findExecutable(QStringLiteral("cat"));
        if (lDate.isEmpty() || lSleep.isEmpty() || lCat.isEmpty())
            return false;
        // Built by concatenation: the date format holds "%3N".
        const QString lScript = QStringLiteral("#!/bin/sh\nd='") + mvDir.path() +
                                QStringLiteral("'\nkey=") + aKeyExpression +
                                QStringLiteral("\necho \"$(") + lDate +
                                QStringLiteral(" +%s%3N) ") + aTool +
                                QStringLiteral(" $*\" >> \"$d/calls\"\n"
                                               "if [ -e \"$d/$key.hang\" ]; then\n"
                                               "    echo $$ >> \"$d/pids\"\n    ") +
                                lSleep +
                                QStringLiteral(" 600 &\n"
                                               "    echo $! >> \"$d/pids\"\n"
                                               "    wait\n"
                                               "fi\n"
                                               "if [ -e \"$d/$key.reply\" ]; then ") +
                                lCat + QStringLiteral(" \"$d/$key.reply\"; fi\n");
        QFile lFile(mfPath(aTool));
        return lFile.open(QIODevice::WriteOnly) && lFile.write(lScript.toLocal8Bit()) > 0 &&
               lFile.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                    QFileDevice::ExeOwner);
    }

    QTemporaryDir mvDir;
    QByteArray mvOldPath;
    bool mvValid = false;
};

#endif
