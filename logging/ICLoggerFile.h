#ifndef ICLOGGERFILE_H
#define ICLOGGERFILE_H

#include "ICLoggerObserver.h"
#include "ICLoggingExport.h"

#include <QMutex>
#include <QString>

#include <cstdio>
#include <vector>

class QFile;
class QFileInfo;
class QTextStream;

// Writes log items to a text file, one line each, flushed at once (items
// delivered in a batch on the logger's own thread: once the batch is written):
//   long form:  "<Level>\t: Class <hex>\t: PID <tid>\t: PName <thread>\t: dd.MM.yyyy
//                hh:mm:ss.zzz\t: <text>" (one line)
//   short form: "<Level>\t: <text>", chosen by any environment variable whose
//               name starts with IC_SIMPLE_LOGGING (any case, any value).
// Every fresh file starts with a header line. A logger made from a file name
// keeps the file under a size limit: the full file gets a notice, is copied to
// dir/base_1.suffix (older copies move up to _2, _3, ...) and starts afresh.
// A file that cannot be written leaves the logger silent; nothing is reported.
// Meant to be registered with its own thread: all file work happens there.
class ICLOGGING_EXPORT ICLoggerFile : public ICLoggerObserver
{
    Q_OBJECT
public:
    // A null aFileName means "iclogger<hh_mm_ss>.log" in the working directory.
    // A size of 0 kB means no limit; with 0 backups a full file is just emptied.
    // With aAppend an existing non-empty file is continued without a header.
    ICLoggerFile(const QString& aFileName, qint32 aLevel, quint32 aMaxFileSizeKb,
                 qint32 aMaxBackupFiles, bool aAppend);
    // Writes to an already open stream (stdout, a pipe...); never rotates. The
    // handle stays open after the logger is gone.
    ICLoggerFile(FILE* apStream, const QString& aName, qint32 aLevel);
    ~ICLoggerFile() override;

    // kB * 1024 in 32-bit arithmetic: 4194304 kB and more wrap around.
    void mpSetMaxFileSize(quint32 aKb);
    void mpSetMaxBackupFiles(qint32 aCount);

    // While the include list is not empty only its class tags are written;
    // tags on the exclude list are never written, even when also included.
    void mpIncludeClass(quint64 aClassId);
    void mpExcludeClass(quint64 aClassId);
    void mpRemoveIncludedClass(quint64 aClassId);
    void mpRemoveExcludedClass(quint64 aClassId);

    // The bytes written for an item (UTF-8, line feed included) in this
    // logger's form.
    QByteArray mfFormat(const ICLoggerItem& aItem) const;

public Q_SLOTS:
    void mpSlotInitialize() override;
    void mpSlotLogEvent(const ICLoggerItem& aItem) override;
    // Closes the file; items that arrive later are dropped.
    void mpSlotFinalize() override;

protected:
    void mpBatchDelivered() override;

private:
    // Builds the line in aLine and its bytes in aBytes; both keep their memory.
    void mpFormat(const ICLoggerItem& aItem, QString& aLine, QByteArray& aBytes) const;
    void mpReadEnvironment();
    bool mfIsWritable();
    void mpCheckFileSize();
    void mpWriteHeader();
    QString mfBackupName(qint32 aNumber) const;
    void mpUpdateFilterActive();

    QFile* mvFile;
    QTextStream* mvStream = nullptr;
    QMutex mvMutex;
    QString mvFileName;
    quint64 mvMaxFileSize = 0;
    qint32 mvMaxBackupFiles = 0;
    QFileInfo* mvFileInfo = nullptr;
    QString mvDirectory;
    QString mvBaseName;
    QString mvSuffix;
    bool mvSimpleFormat = false;
    bool mvWritable = false;
    bool mvFilterActive = false;
    std::vector<quint64> mvIncludedClasses;
    std::vector<quint64> mvExcludedClasses;
    // Reused for every line so that writing an item allocates nothing once warm.
    QString mvLine;
    QByteArray mvLineBytes;
};

#endif
