#include "ButtonDetector.h"

#include "ICLoggerModel.h"
#include "UBXSystemProbes.h"

#include <QElapsedTimer>

#include <algorithm>

namespace {
constexpr unsigned long sBlockedSessionSleepMs = 2000;
constexpr qint64 sSlowProbeMs = 1000;

void gpLog(qint32 aLevel, const QString& aText)
{
    ICLoggerModel::instance()->mpLog(aLevel, aText, 0);
}
} // namespace

ButtonDetector::ButtonDetector() : UBXThread(QStringLiteral("ButtonDetector")) {}

ButtonDetector::~ButtonDetector()
{
    mpStopDetection();
}

void ButtonDetector::mpSetPollInterval(qint32 aMilliseconds)
{
    mvPollInterval.store(aMilliseconds);
}

qint32 ButtonDetector::mfGetPollInterval() const
{
    return mvPollInterval.load();
}

void ButtonDetector::mpStartDetection()
{
    mvStopRequested.store(false);
    start(QThread::InheritPriority);
}

void ButtonDetector::mpStopDetection()
{
    mvStopRequested.store(true);
    wait();
}

void ButtonDetector::run()
{
    // The identifiers and the label are carried for the other platforms'
    // probes; only the two names decide here.
    const QString lVendorName = QStringLiteral("Lumora");
    const QString lVendorId = QStringLiteral("0600");
    const QString lProductName = QStringLiteral("Beamora");
    const QString lProductId = QStringLiteral("0070");
    const QString lVolumeLabel = QStringLiteral("Beamora_for_Linux");
    QString lApplicationPath;

    const QString lSources = gfGetSessionLockSources();
    gpLog(Debug, lSources.isEmpty()
                     ? QStringLiteral("No session lock state on this desktop: the session counts "
                                      "as active.")
                     : QStringLiteral("Session lock state from %1.").arg(lSources));

    while (!mvStopRequested.load()) {
        const bool lOnInputDesktop = !gfIsSessionBlocked();
        if (lOnInputDesktop != mvOnInputDesktop) {
            mvOnInputDesktop = lOnInputDesktop;
            if (lOnInputDesktop) {
                gpLog(Debug, QStringLiteral("The executable is running on the input desktop."));
                Q_EMIT sgBackToOriginalDeskop();
            } else {
                gpLog(Debug, QStringLiteral("The executable is not running on the input desktop."));
                Q_EMIT sgNoLongerOnOriginalDesktop();
            }
        }
        if (!mvOnInputDesktop) {
            msleep(sBlockedSessionSleepMs);
            continue;
        }

        QElapsedTimer lTimer;
        lTimer.start();
        const bool lPresent = gfHasUsbStorageListing()
                                  ? gpDetectDevice(lVendorName, lVendorId, lProductName, lProductId,
                                                   lVolumeLabel, lApplicationPath)
                                  : gfDetectSysfsUsbDevice(lVendorName, lProductName);
        const qint64 lElapsed = lTimer.elapsed();
        if (lElapsed > sSlowProbeMs)
            gpLog(Warn,
                  QStringLiteral("[ButtonDetector::run] gpDetectDevice took %1 ms.").arg(lElapsed));

        if (lPresent != mvButtonPresent) {
            mvButtonPresent = lPresent;
            if (lPresent) {
                gpLog(Debug,
                      QStringLiteral("Button detector has detected that button is inserted."));
                Q_EMIT sgButtonInserted(lApplicationPath);
            } else {
                gpLog(Debug,
                      QStringLiteral("Button detector has detected that button is removed."));
                Q_EMIT sgButtonRemoved(false);
            }
        }
        msleep(static_cast<unsigned long>(std::max(0, mvPollInterval.load())));
    }
}
