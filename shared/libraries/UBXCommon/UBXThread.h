#ifndef UBXTHREAD_H
#define UBXTHREAD_H

#include "UBXCommonExport.h"

#include <QString>
#include <QThread>

// A thread with a name for log messages. Subclasses stop and join their loop
// in their own destructors; this one only reports, at level error, a thread
// that is destroyed while it still runs.
class UBXCOMMON_EXPORT UBXThread : public QThread
{
public:
    explicit UBXThread(const QString& aName);
    ~UBXThread() override;

    QString mfGetName() const { return mvName; }

private:
    QString mvName;
};

#endif
