#ifndef TESTLOGCOLLECTOR_H
#define TESTLOGCOLLECTOR_H

#include "ICLoggerObserver.h"

#include <QList>
#include <QPair>
#include <QStringList>

// Collects every item of the default logger model, called directly on the
// logging thread. Installed once per test program; the model owns it.
class TestLogCollector : public ICLoggerObserver
{
public:
    static TestLogCollector* gfInstall();

    void mpClear() { mvItems.clear(); }
    // The texts logged at that level, in order.
    QStringList mfTexts(qint32 aLevel) const;

    void mpSlotInitialize() override {}
    void mpSlotLogEvent(const ICLoggerItem& aItem) override;
    void mpSlotFinalize() override {}

private:
    TestLogCollector();

    QList<QPair<qint32, QString>> mvItems;
};

#endif
