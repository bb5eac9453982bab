#include "ICLoggerFile.h"

#include "ICLoggerDateFormat_p.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QStringEncoder>
#include <QTextStream>

#include <algorithm>

namespace {
const QString sFormatVersion = QString::number(2.0, 'f', 1);

// Writes a line into memory reserved beforehand, so that no field pays for a
// capacity check or a reallocation.
struct LineCursor
{
    char16_t* mvOut;

    void mpAppend(QLatin1String aText)
    {
        for (const char lChar : aText)
            *mvOut++ = static_cast<uchar>(lChar);
    }
    void mpAppend(QStringView aText)
    {
        std::copy(aText.utf16(), aText.utf16() + aText.size(), mvOut);
        mvOut += aText.size();
    }
    void mpAppend(char16_t aChar) { *mvOut++ = aChar; }
    // Decimal, zero-padded to at least aWidth digits.
    void mpAppendDecimal(quint64 aValue, int aWidth = 1)
    {
        char16_t lDigits[20];
        int lCount = 0;
        do {
            lDigits[lCount++] = static_cast<char16_t>(u'0' + aValue % 10);
            aValue /= 10;
        } while (aValue != 0);
        while (lCount < aWidth)
            lDigits[lCount++] = u'0';
        while (lCount > 0)
            *mvOut++ = lDigits[--lCount];
    }
    // Lower-case hexadecimal without prefix.
    void mpAppendHex(quint64 aValue)
    {
        char16_t lDigits[16];
        int lCount = 0;
        do {
            lDigits[lCount++] = u"0123456789abcdef"[aValue & 0xf];
            aValue >>= 4;
        } while (aValue != 0);
        while (lCount > 0)
            *mvOut++ = lDigits[--lCount];
    }
    // The same characters as toString("\t: dd.MM.yyyy hh:mm:ss.zzz\t: ") for
    // the years a log can carry, at a fraction of its cost. Like that pattern,
    // an invalid date-time prints nothing at all, separators included.
    void mpAppendDateTime(const QDateTime& aDateTime)
    {
        if (!aDateTime.isValid())
            return;
        int lYear;
        int lMonth;
        int lDay;
        aDateTime.date().getDate(&lYear, &lMonth, &lDay);
        const QTime lTime = aDateTime.time();
        mpAppend(QLatin1String("\t: "));
        mpAppendDecimal(static_cast<quint64>(lDay), 2);
        mpAppend(u'.');
        mpAppendDecimal(static_cast<quint64>(lMonth), 2);
        mpAppend(u'.');
        mpAppendDecimal(static_cast<quint64>(lYear), 4);
        mpAppend(u' ');
        mpAppendDecimal(static_cast<quint64>(lTime.hour()), 2);
        mpAppend(u':');
        mpAppendDecimal(static_cast<quint64>(lTime.minute()), 2);
        mpAppend(u':');
        mpAppendDecimal(static_cast<quint64>(lTime.second()), 2);
        mpAppend(u'.');
        mpAppendDecimal(static_cast<quint64>(lTime.msec()), 3);
        mpAppend(QLatin1String("\t: "));
    }
};

// Room for everything in a long line but the level word, the thread name and
// the text: separators, 16 hex digits, 20 decimal digits, the date-time.
const qsizetype sFixedLineRoom = 128;

bool gfContains(const std::vector<quint64>& aList, quint64 aClassId)
{
    return std::find(aList.begin(), aList.end(), aClassId) != aList.end();
}

void gpAddClass(std::vector<quint64>& aList, quint64 aClassId)
{
    if (!gfContains(aList, aClassId))
        aList.push_back(aClassId);
}

void gpRemoveClass(std::vector<quint64>& aList, quint64 aClassId)
{
    aList.erase(std::remove(aList.begin(), aList.end(), aClassId), aList.end());
}

quint64 gfBytesFromKb(quint32 aKb)
{
    // Deliberately 32-bit: from 4194304 kB on the limit wraps around (that
    // value itself gives 0, no limit).
    return static_cast<quint32>(aKb * 1024U);
}
} // namespace

ICLoggerFile::ICLoggerFile(const QString& aFileName, qint32 aLevel, quint32 aMaxFileSizeKb,
                           qint32 aMaxBackupFiles, bool aAppend)
    : ICLoggerObserver(aLevel, QStringLiteral("Observer Thread")), mvFile(new QFile(this)),
      mvFileName(aFileName), mvMaxFileSize(gfBytesFromKb(aMaxFileSizeKb)),
      mvMaxBackupFiles(aMaxBackupFiles)
{
    if (mvFileName.isNull())
        mvFileName = QLatin1String("iclogger") +
                     gfFormatDateTime(QDateTime::currentDateTime(), QLatin1String("hh_mm_ss")) +
                     QLatin1String(".log");
    mvFile->setFileName(mvFileName);
    mvFile->open(aAppend ? QIODevice::WriteOnly | QIODevice::Append : QIODevice::WriteOnly);
    mvFileInfo = new QFileInfo(*mvFile);
    mvDirectory = mvFileInfo->absolutePath();
    mvBaseName = mvFileInfo->baseName();
    mvSuffix = mvFileInfo->completeSuffix();
    mpSetName(QLatin1String("Observer Thread for ") + mvBaseName);
    mpReadEnvironment();
    if (mfIsWritable())
        mvStream = new QTextStream(mvFile);
    if (mvStream && !(aAppend && mvFile->size() != 0))
        mpWriteHeader();
}

ICLoggerFile::ICLoggerFile(FILE* apStream, const QString& aName, qint32 aLevel)
    : ICLoggerObserver(aLevel, QStringLiteral("Observer Thread")), mvFile(new QFile(this))
{
    mvFile->open(apStream, QIODevice::WriteOnly);
    mpSetName(QLatin1String("Observer Thread for ") + aName);
    mpReadEnvironment();
    if (mfIsWritable())
        mvStream = new QTextStream(mvFile);
    if (mvStream)
        mpWriteHeader();
}

ICLoggerFile::~ICLoggerFile()
{
    delete mvStream;
    delete mvFileInfo;
}

void ICLoggerFile::mpSetMaxFileSize(quint32 aKb)
{
    QMutexLocker lLocker(&mvMutex);
    mvMaxFileSize = gfBytesFromKb(aKb);
}

void ICLoggerFile::mpSetMaxBackupFiles(qint32 aCount)
{
    QMutexLocker lLocker(&mvMutex);
    mvMaxBackupFiles = aCount;
}

void ICLoggerFile::mpIncludeClass(quint64 aClassId)
{
    QMutexLocker lLocker(&mvMutex);
    gpAddClass(mvIncludedClasses, aClassId);
    mvFilterActive = true;
}

void ICLoggerFile::mpExcludeClass(quint64 aClassId)
{
    QMutexLocker lLocker(&mvMutex);
    gpAddClass(mvExcludedClasses, aClassId);
    mvFilterActive = true;
}

void ICLoggerFile::mpRemoveIncludedClass(quint64 aClassId)
{
    QMutexLocker lLocker(&mvMutex);
    gpRemoveClass(mvIncludedClasses, aClassId);
    mpUpdateFilterActive();
}

void ICLoggerFile::mpRemoveExcludedClass(quint64 aClassId)
{
    QMutexLocker lLocker(&mvMutex);
    gpRemoveClass(mvExcludedClasses, aClassId);
    mpUpdateFilterActive();
}

void ICLoggerFile::mpUpdateFilterActive()
{
    mvFilterActive = !mvIncludedClasses.empty() || !mvExcludedClasses.empty();
}

QByteArray ICLoggerFile::mfFormat(const ICLoggerItem& aItem) const
{
    QString lLine;
    QByteArray lBytes;
    mpFormat(aItem, lLine, lBytes);
    return lBytes;
}

void ICLoggerFile::mpFormat(const ICLoggerItem& aItem, QString& aLine, QByteArray& aBytes) const
{
    const QString lLevel = gfLevelDisplayName(aItem.mfGetLevel());
    const QString lText = aItem.mfGetText();
    const QString lThreadName = aItem.mfGetThreadName();
    aLine.resize(lLevel.size() + lThreadName.size() + lText.size() + sFixedLineRoom);
    LineCursor lCursor{reinterpret_cast<char16_t*>(aLine.data())};
    lCursor.mpAppend(lLevel);
    if (mvSimpleFormat) {
        lCursor.mpAppend(QLatin1String("\t: "));
    } else {
        lCursor.mpAppend(QLatin1String("\t: Class "));
        lCursor.mpAppendHex(aItem.mfGetClassId());
        lCursor.mpAppend(QLatin1String("\t: PID "));
        lCursor.mpAppendDecimal(aItem.mfGetThreadId());
        lCursor.mpAppend(QLatin1String("\t: PName "));
        if (lThreadName.isEmpty())
            lCursor.mpAppend(QLatin1String("Unknown"));
        else
            lCursor.mpAppend(lThreadName);
        lCursor.mpAppendDateTime(aItem.mfGetDateTime());
    }
    lCursor.mpAppend(lText);
    lCursor.mpAppend(u'\n');
    aLine.resize(lCursor.mvOut - reinterpret_cast<const char16_t*>(aLine.constData()));

    // Encoded in one piece and without state, as the text stream encodes a
    // line: odd surrogates become U+FFFD the same way.
    QStringEncoder lEncoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
    aBytes.resize(lEncoder.requiredSpace(aLine.size()));
    const char* lEnd = lEncoder.appendToBuffer(aBytes.data(), aLine);
    aBytes.resize(lEnd - aBytes.constData());
}

void ICLoggerFile::mpSlotInitialize() {}

void ICLoggerFile::mpSlotLogEvent(const ICLoggerItem& aItem)
{
    if (!mvWritable || !mfAccepts(aItem.mfGetLevel()))
        return;
    QMutexLocker lLocker(&mvMutex);
    if (!mvStream)
        return;
    if (mvFilterActive) {
        if (gfContains(mvExcludedClasses, aItem.mfGetClassId()))
            return;
        if (!mvIncludedClasses.empty() && !gfContains(mvIncludedClasses, aItem.mfGetClassId()))
            return;
    }
    if (mvFileInfo)
        mpCheckFileSize();
    // The line goes to the file without passing through the text stream: one
    // encoding into a reused buffer, one write, one flush. The stream holds
    // nothing back, it is flushed after every header and notice. Within a
    // batch the flush waits for its end: one system call for many lines.
    mpFormat(aItem, mvLine, mvLineBytes);
    mvFile->write(mvLineBytes);
    if (!mfIsDeliveringBatch())
        mvFile->flush();
}

void ICLoggerFile::mpBatchDelivered()
{
    QMutexLocker lLocker(&mvMutex);
    if (mvStream)
        mvFile->flush();
}

void ICLoggerFile::mpSlotFinalize()
{
    QMutexLocker lLocker(&mvMutex);
    delete mvStream;
    mvStream = nullptr;
    delete mvFileInfo;
    mvFileInfo = nullptr;
    mvFile->close();
}

void ICLoggerFile::mpReadEnvironment()
{
    // Any variable whose name starts with the word switches the short form on,
    // whatever its value: deliberately loose, scripts set it in many spellings.
    const QStringList lEnvironment = QProcessEnvironment::systemEnvironment().toStringList();
    for (const QString& lEntry : lEnvironment) {
        if (lEntry.toLower().startsWith(QLatin1String("ic_simple_logging")))
            mvSimpleFormat = true;
    }
}

bool ICLoggerFile::mfIsWritable()
{
    if (!mvFile->isWritable())
        return mvWritable;
    mvWritable = mvFileInfo ? mvFileInfo->isWritable() : true;
    return mvWritable;
}

void ICLoggerFile::mpWriteHeader()
{
    *mvStream << QLatin1String("===== Log format: ") << sFormatVersion
              << QLatin1String(" Log file started on ")
              << gfFormatDateTime(QDateTime::currentDateTime(),
                                  QLatin1String("dd.MM.yyyy hh:mm:ss"))
              << QLatin1String(" =====\n");
    mvStream->flush();
}

QString ICLoggerFile::mfBackupName(qint32 aNumber) const
{
    return QStringLiteral("%1/%2_%3.%4")
        .arg(mvDirectory, mvBaseName, QString::number(aNumber), mvSuffix);
}

void ICLoggerFile::mpCheckFileSize()
{
    if (mvMaxFileSize == 0 || static_cast<quint64>(mvFile->size()) <= mvMaxFileSize)
        return;
    if (mvMaxBackupFiles == 0) {
        mvStream->flush();
        delete mvStream;
        mvFile->resize(0);
        mvStream = new QTextStream(mvFile);
    } else {
        // Copies rather than renames: whatever fails, the newest lines survive
        // in the current file.
        for (qint32 lNumber = mvMaxBackupFiles; lNumber >= 2; --lNumber) {
            const QString lOlder = mfBackupName(lNumber - 1);
            if (!QFile::exists(lOlder))
                continue;
            const QString lNewer = mfBackupName(lNumber);
            if (QFile::exists(lNewer))
                QFile::remove(lNewer);
            QFile::copy(lOlder, lNewer);
        }
        *mvStream << QLatin1String("Status:\t------------------------------------------------\n")
                  << QLatin1String("Status:\tMaximum file size reached (")
                  << QString::number(mvMaxFileSize / 1024) << QLatin1String(" kB).\n");
        mvStream->flush();
        delete mvStream;
        const QString lFirst = mfBackupName(1);
        if (QFile::exists(lFirst))
            QFile::remove(lFirst);
        QFile::copy(mvFileInfo->absoluteFilePath(), lFirst);
        if (mvFile->isOpen())
            mvFile->close();
        mvFile->open(QIODevice::WriteOnly);
        mvStream = new QTextStream(mvFile);
    }
    mpWriteHeader();
}
