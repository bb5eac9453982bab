// Links every library of the installed package and exercises one call of each.
#include <ICLoggerModel.h>
#include <UBXLocalCommunication.h>
#include <UBXMutexLocker.h>
#include <UBXRecursiveMutex.h>
#include <UIVersion.h>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication lApplication(argc, argv);
    ICLoggerModel::instance()->mpLog(Info, QStringLiteral("consumer"), 0);

    UBXRecursiveMutex lMutex;
    UBXMutexLocker lLock(lMutex);

    UBXLocalCommunication lChannel(QStringLiteral("beamora_consumer_check"));
    if (!lChannel.mpStartCommunication(UBXStartServerOnly) || lChannel.gfGetRole() != UBXRoleServer)
        return 1;
    std::printf("consumer %s ok\n", qPrintable(gfUiVersion()));
    return 0;
}
