#ifndef FAKEDESKTOPTOOLS_H
#define FAKEDESKTOPTOOLS_H

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>

// While it exists, PATH holds only "sh" and fake "gdbus" and
// "gnome-screensaver-command" tools. A fake appends "<epoch ms> <tool> <args>"
// to the file "calls" and prints the file "<key>.reply", where a gdbus call's
// key is its destination (org.gnome.ScreenSaver) and the screen-saver tool's
// its name. While "<key>.hang" exists it writes its pid and that of a child to
// "pids" and waits for ever.
class FakeDesktopTools
{
public:
    FakeDesktopTools() : mvOldPath(qgetenv("PATH"))
    {
        mvValid = mvDir.isValid() &&
                  QFile::link(QStandardPaths::findExecutable(QStringLiteral("sh")), mfPath("sh")) &&
                  mfWriteTool("gdbus", "\"$4\"") &&
                  mfWriteTool("gnome-screensaver-command", "gnome-screensaver-command");
        qputenv("PATH", QFile::encodeName(mvDir.path()));
    }
    ~FakeDesktopTools() { qputenv("PATH", mvOldPath); }

    bool mfIsValid() const { return mvValid; }
    QString mfPath(const char* aName) const { return mvDir.filePath(QLatin1String(aName)); }

    // Atomic, so that a tool running meanwhile reads the old or the new reply.
    bool mfWrite(const QString& aName, const QByteArray& aContent)
    {
        QSaveFile lFile(mvDir.filePath(aName));
        return lFile.open(QIODevice::WriteOnly) && lFile.write(aContent) == aContent.size() &&
               lFile.commit();
    }
    QStringList mfLines(const char* aName) const
    {
        QFile lFile(mfPath(aName));
        return lFile.open(QIODevice::ReadOnly)
                   ? QString::fromLocal8Bit(lFile.readAll()).split('\n', Qt::SkipEmptyParts)
                   : QStringList();
    }
    // The calls without their time stamps.
    QStringList mfCalls() const
    {
        QStringList lCalls = mfLines("calls");
        for (QString& lCall : lCalls)
            lCall = lCall.section(' ', 1);
        return lCalls;
    }
    // The time stamps of the calls that name aKey.
    QList<qint64> mfCallTimes(const QString& aKey) const
    {
        QList<qint64> lTimes;
        for (const QString& lCall : mfLines("calls")) {
            if (lCall.contains(aKey))
                lTimes << lCall.section(' ', 0, 0).toLongLong();
        }
        return lTimes;
    }

private:
    bool mfWriteTool(const char* aTool, const char* aKey)
    {
        // Concatenated rather than formatted: the date format holds "%3N".
        const QByteArray lScript =
            "#!/bin/sh\nd='" + QFile::encodeName(mvDir.path()) + "'\nPATH='" + mvOldPath +
            "'\nkey=" + aKey +
            "\necho \"$(date +%s%3N) ${0##*/} $*\" >> \"$d/calls\"\n"
            "if [ -e \"$d/$key.hang\" ]; then\n"
            "    echo $$ >> \"$d/pids\"; sleep 600 & echo $! >> \"$d/pids\"; wait\n"
            "fi\n"
            "[ -e \"$d/$key.reply\" ] && cat \"$d/$key.reply\"\n"
            "exit 0\n";
        QFile lFile(mfPath(aTool));
        return lFile.open(QIODevice::WriteOnly) && lFile.write(lScript) == lScript.size() &&
               lFile.setPermissions(QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }

    QTemporaryDir mvDir;
    QByteArray mvOldPath;
    bool mvValid = false;
};

#endif
