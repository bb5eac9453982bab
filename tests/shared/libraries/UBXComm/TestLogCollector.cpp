#include "TestLogCollector.h"

#include "ICLoggerModel.h"

TestLogCollector::TestLogCollector() : ICLoggerObserver(Debug, QStringLiteral("TestLogCollector"))
{}

TestLogCollector* TestLogCollector::gfInstall()
{
    auto* lCollector = new TestLogCollector;
    ICLoggerModel::instance()->mpAddObserver(lCollector, false);
    return lCollector;
}

QStringList TestLogCollector::mfTexts(qint32 aLevel) const
{
    QStringList lTexts;
    for (const auto& lItem : mvItems) {
        if (lItem.first == aLevel)
            lTexts.append(lItem.second);
    }
    return lTexts;
}

void TestLogCollector::mpSlotLogEvent(const ICLoggerItem& aItem)
{
    mvItems.append({aItem.mfGetLevel(), aItem.mfGetText()});
}
