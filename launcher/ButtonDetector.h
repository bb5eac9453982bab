#ifndef BUTTONDETECTOR_H
#define BUTTONDETECTOR_H

#include "UBXThread.h"

#include <QString>

#include <atomic>

// Watches, on a thread of its own, whether the user's session is the one on
// the screen and whether the presentation button is plugged in, and reports
// only the changes. The signals are meant for queued delivery to an object of
// the main thread. Starting state: button absent, on the input desktop, so a
// button plugged in before the start is reported by the first cycle.
//
// At start it logs, once, where the session's lock state comes from. Each
// cycle asks the session probe first. While the session is blocked the
// thread sleeps 2000 ms without looking at USB, so a button pulled meanwhile is
// noticed only after the session returns. Otherwise it polls USB (the kernel's
// USB-storage listing, or the sysfs device attributes on kernels without that
// listing), warns when the poll took more than 1000 ms, and sleeps for the
// poll interval. Sleeps are not interrupted: stopping waits for the current
// sleep and cycle to end.
class ButtonDetector : public UBXThread
{
    Q_OBJECT
public:
    ButtonDetector();
    // Stops and joins the thread first.
    ~ButtonDetector() override;

    // May be called from any thread while the detector runs; the next sleep
    // after a USB poll uses the new value. Negative values count as 0.
    void mpSetPollInterval(qint32 aMilliseconds);
    qint32 mfGetPollInterval() const;

    void mpStartDetection();
    // Blocks until the current cycle, its sleep included, has ended.
    void mpStopDetection();

Q_SIGNALS:
    // aApplicationPath is always empty on this platform.
    void sgButtonInserted(const QString& aApplicationPath);
    // Always false: leaving the desktop is reported by sgNoLongerOnOriginalDesktop.
    void sgButtonRemoved(bool aKillClientImmediately);
    void sgNoLongerOnOriginalDesktop();
    void sgBackToOriginalDeskop();

protected:
    void run() override;

private:
    bool mvButtonPresent = false;
    bool mvOnInputDesktop = true;
    std::atomic<bool> mvStopRequested{false};
    std::atomic<qint32> mvPollInterval{500};
};

#endif
